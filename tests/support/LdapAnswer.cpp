#include "LdapAnswer.h"

#include "BerOwner.h"

#include <lber.h>
#include <ldap.h>

#include <stdexcept>

namespace KVR::Support
{

namespace
{

class Encoder
{
public:
    Encoder() : ber_(ber_alloc_t(LBER_USE_DER)) {}

    template <typename... Arguments>
    Encoder& put(const char* format, Arguments... arguments)
    {
        if (ber_printf(ber_.get(), format, arguments...) < 0)
        {
            throw std::runtime_error("the answer can't be encoded");
        }
        return *this;
    }

    Encoder& text(const std::string& bytes)
    {
        return put("o", bytes.data(), static_cast<ber_len_t>(bytes.size()));
    }

    std::string bytes() const
    {
        berval flat{};
        if (ber_flatten2(ber_.get(), &flat, 0) != 0)
        {
            throw std::runtime_error("the answer can't be encoded");
        }
        return {flat.bv_val, flat.bv_len};
    }

private:
    BerOwner ber_;
};

std::string encodeEntry(int id, const std::string& dn, const Attributes& attributes)
{
    Encoder encoder;
    encoder.put("{it{", id, static_cast<ber_tag_t>(LDAP_RES_SEARCH_ENTRY)).text(dn).put("{");
    for (const auto& attribute : attributes)
    {
        encoder.put("{").text(attribute.name).put("[");
        for (const auto& value : attribute.values)
        {
            encoder.text(value);
        }
        encoder.put("]}");
    }
    return encoder.put("}}}").bytes();
}

std::string encodeDamagedEntry(int id, const std::string& dn, const Attributes& attributes)
{
    constexpr char beyondTheEnd = 0x7f;
    std::string bytes = encodeEntry(id, dn, attributes);
    const std::size_t name = bytes.rfind(attributes.back().name);
    bytes.at(name - 1) = beyondTheEnd;
    return bytes;
}

std::string encodeReference(int id, const Attributes& urls)
{
    Encoder encoder;
    encoder.put("{it{", id, static_cast<ber_tag_t>(LDAP_RES_SEARCH_REFERENCE));
    for (const auto& url : urls)
    {
        encoder.text(url.name);
    }
    return encoder.put("}}").bytes();
}

std::string encodeIntermediate(int id, const std::string& name, const std::string& value)
{
    Encoder encoder;
    encoder.put("{it{", id, static_cast<ber_tag_t>(LDAP_RES_INTERMEDIATE));
    encoder.put("t", static_cast<ber_tag_t>(LDAP_TAG_IM_RES_OID)).text(name);
    encoder.put("t", static_cast<ber_tag_t>(LDAP_TAG_IM_RES_VALUE)).text(value);
    return encoder.put("}}").bytes();
}

ber_tag_t resultTag(Operation operation)
{
    switch (operation)
    {
    case Operation::Bind:
        return LDAP_RES_BIND;
    case Operation::Search:
        return LDAP_RES_SEARCH_RESULT;
    case Operation::Modify:
        return LDAP_RES_MODIFY;
    case Operation::Add:
        return LDAP_RES_ADD;
    case Operation::Delete:
        return LDAP_RES_DELETE;
    case Operation::ModifyDn:
        return LDAP_RES_MODRDN;
    case Operation::Compare:
        return LDAP_RES_COMPARE;
    default:
        return LDAP_RES_EXTENDED;
    }
}

void putReferral(Encoder& encoder, const Attributes& urls)
{
    if (urls.empty())
    {
        return;
    }
    encoder.put("t{", LDAP_TAG_REFERRAL);
    for (const auto& url : urls)
    {
        encoder.text(url.name);
    }
    encoder.put("}");
}

std::string encodeReferral(const LdapRequest& request, const Attributes& urls)
{
    Encoder encoder;
    encoder.put("{it{e", request.messageId, resultTag(request.operation), LDAP_REFERRAL).text("").text("");
    putReferral(encoder, urls);
    return encoder.put("}}").bytes();
}

std::string encodeNotice(int code, const std::string& diagnostic, const Attributes& urls,
                         const std::string& name)
{
    Encoder encoder;
    encoder.put("{it{e", 0, static_cast<ber_tag_t>(LDAP_RES_EXTENDED), code).text("").text(diagnostic);
    putReferral(encoder, urls);
    encoder.put("t", LDAP_TAG_EXOP_RES_OID).text(name);
    return encoder.put("}}").bytes();
}

Attributes namesOf(const std::vector<std::string>& texts)
{
    Attributes names;
    for (const auto& text : texts)
    {
        names.push_back({text, {}});
    }
    return names;
}

std::string encodeResult(const LdapRequest& request, int code, const std::string& matchedDn,
                         const std::string& diagnostic)
{
    Encoder encoder;
    encoder.put("{it{e", request.messageId, resultTag(request.operation), code);
    return encoder.text(matchedDn).text(diagnostic).put("}}").bytes();
}

} // namespace

Answer& Answer::add(const Step& step)
{
    steps_.push_back(step);
    return *this;
}

Answer& Answer::entry(const std::string& dn, const Attributes& attributes)
{
    return add({Kind::Entry, dn, attributes, 0, ""});
}

Answer& Answer::damagedEntry(const std::string& dn, const Attributes& attributes)
{
    return add({Kind::DamagedEntry, dn, attributes, 0, ""});
}

Answer& Answer::cutEntry(const std::string& dn, const Attributes& attributes)
{
    return add({Kind::CutEntry, dn, attributes, 0, ""});
}

Answer& Answer::reference(const std::vector<std::string>& urls)
{
    return add({Kind::Reference, "", namesOf(urls), 0, ""});
}

Answer& Answer::intermediate(const std::string& name, const std::string& value)
{
    return add({Kind::Intermediate, name, {}, 0, value});
}

Answer& Answer::referral(const std::vector<std::string>& urls)
{
    return add({Kind::Referral, "", namesOf(urls), 0, ""});
}

Answer& Answer::notice(int code, const std::string& diagnostic, const std::vector<std::string>& urls,
                       const std::string& name)
{
    return add({Kind::Notice, name, namesOf(urls), code, diagnostic});
}

Answer& Answer::raw(const std::string& bytes)
{
    return add({Kind::Raw, bytes, {}, 0, ""});
}

Answer& Answer::result(int code, const std::string& diagnostic, const std::string& matchedDn)
{
    return add({Kind::Result, matchedDn, {}, code, diagnostic});
}

Answer& Answer::malformed()
{
    return raw("\x30\x05\xff\xff\xff\xff\xff");
}

Answer& Answer::drop()
{
    return add({Kind::Drop, "", {}, 0, ""});
}

Answer& Answer::reset()
{
    return add({Kind::Reset, "", {}, 0, ""});
}

Answer& Answer::silence()
{
    return add({Kind::Silence, "", {}, 0, ""});
}

Answer& Answer::cutAfter(std::size_t size)
{
    size_ = size;
    return *this;
}

Answer& Answer::drip(std::chrono::milliseconds pause)
{
    pause_ = pause;
    return *this;
}

Answer& Answer::thenDeaf()
{
    deaf_ = true;
    return *this;
}

Answer::Encoded Answer::encode(const LdapRequest& request) const
{
    Encoded encoded;
    encodeSteps(request, encoded);
    encoded.bytes = encoded.bytes.substr(0, size_);
    encoded.deaf = deaf_;
    encoded.pause = pause_;
    return encoded;
}

void Answer::encodeSteps(const LdapRequest& request, Encoded& encoded) const
{
    const int id = request.messageId;
    bool hasResult = false;
    for (const auto& step : steps_)
    {
        switch (step.kind)
        {
        case Kind::Entry:
            encoded.bytes += encodeEntry(id, step.dn, step.attributes);
            break;
        case Kind::DamagedEntry:
            encoded.bytes += encodeDamagedEntry(id, step.dn, step.attributes);
            break;
        case Kind::Reference:
            encoded.bytes += encodeReference(id, step.attributes);
            break;
        case Kind::Intermediate:
            encoded.bytes += encodeIntermediate(id, step.dn, step.diagnostic);
            break;
        case Kind::CutEntry:
        {
            const std::string whole = encodeEntry(id, step.dn, step.attributes);
            encoded.bytes += whole.substr(0, whole.size() / 2);
            encoded.drop = true;
            return;
        }
        case Kind::Result:
            encoded.bytes += encodeResult(request, step.code, step.dn, step.diagnostic);
            hasResult = true;
            break;
        case Kind::Referral:
            encoded.bytes += encodeReferral(request, step.attributes);
            return;
        case Kind::Notice:
            encoded.bytes += encodeNotice(step.code, step.diagnostic, step.attributes, step.dn);
            encoded.drop = true;
            return;
        case Kind::Raw:
            encoded.bytes += step.dn;
            return;
        case Kind::Drop:
            encoded.drop = true;
            return;
        case Kind::Reset:
            encoded.drop = true;
            encoded.reset = true;
            return;
        case Kind::Silence:
            return;
        }
    }
    encoded.bytes += hasResult ? "" : encodeResult(request, LDAP_SUCCESS, "", "");
}

} // namespace KVR::Support
