#include "Text.h"

#include <algorithm>
#include <array>

namespace KVR::Cli
{

namespace
{

constexpr std::string_view base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/** Value of each character of the alphabet, 64 for all others. */
constexpr std::array<unsigned char, 256> base64Values()
{
    std::array<unsigned char, 256> values{};
    for (unsigned char& value : values)
    {
        value = 64;
    }
    for (std::size_t index = 0; index < base64Alphabet.size(); ++index)
    {
        values[static_cast<unsigned char>(base64Alphabet[index])] = static_cast<unsigned char>(index);
    }
    return values;
}

constexpr char32_t byteOf(char character)
{
    return static_cast<unsigned char>(character);
}

/** Smallest code point that takes this many bytes: a longer form of a smaller one is no UTF-8. */
constexpr std::array<char32_t, 5> smallestOfLength = {0, 0, 0x80, 0x800, 0x10000};

bool isControl(char32_t point)
{
    return point < 0x20 || (point >= 0x7f && point < 0xa0) || point == 0x2028 || point == 0x2029;
}

/** Characters that reorder what stands around them, so that a DN can look like another one. */
bool isDirection(char32_t point)
{
    return point == 0x061c || point == 0x200e || point == 0x200f || (point >= 0x202a && point <= 0x202e) ||
           (point >= 0x2066 && point <= 0x2069);
}

std::string inHexadecimal(char32_t number, std::size_t width)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (; number != 0 || text.size() < width; number >>= 4U)
    {
        text.insert(text.begin(), digits[number & 0xfU]);
    }
    return text;
}

} // namespace

std::size_t FirstCharacter(std::string_view text, char32_t& point)
{
    if (text.empty())
    {
        return 0;
    }
    const char32_t lead = byteOf(text[0]);
    if (lead < 0x80)
    {
        point = lead;
        return 1;
    }
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length)
    {
        return 0;
    }
    char32_t value = lead & (0x7fU >> length);
    for (std::size_t index = 1; index < length; ++index)
    {
        const char32_t next = byteOf(text[index]);
        if ((next & 0xc0U) != 0x80)
        {
            return 0;
        }
        value = (value << 6U) | (next & 0x3fU);
    }
    const bool surrogate = value >= 0xd800 && value <= 0xdfff;
    if (value < smallestOfLength.at(length) || surrogate || value > 0x10ffff)
    {
        return 0;
    }
    point = value;
    return length;
}

bool IsUtf8(std::string_view text)
{
    char32_t point = 0;
    while (!text.empty())
    {
        const std::size_t length = FirstCharacter(text, point);
        if (length == 0)
        {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string LowerAscii(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char each)
                   { return each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each; });
    return text;
}

std::string Base64(std::string_view bytes)
{
    std::string result;
    result.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t start = 0; start < bytes.size(); start += 3)
    {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
        char32_t group = 0;
        for (std::size_t index = 0; index < 3; ++index)
        {
            group = (group << 8U) | (index < count ? byteOf(bytes[start + index]) : 0);
        }
        for (std::size_t index = 0; index < 4; ++index)
        {
            result += index <= count ? base64Alphabet[(group >> (18 - 6 * index)) & 0x3fU] : '=';
        }
    }
    return result;
}

std::optional<std::string> FromBase64(std::string_view text)
{
    static constexpr std::array<unsigned char, 256> values = base64Values();
    if (text.size() % 4 != 0)
    {
        return std::nullopt;
    }
    std::size_t padding = 0;
    for (; padding < 2 && !text.empty() && text.back() == '='; ++padding)
    {
        text.remove_suffix(1);
    }
    std::string result;
    result.reserve(text.size() / 4 * 3 + 2);
    char32_t bits = 0;
    unsigned int count = 0;
    for (const char each : text)
    {
        const char32_t value = values[static_cast<unsigned char>(each)];
        if (value == 64)
        {
            return std::nullopt;
        }
        bits = (bits << 6U) | value;
        count += 6;
        if (count >= 8)
        {
            count -= 8;
            result += static_cast<char>((bits >> count) & 0xffU);
        }
    }
    const bool stray = (bits & ((1U << count) - 1U)) != 0;
    return stray ? std::nullopt : std::optional<std::string>(result);
}

std::string EscapedCharacter(char32_t point)
{
    return "\\u{" + inHexadecimal(point, 1) + '}';
}

std::string EscapedByte(char byte)
{
    return "\\x" + inHexadecimal(byteOf(byte), 2);
}

std::string Printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty())
    {
        char32_t point = 0;
        std::size_t length = FirstCharacter(text, point);
        if (length == 0)
        {
            result += EscapedByte(text[0]);
            length = 1;
        }
        else if (isControl(point) || isDirection(point))
        {
            result += length == 1 ? EscapedByte(text[0]) : EscapedCharacter(point);
        }
        else
        {
            result.append(text, 0, length);
        }
        text.remove_prefix(length);
    }
    return result;
}

std::string OneLine(std::string_view text)
{
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char each) { return each == '\n' || each == '\r' || each == '\t'; },
        ' ');
    return Printable(line);
}

std::string LegibleTime(const std::string& generalizedTime)
{
    const std::string& time = generalizedTime;
    const auto isDigit = [](char each) { return each >= '0' && each <= '9'; };
    if (time.size() != 15 || time.back() != 'Z' || !std::all_of(time.begin(), time.end() - 1, isDigit))
    {
        return time;
    }
    return time.substr(0, 4) + '-' + time.substr(4, 2) + '-' + time.substr(6, 2) + ' ' + time.substr(8, 2) +
           ':' + time.substr(10, 2) + ':' + time.substr(12, 2) + " UTC";
}

} // namespace KVR::Cli
