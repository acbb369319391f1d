// Log-ins with Kerberos that fail: what the real libraries say, and the help that follows.

#include "RunProgram.h"

#include <PrivateRealm.h>
#include <PrivateSlapd.h>
#include <gtest/gtest.h>

#include <fstream>

namespace
{

using namespace KVR::CliTest;
using KVR::Support::PrivateRealm;
using KVR::Support::PrivateSlapd;

class CliKerberos : public testing::Test
{
protected:
    std::vector<std::string> serverOptions(const std::string& address, const std::string& keys) const
    {
        return {"--entries",  "0",
                "--address",  address,
                "--kerberos", realm.folder(),
                "--keytab",   realm.folder() + '/' + keys};
    }

    PrivateSlapd start(const std::string& address = "localhost",
                       const std::string& keys = "ldap.keytab") const
    {
        return PrivateSlapd(serverOptions(address, keys));
    }

    static Outcome logIn(const std::string& uri, const std::string& cache,
                         const std::map<std::string, std::optional<std::string>>& environment = {})
    {
        Setting setting;
        setting.environment = environment;
        setting.environment["KRB5CCNAME"] = cache;
        return kvrLdap({"--uri", uri, "--auth", "gssapi", "search", "dc=example,dc=com", "--scope", "base"},
                       setting);
    }

    /** @param reason what the library says of the result code, @param details its own words */
    static std::string told(const std::string& uri, const std::string& reason, const std::string& details,
                            const std::string& help)
    {
        return "kvr-ldap: connecting to " + uri + ": OpenLDAP error on GGSAPI bind - " + reason +
               ": SASL(-1): " + "generic failure: GSSAPI Error: " + details + "\nkvr-ldap: hint: " + help +
               '\n';
    }

    static constexpr const char* local = "Local error";
    static constexpr const char* noCredentials =
        "No credentials were supplied, or the credentials were unavailable or inaccessible ";
    static constexpr const char* unspecified =
        "Unspecified GSS failure.  Minor code may provide more information ";
    static constexpr const char* kinit =
        "KRB5CCNAME must name a cache with a valid ticket; get one with kinit";
    static constexpr const char* keytab =
        "the server has no key for its service: its keytab, which KRB5_KTNAME "
        "names, must exist and hold the key of ldap/HOST";

    PrivateRealm realm;
};

TEST_F(CliKerberos, ATicketOpensTheServer)
{
    const PrivateSlapd server = start();
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CliKerberos, AMissingCache)
{
    const PrivateSlapd server = start();
    const std::string cache = realm.cache("none");
    const Outcome outcome = logIn(server.uri(), cache);
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err, told(server.uri(), local,
                                std::string(noCredentials) +
                                    "(No Kerberos credentials available (default cache: " + cache + "))",
                                kinit));
}

TEST_F(CliKerberos, AnEmptyCacheFile)
{
    const PrivateSlapd server = start();
    const std::string file = realm.folder() + "/empty.ccache";
    std::ofstream{file};
    EXPECT_EQ(logIn(server.uri(), "FILE:" + file).err,
              told(server.uri(), local,
                   std::string(noCredentials) +
                       "(No Kerberos credentials available: Bad format in credentials cache "
                       "(filename: " +
                       file + "))",
                   kinit));
}

TEST_F(CliKerberos, AnExpiredTicket)
{
    const PrivateSlapd server = start();
    const std::string file = realm.folder() + "/expired.ccache";
    ASSERT_EQ(shell(KVR_PRIVATE_KDC " expired-ticket " + realm.folder() + ' ' + file).status, 0);
    const Outcome outcome = logIn(server.uri(), "FILE:" + file);
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err, told(server.uri(), local, "The referenced context has expired (Success)",
                                "the ticket has expired; get a new one with kinit"));
}

