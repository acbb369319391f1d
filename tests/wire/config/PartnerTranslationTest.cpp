// The texts of operations on agreements and providers, with catalogues that put a mark in front of
// each: "[w]" says that it comes from the module's own catalogue, "[c]" from the host's.

#include "ProviderTest.h"

#include <functional>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;

class PartnerTranslation : public ProviderTest
{
protected:
    template <typename Call>
    static std::string message(Call call)
    {
        return caught(call).message;
    }

    Texts list;
    TextMap map;

    /** Every operation, in the order of the virtual table. */
    const std::vector<std::function<void()>> operations{
        [this] { connection.EnumerateSyncRepls(list); },
        [this] { connection.AddSyncRepl("002", "srv2"); },
        [this] { connection.DeleteSyncRepl("002", "srv2"); },
        [this] { connection.EnumerateLdapProviders(map); },
        [this] { connection.AddLdapProvider("example.com", "srv", ""); },
        [this] { connection.GetLdapProvider("example.com"); },
        [this] { connection.UpdateLdapProvider("example.com", "srv"); },
        [this] { connection.DeleteLdapProvider("example.com"); }};
};

TEST_F(PartnerTranslation, OfAMissingSessionIsTheModules)
{
    connection.Disconnect();
    for (const auto& operation : operations)
    {
        EXPECT_EQ("[w]LDAP connection isn`t established.", message(operation));
    }
}

TEST_F(PartnerTranslation, OfASearchWithoutAQueryIsTheHosts)
{
    responder.always(Operation::Search, Answer().result(32));
    for (const auto& operation : operations)
    {
        EXPECT_EQ("[c]Insufficient access. The user should have administrator privilege.",
                  message(operation));
    }
}

TEST_F(PartnerTranslation, OfAnAgreementThatExistsIsTheModules)
{
    responder.onSearch(database("olcSyncrepl", {"rid=\"002\""}));
    EXPECT_EQ("[w]SyncRepl with rid=\"002\" already exists:\n'rid=\"002\"'.",
              message([&] { connection.AddSyncRepl("002", "srv2"); }));
    responder.onSearch(database("olcSyncrepl", {"provider=\"ldap://srv2\""}));
    EXPECT_EQ("[w]SyncRepl with provider=\"ldap://srv2\" already exists:\n'provider=\"ldap://srv2\"'.",
              message([&] { connection.AddSyncRepl("002", "srv2"); }));
}

TEST_F(PartnerTranslation, OfARefusedAgreementIsTheModulesButTheAgreementIsNotTranslated)
{
    responder.onModify(Answer());
    responder.onModify(Answer().result(20));
    EXPECT_EQ("[w]OpenLDAP error [w]on modifying attribute 'olcSyncrepl' of dn "
              "'olcDatabase={0}config,cn=config' to value 'rid=\"002\" provider=\"ldap://srv2\" "
              "bindmethod=sasl saslmech=gssapi authcid=\"kvrd/srv1.home.example\" searchbase=\"cn=config\" "
              "type=refreshAndPersist retry=\"60 +\"' - Type or value exists in "
              "KVRLdapConnectionReplication.cpp:LINE(AddSyncRepl)",
              message([&] { connection.AddSyncRepl("002", "srv2"); }));
}

TEST_F(PartnerTranslation, OfAMissingProviderIsTheModules)
{
    const std::string text = "[w]LDAP provider for suffix 'dc=example,dc=com' not found.";
    EXPECT_EQ(text, message([&] { connection.GetLdapProvider("example.com"); }));
    EXPECT_EQ(text, message([&] { connection.UpdateLdapProvider("example.com", "srv"); }));
}

TEST_F(PartnerTranslation, OfAMissingDatabaseIsTheModules)
{
    responder.onSearch(chain("{0}ldap", "dc=example,dc=com"));
    EXPECT_EQ("[w]LDAP database for suffix 'dc=example,dc=com' not found.",
              message([&] { connection.UpdateLdapProvider("example.com", "srv"); }));
}

TEST_F(PartnerTranslation, OfAProviderThatExistsIsTheModules)
{
    responder.onSearch(chain("{0}ldap", "dc=example,dc=com"));
    EXPECT_EQ("[w]LDAP provider for suffix 'dc=example,dc=com' already exists.",
              message([&] { connection.AddLdapProvider("example.com", "srv", ""); }));
}

TEST_F(PartnerTranslation, OfTheOwnDomainIsTheModules)
{
    EXPECT_EQ("[w]KVR domain backend can't be deleted!",
              message([&] { connection.DeleteLdapProvider("home.example"); }));
}

TEST_F(PartnerTranslation, OfAnAttributeThatIsNotThereIsTheModules)
{
    responder.onSearch(Answer().entry("cn=x", {{"olcDatabase", {"{0}ldap"}}}));
    connection.EnumerateLdapProviders(map);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "[w]LDAP attribute 'olcSuffix' not found")));
}

TEST_F(PartnerTranslation, NothingThatIsSentIsTranslated)
{
    connection.AddLdapProvider("example.com", "srv", "");
    connection.AddSyncRepl("002", "srv2");
    EXPECT_THAT(sent(), ::testing::SizeIs(6));
    EXPECT_THAT(sent(), ::testing::Each(Not(::testing::AnyOf(HasSubstr("[w]"), HasSubstr("[c]")))));
}

} // namespace

} // namespace KVR
