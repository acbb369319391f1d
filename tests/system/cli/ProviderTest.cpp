// Providers of foreign domains, and what the command line keeps an administrator from.

#include "PartnerWriteTest.h"

namespace
{

using namespace KVR::CliTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CliProvider : public CliPartner
{
protected:
    static constexpr const char* first =
        "olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";
    static constexpr const char* second = "olcDatabase={2}ldap,cn=config";

    static void addOther(const std::string& uri = "ldap://srv3.other.org")
    {
        ASSERT_EQ(run(asHost({"provider", "add", "other.org", uri})).status, 0);
    }

    /** The command for a host whose own domain has nothing to do with the server. */
    static std::vector<std::string> elsewhere(std::vector<std::string> command)
    {
        command.insert(command.end(), {"--param", "KVR_DOMAIN_NAME=elsewhere.org"});
        return command;
    }

    static void expectMainDatabaseWithData()
    {
        EXPECT_TRUE(exists(mainDatabase));
        EXPECT_EQ(
            run({"search", "ou=people,dc=example,dc=com", "(uid=*)", "--output", "json"}).json().at("count"),
            3);
    }

    static void expectNothingAdded()
    {
        EXPECT_THAT(databasesBelow(chainOverlay), IsEmpty());
        EXPECT_THAT(databasesBelow("cn=config"), ElementsAre("{-1}frontend", "{0}config", KVR_MAIN_DATABASE));
    }

    static std::string ownDomain(const std::string& domain)
    {
        return "kvr-ldap: provider delete: '" + domain +
               "' is the own domain, whose database would go with its data; nothing is deleted\n"
               "kvr-ldap: hint: KVR_DOMAIN_NAME and DOMAIN_DN say which domain is the own one\n";
    }
};

TEST_F(CliProvider, TheOwnDomainInCapitalsKeepsItsDatabaseAndData)
{
    expectRefusal(asHost({"provider", "delete", "EXAMPLE.COM", "--yes"}), 2, ownDomain("EXAMPLE.COM"));
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, NoSpellingOfTheOwnDomainDeletesItsDatabase)
{
    for (const std::string domain : {"example.com", "Example.Com", "example.COM"})
    {
        expectRefusal(asHost({"provider", "delete", domain, "--yes"}), 2, ownDomain(domain));
    }
    expectRefusal(asHost({"provider", "delete", "EXAMPLE.com.", "--yes"}), 2, ownDomain("EXAMPLE.com"));
    for (const std::string domain :
         {"EXAMPLE..COM", ".EXAMPLE.COM", " EXAMPLE.COM", "EXAMPLE.COM ", "EXAMPLE .COM"})
    {
        EXPECT_EQ(run(asHost({"provider", "delete", domain, "--yes"})).status, 2) << domain;
    }
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, TheBaseDnTellsTheOwnDomainToo)
{
    expectRefusal({"provider", "delete", "EXAMPLE.COM", "--yes", "--param", "DOMAIN_DN=DC=example, DC=com"},
                  2, ownDomain("EXAMPLE.COM"));
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, TheDomainNameTellsItWithoutABaseDn)
{
    expectRefusal({"provider", "delete", "EXAMPLE.COM", "--yes", "--param", "KVR_DOMAIN_NAME=example.com"}, 2,
                  ownDomain("EXAMPLE.COM"));
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, AHostOfAnotherDomainDeletesNoDatabaseWithDataEither)
{
    expectRefusal(elsewhere({"provider", "delete", "EXAMPLE.COM", "--yes"}), 1,
                  "kvr-ldap: provider delete: the suffix of 'EXAMPLE.COM' is served by "
                  "olcDatabase=" KVR_MAIN_DATABASE
                  ",cn=config (dc=example,dc=com), which is no \"ldap\" database and would go "
                  "with its data; nothing is deleted\n");
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, ANewProviderIsListedAndShown)
{
    expectLine(asHost({"provider", "add", "other.org", "ldap://srv3.other.org"}),
               "added provider other.org at ldap://srv3.other.org");
    expectLine({"provider", "list"}, "{0}ldap  dc=other,dc=org");
    const std::string shown = "dn: " + std::string(first) + R"(
  objectClass: olcLDAPConfig
  objectClass: olcChainDatabase
  olcDatabase: {0}ldap
  olcDbChaseReferrals: TRUE
  olcDbIDAssertBind: bindmethod=sasl saslmech=gssapi binddn=uid="kvrd/srv2.example.com@EXAMPLE.COM"
  olcDbRebindAsUser: FALSE
  olcDbURI: ldap://srv3.other.org
  olcDbUseTemporaryConn: FALSE
  olcSuffix: dc=other,dc=org

Database:       olcDatabase={2}ldap,cn=config)";
    expectLine({"provider", "show", "OTHER.org"}, shown);
    EXPECT_THAT(values(second, "olcDbURI"), ElementsAre("ldap://srv3.other.org"));
}

