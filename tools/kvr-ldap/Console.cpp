#include "Console.h"

#include "Text.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace KVR::Cli
{

namespace
{

constexpr std::size_t bufferSize = 65536;

/** The line without its end, or what there is before the end of the input. */
std::string readLine(int descriptor)
{
    std::string line;
    char next = '\0';
    for (;;)
    {
        const ssize_t count = read(descriptor, &next, 1);
        if (count > 0 && next != '\n')
        {
            line += next;
        }
        else if (count >= 0 || errno != EINTR)
        {
            return line;
        }
    }
}

} // namespace

int WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty())
    {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0)
        {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        else if (errno != EINTR)
        {
            return errno;
        }
    }
    return 0;
}

void StandardOutput::Write(std::string_view text)
{
    buffer_ += text;
    if (buffer_.size() >= bufferSize)
    {
        Flush();
    }
}

void StandardOutput::Flush()
{
    const int error = WriteAll(STDOUT_FILENO, buffer_);
    buffer_.clear();
    if (error == EPIPE)
    {
        throw OutputClosed();
    }
    if (error != 0)
    {
        throw Failure(ExitCode::Unusable, "standard output", std::generic_category().message(error));
    }
}

StandardOutputAside::StandardOutputAside()
    : kept_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC,
                  STDERR_FILENO + 1)) // NOLINT(cppcoreguidelines-pro-type-vararg)
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

StandardOutputAside::~StandardOutputAside()
{
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
}

void Messages::Line(const std::string& text) const
{
    // Where standard error itself fails there is nobody left to tell.
    WriteAll(STDERR_FILENO, charset_.FromUtf8(OneLine("kvr-ldap: " + text)) + '\n');
}

void Messages::Report(const Failure& failure) const
{
    Line((failure.subject.empty() ? "" : failure.subject + ": ") + failure.what());
    if (!failure.advice.empty())
    {
        Line("hint: " + failure.advice);
    }
}

std::optional<bool> Messages::Ask(const std::string& question) const
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0)
    {
        return std::nullopt;
    }
    WriteAll(STDERR_FILENO, charset_.FromUtf8(OneLine(question + " [y/N] ")));
    const std::string answer = readLine(STDIN_FILENO);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void OccupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    {
        // NOLINTBEGIN(cppcoreguidelines-pro-type-vararg)
        if (fcntl(descriptor, F_GETFD) == -1 && errno == EBADF)
        {
            static_cast<void>(
                open("/dev/null", O_RDWR)); // NOLINT(android-cloexec-open): inherited on purpose
        }
        // NOLINTEND(cppcoreguidelines-pro-type-vararg)
    }
}

} // namespace KVR::Cli
