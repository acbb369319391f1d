#include "KVRLdapConnection.h"

#include "KVRLdapCommon.h"
#include "KVRLdapEntity.h"
#include "KVRLdapHandles.h"
#include "KVRLdapQuery.h"
#include "KVRTranslate.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRUtils.h>

#include <langinfo.h>
#include <sasl/sasl.h>
#include <strings.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

/** Log levels above which the connection traces, and the LDAP library prints its own debug output. */
constexpr std::int32_t traceAbove = 3;
constexpr std::int32_t libraryDebugAbove = 4;

/** Added to the host's level: the library's own levels begin to tell something there. */
constexpr int libraryDebugOffset = 3;

/** Level from which on the SASL bind may talk to the user's terminal. */
constexpr std::int32_t saslPromptsFrom = 5;

void trace(const char* function, unsigned long line, const char* format, const std::string& argument)
{
    CKVRLogProvider& log = CKVRLogProvider::GetLogProvider();
    if (log.level > traceAbove)
    {
        CKVRFormatCall call(__FILE__, function, line);
        log.Put(kvrLOG_TRACE, 1, call(1, format, argument.c_str()));
    }
}

/** Answers every prompt of the SASL library with an empty text: the ticket says all it needs. */
int answerNothing(LDAP* session, unsigned /*flags*/, void* /*defaults*/, void* prompts)
{
    if (session == nullptr)
    {
        return LDAP_PARAM_ERROR;
    }
    for (auto* prompt = static_cast<sasl_interact_t*>(prompts); prompt->id != SASL_CB_LIST_END; ++prompt)
    {
        prompt->result = "";
        prompt->len = 0;
    }
    return LDAP_SUCCESS;
}

/** Logs a failed disconnection. It throws nothing, since destructors disconnect. */
void reportDisconnection(int code)
try
{
    CKVRFormatCall format(__FILE__, "Disconnect", __LINE__);
    CKVRLogProvider::GetLogProvider().Put(kvrLOG_FAILURE, 1,
                                          format(1, moduleText("LDAP disconnection error: %d."), code));
}
catch (...)
{
    // Where even the log fails there is nobody left to tell.
}

/**
 * The library sets itself up at its first use, from its files and variables, and not safely when two threads
 * come to it at once.
 */
void setLibraryUp()
{
    static std::once_flag isSetUp;
    std::call_once(isSetUp,
                   []
                   {
                       int level = 0;
                       ldap_get_option(nullptr, LDAP_OPT_DEBUG_LEVEL, &level);
                   });
}

int libraryScope(alSCOPE scope)
{
    constexpr int scopes[] = {LDAP_SCOPE_BASE, LDAP_SCOPE_ONELEVEL, LDAP_SCOPE_SUBTREE,
                              LDAP_SCOPE_SUBORDINATE};
    const bool known = scope >= alSCOPE_BASE && scope <= alSCOPE_CHILDREN;
    return known ? scopes[scope] : LDAP_SCOPE_SUBTREE;
}

/** False where the answer is none, or one to another operation: libldap looks at its number only. */
bool isAnswerToSearch(LDAPMessage* answer)
{
    switch (answer != nullptr ? ldap_msgtype(answer) : -1)
    {
    case LDAP_RES_SEARCH_ENTRY:
    case LDAP_RES_SEARCH_REFERENCE:
    case LDAP_RES_INTERMEDIATE:
    case LDAP_RES_SEARCH_RESULT:
        return true;
    default:
        return false;
    }
}

} // namespace

CKVRConnInternal::~CKVRConnInternal()
{
    for (iconv_t handle : {toUtf8, toLocal})
    {
        if (handle != closedConversion())
        {
            iconv_close(handle);
        }
    }
}

CKVRLdapConnection::CKVRLdapConnection(IKVRCore& host) : CKVRLdapConnection(host, typeid(CKVRLdapConnection))
{
}

CKVRLdapConnection::CKVRLdapConnection(IKVRCore& host, const std::type_info& type)
    : core(host), internal(std::make_unique<CKVRConnInternal>()), modulesType(&type)
{
    const std::int32_t level = CKVRLogProvider::GetLogProvider().level;
    if (level > libraryDebugAbove)
    {
        setLibraryUp();
        const int libraryLevel =
            std::min(level, std::numeric_limits<int>::max() - libraryDebugOffset) + libraryDebugOffset;
        ldap_set_option(nullptr, LDAP_OPT_DEBUG_LEVEL, &libraryLevel);
    }
    if (core.HasParameter("KVR_PRM_LDAP_URIS"))
    {
        uri = core.GetParameter("KVR_PRM_LDAP_URIS");
    }
}

