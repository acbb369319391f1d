#include "TemporaryFolder.h"

#include <kvr/KVRUtils.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <utility>

namespace KVR::Test
{

namespace
{

/** Sets the host's handling of SIGCHLD and restores it. */
class ChildSignal
{
public:
    explicit ChildSignal(void (*handler)(int))
    {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigemptyset(&action.sa_mask);
        sigaction(SIGCHLD, &action, &former_);
    }
    ~ChildSignal() { sigaction(SIGCHLD, &former_, nullptr); }

    ChildSignal(const ChildSignal&) = delete;
    ChildSignal& operator=(const ChildSignal&) = delete;

private:
    struct sigaction former_ = {};
};

class BlockedChildSignal
{
public:
    BlockedChildSignal()
    {
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &child, &former_);
    }
    ~BlockedChildSignal() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }

    BlockedChildSignal(const BlockedChildSignal&) = delete;
    BlockedChildSignal& operator=(const BlockedChildSignal&) = delete;

private:
    sigset_t former_ = {};
};

extern "C" void reapEveryChild(int)
{
    const int saved = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0)
    {
    }
    errno = saved;
}

int signalLog = -1;

extern "C" void noteSignal(int)
{
    if (signalLog >= 0 && write(signalLog, "x", 1) != 1)
    {
        _exit(1);
    }
}

/** Runs the command in a host that handles every signal and leads a process group. */
int inAGroupOfItsOwn(const std::string& command)
{
    const pid_t host = fork();
    if (host == 0)
    {
        for (int number = 1; number < NSIG; ++number)
        {
            signal(number, noteSignal);
        }
        _exit(setpgid(0, 0) == 0 ? ExecCommand(command, false) : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(host, &status, 0), host);
    EXPECT_TRUE(WIFEXITED(status)) << "by signal " << WTERMSIG(status);
    return WEXITSTATUS(status);
}

/** A named pipe; whoever opens it waits for the other side. */
struct Fifo
{
    explicit Fifo(std::string name) : path(std::move(name)) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }

    const std::string path;
};

/** State of a process as proc_pid_stat(5) has it, 'T' for stopped. */
char stateOf(pid_t process)
{
    const std::string status = TemporaryFolder::Read("/proc/" + std::to_string(process) + "/stat");
    return status.at(status.rfind(')') + 2);
}

std::string outputOf(const std::string& command, bool quiet)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(ExecCommand(command, quiet), 0);
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
}

} // namespace

TEST(ExecCommand, SuccessIsZero)
{
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(ExecCommand("", false), 0);
}

TEST(ExecCommand, TheResultIsTheExitStatusOfTheCommand)
{
    EXPECT_EQ(ExecCommand("false", false), 1);
    EXPECT_EQ(ExecCommand("exit 3", false), 3);
    EXPECT_EQ(ExecCommand("exit 255", false), 255);
}

TEST(ExecCommand, ASignalGives128AndItsNumber)
{
    EXPECT_EQ(ExecCommand("kill -KILL $$", false), 128 + SIGKILL);
    EXPECT_EQ(ExecCommand("kill -TERM $$", false), 128 + SIGTERM);
    EXPECT_EQ(ExecCommand("exec sh -c 'kill -SEGV $$'", true), 128 + SIGSEGV);
}

TEST(ExecCommand, AnUnknownCommandGives127)
{
    EXPECT_EQ(ExecCommand("/nonexistent/command", true), 127);
}

TEST(ExecCommand, ACommandThatNoShellTakesGives127)
{
    EXPECT_EQ(ExecCommand(std::string("true\0; false", 12), false), 127);
    EXPECT_EQ(ExecCommand("true #" + std::string(4U << 20U, 'x'), false), 127);
}

TEST(ExecCommand, TheCommandIsAShellCommand)
{
    const TemporaryFolder folder;
    const std::string path = folder.Path("it's");
    EXPECT_EQ(ExecCommand("echo \"a $((1 + 1)) 'b'\" > \"" + path + "\"; test -s \"" + path + '"', false), 0);
    EXPECT_EQ(TemporaryFolder::Read(path), "a 2 'b'\n");
}

