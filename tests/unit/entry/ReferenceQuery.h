#pragma once

#include "KVRLdapConnection.h"
#include "KVRLdapHandles.h"

#include <IKVRLdapQuery.h>

#include <ldap.h>

namespace KVR::Support
{

/** A cursor that reads entries by the calls by name, step by step and nothing else. */
class ReferenceQuery : public IKVRLdapQuery
{
public:
    /** Searches on the connection's session. @throws EKVROpenLdapError for any code but 0 and 4 */
    ReferenceQuery(CKVRLdapConnection& connection, LDAP* session);

    void First() override;
    bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) override;
    int Count() override;

private:
    void requireConnection();
    void fill(IKVRLdapEntity& entity);
    void addValues(const char* name, IKVRLdapEntity& entity);
    bool end();

    CKVRLdapConnection& connection_;
    LDAP* session_;
    MessageOwner result_;
    LDAPMessage* current_ = nullptr;
};

} // namespace KVR::Support
