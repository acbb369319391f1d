#include "../Change.h"
#include "../Commands.h"
#include "../Configuration.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapConnection.h>
#include <kvr/KVRUtils.h>

namespace KVR::Cli
{

namespace
{

/** A list of texts in the server's configuration. */
struct Setting
{
    std::string group; /**< of the commands, and what one text is called */
    std::string lists; /**< name of the list in JSON */
    std::string argument;
    void (IKVRLdapConnection::*enumerate)(std::list<std::string>& values);
    void (IKVRLdapConnection::*add)(const std::string& value);
    void (IKVRLdapConnection::*remove)(const std::string& value);
};

const Setting indexes{"index",
                      "indexes",
                      "SPEC",
                      &IKVRLdapConnection::EnumerateIndexes,
                      &IKVRLdapConnection::AddDBIndex,
                      &IKVRLdapConnection::DeleteDBIndex};

const Setting uniqueness{"unique",
                         "uris",
                         "URI",
                         &IKVRLdapConnection::EnumerateDBUniqueness,
                         &IKVRLdapConnection::AddDBUniqueness,
                         &IKVRLdapConnection::DeleteDBUniqueness};

std::string textOf(const Context& context, const Setting& setting, const std::string& argument)
{
    const std::string text = context.Utf8(argument);
    if (Trim(text).empty())
    {
        throw context.UsageFailure("the " + setting.argument + " is empty");
    }
    return text;
}

std::list<std::string> valuesOf(Context& context, const Setting& setting)
{
    const SilentLog silence;
    std::list<std::string> values;
    (context.session.Connection().*setting.enumerate)(values);
    return values;
}

void list(Context& context, const Setting& setting)
{
    context.output.List(setting.lists, valuesOf(context, setting));
}

/** @param alike a stored text that is nearly the same */
void tellUnchanged(Context& context, const Setting& setting, const std::string& text, const std::string& why,
                   const std::optional<std::string>& alike)
{
    if (alike)
    {
        context.output.Member("stored", *alike);
    }
    TellChange(context.output, {"unchanged", setting.group, text, setting.group,
                                alike ? "; stored is '" + *alike + "'" : why});
}

void add(Context& context, const Setting& setting, const std::string& argument)
{
    constexpr long valueExists = 20;
    const std::string text = textOf(context, setting, argument);
    const std::list<std::string> stored = valuesOf(context, setting);
    if (IsMemberOfList(stored, text))
    {
        tellUnchanged(context, setting, text, ", it is there already", std::nullopt);
        return;
    }
    IKVRLdapConnection& connection = context.session.Connection();
    const std::optional<std::string> alike = AlikeOf(stored, text);
    try
    {
        const SilentLog silence;
        (connection.*setting.add)(text);
    }
    catch (const EKVROpenLdapError&)
    {
        if (!alike)
        {
            throw;
        }
        if (LastResult(connection) != valueExists)
        {
            Failure failure = DescribeException(context.command, &connection, context.withPlace);
            failure.advice = "stored is '" + *alike + "'";
            throw failure;
        }
        tellUnchanged(context, setting, text, "", alike);
        return;
    }
    TellChange(context.output, {"added", setting.group, text, setting.group});
}

void remove(Context& context, const Setting& setting, const std::string& argument)
{
    const std::string text = textOf(context, setting, argument);
    const std::list<std::string> stored = valuesOf(context, setting);
    if (!IsMemberOfList(stored, text))
    {
        tellUnchanged(context, setting, text, ", it is not there", AlikeOf(stored, text));
        return;
    }
    (context.session.Connection().*setting.remove)(text);
    TellChange(context.output, {"removed", setting.group, text, setting.group});
}

using ChangeAction = void (*)(Context& context, const Setting& setting, const std::string& argument);

void addChange(CommandTable& table, const Setting& setting, const CommandText& text, const std::string& help,
               ChangeAction change)
{
    const auto argument = std::make_shared<std::string>();
    CLI::App& command =
        table.Add(text, LdifForm::None,
                  [&setting, argument, change](Context& context) { change(context, setting, *argument); });
    AddArgument(command, setting.argument, *argument, help).required();
}

} // namespace

void AddSettingCommands(CommandTable& table)
{
    table.AddGroup("index", "Attribute indexes of the server's main database");
    table.Add({"index list", "List the indexes", "  kvr-ldap index list\n"}, LdifForm::None,
              [](Context& context) { list(context, indexes); });
    addChange(table, indexes, {"index add", "Add an index", "  kvr-ldap index add 'mail eq,sub'\n"},
              "attributes, a blank and the kinds of index", add);
    addChange(table, indexes, {"index delete", "Delete an index", "  kvr-ldap index delete 'mail eq,sub'\n"},
              "the index as \"index list\" shows it", remove);

    table.AddGroup("unique", "Attributes whose values are unique in the server's main database");
    table.Add({"unique list", "List the rules", "  kvr-ldap unique list\n"}, LdifForm::None,
              [](Context& context) { list(context, uniqueness); });
    addChange(
        table, uniqueness,
        {"unique add", "Add a rule", "  kvr-ldap unique add 'ldap:///ou=people,dc=example,dc=com?uid?sub'\n"},
        "LDAP URI of the subtree and the attributes, see slapo-unique(5)", add);
    addChange(table, uniqueness,
              {"unique delete", "Delete a rule",
               "  kvr-ldap unique delete 'ldap:///ou=people,dc=example,dc=com?uid?sub'\n"},
              "the rule as \"unique list\" shows it", remove);
}

} // namespace KVR::Cli
