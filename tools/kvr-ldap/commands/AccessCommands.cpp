#include "../Change.h"
#include "../Commands.h"
#include "../Configuration.h"

#include <IKVRLdapConnection.h>
#include <kvr/KVRUtils.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <optional>

namespace KVR::Cli
{

namespace
{

struct AccessArguments
{
    std::string rule;
    std::optional<int> position;
};

std::string prefixOf(int position)
{
    return '{' + std::to_string(position) + '}';
}

bool beginsWithPosition(const std::string& rule)
{
    const std::size_t brace = rule.find('}');
    return rule.front() == '{' && brace != std::string::npos && brace > 1 &&
           std::all_of(rule.begin() + 1, rule.begin() + static_cast<std::ptrdiff_t>(brace),
                       [](unsigned char digit) { return std::isdigit(digit) != 0; });
}

std::list<std::string> rulesOf(const Context& context)
{
    const SilentLog silence;
    IKVRLdapConnection& connection = context.session.Connection();
    RequireMainDatabase(connection, context.command);
    std::list<std::string> rules;
    connection.EnumerateDBAccessRules(rules);
    return rules;
}

void list(Context& context)
{
    context.output.List("rules", rulesOf(context));
}

/** @param before number of rules that there were; without any the user may not see them */
void tellAdded(Context& context, const std::string& rule, std::size_t before, std::optional<int> position)
{
    // The server takes any place beyond the end for the end.
    const bool isEnd = !position || (before > 0 && static_cast<std::size_t>(*position) >= before);
    Datum place;
    if (before > 0)
    {
        place = static_cast<std::uint64_t>(isEnd ? before : static_cast<std::size_t>(*position));
    }
    context.output.Member("position", place);
    TellChange(context.output, {"added", "rule", rule, "access rule",
                                isEnd ? std::string(" at the end") : " at " + prefixOf(*position)});
}

void add(Context& context, const AccessArguments& arguments)
{
    constexpr int atTheEnd = -1;
    const std::string rule = Trim(context.Utf8(arguments.rule));
    if (rule.empty())
    {
        throw context.UsageFailure("the rule is empty", "a rule reads: to WHAT by WHO ACCESS ...");
    }
    if (beginsWithPosition(rule))
    {
        throw context.UsageFailure("the rule begins with a position", "--at N says where it is inserted");
    }
    const std::size_t before = rulesOf(context).size();
    context.session.Connection().AddDBAccessRule(arguments.position.value_or(atTheEnd), rule);
    tellAdded(context, rule, before, arguments.position);
}

void remove(Context& context, const AccessArguments& arguments)
{
    const int position = *arguments.position;
    const std::list<std::string> rules = rulesOf(context);
    const std::string prefix = prefixOf(position);
    const auto rule = std::find_if(rules.begin(), rules.end(),
                                   [&prefix](const std::string& each)
                                   { return each.compare(0, prefix.size(), prefix) == 0; });
    context.output.Member("position", static_cast<std::uint64_t>(position));
    if (rule == rules.end())
    {
        TellChange(context.output, {"unchanged", "rule", prefix, "access rule",
                                    ", the server shows " + Counted(rules.size(), "rule", "rules")});
        return;
    }
    context.session.Connection().DeleteDBAccessRule(position);
    TellChange(context.output, {"removed", "rule", *rule, "access rule"});
}

void addAdd(CommandTable& table)
{
    const auto arguments = std::make_shared<AccessArguments>();
    CLI::App& command =
        table.Add({"access add", "Insert a rule, by default as the last one",
                   "  kvr-ldap access add --at 0 'to attrs=userPassword by self write by * auth'\n"
                   "  kvr-ldap access add 'to * by users read'\n"},
                  LdifForm::None, [arguments](Context& context) { add(context, *arguments); });
    command.add_option("--at", arguments->position, "its place, 0 is the first; beyond the end is the end")
        ->type_name("N")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
    AddArgument(command, "RULE", arguments->rule, "the rule, see slapd.access(5)").required();
}

void addDelete(CommandTable& table)
{
    const auto arguments = std::make_shared<AccessArguments>();
    CLI::App& command =
        table.Add({"access delete", "Delete a rule", "  kvr-ldap access delete 3\n"}, LdifForm::None,
                  [arguments](Context& context) { remove(context, *arguments); });
    AddArgument(command, "N", arguments->position, "its place, as in \"access list\"")
        .required()
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
}

} // namespace

void AddAccessCommands(CommandTable& table)
{
    table.AddGroup("access", "Access rules of the server's main database");
    table.Add({"access list", "List the rules in their order", "  kvr-ldap access list\n"}, LdifForm::None,
              list);
    addAdd(table);
    addDelete(table);
}

} // namespace KVR::Cli