TEST_F(CliProvider, ProvidersInJson)
{
    EXPECT_EQ(document(asHost({"provider", "add", "other.org", "srv3"})),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "provider add"},
                              {"domain", "other.org"},
                              {"result", "added"},
                              {"uri", "ldap://srv3"}}));
    EXPECT_EQ(document({"provider", "list"}).at("providers"),
              nlohmann::json({{{"name", "{0}ldap"}, {"suffix", "dc=other,dc=org"}}}));
    const nlohmann::json shown = document({"provider", "show", "other.org"});
    EXPECT_EQ(shown.at("entry").at("attributes").at("olcDbURI"), nlohmann::json({"ldap://srv3"}));
    EXPECT_EQ(shown.at("database"), second);
    const nlohmann::json updated = document(asHost({"provider", "update", "other.org", "srv4"}));
    EXPECT_EQ(updated.at("result"), "modified");
    EXPECT_EQ(updated.at("uri"), "ldap://srv4");
    const nlohmann::json deleted =
        run(asHost({"provider", "delete", "other.org", "--yes", "--output", "json"})).json();
    EXPECT_EQ(deleted.at("result"), "deleted");
    EXPECT_EQ(deleted.at("domain"), "other.org");
    EXPECT_EQ(deleted.at("databases"), nlohmann::json({first, second}));
}

TEST_F(CliProvider, AnUnknownOneIsNotFound)
{
    for (const std::string command : {"show", "update"})
    {
        std::vector<std::string> words{"provider", command, "other.org"};
        if (command == "update")
        {
            words = elsewhere({"provider", command, "other.org", "srv4"});
        }
        expectRefusal(words, 3,
                      "kvr-ldap: provider " + command + ": there is no provider of the domain 'other.org'\n");
    }
}

TEST_F(CliProvider, DeletingWhatIsNotThereChangesNothing)
{
    expectLine(elsewhere({"provider", "delete", "other.org"}),
               "unchanged provider other.org, it is not there");
}

TEST_F(CliProvider, TheOwnDomainGetsNone)
{
    expectRefusal(asHost({"provider", "add", "Example.COM", "srv3"}), 2,
                  "kvr-ldap: provider add: 'Example.COM' is the own domain, which the main database serves\n"
                  "kvr-ldap: hint: KVR_DOMAIN_NAME and DOMAIN_DN say which domain is the own one\n");
    expectNothingAdded();
}

TEST_F(CliProvider, ASuffixThatADatabaseServesGetsNone)
{
    for (const std::string domain : {"EXAMPLE.com", "sub.example.com"})
    {
        const std::string suffix = domain == "EXAMPLE.com" ? "dc=EXAMPLE,dc=com" : "dc=sub,dc=example,dc=com";
        expectRefusal(elsewhere({"provider", "add", domain, "srv3"}), 1,
                      "kvr-ldap: provider add: the suffix '" + suffix +
                          "' is served already by olcDatabase=" KVR_MAIN_DATABASE
                          ",cn=config (dc=example,dc=com); nothing is "
                          "added\n");
    }
    expectNothingAdded();
}

TEST_F(CliProvider, ADomainAboveTheOwnOneMayHaveOne)
{
    expectLine(asHost({"provider", "add", "com", "srv3"}), "added provider com at ldap://srv3");
}

