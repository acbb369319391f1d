#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

namespace KVR
{

void CKVRLdapConnection::EnumerateModules(std::list<std::string>& modules)
{
    requireSession();
    modules.clear();
    const auto query =
        searchConfiguration(*this, Configuration::root, "cn=module{0}", {"olcModuleLoad"}, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    query->Fetch(entity);
    if (entity)
    {
        entity->ValsByAttr("olcModuleLoad", modules, false);
    }
}

void CKVRLdapConnection::EnumerateDatabases(std::map<std::string, std::string>& databases)
{
    requireSession();
    databases.clear();
    const auto query = searchConfiguration(*this, Configuration::root, "(&(objectClass=*)(olcSuffix=*))",
                                           {"olcDatabase", "olcSuffix"}, alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        const std::string suffix = entity->ValByAttr("olcSuffix", false);
        databases.emplace(entity->ValByAttr("olcDatabase", false), suffix);
    }
}

} // namespace KVR
