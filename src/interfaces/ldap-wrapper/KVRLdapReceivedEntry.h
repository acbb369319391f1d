#pragma once

#include "KVRLdapElements.h"

#include <ldap.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KVR
{

/**
 * Bytes that are kept for the next entry at most: by each of the six buffers of a connection (five of
 * CKVRReceivedEntry, and that of conversions), and by the texts of an entity beyond what they hold.
 * Together they are 64 KiB.
 */
constexpr std::size_t keptByBuffer = 10UL * 1024;
constexpr std::size_t keptByEntity = 4UL * 1024;

/** Gives the memory of a large buffer back. */
template <typename Buffer>
void giveBack(Buffer& buffer)
{
    if (buffer.capacity() * sizeof(typename Buffer::value_type) > keptByBuffer)
    {
        Buffer().swap(buffer);
    }
}

/** An attribute of a received entry. */
struct CKVRReceivedAttribute
{
    std::string_view name;
    CKVRElements values; /**< OCTET STRINGs */
};

/**
 * A received entry as views into its message, which is never written to; the session's result code is not
 * touched.
 *
 * The object can be used again for the next entry. It keeps some memory for that, and the names of the
 * last one: entries of one kind have the same, and need not be sorted again.
 */
class CKVRReceivedEntry
{
public:
    /**
     * Reads the entry. The views end with its message, and what the other calls return with Clear.
     * @return false when it is not plain: libldap does not show its bytes, an element has an unusual tag,
     *         elements do not exactly fill the one around them, an attribute has no values, no name or,
     *         ignoring case, the name of another one, or DN or a name holds something that a C string or
     *         ASCII can't. What was read is of no use then
     */
    bool Read(LDAPMessage* entry);

    /**
     * Replaces the values by what the call returns for them, in the server's order. If it throws, those
     * before are replaced and the others are gone.
     */
    template <typename Call>
    void Convert(Call&& call)
    {
        texts_.clear();
        const Converted converted(*this);
        for (const CKVRReceivedAttribute& attribute : attributes_)
        {
            std::string_view text;
            for (CKVRElements values = attribute.values; values.TakeText(text);)
            {
                AppendText(texts_, call(text));
            }
        }
    }

    /** Forgets the entry, and gives back the memory of a large one. */
    void Clear();

    std::string_view Dn() const { return dn_; }

    /** In the server's order. */
    const std::vector<CKVRReceivedAttribute>& Attributes() const { return attributes_; }

    /** Indices of the attributes, in the order of their names. */
    const std::vector<std::uint32_t>& Sorted() const { return sorted_; }

private:
    /** On destruction points each attribute at its converted values, as many as were made. */
    class Converted
    {
    public:
        explicit Converted(CKVRReceivedEntry& entry) : entry_(entry) {}
        ~Converted();

        Converted(const Converted&) = delete;
        Converted& operator=(const Converted&) = delete;

    private:
        CKVRReceivedEntry& entry_;
    };

    bool readAttribute(CKVRElements& list);
    bool hasKnownNames() const;
    bool learnNames();
    bool hasRepetition();

    std::string_view dn_;
    std::vector<CKVRReceivedAttribute> attributes_;
    std::string texts_;      /**< converted values */
    std::string knownNames_; /**< those that sorted_ belongs to, a zero byte behind each */
    std::vector<std::uint32_t> sorted_;
    std::vector<std::uint32_t> slots_; /**< hash table: numbers of attributes from 1, 0 is free */
};

} // namespace KVR
