#pragma once

#include <chrono>

namespace KVR
{

/**
 * The time that a session's operations may take, and the waits for its sockets.
 *
 * One limit holds for the whole of an operation, on whatever sockets it waits: the first server's and
 * those of referrals. A signal handler that runs during a wait changes nothing. For one thread, as the
 * session itself.
 */
class CKVRTimeLimit
{
public:
    using Clock = std::chrono::steady_clock;

    /** The limit of an operation, and of one attempt to reach a server within it. */
    void SetLengths(Clock::duration operation, Clock::duration connecting);

    /** @param oneServerEach the operation tries one server after the other, each with a limit of its own */
    void Begin(bool oneServerEach);

    /**
     * Ends the operation: from now on nothing is waited for.
     * @param isReached true when the library itself has noticed the limit
     */
    void End(bool isReached)
    {
        deadline_ = Clock::time_point::min();
        isReached_ = isReached;
    }

    /** True when the limit ended a wait of the last operation. */
    bool IsReached() const { return isReached_; }

    /** What is left of the operation's limit; not below zero. */
    Clock::duration Left() const;

    /** The limit of an operation. */
    Clock::duration Whole() const { return operation_; }

    /**
     * False when the operation has had its time twice; errno is ETIMEDOUT then. What needs no wait may go on
     * for that long: libldap looks at the time between messages and keeps its session, but in a TLS
     * handshake it does not look.
     */
    bool HasTime();

    /**
     * Waits until a socket is ready, or has failed, as poll(2) tells for these events.
     * @return false when the limit is reached, with ETIMEDOUT in errno, and when poll fails
     */
    bool Await(int socket, short events) { return awaitUntil(deadline_, socket, events); }

    /**
     * Waits until a socket whose connect(2) is under way is connected.
     * @param isListed it leads to one of the servers of which each has a limit of its own
     * @return false when the connection fails or a limit is reached, with the reason in errno
     */
    bool AwaitConnection(int socket, bool isListed);

private:
    bool awaitUntil(Clock::time_point deadline, int socket, short events);

    Clock::duration operation_{};
    Clock::duration connecting_{};
    Clock::time_point deadline_ = Clock::time_point::min();
    bool oneServerEach_ = false;
    bool isReached_ = false;
};

} // namespace KVR
