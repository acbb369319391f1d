#include "../Change.h"
#include "../Commands.h"
#include "../Configuration.h"
#include "../Confirmation.h"
#include "../Partner.h"
#include "../Remains.h"
#include "../Replication.h"

#include <IKVRLdapConnection.h>
#include <kvr/KVRUtils.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

constexpr const char* identifierHint = "it consists of one to three digits; without it, it is 001";
constexpr const char* providerHint =
    "write HOST or HOST:PORT; without it, it is the parameter KVR_SERVER_HOST, by default localhost";

struct SyncReplArguments
{
    std::optional<std::string> identifier;
    std::optional<std::string> provider;
    bool confirmed = false;
};

std::string inQuotes(const std::string& text)
{
    return "'" + text + "'";
}

std::string requireIdentifier(const Context& context, const SyncReplArguments& arguments)
{
    std::string identifier = context.Utf8(arguments.identifier.value_or("001"));
    constexpr std::size_t longest = 3;
    if (identifier.empty() || identifier.size() > longest ||
        identifier.find_first_not_of("0123456789") != std::string::npos)
    {
        throw context.UsageFailure(inQuotes(identifier) + " is no identifier of an agreement",
                                   identifierHint);
    }
    return identifier;
}

/** The host of the provider. Quotation marks would end the value that it becomes part of. */
std::string requireProvider(const Context& context, const SyncReplArguments& arguments)
{
    std::string provider =
        arguments.provider ? context.Utf8(*arguments.provider) : context.session.Host().GetServerHost();
    if (provider.empty())
    {
        throw context.UsageFailure("the provider is empty", providerHint);
    }
    if (provider.find_first_of("\"'") != std::string::npos)
    {
        throw context.UsageFailure("the provider " + provider + " holds a quotation mark", providerHint);
    }
    if (provider.find("://") != std::string::npos)
    {
        throw context.UsageFailure(inQuotes(provider) + " would become 'ldap://" + provider + "'",
                                   providerHint);
    }
    if (!ParseHost(provider))
    {
        throw context.UsageFailure(inQuotes(provider) + " is no host", providerHint);
    }
    return provider;
}

/** A host parameter that becomes part of a stored agreement. */
std::string requireParameter(const Context& context, const std::string& name)
{
    std::string value = context.session.HostParameter(name);
    if (Trim(value).empty())
    {
        throw context.UsageFailure("the host parameter " + name + " is not set",
                                   "--param " + name + "=VALUE sets it");
    }
    if (value.find_first_of("\"\\") != std::string::npos)
    {
        throw context.UsageFailure("the host parameter " + name + " is '" + value + "'",
                                   "it must not have quotation marks and backslashes");
    }
    return value;
}

std::string otherServerHint(const std::string& uris, bool isGiven)
{
    if (!isGiven)
    {
        return "PROVIDER names another one; without it, it is the parameter KVR_SERVER_HOST, by default "
               "localhost";
    }
    return uris.find(' ') == std::string::npos
               ? "a server with another port of the same host is named by HOST:PORT"
               : "the connection may lead to any server that --uri names: let it name one only";
}

void requireOtherServer(const Context& context, const std::string& provider, bool isGiven)
{
    IKVRCore& host = context.session.Host();
    const std::string uris = Trim(context.session.Uris());
    if (IsThisServer(*ParseHost(provider), uris, {host.GetHostName(), host.GetDomainName()}))
    {
        throw context.UsageFailure("the provider " + inQuotes(provider) +
                                       " is this server, which would take no writes but its own",
                                   otherServerHint(uris, isGiven));
    }
}

/** What the command is about, as far as it can be known without asking the server. */
Agreement agreementOf(const Context& context, const SyncReplArguments& arguments)
{
    Agreement agreement;
    agreement.identifier = requireIdentifier(context, arguments);
    agreement.provider = requireProvider(context, arguments);
    agreement.daemon =
        context.session.HostParameter("KVRD_USER") + '/' + context.session.Host().GetHostName();
    return agreement;
}

std::list<std::string> agreementsOf(IKVRLdapConnection& connection)
{
    const SilentLog silence;
    std::list<std::string> agreements;
    connection.EnumerateSyncRepls(agreements);
    return agreements;
}

std::string joined(const std::list<std::string>& values)
{
    std::string text;
    for (const std::string& value : values)
    {
        text += (text.empty() ? "" : ", ") + inQuotes(value);
    }
    return text;
}

void list(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    RequireMainDatabase(connection, context.command);
    context.output.List("agreements", agreementsOf(connection));
}

