#pragma once

#include <string>

namespace KVR
{
class IKVRLdapConnection;
}

namespace KVR::Cli
{

/** Filter that every entry matches. */
constexpr const char* everyEntry = "(objectClass=*)";

/** Asks for entries without their attributes (RFC 4511, section 4.5.1.8). */
constexpr const char* noAttributes = "1.1";

/** Asks the server; an entry that it hides does not exist. It replaces the session's result code. */
bool EntryExists(IKVRLdapConnection& connection, const std::string& dn);

} // namespace KVR::Cli
