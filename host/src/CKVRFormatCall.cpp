#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <utility>

namespace KVR
{

namespace
{

/** Wide enough for any table, and a translation that asks for more costs no memory. */
constexpr std::size_t maximalPadding = 65535;

bool isOneOf(char character, const char* set)
{
    return character != '\0' && std::strchr(set, character) != nullptr;
}

bool isMember(const std::string& text, std::initializer_list<const char*> members)
{
    return std::find(members.begin(), members.end(), text) != members.end();
}

/** A name for what a conversion reads, equal for those that read alike; "" for a refused one. */
std::string typeOf(const std::string& length, char conversion)
{
    if (isOneOf(conversion, "diouxX"))
    {
        const bool isInt = isMember(length, {"", "h", "hh"});
        return isInt ? "int" : isMember(length, {"l", "ll", "j", "z", "t"}) ? length : "";
    }
    if (isOneOf(conversion, "eEfFgGaA"))
    {
        return isMember(length, {"", "l"}) ? "double" : length == "L" ? "long double" : "";
    }
    const bool isPlain = length.empty() && isOneOf(conversion, "csp");
    return !isPlain ? "" : conversion == 'c' ? "int" : conversion == 's' ? "text" : "pointer";
}

/**
 * A printf(3) format in which every conversion is numbered and every argument up to the last one has
 * one type, so that vsnprintf reads what is there. A refused conversion is plain text in it.
 */
class SafeFormat
{
public:
    /** @param count number of arguments */
    SafeFormat(const char* format, std::size_t count)
        : position_(format), count_(std::min<std::size_t>(count, NL_ARGMAX))
    {
        while (*position_ != '\0')
        {
            const char* const start = position_;
            if (*position_ != '%')
            {
                position_ += std::strcspn(position_, "%");
                text_.append(start, position_);
            }
            else if (!convert())
            {
                hasRefused_ = true;
                text_.append("%").append(start, position_);
            }
        }
        fillGaps();
    }

    const char* Text() const { return text_.c_str(); }
    bool HasRefused() const { return hasRefused_; }

private:
    using Types = std::map<std::size_t, std::string>;

    /** Steps over the conversion at the position and appends it; false when it is refused. */
    bool convert()
    {
        ++position_;
        Types types = types_;
        const std::size_t given = readIndex();
        std::string conversion = readAll("-+ #0'I");
        bool fits = readNumber(types, conversion);
        if (*position_ == '.')
        {
            conversion += *position_++;
            fits &= readNumber(types, conversion);
        }
        const std::string length = readAll("hlLqjzt");
        if (*position_ == '\0')
        {
            return false;
        }
        const char type = *position_++;
        if (type == '%')
        {
            text_ += "%%";
            return true;
        }
        const bool takesArgument = isOneOf(type, "diouxXeEfFgGaAcspnSC");
        const std::size_t index = takesArgument ? claim(types, given, typeOf(length, type)) : 0;
        if (!fits || index == 0)
        {
            return false;
        }
        types_.swap(types);
        text_ += '%' + std::to_string(index) + '$' + conversion + length + type;
        return true;
    }

    std::string readAll(const char* set)
    {
        const char* const start = position_;
        position_ += std::strspn(position_, set);
        return {start, position_};
    }

    std::size_t readDigits()
    {
        constexpr std::size_t limit = std::numeric_limits<int>::max();
        std::size_t number = 0;
        for (const char digit : readAll("0123456789"))
        {
            number = std::min(number * 10 + static_cast<std::size_t>(digit - '0'), limit);
        }
        return number;
    }

    /** The N of "N$", no argument's one for "0$", and 0 where the next argument is meant. */
    std::size_t readIndex()
    {
        const char* const start = position_;
        const std::size_t index = readDigits();
        if (position_ == start || *position_ != '$')
        {
            position_ = start;
            return 0;
        }
        ++position_;
        return index != 0 ? index : std::numeric_limits<std::size_t>::max();
    }

    /** Steps over digits, "*", "*N$" or nothing and appends it; false when the argument is missing. */
    bool readNumber(Types& types, std::string& conversion)
    {
        if (*position_ != '*')
        {
            const bool isGiven = isOneOf(*position_, "0123456789");
            const std::size_t number = std::min(readDigits(), maximalPadding);
            conversion += isGiven ? std::to_string(number) : "";
            return true;
        }
        ++position_;
        const std::size_t index = claim(types, readIndex(), "int");
        conversion += '*' + std::to_string(index) + '$';
        return index != 0;
    }

    /** The index of the argument, which has this type from now on; 0 when it can't. */
    std::size_t claim(Types& types, std::size_t given, const std::string& type)
    {
        const std::size_t index = given != 0 ? given : ++next_;
        const bool fits =
            index <= count_ && !type.empty() && types.emplace(index, type).first->second == type;
        return fits ? index : 0;
    }

    /**
     * A translation may leave an argument out. The C library must still know its type; an integer or a
     * pointer is read as a text of which no character is.
     */
    void fillGaps()
    {
        const std::size_t last = types_.empty() ? 0 : types_.rbegin()->first;
        for (std::size_t index = 1; index < last; ++index)
        {
            text_ += types_.count(index) == 0 ? '%' + std::to_string(index) + "$.0s" : "";
        }
    }

    const char* position_;
    const std::size_t count_;
    std::size_t next_ = 0;
    Types types_;
    std::string text_;
    bool hasRefused_ = false;
};

/** The text is handed out as a C string, which a zero character would end. */
std::string withoutZeros(const char* text, std::size_t length)
{
    std::string result(text, length);
    if (std::strlen(text) != length)
    {
        result.erase(std::remove(result.begin(), result.end(), '\0'), result.end());
    }
    return result;
}

struct Free
{
    void operator()(char* text) const { std::free(text); }
};

} // namespace

CKVRFormatCall::CKVRFormatCall(const char* file, const char* function, unsigned long line)
    : file_(file), function_(function), line_(line)
{
}

CKVRFormatCall::~CKVRFormatCall() = default;

const char* CKVRFormatCall::operator()(unsigned long count, const char* format, ...)
{
    const SafeFormat safe(format != nullptr ? format : "", count);
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, safe.Text(), arguments);
    va_end(arguments);
    const std::unique_ptr<char, Free> owner(length >= 0 ? text : nullptr);
    texts_.push_front(owner ? withoutZeros(owner.get(), static_cast<std::size_t>(length)) : format);
    if (safe.HasRefused() || !owner)
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
