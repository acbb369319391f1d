// Binding with Kerberos tickets to a real server of a real realm.

#include "ServerTest.h"

#include <PrivateRealm.h>
#include <ScopedEnvironment.h>

#include <fstream>

// The sanitizers ask these for what is not ours to mend: the Kerberos libraries lose memory when a log-in
// fails for want of a ticket, and read one byte too far when the name of the cache is empty.
extern "C"
{
    __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
    {
        return "leak:libgssapi_krb5.so\nleak:libkrb5.so\n";
    }

    __attribute__((visibility("default"))) const char* __asan_default_suppressions()
    {
        return "interceptor_via_lib:libkrb5.so\n";
    }
}

namespace KVR::ServerTests
{
namespace
{

using Support::ScopedEnvironment;

using testing::HasSubstr;

const std::string people = "ou=people,dc=example,dc=com";

class KerberosTest : public testing::Test
{
protected:
    explicit KerberosTest(const std::vector<std::string>& moreOptions = {"--rights", "administrators"},
                          const std::string& address = "localhost", const std::string& keys = "ldap.keytab")
        : server(options(moreOptions, address, keys))
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

    /** A bind that the library itself gives up, and what it says of the tickets. */
    void expectNoBind(const std::string& cache, const std::string& diagnosis)
    {
        const Caught error = connectWith(cache);
        EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
        EXPECT_EQ(error.message, refusal("Local error", "").message);
        EXPECT_THAT(error.details, HasSubstr(diagnosis));
        EXPECT_EQ(connection.GetLastError(), -2);
        EXPECT_FALSE(connection.IfReconnectNeeded());
    }

    Caught change(const std::string& dn, const std::string& attribute)
    {
        return caught([&] { connection.SetAttrValue(dn, attribute, "7", alREPLACE); });
    }

    bool sees(const std::string& dn)
    {
        std::list<std::string> names;
        return connection.Search(dn, "(objectClass=*)", names, alSCOPE_BASE) != nullptr;
    }

    Support::PrivateRealm realm;
    Support::PrivateSlapd server;
    CKVRCore core;
    CKVRLdapConnection connection{core};

private:
    std::vector<std::string> options(const std::vector<std::string>& more, const std::string& address,
                                     const std::string& keys) const
    {
        std::vector<std::string> all{"--entries",  "0",           "--address",
                                     address,      "--keytab",    realm.folder() + "/" + keys,
                                     "--kerberos", realm.folder()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
};

TEST_F(KerberosTest, AnAdministratorsTicketOpensDataAndConfiguration)
{
    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());

    EXPECT_EQ(connection.AuthType(), KVRAuthGssapi);
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(change(people, "description"), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
}

TEST_F(KerberosTest, ADaemonsTicketDoesSoToo)
{
    EXPECT_EQ(connectWith(realm.cache("kvrd-localhost")), Caught());

    EXPECT_EQ(change(people, "description"), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
}

TEST_F(KerberosTest, AUsersTicketReadsAndIsRefusedWrites)
{
    EXPECT_EQ(connectWith(realm.cache("user")), Caught());

    EXPECT_TRUE(sees("cn=config"));
    EXPECT_EQ(change(people, "description"), refusedWrite());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), refusedWrite());
}

TEST_F(KerberosTest, AnAnonymousClientReadsAndIsRefusedWrites)
{
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);

