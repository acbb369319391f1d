#include "KVRLdapQuery.h"

#include "KVRLdapCommon.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"
#include "KVRLdapHandles.h"
#include "KVRLdapReceivedEntry.h"
#include "KVRTranslate.h"

#include <kvr/CKVRLogProvider.h>

#include <typeinfo>
#include <utility>

namespace KVR
{

namespace
{

/** An entity of a class that is not the module's own gets its values one by one, as by name. */
void fillForeign(IKVRLdapEntity& entity, const CKVRReceivedEntry& received)
{
    entity.dn = received.Dn();
    for (const CKVRReceivedAttribute& attribute : received.Attributes())
    {
        std::string_view value;
        for (CKVRElements values = attribute.values; values.TakeText(value);)
        {
            entity.attributes.emplace(attribute.name, value);
        }
    }
}

/** Clears an entity at the end of the scope, unless it was dismissed. */
class ClearGuard
{
public:
    explicit ClearGuard(IKVRLdapEntity* entity) : entity_(entity) {}
    ~ClearGuard() { clear(); }

    ClearGuard(const ClearGuard&) = delete;
    ClearGuard& operator=(const ClearGuard&) = delete;

    void clear()
    {
        if (entity_ != nullptr)
        {
            std::exchange(entity_, nullptr)->Clear();
        }
    }

    void dismiss() { entity_ = nullptr; }

private:
    IKVRLdapEntity* entity_;
};

/**
 * Takes the connection's record of received entries for one entry. The host's log may fetch while an error
 * is being reported; that entry gets a record of its own.
 */
class Borrowed
{
public:
    explicit Borrowed(std::unique_ptr<CKVRReceivedEntry>& lender)
        : lender_(lender), entry_(lender ? std::move(lender) : std::make_unique<CKVRReceivedEntry>())
    {
    }

    ~Borrowed()
    {
        entry_->Clear();
        lender_ = std::move(entry_);
    }

    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    CKVRReceivedEntry& entry() { return *entry_; }

private:
    std::unique_ptr<CKVRReceivedEntry>& lender_;
    std::unique_ptr<CKVRReceivedEntry> entry_;
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
    // The host's code may give the pointer another entity, and its own class of entities or connections
    // may do anything. What is under way goes on with this entry and this entity.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy keeps the entity
    const std::shared_ptr<IKVRLdapEntity> filled = entity;
    LDAPMessage* const entry = message->current;
    const IKVRLdapEntity& object = *filled;
    const bool isOwnConnection = connection.isOfModulesType();
    const bool isOwnEntity = isOwnConnection && typeid(object) == typeid(CKVRLdapEntity);
    if (!isOwnEntity)
    {
        filled->Clear();
    }
    // Whatever fails, nothing is left of what the entity held.
    ClearGuard former(isOwnEntity ? filled.get() : nullptr);
    if (isOwnConnection)
    {
        Borrowed received(connection.received);
        if (received.entry().Read(entry))
        {
            former.dismiss();
            fetchPlain(received.entry(), *filled, isOwnEntity);
            return;
        }
    }
    former.clear();
    fetchByName(entry, *filled);
}

// An entry is read in two ways. The calls by name search the entry from its start for each attribute, so
// their cost grows with the square of the number of attributes, but they decide what an entry that is
// damaged or repeats an attribute means: the first set of values each time, and which failure is raised.
// A plain entry, for which both ways give the same, is read in linear time and left untouched.

void CKVRLdapQuery::fetchPlain(CKVRReceivedEntry& received, IKVRLdapEntity& entity, bool isOwnEntity) const
{
    const auto fill = [&]
    {
        if (isOwnEntity)
        {
            static_cast<CKVRLdapEntity&>(entity).Fill(received);
        }
        else
        {
            fillForeign(entity, received);
        }
    };
    try
    {
        connection.toLocal(received);
    }
    catch (...)
    {
        fill();
        throw;
    }
    fill();
}

void CKVRLdapQuery::fetchByName(LDAPMessage* entry, IKVRLdapEntity& entity) const
{
    connection.requireSession();
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
    }
    entity.dn = dn ? dn.get() : "";
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
    // A class of the host may override IsConnected.
    connection.requireSession();
}

} // namespace KVR
