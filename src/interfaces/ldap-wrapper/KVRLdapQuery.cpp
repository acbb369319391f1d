#include "KVRLdapQuery.h"

#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"
#include "KVRLdapHandles.h"
#include "KVRTranslate.h"

#include <kvr/CKVRLogProvider.h>

#include <utility>

namespace KVR
{

namespace
{

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

} // namespace KVR
