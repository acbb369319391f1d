#include "ProviderTest.h"

namespace KVR
{

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

constexpr char newChain[] = "olcDatabase=ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";
constexpr char newProxy[] = "olcDatabase=ldap,cn=config";

class AddLdapProviderTest : public ProviderTest
{
protected:
    Caught adding(const std::string& domain, const std::string& uri)
    {
        return caught([&] { connection.AddLdapProvider(domain, uri, ""); });
    }

    /** The requests of a provider that is added to a server without one. */
    std::vector<std::string> sentFor(const std::string& domain, const std::string& uri,
                                     const std::string& reserved = "")
    {
        responder.clear();
        EXPECT_EQ(Caught(), caught([&] { connection.AddLdapProvider(domain, uri, reserved); }));
        return sent();
    }

    /** Adds to a server with this chain database, which shall get no change. */
    Caught refusalBy(const std::string& suffix)
    {
        responder.onSearch(chain("{0}ldap", suffix));
        const Caught error = adding("example.com", "srv");
        EXPECT_THAT(sent(), ElementsAre(chainsListed()));
        return error;
    }

    static std::string principal() { return "kvrd/srv1.home.example@HOME.EXAMPLE"; }

    /** What both databases have besides their classes, as a request has it. */
    static std::string rest(const std::string& suffix, const std::string& uri, const std::string& principal)
    {
        return " olcDbChaseReferrals 'TRUE' olcDbIDAssertBind 'bindmethod=sasl saslmech=gssapi "
               "binddn=uid=\"" +
               principal + "\"' olcDbRebindAsUser 'FALSE' olcDbURI '" + uri +
               "' olcDbUseTemporaryConn 'FALSE' olcSuffix '" + suffix + "'";
    }

    static std::string chainAdded(const std::string& suffix, const std::string& uri,
                                  const std::string& asserted = principal())
    {
        return std::string("add ") + newChain + " objectClass 'olcLDAPConfig' 'olcChainDatabase'" +
               rest(suffix, uri, asserted);
    }

