// Which requests the writing commands send, and what becomes of refusals.

#include "LdapResponder.h"
#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int add = 0;
constexpr int remove = 1;
constexpr int replace = 2;

constexpr const char* dn = "cn=a,dc=x";

class CliWriteRequest : public testing::Test
{
protected:
    Outcome run(std::vector<std::string> arguments, const Setting& setting = {})
    {
        arguments.insert(arguments.begin(), {"--uri", server.uri()});
        return kvrLdap(arguments, setting);
    }

    std::vector<Modification> modifications() { return server.only(Operation::Modify).modifications; }

    LdapResponder server;
};

TEST_F(CliWriteRequest, ModifyGroupsSpellingsOfOneNameInUpdateDNsOrder)
{
    EXPECT_EQ(run({"modify", dn, "--replace", "sn=s", "--remove", "mail=b", "--add", "MAIL=c", "--add",
                   "Mail=d", "--clear", "title", "--add", "cn=e"})
                  .status,
              0);
    EXPECT_THAT(modifications(),
                ElementsAre(Modification{remove, "title", {}}, Modification{add, "MAIL", {"c", "d"}},
                            Modification{add, "cn", {"e"}}, Modification{remove, "MAIL", {"b"}},
                            Modification{replace, "sn", {"s"}}));
}

TEST_F(CliWriteRequest, ModifyClearsBeforeItAdds)
{
    EXPECT_EQ(run({"modify", dn, "--add", "mail=a", "--clear", "MAIL"}).status, 0);
    EXPECT_THAT(modifications(),
                ElementsAre(Modification{remove, "mail", {}}, Modification{add, "mail", {"a"}}));
}

TEST_F(CliWriteRequest, ModifySendsValuesAsTheyWereTyped)
{
    EXPECT_EQ(run({"modify", dn, "--replace", "cn=[a,b]", "--replace", "cn=", "--replace", "cn=a=b\nc",
                   "--replace=cn= x "})
                  .status,
              0);
    EXPECT_THAT(modifications(), ElementsAre(Modification{replace, "cn", {"[a,b]", "", "a=b\nc", " x "}}));
}

TEST_F(CliWriteRequest, AddGroupsSpellingsOfOneName)
{
    EXPECT_EQ(run({"add", dn, "cn=a", "objectClass=top", "CN=b", "OBJECTCLASS=person"}).status, 0);
    EXPECT_THAT(server.only(Operation::Add).attributes,
                ElementsAre(Attribute{"cn", {"a", "b"}}, Attribute{"objectClass", {"top", "person"}}));
}

TEST_F(CliWriteRequest, AttrSendsOneModification)
{
    EXPECT_EQ(run({"attr", "set", dn, "cn", "{}"}).status, 0);
    EXPECT_THAT(modifications(), ElementsAre(Modification{replace, "cn", {"{}"}}));
    server.clear();
    EXPECT_EQ(run({"attr", "add", dn, "cn", "[a,b]", "++", "--", "-x", "--", "[c]", "--output"}).status, 0);
    EXPECT_THAT(modifications(),
                ElementsAre(Modification{add, "cn", {"[a,b]", "++", "-x", "--", "[c]", "--output"}}));
    server.clear();
    EXPECT_EQ(run({"attr", "remove", dn, "cn", "set", "search"}).status, 0);
    EXPECT_THAT(modifications(), ElementsAre(Modification{remove, "cn", {"set", "search"}}));
    server.clear();
    EXPECT_EQ(run({"attr", "clear", dn, "cn"}).status, 0);
    EXPECT_THAT(modifications(), ElementsAre(Modification{remove, "cn", {}}));
}

TEST_F(CliWriteRequest, SearchTakesBracketsForAName)
{
    run({"search", "dc=x", "(cn=a)", "[a,b]", "{}"});
    EXPECT_THAT(server.only(Operation::Search).search.attributes, ElementsAre("[a,b]", "{}"));
}

TEST_F(CliWriteRequest, SetBinarySendsStandardInputAsItIs)
{
    Setting setting;
    setting.input = std::string("\xff\0\n", 3);
    EXPECT_EQ(run({"attr", "set-binary", dn, "jpegPhoto", "-"}, setting).status, 0);
    EXPECT_THAT(modifications(), ElementsAre(Modification{replace, "jpegPhoto", {setting.input}}));
}

