#include "KVRLdapQuery.h"

#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapHandles.h"
#include "KVRTranslate.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace KVR
{

namespace
{

/** Logs a text that names an attribute, at level 0. */
void reportAttribute(const char* function, unsigned long line, const char* format, const std::string& name)
{
    CKVRFormatCall call(__FILE__, function, line);
    CKVRLogProvider::GetLogProvider().Put(kvrLOG_FAILURE, 1, call(1, format, name.c_str()));
}

/** Takes a reusable object for a while; who needs it in the meantime gets a fresh one. */
template <typename Object>
class Borrowed
{
public:
    explicit Borrowed(Object& home) : home_(home), object_(std::move(home)) {}
    ~Borrowed()
    {
        object_.Clear();
        home_ = std::move(object_);
    }

    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    Object* operator->() { return &object_; }

private:
    Object& home_;
    Object object_;
};

/** Hosts compare this text, which is shorter than the one std::string::substr has of its own. */
[[noreturn]] void throwOutOfRange()
{
    throw std::out_of_range("basic_string::substr");
}

} // namespace

CKVRLMsgInternal::~CKVRLMsgInternal()
{
    const MessageOwner released(std::exchange(result, nullptr));
    current = nullptr;
}

CKVRLdapQuery::CKVRLdapQuery(CKVRLdapConnection& owner)
    : connection(owner), message(std::make_unique<CKVRLMsgInternal>())
{
}

CKVRLdapQuery::~CKVRLdapQuery()
{
    message.reset();
}

void CKVRLdapQuery::First()
{
    requireState();
    message->current = nullptr;
}

bool CKVRLdapQuery::Fetch(std::shared_ptr<IKVRLdapEntity>& entity)
{
    requireState();
    LDAP* session = connection.internal->ld;
    message->current = message->current == nullptr ? ldap_first_entry(session, message->result)
                                                   : ldap_next_entry(session, message->current);
    if (message->current == nullptr)
    {
        finishWalk();
        return false;
    }
    if (!entity)
    {
        entity = std::make_shared<CKVRLdapEntity>(connection);
    }
    FetchAttributes(entity);
    return true;
}

int CKVRLdapQuery::Count()
{
    requireState();
    const int count = ldap_count_entries(connection.internal->ld, message->result);
    if (count == -1)
    {
        connection.InternalCheck(moduleText("on fetching count"));
    }
    return count;
}

void CKVRLdapQuery::FetchAttributes(std::shared_ptr<IKVRLdapEntity>& entity)
{
    if (!entity)
    {
        throw EKVRInternalError(moduleText("LDAP entity is not allocated."), "", __FILE__, "FetchAttributes",
                                __LINE__);
    }
    // Utf8ToLocal is the caller's where it is overridden: it may fetch on its own, also from this query,
    // and give the pointer another entity. What is under way goes on with this entry and this entity.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy keeps the entity
    const std::shared_ptr<IKVRLdapEntity> filled = entity;
    LDAPMessage* const entry = message->current;
    if (!fetchInPlace(entry, *filled))
    {
        fetchByName(entry, *filled);
    }
}

// An entry is read in two ways. The calls by name search the entry from its start for each attribute, so
// their cost grows with the square of the attributes' number, but they decide what an entry that is
// damaged or repeats an attribute means: the first set of values each time, and which failure. The calls
// in place pass over the entry once. They read plain entries only, in which both ways give the same, and
// leave any other untouched.

bool CKVRLdapQuery::fetchInPlace(LDAPMessage* entry, IKVRLdapEntity& entity) const
{
    Borrowed<CKVREntryScratch> scratch(connection.scratch);
    CKVRReceivedEntry& received = scratch->entry;
    if (!received.Gather(connection.internal->ld, entry))
    {
        return false;
    }
    const bool isOwnConversion = connection.isOfModulesType();
    entity.Clear();
    entity.dn.assign(received.Dn().bv_val, received.Dn().bv_len);
    for (const CKVRReceivedAttribute& attribute : received.Attributes())
    {
        const std::string name(attribute.name.bv_val, attribute.name.bv_len);
        auto behind = entity.attributes.upper_bound(name);
        for (const berval* value = attribute.values.get(); value->bv_val != nullptr; ++value)
        {
            // Values are text here: the stored length does not count, the first zero byte ends it.
            scratch->value.assign(value->bv_val);
            std::string converted = connection.Utf8ToLocal(scratch->value);
            if (!isOwnConversion)
            {
                behind = entity.attributes.upper_bound(name); // the conversion may have changed the map
            }
            entity.attributes.emplace_hint(behind, name, std::move(converted));
        }
        if (!isOwnConversion)
        {
            connection.requireSession(); // as where each attribute is asked for by name
        }
    }
    return true;
}

void CKVRLdapQuery::fetchByName(LDAPMessage* entry, IKVRLdapEntity& entity) const
{
    entity.Clear();
    fetchDn(entry, entity);
    AttributeCursorOwner cursor;
    TextOwner name(ldap_first_attribute(connection.internal->ld, entry, Receive(cursor)));
    while (name)
    {
        fetchValues(entry, name.get(), entity);
        connection.requireSession();
        name.reset(ldap_next_attribute(connection.internal->ld, entry, cursor.get()));
    }
}

void CKVRLdapQuery::fetchDn(LDAPMessage* entry, IKVRLdapEntity& entity) const
{
    const TextOwner dn(ldap_get_dn(connection.internal->ld, entry));
    if (!dn)
    {
        connection.InternalCheck(moduleText("on fetching attributes"));
        return;
    }
    entity.dn = dn.get();
}

void CKVRLdapQuery::fetchValues(LDAPMessage* entry, const char* name, IKVRLdapEntity& entity) const
{
    const ValuesOwner values(ldap_get_values_len(connection.internal->ld, entry, name));
    if (!values)
    {
        connection.InternalCheck(moduleText("on fetching attributes"));
        return;
    }
    for (berval** value = values.get(); *value != nullptr; ++value)
    {
        // Values are text here: the stored length does not count, the first zero byte ends it.
        entity.attributes.emplace(name, connection.Utf8ToLocal((*value)->bv_val));
    }
}

void CKVRLdapQuery::finishWalk() const
{
    int code = LDAP_SUCCESS;
    if (!readResultCode(connection.internal->ld, code))
    {
        throw EKVRInternalError(moduleText("on getting ldap error code."), "", __FILE__, "Fetch", __LINE__);
    }
    if (code == LDAP_SIZELIMIT_EXCEEDED)
    {
        CKVRLogProvider::GetLogProvider().Put(
            kvrLOG_WARNING, 1,
            moduleText("LDAP search size limit exceeded. Some entries may be unavailable."));
    }
    else
    {
        checkResult(connection.internal->ld, code, {__FILE__, "Fetch", __LINE__}, markedText("on fetching"));
    }
}

void CKVRLdapQuery::requireState() const
{
    if (!connection.IsConnected())
    {
        throw EKVRCheckError(notConnectedText(), "");
    }
    if (!message)
    {
        throw EKVRCheckError(moduleText("Invalid LDAP query state."), "");
    }
}

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
        throwEmptyArgument(__FILE__, "Rename", __LINE__);
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
