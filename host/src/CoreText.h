#pragma once

#include <libintl.h>

namespace KVR
{

/** Translation of one of the host's texts; its messages are collected by this name. */
__attribute__((format_arg(1))) inline const char* coreText(const char* text)
{
    return dgettext("libkvr-core", text);
}

} // namespace KVR
