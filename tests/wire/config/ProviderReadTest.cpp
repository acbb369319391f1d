#include "ProviderTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class EnumerateLdapProvidersTest : public ProviderTest
{
protected:
    Caught enumerating()
    {
        return caught([&] { connection.EnumerateLdapProviders(providers); });
    }

    TextMap providers{{"old", "old"}};
};

TEST_F(EnumerateLdapProvidersTest, ChainDatabasesAreSearchedOneLevelBelowTheOverlay)
{
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(sent(), ElementsAre("search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                                    "(&(objectClass=olcChainDatabase)(olcSuffix=*)) for olcDatabase "
                                    "olcSuffix"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(EnumerateLdapProvidersTest, TheMapLeadsFromTheDatabaseToItsSuffix)
{
    responder.onSearch(Answer()
                           .entry("cn=x", {{"olcDatabase", {"{1}ldap"}}, {"olcSuffix", {"dc=b,dc=org"}}})
                           .entry("cn=y", {{"olcSuffix", {"dc=a,dc=org"}}, {"olcDatabase", {"{0}ldap"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=a,dc=org"), Pair("{1}ldap", "dc=b,dc=org")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, WithoutEntriesTheMapIsEmptyAndNoSecondSearchIsSent)
{
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(chainsListed()));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, OfEqualDatabasesTheFirstStays)
{
    responder.onSearch(Answer()
                           .entry("cn=x", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {"dc=b"}}})
                           .entry("cn=y", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {"dc=a"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=b")));
}

TEST_F(EnumerateLdapProvidersTest, EqualSuffixesOfSeveralDatabasesAllStay)
{
    responder.onSearch(Answer()
                           .entry("cn=x", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {"dc=a"}}})
                           .entry("cn=y", {{"olcDatabase", {"{1}ldap"}}, {"olcSuffix", {"dc=a"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=a"), Pair("{1}ldap", "dc=a")));
}

TEST_F(EnumerateLdapProvidersTest, MissingAttributesAreLoggedAndTakenAsEmpty)
{
    responder.onSearch(
        Answer().entry("cn=x", {{"olcDatabase", {"{0}ldap"}}}).entry("cn=y", {{"olcSuffix", {"dc=a"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("", "dc=a"), Pair("{0}ldap", "")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcSuffix' not found"),
                                            Pair(0, "LDAP attribute 'olcDatabase' not found")));
}

TEST_F(EnumerateLdapProvidersTest, OfSeveralSuffixesTheFirstIsTakenAndThatIsLogged)
{
    responder.onSearch(
        Answer().entry("cn=x", {{"olcDatabase", {"{0}ldap"}}, {"olcSuffix", {"dc=b", "dc=a"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=b")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcSuffix' met twice")));
}

TEST_F(EnumerateLdapProvidersTest, SuffixesAreConverted)
{
    connectIn("ISO-8859-1");
    responder.onSearch(chain("{0}ldap", "dc=\xc3\xa4"));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=\xe4")));
}

TEST_F(EnumerateLdapProvidersTest, WithoutTheOverlayTheMapIsEmptyIfTheRootIsSeen)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().entry("cn=config", {{"cn", {"config"}}}));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), "search cn=config scope 0 (objectClass=*) for cn"));
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(EnumerateLdapProvidersTest, TheRootNeedsNoAttributesToBeSeen)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().entry("cn=config"));
    EXPECT_EQ(Caught(), enumerating());
    EXPECT_THAT(providers, IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, AHiddenRootIsInsufficientAccessAndTheMapIsEmpty)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), enumerating());
    EXPECT_THAT(providers, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), rootLookedAt()));
}

TEST_F(EnumerateLdapProvidersTest, ASearchForTheRootWithoutAnEntryIsInsufficientAccess)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer());
    EXPECT_EQ(noQuery(), enumerating());
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), rootLookedAt()));
}

TEST_F(EnumerateLdapProvidersTest, ARefusedSearchForTheRootIsPassedOn)
{
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().result(50, "not yours"));
    EXPECT_EQ(accessError(50, "not yours"), enumerating());
    responder.onSearch(Answer().result(32));
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("cn=config (objectClass=*)", 1, "words"), enumerating());
    EXPECT_THAT(providers, IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, Codes47To50BecomeInsufficientAccessWithoutASecondSearch)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), enumerating()) << code;
    }
    EXPECT_THAT(sent(), ElementsAre(chainsListed(), chainsListed(), chainsListed(), chainsListed()));
}

