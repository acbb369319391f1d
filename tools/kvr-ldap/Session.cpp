#include "Session.h"

#include "Arguments.h"
#include "Failure.h"
#include "Installation.h"
#include "KerberosHelp.h"

#include <EKVROpenLdapError.h>
#include <kvr/KVRUtils.h>

#include <cstdlib>
#include <utility>

namespace KVR::Cli
{

namespace
{

constexpr const char* urisParameter = "KVR_PRM_LDAP_URIS";
constexpr const char* loading = "loading the plug-in";
constexpr const char* loadHint = "--module FILE names the plug-in";
constexpr const char* serverTooSlow = "the time limit was reached; the server does not answer in time";
constexpr const char* checkServer = "check that the server runs and that --uri names it";

using Parameter = std::pair<std::string, std::string>;

Parameter splitParameter(const Charset& charset, const std::string& argument)
{
    const std::string text = Utf8Argument(charset, argument);
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos || Trim(text.substr(0, sign)).empty())
    {
        throw Failure(ExitCode::Usage, "--param", "'" + text + "' is not NAME=VALUE");
    }
    return {Trim(text.substr(0, sign)), Trim(text.substr(sign + 1))};
}

std::vector<Parameter> givenParameters(const GlobalOptions& options, const Charset& charset)
{
    std::vector<Parameter> result;
    for (const std::string& argument : options.parameters)
    {
        result.push_back(splitParameter(charset, argument));
    }
    if (options.uris)
    {
        result.emplace_back(urisParameter, Trim(Utf8Argument(charset, *options.uris)));
    }
    return result;
}

void setParameters(CKVRCore& core, const std::vector<Parameter>& parameters,
                   const std::optional<std::string>& file)
{
    for (const auto& [name, value] : parameters)
    {
        core.SetParameter(name, value);
    }
    if (!file)
    {
        return;
    }
    try
    {
        core.LoadParameters(*file);
    }
    catch (const EKVRError& error)
    {
        throw Failure(ExitCode::Unusable, "--params", TextOf(error, true, true));
    }
}

/** The identity is fixed when the host object is made, so a first one only reads the parameters. */
KVRHostIdentity identityFrom(CKVRCore& parameters)
{
    KVRHostIdentity identity = parameters.HasParameter("KVR_HOST_NAME")
                                   ? KVRHostIdentity::OfComputer(parameters.GetParameter("KVR_HOST_NAME"))
                                   : KVRHostIdentity::OfThisComputer();
    if (parameters.HasParameter("KVR_SERVER_HOST"))
    {
        identity.serverHost = parameters.GetParameter("KVR_SERVER_HOST");
    }
    return identity;
}

std::string connectHint(ExitCode kind, bool isKerberos, const std::string& diagnostic)
{
    if (kind == ExitCode::Usage)
    {
        return "write a server as ldap://HOST or ldaps://HOST, several with blanks between them";
    }
    if (isKerberos)
    {
        return KerberosHelp(diagnostic);
    }
    return kind == ExitCode::NoConnection ? checkServer : "";
}

/** True where the server did not answer, whatever the log-in. */
bool isNetworkFailure(std::optional<long> code)
{
    constexpr long serverDown = -1;
    constexpr long timedOut = -5;
    return code && (*code == serverDown || *code == timedOut);
}

/** Kind of a failed connect; without a session the module or the library refused the URIs. */
ExitCode connectKind(std::optional<long> code)
{
    if (!code)
    {
        return ExitCode::Usage;
    }
    return *code > 0 ? ExitCodeOf(*code) : ExitCode::NoConnection;
}

Failure connectFailure(const EKVRError& error, const std::string& uris, IKVRLdapConnection& connection,
                       const GlobalOptions& options)
{
    const std::optional<long> code = LastResult(connection);
    const ExitCode kind = connectKind(code);
    // Nothing happened on this session before, so its diagnostic belongs to this failure even when
    // the library failed by itself.
    const bool isKerberos = options.auth == "gssapi" && !isNetworkFailure(code);
    const std::string text = TextOf(error, true, options.verbosity > 0);
    Failure failure(kind, "connecting to " + uris, text, connectHint(kind, isKerberos, text));
    if (IsTimeLimitReached(connection))
    {
        failure.advice = serverTooSlow;
    }
    failure.resultCode = code;
    return failure;
}

/** The Kerberos library reads past the end of an empty name. */
void requireCacheName(const std::string& uris)
{
    const char* const name = std::getenv("KRB5CCNAME"); // NOLINT(concurrency-mt-unsafe): one thread
    if (name != nullptr && *name == '\0')
    {
        const std::string reason = "KRB5CCNAME is empty";
        throw Failure(ExitCode::NoConnection, "connecting to " + uris, reason, KerberosHelp(reason));
    }
}

} // namespace

Session::Session(const GlobalOptions& options, const Charset& charset) : options_(options)
{
    const std::vector<Parameter> parameters = givenParameters(options, charset);
    CKVRCore forIdentity{KVRHostIdentity()};
    setParameters(forIdentity, parameters, options.parameterFile);

    core_ = std::make_unique<CKVRCore>(identityFrom(forIdentity));
    setParameters(*core_, parameters, options.parameterFile);
    LoadModule();
}

void Session::LoadModule()
{
    modulePath_ = options_.modulePath.value_or(Installation::Module());
    if (modulePath_.find('/') == std::string::npos)
    {
        modulePath_.insert(0, "./"); // a file, not a name for the loader's search path
    }
    try
    {
        module_ = std::make_unique<CKVRModule>(*core_, modulePath_);
        wrapper_ = std::dynamic_pointer_cast<IKVRLdapWrapper>(core_->FindInterface("ldap"));
    }
    catch (const std::exception&)
    {
        throw Failure(ExitCode::Unusable, loading, DescribeException(loading, nullptr, true).what(),
                      loadHint);
    }
    if (!wrapper_)
    {
        throw Failure(ExitCode::Unusable, loading, "'" + modulePath_ + "' offers no interface \"ldap\"",
                      loadHint);
    }
}

std::string Session::Uris()
{
    return core_->GetParameter(urisParameter);
}

IKVRLdapConnection& Session::Connection()
{
    if (connection_)
    {
        return *connection_;
    }
    const std::string uris = Uris();
    if (uris.empty())
    {
        throw Failure(ExitCode::Usage, "connecting", "no server is given", "--uri ldap://HOST names one");
    }
    if (options_.auth == "gssapi")
    {
        requireCacheName(uris);
    }
    const std::shared_ptr<IKVRLdapConnection> connection = wrapper_->getConnection();
    try
    {
        // The parameter's whole value: the module then keeps the list as it is, schemes included.
        connection->Connect(uris, options_.auth == "gssapi" ? KVRAuthGssapi : KVRAuthAnonymous);
    }
    catch (const EKVRError& error)
    {
        throw connectFailure(error, uris, *connection, options_);
    }
    connection_ = connection;
    return *connection_;
}

} // namespace KVR::Cli
