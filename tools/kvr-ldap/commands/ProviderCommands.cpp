#include "../Change.h"
#include "../Commands.h"
#include "../Configuration.h"
#include "../Confirmation.h"
#include "../Lookup.h"
#include "../Partner.h"
#include "../ProviderDatabases.h"
#include "../Remains.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <kvr/KVRUtils.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

struct ProviderArguments
{
    std::string domain;
    std::string uri;
    bool confirmed = false;
};

std::string inQuotes(const std::string& text)
{
    return "'" + text + "'";
}

std::string requireDomain(const Context& context, const ProviderArguments& arguments)
{
    const std::string text = context.Utf8(arguments.domain);
    const std::optional<std::string> domain = ParseDomain(text);
    if (!domain)
    {
        throw context.UsageFailure(
            inQuotes(text) + " is no domain",
            "it is a DNS name of letters, digits, \"-\" and \".\", such as example.org");
    }
    return *domain;
}

/** @param why what would happen to the own domain; an unknown one could be any */
void requireForeign(const Context& context, const std::string& domain, const std::string& why)
{
    const std::string suffix = DomainToDn(domain);
    const char* const advice = "KVR_DOMAIN_NAME and DOMAIN_DN say which domain is the own one";
    const std::string& own = context.session.Host().GetDomainName();
    const std::string ownDn = context.session.HostParameter("DOMAIN_DN");
    if (own.empty() && ownDn.empty())
    {
        throw context.UsageFailure("the own domain is unknown; nothing is changed", advice);
    }
    if ((!own.empty() && IsSameDn(suffix, DomainToDn(own))) || (!ownDn.empty() && IsSameDn(suffix, ownDn)))
    {
        throw context.UsageFailure(inQuotes(domain) + " is the own domain" + why, advice);
    }
}

/** The URI as the plug-in writes it. */
std::string requireUri(const Context& context, const ProviderArguments& arguments)
{
    const std::string uri = Trim(context.Utf8(arguments.uri));
    const std::string scheme = "ldap://";
    const char* const hint = "write ldap://HOST or ldap://HOST:PORT";
    if (uri.empty())
    {
        throw context.UsageFailure("the URI is empty", hint);
    }
    std::string written = uri.find(scheme) == std::string::npos ? scheme + uri : uri;
    if (!ParseServerUri(written))
    {
        throw context.UsageFailure(
            written == uri ? inQuotes(uri) + " is no URI of a server"
                           : inQuotes(uri) + " would be written as " + inQuotes(written) +
                                 ", since the plug-in puts ldap:// in front, and that is no URI of a server",
            hint);
    }
    return written;
}

void requireOverlay(const Context& context, IKVRLdapConnection& connection)
{
    if (!EntryExists(connection, chainOverlayDn))
    {
        throw Failure(ExitCode::Refused, context.command, NoChainOverlay(),
                      std::string("a provider needs it; its DN must be ") + chainOverlayDn);
    }
}

/** Databases with the suffix of a domain. @throws what the plug-in says of a hidden configuration */
ProviderDatabases databasesOf(const Context& context, const std::string& domain)
{
    IKVRLdapConnection& connection = context.session.Connection();
    std::map<std::string, std::string> ignored;
    connection.EnumerateLdapProviders(ignored);
    return FindProviderDatabases(connection, DomainToDn(domain));
}

void list(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    std::map<std::string, std::string> providers;
    connection.EnumerateLdapProviders(providers);
    std::vector<Row> rows;
    for (const auto& [name, suffix] : providers)
    {
        std::string line = name;
        context.output.Line(line.append("  ").append(suffix));
        rows.push_back({{"name", name}, {"suffix", suffix}});
    }
    context.output.Member("providers", rows);
    if (providers.empty() && !context.quiet && !EntryExists(connection, chainOverlayDn))
    {
        context.messages.Line(context.command + ": " + NoChainOverlay());
    }
}

Failure noProvider(const Context& context, const std::string& domain)
{
    return {ExitCode::NotFound, context.command, "there is no provider of the domain " + inQuotes(domain)};
}

void show(Context& context, const ProviderArguments& arguments)
{
    const std::string domain = requireDomain(context, arguments);
    const ProviderDatabases databases = databasesOf(context, domain);
    if (databases.chain.empty())
    {
        throw noProvider(context, domain);
    }
    context.output.Entry(*context.session.Connection().GetLdapProvider(domain));
    context.output.Fact("database", "Database", databases.main.empty() ? "" : databases.main.front().dn);
}

