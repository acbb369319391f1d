#include "LdapRequest.h"

#include "BerOwner.h"

#include <lber.h>
#include <ldap.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <stdexcept>

namespace KVR::Support
{

namespace
{

constexpr std::size_t highBit = 0x80;

/** One encoded element: its tag and the bytes between its length and its end. */
struct Element
{
    ber_tag_t tag = 0;
    std::string content;
};

/** The elements that follow one another in the content of a constructed element. */
std::vector<Element> elementsOf(const std::string& content)
{
    if (content.empty())
    {
        return {};
    }
    berval bytes{};
    bytes.bv_len = content.size();
    bytes.bv_val = const_cast<char*>(content.data()); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const BerOwner owner(ber_init(&bytes));
    BerElement* ber = owner.get();
    std::vector<Element> elements;
    ber_len_t left = 0;
    while (ber_get_option(ber, LBER_OPT_BER_REMAINING_BYTES, &left) == LBER_OPT_SUCCESS && left != 0)
    {
        berval inner{};
        const ber_tag_t tag = ber_skip_element(ber, &inner);
        if (tag == LBER_DEFAULT)
        {
            throw std::runtime_error("the request is not well encoded");
        }
        elements.push_back({tag, std::string(inner.bv_val, inner.bv_len)});
    }
    return elements;
}

std::vector<std::string> textsOf(const std::string& content)
{
    std::vector<std::string> texts;
    for (auto& element : elementsOf(content))
    {
        texts.push_back(std::move(element.content));
    }
    return texts;
}

int number(const std::string& content)
{
    if (content.empty() || content.size() > sizeof(int))
    {
        throw std::runtime_error("the request holds a number of odd size");
    }
    const bool negative = static_cast<unsigned char>(content[0]) >= highBit;
    int value = negative ? -1 : 0;
    for (const char byte : content)
    {
        value = value * 256 + static_cast<unsigned char>(byte);
    }
    return value;
}

bool truth(const std::string& content)
{
    return number(content) != 0;
}

/** A value in a filter, with the characters escaped that RFC 4515 reserves. */
std::string escaped(const std::string& value)
{
    std::string text;
    for (const char c : value)
    {
        if (c == '*' || c == '(' || c == ')' || c == '\\' || c == '\0')
        {
            std::array<char, 4> code{};
            static_cast<void>(std::snprintf(code.data(), code.size(), "\\%02x", static_cast<unsigned>(c)));
            text += code.data();
        }
        else
        {
            text += c;
        }
    }
    return text;
}

std::string filterText(const Element& filter);

std::string filterList(const Element& filter, const char* sign)
{
    std::string text = sign;
    for (const auto& inner : elementsOf(filter.content))
    {
        text += filterText(inner);
    }
    return text;
}

std::string filterComparison(const Element& filter, const char* sign)
{
    const auto parts = textsOf(filter.content);
    return parts.at(0) + sign + escaped(parts.at(1));
}

std::string filterSubstrings(const Element& filter)
{
    const auto parts = elementsOf(filter.content);
    std::string text = parts.at(0).content + "=";
    bool starred = false;
    for (const auto& piece : elementsOf(parts.at(1).content))
    {
        if (piece.tag != LDAP_SUBSTRING_INITIAL && !starred)
        {
            text += '*';
        }
        text += escaped(piece.content);
        starred = piece.tag != LDAP_SUBSTRING_FINAL;
        if (starred)
        {
            text += '*';
        }
    }
    return text;
}

std::string filterExtensible(const Element& filter)
{
    std::string type;
    std::string rule;
    std::string value;
    std::string dnAttributes;
    for (const auto& part : elementsOf(filter.content))
    {
        if (part.tag == LDAP_FILTER_EXT_OID)
        {
            rule = ":" + part.content;
        }
        else if (part.tag == LDAP_FILTER_EXT_TYPE)
        {
            type = part.content;
        }
        else if (part.tag == LDAP_FILTER_EXT_VALUE)
        {
            value = escaped(part.content);
        }
        else if (part.tag == LDAP_FILTER_EXT_DNATTRS && truth(part.content))
        {
            dnAttributes = ":dn";
        }
    }
    return type + dnAttributes + rule + ":=" + value;
}

std::string filterBody(const Element& filter)
{
    switch (filter.tag)
    {
    case LDAP_FILTER_AND:
        return filterList(filter, "&");
    case LDAP_FILTER_OR:
        return filterList(filter, "|");
    case LDAP_FILTER_NOT:
        return filterList(filter, "!");
    case LDAP_FILTER_EQUALITY:
        return filterComparison(filter, "=");
    case LDAP_FILTER_GE:
        return filterComparison(filter, ">=");
    case LDAP_FILTER_LE:
        return filterComparison(filter, "<=");
    case LDAP_FILTER_APPROX:
        return filterComparison(filter, "~=");
    case LDAP_FILTER_SUBSTRINGS:
        return filterSubstrings(filter);
    case LDAP_FILTER_PRESENT:
        return filter.content + "=*";
    case LDAP_FILTER_EXT:
        return filterExtensible(filter);
    default:
        throw std::runtime_error("the filter is of no known kind");
    }
}

std::string filterText(const Element& filter)
{
    return "(" + filterBody(filter) + ")";
}

void decodeBind(const std::vector<Element>& parts, LdapRequest& request)
{
    request.bind.version = number(parts.at(0).content);
    request.dn = parts.at(1).content;
    request.bind.simple = parts.at(2).tag == LDAP_AUTH_SIMPLE;
    if (request.bind.simple)
    {
        request.bind.credentials = parts.at(2).content;
        return;
    }
    const auto sasl = textsOf(parts.at(2).content);
    request.bind.mechanism = sasl.at(0);
    request.bind.credentials = sasl.size() > 1 ? sasl[1] : "";
}

void decodeSearch(const std::vector<Element>& parts, LdapRequest& request)
{
    request.dn = parts.at(0).content;
    request.search.scope = number(parts.at(1).content);
    request.search.dereference = number(parts.at(2).content);
    request.search.sizeLimit = number(parts.at(3).content);
    request.search.timeLimit = number(parts.at(4).content);
    request.search.typesOnly = truth(parts.at(5).content);
    request.search.filter = filterText(parts.at(6));
    request.search.attributes = textsOf(parts.at(7).content);
}

void decodeModify(const std::vector<Element>& parts, LdapRequest& request)
{
    request.dn = parts.at(0).content;
    for (const auto& change : elementsOf(parts.at(1).content))
    {
        const auto fields = elementsOf(change.content);
        const auto attribute = elementsOf(fields.at(1).content);
        request.modifications.push_back(
            {number(fields[0].content), attribute.at(0).content, textsOf(attribute.at(1).content)});
    }
}

void decodeAdd(const std::vector<Element>& parts, LdapRequest& request)
{
    request.dn = parts.at(0).content;
    for (const auto& attribute : elementsOf(parts.at(1).content))
    {
        const auto fields = elementsOf(attribute.content);
        request.attributes.push_back({fields.at(0).content, textsOf(fields.at(1).content)});
    }
}

void decodeModifyDn(const std::vector<Element>& parts, LdapRequest& request)
{
    request.dn = parts.at(0).content;
    request.modifyDn.newRdn = parts.at(1).content;
    request.modifyDn.deleteOldRdn = truth(parts.at(2).content);
    if (parts.size() > 3)
    {
        request.modifyDn.newSuperior = parts[3].content;
    }
}

void decodeBody(const Element& body, LdapRequest& request)
{
    switch (body.tag)
    {
    case LDAP_REQ_BIND:
        request.operation = Operation::Bind;
        return decodeBind(elementsOf(body.content), request);
    case LDAP_REQ_UNBIND:
        request.operation = Operation::Unbind;
        return;
    case LDAP_REQ_SEARCH:
        request.operation = Operation::Search;
        return decodeSearch(elementsOf(body.content), request);
    case LDAP_REQ_MODIFY:
        request.operation = Operation::Modify;
        return decodeModify(elementsOf(body.content), request);
    case LDAP_REQ_ADD:
        request.operation = Operation::Add;
        return decodeAdd(elementsOf(body.content), request);
    case LDAP_REQ_DELETE:
        request.operation = Operation::Delete;
        request.dn = body.content;
        return;
    case LDAP_REQ_MODRDN:
        request.operation = Operation::ModifyDn;
        return decodeModifyDn(elementsOf(body.content), request);
    case LDAP_REQ_COMPARE:
    {
        request.operation = Operation::Compare;
        const auto parts = elementsOf(body.content);
        const auto assertion = textsOf(parts.at(1).content);
        request.dn = parts[0].content;
        request.attributes.push_back({assertion.at(0), {assertion.at(1)}});
        return;
    }
    case LDAP_REQ_ABANDON:
        request.operation = Operation::Abandon;
        request.abandonedId = number(body.content);
        return;
    case LDAP_REQ_EXTENDED:
        request.operation = Operation::Extended;
        request.extendedName = elementsOf(body.content).at(0).content;
        return;
    default:
        throw std::runtime_error("the request is of no known kind");
    }
}

void printValues(std::ostream& stream, const std::vector<std::string>& values)
{
    const char* separator = "";
    for (const auto& value : values)
    {
        stream << separator << '<' << value << '>';
        separator = " ";
    }
}

} // namespace

std::size_t completeMessageLength(const std::string& bytes)
{
    if (bytes.size() < 2)
    {
        return 0;
    }
    std::size_t head = 2;
    std::size_t length = static_cast<unsigned char>(bytes[1]);
    if ((length & highBit) != 0)
    {
        head += length & ~highBit;
        if (head > 2 + sizeof(std::uint32_t))
        {
            throw std::runtime_error("the request's length is not well encoded");
        }
        if (bytes.size() < head)
        {
            return 0;
        }
        length = 0;
        for (std::size_t i = 2; i < head; i++)
        {
            length = length * 256 + static_cast<unsigned char>(bytes[i]);
        }
    }
    return bytes.size() >= head + length ? head + length : 0;
}

LdapRequest decodeRequest(const std::string& message)
{
    const auto outer = elementsOf(message);
    const auto parts = elementsOf(outer.at(0).content);
    LdapRequest request;
    request.messageId = number(parts.at(0).content);
    decodeBody(parts.at(1), request);
    request.hasControls = parts.size() > 2 && parts[2].tag == LDAP_TAG_CONTROLS;
    return request;
}

bool operator==(const Attribute& left, const Attribute& right)
{
    return left.name == right.name && left.values == right.values;
}

bool operator==(const Modification& left, const Modification& right)
{
    return left.code == right.code && left.name == right.name && left.values == right.values;
}

std::ostream& operator<<(std::ostream& stream, Operation operation)
{
    static constexpr std::array<const char*, 10> names{
        "bind", "unbind", "search", "modify", "add", "delete", "modify DN", "compare", "abandon", "extended"};
    return stream << names.at(static_cast<std::size_t>(operation));
}

std::ostream& operator<<(std::ostream& stream, const Attribute& attribute)
{
    stream << attribute.name << ": ";
    printValues(stream, attribute.values);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const Modification& modification)
{
    static constexpr std::array<const char*, 3> codes{"add", "delete", "replace"};
    const auto code = static_cast<std::size_t>(modification.code);
    stream << (code < codes.size() ? codes.at(code) : "?") << ' ' << modification.name << ": ";
    printValues(stream, modification.values);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const LdapRequest& request)
{
    stream << request.operation << " '" << request.dn << '\'';
    if (request.operation == Operation::Search)
    {
        stream << " scope " << request.search.scope << ' ' << request.search.filter << ' ';
        printValues(stream, request.search.attributes);
    }
    for (const auto& modification : request.modifications)
    {
        stream << "\n  " << modification;
    }
    for (const auto& attribute : request.attributes)
    {
        stream << "\n  " << attribute;
    }
    if (request.operation == Operation::ModifyDn)
    {
        stream << " to " << request.modifyDn.newRdn;
    }
    return stream;
}

} // namespace KVR::Support
