#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEscapes.h"
#include "KVRTranslate.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/KVRUtils.h>

#include <algorithm>

namespace KVR
{

namespace
{

using Attributes = CKVRModificationList::Attributes;
using Mode = CKVRModificationMode;

[[noreturn]] void throwInvalidAttribute(const char* function, unsigned long line, const std::string& dn)
{
    CKVRFormatCall format(__FILE__, function, line);
    throw EKVRInternalError(format(1, moduleText("Invalid attribute of dn '%s'"), dn.c_str()), "", __FILE__,
                            function, line);
}

/** Position of the last comma between components at or before this one, or npos. */
std::size_t commaBefore(const std::string& path, std::size_t position)
{
    std::size_t comma = path.rfind(',', position);
    while (comma != std::string::npos && isEscaped(path, comma))
    {
        comma = path.rfind(',', comma - 1);
    }
    return comma;
}

/** True when this position stands behind an escape of its component: what looks like a type there is a value.
 */
bool isBehindEscape(const std::string& path, std::size_t position)
{
    const std::size_t comma = commaBefore(path, position);
    return path.find('\\', comma == std::string::npos ? 0 : comma) < position;
}

/** Position of the first component of the domain, or npos. */
std::size_t domainOf(const std::string& path)
{
    std::size_t domain = path.find("dc=");
    while (domain != std::string::npos && isBehindEscape(path, domain))
    {
        domain = path.find("dc=", domain + 1);
    }
    return domain;
}

/** Position of the last unit at or before this one, or npos. */
std::size_t unitBefore(const std::string& path, std::size_t position)
{
    std::size_t unit = path.rfind("ou=", position);
    while (unit != std::string::npos && isBehindEscape(path, unit))
    {
        unit = path.rfind("ou=", unit - 1);
    }
    return unit;
}

/** The component from this position to the next comma that is not escaped, trimmed. */
std::string componentAt(const std::string& path, std::size_t position)
{
    std::size_t comma = path.find(',', position);
    while (comma != std::string::npos && isEscaped(path, comma))
    {
        comma = path.find(',', comma + 1);
    }
    const std::string text = path.substr(position, comma - position);
    const std::string component = Trim(text);
    // White space that is escaped belongs to the name.
    const bool cutEscape = component.size() < text.size() && isEscaped(component, component.size());
    return cutEscape ? text.substr(0, component.size() + 1) : component;
}

/** Reads the mode character in front of a name. */
Mode updateMode(const std::string& name, const std::string& dn)
{
    switch (name.front())
    {
    case alADD:
        return {LDAP_MOD_ADD, true, 1};
    case alREMOVE:
        return {LDAP_MOD_DELETE, true, 1};
    case alREPLACE:
        return {LDAP_MOD_REPLACE, true, 1};
    case alREMOVEALL:
        return {LDAP_MOD_DELETE, false, 1};
    default:
        break;
    }
    CKVRFormatCall format(__FILE__, "UpdateDN", __LINE__);
    throw EKVRInternalError(
        format(2, moduleText("Invalid attribute update mode '%s' of dn '%s'"), name.c_str(), dn.c_str()), "",
        __FILE__, "UpdateDN", __LINE__);
}

/** Keeps libldap from following referrals and references while it lives. */
class ReferralPause
{
public:
    /** @param session where the connection keeps its session, which it may end meanwhile */
    explicit ReferralPause(LDAP* const& session) : session_(session), paused_(session)
    {
        int isOn = 1;
        ldap_get_option(paused_, LDAP_OPT_REFERRALS, &isOn);
        former_ = isOn != 0 ? LDAP_OPT_ON : LDAP_OPT_OFF;
        ldap_set_option(paused_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    }

    ~ReferralPause()
    {
        if (session_ == paused_)
        {
            ldap_set_option(paused_, LDAP_OPT_REFERRALS, former_);
        }
    }

    ReferralPause(const ReferralPause&) = delete;
    ReferralPause& operator=(const ReferralPause&) = delete;

private:
    LDAP* const& session_;
    LDAP* const paused_;
    const void* former_ = nullptr;
};

} // namespace

void CKVRLdapConnection::buildModifications(CKVRModificationList& list, const Attributes& attributes,
                                            const CKVRModificationList::ModeOf& modeOf, const char* function)
{
    CKVRModificationList::Convert conversion;
    if (convert)
    {
        conversion = [this](const std::string& value) { return LocalToUtf8(value); };
    }
    try
    {
        list.Build(attributes, modeOf, conversion);
    }
    catch (...)
    {
        // Whatever stops the building is reported alike, an invalid mode character too: hosts know
        // this one text.
        throw EKVRInternalError(moduleText("on building attributes"), "", __FILE__, function, __LINE__);
    }
}

void CKVRLdapConnection::AddDN(const std::string& dn, Attributes& attributes)
{
    requireSession();
    const auto incomplete = [](const auto& pair) { return pair.first.empty() || pair.second.empty(); };
    if (std::any_of(attributes.begin(), attributes.end(), incomplete))
    {
        throwInvalidAttribute("AddDN", __LINE__, dn);
    }
    CKVRModificationList list;
    // The library takes no notice of the operation when it adds.
    const auto addMode = [](const std::string&) { return Mode{LDAP_MOD_REPLACE, true, 0}; };
    buildModifications(list, attributes, addMode, "AddDN");
    const int code = ldap_add_ext_s(sessionForRequest(), dn.c_str(), list.Data(), nullptr, nullptr);
    checkResult(internal->ld, code, {__FILE__, "AddDN", __LINE__}, markedText("on adding dn '%s'"), dn);
}

void CKVRLdapConnection::UpdateDN(const std::string& dn, Attributes& attributes)
{
    requireSession();
    const auto nameless = [](const auto& pair) { return pair.first.empty(); };
    if (std::any_of(attributes.begin(), attributes.end(), nameless))
    {
        throwInvalidAttribute("UpdateDN", __LINE__, dn);
    }
    CKVRModificationList list;
    buildModifications(
        list, attributes, [&dn](const std::string& name) { return updateMode(name, dn); }, "UpdateDN");
    const int code = ldap_modify_ext_s(sessionForRequest(), dn.c_str(), list.Data(), nullptr, nullptr);
    checkResult(internal->ld, code, {__FILE__, "UpdateDN", __LINE__}, markedText("on modifying dn '%s'"), dn);
}

void CKVRLdapConnection::DeleteDN(const std::string& dn)
{
    requireSession();
    // The subtree ends at a reference: what is behind it belongs to somebody else.
    const ReferralPause pause(internal->ld);
    int code = deleteBelow(dn);
    if (code == LDAP_SUCCESS)
    {
        code = ldap_delete_ext_s(sessionForRequest(), dn.c_str(), nullptr, nullptr);
    }
    checkResult(internal->ld, code, {__FILE__, "DeleteDN", __LINE__}, markedText("on deleting dn '%s'"), dn);
}

int CKVRLdapConnection::deleteBelow(const std::string& dn)
{
    std::list<std::string> names{"cn"};
    const auto query = Search(dn, "(objectClass=*)", names, alSCOPE_CHILDREN);
    if (!query)
    {
        return LDAP_SUCCESS; // the deletion of the entry itself tells that it is missing
    }
    query->First();
    std::shared_ptr<IKVRLdapEntity> entry;
    int code = LDAP_SUCCESS;
    // One pass in the server's order: an entry with children of its own stops it.
    while (code == LDAP_SUCCESS && query->Fetch(entry))
    {
        code = ldap_delete_ext_s(sessionForRequest(), entry->dn.c_str(), nullptr, nullptr);
    }
    return code;
}

void CKVRLdapConnection::RenameDN(const std::string& dn, const std::string& newRdn)
{
    requireSession();
    constexpr int deleteOldRdn = 1;
    const int code = ldap_rename_s(sessionForRequest(), dn.c_str(), newRdn.c_str(), nullptr, deleteOldRdn,
                                   nullptr, nullptr);
    checkResult(internal->ld, code, {__FILE__, "RenameDN", __LINE__},
                markedText("on renaming dn '%s' to rdn '%s'"), dn, newRdn);
}

void CKVRLdapConnection::EnsureOU(const std::string& dn)
{
    if (dn.empty())
    {
        throwEmptyArgument(__FILE__, "EnsureOU", __LINE__);
    }
    requireSession();
    const std::size_t domain = domainOf(dn);
    std::string parent = domain == std::string::npos ? "" : Trim(dn.substr(domain));
    // Units stand in front of the domain's comma; without a domain the path's end counts as one.
    std::size_t comma = domain == std::string::npos ? dn.size() : commaBefore(dn, domain);
    while (comma != std::string::npos)
    {
        const std::size_t unit = unitBefore(dn, comma);
        if (unit == std::string::npos)
        {
            return;
        }
        parent = ensureUnit(componentAt(dn, unit), parent);
        comma = unit == 0 ? std::string::npos : commaBefore(dn, unit - 1);
    }
}

std::string CKVRLdapConnection::ensureUnit(const std::string& component, const std::string& parent)
{
    const std::string name = plainValue(component.substr(3));
    std::list<std::string> everything{"*"};
    const std::string filter = "(&(objectClass=organizationalUnit)(ou=" + filterValue(name) + "))";
    const auto query = Search(parent, filter, everything, alSCOPE_ONE);
    std::string dn = parent.empty() ? component : component + "," + parent;
    if (!query || query->Count() <= 0)
    {
        Attributes attributes{{"objectClass", "top"}, {"objectClass", "organizationalUnit"}, {"ou", name}};
        AddDN(dn, attributes);
    }
    return dn;
}

} // namespace KVR
