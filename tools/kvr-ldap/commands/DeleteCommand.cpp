#include "../Change.h"
#include "../Commands.h"
#include "../Confirmation.h"
#include "../Lookup.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <algorithm>
#include <set>

namespace KVR::Cli
{

namespace
{

constexpr long sizeLimitExceeded = 4;
constexpr long notAllowedOnNonLeaf = 66;

struct DeleteArguments
{
    std::string dn;
    bool confirmed = false;
};

/** Entries below another one, as far as the server lists them. */
struct Below
{
    std::vector<std::string> dns;
    bool truncated = false;

    std::string Number() const { return (truncated ? "at least " : "") + std::to_string(dns.size()); }

    /** "3 entries", "at least 1 entry" */
    std::string Counted(const std::string& one, const std::string& many) const
    {
        return Number() + ' ' + (dns.size() == 1 ? one : many);
    }
};

/** Nothing when there is no such entry. */
std::optional<Below> entriesBelow(IKVRLdapConnection& connection, const std::string& dn)
{
    std::list<std::string> attributes{noAttributes};
    const auto query = connection.Search(dn, everyEntry, attributes, alSCOPE_CHILDREN);
    if (!query)
    {
        return std::nullopt;
    }
    Below below;
    below.truncated = connection.GetLastError() == sizeLimitExceeded;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        below.dns.push_back(entity->dn);
    }
    return below;
}

/** An operation deletes one level of children; the server refuses where it meets more on its way. */
void refuseGrandchildren(const Context& context, const std::string& dn, std::size_t depth, const Below& below)
{
    const auto depthOf = [](const std::string& each)
    {
        const std::optional<Dn> rdns = ParseDn(each);
        return rdns ? rdns->size() : 0;
    };
    const auto deepest = std::max_element(below.dns.begin(), below.dns.end(),
                                          [&depthOf](const auto& one, const auto& other)
                                          { return depthOf(one) < depthOf(other); });
    if (deepest == below.dns.end() || depthOf(*deepest) <= depth + 1)
    {
        return;
    }
    throw Failure(ExitCode::Refused, context.command,
                  "'" + dn + "' has entries more than one level below it, as '" + *deepest +
                      "', and the server would refuse; nothing is deleted",
                  "delete from the bottom up: an entry goes with those right below it only");
}

void confirm(const Context& context, const std::string& dn, const Below& below, bool confirmed)
{
    if (below.truncated)
    {
        context.messages.Line(
            context.command + ": the server lists only " + std::to_string(below.dns.size()) +
            " entries at a time: these go, and it refuses the entry itself if there are more");
    }
    const std::string children = below.Counted("child", "children");
    Confirm(context,
            {"Delete " + dn + " and its " + children + "?", "'" + dn + "' has " + children,
             "nothing is deleted", "--yes deletes them too"},
            confirmed);
}

/** Number of these entries that are gone. */
std::size_t goneOf(IKVRLdapConnection& connection, const std::string& dn, const Below& before)
{
    const Below after = entriesBelow(connection, dn).value_or(Below());
    const std::set<std::string> listed(after.dns.begin(), after.dns.end());
    const auto isGone = [&](const std::string& each)
    { return listed.count(each) == 0 && (!after.truncated || !EntryExists(connection, each)); };
    return static_cast<std::size_t>(std::count_if(before.dns.begin(), before.dns.end(), isGone));
}

/** Tells how far a deletion came that failed. */
void tellRemains(Context& context, IKVRLdapConnection& connection, const std::string& dn, const Below& before)
{
    try
    {
        const std::size_t gone = goneOf(connection, dn, before);
        context.messages.Line(context.command + ": " + std::to_string(gone) + " of " +
                              before.Counted("entry", "entries") + " below '" + dn + "' were deleted");
        context.output.Member("deletedBelow", gone);
    }
    catch (const EKVRError&)
    {
        context.messages.Line(context.command + ": entries below '" + dn +
                              "' may be deleted; how many is unknown");
    }
}

void removeEntry(Context& context, const DeleteArguments& arguments)
{
    const std::string dn = context.Dn(arguments.dn);
    const std::size_t depth = RdnsOf(context.command, dn).size();
    IKVRLdapConnection& connection = context.session.Connection();
    const std::optional<Below> below = entriesBelow(connection, dn);
    if (!below)
    {
        throw NoEntry(context.command, dn);
    }
    if (!below->dns.empty())
    {
        refuseGrandchildren(context, dn, depth, *below);
        confirm(context, dn, *below, arguments.confirmed);
    }
    try
    {
        connection.DeleteDN(dn);
    }
    catch (const EKVRError&)
    {
        // Described now: what is looked up next replaces the session's result code.
        Failure failure = DescribeException(context.command, &connection, context.withPlace);
        if (below->truncated && failure.resultCode == notAllowedOnNonLeaf)
        {
            failure.advice = "the server's size limit hid the other entries; run the command again for them";
        }
        if (!below->dns.empty())
        {
            tellRemains(context, connection, dn, *below);
        }
        throw Failure(failure);
    }
    TellChange(context.output,
               {"deleted", "dn", dn, "",
                below->dns.empty() ? "" : " and " + below->Counted("entry", "entries") + " below it"});
    context.output.Member("deletedBelow", below->dns.size());
}

} // namespace

void AddDeleteCommand(CommandTable& table)
{
    const auto arguments = std::make_shared<DeleteArguments>();
    CLI::App& command =
        table.Add({"delete", "Delete an entry, and the entries right below it once that is confirmed",
                   "  kvr-ldap delete cn=ann,ou=guests,dc=example,dc=com\n"
                   "  kvr-ldap delete ou=guests,dc=example,dc=com --yes\n"},
                  LdifForm::None, [arguments](Context& context) { removeEntry(context, *arguments); });
    AddArgument(command, "DN", arguments->dn, "DN of the entry").required();
    command.add_flag("--yes", arguments->confirmed,
                     "delete entries below it without asking, as is needed where there is no terminal");
}

} // namespace KVR::Cli
