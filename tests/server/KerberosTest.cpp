// Binding with Kerberos tickets to a real server of a real realm.

#include "ServerTest.h"

#include <PrivateRealm.h>
#include <ScopedEnvironment.h>

namespace KVR::ServerTests
{
namespace
{

using Support::ScopedEnvironment;

class KerberosTest : public testing::Test
{
protected:
    explicit KerberosTest(const std::string& keys = "ldap.keytab")
        : server({"--entries", "0", "--address", "localhost", "--kerberos", realm.folder(), "--keytab",
                  realm.folder() + "/" + keys, "--rights", "administrators"})
    {
    }

    Caught connectWith(const std::string& cache)
    {
        const ScopedEnvironment tickets("KRB5CCNAME", cache);
        return caught([this] { connection.Connect(server.hostAndPort(), KVRAuthGssapi); });
    }

    static Caught refusedWrite()
    {
        return {typeid(EKVROpenLdapError), "OpenLDAP error " + insufficientAccess + " - Insufficient access",
                "", ""};
    }

    /** @param reason what the library says of the result code */
    static Caught refusal(const std::string& reason, const std::string& details)
    {
        return {typeid(EKVROpenLdapError),
                "OpenLDAP error on GGSAPI bind - " + reason + " in KVRLdapConnection.cpp:LINE(Connect)",
                details, "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp:LINE(Connect)"};
    }

    /** What the library says of the tickets of such a cache. */
    static std::string noTickets(const std::string& cache)
    {
        return "SASL(-1): generic failure: GSSAPI Error: No credentials were supplied, or the credentials "
               "were "
               "unavailable or inaccessible (No Kerberos credentials available (default cache: " +
               cache + "))";
    }

    Caught change(const std::string& dn, const std::string& attribute)
    {
        return caught([&] { connection.SetAttrValue(dn, attribute, "7", alREPLACE); });
    }

    Support::PrivateRealm realm;
    Support::PrivateSlapd server;
    CKVRCore core;
    CKVRLdapConnection connection{core};
};

TEST_F(KerberosTest, AnAdministratorsTicketOpensDataAndConfiguration)
{
    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());

    EXPECT_EQ(connection.AuthType(), KVRAuthGssapi);
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(change("ou=people,dc=example,dc=com", "description"), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
}

TEST_F(KerberosTest, ADaemonsTicketDoesSoToo)
{
    EXPECT_EQ(connectWith(realm.cache("kvrd-localhost")), Caught());

    EXPECT_EQ(change("ou=people,dc=example,dc=com", "description"), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
}

TEST_F(KerberosTest, AUsersTicketReadsAndIsRefusedWrites)
{
    EXPECT_EQ(connectWith(realm.cache("user")), Caught());

    std::list<std::string> names;
    EXPECT_NE(connection.Search("cn=config", "(objectClass=*)", names, alSCOPE_BASE), nullptr);
    EXPECT_EQ(change("ou=people,dc=example,dc=com", "description"), refusedWrite());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), refusedWrite());
}

TEST_F(KerberosTest, AnAnonymousClientReadsAndIsRefusedWrites)
{
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);

    EXPECT_EQ(change("ou=people,dc=example,dc=com", "description"), refusedWrite());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), refusedWrite());
}

TEST_F(KerberosTest, WithoutATicketTheLibraryRefuses)
{
    const std::string cache = realm.cache("none");

    EXPECT_EQ(connectWith(cache), refusal("Local error", noTickets(cache)));

    EXPECT_EQ(connection.GetLastError(), -2);
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(KerberosTest, AfterARefusalATicketHelps)
{
    const std::string cache = realm.cache("none");
    EXPECT_EQ(connectWith(cache), refusal("Local error", noTickets(cache)));
    connection.Disconnect();

    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());
    EXPECT_TRUE(connection.IsConnected());
}

/** A server whose keys are not those that the realm knows. */
class WrongKeysTest : public KerberosTest
{
protected:
    WrongKeysTest() : KerberosTest("wrong.keytab") {}
};

TEST_F(WrongKeysTest, RefusedCredentialsAreInsufficientAccess)
{
    EXPECT_EQ(
        connectWith(realm.cache("administrator")),
        (Caught{typeid(EKVROpenLdapError), "OpenLDAP error " + insufficientAccess + " - Invalid credentials",
                "SASL(-13): authentication failure: GSSAPI Failure: gss_accept_sec_context", ""}));

    EXPECT_EQ(connection.GetLastError(), 49);
    EXPECT_FALSE(connection.IsConnected());
}

/** A server without keys. */
class NoKeysTest : public KerberosTest
{
protected:
    NoKeysTest() : KerberosTest("none.keytab") {}
};

TEST_F(NoKeysTest, TheServersOwnTroubleIsAFailureOfTheBind)
{
    const Caught error = connectWith(realm.cache("administrator"));

    EXPECT_EQ(error.message, refusal("Other (e.g., implementation specific) error", "").message);
    EXPECT_EQ(connection.GetLastError(), 80);
}

} // namespace
} // namespace KVR::ServerTests
