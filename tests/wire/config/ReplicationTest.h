#pragma once

#include "PartnerTest.h"

namespace KVR
{

/** Agreements on replication. Here every agreement is of the host's own daemon, kvrd/srv1.home.example. */
class ReplicationTest : public PartnerTest
{
protected:
    /** What the two operations make of their arguments. */
    static std::string agreement(const std::string& rid, const std::string& uri, const std::string& base)
    {
        return "rid=\"" + rid + "\" provider=\"" + uri +
               "\" bindmethod=sasl saslmech=gssapi authcid=\"kvrd/srv1.home.example\" searchbase=\"" + base +
               "\" type=refreshAndPersist retry=\"60 +\"";
    }

    static std::string mainAgreement(const std::string& rid, const std::string& uri)
    {
        return agreement(rid, uri, "dc=home,dc=example");
    }

    static std::string configAgreement(const std::string& rid, const std::string& uri)
    {
        return agreement(rid, uri, "cn=config");
    }

    /** Lets the main database have these agreements, at every search from now on. */
    void has(const std::vector<std::string>& agreements)
    {
        responder.always(Operation::Search, database("olcSyncrepl", agreements));
    }

    static std::string searched()
    {
        return "search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcSyncrepl";
    }

    /** @name The changes as they are sent, with their modification codes: 0 adds, 1 deletes
     * @{ */
    static std::string addedToMain(const std::string& agreement)
    {
        return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 0 olcSyncrepl '" + agreement + "'";
    }

    static std::string addedToConfig(const std::string& agreement)
    {
        return "modify olcDatabase={0}config,cn=config 0 olcSyncrepl '" + agreement +
               "' 0 olcMirrorMode 'TRUE'";
    }

    static std::string deletedFromMain(const std::string& agreement)
    {
        return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 1 olcSyncrepl '" + agreement + "'";
    }

    static std::string deletedFromConfig(const std::string& agreement)
    {
        return "modify olcDatabase={0}config,cn=config 1 olcSyncrepl '" + agreement + "'";
    }

    static std::string mirrorModeDeleted()
    {
        return "modify olcDatabase={0}config,cn=config 1 olcMirrorMode";
    }
    /** @} */

    /** What a refused search of the agreements throws. */
    static Caught refusedSearch(const std::string& libraryText, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on searching 'cn=config olcDatabase=" KVR_MAIN_DATABASE "' - " +
                               libraryText,
                           "KVRLdapConnection.cpp:LINE(Search)", details);
    }
};

} // namespace KVR
