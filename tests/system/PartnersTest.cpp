// Replication and forwarding between real servers, arranged by the module. Runs in dev/kerberos-lab.

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <PrivateSlapd.h>
#include <ScopedEnvironment.h>
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace KVR
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
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

/** Lines of a server's log that hold both texts. */
std::vector<std::string> logged(const std::string& server, const std::string& text, const std::string& other)
{
    std::ifstream log(variable("KVR_TEST_LAB") + "/" + server + "/log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);)
    {
        if (line.find(text) != std::string::npos && line.find(other) != std::string::npos)
        {
            lines.push_back(line);
        }
    }
    return lines;
}

/** The word of a line of the log that tells the session, as "conn=1007". */
std::string session(const std::string& line)
{
    const std::size_t begin = line.find("conn=");
    return line.substr(begin, line.find(' ', begin) - begin);
}

/** Sessions in which a daemon has logged in to a server with a ticket. */
std::set<std::string> sessions(const std::string& server, const std::string& daemon)
{
    std::set<std::string> found;
    for (const std::string& line : logged(server, "BIND dn=\"uid=" + daemon, "mech=GSSAPI"))
    {
        found.insert(session(line));
    }
    return found;
}

bool hasSeen(const std::string& server, const std::string& daemon)
{
    return !sessions(server, daemon).empty();
}

/** Whether every session in which the daemon has logged in is over. */
bool hasLeft(const std::string& server, const std::string& daemon)
{
    std::set<std::string> open = sessions(server, daemon);
    for (const std::string& line : logged(server, "conn=", " closed"))
    {
        open.erase(session(line));
    }
    return open.empty();
}

using Attributes = std::multimap<std::string, std::string>;

/** An entry with its user attributes. */
Attributes entry(const Connection& connection, const std::string& dn)
{
    std::list<std::string> names{"*"};
    std::shared_ptr<IKVRLdapEntity> entity;
    const auto query = connection->Search(dn, "(objectClass=*)", names, alSCOPE_BASE);
    if (!query || !query->Fetch(entity))
    {
        throw std::runtime_error("there is no entry " + dn);
    }
    return entity->attributes;
}

const std::string mainDatabase = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
const std::string configDatabase = "olcDatabase={0}config,cn=config";

std::size_t valuesOfMirrorMode(const Connection& connection)
{
    const Attributes attributes = entry(connection, configDatabase);
    return attributes.count("olcMirrorMode") + attributes.count("olcMultiProvider");
}

/** What a write throws, "" when it is done. */
std::string refusalOfUnit(const Connection& connection, const std::string& name)
{
    try
    {
        connection->EnsureOU("ou=" + name + "," + suffix);
        return "";
    }
    catch (const EKVRError& error)
    {
        return error.msg();
    }
}

TEST(PartnersTest, AnAgreementBringsOldAndNewEntriesToTheReplicaWhichTakesNoWrites)
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
    EXPECT_THAT(refusalOfUnit(replica, "own"), HasSubstr("Server is unwilling to perform"));
    EXPECT_EQ(replica->GetLastError(), 53);
    EXPECT_FALSE(has(replica, "ou=own," + suffix));
}

TEST(PartnersTest, AfterTheAgreementsDeletionNothingArrivesAndTheFormerReplicaTakesWrites)
{
    LabHost host("srv2");
    const Connection provider = host.connect("srv1", "administrator");
    const Connection replica = host.connect("srv2", "administrator");
    const std::vector<Attributes> before{entry(replica, mainDatabase), entry(replica, configDatabase)};
    replica->AddSyncRepl("002", "srv1.example.com");
    ASSERT_TRUE(becomesTrue([&] { return people(replica, suffix) == 10; }));

    replica->DeleteSyncRepl("002", "srv1.example.com");

    EXPECT_EQ((std::vector<Attributes>{entry(replica, mainDatabase), entry(replica, configDatabase)}),
              before);
    const auto former = sessions("srv1", "kvrd/srv2.example.com,");
    provider->EnsureOU("ou=later," + suffix);
    // A replica of 2.4 leaves its provider only when that sends something, and takes nothing from it then.
    EXPECT_TRUE(becomesTrue([] { return hasLeft("srv1", "kvrd/srv2.example.com,"); }));
    EXPECT_EQ(refusalOfUnit(replica, "own"), "");
    EXPECT_TRUE(has(replica, "ou=own," + suffix));
    EXPECT_FALSE(has(replica, "ou=later," + suffix));
    EXPECT_EQ(people(replica, suffix), 10);
    EXPECT_EQ(sessions("srv1", "kvrd/srv2.example.com,"), former);
}

