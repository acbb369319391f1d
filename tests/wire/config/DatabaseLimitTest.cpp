#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char limitSearch[] = "search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcLimits";

class LimitListTest : public ConfigTest
{
protected:
    TextMap listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateDBLimits(limits);
        return limits;
    }

    TextMap listedOf(const std::vector<std::string>& values)
    {
        return listedFor(database("olcLimits", values));
    }

    TextMap limits;
};

TEST_F(LimitListTest, LimitsAreListedByTheirRequesterWithTheFullStoredValue)
{
    EXPECT_THAT(listedOf({"{0}users size=500", "{1}anonymous size=unlimited time=unlimited", "{2}* size=1"}),
                ElementsAre(Pair("*", "{2}* size=1"),
                            Pair("anonymous", "{1}anonymous size=unlimited time=unlimited"),
                            Pair("users", "{0}users size=500")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(LimitListTest, OfEqualRequestersTheLastOneInTheServersOrderIsListed)
{
    EXPECT_THAT(listedOf({"{0}users size=10", "{1}users time=5"}),
                ElementsAre(Pair("users", "{1}users time=5")));
    EXPECT_THAT(listedOf({"{1}users time=5", "{0}users size=10"}),
                ElementsAre(Pair("users", "{0}users size=10")));
}

TEST_F(LimitListTest, AValueWithoutAPrefixIsSkipped)
{
    EXPECT_THAT(listedOf({"users size=10", "{0 users size=10", "{1}anonymous size=1"}),
                ElementsAre(Pair("anonymous", "{1}anonymous size=1")));
}

TEST_F(LimitListTest, AValueWithoutABlankBehindThePrefixIsSkipped)
{
    EXPECT_THAT(listedOf({"{0}", "{1}users", "{2}users\tsize=10", "a {3}users", "{4}anonymous size=1"}),
                ElementsAre(Pair("anonymous", "{4}anonymous size=1")));
}

TEST_F(LimitListTest, ThePrefixEndsAtTheFirstBrace)
{
    EXPECT_THAT(listedOf({"{0}dn=\"cn={7}a\" size=1", "x}users size=2", "cn={9}b size=3"}),
                ElementsAre(Pair("b", "cn={9}b size=3"), Pair("dn=\"cn={7}a\"", "{0}dn=\"cn={7}a\" size=1"),
                            Pair("users", "x}users size=2")));
}

TEST_F(LimitListTest, TheRequesterEndsAtTheFirstBlank)
{
    EXPECT_THAT(listedOf({"{0}dn.exact=\"cn=a b,dc=x\" size=1"}),
                ElementsAre(Pair("dn.exact=\"cn=a", "{0}dn.exact=\"cn=a b,dc=x\" size=1")));
}

TEST_F(LimitListTest, TheRequesterIsTrimmed)
{
    EXPECT_THAT(listedOf({"{0}\tusers\n size=1"}), ElementsAre(Pair("users", "{0}\tusers\n size=1")));
}

TEST_F(LimitListTest, ABlankRightBehindThePrefixGivesTheEmptyRequester)
{
    EXPECT_THAT(listedOf({"{0} users size=1", "{1}\t size=2"}), ElementsAre(Pair("", "{1}\t size=2")));
}

TEST_F(LimitListTest, ADatabaseWithoutLimitsGivesAnEmptyMapAndLogsNothing)
{
    limits = {{"old", "old"}};
    EXPECT_THAT(listedFor(Answer().entry(mainDatabase)), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(LimitListTest, OfSeveralEntriesTheFirstCounts)
{
    EXPECT_THAT(listedFor(database("olcLimits", {"{0}a x"}).entry("cn=b", {{"olcLimits", {"{0}b x"}}})),
                ElementsAre(Pair("a", "{0}a x")));
}

TEST_F(LimitListTest, LimitsAreNotConvertedASecondTime)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedOf({"{0}dn=\"cn=\xc3\xa4\" size=1"}),
                ElementsAre(Pair("dn=\"cn=\xe4\"", "{0}dn=\"cn=\xe4\" size=1")));
}

TEST_F(LimitListTest, TheEntityIsReadQuietlyAfterOneFetchWithoutACount)
{
    connectOverriding();
    overriding.results.push_back(
        MadeResult{{{"cn=a", {{"olcLimits", "{0}\xc3\xa4 x"}}}, {"cn=b", {{"olcLimits", "{0}b x"}}}}, 2});
    overriding.EnumerateDBLimits(limits);
    EXPECT_THAT(limits, ElementsAre(Pair("\xc3\xa4", "{0}\xc3\xa4 x")));
    EXPECT_THAT(overriding.calls,
                ElementsAre("Search cn=config scope 2 olcDatabase=" KVR_MAIN_DATABASE " for olcLimits",
                            "First", "Fetch", "ValsByAttr olcLimits quiet"));
}

TEST_F(LimitListTest, WhatFetchDoesNotTellIsNotListed)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcLimits", "{0}a x"}}}}, 1, 0, false});
    overriding.EnumerateDBLimits(limits);
    EXPECT_THAT(limits, IsEmpty());
}

class LimitChangeTest : public ConfigTest
{
protected:
    /** Lets the server have these limits. */
    void has(const std::vector<std::string>& values)
    {
        responder.always(Operation::Search, database("olcLimits", values));
    }

    /** The modifications that adding this limit sends. */
    std::vector<std::string> sentToAdd(const std::string& who, const std::string& limit)
    {
        responder.clear();
        connection.AddDBLimit(who, limit);
        return withoutSearch();
    }

    std::vector<std::string> sentToDelete(const std::string& who)
    {
        responder.clear();
        connection.DeleteDBLimit(who);
        return withoutSearch();
    }

    static std::string change(int code, const std::string& value)
    {
        return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config " + std::to_string(code) + " olcLimits '" +
               value + "'";
    }

private:
    std::vector<std::string> withoutSearch() const
    {
        const std::vector<std::string> requests = sent();
        EXPECT_EQ(limitSearch, first(requests));
        return without(1, requests);
    }
};

TEST_F(LimitChangeTest, TheLimitIsTrimmedTheRequesterIsNot)
{
    EXPECT_THAT(sentToAdd("users", "  size=10  "), ElementsAre(change(0, "users size=10")));
    EXPECT_THAT(sentToAdd("users", "\t\n size=10  time=5\v\f\r"),
                ElementsAre(change(0, "users size=10  time=5")));
    EXPECT_THAT(sentToAdd("  users ", "size=10"), ElementsAre(change(0, "  users  size=10")));
}

TEST_F(LimitChangeTest, ALimitOfBlanksIsNotEmptyAndLeavesTheRequesterAndABlank)
{
    EXPECT_THAT(sentToAdd("users", "  "), ElementsAre(change(0, "users ")));
}

TEST_F(LimitChangeTest, TextsAreSentAsTheyAre)
{
    EXPECT_THAT(sentToAdd("%s{0}", "%n"), ElementsAre(change(0, "%s{0} %n")));
}

TEST_F(LimitChangeTest, AnEmptyRequesterIsAddedAsABlankAndTheLimit)
{
    has({"{0}users size=1"});
    EXPECT_THAT(sentToAdd("", "size=10"), ElementsAre(change(0, " size=10")));
}

TEST_F(LimitChangeTest, AnEmptyRequesterThatIsListedIsNotAdded)
{
    has({"{0} size=5"});
    EXPECT_THAT(sentToAdd("", "size=10"), IsEmpty());
}

TEST_F(LimitChangeTest, ALimitOfTheSameRequesterIsNeitherReplacedNorReported)
{
    has({"{0}users size=5"});
    EXPECT_THAT(sentToAdd("users", "size=10"), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(LimitChangeTest, TheRequesterIsLookedUpExactlyAsGiven)
{
    has({"{0}users size=5"});
    for (const std::string who : {" users", "users ", "Users", "user", "users size=5", "{0}users"})
    {
        EXPECT_THAT(sentToAdd(who, "size=10"), ElementsAre(change(0, who + " size=10")));
        EXPECT_THAT(sentToDelete(who), IsEmpty()) << who;
    }
}

TEST_F(LimitChangeTest, ADeletionSendsTheFullStoredValue)
{
    has({"{0}anonymous size=1", "{1}users  size=unlimited "});
    EXPECT_THAT(sentToDelete("users"), ElementsAre(change(1, "{1}users  size=unlimited ")));
}

TEST_F(LimitChangeTest, OfEqualRequestersOnlyTheLastIsDeleted)
{
    has({"{0}users size=10", "{1}users time=5"});
    EXPECT_THAT(sentToDelete("users"), ElementsAre(change(1, "{1}users time=5")));
}

TEST_F(LimitChangeTest, ARequesterWithoutALimitTextIsNotListedSoNeitherDeletedNorInTheWay)
{
    has({"{2}anonymous"});
    EXPECT_THAT(sentToDelete("anonymous"), IsEmpty());
    EXPECT_THAT(sentToAdd("anonymous", "size=1"), ElementsAre(change(0, "anonymous size=1")));
}

TEST_F(LimitChangeTest, OnADatabaseWithoutLimitsNothingIsLogged)
{
    responder.always(Operation::Search, Answer().entry(mainDatabase));
    EXPECT_THAT(sentToAdd("users", "size=1"), ElementsAre(change(0, "users size=1")));
    EXPECT_THAT(sentToDelete("users"), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(LimitChangeTest, AStoredValueIsSentBackInTheServersCharacterSet)
{
    connectIn("ISO-8859-1");
    has({"{0}dn=\"cn=\xc3\xa4\" size=1"});
    EXPECT_THAT(sentToDelete("dn=\"cn=\xe4\""), ElementsAre(change(1, "{0}dn=\"cn=\xc3\xa4\" size=1")));
}

TEST_F(LimitChangeTest, ARefusedDeletionTellsTheStoredValue)
{
    has({"{0}users size=10"});
    responder.onModify(Answer().result(16, "words"));
    EXPECT_EQ(refusedChange("olcLimits", mainDatabase, "{0}users size=10", 16, "words"),
              caught([&] { connection.DeleteDBLimit("users"); }));
}

} // namespace

} // namespace KVR
