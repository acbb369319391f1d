#include "KVRLdapCommon.h"
#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/KVRUtils.h>

#include <optional>

namespace KVR
{

namespace
{

constexpr char limitsAttribute[] = "olcLimits";

/** Whom a stored value "{N}who limits..." concerns; nothing for a value of another form. */
std::optional<std::string> requesterOf(const std::string& stored)
{
    const std::size_t brace = stored.find('}');
    if (brace == std::string::npos)
    {
        return std::nullopt;
    }
    const std::size_t begin = brace + 1;
    const std::size_t blank = stored.find(' ', begin);
    if (blank == std::string::npos)
    {
        return std::nullopt;
    }
    return Trim(stored.substr(begin, blank - begin));
}

} // namespace

void CKVRLdapConnection::EnumerateDBLimits(std::map<std::string, std::string>& limits)
{
    requireSession();
    limits.clear();
    const auto query = searchConfiguration(*this, Configuration::root, Configuration::mainDatabase,
                                           {limitsAttribute}, alSCOPE_SUB);
    std::list<std::string> values;
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query->Fetch(entity))
    {
        entity->ValsByAttr(limitsAttribute, values, true);
    }
    for (const std::string& stored : values)
    {
        if (const std::optional<std::string> who = requesterOf(stored))
        {
            limits[*who] = stored;
        }
    }
}

void CKVRLdapConnection::AddDBLimit(const std::string& who, const std::string& limit)
{
    if (limit.empty())
    {
        throwEmptyArgument(__FILE__, "AddDBLimit", __LINE__);
    }
    std::map<std::string, std::string> limits;
    EnumerateDBLimits(limits);
    if (limits.count(who) == 0)
    {
        SetAttrValue(Configuration::mainDatabaseDn, limitsAttribute, who + " " + Trim(limit), alADD);
    }
}

void CKVRLdapConnection::DeleteDBLimit(const std::string& who)
{
    if (who.empty())
    {
        throwEmptyArgument(__FILE__, "DeleteDBLimit", __LINE__);
    }
    std::map<std::string, std::string> limits;
    EnumerateDBLimits(limits);
    const auto found = limits.find(who);
    if (found != limits.end())
    {
        SetAttrValue(Configuration::mainDatabaseDn, limitsAttribute, found->second, alREMOVE);
    }
}

} // namespace KVR
