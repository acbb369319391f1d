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
using testing::StartsWith;

class CliSearch : public testing::Test
{
protected:
    Outcome search(std::vector<std::string> arguments, const Setting& setting = {})
    {
        arguments.insert(arguments.begin(), {"search", "--uri", server.uri()});
        return kvrLdap(arguments, setting);
    }

    LdapRequest sent() const { return server.only(Operation::Search); }

    LdapResponder server;
};

TEST_F(CliSearch, AsksForEverythingInTheSubtreeByDefault)
{
    search({"dc=example"});
    EXPECT_EQ(sent().dn, "dc=example");
    EXPECT_EQ(sent().search.filter, "(objectClass=*)");
    EXPECT_EQ(sent().search.scope, 2);
    EXPECT_THAT(sent().search.attributes, IsEmpty());
    EXPECT_EQ(sent().search.sizeLimit, 0);
}

TEST_F(CliSearch, PassesFilterAttributesAndScopeOn)
{
    search({"dc=example", "(&(cn=a*)(!(sn=b)))", "sn", "cn", "+", "--scope", "one"});
    EXPECT_EQ(sent().search.filter, "(&(cn=a*)(!(sn=b)))");
    EXPECT_THAT(sent().search.attributes, ElementsAre("sn", "cn", "+"));
    EXPECT_EQ(sent().search.scope, 1);
}

TEST_F(CliSearch, KnowsAllScopes)
{
    const std::vector<std::pair<std::string, int>> scopes = {
        {"base", 0}, {"one", 1}, {"sub", 2}, {"children", 3}};
    for (const auto& [name, number] : scopes)
    {
        server.clear();
        search({"dc=example", "--scope=" + name});
        EXPECT_EQ(sent().search.scope, number) << name;
    }
}

