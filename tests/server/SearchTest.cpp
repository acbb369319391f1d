// What Search asks a real server for and what it makes of the answer.

#include "ServerTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

const std::string bench = "cn=bench,ou=lab,dc=example,dc=com";
const std::string drawer = "cn=drawer,cn=bench,ou=lab,dc=example,dc=com";

class SearchTest : public ServerTest
{
protected:
    std::vector<std::string> found(alSCOPE scope) { return walk(*search(bench, "(objectClass=*)", scope)); }
};

TEST_F(SearchTest, ScopeBaseYieldsTheBaseOnly)
{
    EXPECT_THAT(found(alSCOPE_BASE), ElementsAre(bench));
}

TEST_F(SearchTest, ScopeOneYieldsTheDirectChildren)
{
    EXPECT_THAT(found(alSCOPE_ONE), ElementsAre(drawer));
    EXPECT_THAT(walk(*search("dc=example,dc=com", "(objectClass=*)", alSCOPE_ONE)),
                UnorderedElementsAre("ou=people,dc=example,dc=com", "ou=units,dc=example,dc=com",
                                     "ou=lab,dc=example,dc=com"));
}

TEST_F(SearchTest, ScopeSubYieldsTheBaseAndEverythingBelow)
{
    EXPECT_THAT(found(alSCOPE_SUB), UnorderedElementsAre(bench, drawer));
}

TEST_F(SearchTest, ScopeChildrenLeavesTheBaseOut)
{
    EXPECT_THAT(found(alSCOPE_CHILDREN), ElementsAre(drawer));
}

TEST_F(SearchTest, AnUnknownScopeSearchesTheSubtree)
{
    EXPECT_THAT(found(static_cast<alSCOPE>(7)), UnorderedElementsAre(bench, drawer));
    EXPECT_THAT(found(static_cast<alSCOPE>(-1)), UnorderedElementsAre(bench, drawer));
}

TEST_F(SearchTest, AMissingBaseIsAnEmptyPointerAndNoError)
{
    EXPECT_EQ(search("ou=nowhere,dc=example,dc=com", "(objectClass=*)", alSCOPE_SUB), nullptr);
    EXPECT_EQ(connection.GetLastError(), 32);
}

TEST_F(SearchTest, NoMatchIsAnEmptyResultAndLeavesTheEntityEmpty)
{
    const auto query = search("ou=lab,dc=example,dc=com", "(cn=nobody)", alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;

    ASSERT_NE(query, nullptr);
    EXPECT_EQ(query->Count(), 0);
    EXPECT_FALSE(query->Fetch(entity));
    EXPECT_EQ(entity, nullptr);
}

TEST_F(SearchTest, NoAttributeNamesYieldAllUserAttributesAndNoOperationalOnes)
{
    EXPECT_THAT(read(drawer)->attributes,
                UnorderedElementsAre(Pair("objectClass", "device"), Pair("cn", "drawer")));
}

TEST_F(SearchTest, OperationalAttributesComeWhenTheyAreNamed)
{
    EXPECT_THAT(read(bench, {"createTimestamp", "sn"})->attributes,
                UnorderedElementsAre(Pair("createTimestamp", "20240131120000Z"), Pair("sn", "Bench")));
}

TEST_F(SearchTest, OnlyTheNamedAttributesCome)
{
    EXPECT_THAT(read(bench, {"sn"})->attributes, ElementsAre(Pair("sn", "Bench")));
}

TEST_F(SearchTest, ANamedAttributeThatTheEntryLacksIsAbsent)
{
    EXPECT_THAT(read(bench, {"mail"})->attributes, IsEmpty());
}

TEST_F(SearchTest, TheServersSpellingOfANameIsKept)
{
    const auto entity = read(drawer, {"OBJECTCLASS"});

    EXPECT_THAT(entity->attributes, Not(Contains(Key("OBJECTCLASS"))));
    EXPECT_EQ(entity->ValByAttr("objectClass", true), "device");
    EXPECT_EQ(entity->ValByAttr("objectclass", true), "");
}

TEST_F(SearchTest, TheListOfNamesIsNotChanged)
{
    std::list<std::string> names{"sn", "cn"};

    connection.Search(bench, "(objectClass=*)", names, alSCOPE_BASE);

    EXPECT_THAT(names, ElementsAre("sn", "cn"));
}

TEST_F(SearchTest, TheValuesOfAnAttributeKeepTheServersOrder)
{
    std::list<std::string> values;

    EXPECT_EQ(read(bench)->ValsByAttr("description", values, false), 3U);

    EXPECT_THAT(values, ElementsAre("third", "first", "second"));
}

TEST_F(SearchTest, AValueIsCutAtItsFirstZeroByte)
{
    EXPECT_EQ(read("cn=zero,ou=lab,dc=example,dc=com")->ValByAttr("description", false), "before");
}

TEST_F(SearchTest, OctetsCountUpToTheFirstZeroByte)
{
    const auto entity = read("cn=octets,ou=lab,dc=example,dc=com");

    EXPECT_EQ(entity->ValByAttr("jpegPhoto", false), "\x89PNG");
    EXPECT_THAT(entity->attributes, Contains(Pair("userPassword", "")));
}

TEST_F(SearchTest, DnFilterAndValuesAreUtf8)
{
    const auto query = search("ou=lab,dc=example,dc=com", "(cn=Jürgen Müller)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;

    ASSERT_TRUE(query->Fetch(entity));

    EXPECT_EQ(entity->dn, "cn=Jürgen Müller,ou=lab,dc=example,dc=com");
    EXPECT_EQ(entity->ValByAttr("sn", false), "Müller");
}

TEST_F(SearchTest, AFilterThatIsNoFilterIsRefusedByTheLibrary)
{
    EXPECT_EQ(
        caught([&] { search(bench, "(cn=100%s", alSCOPE_SUB); }),
        (Caught{typeid(EKVROpenLdapError),
                "OpenLDAP error on searching 'cn=bench,ou=lab,dc=example,dc=com (cn=100%s' - Bad search "
                "filter in KVRLdapConnection.cpp:LINE(Search)",
                "", "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp:LINE(Search)"}));
}

TEST_F(SearchTest, ABaseThatIsNoDnIsRefusedByTheServer)
{
    EXPECT_EQ(caught([&] { search("no dn", "(objectClass=*)", alSCOPE_SUB); }),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error on searching 'no dn (objectClass=*)' - Invalid DN syntax in "
                      "KVRLdapConnection.cpp:LINE(Search)",
                      "invalid DN", "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp:LINE(Search)"}));
}