TEST(ExecCommand, TheTextOfTheCommandCannotReachTheReport)
{
    EXPECT_EQ(ExecCommand("exit 4 # comment", false), 4);
    EXPECT_EQ(ExecCommand("(exit 5", true), 2);
    EXPECT_EQ(ExecCommand("exit 6\n", false), 6);
    EXPECT_EQ(ExecCommand("echo 0 >&3; exit 7", true), 7);
    EXPECT_EQ(ExecCommand("-c", true), 127);
}

TEST(ExecCommand, TheCommandPrintsUnlessItIsQuiet)
{
    EXPECT_EQ(outputOf("echo out; echo err >&2", false), "out\nerr\n");
    EXPECT_EQ(outputOf("echo out; echo err >&2", true), "");
}

TEST(ExecCommand, TheStatusIsKnownWhenTheHostIgnoresItsChildren)
{
    const ChildSignal ignored(SIG_IGN);
    EXPECT_EQ(ExecCommand("exit 5", false), 5);
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(ExecCommand("kill -KILL $$", false), 128 + SIGKILL);
}

TEST(ExecCommand, TheStatusIsKnownWhenTheHostWaitsForEveryChild)
{
    const ChildSignal reaped(reapEveryChild);
    for (int round = 0; round < 20; ++round)
    {
        EXPECT_EQ(ExecCommand("exit 5", false), 5);
    }
}

TEST(ExecCommand, TheStatusIsKnownWhenAThreadOfTheHostWaitsForChildrenOfEveryKind)
{
    std::atomic<bool> done{false};
    std::thread thread(
        [&done]
        {
            while (!done)
            {
                waitpid(-1, nullptr, __WALL);
            }
        });
    for (int round = 0; round < 20; ++round)
    {
        EXPECT_EQ(ExecCommand("exit 5", false), 5);
    }
    done = true;
    thread.join();
}

TEST(ExecCommand, TheHostsHandlerOfChildrenIsNotCalled)
{
    static volatile sig_atomic_t calls;
    calls = 0;
    const ChildSignal counted([](int) { calls = calls + 1; });
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(calls, 0);
}

TEST(ExecCommand, TheStatusIsKnownWhenTheHostBlocksTheSignal)
{
    const BlockedChildSignal blocked;
    EXPECT_EQ(ExecCommand("exit 5", false), 5);
}

TEST(ExecCommand, TheCommandItselfGetsTheSignalAsUsual)
{
    const ChildSignal ignored(SIG_IGN);
    const BlockedChildSignal blocked;
    // SIGCHLD is number 17, which is bit 16 of these masks
    EXPECT_EQ(ExecCommand("while read -r name mask; do case $name in SigBlk:|SigIgn:) "
                          "test $((0x$mask & 0x10000)) = 0 || exit 9;; esac; done < /proc/self/status",
                          false),
              0);
}

TEST(ExecCommand, TheHostsOwnHandlingStays)
{
    const ChildSignal ignored(SIG_IGN);
    EXPECT_EQ(ExecCommand("true", false), 0);
    struct sigaction now = {};
    sigaction(SIGCHLD, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
}

TEST(ExecCommand, TheCommandGetsNoDescriptorMoreThanAnyOther)
{
    for (int inherited = STDERR_FILENO + 1; inherited < 64; ++inherited)
    {
        fcntl(inherited, F_SETFD, FD_CLOEXEC);
    }
    const std::string count = "n=0; for f in /proc/$$/fd/*; do n=$((n + 1)); done; exit $n";
    const int status = std::system(count.c_str()); // NOLINT(cert-env33-c): the yardstick
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(ExecCommand(count, false), WEXITSTATUS(status));
    EXPECT_EQ(ExecCommand(count, true), WEXITSTATUS(status));
}

TEST(ExecCommand, SignalsThatReachTheHostMeanwhileDoNotDisturb)
{
    struct sigaction former = {};
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &former);
    const std::string signal = "kill -USR1 " + std::to_string(getpid()) + "; ";
    EXPECT_EQ(ExecCommand(signal + signal + signal + "exit 5", false), 5);
    sigaction(SIGUSR1, &former, nullptr);
}

