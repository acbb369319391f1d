#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace KVR::Cli
{

/**
 * A line on the terminal that tells how far a long run is. It appears when the run has taken a
 * second, changes a few times a second, and is gone in the end.
 */
class Progress
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    using Write = std::function<void(const std::string&)>;

    /** @param write what shows the line, or nothing to show none */
    Progress(Clock clock, Write write);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /** @param total 0 when it is not known */
    void Tell(const char* what, std::size_t done, std::size_t total);

    /** Makes room for a message. */
    void Clear();

    /** Writes to standard error; nothing when that is no terminal. */
    static Write ToTerminal();

private:
    using Time = std::chrono::steady_clock::time_point;

    Clock clock_;
    Write write_;
    Time next_;
    std::size_t width_ = 0; /**< of the line that is shown */
};

} // namespace KVR::Cli
