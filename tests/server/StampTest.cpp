// Who made an entry and who changed it last, read from a real server.

#include "ServerTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::Pair;

const std::string bench = "cn=bench,ou=lab,dc=example,dc=com";

class StampTest : public ServerTest
{
protected:
    StampTest()
    {
        entity->dn = bench;
        connection.searches = 0;
    }

    std::shared_ptr<IKVRLdapEntity> entity{connection.AllocEntity()};
};

TEST_F(StampTest, TheServersTextsAreReturned)
{
    EXPECT_EQ(entity->creator(), "cn=maker,dc=example,dc=com");
    EXPECT_EQ(entity->created(), "20240131120000Z");
    EXPECT_EQ(entity->modifier(), "cn=changer,dc=example,dc=com");
    EXPECT_EQ(entity->modified(), "20240229235959Z");
}

TEST_F(StampTest, CreationIsReadOnce)
{
    entity->created();
    entity->created();
    entity->creator();

    EXPECT_EQ(connection.searches, 1);
}

TEST_F(StampTest, TheLastChangeIsReadEachTime)
{
    entity->modified();
    entity->modified();
    EXPECT_EQ(connection.searches, 2);

    entity->modifier();
    EXPECT_EQ(connection.searches, 3);
}

TEST_F(StampTest, AChangeByAnotherClientIsSeen)
{
    EXPECT_EQ(entity->modified(), "20240229235959Z");

    DirectEditor(server.uri()).replace(bench, "description", "changed");

    EXPECT_GT(entity->modified(), "20240229235959Z");
    EXPECT_NE(entity->modifier(), "cn=changer,dc=example,dc=com");
    EXPECT_EQ(entity->created(), "20240131120000Z");
}

TEST_F(StampTest, TheEntityItselfIsNotRefilled)
{
    entity->attributes.emplace("sn", "mine");

    entity->modified();

    EXPECT_EQ(entity->dn, bench);
    EXPECT_THAT(entity->attributes, ElementsAre(Pair("sn", "mine")));
}

TEST_F(StampTest, AVanishedEntryKeepsTheStampsReadBefore)
{
    DirectEditor editor(server.uri());
    ASSERT_EQ(entity->modified(), "20240229235959Z");
    editor.remove("cn=drawer," + bench);
    editor.remove(bench);

    EXPECT_EQ(entity->modified(), "20240229235959Z");
    EXPECT_EQ(entity->creator(), "cn=maker,dc=example,dc=com");
}

TEST_F(StampTest, AnEntryThatNeverWasHasEmptyStamps)
{
    entity->dn = "cn=nobody,ou=lab,dc=example,dc=com";

    EXPECT_EQ(entity->modified(), "");
    EXPECT_EQ(connection.searches, 1);
}

TEST_F(StampTest, AfterAnEmptyStampCreationIsNotSearchedForAnyMore)
{
    entity->dn = "cn=nobody,ou=lab,dc=example,dc=com";
    entity->modified();

    EXPECT_EQ(entity->created(), "");
    EXPECT_EQ(entity->creator(), "");
    EXPECT_EQ(connection.searches, 1);
}

TEST_F(StampTest, FetchForgetsTheStampsOfTheEntryBefore)
{
    ASSERT_EQ(entity->created(), "20240131120000Z");
    const auto query = search("cn=zero,ou=lab,dc=example,dc=com", "(objectClass=*)", alSCOPE_BASE);
    ASSERT_TRUE(query->Fetch(entity));
    connection.searches = 0;

    EXPECT_NE(entity->created(), "20240131120000Z");
    EXPECT_EQ(connection.searches, 1);
}

TEST_F(StampTest, AnEntityWithoutDnHasNoStamps)
{
    entity->Clear();

    EXPECT_EQ(caught([&] { entity->created(); }),
              (Caught{typeid(EKVRCheckError), "Empty or invalid Entity DN", "", ""}));
    EXPECT_EQ(connection.searches, 0);
}

/** A server that hides the names of creators and modifiers. */
class HiddenStampTest : public ServerTest
{
protected:
    HiddenStampTest()
        : ServerTest({"--access",
                      "to dn.subtree=ou=lab,dc=example,dc=com attrs=creatorsName,modifiersName by * none"})
    {
    }
};

TEST_F(HiddenStampTest, AStampThatTheServerHidesIsEmptyAndLogged)
{
    const auto entity = connection.AllocEntity();
    entity->dn = bench;

    EXPECT_EQ(entity->creator(), "");
    EXPECT_EQ(entity->created(), "20240131120000Z");

    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'creatorsName' not found"),
                                            Pair(0, "LDAP attribute 'modifiersName' not found")));
}

} // namespace
} // namespace KVR::ServerTests
