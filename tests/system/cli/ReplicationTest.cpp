// Replication agreements, and what the command line keeps an administrator from.

#include "LdapResponder.h"
#include "PartnerWriteTest.h"

#include <algorithm>

namespace
{

using namespace KVR::CliTest;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// Nobody listens there, so that no test reaches another server.
constexpr const char* provider = "srv1.example.com:1";

class CliSyncRepl : public CliPartner
{
protected:
    static std::string agreement(const std::string& base, const std::string& identifier = "001",
                                 const std::string& host = provider)
    {
        return "{0}rid=\"" + identifier + "\" provider=\"ldap://" + host +
               R"(" bindmethod=sasl saslmech=gssapi authcid="kvrd/srv2.example.com" searchbase=")" + base +
               R"(" type=refreshAndPersist retry="60 +")";
    }

    static void addAgreement()
    {
        ASSERT_EQ(run(asHost({"syncrepl", "add", "001", provider, "--yes"})).status, 0);
    }

    /** The configuration database gets an agreement that the command line knows nothing of. */
    static void addAnother()
    {
        ASSERT_EQ(run({"attr", "add", configDatabase, "olcSyncrepl", another}).status, 0);
    }

    static void expectNothingAdded()
    {
        EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), IsEmpty());
        EXPECT_THAT(values(configDatabase, "olcSyncrepl"), IsEmpty());
        EXPECT_FALSE(isMirrored());
    }

    /** A server tells mirror mode by one name or the other. */
    static bool isMirrored()
    {
        const std::vector<std::string> on{"TRUE"};
        return values(configDatabase, "olcMirrorMode") == on ||
               values(configDatabase, "olcMultiProvider") == on;
    }

    /** Whether the server takes changes of its configuration. */
    static Outcome changeConfiguration() { return run({"attr", "set", "cn=config", "olcIdleTimeout", "7"}); }

    static constexpr const char* another =
        R"(rid="007" provider="ldap://srv9.example.com:1" bindmethod=simple searchbase="cn=config" )"
        R"(type=refreshAndPersist retry="60 +")";

    static std::string warning(const std::string& host = provider)
    {
        return "kvr-ldap: syncrepl add: the main database " KVR_MAIN_DATABASE
               " will take no writes but those of its "
               "provider "
               "ldap://" +
               host + ", and lose the entries that the provider has not\n";
    }
};

TEST_F(CliSyncRepl, AnAdditionTellsWhatComesAndNeedsYesWhereNobodyCanBeAsked)
{
    expectRefusal(asHost({"syncrepl", "add", "001", provider}), 2,
                  warning() + "kvr-ldap: syncrepl add: nobody has confirmed this; nothing is added\n"
                              "kvr-ldap: hint: --yes adds the agreement\n");
    expectNothingAdded();

    const Outcome outcome = run(asHost({"syncrepl", "add", "001", provider, "--yes"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "added agreement 001 with ldap://srv1.example.com:1\n");
    EXPECT_EQ(outcome.err, warning());
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), ElementsAre(agreement("dc=example,dc=com")));
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), ElementsAre(agreement("cn=config")));
    EXPECT_TRUE(isMirrored());
    expectLine({"syncrepl", "list"}, agreement("dc=example,dc=com"));
    // What it warned of.
    EXPECT_THAT(run({"attr", "set", "ou=people,dc=example,dc=com", "description", "x"}).err,
                HasSubstr("Server is unwilling to perform: shadow context"));
}

TEST_F(CliSyncRepl, AnAdditionAsksAtATerminal)
{
    const Outcome no = run(asHost({"syncrepl", "add", "001", provider}), atTerminal("\n"));
    EXPECT_EQ(no.status, 2);
    EXPECT_EQ(no.err,
              warning() +
                  "Add the agreement? [y/N] kvr-ldap: syncrepl add: not confirmed; nothing is added\n");
    expectNothingAdded();
    EXPECT_EQ(run(asHost({"syncrepl", "add", "001", provider}), atTerminal("y\n")).status, 0);
    EXPECT_TRUE(isMirrored());
}

