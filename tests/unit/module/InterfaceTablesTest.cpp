#include "VirtualTable.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>

#include <gtest/gtest.h>

#include <stdexcept>

// Hosts call these operations by their position. Each call below goes through a table whose slots
// answer with their own number.

namespace KVR::Support
{
namespace
{

/** The slot that a call reached. */
template <typename Call>
std::string slotOf(Call call)
{
    try
    {
        call();
    }
    catch (const std::logic_error& error)
    {
        return error.what();
    }
    return "none";
}

std::string slot(int number)
{
    return "slot " + std::to_string(number);
}

int destroyedThrough = -1;

template <int Slot>
void recordDestruction(void*)
{
    destroyedThrough = Slot;
}

/** Tells which slots the destructor's two entries take: destruction in place, and deletion. */
template <int Complete, int Deleting, typename HandMade, typename Destroy, typename Delete>
void expectDestructor(HandMade& handMade, Destroy destroy, Delete deleteObject)
{
    handMade.Set(Complete, &recordDestruction<Complete>);
    handMade.Set(Deleting, &recordDestruction<Deleting>);
    destroy(handMade.Get());
    EXPECT_EQ(destroyedThrough, Complete);
    deleteObject(&handMade.Get());
    EXPECT_EQ(destroyedThrough, Deleting);
}

TEST(WrapperTable, HasItsThreeOperationsBehindTheDestructor)
{
    HandMadeObject<IKVRLdapWrapper, 5> handMade;
    IKVRLdapWrapper& wrapper = handMade.Get();
    EXPECT_EQ(slotOf([&] { wrapper.getConnection(); }), slot(2));
    EXPECT_EQ(slotOf([&] { wrapper.RegisterLdapSchema("x"); }), slot(3));
    EXPECT_EQ(slotOf([&] { wrapper.getDefaultURIs(); }), slot(4));
}

TEST(WrapperTable, BeginsWithTheDestructor)
{
    HandMadeObject<IKVRLdapWrapper, 5> handMade;
    expectDestructor<0, 1>(
        handMade, [](IKVRLdapWrapper& object) { object.~IKVRLdapWrapper(); },
        [](IKVRLdapWrapper* object) { delete object; });
}

TEST(QueryTable, EndsWithTheDestructor)
{
    HandMadeObject<IKVRLdapQuery, 5> handMade;
    IKVRLdapQuery& query = handMade.Get();
    std::shared_ptr<IKVRLdapEntity> entity;
    EXPECT_EQ(slotOf([&] { query.First(); }), slot(0));
    EXPECT_EQ(slotOf([&] { query.Fetch(entity); }), slot(1));
    EXPECT_EQ(slotOf([&] { query.Count(); }), slot(2));
    expectDestructor<3, 4>(
        handMade, [](IKVRLdapQuery& object) { object.~IKVRLdapQuery(); },
        [](IKVRLdapQuery* object) { delete object; });
}

TEST(EntityTable, EndsWithTheDestructor)
{
    HandMadeObject<IKVRLdapEntity, 14> handMade;
    IKVRLdapEntity& entity = handMade.Get();
    std::list<std::string> values;
    std::multimap<std::string, std::string> changes;
    EXPECT_EQ(slotOf([&] { entity.ValByAttr("x", true); }), slot(0));
    EXPECT_EQ(slotOf([&] { entity.ValsByAttr("x", values, true); }), slot(1));
    EXPECT_EQ(slotOf([&] { entity.Clear(); }), slot(2));
    EXPECT_EQ(slotOf([&] { entity.IsValid(); }), slot(3));
    EXPECT_EQ(slotOf([&] { entity.Create(); }), slot(4));
    EXPECT_EQ(slotOf([&] { entity.Delete(); }), slot(5));
    EXPECT_EQ(slotOf([&] { entity.Update(changes, true); }), slot(6));
    EXPECT_EQ(slotOf([&] { entity.Rename("x"); }), slot(7));
    EXPECT_EQ(slotOf([&] { entity.creator(); }), slot(8));
    EXPECT_EQ(slotOf([&] { entity.modifier(); }), slot(9));
    EXPECT_EQ(slotOf([&] { entity.created(); }), slot(10));
    EXPECT_EQ(slotOf([&] { entity.modified(); }), slot(11));
    expectDestructor<12, 13>(
        handMade, [](IKVRLdapEntity& object) { object.~IKVRLdapEntity(); },
        [](IKVRLdapEntity* object) { delete object; });
}

TEST(EntityTable, IsFollowedByTheDnAndTheAttributes)
{
    HandMadeObject<IKVRLdapEntity, 14> handMade;
    const IKVRLdapEntity& entity = handMade.Get();
    const auto offset = [&entity](const void* field)
    { return static_cast<const char*>(field) - reinterpret_cast<const char*>(&entity); };
    EXPECT_EQ(offset(&entity.dn), static_cast<std::ptrdiff_t>(sizeof(void*)));
    EXPECT_EQ(offset(&entity.attributes), static_cast<std::ptrdiff_t>(sizeof(void*) + sizeof(std::string)));
}

class ConnectionTable : public testing::Test
{
protected:
    /** Slot of the operation with this number in the published order, the first being 1. */
    static std::string operation(int number) { return slot(number + 1); }

