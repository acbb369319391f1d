#include "KVRLdapCommon.h"

#include "KVRLdapHandles.h"
#include "KVRTranslate.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/KVRUtils.h>

namespace KVR
{

namespace
{

/** Context and library text as they stand behind "OpenLDAP error". */
std::string errorTail(int code, const std::string& message)
{
    std::string tail = message.empty() ? "" : " " + message;
    if (code != LDAP_SUCCESS)
    {
        tail += " - ";
        tail += ldap_err2string(code);
    }
    return tail;
}

std::string diagnosticOf(LDAP* session)
{
    TextOwner text;
    if (session != nullptr)
    {
        ldap_get_option(session, LDAP_OPT_DIAGNOSTIC_MESSAGE, Receive(text));
    }
    return text ? text.get() : "";
}

} // namespace

EKVROpenLdapError::EKVROpenLdapError(LDAP* ld, int rc, const std::string& message) : EKVRError(message, "")
{
    msg_ = moduleText("OpenLDAP error") + errorTail(rc, message);
    details_ = diagnosticOf(ld);
    EKVRError::makewhat();
}

EKVROpenLdapError::EKVROpenLdapError(LDAP* ld, int rc, const std::string& message, const std::string& file,
                                     const std::string& function, unsigned long line)
    : EKVRError(message, "", file, function, line)
{
    const std::string core = errorTail(rc, message);
    details_ = diagnosticOf(ld);
    CKVRFormatCall format(__FILE__, "EKVROpenLdapError", __LINE__);
    msg_ = format(4, moduleText("OpenLDAP error%s in %s:%d(%s)"), core.c_str(), ExtractFileName(file.c_str()),
                  static_cast<int>(line), function.c_str());
    EKVRError::makewhat();
}

bool isAccessFailure(long code)
{
    return code >= LDAP_X_PROXY_AUTHZ_FAILURE && code <= LDAP_INSUFFICIENT_ACCESS;
}

const char* notConnectedText()
{
    return moduleText("LDAP connection isn`t established.");
}

bool readResultCode(LDAP* session, int& code)
{
    return ldap_get_option(session, LDAP_OPT_RESULT_CODE, &code) == LDAP_OPT_SUCCESS;
}

void throwOpenLdapError(LDAP* session, int code, const std::string& context, const char* file,
                        const char* function, unsigned long line)
{
    if (isAccessFailure(code))
    {
        throw EKVROpenLdapError(
            session, code, hostText("Insufficient access. The user should have administrator privilege."));
    }
    throw EKVROpenLdapError(session, code, context, file, function, line);
}

void throwEmptyArgument(const char* file, const char* function, unsigned long line)
{
    CKVRFormatCall format(file, function, line);
    throw EKVRCheckError(format(1, hostText("Argument is empty for '%s'."), function), "");
}

} // namespace KVR
