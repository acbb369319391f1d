// Walking, rewinding and counting the result of a search on a real server.

#include "ServerTest.h"

#include <algorithm>

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string units = "ou=units,dc=example,dc=com";
const LogCapture::Message sizeLimitWarning{
    1, "LDAP search size limit exceeded. Some entries may be unavailable."};

class CursorTest : public ServerTest
{
};

TEST_F(CursorTest, AWalkYieldsEveryEntryOnce)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);

    auto dns = walk(*query);

    std::sort(dns.begin(), dns.end());
    EXPECT_THAT(dns,
                ElementsAre("ou=Berlin,ou=units,dc=example,dc=com", "ou=Hamburg,ou=units,dc=example,dc=com",
                            "ou=Köln,ou=units,dc=example,dc=com", "ou=München,ou=units,dc=example,dc=com",
                            "ou=Москва,ou=units,dc=example,dc=com"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(CursorTest, AfterTheEndTheWalkStartsOver)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);

    const auto first = walk(*query);
    const auto second = walk(*query);

    EXPECT_THAT(first, SizeIs(5));
    EXPECT_EQ(first, second);
}

TEST_F(CursorTest, FirstRewindsInMidWalk)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    const std::string firstDn = entity->dn;
    ASSERT_TRUE(query->Fetch(entity));

    query->First();

    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(entity->dn, firstDn);
}

TEST_F(CursorTest, CountingLeavesTheCursorWhereItIs)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));

    EXPECT_EQ(query->Count(), 5);

    EXPECT_THAT(walk(*query), SizeIs(4));
}

TEST_F(CursorTest, FetchRefillsTheSameEntity)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);
    auto entity = connection.AllocEntity();
    entity->dn = "ou=old,dc=example,dc=com";
    entity->attributes.emplace("description", "old");
    const IKVRLdapEntity* object = entity.get();

    ASSERT_TRUE(query->Fetch(entity));

    EXPECT_EQ(entity.get(), object);
    EXPECT_NE(entity->dn, "ou=old,dc=example,dc=com");
    EXPECT_EQ(entity->attributes.count("description"), 0U);
}

TEST_F(CursorTest, TheEntityAtTheEndKeepsTheLastEntry)
{
    const auto query = search(units, "(ou=Berlin)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));

    EXPECT_FALSE(query->Fetch(entity));

    EXPECT_EQ(entity->dn, "ou=Berlin,ou=units,dc=example,dc=com");
}

TEST_F(CursorTest, AnEntityOutlivesItsQuery)
{
    auto query = search(units, "(ou=Berlin)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));

    query.reset();

    EXPECT_EQ(entity->ValByAttr("ou", false), "Berlin");
}

TEST_F(CursorTest, TwoQueriesOfOneConnectionAreWalkedByTurns)
{
    const auto left = search(units, "(objectClass=*)", alSCOPE_ONE);
    const auto right = search("ou=lab,dc=example,dc=com", "(cn=bench)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;

    ASSERT_TRUE(left->Fetch(entity));
    ASSERT_TRUE(right->Fetch(entity));
    EXPECT_EQ(entity->dn, "cn=bench,ou=lab,dc=example,dc=com");

    EXPECT_THAT(walk(*left), SizeIs(4));
    EXPECT_FALSE(right->Fetch(entity));
}

TEST_F(CursorTest, AMissingBaseInMidWalkEndsTheWalkWithItsCode)
{
    const auto query = search(units, "(ou=Berlin)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    ASSERT_EQ(search("ou=nowhere,dc=example,dc=com", "(objectClass=*)", alSCOPE_BASE), nullptr);

    EXPECT_EQ(caught([&] { query->Fetch(entity); }),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error on fetching - No such object in KVRLdapQuery.cpp:LINE(Fetch)", "",
                      "src/interfaces/ldap-wrapper/KVRLdapQuery.cpp:LINE(Fetch)"}));
}

TEST_F(CursorTest, AWorkingSearchAfterTheFailedOneLetsTheWalkEndWell)
{
    const auto query = search(units, "(ou=Berlin)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    search("ou=nowhere,dc=example,dc=com", "(objectClass=*)", alSCOPE_BASE);
    search(units, "(objectClass=*)", alSCOPE_BASE);

    EXPECT_FALSE(query->Fetch(entity));
}

TEST_F(CursorTest, AfterDisconnectTheCursorReportsTheMissingConnection)
{
    const auto query = search(units, "(objectClass=*)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    connection.Disconnect();

    const Caught expected{typeid(EKVRCheckError), notConnected, "", ""};
    EXPECT_EQ(caught([&] { query->Fetch(entity); }), expected);
    EXPECT_EQ(caught([&] { query->First(); }), expected);
    EXPECT_EQ(caught([&] { query->Count(); }), expected);
}

/** A server that sends three entries at most. */
class SizeLimitTest : public ServerTest
{
protected:
    SizeLimitTest() : ServerTest({"--size-limit", "3"}) {}

    std::shared_ptr<IKVRLdapQuery> limited() { return search(units, "(objectClass=*)", alSCOPE_SUB); }
};

TEST_F(SizeLimitTest, TheEntriesSentAreYieldedAndTheWarningIsLogged)
{
    const auto query = limited();
    EXPECT_EQ(connection.GetLastError(), 4);
    EXPECT_THAT(log.messages(), IsEmpty());

    EXPECT_THAT(walk(*query), SizeIs(3));

    EXPECT_THAT(log.messages(), ElementsAre(sizeLimitWarning));
}

TEST_F(SizeLimitTest, EveryWalkToTheEndLogsTheWarningAgain)
{
    const auto query = limited();

    walk(*query);
    walk(*query);

    EXPECT_THAT(log.messages(), ElementsAre(sizeLimitWarning, sizeLimitWarning));
}

TEST_F(SizeLimitTest, CountTellsTheEntriesReceived)
{
    EXPECT_EQ(limited()->Count(), 3);
}

TEST_F(SizeLimitTest, StampsReadInMidWalkHideTheSizeLimit)
{
    const auto query = limited();
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));

    EXPECT_NE(entity->modified(), "");

    EXPECT_THAT(walk(*query), SizeIs(2));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SizeLimitTest, AResultOfExactlyTheLimitIsComplete)
{
    const auto query = search(units, "(|(ou=Berlin)(ou=Hamburg)(ou=Köln))", alSCOPE_ONE);

    EXPECT_EQ(connection.GetLastError(), 0);
    EXPECT_THAT(walk(*query), SizeIs(3));
    EXPECT_THAT(log.messages(), IsEmpty());
}

} // namespace
} // namespace KVR::ServerTests
