#include "ConfigTest.h"
#include "LdapResponder.h"

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string smith = "dn.exact=\"cn=Ann Smith,dc=example,dc=com\"";
const std::string jones = "dn.exact=\"cn=Ann Jones,dc=example,dc=com\"";

class CliLimit : public CliConfig
{
protected:
    ~CliLimit() override
    {
        for (const std::string& each : stored("olcLimits"))
        {
            static_cast<void>(each);
            run({"attr", "remove", mainDatabaseDn, "olcLimits", "{0}"});
        }
    }
};

TEST_F(CliLimit, AddedListedAndRemoved)
{
    expectLine({"limit", "add", "users", "size=500"}, "added limit users size=500");
    expectLine({"limit", "add", "anonymous", " size=10 time=5 "}, "added limit anonymous size=10 time=5");
    expectLine({"limit", "list"}, "{0}users size=500\n{1}anonymous size=10 time=5");
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}users size=500", "{1}anonymous size=10 time=5"));
    expectLine({"limit", "delete", "users"}, "removed limit users; it was '{0}users size=500'");
    expectLine({"limit", "delete", "users"}, "unchanged limit users, it has none");
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}anonymous size=10 time=5"));
}

TEST_F(CliLimit, ChangesInJson)
{
    EXPECT_EQ(document({"limit", "add", "users", "size=500"}),
              answer("limit add", {{"who", "users"}, {"limit", "size=500"}, {"result", "added"}}));
    EXPECT_EQ(
        document({"limit", "add", "users", "size=900"}),
        answer("limit add", {{"who", "users"}, {"stored", "{0}users size=500"}, {"result", "unchanged"}}));
    EXPECT_EQ(document({"limit", "list"}),
              answer("limit list",
                     {{"limits", {{{"who", "users"}, {"value", "{0}users size=500"}, {"key", "users"}}}}}));
    EXPECT_EQ(
        document({"limit", "delete", "users"}),
        answer("limit delete", {{"who", "users"}, {"stored", "{0}users size=500"}, {"result", "removed"}}));
    EXPECT_EQ(document({"limit", "delete", "users"}),
              answer("limit delete", {{"who", "users"}, {"result", "unchanged"}}));
    EXPECT_EQ(document({"limit", "list"}), answer("limit list", {{"limits", nlohmann::json::array()}}));
}

TEST_F(CliLimit, BesideAnExistingOneIsUnchangedAndShowsTheLimitInForce)
{
    ASSERT_EQ(run({"limit", "add", "users", "size=500"}).status, 0);
    expectLine({"limit", "add", "users", "size=900"},
               "unchanged limit users; in force is '{0}users size=500'");
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}users size=500"));
}

TEST_F(CliLimit, OfARequesterInOtherCaseIsShownBesideIt)
{
    ASSERT_EQ(run({"limit", "add", "users", "size=500"}).status, 0);
    expectLine({"limit", "delete", "Users"}, "unchanged limit Users; stored is '{0}users size=500'");
    EXPECT_EQ(document({"limit", "delete", "USERS"}).at("stored"), "{0}users size=500");
    const Outcome outcome = run({"limit", "add", "USERS", "size=900"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: limit add: OpenLDAP error on modifying attribute 'olcLimits' of dn '" +
                  mainDatabaseDn +
                  "' to value 'USERS size=900' - Other (e.g., implementation specific) error: <olcLimits> "
                  "handler exited with 1\n"
                  "kvr-ldap: hint: stored is '{0}users size=500'\n");
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}users size=500"));
}

TEST_F(CliLimit, TwoThatFallOnOneKeyAreShownAsSuchAndNotDeletedByTheirStump)
{
    ASSERT_EQ(run({"limit", "add", smith, "size=1"}).status, 0);
    ASSERT_EQ(run({"limit", "add", jones, "size=2"}).status, 0);
    const std::string both = "'{0}" + smith + " size=1', '{1}" + jones + " size=2'";

    const Outcome list = run({"limit", "list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out, "{0}" + smith + " size=1\n{1}" + jones + " size=2\n");
    EXPECT_EQ(list.err, "kvr-ldap: limit list: for the plug-in these have one key, 'dn.exact=\"cn=Ann': " +
                            both + '\n');
    const nlohmann::json rows = run({"limit", "list", "--output", "json"}).json().at("limits");
    EXPECT_EQ(
        rows.at(0),
        nlohmann::json({{"who", smith}, {"value", "{0}" + smith + " size=1"}, {"key", "dn.exact=\"cn=Ann"}}));
    EXPECT_EQ(rows.at(1).at("who"), jones);

    expectFailure({"limit", "delete", "dn.exact=\"cn=Ann"}, 2,
                  "kvr-ldap: limit delete: 'dn.exact=\"cn=Ann' is only the beginning of a requester: " +
                      both + "\nkvr-ldap: hint: give the requester with its blanks and quotation marks\n");
    EXPECT_EQ(stored("olcLimits").size(), 2U);

    expectLine({"limit", "delete", smith}, "removed limit " + smith + "; it was '{0}" + smith + " size=1'");
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}" + jones + " size=2"));
}

TEST_F(CliLimit, AStumpDeletesNothingEvenWhereOneLimitHasItsKey)
{
    ASSERT_EQ(run({"limit", "add", smith, "size=1"}).status, 0);
    EXPECT_EQ(run({"limit", "delete", "dn.exact=\"cn=Ann"}).status, 2);
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}" + smith + " size=1"));
}

