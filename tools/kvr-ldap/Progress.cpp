#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace KVR::Cli
{

namespace
{

constexpr std::chrono::milliseconds delay{1000};
constexpr std::chrono::milliseconds pause{250};

} // namespace

Progress::Progress(Clock clock, Write write)
    : clock_(std::move(clock)), write_(std::move(write)), next_(clock_() + delay)
{
}

Progress::~Progress()
{
    Clear();
}

void Progress::Tell(const char* what, std::size_t done, std::size_t total)
{
    if (!write_)
    {
        return;
    }
    const Time now = clock_();
    if (now < next_)
    {
        return;
    }
    next_ = now + pause;
    const std::string line = std::string(what) + ' ' + std::to_string(done) +
                             (total == 0 ? "" : " of " + std::to_string(total)) + " records";
    const std::string rest(width_ > line.size() ? width_ - line.size() : 0, ' ');
    write_('\r' + line + rest);
    width_ = line.size() + rest.size();
}

void Progress::Clear()
{
    if (width_ > 0)
    {
        write_('\r' + std::string(width_, ' ') + '\r');
        width_ = 0;
    }
}

Progress::Write Progress::ToTerminal()
{
    if (isatty(STDERR_FILENO) == 0)
    {
        return nullptr;
    }
    return [](const std::string& text) { static_cast<void>(std::fputs(text.c_str(), stderr)); };
}

} // namespace KVR::Cli
