#include "EntryBytes.h"

#include <lber.h>
#include <ldap.h>

#include <algorithm>

namespace KVR::Support
{

namespace
{

constexpr unsigned char integer = 0x02;
constexpr unsigned char octetString = 0x04;
constexpr unsigned char enumerated = 0x0a;
constexpr unsigned char sequence = 0x30;
constexpr unsigned char set = 0x31;

/** A number of LDAP, none of which is negative here and all of which fit into four bytes. */
std::string number(unsigned char tag, int value)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        bytes += static_cast<char>(value >> shift);
    }
    return element(tag, bytes);
}

} // namespace

std::string element(const std::string& tag, const std::string& content, std::size_t octets)
{
    const std::size_t length = content.size();
    if (octets == 0 && length <= 0x7f)
    {
        return tag + static_cast<char>(length) + content;
    }
    std::size_t needed = 1;
    while (length >> (8 * needed) != 0)
    {
        needed++;
    }
    octets = std::max(octets, needed);
    std::string bytes = tag + static_cast<char>(0x80 | octets) + std::string(octets - needed, '\0');
    while (needed-- > 0)
    {
        bytes += static_cast<char>(length >> (8 * needed));
    }
    return bytes + content;
}

std::string element(unsigned char tag, const std::string& content, LengthForm form)
{
    const std::size_t octets = form == LengthForm::Short ? 0 : form == LengthForm::OneByte ? 1 : 4;
    return element(std::string(1, static_cast<char>(tag)), content, octets);
}

std::string entryContent(const std::string& dn, const Attributes& attributes, LengthForm form)
{
    std::string list;
    for (const auto& attribute : attributes)
    {
        std::string values;
        for (const std::string& value : attribute.values)
        {
            values += element(octetString, value, form);
        }
        list +=
            element(sequence, element(octetString, attribute.name, form) + element(set, values, form), form);
    }
    return element(octetString, dn, form) + element(sequence, list, form);
}

std::string operationMessage(int id, const std::string& operation)
{
    return element(sequence, number(integer, id) + operation);
}

std::string entryMessage(int id, const std::string& content, const std::string& behind)
{
    return operationMessage(id, element(LDAP_RES_SEARCH_ENTRY, content) + behind);
}

std::string resultMessage(int id, unsigned long tag, int code)
{
    return operationMessage(
        id, element(static_cast<unsigned char>(tag),
                    number(enumerated, code) + element(octetString, "") + element(octetString, "")));
}

} // namespace KVR::Support
