#include "Arguments.h"

#include "Failure.h"
#include "Ldif.h"
#include "LdifReader.h"

#include <kvr/KVRUtils.h>

namespace KVR::Cli
{

namespace
{

/** A control character, which no option, command or number begins with. */
constexpr char protection = '\x01';

bool isMisread(const std::string& argument)
{
    return argument == "++" || (!argument.empty() && (argument[0] == '[' || argument[0] == protection));
}

bool beginsName(char first)
{
    return (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z') || (first >= '0' && first <= '9');
}

} // namespace

std::vector<std::string> ProtectArguments(int count, const char* const* arguments)
{
    std::vector<std::string> result;
    bool behindMark = false;
    for (int index = 1; index < count; ++index)
    {
        const std::string argument = arguments[index];
        if (!behindMark && argument == "--")
        {
            behindMark = true;
            continue;
        }
        result.push_back(behindMark || isMisread(argument) ? protection + argument : argument);
    }
    return result;
}

bool IsProtected(const std::string& argument)
{
    return !argument.empty() && argument[0] == protection;
}

std::string Unprotected(const std::string& argument)
{
    return IsProtected(argument) ? argument.substr(1) : argument;
}

std::string Utf8Argument(const Charset& charset, const std::string& argument)
{
    std::optional<std::string> text = charset.ToUtf8(argument);
    if (!text)
    {
        throw Failure(ExitCode::Usage, "arguments",
                      "'" + argument + "' is no text in the character set " + charset.Name());
    }
    return *text;
}

std::string DnArgument(const Charset& charset, const std::string& command, const std::string& argument)
{
    std::string dn = Utf8Argument(charset, argument);
    if (Trim(dn).empty())
    {
        throw Failure(ExitCode::Usage, command, "the DN is empty");
    }
    return dn;
}

Dn RdnsOf(const std::string& command, const std::string& dn)
{
    std::optional<Dn> rdns = ParseDn(dn);
    if (!rdns || rdns->empty())
    {
        throw Failure(ExitCode::Usage, command, "'" + dn + "' is no DN");
    }
    return *rdns;
}

std::string AttributeArgument(const Charset& charset, const std::string& command, const std::string& argument)
{
    std::string name = Utf8Argument(charset, argument);
    if (name.empty())
    {
        throw Failure(ExitCode::Usage, command, "the name of an attribute is empty");
    }
    // A sign in front would be read as the mode of a change.
    if (!Ldif::IsAttributeName(name) || !beginsName(name[0]))
    {
        throw Failure(ExitCode::Usage, command, "'" + name + "' is no name of an attribute",
                      "it begins with a letter or a digit, followed by these and \"-\", \".\", \";\", \"_\"");
    }
    return name;
}

std::pair<std::string, std::string> AssignmentArgument(const Charset& charset, const std::string& command,
                                                       const std::string& argument)
{
    const std::string text = Utf8Argument(charset, argument);
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos)
    {
        throw Failure(ExitCode::Usage, command, "'" + text + "' is not NAME=VALUE");
    }
    // Converted already, and UTF-8 is what the inner one takes it for.
    return {AttributeArgument(Charset("UTF-8"), command, text.substr(0, sign)), text.substr(sign + 1)};
}

bool IsSameAttribute(const std::string& one, const std::string& other)
{
    return Ldif::FoldedName(one) == Ldif::FoldedName(other);
}

} // namespace KVR::Cli
