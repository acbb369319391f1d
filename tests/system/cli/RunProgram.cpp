#include "RunProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

namespace KVR::CliTest
{

namespace
{

/** A file without a name, for what a program prints. */
class Capture
{
public:
    Capture() : file_(std::tmpfile(), &std::fclose)
    {
        if (!file_)
        {
            throw std::runtime_error("no temporary file");
        }
    }

    explicit Capture(const std::string& content) : Capture()
    {
        std::fwrite(content.data(), 1, content.size(), file_.get());
        std::rewind(file_.get());
    }

    int descriptor() const { return fileno(file_.get()); }

    std::string content() const
    {
        std::string text;
        std::rewind(file_.get());
        for (int each = std::fgetc(file_.get()); each != EOF; each = std::fgetc(file_.get()))
        {
            text += static_cast<char>(each);
        }
        return text;
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

/** A terminal, seen from the user's side. It neither echoes nor changes line ends. */
class Terminal
{
public:
    Terminal() : user_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (grantpt(user_) == 0 && unlockpt(user_) == 0)
        {
            program_ = open(ptsname(user_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        }
        termios modes{};
        if (tcgetattr(program_, &modes) != 0)
        {
            throw std::runtime_error("no terminal");
        }
        modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        modes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        tcsetattr(program_, TCSANOW, &modes);
    }

    ~Terminal()
    {
        close(user_);
        close(program_);
    }

    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int descriptor() const { return program_; }

    void type(const std::string& text) const
    {
        if (write(user_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        {
            throw std::runtime_error("the terminal takes no more");
        }
    }

    /** What programs have written; they have ended. */
    std::string content()
    {
        close(std::exchange(program_, -1));
        std::string text;
        char next = '\0';
        while (read(user_, &next, 1) == 1)
        {
            text += next;
        }
        return text;
    }

private:
    int user_;
    int program_ = -1;
};

std::vector<std::string> environmentOf(const Setting& setting)
{
    std::map<std::string, std::optional<std::string>> changes = setting.environment;
    changes.insert({{"LC_ALL", "C.UTF-8"}, {"LANGUAGE", std::nullopt}, {"KRB5CCNAME", std::nullopt}});
    changes.insert({{"KVR_LDAP", KVR_PROGRAM}, {"KVR_SANDBOX_TOOL", KVR_SANDBOX_TOOL}});
    std::vector<std::string> result;
    for (char** each = environ; *each != nullptr; ++each)
    {
        const std::string variable = *each;
        if (changes.count(variable.substr(0, variable.find('='))) == 0)
        {
            result.push_back(variable);
        }
    }
    for (const auto& [name, value] : changes)
    {
        if (value)
        {
            result.push_back(name + '=' + *value);
        }
    }
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
    {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/** The writing end of a pipe whose reading end is closed. */
class DeadPipe
{
public:
    DeadPipe()
    {
        if (pipe2(ends_, O_CLOEXEC) != 0)
        {
            throw std::runtime_error("no pipe");
        }
        close(ends_[0]);
    }
    ~DeadPipe() { close(ends_[1]); }

    DeadPipe(const DeadPipe&) = delete;
    DeadPipe& operator=(const DeadPipe&) = delete;

    int descriptor() const { return ends_[1]; }

private:
    int ends_[2] = {-1, -1};
};

Outcome run(const std::string& program, std::vector<std::string> arguments, const Setting& setting)
{
    const Capture out;
    const Capture err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const DeadPipe deadPipe;
    const Capture input(setting.input);
    Terminal terminal;
    terminal.type(setting.typed);
    if (setting.readerGone)
    {
        posix_spawn_file_actions_adddup2(&actions, deadPipe.descriptor(), STDOUT_FILENO);
    }
    else if (!setting.output)
    {
        posix_spawn_file_actions_adddup2(&actions, out.descriptor(), STDOUT_FILENO);
    }
    else if (setting.output->empty())
    {
        posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    }
    else
    {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, setting.output->c_str(), O_WRONLY, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, err.descriptor(), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, input.descriptor(), STDIN_FILENO);
    for (const int each : setting.terminals)
    {
        posix_spawn_file_actions_adddup2(&actions, terminal.descriptor(), each);
    }

    arguments.insert(arguments.begin(), program);
    std::vector<std::string> environment = environmentOf(setting);
    pid_t child = -1;
    const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, pointersTo(arguments).data(),
                                  pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child)
    {
        throw std::runtime_error("can't run " + program);
    }
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    const std::string shown = terminal.content();
    const auto contentOf = [&](int each, const Capture& capture)
    { return setting.terminals.count(each) > 0 ? shown : capture.content(); };
    return {exitStatus, contentOf(STDOUT_FILENO, out), contentOf(STDERR_FILENO, err)};
}

} // namespace

Setting inLocale(const std::string& name)
{
    Setting setting;
    // The C library itself loses a text where LOCPATH is set, which the leak checker would report.
    setting.environment = {{"LC_ALL", name}, {"LOCPATH", KVR_LOCALES}, {"ASAN_OPTIONS", "detect_leaks=0"}};
    return setting;
}

Setting atTerminal(const std::string& typed)
{
    Setting setting;
    setting.terminals = {STDIN_FILENO, STDERR_FILENO};
    setting.typed = typed;
    return setting;
}

Outcome kvrLdap(const std::vector<std::string>& arguments, const Setting& setting)
{
    return run(KVR_PROGRAM, arguments, setting);
}

Outcome shell(const std::string& script, const Setting& setting)
{
    return run("/bin/bash", {"-c", script}, setting);
}

} // namespace KVR::CliTest
