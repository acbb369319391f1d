#include "../Commands.h"
#include "../Failure.h"
#include "../Lookup.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/KVRUtils.h>

#include <algorithm>
#include <map>

namespace KVR::Cli
{

namespace
{

constexpr long sizeLimitExceeded = 4;

struct SearchArguments
{
    std::string base;
    std::string filter = everyEntry;
    std::vector<std::string> attributes;
    std::string scope = "sub";
};

const std::map<std::string, alSCOPE>& scopes()
{
    static const std::map<std::string, alSCOPE> names = {
        {"base", alSCOPE_BASE}, {"one", alSCOPE_ONE}, {"sub", alSCOPE_SUB}, {"children", alSCOPE_CHILDREN}};
    return names;
}

void search(Context& context, const SearchArguments& arguments)
{
    const std::string base = context.Utf8(arguments.base);
    const std::string filter = context.Utf8(arguments.filter);
    std::list<std::string> attributes;
    for (const std::string& name : arguments.attributes)
    {
        attributes.push_back(context.Utf8(name));
    }
    // The library answers an empty filter by closing the connection.
    if (Trim(filter).empty())
    {
        throw Failure(ExitCode::Usage, "search", "the filter is empty",
                      std::string("leave it out, or give ") + everyEntry);
    }
    if (std::any_of(attributes.begin(), attributes.end(),
                    [](const auto& name) { return Trim(name).empty(); }))
    {
        throw Failure(ExitCode::Usage, "search", "the name of an attribute is empty");
    }

    IKVRLdapConnection& connection = context.session.Connection();
    const std::shared_ptr<IKVRLdapQuery> query =
        connection.Search(base, filter, attributes, scopes().at(arguments.scope));
    if (!query)
    {
        throw NoEntry("search", base);
    }
    // Any later operation on the connection replaces the code.
    const bool truncated = connection.GetLastError() == sizeLimitExceeded;

    context.output.BeginEntries(truncated);
    std::shared_ptr<IKVRLdapEntity> entity;
    bool found = false;
    for (; query->Fetch(entity); found = true)
    {
        context.output.Entry(*entity);
    }
    context.output.EndEntries();
    if (truncated)
    {
        context.messages.Line("search: the answer is incomplete: the server's size limit was reached");
    }
    else if (!found && !context.quiet)
    {
        context.messages.Line("search: no entry matches");
    }
}

void show(Context& context, const std::string& argument)
{
    const std::string dn = context.Utf8(argument);
    std::list<std::string> allAttributes;
    IKVRLdapConnection& connection = context.session.Connection();
    const std::shared_ptr<IKVRLdapQuery> query =
        connection.Search(dn, everyEntry, allAttributes, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (!query || !query->Fetch(entity))
    {
        throw NoEntry("show", dn);
    }
    context.output.Entry(*entity);
    // The root entry has no name to ask for its history by.
    const bool hasHistory = entity->IsValid();
    context.output.Fact("creator", "creator", hasHistory ? entity->creator() : "");
    context.output.Time("created", "created", hasHistory ? entity->created() : "");
    context.output.Fact("modifier", "modifier", hasHistory ? entity->modifier() : "");
    context.output.Time("modified", "modified", hasHistory ? entity->modified() : "");
}

void addSearch(CommandTable& table)
{
    const auto arguments = std::make_shared<SearchArguments>();
    CLI::App& command =
        table.Add({"search", "Search the directory",
                   "  kvr-ldap search dc=example,dc=com\n"
                   "  kvr-ldap search ou=people,dc=example,dc=com '(uid=a*)' cn mail --scope one\n"
                   "  kvr-ldap search '' --scope base\n"
                   "  kvr-ldap search dc=example,dc=com --output ldif > backup.ldif\n"},
                  LdifForm::Entries, [arguments](Context& context) { search(context, *arguments); });
    AddArgument(command, "BASE", arguments->base, "DN to start from; '' is the root entry").required();
    AddArgument(command, "FILTER", arguments->filter, std::string("filter, by default ") + everyEntry);
    AddArgument(command, "ATTRIBUTE", arguments->attributes,
                "attributes to show, by default all but operational ones");
    AddChoice(command, "--scope", arguments->scope, {"base", "one", "sub", "children"},
              "what to search: the entry BASE, the entries right below it, all of them (the default), "
              "or all but BASE");
}

void addShow(CommandTable& table)
{
    const auto dn = std::make_shared<std::string>();
    CLI::App& command = table.Add({"show", "Show an entry, who made and changed it, and when",
                                   "  kvr-ldap show uid=user000001,ou=people,dc=example,dc=com\n"
                                   "  kvr-ldap show dc=example,dc=com --output json\n"},
                                  LdifForm::Entries, [dn](Context& context) { show(context, *dn); });
    AddArgument(command, "DN", *dn, "DN of the entry").required();
}

} // namespace

void AddSearchCommands(CommandTable& table)
{
    addSearch(table);
    addShow(table);
}

} // namespace KVR::Cli
