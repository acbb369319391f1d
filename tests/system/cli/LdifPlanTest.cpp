#include "LdifPlan.h"

#include <gmock/gmock.h>

#include <sstream>

namespace
{

using namespace KVR::Cli::Ldif;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

PlannedChange planOf(const std::string& text)
{
    std::istringstream input(text);
    Reader reader(input);
    Record record;
    if (!reader.Next(record))
    {
        throw std::runtime_error("there is no record");
    }
    return PlanChange(record);
}

PlannedChange modifyOf(const std::string& changes)
{
    return planOf("dn: cn=a\nchangetype: modify\n" + changes);
}

/** "LINE: REASON", or "none". */
std::string objectionTo(const PlannedChange& change)
{
    return change.objection ? std::to_string(change.objection->line) + ": " + change.objection->reason
                            : "none";
}

TEST(LdifPlanAdd, KeepsTheValues)
{
    const PlannedChange change = planOf("\ndn: cn=a,dc=x\nobjectClass: person\ncn: a\ncn: b\n");
    EXPECT_EQ(change.line, 2U);
    EXPECT_EQ(change.dn, "cn=a,dc=x");
    EXPECT_EQ(change.type, ChangeType::Add);
    EXPECT_THAT(change.attributes,
                ElementsAre(Pair("objectClass", "person"), Pair("cn", "a"), Pair("cn", "b")));
    EXPECT_EQ(objectionTo(change), "none");
}

TEST(LdifPlanAdd, GivesAnAttributeOneSpelling)
{
    EXPECT_THAT(
        planOf("dn: cn=a\ncn: a\nCN: b\nSn;X-b;x-A: c\nsn;x-a;x-b: d\n").attributes,
        ElementsAre(Pair("cn", "a"), Pair("cn", "b"), Pair("Sn;X-b;x-A", "c"), Pair("Sn;X-b;x-A", "d")));
}

TEST(LdifPlanAdd, ObjectsToAnEmptyValue)
{
    EXPECT_EQ(objectionTo(planOf("dn: cn=a\ncn: a\ndescription:\nsn:\n")),
              "3: the plug-in adds no entry with an empty value of 'description'");
}

TEST(LdifPlanAdd, ObjectsToAZeroByte)
{
    const PlannedChange change = planOf("dn: cn=a\ncn: a\njpegPhoto:: AAE=\n");
    EXPECT_EQ(objectionTo(change), "3: the value of 'jpegPhoto' has a zero byte, which no text can have");
    ASSERT_TRUE(change.objection);
    EXPECT_EQ(change.objection->advice, "attr set-binary writes such a value");
}

TEST(LdifPlanAdd, TakesBytesThatAreNoText)
{
    EXPECT_THAT(planOf("dn: cn=a\njpegPhoto:: /9j/\n").attributes,
                ElementsAre(Pair("jpegPhoto", "\xff\xd8\xff")));
}

TEST(LdifPlanModify, MarksEveryChange)
{
    const PlannedChange change =
        modifyOf("delete: a\n-\nadd: b\nb: 1\nb: 0\n-\ndelete: c\nc: 2\n-\nreplace: d\nd: 3\n-\n");
    EXPECT_THAT(change.attributes, ElementsAre(Pair("!a", ""), Pair("+b", "1"), Pair("+b", "0"),
                                               Pair("-c", "2"), Pair("=d", "3")));
    EXPECT_EQ(objectionTo(change), "none");
}

TEST(LdifPlanModify, TakesTheOrderInWhichItIsSent)
{
    EXPECT_EQ(objectionTo(modifyOf("delete: mail\n-\nadd: mail\nmail: a\n-\n")), "none");
    EXPECT_EQ(objectionTo(modifyOf("add: cn\ncn: a\n-\nadd: cn;lang-de\ncn;lang-de: a\n-\n")), "none");
    EXPECT_EQ(objectionTo(modifyOf("add: sn\nsn: a\n-\nreplace: cn\ncn: a\n-\n")), "none");
}

TEST(LdifPlanModify, ObjectsToAnotherOrder)
{
    const PlannedChange change = modifyOf("replace: sn\nsn: a\n-\nreplace: cn\ncn: a\n-\n");
    EXPECT_EQ(objectionTo(change), "6: 'replace: cn' would be sent before 'replace: sn'");
    ASSERT_TRUE(change.objection);
    EXPECT_EQ(change.objection->advice, "make it a record of its own");
    EXPECT_EQ(objectionTo(modifyOf("add: mail\nmail: a\n-\ndelete: mail\n-\n")),
              "6: 'delete: mail' would be sent before 'add: mail'");
    EXPECT_EQ(objectionTo(modifyOf("replace: mail\nmail: a\n-\nadd: mail\nmail: b\n-\n")),
              "6: 'add: mail' would be sent before 'replace: mail'");
    EXPECT_EQ(objectionTo(modifyOf("delete: a\na: 1\n-\nadd: b\nb: 1\n-\ndelete: c\n-\n")),
              "6: 'add: b' would be sent before 'delete: a'");
}

TEST(LdifPlanModify, ObjectsToTwoChangesThatBecomeOne)
{
    EXPECT_EQ(objectionTo(modifyOf("add: mail\nmail: a\n-\nadd: MAIL\nmail: b\n-\n")),
              "6: 'add: MAIL' would be sent with the one before it as one change");
    EXPECT_EQ(objectionTo(modifyOf("delete: mail\n-\ndelete: mail\n-\n")),
              "5: 'delete: mail' would be sent with the one before it as one change");
}

TEST(LdifPlanModify, GivesAnAttributeOneSpelling)
{
    EXPECT_THAT(modifyOf("delete: Mail\n-\nadd: mail\nMAIL: a\n-\n").attributes,
                ElementsAre(Pair("!Mail", ""), Pair("+Mail", "a")));
}

TEST(LdifPlanModify, ChoosesTheCaseThatKeepsTheOrder)
{
    EXPECT_THAT(modifyOf("replace: Sn\nsn: a\n-\nreplace: cn\ncn: a\n-\n").attributes,
                ElementsAre(Pair("=Sn", "a"), Pair("=cn", "a")));
    const PlannedChange change = modifyOf("replace: cn\ncn: a\n-\nreplace: Sn\nsn: a\n-\n");
    EXPECT_THAT(change.attributes, ElementsAre(Pair("=cn", "a"), Pair("=sn", "a")));
    EXPECT_EQ(objectionTo(change), "none");
}

TEST(LdifPlanModify, ObjectsToAReplaceWithoutValues)
{
    const PlannedChange change = modifyOf("replace: mail\n-\n");
    EXPECT_EQ(objectionTo(change), "3: 'replace: mail' has no values");
    ASSERT_TRUE(change.objection);
    EXPECT_EQ(change.objection->advice, "'delete: mail' removes an attribute that is there");
}

TEST(LdifPlanModify, ObjectsToAnAddWithoutValues)
{
    EXPECT_EQ(objectionTo(modifyOf("add: mail\n-\n")), "3: 'add: mail' has no values");
}

TEST(LdifPlanModify, TakesEmptyValues)
{
    const PlannedChange change = modifyOf("add: a\na:\n-\ndelete: b\nb:\n-\nreplace: c\nc:\n-\n");
    EXPECT_THAT(change.attributes, ElementsAre(Pair("+a", ""), Pair("-b", ""), Pair("=c", "")));
    EXPECT_EQ(objectionTo(change), "none");
}

TEST(LdifPlanModify, ObjectsToAZeroByte)
{
    EXPECT_EQ(objectionTo(modifyOf("replace: c\nc: a\nc:: YQBi\n-\n")),
              "5: the value of 'c' has a zero byte, which no text can have");
}

TEST(LdifPlanModify, TakesNoChangesAtAll)
{
    const PlannedChange change = planOf("dn: cn=a\nchangetype: modify\n");
    EXPECT_THAT(change.attributes, IsEmpty());
    EXPECT_EQ(objectionTo(change), "none");
}

TEST(LdifPlan, KeepsTheReadersObjection)
{
    EXPECT_EQ(objectionTo(planOf("dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 0\n")),
              "4: the plug-in's rename always removes the value of the old RDN");
    EXPECT_EQ(objectionTo(modifyOf("increment: a\na: 1\n-\nadd: b\n-\n")),
              "3: the plug-in can't increment values");
}

TEST(LdifPlan, RenamesAndDeletes)
{
    const PlannedChange rename = planOf("dn: cn=a,dc=x\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 1\n");
    EXPECT_EQ(rename.type, ChangeType::Rename);
    EXPECT_EQ(rename.newRdn, "cn=b");
    EXPECT_EQ(objectionTo(rename), "none");
    EXPECT_EQ(objectionTo(planOf("dn: cn=a\nchangetype: delete\n")), "none");
}

TEST(LdifPlan, ObjectsToDeletingTheRoot)
{
    EXPECT_EQ(objectionTo(planOf("dn:\nchangetype: delete\n")),
              "1: the root entry can be neither deleted nor renamed");
    EXPECT_EQ(objectionTo(planOf("dn:\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 1\n")),
              "1: the root entry can be neither deleted nor renamed");
    EXPECT_EQ(objectionTo(planOf("dn:\nchangetype: modify\nadd: b\nb: 1\n-\n")), "none");
}

} // namespace
