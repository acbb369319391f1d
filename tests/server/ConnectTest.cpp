// Connecting to a real server: which URI is used, what a refusal looks like, what comes after it.

#include "ServerTest.h"

#include <csignal>

namespace KVR::ServerTests
{
namespace
{

class ConnectTest : public testing::Test
{
protected:
    ConnectTest()
    {
        // Writing to a connection that the server has closed must not end the test.
        (void)std::signal(SIGPIPE, SIG_IGN);
    }

    /** Asks the server itself whether the session works. */
    static bool answers(CKVRLdapConnection& connection)
    {
        std::list<std::string> names;
        return connection.Search("dc=example,dc=com", "(objectClass=*)", names, alSCOPE_BASE) != nullptr;
    }

    /** What a connection attempt ends with when nothing listens. */
    static Caught refusal()
    {
        return {typeid(EKVROpenLdapError),
                "OpenLDAP error on bind - Can't contact LDAP server in KVRLdapConnection.cpp:LINE(Connect)",
                "", "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp:LINE(Connect)"};
    }

    void setUris(const std::string& uris) { core.SetParameter("KVR_PRM_LDAP_URIS", uris); }

    Support::PrivateSlapd server{{"--entries", "0"}};
    DeadPort dead;
    CKVRCore core;
};

TEST_F(ConnectTest, AHostWithPortIsReachedAnonymously)
{
    CKVRLdapConnection connection(core);

    EXPECT_TRUE(connection.Connect(server.hostAndPort(), KVRAuthAnonymous));

    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(connection.GetLastError(), 0);
    EXPECT_EQ(connection.AuthType(), KVRAuthAnonymous);
    EXPECT_TRUE(answers(connection));
}

TEST_F(ConnectTest, TheSecondServerOfTheListAnswersWhenTheFirstIsDown)
{
    setUris("ldap://" + dead.hostAndPort() + " " + server.uri());
    CKVRLdapConnection connection(core);

    EXPECT_TRUE(connection.Connect(server.hostAndPort(), KVRAuthAnonymous));

    EXPECT_TRUE(answers(connection));
}

TEST_F(ConnectTest, ATargetInsideTheListStandsForTheWholeList)
{
    setUris("ldap://" + dead.hostAndPort() + " " + server.uri());
    CKVRLdapConnection connection(core);

    EXPECT_TRUE(connection.Connect(dead.hostAndPort(), KVRAuthAnonymous));

    EXPECT_TRUE(answers(connection));
}

TEST_F(ConnectTest, ATargetOutsideTheListIsUsedAlone)
{
    setUris(server.uri());
    CKVRLdapConnection connection(core);

    EXPECT_EQ(caught([&] { connection.Connect(dead.hostAndPort(), KVRAuthAnonymous); }), refusal());
}

TEST_F(ConnectTest, AfterATargetOutsideTheListTheListIsForgotten)
{
    const DeadPort other;
    setUris("ldap://" + other.hostAndPort() + " " + server.uri());
    CKVRLdapConnection connection(core);
    EXPECT_EQ(caught([&] { connection.Connect(dead.hostAndPort(), KVRAuthAnonymous); }), refusal());
    connection.Disconnect();

    EXPECT_EQ(caught([&] { connection.Connect(other.hostAndPort(), KVRAuthAnonymous); }), refusal());
}

TEST_F(ConnectTest, WhenNothingListensTheBindFails)
{
    CKVRLdapConnection connection(core);

    EXPECT_EQ(caught([&] { connection.Connect(dead.hostAndPort(), KVRAuthAnonymous); }), refusal());
}

TEST_F(ConnectTest, ARefusedConnectLeavesASessionThatCountsAsConnected)
{
    CKVRLdapConnection connection(core);
    caught([&] { connection.Connect(dead.hostAndPort(), KVRAuthAnonymous); });

    EXPECT_EQ(connection.GetLastError(), -1);
    EXPECT_FALSE(connection.IfReconnectNeeded());
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(ConnectTest, AfterARefusedConnectTheNextOneNeedsADisconnect)
{
    CKVRLdapConnection connection(core);
    caught([&] { connection.Connect(dead.hostAndPort(), KVRAuthAnonymous); });

    EXPECT_EQ(caught([&] { connection.Connect(server.hostAndPort(), KVRAuthAnonymous); }),
              (Caught{typeid(EKVRCheckError), "LDAP connection is already established.", "", ""}));

    connection.Disconnect();
    EXPECT_TRUE(connection.Connect(server.hostAndPort(), KVRAuthAnonymous));
    EXPECT_TRUE(answers(connection));
}

TEST_F(ConnectTest, AServerThatForbidsAnonymousBindsIsInsufficientAccess)
{
    DirectEditor(server.uri()).replace("cn=config", "olcDisallows", "bind_anon");
    CKVRLdapConnection connection(core);

    EXPECT_EQ(caught([&] { connection.Connect(server.hostAndPort(), KVRAuthAnonymous); }),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error " + insufficientAccess + " - Inappropriate authentication",
                      "anonymous bind disallowed", ""}));

    EXPECT_EQ(connection.GetLastError(), 48);
    EXPECT_TRUE(connection.IfReconnectNeeded());
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(ConnectTest, AConnectionIsUsedAgainAfterDisconnect)
{
    CKVRLdapConnection connection(core);
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
    connection.Disconnect();
    EXPECT_FALSE(connection.IsConnected());

    EXPECT_TRUE(connection.Connect(server.hostAndPort(), KVRAuthAnonymous));

    EXPECT_TRUE(answers(connection));
}

TEST_F(ConnectTest, TwoConnectionsAreIndependent)
{
    CKVRLdapConnection first(core);
    CKVRLdapConnection second(core);
    first.Connect(server.hostAndPort(), KVRAuthAnonymous);
    second.Connect(server.hostAndPort(), KVRAuthAnonymous);

    first.Disconnect();

    EXPECT_TRUE(answers(second));
}

TEST_F(ConnectTest, AServerThatWentAwayStillCountsAsConnected)
{
    CKVRLdapConnection connection(core);
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
    server.stop();

    EXPECT_EQ(caught([&] { answers(connection); }),
              (Caught{typeid(EKVROpenLdapError),
                      "OpenLDAP error on searching 'dc=example,dc=com (objectClass=*)' - Can't contact LDAP "
                      "server in KVRLdapConnection.cpp:LINE(Search)",
                      "", "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp:LINE(Search)"}));

    EXPECT_EQ(connection.GetLastError(), -1);
    EXPECT_TRUE(connection.IsConnected());
}

} // namespace
} // namespace KVR::ServerTests
