#include "CoreText.h"
#include "Descriptor.h"
#include "ZeroByte.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/EKVRError.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

namespace KVR
{

namespace
{

/** Length of the line end that the text has there, or 0: what a terminal or an editor takes for one. */
std::size_t lineEndAt(std::string_view text, std::size_t place)
{
    using namespace std::string_view_literals;
    constexpr std::string_view nextLine = "\xC2\x85"sv;               // U+0085
    constexpr std::string_view lineSeparator = "\xE2\x80\xA8"sv;      // U+2028
    constexpr std::string_view paragraphSeparator = "\xE2\x80\xA9"sv; // U+2029
    for (const std::string_view end :
         {"\r\n"sv, "\n"sv, "\r"sv, "\v"sv, "\f"sv, nextLine, lineSeparator, paragraphSeparator})
    {
        if (text.compare(place, end.size(), end) == 0)
        {
            return end.size();
        }
    }
    return 0;
}

/** Messages hold texts of servers, which must not be able to look like messages of their own. */
std::string linesOf(const std::string& message)
{
    std::string lines;
    for (std::size_t place = 0; place < message.size();)
    {
        const std::size_t end = lineEndAt(message, place);
        if (end > 0)
        {
            lines += "\n\t";
            place += end;
            continue;
        }
        lines += message[place++];
    }
    return lines + '\n';
}

bool waitForRoom(int descriptor)
{
    pollfd room = {descriptor, POLLOUT, 0};
    return poll(&room, 1, -1) >= 0 || errno == EINTR;
}

/** Writes the message at once, so that those of several processes don't mix either. */
void writeMessage(int descriptor, const std::string& message)
{
    const std::string lines = linesOf(message);
    std::size_t written = 0;
    while (written < lines.size())
    {
        const ssize_t step = write(descriptor, lines.data() + written, lines.size() - written);
        if (step >= 0)
        {
            written += static_cast<std::size_t>(step);
        }
        else if (errno == EAGAIN ? !waitForRoom(descriptor) : errno != EINTR)
        {
            return; // there is no place left to report it to
        }
    }
}

/** Callers log between a failing call and the look at its errno. */
class KeepErrno
{
public:
    KeepErrno() = default;
    ~KeepErrno() { errno = saved_; }

    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

private:
    const int saved_ = errno;
};

int openLog(const std::string& path)
{
    if (hasZeroByte(path))
    {
        errno = EINVAL;
        return -1;
    }
    return open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
}

} // namespace

CKVRLogProvider::CKVRLogProvider() = default;

CKVRLogProvider& CKVRLogProvider::GetLogProvider()
{
    struct Provider : CKVRLogProvider
    {
    };
    // Never destroyed: destructors of other statics, and threads that outlive main, still log.
    static CKVRLogProvider& provider = *std::make_unique<Provider>().release();
    return provider;
}

void CKVRLogProvider::Put(KVRLogLevel messageLevel, unsigned long count, const char* text, ...)
{
    if (messageLevel > level.load(std::memory_order_relaxed))
    {
        return;
    }
    const KeepErrno keepErrno;
    std::string message = text != nullptr ? text : "(null)";
    va_list further;
    va_start(further, text);
    try
    {
        for (unsigned long index = 1; index < count; ++index)
        {
            const char* const next = va_arg(further, const char*);
            message += next != nullptr ? next : "(null)";
        }
    }
    catch (...)
    {
        va_end(further);
        throw;
    }
    va_end(further);

    const std::lock_guard<std::mutex> lock(mutex_);
    if (sink_)
    {
        sink_(messageLevel, message);
    }
    else
    {
        writeMessage(STDERR_FILENO, message);
    }
}

void CKVRLogProvider::SetSink(Sink target)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    sink_.swap(target);
}

void CKVRLogProvider::SetFile(const std::string& path)
{
    const auto file = std::make_shared<Descriptor>(openLog(path));
    if (!*file)
    {
        const std::string reason = std::generic_category().message(errno);
        CKVRFormatCall format(__FILE__, __func__, __LINE__);
        throw EKVRError(format(1, coreText("File '%s' can't be opened."), path.c_str()), reason);
    }
    SetSink([file](KVRLogLevel, const std::string& text) { writeMessage(file->Number(), text); });
}

} // namespace KVR
