#pragma once

#include <kvr/EKVRError.h>

#include <ostream>
#include <regex>
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

inline std::ostream& operator<<(std::ostream& stream, const Caught& error)
{
    return stream << error.type.name() << " \"" << error.message << "\" details \"" << error.details
                  << "\" at \"" << error.place << '"';
}

/** The text with every source line number, which has to be above 0, replaced by LINE. */
inline std::string withoutLines(const std::string& text)
{
    static const std::regex lineNumber("(\\.cpp):[1-9][0-9]*\\(");
    return std::regex_replace(text, lineNumber, "$1:LINE(");
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
