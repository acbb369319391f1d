#include "Configuration.h"

#include "Commands.h"
#include "Lookup.h"
#include "Text.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/KVRUtils.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

constexpr const char* limitsAttribute = "olcLimits";

std::string comparable(const std::string& text)
{
    std::string result;
    for (const char character : LowerAscii(text))
    {
        if (character != ' ' && character != '\t')
        {
            result += character;
        }
    }
    return result;
}

/** Where the first word ends, as the server cuts its lines into words. @param closed receives whether
 * its quotation marks are closed */
std::size_t endOfWord(const std::string& text, bool& closed)
{
    bool quoted = false;
    std::size_t end = 0;
    while (end < text.size() && (quoted || (text[end] != ' ' && text[end] != '\t')))
    {
        quoted = quoted != (text[end] == '"');
        end += text[end] == '\\' && end + 1 < text.size() ? 2U : 1U;
    }
    closed = !quoted;
    return end;
}

} // namespace

const std::string mainDatabaseName = KVR_MAIN_DATABASE;
const std::string mainDatabaseDn = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";

void RequireMainDatabase(IKVRLdapConnection& connection, const std::string& command)
{
    if (EntryExists(connection, mainDatabaseDn))
    {
        return;
    }
    // Where the whole configuration is hidden, any of its lists says so.
    std::list<std::string> ignored;
    connection.EnumerateIndexes(ignored);
    throw Failure(ExitCode::NotFound, command,
                  "there is no database " + mainDatabaseName + ", or it is hidden");
}

void RequireUniqueness(IKVRLdapConnection& connection, const std::string& command)
{
    RequireMainDatabase(connection, command);
    std::list<std::string> names{noAttributes};
    const auto overlays =
        connection.Search(mainDatabaseDn, "(objectClass=olcUniqueConfig)", names, alSCOPE_ONE);
    if (!overlays || overlays->Count() == 0)
    {
        throw Failure(ExitCode::NotFound, command,
                      "the database " + mainDatabaseName + " has no overlay unique, or it is hidden");
    }
}

SilentLog::SilentLog() : level_(CKVRLogProvider::GetLogProvider().level)
{
    if (level_ == kvrLOG_FAILURE)
    {
        CKVRLogProvider::GetLogProvider().level = kvrLOG_FAILURE - 1;
    }
}

SilentLog::~SilentLog()
{
    CKVRLogProvider::GetLogProvider().level = level_;
}

bool IsAlike(const std::string& one, const std::string& other)
{
    return comparable(one) == comparable(other);
}

std::optional<std::string> AlikeOf(const std::list<std::string>& values, const std::string& text)
{
    const auto found =
        std::find_if(values.begin(), values.end(),
                     [&text](const std::string& value) { return value != text && IsAlike(value, text); });
    return found == values.end() ? std::nullopt : std::optional(*found);
}

std::string TellAlike(Output& output, const std::optional<std::string>& alike, const std::string& otherwise)
{
    if (!alike)
    {
        return otherwise;
    }
    output.Member("stored", *alike);
    return "; stored is '" + *alike + "'";
}

Failure RefusedBeside(Context& context, const std::optional<std::string>& alike)
{
    Failure failure = DescribeException(context.command, &context.session.Connection(), context.withPlace);
    if (alike)
    {
        failure.advice = "stored is '" + *alike + "'";
    }
    return failure;
}

StoredLimit ParseLimit(const std::string& value)
{
    StoredLimit limit{value, value, std::nullopt};
    const std::size_t brace = value.find('}');
    if (brace != std::string::npos)
    {
        limit.requester = value.substr(brace + 1);
        const std::size_t blank = limit.requester.find(' ');
        if (blank != std::string::npos)
        {
            limit.key = Trim(limit.requester.substr(0, blank));
        }
    }
    bool closed = false;
    limit.requester.resize(endOfWord(limit.requester, closed));
    return limit;
}

std::vector<StoredLimit> StoredLimits(IKVRLdapConnection& connection)
{
    std::list<std::string> names{limitsAttribute};
    const auto query = connection.Search(mainDatabaseDn, everyEntry, names, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    std::list<std::string> values;
    if (query && query->Fetch(entity))
    {
        entity->ValsByAttr(limitsAttribute, values, true);
    }
    std::vector<StoredLimit> limits;
    std::transform(values.begin(), values.end(), std::back_inserter(limits), ParseLimit);
    return limits;
}

std::vector<Row> RowsOf(const std::vector<StoredLimit>& limits)
{
    std::vector<Row> rows;
    for (const StoredLimit& limit : limits)
    {
        rows.push_back({{"who", limit.requester}, {"value", limit.value}, {"key", std::monostate()}});
        if (limit.key)
        {
            rows.back().back().second = *limit.key;
        }
    }
    return rows;
}

bool IsRequester(const std::string& text)
{
    bool closed = false;
    return !text.empty() && endOfWord(text, closed) == text.size() && closed;
}

} // namespace KVR::Cli