TEST_F(EnumerateLdapProvidersTest, AnotherRefusalIsPassedOnAndTheMapIsEmpty)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=*))",
                            1, "words"),
              enumerating());
    EXPECT_THAT(providers, IsEmpty());
    EXPECT_THAT(sent(), ElementsAre(chainsListed()));
}

TEST_F(EnumerateLdapProvidersTest, WithoutASessionTheMapKeepsItsContent)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), enumerating());
    EXPECT_THAT(providers, ElementsAre(Pair("old", "old")));
}

TEST_F(EnumerateLdapProvidersTest, OverridingSearchAndItsQueryAndEntitiesAreCalled)
{
    connectPartner();
    partner.results.emplace_back(MadeResult{{madeChain("{0}ldap", "dc=a"), madeChain("{1}ldap", "dc=b")}});
    partner.EnumerateLdapProviders(providers);
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", "dc=a"), Pair("{1}ldap", "dc=b")));
    EXPECT_THAT(called(),
                ElementsAre("Search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=*)) for olcDatabase olcSuffix",
                            "First", "Fetch", "ValByAttr olcSuffix", "ValByAttr olcDatabase", "Fetch",
                            "ValByAttr olcSuffix", "ValByAttr olcDatabase", "Fetch"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, TheRootIsLookedForWithTheOverridingSearchToo)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    partner.results.emplace_back(MadeResult{{MadeEntry{"cn=config", {}}}});
    EXPECT_EQ(Caught(), caught([&] { partner.EnumerateLdapProviders(providers); }));
    EXPECT_THAT(providers, IsEmpty());
    ASSERT_THAT(partner.calls, SizeIs(::testing::Ge(2U)));
    EXPECT_EQ("Search cn=config scope 0 (objectClass=*) for cn", partner.calls[1]);
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(EnumerateLdapProvidersTest, OverridingSearchesWithoutQueriesAreInsufficientAccess)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.EnumerateLdapProviders(providers); }));
    EXPECT_THAT(partner.calls, SizeIs(2));
}

class GetLdapProviderTest : public ProviderTest
{
protected:
    Caught getting(const std::string& domain)
    {
        return caught([&] { connection.GetLdapProvider(domain); });
    }
};