CKVRLdapConnection::~CKVRLdapConnection()
{
    CKVRLdapConnection::Disconnect();
}

KVRAuthType CKVRLdapConnection::AuthType()
{
    return authType;
}

bool CKVRLdapConnection::Connect(const std::string& target, KVRAuthType type)
{
    if (target.empty())
    {
        throwEmptyArgument(__FILE__, "Connect", __LINE__);
    }
    determineCodeset();
    if (internal->ld != nullptr)
    {
        throw EKVRCheckError(moduleText("LDAP connection is already established."), "");
    }
    chooseUri(target);
    openSession();
    authType = type;
    internal->bindDefaults = core.GetBindDefaults();
    guard.BeginBind();
    if (type == KVRAuthAnonymous)
    {
        bindAnonymously();
    }
    else
    {
        bindWithKerberos();
    }
    return true;
}

void CKVRLdapConnection::determineCodeset()
{
    codeset = nl_langinfo(CODESET);
    // The "C" locale names US-ASCII, which says that nobody chose a character set.
    if (codeset == "ANSI_X3.4-1968")
    {
        codeset = DefaultCodeset();
    }
    convert = strcasecmp(codeset.c_str(), "UTF-8") != 0;
}

void CKVRLdapConnection::chooseUri(const std::string& target)
{
    // A target that occurs in the list stands for the whole list, so that the others are tried too.
    if (uri.find(target) == std::string::npos)
    {
        uri = "ldap://" + target;
    }
    if (ldap_is_ldap_url(uri.c_str()) == 0)
    {
        CKVRFormatCall format(__FILE__, "Connect", __LINE__);
        throw EKVRError(format(1, moduleText("Invalid LDAP url '%s'."), uri.c_str()), "");
    }
}

void CKVRLdapConnection::openSession()
{
    // The misspelling is what administrators search their logs for.
    trace("Connect", __LINE__, "Initilize LDAP connection to: %s", uri);
    setLibraryUp();
    int code = ldap_initialize(&internal->ld, uri.c_str());
    if (code == LDAP_SUCCESS)
    {
        code = setSessionOptions();
    }
    checkResult(internal->ld, code, {__FILE__, "Connect", __LINE__}, markedText("on initialization"));
}

