#include "ProviderTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr char suffix[] = "dc=example,dc=com";

class UpdateLdapProviderTest : public ProviderTest
{
protected:
    Caught updating(const std::string& domain, const std::string& uri)
    {
        return caught([&] { connection.UpdateLdapProvider(domain, uri); });
    }

    /** The requests of an update of both databases. */
    std::vector<std::string> sentFor(const std::string& uri)
    {
        responder.clear();
        hasBoth();
        EXPECT_EQ(Caught(), updating("example.com", uri));
        return sent();
    }

    /** Lets the next two searches find the two databases. */
    void hasBoth()
    {
        responder.onSearch(chain("{0}ldap", suffix));
        responder.onSearch(rootDatabase("{2}ldap", suffix));
    }

    static std::string chainModified(const std::string& name, const std::string& uri)
    {
        return "modify olcDatabase=" + name +
               ",olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config 2 olcDbURI '" + uri + "'";
    }

    static std::string proxyModified(const std::string& name, const std::string& uri)
    {
        return "modify olcDatabase=" + name + ",cn=config 2 olcDbURI '" + uri + "'";
    }

    static Caught noDatabase()
    {
        return plainError("LDAP database for suffix 'dc=example,dc=com' not found.");
    }

    static Caught refusal(const std::string& dn, int code, const std::string& details = "")
    {
        return refusedEntry("modifying", "UpdateDN", dn, code, details);
    }
};

TEST_F(UpdateLdapProviderTest, BothDatabasesAreSearchedAndChangedInTurn)
{
    EXPECT_THAT(
        sentFor("ldap://new.example.com"),
        ElementsAre(
            "search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for olcDatabase olcSuffix",
            "modify olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
            "2 olcDbURI 'ldap://new.example.com'",
            "search cn=config scope 1 (&(objectClass=*)(olcSuffix=dc=example,dc=com)) for olcDatabase "
            "olcSuffix",
            "modify olcDatabase={2}ldap,cn=config 2 olcDbURI 'ldap://new.example.com'"));
    EXPECT_EQ(0, library.unfreedResults());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UpdateLdapProviderTest, TheSchemeIsPutInFrontUnlessItIsSomewhereInTheUri)
{
    const std::pair<std::string, std::string> uris[] = {{"srv", "ldap://srv"},
                                                        {"ldap://srv", "ldap://srv"},
                                                        {"ldaps://srv", "ldap://ldaps://srv"},
                                                        {"x ldap://srv", "x ldap://srv"},
                                                        {"LDAP://srv", "ldap://LDAP://srv"},
                                                        {"", "ldap://"}};
    for (const auto& [given, written] : uris)
    {
        EXPECT_THAT(sentFor(given), ElementsAre(chainSearched(suffix), chainModified("{0}ldap", written),
                                                databaseSearched(suffix), proxyModified("{2}ldap", written)));
    }
}

TEST_F(UpdateLdapProviderTest, DnsAreMadeOfTheStoredNamesNotTakenFromTheEntries)
{
    responder.onSearch(Answer().entry("cn=x", {{"olcDatabase", {"{7}ldap"}}}));
    responder.onSearch(Answer().entry("cn=y", {{"olcDatabase", {"{8}hdb"}}}));
    EXPECT_EQ(Caught(), updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("{7}ldap", "ldap://srv"),
                                    databaseSearched(suffix), proxyModified("{8}hdb", "ldap://srv")));
}

TEST_F(UpdateLdapProviderTest, OfSeveralEntriesTheFirstIsChanged)
{
    responder.onSearch(
        Answer().entry("cn=x", {{"olcDatabase", {"{1}ldap"}}}).entry("cn=y", {{"olcDatabase", {"{0}ldap"}}}));
    responder.onSearch(
        Answer().entry("cn=x", {{"olcDatabase", {"{4}ldap"}}}).entry("cn=y", {{"olcDatabase", {"{3}ldap"}}}));
    EXPECT_EQ(Caught(), updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("{1}ldap", "ldap://srv"),
                                    databaseSearched(suffix), proxyModified("{4}ldap", "ldap://srv")));
}

