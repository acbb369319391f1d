// Indexes of the main database on a real server, which begins with those of objectClass and uid.

#include "ConfigTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::UnorderedElementsAre;

class IndexTest : public ConfigTest
{
protected:
    /** Expects that the server refuses to add the index, and keeps its own ones. */
    void expectRefusal(const std::string& index, const std::string& reason, const std::string& details)
    {
        EXPECT_EQ(caught([&] { connection.AddDBIndex(index); }),
                  refusal("olcDbIndex", mainDatabaseDn, index, reason, details));
        EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "uid eq"));
    }
};

TEST_F(IndexTest, TheServersIndexesAreListed)
{
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "uid eq"));
}

TEST_F(IndexTest, AnAddedIndexIsListedAsItWasGiven)
{
    connection.AddDBIndex("sn,cn eq,sub");
    connection.AddDBIndex("mail pres");
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "uid eq", "sn,cn eq,sub", "mail pres"));
}

TEST_F(IndexTest, AnIndexThatIsListedIsAddedWithoutAnyEffect)
{
    EXPECT_EQ(caught([&] { connection.AddDBIndex("uid eq"); }), Caught());
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "uid eq"));
}

TEST_F(IndexTest, ADeletedIndexIsGone)
{
    connection.AddDBIndex("sn,cn eq,sub");
    connection.DeleteDBIndex("uid eq");
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "sn,cn eq,sub"));
    connection.DeleteDBIndex("sn,cn eq,sub");
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq"));
}

TEST_F(IndexTest, AnIndexThatIsNotListedIsDeletedWithoutAnyEffect)
{
    EXPECT_EQ(caught([&] { connection.DeleteDBIndex("mail pres"); }), Caught());
    EXPECT_EQ(caught([&] { connection.DeleteDBIndex("uid  eq"); }), Caught());
    EXPECT_THAT(indexes(), UnorderedElementsAre("objectClass eq", "uid eq"));
}

TEST_F(IndexTest, TheSameIndexWithTwoBlanksReachesTheServerWhichKnowsItAlready)
{
    expectRefusal("uid  eq", "Type or value exists", "modify/add: olcDbIndex: value #0 already exists");
    EXPECT_EQ(caught([&] { connection.AddDBIndex("mail  pres"); }), Caught());
}

TEST_F(IndexTest, ASecondIndexOfAnAttributeIsRefused)
{
    expectRefusal("uid pres", "Other (e.g., implementation specific) error",
                  "duplicate index definition for attr \"uid\"");
}

TEST_F(IndexTest, AnIndexOfAnUnknownAttributeIsRefused)
{
    expectRefusal("noSuchAttribute eq", "Other (e.g., implementation specific) error",
                  "index attribute \"noSuchAttribute\" undefined");
}

} // namespace
} // namespace KVR::ServerTests
