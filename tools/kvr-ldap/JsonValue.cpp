#include "JsonValue.h"

#include "Text.h"

#include <string_view>

namespace KVR::Cli
{

Document JsonValue(const std::string& value)
{
    return IsUtf8(value) ? Document(value) : Document{{"base64", Base64(value)}};
}

std::string JsonText(const Document& document)
{
    const std::string text = document.dump();
    std::string result;
    result.reserve(text.size());
    // The library escapes what RFC 8259 asks for. What remains stands inside texts only.
    for (std::string_view rest = text; !rest.empty();)
    {
        char32_t point = 0;
        const std::size_t length = FirstCharacter(rest, point);
        if (point >= 0x7f && point < 0xa0)
        {
            constexpr std::string_view digits = "0123456789abcdef";
            result += "\\u00";
            result += digits[point >> 4U];
            result += digits[point & 0xfU];
        }
        else
        {
            result.append(rest, 0, length);
        }
        rest.remove_prefix(length);
    }
    return result;
}

} // namespace KVR::Cli