TEST(ExecCommand, TheCommandDecidesWhatASignalToItsProcessGroupMeans)
{
    for (const std::string signal : {"HUP", "INT", "QUIT", "TERM", "USR1", "ALRM", "PIPE"})
    {
        EXPECT_EQ(inAGroupOfItsOwn("trap 'exit 0' " + signal + "; kill -" + signal + " 0; exit 1"), 0)
            << signal;
    }
    EXPECT_EQ(inAGroupOfItsOwn("kill -INT 0; exit 1"), 128 + SIGINT);
    EXPECT_EQ(inAGroupOfItsOwn("kill -TERM 0; exit 1"), 128 + SIGTERM);
}

TEST(ExecCommand, ASignalToTheProcessGroupReachesTheHostOnce)
{
    const TemporaryFolder folder;
    signalLog = open(folder.File("signals").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    EXPECT_EQ(inAGroupOfItsOwn("trap : INT; kill -INT 0; exit 5"), 5);
    close(signalLog);
    signalLog = -1;
    EXPECT_EQ(TemporaryFolder::Read(folder.Path("signals")), "x");
}

TEST(ExecCommand, ACommandThatIsStoppedIsWaitedFor)
{
    const TemporaryFolder folder;
    const Fifo pid(folder.Path("pid"));
    std::thread continuing(
        [&pid]
        {
            const pid_t command = std::stoi(TemporaryFolder::Read(pid.path));
            while (stateOf(command) != 'T')
            {
                std::this_thread::yield();
            }
            EXPECT_EQ(kill(command, SIGCONT), 0);
        });
    EXPECT_EQ(ExecCommand("echo $$ > " + pid.path + "; kill -STOP $$; exit 5", false), 5);
    continuing.join();
}

TEST(ExecCommand, SignalsThatTheHostIgnoresOrBlocksAreSoInTheCommand)
{
    EXPECT_EXIT(
        {
            signal(SIGUSR1, SIG_IGN);
            sigset_t blocked;
            sigemptyset(&blocked);
            sigaddset(&blocked, SIGUSR2);
            pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
            _exit(ExecCommand("kill -USR1 $$; kill -USR2 $$; exit 5", false));
        },
        testing::ExitedWithCode(5), "");
}

TEST(ExecCommand, TheSignalsOfTheCallingThreadStayAsTheyWere)
{
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    EXPECT_EQ(ExecCommand("true", false), 0);
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    for (int number = 1; number < NSIG; ++number)
    {
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << number;
    }
}

TEST(ExecCommand, TheCommandHasEveryDescriptorThatMayBeInherited)
{
    const TemporaryFolder folder;
    const std::string path = folder.File("file");
    EXPECT_EXIT(
        {
            bool ready = true;
            const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
            for (const int number : {3, 4, 9, 10, 63})
            {
                ready = dup2(file, number) == number && fcntl(number, F_SETFD, 0) == 0 && ready;
            }
            const int status = ExecCommand("echo a >&3; echo b >&4; echo c >&9; "
                                           "for number in 10 63; do test /proc/$$/fd/$number -ef " +
                                               path + " || exit 1; done; exit 5",
                                           false);
            _exit(ready ? status : 1);
        },
        testing::ExitedWithCode(5), "");
    EXPECT_EQ(TemporaryFolder::Read(path), "a\nb\nc\n");
}

TEST(ExecCommand, WhatTheHostClosesMeanwhileIsClosed)
{
    const TemporaryFolder folder;
    const Fifo start(folder.Path("start"));
    const Fifo end(folder.Path("end"));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::thread closing(
        [&]
        {
            EXPECT_EQ(TemporaryFolder::Read(start.path), "started\n");
            close(ends[1]);
            pollfd closed = {ends[0], POLLIN, 0};
            EXPECT_EQ(poll(&closed, 1, 10000), 1) << "the other end is still open";
            std::ofstream(end.path) << "go on\n";
        });
    EXPECT_EQ(ExecCommand("echo started > " + start.path + "; read -r text < " + end.path, false), 0);
    closing.join();
    close(ends[0]);
}

TEST(ExecCommand, ACommandWhoseWaitingProcessIsKilledIsWaitedForAllTheSame)
{
    const TemporaryFolder folder;
    const Fifo parent(folder.Path("parent"));
    const Fifo end(folder.Path("end"));
    std::thread goOn(
        [&]
        {
            const pid_t waiter = std::stoi(TemporaryFolder::Read(parent.path));
            while (kill(waiter, 0) == 0)
            {
                std::this_thread::yield();
            }
            std::ofstream(end.path) << "go on\n";
        });
    // the status is lost with the process
    EXPECT_EQ(ExecCommand("kill -KILL $PPID; echo $PPID > " + parent.path + "; read -r text < " + end.path +
                              "; : > " + folder.Path("done"),
                          false),
              128 + SIGKILL);
    EXPECT_TRUE(IsFileExist(folder.Path("done")));
    goOn.join();
}

TEST(ExecCommand, NoChildIsLeftBehind)
{
    EXPECT_EQ(ExecCommand("true", false), 0);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG | __WALL), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ExecCommand, AProcessInTheBackgroundIsNotWaitedFor)
{
    const TemporaryFolder folder;
    const std::string path = folder.Path("pid");
    EXPECT_EQ(ExecCommand("sleep 1000 > /dev/null 2>&1 & echo $! > " + path + "; exit 8", false), 8);
    const pid_t background = std::stoi(TemporaryFolder::Read(path));
    EXPECT_EQ(kill(background, SIGKILL), 0) << "the command waited for its end";
}

