#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEscapes.h"
#include "KVRTranslate.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRUtils.h>

#include <algorithm>

namespace KVR
{

namespace
{

using Attributes = std::multimap<std::string, std::string>;

constexpr char databaseAttribute[] = "olcDatabase";
constexpr char suffixAttribute[] = "olcSuffix";
constexpr char uriAttribute[] = "olcDbURI";

/** The address with a scheme in front unless it has "ldap://" anywhere. */
std::string withScheme(const std::string& address)
{
    const std::string scheme = "ldap://";
    return address.find(scheme) == std::string::npos ? scheme + address : address;
}

std::string chainFilter(const std::string& suffix)
{
    return "(&(objectClass=olcChainDatabase)(olcSuffix=" + filterValue(suffix) + "))";
}

std::string databaseFilter(const std::string& suffix)
{
    return "(&(objectClass=*)(olcSuffix=" + filterValue(suffix) + "))";
}

/** DN of a database of the configuration; without a number in its name the server gives it one. */
std::string databaseDn(const std::string& database, const char* parent)
{
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    return format(3, "%s=%s,%s", databaseAttribute, database.c_str(), parent);
}

/** How the server logs in to the other one: as this computer's daemon, see slapd-ldap(5). */
std::string identityAssertion(IKVRCore& core)
{
    const std::string principal =
        core.GetParameter("KVRD_USER") + "/" + core.GetHostName() + "@" + core.GetParameter("REALM");
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    return format(1, "bindmethod=sasl saslmech=gssapi binddn=uid=\"%s\"", principal.c_str());
}

/** @param classes object classes with commas between them */
Attributes databaseAttributes(const char* classes, const std::string& suffix, const std::string& address,
                              const std::string& assertion)
{
    std::list<std::string> names;
    StrTolist(classes, names, ',');
    Attributes attributes;
    for (const std::string& name : names)
    {
        attributes.emplace("objectClass", name);
    }
    attributes.insert({{suffixAttribute, suffix},
                       {uriAttribute, address},
                       {"olcDbIDAssertBind", assertion},
                       {"olcDbRebindAsUser", "FALSE"},
                       {"olcDbChaseReferrals", "TRUE"},
                       {"olcDbUseTemporaryConn", "FALSE"}});
    return attributes;
}

/** @param text a translated text with a place for the suffix */
[[noreturn]] void throwForSuffix(const char* text, const std::string& suffix, const char* function,
                                 unsigned long line)
{
    CKVRFormatCall format(__FILE__, function, line);
    throw EKVRError(format(1, text, suffix.c_str()), "");
}

/** True when the root of the configuration can be read: what is missing below it is absent, not hidden. */
bool seesConfiguration(IKVRLdapConnection& connection)
{
    std::list<std::string> names{"cn"};
    const auto query = connection.Search(Configuration::root, "(objectClass=*)", names, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    return query && query->Fetch(entity);
}

} // namespace

void CKVRLdapConnection::EnumerateLdapProviders(std::map<std::string, std::string>& providers)
{
    requireSession();
    providers.clear();
    std::list<std::string> names{databaseAttribute, suffixAttribute};
    const auto query = Search(Configuration::chainOverlayDn, "(&(objectClass=olcChainDatabase)(olcSuffix=*))",
                              names, alSCOPE_ONE);
    if (!query)
    {
        if (seesConfiguration(*this))
        {
            return; // a server without the chain overlay has no providers
        }
        throwConfigurationHidden();
    }
    query->First();
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        const std::string suffix = entity->ValByAttr(suffixAttribute, false);
        providers.emplace(entity->ValByAttr(databaseAttribute, false), suffix);
    }
}

std::shared_ptr<IKVRLdapEntity> CKVRLdapConnection::GetLdapProvider(const std::string& domain)
{
    requireSession();
    const std::string suffix = DomainToDn(domain);
    const auto query =
        searchConfiguration(*this, Configuration::chainOverlayDn, chainFilter(suffix), {"*"}, alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (!query->Fetch(entity))
    {
        throwForSuffix(moduleText("LDAP provider for suffix '%s' not found."), suffix, "GetLdapProvider",
                       __LINE__);
    }
    return entity;
}

void CKVRLdapConnection::AddLdapProvider(const std::string& domain, std::string address,
                                         const std::string& /*reserved*/)
{
    requireSession();
    address = withScheme(address);
    const std::string suffix = DomainToDn(domain);
    std::map<std::string, std::string> providers;
    EnumerateLdapProviders(providers);
    if (std::any_of(providers.begin(), providers.end(),
                    [&suffix](const auto& provider) { return provider.second == suffix; }))
    {
        throwForSuffix(moduleText("LDAP provider for suffix '%s' already exists."), suffix, "AddLdapProvider",
                       __LINE__);
    }
    const std::string assertion = identityAssertion(core);
    Attributes attributes = databaseAttributes("olcLDAPConfig,olcChainDatabase", suffix, address, assertion);
    AddDN(databaseDn("ldap", Configuration::chainOverlayDn), attributes);
    attributes = databaseAttributes("olcLDAPConfig,olcDatabaseConfig", suffix, address, assertion);
    AddDN(databaseDn("ldap", Configuration::root), attributes);
}

void CKVRLdapConnection::UpdateLdapProvider(const std::string& domain, std::string address)
{
    requireSession();
    const std::string suffix = DomainToDn(domain);
    Attributes changes{{std::string("=") + uriAttribute, withScheme(address)}};

    const std::list<std::string> names{databaseAttribute, suffixAttribute};
    std::shared_ptr<IKVRLdapEntity> entity;
    auto query =
        searchConfiguration(*this, Configuration::chainOverlayDn, chainFilter(suffix), names, alSCOPE_ONE);
    if (!query->Fetch(entity))
    {
        throwForSuffix(moduleText("LDAP provider for suffix '%s' not found."), suffix, "UpdateLdapProvider",
                       __LINE__);
    }
    UpdateDN(databaseDn(entity->ValByAttr(databaseAttribute, false), Configuration::chainOverlayDn), changes);

    query = searchConfiguration(*this, Configuration::root, databaseFilter(suffix), names, alSCOPE_ONE);
    if (!query->Fetch(entity))
    {
        throwForSuffix(moduleText("LDAP database for suffix '%s' not found."), suffix, "UpdateLdapProvider",
                       __LINE__);
    }
    UpdateDN(databaseDn(entity->ValByAttr(databaseAttribute, false), Configuration::root), changes);
}

void CKVRLdapConnection::DeleteLdapProvider(const std::string& domain)
{
    requireSession();
    if (domain == core.GetDomainName())
    {
        throw EKVRError(moduleText("KVR domain backend can't be deleted!"), "");
    }
    const std::string suffix = DomainToDn(domain);
    deleteDatabases(Configuration::chainOverlayDn, chainFilter(suffix));
    deleteDatabases(Configuration::root, databaseFilter(suffix));
}

void CKVRLdapConnection::deleteDatabases(const char* parent, const std::string& filter)
{
    const auto query =
        searchConfiguration(*this, parent, filter, {databaseAttribute, suffixAttribute}, alSCOPE_ONE);
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        DeleteDN(entity->dn);
    }
}

} // namespace KVR