    HandMadeObject<IKVRLdapConnection, 47> handMade;
    IKVRLdapConnection& connection = handMade.Get();
    std::list<std::string> list;
    std::map<std::string, std::string> map;
    std::multimap<std::string, std::string> attributes;
    unsigned long size = 0;
};

TEST_F(ConnectionTable, BeginsWithTheDestructor)
{
    expectDestructor<0, 1>(
        handMade, [](IKVRLdapConnection& object) { object.~IKVRLdapConnection(); },
        [](IKVRLdapConnection* object) { delete object; });
}

TEST_F(ConnectionTable, HasTheOperationsOfTheSessionAtOneToEight)
{
    EXPECT_EQ(slotOf([&] { connection.AuthType(); }), operation(1));
    EXPECT_EQ(slotOf([&] { connection.Connect("x", KVRAuthAnonymous); }), operation(2));
    EXPECT_EQ(slotOf([&] { connection.IsConnected(); }), operation(3));
    EXPECT_EQ(slotOf([&] { connection.Disconnect(); }), operation(4));
    EXPECT_EQ(slotOf([&] { connection.GetLastError(); }), operation(5));
    EXPECT_EQ(slotOf([&] { connection.IfReconnectNeeded(); }), operation(6));
    EXPECT_EQ(slotOf([&] { connection.LocalToUtf8("x"); }), operation(7));
    EXPECT_EQ(slotOf([&] { connection.Utf8ToLocal("x"); }), operation(8));
}

TEST_F(ConnectionTable, HasTheOperationsOfEntriesAtNineToTwentyOne)
{
    EXPECT_EQ(slotOf([&] { connection.AdjustGecosType(); }), operation(9));
    EXPECT_EQ(slotOf([&] { connection.AllocEntity(); }), operation(10));
    EXPECT_EQ(slotOf([&] { connection.Search("x", "y", list, alSCOPE_SUB); }), operation(11));
    EXPECT_EQ(slotOf([&] { connection.DeleteAttr("x", "y"); }), operation(12));
    EXPECT_EQ(slotOf([&] { connection.SetAttrValue("x", "y", "z", alADD); }), operation(13));
    EXPECT_EQ(slotOf([&] { connection.SetAttrValues("x", "y", list, alADD); }), operation(14));
    EXPECT_EQ(slotOf([&] { connection.UpdateDN("x", attributes); }), operation(15));
    EXPECT_EQ(slotOf([&] { connection.DeleteDN("x"); }), operation(16));
    EXPECT_EQ(slotOf([&] { connection.AddDN("x", attributes); }), operation(17));
    EXPECT_EQ(slotOf([&] { connection.RenameDN("x", "y"); }), operation(18));
    EXPECT_EQ(slotOf([&] { connection.SetAttrBinaryValue("x", "y", "z", 1, alADD); }), operation(19));
    EXPECT_EQ(slotOf([&] { connection.GetAttrBinaryValue("x", "y", size); }), operation(20));
    EXPECT_EQ(slotOf([&] { connection.EnsureOU("x"); }), operation(21));
}

TEST_F(ConnectionTable, HasTheOperationsOfTheConfigurationAtTwentyTwoToThirtySeven)
{
    EXPECT_EQ(slotOf([&] { connection.EnumerateIndexes(list); }), operation(22));
    EXPECT_EQ(slotOf([&] { connection.AddDBIndex("x"); }), operation(23));
    EXPECT_EQ(slotOf([&] { connection.DeleteDBIndex("x"); }), operation(24));
    EXPECT_EQ(slotOf([&] { connection.EnumerateDBAccessRules(list); }), operation(25));
    EXPECT_EQ(slotOf([&] { connection.AddDBAccessRule(0, "x"); }), operation(26));
    EXPECT_EQ(slotOf([&] { connection.DeleteDBAccessRule(0); }), operation(27));
    EXPECT_EQ(slotOf([&] { connection.EnumerateLdapSchemas(list); }), operation(28));
    EXPECT_EQ(slotOf([&] { connection.IsLdapSchemaRegistered("x"); }), operation(29));
    EXPECT_EQ(slotOf([&] { connection.EnumerateModules(list); }), operation(30));
    EXPECT_EQ(slotOf([&] { connection.EnumerateDatabases(map); }), operation(31));
    EXPECT_EQ(slotOf([&] { connection.EnumerateDBUniqueness(list); }), operation(32));
    EXPECT_EQ(slotOf([&] { connection.AddDBUniqueness("x"); }), operation(33));
    EXPECT_EQ(slotOf([&] { connection.DeleteDBUniqueness("x"); }), operation(34));
    EXPECT_EQ(slotOf([&] { connection.EnumerateDBLimits(map); }), operation(35));
    EXPECT_EQ(slotOf([&] { connection.AddDBLimit("x", "y"); }), operation(36));
    EXPECT_EQ(slotOf([&] { connection.DeleteDBLimit("x"); }), operation(37));
}

TEST_F(ConnectionTable, HasTheOperationsOfReplicationAndProvidersAtThirtyEightToFortyFive)
{
    EXPECT_EQ(slotOf([&] { connection.EnumerateSyncRepls(list); }), operation(38));
    EXPECT_EQ(slotOf([&] { connection.AddSyncRepl("x", "y"); }), operation(39));
    EXPECT_EQ(slotOf([&] { connection.DeleteSyncRepl("x", "y"); }), operation(40));
    EXPECT_EQ(slotOf([&] { connection.EnumerateLdapProviders(map); }), operation(41));
    EXPECT_EQ(slotOf([&] { connection.AddLdapProvider("x", "y", "z"); }), operation(42));
    EXPECT_EQ(slotOf([&] { connection.GetLdapProvider("x"); }), operation(43));
    EXPECT_EQ(slotOf([&] { connection.UpdateLdapProvider("x", "y"); }), operation(44));
    EXPECT_EQ(slotOf([&] { connection.DeleteLdapProvider("x"); }), operation(45));
}

} // namespace
} // namespace KVR::Support
