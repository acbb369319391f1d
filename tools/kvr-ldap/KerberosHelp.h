#pragma once

#include <string>

namespace KVR::Cli
{

/**
 * What to do about a log-in with a Kerberos ticket that failed.
 * @param diagnostic what the plug-in and the libraries said; their English texts are known
 */
std::string KerberosHelp(const std::string& diagnostic);

} // namespace KVR::Cli
