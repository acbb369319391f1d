#include "ProviderDatabases.h"

#include "Configuration.h"
#include "Partner.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

std::vector<Database> databasesBelow(IKVRLdapConnection& connection, const std::string& parent)
{
    std::list<std::string> names{"olcDatabase", "olcSuffix", "olcDbURI"};
    const auto query = connection.Search(parent, "(olcDatabase=*)", names, alSCOPE_ONE);
    std::vector<Database> databases;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query && query->Fetch(entity))
    {
        Database database;
        database.dn = entity->dn;
        for (const auto& [name, value] : entity->attributes)
        {
            if (IsAlike(name, "olcSuffix"))
            {
                database.suffixes.push_back(value);
            }
            else
            {
                (IsAlike(name, "olcDbURI") ? database.uri : database.name) = value;
            }
        }
        databases.push_back(database);
    }
    return databases;
}

template <typename Condition>
std::vector<Database> withSuffix(const std::vector<Database>& databases, const Condition& isMeant)
{
    std::vector<Database> found;
    std::copy_if(databases.begin(), databases.end(), std::back_inserter(found),
                 [&isMeant](const Database& each)
                 { return std::any_of(each.suffixes.begin(), each.suffixes.end(), isMeant); });
    return found;
}

} // namespace

const char* const chainOverlayDn = "olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";

std::string NoChainOverlay()
{
    return "the frontend database has no overlay chain, or it is hidden";
}

bool Database::IsLdap() const
{
    const std::string type = name.substr(name.find('}') + 1);
    return IsAlike(type, "ldap");
}

std::string Database::Description() const
{
    std::string text;
    for (const std::string& suffix : suffixes)
    {
        text += (text.empty() ? "" : " ") + suffix;
    }
    return dn + " (" + text + (uri.empty() ? "" : " at " + uri) + ')';
}

std::vector<Database> ProviderDatabases::All() const
{
    std::vector<Database> all = chain;
    all.insert(all.end(), main.begin(), main.end());
    return all;
}

ProviderDatabases FindProviderDatabases(IKVRLdapConnection& connection, const std::string& suffix)
{
    const auto isSame = [&suffix](const std::string& each) { return IsSameDn(each, suffix); };
    const std::vector<Database> below = databasesBelow(connection, "cn=config");
    ProviderDatabases found;
    found.allOfChain = databasesBelow(connection, chainOverlayDn);
    found.chain = withSuffix(found.allOfChain, isSame);
    found.main = withSuffix(below, isSame);
    found.serving =
        withSuffix(below, [&suffix](const std::string& each) { return IsWithinDn(suffix, each); });
    return found;
}

} // namespace KVR::Cli
