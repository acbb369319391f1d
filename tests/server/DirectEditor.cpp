#include "DirectEditor.h"

#include <ldap.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace KVR::ServerTests
{

namespace
{

struct SessionRelease
{
    void operator()(LDAP* session) const { ldap_unbind_ext_s(session, nullptr, nullptr); }
};

using Session = std::unique_ptr<LDAP, SessionRelease>;

void check(int code, const std::string& what)
{
    if (code != LDAP_SUCCESS)
    {
        throw std::runtime_error(what + ": " + ldap_err2string(code));
    }
}

Session connect(const std::string& uri)
{
    LDAP* session = nullptr;
    check(ldap_initialize(&session, uri.c_str()), "initialize");
    Session owner(session);
    const int version = LDAP_VERSION3;
    check(ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version), "protocol version");
    return owner;
}

} // namespace

DirectEditor::DirectEditor(std::string uri) : uri_(std::move(uri)) {}

void DirectEditor::replace(const std::string& dn, const std::string& attribute,
                           const std::string& value) const
{
    std::string type = attribute;
    std::string text = value;
    char* values[] = {text.data(), nullptr};
    LDAPMod change{};
    change.mod_op = LDAP_MOD_REPLACE;
    change.mod_type = type.data();
    change.mod_values = values;
    LDAPMod* changes[] = {&change, nullptr};
    check(ldap_modify_ext_s(connect(uri_).get(), dn.c_str(), changes, nullptr, nullptr), "modify " + dn);
}

void DirectEditor::remove(const std::string& dn) const
{
    check(ldap_delete_ext_s(connect(uri_).get(), dn.c_str(), nullptr, nullptr), "delete " + dn);
}

} // namespace KVR::ServerTests