TEST_F(UpdateLdapProviderTest, AMissingNameIsLoggedAndTakenAsEmpty)
{
    responder.onSearch(Answer().entry("cn=x"));
    responder.onSearch(rootDatabase("{2}ldap", suffix));
    EXPECT_EQ(Caught(), updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("", "ldap://srv"),
                                    databaseSearched(suffix), proxyModified("{2}ldap", "ldap://srv")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcDatabase' not found")));
}

TEST_F(UpdateLdapProviderTest, TheNameOfTheChainDatabaseIsNotUsedForTheOther)
{
    responder.onSearch(chain("{0}ldap", suffix));
    responder.onSearch(Answer().entry("cn=y"));
    EXPECT_EQ(Caught(), updating("example.com", "srv"));
    EXPECT_EQ(proxyModified("", "ldap://srv"), sent().back());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcDatabase' not found")));
}

TEST_F(UpdateLdapProviderTest, AnUnknownDomainIsToldWithItsSuffixAndNothingIsChanged)
{
    EXPECT_EQ(plainError("LDAP provider for suffix 'dc=unknown,dc=org' not found."),
              updating("unknown.org", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=unknown,dc=org")));
}

TEST_F(UpdateLdapProviderTest, WithoutADatabaseBelowTheRootOnlyTheChainDatabaseIsChanged)
{
    responder.onSearch(chain("{0}ldap", suffix));
    EXPECT_EQ(plainError("LDAP database for suffix 'dc=example,dc=com' not found."),
              updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("{0}ldap", "ldap://srv"),
                                    databaseSearched(suffix)));
}

TEST_F(UpdateLdapProviderTest, AMissingOverlayIsInsufficientAccessWithoutASecondSearch)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix)));
}

TEST_F(UpdateLdapProviderTest, AHiddenRootIsInsufficientAccessAfterTheFirstChange)
{
    responder.onSearch(chain("{0}ldap", suffix));
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("{0}ldap", "ldap://srv"),
                                    databaseSearched(suffix)));
}

TEST_F(UpdateLdapProviderTest, ARefusedSearchIsPassedOn)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com))",
                            1, "words"),
              updating("example.com", "srv"));
    responder.onSearch(chain("{0}ldap", suffix));
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("cn=config (&(objectClass=*)(olcSuffix=dc=example,dc=com))", 1, "words"),
              updating("example.com", "srv"));
}

TEST_F(UpdateLdapProviderTest, ARefusedFirstChangeEndsIt)
{
    hasBoth();
    responder.onModify(Answer().result(53, "words"));
    EXPECT_EQ(
        refusal("olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config", 53, "words"),
        updating("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), chainModified("{0}ldap", "ldap://srv")));
}

TEST_F(UpdateLdapProviderTest, ARefusedSecondChangeLeavesTheFirstDone)
{
    hasBoth();
    responder.onModify(Answer());
    responder.onModify(Answer().result(53, "words"));
    EXPECT_EQ(refusal("olcDatabase={2}ldap,cn=config", 53, "words"), updating("example.com", "srv"));
    EXPECT_THAT(responder.requests(), SizeIs(4));
}

TEST_F(UpdateLdapProviderTest, Codes47To50OfEitherChangeBecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(chain("{0}ldap", suffix));
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), updating("example.com", "srv")) << code;
        hasBoth();
        responder.onModify(Answer());
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), updating("example.com", "srv")) << code;
    }
}

TEST_F(UpdateLdapProviderTest, SpecialCharactersAreEscapedInBothFilters)
{
    responder.onSearch(chain("{0}ldap", "dc=*"));
    EXPECT_EQ(plainError("LDAP database for suffix 'dc=*' not found."), updating("*", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=\\2a"), chainModified("{0}ldap", "ldap://srv"),
                                    databaseSearched("dc=\\2a")));
    responder.clear();
    EXPECT_EQ(noProvider("dc=a)(b"), updating("a)(b", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=a\\29\\28b")));
}

TEST_F(UpdateLdapProviderTest, TheUriIsConvertedOnce)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(sentFor("m\xfcller"),
                ElementsAre(chainSearched(suffix), chainModified("{0}ldap", "ldap://m\xc3\xbcller"),
                            databaseSearched(suffix), proxyModified("{2}ldap", "ldap://m\xc3\xbcller")));
}

TEST_F(UpdateLdapProviderTest, WithoutASessionIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), updating("example.com", "srv"));
}

TEST_F(UpdateLdapProviderTest, OverridingOperationsAreCalledInOrder)
{
    connectPartner();
    partner.results.emplace_back(MadeResult{{madeChain("{0}ldap", suffix), madeChain("{1}ldap", suffix)}});
    partner.results.emplace_back(
        MadeResult{{madeDatabase("{2}ldap", suffix), madeDatabase("{3}ldap", suffix)}});
    partner.UpdateLdapProvider("example.com", "srv");
    EXPECT_THAT(
        called(),
        ElementsAre(
            "Search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for olcDatabase olcSuffix",
            "First", "Fetch", "ValByAttr olcDatabase",
            "UpdateDN olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
            "=olcDbURI 'ldap://srv'",
            "Search cn=config scope 1 (&(objectClass=*)(olcSuffix=dc=example,dc=com)) for "
            "olcDatabase olcSuffix",
            "First", "Fetch", "ValByAttr olcDatabase",
            "UpdateDN olcDatabase={2}ldap,cn=config =olcDbURI 'ldap://srv'"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateLdapProviderTest, OverridingSearchesWithoutAQueryAreInsufficientAccess)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.UpdateLdapProvider("example.com", "srv"); }));
    EXPECT_THAT(partner.calls, SizeIs(1));
    partner.results.emplace_back(MadeResult{{madeChain("{0}ldap", suffix)}});
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.UpdateLdapProvider("example.com", "srv"); }));
}

