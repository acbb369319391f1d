#include "KVRLdapTimeLimit.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace KVR
{

namespace
{

/** A time as poll(2) takes it: rounded up, so that the wait does not end early and begin again. */
int pollTime(CKVRTimeLimit::Clock::duration time)
{
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(time).count();
    constexpr auto longest = std::numeric_limits<int>::max();
    return milliseconds < longest ? static_cast<int>(milliseconds) : longest;
}

} // namespace

void CKVRTimeLimit::SetLengths(Clock::duration operation, Clock::duration connecting)
{
    operation_ = operation;
    connecting_ = connecting;
}

void CKVRTimeLimit::Begin(bool oneServerEach)
{
    oneServerEach_ = oneServerEach;
    isReached_ = false;
    deadline_ = Clock::now() + operation_;
}

CKVRTimeLimit::Clock::duration CKVRTimeLimit::Left() const
{
    return std::max(deadline_ - std::min(deadline_, Clock::now()), Clock::duration::zero());
}

bool CKVRTimeLimit::HasTime()
{
    if (Clock::now() - operation_ < deadline_)
    {
        return true;
    }
    isReached_ = true;
    errno = ETIMEDOUT;
    return false;
}

bool CKVRTimeLimit::AwaitConnection(int socket, bool isListed)
{
    if (oneServerEach_ && isListed)
    {
        Begin(true);
    }
    if (!awaitUntil(std::min(deadline_, Clock::now() + connecting_), socket, POLLOUT))
    {
        return false;
    }
    int failure = 0;
    socklen_t size = sizeof failure;
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &failure, &size) != 0)
    {
        return false;
    }
    errno = failure;
    return failure == 0;
}

bool CKVRTimeLimit::awaitUntil(Clock::time_point deadline, int socket, short events)
{
    for (;;)
    {
        const Clock::time_point now = Clock::now();
        if (now >= deadline)
        {
            isReached_ = deadline != Clock::time_point::min();
            errno = ETIMEDOUT;
            return false;
        }
        pollfd watched{socket, events, 0};
        const int count = poll(&watched, 1, pollTime(deadline - now));
        if (count > 0 || (count < 0 && errno != EINTR))
        {
            return count > 0;
        }
    }
}

} // namespace KVR
