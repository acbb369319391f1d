#pragma once

#include <memory>

namespace KVR
{

class IKVRLdapEntity;

/**
 * Cursor over the received result of one search. Made by IKVRLdapConnection::Search, it owns the
 * result; its connection must outlive it. Walking, counting and rewinding send nothing.
 *
 * The usual walk:
 * @code
 *   auto query = connection->Search(base, filter, attributes, alSCOPE_SUB);
 *   std::shared_ptr<IKVRLdapEntity> entity;
 *   while (query && query->Fetch(entity)) { ... }
 * @endcode
 *
 * Every operation throws EKVRCheckError when the connection is not established or its last
 * operation ended with a code that asks for a reconnect (see IKVRLdapConnection::IfReconnectNeeded).
 * The order of the virtual table is fixed, the destructor stands last. One thread at a time.
 */
class IKVRLdapQuery
{
public:
    /** Puts the cursor before the first entry. */
    virtual void First() = 0;

    /**
     * Steps to the next entry and fills the entity with it. After the last entry the cursor
     * stands before the first again, so stop at the first `false`. Iterators, pointers and
     * references into what the entity held before end here.
     *
     * How a walk ends is decided by the last operation on the connection, which is the search
     * unless another one came in between. A result that the size limit cut is then logged as a
     * warning at level 1; an entity's stamps that are read during the walk hide that.
     *
     * When an entry can't be read, the cursor has moved and the entity holds what had been read; a
     * repeated call goes on with the following entry. Of an entry whose list of attributes is damaged the
     * entity gets what comes before; that it was cut is reported at the end of the walk.
     * @param entity reused when it points to one, made otherwise; left as it is at the end
     * @return false at the end of the result
     * @throws EKVROpenLdapError when the entry can't be read, or at the end when the last
     *         operation on the connection had failed
     * @throws EKVRInternalError when a value can't be converted to the locale's character set or
     *         the result code can't be read
     * @throws EKVRError when the locale's character set is unknown to iconv(3)
     */
    virtual bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) = 0;

    /**
     * Number of entries in the whole result; the cursor stays where it is.
     * @return -1 when the library can't count and gives no reason
     * @throws EKVROpenLdapError when it gives one
     */
    virtual int Count() = 0;

    virtual ~IKVRLdapQuery() = default;

    IKVRLdapQuery(const IKVRLdapQuery&) = delete;
    IKVRLdapQuery& operator=(const IKVRLdapQuery&) = delete;

protected:
    IKVRLdapQuery() = default;
};

} // namespace KVR