    static std::string proxyAdded(const std::string& suffix, const std::string& uri,
                                  const std::string& asserted = principal())
    {
        return std::string("add ") + newProxy + " objectClass 'olcLDAPConfig' 'olcDatabaseConfig'" +
               rest(suffix, uri, asserted);
    }
};

TEST_F(AddLdapProviderTest, BothDatabasesAreAddedToTheLetterTheChainOneFirst)
{
    EXPECT_EQ(Caught(), adding("example.com", "srv.example.com"));
    ASSERT_THAT(responder.operations(), ElementsAre(Operation::Search, Operation::Add, Operation::Add));
    const std::vector<LdapRequest> adds = responder.requests(Operation::Add);
    const Attribute common[] = {
        {"olcSuffix", {"dc=example,dc=com"}},
        {"olcDbURI", {"ldap://srv.example.com"}},
        {"olcDbIDAssertBind",
         {"bindmethod=sasl saslmech=gssapi binddn=uid=\"kvrd/srv1.home.example@HOME.EXAMPLE\""}},
        {"olcDbRebindAsUser", {"FALSE"}},
        {"olcDbChaseReferrals", {"TRUE"}},
        {"olcDbUseTemporaryConn", {"FALSE"}}};

    EXPECT_EQ("olcDatabase=ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config", adds[0].dn);
    EXPECT_THAT(adds[0].attributes,
                UnorderedElementsAre(Attribute{"objectClass", {"olcLDAPConfig", "olcChainDatabase"}},
                                     common[0], common[1], common[2], common[3], common[4], common[5]));
    EXPECT_EQ("olcDatabase=ldap,cn=config", adds[1].dn);
    EXPECT_THAT(adds[1].attributes,
                UnorderedElementsAre(Attribute{"objectClass", {"olcLDAPConfig", "olcDatabaseConfig"}},
                                     common[0], common[1], common[2], common[3], common[4], common[5]));
}

TEST_F(AddLdapProviderTest, ProvidersAreListedFirstAndAttributesSentInTheOrderOfTheirNames)
{
    EXPECT_THAT(sentFor("example.com", "srv.example.com"),
                ElementsAre("search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=*)) for olcDatabase olcSuffix",
                            "add olcDatabase=ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
                            "objectClass 'olcLDAPConfig' 'olcChainDatabase' olcDbChaseReferrals 'TRUE' "
                            "olcDbIDAssertBind 'bindmethod=sasl saslmech=gssapi "
                            "binddn=uid=\"kvrd/srv1.home.example@HOME.EXAMPLE\"' olcDbRebindAsUser 'FALSE' "
                            "olcDbURI 'ldap://srv.example.com' olcDbUseTemporaryConn 'FALSE' "
                            "olcSuffix 'dc=example,dc=com'",
                            "add olcDatabase=ldap,cn=config objectClass 'olcLDAPConfig' 'olcDatabaseConfig' "
                            "olcDbChaseReferrals 'TRUE' olcDbIDAssertBind 'bindmethod=sasl saslmech=gssapi "
                            "binddn=uid=\"kvrd/srv1.home.example@HOME.EXAMPLE\"' olcDbRebindAsUser 'FALSE' "
                            "olcDbURI 'ldap://srv.example.com' olcDbUseTemporaryConn 'FALSE' "
                            "olcSuffix 'dc=example,dc=com'"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(AddLdapProviderTest, TheSchemeIsPutInFrontUnlessItIsSomewhereInTheUri)
{
    const std::pair<std::string, std::string> uris[] = {
        {"srv.example.com", "ldap://srv.example.com"},
        {"ldap://srv.example.com", "ldap://srv.example.com"},
        {"ldaps://srv.example.com", "ldap://ldaps://srv.example.com"},
        {"ldaps://a ldap://b", "ldaps://a ldap://b"},
        {"xldap://", "xldap://"},
        {"LDAP://srv", "ldap://LDAP://srv"},
        {"ldap:/srv", "ldap://ldap:/srv"},
        {"", "ldap://"}};
    for (const auto& [given, written] : uris)
    {
        EXPECT_THAT(sentFor("example.com", given),
                    ElementsAre(chainsListed(), chainAdded("dc=example,dc=com", written),
                                proxyAdded("dc=example,dc=com", written)));
    }
}

TEST_F(AddLdapProviderTest, EachLabelOfTheDomainIsAComponentOfTheSuffix)
{
    EXPECT_THAT(sentFor("a.b.example.com", "srv"),
                ElementsAre(chainsListed(), chainAdded("dc=a,dc=b,dc=example,dc=com", "ldap://srv"),
                            proxyAdded("dc=a,dc=b,dc=example,dc=com", "ldap://srv")));
    EXPECT_THAT(sentFor("local", "srv"), ElementsAre(chainsListed(), chainAdded("dc=local", "ldap://srv"),
                                                     proxyAdded("dc=local", "ldap://srv")));
}

TEST_F(AddLdapProviderTest, TheThirdArgumentDoesNotMatter)
{
    const std::vector<std::string> expected = sentFor("example.com", "srv", "");
    EXPECT_THAT(expected, SizeIs(3));
    for (const std::string reserved : {"anything", "ldap://other", "%s"})
    {
        EXPECT_EQ(expected, sentFor("example.com", "srv", reserved));
    }
}

TEST_F(AddLdapProviderTest, OfTheParametersTheUserAndTheRealmAreRead)
{
    sentFor("example.com", "srv");
    EXPECT_THAT(host.calls,
                UnorderedElementsAre("GetParameter KVRD_USER", "GetParameter REALM", "GetHostName"));
}

TEST_F(AddLdapProviderTest, WithoutParametersTheirPlacesAreEmpty)
{
    host.parameters.clear();
    EXPECT_THAT(sentFor("example.com", "srv"),
                ElementsAre(chainsListed(),
                            chainAdded("dc=example,dc=com", "ldap://srv", "/srv1.home.example@"),
                            proxyAdded("dc=example,dc=com", "ldap://srv", "/srv1.home.example@")));
}

TEST_F(AddLdapProviderTest, PercentSignsAreCharactersLikeOthers)
{
    host.parameters = {{"KVRD_USER", "%s"}, {"REALM", "%d"}};
    host.hostName = "%n";
    EXPECT_THAT(sentFor("%s.com", "%s"),
                ElementsAre(chainsListed(), chainAdded("dc=%s,dc=com", "ldap://%s", "%s/%n@%d"),
                            proxyAdded("dc=%s,dc=com", "ldap://%s", "%s/%n@%d")));
}

TEST_F(AddLdapProviderTest, ValuesAreConvertedOnce)
{
    connectIn("ISO-8859-1");
    host.parameters["KVRD_USER"] = "d\xe4mon";
    EXPECT_THAT(sentFor("example.com", "m\xfcller"),
                ElementsAre(chainsListed(),
                            chainAdded("dc=example,dc=com", "ldap://m\xc3\xbcller",
                                       "d\xc3\xa4mon/srv1.home.example@HOME.EXAMPLE"),
                            proxyAdded("dc=example,dc=com", "ldap://m\xc3\xbcller",
                                       "d\xc3\xa4mon/srv1.home.example@HOME.EXAMPLE")));
}

TEST_F(AddLdapProviderTest, TheSameSuffixIsToldAndNothingIsWritten)
{
    EXPECT_EQ(plainError("LDAP provider for suffix 'dc=example,dc=com' already exists."),
              refusalBy("dc=example,dc=com"));
    EXPECT_EQ(0U, host.count("GetParameter"));
}

TEST_F(AddLdapProviderTest, TheSuffixOfAnyProviderCounts)
{
    responder.onSearch(
        Answer()
            .entry("cn=x", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {"dc=a"}}})
            .entry("cn=y", {{"olcDatabase", {"{1}ldap"}}, {"olcSuffix", {"dc=example,dc=com"}}})
            .entry("cn=z", {{"olcDatabase", {"{2}ldap"}}, {"olcSuffix", {"dc=b"}}}));
    EXPECT_EQ(plainError("LDAP provider for suffix 'dc=example,dc=com' already exists."),
              adding("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainsListed()));
}

TEST_F(AddLdapProviderTest, SuffixesAreComparedAsTheyAre)
{
    for (const std::string suffix : {"DC=example,dc=com", "dc=Example,dc=com", "dc=example, dc=com",
                                     "dc=sub,dc=example,dc=com", "dc=com", ""})
    {
        responder.onSearch(chain("{0}ldap", suffix));
        EXPECT_THAT(sentFor("example.com", "srv"), SizeIs(3)) << suffix;
    }
}

TEST_F(AddLdapProviderTest, ADatabaseNamedLikeTheSuffixIsNoProviderOfIt)
{
    responder.onSearch(chain("dc=example,dc=com", "dc=other"));
    EXPECT_THAT(sentFor("example.com", "srv"), SizeIs(3));
}

TEST_F(AddLdapProviderTest, ADatabaseBelowTheRootIsNotLookedFor)
{
    responder.handle(Operation::Search, Support::LdapResponder::byDn(
                                            {{"cn=config", rootDatabase("{2}ldap", "dc=example,dc=com")}}));
    EXPECT_THAT(sentFor("example.com", "srv"),
                ElementsAre(chainsListed(), chainAdded("dc=example,dc=com", "ldap://srv"),
                            proxyAdded("dc=example,dc=com", "ldap://srv")));
}

TEST_F(AddLdapProviderTest, TheOwnDomainIsAddedLikeAnyOther)
{
    EXPECT_THAT(sentFor("home.example", "srv"), SizeIs(3));
}

TEST_F(AddLdapProviderTest, WithoutTheOverlayTheAdditionIsLeftToTheServer)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().entry("cn=config"));
    responder.onAdd(Answer().result(32, "words"));
    EXPECT_EQ(refusedEntry("adding", "AddDN", newChain, 32, "words"), adding("example.com", "srv"));
    EXPECT_THAT(sent(),
                ElementsAre(chainsListed(), rootLookedAt(), chainAdded("dc=example,dc=com", "ldap://srv")));
}

TEST_F(AddLdapProviderTest, AHiddenConfigurationIsInsufficientAccessAndNothingIsWritten)
{
    responder.always(Operation::Search, Answer().result(32));
    EXPECT_EQ(noQuery(), adding("example.com", "srv"));
    EXPECT_THAT(responder.operations(), Each(Operation::Search));
}

TEST_F(AddLdapProviderTest, ARefusedSearchIsPassedOnAndNothingIsWritten)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=*))",
                            1, "words"),
              adding("example.com", "srv"));
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), adding("example.com", "srv"));
    EXPECT_THAT(responder.operations(), Each(Operation::Search));
}

