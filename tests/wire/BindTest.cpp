#include "ConnectionTest.h"
#include "ScopedEnvironment.h"

#include <sasl/sasl.h>

namespace KVR
{

namespace
{

using Support::LdapInterposer;
using Support::ScopedEnvironment;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char connectPlace[] = "KVRLdapConnection.cpp:LINE(Connect)";

class AnonymousBindTest : public UnconnectedTest
{
protected:
    Caught connectAnonymously()
    {
        return caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); });
    }
};

TEST_F(AnonymousBindTest, OneSimpleBindOfVersion3WithoutNameAndPasswordIsSent)
{
    connection.Connect(responder.target(), KVRAuthAnonymous);
    ASSERT_THAT(responder.operations(), ElementsAre(Operation::Bind));
    const LdapRequest request = responder.only(Operation::Bind);
    EXPECT_EQ(3, request.bind.version);
    EXPECT_EQ("", request.dn);
    EXPECT_TRUE(request.bind.simple);
    EXPECT_EQ("", request.bind.credentials);
    EXPECT_FALSE(request.hasControls);
}

TEST_F(AnonymousBindTest, TheLibraryIsCalledWithoutNameMechanismAndControls)
{
    connection.Connect(responder.target(), KVRAuthAnonymous);
    ASSERT_EQ(1U, library.binds.size());
    const LdapInterposer::Bind& bind = library.binds.front();
    EXPECT_EQ(library.session, bind.session);
    EXPECT_EQ(std::nullopt, bind.dn);
    EXPECT_EQ(std::nullopt, bind.mechanism);
    EXPECT_EQ("", bind.credentials);
    EXPECT_FALSE(bind.hasControls);
    EXPECT_THAT(library.interactiveBinds, IsEmpty());
}

TEST_F(AnonymousBindTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onBind(Answer().result(code, "the server's words"));
        EXPECT_EQ(accessError(code, "the server's words"), connectAnonymously());
        connection.Disconnect();
    }
}

TEST_F(AnonymousBindTest, TheInsufficientAccessTextIsToTheLetter)
{
    responder.onBind(Answer().result(LDAP_INVALID_CREDENTIALS));
    EXPECT_EQ(ldapError("OpenLDAP error Insufficient access. The user should have administrator privilege. - "
                        "Invalid credentials"),
              connectAnonymously());
}

TEST_F(AnonymousBindTest, EveryOtherCodeIsThrownWithItsTextAndTheServersDiagnostic)
{
    for (int code = 1; code <= 123; code++)
    {
        if (code >= 47 && code <= 50)
        {
            continue;
        }
        responder.onBind(Answer().result(code, "the server's words"));
        EXPECT_EQ(ldapErrorAt("OpenLDAP error on bind - " + std::string(ldap_err2string(code)), connectPlace,
                              "the server's words"),
                  connectAnonymously())
            << code;
        connection.Disconnect();
    }
}

TEST_F(AnonymousBindTest, ARefusedBindIsToldToTheLetter)
{
    responder.onBind(Answer().result(LDAP_UNWILLING_TO_PERFORM, "anonymous bind disallowed"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on bind - Server is unwilling to perform", connectPlace,
                          "anonymous bind disallowed"),
              connectAnonymously());
}

TEST_F(AnonymousBindTest, AServerThatIsNotThereIsToldAsBindFailure)
{
    responder.stop();
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on bind - Can't contact LDAP server", connectPlace),
              connectAnonymously());
}

TEST_F(AnonymousBindTest, ADroppedConnectionIsToldAsBindFailure)
{
    responder.onBind(Answer().drop());
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on bind - Can't contact LDAP server", connectPlace),
              connectAnonymously());
}

TEST_F(AnonymousBindTest, ASilentServerIsGivenUpAfterTheTimeout)
{
    library.timeLimit = std::chrono::milliseconds(50);
    responder.onBind(Answer().silence());
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on bind - Timed out", connectPlace), connectAnonymously());
}

TEST_F(AnonymousBindTest, AfterARefusedBindTheSessionStaysUntilDisconnect)
{
    responder.onBind(Answer().result(LDAP_BUSY));
    connectAnonymously();
    EXPECT_EQ(0, library.unbinds);
    EXPECT_EQ(checkError("LDAP connection is already established."), connectAnonymously());
    connection.Disconnect();
    EXPECT_EQ(Caught(), connectAnonymously());
}

TEST_F(AnonymousBindTest, TheUriStaysStoredAfterARefusedBind)
{
    responder.onBind(Answer().result(LDAP_BUSY));
    connectAnonymously();
    connection.Disconnect();
    connection.Connect("127.0.0.1", KVRAuthAnonymous);
    EXPECT_THAT(library.initialized, ElementsAre(responder.uri(), responder.uri()));
}

TEST_F(AnonymousBindTest, AnonymousIsTheKindOfBindBeforeAndAfter)
{
    EXPECT_EQ(KVRAuthAnonymous, connection.AuthType());
    connection.Connect(responder.target(), KVRAuthAnonymous);
    EXPECT_EQ(KVRAuthAnonymous, connection.AuthType());
}

