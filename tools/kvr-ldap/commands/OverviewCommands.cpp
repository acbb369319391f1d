#include "../Commands.h"
#include "../Configuration.h"
#include "../Lookup.h"
#include "../ProviderDatabases.h"

#include <IKVRLdapConnection.h>

#include <algorithm>
#include <map>

namespace KVR::Cli
{

namespace
{

using Lines = std::list<std::string>;
using Databases = std::map<std::string, std::string>;

/** A part of the configuration as people and as programs read it. */
struct Part
{
    Lines lines;
    Datum data;
};

Part partOf(const Lines& values)
{
    return {values, values};
}

/** Suffixes by the names of their databases. @param key,value names of both in JSON */
Part partOf(const Databases& databases, const std::string& key, const std::string& value)
{
    std::size_t width = 0;
    for (const auto& [name, suffix] : databases)
    {
        width = std::max(width, name.size());
    }
    Lines lines;
    std::vector<Row> rows;
    for (const auto& [name, suffix] : databases)
    {
        std::string line = name;
        line.resize(width + 2, ' ');
        lines.push_back(line + suffix);
        rows.push_back({{key, name}, {value, suffix}});
    }
    return {lines, rows};
}

Part databases(Context& context)
{
    Databases found;
    context.session.Connection().EnumerateDatabases(found);
    return partOf(found, "name", "suffix");
}

Part modules(Context& context)
{
    Lines found;
    context.session.Connection().EnumerateModules(found);
    return partOf(found);
}

Part schemas(Context& context)
{
    Lines found;
    context.session.Connection().EnumerateLdapSchemas(found);
    return partOf(found);
}

/** The connection, once it is known that the main database can be seen. */
IKVRLdapConnection& withMainDatabase(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    RequireMainDatabase(connection, context.command);
    return connection;
}

/** Where the next clause " by ..." of a rule begins; quotation marks may hold these letters too. */
std::size_t nextClause(const std::string& rule, std::size_t from)
{
    const std::string clause = " by ";
    std::size_t at = rule.find(clause, from);
    while (at != std::string::npos &&
           std::count(rule.begin(), rule.begin() + static_cast<std::ptrdiff_t>(at), '"') % 2 != 0)
    {
        at = rule.find(clause, at + 1);
    }
    return at;
}

/** A long rule with each of its clauses on a line of its own. */
void appendRule(Lines& lines, const std::string& rule)
{
    constexpr std::size_t widest = 76;
    std::size_t end = rule.size() > widest ? nextClause(rule, 0) : std::string::npos;
    lines.push_back(rule.substr(0, end));
    while (end != std::string::npos)
    {
        const std::size_t next = nextClause(rule, end + 1);
        lines.push_back("   " + rule.substr(end, next == std::string::npos ? next : next - end));
        end = next;
    }
}

Part accessRules(Context& context)
{
    Lines rules;
    withMainDatabase(context).EnumerateDBAccessRules(rules);
    Lines lines;
    for (const std::string& rule : rules)
    {
        appendRule(lines, rule);
    }
    return {lines, rules};
}

Part indexes(Context& context)
{
    Lines found;
    withMainDatabase(context).EnumerateIndexes(found);
    return partOf(found);
}

Part limits(Context& context)
{
    const std::vector<StoredLimit> stored = StoredLimits(withMainDatabase(context));
    Lines values;
    for (const StoredLimit& limit : stored)
    {
        values.push_back(limit.value);
    }
    return {values, RowsOf(stored)};
}

Part uniqueness(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    RequireUniqueness(connection, context.command);
    Lines found;
    connection.EnumerateDBUniqueness(found);
    return partOf(found);
}

Part agreements(Context& context)
{
    Lines found;
    withMainDatabase(context).EnumerateSyncRepls(found);
    return partOf(found);
}

Part providers(Context& context)
{
    IKVRLdapConnection& connection = context.session.Connection();
    Databases found;
    connection.EnumerateLdapProviders(found);
    if (found.empty() && !EntryExists(connection, chainOverlayDn))
    {
        throw Failure(ExitCode::NotFound, context.command, NoChainOverlay());
    }
    return partOf(found, "name", "suffix");
}

struct Section
{
    const char* name; /**< in JSON */
    std::string title;
    Part (*read)(Context& context);
};

const std::vector<Section>& sections()
{
    static const std::vector<Section> all = {
        {"databases", "Databases and their suffixes", databases},
        {"modules", "Modules", modules},
        {"schemas", "Schemas", schemas},
        {"rules", "Access rules of " + mainDatabaseName + ", in their order", accessRules},
        {"indexes", "Indexes of " + mainDatabaseName, indexes},
        {"limits", "Limits of " + mainDatabaseName, limits},
        {"uniqueness", "Unique attributes of " + mainDatabaseName, uniqueness},
        {"agreements", "Replication agreements", agreements},
        {"providers", "LDAP providers", providers}};
    return all;
}

/** The page, section by section. */
class Overview
{
public:
    /** Connects, so that a server that can't be reached is told once. */
    explicit Overview(Context& context) : context_(context), connection_(context.session.Connection()) {}

