#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace KVR::Support
{

/** Sets or removes an environment variable and restores it at the end. */
class ScopedEnvironment
{
public:
    /** @param value no value removes the variable */
    ScopedEnvironment(const char* name, const std::optional<std::string>& value) : name_(name)
    {
        if (const char* former = std::getenv(name)) // NOLINT(concurrency-mt-unsafe): before any thread
        {
            former_ = former;
        }
        assign(value);
    }

    ~ScopedEnvironment() { assign(former_); }

    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    void assign(const std::optional<std::string>& value)
    {
        if (value)
        {
            ::setenv(name_.c_str(), value->c_str(), 1);
        }
        else
        {
            ::unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> former_;
};

} // namespace KVR::Support