TEST_F(CliSyncRepl, AgreementsInJson)
{
    EXPECT_EQ(document({"syncrepl", "list"}).at("agreements"), nlohmann::json::array());
    EXPECT_EQ(run(asHost({"syncrepl", "add", "002", provider, "--yes", "--output", "json"})).json(),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "syncrepl add"},
                              {"rid", "002"},
                              {"provider", "ldap://srv1.example.com:1"},
                              {"result", "added"}}));
    const std::string stored = agreement("dc=example,dc=com", "002");
    EXPECT_EQ(document({"syncrepl", "list"}).at("agreements"), nlohmann::json({stored}));
    EXPECT_EQ(document({"overview"}).at("agreements"), nlohmann::json({stored}));
    EXPECT_EQ(document(asHost({"syncrepl", "delete", "002", provider})),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "syncrepl delete"},
                              {"rid", "002"},
                              {"provider", "ldap://srv1.example.com:1"},
                              {"stored", stored},
                              {"result", "removed"}}));
}

TEST_F(CliSyncRepl, WithoutArgumentsItIs001WithTheHostsServer)
{
    std::vector<std::string> command = asHost({"syncrepl", "add", "--yes"});
    command.insert(command.end(), {"--param", "KVR_SERVER_HOST=srv1.example.com:1"});
    EXPECT_EQ(run(command).out, "added agreement 001 with ldap://srv1.example.com:1\n");
    std::replace(command.begin(), command.end(), std::string("add"), std::string("delete"));
    EXPECT_EQ(run(command).out, "removed agreement 001 with ldap://srv1.example.com:1; mirror mode is off\n");
}

TEST_F(CliSyncRepl, UnsetParametersAreRefused)
{
    const auto refusal = [](const std::string& name)
    {
        return "kvr-ldap: syncrepl add: the host parameter " + name +
               " is not set\nkvr-ldap: hint: --param " + name + "=VALUE sets it\n";
    };
    const std::vector<std::string> add{"syncrepl", "add", "001", provider, "--yes"};
    const auto with = [&add](std::vector<std::string> more)
    {
        more.insert(more.begin(), add.begin(), add.end());
        return more;
    };
    expectRefusal(with({"--param", "DOMAIN_DN=dc=example,dc=com"}), 2, refusal("KVRD_USER"));
    expectRefusal(with({"--param", "DOMAIN_DN=dc=example,dc=com", "--param", "KVRD_USER="}), 2,
                  refusal("KVRD_USER"));
    expectRefusal(with({"--param", "KVRD_USER=kvrd"}), 2, refusal("DOMAIN_DN"));
    expectNothingAdded();
}

TEST_F(CliSyncRepl, AParameterWithAQuotationMarkIsRefused)
{
    expectRefusal({"syncrepl", "add", "001", provider, "--yes", "--param", "KVRD_USER=a\"b", "--param",
                   "DOMAIN_DN=dc=example,dc=com"},
                  2,
                  "kvr-ldap: syncrepl add: the host parameter KVRD_USER is 'a\"b'\n"
                  "kvr-ldap: hint: it must not have quotation marks and backslashes\n");
    expectNothingAdded();
}

TEST_F(CliSyncRepl, AnIdentifierHasOneToThreeDigits)
{
    for (const std::string identifier : {"", "0001", "1a", "a", "-1", "+1", " 1", "1 ", "1\"", "\xd9\xa1"})
    {
        for (const std::string command : {"add", "delete"})
        {
            expectRefusal(asHost({"syncrepl", command, "--yes", "--", identifier, provider}), 2,
                          "kvr-ldap: syncrepl " + command + ": '" + identifier +
                              "' is no identifier of an agreement\n"
                              "kvr-ldap: hint: it consists of one to three digits; without it, it is 001\n");
        }
    }
    expectNothingAdded();
}

