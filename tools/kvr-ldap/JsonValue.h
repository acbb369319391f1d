#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace KVR::Cli
{

using Document = nlohmann::ordered_json;

/** A text, or {"base64": "..."} when the value is no UTF-8. */
Document JsonValue(const std::string& value);

/** The document on one line; what a terminal would act on is written as "\u009b". */
std::string JsonText(const Document& document);

} // namespace KVR::Cli
