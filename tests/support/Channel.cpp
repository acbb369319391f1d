#include "Channel.h"

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <string>
#include <utility>

namespace KVR::Support
{

namespace
{

template <auto release>
struct Release
{
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        release(handle);
    }
};

template <typename Handle, auto release>
using Owner = std::unique_ptr<std::remove_pointer_t<Handle>, Release<release>>;

using KeyOwner = Owner<gnutls_x509_privkey_t, gnutls_x509_privkey_deinit>;
using CertificateOwner = Owner<gnutls_x509_crt_t, gnutls_x509_crt_deinit>;
using CredentialsOwner = Owner<gnutls_certificate_credentials_t, gnutls_certificate_free_credentials>;
using SessionOwner = Owner<gnutls_session_t, gnutls_deinit>;

void check(int code)
{
    if (code < 0)
    {
        throw std::runtime_error(std::string("TLS: ") + gnutls_strerror(code));
    }
}

CertificateOwner makeCertificate(gnutls_x509_privkey_t key)
{
    constexpr std::array<unsigned char, 4> loopback{127, 0, 0, 1};
    constexpr char serial = 1;
    constexpr time_t day = 86400;
    gnutls_x509_crt_t raw = nullptr;
    check(gnutls_x509_crt_init(&raw));
    CertificateOwner certificate(raw);
    const time_t now = std::time(nullptr);
    check(gnutls_x509_crt_set_version(raw, 3));
    check(gnutls_x509_crt_set_serial(raw, &serial, sizeof serial));
    check(gnutls_x509_crt_set_activation_time(raw, now - day));
    check(gnutls_x509_crt_set_expiration_time(raw, now + day));
    check(gnutls_x509_crt_set_subject_alt_name(raw, GNUTLS_SAN_IPADDRESS, loopback.data(), loopback.size(),
                                               GNUTLS_FSAN_SET));
    check(gnutls_x509_crt_set_key(raw, key));
    check(gnutls_x509_crt_sign2(raw, raw, key, GNUTLS_DIG_SHA256, 0));
    return certificate;
}

CredentialsOwner makeCredentials()
{
    gnutls_x509_privkey_t rawKey = nullptr;
    check(gnutls_x509_privkey_init(&rawKey));
    const KeyOwner key(rawKey);
    check(gnutls_x509_privkey_generate(rawKey, GNUTLS_PK_ECDSA,
                                       GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0));
    const CertificateOwner certificate = makeCertificate(rawKey);
    gnutls_certificate_credentials_t raw = nullptr;
    check(gnutls_certificate_allocate_credentials(&raw));
    CredentialsOwner credentials(raw);
    gnutls_x509_crt_t chain = certificate.get();
    check(gnutls_certificate_set_x509_key(raw, &chain, 1, rawKey));
    return credentials;
}

class TlsChannel : public Channel
{
public:
    explicit TlsChannel(Descriptor socket) : Channel(std::move(socket))
    {
        static const CredentialsOwner credentials = makeCredentials();
        gnutls_session_t raw = nullptr;
        check(gnutls_init(&raw, GNUTLS_SERVER | GNUTLS_NONBLOCK | GNUTLS_NO_SIGNAL));
        session_.reset(raw);
        check(gnutls_set_default_priority(raw));
        check(gnutls_credentials_set(raw, GNUTLS_CRD_CERTIFICATE, credentials.get()));
        gnutls_transport_set_int(raw, Channel::socket());
        gnutls_transport_set_pull_function(raw, pull);
    }

    ssize_t receive(char* bytes, std::size_t size) override
    {
        if (!isOpen_)
        {
            const int code = gnutls_handshake(session_.get());
            if (code < 0)
            {
                return fail(code);
            }
            isOpen_ = true;
        }
        const ssize_t count = gnutls_record_recv(session_.get(), bytes, size);
        return count < 0 ? fail(count) : count;
    }

    ssize_t send(const char* bytes, std::size_t size) override
    {
        const ssize_t count = gnutls_record_send(session_.get(), bytes, size);
        return count < 0 ? fail(count) : count;
    }

private:
    static ssize_t pull(gnutls_transport_ptr_t socket, void* bytes, std::size_t size)
    {
        return ::recv(static_cast<int>(reinterpret_cast<std::intptr_t>(socket)), bytes, size, MSG_DONTWAIT);
    }

    static ssize_t fail(ssize_t code)
    {
        errno = code == GNUTLS_E_AGAIN || code == GNUTLS_E_INTERRUPTED ? EAGAIN : ECONNRESET;
        return -1;
    }

    SessionOwner session_;
    bool isOpen_ = false;
};

} // namespace

Descriptor::~Descriptor()
{
    if (number_ >= 0)
    {
        ::close(number_);
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(number_, other.number_);
    return *this;
}

ssize_t Channel::receive(char* bytes, std::size_t size)
{
    return ::recv(socket(), bytes, size, MSG_DONTWAIT);
}

ssize_t Channel::send(const char* bytes, std::size_t size)
{
    return ::send(socket(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
}

void Channel::resetAtEnd() const
{
    const linger atOnce{1, 0};
    ::setsockopt(socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

std::unique_ptr<Channel> makeTlsChannel(Descriptor socket)
{
    return std::make_unique<TlsChannel>(std::move(socket));
}

} // namespace KVR::Support
