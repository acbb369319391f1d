#pragma once

#include "KVRTranslate.h"

#include <EKVROpenLdapError.h>
#include <kvr/CKVRFormatCall.h>

namespace KVR
{

/** A text for libldap, which takes it as char* and does not write to it. */
inline char* unchanged(const std::string& text)
{
    return const_cast<char*>(text.c_str());
}

/** True for the result codes 47 to 50, all of which are reported as missing access rights. */
bool isAccessFailure(long code);

/** Text of a missing session, translated. */
const char* notConnectedText();

/** Reads the result code that the session keeps of its last operation; false when it can't. */
bool readResultCode(ldap* session, int& code);

/**
 * Throws EKVROpenLdapError for a failed library call: the insufficient-access text for codes 47
 * to 50, otherwise the caller's context with the place of the failure.
 */
[[noreturn]] void throwOpenLdapError(ldap* session, int code, const std::string& context, const char* file,
                                     const char* function, unsigned long line);

/** The place of a library call, for its errors. */
struct CallSite
{
    const char* file;
    const char* function;
    unsigned long line;
};

/**
 * Throws for a result code other than 0, as throwOpenLdapError.
 * @param context marked text that says what was being done, with a place for each argument; without
 *        arguments its translation stays as it is, percent signs included
 */
template <typename... Texts>
void checkResult(ldap* session, int code, const CallSite& site, const char* context,
                 const Texts&... arguments)
{
    if (code == 0)
    {
        return;
    }
    CKVRFormatCall format(site.file, site.function, site.line);
    const char* text = moduleText(context);
    if constexpr (sizeof...(arguments) > 0)
    {
        text = format(sizeof...(arguments), text, arguments.c_str()...);
    }
    throwOpenLdapError(session, code, text, site.file, site.function, site.line);
}

/** Throws the EKVRCheckError for an empty argument of the named operation. */
[[noreturn]] void throwEmptyArgument(const char* file, const char* function, unsigned long line);

} // namespace KVR