TEST(ExecCommand, ItRunsInAHostWithoutStandardStreams)
{
    EXPECT_EXIT(
        {
            close(STDIN_FILENO);
            close(STDOUT_FILENO);
            close(STDERR_FILENO);
            const bool good = ExecCommand("exit 6", false) == 6 && ExecCommand("echo a; exit 7", true) == 7;
            _exit(good ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

/** Leaves the process no descriptor to open. */
void useAllDescriptors()
{
    const rlimit few = {64, 64};
    setrlimit(RLIMIT_NOFILE, &few);
    while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0)
    {
    }
}

TEST(ExecCommand, ItNeedsNoDescriptorOfTheHost)
{
    const TemporaryFolder folder;
    const std::string done = folder.Path("done");
    const std::string loop = "i=0; while [ $i -lt 50000 ]; do i=$((i + 1)); done; : > " + done;
    EXPECT_EXIT(
        {
            useAllDescriptors();
            const bool isRun = ExecCommand("exit 6", false) == 6 && ExecCommand("exit 7", true) == 7;
            const int orphaned = ExecCommand("kill -KILL $PPID; " + loop, false);
            _exit(isRun && orphaned == 128 + SIGKILL && IsFileExist(done) ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST(ExecCommand, NoDescriptorIsLeftOpen)
{
    const auto openDescriptors = []
    {
        using Iterator = std::filesystem::directory_iterator;
        return std::distance(Iterator("/proc/self/fd"), Iterator());
    };
    const auto before = openDescriptors();
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(ExecCommand("kill -KILL $PPID", false), 128 + SIGKILL);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ExecCommand, NoSharedMemoryIsLeftMapped)
{
    const auto mappings = []
    {
        std::istringstream maps(TemporaryFolder::Read("/proc/self/maps"));
        int count = 0;
        for (std::string line; std::getline(maps, line);)
        {
            count += line.find(" rw-s ") != std::string::npos ? 1 : 0;
        }
        return count;
    };
    const int before = mappings();
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(mappings(), before);
}

} // namespace KVR::Test
