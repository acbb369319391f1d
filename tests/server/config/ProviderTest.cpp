// Providers in the configuration of a real server.

#include "PartnerTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

const std::string firstChain = "olcDatabase={0}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";
const std::string firstProxy = "olcDatabase={2}ldap,cn=config";
const std::string otherSuffix = "dc=other,dc=org";

class ProviderTest : public PartnerTest
{
protected:
    using PartnerTest::PartnerTest;

    TextMap providers()
    {
        TextMap found{{"left", "over"}};
        connection.EnumerateLdapProviders(found);
        return found;
    }

    Caught adding(const std::string& domain, const DeadPort& remote)
    {
        return caught([&] { connection.AddLdapProvider(domain, remote.hostAndPort(), "unread"); });
    }

    Caught updating(const std::string& domain, const DeadPort& remote)
    {
        return caught([&] { connection.UpdateLdapProvider(domain, remote.hostAndPort()); });
    }

    Caught deleting(const std::string& domain)
    {
        return caught([&] { connection.DeleteLdapProvider(domain); });
    }

    /** Adds one of a provider's two databases past the operation that adds both. */
    void addDatabase(const std::string& objectClass, const std::string& parent)
    {
        Attributes attributes{{"objectClass", "olcLDAPConfig"},
                              {"objectClass", objectClass},
                              {"olcSuffix", otherSuffix},
                              {"olcDbURI", uri(first)}};
        connection.AddDN("olcDatabase=ldap," + parent, attributes);
    }

    static std::string uri(const DeadPort& remote) { return "ldap://" + remote.hostAndPort(); }

    static Caught notFound(const std::string& what)
    {
        return {typeid(EKVRError), what + " for suffix 'dc=other,dc=org' not found.", "", ""};
    }

    /** What a refusal to change an entry says. */
    static std::string refusedEntry(const std::string& doing, const std::string& dn,
                                    const std::string& reason, const std::string& operation)
    {
        return "OpenLDAP error on " + doing + " dn '" + dn + "' - " + reason +
               " in KVRLdapConnectionEntry.cpp:LINE(" + operation + ")";
    }
};

TEST_F(ProviderTest, AProviderBecomesTwoDatabasesWithTheSameSettings)
{
    EXPECT_EQ(adding("other.org", first), Caught());

    EXPECT_THAT(providers(), ElementsAre(Pair("{0}ldap", otherSuffix)));
    for (const std::string& dn : {firstChain, firstProxy})
    {
        const std::string ownClass = dn == firstChain ? "olcChainDatabase" : "olcDatabaseConfig";
        EXPECT_THAT(values(dn, "objectClass"), UnorderedElementsAre("olcLDAPConfig", ownClass));
        EXPECT_THAT(values(dn, "olcSuffix"), ElementsAre(otherSuffix));
        EXPECT_THAT(values(dn, "olcDbRebindAsUser"), ElementsAre("FALSE"));
        EXPECT_THAT(values(dn, "olcDbChaseReferrals"), ElementsAre("TRUE"));
        EXPECT_THAT(values(dn, "olcDbUseTemporaryConn"), ElementsAre("FALSE"));
        EXPECT_THAT(values(dn, "olcDbURI"), ElementsAre(HasSubstr(uri(first))));
        EXPECT_THAT(values(dn, "olcDbIDAssertBind"),
                    ElementsAre(HasSubstr("kvrd/" + core.GetHostName() + "@EXAMPLE.COM")));
    }
}

TEST_F(ProviderTest, TheSameDomainIsRefusedTheSecondTimeAndNothingIsWritten)
{
    EXPECT_EQ(adding("other.org", first), Caught());
    const auto before = configuration();

    EXPECT_EQ(
        adding("other.org", second),
        (Caught{typeid(EKVRError), "LDAP provider for suffix 'dc=other,dc=org' already exists.", "", ""}));

    EXPECT_EQ(configuration(), before);
}

TEST_F(ProviderTest, ASecondDomainIsNumberedByTheServer)
{
    EXPECT_EQ(adding("other.org", first), Caught());
    EXPECT_EQ(adding("third.net", second), Caught());

    EXPECT_THAT(providers(),
                UnorderedElementsAre(Pair("{0}ldap", otherSuffix), Pair("{1}ldap", "dc=third,dc=net")));
    EXPECT_THAT(databases(), testing::Contains(Pair("{3}ldap", "dc=third,dc=net")));
}

TEST_F(ProviderTest, AProxyDatabaseAloneIsNoDuplicateButTheServerTakesNoSecondOneAfterTheChainDatabase)
{
    addDatabase("olcDatabaseConfig", "cn=config");
    EXPECT_THAT(providers(), IsEmpty());

    const Caught error = adding("other.org", second);

    EXPECT_EQ(error.message, refusedEntry("adding", "olcDatabase=ldap,cn=config",
                                          "Other (e.g., implementation specific) error", "AddDN"));
    EXPECT_THAT(providers(), ElementsAre(Pair("{0}ldap", otherSuffix)));
    EXPECT_THAT(values(firstChain, "olcDbURI"), ElementsAre(HasSubstr(uri(second))));
    EXPECT_THAT(values(firstProxy, "olcDbURI"), ElementsAre(HasSubstr(uri(first))));
}

TEST_F(ProviderTest, AKnownProviderIsHandedOutWithAllItsUserAttributes)
{
    EXPECT_EQ(adding("third.net", second), Caught());
    EXPECT_EQ(adding("other.org", first), Caught());

    const auto provider = connection.GetLdapProvider("other.org");

    EXPECT_EQ(provider->dn, "olcDatabase={1}ldap,olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config");
    EXPECT_EQ(provider->attributes, attributes(provider->dn));
}