TEST_F(CliSearch, TakesTheEmptyBaseForTheRoot)
{
    server.onSearch(Answer().entry("", {{"vendorName", {"us"}}}));
    const Outcome outcome = search({"", "--scope", "base"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "dn:\n  vendorName: us\n");
    EXPECT_EQ(sent().dn, "");
}

TEST_F(CliSearch, TakesAnAttributeThatHasTheNameOfACommand)
{
    search({"dc=example", "(cn=a)", "module", "show"});
    EXPECT_THAT(sent().search.attributes, ElementsAre("module", "show"));
}

TEST_F(CliSearch, ShowsEntriesWithABlankLineBetweenThem)
{
    server.onSearch(Answer()
                        .entry("cn=a,dc=example", {{"cn", {"a"}}, {"mail", {"a@x", "a@y"}}})
                        .entry("cn=b,dc=example", {{"cn", {"b"}}}));
    const Outcome outcome = search({"dc=example"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "dn: cn=a,dc=example\n  cn: a\n  mail: a@x\n  mail: a@y\n\n"
                           "dn: cn=b,dc=example\n  cn: b\n");
}

TEST_F(CliSearch, IsOneJsonDocument)
{
    server.onSearch(Answer()
                        .entry("cn=a,dc=example", {{"cn", {"a"}}, {"mail", {"a@x", "a@y"}}})
                        .entry("cn=b,dc=example"));
    const Outcome outcome = search({"dc=example", "--output", "json"});
    EXPECT_EQ(outcome.status, 0);
    const nlohmann::json expected = {
        {"schemaVersion", 1},
        {"command", "search"},
        {"truncated", false},
        {"entries",
         {{{"dn", "cn=a,dc=example"}, {"attributes", {{"cn", {"a"}}, {"mail", {"a@x", "a@y"}}}}},
          {{"dn", "cn=b,dc=example"}, {"attributes", nlohmann::json::object()}}}},
        {"count", 2}};
    EXPECT_EQ(outcome.json(), expected);
}

TEST_F(CliSearch, IsLdif)
{
    server.onSearch(Answer()
                        .entry("cn=a,dc=example", {{"cn", {"a"}}, {"sn", {" b"}}})
                        .entry("cn=\xc3\xbc,dc=example", {{"cn", {"\xc3\xbc"}}}));
    const Outcome outcome = search({"dc=example", "--output", "ldif"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "version: 1\n"
                           "\ndn: cn=a,dc=example\ncn: a\nsn:: IGI=\n"
                           "\ndn:: Y249w7wsZGM9ZXhhbXBsZQ==\ncn:: w7w=\n");
}

TEST_F(CliSearch, WithoutMatchIsDoneAndSaysSo)
{
    const Outcome outcome = search({"dc=example"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: search: no entry matches\n");
    EXPECT_EQ(search({"dc=example", "-q"}).err, "");
}

TEST_F(CliSearch, WithoutMatchIsAnEmptyListInJson)
{
    const Outcome outcome = search({"dc=example", "--output", "json", "-q"});
    const nlohmann::json expected = {{"schemaVersion", 1},
                                     {"command", "search"},
                                     {"truncated", false},
                                     {"entries", nlohmann::json::array()},
                                     {"count", 0}};
    EXPECT_EQ(outcome.json(), expected);
}

TEST_F(CliSearch, BelowAMissingBaseEndsWith3)
{
    server.onSearch(Answer().result(32, "no such thing"));
    const Outcome outcome = search({"ou=gone,dc=example", "--output", "json"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "kvr-ldap: search: there is no entry 'ou=gone,dc=example'\n"
                           "kvr-ldap: hint: an entry that the server hides from the user counts as absent\n");
    const nlohmann::json expected = {{"exitCode", 3},
                                     {"kind", "not found"},
                                     {"resultCode", 32},
                                     {"subject", "search"},
                                     {"message", "there is no entry 'ou=gone,dc=example'"}};
    EXPECT_EQ(outcome.json().at("error"), expected);
}

TEST_F(CliSearch, WithoutRightsEndsWith4AndTheServersWords)
{
    server.onSearch(Answer().result(50, "no read access"));
    const Outcome outcome = search({"dc=example"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err, "kvr-ldap: search: OpenLDAP error Insufficient access. The user should have "
                           "administrator privilege. - Insufficient access: no read access\n"
                           "kvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n");
}

TEST_F(CliSearch, ThatTheServerRefusesEndsWith1AndItsWords)
{
    server.onSearch(Answer().result(53, "closed\nfor repairs"));
    const Outcome outcome = search({"dc=example"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: search: OpenLDAP error on searching 'dc=example (objectClass=*)' - "
                           "Server is unwilling to perform: closed for repairs\n");
}

TEST_F(CliSearch, TellsThePlaceInTheSourcesOnlyWhenAsked)
{
    server.onSearch(Answer().result(53));
    EXPECT_THAT(search({"dc=example", "-v"}).err, HasSubstr(" in KVRLdapConnection.cpp:"));
}

TEST_F(CliSearch, WithABadFilterEndsWith2AndNoWordsOfTheServer)
{
    server.onBind(Answer().result(0, "welcome"));
    const Outcome outcome = search({"dc=example", "(("});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: search: OpenLDAP error on searching 'dc=example ((' - Bad search filter\n");
    EXPECT_THAT(server.requests(Operation::Search), IsEmpty());
}

TEST_F(CliSearch, CutBySizeLimitSaysSoInEveryForm)
{
    server.always(Operation::Search, Answer().entry("cn=a,dc=example", {{"cn", {"a"}}}).result(4));
    const std::string message =
        "kvr-ldap: search: the answer is incomplete: the server's size limit was reached\n";

    const Outcome text = search({"dc=example", "-q"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, "dn: cn=a,dc=example\n  cn: a\n");
    EXPECT_EQ(text.err, message);

    const Outcome json = search({"dc=example", "--output", "json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.json().at("truncated"), true);
    EXPECT_EQ(json.json().at("count"), 1);
    EXPECT_EQ(json.err, message);

    const Outcome ldif = search({"dc=example", "--output", "ldif"});
    EXPECT_EQ(ldif.status, 0);
    EXPECT_EQ(ldif.out, "version: 1\n\ndn: cn=a,dc=example\ncn: a\n"
                        "\n# truncated: the server's size limit was reached\n");
    EXPECT_EQ(ldif.err, message);
}

TEST_F(CliSearch, InterruptedByTheServerEndsWith5)
{
    server.onSearch(Answer().entry("cn=a,dc=example").drop());
    const Outcome outcome = search({"dc=example"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: search: OpenLDAP error on searching 'dc=example (objectClass=*)' - Can't "
              "contact LDAP server\n");
}

TEST_F(CliSearch, ThatBreaksOffKeepsOneDocument)
{
    server.always(
        Operation::Search,
        Answer().entry("cn=a,dc=example", {{"cn", {"a"}}}).damagedEntry("cn=b,dc=example", {{"cn", {"b"}}}));
    const Outcome json = search({"dc=example", "--output", "json"});
    EXPECT_EQ(json.status, 5);
    EXPECT_EQ(json.json().at("entries").at(0).at("dn"), "cn=a,dc=example");
    EXPECT_EQ(json.json().at("error").at("exitCode"), 5);
    EXPECT_EQ(json.json().at("error").at("resultCode"), -4);

    const Outcome ldif = search({"dc=example", "--output", "ldif"});
    EXPECT_EQ(ldif.status, 5);
    EXPECT_THAT(ldif.out, HasSubstr("\n# incomplete: OpenLDAP error on fetching - Decoding error\n"));
}

TEST_F(CliSearch, ConvertsItsArgumentsFromTheLocale)
{
    server.onSearch(Answer().entry("cn=\xc3\xbc,dc=example", {{"cn", {"\xc3\xbc \xd0\x9f"}}}));
    const Outcome outcome = search({"ou=\xfc,dc=example", "(cn=\xe4*)"}, inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(sent().dn, "ou=\xc3\xbc,dc=example");
    EXPECT_EQ(sent().search.filter, "(cn=\xc3\xa4*)");
    EXPECT_EQ(outcome.out, "dn: cn=\xfc,dc=example\n  cn: \xfc \\u{41f}\n");
}

TEST_F(CliSearch, ConvertsItsMessagesToTheLocale)
{
    server.onSearch(Answer().result(32));
    EXPECT_THAT(search({"ou=\xfc"}, inLocale("de_DE.ISO-8859-1")).err, HasSubstr("'ou=\xfc'"));
}

TEST_F(CliSearch, IsTranslatedAndEndsWithTheSameCode)
{
    server.onSearch(Answer().result(50));
    const Outcome outcome = search({"dc=example"}, inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                StartsWith("kvr-ldap: search: OpenLDAP-Fehler Unzureichende Zugriffsrechte. "
                           "Der Benutzer muss Administratorrechte haben. - Insufficient access"));
}

TEST_F(CliSearch, ShowsTranslatedTextsInTheLocalesCharacterSet)
{
    const Outcome outcome = kvrLdap({"show", "dc=example", "--uri", "bogus"}, inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("kvr-ldap: connecting to bogus: Ung\xfcltige LDAP-URL ,,bogus\".\n"));
}

TEST_F(CliSearch, KeepsJsonAndLdifInUtf8WhateverTheLocale)
{
    server.always(Operation::Search, Answer().entry("cn=a,dc=example", {{"cn", {"\xc3\xbc \xd0\x9f"}},
                                                                        {"jpegPhoto", {"\xff\xd8"}}}));
    const Outcome json = search({"dc=example", "--output", "json"}, inLocale("de_DE.ISO-8859-1"));
    const nlohmann::json attributes = json.json().at("entries").at(0).at("attributes");
    EXPECT_EQ(attributes.at("cn").at(0), "\xc3\xbc \xd0\x9f");
    EXPECT_EQ(attributes.at("jpegPhoto").at(0), nlohmann::json({{"base64", "/9g="}}));

    const Outcome ldif = search({"dc=example", "--output", "ldif"}, inLocale("ru_RU.KOI8-R"));
    EXPECT_EQ(ldif.out, "version: 1\n\ndn: cn=a,dc=example\ncn:: w7wg0J8=\njpegPhoto:: /9g=\n");
}

TEST_F(CliSearch, TakesTheLocaleCForUtf8)
{
    Setting setting;
    setting.environment = {{"LC_ALL", "C"}};
    server.onSearch(Answer().entry("cn=\xc3\xbc", {{"cn", {"\xc3\xbc"}}}));
    const Outcome outcome = search({"ou=\xc3\xbc"}, setting);
    EXPECT_EQ(sent().dn, "ou=\xc3\xbc");
    EXPECT_EQ(outcome.out, "dn: cn=\xc3\xbc\n  cn: \xc3\xbc\n");
}

} // namespace
