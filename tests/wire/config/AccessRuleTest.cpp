#include "ConfigTest.h"

#include <limits>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char rule[] = "to attrs=userPassword by self write";
constexpr char ruleSearch[] =
    "Search cn=config scope 2 (&(objectClass=olcDatabaseConfig)(olcDatabase=" KVR_MAIN_DATABASE
    ")) for olcAccess";

Caught invalidIndex(const std::string& index)
{
    return plainError("Invalid DB access rule index " + index + ".");
}

std::string addition(const std::string& value)
{
    return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 0 olcAccess '" + value + "'";
}

std::string deletion(const std::string& value)
{
    return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 1 olcAccess '" + value + "'";
}

class AccessRuleListTest : public ConfigTest
{
protected:
    Texts listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateDBAccessRules(rules);
        return rules;
    }

    Texts rules;
};

TEST_F(AccessRuleListTest, RulesKeepTheServersOrderAndTheirPrefixes)
{
    EXPECT_THAT(
        listedFor(database("olcAccess", {"{0}to attrs=userPassword by self write", "{1}to * by * read",
                                         "{1}to * by * read", "x"})),
        ElementsAre("{0}to attrs=userPassword by self write", "{1}to * by * read", "{1}to * by * read", "x"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(AccessRuleListTest, ADatabaseWithoutRulesGivesAnEmptyListAndLogsNothing)
{
    EXPECT_THAT(listedFor(Answer().entry(mainDatabase)), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(AccessRuleListTest, ValuesOfEveryAttributeAreListedInTheEntitysOrder)
{
    EXPECT_THAT(listedFor(Answer().entry(mainDatabase, {{"olcAccess", {"{0}b", "{1}a"}}, {"cn", {"c"}}})),
                ElementsAre("c", "{0}b", "{1}a"));
}

TEST_F(AccessRuleListTest, RulesAreConvertedTwice)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedFor(database("olcAccess", {"{0}\xc3\x83\xc2\xa4"})), ElementsAre("{0}\xe4"));
}

TEST_F(AccessRuleListTest, AnUmlautFailsAtTheSecondConversionAfterTheRulesBeforeIt)
{
    connectIn("ISO-8859-1");
    responder.onSearch(database("olcAccess", {"{0}a", "{1}\xc3\xa4", "{2}c"}));
    rules = {"old"};
    EXPECT_EQ(conversionFailure(), caught([&] { connection.EnumerateDBAccessRules(rules); }));
    EXPECT_THAT(rules, ElementsAre("{0}a"));
}

TEST_F(AccessRuleListTest, InUtf8RulesStayAsTheyAre)
{
    EXPECT_THAT(listedFor(database("olcAccess", {"{0}\xc3\xa4"})), ElementsAre("{0}\xc3\xa4"));
}

TEST_F(AccessRuleListTest, TwoDatabasesAreAnInternalErrorAndTheListIsEmpty)
{
    responder.onSearch(database("olcAccess", {"{0}a"}).entry("cn=other", {{"olcAccess", {"{0}b"}}}));
    rules = {"old"};
    const Caught error = caught([&] { connection.EnumerateDBAccessRules(rules); });
    EXPECT_EQ(std::type_index(typeid(EKVRInternalError)), error.type);
    EXPECT_THAT(error.message,
                ::testing::MatchesRegex("Unexpected error [0-9]+ in KVRLdapConnectionAccess.cpp:[0-9]+ - "
                                        "EnumerateDBAccessRules\\(\\)"));
    EXPECT_THAT(rules, IsEmpty());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(AccessRuleListTest, TheErrorNumberIsTheOneThatCountLeft)
{
    connectOverriding();
    for (const int number : {0, EEXIST, EDOM})
    {
        overriding.results.push_back(MadeResult{{}, 2, number});
        EXPECT_EQ(unexpected(std::to_string(number), "KVRLdapConnectionAccess.cpp", "EnumerateDBAccessRules"),
                  caughtUnexpected([&] { overriding.EnumerateDBAccessRules(rules); }));
        EXPECT_EQ("Count", last(overriding.calls));
    }
}

TEST_F(AccessRuleListTest, OneFetchIsMadeAndEachValueConvertedByTheOverridingOperation)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{
        {{"cn=a", {{"olcAccess", "{0}a"}, {"olcAccess", "{1}b"}}}, {"cn=b", {{"olcAccess", "c"}}}}, 1});
    overriding.EnumerateDBAccessRules(rules);
    EXPECT_THAT(rules, ElementsAre("local {0}a", "local {1}b"));
    EXPECT_THAT(overriding.calls,
                ElementsAre(ruleSearch, "First", "Count", "Fetch", "Utf8ToLocal {0}a", "Utf8ToLocal {1}b"));
}

TEST_F(AccessRuleListTest, ACountOf0OrBelowIsNoError)
{
    connectOverriding();
    for (const int count : {0, -1})
    {
        overriding.results.push_back(MadeResult{{{"cn=a", {{"olcAccess", "a"}}}}, count});
        overriding.EnumerateDBAccessRules(rules);
        EXPECT_THAT(rules, ElementsAre("local a")) << count;
    }
}

TEST_F(AccessRuleListTest, WhatFetchDoesNotTellIsNotListed)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcAccess", "a"}}}}, 1, 0, false});
    overriding.EnumerateDBAccessRules(rules);
    EXPECT_THAT(rules, IsEmpty());
}

class AccessRuleChangeTest : public ConfigTest
{
protected:
    Caught adding(int index, const std::string& text)
    {
        return caught([&] { connection.AddDBAccessRule(index, text); });
    }

    Caught deleting(int index)
    {
        return caught([&] { connection.DeleteDBAccessRule(index); });
    }

    /** The only request that adding this rule sends. */
    std::vector<std::string> sentToAdd(int index, const std::string& text)
    {
        responder.clear();
        EXPECT_EQ(Caught(), adding(index, text));
        return sent();
    }
};

TEST_F(AccessRuleChangeTest, AtTheEndTheBareRuleIsSent)
{
    EXPECT_THAT(sentToAdd(-1, rule), ElementsAre(addition("to attrs=userPassword by self write")));
}

TEST_F(AccessRuleChangeTest, AtAPositionTheRuleFollowsItsPrefixAndOneBlank)
{
    EXPECT_THAT(sentToAdd(0, rule), ElementsAre(addition("{0} to attrs=userPassword by self write")));
    EXPECT_THAT(sentToAdd(12, rule), ElementsAre(addition("{12} to attrs=userPassword by self write")));
}

TEST_F(AccessRuleChangeTest, ThereIsNoUpperBound)
{
    EXPECT_THAT(sentToAdd(std::numeric_limits<int>::max(), "r"), ElementsAre(addition("{2147483647} r")));
    responder.clear();
    EXPECT_EQ(Caught(), deleting(std::numeric_limits<int>::max()));
    EXPECT_THAT(sent(), ElementsAre(deletion("{2147483647}")));
}

TEST_F(AccessRuleChangeTest, TheRuleIsSentAsItIs)
{
    EXPECT_THAT(sentToAdd(-1, "  {7}to * by %s %n\t "), ElementsAre(addition("  {7}to * by %s %n\t ")));
    EXPECT_THAT(sentToAdd(1, "  {7}to * by %s %n\t "), ElementsAre(addition("{1}   {7}to * by %s %n\t ")));
}

TEST_F(AccessRuleChangeTest, TheRuleIsConverted)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(sentToAdd(1, "\xe4"), ElementsAre(addition("{1} \xc3\xa4")));
}