/** A server with two of the overlay's databases for one address does not start any more. */
void requireFreeAddress(const Context& context, const ProviderDatabases& databases, const std::string& uri)
{
    const auto isOther = [&databases](const Database& each)
    {
        return std::none_of(databases.chain.begin(), databases.chain.end(),
                            [&each](const Database& own) { return own.dn == each.dn; });
    };
    const auto found = std::find_if(databases.allOfChain.begin(), databases.allOfChain.end(),
                                    [&](const Database& each) { return each.uri == uri && isOther(each); });
    if (found != databases.allOfChain.end())
    {
        throw Failure(
            ExitCode::Refused, context.command,
            inQuotes(uri) + " is the address of " + found->Description() +
                " already; with two of one address the server would not start again, and nothing is "
                "written",
            "another name of the same host may be used, or the port 389 in one of them");
    }
}

void requireFreeSuffix(const Context& context, const std::string& domain, const ProviderDatabases& databases)
{
    if (!databases.chain.empty())
    {
        throw Failure(ExitCode::Refused, context.command,
                      "the domain " + inQuotes(domain) +
                          " has a provider already: " + databases.chain.front().Description(),
                      "\"provider update\" gives it another address");
    }
    if (!databases.serving.empty())
    {
        throw Failure(ExitCode::Refused, context.command,
                      "the suffix " + inQuotes(DomainToDn(domain)) + " is served already by " +
                          databases.serving.front().Description() + "; nothing is added");
    }
}

/** Parameters that become part of the stored log-in. */
constexpr const char* daemonParameters[] = {"KVRD_USER", "REALM"};

void requireNoQuotes(const Context& context)
{
    for (const char* name : daemonParameters)
    {
        const std::string value = context.session.HostParameter(name);
        if (value.find('"') != std::string::npos)
        {
            throw context.UsageFailure(std::string("the host parameter ") + name + " is " + inQuotes(value),
                                       "it must not have quotation marks");
        }
    }
}

/** No reason to refuse: the server logs in by its own tickets, whatever the log-in names. */
void tellUnset(const Context& context)
{
    for (const char* name : daemonParameters)
    {
        if (Trim(context.session.HostParameter(name)).empty() && !context.quiet)
        {
            context.messages.Line(context.command + ": the host parameter " + name +
                                  " is not set, and missing in the name of the daemon that is stored");
        }
    }
}

/** Tells what a change that failed has left behind. */
template <typename Change>
void tellingRemains(const Context& context, const std::string& domain, const std::string& what,
                    const Change& change)
{
    IKVRLdapConnection& connection = context.session.Connection();
    try
    {
        change(connection);
    }
    catch (const EKVRError&)
    {
        // Described now: what is looked up next replaces the session's result code.
        const Failure failure = DescribeException(context.command, &connection, context.withPlace);
        TellRemains(context,
                    [&]
                    {
                        for (const Database& each :
                             FindProviderDatabases(connection, DomainToDn(domain)).All())
                        {
                            context.messages.Line(context.command + ": " + what + ": " + each.Description());
                        }
                    });
        throw Failure(failure);
    }
}

void add(Context& context, const ProviderArguments& arguments)
{
    const std::string domain = requireDomain(context, arguments);
    requireForeign(context, domain, ", which the main database serves");
    const std::string uri = requireUri(context, arguments);
    requireNoQuotes(context);
    const ProviderDatabases databases = databasesOf(context, domain);
    requireOverlay(context, context.session.Connection());
    requireFreeSuffix(context, domain, databases);
    requireFreeAddress(context, databases, uri);
    tellUnset(context);
    tellingRemains(context, domain, "left behind, \"provider delete\" deletes it",
                   [&](IKVRLdapConnection& connection) { connection.AddLdapProvider(domain, uri, ""); });
    TellChange(context.output, {"added", "domain", domain, "provider", " at " + uri});
    context.output.Member("uri", uri);
}

