// The configuration operations for users with fewer rights, and on a server with another database.

#include "ConfigTest.h"

#include <functional>

namespace KVR::ServerTests
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class RightsTest : public ConfigTest
{
protected:
    using ConfigTest::ConfigTest;

    using Calls = std::vector<std::function<void()>>;

    const Calls enumerations{[this] { rules(); },   [this] { indexes(); },
                             [this] { limits(); },  [this] { uniqueness(); },
                             [this] { modules(); }, [this] { databases(); },
                             [this] { schemas(); }, [this] { connection.IsLdapSchemaRegistered("nis"); }};

    /** Those that look at the configuration first; they would change what a private server has. */
    const Calls lookingChanges{
        [this] { connection.AddDBIndex("mail pres"); }, [this] { connection.DeleteDBIndex("uid eq"); },
        [this] { connection.AddDBLimit("users", "size=5"); },
        [this] { connection.AddDBUniqueness("ldap:///?uid?sub"); }, [this] { connection.AdjustGecosType(); }};

    const Calls blindChanges{[this] { connection.AddDBAccessRule(-1, "to attrs=cn by self write"); },
                             [this] { connection.DeleteDBAccessRule(0); }};

    /** The main database, its overlay and the schema "nis", attribute by attribute. */
    std::vector<Attributes> configuration()
    {
        std::vector<Attributes> entries;
        const std::string overlay = "olcOverlay={0}unique," + mainDatabaseDn;
        for (const std::string& dn : {mainDatabaseDn, overlay, std::string("cn={2}nis,cn=schema,cn=config")})
        {
            entries.push_back(read(dn)->attributes);
        }
        return entries;
    }

    void expectNoEffect(const Calls& calls, const std::function<void(const std::function<void()>&)>& expect)
    {
        const std::vector<Attributes> before = configuration();
        for (const auto& call : calls)
        {
            SCOPED_TRACE("call " + std::to_string(&call - calls.data()));
            expect(call);
        }
        EXPECT_EQ(configuration(), before);
    }
};

/** Clients may read everything. */
class ReaderTest : public RightsTest
{
protected:
    ReaderTest() : RightsTest({"--rights", "administrators"}) {}

    void expectInsufficient(const std::function<void()>& call)
    {
        EXPECT_EQ(caught(call),
                  (Caught{typeid(EKVROpenLdapError),
                          "OpenLDAP error " + insufficientAccess + " - Insufficient access", "", ""}));
        EXPECT_EQ(connection.GetLastError(), 50);
    }
};

TEST_F(ReaderTest, WhoMayReadTheConfigurationGetsAllLists)
{
    for (const auto& enumeration : enumerations)
    {
        EXPECT_EQ(caught(enumeration), Caught());
    }
    EXPECT_THAT(indexes(), Contains("uid eq"));
    EXPECT_THAT(databases(), ElementsAre(Pair(KVR_MAIN_DATABASE, "dc=example,dc=com")));
}

TEST_F(ReaderTest, WhoMayNotChangeTheConfigurationIsToldToBeAnAdministrator)
{
    expectNoEffect(lookingChanges, [this](const auto& call) { expectInsufficient(call); });
    expectNoEffect(blindChanges, [this](const auto& call) { expectInsufficient(call); });
}

/** Anonymous clients see nothing of the configuration. */
class StrangerTest : public RightsTest
{
protected:
    StrangerTest() : RightsTest({"--rights", "locked"}) {}
};

TEST_F(StrangerTest, WhoMayNotSeeTheConfigurationIsToldToBeAnAdministrator)
{
    for (const Calls& calls : {enumerations, lookingChanges})
    {
        for (const auto& call : calls)
        {
            EXPECT_EQ(caught(call), hidden());
        }
    }
}

TEST_F(StrangerTest, ChangesThatDoNotLookFirstAreRefusedByTheServer)
{
    for (const auto& call : blindChanges)
    {
        EXPECT_EQ(caught(call),
                  (Caught{typeid(EKVROpenLdapError),
                          "OpenLDAP error " + insufficientAccess + " - Insufficient access", "", ""}));
    }
}

/** The server takes no changes from anonymous clients, whatever their rights. */
class UnauthenticatedTest : public RightsTest
{
protected:
    UnauthenticatedTest() : RightsTest({"--anonymous-writes", "refused"}) {}
};

TEST_F(UnauthenticatedTest, AWishForAuthenticationIsNotTakenForMissingRights)
{
    expectNoEffect(blindChanges,
                   [this](const auto& call)
                   {
                       const Caught error = caught(call);
                       EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
                       EXPECT_THAT(error.message, testing::HasSubstr("Strong(er) authentication required"));
                       EXPECT_EQ(connection.GetLastError(), 8);
                   });
}

/** The server's only database has another name than the one that the module administers. */
class OtherDatabaseTest : public RightsTest
{
protected:
    OtherDatabaseTest() : RightsTest({"--database", otherType()}) {}

    static std::string otherType() { return std::string(KVR_MAIN_DATABASE) == "{1}hdb" ? "mdb" : "hdb"; }

    Caught absent(const std::string& attribute, const std::string& value)
    {
        return refusal(attribute, mainDatabaseDn, value, "No such object", "");
    }
};

TEST_F(OtherDatabaseTest, WhatIsSearchedByTheDatabasesNameIsEmpty)
{
    EXPECT_THAT(rules(), IsEmpty());
    EXPECT_THAT(indexes(), IsEmpty());
    EXPECT_THAT(limits(), IsEmpty());
}

TEST_F(OtherDatabaseTest, TheListOfDatabasesTellsTheOther)
{
    EXPECT_THAT(databases(), ElementsAre(Pair("{1}" + otherType(), "dc=example,dc=com")));
}

TEST_F(OtherDatabaseTest, ASearchBelowTheDatabaseLooksLikeMissingRights)
{
    EXPECT_EQ(caught([&] { uniqueness(); }), hidden());
    EXPECT_EQ(caught([&] { connection.AddDBUniqueness("ldap:///?uid?sub"); }), hidden());
    EXPECT_EQ(caught([&] { connection.DeleteDBUniqueness("ldap:///?uid?sub"); }), hidden());
}

TEST_F(OtherDatabaseTest, AnAdditionFindsNoEntryToChange)
{
    EXPECT_EQ(caught([&] { connection.AddDBAccessRule(-1, "to * by * read"); }),
              absent("olcAccess", "to * by * read"));
    EXPECT_EQ(connection.GetLastError(), 32);
    EXPECT_EQ(caught([&] { connection.AddDBIndex("mail pres"); }), absent("olcDbIndex", "mail pres"));
    EXPECT_EQ(caught([&] { connection.AddDBLimit("users", "size=5"); }), absent("olcLimits", "users size=5"));
}

TEST_F(OtherDatabaseTest, ADeletionOfWhatIsLookedUpFirstHasNoEffect)
{
    EXPECT_EQ(caught([&] { connection.DeleteDBIndex("uid eq"); }), Caught());
    EXPECT_EQ(caught([&] { connection.DeleteDBLimit("users"); }), Caught());
    EXPECT_EQ(caught([&] { connection.DeleteDBAccessRule(0); }), absent("olcAccess", "{0}"));
}

} // namespace
} // namespace KVR::ServerTests
