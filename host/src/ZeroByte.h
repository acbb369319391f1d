#pragma once

#include <string>

namespace KVR
{

/** The C library would take such a text for a shorter one, and a name for another name. */
inline bool hasZeroByte(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

/**
 * @param function the function that takes the name
 * @throws EKVRCheckError when the name contains a zero byte
 */
void checkName(const std::string& name, const char* function);

} // namespace KVR
