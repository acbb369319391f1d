#include "ConnectionTest.h"

#include <limits>
#include <memory>
#include <stdexcept>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char checkPlace[] = "KVRLdapConnection.cpp:LINE(InternalCheck)";

class NewConnectionTest : public UnconnectedTest
{
};

TEST_F(NewConnectionTest, IsNotConnectedAndHasNoErrorCode)
{
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(notConnected(), caught([&] { connection.GetLastError(); }));
    EXPECT_EQ(notConnected(), caught([&] { connection.IfReconnectNeeded(); }));
    connection.Disconnect();
    EXPECT_EQ(0, library.unbinds);
}

TEST_F(NewConnectionTest, SetsNoOptionAtLevel4)
{
    log.setLevel(4);
    const CKVRLdapConnection another(host);
    EXPECT_THAT(library.setOptions, IsEmpty());
}

TEST_F(NewConnectionTest, SwitchesTheLibrarysDebugOutputOnAboveLevel4AtEveryConstruction)
{
    library.setOptionCodes[LDAP_OPT_DEBUG_LEVEL] = LDAP_OPT_SUCCESS;
    for (const int level : {5, 5, 9})
    {
        log.setLevel(level);
        library.setOptions.clear();
        const CKVRLdapConnection another(host);
        ASSERT_EQ(1U, library.setOptions.size());
        EXPECT_EQ(nullptr, library.setOptions[0].session);
        EXPECT_EQ(LDAP_OPT_DEBUG_LEVEL, library.setOptions[0].option);
        EXPECT_EQ(std::to_string(level + 3), library.setOptions[0].value);
    }
}

TEST_F(NewConnectionTest, TheHighestLogLevelsGiveTheLibraryItsHighest)
{
    constexpr int highest = std::numeric_limits<int>::max();
    library.setOptionCodes[LDAP_OPT_DEBUG_LEVEL] = LDAP_OPT_SUCCESS;
    for (const int level : {highest, highest - 1, highest - 3})
    {
        log.setLevel(level);
        library.setOptions.clear();
        const CKVRLdapConnection another(host);
        EXPECT_EQ(std::to_string(highest), library.setOptions.at(0).value) << level;
    }
}

TEST_F(NewConnectionTest, IgnoresThatTheDebugLevelCannotBeSet)
{
    library.setOptionCodes[LDAP_OPT_DEBUG_LEVEL] = LDAP_OPT_ERROR;
    log.setLevel(5);
    EXPECT_NO_THROW(CKVRLdapConnection another(host));
}

TEST_F(NewConnectionTest, PassesOnWhatTheHostThrows)
{
    host.throwFrom("HasParameter");
    EXPECT_THROW(CKVRLdapConnection another(host), std::runtime_error);
    host.throwFromNothing();
    host.parameters["KVR_PRM_LDAP_URIS"] = "ldap://a";
    host.throwFrom("GetParameter");
    EXPECT_THROW(CKVRLdapConnection another(host), std::runtime_error);
}

class ConnectionStateTest : public ConnectedTest
{
};

TEST_F(ConnectionStateTest, Codes_11And47To50AskForAReconnect)
{
    for (const int code : {-11, 47, 48, 49, 50})
    {
        library.setResultCode(code);
        EXPECT_EQ(code, connection.GetLastError());
        EXPECT_TRUE(connection.IfReconnectNeeded()) << code;
        EXPECT_FALSE(connection.IsConnected()) << code;
    }
}

TEST_F(ConnectionStateTest, NoOtherCodeAsksForAReconnect)
{
    for (const int code : {0, -1, -5, -10, -12, 1, 4, 11, 32, 46, 51, 80})
    {
        library.setResultCode(code);
        EXPECT_EQ(code, connection.GetLastError());
        EXPECT_FALSE(connection.IfReconnectNeeded()) << code;
        EXPECT_TRUE(connection.IsConnected()) << code;
    }
}

TEST_F(ConnectionStateTest, TheServersLastAnswerDecides)
{
    std::list<std::string> all;
    responder.onSearch(Answer().result(-11));
    caught([&] { connection.Search("dc=x", "(a=*)", all, alSCOPE_BASE); });
    EXPECT_EQ(-11, connection.GetLastError());
    EXPECT_FALSE(connection.IsConnected());
    connection.Search("dc=x", "(a=*)", all, alSCOPE_BASE);
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(ConnectionStateTest, AServerThatWentAwayStillCountsAsConnected)
{
    std::list<std::string> all;
    responder.dropConnections();
    caught([&] { connection.Search("dc=x", "(a=*)", all, alSCOPE_BASE); });
    EXPECT_EQ(-1, connection.GetLastError());
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(ConnectionStateTest, AfterABindRefusedWith49ItIsNotConnected)
{
    connection.Disconnect();
    responder.onBind(Answer().result(49));
    caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); });
    EXPECT_EQ(49, connection.GetLastError());
    EXPECT_FALSE(connection.IsConnected());
}

TEST_F(ConnectionStateTest, TheStateIsAskedWithoutSendingAnything)
{
    connection.IsConnected();
    EXPECT_THAT(responder.requests(), IsEmpty());
    EXPECT_THAT(library.readOptions, ElementsAre(LDAP_OPT_RESULT_CODE));
}

TEST_F(ConnectionStateTest, AnUnreadableCodeIsAnInternalError)
{
    library.unreadableOptions.insert(LDAP_OPT_RESULT_CODE);
    const Caught expected =
        internalError("Can't obtain LDAP error code.", "KVRLdapConnection.cpp:LINE(GetLastError)");
    EXPECT_EQ(expected, caught([&] { connection.GetLastError(); }));
    EXPECT_EQ(expected, caught([&] { connection.IfReconnectNeeded(); }));
    EXPECT_EQ(expected, caught([&] { connection.IsConnected(); }));
}

