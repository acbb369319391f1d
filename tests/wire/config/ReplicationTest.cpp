#include "ReplicationTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class EnumerateSyncReplsTest : public ReplicationTest
{
protected:
    Caught enumerating()
    {
        return caught([&] { connection.EnumerateSyncRepls(agreements); });
    }

    Texts agreements{"old"};
};

TEST_F(EnumerateSyncReplsTest, OneSearchForTheMainDatabaseIsSent)
{
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(sent(),
                ElementsAre("search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcSyncrepl"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(EnumerateSyncReplsTest, TheListIsReplacedByTheStoredValuesInTheirOrder)
{
    has({"{0}rid=002 b", "{1}rid=\"001\" a", "whatever it is", ""});
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("{0}rid=002 b", "{1}rid=\"001\" a", "whatever it is", ""));
}

TEST_F(EnumerateSyncReplsTest, WithoutAnEntryTheListKeepsItsContentAndNothingIsLogged)
{
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("old"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EnumerateSyncReplsTest, ADatabaseWithoutAgreementsEmptiesTheListAndNothingIsLogged)
{
    responder.onSearch(Answer().entry(mainDatabase));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EnumerateSyncReplsTest, OtherAttributesOfTheEntryAreNotListed)
{
    responder.onSearch(Answer().entry(
        mainDatabase,
        {{"olcDatabase", {"{1}hdb"}}, {"olcSyncrepl", {"a", "b"}}, {"olcMirrorMode", {"TRUE"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("a", "b"));
}

TEST_F(EnumerateSyncReplsTest, OnlyTheFirstEntryIsRead)
{
    responder.onSearch(Answer()
                           .entry("olcDatabase=" KVR_MAIN_DATABASE ",cn=config", {{"olcSyncrepl", {"a"}}})
                           .entry("olcDatabase=" KVR_MAIN_DATABASE ",cn=other", {{"olcSyncrepl", {"b"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("a"));
    responder.onSearch(Answer()
                           .entry("olcDatabase=" KVR_MAIN_DATABASE ",cn=config")
                           .entry("olcDatabase=" KVR_MAIN_DATABASE ",cn=other", {{"olcSyncrepl", {"b"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, IsEmpty());
}

TEST_F(EnumerateSyncReplsTest, ValuesAreConverted)
{
    connectIn("ISO-8859-1");
    has({"rid=\"\xc3\xa4\""});
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("rid=\"\xe4\""));
}

TEST_F(EnumerateSyncReplsTest, WithoutASessionTheListKeepsItsContent)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("old"));
}

TEST_F(EnumerateSyncReplsTest, AMissingBaseIsInsufficientAccessAndNoSecondSearchIsSent)
{
    responder.onSearch(Answer().result(32, "words"));
    EXPECT_EQ(noQuery(), enumerating());
    EXPECT_THAT(agreements, ElementsAre("old"));
    EXPECT_THAT(sent(), ElementsAre(searched()));
}

TEST_F(EnumerateSyncReplsTest, ARefusedSearchIsPassedOn)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("Operations error", "words"), enumerating());
    EXPECT_THAT(agreements, ElementsAre("old"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(EnumerateSyncReplsTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), enumerating()) << code;
    }
    EXPECT_THAT(agreements, ElementsAre("old"));
}

TEST_F(EnumerateSyncReplsTest, OverridingSearchAndItsQueryAndEntityAreCalled)
{
    connectPartner();
    partner.results.emplace_back(
        MadeResult{{{mainDatabase, {{"olcSyncrepl", "a"}}}, {"cn=other", {{"olcSyncrepl", "b"}}}}});
    partner.EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements, ElementsAre("a"));
    EXPECT_THAT(called(),
                ElementsAre("Search cn=config scope 2 olcDatabase=" KVR_MAIN_DATABASE " for olcSyncrepl",
                            "First", "Fetch", "ValsByAttr olcSyncrepl quiet"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(EnumerateSyncReplsTest, AnOverridingSearchWithoutAQueryIsInsufficientAccess)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.EnumerateSyncRepls(agreements); }));
    EXPECT_THAT(agreements, ElementsAre("old"));
    EXPECT_THAT(called(), SizeIs(1));
}

TEST_F(EnumerateSyncReplsTest, AnOverridingSearchIsNotCalledWithoutASession)
{
    EXPECT_EQ(notConnected(), caught([&] { partner.EnumerateSyncRepls(agreements); }));
    EXPECT_THAT(partner.calls, IsEmpty());
}

class DeleteSyncReplTest : public ReplicationTest
{
protected:
    Caught deleting(const std::string& rid, const std::string& provider)
    {
        return caught([&] { connection.DeleteSyncRepl(rid, provider); });
    }

    /** The main database has one agreement with identifier 002 and srv2. */
    void hasAgreement() { has({stored}); }

    const std::string stored = mainAgreement("002", "ldap://srv2.example.com");
    const std::string rebuilt = configAgreement("002", "ldap://srv2.example.com");
};

TEST_F(DeleteSyncReplTest, BothAgreementsThenMirrorModeAreDeletedToTheLetter)
{
    const std::string inMain =
        "rid=\"002\" provider=\"ldap://srv2.example.com\" bindmethod=sasl saslmech=gssapi "
        "authcid=\"kvrd/srv1.home.example\" searchbase=\"dc=home,dc=example\" type=refreshAndPersist "
        "retry=\"60 +\"";
    const std::string inConfig =
        "rid=\"002\" provider=\"ldap://srv2.example.com\" bindmethod=sasl saslmech=gssapi "
        "authcid=\"kvrd/srv1.home.example\" searchbase=\"cn=config\" type=refreshAndPersist retry=\"60 +\"";
    has({inMain});
    EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
    EXPECT_THAT(
        sent(),
        ElementsAre("search cn=config scope 2 (olcDatabase=" KVR_MAIN_DATABASE ") for olcSyncrepl",
                    "modify olcDatabase=" KVR_MAIN_DATABASE ",cn=config 1 olcSyncrepl '" + inMain + "'",
                    "modify olcDatabase={0}config,cn=config 1 olcSyncrepl '" + inConfig + "'",
                    "modify olcDatabase={0}config,cn=config 1 olcMirrorMode"));
}

TEST_F(DeleteSyncReplTest, MirrorModeIsDeletedWithoutAListOfValues)
{
    hasAgreement();
    EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
    ASSERT_THAT(library.modifies, SizeIs(3));
    EXPECT_THAT(library.modifies[0].changes, ElementsAre(Change{1, "olcSyncrepl", true}));
    EXPECT_THAT(library.modifies[1].changes, ElementsAre(Change{1, "olcSyncrepl", true}));
    EXPECT_THAT(library.modifies[2].changes, ElementsAre(Change{1, "olcMirrorMode", false}));
}

TEST_F(DeleteSyncReplTest, EmptyArgumentsMeanIdentifier001AndTheHostsServer)
{
    has({mainAgreement("001", "ldap://main.home.example")});
    EXPECT_EQ(Caught(), deleting("", ""));
    EXPECT_THAT(sent(),
                ElementsAre(searched(), deletedFromMain(mainAgreement("001", "ldap://main.home.example")),
                            deletedFromConfig(configAgreement("001", "ldap://main.home.example")),
                            mirrorModeDeleted()));
}

TEST_F(DeleteSyncReplTest, TheStoredValueIsDeletedAsItIsAndTheOtherOneIsRebuilt)
{
    const std::string old = "{3}provider=\"ldap://srv2.example.com\" starttls=yes  rid=\"002\" retry=\"5 5\"";
    has({old});
    EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), deletedFromMain(old), deletedFromConfig(rebuilt),
                                    mirrorModeDeleted()));
}

TEST_F(DeleteSyncReplTest, TheFirstValueWithBothKeysIsDeletedAndMirrorModeGoesThoughOthersRemain)
{
    const std::string first = "a rid=\"002\" provider=\"ldap://srv2.example.com\"";
    has({mainAgreement("002", "ldap://srv3.example.com"), mainAgreement("003", "ldap://srv2.example.com"),
         first, stored});
    EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), deletedFromMain(first), deletedFromConfig(rebuilt),
                                    mirrorModeDeleted()));
}

TEST_F(DeleteSyncReplTest, WithoutBothKeysInOneValueNothingIsChangedAndNothingThrown)
{
    const std::vector<std::vector<std::string>> contents = {
        {},
        {""},
        {mainAgreement("002", "ldap://srv3.example.com")},
        {mainAgreement("003", "ldap://srv2.example.com")},
        {mainAgreement("002", "ldap://srv3.example.com"), mainAgreement("003", "ldap://srv2.example.com")},
        {"rid=002 provider=\"ldap://srv2.example.com\""},
        {"rid=\"0022\" provider=\"ldap://srv2.example.com\""},
        {"authcid=\"002\" provider=\"ldap://srv2.example.com\""},
        {"rid=\"1002\" provider=\"ldap://srv2.example.com\""},
        {"RID=\"002\" provider=\"ldap://srv2.example.com\""},
        {"rid=\"002\" provider=ldap://srv2.example.com"},
        {"rid=\"002\" provider=\"srv2.example.com\""},
        {"rid=\"002\" provider=\"ldap://srv2.example.com:389\""},
        {"rid=\"002\" provider=\"ldap://SRV2.example.com\""},
        {"rid=\"002\" provider=\"ldaps://srv2.example.com\""}};
    for (const auto& content : contents)
    {
        responder.clear();
        has(content);
        EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
        EXPECT_THAT(sent(), ElementsAre(searched())) << ::testing::PrintToString(content);
    }
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DeleteSyncReplTest, WithoutAMainDatabaseNothingIsChangedAndNothingThrown)
{
    EXPECT_EQ(Caught(), deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched()));
}

TEST_F(DeleteSyncReplTest, ARefusedFirstDeletionEndsIt)
{
    hasAgreement();
    responder.onModify(Answer().result(16, "words"));
    EXPECT_EQ(refusedChange("olcSyncrepl", mainDatabase, stored, 16, "words"),
              deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), deletedFromMain(stored)));
}

