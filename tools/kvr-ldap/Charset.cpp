#include "Charset.h"

#include "Failure.h"
#include "Text.h"

#include <kvr/KVRUtils.h>

#include <iconv.h>
#include <langinfo.h>
#include <strings.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <string_view>

namespace KVR::Cli
{

namespace
{

/** Dashes, quotation marks and the like, which similar ones can stand for without harm. */
bool isPunctuation(char32_t point)
{
    return point >= 0x2010 && point <= 0x2027;
}

/** One conversion from its beginning to its end. */
class Conversion
{
public:
    Conversion(const std::string& to, const std::string& from) : handle_(iconv_open(to.c_str(), from.c_str()))
    {
        // NOLINTNEXTLINE(performance-no-int-to-ptr,cppcoreguidelines-pro-type-cstyle-cast): iconv.h says so
        if (handle_ == (iconv_t)-1)
        {
            throw Failure(ExitCode::Unusable, "locale",
                          "the character set '" + (to == "UTF-8" ? from : to) + "' is unknown to iconv");
        }
    }

    ~Conversion() { iconv_close(handle_); }

    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    /** Converts from the front of the text and takes off what it could convert. */
    void Take(std::string_view& text, std::string& result)
    {
        std::string input(text);
        char* from = input.data();
        std::size_t left = input.size();
        while (left > 0 && Step(&from, &left, result))
        {
        }
        text.remove_prefix(text.size() - left);
    }

    /** Returns to the initial shift state. */
    void End(std::string& result) { Step(nullptr, nullptr, result); }

private:
    /** False when the input can't go on. */
    bool Step(char** from, std::size_t* left, std::string& result)
    {
        std::array<char, 1024> buffer{};
        char* to = buffer.data();
        std::size_t room = buffer.size();
        const bool stopped = iconv(handle_, from, left, &to, &room) == static_cast<std::size_t>(-1);
        const bool full = stopped && errno == E2BIG;
        result.append(buffer.data(), buffer.size() - room);
        return !stopped || full;
    }

    iconv_t handle_;
};

} // namespace

Charset::Charset(std::string name) : name_(std::move(name)), isUtf8_(strcasecmp(name_.c_str(), "UTF-8") == 0)
{
}

Charset Charset::OfEnvironment()
{
    // NOLINTBEGIN(concurrency-mt-unsafe): called once, before any thread is there
    static_cast<void>(std::setlocale(LC_ALL, "")); // an unknown locale leaves "C"
    std::string name = nl_langinfo(CODESET);
    if (name == "ANSI_X3.4-1968")
    {
        name = DefaultCodeset();
    }
    // A locale that names no character set is there everywhere; the module takes the default then.
    static_cast<void>(std::setlocale(LC_CTYPE, "C"));
    SetDefaultCodeset("UTF-8");
    // NOLINTEND(concurrency-mt-unsafe)
    return Charset(name);
}

std::optional<std::string> Charset::ToUtf8(const std::string& text) const
{
    if (isUtf8_)
    {
        return IsUtf8(text) ? std::optional<std::string>(text) : std::nullopt;
    }
    Conversion conversion("UTF-8", name_);
    std::string result;
    std::string_view rest = text;
    conversion.Take(rest, result);
    return rest.empty() ? std::optional<std::string>(result) : std::nullopt;
}

std::string Charset::FromUtf8(const std::string& text) const
{
    if (isUtf8_)
    {
        return text;
    }
    Conversion conversion(name_, "UTF-8");
    Conversion similar(name_ + "//TRANSLIT", "UTF-8");
    std::string result;
    std::string_view rest = text;
    conversion.Take(rest, result);
    while (!rest.empty())
    {
        char32_t point = 0;
        const std::size_t length = FirstCharacter(rest, point);
        if (length > 0 && isPunctuation(point))
        {
            std::string_view sign = rest.substr(0, length);
            conversion.End(result);
            similar.Take(sign, result);
        }
        else
        {
            const std::string escape = length > 0 ? EscapedCharacter(point) : EscapedByte(rest[0]);
            std::string_view replacement = escape;
            conversion.Take(replacement, result);
        }
        rest.remove_prefix(length > 0 ? length : 1);
        conversion.Take(rest, result);
    }
    conversion.End(result);
    return result;
}

} // namespace KVR::Cli
