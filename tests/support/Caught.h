#pragma once

#include <kvr/EKVRError.h>

#include <cstddef>
#include <exception>
#include <ostream>
#include <string>
#include <typeindex>
#include <typeinfo>

namespace KVR::Support
{

/** What a call has thrown, to be compared with what it should have thrown. */
struct Caught
{
    std::type_index type = typeid(void); /**< the exact class, void when nothing was thrown */
    std::string message;
    std::string details;
    std::string place; /**< "file:LINE(function)" where the error has one */
};

inline bool operator==(const Caught& left, const Caught& right)
{
    return left.type == right.type && left.message == right.message && left.details == right.details &&
           left.place == right.place;
}

inline bool operator!=(const Caught& left, const Caught& right)
{
    return !(left == right);
}

inline std::ostream& operator<<(std::ostream& stream, const Caught& error)
{
    return stream << error.type.name() << " \"" << error.message << "\" details \"" << error.details
                  << "\" at \"" << error.place << '"';
}

/** The text with every source line number, which has to be above 0, replaced by LINE. */
inline std::string withoutLines(std::string text)
{
    static const std::string fileEnd = ".cpp:";
    for (std::size_t at = text.find(fileEnd); at != std::string::npos; at = text.find(fileEnd, at))
    {
        at += fileEnd.size();
        const std::size_t end = text.find_first_not_of("0123456789", at);
        if (end != at && end != std::string::npos && text[end] == '(' && text[at] != '0')
        {
            text.replace(at, end - at, "LINE");
        }
    }
    return text;
}

/** Runs the call and tells what it has thrown. */
template <typename Call>
Caught caught(Call&& call)
{
    try
    {
        call();
    }
    catch (const EKVRError& error)
    {
        return {typeid(error), withoutLines(error.msg()), error.details(), withoutLines(error.where())};
    }
    catch (const std::exception& error)
    {
        return {typeid(error), error.what(), "", ""};
    }
    return {};
}

} // namespace KVR::Support
