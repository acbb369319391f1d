#pragma once

#include "People.h"

#include <ldap.h>

#include <memory>
#include <string>
#include <vector>

namespace KVR::Bench
{

/** A list of modifications as a program writes it by hand. Points into the map, which must outlive it. */
class BareModifications
{
public:
    /** @param hasModes the names begin with the mode characters of IKVRLdapConnection::UpdateDN */
    BareModifications(const Attributes& attributes, bool hasModes);

    LDAPMod** data() { return pointers_.data(); }

private:
    struct Record
    {
        LDAPMod head{};
        std::vector<char*> values;
    };

    std::vector<Record> records_;
    std::vector<LDAPMod*> pointers_;
};

struct ResultRelease
{
    void operator()(LDAPMessage* result) const { ldap_msgfree(result); }
};

/** The received result of a search. */
using Result = std::unique_ptr<LDAPMessage, ResultRelease>;

/** libldap without the module, on an anonymous session of its own. Every failure is thrown. */
class BareClient
{
public:
    BareClient();

    LDAP* session() const { return session_.get(); }

    /** All user attributes of what the search finds. */
    Result search(const std::string& base, int scope, const std::string& filter);

    void add(const std::string& dn, BareModifications& attributes);
    void modify(const std::string& dn, BareModifications& changes);
    void remove(const std::string& dn);

    /** Deletes an entry after what a search has found below it. */
    void removeWithChildren(const std::string& dn);

private:
    struct End
    {
        void operator()(LDAP* session) const { ldap_unbind_ext_s(session, nullptr, nullptr); }
    };

    std::unique_ptr<LDAP, End> session_;
};

} // namespace KVR::Bench
