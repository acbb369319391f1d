#include "KVRLdapCommon.h"
#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"
#include "KVRTranslate.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

namespace KVR
{

namespace
{

constexpr char uriAttribute[] = "olcUniqueURI";
constexpr char overlayFilter[] = "objectClass=olcUniqueConfig";

/** DN of the overlay "unique" right below the main database. */
std::string overlayDn(IKVRLdapConnection& connection, const char* function, unsigned long line)
{
    std::list<std::string> names{"dn"};
    const auto query = connection.Search(Configuration::mainDatabaseDn, overlayFilter, names, alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query)
    {
        query->First();
        query->Fetch(entity);
    }
    if (!entity)
    {
        CKVRFormatCall format(__FILE__, function, line);
        throw EKVRInternalError(
            format(1, moduleText("LDAP configuration for module '%s' not found."), "unique"), "", __FILE__,
            function, line);
    }
    return entity->dn;
}

} // namespace

void CKVRLdapConnection::EnumerateDBUniqueness(std::list<std::string>& uris)
{
    requireSession();
    uris.clear();
    const auto query =
        searchConfiguration(*this, Configuration::mainDatabaseDn, overlayFilter, {uriAttribute}, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query->Fetch(entity))
    {
        entity->ValsByAttr(uriAttribute, uris, false);
    }
}

void CKVRLdapConnection::AddDBUniqueness(const std::string& rule)
{
    if (rule.empty())
    {
        throwEmptyArgument(__FILE__, "AddDBUniqueness", __LINE__);
    }
    std::list<std::string> uris;
    EnumerateDBUniqueness(uris);
    if (!IsMemberOfList(uris, rule))
    {
        SetAttrValue(overlayDn(*this, "AddDBUniqueness", __LINE__), uriAttribute, rule, alADD);
    }
}

void CKVRLdapConnection::DeleteDBUniqueness(const std::string& rule)
{
    if (rule.empty())
    {
        throwEmptyArgument(__FILE__, "DeleteDBUniqueness", __LINE__);
    }
    std::list<std::string> uris;
    EnumerateDBUniqueness(uris);
    if (IsMemberOfList(uris, rule))
    {
        SetAttrValue(overlayDn(*this, "DeleteDBUniqueness", __LINE__), uriAttribute, rule, alREMOVEALL);
    }
}

} // namespace KVR
