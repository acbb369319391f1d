#pragma once

#include <libintl.h>

namespace KVR
{

/** Translation of one of the module's own texts. */
__attribute__((format_arg(1))) inline const char* moduleText(const char* text)
{
    return dgettext("libkvr-ldap-wrapper", text);
}

/** Marks a module text for the catalogue where it is translated later, and only if it is needed. */
__attribute__((format_arg(1))) constexpr const char* markedText(const char* text)
{
    return text;
}

/** Translation of a text that the module shares with the host. */
__attribute__((format_arg(1))) inline const char* hostText(const char* text)
{
    return dgettext("libkvr-core", text);
}

} // namespace KVR