    EXPECT_TRUE(sees("cn=config"));
    EXPECT_EQ(change(people, "description"), refusedWrite());
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

TEST_F(KerberosTest, AnEmptyNameOfACacheIsNoTicket)
{
    expectNoBind("", "No Kerberos credentials available");
}

TEST_F(KerberosTest, AnEmptyCacheIsNoTicket)
{
    std::ofstream(realm.cacheFile("empty")).close();
    expectNoBind(realm.cache("empty"), "No credentials were supplied");
}

TEST_F(KerberosTest, ACacheOfGarbageIsNoTicket)
{
    std::ofstream(realm.cacheFile("garbage")) << "no tickets here";
    expectNoBind(realm.cache("garbage"), "No credentials were supplied");
}

TEST_F(KerberosTest, ACacheOfAnUnknownTypeIsNoTicket)
{
    expectNoBind("NOSUCHTYPE:there", "No Kerberos credentials available");
}

TEST_F(KerberosTest, AnExpiredTicketIsToldByTheLibrary)
{
    realm.makeExpired("expired");
    expectNoBind(realm.cache("expired"), "expired");
}

TEST_F(KerberosTest, WithoutACentreATicketThatOpensOthersDoesNotHelp)
{
    realm.stopCentre();
    expectNoBind(realm.cache("user"), "Cannot contact any KDC for realm 'EXAMPLE.COM'");
}

TEST_F(KerberosTest, TheServersTicketFromAnEarlierBindNeedsNoCentre)
{
    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());
    connection.Disconnect();
    realm.stopCentre();

    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
}

TEST_F(KerberosTest, TheSecondServerOfTheListTakesTheTicketWhenTheFirstIsDown)
{
    const DeadPort dead;
    core.SetParameter("KVR_PRM_LDAP_URIS", "ldap://" + dead.hostAndPort() + " " + server.uri());
    CKVRLdapConnection listed(core);
    const ScopedEnvironment tickets("KRB5CCNAME", realm.cache("administrator"));

    EXPECT_TRUE(listed.Connect(dead.hostAndPort(), KVRAuthGssapi));
    EXPECT_EQ(caught([&] { listed.SetAttrValue("cn=config", "olcIdleTimeout", "7", alREPLACE); }), Caught());
}

/** A server of which the realm has no key: its address has no name. */
class UnknownServiceTest : public KerberosTest
{
protected:
    UnknownServiceTest() : KerberosTest({}, "127.0.0.77") {}
};

TEST_F(UnknownServiceTest, NoTicketIsGivenForIt)
{
    expectNoBind(realm.cache("administrator"), "Server ldap/127.0.0.77@EXAMPLE.COM not found");
}

/** Only who has logged in sees the configuration. */
class LockedTest : public KerberosTest
{
protected:
    LockedTest() : KerberosTest({"--rights", "locked"}) {}
};

TEST_F(LockedTest, TheConfigurationIsOpenToTheAdministratorReadableForUsersAndHiddenFromOthers)
{
    EXPECT_EQ(connectWith(realm.cache("administrator")), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
    connection.Disconnect();

    EXPECT_EQ(connectWith(realm.cache("user")), Caught());
    EXPECT_TRUE(sees("cn=config"));
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), refusedWrite());
    connection.Disconnect();

    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
    EXPECT_FALSE(sees("cn=config"));
    EXPECT_EQ(connection.GetLastError(), 32);
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), refusedWrite());
    EXPECT_EQ(connection.GetLastError(), 50);
}

/** Everybody may change everything who has logged in. */
class LoginWantedTest : public KerberosTest
{
protected:
    LoginWantedTest() : KerberosTest({"--anonymous-writes", "refused"}) {}
};

TEST_F(LoginWantedTest, AUserMayWriteAndOthersGetTheTextOfTheChange)
{
    EXPECT_EQ(connectWith(realm.cache("user")), Caught());
    EXPECT_EQ(change("cn=config", "olcIdleTimeout"), Caught());
    connection.Disconnect();

    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
    EXPECT_EQ(change("cn=config", "olcIdleTimeout").message,
              "OpenLDAP error on modifying attribute 'olcIdleTimeout' of dn 'cn=config' to value '7' - "
              "Strong(er) authentication required in KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)");
    EXPECT_EQ(connection.GetLastError(), 8);
    EXPECT_FALSE(connection.IfReconnectNeeded());
}

/** A server whose keys are not those that the realm knows. */
class WrongKeysTest : public KerberosTest
{
protected:
    WrongKeysTest() : KerberosTest({}, "localhost", "wrong.keytab") {}
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
    NoKeysTest() : KerberosTest({}, "localhost", "none.keytab") {}
};

TEST_F(NoKeysTest, TheServersOwnTroubleIsAFailureOfTheBind)
{
    const Caught error = connectWith(realm.cache("administrator"));

    EXPECT_EQ(error.message, refusal("Other (e.g., implementation specific) error", "").message);
    EXPECT_EQ(connection.GetLastError(), 80);
}

} // namespace
} // namespace KVR::ServerTests
