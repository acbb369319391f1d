#include "../Change.h"
#include "../Commands.h"
#include "../Configuration.h"

#include <IKVRLdapConnection.h>
#include <kvr/KVRUtils.h>

#include <algorithm>
#include <map>

namespace KVR::Cli
{

namespace
{

struct LimitArguments
{
    std::string who;
    std::string limit;
};

using Limits = std::map<std::string, std::string>;

/** The limits as the plug-in knows them, one a key. */
Limits limitsOf(const Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    RequireMainDatabase(connection, context.command);
    Limits limits;
    connection.EnumerateDBLimits(limits);
    return limits;
}

/** The limits that the plug-in knows under one key. */
std::vector<StoredLimit> withKey(const std::vector<StoredLimit>& stored, const std::string& key)
{
    std::vector<StoredLimit> found;
    std::copy_if(stored.begin(), stored.end(), std::back_inserter(found),
                 [&key](const StoredLimit& limit) { return limit.key == key; });
    return found;
}

std::vector<StoredLimit> ofRequester(const std::vector<StoredLimit>& stored, const std::string& who)
{
    std::vector<StoredLimit> found;
    std::copy_if(stored.begin(), stored.end(), std::back_inserter(found),
                 [&who](const StoredLimit& limit) { return limit.requester == who; });
    return found;
}

/** A stored limit whose requester is alike but not the same. */
std::optional<std::string> alikeOf(const std::vector<StoredLimit>& stored, const std::string& who)
{
    const auto found = std::find_if(stored.begin(), stored.end(),
                                    [&who](const StoredLimit& limit)
                                    { return limit.requester != who && IsAlike(limit.requester, who); });
    return found == stored.end() ? std::nullopt : std::optional(found->value);
}

std::string joined(const std::vector<StoredLimit>& limits)
{
    std::string text;
    for (const StoredLimit& limit : limits)
    {
        text += (text.empty() ? "'" : ", '") + limit.value + "'";
    }
    return text;
}

/** The server could not tell another text from the limits behind it. */
void requireRequester(const Context& context, const std::string& who)
{
    if (!IsRequester(who))
    {
        throw context.UsageFailure("'" + who + "' is no requester",
                                   "it is one word; blanks stand between quotation marks that are closed");
    }
}

void tellHidden(const Context& context, const Limits& known, const std::vector<StoredLimit>& stored)
{
    for (const StoredLimit& limit : stored)
    {
        if (!limit.key)
        {
            context.messages.Line(context.command + ": the plug-in passes over '" + limit.value + "'");
        }
    }
    for (const auto& [key, value] : known)
    {
        const std::vector<StoredLimit> same = withKey(stored, key);
        if (same.size() > 1)
        {
            context.messages.Line(context.command + ": for the plug-in these have one key, '" + key +
                                  "': " + joined(same));
        }
    }
}

void list(Context& context)
{
    const SilentLog silence;
    const Limits known = limitsOf(context);
    const std::vector<StoredLimit> stored = StoredLimits(context.session.Connection());
    for (const StoredLimit& limit : stored)
    {
        context.output.Line(limit.value);
    }
    context.output.Member("limits", RowsOf(stored));
    tellHidden(context, known, stored);
}

/** @param same what is stored for the requester; the server takes the first that fits */
void tellInForce(Context& context, const std::string& who, const std::vector<StoredLimit>& same)
{
    const std::string others =
        same.size() > 1 ? ", not " + joined({same.begin() + 1, same.end()}) : std::string();
    context.output.Member("stored", same.front().value);
    TellChange(context.output,
               {"unchanged", "who", who, "limit", "; in force is " + joined({same.front()}) + others});
}

void add(Context& context, const LimitArguments& arguments)
{
    const std::string who = Trim(context.Utf8(arguments.who));
    requireRequester(context, who);
    const std::string limit = Trim(context.Utf8(arguments.limit));
    if (limit.empty())
    {
        throw context.UsageFailure("the limit is empty", "it reads like size=500, see slapd.conf(5)");
    }
    const SilentLog silence;
    const Limits known = limitsOf(context);
    IKVRLdapConnection& connection = context.session.Connection();
    const std::vector<StoredLimit> stored = StoredLimits(connection);
    std::vector<StoredLimit> same = ofRequester(stored, who);
    if (same.empty() && known.count(who) > 0)
    {
        same = withKey(stored, who);
    }
    if (!same.empty())
    {
        tellInForce(context, who, same);
        return;
    }
    const std::optional<std::string> alike = alikeOf(stored, who);
    try
    {
        connection.AddDBLimit(who, limit);
    }
    catch (const EKVRError&)
    {
        throw RefusedBeside(context, alike);
    }
    context.output.Member("limit", limit);
    const std::string remark = TellAlike(context.output, alike);
    TellChange(context.output, {"added", "who", who, "limit", ' ' + limit + remark});
}

/** The one limit of a requester, or nothing. */
std::optional<StoredLimit> limitOf(const Context& context, const std::vector<StoredLimit>& stored,
                                   const std::string& who)
{
    const std::vector<StoredLimit> found = ofRequester(stored, who);
    if (found.size() > 1)
    {
        throw Failure(ExitCode::Refused, context.command,
                      "several limits have the requester '" + who + "': " + joined(found),
                      "kvr-ldap attr remove '" + mainDatabaseDn + "' olcLimits VALUE removes one of them");
    }
    return found.empty() ? std::nullopt : std::optional(found.front());
}

/** Refuses what the plug-in takes for a key but is only the beginning of requesters. */
void requireNoStump(const Context& context, const std::vector<StoredLimit>& stored, const std::string& who)
{
    const std::vector<StoredLimit> begun = withKey(stored, who);
    const bool isStump = std::any_of(begun.begin(), begun.end(),
                                     [&who](const StoredLimit& limit) { return limit.requester != who; });
    if (isStump)
    {
        throw context.UsageFailure("'" + who + "' is only the beginning of a requester: " + joined(begun),
                                   "give the requester with its blanks and quotation marks");
    }
}

void remove(Context& context, const LimitArguments& arguments)
{
    const std::string who = Trim(context.Utf8(arguments.who));
    const SilentLog silence;
    const Limits known = limitsOf(context);
    IKVRLdapConnection& connection = context.session.Connection();
    const std::vector<StoredLimit> stored = StoredLimits(connection);
    requireNoStump(context, stored, who);
    requireRequester(context, who);
    const std::optional<StoredLimit> limit = limitOf(context, stored, who);
    if (!limit)
    {
        const std::string remark = TellAlike(context.output, alikeOf(stored, who), ", it has none");
        TellChange(context.output, {"unchanged", "who", who, "limit", remark});
        return;
    }
    const auto same = known.find(who);
    if (same != known.end() && same->second == limit->value)
    {
        connection.DeleteDBLimit(who);
    }
    else
    {
        // A requester with blanks is known to the plug-in by its beginning only.
        connection.SetAttrValue(mainDatabaseDn, "olcLimits", limit->value, alREMOVE);
    }
    context.output.Member("stored", limit->value);
    TellChange(context.output, {"removed", "who", who, "limit", "; it was '" + limit->value + "'"});
}

void addAdd(CommandTable& table)
{
    const auto arguments = std::make_shared<LimitArguments>();
    CLI::App& command =
        table.Add({"limit add", "Add the limits of a requester that has none yet",
                   "  kvr-ldap limit add users size=500\n"
                   "  kvr-ldap limit add 'dn.exact=\"cn=Ann Smith,dc=example,dc=com\"' 'size=10 time=5'\n"},
                  LdifForm::None, [arguments](Context& context) { add(context, *arguments); });
    AddArgument(command, "WHO", arguments->who, "requester, such as users, see \"limits\" in slapd.conf(5)")
        .required();
    AddArgument(command, "LIMIT", arguments->limit, "limits, with blanks between them").required();
}

void addDelete(CommandTable& table)
{
    const auto arguments = std::make_shared<LimitArguments>();
    CLI::App& command =
        table.Add({"limit delete", "Delete the limits of a requester", "  kvr-ldap limit delete users\n"},
                  LdifForm::None, [arguments](Context& context) { remove(context, *arguments); });
    AddArgument(command, "WHO", arguments->who, "requester, as \"limit list\" shows it").required();
}

} // namespace

void AddLimitCommands(CommandTable& table)
{
    table.AddGroup("limit", "Limits of the server's main database, by requester");
    table.Add({"limit list", "List the limits in their order", "  kvr-ldap limit list\n"}, LdifForm::None,
              list);
    addAdd(table);
    addDelete(table);
}

} // namespace KVR::Cli