TEST_F(SearchTest, TheConfigurationTreeHoldsTheMainDatabase)
{
    const auto entity = read(mainDatabaseDn);

    EXPECT_EQ(entity->dn, mainDatabaseDn);
    EXPECT_EQ(entity->ValByAttr("olcSuffix", false), "dc=example,dc=com");
}

TEST_F(SearchTest, TheMainDatabaseIsOfTheClassThatTheServerStoresItIn)
{
    const bool trueHdb = server.isVersion24() && mainDatabaseDn == "olcDatabase={1}hdb,cn=config";
    const auto entity = read(mainDatabaseDn);
    std::list<std::string> classes;

    entity->ValsByAttr("objectClass", classes, false);

    EXPECT_THAT(classes, ElementsAre("olcDatabaseConfig", trueHdb ? "olcHdbConfig" : "olcMdbConfig"));
}

TEST_F(SearchTest, WithoutASessionSearchFails)
{
    connection.Disconnect();

    EXPECT_EQ(caught([&] { search(bench, "(objectClass=*)", alSCOPE_BASE); }),
              (Caught{typeid(EKVRCheckError), notConnected, "", ""}));
}

/** A server that tells anonymous clients that ou=lab exists, and nothing more. */
class ForbiddenSearchTest : public ServerTest
{
protected:
    ForbiddenSearchTest() : ServerTest({"--access", "to dn.subtree=ou=lab,dc=example,dc=com by * disclose"})
    {
    }

    Caught forbidden()
    {
        return caught([this] { search("ou=lab,dc=example,dc=com", "(objectClass=*)", alSCOPE_SUB); });
    }
};

TEST_F(ForbiddenSearchTest, ABaseThatMayNotBeReadIsInsufficientAccess)
{
    EXPECT_EQ(forbidden(),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error " + insufficientAccess + " - Insufficient access", "", ""}));
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(ForbiddenSearchTest, SearchWorksOnAfterInsufficientAccess)
{
    forbidden();

    const auto query = search("ou=units,dc=example,dc=com", "(objectClass=*)", alSCOPE_BASE);

    ASSERT_NE(query, nullptr);
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(query->Count(), 1);
}

TEST_F(ForbiddenSearchTest, InsufficientAccessInMidWalkEndsTheWalkAsNotConnected)
{
    const auto query = search("ou=units,dc=example,dc=com", "(objectClass=*)", alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    forbidden();

    const Caught expected{typeid(EKVRCheckError), notConnected, "", ""};
    EXPECT_EQ(caught([&] { query->Fetch(entity); }), expected);
    EXPECT_EQ(caught([&] { query->First(); }), expected);
    EXPECT_EQ(caught([&] { query->Count(); }), expected);
}

} // namespace
} // namespace KVR::ServerTests
