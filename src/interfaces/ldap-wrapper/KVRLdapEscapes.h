#pragma once

#include <string>

namespace KVR
{

/** True when the character at this position of a DN stands behind an odd number of backslashes. */
bool isEscaped(const std::string& dn, std::size_t position);

/** Takes the escapes of a DN (RFC 4514, section 2.4) out of a value. */
std::string plainValue(const std::string& escaped);

/** Escapes a value for a filter (RFC 4515, section 3). */
std::string filterValue(const std::string& plain);

} // namespace KVR