class KerberosBindTest : public UnconnectedTest
{
protected:
    Caught connectWith(KVRAuthType type = KVRAuthGssapi)
    {
        return caught([&] { connection.Connect(responder.target(), type); });
    }

    ScopedEnvironment ticketCache{"KRB5CCNAME", "FILE:/nowhere/cache%s"};
};

TEST_F(KerberosBindTest, WithoutTheTicketCacheVariableItIsRefused)
{
    const ScopedEnvironment noTicketCache("KRB5CCNAME", std::nullopt);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error can't bind via GGSAPI: KRB5CCNAME not set", connectPlace),
              connectWith());
    EXPECT_THAT(library.interactiveBinds, IsEmpty());
    EXPECT_EQ(KVRAuthGssapi, connection.AuthType());
    EXPECT_EQ(1U, host.count("GetBindDefaults"));
    EXPECT_EQ(checkError("LDAP connection is already established."), connectWith());
}

TEST_F(KerberosBindTest, AfterAMissingTicketCacheVariableTheSessionStaysUntilDisconnect)
{
    {
        const ScopedEnvironment noTicketCache("KRB5CCNAME", std::nullopt);
        EXPECT_EQ(ldapErrorAt("OpenLDAP error can't bind via GGSAPI: KRB5CCNAME not set", connectPlace),
                  connectWith());
    }
    EXPECT_EQ(0, library.unbinds);
    EXPECT_TRUE(connection.IsConnected()) << "there is a session, and no failed operation on it";
    EXPECT_EQ(checkError("LDAP connection is already established."), connectWith());
    EXPECT_EQ(checkError("LDAP connection is already established."), connectWith(KVRAuthAnonymous));
    connection.Disconnect();
    EXPECT_EQ(1, library.unbinds);
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_THAT(library.initialized, ElementsAre(responder.uri(), responder.uri()));
}

TEST_F(KerberosBindTest, WithoutTheTicketCacheVariableNoBindIsTracedOrSent)
{
    const ScopedEnvironment noTicketCache("KRB5CCNAME", std::nullopt);
    log.setLevel(4);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error can't bind via GGSAPI: KRB5CCNAME not set", connectPlace),
              connectWith());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(4, "Initilize LDAP connection to: " + responder.uri())));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(KerberosBindTest, AnAnonymousBindNeedsNoTicketCacheVariable)
{
    const ScopedEnvironment noTicketCache("KRB5CCNAME", std::nullopt);
    EXPECT_EQ(Caught(), connectWith(KVRAuthAnonymous));
}

TEST_F(KerberosBindTest, AnEmptyTicketCacheVariableIsGoodEnough)
{
    const ScopedEnvironment emptyTicketCache("KRB5CCNAME", "");
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_EQ(1U, library.interactiveBinds.size());
}

TEST_F(KerberosBindTest, TheLibraryIsCalledForGssapiWithThePrivateStateAsDefaults)
{
    EXPECT_EQ(Caught(), connectWith());
    ASSERT_EQ(1U, library.interactiveBinds.size());
    const LdapInterposer::InteractiveBind& bind = library.interactiveBinds.front();
    EXPECT_EQ(library.session, bind.session);
    EXPECT_EQ(std::nullopt, bind.dn);
    EXPECT_EQ("GSSAPI", bind.mechanism);
    EXPECT_FALSE(bind.hasControls);
    EXPECT_NE(nullptr, bind.interact);
    const auto* state = static_cast<CKVRConnInternal*>(bind.defaults);
    EXPECT_EQ(library.session, state->ld);
    EXPECT_EQ("defaults of the host", state->bindDefaults);
    EXPECT_THAT(library.binds, IsEmpty());
    EXPECT_EQ(KVRAuthGssapi, connection.AuthType());
}

TEST_F(KerberosBindTest, TheBindDefaultsAreTakenAnewAtEachConnect)
{
    EXPECT_EQ(Caught(), connectWith());
    connection.Disconnect();
    host.bindDefaults = "others";
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_EQ("others",
              static_cast<CKVRConnInternal*>(library.interactiveBinds.back().defaults)->bindDefaults);
}

TEST_F(KerberosBindTest, AnyOtherKindOfBindIsTheSame)
{
    EXPECT_EQ(Caught(), connectWith(static_cast<KVRAuthType>(7)));
    EXPECT_EQ(1U, library.interactiveBinds.size());
    EXPECT_EQ(static_cast<KVRAuthType>(7), connection.AuthType());
}

TEST_F(KerberosBindTest, BelowLevel5TheLibraryIsQuiet)
{
    log.setLevel(4);
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_EQ(2U, library.interactiveBinds.front().flags);
}

TEST_F(KerberosBindTest, FromLevel5OnTheLibraryMayPrompt)
{
    log.setLevel(5);
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_EQ(0U, library.interactiveBinds.front().flags);
}

