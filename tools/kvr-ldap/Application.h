#pragma once

#include "Commands.h"

namespace KVR::Cli
{

/** One run of the command line: reads the arguments, runs the command, tells how it went. */
class Application
{
public:
    explicit Application(const Charset& charset);

    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /** @return the exit status */
    int Run(int count, const char* const* arguments);

private:
    void AddOptions();

    /** @throws CLI::ParseError */
    void Parse(int count, const char* const* arguments);

    int Execute();
    int Print(const std::string& text);
    /** The command that the user named, as far as it is known. */
    const CLI::App& Named() const;

    Failure UsageFailure(const CLI::ParseError& error) const;
    void ConnectLog() const;

    const Charset& charset_;
    Messages messages_;
    StandardOutput out_;
    CLI::App app_;
    CommandTable commands_;
    GlobalOptions options_;
    std::string output_ = "text";
    bool quiet_ = false;
};

} // namespace KVR::Cli