TEST_F(DeleteSyncReplTest, ARefusedSecondDeletionLeavesTheFirstDoneAndMirrorModeAlone)
{
    hasAgreement();
    responder.onModify(Answer());
    responder.onModify(Answer().result(16, "words"));
    EXPECT_EQ(refusedChange("olcSyncrepl", configDatabase, rebuilt, 16, "words"),
              deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), deletedFromMain(stored), deletedFromConfig(rebuilt)));
}

TEST_F(DeleteSyncReplTest, ARefusalToSwitchMirrorModeOffIsTheOneOfDeleteAttr)
{
    hasAgreement();
    responder.onModify(Answer());
    responder.onModify(Answer());
    responder.onModify(Answer().result(16, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on deleting attribute 'olcMirrorMode' of dn "
                          "'olcDatabase={0}config,cn=config' - No such attribute",
                          "KVRLdapConnectionAttribute.cpp:LINE(DeleteAttr)", "words"),
              deleting("002", "srv2.example.com"));
    EXPECT_THAT(responder.requests(), SizeIs(4));
}

TEST_F(DeleteSyncReplTest, Codes47To50OfAnyStepBecomeInsufficientAccess)
{
    hasAgreement();
    for (std::size_t done = 0; done < 3; done++)
    {
        for (int code = 47; code <= 50; code++)
        {
            responder.clear();
            for (std::size_t i = 0; i < done; i++)
            {
                responder.onModify(Answer());
            }
            responder.onModify(Answer().result(code, "not yours"));
            EXPECT_EQ(accessError(code, "not yours"), deleting("002", "srv2.example.com")) << code;
            EXPECT_THAT(responder.requests(Operation::Modify), SizeIs(done + 1));
        }
    }
}

