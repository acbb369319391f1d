#pragma once

#include <kvr/CKVRLogProvider.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace KVR::Support
{

/** Takes the process-wide log as long as it lives, then restores the level and standard error. */
class LogCapture
{
public:
    /** A message as (level, text). */
    using Message = std::pair<int, std::string>;

    explicit LogCapture(std::int32_t level = kvrLOG_WARNING)
        : formerLevel_(CKVRLogProvider::GetLogProvider().level)
    {
        setLevel(level);
        CKVRLogProvider::GetLogProvider().SetSink(
            [this](KVRLogLevel messageLevel, const std::string& text)
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                messages_.emplace_back(messageLevel, text);
            });
    }

    ~LogCapture()
    {
        CKVRLogProvider::GetLogProvider().SetSink({});
        CKVRLogProvider::GetLogProvider().level = formerLevel_;
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void setLevel(std::int32_t level) { CKVRLogProvider::GetLogProvider().level = level; }

    std::vector<Message> messages() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return messages_;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        messages_.clear();
    }

private:
    std::int32_t formerLevel_;
    mutable std::mutex mutex_;
    std::vector<Message> messages_;
};

} // namespace KVR::Support
