#pragma once

#include <ldap.h>
#include <sys/time.h>

#include <memory>

namespace KVR
{

/** Owners of what libldap allocates, one deleter for each of its release functions. */
struct MessageRelease
{
    void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};

struct TextRelease
{
    void operator()(char* text) const { ldap_memfree(text); }
};

struct TimeRelease
{
    void operator()(timeval* time) const { ldap_memfree(time); }
};

struct ValuesRelease
{
    void operator()(berval** values) const { ldap_value_free_len(values); }
};

/** Frees an array of values whose bytes belong to the message. */
struct ValueArrayRelease
{
    void operator()(berval* values) const { ldap_memfree(values); }
};

/** Frees a cursor over attributes but not the message that it points into. */
struct AttributeCursorRelease
{
    void operator()(BerElement* cursor) const { ber_free(cursor, 0); }
};

/** Frees a message that is being built or read, with its bytes. */
struct ElementRelease
{
    void operator()(BerElement* element) const { ber_free(element, 1); }
};

using MessageOwner = std::unique_ptr<LDAPMessage, MessageRelease>;
using TextOwner = std::unique_ptr<char, TextRelease>;
using TimeOwner = std::unique_ptr<timeval, TimeRelease>;
using ValuesOwner = std::unique_ptr<berval*, ValuesRelease>;
using ValueArrayOwner = std::unique_ptr<berval, ValueArrayRelease>;
using ElementOwner = std::unique_ptr<BerElement, ElementRelease>;
using AttributeCursorOwner = std::unique_ptr<BerElement, AttributeCursorRelease>;

/**
 * Lets a C function store its result through a `T**` argument into an owner, at the end of the
 * full expression: `f(Receive(owner))`.
 */
template <typename Owner>
class Receive
{
public:
    explicit Receive(Owner& target) : target_(target) {}
    ~Receive() { target_.reset(raw_); }

    Receive(const Receive&) = delete;
    Receive& operator=(const Receive&) = delete;

    // NOLINTNEXTLINE(google-explicit-constructor): it stands in for the argument itself
    operator typename Owner::pointer *() { return &raw_; }

private:
    Owner& target_;
    typename Owner::pointer raw_ = nullptr;
};

} // namespace KVR