TEST_F(AddLdapProviderTest, ARefusedChainDatabaseEndsIt)
{
    responder.onAdd(Answer().result(53, "words"));
    EXPECT_EQ(refusedEntry("adding", "AddDN", newChain, 53, "words"), adding("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), chainAdded("dc=example,dc=com", "ldap://srv")));
}

TEST_F(AddLdapProviderTest, ARefusedProxyDatabaseLeavesTheChainDatabase)
{
    responder.onAdd(Answer());
    responder.onAdd(Answer().result(68, "words"));
    EXPECT_EQ(refusedEntry("adding", "AddDN", newProxy, 68, "words"), adding("example.com", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), chainAdded("dc=example,dc=com", "ldap://srv"),
                                    proxyAdded("dc=example,dc=com", "ldap://srv")));
}

TEST_F(AddLdapProviderTest, Codes47To50OfEitherAdditionBecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onAdd(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), adding("example.com", "srv")) << code;
        responder.onAdd(Answer());
        responder.onAdd(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), adding("example.com", "srv")) << code;
    }
    EXPECT_THAT(responder.requests(Operation::Add), SizeIs(12));
}

TEST_F(AddLdapProviderTest, ADomainWithoutLabelsCannotBeAdded)
{
    EXPECT_EQ(internalError("Invalid attribute of dn "
                            "'olcDatabase=ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config'",
                            "KVRLdapConnectionEntry.cpp:LINE(AddDN)"),
              adding("", "srv"));
    EXPECT_THAT(sent(), ElementsAre(chainsListed()));
}

