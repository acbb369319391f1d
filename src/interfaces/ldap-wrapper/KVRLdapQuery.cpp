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

/** Empties an entity in the end at the latest. */
class Emptied
{
public:
    explicit Emptied(IKVRLdapEntity* entity) : entity_(entity) {}
    ~Emptied() { Now(); }

    Emptied(const Emptied&) = delete;
    Emptied& operator=(const Emptied&) = delete;

    void Now()
    {
        if (entity_ != nullptr)
        {
            std::exchange(entity_, nullptr)->Clear();
        }
    }

    void Not() { entity_ = nullptr; }

private:
    IKVRLdapEntity* entity_;
};

/** Gives back what the entry that is being read takes. */
class Released
{
public:
    explicit Released(CKVRReceivedEntry& entry) : entry_(entry) {}
    ~Released() { entry_.Clear(); }

    Released(const Released&) = delete;
    Released& operator=(const Released&) = delete;

private:
    CKVRReceivedEntry& entry_;
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
    const Released released(connection.received);
    // Whatever fails, nothing is left of what the entity held.
    Emptied emptied(isOwnEntity ? filled.get() : nullptr);
    if (isOwnConnection && connection.received.Read(entry))
    {
        emptied.Not();
        fetchPlain(*filled, isOwnEntity);
        return;
    }
    emptied.Now();
    fetchByName(entry, *filled);
}

// An entry is read in two ways. The calls by name search the entry from its start for each attribute, so
// their cost grows with the square of the attributes' number, but they decide what an entry that is
// damaged or repeats an attribute means: the first set of values each time, and which failure. A plain
// entry, for which both ways give the same, is read in one pass that leaves it untouched.

void CKVRLdapQuery::fetchPlain(IKVRLdapEntity& entity, bool isOwnEntity) const
{
    CKVRReceivedEntry& received = connection.received;
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
