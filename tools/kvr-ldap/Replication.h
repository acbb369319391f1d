#pragma once

#include <list>
#include <optional>
#include <string>

namespace KVR
{
class IKVRLdapConnection;
}

namespace KVR::Cli
{

/** An agreement by which the server pulls changes from another one, see "olcSyncrepl" in slapd-config(5). */
struct Agreement
{
    std::string identifier;
    std::string provider; /**< host and perhaps port */
    std::string daemon;   /**< name that the server logs in by */

    std::string ProviderUri() const { return "ldap://" + provider; }

    /** The one of the configuration database, as the plug-in writes it. */
    std::string OfConfiguration() const;

    /** @name Compared with stored ones
     * @{ */
    bool HasIdentifierOf(const std::string& stored) const; /**< 1 and 001 are the same to the server */
    bool HasProviderOf(const std::string& stored) const;
    bool IsStoredAs(const std::string& stored) const; /**< as the plug-in finds it in the main database */
    bool IsConfigurationsStoredAs(const std::string& stored) const;
    /** @} */
};

/** How the configuration database itself is replicated. */
struct ConfigurationReplication
{
    std::list<std::string> agreements;
    std::optional<std::string> mirrorMode; /**< nothing when it is not set */
};

/** @throws Failure when the user can't see the configuration database */
ConfigurationReplication ReadConfigurationReplication(IKVRLdapConnection& connection,
                                                      const std::string& command);

} // namespace KVR::Cli
