#include "Operations.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <cstdlib>
#include <list>
#include <map>
#include <memory>

namespace KVR
{

namespace
{

using Support::Answer;
using Support::LdapRequest;
using Texts = std::list<std::string>;
using TextMap = std::map<std::string, std::string>;
using Attributes = std::multimap<std::string, std::string>;

constexpr char agreement[] = "{0}rid=\"007\" provider=\"ldap://partner.example\" type=refreshAndPersist";
constexpr char gecos[] =
    "{1}( 1.3.6.1.1.1.1.2 NAME 'gecos' EQUALITY caseIgnoreIA5Match "
    "SUBSTR caseIgnoreIA5SubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.26 SINGLE-VALUE )";

Answer nothing(const LdapRequest& /*request*/)
{
    return {};
}

/** One entry with whatever a search of the configuration looks for. */
Answer configuration(const LdapRequest& /*request*/)
{
    return Answer().entry("cn=a,cn=config", {{"cn", {"{0}nis"}},
                                             {"olcDatabase", {"{1}ldap"}},
                                             {"olcSuffix", {"dc=partner,dc=example"}},
                                             {"olcAccess", {"{0}to * by * read"}},
                                             {"olcDbIndex", {"uid eq"}},
                                             {"olcLimits", {"{0}users size=500"}},
                                             {"olcUniqueURI", {"ldap:///?uid?sub"}},
                                             {"olcModuleLoad", {"{0}back_mdb"}},
                                             {"olcSyncrepl", {agreement}},
                                             {"olcAttributeTypes", {gecos}}});
}

/** A subtree: two entries below, none of which has entries below itself. */
Answer subtree(const LdapRequest& request)
{
    return request.search.filter == "(objectClass=*)" ? Answer().entry("cn=a,dc=x").entry("cn=b,dc=x")
                                                      : Answer();
}

/** A database to be deleted, with nothing below it. */
Answer databases(const LdapRequest& request)
{
    return request.search.filter == "(objectClass=*)" ? Answer() : configuration(request);
}

void walk(IKVRLdapConnection& connection)
{
    Texts names;
    const auto query = connection.Search("dc=x", "(cn=*)", names, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query && query->Fetch(entity))
    {
    }
}

void readBinary(IKVRLdapConnection& connection)
{
    unsigned long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> value(connection.GetAttrBinaryValue("dc=x", "cn", size),
                                                            &std::free);
}

/** An entity of this connection with a DN and an attribute. */
std::shared_ptr<IKVRLdapEntity> entityOf(IKVRLdapConnection& connection)
{
    auto entity = connection.AllocEntity();
    entity->dn = "cn=a,dc=x";
    entity->attributes = {{"cn", "a"}, {"objectClass", "device"}};
    return entity;
}

template <typename Container>
std::function<void(IKVRLdapConnection&)> enumeration(void (IKVRLdapConnection::*operation)(Container&))
{
    return [operation](IKVRLdapConnection& connection)
    {
        Container container;
        (connection.*operation)(container);
    };
}

std::vector<TestedOperation> entryOperations()
{
    using Connection = IKVRLdapConnection;
    return {
        {"Search", walk, configuration},
        {"DeleteAttr", [](Connection& c) { c.DeleteAttr("dc=x", "cn"); }, nothing},
        {"SetAttrValue", [](Connection& c) { c.SetAttrValue("dc=x", "cn", "a", alADD); }, nothing},
        {"SetAttrValues",
         [](Connection& c)
         {
             Texts values{"a", "b"};
             c.SetAttrValues("dc=x", "cn", values, alADD);
         },
         nothing},
        {"SetAttrBinaryValue", [](Connection& c) { c.SetAttrBinaryValue("dc=x", "cn", "a", 1, alADD); },
         nothing},
        {"GetAttrBinaryValue", readBinary, configuration},
        {"UpdateDN",
         [](Connection& c)
         {
             Attributes attributes{{"+cn", "a"}};
             c.UpdateDN("dc=x", attributes);
         },
         nothing},
        {"AddDN",
         [](Connection& c)
         {
             Attributes attributes{{"cn", "a"}};
             c.AddDN("dc=x", attributes);
         },
         nothing},
        {"DeleteDN", [](Connection& c) { c.DeleteDN("dc=x"); }, subtree},
        {"RenameDN", [](Connection& c) { c.RenameDN("cn=a,dc=x", "cn=b"); }, nothing},
        {"EnsureOU", [](Connection& c) { c.EnsureOU("ou=a,ou=b,dc=x"); }, nothing},
        {"Create", [](Connection& c) { entityOf(c)->Create(); }, nothing},
        {"Delete", [](Connection& c) { entityOf(c)->Delete(); }, subtree},
        {"Update",
         [](Connection& c)
         {
             Attributes attributes{{"+cn", "a"}};
             entityOf(c)->Update(attributes, false);
         },
         nothing},
        {"Rename", [](Connection& c) { entityOf(c)->Rename("cn=b"); }, nothing},
        {"Modified", [](Connection& c) { entityOf(c)->modified(); }, configuration},
    };
}

std::vector<TestedOperation> configurationOperations()
{
    using Connection = IKVRLdapConnection;
    return {
        {"AdjustGecosType", [](Connection& c) { c.AdjustGecosType(); }, configuration},
        {"EnumerateIndexes", enumeration<Texts>(&Connection::EnumerateIndexes), configuration},
        {"AddDBIndex", [](Connection& c) { c.AddDBIndex("mail eq"); }, configuration},
        {"DeleteDBIndex", [](Connection& c) { c.DeleteDBIndex("uid eq"); }, configuration},
        {"EnumerateDBAccessRules", enumeration<Texts>(&Connection::EnumerateDBAccessRules), configuration},
        {"AddDBAccessRule", [](Connection& c) { c.AddDBAccessRule(0, "to * by * read"); }, configuration},
        {"DeleteDBAccessRule", [](Connection& c) { c.DeleteDBAccessRule(0); }, configuration},
        {"EnumerateLdapSchemas", enumeration<Texts>(&Connection::EnumerateLdapSchemas), configuration},
        {"IsLdapSchemaRegistered", [](Connection& c) { c.IsLdapSchemaRegistered("nis"); }, configuration},
        {"EnumerateModules", enumeration<Texts>(&Connection::EnumerateModules), configuration},
        {"EnumerateDatabases", enumeration<TextMap>(&Connection::EnumerateDatabases), configuration},
        {"EnumerateDBUniqueness", enumeration<Texts>(&Connection::EnumerateDBUniqueness), configuration},
        {"AddDBUniqueness", [](Connection& c) { c.AddDBUniqueness("ldap:///?mail?sub"); }, configuration},
        {"DeleteDBUniqueness", [](Connection& c) { c.DeleteDBUniqueness("ldap:///?uid?sub"); },
         configuration},
        {"EnumerateDBLimits", enumeration<TextMap>(&Connection::EnumerateDBLimits), configuration},
        {"AddDBLimit", [](Connection& c) { c.AddDBLimit("*", "size=1"); }, configuration},
        {"DeleteDBLimit", [](Connection& c) { c.DeleteDBLimit("users"); }, configuration},
        {"EnumerateSyncRepls", enumeration<Texts>(&Connection::EnumerateSyncRepls), configuration},
        {"AddSyncRepl", [](Connection& c) { c.AddSyncRepl("001", "other.example"); }, configuration},
        {"DeleteSyncRepl", [](Connection& c) { c.DeleteSyncRepl("007", "partner.example"); }, configuration},
        {"EnumerateLdapProviders", enumeration<TextMap>(&Connection::EnumerateLdapProviders), configuration},
        {"AddLdapProvider", [](Connection& c) { c.AddLdapProvider("partner.example", "srv", ""); }, nothing},
        {"GetLdapProvider", [](Connection& c) { c.GetLdapProvider("partner.example"); }, configuration},
        {"UpdateLdapProvider", [](Connection& c) { c.UpdateLdapProvider("partner.example", "srv"); },
         configuration},
        {"DeleteLdapProvider", [](Connection& c) { c.DeleteLdapProvider("partner.example"); }, databases},
    };
}

} // namespace

std::vector<TestedOperation> testedOperations()
{
    std::vector<TestedOperation> operations = entryOperations();
    for (TestedOperation& operation : configurationOperations())
    {
        operations.push_back(std::move(operation));
    }
    return operations;
}

} // namespace KVR
