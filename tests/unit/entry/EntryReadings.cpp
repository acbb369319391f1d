#include "EntryReadings.h"

#include "Caught.h"
#include "EntryBytes.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"
#include "KVRLdapQuery.h"
#include "LdapInterposer.h"
#include "LogCapture.h"
#include "MemoryServer.h"
#include "RecordingHost.h"
#include "ReferenceQuery.h"

#include <kvr/KVRUtils.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace KVR::Support
{

namespace
{

/** What is being written down. */
struct Record
{
    std::vector<std::string> events;
    const IKVRLdapEntity* entity = nullptr; /**< that is being filled */

    template <typename... Parts>
    void add(const Parts&... parts)
    {
        std::ostringstream line;
        (line << ... << parts);
        events.push_back(line.str());
    }
};

Record* current = nullptr;

} // namespace

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
        if (KVR::Support::current != nullptr)
        {
            // Without an input it would reset the conversion's state.
            KVR::Support::current->add("iconv", in != nullptr ? " of " : " without input", *inLeft, " into ",
                                       *outLeft);
        }
        return __real_iconv(handle, in, inLeft, out, outLeft);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace KVR::Support
{

namespace
{

/** Writes down every virtual call that reading an entry may make. */
class RecordingConnection : public CKVRLdapConnection
{
public:
    RecordingConnection(IKVRCore& host, LdapInterposer& library, Record& record, const Conversion& conversion)
        : CKVRLdapConnection(host), library_(library), record_(record), conversion_(conversion)
    {
    }

    bool IsConnected() override
    {
        record_.add("IsConnected");
        return CKVRLdapConnection::IsConnected();
    }

    bool IfReconnectNeeded() override
    {
        record_.add("IfReconnectNeeded");
        return CKVRLdapConnection::IfReconnectNeeded();
    }

    long GetLastError() override
    {
        record_.add("GetLastError");
        return CKVRLdapConnection::GetLastError();
    }

    std::string LocalToUtf8(const std::string& text) override
    {
        record_.add("LocalToUtf8");
        return CKVRLdapConnection::LocalToUtf8(text);
    }

    std::string Utf8ToLocal(const std::string& text) override
    {
        if (nested_)
        {
            return CKVRLdapConnection::Utf8ToLocal(text);
        }
        record_.add("Utf8ToLocal \"", printable(text), "\" into \"", printable(record_.entity->dn),
                    "\" with ", record_.entity->attributes.size());
        if (++conversions_ == conversion_.throwsAt)
        {
            throw std::runtime_error("no conversion " + printable(text));
        }
        if (conversion_.searches)
        {
            readAnother();
        }
        return CKVRLdapConnection::Utf8ToLocal(text);
    }

private:
    void readAnother()
    {
        nested_ = true;
        const int readDns = library_.readDns;
        std::list<std::string> names;
        std::shared_ptr<IKVRLdapEntity> another;
        const auto query = Search("dc=nested", "(objectClass=*)", names, alSCOPE_SUB);
        while (query->Fetch(another))
        {
            record_.add("nested \"", printable(another->dn), "\" ", another->attributes.size());
        }
        library_.readDns = readDns;
        nested_ = false;
    }

    LdapInterposer& library_;
    Record& record_;
    Conversion conversion_;
    int conversions_ = 0;
    bool nested_ = false;
};

class RecordingEntity : public CKVRLdapEntity
{
public:
    RecordingEntity(CKVRLdapConnection& owner, Record& record) : CKVRLdapEntity(owner), record_(record) {}

    bool IsValid() override
    {
        record_.add("IsValid");
        return CKVRLdapEntity::IsValid();
    }

    void Clear() override
    {
        record_.add("Clear of \"", printable(dn), "\" with ", attributes.size());
        CKVRLdapEntity::Clear();
    }

private:
    Record& record_;
};

/** The contents of the element at the front, which are cut from the bytes; false when it is damaged. */
bool takeElement(std::string& bytes, std::string& content)
{
    constexpr unsigned char severalBytes = 0x1f;
    const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(bytes.at(at)); };
    if (bytes.size() < 2 || (byteAt(0) & severalBytes) == severalBytes)
    {
        return false;
    }
    std::size_t length = byteAt(1);
    std::size_t begin = 2;
    if (length >= 0x80)
    {
        begin += length - 0x80;
        if (length == 0x80 || begin > 2 + sizeof(length) || begin > bytes.size())
        {
            return false;
        }
        length = 0;
        for (std::size_t at = 2; at < begin; ++at)
        {
            length = 256 * length + byteAt(at);
        }
    }
    if (length > bytes.size() - begin)
    {
        return false;
    }
    content = bytes.substr(begin, length);
    bytes.erase(0, begin + length);
    return true;
}

/** Whether list and first attribute behind the DN begin as they do in every entry. */
bool isHeadUsual(std::string entry)
{
    constexpr char sequence = 0x30;
    std::string dn;
    std::string list;
    return takeElement(entry, dn) && takeElement(entry, list) && (list.empty() || list.front() == sequence);
}

std::vector<std::string> firstWalkOf(const Reading& reading)
{
    const auto begin = reading.events.begin();
    return {begin, begin + static_cast<long>(reading.firstWalk)};
}

std::string listed(const std::string& title, const Reading& reading)
{
    std::string lines = "\n" + title;
    for (const std::string& event : reading.events)
    {
        lines += "\n  " + event;
    }
    return lines;
}

/** Another result, whose entries are read in both ways. */
std::string nestedBytes(int id)
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
    }
    bytes += resultMessage(id, LDAP_RES_SEARCH_RESULT, answer.code);
    if (answer.spoil)
    {
        answer.spoil(bytes);
    }
    return bytes;
}

