#include "EntryBytes.h"

#include <lber.h>
#include <ldap.h>

namespace KVR::Support
{

namespace
{

constexpr unsigned char integer = 0x02;
constexpr unsigned char octetString = 0x04;
constexpr unsigned char enumerated = 0x0a;
constexpr unsigned char sequence = 0x30;
constexpr unsigned char set = 0x31;

std::string lengthBytes(std::size_t length, std::size_t count)
{
    std::string bytes(1, static_cast<char>(0x80 | count));
    while (count-- > 0)
    {
        bytes += static_cast<char>(length >> (8 * count));
    }
    return bytes;
}

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

std::string message(int id, const std::string& operation)
{
    return element(sequence, number(integer, id) + operation);
}

} // namespace

std::string element(unsigned char tag, const std::string& content, LengthForm form)
{
    const std::size_t length = content.size();
    std::string bytes(1, static_cast<char>(tag));
    if (form == LengthForm::FourBytes || length > 0xffff)
    {
        bytes += lengthBytes(length, 4);
    }
    else if (length > 0xff)
    {
        bytes += lengthBytes(length, 2);
    }
    else if (length > 0x7f || form == LengthForm::OneByte)
    {
        bytes += lengthBytes(length, 1);
    }
    else
    {
        bytes += static_cast<char>(length);
    }
    return bytes + content;
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

std::string entryMessage(int id, const std::string& content, const std::string& behind)
{
    return message(id, element(LDAP_RES_SEARCH_ENTRY, content) + behind);
}

std::string resultMessage(int id, unsigned long tag, int code)
{
    return message(id,
                   element(static_cast<unsigned char>(tag),
                           number(enumerated, code) + element(octetString, "") + element(octetString, "")));
}

} // namespace KVR::Support