TEST_F(UpdateLdapProviderTest, AResultThatIsOverBeforeItsFirstEntryIsNoDatabase)
{
    connectPartner();
    partner.results.emplace_back(MadeResult{{madeChain("{0}ldap", suffix)}});
    EXPECT_EQ(noDatabase(), caught([&] { partner.UpdateLdapProvider("example.com", "srv"); }));
}

class DeleteLdapProviderTest : public ProviderTest
{
protected:
    Caught deleting(const std::string& domain)
    {
        return caught([&] { connection.DeleteLdapProvider(domain); });
    }

    /** What a deletion sends for one entry without entries below. */
    static std::string lookedBelow(const std::string& dn)
    {
        return "search " + dn + " scope 3 (objectClass=*) for cn";
    }

    static Caught refusal(const std::string& dn, int code, const std::string& details = "")
    {
        return refusedEntry("deleting", "DeleteDN", dn, code, details);
    }

    const std::string chainFilter = "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com))";
    const std::string databaseFilter = "(&(objectClass=*)(olcSuffix=dc=example,dc=com))";

    /** Answers the searches by their filters; what is not told is found without entries. */
    void has(const Answer& chains, const Answer& databases)
    {
        responder.handle(Operation::Search,
                         [this, chains, databases](const LdapRequest& request)
                         {
                             if (request.search.filter == chainFilter)
                             {
                                 return chains;
                             }
                             return request.search.filter == databaseFilter ? databases : Answer();
                         });
    }
};

TEST_F(DeleteLdapProviderTest, ChainDatabasesThenDatabasesBelowTheRootAreDeleted)
{
    has(Answer().entry("cn=chain 1").entry("cn=chain 2"), Answer().entry("cn=proxy 1").entry("cn=proxy 2"));
    EXPECT_EQ(Caught(), deleting("example.com"));
    EXPECT_THAT(
        sent(),
        ElementsAre(
            "search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for olcDatabase olcSuffix",
            lookedBelow("cn=chain 1"), "delete cn=chain 1", lookedBelow("cn=chain 2"), "delete cn=chain 2",
            "search cn=config scope 1 (&(objectClass=*)(olcSuffix=dc=example,dc=com)) for olcDatabase "
            "olcSuffix",
            lookedBelow("cn=proxy 1"), "delete cn=proxy 1", lookedBelow("cn=proxy 2"), "delete cn=proxy 2"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(DeleteLdapProviderTest, DnsAreThoseOfTheEntriesNotMadeOfTheStoredNames)
{
    has(Answer().entry("cn=x", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {suffix}}}), Answer());
    EXPECT_EQ(Caught(), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), lookedBelow("cn=x"), "delete cn=x",
                                    databaseSearched(suffix)));
}

TEST_F(DeleteLdapProviderTest, AnyDatabaseBelowTheRootWithTheSuffixIsDeletedEvenWithoutAChainDatabase)
{
    has(Answer(), Answer().entry("olcDatabase={1}hdb,cn=config",
                                 {{"olcDatabase", {"{1}hdb"}}, {"olcSuffix", {suffix, "dc=other"}}}));
    EXPECT_EQ(Caught(), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), databaseSearched(suffix),
                                    lookedBelow("olcDatabase={1}hdb,cn=config"),
                                    "delete olcDatabase={1}hdb,cn=config"));
}

TEST_F(DeleteLdapProviderTest, EntriesBelowADatabaseAreDeletedWithIt)
{
    responder.onSearch(Answer().entry("cn=x"));
    responder.onSearch(Answer().entry("cn=overlay,cn=x"));
    EXPECT_EQ(Caught(), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), lookedBelow("cn=x"), "delete cn=overlay,cn=x",
                                    "delete cn=x", databaseSearched(suffix)));
}

