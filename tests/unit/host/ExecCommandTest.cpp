#include "TemporaryFolder.h"

#include <kvr/KVRUtils.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

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

TEST(ExecCommand, NoDescriptorIsLeftOpen)
{
    const auto openDescriptors = []
    {
        using Iterator = std::filesystem::directory_iterator;
        return std::distance(Iterator("/proc/self/fd"), Iterator());
    };
    const auto before = openDescriptors();
    EXPECT_EQ(ExecCommand("true", false), 0);
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace KVR::Test
