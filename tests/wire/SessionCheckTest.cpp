// Without a session every operation that needs one says so before it asks the host or calls another
// operation, which may be a host's own. Some leave that to the operations that they are made of.

#include "ConnectionTest.h"
#include "hostile/Operations.h"

#include <IKVRLdapQuery.h>

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

using Texts = std::list<std::string>;
using TextMap = std::map<std::string, std::string>;
using Attributes = std::multimap<std::string, std::string>;
using Calls = std::vector<std::string>;

/** Runs one operation as the module has it; those that it calls are written down and do nothing. */
class PartingConnection : public CKVRLdapConnection
{
public:
    PartingConnection(IKVRCore& host, std::string tested)
        : CKVRLdapConnection(host), tested_(std::move(tested))
    {
    }

    Calls calls;

    bool IsConnected() override { return isTested("IsConnected"); }

    std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter, Texts& names,
                                          alSCOPE scope) override
    {
        return isTested("Search") ? CKVRLdapConnection::Search(base, filter, names, scope) : nullptr;
    }

    void DeleteAttr(const std::string& dn, const std::string& attribute) override
    {
        if (isTested("DeleteAttr"))
        {
            CKVRLdapConnection::DeleteAttr(dn, attribute);
        }
    }
    void SetAttrValue(const std::string& dn, const std::string& attribute, const std::string& value,
                      alOPERATION operation) override
    {
        if (isTested("SetAttrValue"))
        {
            CKVRLdapConnection::SetAttrValue(dn, attribute, value, operation);
        }
    }
    void UpdateDN(const std::string& dn, Attributes& attributes) override
    {
        if (isTested("UpdateDN"))
        {
            CKVRLdapConnection::UpdateDN(dn, attributes);
        }
    }
    void DeleteDN(const std::string& dn) override
    {
        if (isTested("DeleteDN"))
        {
            CKVRLdapConnection::DeleteDN(dn);
        }
    }
    void AddDN(const std::string& dn, Attributes& attributes) override
    {
        if (isTested("AddDN"))
        {
            CKVRLdapConnection::AddDN(dn, attributes);
        }
    }
    void RenameDN(const std::string& dn, const std::string& newRdn) override
    {
        if (isTested("RenameDN"))
        {
            CKVRLdapConnection::RenameDN(dn, newRdn);
        }
    }
    void EnumerateIndexes(Texts& indexes) override
    {
        if (isTested("EnumerateIndexes"))
        {
            CKVRLdapConnection::EnumerateIndexes(indexes);
        }
    }
    void EnumerateLdapSchemas(Texts& schemas) override
    {
        if (isTested("EnumerateLdapSchemas"))
        {
            CKVRLdapConnection::EnumerateLdapSchemas(schemas);
        }
    }
    void EnumerateDBUniqueness(Texts& uris) override
    {
        if (isTested("EnumerateDBUniqueness"))
        {
            CKVRLdapConnection::EnumerateDBUniqueness(uris);
        }
    }
    void EnumerateDBLimits(TextMap& limits) override
    {
        if (isTested("EnumerateDBLimits"))
        {
            CKVRLdapConnection::EnumerateDBLimits(limits);
        }
    }
    void EnumerateSyncRepls(Texts& agreements) override
    {
        if (isTested("EnumerateSyncRepls"))
        {
            CKVRLdapConnection::EnumerateSyncRepls(agreements);
        }
    }
    void EnumerateLdapProviders(TextMap& providers) override
    {
        if (isTested("EnumerateLdapProviders"))
        {
            CKVRLdapConnection::EnumerateLdapProviders(providers);
        }
    }

private:
    bool isTested(const std::string& name)
    {
        if (name != tested_)
        {
            calls.push_back(name);
        }
        return name == tested_;
    }

    const std::string tested_;
};

/** The operations that do not look for a session themselves, with what they call instead. */
const std::map<std::string, Calls> unchecked{{"AddDBIndex", {"EnumerateIndexes", "SetAttrValue"}},
                                             {"DeleteDBIndex", {"EnumerateIndexes"}},
                                             {"AddDBLimit", {"EnumerateDBLimits", "SetAttrValue"}},
                                             {"DeleteDBLimit", {"EnumerateDBLimits"}},
                                             {"AddDBUniqueness", {"EnumerateDBUniqueness", "Search"}},
                                             {"DeleteDBUniqueness", {"EnumerateDBUniqueness"}},
                                             {"Create", {"AddDN"}},
                                             {"Delete", {"DeleteDN"}},
                                             {"Update", {"UpdateDN"}},
                                             {"Rename", {"RenameDN"}},
                                             {"Modified", {"Search"}}};

class SessionCheckTest : public WireTest, public ::testing::WithParamInterface<TestedOperation>
{
protected:
    PartingConnection connection{host, GetParam().name};
};

TEST_P(SessionCheckTest, ComesBeforeAnythingElseOrIsLeftToOthers)
{
    host.calls.clear();
    const Caught error = caught([&] { GetParam().run(connection); });
    const auto leaving = unchecked.find(GetParam().name);
    EXPECT_EQ(leaving == unchecked.end(), error == notConnected()) << error;
    EXPECT_EQ(leaving == unchecked.end() ? Calls() : leaving->second, connection.calls);
    EXPECT_THAT(host.calls, ::testing::IsEmpty());
}

/** All but the one that libldap ends the process for. */
std::vector<TestedOperation> operationsWithoutSession()
{
    std::vector<TestedOperation> operations = testedOperations();
    operations.erase(std::remove_if(operations.begin(), operations.end(),
                                    [](const TestedOperation& operation)
                                    { return operation.name == "GetAttrBinaryValue"; }),
                     operations.end());
    return operations;
}

INSTANTIATE_TEST_SUITE_P(Of, SessionCheckTest, ::testing::ValuesIn(operationsWithoutSession()),
                         [](const auto& tested) { return tested.param.name; });

} // namespace

} // namespace KVR
