#include "Descriptor.h"
#include "ZeroByte.h"

#include <kvr/KVRUtils.h>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

/** What a walk has found, open by O_PATH, which neither needs rights nor has an effect on devices. */
struct Found
{
    int descriptor;
    int directory;
    const char* name;
    mode_t kind; /**< file type of inode(7) */
};

/** Regular files with several names may be somebody else's, who has not put them into the tree. */
bool hasOneName(const struct stat& status)
{
    return !S_ISREG(status.st_mode) || status.st_nlink <= 1;
}

class ModeChange
{
public:
    explicit ModeChange(mode_t mode) : mode_(mode) {}

    bool ApplyToOpen(int descriptor) const { return fchmod(descriptor, mode_) == 0; }

    /** Kernels before 6.6 have no fchmodat2, and /proc need not be there. */
    bool ApplyToFound(const Found& found) const
    {
        if (S_ISLNK(found.kind))
        {
            return true;
        }
        const std::string path = "/proc/self/fd/" + std::to_string(found.descriptor);
        return syscall(callOfFchmodat2, found.descriptor, "", mode_, AT_EMPTY_PATH) == 0 ||
               chmod(path.c_str(), mode_) == 0 || (S_ISREG(found.kind) && ApplyToOpened(found));
    }

private:
    /** For headers older than the call; most architectures have this number. */
    static constexpr long callOfFchmodat2 = 452;

    /** A file with another one's name by now is not taken for it, and a FIFO does not hang. */
    bool ApplyToOpened(const Found& found) const
    {
        constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        for (const int access : {O_RDONLY, O_WRONLY})
        {
            struct stat status = {};
            const Descriptor file(openat(found.directory, found.name, access | flags));
            if (file && fstat(file.Number(), &status) == 0)
            {
                return S_ISREG(status.st_mode) && hasOneName(status) && ApplyToOpen(file.Number());
            }
        }
        return false;
    }

    mode_t mode_;
};

class OwnerChange
{
public:
    OwnerChange(uid_t user, gid_t group) : user_(user), group_(group) {}

    bool ApplyToOpen(int descriptor) const { return fchown(descriptor, user_, group_) == 0; }

    bool ApplyToFound(const Found& found) const
    {
        return fchownat(found.descriptor, "", user_, group_, AT_EMPTY_PATH) == 0;
    }

private:
    uid_t user_;
    gid_t group_;
};

struct CloseDirectory
{
    void operator()(DIR* stream) const { closedir(stream); }
};

/**
 * Changes a directory and everything below. Every step goes by open directories and names in them,
 * so that a directory that somebody replaces by a link meanwhile does not lead out of the tree.
 * Directories on the way are kept in a list: the depth of a tree is its owner's choice, and would
 * be too much for the stack. A change is applied to open directories and to what was found by name.
 */
template <typename Change>
class Walk
{
public:
    explicit Walk(const Change& change) : change_(change) {}

    /** The path itself may be a link to the tree. */
    bool Through(const std::string& path)
    {
        constexpr int flags = O_DIRECTORY | O_CLOEXEC;
        if (Descriptor top(open(path.c_str(), O_RDONLY | flags)); top)
        {
            Enter(top);
        }
        else
        {
            const Descriptor looked(open(path.c_str(), O_PATH | flags));
            Note(bool(looked));
            if (looked)
            {
                VisitDirectory({looked.Number(), looked.Number(), ".", S_IFDIR});
            }
        }
        while (!levels_.empty())
        {
            Step();
        }
        return all_;
    }

private:
    using Stream = std::unique_ptr<DIR, CloseDirectory>;

    void Note(bool success) { all_ = success && all_; }

    /**
     * A directory is changed behind its contents, because its new bits may take the right to search
     * away, and before them where they have to give that right.
     */
    void Enter(Descriptor& directory)
    {
        const bool searchable = faccessat(directory.Number(), ".", X_OK, AT_EACCESS) == 0;
        Stream stream(searchable || change_.ApplyToOpen(directory.Number()) ? fdopendir(directory.Number())
                                                                            : nullptr);
        if (!stream)
        {
            all_ = false;
            return;
        }
        directory.Release();
        levels_.push_back(std::move(stream));
    }

    /** Takes the next entry of the innermost directory, or leaves it. */
    void Step()
    {
        DIR* const stream = levels_.back().get();
        errno = 0;
        if (const dirent* const entry = readdir(stream); entry != nullptr)
        {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            {
                Visit(dirfd(stream), entry->d_name);
            }
            return;
        }
        Note(errno == 0);
        Note(change_.ApplyToOpen(dirfd(stream)));
        levels_.pop_back();
    }

    void Visit(int directory, const char* name)
    {
        struct stat status = {};
        const Descriptor looked(openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!looked || fstat(looked.Number(), &status) != 0)
        {
            Note(errno == ENOENT); // removed meanwhile
            return;
        }
        const Found found = {looked.Number(), directory, name, status.st_mode};
        if (S_ISDIR(status.st_mode))
        {
            VisitDirectory(found);
            return;
        }
        Note(hasOneName(status) && change_.ApplyToFound(found));
    }

    void VisitDirectory(const Found& found)
    {
        constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        Descriptor readable(openat(found.directory, found.name, flags));
        // the change itself may give the right to read the directory
        if (!readable && change_.ApplyToFound(found))
        {
            readable.Reset(openat(found.directory, found.name, flags));
        }
        if (!readable)
        {
            all_ = false;
            return;
        }
        Enter(readable);
    }

    const Change change_;
    std::vector<Stream> levels_;
    bool all_ = true;
};

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
    if (hasZeroByte(name))
    {
        return std::nullopt;
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
    if (hasZeroByte(path))
    {
        return false;
    }
    if (!recursive || !isDirectory(path))
    {
        return chmod(path.c_str(), mode) == 0;
    }
    return Walk(ModeChange(mode)).Through(path);
}

bool Chown(const std::string path, const std::string user, const std::string group, bool recursive)
{
    const std::optional<id_t> uid =
        findId<passwd>(user, getpwnam_r, [](const passwd& record) -> id_t { return record.pw_uid; });
    const std::optional<id_t> gid = findId<struct group>(
        group, getgrnam_r, [](const struct group& record) -> id_t { return record.gr_gid; });
    if (!uid || !gid || hasZeroByte(path))
    {
        return false;
    }
    if (!recursive || !isDirectory(path))
    {
        return chown(path.c_str(), *uid, *gid) == 0;
    }
    return Walk(OwnerChange(*uid, *gid)).Through(path);
}

} // namespace KVR
