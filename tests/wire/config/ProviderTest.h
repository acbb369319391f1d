#pragma once

#include "PartnerTest.h"

namespace KVR
{

/** Providers: pairs of databases, one below the chain overlay and one below the root. */
class ProviderTest : public PartnerTest
{
protected:
    /** @name The searches as they are sent
     * @{ */
    static std::string chainsListed()
    {
        return "search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
               "(&(objectClass=olcChainDatabase)(olcSuffix=*)) for olcDatabase olcSuffix";
    }

    static std::string rootLookedAt() { return "search cn=config scope 0 (objectClass=*) for cn"; }

    static std::string chainSearched(const std::string& suffix,
                                     const std::string& names = "olcDatabase olcSuffix")
    {
        return "search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
               "(&(objectClass=olcChainDatabase)(olcSuffix=" +
               suffix + ")) for " + names;
    }

    static std::string databaseSearched(const std::string& suffix)
    {
        return "search cn=config scope 1 (&(objectClass=*)(olcSuffix=" + suffix +
               ")) for olcDatabase olcSuffix";
    }
    /** @} */

    /** A database as it is found below the chain overlay. */
    static Answer chain(const std::string& name, const std::string& suffix)
    {
        return Answer().entry("olcDatabase=" + name + "," + chainOverlay,
                              {{"olcDatabase", {name}}, {"olcSuffix", {suffix}}});
    }

    /** The same for a result that the test makes. */
    static MadeEntry madeChain(const std::string& name, const std::string& suffix)
    {
        return {"olcDatabase=" + name + "," + chainOverlay, {{"olcDatabase", name}, {"olcSuffix", suffix}}};
    }

    static MadeEntry madeDatabase(const std::string& name, const std::string& suffix)
    {
        return {"olcDatabase=" + name + ",cn=config", {{"olcDatabase", name}, {"olcSuffix", suffix}}};
    }

    /** A database as it is found below the root. */
    static Answer rootDatabase(const std::string& name, const std::string& suffix)
    {
        return Answer().entry("olcDatabase=" + name + ",cn=config",
                              {{"olcDatabase", {name}}, {"olcSuffix", {suffix}}});
    }

    static Caught noProvider(const std::string& suffix)
    {
        return plainError("LDAP provider for suffix '" + suffix + "' not found.");
    }

    /** What a refused search throws. */
    static Caught refusedSearch(const std::string& baseAndFilter, int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on searching '" + baseAndFilter + "' - " + ldap_err2string(code),
                           "KVRLdapConnection.cpp:LINE(Search)", details);
    }

    /** @param doing "adding", "modifying" or "deleting" */
    static Caught refusedEntry(const std::string& doing, const std::string& operation, const std::string& dn,
                               int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on " + doing + " dn '" + dn + "' - " + ldap_err2string(code),
                           "KVRLdapConnectionEntry.cpp:LINE(" + operation + ")", details);
    }
};

} // namespace KVR