void requireUnused(const Context& context, const Agreement& agreement, const std::list<std::string>& stored)
{
    for (const std::string& each : stored)
    {
        if (agreement.HasIdentifierOf(each))
        {
            throw Failure(ExitCode::Refused, context.command,
                          "the identifier " + agreement.identifier + " is in use: " + inQuotes(each),
                          "RID gives another one; \"syncrepl delete\" deletes that agreement");
        }
        if (agreement.HasProviderOf(each))
        {
            throw Failure(ExitCode::Refused, context.command,
                          "there is an agreement with " + agreement.ProviderUri() + ": " + inQuotes(each),
                          "\"syncrepl delete\" deletes it");
        }
    }
}

void requireNoMirrorMode(const Context& context, const ConfigurationReplication& configuration)
{
    const std::string others =
        "the configuration database has the agreements " + joined(configuration.agreements);
    if (configuration.mirrorMode)
    {
        throw Failure(ExitCode::Refused, context.command,
                      "mirror mode is set already, to " + *configuration.mirrorMode + ", and " + others +
                          "; the server would take only half of another agreement, and nothing is added",
                      "delete the other agreement first");
    }
    if (!configuration.agreements.empty())
    {
        throw Failure(ExitCode::Refused, context.command,
                      others + " without mirror mode; the server takes no changes of its configuration, and "
                               "nothing is added");
    }
}

/** Tells what stays of an agreement of which the server took the first half only. */
void tellFirstHalf(const Context& context, IKVRLdapConnection& connection, const Agreement& agreement)
{
    for (const std::string& each : agreementsOf(connection))
    {
        if (agreement.IsStoredAs(each))
        {
            context.messages.Line(context.command +
                                  ": the main database has the agreement, the configuration "
                                  "database has not; this takes it away again: kvr-ldap attr "
                                  "remove " +
                                  inQuotes(mainDatabaseDn) + " olcSyncrepl " + inQuotes(each));
        }
    }
}

void add(Context& context, const SyncReplArguments& arguments)
{
    const Agreement agreement = agreementOf(context, arguments);
    requireParameter(context, "KVRD_USER");
    requireParameter(context, "DOMAIN_DN");
    requireOtherServer(context, agreement.provider, arguments.provider.has_value());

    IKVRLdapConnection& connection = context.session.Connection();
    requireUnused(context, agreement, agreementsOf(connection));
    requireNoMirrorMode(context, ReadConfigurationReplication(connection, context.command));
    RequireMainDatabase(connection, context.command);

    context.messages.Line(context.command + ": the main database " + mainDatabaseName +
                          " will take no writes but those of its provider " + agreement.ProviderUri() +
                          ", and lose the entries that the provider has not");
    Confirm(
        context,
        {"Add the agreement?", "nobody has confirmed this", "nothing is added", "--yes adds the agreement"},
        arguments.confirmed);
    try
    {
        connection.AddSyncRepl(agreement.identifier, agreement.provider);
    }
    catch (const EKVRError&)
    {
        // Described now: what is looked up next replaces the session's result code.
        const Failure failure = DescribeException(context.command, &connection, context.withPlace);
        TellRemains(context, [&] { tellFirstHalf(context, connection, agreement); });
        throw Failure(failure);
    }
    TellChange(context.output,
               {"added", "rid", agreement.identifier, "agreement", " with " + agreement.ProviderUri()});
    context.output.Member("provider", agreement.ProviderUri());
}

void tellUnchanged(const Context& context, const Agreement& agreement, const std::list<std::string>& stored)
{
    const auto other =
        std::find_if(stored.begin(), stored.end(),
                     [&agreement](const std::string& each) { return agreement.HasIdentifierOf(each); });
    TellChange(context.output,
               {"unchanged", "rid", agreement.identifier, "agreement",
                " with " + agreement.ProviderUri() +
                    (other == stored.end() ? ", it is not there" : "; stored is " + inQuotes(*other))});
    context.output.Member("provider", agreement.ProviderUri());
}

/** The plug-in rebuilds the second half from the host's names, after it has deleted the first one. */
void requireSecondHalf(const Context& context, const Agreement& agreement, const std::string& firstHalf,
                       const ConfigurationReplication& configuration)
{
    const bool isThere = std::any_of(configuration.agreements.begin(), configuration.agreements.end(),
                                     [&agreement](const std::string& each)
                                     { return agreement.IsConfigurationsStoredAs(each); });
    if (!isThere)
    {
        throw Failure(
            ExitCode::Refused, context.command,
            "the configuration database holds no agreement " + inQuotes(agreement.OfConfiguration()) +
                (configuration.agreements.empty() ? "" : ", only " + joined(configuration.agreements)) +
                "; nothing is deleted",
            "KVRD_USER and KVR_HOST_NAME must be those that it was added with; the main database's "
            "alone is deleted by kvr-ldap attr remove " +
                inQuotes(mainDatabaseDn) + " olcSyncrepl " + inQuotes(firstHalf));
    }
}

