#include "ConnectionTest.h"

#include <clocale>
#include <iterator>
#include <vector>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char connectPlace[] = "KVRLdapConnection.cpp:LINE(Connect)";

Caught alreadyEstablished()
{
    return checkError("LDAP connection is already established.");
}

class ConnectTest : public WireTest
{
protected:
    /** The text of Connect's failure, on a connection of its own. */
    Caught connectTo(const std::string& target, KVRAuthType type = KVRAuthAnonymous)
    {
        CKVRLdapConnection connection(host);
        return caught([&] { connection.Connect(target, type); });
    }

    /** Lets hosts define the URIs that connections take. */
    void defineUris(const std::string& uris) { host.parameters["KVR_PRM_LDAP_URIS"] = uris; }

    /** The URIs that Connect hands to the library, without connecting. */
    std::vector<std::string> urisOf(CKVRLdapConnection& connection, const std::vector<std::string>& targets)
    {
        library.initializeCode = LDAP_NO_MEMORY;
        for (const auto& target : targets)
        {
            caught([&] { connection.Connect(target, KVRAuthAnonymous); });
        }
        return library.initialized;
    }
};

TEST_F(ConnectTest, ItReturnsTrue)
{
    CKVRLdapConnection connection(host);
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
}

TEST_F(ConnectTest, AnEmptyTargetIsRefusedBeforeAnythingElse)
{
    const DefaultCodesetGuard codeset("ISO-8859-1");
    CKVRLdapConnection connection(host);
    EXPECT_EQ(checkError("Argument is empty for 'Connect'."),
              caught([&] { connection.Connect("", KVRAuthAnonymous); }));
    EXPECT_EQ("\xe4", connection.LocalToUtf8("\xe4")) << "the character set is determined already";
    EXPECT_THAT(library.initialized, IsEmpty());
    connect(connection);
    EXPECT_EQ(checkError("Argument is empty for 'Connect'."),
              caught([&] { connection.Connect("", KVRAuthAnonymous); }));
}

TEST_F(ConnectTest, ASecondConnectIsRefusedAndSendsNothing)
{
    CKVRLdapConnection connection(host);
    connect(connection);
    EXPECT_EQ(alreadyEstablished(),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(ConnectTest, TheCharacterSetIsTakenEvenWhenConnectIsRefusedAsEstablished)
{
    CKVRLdapConnection connection(host);
    connect(connection);
    EXPECT_EQ("\xc3\xa4", connection.Utf8ToLocal("\xc3\xa4"));
    {
        const DefaultCodesetGuard codeset("ISO-8859-1");
        EXPECT_EQ(alreadyEstablished(), caught([&] { connection.Connect("x", KVRAuthAnonymous); }));
    }
    EXPECT_EQ("\xe4", connection.Utf8ToLocal("\xc3\xa4"));
    EXPECT_EQ("\xc3\xa4", connection.LocalToUtf8("\xe4"));
    EXPECT_EQ(alreadyEstablished(), caught([&] { connection.Connect("x", KVRAuthAnonymous); }));
    EXPECT_EQ("\xc3\xa4", connection.Utf8ToLocal("\xc3\xa4"));
}

TEST_F(ConnectTest, TheUriStaysWhenConnectIsRefusedAsEstablished)
{
    defineUris(responder.uri() + " ldap://second");
    CKVRLdapConnection connection(host);
    connect(connection);
    EXPECT_EQ(alreadyEstablished(), caught([&] { connection.Connect("third", KVRAuthAnonymous); }));
    connection.Disconnect();
    library.initialized.clear();
    EXPECT_THAT(urisOf(connection, {"second"}), ElementsAre(responder.uri() + " ldap://second"));
}

TEST_F(ConnectTest, TheNameUtf8CountsInAnyCase)
{
    for (const char* name : {"UTF-8", "utf-8", "Utf-8"})
    {
        const DefaultCodesetGuard codeset(name);
        CKVRLdapConnection connection(host);
        connect(connection);
        EXPECT_EQ("\xff", connection.LocalToUtf8("\xff")) << name;
    }
}

TEST_F(ConnectTest, ALocaleWithACharacterSetDoesNotAskTheHostForOne)
{
    const DefaultCodesetGuard codeset("ISO-8859-1");
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    CKVRLdapConnection connection(host);
    connect(connection);
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C"));
    EXPECT_EQ("\xe4", connection.LocalToUtf8("\xe4"));
}

TEST_F(ConnectTest, WithoutTheParameterTheUriIsLocalhost)
{
    CKVRLdapConnection connection(host);
    EXPECT_THAT(host.calls, ElementsAre("HasParameter KVR_PRM_LDAP_URIS"));
    EXPECT_THAT(urisOf(connection, {"localhost"}), ElementsAre("ldap://localhost"));
}

TEST_F(ConnectTest, TheParameterIsReadOnceAtConstruction)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(host.calls, ElementsAre("HasParameter KVR_PRM_LDAP_URIS", "GetParameter KVR_PRM_LDAP_URIS"));
    defineUris("ldap://other");
    EXPECT_THAT(urisOf(connection, {"srv1"}), ElementsAre("ldap://srv1 ldap://srv2"));
    EXPECT_EQ(1U, host.count("GetParameter"));
}

TEST_F(ConnectTest, ATargetInTheListKeepsTheWholeList)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(urisOf(connection, {"srv2"}), ElementsAre("ldap://srv1 ldap://srv2"));
}

