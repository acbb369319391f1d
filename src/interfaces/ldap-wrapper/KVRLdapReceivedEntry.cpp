#include "KVRLdapReceivedEntry.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KVR
{

namespace
{

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
    return code == LDAP_SUCCESS && dn_.bv_val != nullptr &&
           std::memchr(dn_.bv_val, '\0', dn_.bv_len) == nullptr &&
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
