#pragma once

#include "LdapRequest.h"

#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * What the responder sends for one request, step by step:
 * @code
 *   Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).result(LDAP_SIZELIMIT_EXCEEDED)
 * @endcode
 * An answer that ends with none of result, drop, silence, malformed and cutEntry ends with success.
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

    /** The result; a negative code is sent as it is. */
    Answer& result(int code, const std::string& diagnostic = "", const std::string& matchedDn = "");

    /** Bytes that are no LDAP message, and no result. */
    Answer& malformed();

    /** Closes the connection. */
    Answer& drop();

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
        Result,
        Malformed,
        Drop,
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

    /** The bytes of the whole answer and what becomes of the connection. */
    struct Encoded
    {
        std::string bytes;
        bool drop = false;
    };

    Encoded encode(const LdapRequest& request) const;

    std::vector<Step> steps_;
};

} // namespace KVR::Support
