#pragma once

namespace KVR
{

/**
 * What the connections of this module offer beside IKVRLdapConnection. The object is one and the same:
 * @code
 *   auto connection = ldap->getConnection();
 *   auto session = std::dynamic_pointer_cast<KVR::IKVRLdapSession>(connection);
 * @endcode
 * Its rules of life and of threads are those of IKVRLdapConnection.
 */
class IKVRLdapSession
{
public:
    virtual ~IKVRLdapSession() = default;

    IKVRLdapSession(const IKVRLdapSession&) = delete;
    IKVRLdapSession& operator=(const IKVRLdapSession&) = delete;

    /**
     * True when the last operation that waited for a server, Connect included, ended because its time
     * limit was reached. Its error does not always say so: the result code is -5 where the library noticed
     * the limit, -1 where a wait inside a message, a write or a TLS handshake was ended, and can be 10 for a
     * referral that led to a silent server.
     */
    virtual bool IsTimeLimitReached() = 0;

protected:
    IKVRLdapSession() = default;
};

} // namespace KVR
