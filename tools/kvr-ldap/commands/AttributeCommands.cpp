#include "../Change.h"
#include "../Commands.h"
#include "../LocalFile.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <cstdlib>

namespace KVR::Cli
{

namespace
{

struct AttributeArguments
{
    std::string dn;
    std::string name;
    std::vector<std::string> values;
    std::string input;
    std::optional<std::string> output;
};

/** The arguments that every command of the group has. */
struct Target
{
    std::string dn;
    std::string name;
};

Target targetOf(const Context& context, const AttributeArguments& arguments)
{
    return {context.Dn(arguments.dn), context.Attribute(arguments.name)};
}

void tell(Context& context, const Target& target, const std::string& result, const std::string& what = "")
{
    context.output.Member("dn", target.dn);
    TellChange(context.output, {result, "attribute", target.name, what, " of " + target.dn});
}

std::list<std::string> valuesOf(const Context& context, const std::vector<std::string>& arguments)
{
    std::list<std::string> values;
    for (const std::string& argument : arguments)
    {
        values.push_back(context.Utf8(argument));
        if (values.back().empty())
        {
            throw context.UsageFailure("a value is empty",
                                       "attr clear removes an attribute; modify --replace NAME= sends an "
                                       "empty value");
        }
    }
    return values;
}

void change(Context& context, const AttributeArguments& arguments, alOPERATION operation)
{
    const Target target = targetOf(context, arguments);
    std::list<std::string> values = valuesOf(context, arguments.values);
    IKVRLdapConnection& connection = context.session.Connection();
    if (values.size() == 1)
    {
        connection.SetAttrValue(target.dn, target.name, values.front(), operation);
    }
    else
    {
        connection.SetAttrValues(target.dn, target.name, values, operation);
    }
    if (operation == alREPLACE)
    {
        tell(context, target, "modified");
        return;
    }
    tell(context, target, operation == alADD ? "added" : "removed",
         Counted(values.size(), "value", "values") + " of");
}

void clear(Context& context, const AttributeArguments& arguments)
{
    const Target target = targetOf(context, arguments);
    context.session.Connection().DeleteAttr(target.dn, target.name);
    tell(context, target, "cleared");
}

/** Fails for what GetAttrBinaryValue tells like an empty value: no entry, and no such attribute. */
void requireAttribute(const Context& context, IKVRLdapConnection& connection, const Target& target)
{
    std::list<std::string> names{target.name};
    const auto query = connection.Search(target.dn, '(' + target.name + "=*)", names, alSCOPE_BASE);
    if (!query)
    {
        throw NoEntry(context.command, target.dn);
    }
    std::shared_ptr<IKVRLdapEntity> entity;
    if (!query->Fetch(entity))
    {
        throw Failure(ExitCode::NotFound, context.command,
                      "the entry '" + target.dn + "' has no attribute '" + target.name + "'",
                      "an attribute that the server hides from the user counts as absent");
    }
}

std::string binaryValue(const Context& context, const Target& target)
{
    // The connection is made here: without one the library would end the process.
    IKVRLdapConnection& connection = context.session.Connection();
    unsigned long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> value(
        connection.GetAttrBinaryValue(target.dn, target.name, size), &std::free);
    if (!value)
    {
        requireAttribute(context, connection, target);
        return "";
    }
    return {value.get(), size};
}

void getBinary(Context& context, const AttributeArguments& arguments)
{
    const Target target = targetOf(context, arguments);
    const std::string value = binaryValue(context, target);
    context.output.Member("dn", target.dn);
    context.output.Member("attribute", target.name);
    if (!arguments.output)
    {
        context.output.Binary(value);
        return;
    }
    LocalFile::Write(*arguments.output, value, context.charset);
    TellChange(context.output,
               {"saved", "file", context.charset.ToUtf8(*arguments.output).value_or(*arguments.output),
                Counted(value.size(), "byte", "bytes") + " to"});
    context.output.Member("size", value.size());
}

void setBinary(Context& context, const AttributeArguments& arguments)
{
    const Target target = targetOf(context, arguments);
    const std::string value = LocalFile::Read(arguments.input, context.charset);
    if (value.empty())
    {
        throw context.UsageFailure("there is no value: the file is empty", "attr clear removes an attribute");
    }
    context.session.Connection().SetAttrBinaryValue(target.dn, target.name, value.data(), value.size(),
                                                    alREPLACE);
    tell(context, target, "modified");
    context.output.Member("size", value.size());
}

/** Adds a command with the arguments that all of the group have. */
CLI::App& addCommand(CommandTable& table, const CommandText& text,
                     const std::shared_ptr<AttributeArguments>& arguments,
                     const std::function<void(Context&, const AttributeArguments&)>& action)
{
    CLI::App& command = table.Add(text, LdifForm::None,
                                  [arguments, action](Context& context) { action(context, *arguments); });
    AddArgument(command, "DN", arguments->dn, "DN of the entry").required();
    AddArgument(command, "NAME", arguments->name, "name of the attribute").required();
    return command;
}

void addChange(CommandTable& table, const CommandText& text, alOPERATION operation)
{
    const auto arguments = std::make_shared<AttributeArguments>();
    const auto action = [operation](Context& context, const AttributeArguments& given)
    { change(context, given, operation); };
    CLI::App& command = addCommand(table, text, arguments, action);
    AddArgument(command, "VALUE", arguments->values, "its values, none of them empty").required();
}

void addBinary(CommandTable& table)
{
    const auto toGet = std::make_shared<AttributeArguments>();
    addCommand(table,
               {"attr get-binary", "Write the first value as it is, to standard output or a file",
                "  kvr-ldap attr get-binary uid=ann,ou=people,dc=example,dc=com jpegPhoto --out ann.jpg\n"
                "  kvr-ldap attr get-binary uid=ann,ou=people,dc=example,dc=com jpegPhoto | display -\n"},
               toGet, getBinary)
        .add_option("--out", toGet->output, "file to write, in place of an old one")
        ->type_name("FILE");

    const auto toSet = std::make_shared<AttributeArguments>();
    CLI::App& set = addCommand(
        table,
        {"attr set-binary", "Replace all values by the content of a file",
         "  kvr-ldap attr set-binary uid=ann,ou=people,dc=example,dc=com jpegPhoto ann.jpg\n"
         "  convert ann.png jpg:- | kvr-ldap attr set-binary uid=ann,dc=example,dc=com jpegPhoto -\n"},
        toSet, setBinary);
    AddArgument(set, "FILE", toSet->input, "file that holds the value; - is standard input").required();
}

} // namespace

void AddAttributeCommands(CommandTable& table)
{
    table.AddGroup("attr", "Change or read one attribute of an entry");
    addChange(table,
              {"attr set", "Replace all values",
               "  kvr-ldap attr set uid=ann,dc=example,dc=com mail ann@example.com\n"
               "  kvr-ldap attr set uid=ann,dc=example,dc=com description 'first one' 'second one'\n"
               "  kvr-ldap attr set uid=ann,dc=example,dc=com description -- '-begins with a minus'\n"},
              alREPLACE);
    addChange(table,
              {"attr add", "Add values",
               "  kvr-ldap attr add uid=ann,dc=example,dc=com mail ann@example.com a.smith@example.com\n"},
              alADD);
    addChange(
        table,
        {"attr remove", "Remove values", "  kvr-ldap attr remove uid=ann,dc=example,dc=com mail old@a.b\n"},
        alREMOVE);
    const auto arguments = std::make_shared<AttributeArguments>();
    addCommand(table,
               {"attr clear", "Remove the attribute with all its values",
                "  kvr-ldap attr clear uid=ann,dc=example,dc=com description\n"},
               arguments, clear);
    addBinary(table);
}

} // namespace KVR::Cli
