#include "ConfigTest.h"

namespace
{

using namespace KVR::CliTest;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string uri = "ldap:///ou=people,dc=example,dc=com?uid?sub";

class CliIndex : public CliConfig
{
};

TEST_F(CliIndex, AddedListedAndRemoved)
{
    expectLine({"index", "list"}, "objectClass eq\nuid eq");
    expectLine({"index", "add", "mail eq,sub"}, "added index mail eq,sub");
    expectLine({"index", "list"}, "objectClass eq\nuid eq\nmail eq,sub");
    EXPECT_THAT(stored("olcDbIndex"), ElementsAre("objectClass eq", "uid eq", "mail eq,sub"));
    expectLine({"index", "delete", "mail eq,sub"}, "removed index mail eq,sub");
    EXPECT_THAT(stored("olcDbIndex"), ElementsAre("objectClass eq", "uid eq"));
}

TEST_F(CliIndex, ChangesInJson)
{
    EXPECT_EQ(document({"index", "add", "sn eq"}),
              answer("index add", {{"index", "sn eq"}, {"result", "added"}}));
    EXPECT_EQ(document({"index", "list"}),
              answer("index list", {{"indexes", {"objectClass eq", "uid eq", "sn eq"}}}));
    EXPECT_EQ(document({"index", "add", "SN eq"}),
              answer("index add", {{"index", "SN eq"}, {"result", "unchanged"}, {"stored", "sn eq"}}));
    EXPECT_EQ(document({"index", "delete", "sn eq"}),
              answer("index delete", {{"index", "sn eq"}, {"result", "removed"}}));
    EXPECT_EQ(document({"index", "delete", "sn eq"}),
              answer("index delete", {{"index", "sn eq"}, {"result", "unchanged"}}));
}

TEST_F(CliIndex, OneThatIsThereIsUnchanged)
{
    expectLine({"index", "add", "uid eq"}, "unchanged index uid eq, it is there already");
}

TEST_F(CliIndex, OneThatIsNotThereIsUnchanged)
{
    expectLine({"index", "delete", "cn eq"}, "unchanged index cn eq, it is not there");
}

TEST_F(CliIndex, OneThatDiffersInCaseOrBlanksIsUnchangedAndShownBesideIt)
{
    expectLine({"index", "add", "UID EQ"}, "unchanged index UID EQ; stored is 'uid eq'");
    expectLine({"index", "add", "uid   eq"}, "unchanged index uid   eq; stored is 'uid eq'");
    expectLine({"index", "delete", "Uid  Eq"}, "unchanged index Uid  Eq; stored is 'uid eq'");
    EXPECT_THAT(stored("olcDbIndex"), ElementsAre("objectClass eq", "uid eq"));
}

TEST_F(CliIndex, OneThatIsRefusedShowsWhatSlapdSaid)
{
    const std::string refusal =
        "kvr-ldap: index add: OpenLDAP error on modifying attribute 'olcDbIndex' of dn '" + mainDatabaseDn +
        "' to value '";
    expectFailure({"index", "add", "nonsense eq"}, 1,
                  refusal + "nonsense eq' - Other (e.g., implementation specific) error: "
                            "index attribute \"nonsense\" undefined\n");
    expectFailure({"index", "add", "uid sub"}, 1,
                  refusal + "uid sub' - Other (e.g., implementation specific) error: "
                            "duplicate index definition for attr \"uid\"\n");
}

TEST_F(CliIndex, OneThatIsRefusedIsToldBesideItsLikeThatIsStored)
{
    ASSERT_EQ(run({"index", "add", "mail eq,sub"}).status, 0);
    const Outcome outcome = run({"index", "add", "mail eq, sub"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("\nkvr-ldap: hint: stored is 'mail eq,sub'\n"));
    ASSERT_EQ(run({"index", "delete", "mail eq,sub"}).status, 0);
}

TEST_F(CliIndex, WithoutATextIsAUsageError)
{
    expectFailure({"index", "add", " "}, 2, "kvr-ldap: index add: the SPEC is empty\n");
    expectFailure({"index", "delete", ""}, 2, "kvr-ldap: index delete: the SPEC is empty\n");
}

TEST_F(CliIndex, AnUmlautOfALatin1ProcessReachesTheServerAndComesBack)
{
    const Outcome outcome = run({"index", "add",
                                 "stra\xdf"
                                 "e eq"},
                                inLocale(latin1));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("index attribute \"stra\xdf"
                                       "e\" undefined\n"));
}

class CliUnique : public CliConfig
{
};

TEST_F(CliUnique, AddedListedAndRemoved)
{
    expectLine({"unique", "add", uri}, "added uniqueness rule " + uri);
    expectLine({"unique", "list"}, uri);
    expectLine({"unique", "add", uri}, "unchanged uniqueness rule " + uri + ", it is there already");
    expectLine({"unique", "delete", uri}, "removed uniqueness rule " + uri);
    expectLine({"unique", "delete", uri}, "unchanged uniqueness rule " + uri + ", it is not there");
    const Outcome none = run({"unique", "list"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "");
}

TEST_F(CliUnique, ChangesInJson)
{
    EXPECT_EQ(document({"unique", "add", uri}), answer("unique add", {{"uri", uri}, {"result", "added"}}));
    EXPECT_EQ(document({"unique", "list"}), answer("unique list", {{"uniqueness", {uri}}}));
    EXPECT_EQ(document({"unique", "delete", uri}),
              answer("unique delete", {{"uri", uri}, {"result", "removed"}}));
    EXPECT_EQ(document({"unique", "list"}), answer("unique list", {{"uniqueness", nlohmann::json::array()}}));
}

TEST_F(CliUnique, OneThatDiffersInCaseIsShownBesideTheOther)
{
    const std::string other = "ldap:///ou=people,dc=example,dc=com?UID?sub";
    ASSERT_EQ(run({"unique", "add", uri}).status, 0);
    expectLine({"unique", "delete", other},
               "unchanged uniqueness rule " + other + "; stored is '" + uri + "'");
    expectLine({"unique", "add", other}, "added uniqueness rule " + other + "; stored is '" + uri + "'");
    ASSERT_EQ(run({"unique", "delete", uri}).status, 0);
    ASSERT_EQ(run({"unique", "delete", other}).status, 0);
}

TEST_F(CliUnique, OneThatIsRefusedShowsWhatSlapdSaid)
{
    expectFailure({"unique", "add", "nonsense"}, 1,
                  "kvr-ldap: unique add: OpenLDAP error on modifying attribute 'olcUniqueURI' of dn "
                  "'olcOverlay={0}unique," +
                      mainDatabaseDn +
                      "' to value 'nonsense' - Other (e.g., implementation specific) error: <nonsense> "
                      "invalid ldap urilist\n");
}

TEST_F(CliUnique, WithoutATextIsAUsageError)
{
    expectFailure({"unique", "add", ""}, 2, "kvr-ldap: unique add: the URI is empty\n");
}

TEST_F(CliUnique, ALatin1ProcessSendsUtf8AndShowsLatin1)
{
    const Setting setting = inLocale(latin1);
    const std::string inLatin1 = "ldap:///ou=K\xf6ln,ou=units,dc=example,dc=com?uid?sub";
    const std::string inUtf8 = "ldap:///ou=K\xc3\xb6ln,ou=units,dc=example,dc=com?uid?sub";
    expectLine({"unique", "add", inLatin1}, "added uniqueness rule " + inLatin1, setting);
    EXPECT_THAT(values("olcOverlay={0}unique," + mainDatabaseDn, "olcUniqueURI"), ElementsAre(inUtf8));
    expectLine({"unique", "list"}, inLatin1, setting);
    EXPECT_EQ(run({"unique", "list", "--output", "json"}, setting).json().at("uniqueness").at(0), inUtf8);
    expectLine({"unique", "delete", inLatin1}, "removed uniqueness rule " + inLatin1, setting);
}

class CliUniqueWithoutOverlay : public CliConfig
{
protected:
    static void SetUpTestSuite()
    {
        server = std::make_unique<KVR::Support::PrivateSlapd>(
            std::vector<std::string>{"--entries", "1", "--unique", "no"});
    }
};

TEST_F(CliUniqueWithoutOverlay, IsToldByEveryVerb)
{
    const std::string reason = "the database " + mainDatabase + " has no overlay unique, or it is hidden\n";
    expectFailure({"unique", "list"}, 3, "kvr-ldap: unique list: " + reason);
    expectFailure({"unique", "add", uri}, 3, "kvr-ldap: unique add: " + reason);
    expectFailure({"unique", "delete", uri}, 3, "kvr-ldap: unique delete: " + reason);
}

class CliAccess : public CliConfig
{
};

TEST_F(CliAccess, InsertedAtItsPlaceListedInOrderAndRemoved)
{
    expectLine({"access", "add", "to attrs=mail by * read"},
               "added access rule to attrs=mail by * read at the end");
    expectLine({"access", "add", "--at", "0", "to attrs=sn by * read"},
               "added access rule to attrs=sn by * read at {0}");
    expectLine({"access", "add", "--at", "1", "to attrs=title by * read"},
               "added access rule to attrs=title by * read at {1}");
    expectLine({"access", "list"}, "{0} to attrs=sn by * read\n{1} to attrs=title by * read\n"
                                   "{2}to * by * manage\n{3}to attrs=mail by * read");
    expectLine({"access", "delete", "3"}, "removed access rule {3}to attrs=mail by * read");
    expectLine({"access", "delete", "1"}, "removed access rule {1} to attrs=title by * read");
    expectLine({"access", "delete", "0"}, "removed access rule {0} to attrs=sn by * read");
    EXPECT_THAT(stored("olcAccess"), ElementsAre("{0}to * by * manage"));
}

TEST_F(CliAccess, ChangesInJson)
{
    EXPECT_EQ(
        document({"access", "add", "--at", "0", "to attrs=sn by * read"}),
        answer("access add", {{"rule", "to attrs=sn by * read"}, {"position", 0}, {"result", "added"}}));
    EXPECT_EQ(
        document({"access", "add", "to attrs=mail by * read"}),
        answer("access add", {{"rule", "to attrs=mail by * read"}, {"position", 2}, {"result", "added"}}));
    EXPECT_EQ(document({"access", "list"}),
              answer("access list",
                     {{"rules",
                       {"{0} to attrs=sn by * read", "{1}to * by * manage", "{2}to attrs=mail by * read"}}}));
    EXPECT_EQ(document({"access", "delete", "2"}),
              answer("access delete",
                     {{"rule", "{2}to attrs=mail by * read"}, {"position", 2}, {"result", "removed"}}));
    EXPECT_EQ(document({"access", "delete", "0"}),
              answer("access delete",
                     {{"rule", "{0} to attrs=sn by * read"}, {"position", 0}, {"result", "removed"}}));
    EXPECT_EQ(document({"access", "delete", "7"}),
              answer("access delete", {{"rule", "{7}"}, {"position", 7}, {"result", "unchanged"}}));
}

TEST_F(CliAccess, APlaceBeyondTheEndIsTheEnd)
{
    EXPECT_EQ(document({"access", "add", "--at", "50", "to attrs=sn by * read"}).at("position"), 1);
    expectLine({"access", "delete", "1"}, "removed access rule {1} to attrs=sn by * read");
    expectLine({"access", "add", "--at", "1", "to attrs=sn by * read"},
               "added access rule to attrs=sn by * read at the end");
    ASSERT_EQ(run({"access", "delete", "1"}).status, 0);
}

TEST_F(CliAccess, DeletingAPlaceWithoutARuleIsUnchanged)
{
    expectLine({"access", "delete", "1"}, "unchanged access rule {1}, the server shows 1 rule");
}

TEST_F(CliAccess, ARuleThatIsRefusedShowsWhatSlapdSaid)
{
    expectFailure({"access", "add", "to nothing by * read"}, 1,
                  "kvr-ldap: access add: OpenLDAP error on modifying attribute 'olcAccess' of dn '" +
                      mainDatabaseDn +
                      "' to value 'to nothing by * read' - Other (e.g., implementation specific) error: "
                      "<olcAccess> handler exited with 1\n");
}

TEST_F(CliAccess, ARuleOrPlaceThatIsNoneIsAUsageError)
{
    expectFailure({"access", "add", " "}, 2,
                  "kvr-ldap: access add: the rule is empty\n"
                  "kvr-ldap: hint: a rule reads: to WHAT by WHO ACCESS ...\n");
    expectFailure({"access", "add", "{0}to * by * read"}, 2,
                  "kvr-ldap: access add: the rule begins with a position\n"
                  "kvr-ldap: hint: --at N says where it is inserted\n");
    for (const std::string place : {"-1", "x", "", "{0}", "99999999999"})
    {
        EXPECT_EQ(run({"access", "add", "--at=" + place, "to * by * read"}).status, 2) << place;
        EXPECT_EQ(run({"access", "delete", "--", place}).status, 2) << place;
    }
    EXPECT_THAT(stored("olcAccess"), ElementsAre("{0}to * by * manage"));
}

TEST_F(CliAccess, ALatin1ProcessSendsUtf8AndShowsLatin1)
{
    const Setting setting = inLocale(latin1);
    const std::string inLatin1 = "to dn.subtree=\"ou=K\xf6ln,ou=units,dc=example,dc=com\" by * manage";
    const std::string inUtf8 = "to dn.subtree=\"ou=K\xc3\xb6ln,ou=units,dc=example,dc=com\" by * manage";
    expectLine({"access", "add", "--at", "0", inLatin1}, "added access rule " + inLatin1 + " at {0}",
               setting);
    EXPECT_THAT(stored("olcAccess"), Contains("{0} " + inUtf8));
    expectLine({"access", "list"}, "{0} " + inLatin1 + "\n{1}to * by * manage", setting);
    EXPECT_EQ(run({"access", "list", "--output", "json"}, setting).json().at("rules").at(0), "{0} " + inUtf8);
    expectLine({"access", "delete", "0"}, "removed access rule {0} " + inLatin1, setting);
}

} // namespace
