// Every allocation fails once: whatever is being done ends in the error that is told for it or in
// std::bad_alloc, nothing is lost, and the connection goes on.

#include "Allocations.h"
#include "Caught.h"
#include "KVRLdapConnection.h"
#include "LdapResponder.h"
#include "RecordingHost.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

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
     * @param expected how every one of these failures is told
     * @return number of allocations that have failed
     */
    int torture(By by, const Caught& expected, const std::function<void()>& work)
    {
        for (int number = 1;; ++number)
        {
            {
                const FailingAllocation failing(by, number);
                const Caught error = caught(work);
                if (!failing.failed())
                {
                    EXPECT_EQ(error, Caught());
                    return number - 1;
                }
                EXPECT_EQ(error, expected) << "allocation " << number;
            }
            expectConnectionWorks();
        }
    }

    /** Connects anew, with a conversion of every value. */
    void connectInLatin1()
    {
        connection.Disconnect();
        SetDefaultCodeset("ISO-8859-1");
        connection.Connect(server.target(), KVRAuthAnonymous);
        SetDefaultCodeset("UTF-8");
    }

    static Caught onBuilding(const std::string& function)
    {
        return {typeid(EKVRInternalError), "on building attributes", "",
                "src/interfaces/ldap-wrapper/KVRLdapConnectionEntry.cpp:LINE(" + function + ")"};
    }

    const Caught badAlloc{typeid(std::bad_alloc), "std::bad_alloc", "", ""};
    const Caught outOfMemory{typeid(EKVROutOfMemory), "can't allocate a buffer for the value", "",
                             "src/interfaces/ldap-wrapper/"
                             "KVRLdapConnectionAttribute.cpp:LINE(GetAttrBinaryValue)"};

    LdapResponder server;
    RecordingHost host;
    CKVRLdapConnection connection{host};
    std::list<std::string> names{"cn", "sn"};

private:
    void expectConnectionWorks()
    {
        EXPECT_TRUE(connection.IsConnected());
        EXPECT_EQ(connection.Search("dc=x", "(cn=*)", names, alSCOPE_SUB)->Count(), 2);
    }
};

TEST_F(Torture, OfAddingAnEntry)
{
    Attributes attributes{{"cn", longText}, {"cn", "b"}, {"objectClass", "device"}, {"sn", longText}};
    const auto add = [&] { connection.AddDN("cn=a,dc=x", attributes); };
    // Three arrays, three records and the two long texts.
    EXPECT_EQ(torture(By::OperatorNew, onBuilding("AddDN"), add), 8);
}

TEST_F(Torture, OfAddingAnEntryWithAConversion)
{
    connectInLatin1();
    Attributes attributes{{"cn", longText}, {"cn", "b"}, {"sn", longText}};
    const auto add = [&] { connection.AddDN("cn=a,dc=x", attributes); };
    // Three arrays, two records and at least one allocation a text.
    EXPECT_GE(torture(By::OperatorNew, onBuilding("AddDN"), add), 7);
}

TEST_F(Torture, OfChangingAnEntry)
{
    Attributes attributes{{"+cn", longText}, {"+cn", "b"}, {"!sn", ""}, {"=mail", longText}};
    const auto update = [&] { connection.UpdateDN("cn=a,dc=x", attributes); };
    EXPECT_EQ(torture(By::OperatorNew, onBuilding("UpdateDN"), update), 8);
}

TEST_F(Torture, OfChangingAnEntryWithAConversion)
{
    connectInLatin1();
    Attributes attributes{{"+cn", longText}, {"!sn", ""}, {"=mail", longText}};
    const auto update = [&] { connection.UpdateDN("cn=a,dc=x", attributes); };
    EXPECT_GE(torture(By::OperatorNew, onBuilding("UpdateDN"), update), 8);
}

TEST_F(Torture, OfAnInvalidModeWhoseOwnTextNeedsMemory)
{
    Attributes attributes{{"*aModeThatIsToldWithTheWholeName", longText}};
    for (int number = 1; number <= 12; ++number)
    {
        const FailingAllocation failing(By::OperatorNew, number);
        const Caught error = caught([&] { connection.UpdateDN("cn=a,dc=x", attributes); });
        // The error itself needs memory as well, and then there is nothing left to tell it with.
        EXPECT_TRUE(error == onBuilding("UpdateDN") || error == badAlloc) << number << ' ' << error;
    }
}

TEST_F(Torture, OfSettingAValue)
{
    const auto set = [&] { connection.SetAttrValue("cn=a,dc=x", "cn", longText, alADD); };
    EXPECT_EQ(torture(By::OperatorNew, badAlloc, set), 1);
}

TEST_F(Torture, OfSettingValues)
{
    std::list<std::string> values{longText, longText, "c"};
    const auto set = [&] { connection.SetAttrValues("cn=a,dc=x", "cn", values, alADD); };
    EXPECT_EQ(torture(By::OperatorNew, badAlloc, set), 4);
}

TEST_F(Torture, OfReadingABinaryValue)
{
    const auto read = [&]
    {
        unsigned long size = 0;
        const std::unique_ptr<char, decltype(&std::free)> value(
            connection.GetAttrBinaryValue("cn=a,dc=x", "anAttributeWhoseNameNeedsMemory", size), &std::free);
    };
    EXPECT_GT(torture(By::OperatorNew, badAlloc, read), 1);
    EXPECT_EQ(torture(By::Malloc, outOfMemory, read), 1);
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
    EXPECT_GT(torture(By::OperatorNew, badAlloc, walk), 10);
}

} // namespace
} // namespace KVR::Support
