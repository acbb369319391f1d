#include "ReplicationTest.h"

namespace KVR
{

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

class AddSyncReplTest : public ReplicationTest
{
protected:
    Caught adding(const std::string& rid, const std::string& provider)
    {
        return caught([&] { connection.AddSyncRepl(rid, provider); });
    }

    /** The requests of an agreement that is added to a database with these ones. */
    std::vector<std::string> sentFor(const std::string& rid, const std::string& provider,
                                     const std::vector<std::string>& existing = {})
    {
        responder.clear();
        has(existing);
        EXPECT_EQ(Caught(), adding(rid, provider));
        return sent();
    }

    /** Adds to a database with these agreements, which shall send no change. */
    Caught refusalBy(const std::vector<std::string>& existing, const std::string& rid,
                     const std::string& provider)
    {
        responder.clear();
        has(existing);
        const Caught error = adding(rid, provider);
        EXPECT_THAT(sent(), ElementsAre(searched()));
        return error;
    }

    static Caught exists(const std::string& key, const std::string& value, const std::string& stored)
    {
        return plainError("SyncRepl with " + key + "=\"" + value + "\" already exists:\n'" + stored + "'.");
    }

    /** What a refused change of the configuration database throws. */
    static Caught refusedInConfig(const std::string& agreement, int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on modifying attribute 'olcSyncrepl' of dn "
                           "'olcDatabase={0}config,cn=config' to value '" +
                               agreement + "' - " + ldap_err2string(code),
                           "KVRLdapConnectionReplication.cpp:LINE(AddSyncRepl)", details);
    }

    const std::string main = mainAgreement("002", "ldap://srv2.example.com");
    const std::string config = configAgreement("002", "ldap://srv2.example.com");
};

TEST_F(AddSyncReplTest, BothAgreementsAreAddedToTheLetterAndMirrorModeWithTheSecond)
{
    EXPECT_THAT(
        sentFor("002", "srv2.example.com"),
        ElementsAre("search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcSyncrepl",
                    "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 0 olcSyncrepl 'rid=\"002\" "
                    "provider=\"ldap://srv2.example.com\" bindmethod=sasl saslmech=gssapi "
                    "authcid=\"kvrd/srv1.home.example\" searchbase=\"dc=home,dc=example\" "
                    "type=refreshAndPersist retry=\"60 +\"'",
                    "modify olcDatabase={0}config,cn=config 0 olcSyncrepl 'rid=\"002\" "
                    "provider=\"ldap://srv2.example.com\" bindmethod=sasl saslmech=gssapi "
                    "authcid=\"kvrd/srv1.home.example\" searchbase=\"cn=config\" type=refreshAndPersist "
                    "retry=\"60 +\"' 0 olcMirrorMode 'TRUE'"));
}

