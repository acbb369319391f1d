#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapHandles.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace KVR
{

namespace
{

/** Any value that asks neither to add nor to remove replaces. */
int modificationOf(alOPERATION operation)
{
    switch (operation)
    {
    case alADD:
        return LDAP_MOD_ADD;
    case alREMOVE:
    case alREMOVEALL:
        return LDAP_MOD_DELETE;
    default:
        return LDAP_MOD_REPLACE;
    }
}

/** One modify request with one modification. */
int modify(LDAP* session, const std::string& dn, LDAPMod modification)
{
    LDAPMod* list[] = {&modification, nullptr};
    return ldap_modify_ext_s(session, dn.c_str(), list, nullptr, nullptr);
}

} // namespace

void CKVRLdapConnection::SetAttrValue(const std::string& dn, const std::string& attribute,
                                      const std::string& value, alOPERATION operation)
{
    if (operation != alREMOVEALL && value.empty())
    {
        throwEmptyArgument(__FILE__, "SetAttrValue", __LINE__);
    }
    requireSession();
    const std::string wireValue = value.empty() ? "" : toWire(value);
    char* values[] = {value.empty() ? nullptr : unchanged(wireValue), nullptr};
    LDAPMod modification{};
    modification.mod_op = modificationOf(operation);
    modification.mod_type = unchanged(attribute);
    modification.mod_vals.modv_strvals = values;
    checkResult(internal->ld, modify(sessionForRequest(), dn, modification),
                {__FILE__, "SetAttrValue", __LINE__},
                markedText("on modifying attribute '%s' of dn '%s' to value '%s'"), attribute, dn, value);
}

void CKVRLdapConnection::SetAttrValues(const std::string& dn, const std::string& attribute,
                                       std::list<std::string>& values, alOPERATION operation)
{
    if (operation != alREMOVEALL && values.empty())
    {
        throwEmptyArgument(__FILE__, "SetAttrValues", __LINE__);
    }
    requireSession();
    std::vector<std::string> wireValues;
    wireValues.reserve(values.size());
    std::vector<char*> pointers;
    pointers.reserve(values.size() + 1);
    for (const std::string& value : values)
    {
        pointers.push_back(wireValues.emplace_back(toWire(value)).data());
    }
    pointers.push_back(nullptr);
    LDAPMod modification{};
    modification.mod_op = modificationOf(operation);
    modification.mod_type = unchanged(attribute);
    modification.mod_vals.modv_strvals = pointers.data();
    checkResult(internal->ld, modify(sessionForRequest(), dn, modification),
                {__FILE__, "SetAttrValues", __LINE__}, markedText("on modifying attribute '%s' of dn '%s'"),
                attribute, dn);
}

void CKVRLdapConnection::SetAttrBinaryValue(const std::string& dn, const std::string& attribute,
                                            const char* data, unsigned long size, alOPERATION operation)
{
    if (operation != alREMOVEALL && data == nullptr)
    {
        throwEmptyArgument(__FILE__, "SetAttrBinaryValue", __LINE__);
    }
    requireSession();
    // libldap takes values as char* and does not write to them.
    berval value{size, const_cast<char*>(data)};
    berval* values[] = {&value, nullptr};
    LDAPMod modification{};
    modification.mod_op = modificationOf(operation) | LDAP_MOD_BVALUES;
    modification.mod_type = unchanged(attribute);
    modification.mod_vals.modv_bvals = values;
    checkResult(internal->ld, modify(sessionForRequest(), dn, modification),
                {__FILE__, "SetAttrBinaryValue", __LINE__},
                markedText("on modifying attribute '%s' of dn '%s' to binary value"), attribute, dn);
}

void CKVRLdapConnection::DeleteAttr(const std::string& dn, const std::string& attribute)
{
    requireSession();
    LDAPMod modification{};
    modification.mod_op = LDAP_MOD_DELETE;
    modification.mod_type = unchanged(attribute);
    checkResult(internal->ld, modify(sessionForRequest(), dn, modification),
                {__FILE__, "DeleteAttr", __LINE__}, markedText("on deleting attribute '%s' of dn '%s'"),
                attribute, dn);
}

char* CKVRLdapConnection::GetAttrBinaryValue(const std::string& dn, const std::string& attribute,
                                             unsigned long& size)
{
    const std::string filter = attribute + "=*";
    std::string name = attribute;
    char* names[] = {name.data(), nullptr};
    MessageOwner result;
    // Unlike its neighbours this operation does not look for a session: libldap aborts without one.
    const int code = search(dn, LDAP_SCOPE_BASE, filter, names, result);
    if (code == LDAP_NO_SUCH_OBJECT)
    {
        size = 0;
        return nullptr;
    }
    checkResult(internal->ld, code, {__FILE__, "GetAttrBinaryValue", __LINE__},
                markedText("on searching '%s %s'"), dn, filter);
    LDAPMessage* const entry = ldap_first_entry(internal->ld, result.get());
    if (entry == nullptr)
    {
        InternalCheck(moduleText("on fetching"));
        size = 0;
        return nullptr;
    }
    if (!TextOwner(ldap_get_dn(internal->ld, entry)))
    {
        result.reset();
        InternalCheck(moduleText("on fetching attributes"));
        size = 0;
        return nullptr;
    }
    return firstBinaryValue(entry, size);
}

char* CKVRLdapConnection::firstBinaryValue(LDAPMessage* entry, unsigned long& size)
{
    AttributeCursorOwner cursor;
    const TextOwner name(ldap_first_attribute(internal->ld, entry, Receive(cursor)));
    if (!name)
    {
        return nullptr; // without an attribute, and without values, the caller's size stays
    }
    const ValuesOwner values(ldap_get_values_len(internal->ld, entry, name.get()));
    if (!values || *values.get() == nullptr)
    {
        InternalCheck(moduleText("on fetching attributes"));
        return nullptr;
    }
    const berval& first = **values.get();
    size = first.bv_len;
    if (size == 0)
    {
        return nullptr;
    }
    auto* const buffer = static_cast<char*>(std::malloc(size));
    if (buffer == nullptr)
    {
        throw EKVROutOfMemory(moduleText("can't allocate a buffer for the value"), "", __FILE__,
                              "GetAttrBinaryValue", __LINE__);
    }
    std::memcpy(buffer, first.bv_val, size);
    return buffer;
}

} // namespace KVR
