#pragma once

#include <lber.h>

#include <array>
#include <cstddef>

namespace KVR
{

/**
 * Looks through what a connection receives for unsolicited messages, those with the message id 0, and
 * ends the connection at one that is not formed like a notice of disconnection (RFC 4511, section 4.4.1):
 * libldap ends the process when such a message carries a referral, in whatever way, or an empty name.
 *
 * It ends the connection at a result of more than 256 KiB, too: libldap collects the places of a referral in
 * a time that grows with the square of their number.
 *
 * It follows the messages by their lengths and keeps bytes of an unsolicited one only, none of which may
 * be longer than a few thousand.
 */
class CKVRNoticeFilter
{
public:
    /** Adds a filter to a connection, above all that encrypts; false when there is no memory. */
    static bool AddTo(Sockbuf* buffer);

    /** Removes the filter of a connection, if there is one. */
    static void RemoveFrom(Sockbuf* buffer);

    /**
     * Takes the bytes that follow.
     * @return false when they must not reach libldap, and no others after them
     */
    bool Take(const char* bytes, std::size_t size);

private:
    enum class Stage
    {
        Head,        /**< tag and length of a message */
        Id,          /**< its message id */
        Operation,   /**< the tag of an ordinary message's operation */
        Rest,        /**< the rest of an ordinary message, which is passed over */
        Unsolicited, /**< the rest of an unsolicited message, which is kept */
        Unreadable,  /**< no message of LDAP: libldap ends the connection by itself */
        Refused
    };

    /** Goes on after bytes of the present stage. */
    void advance(std::size_t count);
    void takeHead();
    void takeId();
    void takeOperation();
    bool isAcceptable() const;

    Stage stage_ = Stage::Head;
    std::size_t left_ = 0; /**< bytes of the message that are still to come */
    std::size_t kept_ = 0; /**< bytes of the head, or of the message behind it */
    std::array<char, 4096> bytes_{};
};

} // namespace KVR
