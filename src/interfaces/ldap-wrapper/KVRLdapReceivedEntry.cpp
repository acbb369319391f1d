#include "KVRLdapReceivedEntry.h"

#include "KVRLdapElements.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KVR
{

namespace
{

/**
 * Finds the attributes behind the DN. Their list's tag has given way to the zero byte that ends the
 * DN, so its head has to be the one that liblber has read.
 */
bool findAttributes(BerElement* cursor, const berval& dn, CKVRElements& list)
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
    CKVRElements heads(dn.bv_val + dn.bv_len, first.bv_val);
    std::size_t length = 0;
    if (!heads.TakeHead(length) || length != size)
    {
        return false;
    }
    list = CKVRElements(heads.Begin(), heads.Begin() + size);
    return !heads.Empty() && *heads.Begin() == LBER_SEQUENCE && heads.TakeHead(length) &&
           length == first.bv_len && heads.Empty();
}

/** Whether each attribute consists of a name and a list of values, which fill it exactly. */
bool fitTogether(CKVRElements list)
{
    while (!list.Empty())
    {
        CKVRElements attribute;
        CKVRElements name;
        CKVRElements values;
        if (!list.Take(attribute) || !attribute.Take(name) || !attribute.Take(values) || !attribute.Empty())
        {
            return false;
        }
        while (!values.Empty())
        {
            CKVRElements value;
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

void CKVRReceivedEntry::Clear()
{
    attributes_.clear();
    if (attributes_.capacity() > keptRecords)
    {
        attributes_.shrink_to_fit();
        slots_.clear();
        slots_.shrink_to_fit();
    }
}

bool CKVRReceivedEntry::Gather(LDAP* session, LDAPMessage* entry)
{
    attributes_.clear();
    AttributeCursorOwner cursor;
    const int code = ldap_get_dn_ber(session, entry, Receive(cursor), &dn_);
    if (code != LDAP_SUCCESS || dn_.bv_val == nullptr)
    {
        return false;
    }
    CKVRElements list;
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
