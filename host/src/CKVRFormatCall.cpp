#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

/** Wide enough for any table, and a translation that asks for more costs no memory. */
constexpr int maximalPadding = 65535;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isOneOf(char character, const char* set)
{
    return character != '\0' && std::strchr(set, character) != nullptr;
}

template <typename... Arguments>
std::string print(const std::string& conversion, Arguments... arguments)
{
    const int length = std::snprintf(nullptr, 0, conversion.c_str(), arguments...);
    if (length <= 0)
    {
        return {};
    }
    std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
    static_cast<void>(std::snprintf(buffer.data(), buffer.size(), conversion.c_str(), arguments...));
    return {buffer.data(), static_cast<std::size_t>(length)};
}

} // namespace

/** Walks through one format and appends the result. */
class CKVRFormatCall::Composer
{
public:
    Composer(const char* format, const Argument* arguments, std::size_t count)
        : position_(format), arguments_(arguments), count_(count)
    {
    }

    std::string Compose()
    {
        while (*position_ != '\0')
        {
            if (*position_ != '%')
            {
                const char* const end = position_ + std::strcspn(position_, "%");
                text_.append(position_, end);
                position_ = end;
                continue;
            }
            const char* const start = position_;
            if (!Convert())
            {
                fits_ = false;
                text_.append(start, position_);
            }
        }
        return std::move(text_);
    }

    /** True when every conversion had an argument of its type. */
    bool Fits() const { return fits_; }

private:
    struct Conversion
    {
        std::string flags;
        int width = 0;
        int precision = -1;
        char type = '\0';
    };

    /** Handles the conversion at the position and steps behind it; false: it stays as it is. */
    bool Convert()
    {
        ++position_;
        Conversion conversion;
        bool complete = true;
        const std::size_t explicitIndex = ReadIndex();
        while (isOneOf(*position_, "-+ #0'I"))
        {
            conversion.flags += *position_++;
        }
        complete &= ReadNumber(conversion.width);
        if (conversion.width < 0)
        {
            conversion.flags += '-';
            conversion.width = -std::max(conversion.width, -std::numeric_limits<int>::max());
        }
        if (*position_ == '.')
        {
            ++position_;
            conversion.precision = 0;
            complete &= ReadNumber(conversion.precision);
        }
        while (isOneOf(*position_, "hlLqjzt"))
        {
            ++position_;
        }
        if (*position_ == '\0')
        {
            return false;
        }
        conversion.type = *position_++;
        if (conversion.type == '%')
        {
            text_ += '%';
            return true;
        }
        if (!isOneOf(conversion.type, "diouxXcspeEfFgGaA"))
        {
            return false;
        }
        const Argument* const argument = Take(explicitIndex);
        if (argument == nullptr || !complete)
        {
            return false;
        }
        Append(conversion, *argument);
        return true;
    }

    /** The 1-based N of a leading "N$", 0 without one. */
    std::size_t ReadIndex()
    {
        const char* const start = position_;
        const int index = ReadDigits();
        if (position_ != start && *position_ == '$')
        {
            ++position_;
            // "%0$s" names no argument, as an index beyond the last one does
            return index > 0 ? static_cast<std::size_t>(index) : noArgument;
        }
        position_ = start;
        return 0;
    }

    /** Reads digits, "*" or "*N$"; false when the argument is missing. */
    bool ReadNumber(int& number)
    {
        if (*position_ != '*')
        {
            number = ReadDigits();
            return true;
        }
        ++position_;
        const Argument* const argument = Take(ReadIndex());
        if (argument == nullptr)
        {
            return false;
        }
        if (argument->kind == Argument::Kind::Signed || argument->kind == Argument::Kind::Unsigned)
        {
            constexpr long long limit = std::numeric_limits<int>::max();
            number = static_cast<int>(std::clamp(argument->integer, -limit, limit));
        }
        else
        {
            fits_ = false;
        }
        return true;
    }

    int ReadDigits()
    {
        constexpr int limit = std::numeric_limits<int>::max();
        int number = 0;
        for (; isDigit(*position_); ++position_)
        {
            const int digit = *position_ - '0';
            number = number > (limit - digit) / 10 ? limit : number * 10 + digit;
        }
        return number;
    }

    const Argument* Take(std::size_t explicitIndex)
    {
        const std::size_t index = explicitIndex != 0 ? explicitIndex - 1 : next_++;
        return index < count_ ? arguments_ + index : nullptr;
    }