TEST_F(CliWriteRequest, GetBinaryWritesBytesAsTheyAre)
{
    const std::string bytes("\xff\0\x1b\n", 4);
    server.onSearch(Answer().entry(dn, {{"jpegPhoto", {bytes, "second"}}}));
    const Outcome outcome = run({"attr", "get-binary", dn, "jpegPhoto"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, bytes);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CliWriteRequest, GetBinaryRefusesATerminal)
{
    server.always(Operation::Search, Answer().entry(dn, {{"jpegPhoto", {"\x1b"}}}));
    Setting terminal;
    terminal.terminals = {1};
    const Outcome outcome = run({"attr", "get-binary", dn, "jpegPhoto"}, terminal);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: standard output: bytes are not written to a terminal\n"
                           "kvr-ldap: hint: --out FILE takes them, or send standard output elsewhere\n");
    EXPECT_EQ(run({"attr", "get-binary", dn, "jpegPhoto", "--output", "json"}, terminal).status, 0);
}

TEST_F(CliWriteRequest, GetBinaryTellsAnEmptyValueFromNone)
{
    const Answer empty = Answer().entry(dn, {{"jpegPhoto", {""}}});
    server.onSearch(empty);
    server.onSearch(empty);
    const Outcome found = run({"attr", "get-binary", dn, "jpegPhoto", "--output", "json"});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.json().at("size"), 0);
    EXPECT_EQ(found.json().at("base64"), "");

    const Outcome missing = run({"attr", "get-binary", dn, "jpegPhoto"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.err,
              "kvr-ldap: attr get-binary: the entry 'cn=a,dc=x' has no attribute 'jpegPhoto'\n"
              "kvr-ldap: hint: an attribute that the server hides from the user counts as absent\n");

    server.always(Operation::Search, Answer().result(32));
    const Outcome nowhere = run({"attr", "get-binary", dn, "jpegPhoto"});
    EXPECT_EQ(nowhere.status, 3);
    EXPECT_THAT(nowhere.err, HasSubstr("attr get-binary: there is no entry 'cn=a,dc=x'\n"));
}

TEST_F(CliWriteRequest, RefusalsEndByTheirResultCode)
{
    const std::map<int, int> statusOf = {{16, 1}, {19, 1}, {32, 3}, {47, 4}, {50, 4}, {53, 1}, {68, 1}};
    for (const auto& [code, status] : statusOf)
    {
        const Answer answer = Answer().result(code);
        for (const Operation each :
             {Operation::Add, Operation::Modify, Operation::Delete, Operation::ModifyDn})
        {
            server.always(each, answer);
        }
        EXPECT_EQ(run({"add", dn, "cn=a"}).status, status) << code;
        EXPECT_EQ(run({"modify", dn, "--clear", "cn"}).status, status) << code;
        EXPECT_EQ(run({"delete", dn}).status, status) << code;
        EXPECT_EQ(run({"rename", dn, "cn=b"}).status, status) << code;
        EXPECT_EQ(run({"attr", "set", dn, "cn", "b"}).status, status) << code;
        EXPECT_EQ(run({"attr", "add", dn, "cn", "b", "c"}).status, status) << code;
        EXPECT_EQ(run({"attr", "clear", dn, "cn"}).status, status) << code;
    }
}

TEST_F(CliWriteRequest, ARefusalIsToldWithTheServersWordsAndInJson)
{
    server.always(Operation::Modify, Answer().result(53, "closed"));
    const Outcome outcome = run({"attr", "set", dn, "cn", "b", "--output", "json"});
    EXPECT_EQ(outcome.err,
              "kvr-ldap: attr set: OpenLDAP error on modifying attribute 'cn' of dn 'cn=a,dc=x' to "
              "value 'b' - Server is unwilling to perform: closed\n");
    EXPECT_EQ(outcome.json().at("command"), "attr set");
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), 53);
    EXPECT_EQ(outcome.json().count("result"), 0);
}

TEST_F(CliWriteRequest, DeleteSendsNothingThatChangesWhenTheUserSaysNo)
{
    server.always(Operation::Search, Answer().entry("cn=b,cn=a,dc=x"));
    for (const std::string typed : {"n\n", "\n", "no\n", "yep\n", "\x04"})
    {
        const Outcome outcome = run({"delete", dn}, atTerminal(typed));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "Delete cn=a,dc=x and its 1 child? [y/N] "
                               "kvr-ldap: delete: not confirmed; nothing is deleted\n");
    }
    EXPECT_THAT(server.requests(Operation::Delete), IsEmpty());
}

