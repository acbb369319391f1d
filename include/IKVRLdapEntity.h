#pragma once

#include <list>
#include <map>
#include <string>

namespace KVR
{

/**
 * The copy of one directory entry in memory: its DN and its attributes.
 *
 * An entity is filled by IKVRLdapQuery::Fetch, or made by IKVRLdapConnection::AllocEntity and
 * filled by the client. It holds copies only, so it may outlive the query; the connection must
 * outlive the entity. Iterators, pointers and references into its DN and attributes end with the
 * next Fetch into it, which may use their memory again. A connection and its queries and entities are used by
 * one thread at a time.
 *
 * Operations that write go through the connection's virtual operations and pass their errors on.
 * Note that Rename, and Update of the local copy only, can throw `std::out_of_range`, which is
 * outside the host's error family.
 *
 * Arguments taken by reference must not be parts of the entity itself, nor of each other.
 *
 * The order of the virtual table is fixed, the destructor stands last.
 */
class IKVRLdapEntity
{
public:
    /** DN of the entry in UTF-8, as the server sent it; empty when the entity holds no entry. */
    std::string dn;

    /**
     * One element per value, by attribute name. Names keep the server's spelling and compare
     * case-sensitively; the values of one attribute keep the server's order and are in the
     * locale's character set. Values are text: what follows a zero byte is not kept, use
     * IKVRLdapConnection::GetAttrBinaryValue for binary values.
     */
    std::multimap<std::string, std::string> attributes;

    /**
     * First value of an attribute, or "". Two or more values are always logged at level 0.
     * @param quiet true does not log that the attribute is absent
     */
    virtual std::string ValByAttr(const std::string& name, bool quiet) = 0;

    /**
     * All values of an attribute.
     * @param values emptied, then filled
     * @param quiet true does not log that the attribute is absent
     * @return number of values
     */
    virtual unsigned long ValsByAttr(const std::string& name, std::list<std::string>& values, bool quiet) = 0;

    /** Empties DN, attributes and stamps. */
    virtual void Clear() = 0;

    /** True when the entity has a DN; the server is not asked. */
    virtual bool IsValid() = 0;

    /**
     * Adds the entry to the directory (IKVRLdapConnection::AddDN).
     * @throws EKVRCheckError when the DN is empty
     */
    virtual void Create() = 0;

    /**
     * Deletes the entry and what is below it (IKVRLdapConnection::DeleteDN); the copy stays.
     * @throws EKVRCheckError when the DN is empty
     */
    virtual void Delete() = 0;

    /**
     * Applies changes on the server (IKVRLdapConnection::UpdateDN), then to the copy.
     * @param changes values by attribute name, with a mode character in front: '!' remove the
     *        attribute, '+' add the value, '-' remove the value, '=' replace. In the copy "-"
     *        compares byte for byte; "=" sets every value that is there, so two stay two and none
     *        stays none
     * @param localOnly true leaves the server alone; changes of an unknown mode are passed over
     * @throws EKVRCheckError when the DN is empty
     * @throws std::out_of_range for an empty key when `localOnly` is true
     */
    virtual void Update(std::multimap<std::string, std::string>& changes, bool localOnly) = 0;

    /**
     * Gives the entry a new RDN under the same parent (IKVRLdapConnection::RenameDN), then
     * follows in the copy: what stands before the first comma of the DN, escaped or not, is
     * replaced, and the first value of the attribute of just this spelling gets the new value.
     * An RDN without "=" counts as name and value at once.
     * @throws EKVRCheckError when the RDN or the DN is empty
     * @throws std::out_of_range when the DN has no comma; the server has renamed by then
     */
    virtual void Rename(const std::string& newRdn) = 0;

    /** @name Stamps
     * Who created and last changed the entry, and when, as the server's text: DNs, and generalized
     * time (RFC 4517, section 3.3.13). They are read by a search of their own through the
     * connection. What the server does not show is "" and logged at level 0; when the entry is gone,
     * the stamps stay as they were last read, or "".
     *
     * creator and created are read once, until Clear or the next Fetch into the entity; modifier
     * and modified are read by every call.
     * @throws EKVRCheckError when the DN is empty and the server has to be asked; what
     *         IKVRLdapConnection::Search and IKVRLdapQuery::Fetch throw
     * @{ */
    virtual std::string creator() = 0;  /**< RFC 4512, section 3.4.1 */
    virtual std::string modifier() = 0; /**< RFC 4512, section 3.4.3 */
    virtual std::string created() = 0;  /**< RFC 4512, section 3.4.2 */
    virtual std::string modified() = 0; /**< RFC 4512, section 3.4.4 */
    /** @} */

    virtual ~IKVRLdapEntity() = default;

    IKVRLdapEntity(const IKVRLdapEntity&) = delete;
    IKVRLdapEntity& operator=(const IKVRLdapEntity&) = delete;

protected:
    IKVRLdapEntity() = default;
};

} // namespace KVR
