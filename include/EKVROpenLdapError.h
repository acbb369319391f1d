#pragma once

#include <kvr/EKVRError.h>

#include <string>

struct ldap; // the OpenLDAP library's session, known to it as LDAP

namespace KVR
{

/**
 * A failure that the OpenLDAP library or the server reported.
 *
 * The message is "OpenLDAP error", the caller's context and the text of the result code
 * (ldap_err2string(3)); the details hold the diagnostic message kept by the session. That one is
 * the server's last, and can be older than the failure when the library itself failed.
 *
 * The destructor stands here so that a host that is not linked to the module can catch the error.
 */
class KVR_API EKVROpenLdapError : public EKVRError
{
public:
    /**
     * @param ld session to take the diagnostic message from, or null
     * @param rc LDAP result code; 0 adds no library text
     * @param message context, already translated; may be empty
     */
    EKVROpenLdapError(ldap* ld, int rc, const std::string& message);

    /** The same with the place of the failure, which becomes part of the message. */
    EKVROpenLdapError(ldap* ld, int rc, const std::string& message, const std::string& file,
                      const std::string& function, unsigned long line);

    EKVROpenLdapError(const EKVROpenLdapError&) = default;
    EKVROpenLdapError& operator=(const EKVROpenLdapError&) = default;
    ~EKVROpenLdapError() override {}
};

} // namespace KVR
