#include "WriteTest.h"

namespace
{

using namespace KVR::CliTest;
using KVR::Support::PrivateSlapd;
using testing::HasSubstr;

constexpr const char* domain = "dc=example,dc=com";

class CliDelete : public CliWrite
{
protected:
    /** A unit with this many people in it; returns its DN. */
    static std::string unitOf(const std::string& name, int people)
    {
        const std::string dn = "ou=" + name + ',' + domain;
        addUnit(name);
        for (int number = 1; number <= people; ++number)
        {
            addPerson(std::to_string(number), dn);
        }
        return dn;
    }
};

TEST_F(CliDelete, ALeafGoesAtOnce)
{
    const std::string dn = unitOf("leaf", 0);
    expectLine({"delete", dn}, "deleted " + dn);
    EXPECT_FALSE(exists(dn));
}

TEST_F(CliDelete, ALeafInJson)
{
    const std::string dn = unitOf("leaf", 0);
    EXPECT_EQ(document({"delete", dn}), nlohmann::json({{"schemaVersion", 1},
                                                        {"command", "delete"},
                                                        {"dn", dn},
                                                        {"deletedBelow", 0},
                                                        {"result", "deleted"}}));
}

TEST_F(CliDelete, AMissingEntryEndsWith3)
{
    const Outcome outcome = run({"delete", "cn=nobody,dc=example,dc=com", "--yes"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "kvr-ldap: delete: there is no entry 'cn=nobody,dc=example,dc=com'\n"
                           "kvr-ldap: hint: an entry that the server hides from the user counts as absent\n");
}

TEST_F(CliDelete, ChildrenNeedYesWhereNobodyCanBeAsked)
{
    const std::string dn = unitOf("unasked", 2);
    const Outcome outcome = run({"delete", dn});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: delete: '" + dn +
                               "' has 2 children; nothing is deleted\n"
                               "kvr-ldap: hint: --yes deletes them too\n");
    EXPECT_TRUE(exists("cn=1," + dn));
    EXPECT_TRUE(exists("cn=2," + dn));

    expectLine({"delete", dn, "--yes"}, "deleted " + dn + " and 2 entries below it");
    EXPECT_FALSE(exists(dn));
}

TEST_F(CliDelete, ChildrenAreCountedInJson)
{
    const std::string dn = unitOf("counted", 1);
    EXPECT_EQ(document({"delete", dn, "--yes"}).at("deletedBelow"), 1);
    EXPECT_FALSE(exists(dn));
}

TEST_F(CliDelete, AUserAtATerminalIsAsked)
{
    const std::string dn = unitOf("asked", 2);
    const std::string question = "Delete " + dn + " and its 2 children? [y/N] ";
    const Outcome no = run({"delete", dn}, atTerminal("n\n"));
    EXPECT_EQ(no.status, 2);
    EXPECT_EQ(no.out, "");
    EXPECT_EQ(no.err, question + "kvr-ldap: delete: not confirmed; nothing is deleted\n");
    EXPECT_TRUE(exists("cn=1," + dn));

    const Outcome yes = run({"delete", dn}, atTerminal("y\n"));
    EXPECT_EQ(yes.status, 0);
    EXPECT_EQ(yes.out, "deleted " + dn + " and 2 entries below it\n");
    EXPECT_EQ(yes.err, question);
    EXPECT_FALSE(exists(dn));
}

TEST_F(CliDelete, YesAsksNobody)
{
    const std::string dn = unitOf("confirmed", 1);
    const Outcome outcome = run({"delete", dn, "--yes"}, atTerminal(""));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CliDelete, GrandchildrenAreRefusedBeforeAnythingIsDeleted)
{
    const std::string dn = unitOf("deep", 2);
    addUnit("inner", dn);
    addPerson("grandchild", "ou=inner," + dn);
    for (const Setting& setting : {Setting(), atTerminal("y\n")})
    {
        const Outcome outcome = run({"delete", dn, "--yes"}, setting);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "kvr-ldap: delete: '" + dn +
                      "' has entries more than one level below it, as 'cn=grandchild,ou=inner," + dn +
                      "', and the server would refuse; nothing is deleted\n"
                      "kvr-ldap: hint: delete from the bottom up: an entry goes with those right "
                      "below it only\n");
    }
    for (const char* below : {"cn=1,", "cn=2,", "ou=inner,", "cn=grandchild,ou=inner,"})
    {
        EXPECT_TRUE(exists(below + dn)) << below;
    }
    EXPECT_EQ(run({"delete", "ou=inner," + dn, "--yes"}).status, 0);
    EXPECT_EQ(run({"delete", dn, "--yes"}).status, 0);
}

TEST_F(CliDelete, AnEscapedCommaIsNoLevel)
{
    const std::string dn = unitOf("comma", 0);
    addPerson("a\\, b", dn);
    EXPECT_EQ(run({"delete", dn, "--yes"}).status, 0);
}

TEST_F(CliDelete, MoreChildrenThanTheSizeLimitAreCountedHonestly)
{
    const PrivateSlapd small({"--entries", "12", "--size-limit", "5"});
    const std::string dn = "ou=people,dc=example,dc=com";
    const std::string remark =
        "kvr-ldap: delete: the server lists only 5 entries at a time: these go, and it "
        "refuses the entry itself if there are more\n";
    const Outcome unasked = runOn(small, {"delete", dn});
    EXPECT_EQ(unasked.status, 2);
    EXPECT_EQ(unasked.err, remark + "kvr-ldap: delete: '" + dn +
                               "' has at least 5 children; nothing is deleted\n"
                               "kvr-ldap: hint: --yes deletes them too\n");
    EXPECT_THAT(runOn(small, {"delete", dn}, atTerminal("n\n")).err,
                HasSubstr("Delete " + dn + " and its at least 5 children? [y/N] "));

    const Outcome first = runOn(small, {"delete", dn, "--yes", "--output", "json"});
    EXPECT_EQ(first.status, 1);
    EXPECT_THAT(first.err,
                HasSubstr("kvr-ldap: delete: 5 of at least 5 entries below '" + dn + "' were deleted\n"));
    EXPECT_THAT(first.err,
                HasSubstr("\nkvr-ldap: hint: the server's size limit hid the other entries; run the "
                          "command again for them\n"));
    EXPECT_EQ(first.json().at("deletedBelow"), 5);
    EXPECT_EQ(runOn(small, {"delete", dn, "--yes"}).status, 1);
    EXPECT_EQ(runOn(small, {"delete", dn, "--yes"}).out, "deleted " + dn + " and 2 entries below it\n");
}

} // namespace