TEST_F(ProviderTest, AnUnknownProviderIsNotFound)
{
    EXPECT_EQ(adding("third.net", first), Caught());
    const auto before = configuration();

    EXPECT_EQ(caught([&] { connection.GetLdapProvider("other.org"); }), notFound("LDAP provider"));
    EXPECT_EQ(updating("other.org", second), notFound("LDAP provider"));
    EXPECT_EQ(deleting("other.org"), Caught());

    EXPECT_EQ(configuration(), before);
}

TEST_F(ProviderTest, TheOverlayTakesNoTwoDomainsOfOneRemoteServer)
{
    EXPECT_EQ(adding("third.net", first), Caught());
    const auto before = configuration();

    EXPECT_EQ(adding("other.org", first).message,
              refusedEntry("adding", "olcDatabase=ldap," + std::string(chainOverlay),
                           "Object class violation", "AddDN"));

    EXPECT_EQ(configuration(), before);
}

TEST_F(ProviderTest, AnUpdateReplacesTheAddressInBothDatabasesOfItsDomainOnly)
{
    const DeadPort third;
    EXPECT_EQ(adding("third.net", first), Caught());
    EXPECT_EQ(adding("other.org", third), Caught());

    EXPECT_EQ(updating("other.org", second), Caught());

    for (const std::string& parent : {std::string(chainOverlay), std::string("cn=config")})
    {
        const int number = parent == "cn=config" ? 2 : 0;
        EXPECT_THAT(values("olcDatabase={" + std::to_string(number) + "}ldap," + parent, "olcDbURI"),
                    ElementsAre(HasSubstr(uri(first))));
        EXPECT_THAT(values("olcDatabase={" + std::to_string(number + 1) + "}ldap," + parent, "olcDbURI"),
                    ElementsAre(HasSubstr(uri(second))));
    }
}

TEST_F(ProviderTest, AnUpdateWithoutAProxyDatabaseChangesTheChainDatabaseAndTellsIt)
{
    addDatabase("olcChainDatabase", chainOverlay);

    EXPECT_EQ(updating("other.org", second), notFound("LDAP database"));

    EXPECT_THAT(values(firstChain, "olcDbURI"), ElementsAre(HasSubstr(uri(second))));
}

TEST_F(ProviderTest, ADeletionTakesBothDatabasesAwayWhereTheServerDeletesDatabases)
{
    EXPECT_EQ(adding("other.org", first), Caught());
    EXPECT_EQ(adding("third.net", second), Caught());
    const auto before = configuration();

    const Caught error = deleting("other.org");

    if (Support::PrivateSlapd::isVersion24())
    {
        EXPECT_EQ(error.message,
                  refusedEntry("deleting", firstChain, "Server is unwilling to perform", "DeleteDN"));
        EXPECT_EQ(connection.GetLastError(), 53);
        EXPECT_EQ(configuration(), before);
        return;
    }
    EXPECT_EQ(error, Caught());
    EXPECT_THAT(providers(), ElementsAre(Pair("{0}ldap", "dc=third,dc=net")));
    EXPECT_THAT(databases(), ElementsAre(Pair(KVR_MAIN_DATABASE, "dc=example,dc=com"),
                                         Pair("{2}ldap", "dc=third,dc=net")));
}

TEST_F(ProviderTest, TheOwnDomainCannotBeDeletedAndKeepsItsDatabases)
{
    const std::string own = core.GetDomainName();
    const auto before = configuration();

    EXPECT_EQ(deleting(own), (Caught{typeid(EKVRError), "KVR domain backend can't be deleted!", "", ""}));

    EXPECT_EQ(configuration(), before);
}

/** The server has no overlay "chain". */
class WithoutChainTest : public ProviderTest
{
protected:
    explicit WithoutChainTest(const std::string& rights = "everybody")
        : ProviderTest({"--chain", "no", "--rights", rights})
    {
    }
};

TEST_F(WithoutChainTest, WhoSeesTheConfigurationSeesAnEmptyListOfProviders)
{
    EXPECT_THAT(providers(), IsEmpty());
}

TEST_F(WithoutChainTest, AnAdditionIsRefusedByTheServerAndWritesNothing)
{
    const auto before = configuration();

    EXPECT_EQ(
        adding("other.org", first).message,
        refusedEntry("adding", "olcDatabase=ldap," + std::string(chainOverlay), "No such object", "AddDN"));

    EXPECT_EQ(connection.GetLastError(), 32);
    EXPECT_EQ(configuration(), before);
}

TEST_F(WithoutChainTest, OtherOperationsTakeTheMissingOverlayForMissingRights)
{
    EXPECT_EQ(caught([&] { connection.GetLdapProvider("other.org"); }), hidden());
    EXPECT_EQ(updating("other.org", first), hidden());
    EXPECT_EQ(deleting("other.org"), hidden());
}

/** It also hides its configuration. */
class WithoutChainAndRightsTest : public WithoutChainTest
{
protected:
    WithoutChainAndRightsTest() : WithoutChainTest("locked") {}
};

TEST_F(WithoutChainAndRightsTest, WhoDoesNotSeeTheConfigurationIsToldToBeAnAdministrator)
{
    EXPECT_EQ(caught([&] { providers(); }), hidden());
    EXPECT_EQ(adding("other.org", first), hidden());
}

} // namespace
} // namespace KVR::ServerTests
