#include "WriteTest.h"

namespace
{

using namespace KVR::CliTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using CliEntry = CliWrite;

TEST_F(CliEntry, AddTellsTheEntryAndItsAttributesAreThere)
{
    const std::string dn = "cn=added,dc=example,dc=com";
    expectLine({"add", dn, "objectClass=inetOrgPerson", "cn=added", "SN=s", "description=[x,y]",
                "DESCRIPTION=a=b\nc", "--", "description=-d"},
               "added " + dn);
    EXPECT_THAT(values(dn, "description"), UnorderedElementsAre("[x,y]", "a=b\nc", "-d"));
    EXPECT_THAT(values(dn, "sn"), ElementsAre("s"));
}

TEST_F(CliEntry, AddInJson)
{
    const std::string dn = "ou=in json,dc=example,dc=com";
    EXPECT_EQ(document({"add", dn, "objectClass=organizationalUnit", "ou=in json"}),
              nlohmann::json({{"schemaVersion", 1}, {"command", "add"}, {"dn", dn}, {"result", "added"}}));
    EXPECT_TRUE(exists(dn));
}

TEST_F(CliEntry, AddOfAnExistingEntryEndsWith1)
{
    const Outcome outcome =
        run({"add", "ou=people,dc=example,dc=com", "objectClass=organizationalUnit", "ou=people"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "kvr-ldap: add: OpenLDAP error on adding dn 'ou=people,dc=example,dc=com' - Already "
              "exists\n");
}

TEST_F(CliEntry, AddBelowNothingEndsWith3)
{
    EXPECT_EQ(run({"add", "cn=a,ou=nowhere,dc=example,dc=com", "objectClass=person", "cn=a", "sn=a"}).status,
              3);
}

TEST_F(CliEntry, ModifyChangesAllInOneRequest)
{
    const std::string dn = "cn=modified,dc=example,dc=com";
    addPerson("modified");
    ASSERT_EQ(run({"attr", "set", dn, "mail", "old@a.b", "kept@a.b"}).status, 0);
    ASSERT_EQ(run({"attr", "set", dn, "title", "t"}).status, 0);
    expectLine({"modify", dn, "--add", "mail=new@a.b", "--remove", "MAIL=old@a.b", "--replace", "sn=[a,b]",
                "--clear", "title"},
               "modified " + dn);
    EXPECT_THAT(values(dn, "mail"), UnorderedElementsAre("kept@a.b", "new@a.b"));
    EXPECT_THAT(values(dn, "sn"), ElementsAre("[a,b]"));
    EXPECT_THAT(values(dn, "title"), IsEmpty());

    // The second change is impossible, so the first one is not made either.
    EXPECT_EQ(run({"modify", dn, "--add", "mail=more@a.b", "--remove", "description=none"}).status, 1);
    EXPECT_THAT(values(dn, "mail"), UnorderedElementsAre("kept@a.b", "new@a.b"));
}

TEST_F(CliEntry, ModifyInJson)
{
    addPerson("modified in json");
    const std::string dn = "cn=modified in json,dc=example,dc=com";
    EXPECT_EQ(
        document({"modify", dn, "--replace", "sn=t"}),
        nlohmann::json({{"schemaVersion", 1}, {"command", "modify"}, {"dn", dn}, {"result", "modified"}}));
    EXPECT_THAT(values(dn, "sn"), ElementsAre("t"));
}

TEST_F(CliEntry, ModifyOfAMissingEntryEndsWith3)
{
    EXPECT_EQ(run({"modify", "cn=nobody,dc=example,dc=com", "--replace", "sn=t"}).status, 3);
}

TEST_F(CliEntry, RenameTellsTheNewDn)
{
    addPerson("renamed");
    expectLine({"rename", "cn=renamed , dc=example,dc=com", "cn=new\\, name"},
               "renamed cn=renamed , dc=example,dc=com to cn=new\\, name,dc=example,dc=com");
    EXPECT_FALSE(exists("cn=renamed,dc=example,dc=com"));
    EXPECT_THAT(values("cn=new\\, name,dc=example,dc=com", "cn"), ElementsAre("new, name"));

    EXPECT_EQ(document({"rename", "cn=new\\, name,dc=example,dc=com", "cn=a+sn=s"}),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "rename"},
                              {"dn", "cn=new\\, name,dc=example,dc=com"},
                              {"newDn", "cn=a+sn=s,dc=example,dc=com"},
                              {"result", "renamed"}}));
    EXPECT_TRUE(exists("cn=a+sn=s,dc=example,dc=com"));
}

TEST_F(CliEntry, RenameOfAMissingEntryEndsWith3)
{
    EXPECT_EQ(run({"rename", "cn=nobody,dc=example,dc=com", "cn=a"}).status, 3);
}

