// Every operation meets every fault at each of its requests: it ends in time with one of the module's
// errors, reports no success, and leaves no descriptor behind. The sanitizers watch its memory.

#include "Descriptors.h"
#include "Faults.h"
#include "HostileTest.h"
#include "Operations.h"
#include "SilentServer.h"

#include <kvr/EKVRError.h>

#include <set>
#include <stdexcept>

namespace KVR
{

namespace
{

using Support::Operation;
using Support::SilentServer;

constexpr std::chrono::milliseconds matrixLimit{30};
constexpr Operation everyKind[] = {Operation::Bind,   Operation::Search,   Operation::Modify, Operation::Add,
                                   Operation::Delete, Operation::ModifyDn, Operation::Compare};

bool isOfTheModule(const Caught& error)
{
    static const std::set<std::type_index> types{typeid(EKVROpenLdapError), typeid(EKVRError),
                                                 typeid(EKVRCheckError), typeid(EKVRInternalError)};
    return types.count(error.type) != 0;
}

class FaultMatrix : public HostileTest, public ::testing::WithParamInterface<TestedOperation>
{
protected:
    FaultMatrix()
    {
        host.parameters["KVRD_USER"] = "kvrd";
        host.parameters["DOMAIN_DN"] = "dc=home,dc=example";
        host.parameters["REALM"] = "HOME.EXAMPLE";
    }

    /** Lets the server answer well, but for one request of those that follow, or from it on. */
    void script(std::size_t faulty, const Fault* fault)
    {
        auto number = std::make_shared<std::size_t>(0);
        for (const Operation kind : everyKind)
        {
            responder.handle(
                kind,
                [=](const LdapRequest& request)
                {
                    ++*number;
                    if (fault != nullptr && (*number == faulty || (fault->isLasting && *number > faulty)))
                    {
                        return fault->answer(request);
                    }
                    return request.operation == Operation::Search ? GetParam().answerSearch(request)
                                                                  : Answer();
                });
        }
    }

    /** The kinds of the requests that the operation sends when all goes well. */
    std::vector<Operation> sentWithoutFault()
    {
        library.timeLimit = farBeyond;
        script(0, nullptr);
        const auto connection = connected();
        EXPECT_EQ(Caught(), caught([&] { GetParam().run(*connection); }));
        return responder.operations();
    }

    /** A connection that is connected, however busy the machine is and short the limit. */
    std::unique_ptr<CKVRLdapSession> connectedAtLast()
    {
        for (int left = 100; left > 0; --left)
        {
            auto connection = connectionTo(responder.uri());
            if (caught([&] { connectTo(*connection, responder.uri()); }) == Caught())
            {
                return connection;
            }
        }
        throw std::runtime_error("the responder can't be connected to");
    }

    /** What one fault at one request leads to. */
    void meet(const Fault& fault, std::size_t position, Operation kind)
    {
        SCOPED_TRACE(fault.name + " at request " + std::to_string(position));
        script(0, nullptr);
        const auto connection = connectedAtLast();
        script(position, &fault);
        const Caught error = inTime([&] { GetParam().run(*connection); });
        if (error == Caught())
        {
            EXPECT_TRUE(fault.looksDone && kind != Operation::Search) << "reported as done";
        }
        else
        {
            EXPECT_TRUE(isOfTheModule(error)) << error;
        }
        EXPECT_EQ(Caught(), inTime([&] { connection->Disconnect(); }));
    }
};

TEST_P(FaultMatrix, EndsInTimeAndReportsNoSuccess)
{
    const std::vector<Operation> kinds = sentWithoutFault();
    ASSERT_FALSE(kinds.empty());
    library.timeLimit = matrixLimit;
    const SilentServer silent;
    ASSERT_TRUE(responder.awaitNoConnection());
    const auto before = openDescriptors();
    for (const Fault& fault : faults(responder.uri(), "ldap://" + silent.target()))
    {
        for (std::size_t position = 1; position <= kinds.size(); ++position)
        {
            meet(fault, position, kinds[position - 1]);
        }
    }
    EXPECT_TRUE(awaitDescriptors(before)) << openDescriptors() << " instead of " << before;
}

INSTANTIATE_TEST_SUITE_P(Of, FaultMatrix, ::testing::ValuesIn(testedOperations()),
                         [](const auto& tested) { return tested.param.name; });

/** The same for the bind, over each transport. */
class BindFaultTest : public EachTransport
{
};

TEST_P(BindFaultTest, EndsInTimeAndReportsNoSuccess)
{
    library.timeLimit = matrixLimit;
    const SilentServer silent;
    for (const Fault& fault : faults(responder.uri(), "ldap://" + silent.target()))
    {
        SCOPED_TRACE(fault.name);
        responder.handle(Operation::Bind, fault.answer);
        const auto connection = connectionTo(responder.uri());
        const Caught error = inTime([&] { connectTo(*connection, responder.uri()); });
        EXPECT_TRUE(error == Caught() ? fault.looksDone : isOfTheModule(error)) << error;
    }
}

INSTANTIATE_TEST_SUITE_P(Over, BindFaultTest, transports, transportName);

} // namespace

} // namespace KVR
