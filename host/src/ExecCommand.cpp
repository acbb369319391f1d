#include "Descriptor.h"
#include "ZeroByte.h"

#include <kvr/KVRUtils.h>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <new>
#include <optional>

namespace KVR
{

namespace
{

constexpr int notRun = 127;
constexpr int unknown = -1;

using Stack = std::array<char, 0x10000>;

/**
 * One run of a command, in memory that the caller and the waiter share.
 *
 * A host may ignore SIGCHLD, or have a handler that waits for every child: then the kernel or the
 * handler takes the exit status away, and changing the handler for a while would disturb the
 * host's other threads. So the command is the child of another process, the waiter. That one is a
 * copy of the host without its other threads, so it may only call what a signal handler may, and
 * it has all signals blocked: neither a signal to the process group nor the host's handlers can
 * end its wait.
 */
struct Run
{
    Run(char* const* shellArguments, bool isQuiet) : arguments(shellArguments), quiet(isQuiet) {}

    char* const* arguments;
    bool quiet;
    sigset_t mask = {}; /**< of the command */
    pid_t command = 0;  /**< 0 until the kernel makes its process */
    std::atomic<int> result{unknown};
    alignas(16) Stack waiterStack;
    alignas(16) Stack commandStack;
};

/** Owns the memory of a run. */
class SharedRun
{
public:
    SharedRun(char* const* arguments, bool quiet)
        : memory_(mmap(nullptr, sizeof(Run), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          run_(memory_ != MAP_FAILED ? new (memory_) Run(arguments, quiet) : nullptr)
    {
    }
    ~SharedRun()
    {
        if (run_ != nullptr)
        {
            munmap(memory_, sizeof(Run));
        }
    }

    SharedRun(const SharedRun&) = delete;
    SharedRun& operator=(const SharedRun&) = delete;

    explicit operator bool() const { return run_ != nullptr; }
    Run& operator*() const { return *run_; }

private:
    void* memory_;
    Run* run_;
};

/** Blocks all signals for the calling thread. */
class BlockedSignals
{
public:
    BlockedSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }

    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    const sigset_t& Former() const { return former_; }

private:
    sigset_t former_ = {};
};

bool discardOutput()
{
    for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    {
        close(output); // there may be no other descriptor left
        const int discarding = open("/dev/null", O_WRONLY);
        if (discarding < 0)
        {
            return false;
        }
        if (discarding != output)
        {
            dup2(discarding, output);
            close(discarding);
        }
    }
    return true;
}

void resetSignal(int number)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(number, &action, nullptr);
}

/**
 * The host's handlers must not run in the command's process. SIGABRT is left alone: newer C libraries take
 * a lock for it, which another thread of the host may have had.
 */
void dropHandlers()
{
    for (int number = 1; number < NSIG; ++number)
    {
        struct sigaction action = {};
        if (number != SIGABRT && sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
        {
            resetSignal(number);
        }
    }
}

/** The command's process; what it returns is its exit status. */
int runCommand(void* data)
{
    const Run& run = *static_cast<const Run*>(data);
    dropHandlers();
    if ((!run.quiet || discardOutput()) && sigprocmask(SIG_SETMASK, &run.mask, nullptr) == 0)
    {
        execve("/bin/sh", run.arguments, environ);
    }
    return notRun;
}

/** The wait status of a child, or none when somebody else has taken it. */
std::optional<int> waitForChild(pid_t child, int options)
{
    int status = 0;
    pid_t ended = -1;
    do
    {
        ended = waitpid(child, &status, options);
    } while (ended < 0 && errno == EINTR);
    return ended == child ? std::optional<int>(status) : std::nullopt;
}

int resultOf(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

/** The waiter's process. */
int waitForCommand(void* data)
{
    constexpr int asVfork = CLONE_VM | CLONE_VFORK | CLONE_PARENT_SETTID | SIGCHLD;
    Run& run = *static_cast<Run*>(data);
    resetSignal(SIGCHLD);
    const pid_t command =
        clone(runCommand, run.commandStack.data() + run.commandStack.size(), asVfork, &run, &run.command);
    // whatever the host closes meanwhile is closed
    close_range(0, UINT_MAX, 0);
    const std::optional<int> status = command > 0 ? waitForChild(command, 0) : std::nullopt;
    run.result = status ? resultOf(*status) : notRun;
    return 0;
}

/**
 * A process that ends without a signal: the host's handler is not called, ignoring SIGCHLD does
 * not matter, and a wait(2) of the host for any child does not meet it. Handlers of
 * pthread_atfork(3) don't run, as with posix_spawn(3).
 */
pid_t startWaiter(Run& run)
{
    constexpr int withoutSignal = 0;
    const BlockedSignals blocked;
    run.mask = blocked.Former();
    sigdelset(&run.mask, SIGCHLD);
    return clone(waitForCommand, run.waiterStack.data() + run.waiterStack.size(), withoutSignal, &run);
}

/** Waits for the end of a process that is no child, or has become one of this process, as of the first. */
void waitForStranger(pid_t process)
{
    constexpr int pause = 10; // milliseconds
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd ended = {handle.Number(), POLLIN, 0};
    while (handle && poll(&ended, 1, -1) < 0 && errno == EINTR)
    {
    }
    while (!handle && kill(process, 0) == 0 && waitpid(process, nullptr, WNOHANG) != process)
    {
        poll(nullptr, 0, pause);
    }
}

} // namespace

int ExecCommand(const std::string command, bool quiet)
{
    if (hasZeroByte(command))
    {
        return notRun;
    }
    std::array<std::string, 4> texts = {"sh", "-c", "--", command};
    char* const arguments[] = {texts[0].data(), texts[1].data(), texts[2].data(), texts[3].data(), nullptr};
    const SharedRun shared(arguments, quiet);
    if (!shared)
    {
        return notRun;
    }
    Run& run = *shared;
    const pid_t waiter = startWaiter(run);
    if (waiter < 0)
    {
        return notRun;
    }
    const std::optional<int> waiterStatus = waitForChild(waiter, __WALL);
    if (run.result != unknown)
    {
        return run.result;
    }
    // The waiter was killed; nobody knows the status of the command, which may still run.
    if (run.command != 0)
    {
        waitForStranger(run.command);
    }
    return waiterStatus ? resultOf(*waiterStatus) : notRun;
}

} // namespace KVR
