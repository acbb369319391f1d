// Agreements and providers for clients without rights; an administrator's exist already.

#include "PartnerTest.h"

#include <PrivateRealm.h>

#include <functional>

namespace KVR::ServerTests
{
namespace
{

using Support::ScopedEnvironment;

class PartnerRightsTest : public testing::Test
{
protected:
    explicit PartnerRightsTest(const std::vector<std::string>& moreOptions) : server(options(moreOptions))
    {
        describeDaemon(core);
        connect(administrator, "administrator");
        administrator.AddSyncRepl("002", partner.hostAndPort());
        administrator.AddLdapProvider("other.org", partner.hostAndPort(), "");
    }

    void connect(CKVRLdapConnection& connection, const std::string& principal)
    {
        const ScopedEnvironment tickets("KRB5CCNAME", realm.cache(principal));
        connection.Connect(server.hostAndPort(), KVRAuthGssapi);
    }

    /** Everything that the administrator sees, by DN. */
    std::map<std::string, Attributes> configuration()
    {
        std::map<std::string, Attributes> entries;
        std::list<std::string> names;
        const auto query =
            administrator.Search("cn=config", "(!(objectClass=olcSchemaConfig))", names, alSCOPE_SUB);
        std::shared_ptr<IKVRLdapEntity> entity;
        while (query->Fetch(entity))
        {
            entries.emplace(entity->dn, entity->attributes);
        }
        return entries;
    }

    using Call = std::function<void()>;

    const std::vector<Call> readings{
        [this]
        {
            std::list<std::string> agreements;
            client.EnumerateSyncRepls(agreements);
            EXPECT_EQ(agreements.size(), 1U);
        },
        [this]
        {
            TextMap providers;
            client.EnumerateLdapProviders(providers);
            EXPECT_EQ(providers, (TextMap{{"{0}ldap", "dc=other,dc=org"}}));
        },
        [this] { EXPECT_EQ(client.GetLdapProvider("other.org")->attributes.count("olcDbURI"), 1U); }};

    const std::vector<Call> changes{
        [this] { client.AddSyncRepl("003", another.hostAndPort()); },
        [this] { client.DeleteSyncRepl("002", partner.hostAndPort()); },
        [this] { client.AddLdapProvider("third.net", another.hostAndPort(), ""); },
        [this] { client.UpdateLdapProvider("other.org", another.hostAndPort()); }};

    const Call deletion = [this] { client.DeleteLdapProvider("other.org"); };

    /**
     * Lets the client read, and expects that each change is refused without any effect. The deletion
     * is not among them: no server looks at rights there. 2.5 deletes entries of its configuration
     * for everybody who may send the request, 2.4 for nobody.
     */
    void expectReadsOnly(const std::function<void(const Caught&)>& expectRefusal)
    {
        for (const Call& reading : readings)
        {
            EXPECT_EQ(caught([&] { reading(); }), Caught());
        }
        const auto before = configuration();
        for (const Call& change : changes)
        {
            SCOPED_TRACE("change " + std::to_string(&change - changes.data()));
            expectRefusal(caught([&] { change(); }));
        }
        EXPECT_EQ(configuration(), before);
    }

    static void expectInsufficientAccess(const Caught& error)
    {
        EXPECT_EQ(error, (Caught{typeid(EKVROpenLdapError),
                                 "OpenLDAP error " + insufficientAccess + " - Insufficient access", "", ""}));
    }

    Support::PrivateRealm realm;
    Support::PrivateSlapd server;
    const DeadPort partner;
    const DeadPort another;
    CKVRCore core;
    CKVRLdapConnection administrator{core};
    CKVRLdapConnection client{core};

private:
    std::vector<std::string> options(const std::vector<std::string>& more) const
    {
        std::vector<std::string> all{"--entries", "0",          "--address",
                                     "localhost", "--kerberos", realm.folder()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
};

/** Clients may read everything. */
class PartnerReaderTest : public PartnerRightsTest
{
protected:
    PartnerReaderTest() : PartnerRightsTest({"--rights", "administrators"}) {}
};

TEST_F(PartnerReaderTest, AUserSeesPartnersAndIsToldToBeAnAdministratorAtChanges)
{
    connect(client, "user");
    expectReadsOnly(expectInsufficientAccess);
    EXPECT_EQ(client.GetLastError(), 50);
}

TEST_F(PartnerReaderTest, AnAnonymousClientSeesPartnersAndIsToldToBeAnAdministratorAtChanges)
{
    client.Connect(server.hostAndPort(), KVRAuthAnonymous);
    expectReadsOnly(expectInsufficientAccess);
    EXPECT_EQ(client.GetLastError(), 50);
}

/** Anonymous clients see nothing of the configuration. */
class PartnerStrangerTest : public PartnerRightsTest
{
protected:
    PartnerStrangerTest() : PartnerRightsTest({"--rights", "locked"}) {}
};

TEST_F(PartnerStrangerTest, WhoSeesNoConfigurationIsToldToBeAnAdministratorByEveryOperation)
{
    client.Connect(server.hostAndPort(), KVRAuthAnonymous);
    const auto before = configuration();
    for (const auto& calls : {readings, changes, {deletion}})
    {
        for (const Call& call : calls)
        {
            EXPECT_EQ(caught([&] { call(); }), (Caught{typeid(EKVRError), insufficientAccess, "", ""}));
            EXPECT_EQ(client.GetLastError(), 32);
        }
    }
    EXPECT_EQ(configuration(), before);
}

/** The server takes no changes from anonymous clients, whatever their rights. */
class PartnerLoginWantedTest : public PartnerRightsTest
{
protected:
    PartnerLoginWantedTest() : PartnerRightsTest({"--anonymous-writes", "refused"}) {}
};

TEST_F(PartnerLoginWantedTest, AWishForAuthenticationIsNotTakenForMissingRights)
{
    client.Connect(server.hostAndPort(), KVRAuthAnonymous);
    const auto expectWish = [this](const Caught& error)
    {
        EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
        EXPECT_THAT(error.message, testing::StartsWith("OpenLDAP error on "));
        EXPECT_THAT(error.message, testing::HasSubstr("Strong(er) authentication required"));
        EXPECT_EQ(client.GetLastError(), 8);
    };
    expectReadsOnly(expectWish);
    const auto before = configuration();
    expectWish(caught(deletion));
    EXPECT_EQ(configuration(), before);
}

} // namespace
} // namespace KVR::ServerTests
