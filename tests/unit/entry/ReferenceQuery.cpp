#include "ReferenceQuery.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapEntity.h>
#include <kvr/CKVRLogProvider.h>

namespace KVR::Support
{

namespace
{

/** False without an answer, and for one to another operation. */
bool isOfSearch(LDAPMessage* answer)
{
    const int type = answer != nullptr ? ldap_msgtype(answer) : LDAP_RES_COMPARE;
    return type == LDAP_RES_SEARCH_ENTRY || type == LDAP_RES_SEARCH_REFERENCE ||
           type == LDAP_RES_INTERMEDIATE || type == LDAP_RES_SEARCH_RESULT;
}

} // namespace

ReferenceQuery::ReferenceQuery(CKVRLdapConnection& connection, LDAP* session)
    : connection_(connection), session_(session)
{
    char* noNames[] = {nullptr};
    int code = ldap_search_ext_s(session, "dc=x", LDAP_SCOPE_SUBTREE, "(objectClass=*)", noNames, 0, nullptr,
                                 nullptr, nullptr, 0, Receive(result_));
    if (code == LDAP_SUCCESS || code == LDAP_SIZELIMIT_EXCEEDED)
    {
        code = isOfSearch(result_.get()) ? code : LDAP_SERVER_DOWN;
        ldap_set_option(session, LDAP_OPT_RESULT_CODE, &code);
    }
    if (code != LDAP_SUCCESS && code != LDAP_SIZELIMIT_EXCEEDED)
    {
        throw EKVROpenLdapError(session, code, "on searching 'dc=x (objectClass=*)'",
                                "src/interfaces/ldap-wrapper/KVRLdapConnection.cpp", "Search", 1);
    }
}

void ReferenceQuery::First()
{
    requireConnection();
    current_ = nullptr;
}

bool ReferenceQuery::Fetch(std::shared_ptr<IKVRLdapEntity>& entity)
{
    requireConnection();
    current_ =
        current_ == nullptr ? ldap_first_entry(session_, result_.get()) : ldap_next_entry(session_, current_);
    if (current_ == nullptr)
    {
        return end();
    }
    fill(*entity);
    return true;
}

int ReferenceQuery::Count()
{
    requireConnection();
    return ldap_count_entries(session_, result_.get());
}

void ReferenceQuery::requireConnection()
{
    if (!connection_.IsConnected())
    {
        throw EKVRCheckError("LDAP connection isn`t established.", "");
    }
}

void ReferenceQuery::fill(IKVRLdapEntity& entity)
{
    entity.Clear();
    const TextOwner dn(ldap_get_dn(session_, current_));
    if (!dn)
    {
        connection_.InternalCheck("on fetching attributes");
    }
    else
    {
        entity.dn = dn.get();
    }
    AttributeCursorOwner cursor;
    TextOwner name(ldap_first_attribute(session_, current_, Receive(cursor)));
    while (name)
    {
        addValues(name.get(), entity);
        name.reset(ldap_next_attribute(session_, current_, cursor.get()));
    }
}

void ReferenceQuery::addValues(const char* name, IKVRLdapEntity& entity)
{
    const ValuesOwner values(ldap_get_values_len(session_, current_, name));
    if (!values)
    {
        connection_.InternalCheck("on fetching attributes");
        return;
    }
    for (berval** value = values.get(); *value != nullptr; ++value)
    {
        entity.attributes.insert({name, connection_.Utf8ToLocal((*value)->bv_val)});
    }
}

bool ReferenceQuery::end()
{
    int code = 0;
    ldap_get_option(session_, LDAP_OPT_RESULT_CODE, &code);
    if (code == LDAP_SIZELIMIT_EXCEEDED)
    {
        CKVRLogProvider::GetLogProvider().Put(
            kvrLOG_WARNING, 1, "LDAP search size limit exceeded. Some entries may be unavailable.");
    }
    else if (code >= 47 && code <= 50)
    {
        throw EKVROpenLdapError(session_, code,
                                "Insufficient access. The user should have administrator privilege.");
    }
    else if (code != LDAP_SUCCESS)
    {
        throw EKVROpenLdapError(session_, code, "on fetching", "src/interfaces/ldap-wrapper/KVRLdapQuery.cpp",
                                "Fetch", 1);
    }
    return false;
}

} // namespace KVR::Support
