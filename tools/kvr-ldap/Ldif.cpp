#include "Ldif.h"

#include "Text.h"

#include <algorithm>

namespace KVR::Cli::Ldif
{

namespace
{

bool isPlain(const std::string& value)
{
    if (value.empty())
    {
        return true;
    }
    const char first = value.front();
    if (first == ' ' || first == ':' || first == '<' || value.back() == ' ')
    {
        return false;
    }
    return std::all_of(value.begin(), value.end(), [](char each) { return each >= 0x20 && each < 0x7f; });
}

} // namespace

std::string Line(const std::string& name, const std::string& value)
{
    if (isPlain(value))
    {
        return name + (value.empty() ? ":" : ": ") + value + '\n';
    }
    return name + ":: " + Base64(value) + '\n';
}

std::string Comment(const std::string& text)
{
    return "# " + OneLine(text) + '\n';
}

bool IsAttributeName(const std::string& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(),
                                        [](char each)
                                        {
                                            return (each >= 'a' && each <= 'z') ||
                                                   (each >= 'A' && each <= 'Z') ||
                                                   (each >= '0' && each <= '9') || each == '-' ||
                                                   each == '.' || each == ';' || each == '_';
                                        });
}

} // namespace KVR::Cli::Ldif