TEST_F(ConnectTest, ATargetThatIsAnyPartOfTheListKeepsTheWholeList)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(urisOf(connection, {"ldap://srv1", "v1 ldap", "r", "ldap://srv1 ldap://srv2"}),
                ElementsAre("ldap://srv1 ldap://srv2", "ldap://srv1 ldap://srv2", "ldap://srv1 ldap://srv2",
                            "ldap://srv1 ldap://srv2"));
}

TEST_F(ConnectTest, AnotherTargetReplacesTheListAndTheNextOneLooksAtThat)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(urisOf(connection, {"srv3", "srv2", "srv2"}),
                ElementsAre("ldap://srv3", "ldap://srv2", "ldap://srv2"));
}

TEST_F(ConnectTest, ContainmentIsCaseSensitive)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(urisOf(connection, {"SRV2"}), ElementsAre("ldap://SRV2"));
}

TEST_F(ConnectTest, ASchemeInTheTargetIsNotStripped)
{
    CKVRLdapConnection connection(host);
    EXPECT_EQ(
        ldapErrorAt("OpenLDAP error on initialization - Bad parameter to an ldap routine", connectPlace),
        caught([&] { connection.Connect("ldap://x", KVRAuthAnonymous); }));
    EXPECT_THAT(library.initialized, ElementsAre("ldap://ldap://x"));
}

TEST_F(ConnectTest, TheServersOfTheListAreTriedInOrder)
{
    int closedPort = 0;
    {
        Support::LdapResponder gone;
        const std::string target = gone.target();
        closedPort = std::stoi(target.substr(target.find(':') + 1));
    }
    defineUris("ldap://127.0.0.1:" + std::to_string(closedPort) + " " + responder.uri());
    CKVRLdapConnection connection(host);
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Bind));
}

TEST_F(ConnectTest, AnInvalidUrlIsRefused)
{
    defineUris("bogus srv1");
    EXPECT_EQ(plainError("Invalid LDAP url 'bogus srv1'."), connectTo("srv1"));
    EXPECT_THAT(library.initialized, IsEmpty());
}

TEST_F(ConnectTest, AnEmptyParameterIsReplacedByTheTarget)
{
    defineUris("");
    CKVRLdapConnection connection(host);
    EXPECT_THAT(urisOf(connection, {"srv1"}), ElementsAre("ldap://srv1"));
}

TEST_F(ConnectTest, PercentSignsInAnInvalidUrlAreNoFormat)
{
    defineUris("bogus %s%n");
    EXPECT_EQ(plainError("Invalid LDAP url 'bogus %s%n'."), connectTo("%s"));
}