TEST_F(KerberosBindTest, TheTicketCacheIsTracedAtLevel4WhenTheLevelIsAbove3)
{
    log.setLevel(4);
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(4, "Initilize LDAP connection to: " + responder.uri()),
                                            Pair(4, "ldap_sasl_bind KRB5CCNAME FILE:/nowhere/cache%s")));
}

TEST_F(KerberosBindTest, AtLevel3NothingIsTraced)
{
    log.setLevel(3);
    EXPECT_EQ(Caught(), connectWith());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(KerberosBindTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        library.interactiveBind = [code](const LdapInterposer::InteractiveBind&) { return code; };
        EXPECT_EQ(accessError(code), connectWith());
        connection.Disconnect();
    }
}

TEST_F(KerberosBindTest, AnotherFailureIsToldWithTheDiagnostic)
{
    library.interactiveBind = [](const LdapInterposer::InteractiveBind& bind)
    {
        ldap_set_option(bind.session, LDAP_OPT_DIAGNOSTIC_MESSAGE, "No Kerberos credentials available");
        return LDAP_LOCAL_ERROR;
    };
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on GGSAPI bind - Local error", connectPlace,
                          "No Kerberos credentials available"),
              connectWith());
    EXPECT_EQ(checkError("LDAP connection is already established."), connectWith());
}

TEST_F(KerberosBindTest, EveryOtherCodeIsToldWithItsText)
{
    for (const int code : {-17, -11, -6, -2, -1, 1, 7, 8, 14, 16, 46, 51, 53, 80})
    {
        library.interactiveBind = [code](const LdapInterposer::InteractiveBind&) { return code; };
        EXPECT_EQ(ldapErrorAt("OpenLDAP error on GGSAPI bind - " + std::string(ldap_err2string(code)),
                              connectPlace),
                  connectWith())
            << code;
        connection.Disconnect();
    }
}

TEST_F(KerberosBindTest, AfterARefusedBindTheSessionStaysUntilDisconnect)
{
    const std::pair<int, Caught> refusals[] = {
        {-2, ldapErrorAt("OpenLDAP error on GGSAPI bind - Local error", connectPlace)},
        {49, accessError(49)}};
    for (const auto& [number, error] : refusals)
    {
        library.interactiveBind = [code = number](const LdapInterposer::InteractiveBind&) { return code; };
        EXPECT_EQ(error, connectWith());
        library.interactiveBind = nullptr;
        library.interactiveBinds.clear();
        EXPECT_EQ(checkError("LDAP connection is already established."), connectWith());
        EXPECT_THAT(library.interactiveBinds, IsEmpty());
        connection.Disconnect();
        EXPECT_EQ(Caught(), connectWith());
        connection.Disconnect();
    }
}

class InteractionTest : public KerberosBindTest
{
protected:
    void SetUp() override { ASSERT_EQ(Caught(), connectWith()); }

    int interact(LDAP* session, void* prompts, void* defaults = nullptr) const
    {
        return library.interactiveBinds.front().interact(session, LDAP_SASL_QUIET, defaults, prompts);
    }
};

TEST_F(InteractionTest, WithoutASessionIsAParameterError)
{
    EXPECT_EQ(-9, interact(nullptr, nullptr));
}

TEST_F(InteractionTest, EveryPromptUpToTheEndMarkGetsTheEmptyAnswer)
{
    sasl_interact_t prompts[4] = {};
    const unsigned long ids[] = {SASL_CB_AUTHNAME, SASL_CB_PASS, SASL_CB_LIST_END, SASL_CB_USER};
    for (std::size_t i = 0; i < 4; i++)
    {
        prompts[i].id = ids[i];
        prompts[i].defresult = "a default";
        prompts[i].len = 99;
    }
    EXPECT_EQ(0, interact(library.session, prompts));
    for (std::size_t i = 0; i < 2; i++)
    {
        EXPECT_STREQ("", static_cast<const char*>(prompts[i].result)) << i;
        EXPECT_EQ(0U, prompts[i].len) << i;
    }
    for (std::size_t i = 2; i < 4; i++)
    {
        EXPECT_EQ(nullptr, prompts[i].result) << i;
        EXPECT_EQ(99U, prompts[i].len) << i;
    }
}

TEST_F(InteractionTest, WithoutPromptsIsSuccess)
{
    sasl_interact_t end = {};
    EXPECT_EQ(0, interact(library.session, &end));
    EXPECT_EQ(nullptr, end.result);
}

TEST_F(InteractionTest, TheDefaultsAreNotConsulted)
{
    sasl_interact_t prompts[2] = {};
    prompts[0].id = SASL_CB_AUTHNAME;
    EXPECT_EQ(0, interact(library.session, prompts, library.interactiveBinds.front().defaults));
    EXPECT_STREQ("", static_cast<const char*>(prompts[0].result));
}

} // namespace

} // namespace KVR
