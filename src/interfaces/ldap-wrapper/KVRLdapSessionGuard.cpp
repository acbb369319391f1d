#include "KVRLdapSessionGuard.h"

#include "KVRLdapHandles.h"
#include "KVRLdapNoticeFilter.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

// Everything that libldap calls here is C to it, so nothing may be thrown.

namespace KVR
{

namespace
{

/** Above the socket's own layer and below that of TLS. */
constexpr int waitLevel = LBER_SBIOD_LEVEL_PROVIDER + 5;

CKVRTimeLimit::Clock::duration durationOf(const timeval& time)
{
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

timeval timevalOf(CKVRTimeLimit::Clock::duration time)
{
    const auto microseconds = std::chrono::ceil<std::chrono::microseconds>(time).count();
    timeval result{};
    result.tv_sec = microseconds / std::micro::den;
    result.tv_usec = microseconds % std::micro::den;
    return result;
}

int socketOf(Sockbuf* buffer)
{
    ber_socket_t socket = -1;
    ber_sockbuf_ctrl(buffer, LBER_SB_OPT_GET_FD, &socket);
    return socket;
}

CKVRSessionGuard& guardOf(Sockbuf_IO_Desc* layer)
{
    return *static_cast<CKVRSessionGuard*>(layer->sbiod_pvt);
}

int setUp(Sockbuf_IO_Desc* layer, void* guard) noexcept
{
    layer->sbiod_pvt = guard;
    return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* argument) noexcept
{
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

/** True when a transfer that failed is to be tried again as soon as the socket is ready. */
bool isToBeTriedAgain(ssize_t transferred)
{
    return transferred < 0 && (errno == EAGAIN || errno == EINTR);
}

ber_slen_t receive(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) noexcept
{
    // libldap takes an EAGAIN that a read has left for a message that is still to come.
    const int formerErrno = errno;
    const int socket = socketOf(layer->sbiod_sb);
    CKVRTimeLimit& limit = guardOf(layer).Limit();
    while (limit.HasTime())
    {
        const ssize_t received = recv(socket, bytes, size, MSG_DONTWAIT);
        if (!isToBeTriedAgain(received))
        {
            errno = received < 0 ? errno : formerErrno;
            return received;
        }
        if (!limit.Await(socket, POLLIN))
        {
            break;
        }
    }
    return -1;
}

/** Sends all or fails: after a part GnuTLS would have libldap try again, and libldap counts that wrongly. */
ber_slen_t transmit(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) noexcept
{
    const int socket = socketOf(layer->sbiod_sb);
    CKVRTimeLimit& limit = guardOf(layer).Limit();
    const char* const begin = static_cast<const char*>(bytes);
    ber_len_t sent = 0;
    while (sent < size)
    {
        const ssize_t count = send(socket, begin + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count >= 0)
        {
            sent += static_cast<ber_len_t>(count);
        }
        else if (!isToBeTriedAgain(count) || !limit.Await(socket, POLLOUT))
        {
            // What follows half a message would be read as its rest.
            const int reason = errno;
            shutdown(socket, SHUT_RDWR);
            errno = reason;
            return -1;
        }
    }
    guardOf(layer).LimitAnswer();
    return static_cast<ber_slen_t>(size);
}

Sockbuf_IO waitLayer{setUp, nullptr, control, receive, transmit, nullptr};

/** Puts the layers of a connection in place. */
bool addLayers(Sockbuf* buffer, CKVRSessionGuard& guard)
{
    // Servers of a list share a buffer, and libldap leaves the layers of a server that failed in it: the
    // socket's own layer would close the next one's socket twice.
    ber_sockbuf_remove_io(buffer, &ber_sockbuf_io_tcp, LBER_SBIOD_LEVEL_PROVIDER);
    ber_sockbuf_remove_io(buffer, &waitLayer, waitLevel);
    CKVRNoticeFilter::RemoveFrom(buffer);
    return ber_sockbuf_add_io(buffer, &waitLayer, waitLevel, &guard) == 0 && CKVRNoticeFilter::AddTo(buffer);
}

/** Receives the answer to a bind, and nothing else. */
bool receiveBindAnswer(Sockbuf* buffer, ber_int_t messageId)
{
    const ElementOwner answer(ber_alloc_t(LBER_USE_DER));
    ber_tag_t tag = LBER_ERROR;
    do
    {
        ber_len_t size = 0;
        errno = 0;
        tag = answer ? ber_get_next(buffer, &size, answer.get()) : LBER_ERROR;
    } while (tag == LBER_DEFAULT && errno == EWOULDBLOCK);
    ber_int_t id = 0;
    ber_tag_t operation = LBER_ERROR;
    ber_int_t code = LDAP_OTHER;
    return tag == LDAP_TAG_MESSAGE && ber_scanf(answer.get(), "it{e", &id, &operation, &code) != LBER_ERROR &&
           id == messageId && operation == LDAP_RES_BIND && code == LDAP_SUCCESS;
}

/**
 * Binds a connection anonymously, past libldap: its own calls would read the other connections of the
 * session as well, and free what the call in progress is reading there.
 */
bool bindAnonymously(Sockbuf* buffer)
{
    constexpr ber_int_t messageId = std::numeric_limits<ber_int_t>::max(); // libldap counts from 1
    const ElementOwner request(ber_alloc_t(LBER_USE_DER));
    return request &&
           ber_printf(request.get(), "{it{ists}}", messageId, static_cast<ber_tag_t>(LDAP_REQ_BIND),
                      LDAP_VERSION3, "", static_cast<ber_tag_t>(LDAP_AUTH_SIMPLE), "") != -1 &&
           ber_flush2(buffer, request.get(), LBER_FLUSH_FREE_NEVER) == 0 &&
           receiveBindAnswer(buffer, messageId);
}

/** A time-out of the session. */
int readTimeout(LDAP* session, int option, CKVRTimeLimit::Clock::duration& time)
{
    TimeOwner value;
    const int code = ldap_get_option(session, option, Receive(value));
    if (code != LDAP_OPT_SUCCESS || !value)
    {
        return LDAP_OPT_ERROR;
    }
    time = durationOf(*value);
    return LDAP_OPT_SUCCESS;
}

/** Lets libldap wait so long for an answer. */
void setTimeout(LDAP* session, CKVRTimeLimit::Clock::duration time)
{
    const timeval value = timevalOf(time);
    ldap_set_option(session, LDAP_OPT_TIMEOUT, &value);
}

} // namespace

CKVRSessionGuard::CKVRSessionGuard() : callback_{addConnection, removeConnection, this} {}

int CKVRSessionGuard::Install(LDAP* session)
{
    session_ = session;
    isAnswerLimited_ = false;
    int code = ldap_get_option(session, LDAP_OPT_SOCKBUF, &listed_);
    if (code == LDAP_OPT_SUCCESS)
    {
        code = takeTimeLimits();
    }
    // A wait for an answer goes on after a signal.
    for (const int option : {LDAP_OPT_RESTART, LDAP_OPT_CONNECT_ASYNC})
    {
        if (code == LDAP_OPT_SUCCESS)
        {
            code = ldap_set_option(session, option, LDAP_OPT_ON);
        }
    }
    if (code == LDAP_OPT_SUCCESS)
    {
        code = ldap_set_option(session, LDAP_OPT_CONNECT_CB, &callback_);
    }
    if (code == LDAP_OPT_SUCCESS)
    {
        code = ldap_set_rebind_proc(session, rebind, this);
    }
    return code;
}

void CKVRSessionGuard::EndSession(bool isLimitReached)
{
    session_ = nullptr;
    isAnswerLimited_ = false;
    limit_.End(isLimitReached);
}

void CKVRSessionGuard::begin(bool oneServerEach)
{
    limit_.Begin(oneServerEach);
    if (isAnswerLimited_)
    {
        setTimeout(session_, limit_.Whole());
        isAnswerLimited_ = false;
    }
}

void CKVRSessionGuard::LimitAnswer()
{
    // Most requests are sent at once, and libldap's own time-out does for them.
    constexpr int share = 30;
    const CKVRTimeLimit::Clock::duration left = limit_.Left();
    if (session_ != nullptr && limit_.Whole() - left > limit_.Whole() / share)
    {
        setTimeout(session_, left);
        isAnswerLimited_ = true;
    }
}

int CKVRSessionGuard::takeTimeLimits()
{
    CKVRTimeLimit::Clock::duration operation{};
    CKVRTimeLimit::Clock::duration connecting{};
    int code = readTimeout(session_, LDAP_OPT_TIMEOUT, operation);
    if (code == LDAP_OPT_SUCCESS)
    {
        code = readTimeout(session_, LDAP_OPT_NETWORK_TIMEOUT, connecting);
    }
    limit_.SetLengths(operation, connecting);
    return code;
}

/**
 * With LDAP_OPT_CONNECT_ASYNC libldap calls this while connect(2) is under way, and leaves the wait to it. A
 * referral with extensions is not followed: for StartTLS libldap would read other connections meanwhile, and
 * free what is being read.
 */
int CKVRSessionGuard::addConnection(LDAP* /*session*/, Sockbuf* buffer, LDAPURLDesc* server,
                                    sockaddr* /*address*/, ldap_conncb* callback)
{
    auto& guard = *static_cast<CKVRSessionGuard*>(callback->lc_arg);
    const bool isListed = buffer == guard.listed_;
    ber_socket_t socket = socketOf(buffer);
    if ((isListed || server->lud_exts == nullptr) && guard.limit_.AwaitConnection(socket, isListed) &&
        addLayers(buffer, guard))
    {
        guard.newest_ = buffer;
        return 0;
    }
    // libldap would take the descriptor that it finds in the buffer later for a connection.
    close(socket);
    socket = -1;
    ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_FD, &socket);
    return -1;
}

/** The layers stay: the farewell is still to be sent, and they go with the buffer. */
void CKVRSessionGuard::removeConnection(LDAP* /*session*/, Sockbuf* /*buffer*/, ldap_conncb* /*callback*/) {}

/**
 * Binds the connection that was made for a referral. libldap would free requests that are in use when
 * this failed, so a failure is told by the connection: nothing can be sent over it any more.
 */
int CKVRSessionGuard::rebind(LDAP* /*session*/, const char* /*url*/, ber_tag_t /*request*/,
                             ber_int_t /*messageId*/, void* argument)
{
    const auto& guard = *static_cast<const CKVRSessionGuard*>(argument);
    if (!bindAnonymously(guard.newest_))
    {
        shutdown(socketOf(guard.newest_), SHUT_RDWR);
    }
    return LDAP_SUCCESS;
}

} // namespace KVR