TEST_F(DeleteLdapProviderTest, AnUnknownDomainIsNoError)
{
    EXPECT_EQ(Caught(), deleting("unknown.org"));
    EXPECT_THAT(sent(),
                ElementsAre(chainSearched("dc=unknown,dc=org"), databaseSearched("dc=unknown,dc=org")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DeleteLdapProviderTest, TheOwnDomainIsRefusedAndNothingIsSent)
{
    EXPECT_EQ(plainError("KVR domain backend can't be deleted!"), deleting("home.example"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(DeleteLdapProviderTest, OnlyTheOwnDomainToTheLetterIsRefused)
{
    for (const std::string domain : {"HOME.example", "sub.home.example", "home.example.com", "home"})
    {
        EXPECT_EQ(Caught(), deleting(domain)) << domain;
    }
    EXPECT_THAT(responder.requests(), SizeIs(8));
}

TEST_F(DeleteLdapProviderTest, WithoutASessionTheOwnDomainIsNotLookedAt)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), deleting("home.example"));
    EXPECT_EQ(notConnected(), deleting("example.com"));
    EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(DeleteLdapProviderTest, SpecialCharactersAreEscapedInBothFilters)
{
    EXPECT_EQ(Caught(), deleting("*"));
    EXPECT_EQ(Caught(), deleting("a)(b"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=\\2a"), databaseSearched("dc=\\2a"),
                                    chainSearched("dc=a\\29\\28b"), databaseSearched("dc=a\\29\\28b")));
}

TEST_F(DeleteLdapProviderTest, PercentSignsAreCharactersLikeOthers)
{
    EXPECT_EQ(Caught(), deleting("%s%n"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=%s%n"), databaseSearched("dc=%s%n")));
}

TEST_F(DeleteLdapProviderTest, AMissingOverlayIsInsufficientAccessWithoutASecondSearch)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix)));
}

TEST_F(DeleteLdapProviderTest, AHiddenRootIsInsufficientAccessAfterTheFirstDeletions)
{
    has(Answer().entry("cn=x"), Answer().result(32));
    EXPECT_EQ(noQuery(), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), lookedBelow("cn=x"), "delete cn=x",
                                    databaseSearched(suffix)));
}

TEST_F(DeleteLdapProviderTest, ARefusedSearchIsPassedOn)
{
    has(Answer().result(1, "words"), Answer());
    EXPECT_EQ(
        refusedSearch("olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config " + chainFilter, 1, "words"),
        deleting("example.com"));
    has(Answer(), Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("cn=config " + databaseFilter, 1, "words"), deleting("example.com"));
    for (int code = 47; code <= 50; code++)
    {
        has(Answer().result(code), Answer());
        EXPECT_EQ(accessError(code), deleting("example.com")) << code;
    }
}

TEST_F(DeleteLdapProviderTest, ARefusedDeletionEndsItAndWhatIsDeletedStaysDeleted)
{
    has(Answer().entry("cn=a").entry("cn=b").entry("cn=c"), Answer().entry("cn=d"));
    responder.onDelete(Answer());
    responder.onDelete(Answer().result(53, "words"));
    EXPECT_EQ(refusal("cn=b", 53, "words"), deleting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched(suffix), lookedBelow("cn=a"), "delete cn=a",
                                    lookedBelow("cn=b"), "delete cn=b"));
}

TEST_F(DeleteLdapProviderTest, ARefusedDeletionBelowTheRootLeavesTheChainDatabaseDeleted)
{
    has(Answer().entry("cn=a"), Answer().entry("cn=d"));
    responder.onDelete(Answer());
    responder.onDelete(Answer().result(53, "words"));
    EXPECT_EQ(refusal("cn=d", 53, "words"), deleting("example.com"));
    EXPECT_THAT(responder.requests(Operation::Delete), SizeIs(2));
}

TEST_F(DeleteLdapProviderTest, Codes47To50OfEitherDeletionBecomeInsufficientAccess)
{
    has(Answer().entry("cn=a"), Answer().entry("cn=d"));
    for (int code = 47; code <= 50; code++)
    {
        responder.onDelete(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), deleting("example.com")) << code;
        responder.onDelete(Answer());
        responder.onDelete(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), deleting("example.com")) << code;
    }
}

TEST_F(DeleteLdapProviderTest, OverridingOperationsAreCalledInOrder)
{
    connectPartner();
    partner.results.emplace_back(MadeResult{{MadeEntry{"cn=a", {}}, MadeEntry{"cn=b", {}}}});
    partner.results.emplace_back(MadeResult{{MadeEntry{"cn=c", {}}}});
    partner.DeleteLdapProvider("example.com");
    EXPECT_THAT(
        called(),
        ElementsAre(
            "Search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for olcDatabase olcSuffix",
            "First", "Fetch", "DeleteDN cn=a", "Fetch", "DeleteDN cn=b", "Fetch",
            "Search cn=config scope 1 (&(objectClass=*)(olcSuffix=dc=example,dc=com)) for "
            "olcDatabase olcSuffix",
            "First", "Fetch", "DeleteDN cn=c", "Fetch"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(DeleteLdapProviderTest, OverridingSearchesWithoutAQueryAreInsufficientAccess)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.DeleteLdapProvider("example.com"); }));
    EXPECT_THAT(partner.calls, SizeIs(1));
    partner.results.emplace_back(MadeResult());
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.DeleteLdapProvider("example.com"); }));
}

} // namespace

} // namespace KVR
