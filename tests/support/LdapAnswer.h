#pragma once

#include "LdapRequest.h"

#include <chrono>
#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * What the responder sends for one request, step by step:
 * @code
 *   Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).result(LDAP_SIZELIMIT_EXCEEDED)
 * @endcode
 * An answer that ends with none of result, referral, notice, raw, drop, reset, silence, malformed and
 * cutEntry ends with success.
 */
class Answer
{
public:
    /** A search entry. Attributes may repeat, have no values, and values hold any bytes. */
    Answer& entry(const std::string& dn, const Attributes& attributes = {});

    /** A search entry whose last attribute claims more bytes than there are. */
    Answer& damagedEntry(const std::string& dn, const Attributes& attributes);

    /** The first half of a search entry's bytes, then the connection is closed. */
    Answer& cutEntry(const std::string& dn, const Attributes& attributes);

    /** A search reference. */
    Answer& reference(const std::vector<std::string>& urls);

    /** An intermediate response (RFC 4511, section 4.13). */
    Answer& intermediate(const std::string& name, const std::string& value = "");

    /** The result; a negative code is sent as it is. */
    Answer& result(int code, const std::string& diagnostic = "", const std::string& matchedDn = "");

    /** The result LDAP_REFERRAL with these places. */
    Answer& referral(const std::vector<std::string>& urls);

    /** A notice of disconnection (RFC 4511, section 4.4.1), which may carry what none does, and the end. */
    Answer& notice(int code, const std::string& diagnostic = "", const std::vector<std::string>& urls = {},
                   const std::string& name = "1.3.6.1.4.1.1466.20036");

    /** These bytes, and no result. */
    Answer& raw(const std::string& bytes);

    /** Bytes that are no LDAP message, and no result. */
    Answer& malformed();

    /** Closes the connection. */
    Answer& drop();

    /** Resets the connection, so that the client's next write fails. */
    Answer& reset();

    /** Sends only so many bytes of the whole; the connection stays open. */
    Answer& cutAfter(std::size_t size);

    /** Sends the bytes one by one, with this time before each. */
    Answer& drip(std::chrono::milliseconds pause);

    /** Reads nothing more of this connection afterwards. */
    Answer& thenDeaf();

    /** Nothing more; the connection stays open. */
    Answer& silence();

private:
    friend class LdapResponder;

    enum class Kind
    {
        Entry,
        DamagedEntry,
        CutEntry,
        Reference,
        Intermediate,
        Result,
        Referral,
        Notice,
        Raw,
        Drop,
        Reset,
        Silence
    };

    struct Step
    {
        Kind kind = Kind::Result;
        std::string dn;
        Attributes attributes;
        int code = 0;
        std::string diagnostic;
    };

    Answer& add(const Step& step);

    /** The bytes of the whole answer, how they are sent and what becomes of the connection. */
    struct Encoded
    {
        std::string bytes;
        bool drop = false;
        bool reset = false;
        bool deaf = false;
        std::chrono::milliseconds pause{0};
    };

    Encoded encode(const LdapRequest& request) const;
    void encodeSteps(const LdapRequest& request, Encoded& encoded) const;

    std::vector<Step> steps_;
    std::size_t size_ = std::string::npos;
    bool deaf_ = false;
    std::chrono::milliseconds pause_{0};
};

} // namespace KVR::Support