TEST_F(CliSyncRepl, AProviderIsAHost)
{
    const std::string hint = "kvr-ldap: hint: write HOST or HOST:PORT; without it, it is the parameter "
                             "KVR_SERVER_HOST, by default localhost\n";
    const std::vector<std::pair<std::string, std::string>> wrong{
        {"", "the provider is empty"},
        {"srv\"1", "the provider srv\"1 holds a quotation mark"},
        {"srv1\" retry=\"1", "the provider srv1\" retry=\"1 holds a quotation mark"},
        {"srv'1", "the provider srv'1 holds a quotation mark"},
        {"ldap://srv1", "'ldap://srv1' would become 'ldap://ldap://srv1'"},
        {"ldaps://srv1", "'ldaps://srv1' would become 'ldap://ldaps://srv1'"},
        {"srv1/", "'srv1/' is no host"},
        {"srv1 srv3", "'srv1 srv3' is no host"},
        {"srv1:", "'srv1:' is no host"},
        {"srv1:x", "'srv1:x' is no host"}};
    for (const auto& [host, reason] : wrong)
    {
        for (const std::string command : {"add", "delete"})
        {
            std::string message = "kvr-ldap: syncrepl " + command;
            message += ": " + reason + '\n' + hint;
            expectRefusal(asHost({"syncrepl", command, "001", host, "--yes"}), 2, message);
        }
    }
    expectNothingAdded();
}

TEST_F(CliSyncRepl, AServerDoesNotFollowItself)
{
    const std::string start = "kvr-ldap: syncrepl add: the provider '";
    const std::string end = "' is this server, which would take no writes but its own\nkvr-ldap: hint: ";
    for (const std::string& host :
         {server->hostAndPort(), std::string("localhost"), std::string("127.0.0.1"),
          std::string("SRV2.example.com."), std::string("srv2"),
          "LOCALHOST" + server->hostAndPort().substr(server->hostAndPort().find(':'))})
    {
        std::vector<std::string> command = asHost({"syncrepl", "add", "001", host, "--yes"});
        expectRefusal(command, 2,
                      start + host + end +
                          "a server with another port of the same host is named by HOST:PORT\n");
    }
    expectRefusal(
        asHost({"syncrepl", "add", "--yes"}), 2,
        start + "localhost" + end +
            "PROVIDER names another one; without it, it is the parameter KVR_SERVER_HOST, by default "
            "localhost\n");
    expectNothingAdded();
}

TEST_F(CliSyncRepl, NoneOfSeveralServersThatMayBeConnectedToIsFollowed)
{
    const std::string uris = server->uri() + " ldap://srv1.example.com";
    const Outcome outcome = kvrLdap(asHost({"--uri", uris, "syncrepl", "add", "001", "srv1", "--yes"}));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: syncrepl add: the provider 'srv1' is this server, which would take no writes but "
              "its own\n"
              "kvr-ldap: hint: the connection may lead to any server that --uri names: let it name one "
              "only\n");
    expectNothingAdded();
}

TEST_F(CliSyncRepl, AServerWithAnotherPortOfThisComputerMayBeFollowed)
{
    EXPECT_EQ(run(asHost({"syncrepl", "add", "001", "localhost:1", "--yes"})).out,
              "added agreement 001 with ldap://localhost:1\n");
}

TEST_F(CliSyncRepl, AUsedIdentifierOrProviderIsRefused)
{
    addAgreement();
    const std::string stored = "'" + agreement("dc=example,dc=com") + "'\n";
    for (const std::string identifier : {"001", "1", "01"})
    {
        expectRefusal(
            asHost({"syncrepl", "add", identifier, "srv3:1", "--yes"}), 1,
            "kvr-ldap: syncrepl add: the identifier " + identifier + " is in use: " + stored +
                "kvr-ldap: hint: RID gives another one; \"syncrepl delete\" deletes that agreement\n");
    }
    expectRefusal(asHost({"syncrepl", "add", "002", provider, "--yes"}), 1,
                  "kvr-ldap: syncrepl add: there is an agreement with ldap://srv1.example.com:1: " + stored +
                      "kvr-ldap: hint: \"syncrepl delete\" deletes it\n");
}

TEST_F(CliSyncRepl, MirrorModeThatIsOnRefusesAnotherAgreement)
{
    addAgreement();
    expectRefusal(
        asHost({"syncrepl", "add", "002", "srv3:1", "--yes"}), 1,
        "kvr-ldap: syncrepl add: mirror mode is set already, to TRUE, and the configuration database has "
        "the agreements '" +
            agreement("cn=config") +
            "'; the server would take only half of another agreement, and nothing is added\n"
            "kvr-ldap: hint: delete the other agreement first\n");
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), ElementsAre(agreement("dc=example,dc=com")));
}

