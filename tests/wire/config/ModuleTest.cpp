#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class ModuleListTest : public ConfigTest
{
protected:
    Texts listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateModules(modules);
        return modules;
    }

    Texts modules;
};

TEST_F(ModuleListTest, ModulesKeepTheServersOrderPrefixAndExtension)
{
    EXPECT_THAT(
        listedFor(Answer().entry("cn=module{0},cn=config",
                                 {{"olcModuleLoad", {"{0}back_hdb", "{1}syncprov", "{2}b.la", "a"}}})),
        ElementsAre("{0}back_hdb", "{1}syncprov", "{2}b.la", "a"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ModuleListTest, AModuleListWithoutModulesGivesAnEmptyListAndOneLogLine)
{
    modules = {"old"};
    EXPECT_THAT(listedFor(Answer().entry("cn=module{0},cn=config")), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcModuleLoad' not found")));
}

TEST_F(ModuleListTest, WithoutAModuleListTheListIsEmptyWithoutAnError)
{
    modules = {"old"};
    EXPECT_THAT(listedFor(Answer()), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ModuleListTest, OfSeveralEntriesTheFirstCounts)
{
    EXPECT_THAT(
        listedFor(
            Answer().entry("cn=a", {{"olcModuleLoad", {"a"}}}).entry("cn=b", {{"olcModuleLoad", {"b"}}})),
        ElementsAre("a"));
}

TEST_F(ModuleListTest, ModulesAreNotConvertedASecondTime)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"olcModuleLoad", {"\xc3\xa4"}}})), ElementsAre("\xe4"));
}

TEST_F(ModuleListTest, AResultCutByTheSizeLimitIsReadAllTheSame)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"olcModuleLoad", {"a"}}}).result(4)), ElementsAre("a"));
    EXPECT_THAT(log.messages(), IsEmpty()) << "one fetch does not get to the end of the result";
    EXPECT_THAT(listedFor(Answer().result(4)), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(1, sizeLimitWarning)));
}

TEST_F(ModuleListTest, TheEntityIsReadAloudAfterOneFetchWithoutACount)
{
    connectOverriding();
    overriding.results.push_back(
        MadeResult{{{"cn=a", {{"olcModuleLoad", "a"}}}, {"cn=b", {{"olcModuleLoad", "b"}}}}, 2});
    overriding.EnumerateModules(modules);
    EXPECT_THAT(modules, ElementsAre("a"));
    EXPECT_THAT(overriding.calls, ElementsAre("Search cn=config scope 2 cn=module{0} for olcModuleLoad",
                                              "First", "Fetch", "ValsByAttr olcModuleLoad"));
}

TEST_F(ModuleListTest, TheEntityThatFetchHandsOutCountsNotItsAnswer)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcModuleLoad", "a"}}}}, 1, 0, false});
    overriding.EnumerateModules(modules);
    EXPECT_THAT(modules, ElementsAre("a"));
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcModuleLoad", "a"}}}}, 1, 0, true, false});
    overriding.EnumerateModules(modules);
    EXPECT_THAT(modules, IsEmpty());
}

class DatabaseListTest : public ConfigTest
{
protected:
    TextMap listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateDatabases(databases);
        return databases;
    }

    TextMap databases;
};

