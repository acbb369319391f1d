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
    std::string label;  /**< what one text is, for people */
    std::string member; /**< the same in JSON */
    std::string lists;  /**< name of the list in JSON */
    std::string argument;
    void (*require)(IKVRLdapConnection& connection, const std::string& command); /**< what it belongs to */
    void (IKVRLdapConnection::*enumerate)(std::list<std::string>& values);
    void (IKVRLdapConnection::*add)(const std::string& value);
    void (IKVRLdapConnection::*remove)(const std::string& value);
};

const Setting indexes{"index",
                      "index",
                      "indexes",
                      "SPEC",
                      RequireMainDatabase,
                      &IKVRLdapConnection::EnumerateIndexes,
                      &IKVRLdapConnection::AddDBIndex,
                      &IKVRLdapConnection::DeleteDBIndex};

const Setting uniqueness{"uniqueness rule",
                         "uri",
                         "uniqueness",
                         "URI",
                         RequireUniqueness,
                         &IKVRLdapConnection::EnumerateDBUniqueness,
                         &IKVRLdapConnection::AddDBUniqueness,
                         &IKVRLdapConnection::DeleteDBUniqueness};

std::string textOf(const Context& context, const Setting& setting, const std::string& argument)
{
    std::string text = context.Utf8(argument);
    if (Trim(text).empty())
    {
        throw context.UsageFailure("the " + setting.argument + " is empty");
    }
    return text;
}

std::list<std::string> valuesOf(Context& context, const Setting& setting)
{
    const SilentLog silence;
    IKVRLdapConnection& connection = context.session.Connection();
    setting.require(connection, context.command);
    std::list<std::string> values;
    (connection.*setting.enumerate)(values);
    return values;
}

void list(Context& context, const Setting& setting)
{
    context.output.List(setting.lists, valuesOf(context, setting));
}

/** @param alike a stored text that is nearly the same */
void tell(Context& context, const Setting& setting, const std::string& result, const std::string& text,
          const std::optional<std::string>& alike, const std::string& otherwise)
{
    const std::string remark = TellAlike(context.output, alike, otherwise);
    TellChange(context.output, {result, setting.member, text, setting.label, remark});
}

void add(Context& context, const Setting& setting, const std::string& argument)
{
    constexpr long valueExists = 20;
    const std::string text = textOf(context, setting, argument);
    const std::list<std::string> stored = valuesOf(context, setting);
    if (IsMemberOfList(stored, text))
    {
        tell(context, setting, "unchanged", text, std::nullopt, ", it is there already");
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
        if (!alike || LastResult(connection) != valueExists)
        {
            throw RefusedBeside(context, alike);
        }
        tell(context, setting, "unchanged", text, alike, "");
        return;
    }
    tell(context, setting, "added", text, alike, "");
}

void remove(Context& context, const Setting& setting, const std::string& argument)
{
    const std::string text = textOf(context, setting, argument);
    const std::list<std::string> stored = valuesOf(context, setting);
    if (!IsMemberOfList(stored, text))
    {
        tell(context, setting, "unchanged", text, AlikeOf(stored, text), ", it is not there");
        return;
    }
    (context.session.Connection().*setting.remove)(text);
    TellChange(context.output, {"removed", setting.member, text, setting.label});
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