TEST_F(DeleteSyncReplTest, AFailureToReadTheAgreementsIsPassedOnAndNothingIsChanged)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), deleting("002", "srv2.example.com"));
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("Operations error", "words"), deleting("002", "srv2.example.com"));
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), deleting("002", "srv2.example.com"));
    EXPECT_THAT(sent(), ElementsAre(searched(), searched(), searched()));
}

TEST_F(DeleteSyncReplTest, WithoutASessionTheHostIsNotAsked)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), deleting("", ""));
    EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(DeleteSyncReplTest, KeysAreSoughtInTheLocalCharacterSetAndValuesConvertedBackOnce)
{
    connectIn("ISO-8859-1");
    host.hostName = "srv\xe4";
    has({"rid=\"002\" provider=\"ldap://m\xc3\xbcller\" x"});
    EXPECT_EQ(Caught(), deleting("002", "m\xfcller"));
    EXPECT_THAT(
        sent(),
        ElementsAre(searched(), deletedFromMain("rid=\"002\" provider=\"ldap://m\xc3\xbcller\" x"),
                    deletedFromConfig("rid=\"002\" provider=\"ldap://m\xc3\xbcller\" bindmethod=sasl "
                                      "saslmech=gssapi authcid=\"kvrd/srv\xc3\xa4\" "
                                      "searchbase=\"cn=config\" type=refreshAndPersist retry=\"60 +\""),
                    mirrorModeDeleted()));
}

TEST_F(DeleteSyncReplTest, OverridingOperationsAreCalledInOrder)
{
    connectPartner("ISO-8859-1");
    partner.listed = Texts{"other", stored};
    partner.DeleteSyncRepl("002", "srv2.example.com");
    EXPECT_THAT(partner.calls,
                ElementsAre("EnumerateSyncRepls",
                            "SetAttrValue olcDatabase=" KVR_MAIN_DATABASE ",cn=config olcSyncrepl '" +
                                stored + "' 45",
                            "SetAttrValue olcDatabase={0}config,cn=config olcSyncrepl '" + rebuilt + "' 45",
                            "DeleteAttr olcDatabase={0}config,cn=config olcMirrorMode"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(DeleteSyncReplTest, NoOverridingOperationIsCalledWithoutAMatch)
{
    connectPartner();
    partner.listed = Texts{"other"};
    partner.DeleteSyncRepl("002", "srv2.example.com");
    EXPECT_THAT(partner.calls, ElementsAre("EnumerateSyncRepls"));
}

} // namespace

} // namespace KVR