TEST_F(CliSyncRepl, AnAdditionOfWhichHalfIsRefusedTellsHowToTakeItBack)
{
    ASSERT_EQ(run({"attr", "add", configDatabase, "olcAccess",
                   R"({0}to dn.base="olcDatabase={0}config,cn=config" by * read)"})
                  .status,
              0);
    const Outcome outcome = run(asHost({"syncrepl", "add", "001", provider, "--yes"}));
    EXPECT_EQ(outcome.status, 4);
    const std::string half = "kvr-ldap: syncrepl add: the main database has the agreement, the configuration "
                             "database has not; this takes it away again: kvr-ldap attr remove "
                             "'olcDatabase=" KVR_MAIN_DATABASE ",cn=config' olcSyncrepl '" +
                             agreement("dc=example,dc=com") + "'\n";
    EXPECT_THAT(outcome.err, HasSubstr(half));
    expectRefusal(
        asHost({"syncrepl", "delete", "001", provider}), 1,
        "kvr-ldap: syncrepl delete: the configuration database holds no agreement '" +
            agreement("cn=config").substr(3) +
            "'; nothing is deleted\n"
            "kvr-ldap: hint: KVRD_USER and KVR_HOST_NAME must be those that it was added with; the main "
            "database's alone is deleted by kvr-ldap attr remove 'olcDatabase=" KVR_MAIN_DATABASE
            ",cn=config' "
            "olcSyncrepl '" +
            agreement("dc=example,dc=com") + "'\n");
    ASSERT_EQ(run({"attr", "remove", mainDatabase, "olcSyncrepl", agreement("dc=example,dc=com")}).status, 0);
    expectNothingAdded();
}

TEST(CliSyncReplAnswer, AConnectionThatIsLostHalfWayIsTheFailureThatIsTold)
{
    KVR::Support::LdapResponder responder;
    for (int search = 0; search < 4; ++search)
    {
        responder.onSearch(KVR::Support::Answer().entry("olcDatabase=x,cn=config"));
    }
    responder.onModify(KVR::Support::Answer().drop());
    responder.onSearch(KVR::Support::Answer().drop());
    const Outcome outcome = kvrLdap({"--uri", responder.uri(), "syncrepl", "add", "001", provider, "--yes",
                                     "--param", "KVRD_USER=kvrd", "--param", "DOMAIN_DN=dc=example,dc=com"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err,
                HasSubstr("kvr-ldap: syncrepl add: how much of it is done is unknown\n"
                          "kvr-ldap: syncrepl add: OpenLDAP error on modifying attribute 'olcSyncrepl'"));
    EXPECT_THAT(outcome.err, EndsWith(" - Can't contact LDAP server\n"));
}

TEST_F(CliSyncRepl, ADeletionTakesBothAgreementsAndMirrorModeAway)
{
    addAgreement();
    expectLine(asHost({"syncrepl", "delete", "001", provider}),
               "removed agreement 001 with ldap://srv1.example.com:1; mirror mode is off");
    expectNothingAdded();
    EXPECT_EQ(changeConfiguration().status, 0);
}

TEST_F(CliSyncRepl, ADeletionOfWhichHalfIsRefusedTellsWhatStays)
{
    addAgreement();
    ASSERT_EQ(run({"attr", "add", configDatabase, "olcAccess",
                   R"({0}to dn.base="olcDatabase={0}config,cn=config" by * read)"})
                  .status,
              0);
    const Outcome outcome = run(asHost({"syncrepl", "delete", "001", provider}));
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                HasSubstr("kvr-ldap: syncrepl delete: the main database's agreement is deleted; what the "
                          "configuration database still has:\n"
                          "kvr-ldap: syncrepl delete: olcSyncrepl: " +
                          agreement("cn=config") +
                          "\n"
                          "kvr-ldap: syncrepl delete: mirror mode: TRUE\n"));
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), IsEmpty());
}

TEST_F(CliSyncRepl, DeletingWhatIsNotThereChangesNothing)
{
    expectLine({"syncrepl", "delete"}, "unchanged agreement 001 with ldap://localhost, it is not there");
    addAgreement();
    expectLine(asHost({"syncrepl", "delete", "002", provider}),
               "unchanged agreement 002 with ldap://srv1.example.com:1, it is not there");
    expectLine(asHost({"syncrepl", "delete", "001", "srv3"}),
               "unchanged agreement 001 with ldap://srv3; stored is '" + agreement("dc=example,dc=com") +
                   "'");
    EXPECT_TRUE(isMirrored());
}

