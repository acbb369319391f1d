// Signals while an operation waits: handlers run, and nothing else changes.

#include "HostileTest.h"
#include "SilentServer.h"

#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace KVR
{

namespace
{

using Support::FullPort;
using Support::Operation;
using Support::SilentServer;

std::atomic<int> handled{0};

void count(int /*signal*/)
{
    handled++;
}

/** A signal's handler, for as long as this lives. */
class Handler
{
public:
    Handler(int signal, void (*function)(int), int flags) : signal_(signal)
    {
        struct sigaction action = {};
        action.sa_handler = function;
        action.sa_flags = flags;
        sigaction(signal_, &action, &former_);
    }
    ~Handler() { sigaction(signal_, &former_, nullptr); }

    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

private:
    const int signal_;
    struct sigaction former_ = {};
};

/** Signals at this pace to the thread of the test, for as long as this lives. */
class Storm
{
public:
    Storm(std::chrono::microseconds pause, int flags)
        : handler_(SIGALRM, count, flags), target_(pthread_self()), thread_([this, pause] { run(pause); })
    {
        handled = 0;
    }

    ~Storm()
    {
        isOver_ = true;
        thread_.join();
    }

    Storm(const Storm&) = delete;
    Storm& operator=(const Storm&) = delete;

private:
    void run(std::chrono::microseconds pause)
    {
        while (!isOver_)
        {
            std::this_thread::sleep_for(pause);
            pthread_kill(target_, SIGALRM);
        }
    }

    const Handler handler_;
    const pthread_t target_;
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

/** Pauses between signals, and flags of their handler. */
class StormTest : public HostileTest,
                  public ::testing::WithParamInterface<std::tuple<std::chrono::microseconds, int>>
{
protected:
    std::unique_ptr<Storm> storm() const
    {
        return std::make_unique<Storm>(std::get<0>(GetParam()), std::get<1>(GetParam()));
    }

    /** Answers that come late, but in time. */
    void answerLate()
    {
        library.timeLimit = std::chrono::seconds(5);
        for (const Operation operation : {Operation::Bind, Operation::Search, Operation::Modify})
        {
            responder.handle(operation,
                             [](const LdapRequest&)
                             {
                                 std::this_thread::sleep_for(shortLimit);
                                 return Answer();
                             });
        }
    }
};

TEST_P(StormTest, ChangesNoResult)
{
    answerLate();
    const auto signals = storm();
    const auto connection = connected();
    EXPECT_EQ(Caught(), inTime([&] { write(*connection); }));
    EXPECT_EQ(Caught(), inTime([&] { EXPECT_NE(nullptr, search(*connection)); }));
    EXPECT_EQ(Caught(), inTime([&] { readBinary(*connection); }));
    EXPECT_TRUE(connection->IsConnected());
    EXPECT_GT(handled, 0);
}

TEST_P(StormTest, ChangesNoLimit)
{
    const auto connection = connected();
    const auto signals = storm();
    responder.onModify(Answer().silence());
    EXPECT_EQ(writeFailure("Timed out"), inTime([&] { write(*connection); }));
    responder.onSearch(Answer().entry("cn=a,dc=x").cutAfter(8));
    EXPECT_EQ(searchFailure("Can't contact LDAP server"), inTime([&] { search(*connection); }));
}

TEST_P(StormTest, ChangesNoLimitOfConnecting)
{
    const FullPort full;
    const SilentServer silent;
    const auto signals = storm();
    for (const std::string& uri : {"ldap://" + full.target(), "ldaps://" + silent.target()})
    {
        const auto connection = connectionTo(uri);
        EXPECT_EQ(bindFailure("Can't contact LDAP server").message,
                  inTime([&] { connectTo(*connection, uri); }).message);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, StormTest,
                         ::testing::Combine(::testing::Values(std::chrono::microseconds(100'000),
                                                              std::chrono::microseconds(300)),
                                            ::testing::Values(0, SA_RESTART)));

TEST_F(HostileTest, ASignalDoesNotEndAConnectionThatIsUnderWay)
{
    // The kernel tries again after one second and after three, and finds room.
    library.timeLimit = std::chrono::milliseconds(4500);
    FullPort full;
    const std::string uri = "ldap://" + full.target();
    const auto connection = connectionTo(uri);
    const Storm signals(std::chrono::microseconds(10'000), 0);
    std::thread taker(
        [&]
        {
            while (handled < 20)
            {
                std::this_thread::yield();
            }
            full.takeWaiting();
        });
    // The bind, which is over a connection, is never answered.
    EXPECT_EQ(bindFailure("Timed out"), inTime([&] { connectTo(*connection, uri); }));
    taker.join();

    // What the connection needed is not waited for once more.
    const auto answerLimit = library.setOptions.back();
    EXPECT_EQ(LDAP_OPT_TIMEOUT, answerLimit.option);
    EXPECT_LT(std::stod(answerLimit.value), 3.6);
    inTime([&] { write(*connection); });
    EXPECT_EQ("4.500000", library.setOptions.back().value) << "but the next operation has a whole limit";
}

class ResetTest : public EachTransport
{
};

TEST_P(ResetTest, NeverRaisesSigpipe)
{
    const Handler handler(SIGPIPE, count, 0);
    handled = 0;
    const auto connection = connected();
    responder.onSearch(Answer().reset());
    EXPECT_EQ(searchFailure("Can't contact LDAP server"), inTime([&] { search(*connection); }));
    EXPECT_EQ(writeFailure("Can't contact LDAP server"), inTime([&] { write(*connection); }));
    connection->Disconnect();
    EXPECT_EQ(0, handled);
}

TEST_P(ResetTest, AfterAnIdleTimeIsALostConnection)
{
    const Handler handler(SIGPIPE, count, 0);
    handled = 0;
    const auto connection = connected();
    responder.dropConnections();
    EXPECT_EQ(writeFailure("Can't contact LDAP server"), inTime([&] { write(*connection); }));
    EXPECT_EQ(writeFailure("Can't contact LDAP server"), inTime([&] { write(*connection); }));
    EXPECT_EQ(searchFailure("Can't contact LDAP server"), inTime([&] { search(*connection); }));
    connection->Disconnect();
    EXPECT_EQ(0, handled);
    EXPECT_EQ(Caught(), inTime([&] { connection->Connect(responder.uri(), KVRAuthAnonymous); }));
}

INSTANTIATE_TEST_SUITE_P(Over, ResetTest, transports, transportName);

} // namespace

} // namespace KVR
