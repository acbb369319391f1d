#pragma once

#include "ServerTest.h"

#include <map>

namespace KVR::ServerTests
{

using TextMap = std::map<std::string, std::string>;
using Attributes = std::multimap<std::string, std::string>;

inline const char* const lab = "ou=lab,dc=example,dc=com";

/** What the server holds in its configuration, as the module tells it. */
class ConfigTest : public ServerTest
{
protected:
    using ServerTest::ServerTest;

    std::vector<std::string> rules() { return listed(&CKVRLdapConnection::EnumerateDBAccessRules); }
    std::vector<std::string> indexes() { return listed(&CKVRLdapConnection::EnumerateIndexes); }
    std::vector<std::string> uniqueness() { return listed(&CKVRLdapConnection::EnumerateDBUniqueness); }
    std::vector<std::string> schemas() { return listed(&CKVRLdapConnection::EnumerateLdapSchemas); }
    std::vector<std::string> modules() { return listed(&CKVRLdapConnection::EnumerateModules); }
    TextMap limits() { return mapped(&CKVRLdapConnection::EnumerateDBLimits); }
    TextMap databases() { return mapped(&CKVRLdapConnection::EnumerateDatabases); }

    /** Adds a schema without definitions. */
    void addSchema(const std::string& name)
    {
        Attributes attributes{{"objectClass", "olcSchemaConfig"}, {"cn", name}};
        connection.AddDN("cn=" + name + ",cn=schema,cn=config", attributes);
    }

    /** What a change of a value throws that the server refuses. */
    static Caught refusal(const std::string& attribute, const std::string& dn, const std::string& value,
                          const std::string& reason, const std::string& details)
    {
        return {typeid(EKVROpenLdapError),
                "OpenLDAP error on modifying attribute '" + attribute + "' of dn '" + dn + "' to value '" +
                    value + "' - " + reason + " in KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)",
                details, "src/interfaces/ldap-wrapper/KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)"};
    }

    static Caught hidden() { return {typeid(EKVRError), insufficientAccess, "", ""}; }

private:
    std::vector<std::string> listed(void (CKVRLdapConnection::*enumerate)(std::list<std::string>&))
    {
        std::list<std::string> texts{"left over"};
        (connection.*enumerate)(texts);
        return {texts.begin(), texts.end()};
    }

    TextMap mapped(void (CKVRLdapConnection::*enumerate)(TextMap&))
    {
        TextMap texts{{"left", "over"}};
        (connection.*enumerate)(texts);
        return texts;
    }
};

} // namespace KVR::ServerTests
