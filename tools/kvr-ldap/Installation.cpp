#include "Installation.h"

#include <filesystem>
#include <system_error>

namespace KVR::Cli::Installation
{

namespace
{

constexpr const char* moduleFile = "libkvr-ldap-wrapper.so";

/** Directory above the one that holds the program. */
std::filesystem::path root()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().parent_path();
}

bool isThere(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::exists(path, error);
}

} // namespace

std::string Module()
{
    // Beside the program first, so that an installation can be moved as a whole.
    for (const auto& folder : {root() / "lib", root() / KVR_LIBDIR / "kvr"})
    {
        if (isThere(folder / moduleFile))
        {
            return folder / moduleFile;
        }
    }
    return std::filesystem::path(KVR_FULL_LIBDIR) / "kvr" / moduleFile;
}

std::string Locale()
{
    const std::filesystem::path beside = root() / "share" / "locale";
    return isThere(beside) ? beside.string() : KVR_FULL_LOCALEDIR;
}

} // namespace KVR::Cli::Installation
