#pragma once

namespace KVR::Cli
{

/** Exit status of the command line, by the kind of failure. */
enum class ExitCode : int
{
    Done = 0,
    Refused = 1,
    Usage = 2,
    NotFound = 3,
    NoAccess = 4,
    NoConnection = 5,
    Unusable = 6
};

/** Kind of a result code (RFC 4511, section 4.1.9; negative ones are the library's own). */
ExitCode ExitCodeOf(long resultCode);

/** Name of a kind, as the help and JSON give it. */
const char* KindOf(ExitCode code);

} // namespace KVR::Cli