TEST_F(CliLimit, OfARequesterWithBlanksIsFoundBesideAnotherWithItsKey)
{
    ASSERT_EQ(run({"limit", "add", smith, "size=1"}).status, 0);
    expectLine({"limit", "add", smith, "size=3"},
               "unchanged limit " + smith + "; in force is '{0}" + smith + " size=1'");
    expectLine({"limit", "add", jones, "size=2"}, "added limit " + jones + " size=2");
    expectLine({"limit", "delete", jones}, "removed limit " + jones + "; it was '{1}" + jones + " size=2'");
}

TEST_F(CliLimit, WhatIsNoRequesterOrNoLimitIsAUsageError)
{
    expectFailure({"limit", "add", "users", " "}, 2,
                  "kvr-ldap: limit add: the limit is empty\n"
                  "kvr-ldap: hint: it reads like size=500, see slapd.conf(5)\n");
    for (const std::string who : {"", " ", "two words", "dn=\"open", "a\tb"})
    {
        EXPECT_EQ(run({"limit", "add", who, "size=1"}).status, 2) << who;
        EXPECT_EQ(run({"limit", "delete", who}).status, 2) << who;
    }
    EXPECT_THAT(stored("olcLimits"), IsEmpty());
}

TEST_F(CliLimit, ALatin1ProcessSendsUtf8AndShowsLatin1)
{
    const Setting setting = inLocale(latin1);
    const std::string inLatin1 = "dn.exact=\"cn=J\xfcrgen,dc=example,dc=com\"";
    const std::string inUtf8 = "dn.exact=\"cn=J\xc3\xbcrgen,dc=example,dc=com\"";
    expectLine({"limit", "add", inLatin1, "size=1"}, "added limit " + inLatin1 + " size=1", setting);
    EXPECT_THAT(stored("olcLimits"), ElementsAre("{0}" + inUtf8 + " size=1"));
    expectLine({"limit", "list"}, "{0}" + inLatin1 + " size=1", setting);
    expectLine({"limit", "delete", inLatin1},
               "removed limit " + inLatin1 + "; it was '{0}" + inLatin1 + " size=1'", setting);
}

/** Stored limits that no present server accepts, but that other versions may have. */
class CliOddLimit : public testing::Test
{
protected:
    void serve(const std::vector<std::string>& limits)
    {
        server.always(Operation::Search, Answer().entry(mainDatabaseDn, {{"olcLimits", limits}}));
    }

    Outcome run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--uri", server.uri()});
        return kvrLdap(arguments);
    }

    LdapResponder server;
};

TEST_F(CliOddLimit, TwoOfOneRequesterAreBothToldAndTheFirstIsInForce)
{
    serve({"{0}users size=1", "{1}users size=2"});
    EXPECT_EQ(run({"limit", "add", "users", "size=3"}).out,
              "unchanged limit users; in force is '{0}users size=1', not '{1}users size=2'\n");
    EXPECT_TRUE(server.requests(Operation::Modify).empty());
}

TEST_F(CliOddLimit, TwoOfOneRequesterAreNotDeleted)
{
    serve({"{0}users size=1", "{1}users size=2"});
    const Outcome outcome = run({"limit", "delete", "users"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(
        outcome.err,
        HasSubstr("several limits have the requester 'users': '{0}users size=1', '{1}users size=2'\n"));
    EXPECT_TRUE(server.requests(Operation::Modify).empty());
}

TEST_F(CliOddLimit, OneThatThePluginPassesOverIsListedAndToldWithoutAKey)
{
    serve({"{0}users", "{1}anonymous size=2"});
    const Outcome outcome = run({"limit", "list", "--output", "json"});
    EXPECT_EQ(outcome.err, "kvr-ldap: limit list: the plug-in passes over '{0}users'\n");
    EXPECT_TRUE(outcome.json().at("limits").at(0).at("key").is_null());
    EXPECT_EQ(outcome.json().at("limits").at(1).at("key"), "anonymous");
}

TEST_F(CliOddLimit, OneThatIsAddedBesideItsLikeShowsIt)
{
    serve({"{0}users size=1"});
    EXPECT_EQ(run({"limit", "add", "USERS", "size=3"}).out,
              "added limit USERS size=3; stored is '{0}users size=1'\n");
    EXPECT_EQ(run({"limit", "add", "USERS", "size=3", "--output", "json"}).json().at("stored"),
              "{0}users size=1");
}

} // namespace
