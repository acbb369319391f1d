#include "LdapResponder.h"
#include "LogCapture.h"
#include "ldap-wrapper.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRCore.h>
#include <kvr/EKVRError.h>

#include <gmock/gmock.h>
#include <ldap.h>

#include <atomic>
#include <functional>
#include <thread>

namespace KVR::Support
{
namespace
{

/** Each connection stays in one thread; host, log and catalogues are shared. */
class TwoConnections : public testing::Test
{
protected:
    /** Runs the work in two threads, each with a connection of its own. */
    void inTwoThreads(const std::function<void(IKVRLdapConnection&)>& work)
    {
        const auto thread = [&]
        {
            const auto connection = wrapper.getConnection();
            connection->Connect(server.target(), KVRAuthAnonymous);
            work(*connection);
        };
        std::thread first(thread);
        std::thread second(thread);
        first.join();
        second.join();
    }

    LdapResponder server;
    CKVRCore host{KVRHostIdentity{"example.com", "server.example.com", "host.example.com"}};
    CKVRLdapWrapper wrapper{host};
    LogCapture log{kvrLOG_TRACE};
};

TEST_F(TwoConnections, WalkTheirOwnResults)
{
    constexpr int rounds = 20;
    constexpr int people = 50;
    Answer answer;
    for (int i = 0; i < people; ++i)
    {
        const std::string name = "p" + std::to_string(i);
        answer.entry("cn=" + name + ",dc=x", {{"cn", {name}}, {"objectClass", {"top", "person"}}});
    }
    server.always(Operation::Search, answer);
    std::atomic<int> walked{0};
    inTwoThreads(
        [&walked](IKVRLdapConnection& connection)
        {
            for (int round = 0; round < rounds; ++round)
            {
                std::list<std::string> all;
                const auto query = connection.Search("dc=x", "(cn=*)", all, alSCOPE_SUB);
                std::shared_ptr<IKVRLdapEntity> entity;
                while (query->Fetch(entity))
                {
                    walked += entity->ValByAttr("cn", false).empty() ? 0 : 1;
                    entity->ValByAttr("objectClass", true);
                }
            }
        });
    EXPECT_EQ(walked, 2 * rounds * people);
    EXPECT_EQ(log.messages().size(), 2U + 2 * rounds * people) << "a trace each, and each 'met twice'";
}

TEST_F(TwoConnections, KeepTheirOwnResultCodes)
{
    server.handle(Operation::Search, [](const LdapRequest& request)
                  { return Answer().result(request.dn == "cn=0" ? LDAP_SUCCESS : LDAP_OTHER); });
    std::atomic<int> next{0};
    inTwoThreads(
        [&next](IKVRLdapConnection& connection)
        {
            const int number = next++;
            for (int round = 0; round < 100; ++round)
            {
                std::list<std::string> all;
                try
                {
                    connection.Search("cn=" + std::to_string(number), "(cn=*)", all, alSCOPE_BASE);
                }
                catch (const EKVRError&)
                {
                    EXPECT_EQ(number, 1);
                }
                EXPECT_EQ(connection.GetLastError(), number == 0 ? LDAP_SUCCESS : LDAP_OTHER);
            }
        });
}

TEST_F(TwoConnections, ReadTheHostsParametersWhileTheyChange)
{
    std::atomic<bool> done{false};
    std::thread writer(
        [&]
        {
            while (!done)
            {
                host.SetParameter("KVR_PRM_LDAP_URIS", server.uri());
                CKVRLogProvider::GetLogProvider().level = kvrLOG_WARNING;
            }
        });
    for (int round = 0; round < 20; ++round)
    {
        inTwoThreads([](IKVRLdapConnection& connection) { EXPECT_TRUE(connection.IsConnected()); });
    }
    done = true;
    writer.join();
}

} // namespace
} // namespace KVR::Support
