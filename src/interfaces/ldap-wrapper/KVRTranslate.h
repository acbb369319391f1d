#pragma once

#include <libintl.h>

namespace KVR
{

/** Translation of one of the module's own texts. */
inline const char* moduleText(const char* text)
{
    return dgettext("libkvr-ldap-wrapper", text);
}

/** Translation of a text that the module shares with the host. */
inline const char* hostText(const char* text)
{
    return dgettext("libkvr-core", text);
}

} // namespace KVR