TEST_F(CliProvider, ASecondOneIsRefused)
{
    addOther();
    for (const std::string domain : {"other.org", "OTHER.ORG"})
    {
        expectRefusal(asHost({"provider", "add", domain, "srv4"}), 1,
                      "kvr-ldap: provider add: the domain '" + domain + "' has a provider already: " + first +
                          " (dc=other,dc=org at ldap://srv3.other.org)\n"
                          "kvr-ldap: hint: \"provider update\" gives it another address\n");
    }
    EXPECT_THAT(databasesBelow(chainOverlay), ElementsAre("{0}ldap"));
}

// The server itself refuses such an addition without a reason, and takes such an update.
TEST_F(CliProvider, TwoOfOneAddressAreRefusedSinceTheServerWouldNotStartAgain)
{
    addOther();
    expectLine(asHost({"provider", "add", "third.org", "srv5"}), "added provider third.org at ldap://srv5");
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"provider", "add", "fourth.org", "srv5"}, {"provider", "update", "other.org", "ldap://srv5"}})
    {
        expectRefusal(
            asHost(command), 1,
            "kvr-ldap: provider " + command[1] +
                ": 'ldap://srv5' is the address of olcDatabase={1}ldap,olcOverlay={0}chain,"
                "olcDatabase={-1}frontend,cn=config (dc=third,dc=org at ldap://srv5) already; with two of "
                "one address the server would not start again, and nothing is written\n"
                "kvr-ldap: hint: another name of the same host may be used, or the port 389 in one of "
                "them\n");
    }
    EXPECT_THAT(values(first, "olcDbURI"), ElementsAre("ldap://srv3.other.org"));
    EXPECT_EQ(run(asHost({"provider", "add", "fourth.org", "srv5:389"})).status, 0);
}

TEST_F(CliProvider, AnEmptyUriIsRefused)
{
    for (const std::string command : {"add", "update"})
    {
        for (const std::string uri : {"", "  "})
        {
            expectRefusal(asHost({"provider", command, "other.org", uri}), 2,
                          "kvr-ldap: provider " + command +
                              ": the URI is empty\n"
                              "kvr-ldap: hint: write ldap://HOST or ldap://HOST:PORT\n");
        }
    }
    expectNothingAdded();
}

TEST_F(CliProvider, AUriThatWouldGetASecondSchemeIsRefused)
{
    addOther();
    for (const std::string command : {"add", "update"})
    {
        for (const std::string uri : {"ldaps://srv3", "LDAP://srv3", "http://srv3"})
        {
            expectRefusal(asHost({"provider", command, "other.org", uri}), 2,
                          "kvr-ldap: provider " + command + ": '" + uri + "' would be written as 'ldap://" +
                              uri +
                              "', since the plug-in puts ldap:// in front, and that is no URI of a server\n"
                              "kvr-ldap: hint: write ldap://HOST or ldap://HOST:PORT\n");
        }
    }
    EXPECT_THAT(values(first, "olcDbURI"), ElementsAre("ldap://srv3.other.org"));
}

TEST_F(CliProvider, AUriWithoutAServerIsRefused)
{
    for (const std::string uri :
         {"ldap://", "ldap:///", "ldap://srv3\"", "xldap://srv3", "ldap://srv3 ldap://srv4"})
    {
        expectRefusal(asHost({"provider", "add", "other.org", uri}), 2,
                      "kvr-ldap: provider add: '" + uri +
                          "' is no URI of a server\n"
                          "kvr-ldap: hint: write ldap://HOST or ldap://HOST:PORT\n");
    }
    expectNothingAdded();
}

TEST_F(CliProvider, ADomainIsADnsName)
{
    for (const std::string domain :
         {"", ".", "a..b", "a b", "a,b", "a*b", "dc=other,dc=org", "a_b", "b\xc3\xbcro.de"})
    {
        for (const std::string command : {"show", "add", "update", "delete"})
        {
            std::vector<std::string> words{"provider", command, domain};
            if (command == "add" || command == "update")
            {
                words.emplace_back("srv3");
            }
            expectRefusal(asHost(words), 2,
                          "kvr-ldap: provider " + command + ": '" + domain +
                              "' is no domain\n"
                              "kvr-ldap: hint: it is a DNS name of letters, digits, \"-\" and \".\", such as "
                              "example.org\n");
        }
    }
    expectNothingAdded();
}

