#include "BareClient.h"

#include "LoadedModule.h"

#include <stdexcept>

namespace KVR::Bench
{

namespace
{

void require(int code, const char* doing, const std::string& what)
{
    if (code != LDAP_SUCCESS)
    {
        throw std::runtime_error(std::string(doing) + " " + what + ": " + ldap_err2string(code));
    }
}

int operationOf(char mode)
{
    switch (mode)
    {
    case '+':
        return LDAP_MOD_ADD;
    case '=':
        return LDAP_MOD_REPLACE;
    default:
        return LDAP_MOD_DELETE;
    }
}

} // namespace

BareModifications::BareModifications(const Attributes& attributes, bool hasModes)
{
    for (auto pair = attributes.begin(); pair != attributes.end();)
    {
        const auto end = attributes.upper_bound(pair->first);
        // libldap takes names and values as char* and does not write to them.
        auto* const name = const_cast<char*>(pair->first.c_str());
        const bool withValues = !hasModes || *name != '!';
        Record& record = records_.emplace_back();
        record.head.mod_op = hasModes ? operationOf(*name) : LDAP_MOD_ADD;
        record.head.mod_type = hasModes ? name + 1 : name;
        for (; pair != end; ++pair)
        {
            record.values.push_back(const_cast<char*>(pair->second.c_str()));
        }
        record.values.push_back(nullptr);
        record.head.mod_values = withValues ? record.values.data() : nullptr;
    }
    for (Record& record : records_)
    {
        pointers_.push_back(&record.head);
    }
    pointers_.push_back(nullptr);
}

BareClient::BareClient()
{
    const std::string uri = serverVariable("KVR_TEST_LDAP_URI");
    LDAP* session = nullptr;
    require(ldap_initialize(&session, uri.c_str()), "connecting to", uri);
    session_.reset(session);
    const int version = LDAP_VERSION3;
    ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
    berval noPassword{0, nullptr};
    require(ldap_sasl_bind_s(session, nullptr, LDAP_SASL_SIMPLE, &noPassword, nullptr, nullptr, nullptr),
            "logging in to", uri);
}

Result BareClient::search(const std::string& base, int scope, const std::string& filter)
{
    LDAPMessage* raw = nullptr;
    const int code = ldap_search_ext_s(session_.get(), base.c_str(), scope, filter.c_str(), nullptr, 0,
                                       nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &raw);
    Result result(raw);
    require(code, "searching", base);
    return result;
}

void BareClient::add(const std::string& dn, BareModifications& attributes)
{
    require(ldap_add_ext_s(session_.get(), dn.c_str(), attributes.data(), nullptr, nullptr), "adding", dn);
}

void BareClient::modify(const std::string& dn, BareModifications& changes)
{
    require(ldap_modify_ext_s(session_.get(), dn.c_str(), changes.data(), nullptr, nullptr), "modifying", dn);
}

void BareClient::remove(const std::string& dn)
{
    require(ldap_delete_ext_s(session_.get(), dn.c_str(), nullptr, nullptr), "deleting", dn);
}

void BareClient::removeWithChildren(const std::string& dn)
{
    std::string name = "cn";
    char* names[] = {name.data(), nullptr};
    LDAPMessage* raw = nullptr;
    const int code = ldap_search_ext_s(session_.get(), dn.c_str(), LDAP_SCOPE_SUBORDINATE, "(objectClass=*)",
                                       names, 0, nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &raw);
    const Result result(raw);
    require(code, "searching below", dn);
    for (LDAPMessage* entry = ldap_first_entry(session_.get(), raw); entry != nullptr;
         entry = ldap_next_entry(session_.get(), entry))
    {
        const std::unique_ptr<char, void (*)(void*)> child(ldap_get_dn(session_.get(), entry), ldap_memfree);
        remove(child.get());
    }
    remove(dn);
}

} // namespace KVR::Bench
