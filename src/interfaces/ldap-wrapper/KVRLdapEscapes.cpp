#include "KVRLdapEscapes.h"

#include <cctype>

namespace KVR
{

namespace
{

int hexadecimalDigit(char character)
{
    const bool isDigit = std::isxdigit(static_cast<unsigned char>(character)) != 0;
    return isDigit ? std::stoi(std::string(1, character), nullptr, 16) : -1;
}

} // namespace

bool isEscaped(const std::string& dn, std::size_t position)
{
    std::size_t backslashes = 0;
    while (backslashes < position && dn[position - backslashes - 1] == '\\')
    {
        ++backslashes;
    }
    return backslashes % 2 == 1;
}

std::string plainValue(const std::string& escaped)
{
    std::string plain;
    for (std::size_t i = 0; i < escaped.size(); ++i)
    {
        if (escaped[i] != '\\' || i + 1 == escaped.size())
        {
            plain += escaped[i];
            continue;
        }
        const int high = hexadecimalDigit(escaped[i + 1]);
        const int low = i + 2 < escaped.size() ? hexadecimalDigit(escaped[i + 2]) : -1;
        const bool isPair = high >= 0 && low >= 0;
        plain += isPair ? static_cast<char>(high * 16 + low) : escaped[i + 1];
        i += isPair ? 2 : 1;
    }
    return plain;
}

std::string filterValue(const std::string& plain)
{
    std::string escaped;
    for (const char character : plain)
    {
        switch (character)
        {
        case '*':
            escaped += "\\2a";
            break;
        case '(':
            escaped += "\\28";
            break;
        case ')':
            escaped += "\\29";
            break;
        case '\\':
            escaped += "\\5c";
            break;
        case '\0':
            escaped += "\\00";
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

} // namespace KVR
