#pragma once

#include <string>

/** Where the program finds what belongs to it, in the build tree as after the installation. */
namespace KVR::Cli::Installation
{

/** The plug-in's file. */
std::string Module();

/** Directory of the message catalogues. */
std::string Locale();

} // namespace KVR::Cli::Installation