    void Show(const Section& section)
    {
        Title(section.title);
        try
        {
            const SilentLog silence;
            const Part part = section.read(context_);
            context_.output.Member(section.name, part.data);
            Lines lines = part.lines;
            if (lines.empty())
            {
                lines.emplace_back("(none, or hidden)");
            }
            for (const std::string& line : lines)
            {
                context_.output.Line("  " + line);
            }
            shown_ = true;
        }
        catch (const std::exception&)
        {
            const Failure failure = DescribeException(context_.command, &connection_, context_.withPlace);
            if (failure.exitCode == ExitCode::NoConnection)
            {
                throw;
            }
            Miss(section, failure);
        }
    }

    /** @throws Failure when nothing could be shown */
    void Finish()
    {
        context_.output.Member("unavailable", missing_);
        if (!shown_)
        {
            throw Failure(*firstFailure_);
        }
    }

private:
    void Title(const std::string& title)
    {
        if (titled_)
        {
            context_.output.Line("");
        }
        titled_ = true;
        context_.output.Line(title);
    }

    void Miss(const Section& section, const Failure& failure)
    {
        context_.output.Member(section.name, std::monostate());
        context_.output.Line(std::string("  not shown: ") + failure.what());
        missing_.push_back({{"section", section.name}, {"reason", failure.what()}});
        if (!firstFailure_)
        {
            firstFailure_ = failure;
        }
    }

    Context& context_;
    IKVRLdapConnection& connection_;
    std::vector<Row> missing_;
    std::optional<Failure> firstFailure_;
    bool titled_ = false;
    bool shown_ = false;
};

void overview(Context& context)
{
    Overview page(context);
    for (const Section& section : sections())
    {
        page.Show(section);
    }
    page.Finish();
}

/** A part of the configuration as a command of its own. */
void showPart(Context& context, const std::string& name, Part (*read)(Context& context))
{
    const SilentLog silence;
    const Part part = read(context);
    context.output.Member(name, part.data);
    for (const std::string& line : part.lines)
    {
        context.output.Line(line);
    }
}

} // namespace

void AddOverviewCommands(CommandTable& table)
{
    table.Add({"overview", "Show the configuration of the server on one page",
               "  kvr-ldap overview\n  kvr-ldap overview --output json\n"},
              LdifForm::None, overview);
    table.Add({"databases", "List the databases with their suffixes", "  kvr-ldap databases\n"},
              LdifForm::None, [](Context& context) { showPart(context, "databases", databases); });
    table.Add({"modules", "List the modules that the server has loaded", "  kvr-ldap modules\n"},
              LdifForm::None, [](Context& context) { showPart(context, "modules", modules); });
}

} // namespace KVR::Cli
