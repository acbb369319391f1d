#include "KVRLdapReceivedEntry.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KVR
{

namespace
{

/**
 * BER elements that follow each other, from front to back. liblber takes an element's length for
 * right as long as the message has so many bytes, here it has to fit into what surrounds the element.
 */
class Elements
{
public:
    Elements() = default;
    Elements(const char* begin, const char* end) : at_(begin), end_(end) {}

    bool Empty() const { return at_ == end_; }
    const char* Begin() const { return at_; }

    /** Passes over the head of an element; false for tags of several bytes and indefinite lengths. */
    bool TakeHead(std::size_t& length)
    {
        constexpr unsigned severalBytes = 0x1f;
        constexpr unsigned lengthFollows = 0x80;
        constexpr std::size_t longest = 4;
        if (end_ - at_ < 2 || (byte(at_[0]) & severalBytes) == severalBytes)
        {
            return false;
        }
        length = byte(at_[1]);
        at_ += 2;
        if (length < lengthFollows)
        {
            return true;
        }
        std::size_t count = length - lengthFollows;
        if (count == 0 || count > longest || count > static_cast<std::size_t>(end_ - at_))
        {
            return false;
        }
        for (length = 0; count > 0; --count)
        {
            length = length << 8 | byte(*at_++);
        }
        return true;
    }

    /** Cuts off the first element. */
    bool Take(Elements& contents)
    {
        std::size_t length = 0;
        if (!TakeHead(length) || length > static_cast<std::size_t>(end_ - at_))
        {
            return false;
        }
        contents = Elements(at_, at_ + length);
        at_ += length;
        return true;
    }

private:
    static unsigned byte(char character) { return static_cast<unsigned char>(character); }

    const char* at_ = nullptr;
    const char* end_ = nullptr;
};

/**
 * Finds the attributes behind the DN. Their list's tag has given way to the zero byte that ends the
 * DN, so its head has to be the one that liblber has read.
 */
bool findAttributes(BerElement* cursor, const berval& dn, Elements& list)
{
    ber_len_t size = 0;
    ber_get_option(cursor, LBER_OPT_BER_REMAINING_BYTES, &size);
    if (size == 0)
    {
        return true;
    }
    berval first{};
    if (ber_peek_element(cursor, &first) != LBER_SEQUENCE)
    {
        return false;
    }
    Elements heads(dn.bv_val + dn.bv_len, first.bv_val);
    std::size_t length = 0;
    if (!heads.TakeHead(length) || length != size)
    {
        return false;
    }
    list = Elements(heads.Begin(), heads.Begin() + size);
    return !heads.Empty() && *heads.Begin() == LBER_SEQUENCE && heads.TakeHead(length) &&
           length == first.bv_len && heads.Empty();
}

/** Whether each attribute consists of a name and a list of values, which fill it exactly. */
bool fitTogether(Elements list)
{
    while (!list.Empty())
    {
        Elements attribute;
        Elements name;
        Elements values;
        if (!list.Take(attribute) || !attribute.Take(name) || !attribute.Take(values) || !attribute.Empty())
        {
            return false;
        }
        while (!values.Empty())
        {
            Elements value;
            if (!values.Take(value))
            {
                return false;
            }
        }
    }
    return true;
}

constexpr std::uint32_t caseBit = 0x20;

/** Hash (FNV-1a) of a name, whatever its letter case; false for an empty name and one that is not ASCII. */
bool hashName(const berval& name, std::uint32_t& hash)
{
    hash = 2166136261U;
    for (ber_len_t at = 0; at < name.bv_len; ++at)
    {
        const auto byte = static_cast<unsigned char>(name.bv_val[at]);
        if (byte == 0 || byte > 0x7f)
        {
            return false;
        }
        hash = (hash ^ (byte | caseBit)) * 16777619U;
    }
    return name.bv_len > 0;
}

unsigned char lowered(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 'A' && byte <= 'Z' ? byte | caseBit : byte;
}

bool isSameName(const CKVRReceivedAttribute& one, const CKVRReceivedAttribute& other)
{
    return one.hash == other.hash && one.name.bv_len == other.name.bv_len &&
           std::equal(one.name.bv_val, one.name.bv_val + one.name.bv_len, other.name.bv_val,
                      [](char left, char right) { return lowered(left) == lowered(right); });
}

} // namespace

bool CKVRReceivedEntry::Gather(LDAP* session, LDAPMessage* entry)
{
    attributes_.clear();
    AttributeCursorOwner cursor;
    const int code = ldap_get_dn_ber(session, entry, Receive(cursor), &dn_);
    if (code != LDAP_SUCCESS || dn_.bv_val == nullptr)
    {
        return false;
    }
    Elements list;
    if (!findAttributes(cursor.get(), dn_, list))
    {
        // The tag is gone, so the calls by name might see nothing wrong any more.
        const int damaged = LDAP_DECODING_ERROR;
        ldap_set_option(session, LDAP_OPT_RESULT_CODE, &damaged);
        return false;
    }
    return fitTogether(list) && std::memchr(dn_.bv_val, '\0', dn_.bv_len) == nullptr &&
           gatherAttributes(session, entry, cursor.get()) && !hasRepetition();
}

bool CKVRReceivedEntry::gatherAttributes(LDAP* session, LDAPMessage* entry, BerElement* cursor)
{
    for (;;)
    {
        CKVRReceivedAttribute attribute;
        const int code =
            ldap_get_attribute_ber(session, entry, cursor, &attribute.name, Receive(attribute.values));
        if (code != LDAP_SUCCESS)
        {
            return false;
        }
        if (attribute.name.bv_val == nullptr)
        {
            return true;
        }
        if (!hashName(attribute.name, attribute.hash) || !attribute.values ||
            attribute.values->bv_val == nullptr)
        {
            return false;
        }
        attributes_.push_back(std::move(attribute));
    }
}

bool CKVRReceivedEntry::hasRepetition()
{
    std::size_t size = 16;
    while (size < 2 * attributes_.size())
    {
        size *= 2;
    }
    slots_.assign(size, 0);
    for (std::uint32_t number = 1; number <= attributes_.size(); ++number)
    {
        const CKVRReceivedAttribute& attribute = attributes_[number - 1];
        std::size_t slot = attribute.hash & (size - 1);
        for (; slots_[slot] != 0; slot = (slot + 1) & (size - 1))
        {
            if (isSameName(attributes_[slots_[slot] - 1], attribute))
            {
                return true;
            }
        }
        slots_[slot] = number;
    }
    return false;
}

} // namespace KVR
