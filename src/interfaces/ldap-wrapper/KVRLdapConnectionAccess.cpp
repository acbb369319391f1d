#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"
#include "KVRTranslate.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>

namespace KVR
{

namespace
{

constexpr char accessAttribute[] = "olcAccess";
constexpr int atTheEnd = -1;

void requirePosition(int position, int lowest, const char* function, unsigned long line)
{
    if (position < lowest)
    {
        CKVRFormatCall format(__FILE__, function, line);
        throw EKVRError(format(1, moduleText("Invalid DB access rule index %d."), position), "");
    }
}

/** The server's ordering prefix (X-ORDERED in slapd-config(5)). */
std::string prefixOf(int position)
{
    return "{" + std::to_string(position) + "}";
}

} // namespace

void CKVRLdapConnection::EnumerateDBAccessRules(std::list<std::string>& rules)
{
    requireSession();
    rules.clear();
    const std::string filter =
        std::string("(&(objectClass=olcDatabaseConfig)(") + Configuration::mainDatabase + "))";
    const auto query =
        searchConfiguration(*this, Configuration::root, filter, {accessAttribute}, alSCOPE_SUB);
    requireSingleEntry(*query, __FILE__, "EnumerateDBAccessRules", __LINE__);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query->Fetch(entity))
    {
        for (const auto& [name, value] : entity->attributes)
        {
            rules.push_back(Utf8ToLocal(value));
        }
    }
}

void CKVRLdapConnection::AddDBAccessRule(int position, const std::string& rule)
{
    requireSession();
    requirePosition(position, atTheEnd, "AddDBAccessRule", __LINE__);
    const std::string prefix = position == atTheEnd ? "" : prefixOf(position) + " ";
    SetAttrValue(Configuration::mainDatabaseDn, accessAttribute, prefix + rule, alADD);
}

void CKVRLdapConnection::DeleteDBAccessRule(int position)
{
    requireSession();
    requirePosition(position, 0, "DeleteDBAccessRule", __LINE__);
    // A bare prefix names the value at that position, whatever its text.
    SetAttrValue(Configuration::mainDatabaseDn, accessAttribute, prefixOf(position), alREMOVEALL);
}

} // namespace KVR
