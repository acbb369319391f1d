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

void CKVRLdapConnection::AdjustGecosType()
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateIndexes(std::list<std::string>& /*indexes*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddDBIndex(const std::string& /*index*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteDBIndex(const std::string& /*index*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateDBAccessRules(std::list<std::string>& /*rules*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddDBAccessRule(int /*position*/, const std::string& /*rule*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteDBAccessRule(int /*position*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateLdapSchemas(std::list<std::string>& /*schemas*/)
{
    throwUnavailable(__func__, __LINE__);
}

bool CKVRLdapConnection::IsLdapSchemaRegistered(const std::string& /*name*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateModules(std::list<std::string>& /*modules*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateDatabases(std::map<std::string, std::string>& /*databases*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateDBUniqueness(std::list<std::string>& /*uris*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddDBUniqueness(const std::string& /*uri*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteDBUniqueness(const std::string& /*uri*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::EnumerateDBLimits(std::map<std::string, std::string>& /*limits*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::AddDBLimit(const std::string& /*who*/, const std::string& /*limit*/)
{
    throwUnavailable(__func__, __LINE__);
}

void CKVRLdapConnection::DeleteDBLimit(const std::string& /*who*/)
{
    throwUnavailable(__func__, __LINE__);
}

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
