#pragma once

#include <optional>
#include <string>

/** Other servers and domains, and how they are told from the own ones. */
namespace KVR::Cli
{

/** A host as it is compared: in lower case, without brackets or a dot at its end. */
struct HostPort
{
    std::string host;
    std::string port; /**< may be empty */
};

/** Reads "srv1", "srv1:1389", "[::1]:1389"; nothing for anything else. */
std::optional<HostPort> ParseHost(const std::string& text);

/** Reads "ldap://HOST" and "ldaps://HOST", perhaps with a slash at the end; nothing for anything else. */
std::optional<HostPort> ParseServerUri(const std::string& uri);

/** Names of the computer that a command runs on. */
struct OwnNames
{
    std::string host;
    std::string domain; /**< that short names belong to; may be empty */
};

/**
 * Whether a server that was named is, or may be, the one that a connection to the URIs leads to. Names
 * are compared, not addresses. Without a port any server of the same computer is meant.
 */
bool IsThisServer(const HostPort& named, const std::string& uris, const OwnNames& own);

/** The domain without a dot at its end; nothing for what is no DNS name. */
std::optional<std::string> ParseDomain(const std::string& text);

/** Whether two DNs are the same as the server compares suffixes. */
bool IsSameDn(const std::string& one, const std::string& other);

/** Whether a DN is the other one or below it. */
bool IsWithinDn(const std::string& dn, const std::string& other);

} // namespace KVR::Cli
