#include "Descriptor.h"

#include <kvr/KVRUtils.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace KVR
{

namespace
{

constexpr int notRun = 127;

/** Descriptor of the pipe in the outer shell; shells redirect single digits only. */
constexpr int reportDescriptor = 3;

/**
 * A host may ignore SIGCHLD, or have a handler that waits for every child: then the kernel or the
 * handler takes the exit status away, and changing the handler for a while would disturb the
 * host's other threads. So an outer shell, whose signal handling is our own, waits for the
 * command's shell and reports the status through a pipe.
 */
constexpr const char* outerScript = "/bin/sh -c -- \"$1\" 3>&-; echo $? >&3";

class SpawnActions
{
public:
    SpawnActions() : valid_(posix_spawn_file_actions_init(&actions_) == 0) {}
    ~SpawnActions()
    {
        if (valid_)
        {
            posix_spawn_file_actions_destroy(&actions_);
        }
    }

    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    bool Fill(int reportTo, bool quiet)
    {
        valid_ = valid_ && posix_spawn_file_actions_adddup2(&actions_, reportTo, reportDescriptor) == 0;
        for (const int output : {STDOUT_FILENO, STDERR_FILENO})
        {
            valid_ = valid_ && (!quiet || posix_spawn_file_actions_addopen(&actions_, output, "/dev/null",
                                                                           O_WRONLY, 0) == 0);
        }
        return valid_;
    }

    const posix_spawn_file_actions_t* Get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_ = {};
    bool valid_;
};

class SpawnAttributes
{
public:
    SpawnAttributes() : valid_(posix_spawnattr_init(&attributes_) == 0) {}
    ~SpawnAttributes()
    {
        if (valid_)
        {
            posix_spawnattr_destroy(&attributes_);
        }
    }

    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    /** SIGCHLD gets its default meaning and is let through; all other signals stay as they are. */
    bool Fill()
    {
        sigset_t child;
        sigset_t mask;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        valid_ = valid_ && pthread_sigmask(SIG_BLOCK, nullptr, &mask) == 0 &&
                 sigdelset(&mask, SIGCHLD) == 0 && posix_spawnattr_setsigdefault(&attributes_, &child) == 0 &&
                 posix_spawnattr_setsigmask(&attributes_, &mask) == 0 &&
                 posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK) == 0;
        return valid_;
    }

    const posix_spawnattr_t* Get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_ = {};
    bool valid_;
};

/** The number that the outer shell reports, or none when it ended before. */
std::optional<int> readReport(int descriptor)
{
    int status = 0;
    for (;;)
    {
        char character = '\0';
        const ssize_t length = read(descriptor, &character, 1);
        if (length < 0 && errno == EINTR)
        {
            continue;
        }
        if (length <= 0)
        {
            return std::nullopt;
        }
        if (character < '0' || character > '9')
        {
            return status;
        }
        status = status * 10 + (character - '0');
    }
}

/** Status of the outer shell itself, which says something only when that was killed. */
int waitForShell(pid_t shell)
{
    int status = 0;
    pid_t ended = -1;
    do
    {
        ended = waitpid(shell, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == shell && WIFSIGNALED(status) ? 128 + WTERMSIG(status) : notRun;
}

} // namespace

int ExecCommand(const std::string command, bool quiet)
{
    int ends[2] = {-1, -1};
    if (command.find('\0') != std::string::npos || pipe2(ends, O_CLOEXEC) != 0)
    {
        return notRun;
    }
    const Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    SpawnActions actions;
    SpawnAttributes attributes;
    if (!actions.Fill(writeEnd.Number(), quiet) || !attributes.Fill())
    {
        return notRun;
    }

    std::string arguments[] = {"sh", "-c", outerScript, "sh", command};
    char* const argumentList[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                                  arguments[3].data(), arguments[4].data(), nullptr};
    pid_t shell = -1;
    if (posix_spawn(&shell, "/bin/sh", actions.Get(), attributes.Get(), argumentList, environ) != 0)
    {
        return notRun;
    }
    writeEnd.Close();
    const std::optional<int> report = readReport(readEnd.Number());
    const int shellStatus = waitForShell(shell);
    return report.value_or(shellStatus);
}

} // namespace KVR