TEST_F(AccessRuleChangeTest, AnEmptyRuleAtTheEndIsRefusedBySetAttrValue)
{
    EXPECT_EQ(emptyArgument("SetAttrValue"), adding(-1, ""));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(AccessRuleChangeTest, AnEmptyRuleAtAPositionIsSentAsPrefixAndBlank)
{
    EXPECT_THAT(sentToAdd(0, ""), ElementsAre(addition("{0} ")));
}

TEST_F(AccessRuleChangeTest, ADeletionSendsTheBarePrefix)
{
    EXPECT_EQ(Caught(), deleting(2));
    EXPECT_EQ(Caught(), deleting(0));
    EXPECT_THAT(sent(), ElementsAre(deletion("{2}"), deletion("{0}")));
    EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{1, "olcAccess", true}));
}

TEST_F(AccessRuleChangeTest, IndexesBelowTheLowestAreRefusedAndNothingIsSent)
{
    EXPECT_EQ(invalidIndex("-2"), adding(-2, rule));
    EXPECT_EQ(invalidIndex("-2147483648"), adding(std::numeric_limits<int>::min(), ""));
    EXPECT_EQ(invalidIndex("-1"), deleting(-1));
    EXPECT_EQ(invalidIndex("-2147483648"), deleting(std::numeric_limits<int>::min()));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(AccessRuleChangeTest, TheSessionIsLookedAtBeforeTheIndex)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), adding(-2, rule));
    EXPECT_EQ(notConnected(), adding(-1, ""));
    EXPECT_EQ(notConnected(), deleting(-1));
    EXPECT_EQ(notConnected(), deleting(0));
}

