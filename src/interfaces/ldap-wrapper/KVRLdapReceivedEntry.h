#pragma once

#include "KVRLdapHandles.h"

#include <ldap.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KVR
{

/** What buffers that are used again keep at most: bytes of a text, and records of less than 64 bytes. */
constexpr std::size_t keptBytes = 64UL * 1024;
constexpr std::size_t keptRecords = 1024;

/** An attribute of a received entry; name and values point into the message. */
struct CKVRReceivedAttribute
{
    berval name{};
    std::uint32_t hash = 0; /**< of the name, equal for names that differ only in case */
    ValueArrayOwner values; /**< ended by one without data */
};

/**
 * A received entry as references into its message, gathered in one pass with ldap_get_dn_ber(3) and
 * ldap_get_attribute_ber(3). Gathering copies nothing; it ends names and values by zero bytes in place.
 *
 * The object can be used again for the next entry and keeps some memory for that.
 */
class CKVRReceivedEntry
{
public:
    /**
     * Gathers the entry. Where its elements do not fit together it is left as it was sent but for the
     * tag behind the DN, and if that one was wrong the session keeps LDAP_DECODING_ERROR.
     * @return false when it is not plain: it can't be decoded, lacks its DN, an attribute has no values or
     *         comes twice, in whatever letter case, or DN or a name holds something that a C string or
     *         ASCII can't. The gathered is of no use then
     */
    bool Gather(LDAP* session, LDAPMessage* entry);

    /** Releases what was gathered, and the memory of an entry with many attributes. */
    void Clear();

    const berval& Dn() const { return dn_; }
    const std::vector<CKVRReceivedAttribute>& Attributes() const { return attributes_; }

private:
    bool gatherAttributes(LDAP* session, LDAPMessage* entry, BerElement* cursor);
    bool hasRepetition();

    berval dn_{};
    std::vector<CKVRReceivedAttribute> attributes_;
    std::vector<std::uint32_t> slots_; /**< hash table: numbers of attributes from 1, 0 is free */
};

/** What reading an entry needs for a moment; a connection keeps it from one entry to the next. */
struct CKVREntryScratch
{
    CKVRReceivedEntry entry;
    std::string value;

    void Clear()
    {
        entry.Clear();
        if (value.capacity() > keptBytes)
        {
            // An assignment would keep the memory.
            std::string().swap(value);
        }
    }
};

} // namespace KVR