TEST_F(CliSyncRepl, AnotherDaemonsAgreementStaysWhole)
{
    addAgreement();
    std::vector<std::string> command = asHost({"syncrepl", "delete", "001", provider, "--yes"});
    command.insert(command.end(), {"--param", "KVRD_USER=other"});
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err,
                HasSubstr("holds no agreement 'rid=\"001\" provider=\"ldap://srv1.example.com:1\" "
                          "bindmethod=sasl saslmech=gssapi authcid=\"other/srv2.example.com\""));
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), ElementsAre(agreement("dc=example,dc=com")));
    EXPECT_TRUE(isMirrored());
}

TEST_F(CliSyncRepl, ADeletionWithoutTheDaemonsNameIsRefused)
{
    addAgreement();
    expectRefusal({"syncrepl", "delete", "001", provider}, 2,
                  "kvr-ldap: syncrepl delete: the host parameter KVRD_USER is not set\n"
                  "kvr-ldap: hint: --param KVRD_USER=VALUE sets it\n");
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), ElementsAre(agreement("dc=example,dc=com")));
}

TEST_F(CliSyncRepl, ADeletionBesideOtherAgreementsWarnsAndNeedsYes)
{
    addAgreement();
    addAnother();
    const std::string warnings =
        "kvr-ldap: syncrepl delete: the configuration database holds other agreements: '{1}" +
        std::string(another) +
        "'\nkvr-ldap: syncrepl delete: mirror mode goes off for them too, and then the server refuses every "
        "later "
        "write to its configuration with 53, for good\n";
    expectRefusal(
        asHost({"syncrepl", "delete", "001", provider}), 2,
        warnings + "kvr-ldap: syncrepl delete: the configuration database holds other agreements; nothing is "
                   "deleted\n"
                   "kvr-ldap: hint: --yes deletes the agreement and switches mirror mode off\n");
    const Outcome no = run(asHost({"syncrepl", "delete", "001", provider}), atTerminal("n\n"));
    EXPECT_EQ(no.status, 2);
    EXPECT_THAT(no.err,
                EndsWith("Delete the agreement and switch mirror mode off? [y/N] kvr-ldap: syncrepl delete: "
                         "not confirmed; nothing is deleted\n"));
    EXPECT_THAT(values(mainDatabase, "olcSyncrepl"), ElementsAre(agreement("dc=example,dc=com")));
    EXPECT_EQ(changeConfiguration().status, 0);

    const Outcome yes = run(asHost({"syncrepl", "delete", "001", provider, "--yes"}));
    EXPECT_EQ(yes.status, 0);
    EXPECT_EQ(yes.err, warnings);
    EXPECT_FALSE(isMirrored());
    // What it warned of.
    EXPECT_THAT(changeConfiguration().err, HasSubstr("Server is unwilling to perform: shadow context"));
    const Outcome add = run(asHost({"syncrepl", "add", "001", provider, "--yes"}));
    EXPECT_EQ(add.status, 1);
    EXPECT_THAT(add.err,
                EndsWith("the server takes no changes of its configuration, and nothing is added\n"));
}

TEST_F(CliSyncRepl, AHiddenConfigurationIsMissingAccess)
{
    const KVR::Support::PrivateSlapd locked({"--entries", "0", "--rights", "locked"});
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"syncrepl", "list"},
                                               {"syncrepl", "add", "001", provider, "--yes"},
                                               {"syncrepl", "delete", "001", provider, "--yes"}})
    {
        EXPECT_EQ(runOn(locked, asHost(command)).status, 4) << command[1];
    }
}

TEST_F(CliSyncRepl, TheOverviewHasThem)
{
    EXPECT_THAT(run({"overview"}).out, HasSubstr("\nReplication agreements\n  (none, or hidden)\n"));
    addAgreement();
    EXPECT_THAT(run({"overview"}).out,
                HasSubstr("\nReplication agreements\n  " + agreement("dc=example,dc=com") + "\n"));
}

} // namespace
