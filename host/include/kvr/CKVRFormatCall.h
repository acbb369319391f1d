#pragma once

#include <kvr/KVRExport.h>

#include <cstddef>
#include <forward_list>
#include <string>
#include <type_traits>

namespace KVR
{

/**
 * printf-style formatter bound to a call site.
 *
 * The format usually comes from a message catalogue, so it may differ from what the programmer
 * wrote. Each argument is therefore captured with its own type: a conversion that does not fit is
 * printed by the argument's type, "%2$s" and "%%" work, and a conversion without an argument stands
 * in the result as it is written. No argument is ever read that is not there, and "%n" never
 * writes.
 *
 * Every text stays valid until the formatter is destroyed. One thread at a time.
 */
class KVR_API CKVRFormatCall
{
public:
    /** @param file,function,line the call site, all kept by reference: pass literals */
    CKVRFormatCall(const char* file, const char* function, unsigned long line);
    ~CKVRFormatCall();

    CKVRFormatCall(const CKVRFormatCall&) = delete;
    CKVRFormatCall& operator=(const CKVRFormatCall&) = delete;

    /**
     * @param count number of arguments behind the format; more than are given count as given
     * @param format printf(3) format with the conversions d i u o x X c s p e E f F g G a A; length
     *        modifiers are passed over, width and precision go up to 65535
     * @return the text, owned by the formatter
     */
    template <typename... Arguments>
    const char* operator()(unsigned long count, const char* format, const Arguments&... arguments)
    {
        const Argument list[sizeof...(Arguments) + 1] = {Argument(arguments)..., Argument()};
        return Format(format, list, count < sizeof...(Arguments) ? count : sizeof...(Arguments));
    }

private:
    /** One argument with the type it was given. */
    struct Argument
    {
        enum class Kind
        {
            None,
            Signed,
            Unsigned,
            Real,
            Text,
            Pointer
        };

        Argument() = default;
        // implicit, for a list of arguments converts itself
        Argument(const char* value) : kind(Kind::Text), text(value) {}
        Argument(const void* value) : kind(Kind::Pointer), pointer(value) {}
        Argument(double value) : kind(Kind::Real), real(value) {}
        template <typename Integer,
                  std::enable_if_t<std::is_integral_v<Integer> || std::is_enum_v<Integer>, int> = 0>
        Argument(Integer value)
            : kind(isSigned<Integer>() ? Kind::Signed : Kind::Unsigned),
              integer(static_cast<long long>(value))
        {
        }

        template <typename Integer>
        static constexpr bool isSigned()
        {
            if constexpr (std::is_enum_v<Integer>)
            {
                return std::is_signed_v<std::underlying_type_t<Integer>>;
            }
            else
            {
                return std::is_signed_v<Integer>;
            }
        }

        Kind kind = Kind::None;
        const char* text = nullptr;
        const void* pointer = nullptr;
        double real = 0;
        long long integer = 0;
    };

    class Composer;

    void ReportMisfit(const char* format) const;
    const char* Format(const char* format, const Argument* arguments, std::size_t count);

    const char* file_;
    const char* function_;
    unsigned long line_;
    std::forward_list<std::string> texts_;
};

} // namespace KVR
