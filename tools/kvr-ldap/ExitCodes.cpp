#include "ExitCodes.h"

namespace KVR::Cli
{

namespace
{

// Named as in ldap.h, which stays out of here: a host knows the module's interface only.
constexpr long noSuchObject = 32;
constexpr long firstAccessCode = 47;
constexpr long lastAccessCode = 50;
constexpr long filterError = -7;
constexpr long parameterError = -9;

} // namespace

ExitCode ExitCodeOf(long resultCode)
{
    if (resultCode == 0)
    {
        return ExitCode::Done;
    }
    if (resultCode == noSuchObject)
    {
        return ExitCode::NotFound;
    }
    if (resultCode >= firstAccessCode && resultCode <= lastAccessCode)
    {
        return ExitCode::NoAccess;
    }
    if (resultCode == filterError || resultCode == parameterError)
    {
        return ExitCode::Usage;
    }
    return resultCode < 0 ? ExitCode::NoConnection : ExitCode::Refused;
}

const char* KindOf(ExitCode code)
{
    switch (code)
    {
    case ExitCode::Done:
        return "done";
    case ExitCode::Refused:
        return "refused by the server";
    case ExitCode::Usage:
        return "usage";
    case ExitCode::NotFound:
        return "not found";
    case ExitCode::NoAccess:
        return "insufficient access";
    case ExitCode::NoConnection:
        return "no connection or time-out";
    case ExitCode::Unusable:
        break;
    }
    return "the plug-in or a local file is unusable";
}

} // namespace KVR::Cli