class Reader
{
public:
    Reader(const EntryAnswer& answer, Road road, const Conversion& conversion)
        : codeset_(conversion.codeset),
          connection_(host_, library_, record_, conversion),
          entity_(std::make_shared<RecordingEntity>(connection_, record_)),
          entries_(answer.entries.size())
    {
        library_.makeSession = [this] { return server_.makeSession(); };
        library_.refuseInPlace = road == Road::ByName;
        connection_.Connect("memory", KVRAuthAnonymous);
        server_.onSearch = [&answer](int id) { return answerBytes(id, answer); };
        attempt([&] { search(road); });
        server_.onSearch = nestedBytes;
        entity_->dn = "cn=former";
        entity_->attributes = {{"former", "value"}};
        record_.entity = entity_.get();
        current = &record_;
    }

    ~Reader()
    {
        current = nullptr;
        record_.entity = nullptr;
    }

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    Reading read()
    {
        Reading reading;
        if (!query_)
        {
            reading.events = record_.events;
            reading.keptCode = keptCode();
            return reading;
        }
        attempt([&] { record_.add("counted ", query_->Count()); });
        const bool ended = walk();
        reading.quiet = ended && !thrown_;
        reading.keptCode = keptCode();
        reading.firstWalk = record_.events.size();
        reading.readInPlace = static_cast<int>(entries_) - library_.readDns;
        // What follows the end is the beginning, and so is what follows First.
        fetch();
        attempt([&] { query_->First(); });
        attempt([&] { record_.add("counted ", query_->Count()); });
        walk();
        for (const auto& [level, text] : log_.messages())
        {
            record_.add("logged ", level, " ", text);
        }
        reading.events = record_.events;
        return reading;
    }

private:
    /** @return false when it does not come to its end */
    bool walk()
    {
        for (std::size_t step = 0; step <= entries_; ++step)
        {
            if (!fetch())
            {
                return step == entries_;
            }
        }
        return false;
    }

    /** @return false at the end */
    bool fetch()
    {
        bool found = true;
        std::shared_ptr<IKVRLdapEntity> entity = entity_;
        attempt([&] { found = query_->Fetch(entity); });
        record_.add(found ? "entry \"" : "end \"", printable(entity_->dn), "\", code ", keptCode());
        for (const auto& [name, value] : entity_->attributes)
        {
            record_.add("  ", printable(name), " = ", printable(value));
        }
        return found;
    }

    template <typename Call>
    void attempt(Call&& call)
    {
        const Caught error = caught(call);
        if (!(error == Caught()))
        {
            thrown_ = true;
            record_.add("thrown ", error);
        }
    }

    void search(Road road)
    {
        if (road == Road::Reference)
        {
            query_ = std::make_shared<ReferenceQuery>(connection_, library_.session);
            return;
        }
        std::list<std::string> names;
        query_ = connection_.Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
    }

    int keptCode() const
    {
        int code = 0;
        ldap_get_option(library_.session, LDAP_OPT_RESULT_CODE, &code);
        return code;
    }

    /** The character set of the "C" locale, in which the tests run. */
    struct Codeset
    {
        explicit Codeset(const std::string& name) { SetDefaultCodeset(name); }
        ~Codeset() { SetDefaultCodeset("UTF-8"); }
        Codeset(const Codeset&) = delete;
        Codeset& operator=(const Codeset&) = delete;
    };

    Codeset codeset_;
    LogCapture log_;
    LdapInterposer library_;
    MemoryServer server_;
    RecordingHost host_;
    Record record_;
    RecordingConnection connection_;
    std::shared_ptr<RecordingEntity> entity_;
    std::shared_ptr<IKVRLdapQuery> query_;
    std::size_t entries_;
    bool thrown_ = false;
};

} // namespace

Reading readAnswer(const EntryAnswer& answer, Road road, const Conversion& conversion)
{
    return Reader(answer, road, conversion).read();
}

std::string judgeDamaged(const EntryAnswer& answer, const Conversion& conversion)
{
    const Reading reference = readAnswer(answer, Road::Reference, conversion);
    const Reading reading = readAnswer(answer, Road::AsItIs, conversion);
    const bool usual = answer.spoil || std::all_of(answer.entries.begin(), answer.entries.end(), isHeadUsual);
    const bool told = !reading.quiet && reading.keptCode == LDAP_DECODING_ERROR;
    const bool alike =
        usual ? reading.events == reference.events : told || firstWalkOf(reading) == firstWalkOf(reference);
    std::string wrong = alike ? "" : "it is read differently";
    if (!wrong.empty())
    {
        for (const std::string& entry : answer.entries)
        {
            wrong += "\n" + printable(entry);
        }
        wrong += listed("by name:", reference) + listed("as it is:", reading);
    }
    return wrong;
}

} // namespace KVR::Support