TEST_F(ConnectTest, TheUriIsStoredBeforeItIsChecked)
{
    defineUris("ldap://srv1 ldap://srv2");
    CKVRLdapConnection connection(host);
    library.refuseUrls = true;
    EXPECT_EQ(plainError("Invalid LDAP url 'ldap://srv3'."),
              caught([&] { connection.Connect("srv3", KVRAuthAnonymous); }));
    library.refuseUrls = false;
    EXPECT_THAT(urisOf(connection, {"srv2"}), ElementsAre("ldap://srv2"));
}

TEST_F(ConnectTest, TheUriIsTracedAtLevel4WhenTheLevelIsAbove3)
{
    log.setLevel(4);
    CKVRLdapConnection connection(host);
    connection.Connect(responder.target(), KVRAuthAnonymous);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(4, "Initilize LDAP connection to: " + responder.uri())));
}

TEST_F(ConnectTest, AtLevel3NothingIsTraced)
{
    log.setLevel(3);
    CKVRLdapConnection connection(host);
    connection.Connect(responder.target(), KVRAuthAnonymous);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ConnectTest, TheUriIsTracedBetweenItsCheckAndTheInitialization)
{
    log.setLevel(4);
    library.initializeCode = LDAP_NO_MEMORY;
    connectTo("srv%s");
    EXPECT_THAT(log.messages(), ElementsAre(Pair(4, "Initilize LDAP connection to: ldap://srv%s")));
    log.clear();
    library.refuseUrls = true;
    connectTo("srv1");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ConnectTest, AFailedInitializationWithoutASessionIsThrownAndConnectCanBeRepeated)
{
    CKVRLdapConnection connection(host);
    library.initializeCode = LDAP_NO_MEMORY;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on initialization - Out of memory", connectPlace),
              caught([&] { connection.Connect(responder.target(), KVRAuthGssapi); }));
    EXPECT_EQ(KVRAuthAnonymous, connection.AuthType()) << "stored too early";
    EXPECT_EQ(0U, host.count("GetBindDefaults"));
    EXPECT_THAT(library.setOptions, IsEmpty());
    library.initializeCode.reset();
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
}