void confirmOthers(const Context& context, const Agreement& agreement,
                   const ConfigurationReplication& configuration, bool confirmed)
{
    std::list<std::string> others = configuration.agreements;
    others.remove_if([&agreement](const std::string& each)
                     { return agreement.IsConfigurationsStoredAs(each); });
    if (others.empty())
    {
        return;
    }
    context.messages.Line(context.command +
                          ": the configuration database holds other agreements: " + joined(others));
    context.messages.Line(context.command +
                          ": mirror mode goes off for them too, and then the server refuses every "
                          "later write to its configuration with 53, for good");
    Confirm(context,
            {"Delete the agreement and switch mirror mode off?",
             "the configuration database holds other agreements", "nothing is deleted",
             "--yes deletes the agreement and switches mirror mode off"},
            confirmed);
}

/** Tells what stays of an agreement of which the server has deleted the first half. */
void tellSecondHalf(const Context& context, IKVRLdapConnection& connection, const std::string& firstHalf)
{
    if (IsMemberOfList(agreementsOf(connection), firstHalf))
    {
        return;
    }
    context.messages.Line(context.command +
                          ": the main database's agreement is deleted; what the configuration "
                          "database still has:");
    const ConfigurationReplication configuration = ReadConfigurationReplication(connection, context.command);
    for (const std::string& each : configuration.agreements)
    {
        context.messages.Line(context.command + ": olcSyncrepl: " + each);
    }
    if (configuration.mirrorMode)
    {
        context.messages.Line(context.command + ": mirror mode: " + *configuration.mirrorMode);
    }
}

void remove(Context& context, const SyncReplArguments& arguments)
{
    const Agreement agreement = agreementOf(context, arguments);
    IKVRLdapConnection& connection = context.session.Connection();
    const std::list<std::string> stored = agreementsOf(connection);
    const auto firstHalf =
        std::find_if(stored.begin(), stored.end(),
                     [&agreement](const std::string& each) { return agreement.IsStoredAs(each); });
    if (firstHalf == stored.end())
    {
        tellUnchanged(context, agreement, stored);
        return;
    }
    requireParameter(context, "KVRD_USER");
    const ConfigurationReplication configuration = ReadConfigurationReplication(connection, context.command);
    requireSecondHalf(context, agreement, *firstHalf, configuration);
    confirmOthers(context, agreement, configuration, arguments.confirmed);
    try
    {
        connection.DeleteSyncRepl(agreement.identifier, agreement.provider);
    }
    catch (const EKVRError&)
    {
        // Described now: what is looked up next replaces the session's result code.
        const Failure failure = DescribeException(context.command, &connection, context.withPlace);
        TellRemains(context, [&] { tellSecondHalf(context, connection, *firstHalf); });
        throw Failure(failure);
    }
    TellChange(context.output, {"removed", "rid", agreement.identifier, "agreement",
                                " with " + agreement.ProviderUri() + "; mirror mode is off"});
    context.output.Member("provider", agreement.ProviderUri());
    context.output.Member("stored", *firstHalf);
}

using ChangeAction = void (*)(Context& context, const SyncReplArguments& arguments);

void addChange(CommandTable& table, const CommandText& text, const std::string& yesHelp, ChangeAction change)
{
    const auto arguments = std::make_shared<SyncReplArguments>();
    CLI::App& command = table.Add(text, LdifForm::None,
                                  [arguments, change](Context& context) { change(context, *arguments); });
    AddArgument(command, "RID", arguments->identifier, "identifier, one to three digits; by default 001");
    AddArgument(command, "PROVIDER", arguments->provider,
                "HOST or HOST:PORT that changes are pulled from; by default the parameter KVR_SERVER_HOST");
    command.add_flag("--yes", arguments->confirmed, yesHelp);
}

} // namespace

void AddReplicationCommands(CommandTable& table)
{
    table.AddGroup("syncrepl", "Replication agreements, by which the server pulls changes from another one");
    table.Add({"syncrepl list", "List the agreements of the main database", "  kvr-ldap syncrepl list\n"},
              LdifForm::None, list);
    addChange(table,
              {"syncrepl add",
               "Add an agreement, once that is confirmed: the server then follows the provider",
               "  kvr-ldap syncrepl add 001 srv1.example.com --params /etc/kvr/kvr.conf\n"
               "  kvr-ldap syncrepl add 002 srv1.example.com --param KVRD_USER=kvrd "
               "--param DOMAIN_DN=dc=example,dc=com --yes\n"},
              "add it without asking, as is needed where there is no terminal", add);
    addChange(table,
              {"syncrepl delete", "Delete an agreement and switch mirror mode off",
               "  kvr-ldap syncrepl delete 001 srv1.example.com --param KVRD_USER=kvrd\n"},
              "delete it without asking although there are others", remove);
}

} // namespace KVR::Cli
