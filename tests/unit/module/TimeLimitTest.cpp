// The waits of a session, without a session.

#include "KVRLdapTimeLimit.h"
#include "SilentServer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <thread>

namespace KVR
{

namespace
{

using std::chrono::hours;
using std::chrono::milliseconds;
using Support::Descriptor;
using Support::FullPort;

/** Two connected sockets, of which the second is written to. */
class SocketPair
{
public:
    SocketPair()
    {
        std::array<int, 2> sockets{};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()));
        first_ = Descriptor(sockets[0]);
        second_ = Descriptor(sockets[1]);
    }

    int first() const { return first_.get(); }
    void write() const { EXPECT_EQ(1, send(second_.get(), "a", 1, 0)); }

private:
    Descriptor first_;
    Descriptor second_;
};

class TimeLimit : public testing::Test
{
protected:
    void begin(CKVRTimeLimit::Clock::duration operation, CKVRTimeLimit::Clock::duration connecting = hours(1))
    {
        limit.SetLengths(operation, connecting);
        limit.Begin(false);
    }

    void expectEnded(bool isDone)
    {
        const int reason = errno;
        EXPECT_FALSE(isDone);
        EXPECT_EQ(ETIMEDOUT, reason);
        EXPECT_TRUE(limit.IsReached());
    }

    CKVRTimeLimit limit;
    SocketPair sockets;
};

TEST_F(TimeLimit, EndsAWaitForASocketThatStaysSilent)
{
    begin(milliseconds(20));
    expectEnded(limit.Await(sockets.first(), POLLIN));
    EXPECT_EQ(CKVRTimeLimit::Clock::duration::zero(), limit.Left());
}

TEST_F(TimeLimit, IsNotReachedByASocketThatIsReady)
{
    begin(hours(1));
    sockets.write();
    EXPECT_TRUE(limit.Await(sockets.first(), POLLIN));
    EXPECT_FALSE(limit.IsReached());
    EXPECT_GT(limit.Left(), milliseconds(1));
}

TEST_F(TimeLimit, OfAnEndedOperationWaitsForNothing)
{
    begin(hours(1));
    limit.End(false);
    EXPECT_FALSE(limit.Await(sockets.first(), POLLIN));
    EXPECT_EQ(ETIMEDOUT, errno);
    EXPECT_FALSE(limit.IsReached()) << "it was not the limit that ended it";
}

TEST_F(TimeLimit, BeginsAnewWithTheNextOperation)
{
    begin(milliseconds(1));
    expectEnded(limit.Await(sockets.first(), POLLIN));
    limit.Begin(false);
    EXPECT_FALSE(limit.IsReached());
    EXPECT_GT(limit.Left(), CKVRTimeLimit::Clock::duration::zero());
}

TEST_F(TimeLimit, LeavesWhatNeedsNoWaitItsTimeOnceMore)
{
    begin(milliseconds(100));
    static_cast<void>(limit.Await(sockets.first(), POLLIN));
    EXPECT_TRUE(limit.HasTime());
    while (limit.HasTime())
    {
        std::this_thread::yield();
    }
    expectEnded(limit.HasTime());
}

TEST_F(TimeLimit, OfAConnectionCanBeShorterThanThatOfItsOperation)
{
    const FullPort full;
    const Descriptor underWay = full.connect();
    begin(hours(1), milliseconds(20));
    expectEnded(limit.AwaitConnection(underWay.get(), true));
}

TEST_F(TimeLimit, OfAnOperationHoldsForItsConnections)
{
    const FullPort full;
    const Descriptor underWay = full.connect();
    begin(milliseconds(20));
    expectEnded(limit.AwaitConnection(underWay.get(), true));
}

TEST_F(TimeLimit, OfAServerOfAListBeginsWithItsConnectionAndNotWithThatOfAReferral)
{
    const FullPort full;
    const Descriptor underWay = full.connect();
    limit.SetLengths(milliseconds(20), hours(1));
    limit.Begin(true);
    expectEnded(limit.Await(sockets.first(), POLLIN));
    expectEnded(limit.AwaitConnection(underWay.get(), false));
    limit.SetLengths(hours(1), hours(1));
    sockets.write();
    const Descriptor refused = Support::beginConnection(1);
    EXPECT_FALSE(limit.AwaitConnection(refused.get(), true));
    EXPECT_TRUE(limit.Await(sockets.first(), POLLIN)) << "the limit is a new one";
}

TEST_F(TimeLimit, IsNotReachedByAConnectionThatIsRefused)
{
    const Descriptor refused = Support::beginConnection(1);
    begin(hours(1));
    EXPECT_FALSE(limit.AwaitConnection(refused.get(), true));
    EXPECT_EQ(ECONNREFUSED, errno);
    EXPECT_FALSE(limit.IsReached());
}

} // namespace

} // namespace KVR
