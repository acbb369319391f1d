#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char indexSearch[] = "search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcDbIndex";
constexpr char noIndex[] = "LDAP attribute 'olcDbIndex' not found";

class IndexListTest : public ConfigTest
{
protected:
    Texts listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateIndexes(indexes);
        return indexes;
    }

    Texts indexes;
};

TEST_F(IndexListTest, IndexesAreListedInTheServersOrderAsTheyAre)
{
    EXPECT_THAT(listedFor(database("olcDbIndex", {"uid eq", " cn  eq,sub ", "uid eq", "{0}a"})),
                ElementsAre("uid eq", " cn  eq,sub ", "uid eq", "{0}a"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(IndexListTest, OtherAttributesAreNotListed)
{
    EXPECT_THAT(listedFor(Answer().entry(mainDatabase, {{"olcDbIndex", {"uid eq"}}, {"cn", {"x"}}})),
                ElementsAre("uid eq"));
}

TEST_F(IndexListTest, ADatabaseWithoutIndexesGivesAnEmptyListAndOneLogLine)
{
    indexes = {"old"};
    EXPECT_THAT(listedFor(Answer().entry(mainDatabase)), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, noIndex)));
}

TEST_F(IndexListTest, OfSeveralEntriesTheFirstCounts)
{
    EXPECT_THAT(listedFor(database("olcDbIndex", {"a"}).entry("cn=b", {{"olcDbIndex", {"b"}}})),
                ElementsAre("a"));
}

TEST_F(IndexListTest, IndexesAreNotConvertedASecondTime)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedFor(database("olcDbIndex", {"\xc3\xa4 eq"})), ElementsAre("\xe4 eq"));
}

TEST_F(IndexListTest, TheEntityIsReadAloudAfterOneFetchWithoutACount)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{
        {{"cn=a", {{"olcDbIndex", "\xc3\xa4"}, {"olcDbIndex", "a"}}}, {"cn=b", {{"olcDbIndex", "c"}}}}, 2});
    overriding.EnumerateIndexes(indexes);
    EXPECT_THAT(indexes, ElementsAre("\xc3\xa4", "a"));
    EXPECT_THAT(overriding.calls,
                ElementsAre("Search cn=config scope 2 olcDatabase=" KVR_MAIN_DATABASE " for olcDbIndex",
                            "First", "Fetch", "ValsByAttr olcDbIndex"));
}

TEST_F(IndexListTest, WhatFetchDoesNotTellIsNotListed)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcDbIndex", "a"}}}}, 1, 0, false});
    overriding.EnumerateIndexes(indexes);
    EXPECT_THAT(indexes, IsEmpty());
}

class IndexChangeTest : public ConfigTest
{
protected:
    void SetUp() override
    {
        ConfigTest::SetUp();
        responder.always(Operation::Search, database("olcDbIndex", {"objectClass eq", "uid eq"}));
    }

    std::string change(int code, const std::string& value) const
    {
        return "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config " + std::to_string(code) +
               " olcDbIndex '" + value + "'";
    }
};

TEST_F(IndexChangeTest, AnIndexThatIsListedIsNotAdded)
{
    connection.AddDBIndex("uid eq");
    EXPECT_THAT(sent(), ElementsAre(indexSearch));
}

TEST_F(IndexChangeTest, IndexesAreComparedAsAWholeAndSentAsTheyAre)
{
    for (const char* index : {"uid  eq", "uid", "uid eq ", " uid eq", "UID eq", "uid eq,sub", "%s%n"})
    {
        responder.clear();
        connection.AddDBIndex(index);
        EXPECT_THAT(sent(), ElementsAre(indexSearch, change(0, index)));
        responder.clear();
        connection.DeleteDBIndex(index);
        EXPECT_THAT(sent(), ElementsAre(indexSearch)) << index;
    }
}

TEST_F(IndexChangeTest, AnIndexThatIsListedIsDeletedByItsValue)
{
    connection.DeleteDBIndex("uid eq");
    EXPECT_THAT(sent(), ElementsAre(indexSearch, change(1, "uid eq")));
}

TEST_F(IndexChangeTest, ABlankIsNoEmptyArgument)
{
    connection.AddDBIndex(" ");
    EXPECT_THAT(sent(), ElementsAre(indexSearch, change(0, " ")));
}

TEST_F(IndexChangeTest, ToADatabaseWithoutIndexesTheFirstIsAddedWithOneLogLine)
{
    responder.always(Operation::Search, Answer().entry(mainDatabase));
    connection.AddDBIndex("uid eq");
    EXPECT_THAT(sent(), ElementsAre(indexSearch, change(0, "uid eq")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, noIndex)));
    connection.DeleteDBIndex("uid eq");
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, noIndex), Pair(0, noIndex)));
}

TEST_F(IndexChangeTest, WithoutADatabaseEntryAnIndexIsAddedAllTheSame)
{
    responder.always(Operation::Search, Answer());
    connection.AddDBIndex("uid eq");
    EXPECT_THAT(sent(), ElementsAre(indexSearch, change(0, "uid eq")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

} // namespace

} // namespace KVR
