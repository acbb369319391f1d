#include "../Commands.h"
#include "../Configuration.h"
#include "../Lookup.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

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
        lines.push_back(name + std::string(width - name.size() + 2, ' ') + suffix);
        rows.push_back({{key, name}, {value, suffix}});
    }
    return {lines, rows};
}

Part databases(IKVRLdapConnection& connection)
{
    Databases found;
    connection.EnumerateDatabases(found);
    return partOf(found, "name", "suffix");
}

Part modules(IKVRLdapConnection& connection)
{
    Lines found;
    connection.EnumerateModules(found);
    return partOf(found);
}

Part schemas(IKVRLdapConnection& connection)
{
    Lines found;
    connection.EnumerateLdapSchemas(found);
    return partOf(found);
}

void requireMainDatabase(IKVRLdapConnection& connection)
{
    if (!EntryExists(connection, mainDatabaseDn))
    {
        throw Failure(ExitCode::NotFound, "overview",
                      "there is no database " + mainDatabaseName + ", or it is hidden");
    }
}

/** A long rule with each of its clauses on a line of its own. */
void appendRule(Lines& lines, const std::string& rule)
{
    constexpr std::size_t widest = 76;
    const std::string clause = " by ";
    std::size_t end = rule.size() > widest ? rule.find(clause) : std::string::npos;
    lines.push_back(rule.substr(0, end));
    while (end != std::string::npos)
    {
        const std::size_t next = rule.find(clause, end + 1);
        lines.push_back("   " + rule.substr(end, next == std::string::npos ? next : next - end));
        end = next;
    }
}

Part accessRules(IKVRLdapConnection& connection)
{
    Lines rules;
    connection.EnumerateDBAccessRules(rules);
    requireMainDatabase(connection);
    Lines lines;
    for (const std::string& rule : rules)
    {
        appendRule(lines, rule);
    }
    return {lines, rules};
}

Part indexes(IKVRLdapConnection& connection)
{
    Lines found;
    connection.EnumerateIndexes(found);
    requireMainDatabase(connection);
    return partOf(found);
}

Part limits(IKVRLdapConnection& connection)
{
    std::map<std::string, std::string> known;
    connection.EnumerateDBLimits(known);
    requireMainDatabase(connection);
    Lines values;
    for (const StoredLimit& limit : StoredLimits(connection))
    {
        values.push_back(limit.value);
    }
    return partOf(values);
}

Part uniqueness(IKVRLdapConnection& connection)
{
    Lines found;
    connection.EnumerateDBUniqueness(found);
    Lines names{noAttributes};
    const auto overlays =
        connection.Search(mainDatabaseDn, "(objectClass=olcUniqueConfig)", names, alSCOPE_SUB);
    if (!overlays || overlays->Count() == 0)
    {
        throw Failure(ExitCode::NotFound, "overview",
                      "the database " + mainDatabaseName + " has no overlay unique, or it is hidden");
    }
    return partOf(found);
}

struct Section
{
    const char* name; /**< in JSON */
    std::string title;
    Part (*read)(IKVRLdapConnection& connection);
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
        {"uniqueness", "Unique attributes of " + mainDatabaseName, uniqueness}};
    return all;
}

/** The page, section by section. */
class Overview
{
public:
    explicit Overview(Context& context) : context_(context), connection_(context.session.Connection()) {}

    void Show(const Section& section)
    {
        Title(section.title);
        try
        {
            const SilentLog silence;
            const Part part = section.read(connection_);
            context_.output.Member(section.name, part.data);
            Lines lines = part.lines;
            if (lines.empty())
            {
                lines.emplace_back("(none)");
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
                throw failure;
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
            throw *firstFailure_;
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
void showPart(Context& context, const std::string& name, Part (*read)(IKVRLdapConnection& connection))
{
    const SilentLog silence;
    const Part part = read(context.session.Connection());
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
