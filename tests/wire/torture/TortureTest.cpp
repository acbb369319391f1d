// Every allocation fails once: whatever is being done ends in the error that is told for it or in
// std::bad_alloc, nothing is lost, and the connection goes on.

#include "FailingAllocation.h"
#include "KVRLdapConnection.h"
#include "LdapResponder.h"
#include "RecordingHost.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

namespace KVR::Support
{
namespace
{

using By = FailingAllocation::By;
using Attributes = std::multimap<std::string, std::string>;

const std::string longText = "a text that does not fit into the string object itself";

class Torture : public testing::Test
{
protected:
    Torture()
    {
        connection.Connect(server.target(), KVRAuthAnonymous);
        server.always(Operation::Search,
                      Answer()
                          .entry("cn=a,dc=x", {{"cn", {longText, "b"}}, {"sn", {longText}}})
                          .entry("cn=b,dc=x", {{"cn", {longText}}}));
    }

    /**
     * Lets the first, the second, ... allocation fail until the work reaches none of them any more.
     * @param building the work may tell a failure as "on building attributes"
     * @return number of allocations that have failed
     */
    int torture(By by, bool building, const std::function<void()>& work)
    {
        for (int number = 1;; ++number)
        {
            if (!failsAt(by, number, building, work))
            {
                return number - 1;
            }
            expectConnectionWorks();
        }
    }

    LdapResponder server;
    RecordingHost host;
    CKVRLdapConnection connection{host};
    std::list<std::string> names{"cn", "sn"};

private:
    static bool failsAt(By by, int number, bool building, const std::function<void()>& work)
    {
        const FailingAllocation failing(by, number);
        try
        {
            work();
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_EQ(by, By::OperatorNew);
        }
        catch (const EKVROutOfMemory&)
        {
            EXPECT_EQ(by, By::Malloc);
        }
        catch (const EKVRInternalError& error)
        {
            EXPECT_TRUE(building) << error.what();
            EXPECT_EQ(error.msg(), "on building attributes");
        }
        return failing.failed();
    }

    void expectConnectionWorks()
    {
        EXPECT_TRUE(connection.IsConnected());
        EXPECT_EQ(connection.Search("dc=x", "(cn=*)", names, alSCOPE_SUB)->Count(), 2);
    }
};

TEST_F(Torture, OfAddingAnEntry)
{
    Attributes attributes{{"cn", longText}, {"cn", "b"}, {"objectClass", "device"}, {"sn", longText}};
    EXPECT_GT(torture(By::OperatorNew, true, [&] { connection.AddDN("cn=a,dc=x", attributes); }), 6);
}

TEST_F(Torture, OfChangingAnEntry)
{
    Attributes attributes{{"+cn", longText}, {"+cn", "b"}, {"!sn", ""}, {"=mail", longText}};
    EXPECT_GT(torture(By::OperatorNew, true, [&] { connection.UpdateDN("cn=a,dc=x", attributes); }), 6);
}

TEST_F(Torture, OfSettingValues)
{
    std::list<std::string> values{longText, longText, "c"};
    EXPECT_GT(
        torture(By::OperatorNew, false, [&] { connection.SetAttrValues("cn=a,dc=x", "cn", values, alADD); }),
        3);
}

TEST_F(Torture, OfReadingABinaryValue)
{
    const auto read = [&]
    {
        unsigned long size = 0;
        const std::unique_ptr<char, decltype(&std::free)> value(
            connection.GetAttrBinaryValue("cn=a,dc=x", "anAttributeWhoseNameNeedsMemory", size), &std::free);
    };
    EXPECT_GT(torture(By::OperatorNew, false, read), 1);
    EXPECT_EQ(torture(By::Malloc, false, read), 1);
}

TEST_F(Torture, OfSearchingAndWalking)
{
    const auto walk = [&]
    {
        const auto query = connection.Search("dc=x", "(cn=*)", names, alSCOPE_SUB);
        std::shared_ptr<IKVRLdapEntity> entity;
        while (query->Fetch(entity))
        {
        }
    };
    EXPECT_GT(torture(By::OperatorNew, false, walk), 10);
}

} // namespace
} // namespace KVR::Support