int CKVRLdapConnection::setSessionOptions()
{
    const int version = LDAP_VERSION3;
    const timeval limit{timeout, 0};
    int code = ldap_set_option(internal->ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    if (code == LDAP_OPT_SUCCESS)
    {
        code = ldap_set_option(internal->ld, LDAP_OPT_TIMEOUT, &limit);
    }
    if (code == LDAP_OPT_SUCCESS)
    {
        code = ldap_set_option(internal->ld, LDAP_OPT_NETWORK_TIMEOUT, &limit);
    }
    return code == LDAP_OPT_SUCCESS ? guard.Install(internal->ld) : code;
}

void CKVRLdapConnection::bindAnonymously()
{
    char noPassword[] = "";
    berval credentials{0, noPassword};
    const int code =
        ldap_sasl_bind_s(internal->ld, nullptr, LDAP_SASL_SIMPLE, &credentials, nullptr, nullptr, nullptr);
    checkResult(internal->ld, code, {__FILE__, "Connect", __LINE__}, markedText("on bind"));
}

void CKVRLdapConnection::bindWithKerberos()
{
    const char* ticketCache = std::getenv("KRB5CCNAME"); // NOLINT(concurrency-mt-unsafe): read only
    if (ticketCache == nullptr)
    {
        throw EKVROpenLdapError(internal->ld, LDAP_SUCCESS,
                                moduleText("can't bind via GGSAPI: KRB5CCNAME not set"), __FILE__, "Connect",
                                __LINE__);
    }
    trace("Connect", __LINE__, "ldap_sasl_bind KRB5CCNAME %s", ticketCache);
    const bool quiet = CKVRLogProvider::GetLogProvider().level < saslPromptsFrom;
    const int code = ldap_sasl_interactive_bind_s(internal->ld, nullptr, "GSSAPI", nullptr, nullptr,
                                                  quiet ? LDAP_SASL_QUIET : LDAP_SASL_AUTOMATIC,
                                                  answerNothing, internal.get());
    checkResult(internal->ld, code, {__FILE__, "Connect", __LINE__}, markedText("on GGSAPI bind"));
}

bool CKVRLdapConnection::IsConnected()
{
    return internal->ld != nullptr && !IfReconnectNeeded();
}

void CKVRLdapConnection::Disconnect()
{
    if (internal->ld == nullptr)
    {
        return;
    }
    guard.EndSession(hasReachedTimeLimit());
    // The library frees the session whatever it returns.
    const int code = ldap_unbind_ext_s(std::exchange(internal->ld, nullptr), nullptr, nullptr);
    if (code != LDAP_SUCCESS)
    {
        reportDisconnection(code);
    }
}

long CKVRLdapConnection::GetLastError()
{
    requireSession();
    int code = LDAP_SUCCESS;
    if (!readResultCode(internal->ld, code))
    {
        throw EKVRInternalError(moduleText("Can't obtain LDAP error code."), "", __FILE__, "GetLastError",
                                __LINE__);
    }
    return code;
}

bool CKVRLdapConnection::IfReconnectNeeded()
{
    const long code = GetLastError();
    return code == LDAP_CONNECT_ERROR || isAccessFailure(code);
}

std::shared_ptr<IKVRLdapEntity> CKVRLdapConnection::AllocEntity()
{
    return std::make_shared<CKVRLdapEntity>(*this);
}

std::shared_ptr<IKVRLdapQuery> CKVRLdapConnection::Search(const std::string& base, const std::string& filter,
                                                          std::list<std::string>& attributes, alSCOPE scope)
{
    requireSession();
    std::vector<char*> names;
    names.reserve(attributes.size() + 1);
    for (std::string& name : attributes)
    {
        names.push_back(name.data());
    }
    names.push_back(nullptr);

    MessageOwner result;
    const int code = search(base, libraryScope(scope), filter, names.data(), result);
    if (code == LDAP_NO_SUCH_OBJECT)
    {
        return nullptr;
    }
    if (code != LDAP_SIZELIMIT_EXCEEDED)
    {
        checkResult(internal->ld, code, {__FILE__, "Search", __LINE__}, markedText("on searching '%s %s'"),
                    base, filter);
    }

    auto query = std::make_shared<CKVRLdapQuery>(*this);
    query->base = base;
    query->filter = filter;
    query->attributes = attributes;
    query->message->result = result.release();
    return query;
}

int CKVRLdapConnection::search(const std::string& base, int scope, const std::string& filter, char** names,
                               MessageOwner& result)
{
    int code = ldap_search_ext_s(sessionForRequest(), base.c_str(), scope, filter.c_str(), names, 0, nullptr,
                                 nullptr, nullptr, LDAP_NO_LIMIT, Receive(result));
    // A notice of disconnection can carry a code that says otherwise, and leaves no answer.
    if ((code == LDAP_SUCCESS || code == LDAP_SIZELIMIT_EXCEEDED) && !isAnswerToSearch(result.get()))
    {
        code = LDAP_SERVER_DOWN;
        ldap_set_option(internal->ld, LDAP_OPT_RESULT_CODE, &code);
    }
    return code;
}

void CKVRLdapConnection::InternalCheck(const std::string& context)
{
    int code = LDAP_SUCCESS;
    if (!readResultCode(internal->ld, code))
    {
        throw EKVRInternalError(moduleText("on getting ldap error code."), "", __FILE__, "InternalCheck",
                                __LINE__);
    }
    if (code != LDAP_SUCCESS)
    {
        throwOpenLdapError(internal->ld, code, context, __FILE__, "InternalCheck", __LINE__);
    }
}

bool CKVRLdapConnection::hasReachedTimeLimit() const
{
    int code = LDAP_SUCCESS;
    const bool isNoticed =
        internal->ld != nullptr && readResultCode(internal->ld, code) && code == LDAP_TIMEOUT;
    return isNoticed || guard.IsLimitReached();
}

LDAP* CKVRLdapConnection::sessionForRequest()
{
    guard.BeginRequest();
    return internal->ld;
}

void CKVRLdapConnection::requireSession() const
{
    if (internal->ld == nullptr)
    {
        throw EKVRCheckError(notConnectedText(), "");
    }
}

} // namespace KVR