TEST_F(DatabaseListTest, DatabasesAreListedByTheirPrefixedNameWithTheirSuffix)
{
    EXPECT_THAT(listedFor(Answer()
                              .entry("olcDatabase={2}mdb,cn=config",
                                     {{"olcDatabase", {"{2}mdb"}}, {"olcSuffix", {"dc=b"}}})
                              .entry("olcDatabase={1}hdb,cn=config",
                                     {{"olcDatabase", {"{1}hdb"}}, {"olcSuffix", {"dc=example,dc=com"}}})),
                ElementsAre(Pair("{1}hdb", "dc=example,dc=com"), Pair("{2}mdb", "dc=b")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DatabaseListTest, OfEqualNamesTheFirstKeepsItsSuffix)
{
    EXPECT_THAT(listedFor(Answer()
                              .entry("cn=a", {{"olcDatabase", {"x"}}, {"olcSuffix", {"dc=b"}}})
                              .entry("cn=b", {{"olcDatabase", {"x"}}, {"olcSuffix", {"dc=a"}}})),
                ElementsAre(Pair("x", "dc=b")));
}

TEST_F(DatabaseListTest, OfSeveralSuffixesTheFirstIsListedAndTheOthersAreLogged)
{
    EXPECT_THAT(listedFor(Answer().entry(
                    "cn=a", {{"olcDatabase", {"{1}hdb"}}, {"olcSuffix", {"dc=b", "dc=a", "dc=c"}}})),
                ElementsAre(Pair("{1}hdb", "dc=b")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcSuffix' met twice")));
}

TEST_F(DatabaseListTest, ADatabaseWithoutANameIsListedUnderTheEmptyKeyAndLogged)
{
    EXPECT_THAT(
        listedFor(Answer().entry("cn=a", {{"olcSuffix", {"dc=a"}}}).entry("cn=b", {{"olcSuffix", {"dc=b"}}})),
        ElementsAre(Pair("", "dc=a")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcDatabase' not found"),
                                            Pair(0, "LDAP attribute 'olcDatabase' not found")));
}

TEST_F(DatabaseListTest, TheSuffixIsReadBeforeTheName)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a")), ElementsAre(Pair("", "")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcSuffix' not found"),
                                            Pair(0, "LDAP attribute 'olcDatabase' not found")));
}

TEST_F(DatabaseListTest, AResultCutByTheSizeLimitIsListedAsFarAsItGoesWithAWarning)
{
    EXPECT_THAT(
        listedFor(Answer().entry("cn=a", {{"olcDatabase", {"x"}}, {"olcSuffix", {"dc=a"}}}).result(4)),
        ElementsAre(Pair("x", "dc=a")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(1, sizeLimitWarning)));
}

TEST_F(DatabaseListTest, NamesAndSuffixesAreNotConvertedASecondTime)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(
        listedFor(Answer().entry("cn=a", {{"olcDatabase", {"\xc3\xa4"}}, {"olcSuffix", {"\xc3\xb6"}}})),
        ElementsAre(Pair("\xe4", "\xf6")));
}

TEST_F(DatabaseListTest, AFailingEntryLeavesTheDatabasesBeforeIt)
{
    connectIn("ISO-8859-1");
    responder.onSearch(Answer()
                           .entry("cn=a", {{"olcDatabase", {"x"}}, {"olcSuffix", {"dc=a"}}})
                           .entry("cn=b", {{"olcDatabase", {"\xff"}}, {"olcSuffix", {"dc=b"}}}));
    databases = {{"old", "old"}};
    EXPECT_EQ(conversionFailure(), caught([&] { connection.EnumerateDatabases(databases); }));
    EXPECT_THAT(databases, ElementsAre(Pair("x", "dc=a")));
}

TEST_F(DatabaseListTest, OneEntityIsFetchedIntoAgainAndReadAloud)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcDatabase", "a"}, {"olcSuffix", "dc=a"}}},
                                             {"cn=b", {{"olcDatabase", "b"}, {"olcSuffix", "dc=b"}}}},
                                            2});
    overriding.EnumerateDatabases(databases);
    EXPECT_THAT(databases, ElementsAre(Pair("a", "dc=a"), Pair("b", "dc=b")));
    EXPECT_THAT(
        overriding.calls,
        ElementsAre("Search cn=config scope 1 (&(objectClass=*)(olcSuffix=*)) for olcDatabase olcSuffix",
                    "First", "Fetch", "ValByAttr olcSuffix", "ValByAttr olcDatabase", "Fetch again",
                    "ValByAttr olcSuffix", "ValByAttr olcDatabase", "Fetch again"));
}

TEST_F(DatabaseListTest, WhatFetchDoesNotTellIsNotListed)
{
    connectOverriding();
    overriding.results.push_back(
        MadeResult{{{"cn=a", {{"olcDatabase", "a"}, {"olcSuffix", "dc=a"}}}}, 1, 0, false});
    overriding.EnumerateDatabases(databases);
    EXPECT_THAT(databases, IsEmpty());
}

} // namespace

} // namespace KVR
