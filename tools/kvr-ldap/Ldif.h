#pragma once

#include <string>

/** Lines of LDIF (RFC 2849). They are never folded. */
namespace KVR::Cli::Ldif
{

/**
 * One line "name: value", or "name:: " with base64 where the value needs it: where RFC 2849 asks for
 * it, and also for control characters, which a terminal would act on.
 */
std::string Line(const std::string& name, const std::string& value);

/** One comment line. */
std::string Comment(const std::string& text);

/** True for a name that can stand in front of a value (RFC 4512, section 2.5). */
bool IsAttributeName(const std::string& name);

} // namespace KVR::Cli::Ldif
