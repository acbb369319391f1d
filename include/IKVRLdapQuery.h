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
     * stands before the first again, so stop at the first `false`.
     * @param entity reused when it points to one, made otherwise; left as it is at the end
     * @return false at the end of the result; a result cut by the size limit is logged at level 1
     * @throws EKVROpenLdapError when, at the end, the last operation of the connection had failed,
     *         or when the entry can't be read
     */
    virtual bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) = 0;

    /** Number of entries in the whole result; the cursor stays where it is. */
    virtual int Count() = 0;

    virtual ~IKVRLdapQuery() = default;

    IKVRLdapQuery(const IKVRLdapQuery&) = delete;
    IKVRLdapQuery& operator=(const IKVRLdapQuery&) = delete;

protected:
    IKVRLdapQuery() = default;
};

} // namespace KVR
