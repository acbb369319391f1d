// Access rules of the main database on a real server, which begins with one rule that grants all.

#include "ConfigTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class AccessRuleTest : public ConfigTest
{
protected:
    static Caught refusedRule(const std::string& value, const std::string& reason, const std::string& details)
    {
        return refusal("olcAccess", mainDatabaseDn, value, reason, details);
    }
};

TEST_F(AccessRuleTest, TheServersRulesAreListedWithTheirPrefixes)
{
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage"));
}

TEST_F(AccessRuleTest, ADatabaseWithoutRulesHasAnEmptyList)
{
    connection.DeleteDBAccessRule(0);
    EXPECT_THAT(rules(), IsEmpty());
}

TEST_F(AccessRuleTest, ARuleAtMinusOneBecomesTheLast)
{
    connection.AddDBAccessRule(-1, "to attrs=userPassword by self write");
    connection.AddDBAccessRule(-1, "to attrs=sn by self write");
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage", "{1}to attrs=userPassword by self write",
                                     "{2}to attrs=sn by self write"));
}

TEST_F(AccessRuleTest, ARuleAtZeroBecomesTheFirstAndKeepsTheBlankBehindItsPrefix)
{
    connection.AddDBAccessRule(0, "to attrs=userPassword by self write");
    EXPECT_THAT(rules(), ElementsAre("{0} to attrs=userPassword by self write", "{1}to * by * manage"));
}

TEST_F(AccessRuleTest, ARuleInTheMiddleMovesTheLaterOnesDown)
{
    connection.AddDBAccessRule(-1, "to attrs=sn by self write");
    connection.AddDBAccessRule(1, "to attrs=cn by self write");
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage", "{1} to attrs=cn by self write",
                                     "{2}to attrs=sn by self write"));
}

TEST_F(AccessRuleTest, ARuleBeyondTheEndBecomesTheLast)
{
    connection.AddDBAccessRule(9, "to attrs=sn by self write");
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage", "{1} to attrs=sn by self write"));
}

TEST_F(AccessRuleTest, ADeletedRuleLetsTheLaterOnesMoveUp)
{
    connection.AddDBAccessRule(0, "to attrs=cn by self write");
    connection.AddDBAccessRule(-1, "to attrs=sn by self write");
    connection.DeleteDBAccessRule(1);
    EXPECT_THAT(rules(), ElementsAre("{0} to attrs=cn by self write", "{1}to attrs=sn by self write"));
}

TEST_F(AccessRuleTest, OfElevenRulesTheDeletionAtOneTakesTheSecondAndNotTheEleventh)
{
    for (const char* attribute : {"cn", "sn", "l", "o", "ou", "st", "street", "title", "mail", "uid"})
    {
        connection.AddDBAccessRule(-1, std::string("to attrs=") + attribute + " by self write");
    }
    connection.DeleteDBAccessRule(1);
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage", "{1}to attrs=sn by self write",
                                     "{2}to attrs=l by self write", "{3}to attrs=o by self write",
                                     "{4}to attrs=ou by self write", "{5}to attrs=st by self write",
                                     "{6}to attrs=street by self write", "{7}to attrs=title by self write",
                                     "{8}to attrs=mail by self write", "{9}to attrs=uid by self write"));
}

TEST_F(AccessRuleTest, ADeletionBeyondTheLastRuleIsRefused)
{
    connection.AddDBAccessRule(-1, "to attrs=cn by self write");
    connection.AddDBAccessRule(-1, "to attrs=sn by self write");
    EXPECT_EQ(caught([&] { connection.DeleteDBAccessRule(99); }),
              refusedRule("{99}", "No such attribute", "modify/delete: olcAccess: no such value"));
    EXPECT_EQ(connection.GetLastError(), 16);
    EXPECT_EQ(rules().size(), 3U);
}

TEST_F(AccessRuleTest, ARuleThatTheServerCannotReadIsRefused)
{
    EXPECT_EQ(caught([&] { connection.AddDBAccessRule(0, "nonsense"); }),
              refusedRule("{0} nonsense", "Other (e.g., implementation specific) error",
                          "<olcAccess> handler exited with 1"));
    EXPECT_EQ(connection.GetLastError(), 80);
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage"));
}

TEST_F(AccessRuleTest, ARuleThatIsThereAlreadyIsRefused)
{
    EXPECT_EQ(caught([&] { connection.AddDBAccessRule(-1, "to * by * manage"); }),
              refusedRule("to * by * manage", "Type or value exists",
                          "modify/add: olcAccess: value #0 already exists"));
    EXPECT_EQ(connection.GetLastError(), 20);
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage"));
}

TEST_F(AccessRuleTest, TheFirstRuleThatFitsDecidesAtOnce)
{
    const auto write = [&] { connection.SetAttrValue(lab, "description", "changed", alREPLACE); };
    connection.AddDBAccessRule(0, std::string("to dn.base=\"") + lab + "\" by * read");
    EXPECT_EQ(caught(write),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error " + insufficientAccess + " - Insufficient access", "", ""}));
    EXPECT_EQ(connection.GetLastError(), 50);
    connection.DeleteDBAccessRule(0);
    EXPECT_EQ(caught(write), Caught());
}

} // namespace
} // namespace KVR::ServerTests
