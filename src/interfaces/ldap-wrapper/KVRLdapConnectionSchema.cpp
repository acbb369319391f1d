#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>

#include <algorithm>
#include <cstdio>

namespace KVR
{

namespace
{

constexpr char schemaFilter[] = "objectClass=olcSchemaConfig";
constexpr char definitionsAttribute[] = "olcAttributeTypes";

/** The first definition of the attribute type "gecos" (RFC 2307) in a result, or "". */
std::string gecosDefinition(IKVRLdapQuery& query)
{
    std::string definition;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query.Fetch(entity))
    {
        for (const auto& [name, value] : entity->attributes)
        {
            if (definition.empty() && value.find("}( 1.3.6.1.1.1.1.2 ") != std::string::npos)
            {
                definition = value;
            }
        }
    }
    return definition;
}

/** The number of the ordering prefix "{N}", or 0. */
int positionOf(const std::string& definition)
{
    int position = 0;
    // NOLINTNEXTLINE(cert-err34-c): eight digits can't overflow, and 0 is meant where there are none
    static_cast<void>(std::sscanf(definition.c_str(), "{%8d}", &position));
    return position;
}

/** The definition with the syntax Directory String in place of IA5 String (RFC 4517, section 3.3). */
std::string withDirectoryString(std::string definition)
{
    const std::string ia5 = "IA5";
    for (std::size_t at = definition.find(ia5); at != std::string::npos; at = definition.find(ia5))
    {
        definition.erase(at, ia5.size());
    }
    const std::string ia5Syntax = "1.26";
    const std::size_t syntax = definition.find(ia5Syntax);
    if (syntax != std::string::npos)
    {
        definition.replace(syntax, ia5Syntax.size(), "1.15");
    }
    return definition;
}

} // namespace

void CKVRLdapConnection::EnumerateLdapSchemas(std::list<std::string>& schemas)
{
    requireSession();
    schemas.clear();
    const auto query = searchConfiguration(*this, Configuration::schemas, "(objectClass=olcSchemaConfig)",
                                           {"cn"}, alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        schemas.push_back(Utf8ToLocal(entity->ValByAttr("cn", false)));
    }
}

bool CKVRLdapConnection::IsLdapSchemaRegistered(const std::string& name)
{
    requireSession();
    CKVRFormatCall format(__FILE__, "IsLdapSchemaRegistered", __LINE__);
    const char* const filter = format(3, "(&(%s)(%s={*}%s))", schemaFilter, "cn", name.c_str());
    const auto query = searchConfiguration(*this, Configuration::schemas, filter, {"cn"}, alSCOPE_SUB);
    requireSingleEntry(*query, __FILE__, "IsLdapSchemaRegistered", __LINE__);
    std::shared_ptr<IKVRLdapEntity> entity;
    return query->Fetch(entity);
}

void CKVRLdapConnection::AdjustGecosType()
{
    requireSession();
    std::list<std::string> schemas;
    EnumerateLdapSchemas(schemas);
    const auto nis =
        std::find_if(schemas.begin(), schemas.end(),
                     [](const std::string& name) { return name.find("nis") != std::string::npos; });
    if (nis == schemas.end())
    {
        return;
    }
    CKVRFormatCall format(__FILE__, "AdjustGecosType", __LINE__);
    const char* const filter = format(3, "(&(%s)(%s=%s))", schemaFilter, "cn", nis->c_str());
    const auto query =
        searchConfiguration(*this, Configuration::schemas, filter, {definitionsAttribute}, alSCOPE_SUB);
    requireSingleEntry(*query, __FILE__, "AdjustGecosType", __LINE__);
    const std::string definition = gecosDefinition(*query);
    if (definition.empty())
    {
        return;
    }
    const std::string dn = format(3, "%s=%s,%s", "cn", nis->c_str(), Configuration::schemas);
    const std::string position = format(1, "{%d}", positionOf(definition));
    // The new definition carries the old one's prefix, so it returns to the same position.
    SetAttrValue(dn, definitionsAttribute, position, alREMOVEALL);
    SetAttrValue(dn, definitionsAttribute, withDirectoryString(definition), alADD);
}

} // namespace KVR