TEST_F(ConnectTest, AFailedInitializationThatLeavesASessionLeavesItInPlace)
{
    CKVRLdapConnection connection(host);
    library.initializeCode = LDAP_LOCAL_ERROR;
    library.initializeMakesSession = true;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on initialization - Local error", connectPlace),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    EXPECT_THAT(library.setOptions, IsEmpty());
    EXPECT_EQ(alreadyEstablished(),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    EXPECT_EQ(0, library.unbinds);
    library.initializeCode.reset();
    connection.Disconnect();
    EXPECT_EQ(1, library.unbinds);
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
}

TEST_F(ConnectTest, AnAccessCodeOfTheInitializationBecomesInsufficientAccess)
{
    library.initializeCode = LDAP_INSUFFICIENT_ACCESS;
    EXPECT_EQ(accessError(LDAP_INSUFFICIENT_ACCESS), connectTo("srv1"));
}

TEST_F(ConnectTest, TheSessionsOptionsAreSetInOrder)
{
    CKVRLdapConnection connection(host);
    connection.Connect(responder.target(), KVRAuthAnonymous);
    const struct
    {
        int option;
        const char* value;
    } expected[] = {{LDAP_OPT_PROTOCOL_VERSION, "3"},        {LDAP_OPT_TIMEOUT, "30.000000"},
                    {LDAP_OPT_NETWORK_TIMEOUT, "30.000000"}, {LDAP_OPT_RESTART, "?"},
                    {LDAP_OPT_CONNECT_ASYNC, "?"},           {LDAP_OPT_CONNECT_CB, "?"}};
    ASSERT_EQ(std::size(expected), library.setOptions.size());
    for (std::size_t i = 0; i < std::size(expected); i++)
    {
        EXPECT_EQ(expected[i].option, library.setOptions[i].option) << i;
        EXPECT_EQ(expected[i].value, library.setOptions[i].value) << i;
        EXPECT_EQ(library.session, library.setOptions[i].session) << i;
    }
}

/** Each option with the number of options set up to it. */
class FailingOptionTest : public ConnectTest,
                          public ::testing::WithParamInterface<std::pair<int, std::size_t>>
{
};

TEST_P(FailingOptionTest, StopsConnectAndLeavesTheSessionInPlace)
{
    CKVRLdapConnection connection(host);
    library.setOptionCodes[GetParam().first] = LDAP_OPT_ERROR;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on initialization - Can't contact LDAP server", connectPlace),
              caught([&] { connection.Connect(responder.target(), KVRAuthGssapi); }));
    EXPECT_EQ(GetParam().second, library.setOptions.size()) << "later options are set";
    EXPECT_EQ(KVRAuthAnonymous, connection.AuthType());
    EXPECT_EQ(0U, host.count("GetBindDefaults"));
    EXPECT_EQ(0, responder.connections());
    EXPECT_EQ(0, library.unbinds);
    EXPECT_EQ(alreadyEstablished(),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    connection.Disconnect();
    EXPECT_EQ(1, library.unbinds);
    library.setOptionCodes.clear();
    EXPECT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
}

TEST_P(FailingOptionTest, IsToldWithTheDiagnosticThatTheSessionHolds)
{
    library.initializeDiagnostic = "the library's words";
    library.setOptionCodes[GetParam().first] = LDAP_NO_MEMORY;
    EXPECT_EQ(
        ldapErrorAt("OpenLDAP error on initialization - Out of memory", connectPlace, "the library's words"),
        connectTo("srv1"));
}

TEST_P(FailingOptionTest, WithAnAccessCodeBecomesInsufficientAccess)
{
    library.setOptionCodes[GetParam().first] = LDAP_INAPPROPRIATE_AUTH;
    EXPECT_EQ(accessError(LDAP_INAPPROPRIATE_AUTH), connectTo("srv1"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, FailingOptionTest,
    ::testing::Values(std::make_pair(LDAP_OPT_PROTOCOL_VERSION, 1U), std::make_pair(LDAP_OPT_TIMEOUT, 2U),
                      std::make_pair(LDAP_OPT_NETWORK_TIMEOUT, 3U), std::make_pair(LDAP_OPT_RESTART, 4U),
                      std::make_pair(LDAP_OPT_CONNECT_ASYNC, 5U), std::make_pair(LDAP_OPT_CONNECT_CB, 6U)));

TEST_F(ConnectTest, TimeoutsThatCantBeReadBackAreAFailedConnection)
{
    for (const int option : {LDAP_OPT_TIMEOUT, LDAP_OPT_NETWORK_TIMEOUT})
    {
        library.unreadableOptions = {option};
        EXPECT_EQ(ldapErrorAt("OpenLDAP error on initialization - Can't contact LDAP server", connectPlace),
                  connectTo("srv1"))
            << option;
    }
}

TEST_F(ConnectTest, TheHostsBindDefaultsAreTakenAfterTheOptionsAndBeforeTheBind)
{
    CKVRLdapConnection connection(host);
    host.calls.clear();
    bool asked = false;
    host.onCall = [&](const std::string&)
    {
        asked = true;
        EXPECT_EQ(6U, library.setOptions.size());
        EXPECT_THAT(library.binds, IsEmpty());
    };
    connection.Connect(responder.target(), KVRAuthAnonymous);
    EXPECT_TRUE(asked);
    EXPECT_THAT(host.calls, ElementsAre("GetBindDefaults"));
}

TEST_F(ConnectTest, AHostThatThrowsLeavesTheSessionAndTheKindOfBindStored)
{
    CKVRLdapConnection connection(host);
    host.throwFrom("GetBindDefaults");
    EXPECT_EQ((Caught{typeid(std::runtime_error), "GetBindDefaults", "", ""}),
              caught([&] { connection.Connect(responder.target(), KVRAuthGssapi); }));
    EXPECT_EQ(KVRAuthGssapi, connection.AuthType());
    EXPECT_EQ(alreadyEstablished(),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    EXPECT_THAT(library.interactiveBinds, IsEmpty());
}

} // namespace

} // namespace KVR