void update(Context& context, const ProviderArguments& arguments)
{
    const std::string domain = requireDomain(context, arguments);
    requireForeign(context, domain, ", which has no provider");
    const std::string uri = requireUri(context, arguments);
    const ProviderDatabases databases = databasesOf(context, domain);
    if (databases.chain.empty())
    {
        throw noProvider(context, domain);
    }
    if (databases.main.empty() || !databases.main.front().IsLdap())
    {
        throw Failure(ExitCode::Refused, context.command,
                      "only half of the provider is there: " + databases.chain.front().Description() +
                          (databases.main.empty()
                               ? ""
                               : "; the suffix is served by " + databases.main.front().Description()) +
                          "; nothing is changed",
                      "it needs a database of the type \"ldap\" with the same suffix below cn=config");
    }
    context.output.Member("uri", uri);
    const std::vector<Database> all = databases.All();
    if (std::all_of(all.begin(), all.end(), [&uri](const Database& each) { return each.uri == uri; }))
    {
        TellChange(context.output,
                   {"unchanged", "domain", domain, "provider", ", it is at " + uri + " already"});
        return;
    }
    requireFreeAddress(context, databases, uri);
    tellingRemains(context, domain, "now",
                   [&](IKVRLdapConnection& connection) { connection.UpdateLdapProvider(domain, uri); });
    TellChange(
        context.output,
        {"modified", "domain", domain, "provider",
         ", it is at " + uri +
             " now; a running server keeps its open connections to the old address until they end or it "
             "restarts"});
}

/** The plug-in deletes every database with the suffix, and the server does so with the data. */
void requireOnlyLdap(const Context& context, const std::string& domain, const std::vector<Database>& all)
{
    for (const Database& each : all)
    {
        if (!each.IsLdap())
        {
            throw Failure(
                ExitCode::Refused, context.command,
                "the suffix of " + inQuotes(domain) + " is served by " + each.Description() +
                    ", which is no \"ldap\" database and would go with its data; nothing is deleted");
        }
    }
}

void remove(Context& context, const ProviderArguments& arguments)
{
    const std::string domain = requireDomain(context, arguments);
    requireForeign(context, domain, ", whose database would go with its data; nothing is deleted");
    const std::vector<Database> all = databasesOf(context, domain).All();
    if (all.empty())
    {
        TellChange(context.output, {"unchanged", "domain", domain, "provider", ", it is not there"});
        return;
    }
    requireOnlyLdap(context, domain, all);
    requireOverlay(context, context.session.Connection());
    std::list<std::string> dns;
    for (const Database& each : all)
    {
        context.messages.Line(context.command + ": goes: " + each.Description());
        dns.push_back(each.dn);
    }
    const std::string number = Counted(all.size(), "database", "databases");
    Confirm(context,
            {"Delete the provider of " + domain + " with " + number + "?",
             "nobody has confirmed that " + number + " go", "nothing is deleted",
             "--yes deletes the provider"},
            arguments.confirmed);
    tellingRemains(context, domain, "still there",
                   [&](IKVRLdapConnection& connection) { connection.DeleteLdapProvider(domain); });
    TellChange(context.output, {"deleted", "domain", domain, "provider", " with " + number});
    context.output.Member("databases", dns);
}

using ProviderAction = void (*)(Context& context, const ProviderArguments& arguments);

struct AddedCommand
{
    std::shared_ptr<ProviderArguments> arguments;
    CLI::App& command;
};

AddedCommand addOfDomain(CommandTable& table, const CommandText& text, LdifForm form, ProviderAction action)
{
    const auto arguments = std::make_shared<ProviderArguments>();
    CLI::App& command =
        table.Add(text, form, [arguments, action](Context& context) { action(context, *arguments); });
    AddArgument(command, "DOMAIN", arguments->domain, "DNS name of the other domain").required();
    return {arguments, command};
}

void addOfUri(CommandTable& table, const CommandText& text, ProviderAction action)
{
    const auto [arguments, command] = addOfDomain(table, text, LdifForm::None, action);
    AddArgument(command, "URI", arguments->uri, "server of that domain: ldap://HOST, or HOST").required();
}

} // namespace

void AddProviderCommands(CommandTable& table)
{
    table.AddGroup("provider",
                   "Providers: other domains that the server answers for by asking their servers");
    table.Add({"provider list", "List the providers with their suffixes", "  kvr-ldap provider list\n"},
              LdifForm::None, list);
    addOfDomain(table, {"provider show", "Show a provider", "  kvr-ldap provider show example.org\n"},
                LdifForm::Entries, show);
    addOfUri(table,
             {"provider add", "Let the server answer for another domain",
              "  kvr-ldap provider add example.org ldap://srv.example.org --params /etc/kvr/kvr.conf\n"},
             add);
    addOfUri(table,
             {"provider update", "Give a provider another address",
              "  kvr-ldap provider update example.org ldap://srv2.example.org\n"},
             update);
    const AddedCommand deletion = addOfDomain(table,
                                              {"provider delete", "Delete a provider once that is confirmed",
                                               "  kvr-ldap provider delete example.org\n"},
                                              LdifForm::None, remove);
    deletion.command.add_flag("--yes", deletion.arguments->confirmed,
                              "delete it without asking, as is needed where there is no terminal");
}

} // namespace KVR::Cli