TEST_F(CliProvider, AQuotationMarkInTheDaemonsNameIsRefused)
{
    expectRefusal(elsewhere({"provider", "add", "other.org", "srv3", "--param", "KVRD_USER=a\"b"}), 2,
                  "kvr-ldap: provider add: the host parameter KVRD_USER is 'a\"b'\n"
                  "kvr-ldap: hint: it must not have quotation marks\n");
    expectNothingAdded();
}

TEST_F(CliProvider, ADaemonWithoutANameIsTold)
{
    const Outcome outcome =
        run(elsewhere({"provider", "add", "other.org", "srv3", "--param", "KVRD_USER=kvrd"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: provider add: the host parameter REALM is not set, and missing in the name "
              "of the daemon that is stored\n");
    EXPECT_EQ(run(elsewhere({"provider", "add", "third.org", "srv4", "-q"})).err, "");
}

TEST_F(CliProvider, AnUpdateTellsWhatARunningServerKeeps)
{
    addOther();
    expectLine(elsewhere({"provider", "update", "Other.Org", "ldap://srv4:1389"}),
               "modified provider Other.Org, it is at ldap://srv4:1389 now; a running server keeps its open "
               "connections to the old address until they end or it restarts");
    EXPECT_THAT(values(first, "olcDbURI"), ElementsAre("ldap://srv4:1389"));
    EXPECT_THAT(values(second, "olcDbURI"), ElementsAre("ldap://srv4:1389"));
}

TEST_F(CliProvider, AnUpdateToTheSameAddressChangesNothing)
{
    addOther("srv3");
    expectLine(elsewhere({"provider", "update", "other.org", "ldap://srv3"}),
               "unchanged provider other.org, it is at ldap://srv3 already");
}

TEST_F(CliProvider, AnUpdateOfHalfAProviderChangesNothing)
{
    addOther();
    ASSERT_EQ(run({"delete", second}).status, 0);
    expectRefusal(elsewhere({"provider", "update", "other.org", "srv4"}), 1,
                  "kvr-ldap: provider update: only half of the provider is there: " + std::string(first) +
                      " (dc=other,dc=org at ldap://srv3.other.org); nothing is changed\n"
                      "kvr-ldap: hint: it needs a database of the type \"ldap\" with the same suffix below "
                      "cn=config\n");
    EXPECT_THAT(values(first, "olcDbURI"), ElementsAre("ldap://srv3.other.org"));
}

TEST_F(CliProvider, ADeletionShowsWhatGoesAndNeedsYesWhereNobodyCanBeAsked)
{
    addOther();
    const std::string shown = "kvr-ldap: provider delete: goes: " + std::string(first) +
                              " (dc=other,dc=org at ldap://srv3.other.org)\n"
                              "kvr-ldap: provider delete: goes: " +
                              second + " (dc=other,dc=org at ldap://srv3.other.org)\n";
    expectRefusal(
        asHost({"provider", "delete", "other.org"}), 2,
        shown + "kvr-ldap: provider delete: nobody has confirmed that 2 databases go; nothing is deleted\n"
                "kvr-ldap: hint: --yes deletes the provider\n");
    EXPECT_TRUE(exists(first));
    EXPECT_TRUE(exists(second));

    const Outcome outcome = run(asHost({"provider", "delete", "other.org", "--yes"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "deleted provider other.org with 2 databases\n");
    EXPECT_EQ(outcome.err, shown);
    expectNothingAdded();
    expectMainDatabaseWithData();
}

TEST_F(CliProvider, ADeletionAsksAtATerminal)
{
    addOther();
    const Outcome no = run(asHost({"provider", "delete", "other.org"}), atTerminal("n\n"));
    EXPECT_EQ(no.status, 2);
    EXPECT_THAT(no.err,
                testing::EndsWith("\nDelete the provider of other.org with 2 databases? [y/N] kvr-ldap: "
                                  "provider delete: not confirmed; nothing is deleted\n"));
    EXPECT_TRUE(exists(first));
    EXPECT_EQ(run(asHost({"provider", "delete", "other.org"}), atTerminal("y\n")).status, 0);
    expectNothingAdded();
}

TEST_F(CliProvider, OfSeveralOnlyTheNamedOneGoes)
{
    addOther();
    ASSERT_EQ(run(asHost({"provider", "add", "third.org", "srv5"})).status, 0);
    EXPECT_EQ(run(asHost({"provider", "delete", "OTHER.ORG", "--yes"})).status, 0);
    expectLine({"provider", "list"}, "{0}ldap  dc=third,dc=org");
    EXPECT_THAT(databasesBelow("cn=config"),
                ElementsAre("{-1}frontend", "{0}config", KVR_MAIN_DATABASE, "{2}ldap"));
}

TEST_F(CliProvider, HalfAProviderGoesToo)
{
    addOther();
    ASSERT_EQ(run({"delete", first}).status, 0);
    expectRefusal(asHost({"provider", "add", "other.org", "srv3"}), 1,
                  "kvr-ldap: provider add: the suffix 'dc=other,dc=org' is served already by " +
                      std::string(second) +
                      " (dc=other,dc=org at ldap://srv3.other.org); nothing is added\n");
    EXPECT_EQ(run(asHost({"provider", "delete", "other.org", "--yes"})).out,
              "deleted provider other.org with 1 database\n");
    expectNothingAdded();
}

TEST_F(CliProvider, WhatARefusedAdditionLeavesBehindIsTold)
{
    ASSERT_EQ(run({"attr", "add", configDatabase, "olcAccess",
                   R"({0}to dn.base="cn=config" attrs=children by * read)"})
                  .status,
              0);
    const Outcome outcome = run(asHost({"provider", "add", "other.org", "srv3"}));
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                testing::StartsWith("kvr-ldap: provider add: left behind, \"provider delete\" deletes it: " +
                                    std::string(first) + " (dc=other,dc=org at ldap://srv3)\n"));
    EXPECT_TRUE(exists(first));
}

TEST_F(CliProvider, AServerWithoutTheOverlayCanHaveNone)
{
    ASSERT_EQ(run({"delete", chainOverlay}).status, 0);
    const std::string reason = "the frontend database has no overlay chain, or it is hidden\n";
    expectRefusal(asHost({"provider", "add", "other.org", "srv3"}), 1,
                  "kvr-ldap: provider add: " + reason +
                      "kvr-ldap: hint: a provider needs it; its DN must be " + chainOverlay + "\n");
    expectRefusal({"provider", "list"}, 0, "kvr-ldap: provider list: " + reason);
    expectRefusal({"provider", "list", "-q"}, 0, "");
    expectLine(elsewhere({"provider", "delete", "other.org"}),
               "unchanged provider other.org, it is not there");
    EXPECT_EQ(run({"provider", "show", "other.org"}).status, 3);
    EXPECT_THAT(run({"overview"}).out, HasSubstr("\nLDAP providers\n  not shown: " + reason));
}

TEST_F(CliProvider, AHiddenConfigurationIsMissingAccess)
{
    const KVR::Support::PrivateSlapd locked({"--entries", "0", "--rights", "locked"});
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"provider", "list"},
                                               {"provider", "show", "other.org"},
                                               {"provider", "add", "other.org", "srv3"},
                                               {"provider", "update", "other.org", "srv3"},
                                               {"provider", "delete", "other.org", "--yes"}})
    {
        EXPECT_EQ(runOn(locked, asHost(command)).status, 4) << command[1];
    }
}

TEST_F(CliProvider, TheOverviewHasThem)
{
    EXPECT_THAT(run({"overview"}).out, HasSubstr("\nLDAP providers\n  (none, or hidden)\n"));
    addOther();
    EXPECT_THAT(run({"overview"}).out, HasSubstr("\nLDAP providers\n  {0}ldap  dc=other,dc=org\n"));
    EXPECT_EQ(document({"overview"}).at("providers"),
              nlohmann::json({{{"name", "{0}ldap"}, {"suffix", "dc=other,dc=org"}}}));
}

} // namespace
