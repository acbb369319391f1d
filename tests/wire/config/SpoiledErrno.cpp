// An error number that a message tells must be read before anything else is called. Here translating
// a text and taking a file's name change errno, which libraries are free to do.

#include <kvr/KVRUtils.h>

#include <libintl.h>

#include <cerrno>
#include <cstring>

extern "C"
{

    // the names that the linker's option --wrap gives
    // NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
    char* __real_dgettext(const char* domain, const char* text);

    char* __wrap_dgettext(const char* domain, const char* text)
    {
        char* const translation = __real_dgettext(domain, text);
        errno = ELOOP;
        return translation;
    }
    // NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace KVR
{

/** Takes the place of the host's own. */
const char* ExtractFileName(const char* path)
{
    errno = ENOTTY;
    const char* const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

} // namespace KVR
