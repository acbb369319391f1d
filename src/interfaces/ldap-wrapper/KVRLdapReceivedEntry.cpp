#include "KVRLdapReceivedEntry.h"

#include "KVRLdapElements.h"

#include <algorithm>
#include <numeric>

extern "C"
{
    // Every version since 2.4 exports it, but declares it in a private header; a later one may hide it.
    __attribute__((weak)) BerElement* ldap_get_message_ber(LDAPMessage* message);
}

namespace KVR
{

namespace
{

constexpr unsigned char octetString = LBER_OCTETSTRING;
constexpr unsigned char sequence = LBER_SEQUENCE;
constexpr unsigned char set = LBER_SET;

/** The contents of the entry's element; false where libldap does not show them. */
bool contentsOf(LDAPMessage* entry, CKVRElements& contents)
{
    BerElement* const element = ldap_get_message_ber != nullptr ? ldap_get_message_ber(entry) : nullptr;
    berval bytes{};
    if (element == nullptr || ber_peek_element(element, &bytes) != LDAP_RES_SEARCH_ENTRY)
    {
        return false;
    }
    contents = CKVRElements(bytes.bv_val, bytes.bv_val + bytes.bv_len);
    return true;
}

constexpr std::uint32_t caseBit = 0x20;

/** Hash (FNV-1a) of a name, whatever its letter case; false for an empty name and one that is not ASCII. */
bool hashName(std::string_view name, std::uint32_t& hash)
{
    hash = 2166136261U;
    for (const char character : name)
    {
        const auto byte = static_cast<unsigned char>(character);
        if (byte == 0 || byte > 0x7f)
        {
            return false;
        }
        hash = (hash ^ (byte | caseBit)) * 16777619U;
    }
    return !name.empty();
}

unsigned char lowered(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 'A' && byte <= 'Z' ? byte | caseBit : byte;
}

bool isSameName(std::string_view one, std::string_view other)
{
    return one.size() == other.size() &&
           std::equal(one.begin(), one.end(), other.begin(),
                      [](char left, char right) { return lowered(left) == lowered(right); });
}

} // namespace

CKVRReceivedEntry::Converted::~Converted()
{
    const std::string& texts = entry_.texts_;
    CKVRElements converted(texts.data(), texts.data() + texts.size());
    for (CKVRReceivedAttribute& attribute : entry_.attributes_)
    {
        const char* const begin = converted.Begin();
        CKVRElements value;
        for (CKVRElements values = attribute.values; !converted.Empty() && values.Take(value);)
        {
            converted.Take(value);
        }
        attribute.values = CKVRElements(begin, converted.Begin());
    }
}

void CKVRReceivedEntry::Clear()
{
    dn_ = {};
    attributes_.clear();
    giveBack(attributes_);
    giveBack(texts_);
    giveBack(slots_);
    giveBack(sorted_);
    giveBack(knownNames_);
    if (sorted_.empty() || knownNames_.empty())
    {
        sorted_.clear();
        knownNames_.clear();
    }
}

bool CKVRReceivedEntry::Read(LDAPMessage* entry)
{
    attributes_.clear();
    CKVRElements contents;
    CKVRElements dn;
    CKVRElements list;
    if (!contentsOf(entry, contents) || !contents.Take(octetString, dn) || !contents.Take(sequence, list) ||
        !contents.Empty())
    {
        return false;
    }
    dn_ = dn.Bytes();
    while (!list.Empty())
    {
        if (!readAttribute(list))
        {
            return false;
        }
    }
    return dn_.find('\0') == std::string_view::npos && (hasKnownNames() || learnNames());
}

bool CKVRReceivedEntry::readAttribute(CKVRElements& list)
{
    CKVRElements attribute;
    CKVRElements name;
    CKVRElements values;
    if (!list.Take(sequence, attribute) || !attribute.Take(octetString, name) ||
        !attribute.Take(set, values) || !attribute.Empty() || values.Empty())
    {
        return false;
    }
    attributes_.push_back({name.Bytes(), values});
    while (!values.Empty())
    {
        CKVRElements value;
        if (!values.Take(octetString, value))
        {
            return false;
        }
    }
    return true;
}

/** True when these are the names that sorted_ belongs to, in the same order. */
bool CKVRReceivedEntry::hasKnownNames() const
{
    if (attributes_.size() != sorted_.size())
    {
        return false;
    }
    std::string_view known = knownNames_;
    for (const CKVRReceivedAttribute& attribute : attributes_)
    {
        const std::size_t size = attribute.name.size();
        if (known.size() <= size || known[size] != '\0' || known.compare(0, size, attribute.name) != 0)
        {
            return false;
        }
        known.remove_prefix(size + 1);
    }
    return known.empty();
}

bool CKVRReceivedEntry::learnNames()
{
    knownNames_.clear();
    sorted_.clear();
    if (hasRepetition())
    {
        return false;
    }
    std::size_t size = 0;
    for (const CKVRReceivedAttribute& attribute : attributes_)
    {
        size += attribute.name.size() + 1;
    }
    // Without memory both stay empty, never one without the other.
    knownNames_.reserve(size);
    sorted_.resize(attributes_.size());
    std::iota(sorted_.begin(), sorted_.end(), 0U);
    std::sort(sorted_.begin(), sorted_.end(),
              [this](std::uint32_t one, std::uint32_t other)
              { return attributes_[one].name < attributes_[other].name; });
    for (const CKVRReceivedAttribute& attribute : attributes_)
    {
        knownNames_.append(attribute.name).push_back('\0');
    }
    return true;
}

/** True also for a name that is not plain. */
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
        const std::string_view name = attributes_[number - 1].name;
        std::uint32_t hash = 0;
        if (!hashName(name, hash))
        {
            return true;
        }
        std::size_t slot = hash & (size - 1);
        for (; slots_[slot] != 0; slot = (slot + 1) & (size - 1))
        {
            if (isSameName(attributes_[slots_[slot] - 1].name, name))
            {
                return true;
            }
        }
        slots_[slot] = number;
    }
    return false;
}

} // namespace KVR
