#pragma once

#include "Charset.h"
#include "Failure.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace KVR::Cli
{

/** The reader of the standard output has gone: nothing more is wanted, and that is no failure. */
class OutputClosed : public std::runtime_error
{
public:
    OutputClosed() : std::runtime_error("standard output is closed") {}
};

/** Writes everything. @return 0 or the error number */
int WriteAll(int descriptor, std::string_view text);

/** Standard output, buffered. */
class StandardOutput
{
public:
    StandardOutput() = default;
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    /** @throws OutputClosed, Failure when the text can't be written */
    void Write(std::string_view text);

    /** Hands everything to the system; without it the buffer is lost. @throws as Write */
    void Flush();

private:
    std::string buffer_;
};

/**
 * As long as it lives, what other programs write to standard output goes to standard error: it is no part
 * of the answer.
 */
class StandardOutputAside
{
public:
    StandardOutputAside();
    ~StandardOutputAside();

    StandardOutputAside(const StandardOutputAside&) = delete;
    StandardOutputAside& operator=(const StandardOutputAside&) = delete;

private:
    const int kept_;
};

/** Messages for the user on standard error, one line each. */
class Messages
{
public:
    explicit Messages(const Charset& charset) : charset_(charset) {}

    /** @param text UTF-8, any characters */
    void Line(const std::string& text) const;

    void Report(const Failure& failure) const;

    /**
     * Asks the user, who says yes or no; anything else is no.
     * @return nothing when standard input or standard error is no terminal
     */
    std::optional<bool> Ask(const std::string& question) const;

private:
    const Charset& charset_;
};

/**
 * Opens /dev/null in place of standard descriptors that are closed: the session's socket would
 * take their numbers, and the program's output would go to the server.
 */
void OccupyStandardDescriptors();

} // namespace KVR::Cli
