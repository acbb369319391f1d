#include "Lookup.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

namespace KVR::Cli
{

bool EntryExists(IKVRLdapConnection& connection, const std::string& dn)
{
    std::list<std::string> attributes{noAttributes};
    const auto query = connection.Search(dn, everyEntry, attributes, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    return query && query->Fetch(entity);
}

} // namespace KVR::Cli
