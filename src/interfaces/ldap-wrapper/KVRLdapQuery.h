#pragma once

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <ldap.h>

#include <list>
#include <memory>
#include <string>

namespace KVR
{

class CKVRLdapConnection;
class CKVRReceivedEntry;

/** The received result of one search and the cursor's place in it. */
class CKVRLMsgInternal
{
public:
    CKVRLMsgInternal() = default;
    virtual ~CKVRLMsgInternal();

    CKVRLMsgInternal(const CKVRLMsgInternal&) = delete;
    CKVRLMsgInternal& operator=(const CKVRLMsgInternal&) = delete;

    LDAPMessage* result = nullptr;  /**< owned */
    LDAPMessage* current = nullptr; /**< points into the result; null is before the first entry */
};

/**
 * The cursor that CKVRLdapConnection::Search returns.
 *
 * At the end of the result it reads the session's last result code, so another operation on the
 * same connection between Search and the end of the walk decides how the walk ends.
 */
class CKVRLdapQuery : public IKVRLdapQuery
{
public:
    /** Without a result: only a query that Search returned may be fetched from or counted. */
    explicit CKVRLdapQuery(CKVRLdapConnection& owner);
    ~CKVRLdapQuery() override;

    void First() override;
    bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) override;
    int Count() override;

    /**
     * Fills the entity from the entry that the cursor stands on; it has to stand on one. An entity keeps
     * what was read before an exception.
     *
     * A class of the host may do anything in Utf8ToLocal and Clear but destroy this query: change the entity,
     * fetch into it, move the cursor, end the session. What remains of this entry is inserted afterwards.
     * @throws EKVRCheckError when the session is ended before the entry is read
     * @throws EKVRInternalError when the pointer is empty, a value can't be converted or the
     *         result code can't be read
     * @throws EKVROpenLdapError when DN or values can't be read
     * @throws EKVRError when the locale's character set is unknown to iconv(3)
     */
    void FetchAttributes(std::shared_ptr<IKVRLdapEntity>& entity);

protected:
    friend class CKVRLdapConnection;

    CKVRLdapConnection& connection;
    std::unique_ptr<CKVRLMsgInternal> message;
    std::string base;
    std::string filter;
    std::list<std::string> attributes;

private:
    void requireState() const;
    void finishWalk() const;
    void fetchPlain(CKVRReceivedEntry& received, IKVRLdapEntity& entity, bool isOwnEntity) const;
    void fetchByName(LDAPMessage* entry, IKVRLdapEntity& entity) const;
    void fetchDn(LDAPMessage* entry, IKVRLdapEntity& entity) const;
    void fetchValues(LDAPMessage* entry, const char* name, IKVRLdapEntity& entity) const;
};

} // namespace KVR
