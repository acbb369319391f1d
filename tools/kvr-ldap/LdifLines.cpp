#include "LdifLines.h"

#include "Text.h"

#include <optional>

namespace KVR::Cli::Ldif
{

namespace
{

std::string_view withoutLeadingBlanks(std::string_view text)
{
    const std::size_t start = text.find_first_not_of(' ');
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

void requireText(const SourceLine& line)
{
    if (line.text.find('\0') != std::string::npos)
    {
        throw FormatError(line.number, "there is a zero byte; such a value must be in base64");
    }
    if (line.text.find('\r') != std::string::npos)
    {
        throw FormatError(line.number, "there is a carriage return inside the line");
    }
    if (!IsUtf8(line.text))
    {
        throw FormatError(line.number, "the text is no UTF-8; such a value must be in base64");
    }
}

std::string decode(const SourceLine& line, std::string_view value)
{
    std::optional<std::string> bytes = FromBase64(value);
    if (!bytes)
    {
        throw FormatError(line.number, "the value is no base64");
    }
    return *bytes;
}

std::string plainValue(const SourceLine& line, std::string_view value)
{
    if (!value.empty() && (value.front() == ':' || value.front() == '<'))
    {
        throw FormatError(line.number,
                          std::string("a value that begins with '") + value.front() + "' must be in base64");
    }
    return std::string(value);
}

} // namespace

LineReader::LineReader(std::istream& input) : input_(input)
{
    Advance();
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    if (next_.compare(0, byteOrderMark.size(), byteOrderMark) == 0)
    {
        next_.erase(0, byteOrderMark.size());
    }
}

void LineReader::Advance()
{
    hasNext_ = static_cast<bool>(std::getline(input_, next_));
    if (!hasNext_)
    {
        next_.clear();
        return;
    }
    ++number_;
    if (!next_.empty() && next_.back() == '\r')
    {
        next_.pop_back();
    }
}

bool LineReader::Next(SourceLine& line)
{
    while (hasNext_)
    {
        line.number = number_;
        line.text.swap(next_);
        Advance();
        if (line.text.empty())
        {
            return true;
        }
        if (line.text.front() == ' ')
        {
            throw FormatError(line.number, "the line begins with a blank, but there is none to go on with");
        }
        for (; hasNext_ && !next_.empty() && next_.front() == ' '; Advance())
        {
            line.text.append(next_, 1);
        }
        if (line.text.front() != '#')
        {
            requireText(line);
            return true;
        }
    }
    return false;
}

Item ParseItem(const SourceLine& line)
{
    const std::size_t colon = line.text.find(':');
    if (colon == std::string::npos)
    {
        throw FormatError(line.number, Quoted(line.text) + " is no 'name: value'");
    }
    Item item;
    item.line = line.number;
    item.name = line.text.substr(0, colon);
    const std::string_view rest = std::string_view(line.text).substr(colon + 1);
    const char kind = rest.empty() ? ' ' : rest.front();
    if (kind == ':')
    {
        item.value = decode(line, withoutLeadingBlanks(rest.substr(1)));
    }
    else if (kind == '<')
    {
        item.value = withoutLeadingBlanks(rest.substr(1));
        item.isUrl = true;
    }
    else
    {
        item.value = plainValue(line, withoutLeadingBlanks(rest));
    }
    return item;
}

std::string Quoted(std::string_view text)
{
    constexpr std::size_t longest = 60;
    std::size_t end = 0;
    char32_t point = 0;
    while (end < text.size() && end < longest)
    {
        const std::size_t length = FirstCharacter(text.substr(end), point);
        end += length > 0 ? length : 1;
    }
    return "'" + Printable(text.substr(0, end)) + (end < text.size() ? "..." : "") + "'";
}

} // namespace KVR::Cli::Ldif