TEST_F(CliEntry, EnsureOuTellsWhatItCreated)
{
    expectLine({"ensure-ou", "ou=A,ou=B,dc=example,dc=com"}, "created ou=B,dc=example,dc=com\n"
                                                             "created ou=A,ou=B,dc=example,dc=com");
    EXPECT_TRUE(exists("ou=A,ou=B,dc=example,dc=com"));
    expectLine({"ensure-ou", "ou=A,ou=B,dc=example,dc=com"}, "unchanged ou=A,ou=B,dc=example,dc=com");
    EXPECT_EQ(document({"ensure-ou", "cn=x, ou=C , ou=B,dc=example,dc=com"}),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "ensure-ou"},
                              {"dn", "cn=x, ou=C , ou=B,dc=example,dc=com"},
                              {"created", {"ou=C,ou=B,dc=example,dc=com"}},
                              {"result", "created"}}));
    EXPECT_EQ(document({"ensure-ou", "ou=C,ou=B,dc=example,dc=com"}),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "ensure-ou"},
                              {"dn", "ou=C,ou=B,dc=example,dc=com"},
                              {"created", nlohmann::json::array()},
                              {"result", "unchanged"}}));
    expectLine({"ensure-ou", "dc=example,dc=com"}, "unchanged dc=example,dc=com");
}

TEST_F(CliEntry, EnsureOuCreatesNothingWhereAUnitHasTheNameAsAnotherOne)
{
    ASSERT_EQ(
        run({"add", "ou=first,dc=example,dc=com", "objectClass=organizationalUnit", "ou=first", "ou=second"})
            .status,
        0);
    expectLine({"ensure-ou", "ou=second,dc=example,dc=com"}, "unchanged ou=second,dc=example,dc=com");
    EXPECT_FALSE(exists("ou=second,dc=example,dc=com"));
}

TEST_F(CliEntry, EnsureOuKeepsEscapes)
{
    const std::string dn = "ou=a\\, b\\;c\\\",dc=example,dc=com";
    expectLine({"ensure-ou", dn}, "created " + dn);
    EXPECT_THAT(values(dn, "ou"), ElementsAre("a, b;c\""));
}

TEST_F(CliEntry, EnsureOuBelowNothingEndsWith3)
{
    EXPECT_EQ(run({"ensure-ou", "ou=a,dc=nowhere,dc=example,dc=com"}).status, 3);
}

TEST_F(CliEntry, Latin1TextIsWrittenAndReadBack)
{
    const std::string dn = "cn=J\xfcrgen,dc=example,dc=com";
    const Setting latin1 = inLocale("de_DE.ISO-8859-1");
    expectLine({"add", dn, "objectClass=person", "cn=J\xfcrgen", "sn=M\xfcller"}, "added " + dn, latin1);
    expectLine({"modify", dn, "--add", "description=\xe4"}, "modified " + dn, latin1);
    expectLine({"attr", "set", dn, "sn", "Gr\xfc\xdf"}, "modified sn of " + dn, latin1);
    EXPECT_THAT(values("cn=J\xc3\xbcrgen,dc=example,dc=com", "sn"), ElementsAre("Gr\xc3\xbc\xc3\x9f"));
    EXPECT_THAT(values("cn=J\xc3\xbcrgen,dc=example,dc=com", "description"), ElementsAre("\xc3\xa4"));
    expectLine({"rename", dn, "cn=J\xf6rg"}, "renamed " + dn + " to cn=J\xf6rg,dc=example,dc=com", latin1);
    expectLine({"delete", "cn=J\xf6rg,dc=example,dc=com"}, "deleted cn=J\xf6rg,dc=example,dc=com", latin1);
}

TEST_F(CliEntry, AUserWithoutRightsEndsWith4)
{
    const KVR::Support::PrivateSlapd guarded({"--entries", "1", "--rights", "administrators"});
    const std::string person = "uid=user000001,ou=people,dc=example,dc=com";
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"add", "ou=a,dc=example,dc=com", "objectClass=organizationalUnit", "ou=a"},
             {"modify", person, "--replace", "sn=a"},
             {"delete", person},
             {"rename", person, "uid=a"},
             {"ensure-ou", "ou=a,dc=example,dc=com"},
             {"attr", "set", person, "sn", "a"},
             {"attr", "add", person, "sn", "a", "b"},
             {"attr", "clear", person, "mail"}})
    {
        const Outcome outcome = runOn(guarded, arguments);
        EXPECT_EQ(outcome.status, 4) << arguments[0];
        EXPECT_THAT(outcome.err,
                    HasSubstr("Insufficient access. The user should have administrator privilege."));
        EXPECT_THAT(outcome.err,
                    HasSubstr("\nkvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n"));
    }
    EXPECT_EQ(runOn(guarded, {"show", person}).status, 0);
}

} // namespace
