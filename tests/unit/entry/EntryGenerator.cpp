#include "EntryGenerator.h"

#include "EntryBytes.h"

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
    for (std::uint32_t left = 1 + below(3); left > 0; --left)
    {
        answer.entries.push_back(content(odd));
    }
    if (odd && below(3) == 0)
    {
        // A set without values is told by the kept code, which is the result's.
        answer.code = below(2) == 0 ? 4 : 0;
    }
    if (below(4) == 0)
    {
        answer.behind = element(0xa0, element(0x30, element(0x04, "1.2.3.4")));
    }
    return answer;
}

std::string EntryGenerator::content(bool odd)
{
    constexpr LengthForm forms[] = {LengthForm::Short, LengthForm::OneByte, LengthForm::FourBytes};
    const std::string name = dn(odd);
    return entryContent(name, attributes(odd), forms[below(3)]);
}

Attributes EntryGenerator::attributes(bool odd)
{
    Attributes attributes;
    std::set<std::string> known;
    for (std::uint32_t left = below(4) == 0 ? below(40) : below(6); left > 0; --left)
    {
        Attribute attribute{name(odd), {}};
        if (!odd && !known.insert(lowered(attribute.name)).second)
        {
            continue;
        }
        for (std::uint32_t more = odd ? below(5) : 1 + below(5); more > 0; --more)
        {
            attribute.values.push_back(value());
        }
        attributes.push_back(std::move(attribute));
    }
    return attributes;
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