TEST(PartnersTest, TheAgreementIsInBothDatabasesUntilItIsDeleted)
{
    LabHost host("srv2");
    const Connection replica = host.connect("srv2", "administrator");
    const auto agreement = [](const std::string& base)
    {
        return "{0}rid=\"007\" provider=\"ldap://srv1.example.com\" bindmethod=sasl saslmech=gssapi "
               "authcid=\"kvrd/srv2.example.com\" searchbase=\"" +
               base + "\" type=refreshAndPersist retry=\"60 +\"";
    };
    std::list<std::string> agreements{"left over"};

    replica->AddSyncRepl("007", "srv1.example.com");
    replica->EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements, ElementsAre(agreement("dc=example,dc=com")));
    EXPECT_THAT(entry(replica, configDatabase), Contains(Pair("olcSyncrepl", agreement("cn=config"))));
    EXPECT_EQ(valuesOfMirrorMode(replica), 1U);

    replica->DeleteSyncRepl("007", "srv1.example.com");
    replica->EnumerateSyncRepls(agreements);
    EXPECT_THAT(agreements, IsEmpty());
    EXPECT_EQ(entry(replica, configDatabase).count("olcSyncrepl"), 0U);
    EXPECT_EQ(valuesOfMirrorMode(replica), 0U);
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

/** Ends a server of the lab. */
void stopServer(const std::string& name)
{
    const std::string command =
        std::string(KVR_PRIVATE_SLAPD) + " stop " + variable("KVR_TEST_LAB") + "/" + name;
    if (std::system(command.c_str()) != 0) // NOLINT(cert-env33-c,concurrency-mt-unsafe): own script
    {
        throw std::runtime_error("failed: " + command);
    }
}

TEST(PartnersTest, AnUpdatedProviderAnswersFromAnotherServerWhenTheFormerOneIsGone)
{
    LabHost host("srv1");
    const Connection administrator = host.connect("srv1", "administrator");
    administrator->AddLdapProvider("other.org", "srv3.example.com", "");
    ASSERT_EQ(people(administrator, remoteSuffix), 10);
    const Support::PrivateSlapd third({"--address", "srv2.example.com", "--port", "1389", "--kerberos",
                                       variable("KVR_TEST_KERBEROS"), "--suffix", remoteSuffix, "--entries",
                                       "7", "--rights", "administrators"});

    administrator->UpdateLdapProvider("other.org", third.hostAndPort());
    stopServer("srv3");

    EXPECT_EQ(people(host.connect("srv1", "administrator"), remoteSuffix), 7);
    EXPECT_EQ(people(host.connect("srv1", "user"), remoteSuffix), 7);
}

TEST(PartnersTest, ADeletedProviderIsNotForwardedToWhereTheServerDeletesDatabases)
{
    LabHost host("srv1");
    const Connection administrator = host.connect("srv1", "administrator");
    administrator->AddLdapProvider("other.org", "srv3.example.com", "");
    ASSERT_EQ(people(administrator, remoteSuffix), 10);
    std::map<std::string, std::string> providers;

    if (Support::PrivateSlapd::isVersion24())
    {
        EXPECT_THROW(administrator->DeleteLdapProvider("other.org"), EKVRError);
        EXPECT_EQ(administrator->GetLastError(), 53);
        administrator->EnumerateLdapProviders(providers);
        EXPECT_THAT(providers, ElementsAre(Pair("{0}ldap", remoteSuffix)));
        EXPECT_EQ(people(administrator, remoteSuffix), 10);
        return;
    }
    administrator->DeleteLdapProvider("other.org");
    administrator->EnumerateLdapProviders(providers);
    EXPECT_THAT(providers, IsEmpty());
    EXPECT_EQ(people(administrator, remoteSuffix), -1);
    EXPECT_EQ(people(host.connect("srv1", "user"), remoteSuffix), -1);
}

} // namespace
} // namespace KVR
