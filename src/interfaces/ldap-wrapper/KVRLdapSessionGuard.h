#pragma once

#include "KVRLdapTimeLimit.h"

#include <ldap.h>

namespace KVR
{

/**
 * Keeps the servers of a session, the first one and those of referrals, from holding up or ending the
 * process.
 *
 * libldap waits without end where a server stalls: inside a message, in a TLS handshake, when it does not
 * read what is sent, and for the bind to the server of a referral. It begins its wait for a connection
 * anew at each signal, and writes in a way that raises SIGPIPE. So each connection gets two I/O layers of
 * its own (see ber_sockbuf_add_io in lber.h): one right above the socket, below TLS, which waits to the
 * deadline of the operation under way and never raises SIGPIPE, and one at the top, see CKVRNoticeFilter. The
 * bind behind a referral goes past libldap, over its own connection only.
 *
 * It outlives the session: libldap sends its farewell through the layers.
 */
class CKVRSessionGuard
{
public:
    CKVRSessionGuard();

    CKVRSessionGuard(const CKVRSessionGuard&) = delete;
    CKVRSessionGuard& operator=(const CKVRSessionGuard&) = delete;

    /**
     * Guards a session, whose time-outs for operations and for connections are set and which has not
     * connected yet.
     * @return result code, LDAP_OPT_SUCCESS when all is in place
     */
    int Install(LDAP* session);

    /** Begins the time limit of a bind: it begins anew for each server of the list that is tried. */
    void BeginBind() { begin(true); }

    /** Begins the time limit of a request. */
    void BeginRequest() { begin(false); }

    /**
     * Lets the session end without a wait.
     * @param isLimitReached what IsLimitReached says from now on
     */
    void EndSession(bool isLimitReached);

    /** True when the limit ended a wait of the last bind or request. */
    bool IsLimitReached() const { return limit_.IsReached(); }

    /** @name For the I/O layer
     * @{ */
    CKVRTimeLimit& Limit() { return limit_; }

    /** Called when something was sent: the wait for an answer has what is left of the limit. */
    void LimitAnswer();
    /** @} */

private:
    static int addConnection(LDAP* session, Sockbuf* buffer, LDAPURLDesc* server, sockaddr* address,
                             ldap_conncb* callback);
    static void removeConnection(LDAP* session, Sockbuf* buffer, ldap_conncb* callback);
    static int rebind(LDAP* session, const char* url, ber_tag_t request, ber_int_t messageId, void* guard);

    void begin(bool oneServerEach);
    int takeTimeLimits();

    CKVRTimeLimit limit_;
    LDAP* session_ = nullptr;
    Sockbuf* listed_ = nullptr; /**< of the servers of the list; referrals have buffers of their own */
    Sockbuf* newest_ = nullptr; /**< of the connection that was made last */
    ldap_conncb callback_;
    bool isAnswerLimited_ = false; /**< the session's own time-out is shorter than its whole limit */
};

} // namespace KVR
