#include "KVRLdapCommon.h"
#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/KVRUtils.h>

namespace KVR
{

namespace
{

constexpr char indexAttribute[] = "olcDbIndex";

} // namespace

void CKVRLdapConnection::EnumerateIndexes(std::list<std::string>& indexes)
{
    requireSession();
    indexes.clear();
    const auto query = searchConfiguration(*this, Configuration::root, Configuration::mainDatabase,
                                           {indexAttribute}, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query->Fetch(entity))
    {
        entity->ValsByAttr(indexAttribute, indexes, false);
    }
}

void CKVRLdapConnection::AddDBIndex(const std::string& index)
{
    if (index.empty())
    {
        throwEmptyArgument(__FILE__, "AddDBIndex", __LINE__);
    }
    std::list<std::string> indexes;
    EnumerateIndexes(indexes);
    if (!IsMemberOfList(indexes, index))
    {
        SetAttrValue(Configuration::mainDatabaseDn, indexAttribute, index, alADD);
    }
}

void CKVRLdapConnection::DeleteDBIndex(const std::string& index)
{
    if (index.empty())
    {
        throwEmptyArgument(__FILE__, "DeleteDBIndex", __LINE__);
    }
    std::list<std::string> indexes;
    EnumerateIndexes(indexes);
    if (IsMemberOfList(indexes, index))
    {
        SetAttrValue(Configuration::mainDatabaseDn, indexAttribute, index, alREMOVEALL);
    }
}

} // namespace KVR
