#include "EntryGenerator.h"

#include "EntryBytes.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

namespace KVR::Support
{

namespace
{

using namespace std::string_literals;

/** Names that only look alike: none of them is the same as another in other letters. */
const std::string plainNames[] = {"cn",          "cn;lang-de",
                                  "cn;lang-en",  "c",
                                  "cnn",         "CN;x",
                                  "objectClass", "description",
                                  "sn",          "a",
                                  "b",           "@",
                                  "`",           "[",
                                  "{",           "]",
                                  "}",           "1.2.3",
                                  "x-y",         "\x01",
                                  "!",           "userCertificate;binary",
                                  "cn ",         " cn",
                                  "\x7f",        "_",
                                  "cn;"};

/** Names that repeat those in other letters, and names that are no ASCII text. */
const std::string oddNames[] = {"CN",        "Cn;LANG-de", "OBJECTclass", "A",   "n\xc3\xa4",
                                "N\xc3\x84", "\xe4",       "\xc4",        "",    "cn\0"s,
                                "cn\0x"s,    "\0"s,        "SN",          "X-y", "USERcertificate;BINARY"};

const std::string values[] = {"",
                              "a",
                              "abc",
                              "\xc3\xa4",
                              "\xc3\xa4\xc3\xb6",
                              "\0"s,
                              "ab\0cd"s,
                              "\0x"s,
                              "\xd0\x96",
                              "\xff\xfe",
                              "\xc3",
                              " ",
                              "\xe3\x81\x82",
                              "a\nb",
                              "\x1b(B",
                              "\x04\x01"
                              "a",
                              "0\x82",
                              "\x01"};

template <std::size_t Size>
const std::string& pick(EntryGenerator& generator, const std::string (&list)[Size])
{
    return list[generator.below(Size)];
}

std::string lowered(std::string name)
{
    for (char& letter : name)
    {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return name;
}

} // namespace

EntryAnswer EntryGenerator::answer(bool odd)
{
    EntryAnswer answer;
    names_.clear();
    for (std::uint32_t left = 1 + below(3); left > 0; --left)
    {
        answer.entries.push_back(content(odd));
    }
    if (odd && below(3) == 0)
    {
        // A set without values is told by the kept code, which is the result's.
        answer.code = below(2) == 0 ? 4 : 0;
    }
    const std::string operations[] = {"", "", "", element(0x73, element(0x04, "no URL")),
                                      element(0x79, element(0x80, "1.2.3"))};
    answer.between = pick(*this, operations);
    if (below(4) == 0)
    {
        answer.behind = element(0xa0, element(0x30, element(0x04, "1.2.3.4")));
    }
    return answer;
}

std::string EntryGenerator::content(bool odd)
{
    encoding_ = static_cast<Encoding>(below(odd ? 4 : 3));
    const std::string name = part(0x04, dn(odd));
    std::string list;
    for (const Attribute& attribute : attributes(odd))
    {
        std::string set;
        for (const std::string& value : attribute.values)
        {
            set += part(0x04, value);
        }
        list += part(0x30, part(0x04, attribute.name) + part(0x31, set));
    }
    return name + part(0x30, list);
}

std::string EntryGenerator::part(char tag, const std::string& content)
{
    switch (encoding_)
    {
    case Encoding::Short:
        return element(std::string(1, tag), content, 0);
    case Encoding::FourOctets:
        return element(std::string(1, tag), content, 4);
    case Encoding::Legal:
        return element(std::string(1, tag), content, below(9));
    default:
        break;
    }
    // Nor do all of these forbid what they stand for: a text in parts is legal BER.
    const std::string tags[] = {"\x24", "\x0c", "\x10", "\x11", "\x64", "\x84", "\x1f\x05", "\x3f\x81\x05"};
    return element(below(12) == 0 ? pick(*this, tags) : std::string(1, tag), content,
                   below(12) == 0 ? 9 + below(4) : below(9));
}

Attributes EntryGenerator::attributes(bool odd)
{
    // Entries of one kind have the same names, or nearly so.
    if (names_.empty() || below(2) == 0)
    {
        names_ = names(odd);
    }
    else
    {
        changeNames();
    }
    Attributes attributes;
    for (const std::string& name : names_)
    {
        attributes.push_back({name, {}});
        for (std::uint32_t more = odd ? below(5) : 1 + below(5); more > 0; --more)
        {
            attributes.back().values.push_back(value());
        }
    }
    return attributes;
}

std::vector<std::string> EntryGenerator::names(bool odd)
{
    std::vector<std::string> names;
    std::set<std::string> known;
    for (std::uint32_t left = below(4) == 0 ? below(40) : below(6); left > 0; --left)
    {
        const std::string some = name(odd);
        if (known.insert(lowered(some)).second || odd)
        {
            names.push_back(some);
        }
    }
    return names;
}

void EntryGenerator::changeNames()
{
    const auto any = [this] { return names_.begin() + below(static_cast<std::uint32_t>(names_.size())); };
    switch (below(4))
    {
    case 0:
        names_.erase(any());
        break;
    case 1:
        std::iter_swap(any(), any());
        break;
    default:
        break;
    }
}

std::string EntryGenerator::name(bool odd)
{
    if (below(6) == 0)
    {
        return "x" + std::to_string(below(1000));
    }
    return odd && below(5) == 0 ? pick(*this, oddNames) : pick(*this, plainNames);
}

std::string EntryGenerator::value()
{
    switch (below(8))
    {
    case 0:
        return bytes(below(20));
    case 1:
        return std::string(below(300), 'v');
    case 2:
        return below(50) == 0 ? std::string(70000 + below(1000), 'w') : std::string(127 + below(3), 'x');
    default:
        return pick(*this, values);
    }
}

std::string EntryGenerator::dn(bool odd)
{
    if (odd && below(4) == 0)
    {
        return below(2) == 0 ? "cn=a\0,dc=x"s : "\0"s;
    }
    const std::string dns[] = {"", "cn=a,dc=x", "CN=\xc3\xa4 + SN=b , DC=x", "\xff", std::string(300, 'd')};
    return pick(*this, dns);
}

std::string EntryGenerator::bytes(std::size_t size)
{
    std::string some;
    while (some.size() < size)
    {
        some += static_cast<char>(below(256));
    }
    return some;
}

} // namespace KVR::Support
