#pragma once

#include <kvr/KVRExport.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace KVR
{

/** Importance of a log message; a lower value is more important. */
enum KVRLogLevel : int
{
    kvrLOG_FAILURE = 0,
    kvrLOG_WARNING = 1,
    kvrLOG_NOTICE = 2,
    kvrLOG_INFO = 3,
    kvrLOG_TRACE = 4,
    kvrLOG_DEBUG = 5
};

/**
 * The process-wide log.
 *
 * A message is written when its level is not above the current level. It goes to standard error
 * until SetFile or SetSink says otherwise. Every operation may be called from any thread; the sink
 * is called by one thread at a time.
 *
 * On standard error and in a file a message is a line. Where its text has line ends (CR, LF, CR LF,
 * VT, FF, and U+0085, U+2028 and U+2029 in UTF-8), each becomes a LF and a tab, so that what a
 * server has sent can't look like a message of its own. A descriptor that does not block is waited
 * for (poll(2)) as one that does. When writing fails, the rest of the message is lost.
 */
class KVR_API CKVRLogProvider
{
public:
    /**
     * Receives one message as it stands, line ends in it included and none added. It must neither
     * log nor use a CKVRFormatCall; what it throws leaves Put.
     */
    using Sink = std::function<void(KVRLogLevel level, const std::string& text)>;

    static CKVRLogProvider& GetLogProvider();

    /**
     * Writes one message and keeps errno. A '%' in the texts is no format.
     * @param messageLevel a KVRLogLevel; a message above the current level is left out
     * @param count number of texts, `text` included; the others follow as `const char*` and are
     *        appended to the first. A null one is written as "(null)".
     */
    void Put(KVRLogLevel messageLevel, unsigned long count, const char* text, ...);

    /** Hands messages to `target`; an empty one restores standard error. */
    void SetSink(Sink target);

    /**
     * Appends messages to the file, which is made with the rights 0640 (less umask(2)) when missing.
     * @throws EKVRError when the file can't be opened, or its name contains a zero byte; the old
     *         target stays
     */
    void SetFile(const std::string& path);

    /** Current level. Modules read it directly: it has the size of a 32-bit signed integer. */
    std::atomic<std::int32_t> level{kvrLOG_WARNING};

private:
    CKVRLogProvider();

    std::mutex mutex_;
    Sink sink_;
};

static_assert(sizeof(std::atomic<std::int32_t>) == sizeof(std::int32_t), "modules read the level in place");

} // namespace KVR
