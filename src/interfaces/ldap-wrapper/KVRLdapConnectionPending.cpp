#include "KVRLdapConnection.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>

// Operations that keep their places in the virtual table and that this version does not offer.

namespace KVR
{

namespace
{

[[noreturn]] void throwUnavailable(const char* function, unsigned long line)
{
    CKVRFormatCall format(__FILE__, function, line);
    throw EKVRInternalError(format(1, "Operation '%s' isn't available.", function), "", __FILE__, function,
                            line);
}

} // namespace

void CKVRLdapConnection::EnumerateSyncRepls(std::list<std::string>& /*agreements*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddSyncRepl(std::string /*identifier*/, std::string /*provider*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteSyncRepl(std::string /*identifier*/, std::string /*provider*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateLdapProviders(std::map<std::string, std::string>& /*providers*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddLdapProvider(const std::string& /*domain*/, std::string /*uri*/,
                                         const std::string& /*reserved*/)
{
    throwUnavailable(__func__, __LINE__);
}

std::shared_ptr<IKVRLdapEntity> CKVRLdapConnection::GetLdapProvider(const std::string& /*domain*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::UpdateLdapProvider(const std::string& /*domain*/, std::string /*uri*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteLdapProvider(const std::string& /*domain*/)
{
    throwUnavailable(__func__, __LINE__);
}

} // namespace KVR
