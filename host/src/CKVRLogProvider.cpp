#include "CoreText.h"
#include "Descriptor.h"
#include "ZeroByte.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/EKVRError.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <memory>
#include <system_error>
#include <utility>

namespace KVR
{

namespace
{

/** Writes the line at once, so that lines of several processes don't mix either. */
void writeLine(int descriptor, const std::string& text)
{
    const std::string line = text + '\n';
    std::size_t written = 0;
    while (written < line.size())
    {
        const ssize_t step = write(descriptor, line.data() + written, line.size() - written);
        if (step < 0 && errno != EINTR)
        {
            return; // there is no place left to report it to
        }
        written += step > 0 ? static_cast<std::size_t>(step) : 0U;
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
        writeLine(STDERR_FILENO, message);
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
    SetSink([file](KVRLogLevel, const std::string& text) { writeLine(file->Number(), text); });
}

} // namespace KVR
