#include "EntryReadings.h"

#include "Caught.h"
#include "EntryBytes.h"
#include "KVRLdapQuery.h"
#include "LdapInterposer.h"
#include "LogCapture.h"
#include "MemoryServer.h"
#include "RecordingHost.h"
#include "RecordingTypes.h"
#include "ReferenceQuery.h"

#include <kvr/KVRUtils.h>

#include <iconv.h>

#include <map>

namespace KVR::Support
{

namespace
{

using Values = std::multimap<std::string, std::string>;

/** Where the calls of iconv(3) are written down; null for nowhere. */
EventRecord* iconvRecord = nullptr;

/** The conversion that was used last. */
iconv_t usedConversion = nullptr;

} // namespace
} // namespace KVR::Support

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's option --wrap names
// them
extern "C"
{
    std::size_t __real_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                             std::size_t* outLeft);
    std::size_t __wrap_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                             std::size_t* outLeft);

    std::size_t __wrap_iconv(iconv_t handle, char** in, std::size_t* inLeft, char** out, std::size_t* outLeft)
    {
        if (KVR::Support::iconvRecord != nullptr)
        {
            KVR::Support::usedConversion = handle;
            // Without an input it would reset the conversion's state.
            KVR::Support::iconvRecord->add("iconv", in != nullptr ? " of " : " without input", *inLeft,
                                           " into ", *outLeft);
        }
        return __real_iconv(handle, in, inLeft, out, outLeft);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace KVR::Support
{

namespace
{

/** Another result, one of whose entries is plain and one not. */
std::string otherBytes(int id)
{
    return entryMessage(id,
                        entryContent("cn=nested", {{"cn", {"a", "b"}}, {"sn", {std::string(100, 's')}}})) +
           entryMessage(id, entryContent("cn=repeated", {{"cn", {"a"}}, {"CN", {"b"}}})) +
           resultMessage(id, LDAP_RES_SEARCH_RESULT, 0);
}

std::string answerBytes(int id, const EntryAnswer& answer)
{
    std::string bytes;
    for (const std::string& entry : answer.entries)
    {
        bytes += entryMessage(id, entry, answer.behind);
        if (!answer.between.empty())
        {
            bytes += operationMessage(id, answer.between);
        }
    }
    bytes += resultMessage(id, LDAP_RES_SEARCH_RESULT, answer.code);
    if (answer.spoil)
    {
        answer.spoil(bytes);
    }
    return bytes;
}

/** Lets connections find this character set, in place of the one of the "C" locale. */
class Codeset
{
public:
    explicit Codeset(const std::string& name) { SetDefaultCodeset(name); }
    ~Codeset() { SetDefaultCodeset("UTF-8"); }
    Codeset(const Codeset&) = delete;
    Codeset& operator=(const Codeset&) = delete;
};

/** A connection that is used again. */
struct Client
{
    std::unique_ptr<CKVRLdapConnection> connection;
    RecordingConnection* recording = nullptr; /**< the connection, when it is a deriving one */
    LDAP* session = nullptr;
    iconv_t conversion = nullptr; /**< the one to the locale's character set, once it was used */
};

} // namespace

struct EntryReader::Parts
{
    Client& client(Road road, const Setting& setting, bool other);

    LogCapture log;
    LdapInterposer library;
    MemoryServer server;
    RecordingHost host;
    EventRecord record;
    std::map<std::string, Client> clients; /**< by codeset, types, road, and whether it is the other */
};

Client& EntryReader::Parts::client(Road road, const Setting& setting, bool other)
{
    std::string key = setting.codeset;
    for (const int part : {static_cast<int>(road), static_cast<int>(setting.types), static_cast<int>(other)})
    {
        key += static_cast<char>('0' + part);
    }
    Client& client = clients[key];
    if (!client.connection)
    {
        const Codeset codeset(setting.codeset);
        if (setting.types == Types::Deriving)
        {
            auto made = std::make_unique<RecordingConnection>(host, record);
            client.recording = made.get();
            client.connection = std::move(made);
        }
        else
        {
            client.connection = std::make_unique<CKVRLdapConnection>(host);
        }
        client.connection->Connect("memory", KVRAuthAnonymous);
        client.session = library.session;
        client.conversion = nullptr;
    }
    return client;
}

namespace
{

/** One reading. */
class Walker
{
public:
    Walker(LdapInterposer& library, EventRecord& record, Client& client, Client& other, Road road,
           const Setting& setting)
        : library_(library),
          record_(record),
          client_(client),
          other_(other),
          road_(road),
          setting_(setting),
          entities_{makeEntity(setting.use == EntityUse::Taken ? other : client), makeEntity(client)}
    {
        entities_.front()->dn = "cn=former";
        entities_.front()->attributes = {{"former", "value"}};
    }

    ~Walker() { iconvRecord = nullptr; }

    Walker(const Walker&) = delete;
    Walker& operator=(const Walker&) = delete;

    /** @return false when there is no result to walk over */
    bool search()
    {
        return attempt([&] { query_ = makeQuery(client_); });
    }

    /** Reads the result of so many entries. */
    void read(Reading& reading, std::size_t entries)
    {
        const Client& client = client_;
        if (setting_.keptCode != 0)
        {
            ldap_set_option(client.session, LDAP_OPT_RESULT_CODE, &setting_.keptCode);
        }
        resetConversion();
        if (client_.recording != nullptr)
        {
            client_.recording->begin(setting_.throwsAt, setting_.searches);
        }
        iconvRecord = &record_;
        library_.readDns = 0;
        count();
        const bool ended = walk(entries);
        reading.quiet = ended && !thrown_;
        reading.keptCode = keptCode();
        reading.readInOnePass = static_cast<int>(entries) - library_.readDns;
        // What follows the end is the beginning, and so is what follows First.
        fetch(0);
        attempt([&] { query_->First(); });
        count();
        walk(entries);
        client_.conversion = usedConversion != nullptr ? usedConversion : client_.conversion;
    }

    int keptCode() const
    {
        int code = 0;
        ldap_get_option(client_.session, LDAP_OPT_RESULT_CODE, &code);
        return code;
    }

private:
    /** Conversions keep a state, and readings are not to depend on those before them. */
    void resetConversion()
    {
        if (client_.conversion != nullptr)
        {
            __real_iconv(client_.conversion, nullptr, nullptr, nullptr, nullptr);
        }
        usedConversion = nullptr;
    }

    std::shared_ptr<IKVRLdapEntity> makeEntity(Client& client) const
    {
        if (setting_.types == Types::Own)
        {
            return client.connection->AllocEntity();
        }
        return std::make_shared<RecordingEntity>(*client.connection, record_);
    }

    std::shared_ptr<IKVRLdapQuery> makeQuery(Client& client) const
    {
        if (road_ == Road::Reference)
        {
            return std::make_shared<ReferenceQuery>(*client.connection, client.session);
        }
        std::list<std::string> names;
        return client.connection->Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
    }

    /** @return false when it does not come to its end */
    bool walk(std::size_t entries)
    {
        for (std::size_t step = 0; step <= entries; ++step)
        {
            if (!fetch(step))
            {
                return step == entries;
            }
        }
        return false;
    }

    /** @return false at the end */
    bool fetch(std::size_t step)
    {
        const bool alternated = setting_.use == EntityUse::Alternated && step % 2 != 0;
        std::shared_ptr<IKVRLdapEntity> entity = entities_[alternated ? 1 : 0];
        prepare(entity);
        record_.entity = entity.get();
        bool found = true;
        attempt([&] { found = query_->Fetch(entity); });
        record_.add(found ? "entry \"" : "end \"", entity->dn, "\", code ", keptCode());
        for (const auto& [name, value] : entity->attributes)
        {
            record_.add("  ", name, " = ", value);
        }
        return found;
    }

    void prepare(std::shared_ptr<IKVRLdapEntity>& entity)
    {
        Values values{{"cn", "1"}, {"cn", "2"}, {"a", "3"}, {"", "4"}, {"zz", std::string(40, '5')}};
        switch (setting_.use)
        {
        case EntityUse::Cleared:
            entity->Clear();
            break;
        case EntityUse::Updated:
            values = {{"+cn", "added"}, {"!sn", ""}, {"=description", std::string(500, 'u')}};
            attempt([&] { entity->Update(values, true); });
            break;
        case EntityUse::MovedFrom:
            values = std::move(entity->attributes);
            break;
        case EntityUse::Swapped:
            entity->attributes.swap(values);
            std::swap(entity->attributes, entities_.back()->attributes);
            break;
        case EntityUse::Edited:
            entity->attributes.insert(values.begin(), values.end());
            entity->dn.assign(200, 'd');
            break;
        case EntityUse::Shared:
            fetchElsewhere(entity);
            break;
        default:
            break;
        }
    }

    void fetchElsewhere(std::shared_ptr<IKVRLdapEntity>& entity)
    {
        iconvRecord = nullptr;
        const int readDns = library_.readDns;
        attempt(
            [&]
            {
                otherQuery_ = otherQuery_ ? otherQuery_ : makeQuery(other_);
                record_.entity = entity.get();
                otherQuery_->Fetch(entity);
            });
        library_.readDns = readDns;
        iconvRecord = &record_;
    }

    void count()
    {
        attempt([&] { record_.add("counted ", query_->Count()); });
    }

    template <typename Call>
    bool attempt(Call&& call)
    {
        const Caught error = caught(call);
        if (error == Caught())
        {
            return true;
        }
        thrown_ = true;
        record_.add("thrown ", error.type.name(), " ", error.message, " details ", error.details, " at ",
                    error.place);
        return false;
    }

    LdapInterposer& library_;
    EventRecord& record_;
    Client& client_;
    Client& other_;
    const Road road_;
    const Setting& setting_;
    const std::vector<std::shared_ptr<IKVRLdapEntity>> entities_;
    std::shared_ptr<IKVRLdapQuery> query_;
    std::shared_ptr<IKVRLdapQuery> otherQuery_;
    bool thrown_ = false;
};

std::string listed(const std::string& title, const Reading& reading)
{
    std::string lines = "\n" + title;
    for (const std::string& event : reading.events.lines())
    {
        lines += "\n  " + event;
    }
    return lines;
}

} // namespace

Setting settingOf(std::uint32_t number)
{
    constexpr const char* codesets[] = {"UTF-8", "ISO-8859-1", "ISO-2022-JP", "UTF-7"};
    const auto next = [&number](std::uint32_t count)
    {
        const std::uint32_t chosen = number % count;
        number /= count;
        return chosen;
    };
    Setting setting;
    setting.types = static_cast<Types>(next(3));
    setting.codeset = codesets[next(4)];
    setting.use = static_cast<EntityUse>(next(entityUses));
    setting.keptCode = keptCodes[next(8)];
    return setting;
}

std::string printable(const std::string& bytes)
{
    std::string text;
    for (const char byte : bytes)
    {
        char code[8] = {byte};
        if (byte < ' ' || byte > '~' || byte == '\\')
        {
            static_cast<void>(std::snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned char>(byte)));
        }
        text += code;
    }
    return text;
}

std::vector<std::string> Events::lines() const
{
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (const std::size_t end : ends)
    {
        lines.push_back(printable(bytes.substr(begin, end - begin)));
        begin = end;
    }
    return lines;
}

EntryReader::EntryReader() : parts_(std::make_unique<Parts>())
{
    parts_->library.makeSession = [this] { return parts_->server.makeSession(); };
}

EntryReader::~EntryReader() = default;

Reading EntryReader::read(const EntryAnswer& answer, Road road, const Setting& setting)
{
    Parts& parts = *parts_;
    parts.library.hideBytes = road == Road::ByName;
    parts.library.readOptions.clear();
    parts.library.searches.clear();
    parts.library.freed.clear();
    parts.log.clear();
    parts.record = {};
    Client& client = parts.client(road, setting, false);
    Client& other = parts.client(road, setting, true);
    parts.record.events = {};
    Reading reading;
    bool found = false;
    {
        parts.server.onSearch = [&answer](int id) { return answerBytes(id, answer); };
        Walker walker(parts.library, parts.record, client, other, road, setting);
        found = walker.search();
        parts.server.onSearch = otherBytes;
        reading.keptCode = walker.keptCode();
        if (found)
        {
            walker.read(reading, answer.entries.size());
        }
    }
    for (const auto& [level, text] : parts.log.messages())
    {
        parts.record.add("logged ", level, " ", text);
    }
    reading.events = std::move(parts.record.events);
    if (!found || answer.spoil)
    {
        // What the session still has to read belongs to no later answer.
        client = {};
    }
    return reading;
}

std::string EntryReader::judge(const EntryAnswer& answer, const Setting& setting)
{
    const Reading reference = read(answer, Road::Reference, setting);
    const Reading reading = read(answer, Road::AsItIs, setting);
    if (reading.events == reference.events)
    {
        return "";
    }
    std::string wrong = "it is read differently, types " + std::to_string(static_cast<int>(setting.types)) +
                        ", use " + std::to_string(static_cast<int>(setting.use)) + ", kept code " +
                        std::to_string(setting.keptCode) + ", " + setting.codeset;
    for (const std::string& entry : answer.entries)
    {
        wrong += "\n" + printable(entry);
    }
    return wrong + listed("by name:", reference) + listed("as it is:", reading);
}

} // namespace KVR::Support
