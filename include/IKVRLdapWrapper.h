#pragma once

#include <kvr/CKVRInterface.h>

#include <memory>
#include <string>

namespace KVR
{

class IKVRCore;
class IKVRLdapConnection;

/**
 * The interface that the module registers with the host under the name "ldap". The order of the
 * virtual table is fixed: destructor, then the operations as they stand here.
 */
class IKVRLdapWrapper : public CKVRInterface
{
public:
    explicit IKVRLdapWrapper(IKVRCore& host) : CKVRInterface("ldap"), core(host) {}
    ~IKVRLdapWrapper() override = default;

    /**
     * A new connection, not yet connected; the caller owns it, the host object must outlive it.
     * When the log level is above 4, the LDAP library's own debug output is switched on, for the
     * whole process.
     */
    virtual std::shared_ptr<IKVRLdapConnection> getConnection() = 0;

    /**
     * Loads a schema file into the configuration folder of this computer's own server with
     * slapadd(8). A running server sees it after its next start.
     * @param file file name, extension included, in the folder that the host parameter
     *        "KVR_LDAP_SCHEMA_DIR" names. It becomes part of a command of sh(1) as it is
     * @throws EKVRError when this computer is no server, the file does not exist or slapadd fails;
     *         whether the files could be given back to the server's account is not told
     */
    virtual void RegisterLdapSchema(const std::string& file) = 0;

    /**
     * The URIs of the first "URI" line of /etc/ldap/ldap.conf (ldap.conf(5)), separated by
     * blanks; words that are no LDAP URL are left out. "" when there is none.
     */
    virtual std::string getDefaultURIs() = 0;

protected:
    IKVRCore& core;
};

} // namespace KVR
