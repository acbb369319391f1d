#include "LdapResponder.h"
#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

Outcome show(const std::string& uris, std::vector<std::string> more = {}, const Setting& setting = {})
{
    more.insert(more.begin(), {"show", "dc=example", "--uri", uris});
    return kvrLdap(more, setting);
}

TEST(CliConnect, NobodyListeningEndsWith5)
{
    const Outcome outcome = show("ldap://127.0.0.1:1");
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err,
        "kvr-ldap: connecting to ldap://127.0.0.1:1: OpenLDAP error on bind - Can't contact LDAP server\n"
        "kvr-ldap: hint: check that the server runs and that --uri names it\n");
}

TEST(CliConnect, AnUnknownHostEndsWith5)
{
    // No resolver asks anybody about a label of more than 63 characters.
    const std::string uri = "ldap://" + std::string(70, 'a');
    const Outcome outcome = show(uri);
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, StartsWith("kvr-ldap: connecting to " + uri + ": OpenLDAP error on bind - "));
}

TEST(CliConnect, AListGoesOnWhenItsFirstServerIsDown)
{
    LdapResponder server;
    server.onSearch(Answer().entry("dc=example", {{"dc", {"example"}}}));
    const Outcome outcome = show("ldap://127.0.0.1:1 " + server.uri());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("dn: dc=example\n  dc: example\n"));
}

TEST(CliConnect, BlanksAroundTheListDoNotCount)
{
    LdapResponder server;
    server.onSearch(Answer().entry("dc=example"));
    EXPECT_EQ(show(" " + server.uri() + " ").status, 0);
}

TEST(CliConnect, TheModulesDefaultHoldsWithoutUri)
{
    LdapResponder server;
    server.onSearch(Answer().entry("dc=example"));
    const std::string parameter = "KVR_PRM_LDAP_URIS=" + server.uri();
    EXPECT_EQ(kvrLdap({"show", "dc=example", "--param", parameter}).status, 0);
}

TEST(CliConnect, BindsAnonymouslyByDefault)
{
    LdapResponder server;
    server.onSearch(Answer().entry("dc=example"));
    show(server.uri());
    const LdapRequest bind = server.only(Operation::Bind);
    EXPECT_TRUE(bind.bind.simple);
    EXPECT_EQ(bind.dn, "");
    EXPECT_EQ(bind.bind.version, 3);
}

TEST(CliConnect, ABindThatIsRefusedForItsRightsEndsWith4)
{
    LdapResponder server;
    server.onBind(Answer().result(48, "anonymous bind disallowed"));
    const Outcome outcome = show(server.uri());
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err, "kvr-ldap: connecting to " + server.uri() +
                               ": OpenLDAP error Insufficient access. The user should have administrator "
                               "privilege. - Inappropriate authentication: anonymous bind disallowed\n"
                               "kvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n");
}

TEST(CliConnect, ABindThatIsRefusedOtherwiseEndsWith1)
{
    LdapResponder server;
    server.onBind(Answer().result(53, "closed for repairs"));
    const Outcome outcome = show(server.uri());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: connecting to " + server.uri() +
                  ": OpenLDAP error on bind - Server is unwilling to perform: closed for repairs\n");
}

TEST(CliConnect, AServerThatHangsUpEndsWith5)
{
    LdapResponder server;
    server.onBind(Answer().drop());
    EXPECT_EQ(show(server.uri()).status, 5);
}

TEST(CliConnect, KerberosWithoutCacheNameEndsWith5AndAHint)
{
    const std::pair<std::optional<std::string>, std::string> names[] = {
        {std::nullopt, "OpenLDAP error can't bind via GGSAPI: KRB5CCNAME not set"},
        {"", "KRB5CCNAME is empty"}};
    for (const auto& [name, reason] : names)
    {
        LdapResponder server;
        Setting setting;
        setting.environment = {{"KRB5CCNAME", name}};
        const Outcome outcome = show(server.uri(), {"--auth", "gssapi"}, setting);
        EXPECT_EQ(outcome.status, 5);
        EXPECT_EQ(
            outcome.err,
            "kvr-ldap: connecting to " + server.uri() + ": " + reason +
                "\nkvr-ldap: hint: KRB5CCNAME must name a cache with a valid ticket; get one with kinit\n");
    }
}

TEST(CliConnect, KerberosWithoutTicketShowsTheLibrarysOwnWords)
{
    LdapResponder server;
    Setting setting;
    setting.environment = {{"KRB5CCNAME", "FILE:/nowhere/ticket"}};
    const Outcome outcome = show(server.uri(), {"--auth", "gssapi"}, setting);
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("OpenLDAP error on GGSAPI bind - "), HasSubstr(": SASL(-"),
                                   HasSubstr("\nkvr-ldap: hint: KRB5CCNAME must name a cache")));
}

TEST(CliConnect, TracesWithFourV)
{
    LdapResponder server;
    server.onSearch(Answer().entry("dc=example"));
    EXPECT_EQ(show(server.uri(), {"-vvvv"}).err.substr(0, 44),
              "kvr-ldap: Initilize LDAP connection to: ldap");
    server.onSearch(Answer().entry("dc=example"));
    EXPECT_THAT(show(server.uri(), {"-vvv"}).err, testing::Not(HasSubstr("Initilize")));
}

} // namespace
