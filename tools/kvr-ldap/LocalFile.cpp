#include "LocalFile.h"

#include "Console.h"
#include "Failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace KVR::Cli::LocalFile
{

namespace
{

class Descriptor
{
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0)
        {
            close(number_);
        }
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return number_; }

    /** @return false when what was written can't be kept, which some file systems tell only now */
    bool Close() { return close(std::exchange(number_, -1)) == 0; }

private:
    int number_;
};

/** A new file beside another one, that goes away again unless it takes the other's place. */
class Replacement
{
public:
    explicit Replacement(std::string name)
        : name_(std::move(name)), path_(name_ + ".XXXXXX"), file_(mkostemp(path_.data(), O_CLOEXEC))
    {
    }
    ~Replacement()
    {
        if (file_.Number() >= 0 || isLeft_)
        {
            unlink(path_.c_str());
        }
    }

    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /** @return 0 or the error number */
    int Fill(const std::string& content, mode_t permissions)
    {
        if (file_.Number() < 0)
        {
            return errno;
        }
        const int error = WriteAll(file_.Number(), content);
        if (error != 0)
        {
            return error;
        }
        isLeft_ = true;
        if (fchmod(file_.Number(), permissions) != 0 || fsync(file_.Number()) != 0 || !file_.Close() ||
            rename(path_.c_str(), name_.c_str()) != 0)
        {
            return errno;
        }
        isLeft_ = false;
        return 0;
    }

private:
    std::string name_;
    std::string path_;
    Descriptor file_;
    bool isLeft_ = false;
};

/** What a file gets that a program makes in the usual way. */
mode_t usualPermissions()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

[[noreturn]] void fail(const std::string& name, int error, const Charset& charset)
{
    throw Failure(ExitCode::Unusable, "file '" + charset.ToUtf8(name).value_or(name) + "'",
                  std::generic_category().message(error));
}

int writeDirectly(const std::string& name, const std::string& content)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
    Descriptor file(open(name.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.Number() < 0)
    {
        return errno;
    }
    const int error = WriteAll(file.Number(), content);
    return error != 0 || file.Close() ? error : errno;
}

} // namespace

std::string Read(const std::string& name, const Charset& charset)
{
    const bool isInput = name == "-";
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
    const Descriptor file(isInput ? -1 : open(name.c_str(), O_RDONLY | O_CLOEXEC));
    const int source = isInput ? STDIN_FILENO : file.Number();
    std::string content;
    std::array<char, 65536> buffer{};
    for (;;)
    {
        const ssize_t count = source < 0 ? -1 : read(source, buffer.data(), buffer.size());
        if (count == 0)
        {
            return content;
        }
        if (count > 0)
        {
            content.append(buffer.data(), static_cast<std::size_t>(count));
        }
        else if (source < 0 || errno != EINTR)
        {
            fail(name, errno, charset);
        }
    }
}

void Write(const std::string& name, const std::string& content, const Charset& charset)
{
    struct stat old = {};
    const bool exists = stat(name.c_str(), &old) == 0;
    int error = 0;
    if (exists && !S_ISREG(old.st_mode))
    {
        error = writeDirectly(name, content);
    }
    else
    {
        // What a link names is replaced, not the link.
        std::error_code unresolved;
        const std::filesystem::path target = std::filesystem::canonical(name, unresolved);
        Replacement file(unresolved ? name : target.string());
        error = file.Fill(content, exists ? old.st_mode & 07777U : usualPermissions());
    }
    if (error != 0)
    {
        fail(name, error, charset);
    }
}

} // namespace KVR::Cli::LocalFile
