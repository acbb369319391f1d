#pragma once

#include "ExitCodes.h"

#include <kvr/EKVRError.h>

#include <optional>
#include <stdexcept>
#include <string>

namespace KVR
{
class IKVRLdapConnection;
}

namespace KVR::Cli
{

/** A failure as the user reads it: "kvr-ldap: what: why" and perhaps a hint. All texts are UTF-8. */
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode kind, std::string what, const std::string& why, std::string hint = "")
        : std::runtime_error(why), exitCode(kind), subject(std::move(what)), advice(std::move(hint))
    {
    }

    ExitCode exitCode;
    std::string subject;            /**< what was being done */
    std::string advice;             /**< what to do about it; may be empty */
    std::optional<long> resultCode; /**< where an LDAP operation failed */
};

/** The entry that a command is about does not exist. */
Failure NoEntry(const std::string& command, const std::string& dn);

/** Result code that the connection's session keeps, or nothing when there is no session. */
std::optional<long> LastResult(IKVRLdapConnection& connection);

/** True when the connection's last operation ended because its time limit was reached. */
bool IsTimeLimitReached(IKVRLdapConnection& connection);

/**
 * Message of an error, with its details where asked for. The place in the module's sources, which
 * says nothing to an administrator, is left out unless `withPlace`.
 */
std::string TextOf(const EKVRError& error, bool withDetails, bool withPlace);

/**
 * The failure that the exception being handled stands for.
 * @param subject what was being done
 * @param connection the connection in use, or null
 */
Failure DescribeException(const std::string& subject, IKVRLdapConnection* connection, bool withPlace);

} // namespace KVR::Cli
