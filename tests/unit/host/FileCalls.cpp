#include "FileCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <optional>

namespace KVR::Test::FileCalls
{

std::vector<Owner> owners;
bool changeOwners = false;
std::string failing;
std::string unreadable;
std::vector<std::string> opened;
bool oldKernel = false;
bool withoutProc = false;
std::string largeAccount;
std::function<void(const std::string&)> beforeLook;
std::function<void(const std::string&)> afterLook;

void Reset()
{
    owners.clear();
    changeOwners = false;
    failing.clear();
    unreadable.clear();
    opened.clear();
    oldKernel = false;
    withoutProc = false;
    largeAccount.clear();
    beforeLook = nullptr;
    afterLook = nullptr;
}

namespace
{

std::string pathOf(int descriptor)
{
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

template <typename Function>
Function original(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::string nameOf(const std::string& path)
{
    return std::filesystem::path(path).filename();
}

/** True when the change shall not be made but fail. */
bool failsFor(const std::string& name)
{
    if (name == failing)
    {
        errno = EPERM;
        return true;
    }
    if (name == unreadable)
    {
        unreadable.clear();
    }
    return false;
}

bool isBelowProc(const std::string& path)
{
    return path.rfind("/proc/", 0) == 0;
}

/** Works on any kernel. */
int changeModeOfFound(int found, mode_t mode)
{
    if (oldKernel)
    {
        errno = ENOSYS;
        return -1;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(found);
    return failsFor(nameOf(pathOf(found))) ? -1 : static_cast<int>(syscall(SYS_chmod, path.c_str(), mode));
}

/** Answers for the account with the large record; none for others. */
template <typename Record>
std::optional<int> findLarge(const char* name, Record* record, std::size_t size, Record** found,
                             id_t Record::*id)
{
    constexpr std::size_t needed = 5000;
    if (largeAccount.empty() || largeAccount != name)
    {
        return std::nullopt;
    }
    *found = size < needed ? nullptr : record;
    record->*id = 1234;
    return size < needed ? ERANGE : 0;
}

} // namespace

} // namespace KVR::Test::FileCalls

namespace FileCalls = KVR::Test::FileCalls;

extern "C"
{

    __attribute__((visibility("default"))) int chown(const char* path, uid_t user, gid_t group) noexcept
    {
        if (access(path, F_OK) != 0)
        {
            return -1;
        }
        FileCalls::owners.push_back({std::filesystem::absolute(path), user, group, true});
        return FileCalls::changeOwners ? static_cast<int>(syscall(SYS_chown, path, user, group)) : 0;
    }

    __attribute__((visibility("default"))) int fchown(int descriptor, uid_t user, gid_t group) noexcept
    {
        FileCalls::owners.push_back({FileCalls::pathOf(descriptor), user, group, false});
        return FileCalls::changeOwners ? static_cast<int>(syscall(SYS_fchown, descriptor, user, group)) : 0;
    }

    __attribute__((visibility("default"))) int fchownat(int directory, const char* name, uid_t user,
                                                        gid_t group, int flags) noexcept
    {
        const std::string path = FileCalls::pathOf(directory) + (*name != '\0' ? "/" : "") + name;
        if (FileCalls::failsFor(FileCalls::nameOf(path)))
        {
            return -1;
        }
        const bool follows = (flags & (AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH)) == 0;
        FileCalls::owners.push_back({path, user, group, follows});
        return FileCalls::changeOwners
                   ? static_cast<int>(syscall(SYS_fchownat, directory, name, user, group, flags))
                   : 0;
    }

    __attribute__((visibility("default"))) int chmod(const char* path, mode_t mode) noexcept
    {
        if (FileCalls::isBelowProc(path) && FileCalls::withoutProc)
        {
            errno = ENOENT;
            return -1;
        }
        if (FileCalls::isBelowProc(path) &&
            FileCalls::failsFor(FileCalls::nameOf(std::filesystem::read_symlink(path))))
        {
            return -1;
        }
        return static_cast<int>(syscall(SYS_chmod, path, mode));
    }

    __attribute__((visibility("default"))) int fchmod(int descriptor, mode_t mode) noexcept
    {
        return FileCalls::failsFor(FileCalls::nameOf(FileCalls::pathOf(descriptor)))
                   ? -1
                   : static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
    }

    __attribute__((visibility("default"))) long syscall(long number, ...) noexcept
    {
        using Function = long (*)(long, ...);
        constexpr long callOfFchmodat2 = 452;
        std::array<long, 6> values = {};
        va_list arguments;
        va_start(arguments, number);
        for (long& value : values)
        {
            value = va_arg(arguments, long);
        }
        va_end(arguments);
        if (number == callOfFchmodat2)
        {
            return FileCalls::changeModeOfFound(static_cast<int>(values[0]), static_cast<mode_t>(values[2]));
        }
        return FileCalls::original<Function>("syscall")(number, values[0], values[1], values[2], values[3],
                                                        values[4], values[5]);
    }

    __attribute__((visibility("default"))) int openat(int directory, const char* name, int flags, ...)
    {
        const bool looks = (flags & O_PATH) != 0;
        if (looks && FileCalls::beforeLook)
        {
            FileCalls::beforeLook(name);
        }
        if (!looks && !FileCalls::unreadable.empty() && FileCalls::unreadable == name)
        {
            errno = EACCES;
            return -1;
        }
        if (!looks)
        {
            FileCalls::opened.emplace_back(name);
        }
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);
        const int descriptor = static_cast<int>(syscall(SYS_openat, directory, name, flags, mode));
        const int reason = errno;
        if (looks && FileCalls::afterLook)
        {
            FileCalls::afterLook(name);
        }
        errno = reason;
        return descriptor;
    }

    __attribute__((visibility("default"))) int getpwnam_r(const char* name, passwd* record, char* buffer,
                                                          std::size_t size, passwd** found)
    {
        using Function = int (*)(const char*, passwd*, char*, std::size_t, passwd**);
        const auto large = FileCalls::findLarge(name, record, size, found, &passwd::pw_uid);
        return large ? *large
                     : FileCalls::original<Function>("getpwnam_r")(name, record, buffer, size, found);
    }

    __attribute__((visibility("default"))) int getgrnam_r(const char* name, group* record, char* buffer,
                                                          std::size_t size, group** found)
    {
        using Function = int (*)(const char*, group*, char*, std::size_t, group**);
        const auto large = FileCalls::findLarge(name, record, size, found, &group::gr_gid);
        return large ? *large
                     : FileCalls::original<Function>("getgrnam_r")(name, record, buffer, size, found);
    }

} // extern "C"
