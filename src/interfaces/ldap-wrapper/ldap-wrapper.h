#pragma once

#include <IKVRLdapWrapper.h>

namespace KVR
{

/** The module's interface object, see IKVRLdapWrapper. */
class CKVRLdapWrapper : public IKVRLdapWrapper
{
public:
    /**
     * Defines the host parameter "KVR_PRM_LDAP_URIS" with the default URIs, or with the host's
     * server when there are none.
     */
    explicit CKVRLdapWrapper(IKVRCore& host);

    std::shared_ptr<IKVRLdapConnection> getConnection() override;
    void RegisterLdapSchema(const std::string& file) override;
    std::string getDefaultURIs() override;
};

} // namespace KVR
