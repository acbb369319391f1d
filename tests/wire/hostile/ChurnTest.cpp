// A thousand sessions that end by each fault leave neither memory nor descriptors behind.

#include "Descriptors.h"
#include "Faults.h"
#include "HostileTest.h"
#include "SilentServer.h"

#include <malloc.h>

namespace KVR
{

namespace
{

using Support::Operation;
using Support::SilentServer;

#ifdef __SANITIZE_ADDRESS__
// The sanitizer looks for lost memory itself, and is slow where much is asked for.
constexpr int sessions = 30;
#else
constexpr int sessions = 1000;
#endif
constexpr int warmUp = 20;

/** What libldap itself loses of a session: texts of notices, and lists of referrals that lead in a circle. */
constexpr long lostByLibldap = 400;

std::vector<std::string> faultNames()
{
    std::vector<std::string> names;
    for (const Fault& fault : faults("ldap://here", "ldap://silent"))
    {
        names.push_back(fault.name);
    }
    return names;
}

class Churn : public HostileTest, public ::testing::WithParamInterface<std::string>
{
protected:
    Churn()
    {
        library.timeLimit = std::chrono::milliseconds(1);
        for (Fault& each : faults(responder.uri(), "ldap://" + silent.target()))
        {
            if (each.name == GetParam())
            {
                fault = std::move(each);
            }
        }
    }

    /** One session that searches and writes. */
    void end()
    {
        responder.handle(Operation::Search, fault.answer);
        responder.handle(Operation::Modify, fault.answer);
        host.parameters["KVR_PRM_LDAP_URIS"] = responder.uri();
        CKVRLdapConnection connection(host);
        caught([&] { connection.Connect(responder.uri(), KVRAuthAnonymous); });
        caught([&] { search(connection); });
        caught([&] { write(connection); });
        forgetRecords();
    }

    void forgetRecords()
    {
        responder.clear();
        host.calls.clear();
        library.initialized.clear();
        library.setOptions.clear();
        library.readOptions.clear();
        library.binds.clear();
        library.searches.clear();
        library.modifies.clear();
        library.freed.clear();
    }

    void end(int count)
    {
        for (int number = 0; number < count; ++number)
        {
            end();
        }
        EXPECT_TRUE(responder.awaitNoConnection());
    }

    SilentServer silent;
    Fault fault;
};

TEST_P(Churn, LeavesNothingBehind)
{
    end(warmUp);
    const auto descriptors = openDescriptors();
    const auto memory = static_cast<long>(mallinfo2().uordblks);
    end(sessions);
    EXPECT_TRUE(awaitDescriptors(descriptors)) << openDescriptors() << " instead of " << descriptors;
    EXPECT_LT((static_cast<long>(mallinfo2().uordblks) - memory) / sessions, lostByLibldap)
        << "bytes a session";
}

INSTANTIATE_TEST_SUITE_P(ByEach, Churn, ::testing::ValuesIn(faultNames()),
                         [](const auto& tested)
                         {
                             std::string name = tested.param;
                             for (char& each : name)
                             {
                                 each = std::isalnum(static_cast<unsigned char>(each)) != 0 ? each : '_';
                             }
                             return name;
                         });

} // namespace

} // namespace KVR
