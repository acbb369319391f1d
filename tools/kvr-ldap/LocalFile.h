#pragma once

#include "Charset.h"

#include <string>

/** Files of this computer. Their names are bytes, as the user gave them. @throws Failure */
namespace KVR::Cli::LocalFile
{

/** The whole content. @param name "-" is standard input */
std::string Read(const std::string& name, const Charset& charset);

/**
 * Writes a file that is there completely or not at all: an old one stays until the new one is written,
 * and hands on its permissions. Devices and pipes are just written to.
 */
void Write(const std::string& name, const std::string& content, const Charset& charset);

} // namespace KVR::Cli::LocalFile
