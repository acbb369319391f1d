#include "Descriptor.h"

#include <kvr/KVRUtils.h>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace KVR
{

namespace
{

/** A change of one file, by its directory and name (or an open directory and ""). */
class Change
{
public:
    virtual ~Change() = default;
    virtual bool ApplyToOpen(int descriptor) const = 0;
    virtual bool ApplyToEntry(int directory, const char* name, bool isLink) const = 0;

protected:
    Change() = default;
    Change(const Change&) = default;
    Change& operator=(const Change&) = default;
};

class ModeChange final : public Change
{
public:
    explicit ModeChange(mode_t mode) : mode_(mode) {}

    bool ApplyToOpen(int descriptor) const override { return fchmod(descriptor, mode_) == 0; }

    bool ApplyToEntry(int directory, const char* name, bool isLink) const override
    {
        return isLink || fchmodat(directory, name, mode_, AT_SYMLINK_NOFOLLOW) == 0;
    }

private:
    mode_t mode_;
};

class OwnerChange final : public Change
{
public:
    OwnerChange(uid_t user, gid_t group) : user_(user), group_(group) {}

    bool ApplyToOpen(int descriptor) const override { return fchown(descriptor, user_, group_) == 0; }

    bool ApplyToEntry(int directory, const char* name, bool) const override
    {
        return fchownat(directory, name, user_, group_, AT_SYMLINK_NOFOLLOW) == 0;
    }

private:
    uid_t user_;
    gid_t group_;
};

struct CloseDirectory
{
    void operator()(DIR* stream) const { closedir(stream); }
};

bool changeContents(int directory, const Change& change);

/**
 * Changes an open directory and its contents. The directory comes last, because its new bits may
 * take the right to search away, unless they have to give that right first.
 */
bool changeOpenDirectory(int directory, const Change& change)
{
    if (faccessat(directory, ".", X_OK, AT_EACCESS) != 0)
    {
        return change.ApplyToOpen(directory) && changeContents(directory, change);
    }
    const bool contents = changeContents(directory, change);
    return change.ApplyToOpen(directory) && contents;
}

/**
 * Everything goes by open directories and names in them, so that a directory that somebody
 * replaces by a link meanwhile does not lead out of the tree.
 */
bool changeEntry(int directory, const char* name, const Change& change)
{
    constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    struct stat status = {};
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
    {
        return errno == ENOENT; // removed meanwhile
    }
    if (!S_ISDIR(status.st_mode))
    {
        return change.ApplyToEntry(directory, name, S_ISLNK(status.st_mode));
    }
    if (const Descriptor readable(openat(directory, name, openFlags)); readable)
    {
        return changeOpenDirectory(readable.Number(), change);
    }
    // the change itself may give the right to read the directory
    const bool changed = change.ApplyToEntry(directory, name, false);
    const Descriptor readable(openat(directory, name, openFlags));
    return changed && readable && changeContents(readable.Number(), change);
}

bool changeContents(int directory, const Change& change)
{
    // the stream closes its descriptor, and openat needs one
    Descriptor copy(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> stream(copy ? fdopendir(copy.Number()) : nullptr);
    if (!stream)
    {
        return false;
    }
    copy.Release();
    bool all = true;
    for (;;)
    {
        errno = 0;
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr)
        {
            return all && errno == 0;
        }
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
        {
            all = changeEntry(directory, entry->d_name, change) && all;
        }
    }
}

/** The path itself may be a link to the tree; links inside are never followed. */
bool changeTree(const std::string& path, const Change& change)
{
    if (const Descriptor top(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); top)
    {
        return changeOpenDirectory(top.Number(), change);
    }
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           changeEntry(AT_FDCWD, path.c_str(), change);
}

bool isDirectory(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/** A number below the one that stands for "unchanged". */
std::optional<id_t> parseId(const std::string& text)
{
    unsigned long long number = 0;
    for (const char character : text)
    {
        if (character < '0' || character > '9')
        {
            return std::nullopt;
        }
        number = number * 10 + static_cast<unsigned>(character - '0');
        if (number >= static_cast<id_t>(-1))
        {
            return std::nullopt;
        }
    }
    return static_cast<id_t>(number);
}

/**
 * Id of an account by name, else by number; "" stands for "unchanged".
 * @param query getpwnam_r or getgrnam_r
 */
template <typename Record, typename Query>
std::optional<id_t> findId(const std::string& name, Query query, id_t (*idOf)(const Record&))
{
    if (name.empty())
    {
        return static_cast<id_t>(-1);
    }
    std::vector<char> buffer(1024);
    Record record = {};
    Record* found = nullptr;
    while (query(name.c_str(), &record, buffer.data(), buffer.size(), &found) == ERANGE)
    {
        buffer.resize(buffer.size() * 2);
    }
    return found != nullptr ? std::optional<id_t>(idOf(*found)) : parseId(name);
}

} // namespace

bool Chmod(const std::string path, unsigned int mode, bool recursive)
{
    if (path.find('\0') != std::string::npos)
    {
        return false;
    }
    if (!recursive || !isDirectory(path))
    {
        return chmod(path.c_str(), mode) == 0;
    }
    return changeTree(path, ModeChange(mode));
}

bool Chown(const std::string path, const std::string user, const std::string group, bool recursive)
{
    const std::optional<id_t> uid =
        findId<passwd>(user, getpwnam_r, [](const passwd& record) -> id_t { return record.pw_uid; });
    const std::optional<id_t> gid = findId<struct group>(
        group, getgrnam_r, [](const struct group& record) -> id_t { return record.gr_gid; });
    if (!uid || !gid || path.find('\0') != std::string::npos)
    {
        return false;
    }
    if (!recursive || !isDirectory(path))
    {
        return chown(path.c_str(), *uid, *gid) == 0;
    }
    return changeTree(path, OwnerChange(*uid, *gid));
}

} // namespace KVR
