// A fetch that says no has told nothing, even when it has handed an entity out.

#include "ProviderTest.h"

namespace KVR
{

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class PartnerFetchTest : public ProviderTest
{
protected:
    void SetUp() override
    {
        ProviderTest::SetUp();
        connectPartner();
    }

    /** The next search hands this entry out, and its fetch says yes or no. */
    void nextSays(bool yes, const MadeEntry& entry)
    {
        MadeResult result{{entry}};
        result.tellsEntries = yes;
        partner.results.emplace_back(result);
    }

    std::vector<std::string> changes() const
    {
        std::vector<std::string> texts;
        std::copy_if(partner.calls.begin(), partner.calls.end(), std::back_inserter(texts),
                     [](const std::string& call)
                     { return call.rfind("UpdateDN ", 0) == 0 || call.rfind("DeleteDN ", 0) == 0; });
        return texts;
    }

    const std::string suffix = "dc=example,dc=com";
    const MadeEntry chainEntry = madeChain("{0}ldap", suffix);
    const MadeEntry databaseEntry = madeDatabase("{2}ldap", suffix);
};

TEST_F(PartnerFetchTest, AgreementsOfAnEntityThatWasNotToldAreNotListed)
{
    nextSays(false, {mainDatabase, {{"olcSyncrepl", "a"}}});
    Texts agreements{"old"};
    partner.EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements, ElementsAre("old"));
    EXPECT_THAT(partner.calls, Each(Not(StartsWith("ValsByAttr"))));
}

TEST_F(PartnerFetchTest, AProviderThatWasNotToldIsNotListed)
{
    nextSays(false, chainEntry);
    std::map<std::string, std::string> providers{{"old", "old"}};
    partner.EnumerateLdapProviders(providers);
    EXPECT_THAT(providers, IsEmpty());
}

TEST_F(PartnerFetchTest, AProviderThatWasNotToldIsNotHandedOut)
{
    nextSays(false, chainEntry);
    EXPECT_EQ(noProvider(suffix), caught([&] { partner.GetLdapProvider("example.com"); }));
}

TEST_F(PartnerFetchTest, AChainDatabaseThatWasNotToldIsNotUpdated)
{
    nextSays(false, chainEntry);
    nextSays(true, databaseEntry);
    EXPECT_EQ(noProvider(suffix), caught([&] { partner.UpdateLdapProvider("example.com", "srv"); }));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(PartnerFetchTest, AProxyDatabaseThatWasNotToldIsNotUpdatedAfterItsChainDatabase)
{
    nextSays(true, chainEntry);
    nextSays(false, databaseEntry);
    EXPECT_EQ(plainError("LDAP database for suffix 'dc=example,dc=com' not found."),
              caught([&] { partner.UpdateLdapProvider("example.com", "srv"); }));
    EXPECT_THAT(changes(), ElementsAre("UpdateDN olcDatabase={0}ldap,olcOverlay={0}chain,"
                                       "olcDatabase={-1}frontend,cn=config =olcDbURI 'ldap://srv'"));
}

TEST_F(PartnerFetchTest, DatabasesThatWereNotToldAreNotDeleted)
{
    nextSays(false, chainEntry);
    nextSays(false, databaseEntry);
    EXPECT_EQ(Caught(), caught([&] { partner.DeleteLdapProvider("example.com"); }));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(PartnerFetchTest, EachOfTheTwoDatabasesIsDeletedByItself)
{
    nextSays(false, chainEntry);
    nextSays(true, databaseEntry);
    EXPECT_EQ(Caught(), caught([&] { partner.DeleteLdapProvider("example.com"); }));
    EXPECT_THAT(changes(), ElementsAre("DeleteDN olcDatabase={2}ldap,cn=config"));
}

} // namespace

} // namespace KVR
