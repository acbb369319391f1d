#include "RunningScript.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace KVR::Support
{

namespace
{

/** Both ends of a pipe; neither is inherited by programs that are started. */
class Pipe
{
public:
    Pipe()
    {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0)
        {
            throw std::runtime_error("no pipe for a script");
        }
    }

    ~Pipe()
    {
        closeEnd(ends_[0]);
        closeEnd(ends_[1]);
    }

    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void closeWriteEnd() { closeEnd(ends_[1]); }
    int releaseWriteEnd() { return std::exchange(ends_[1], -1); }

private:
    static void closeEnd(int& end)
    {
        if (end >= 0)
        {
            close(std::exchange(end, -1));
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

pid_t spawn(std::vector<std::string> words, int input, int output)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
    {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t redirections;
    posix_spawn_file_actions_init(&redirections);
    posix_spawn_file_actions_adddup2(&redirections, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&redirections, output, STDOUT_FILENO);
    pid_t child = -1;
    const int error = posix_spawn(&child, arguments[0], &redirections, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&redirections);
    if (error != 0)
    {
        throw std::runtime_error("cannot run " + words.front());
    }
    return child;
}

std::string readLine(int descriptor)
{
    std::string line;
    char next = '\0';
    for (;;)
    {
        const ssize_t count = read(descriptor, &next, 1);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0 || next == '\n')
        {
            return line;
        }
        line += next;
    }
}

} // namespace

RunningScript::RunningScript(std::vector<std::string> words, const std::string& answer)
{
    const std::string program = words.front();
    // The command tells the answer and then waits for the end of its input, which is also what it
    // meets when this process dies.
    words.insert(words.end(), {"--", "/bin/sh", "-c", "echo \"" + answer + "\"; read -r _"});

    Pipe input;
    Pipe output;
    script_ = spawn(std::move(words), input.readEnd(), output.writeEnd());
    output.closeWriteEnd();
    input_ = input.releaseWriteEnd();
    answer_ = readLine(output.readEnd());
    if (answer_.empty())
    {
        stop();
        throw std::runtime_error(program + " has not started");
    }
}

RunningScript::~RunningScript()
{
    stop();
}

void RunningScript::stop()
{
    if (script_ < 0)
    {
        return;
    }
    close(std::exchange(input_, -1));
    const pid_t script = std::exchange(script_, -1);
    while (waitpid(script, nullptr, 0) < 0 && errno == EINTR)
    {
    }
}

} // namespace KVR::Support
