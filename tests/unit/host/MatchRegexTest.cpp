#include "Caught.h"

#include <kvr/CKVRCore.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

namespace KVR::Test
{

namespace
{

class MatchRegex : public testing::Test
{
protected:
    bool Matches(const std::string& pattern, const std::string& text, int flags = 0)
    {
        return core_.MatchRegex(pattern, text, nullptr, flags);
    }

    CKVRCore core_{KVRHostIdentity{"example.com", "server.example.com", "station"}};
};

using Groups = std::list<std::string>;

} // namespace

TEST_F(MatchRegex, ALeadingAnchorMatchesAtTheStartOnly)
{
    EXPECT_TRUE(Matches("^URI", "URI ldap://server"));
    EXPECT_TRUE(Matches("^URI", "URI"));
    EXPECT_FALSE(Matches("^URI", " URI ldap://server"));
    EXPECT_FALSE(Matches("^URI", "#URI"));
    EXPECT_FALSE(Matches("^URI", "UR"));
    EXPECT_FALSE(Matches("^URI", ""));
}

TEST_F(MatchRegex, ALiteralWordMatchesAnywhere)
{
    EXPECT_TRUE(Matches("URI", "the URI here"));
    EXPECT_FALSE(Matches("URI", "the uri here"));
}

TEST_F(MatchRegex, ExtendedExpressionsMatch)
{
    EXPECT_TRUE(Matches("^(ldap|ldaps)://[a-z.]+$", "ldaps://server.example"));
    EXPECT_FALSE(Matches("^(ldap|ldaps)://[a-z.]+$", "http://server.example"));
}

TEST_F(MatchRegex, ALineEndIsNoStartOfText)
{
    EXPECT_FALSE(Matches("^URI", "BASE\nURI"));
}

TEST_F(MatchRegex, CaseCountsUnlessTheFlagSaysOtherwise)
{
    EXPECT_FALSE(Matches("^URI", "uri ldap://server", 0));
    EXPECT_TRUE(Matches("^URI", "uri ldap://server", 1));
}

TEST_F(MatchRegex, TextBehindANullByteIsSearchedToo)
{
    EXPECT_TRUE(Matches("end$", std::string("start\0end", 9)));
}

TEST_F(MatchRegex, TheMatchAndItsGroupsAreAppended)
{
    Groups groups = {"before"};
    EXPECT_TRUE(core_.MatchRegex("(ldaps?)://([^:]*)(:([0-9]+))?", "at ldap://server now", &groups, 0));
    EXPECT_EQ(groups, (Groups{"before", "ldap://server now", "ldap", "server now", "", ""}));
}

TEST_F(MatchRegex, GroupsStayAsTheyAreWhenNothingMatches)
{
    Groups groups = {"before"};
    EXPECT_FALSE(core_.MatchRegex("(x)", "abc", &groups, 0));
    EXPECT_EQ(groups, (Groups{"before"}));
}

TEST_F(MatchRegex, AnInvalidPatternIsACheckErrorThatShowsIt)
{
    const Support::Caught error = Support::caught([this] { Matches("a(b", "ab"); });
    EXPECT_TRUE(error.type == typeid(EKVRCheckError));
    EXPECT_EQ(error.message, "Invalid regular expression 'a(b'.");
    EXPECT_EQ(error.details, "Unmatched ( or \\(");
}

} // namespace KVR::Test
