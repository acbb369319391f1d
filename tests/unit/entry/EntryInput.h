#pragma once

#include "EntryReadings.h"

#include <string>

namespace KVR::Support
{

/**
 * Inputs of the fuzzer: two bytes, the lower first, that choose the setting and by their highest bit the
 * result's code, 0 or 4; and then what a search entry consists of. A sound entry follows it.
 */
std::string inputOf(std::uint32_t setting, int code, const std::string& entry);

/** Reads the input by the reference and by the module. @return "", or what is different */
std::string judgeInput(EntryReader& reader, const std::string& input);

/** The entry, whatever its bytes, and a sound one that shows whether the walk goes on as it should. */
EntryAnswer followedBySound(const std::string& entry, int code = 0);

} // namespace KVR::Support
