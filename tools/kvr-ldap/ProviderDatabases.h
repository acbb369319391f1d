#pragma once

#include <list>
#include <string>
#include <vector>

namespace KVR
{
class IKVRLdapConnection;
}

namespace KVR::Cli
{

/** DN of the frontend's overlay that holds the first half of every provider. */
extern const char* const chainOverlayDn;

/** What is told of a server without that overlay. */
std::string NoChainOverlay();

/** A database of the server's configuration. */
struct Database
{
    std::string dn;
    std::string name; /**< such as "{1}hdb" */
    std::list<std::string> suffixes;
    std::string uri; /**< of another server, or "" */

    bool IsLdap() const; /**< whether it only asks another server, see slapd-ldap(5) */

    /** "olcDatabase={2}ldap,cn=config (dc=example,dc=org at ldap://srv)" */
    std::string Description() const;
};

/** The databases that a suffix has to do with. */
struct ProviderDatabases
{
    std::vector<Database> allOfChain; /**< all below the overlay */
    std::vector<Database> chain;      /**< with this suffix below the overlay */
    std::vector<Database> main;       /**< with this suffix right below "cn=config" */
    std::vector<Database> serving;    /**< right below "cn=config" with this suffix or one above it */

    /** Those with this suffix. */
    std::vector<Database> All() const;
};

/** Reads the configuration; what is hidden from the user is left out. */
ProviderDatabases FindProviderDatabases(IKVRLdapConnection& connection, const std::string& suffix);

} // namespace KVR::Cli