    void Append(const Conversion& conversion, const Argument& argument)
    {
        switch (argument.kind)
        {
        case Argument::Kind::Text:
            fits_ = fits_ && conversion.type == 's';
            AppendText(conversion, argument.text != nullptr ? argument.text : "(null)");
            break;
        case Argument::Kind::Signed:
        case Argument::Kind::Unsigned:
            AppendInteger(conversion, argument);
            break;
        case Argument::Kind::Real:
            AppendReal(conversion, argument.real);
            break;
        case Argument::Kind::Pointer:
            fits_ = fits_ && conversion.type == 'p';
            AppendText({KeepLeft(conversion), conversion.width, -1, 's'},
                       print("%p", argument.pointer).c_str());
            break;
        case Argument::Kind::None:
            break;
        }
    }

    void AppendText(const Conversion& conversion, const char* value)
    {
        const std::size_t length = conversion.precision < 0
                                       ? std::strlen(value)
                                       : strnlen(value, static_cast<std::size_t>(conversion.precision));
        const auto width = static_cast<std::size_t>(std::min(conversion.width, maximalPadding));
        const std::size_t padding = width > length ? width - length : 0;
        const bool left = !KeepLeft(conversion).empty();
        text_.append(left ? 0 : padding, ' ');
        text_.append(value, length);
        text_.append(left ? padding : 0, ' ');
    }

    void AppendInteger(const Conversion& conversion, const Argument& argument)
    {
        const bool isSigned = argument.kind == Argument::Kind::Signed;
        const bool negative = isSigned && argument.integer < 0;
        if (conversion.type == 'c' && argument.integer >= -128 && argument.integer < 256 &&
            argument.integer != 0)
        {
            const char character[] = {static_cast<char>(argument.integer), '\0'};
            AppendText({conversion.flags, conversion.width, -1, 's'}, character);
        }
        else if (isOneOf(conversion.type, "ouxX") && !negative)
        {
            text_ += print(Pattern(conversion, "ll", conversion.type),
                           static_cast<unsigned long long>(argument.integer));
        }
        else
        {
            fits_ = fits_ && isOneOf(conversion.type, "diouxX");
            // a precision behind %s or %f means something else
            const bool cut = !isOneOf(conversion.type, "diouxX");
            const Conversion number = {conversion.flags, conversion.width, cut ? -1 : conversion.precision,
                                       'd'};
            text_ += isSigned ? print(Pattern(number, "ll", 'd'), argument.integer)
                              : print(Pattern(number, "ll", 'u'),
                                      static_cast<unsigned long long>(argument.integer));
        }
    }

    void AppendReal(const Conversion& conversion, double value)
    {
        const bool real = isOneOf(conversion.type, "eEfFgGaA");
        fits_ = fits_ && real;
        text_ += print(Pattern({conversion.flags, conversion.width, real ? conversion.precision : -1, 'g'},
                               "", real ? conversion.type : 'g'),
                       value);
    }

    static std::string KeepLeft(const Conversion& conversion)
    {
        return conversion.flags.find('-') != std::string::npos ? "-" : "";
    }

    static std::string Pattern(const Conversion& conversion, const char* length, char type)
    {
        std::string pattern = "%";
        for (const char flag : conversion.flags)
        {
            // each one means something to some conversions only
            const bool fits = flag == '#'    ? !isOneOf(type, "diu")
                              : flag == '\'' ? !isOneOf(type, "oxX")
                                             : flag != 'I';
            pattern += fits ? std::string(1, flag) : "";
        }
        if (conversion.width > 0)
        {
            pattern += std::to_string(std::min(conversion.width, maximalPadding));
        }
        if (conversion.precision >= 0)
        {
            pattern += '.' + std::to_string(std::min(conversion.precision, maximalPadding));
        }
        return pattern + length + type;
    }

    static constexpr std::size_t noArgument = std::numeric_limits<std::size_t>::max();

    const char* position_;
    const Argument* arguments_;
    std::size_t count_;
    std::size_t next_ = 0;
    std::string text_;
    bool fits_ = true;
};

CKVRFormatCall::CKVRFormatCall(const char* file, const char* function, unsigned long line)
    : file_(file), function_(function), line_(line)
{
}

CKVRFormatCall::~CKVRFormatCall() = default;

const char* CKVRFormatCall::Format(const char* format, const Argument* arguments, std::size_t count)
{
    Composer composer(format != nullptr ? format : "", arguments, count);
    texts_.push_front(composer.Compose());
    if (!composer.Fits())
    {
        ReportMisfit(format);
    }
    return texts_.front().c_str();
}

/** Throws nothing: whoever formats a text for an error needs that error. */
void CKVRFormatCall::ReportMisfit(const char* format) const
try
{
    const std::string place = std::string(file_ != nullptr ? file_ : "") + ':' + std::to_string(line_) + '(' +
                              (function_ != nullptr ? function_ : "") + ')';
    CKVRLogProvider::GetLogProvider().Put(kvrLOG_NOTICE, 3, place.c_str(),
                                          ": arguments don't fit the format: ", format);
}
catch (...)
{
    // The text itself is made, and that is what counts.
}

} // namespace KVR
