#include "DistinguishedName.h"

#include "LdifReader.h"
#include "Text.h"

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <memory>

namespace KVR::Cli
{

namespace
{

/** Unicode's lower case, which the "C" locale of the program does not know. */
class LowerCase
{
public:
    LowerCase() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}
    ~LowerCase()
    {
        if (locale_ != nullptr)
        {
            freelocale(locale_);
        }
    }

    LowerCase(const LowerCase&) = delete;
    LowerCase& operator=(const LowerCase&) = delete;

    char32_t operator()(char32_t point) const
    {
        if (point < 0x80)
        {
            return point >= 'A' && point <= 'Z' ? point - 'A' + 'a' : point;
        }
        return locale_ == nullptr ? point
                                  : static_cast<char32_t>(towlower_l(static_cast<wint_t>(point), locale_));
    }

private:
    locale_t locale_;
};

void appendUtf8(std::string& text, char32_t point)
{
    if (point < 0x80)
    {
        text += static_cast<char>(point);
        return;
    }
    const unsigned int following = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr char32_t leads[] = {0, 0xc0, 0xe0, 0xf0};
    text += static_cast<char>(leads[following] | (point >> (6 * following)));
    for (unsigned int left = following; left > 0; --left)
    {
        text += static_cast<char>(0x80U | ((point >> (6 * (left - 1))) & 0x3fU));
    }
}

/** Lower case, without blanks at the ends and with single ones inside. */
std::string folded(std::string_view value)
{
    static const LowerCase lower;
    std::string result;
    bool blank = false;
    while (!value.empty())
    {
        char32_t point = 0;
        const std::size_t length = FirstCharacter(value, point);
        if (value.front() == ' ')
        {
            blank = !result.empty();
        }
        else
        {
            result.append(blank ? " " : "");
            blank = false;
            if (length > 0)
            {
                appendUtf8(result, lower(point));
            }
            else
            {
                result += value.front();
            }
        }
        value.remove_prefix(length > 0 ? length : 1);
    }
    return result;
}

int hexadecimal(char each)
{
    if (each >= '0' && each <= '9')
    {
        return each - '0';
    }
    if (each >= 'a' && each <= 'f')
    {
        return each - 'a' + 10;
    }
    return each >= 'A' && each <= 'F' ? each - 'A' + 10 : -1;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ')
    {
        text.remove_suffix(1);
    }
    return text;
}

/** Reads a DN from its front. */
class DnParser
{
public:
    explicit DnParser(std::string_view text) : text_(text) {}

    std::optional<Dn> Parse()
    {
        Dn dn;
        if (trimmed(text_).empty())
        {
            return dn;
        }
        do
        {
            if (!ParseRdn(dn.emplace_back()))
            {
                return std::nullopt;
            }
        } while (position_++ < text_.size());
        return dn;
    }

private:
    bool AtEnd() const { return position_ >= text_.size(); }

    /** Leaves the position at the separator behind the RDN. */
    bool ParseRdn(Rdn& rdn)
    {
        const std::size_t start = position_;
        std::vector<std::string> keys;
        for (bool more = true; more;)
        {
            if (!ParseAssertion(keys.emplace_back()))
            {
                return false;
            }
            more = !AtEnd() && text_[position_] == '+';
            position_ += more ? 1 : 0;
        }
        rdn.text = std::string(trimmed(text_.substr(start, position_ - start)));
        if (position_ - start > 1 && text_[position_ - 1] == ' ' && rdn.text.back() == '\\')
        {
            rdn.text += ' '; // it was escaped
        }
        std::sort(keys.begin(), keys.end());
        for (const std::string& key : keys)
        {
            rdn.key.append(key).append(1, '\0');
        }
        return true;
    }

    bool ParseAssertion(std::string& key)
    {
        const std::size_t sign = text_.find('=', position_);
        if (sign == std::string_view::npos)
        {
            return false;
        }
        std::string_view type = trimmed(text_.substr(position_, sign - position_));
        position_ = sign + 1;
        std::string name = Ldif::FoldedName(type);
        if (name.compare(0, 4, "oid.") == 0)
        {
            name.erase(0, 4);
        }
        if (!Ldif::IsAttributeDescription(name))
        {
            return false;
        }
        std::string value;
        if (!ParseValue(value))
        {
            return false;
        }
        key = name + '=' + folded(value);
        return true;
    }

    bool ParseValue(std::string& value)
    {
        bool quoted = false;
        for (; !AtEnd(); ++position_)
        {
            const char each = text_[position_];
            if (each == '"')
            {
                quoted = !quoted;
            }
            else if (each == '\\')
            {
                if (!ParseEscape(value))
                {
                    return false;
                }
            }
            else if (!quoted && (each == ',' || each == ';' || each == '+'))
            {
                return true;
            }
            else
            {
                value += each;
            }
        }
        return !quoted;
    }

    /** Leaves the position at the last character of the escape. */
    bool ParseEscape(std::string& value)
    {
        if (position_ + 1 >= text_.size())
        {
            return false;
        }
        const char next = text_[++position_];
        const int high = hexadecimal(next);
        if (high < 0)
        {
            value += next;
            return true;
        }
        const int low = position_ + 1 < text_.size() ? hexadecimal(text_[position_ + 1]) : -1;
        if (low < 0)
        {
            return false;
        }
        ++position_;
        value += static_cast<char>(high * 16 + low);
        return true;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

} // namespace

std::optional<Dn> ParseDn(std::string_view text)
{
    return DnParser(text).Parse();
}

} // namespace KVR::Cli
