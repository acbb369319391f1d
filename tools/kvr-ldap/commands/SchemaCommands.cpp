#include "../Change.h"
#include "../Commands.h"
#include "../Ldif.h"
#include "../Lookup.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/KVRUtils.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace KVR::Cli
{

namespace
{

constexpr const char* serverFolder = "/etc/ldap/slapd.d";
constexpr const char* definitionsAttribute = "olcAttributeTypes";

bool isNameCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '.' || character == '_' || character == '-';
}

/** Names become part of a filter and of a shell's command. */
void requireName(const Context& context, const std::string& name)
{
    if (name.empty() || !std::all_of(name.begin(), name.end(), isNameCharacter))
    {
        throw context.UsageFailure("'" + name + "' is no name of a schema",
                                   "it consists of letters, digits, \".\", \"_\" and \"-\"");
    }
}

void requireFolder(const Context& context, const std::string& folder)
{
    if (!std::all_of(folder.begin(), folder.end(),
                     [](char character) { return isNameCharacter(character) || character == '/'; }))
    {
        throw context.UsageFailure("the parameter KVR_LDAP_SCHEMA_DIR is '" + folder + "'",
                                   "it may have letters, digits, \"/\", \".\", \"_\" and \"-\" only");
    }
}

void requireWritableServer(const Context& context)
{
    if (IsPathExist(serverFolder) && eaccess(serverFolder, W_OK | X_OK) != 0)
    {
        throw Failure(ExitCode::Unusable, context.command,
                      std::string("the server's folder ") + serverFolder +
                          " can't be written: " + std::generic_category().message(errno),
                      "schemas are registered on the server itself, as root");
    }
}

void list(Context& context)
{
    std::list<std::string> schemas;
    context.session.Connection().EnumerateLdapSchemas(schemas);
    context.output.List("schemas", schemas);
}

void has(Context& context, const std::string& argument)
{
    const std::string name = context.Utf8(argument);
    requireName(context, name);
    const bool isRegistered = context.session.Connection().IsLdapSchemaRegistered(name);
    context.output.Member("schema", name);
    context.output.Member("registered", isRegistered);
    if (!isRegistered)
    {
        throw Failure(ExitCode::NotFound, context.command, "the server has no schema '" + name + "'");
    }
    context.output.Line("the server has the schema " + name);
}

void registerFile(Context& context, const std::string& argument)
{
    const std::string file = context.Utf8(argument);
    requireName(context, file);
    requireFolder(context, context.session.HostParameter("KVR_LDAP_SCHEMA_DIR"));
    requireWritableServer(context);
    {
        const StandardOutputAside aside;
        context.session.Wrapper().RegisterLdapSchema(file);
    }
    TellChange(context.output,
               {"added", "file", file, "schema", "; a running server sees it after its next start"});
}

/** The definition of "gecos" that the plug-in adjusts, with the schema that it belongs to. */
struct GecosDefinition
{
    std::string schemaDn;
    std::string text;
};

std::optional<GecosDefinition> findGecos(IKVRLdapConnection& connection)
{
    std::list<std::string> schemas;
    connection.EnumerateLdapSchemas(schemas);
    const auto schema =
        std::find_if(schemas.begin(), schemas.end(),
                     [](const std::string& name) { return name.find("nis") != std::string::npos; });
    if (schema == schemas.end())
    {
        return std::nullopt;
    }
    const std::string dn = "cn=" + *schema + ",cn=schema,cn=config";
    std::list<std::string> names{definitionsAttribute};
    const auto query = connection.Search(dn, everyEntry, names, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query && query->Fetch(entity))
    {
        for (const auto& [name, value] : entity->attributes)
        {
            if (value.find("}( 1.3.6.1.1.1.1.2 ") != std::string::npos)
            {
                return GecosDefinition{dn, value};
            }
        }
    }
    return std::nullopt;
}

/** Whether the server has the definition no longer; nothing when it does not tell. */
std::optional<bool> isLost(IKVRLdapConnection& connection)
{
    try
    {
        return !findGecos(connection);
    }
    catch (const EKVRError&)
    {
        return std::nullopt;
    }
}

/** What brings a definition back, on standard output: lines for people, who can give them to "kvr-ldap load".
 */
void tellCure(const Context& context, const GecosDefinition& lost, bool isCertain)
{
    const std::vector<std::string> lines{Ldif::Line("dn", lost.schemaDn), Ldif::Line("changetype", "modify"),
                                         Ldif::Line("add", definitionsAttribute),
                                         Ldif::Line(definitionsAttribute, lost.text), "-\n"};
    std::string record;
    for (const std::string& line : lines)
    {
        context.output.Line(line.substr(0, line.size() - 1));
        record += line;
    }
    context.output.Member("old", lost.text);
    context.output.Member("cure", record);
    context.messages.Line(context.command + ": the server " + (isCertain ? "has" : "may have") +
                          " removed the old definition of gecos and not taken the new one."
                          " The lines on standard output put it back with kvr-ldap load.");
}

void adjustGecos(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    const std::optional<GecosDefinition> before = findGecos(connection);
    if (!before)
    {
        TellChange(context.output,
                   {"unchanged", "attribute", "gecos", "attribute type", ", the server shows none"});
        return;
    }
    try
    {
        connection.AdjustGecosType();
    }
    catch (const EKVRError&)
    {
        const Failure failure = DescribeException(context.command, &connection, context.withPlace);
        const std::optional<bool> lost = isLost(connection);
        if (lost.value_or(true))
        {
            tellCure(context, *before, lost.has_value());
        }
        throw Failure(failure);
    }
    const std::optional<GecosDefinition> after = findGecos(connection);
    const bool isNew = after && after->text != before->text;
    context.output.Member("old", before->text);
    TellChange(context.output, {isNew ? "modified" : "unchanged", "attribute", "gecos", "attribute type",
                                isNew ? "" : ", it took any text before"});
}

void addHas(CommandTable& table)
{
    const auto name = std::make_shared<std::string>();
    CLI::App& command =
        table.Add({"schema has", "Tell whether the server has a schema", "  kvr-ldap schema has nis\n"},
                  LdifForm::None, [name](Context& context) { has(context, *name); });
    AddArgument(command, "NAME", *name, "its name without the number in front").required();
}

void addRegister(CommandTable& table)
{
    const auto file = std::make_shared<std::string>();
    CLI::App& command =
        table.Add({"schema register", "Load a schema into the configuration of this computer's own server",
                   "  kvr-ldap schema register lab.ldif\n"
                   "  kvr-ldap schema register lab.ldif --param KVR_LDAP_SCHEMA_DIR=/srv/schemas\n"},
                  LdifForm::None, [file](Context& context) { registerFile(context, *file); });
    AddArgument(
        command, "FILE", *file,
        "LDIF file in the folder that the parameter KVR_LDAP_SCHEMA_DIR names, by default /etc/ldap/schema")
        .required();
}

} // namespace

void AddSchemaCommands(CommandTable& table)
{
    table.AddGroup("schema", "Schemas of the server");
    table.Add({"schema list", "List the schemas in their order", "  kvr-ldap schema list\n"}, LdifForm::None,
              list);
    addHas(table);
    addRegister(table);
    table.Add({"schema adjust-gecos", "Let the attribute gecos take any text instead of ASCII only",
               "  kvr-ldap schema adjust-gecos\n"},
              LdifForm::None, adjustGecos);
}

} // namespace KVR::Cli
