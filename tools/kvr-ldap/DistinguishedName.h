#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KVR::Cli
{

/** One component of a DN. */
struct Rdn
{
    std::string text; /**< as it was written, without blanks around it */

    /**
     * The same for all ways to write it: case, blanks and escapes do not count. The server, which
     * knows the schema, may tell apart what is equal here, or the other way round.
     */
    std::string key;
};

/** From the entry up to the root; empty for the root. */
using Dn = std::vector<Rdn>;

/** Reads a DN (RFC 4514, and the quoted and ";" forms of RFC 2253); nothing when it is none. */
std::optional<Dn> ParseDn(std::string_view text);

} // namespace KVR::Cli