TEST_F(AccessRuleChangeTest, TheServersRefusalIsPassedOn)
{
    responder.onModify(Answer().result(16, "no value {99}"));
    EXPECT_EQ(refusedChange("olcAccess", mainDatabase, "{99}", 16, "no value {99}"), deleting(99));
    responder.onModify(Answer().result(80, "words"));
    EXPECT_EQ(refusedChange("olcAccess", mainDatabase, "{1} x", 80, "words"), adding(1, "x"));
    EXPECT_THAT(sent(), ElementsAre(deletion("{99}"), addition("{1} x")));
}

TEST_F(AccessRuleChangeTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), adding(-1, "x")) << code;
        responder.onModify(Answer().result(code));
        EXPECT_EQ(accessError(code), deleting(1)) << code;
    }
}

TEST_F(AccessRuleChangeTest, ASessionThatShouldBeReconnectedIsASessionAllTheSame)
{
    responder.onModify(Answer().result(50));
    EXPECT_EQ(accessError(50), deleting(1));
    EXPECT_EQ(Caught(), adding(-1, "x"));
    EXPECT_EQ(Caught(), deleting(1));
}

TEST_F(AccessRuleChangeTest, OnlyTheOverridingSetAttrValueIsCalledWithTheModesToAddAndToRemoveAll)
{
    connectOverriding();
    overriding.AddDBAccessRule(-1, "x");
    overriding.AddDBAccessRule(3, "x");
    overriding.AddDBAccessRule(-1, "");
    overriding.DeleteDBAccessRule(3);
    EXPECT_THAT(overriding.calls,
                ElementsAre("SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcAccess 'x' 43",
                            "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcAccess '{3} x' 43",
                            "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcAccess '' 43",
                            "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcAccess '{3}' 33"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AccessRuleChangeTest, TheOverridingSetAttrValueIsNotCalledWithoutASession)
{
    EXPECT_EQ(notConnected(), caught([&] { overriding.AddDBAccessRule(0, rule); }));
    EXPECT_EQ(notConnected(), caught([&] { overriding.DeleteDBAccessRule(0); }));
    EXPECT_THAT(overriding.calls, IsEmpty());
}

TEST_F(AccessRuleChangeTest, AFailureOfTheOverridingSetAttrValueIsPassedOn)
{
    connectOverriding();
    overriding.refuses = true;
    EXPECT_EQ(checkError("refused"), caught([&] { overriding.AddDBAccessRule(0, rule); }));
    EXPECT_EQ(checkError("refused"), caught([&] { overriding.DeleteDBAccessRule(0); }));
}

} // namespace

} // namespace KVR