TEST_F(AddLdapProviderTest, WithoutASessionTheHostIsNotAsked)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), adding("example.com", "srv"));
    EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(AddLdapProviderTest, AFailureOfTheHostIsPassedOnAndNothingIsWritten)
{
    for (const std::string operation : {"GetParameter", "GetHostName"})
    {
        host.throwFrom(operation);
        EXPECT_EQ((Caught{typeid(std::runtime_error), operation, "", ""}), adding("example.com", "srv"));
        host.throwFromNothing();
    }
    EXPECT_THAT(responder.operations(), Each(Operation::Search));
}

TEST_F(AddLdapProviderTest, OverridingOperationsAreCalledInOrder)
{
    const std::string made = " olcDbChaseReferrals 'TRUE' olcDbIDAssertBind 'bindmethod=sasl saslmech=gssapi "
                             "binddn=uid=\"kvrd/srv1.home.example@HOME.EXAMPLE\"' olcDbRebindAsUser 'FALSE' "
                             "olcDbURI 'ldap://srv' olcDbUseTemporaryConn 'FALSE' "
                             "olcSuffix 'dc=example,dc=com'";
    connectPartner("ISO-8859-1");
    partner.mapped = TextMap{{"{0}ldap", "dc=other"}};
    partner.AddLdapProvider("example.com", "srv", "reserved");
    EXPECT_THAT(partner.calls,
                ElementsAre("EnumerateLdapProviders",
                            std::string("AddDN ") + newChain +
                                " objectClass 'olcLDAPConfig' objectClass 'olcChainDatabase'" + made,
                            std::string("AddDN ") + newProxy +
                                " objectClass 'olcLDAPConfig' objectClass 'olcDatabaseConfig'" + made));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AddLdapProviderTest, NoOverridingAdditionIsCalledWhenTheProviderExists)
{
    connectPartner();
    partner.mapped = TextMap{{"{0}ldap", "dc=example,dc=com"}};
    EXPECT_EQ(plainError("LDAP provider for suffix 'dc=example,dc=com' already exists."),
              caught([&] { partner.AddLdapProvider("example.com", "srv", ""); }));
    EXPECT_THAT(partner.calls, ElementsAre("EnumerateLdapProviders"));
}

} // namespace

} // namespace KVR