TEST_F(AddSyncReplTest, TheLibraryIsCalledWithTwoAdditionsAndWithoutControls)
{
    sentFor("002", "srv2.example.com");
    ASSERT_THAT(library.modifies, SizeIs(2));
    EXPECT_THAT(library.modifies[0].changes, ElementsAre(Change{0, "olcSyncrepl", true}));
    EXPECT_THAT(library.modifies[1].changes,
                ElementsAre(Change{0, "olcSyncrepl", true}, Change{0, "olcMirrorMode", true}));
    EXPECT_FALSE(library.modifies[1].hasControls);
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(AddSyncReplTest, EmptyArgumentsMeanIdentifier001AndTheHostsServer)
{
    EXPECT_THAT(sentFor("", ""),
                ElementsAre(searched(), addedToMain(mainAgreement("001", "ldap://main.home.example")),
                            addedToConfig(configAgreement("001", "ldap://main.home.example"))));
}

TEST_F(AddSyncReplTest, EachArgumentHasItsOwnDefault)
{
    EXPECT_THAT(sentFor("", "srv2"), ElementsAre(searched(), addedToMain(mainAgreement("001", "ldap://srv2")),
                                                 addedToConfig(configAgreement("001", "ldap://srv2"))));
    EXPECT_THAT(sentFor("7", ""),
                ElementsAre(searched(), addedToMain(mainAgreement("7", "ldap://main.home.example")),
                            addedToConfig(configAgreement("7", "ldap://main.home.example"))));
}

TEST_F(AddSyncReplTest, TheSchemeIsPutInFrontOfEveryProvider)
{
    for (const std::string provider : {"srv2:1389", "ldap://srv2", "ldaps://srv2", " "})
    {
        EXPECT_THAT(sentFor("002", provider),
                    ElementsAre(searched(), addedToMain(mainAgreement("002", "ldap://" + provider)),
                                addedToConfig(configAgreement("002", "ldap://" + provider))));
    }
}

TEST_F(AddSyncReplTest, OfTheParametersTheUserAndTheDomainAreRead)
{
    sentFor("002", "srv2");
    std::vector<std::string> reads;
    std::copy_if(host.calls.begin(), host.calls.end(), std::back_inserter(reads),
                 [](const std::string& call) { return call.rfind("GetParameter", 0) == 0; });
    EXPECT_THAT(reads, UnorderedElementsAre("GetParameter KVRD_USER", "GetParameter DOMAIN_DN"));
}

TEST_F(AddSyncReplTest, TheHostsServerIsNotAskedForWhenAProviderIsGiven)
{
    host.calls.clear();
    sentFor("", "srv2");
    EXPECT_EQ(0U, host.count("GetServerHost"));
    responder.clear();
    has({mainAgreement("002", "ldap://srv2")});
    EXPECT_EQ(Caught(), caught([&] { connection.DeleteSyncRepl("002", "srv2"); }));
    EXPECT_EQ(0U, host.count("GetServerHost"));
    sentFor("", "");
    EXPECT_EQ(1U, host.count("GetServerHost"));
}

TEST_F(AddSyncReplTest, WithoutParametersTheirPlacesAreEmpty)
{
    host.parameters.clear();
    EXPECT_THAT(
        sentFor("002", "srv2"),
        ElementsAre(searched(),
                    addedToMain("rid=\"002\" provider=\"ldap://srv2\" bindmethod=sasl saslmech=gssapi "
                                "authcid=\"/srv1.home.example\" searchbase=\"\" "
                                "type=refreshAndPersist retry=\"60 +\""),
                    addedToConfig("rid=\"002\" provider=\"ldap://srv2\" bindmethod=sasl "
                                  "saslmech=gssapi authcid=\"/srv1.home.example\" "
                                  "searchbase=\"cn=config\" type=refreshAndPersist retry=\"60 +\"")));
}

TEST_F(AddSyncReplTest, PercentSignsAreCharactersLikeOthers)
{
    host.hostName = "%n%s";
    host.parameters["KVRD_USER"] = "%d";
    host.parameters["DOMAIN_DN"] = "dc=100%";
    EXPECT_THAT(sentFor("%s", "%1$s"),
                ElementsAre(searched(),
                            addedToMain("rid=\"%s\" provider=\"ldap://%1$s\" bindmethod=sasl saslmech=gssapi "
                                        "authcid=\"%d/%n%s\" searchbase=\"dc=100%\" type=refreshAndPersist "
                                        "retry=\"60 +\""),
                            addedToConfig("rid=\"%s\" provider=\"ldap://%1$s\" bindmethod=sasl "
                                          "saslmech=gssapi authcid=\"%d/%n%s\" searchbase=\"cn=config\" "
                                          "type=refreshAndPersist retry=\"60 +\"")));
}

TEST_F(AddSyncReplTest, AnIdentifierInUseIsToldEvenWithAnotherProvider)
{
    const std::string stored = "rid=\"002\" provider=\"ldap://srv3\"";
    EXPECT_EQ(
        plainError("SyncRepl with rid=\"002\" already exists:\n'rid=\"002\" provider=\"ldap://srv3\"'."),
        refusalBy({"first", stored, "last"}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, AProviderInUseIsToldWithItsScheme)
{
    const std::string stored = "rid=\"003\" provider=\"ldap://srv2\"";
    EXPECT_EQ(plainError("SyncRepl with provider=\"ldap://srv2\" already exists:\n"
                         "'rid=\"003\" provider=\"ldap://srv2\"'."),
              refusalBy({"first", stored, "last"}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, OfAnAgreementThatExistsNeitherIdentityNorDomainAreAskedFor)
{
    for (const std::string stored : {"rid=\"002\"", "provider=\"ldap://srv2\""})
    {
        host.calls.clear();
        EXPECT_EQ(std::type_index(typeid(EKVRError)), refusalBy({stored}, "002", "srv2").type);
        EXPECT_THAT(host.calls, IsEmpty());
    }
}

TEST_F(AddSyncReplTest, DefaultsAreSoughtToo)
{
    const std::string byRid = mainAgreement("001", "ldap://srv3");
    EXPECT_EQ(exists("rid", "001", byRid), refusalBy({byRid}, "", ""));
    const std::string byProvider = mainAgreement("003", "ldap://main.home.example");
    EXPECT_EQ(exists("provider", "ldap://main.home.example", byProvider), refusalBy({byProvider}, "", ""));
}

TEST_F(AddSyncReplTest, InOneValueTheIdentifierIsSoughtBeforeTheProvider)
{
    const std::string stored = "provider=\"ldap://srv2\" rid=\"002\"";
    EXPECT_EQ(exists("rid", "002", stored), refusalBy({stored}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, ValuesAreSearchedInTheirOrder)
{
    const std::string byProvider = mainAgreement("003", "ldap://srv2");
    const std::string byRid = mainAgreement("002", "ldap://srv3");
    EXPECT_EQ(exists("provider", "ldap://srv2", byProvider), refusalBy({byProvider, byRid}, "002", "srv2"));
    EXPECT_EQ(exists("rid", "002", byRid), refusalBy({byRid, byProvider}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, KeysAreSoughtAnywhereInAValue)
{
    EXPECT_EQ(exists("rid", "002", "{0} xrid=\"002\"y"), refusalBy({"{0} xrid=\"002\"y"}, "002", "srv2"));
    EXPECT_EQ(exists("provider", "ldap://srv2", "myprovider=\"ldap://srv2\""),
              refusalBy({"myprovider=\"ldap://srv2\""}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, KeysIncludeTheirQuotesAndCase)
{
    const std::vector<std::string> others = {"rid=\"0021\"",
                                             "rid=\"1002\"",
                                             "rid=002",
                                             "rid= \"002\"",
                                             "authcid=\"002\"",
                                             "RID=\"002\"",
                                             "provider=\"ldap://srv2.example.com\"",
                                             "provider=\"ldap://srv2:389\"",
                                             "provider=ldap://srv2",
                                             "provider=\"srv2\"",
                                             "updateref=\"ldap://srv2\"",
                                             "provider=\"ldaps://srv2\"",
                                             "provider=\"ldap://SRV2\"",
                                             "Provider=\"ldap://srv2\""};
    EXPECT_THAT(sentFor("002", "srv2", others), SizeIs(3));
    EXPECT_THAT(sentFor("1", "srv2", {mainAgreement("001", "ldap://srv3")}), SizeIs(3)) << "1 is not 001";
}

TEST_F(AddSyncReplTest, PercentSignsOfAStoredValueAreToldAsTheyAre)
{
    const std::string stored = "rid=\"002\" 100%s %n";
    EXPECT_EQ(exists("rid", "002", stored), refusalBy({stored}, "002", "srv2"));
}

TEST_F(AddSyncReplTest, OtherAgreementsAndAMissingDatabaseAreNoHindrance)
{
    EXPECT_THAT(sentFor("002", "srv2.example.com", {mainAgreement("001", "ldap://srv1"), ""}),
                ElementsAre(searched(), addedToMain(main), addedToConfig(config)));
    responder.clear();
    responder.always(Operation::Search, Answer());
    EXPECT_EQ(Caught(), adding("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), addedToMain(main), addedToConfig(config)));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(AddSyncReplTest, ARefusalOfTheMainDatabaseIsPassedOnAndEndsIt)
{
    responder.onModify(Answer().result(20, "words"));
    EXPECT_EQ(refusedChange("olcSyncrepl", mainDatabase, main, 20, "words"),
              adding("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), addedToMain(main)));
}

TEST_F(AddSyncReplTest, ARefusalOfTheConfigurationDatabaseIsToldToTheLetterAndTheFirstStepStays)
{
    responder.onModify(Answer());
    responder.onModify(Answer().result(20, "modify/add: olcMirrorMode: value #0 already exists"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on modifying attribute 'olcSyncrepl' of dn "
                          "'olcDatabase={0}config,cn=config' to value 'rid=\"002\" "
                          "provider=\"ldap://srv2.example.com\" bindmethod=sasl saslmech=gssapi "
                          "authcid=\"kvrd/srv1.home.example\" searchbase=\"cn=config\" "
                          "type=refreshAndPersist retry=\"60 +\"' - Type or value exists",
                          "KVRLdapConnectionReplication.cpp:LINE(AddSyncRepl)",
                          "modify/add: olcMirrorMode: value #0 already exists"),
              adding("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), addedToMain(main), addedToConfig(config)));
}

TEST_F(AddSyncReplTest, EveryOtherCodeOfTheConfigurationDatabaseIsToldWithTheAgreement)
{
    for (int code = 1; code <= 123; code++)
    {
        if (code >= 47 && code <= 50)
        {
            continue;
        }
        responder.onModify(Answer());
        responder.onModify(Answer().result(code, "words"));
        EXPECT_EQ(refusedInConfig(config, code, "words"), adding("002", "srv2.example.com")) << code;
    }
}

TEST_F(AddSyncReplTest, ALostServerIsToldWithTheAgreement)
{
    responder.onModify(Answer());
    responder.onModify(Answer().drop());
    EXPECT_EQ(refusedInConfig(config, -1), adding("002", "srv2.example.com"));
}

TEST_F(AddSyncReplTest, Codes47To50OfEitherDatabaseBecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), adding("002", "srv2.example.com")) << code;
        responder.onModify(Answer());
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), adding("002", "srv2.example.com")) << code;
    }
    EXPECT_THAT(responder.requests(Operation::Modify), SizeIs(12));
}

TEST_F(AddSyncReplTest, AFailureToReadTheAgreementsIsPassedOnAndNothingIsChanged)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), adding("002", "srv2.example.com"));
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("Operations error", "words"), adding("002", "srv2.example.com"));
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), adding("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), searched(), searched()));
}

TEST_F(AddSyncReplTest, WithoutASessionTheHostIsNotAsked)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), adding("", ""));
    EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(AddSyncReplTest, AFailureOfTheHostIsPassedOnAndNothingIsChanged)
{
    for (const std::string operation : {"GetParameter", "GetHostName", "GetServerHost"})
    {
        host.throwFrom(operation);
        EXPECT_EQ((Caught{typeid(std::runtime_error), operation, "", ""}), adding("", ""));
        host.throwFromNothing();
    }
    EXPECT_THAT(responder.operations(), Each(Operation::Search));
}

class AddSyncReplConversionTest : public AddSyncReplTest
{
protected:
    void SetUp() override
    {
        AddSyncReplTest::SetUp();
        host.parameters["KVRD_USER"] = "d\xe4mon";
    }

    static std::string text(const std::string& user, const std::string& base)
    {
        return "rid=\"002\" provider=\"ldap://srv2\" bindmethod=sasl saslmech=gssapi authcid=\"" + user +
               "/srv1.home.example\" searchbase=\"" + base + "\" type=refreshAndPersist retry=\"60 +\"";
    }
};

TEST_F(AddSyncReplConversionTest, BothAgreementsAreConvertedOnce)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(sentFor("002", "srv2"),
                ElementsAre(searched(), addedToMain(text("d\xc3\xa4mon", "dc=home,dc=example")),
                            addedToConfig(text("d\xc3\xa4mon", "cn=config"))));
}

TEST_F(AddSyncReplConversionTest, WithoutAConversionBothAreSentAsTheyAre)
{
    EXPECT_THAT(sentFor("002", "srv2"),
                ElementsAre(searched(), addedToMain(text("d\xe4mon", "dc=home,dc=example")),
                            addedToConfig(text("d\xe4mon", "cn=config"))));
}

TEST_F(AddSyncReplConversionTest, ARefusalTellsTheAgreementAsItWasBeforeTheConversion)
{
    connectIn("ISO-8859-1");
    responder.onModify(Answer());
    responder.onModify(Answer().result(20));
    EXPECT_EQ(refusedInConfig(text("d\xe4mon", "cn=config"), 20), adding("002", "srv2"));
}

TEST_F(AddSyncReplConversionTest, AFailedConversionKeepsItsOwnErrorAndChangesNothing)
{
    connectIn("ASCII");
    EXPECT_EQ(conversionFailure(), adding("002", "srv2"));
    EXPECT_THAT(sent(), ElementsAre(searched()));
}

TEST_F(AddSyncReplConversionTest, StoredValuesAreComparedInTheLocalCharacterSet)
{
    connectIn("ISO-8859-1");
    EXPECT_EQ(exists("provider", "ldap://m\xfcller", "provider=\"ldap://m\xfcller\""),
              refusalBy({"provider=\"ldap://m\xc3\xbcller\""}, "002", "m\xfcller"));
}

TEST_F(AddSyncReplConversionTest, OnlyTheAgreementOfTheDirectChangeIsConvertedByTheOperationItself)
{
    connectPartner("ISO-8859-1");
    partner.listed = Texts();
    partner.AddSyncRepl("002", "srv2");
    EXPECT_THAT(partner.calls,
                ElementsAre("EnumerateSyncRepls",
                            "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcSyncrepl '" +
                                text("d\xe4mon", "dc=home,dc=example") + "' 43",
                            "LocalToUtf8 " + text("d\xe4mon", "cn=config")));
    EXPECT_THAT(sent(), ElementsAre(addedToConfig("utf-8 " + text("d\xe4mon", "cn=config"))));
}

TEST_F(AddSyncReplTest, OverridingOperationsAreCalledInOrder)
{
    connectPartner();
    partner.listed = Texts{"other"};
    partner.AddSyncRepl("002", "srv2.example.com");
    EXPECT_THAT(partner.calls, ElementsAre("EnumerateSyncRepls", "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE
                                                                 ",cn=config olcSyncrepl '" +
                                                                     main + "' 43"));
    EXPECT_THAT(sent(), ElementsAre(addedToConfig(config)));
}

TEST_F(AddSyncReplTest, NoOverridingChangeIsCalledWhenTheAgreementExists)
{
    connectPartner();
    partner.listed = Texts{"rid=\"002\""};
    EXPECT_EQ(exists("rid", "002", "rid=\"002\""), caught([&] { partner.AddSyncRepl("002", "srv2"); }));
    EXPECT_THAT(partner.calls, ElementsAre("EnumerateSyncRepls"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AddSyncReplTest, ARefusalOfAnOverridingChangeIsPassedOnAndEndsIt)
{
    connectPartner();
    partner.listed = Texts();
    partner.refuses = true;
    EXPECT_EQ(checkError("refused"), caught([&] { partner.AddSyncRepl("002", "srv2"); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

} // namespace

} // namespace KVR
