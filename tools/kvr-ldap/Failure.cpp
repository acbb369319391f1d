#include "Failure.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapConnection.h>
#include <IKVRLdapSession.h>
#include <kvr/KVRUtils.h>

#include <exception>
#include <new>
#include <typeinfo>

namespace KVR::Cli
{

namespace
{

constexpr long noSuchObject = 32;
constexpr const char* limitReached =
    "the time limit was reached; the server, or one that it refers to, does not answer in time";

Failure ofResult(const EKVRError& error, const std::string& subject, long code, bool withPlace)
{
    // The library keeps the server's last diagnostic also when it fails by itself later.
    Failure failure(code == 0 ? ExitCode::Refused : ExitCodeOf(code), subject,
                    TextOf(error, code > 0, withPlace));
    failure.resultCode = code;
    return failure;
}

/** A check that the module makes itself; a lost session shows as a check too. */
Failure ofCheck(const EKVRCheckError& error, const std::string& subject, std::optional<long> code,
                IKVRLdapConnection* connection, bool withPlace)
{
    if (code && connection->IfReconnectNeeded())
    {
        return ofResult(error, subject, *code, withPlace);
    }
    return {ExitCode::Usage, subject, TextOf(error, true, withPlace)};
}

/** True for the module's own error for a configuration that the server refused, or hid, just before. */
bool isDenied(const EKVRError& error, std::optional<long> code)
{
    const bool isPlain = typeid(error) == typeid(EKVRError);
    return isPlain && code && (*code == noSuchObject || ExitCodeOf(*code) == ExitCode::NoAccess);
}

Failure ofModule(const EKVRError& error, const std::string& subject, std::optional<long> code, bool withPlace)
{
    if (!isDenied(error, code))
    {
        return {ExitCode::Unusable, subject, TextOf(error, true, true)};
    }
    Failure failure(ExitCode::NoAccess, subject, TextOf(error, true, withPlace));
    failure.resultCode = code;
    return failure;
}

} // namespace

Failure NoEntry(const std::string& command, const std::string& dn)
{
    Failure failure(ExitCode::NotFound, command, "there is no entry '" + dn + "'",
                    "an entry that the server hides from the user counts as absent");
    failure.resultCode = noSuchObject;
    return failure;
}

std::optional<long> LastResult(IKVRLdapConnection& connection)
{
    try
    {
        return connection.GetLastError();
    }
    catch (const EKVRError&)
    {
        return std::nullopt;
    }
}

bool IsTimeLimitReached(IKVRLdapConnection& connection)
{
    auto* const session = dynamic_cast<IKVRLdapSession*>(&connection);
    return session != nullptr && session->IsTimeLimitReached();
}

std::string TextOf(const EKVRError& error, bool withDetails, bool withPlace)
{
    std::string text = error.msg();
    const std::string where = error.where();
    const std::string place = std::string(" in ") + ExtractFileName(where.c_str());
    const bool endsWithPlace = !where.empty() && text.size() > place.size() &&
                               text.compare(text.size() - place.size(), place.size(), place) == 0;
    if (endsWithPlace && !withPlace)
    {
        text.erase(text.size() - place.size());
    }
    if (withDetails && !error.details().empty())
    {
        text += ": " + error.details();
    }
    return text;
}

Failure DescribeException(const std::string& subject, IKVRLdapConnection* connection, bool withPlace)
{
    const std::optional<long> code = connection != nullptr ? LastResult(*connection) : std::nullopt;
    try
    {
        throw;
    }
    catch (const Failure& failure)
    {
        return failure;
    }
    catch (const EKVROpenLdapError& error)
    {
        Failure failure = ofResult(error, subject, code.value_or(0), withPlace);
        if (connection != nullptr && IsTimeLimitReached(*connection))
        {
            failure.advice = limitReached;
        }
        return failure;
    }
    catch (const EKVRCheckError& error)
    {
        return ofCheck(error, subject, code, connection, withPlace);
    }
    catch (const EKVRError& error)
    {
        return ofModule(error, subject, code, withPlace);
    }
    catch (const std::bad_alloc&)
    {
        return {ExitCode::Unusable, subject, "out of memory"};
    }
    catch (const std::exception& error)
    {
        return {ExitCode::Unusable, subject, error.what()};
    }
}

} // namespace KVR::Cli