/** Counts the state queries and can answer them itself. */
class StateConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    long GetLastError() override
    {
        errorsAsked++;
        return code;
    }

    bool IfReconnectNeeded() override
    {
        reconnectsAsked++;
        return CKVRLdapConnection::IfReconnectNeeded();
    }

    long code = 0;
    int errorsAsked = 0;
    int reconnectsAsked = 0;
};

class OverriddenStateTest : public WireTest
{
protected:
    StateConnection connection{host};
};

TEST_F(OverriddenStateTest, IsConnectedAsksIfReconnectNeededWhichAsksGetLastError)
{
    connect(connection);
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(1, connection.reconnectsAsked);
    EXPECT_EQ(1, connection.errorsAsked);
    connection.code = 50;
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(2, connection.reconnectsAsked);
    EXPECT_EQ(2, connection.errorsAsked);
}

TEST_F(OverriddenStateTest, ACodeThatOnlyFits64BitsIsNotCut)
{
    connect(connection);
    connection.code = (1L << 32) + 49;
    EXPECT_FALSE(connection.IfReconnectNeeded());
}

TEST_F(OverriddenStateTest, WithoutASessionNobodyIsAsked)
{
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(0, connection.reconnectsAsked);
}

class DisconnectTest : public ConnectedTest
{
};

TEST_F(DisconnectTest, SendsUnbindOnce)
{
    connection.Disconnect();
    EXPECT_TRUE(responder.await(Operation::Unbind));
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(notConnected(), caught([&] { connection.GetLastError(); }));
    connection.Disconnect();
    EXPECT_EQ(1, library.unbinds);
    EXPECT_FALSE(responder.only(Operation::Unbind).hasControls);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DisconnectTest, LogsAFailureAndForgetsTheSession)
{
    library.unbindCode = -1;
    EXPECT_EQ(Caught(), caught([&] { connection.Disconnect(); }));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP disconnection error: -1.")));
    EXPECT_EQ(notConnected(), caught([&] { connection.GetLastError(); }));
    connection.Disconnect();
    EXPECT_EQ(1, library.unbinds);
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
}

TEST_F(DisconnectTest, IsDoneByTheDestructor)
{
    auto second = std::make_unique<CKVRLdapConnection>(host);
    connect(*second);
    library.unbindCode = 81;
    second.reset();
    EXPECT_TRUE(responder.await(Operation::Unbind));
    EXPECT_EQ(1, library.unbinds);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP disconnection error: 81.")));
    library.unbindCode.reset();
}

TEST_F(DisconnectTest, ThrowsNothingAlsoWhenTheLogFails)
{
    CKVRLogProvider::GetLogProvider().SetSink([](KVRLogLevel, const std::string&)
                                              { throw std::runtime_error("no room for the log"); });
    library.unbindCode = 81;
    EXPECT_EQ(Caught(), caught([&] { connection.Disconnect(); }));
    EXPECT_FALSE(connection.IsConnected());
    auto second = std::make_unique<CKVRLdapConnection>(host);
    connect(*second);
    second.reset();
    EXPECT_EQ(2, library.unbinds);
}

TEST_F(DisconnectTest, TheSameObjectCanConnectAgainAndKeepsItsUri)
{
    connection.Disconnect();
    EXPECT_TRUE(connection.Connect("127.0.0.1", KVRAuthAnonymous));
    EXPECT_THAT(library.initialized, ElementsAre(responder.uri(), responder.uri()));
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(2, responder.connections());
}

class InternalCheckTest : public ConnectedTest
{
protected:
    Caught check(const std::string& context)
    {
        return caught([&] { connection.InternalCheck(context); });
    }
};

TEST_F(InternalCheckTest, AnUnreadableCodeIsAnInternalError)
{
    library.unreadableOptions.insert(LDAP_OPT_RESULT_CODE);
    EXPECT_EQ(internalError("on getting ldap error code.", checkPlace), check("on testing"));
}

TEST_F(InternalCheckTest, Code0IsPassedOver)
{
    EXPECT_EQ(Caught(), check("on testing"));
}

TEST_F(InternalCheckTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        library.setResultCode(code);
        EXPECT_EQ(accessError(code), check("on testing"));
    }
}

TEST_F(InternalCheckTest, TheCodesAround47And50KeepTheContext)
{
    library.setResultCode(46);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on testing - Unknown error", checkPlace), check("on testing"));
    library.setResultCode(51);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on testing - Server is busy", checkPlace), check("on testing"));
}

TEST_F(InternalCheckTest, AnotherCodeIsToldWithContextPlaceAndDiagnostic)
{
    std::list<std::string> all;
    responder.onSearch(Answer().result(LDAP_OTHER, "disk full"));
    caught([&] { connection.Search("dc=x", "(a=*)", all, alSCOPE_BASE); });
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on 100%s - Other (e.g., implementation specific) error", checkPlace,
                          "disk full"),
              check("on 100%s"));
}

TEST_F(InternalCheckTest, TheHandlesCodeDecidesNotTheOverriddenOne)
{
    StateConnection overriding(host);
    connect(overriding);
    overriding.code = 80;
    EXPECT_EQ(Caught(), caught([&] { overriding.InternalCheck("on testing"); }));
    EXPECT_EQ(0, overriding.errorsAsked);
}

} // namespace

} // namespace KVR
