#include "KVRLdapEntity.h"

#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapReceivedEntry.h"
#include "KVRTranslate.h"

#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace KVR
{

namespace
{

/** What positions of the entity name: hosts know them under the cursor's file. */
constexpr char reportedFile[] = "src/interfaces/ldap-wrapper/KVRLdapQuery.cpp";

/** Logs a text that names an attribute, at level 0. */
void reportAttribute(const char* function, unsigned long line, const char* format, const std::string& name)
{
    CKVRFormatCall call(reportedFile, function, line);
    CKVRLogProvider::GetLogProvider().Put(kvrLOG_FAILURE, 1, call(1, format, name.c_str()));
}

/** Hosts compare this text, which is shorter than the one std::string::substr has of its own. */
[[noreturn]] void throwOutOfRange()
{
    throw std::out_of_range("basic_string::substr");
}

/** Gives texts new values in the room that they have, as long as little of it is left unused. */
class TextReuse
{
public:
    void Assign(std::string& text, std::string_view value)
    {
        // A text that grows would get room to spare.
        const std::size_t unused = text.capacity() > inPlace ? text.capacity() - value.size() : 0;
        if (value.size() > text.capacity() || unused > left_)
        {
            text.clear();
            std::string(value).swap(text);
            return;
        }
        left_ -= unused;
        text.assign(value);
    }

private:
    static inline const std::size_t inPlace = std::string().capacity();
    std::size_t left_ = keptByEntity;
};

/** Erases on destruction what is left of the former content, from `at` on. */
struct RestOfMap
{
    explicit RestOfMap(std::multimap<std::string, std::string>& whole) : map(whole), at(whole.begin()) {}
    ~RestOfMap() { map.erase(at, map.end()); }

    RestOfMap(const RestOfMap&) = delete;
    RestOfMap& operator=(const RestOfMap&) = delete;

    std::multimap<std::string, std::string>& map;
    std::multimap<std::string, std::string>::iterator at;
};

} // namespace

CKVRLdapEntity::CKVRLdapEntity(CKVRLdapConnection& owner) : connection(owner) {}

CKVRLdapEntity::~CKVRLdapEntity()
{
    CKVRLdapEntity::Clear();
}

std::string CKVRLdapEntity::ValByAttr(const std::string& name, bool quiet)
{
    const auto [first, end] = attributes.equal_range(name);
    if (first == end)
    {
        if (!quiet)
        {
            reportAttribute("ValByAttr", __LINE__, moduleText("LDAP attribute '%s' not found"), name);
        }
        return "";
    }
    // Told even when quiet: the caller expects one value and silently gets one of several.
    if (std::next(first) != end)
    {
        reportAttribute("ValByAttr", __LINE__, moduleText("LDAP attribute '%s' met twice"), name);
    }
    return first->second;
}

unsigned long CKVRLdapEntity::ValsByAttr(const std::string& name, std::list<std::string>& values, bool quiet)
{
    values.clear();
    const auto [first, end] = attributes.equal_range(name);
    std::transform(first, end, std::back_inserter(values), [](const auto& pair) { return pair.second; });
    if (values.empty() && !quiet)
    {
        reportAttribute("ValsByAttr", __LINE__, moduleText("LDAP attribute '%s' not found"), name);
    }
    return values.size();
}

void CKVRLdapEntity::Clear()
{
    attributes.clear();
    dn.clear();
    stamps.clear();
}

void CKVRLdapEntity::Fill(const CKVRReceivedEntry& received)
{
    stamps.clear();
    RestOfMap rest(attributes);
    TextReuse texts;
    texts.Assign(dn, received.Dn());
    auto& at = rest.at;
    for (const std::uint32_t number : received.Sorted())
    {
        const CKVRReceivedAttribute& attribute = received.Attributes()[number];
        while (at != attributes.end() && at->first < attribute.name)
        {
            at = attributes.erase(at);
        }
        std::string_view value;
        for (CKVRElements values = attribute.values; values.TakeText(value);)
        {
            if (at != attributes.end() && at->first == attribute.name)
            {
                texts.Assign(at->second, value);
                ++at;
            }
            else
            {
                attributes.emplace_hint(at, attribute.name, value);
            }
        }
    }
}

bool CKVRLdapEntity::IsValid()
{
    return !dn.empty();
}

void CKVRLdapEntity::Create()
{
    requireDn();
    connection.AddDN(dn, attributes);
}

void CKVRLdapEntity::Delete()
{
    requireDn();
    connection.DeleteDN(dn);
}

void CKVRLdapEntity::Update(std::multimap<std::string, std::string>& changes, bool localOnly)
{
    requireDn();
    if (!localOnly)
    {
        connection.UpdateDN(dn, changes);
    }
    for (const auto& [key, value] : changes)
    {
        applyChange(key, value);
    }
}

void CKVRLdapEntity::applyChange(const std::string& key, const std::string& value)
{
    if (key.empty())
    {
        throwOutOfRange();
    }
    const std::string name = key.substr(1);
    auto [first, end] = attributes.equal_range(name);
    switch (key.front())
    {
    case alREMOVEALL:
        attributes.erase(first, end);
        break;
    case alADD:
        attributes.emplace(name, value);
        break;
    case alREMOVE:
        while (first != end)
        {
            first = first->second == value ? attributes.erase(first) : std::next(first);
        }
        break;
    case alREPLACE:
        // An attribute that is absent stays so, although the server now holds the value.
        std::for_each(first, end, [&value](auto& pair) { pair.second = value; });
        break;
    default:
        break;
    }
}

void CKVRLdapEntity::Rename(const std::string& newRdn)
{
    if (newRdn.empty())
    {
        throwEmptyArgument(reportedFile, "Rename", __LINE__);
    }
    requireDn();
    connection.RenameDN(dn, newRdn);
    const std::size_t comma = dn.find(',');
    if (comma == std::string::npos)
    {
        throwOutOfRange();
    }
    dn = newRdn + dn.substr(comma);
    // Without "=" the whole RDN is taken for the name as well as for the value.
    const std::size_t equals = newRdn.find('=');
    const auto [first, end] = attributes.equal_range(newRdn.substr(0, equals));
    if (first != end)
    {
        first->second = equals == std::string::npos ? newRdn : newRdn.substr(equals + 1);
    }
}

std::string CKVRLdapEntity::creator()
{
    if (stamps.empty())
    {
        InvalidateStamp();
    }
    return stamps["creatorsName"];
}

std::string CKVRLdapEntity::modifier()
{
    InvalidateStamp();
    return stamps["modifiersName"];
}

std::string CKVRLdapEntity::created()
{
    if (stamps.empty())
    {
        InvalidateStamp();
    }
    return stamps["createTimestamp"];
}

std::string CKVRLdapEntity::modified()
{
    InvalidateStamp();
    return stamps["modifyTimestamp"];
}

void CKVRLdapEntity::InvalidateStamp()
{
    requireDn();
    std::list<std::string> names{"createTimestamp", "modifyTimestamp", "creatorsName", "modifiersName"};
    const auto query = connection.Search(dn, "(objectClass=*)", names, alSCOPE_BASE);
    if (!query)
    {
        return;
    }
    query->First();
    std::shared_ptr<IKVRLdapEntity> entry;
    if (!query->Fetch(entry))
    {
        return;
    }
    for (const char* name : {"creatorsName", "modifiersName", "createTimestamp", "modifyTimestamp"})
    {
        stamps[name] = entry->ValByAttr(name, false);
    }
}

void CKVRLdapEntity::requireDn() const
{
    if (dn.empty())
    {
        throw EKVRCheckError(moduleText("Empty or invalid Entity DN"), "");
    }
}

} // namespace KVR
