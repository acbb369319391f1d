// Agreements on replication in the configuration of a real server.

#include "PartnerTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ReplicationTest : public PartnerTest
{
protected:
    std::string agreement(const std::string& rid, const DeadPort& provider, const std::string& base)
    {
        return "rid=\"" + rid + "\" provider=\"ldap://" + provider.hostAndPort() +
               "\" bindmethod=sasl saslmech=gssapi authcid=\"kvrd/" + core.GetHostName() +
               "\" searchbase=\"" + base + "\" type=refreshAndPersist retry=\"60 +\"";
    }

    std::string inMain(const std::string& rid, const DeadPort& provider)
    {
        return agreement(rid, provider, "dc=example,dc=com");
    }

    std::string inConfig(const std::string& rid, const DeadPort& provider)
    {
        return agreement(rid, provider, "cn=config");
    }

    std::vector<std::string> listed()
    {
        std::list<std::string> agreements{"left over"};
        connection.EnumerateSyncRepls(agreements);
        return {agreements.begin(), agreements.end()};
    }

    /** A newer server has another name for the same. */
    std::vector<std::string> mirrorMode()
    {
        std::vector<std::string> modes = values(configDatabase, "olcMirrorMode");
        const std::vector<std::string> others = values(configDatabase, "olcMultiProvider");
        modes.insert(modes.end(), others.begin(), others.end());
        return modes;
    }

    Caught adding(const std::string& rid, const DeadPort& provider)
    {
        return caught([&] { connection.AddSyncRepl(rid, provider.hostAndPort()); });
    }

    Caught deleting(const std::string& rid, const DeadPort& provider)
    {
        return caught([&] { connection.DeleteSyncRepl(rid, provider.hostAndPort()); });
    }

    /** Adds to a server that has the agreement 002 with the first one, which shall change nothing. */
    void expectDuplicate(const std::string& rid, const DeadPort& provider, const std::string& keyAndValue)
    {
        EXPECT_EQ(adding("002", first), Caught());
        const auto before = configuration();
        EXPECT_EQ(adding(rid, provider), (Caught{typeid(EKVRError),
                                                 "SyncRepl with " + keyAndValue + " already exists:\n'{0}" +
                                                     inMain("002", first) + "'.",
                                                 "", ""}));
        EXPECT_EQ(configuration(), before);
    }
};

TEST_F(ReplicationTest, AnAgreementIsKeptInBothDatabasesAndMirrorModeIsOn)
{
    EXPECT_EQ(adding("002", first), Caught());

    EXPECT_THAT(listed(), ElementsAre("{0}" + inMain("002", first)));
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), ElementsAre("{0}" + inConfig("002", first)));
    EXPECT_THAT(mirrorMode(), ElementsAre("TRUE"));
}

TEST_F(ReplicationTest, AfterItsDeletionTheWholeConfigurationIsAsItWas)
{
    const auto before = configuration();
    EXPECT_EQ(adding("002", first), Caught());
    EXPECT_NE(configuration(), before);

    EXPECT_EQ(deleting("002", first), Caught());

    EXPECT_EQ(configuration(), before);
    EXPECT_THAT(listed(), IsEmpty());
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), IsEmpty());
    EXPECT_THAT(mirrorMode(), IsEmpty());
}