TEST_F(CliKerberos, AServerThatTheRealmDoesNotKnow)
{
    const PrivateSlapd server = start("127.0.0.5");
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(
        outcome.err,
        told(server.uri(), local,
             std::string(unspecified) + "(Server ldap/127.0.0.5@EXAMPLE.COM not found in Kerberos database)",
             "the realm knows no service 'ldap/127.0.0.5@EXAMPLE.COM'; --uri must give the server's name as "
             "the realm has it, not an address or an alias"));
}

TEST_F(CliKerberos, ACentreThatDoesNotAnswer)
{
    const PrivateSlapd server = start();
    const std::string folder = realm.folder();
    const std::string configuration = folder + "/down.conf";
    // Port 1 has no centre, as when it is down.
    ASSERT_EQ(
        shell("sed -E 's/kdc = .*/kdc = 127.0.0.1:1/' " + folder + "/krb5.conf >" + configuration).status, 0);
    const Outcome outcome =
        logIn(server.uri(), realm.cache("administrator"), {{"KRB5_CONFIG", configuration}});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err,
              told(server.uri(), local,
                   std::string(unspecified) + "(Cannot contact any KDC for realm 'EXAMPLE.COM')",
                   "no key distribution centre of the realm 'EXAMPLE.COM' answers; check the network and its "
                   "addresses in krb5.conf"));
}

TEST_F(CliKerberos, ARealmWithoutACentre)
{
    const PrivateSlapd server = start();
    const std::string configuration = realm.folder() + "/none.conf";
    std::ofstream{configuration} << "[libdefaults]\ndns_lookup_kdc = false\ndefault_realm = EXAMPLE.COM\n";
    EXPECT_EQ(
        logIn(server.uri(), realm.cache("administrator"), {{"KRB5_CONFIG", configuration}}).err,
        told(server.uri(), local, std::string(unspecified) + "(Cannot find KDC for realm \"EXAMPLE.COM\")",
             "krb5.conf names no key distribution centre for the realm 'EXAMPLE.COM', nor does the network"));
}

TEST_F(CliKerberos, AServerWithoutKeytab)
{
    const PrivateSlapd server = start("localhost", "none.keytab");
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, told(server.uri(), "Other (e.g., implementation specific) error",
                                std::string(noCredentials) + "(Key table file '" + realm.folder() +
                                    "/none.keytab' not found)",
                                keytab));
}

TEST_F(CliKerberos, AServerWhoseKeytabLacksItsKey)
{
    const PrivateSlapd server = start("localhost", "kvrd-localhost.keytab");
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.substr(outcome.err.rfind("kvr-ldap: hint")),
              "kvr-ldap: hint: " + std::string(keytab) + '\n');
}

TEST_F(CliKerberos, AServerWithAnotherKey)
{
    const PrivateSlapd server = start("localhost", "wrong.keytab");
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(
        outcome.err,
        "kvr-ldap: connecting to " + server.uri() +
            ": OpenLDAP error Insufficient access. The user should have administrator privilege. - Invalid "
            "credentials: SASL(-13): authentication failure: GSSAPI Failure: gss_accept_sec_context\n"
            "kvr-ldap: hint: the server can't read the ticket: its keytab does not hold the present key of "
            "its "
            "service\n");
}

TEST_F(CliKerberos, AComputerWithoutTheMechanism)
{
    const PrivateSlapd server = start();
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"), {{"SASL_PATH", "/nowhere"}});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: connecting to " + server.uri() +
                  ": OpenLDAP error on GGSAPI bind - Unknown authentication method: SASL(-4): no "
                  "mechanism available: No worthy mechs found\n"
                  "kvr-ldap: hint: this computer has no SASL plug-in for GSSAPI, or the server offers "
                  "no GSSAPI\n");
}

TEST_F(CliKerberos, AServerThatIsDownIsNoTroubleOfTheTicket)
{
    PrivateSlapd server = start();
    server.stop();
    const Outcome outcome = logIn(server.uri(), realm.cache("administrator"));
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err, "kvr-ldap: connecting to " + server.uri() +
                               ": OpenLDAP error on GGSAPI bind - Can't contact LDAP server\n"
                               "kvr-ldap: hint: check that the server runs and that --uri names it\n");
}

} // namespace