TEST_F(GetLdapProviderTest, AllUserAttributesOfTheChainDatabaseAreSearchedFor)
{
    responder.onSearch(chain("{0}ldap", "dc=example,dc=com"));
    EXPECT_EQ(Caught(), getting("example.com"));
    EXPECT_THAT(sent(), ElementsAre("search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                                    "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for *"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(GetLdapProviderTest, TheEntryIsHandedOutWithItsDnAndAttributes)
{
    responder.onSearch(
        Answer().entry("olcDatabase={3}ldap,cn=x", {{"objectClass", {"olcLDAPConfig", "olcChainDatabase"}},
                                                    {"olcDbURI", {"ldap://srv"}}}));
    const EntityPointer provider = connection.GetLdapProvider("example.com");
    ASSERT_TRUE(provider);
    EXPECT_EQ("olcDatabase={3}ldap,cn=x", provider->dn);
    EXPECT_THAT(valuesOf(*provider),
                ElementsAre(Pair("objectClass", "olcLDAPConfig"), Pair("objectClass", "olcChainDatabase"),
                            Pair("olcDbURI", "ldap://srv")));
}

TEST_F(GetLdapProviderTest, OfSeveralEntriesTheFirstIsHandedOut)
{
    responder.onSearch(Answer().entry("cn=b").entry("cn=a"));
    EXPECT_EQ("cn=b", connection.GetLdapProvider("example.com")->dn);
}

TEST_F(GetLdapProviderTest, EachCallHandsOutAnEntityOfItsOwn)
{
    responder.onSearch(Answer().entry("cn=a"));
    responder.onSearch(Answer().entry("cn=b"));
    const EntityPointer first = connection.GetLdapProvider("example.com");
    const EntityPointer second = connection.GetLdapProvider("example.com");
    EXPECT_EQ("cn=a", first->dn);
    EXPECT_EQ("cn=b", second->dn);
}

TEST_F(GetLdapProviderTest, AnUnknownDomainIsToldWithItsSuffix)
{
    EXPECT_EQ(plainError("LDAP provider for suffix 'dc=unknown,dc=org' not found."), getting("unknown.org"));
    EXPECT_THAT(responder.requests(), SizeIs(1));
}

TEST_F(GetLdapProviderTest, SpecialCharactersAreEscapedInTheFilterOnly)
{
    connectPartner();
    const std::pair<std::string, std::string> labels[] = {
        {"*", "\\2a"}, {"a(b", "a\\28b"}, {"a)b", "a\\29b"}};
    for (const auto& [label, escaped] : labels)
    {
        partner.calls.clear();
        EXPECT_EQ(noProvider("dc=" + label),
                  caught([&name = label, this] { partner.GetLdapProvider(name); }));
        EXPECT_EQ("Search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                  "(&(objectClass=olcChainDatabase)(olcSuffix=dc=" +
                      escaped + ")) for *",
                  partner.calls.at(0));
    }
}

TEST_F(GetLdapProviderTest, AStarIsSentAsACharacterAndNotAsAPattern)
{
    EXPECT_EQ(noProvider("dc=exam*,dc=com"), getting("exam*.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=exam\\2a,dc=com", "*")));
}

TEST_F(GetLdapProviderTest, PercentSignsAreCharactersLikeOthers)
{
    EXPECT_EQ(noProvider("dc=%s%n,dc=com"), getting("%s%n.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=%s%n,dc=com", "*")));
}

TEST_F(GetLdapProviderTest, AMissingOverlayIsInsufficientAccessWithoutASecondSearch)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), getting("example.com"));
    EXPECT_THAT(sent(), ElementsAre(chainSearched("dc=example,dc=com", "*")));
}

TEST_F(GetLdapProviderTest, ARefusedSearchIsPassedOn)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(refusedSearch("olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config "
                            "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com))",
                            1, "words"),
              getting("example.com"));
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(Answer().result(code));
        EXPECT_EQ(accessError(code), getting("example.com")) << code;
    }
}

TEST_F(GetLdapProviderTest, WithoutASessionIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), getting("example.com"));
}

TEST_F(GetLdapProviderTest, TheOwnDomainIsSearchedLikeAnyOther)
{
    EXPECT_EQ(noProvider("dc=home,dc=example"), getting("home.example"));
}

TEST_F(GetLdapProviderTest, OverridingSearchAndItsQueryAreCalled)
{
    connectPartner();
    partner.results.emplace_back(
        MadeResult{{madeChain("{0}ldap", "dc=example,dc=com"), madeChain("{1}ldap", "dc=example,dc=com")}});
    const EntityPointer provider = partner.GetLdapProvider("example.com");
    EXPECT_EQ("olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config", provider->dn);
    EXPECT_THAT(called(), ElementsAre("Search olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config scope 1 "
                                      "(&(objectClass=olcChainDatabase)(olcSuffix=dc=example,dc=com)) for *",
                                      "First", "Fetch"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(GetLdapProviderTest, AnOverridingSearchWithoutAQueryIsInsufficientAccess)
{
    connectPartner();
    partner.results.emplace_back(std::nullopt);
    EXPECT_EQ(noQuery(), caught([&] { partner.GetLdapProvider("example.com"); }));
    EXPECT_THAT(partner.calls, SizeIs(1));
}

} // namespace

} // namespace KVR