TEST_F(CliWriteRequest, DeleteAsksOnlyWhereInputAndMessagesAreATerminal)
{
    server.always(Operation::Search, Answer().entry("cn=b,cn=a,dc=x"));
    for (const std::set<int>& terminals : {std::set<int>{0}, std::set<int>{2}, std::set<int>{0, 1}})
    {
        Setting setting = atTerminal("y\n");
        setting.terminals = terminals;
        EXPECT_EQ(run({"delete", dn}, setting).status, 2);
    }
    EXPECT_THAT(server.requests(Operation::Delete), IsEmpty());
    EXPECT_EQ(run({"delete", dn}, atTerminal("y\n")).status, 0);
    EXPECT_EQ(server.requests(Operation::Delete).size(), 2);
}

TEST_F(CliWriteRequest, ANameInTheQuestionCantActOnTheTerminal)
{
    server.always(Operation::Search, Answer().entry("cn=b,cn=\x1b[2J,dc=x"));
    EXPECT_THAT(run({"delete", "cn=\x1b[2J,dc=x"}, atTerminal("n\n")).err,
                HasSubstr("Delete cn=\\x1b[2J,dc=x"));
}

TEST_F(CliWriteRequest, DeleteThatFailsTellsHowFarItCame)
{
    const Answer three = Answer().entry("cn=b,cn=a,dc=x").entry("cn=c,cn=a,dc=x").entry("cn=d,cn=a,dc=x");
    server.onSearch(three);
    server.onSearch(three);
    server.onSearch(Answer().entry("cn=c,cn=a,dc=x").entry("cn=d,cn=a,dc=x"));
    server.handle(Operation::Delete, LdapResponder::byDn({{"cn=c,cn=a,dc=x", Answer().result(53)}}));
    const Outcome outcome = run({"delete", dn, "--yes", "--output", "json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: delete: 1 of 3 entries below 'cn=a,dc=x' were deleted\n"
              "kvr-ldap: delete: OpenLDAP error on deleting dn 'cn=a,dc=x' - Server is unwilling "
              "to perform\n");
    EXPECT_EQ(outcome.json().at("deletedBelow"), 1);
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), 53);
}

TEST_F(CliWriteRequest, DeleteThatFailsLooksForEachEntryWhenTheServerCutsItsList)
{
    const Answer two = Answer().entry("cn=b,cn=a,dc=x").entry("cn=c,cn=a,dc=x").result(4);
    server.onSearch(two);
    server.onSearch(two);
    server.onSearch(Answer().entry("cn=z,cn=a,dc=x").result(4));
    server.onSearch(Answer().result(32));
    server.onSearch(Answer().entry("cn=c,cn=a,dc=x"));
    server.handle(Operation::Delete, LdapResponder::byDn({{"cn=c,cn=a,dc=x", Answer().result(53)}}));
    const Outcome outcome = run({"delete", dn, "--yes", "--output", "json"});
    EXPECT_THAT(outcome.err, HasSubstr("delete: 1 of at least 2 entries below 'cn=a,dc=x' were deleted\n"));
    EXPECT_EQ(outcome.json().at("deletedBelow"), 1);
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), 53);
}

TEST_F(CliWriteRequest, DeleteThatLosesTheServerSaysThatItCantCount)
{
    const Answer two = Answer().entry("cn=b,cn=a,dc=x").entry("cn=c,cn=a,dc=x");
    server.always(Operation::Search, two);
    server.handle(Operation::Delete, LdapResponder::byDn({{"cn=c,cn=a,dc=x", Answer().drop()}}));
    const Outcome outcome = run({"delete", dn, "--yes"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(
        outcome.err,
        HasSubstr("kvr-ldap: delete: entries below 'cn=a,dc=x' may be deleted; how many is unknown\n"));
}

TEST_F(CliWriteRequest, EnsureOuThatFailsTellsWhatItCreated)
{
    const Answer nothing = Answer().result(32);
    // Looked for before, then looked for by the plug-in, then looked for after it failed.
    for (int count = 0; count < 4; ++count)
    {
        server.onSearch(nothing);
    }
    server.onSearch(Answer().entry("ou=b,dc=x"));
    server.onSearch(nothing);
    server.handle(Operation::Add, LdapResponder::byDn({{"ou=a,ou=b,dc=x", Answer().result(50)}}));
    const Outcome outcome = run({"ensure-ou", "ou=a,ou=b,dc=x", "--output", "json"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.json().at("created"), nlohmann::json({"ou=b,dc=x"}));
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), 50);
}

} // namespace
