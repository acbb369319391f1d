#pragma once

#include "OverridingConnection.h"
#include "RequestText.h"
#include "SearchTest.h"
#include "WriteTest.h"

#include <regex>

namespace KVR
{

using Texts = std::list<std::string>;
using TextMap = std::map<std::string, std::string>;

inline constexpr char mainDatabase[] = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
inline constexpr char setAttrValuePlace[] = "KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)";

inline Caught emptyArgument(const std::string& operation)
{
    return checkError("Argument is empty for '" + operation + "'.");
}

/** What a search without a query object leads to. */
inline Caught noQuery()
{
    return plainError("Insufficient access. The user should have administrator privilege.");
}

/** What more entries than one lead to. */
inline Caught unexpected(const std::string& number, const std::string& file, const std::string& function)
{
    return internalError("Unexpected error " + number + " in " + file + ":LINE - " + function + "()",
                         file + ":LINE(" + function + ")");
}

/** As `caught`, with the source line of an "Unexpected error" as LINE. */
template <typename Call>
Caught caughtUnexpected(Call&& call)
{
    static const std::regex line("\\.cpp:[1-9][0-9]* - ");
    Caught error = caught(call);
    error.message = std::regex_replace(error.message, line, ".cpp:LINE - ");
    return error;
}

inline std::string first(const std::vector<std::string>& texts)
{
    return texts.empty() ? "nothing" : texts.front();
}

inline std::string last(const std::vector<std::string>& texts)
{
    return texts.empty() ? "nothing" : texts.back();
}

/** The texts behind the first ones, of which there have to be enough. */
inline std::vector<std::string> without(std::ptrdiff_t number, const std::vector<std::string>& texts)
{
    if (static_cast<std::ptrdiff_t>(texts.size()) < number)
    {
        ADD_FAILURE() << texts.size() << " texts only";
        return {};
    }
    return {texts.begin() + number, texts.end()};
}

/** A connected connection, and operations on the server's configuration. */
class ConfigTest : public WriteTest
{
protected:
    /** The requests so far, as `described` tells them. */
    std::vector<std::string> sent() const
    {
        std::vector<std::string> texts;
        for (const LdapRequest& request : responder.requests())
        {
            texts.push_back(described(request));
        }
        return texts;
    }

    /** The entry of the main database with one attribute. */
    static Answer database(const std::string& name, const std::vector<std::string>& values)
    {
        return Answer().entry(mainDatabase, {{name, values}});
    }

    /** What a refused SetAttrValue throws. */
    static Caught refusedChange(const std::string& attribute, const std::string& dn, const std::string& value,
                                int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on modifying attribute '" + attribute + "' of dn '" + dn +
                               "' to value '" + value + "' - " + ldap_err2string(code),
                           setAttrValuePlace, details);
    }

    /** Connects it as well and forgets what it has called for that. */
    void connectOverriding()
    {
        connect(overriding);
        overriding.calls.clear();
    }

    OverridingConnection overriding{host};
};

} // namespace KVR