TEST_F(ReplicationTest, AnEmptyIdentifierIs001)
{
    EXPECT_EQ(adding("", first), Caught());
    EXPECT_THAT(listed(), ElementsAre("{0}" + inMain("001", first)));

    EXPECT_EQ(deleting("", first), Caught());
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(ReplicationTest, AServerWithAnAgreementTakesNoWritesUntilItIsDeleted)
{
    const std::string people = "ou=people,dc=example,dc=com";
    EXPECT_EQ(adding("002", first), Caught());
    EXPECT_EQ(caught([&] { connection.SetAttrValue(people, "description", "x", alREPLACE); }),
              refusal("description", people, "x", "Server is unwilling to perform",
                      "shadow context; no update referral"));
    EXPECT_EQ(connection.GetLastError(), 53);

    EXPECT_EQ(deleting("002", first), Caught());
    EXPECT_EQ(caught([&] { connection.SetAttrValue(people, "description", "x", alREPLACE); }), Caught());
}

TEST_F(ReplicationTest, AnIdentifierThatTheServerHasIsRefusedWithTheStoredValue)
{
    expectDuplicate("002", second, "rid=\"002\"");
}

TEST_F(ReplicationTest, AProviderThatTheServerHasIsRefusedWithTheStoredValue)
{
    expectDuplicate("003", first, "provider=\"ldap://" + first.hostAndPort() + "\"");
}

TEST_F(ReplicationTest, ASecondAgreementStaysInTheMainDatabaseAndIsRefusedByTheConfigurationDatabase)
{
    EXPECT_EQ(adding("002", first), Caught());

    const Caught error = adding("003", second);

    const bool old = Support::PrivateSlapd::isVersion24();
    EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
    EXPECT_EQ(error.message, "OpenLDAP error on modifying attribute 'olcSyncrepl' of dn '" +
                                 std::string(configDatabase) + "' to value '" + inConfig("003", second) +
                                 "' - " + (old ? "Inappropriate matching" : "Type or value exists") +
                                 " in KVRLdapConnectionReplication.cpp:LINE(AddSyncRepl)");
    EXPECT_EQ(connection.GetLastError(), old ? 18 : 20);
    EXPECT_THAT(listed(), ElementsAre("{0}" + inMain("002", first), "{1}" + inMain("003", second)));
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), ElementsAre("{0}" + inConfig("002", first)));
    EXPECT_THAT(mirrorMode(), ElementsAre("TRUE"));
}

TEST_F(ReplicationTest, MirrorModeGoesWithTheFirstDeletionThoughAnotherAgreementRemains)
{
    EXPECT_EQ(adding("002", first), Caught());
    adding("003", second);

    EXPECT_EQ(deleting("002", first), Caught());

    EXPECT_THAT(listed(), ElementsAre("{0}" + inMain("003", second)));
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), IsEmpty());
    EXPECT_THAT(mirrorMode(), IsEmpty());
}

TEST_F(ReplicationTest, AnAgreementThatOnlyTheMainDatabaseHasIsDeletedThereBeforeTheRefusal)
{
    EXPECT_EQ(adding("002", first), Caught());
    adding("003", second);

    const Caught error = deleting("003", second);

    EXPECT_EQ(
        error.message,
        refusal("olcSyncrepl", configDatabase, inConfig("003", second), "No such attribute", "").message);
    EXPECT_EQ(connection.GetLastError(), 16);
    EXPECT_THAT(listed(), ElementsAre("{0}" + inMain("002", first)));
    EXPECT_THAT(mirrorMode(), ElementsAre("TRUE"));
}

TEST_F(ReplicationTest, UnderAnotherDaemonsNameTheSecondAgreementIsNotFoundAndMirrorModeStays)
{
    EXPECT_EQ(adding("002", first), Caught());
    const std::string ours = inConfig("002", first);
    core.SetParameter("KVRD_USER", "other");

    EXPECT_EQ(deleting("002", first).type, typeid(EKVROpenLdapError));

    EXPECT_EQ(connection.GetLastError(), 16);
    EXPECT_THAT(listed(), IsEmpty());
    EXPECT_THAT(values(configDatabase, "olcSyncrepl"), ElementsAre("{0}" + ours));
    EXPECT_THAT(mirrorMode(), ElementsAre("TRUE"));
}

TEST_F(ReplicationTest, ADeletionThatMatchesNoAgreementAsAWholeChangesNothing)
{
    EXPECT_EQ(deleting("002", first), Caught());
    EXPECT_EQ(adding("002", first), Caught());
    const auto before = configuration();

    EXPECT_EQ(deleting("002", second), Caught());
    EXPECT_EQ(deleting("003", first), Caught());
    EXPECT_EQ(deleting("", first), Caught());

    EXPECT_EQ(configuration(), before);
}

TEST_F(ReplicationTest, AMainDatabaseWithoutAManagersNameRefusesAndNothingIsChanged)
{
    connection.DeleteAttr(mainDatabaseDn, "olcRootDN");
    const auto before = configuration();

    const Caught error = adding("002", first);

    EXPECT_EQ(error.message, refusal("olcSyncrepl", mainDatabaseDn, inMain("002", first),
                                     "Other (e.g., implementation specific) error", "")
                                 .message);
    EXPECT_THAT(error.details, HasSubstr("rootDN must be defined before syncrepl may be used"));
    EXPECT_EQ(connection.GetLastError(), 80);
    EXPECT_EQ(configuration(), before);
}

} // namespace
} // namespace KVR::ServerTests
