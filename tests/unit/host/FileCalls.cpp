#include "FileCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>

namespace KVR::Test::FileCalls
{

std::vector<Owner> owners;
bool changeOwners = false;
std::string failing;
std::string unreadable;
std::function<void(const std::string&)> beforeLook;
std::function<void(const std::string&)> afterLook;

void Reset()
{
    owners.clear();
    changeOwners = false;
    failing.clear();
    unreadable.clear();
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

/** True when the call shall not be made but fail. */
bool failsFor(const std::string& name)
{
    if (name == failing)
    {
        errno = EPERM;
        return true;
    }
    return false;
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
        if (FileCalls::failsFor(name))
        {
            return -1;
        }
        const std::string path = FileCalls::pathOf(directory) + '/' + name;
        FileCalls::owners.push_back({path, user, group, (flags & AT_SYMLINK_NOFOLLOW) == 0});
        return FileCalls::changeOwners
                   ? static_cast<int>(syscall(SYS_fchownat, directory, name, user, group, flags))
                   : 0;
    }

    __attribute__((visibility("default"))) int fchmodat(int directory, const char* name, mode_t mode,
                                                        int flags) noexcept
    {
        using Function = int (*)(int, const char*, mode_t, int);
        if (FileCalls::failsFor(name))
        {
            return -1;
        }
        if (FileCalls::unreadable == name)
        {
            FileCalls::unreadable.clear();
        }
        return FileCalls::original<Function>("fchmodat")(directory, name, mode, flags);
    }

    __attribute__((visibility("default"))) int fstatat(int directory, const char* name, struct stat* status,
                                                       int flags) noexcept
    {
        using Function = int (*)(int, const char*, struct stat*, int);
        if (FileCalls::beforeLook)
        {
            FileCalls::beforeLook(name);
        }
        const int result = FileCalls::original<Function>("fstatat")(directory, name, status, flags);
        if (FileCalls::afterLook)
        {
            FileCalls::afterLook(name);
        }
        return result;
    }

    __attribute__((visibility("default"))) int openat(int directory, const char* name, int flags, ...)
    {
        if (!FileCalls::unreadable.empty() && FileCalls::unreadable == name)
        {
            errno = EACCES;
            return -1;
        }
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);
        return static_cast<int>(syscall(SYS_openat, directory, name, flags, mode));
    }

} // extern "C"
