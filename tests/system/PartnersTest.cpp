// Replication and forwarding between real servers, arranged by the module. Runs in dev/kerberos-lab.

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <ScopedEnvironment.h>
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace KVR
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::string suffix = "dc=example,dc=com";
const std::string remoteSuffix = "dc=other,dc=org";

std::string variable(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): no other thread
    if (value == nullptr)
    {
        throw std::runtime_error(std::string(name) + " is not set: run this with dev/kerberos-lab");
    }
    return value;
}

using Connection = std::shared_ptr<IKVRLdapConnection>;

/** The host as it is on one of the lab's computers. */
class LabHost
{
public:
    explicit LabHost(const std::string& name)
        : core_(KVRHostIdentity{"example.com", "srv1.example.com", name + ".example.com"}),
          module_(core_, KVR_MODULE_FILE)
    {
        core_.SetParameter("KVRD_USER", "kvrd");
        core_.SetParameter("DOMAIN_DN", suffix);
        core_.SetParameter("REALM", "EXAMPLE.COM");
    }

    /** A connection with the tickets of somebody. */
    Connection connect(const std::string& server, const std::string& principal)
    {
        const Support::ScopedEnvironment tickets("KRB5CCNAME", "FILE:" + variable("KVR_TEST_KERBEROS") + "/" +
                                                                   principal + ".ccache");
        // The lab's ldap.conf names both servers, of which the first one that answers would be taken.
        core_.SetParameter("KVR_PRM_LDAP_URIS", "ldap://" + server + ".example.com");
        Connection connection = dynamic_cast<IKVRLdapWrapper&>(*core_.FindInterface("ldap")).getConnection();
        connection->Connect(server + ".example.com", KVRAuthGssapi);
        return connection;
    }

private:
    CKVRCore core_;
    CKVRModule module_;
};

/** How many people the server shows below a base, -1 when it has no such base. */
int people(const Connection& connection, const std::string& base)
{
    std::list<std::string> names{"uid"};
    const auto query = connection->Search(base, "(uid=*)", names, alSCOPE_SUB);
    return query ? static_cast<int>(query->Count()) : -1;
}

bool has(const Connection& connection, const std::string& dn)
{
    std::list<std::string> names{"ou"};
    return connection->Search(dn, "(objectClass=*)", names, alSCOPE_BASE) != nullptr;
}

/** Waits until the condition holds, for twenty seconds at most. */
template <typename Condition>
bool becomesTrue(Condition&& condition)
{
    using Clock = std::chrono::steady_clock;
    for (const auto end = Clock::now() + std::chrono::seconds(20); Clock::now() < end;)
    {
        if (condition())
        {
            return true;
        }
        std::this_thread::yield();
    }
    return condition();
}

/** Whether the log of a server tells that a daemon has logged in with a ticket. */
bool hasSeen(const std::string& server, const std::string& daemon)
{
    std::ifstream log(variable("KVR_TEST_LAB") + "/" + server + "/log");
    for (std::string line; std::getline(log, line);)
    {
        if (line.find("BIND dn=\"uid=" + daemon) != std::string::npos &&
            line.find("mech=GSSAPI") != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

TEST(PartnersTest, AnAgreementBringsOldAndNewEntriesToTheReplica)
{
    LabHost host("srv2");
    const Connection provider = host.connect("srv1", "administrator");
    const Connection replica = host.connect("srv2", "administrator");
    ASSERT_EQ(people(replica, suffix), -1);

    replica->AddSyncRepl("", "");

    EXPECT_TRUE(becomesTrue([&] { return people(replica, suffix) == 10; }));
    provider->EnsureOU("ou=new," + suffix);
    EXPECT_TRUE(becomesTrue([&] { return has(replica, "ou=new," + suffix); }));
    EXPECT_TRUE(hasSeen("srv1", "kvrd/srv2.example.com,"));
}

TEST(PartnersTest, TheAgreementIsListedUntilItIsDeleted)
{
    LabHost host("srv2");
    const Connection replica = host.connect("srv2", "administrator");
    std::list<std::string> agreements;

    replica->AddSyncRepl("007", "srv1.example.com");
    replica->EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements,
                ElementsAre("{0}rid=\"007\" provider=\"ldap://srv1.example.com\" bindmethod=sasl "
                            "saslmech=gssapi authcid=\"kvrd/srv2.example.com\" "
                            "searchbase=\"dc=example,dc=com\" type=refreshAndPersist retry=\"60 +\""));

    replica->DeleteSyncRepl("007", "srv1.example.com");
    agreements.clear();
    replica->EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements, IsEmpty());
}

TEST(PartnersTest, AProviderMakesTheServerAnswerForAnotherDomain)
{
    LabHost host("srv1");
    const Connection administrator = host.connect("srv1", "administrator");
    ASSERT_EQ(people(administrator, remoteSuffix), -1);

    administrator->AddLdapProvider("other.org", "srv3.example.com", "");

    EXPECT_EQ(people(administrator, remoteSuffix), 10);
    EXPECT_EQ(people(host.connect("srv1", "user"), remoteSuffix), 10);
    EXPECT_TRUE(hasSeen("srv3", "kvrd/srv1.example.com,"));
    std::map<std::string, std::string> providers;
    administrator->EnumerateLdapProviders(providers);
    EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", remoteSuffix)));
}

} // namespace
} // namespace KVR
