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
 * outlive the entity. A connection and its queries and entities are used by one thread at a time.
 *
 * Operations that write go through the connection's virtual operations and pass their errors on.
 * Note that Rename, and Update of the local copy only, can throw `std::out_of_range`, which is
 * outside the host's error family.
 *
 * The order of the virtual table is fixed, the destructor stands last.
 */
class IKVRLdapEntity
{
public:
    /** DN of the entry in UTF-8, as the server sent it; empty when the entity holds no entry. */
    std::string dn;

    /**
     * One element a value, by attribute name. Names keep the server's spelling and compare
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
     *        attribute, '+' add the value, '-' remove the value, '=' replace
     * @param localOnly true leaves the server alone
     * @throws EKVRCheckError when the DN is empty
     * @throws std::out_of_range for an empty key when `localOnly` is true
     */
    virtual void Update(std::multimap<std::string, std::string>& changes, bool localOnly) = 0;

    /**
     * Gives the entry a new RDN under the same parent (IKVRLdapConnection::RenameDN), then
     * follows in the copy.
     * @throws EKVRCheckError when the RDN or the DN is empty
     * @throws std::out_of_range when the DN has no comma; the server has renamed by then
     */
    virtual void Rename(const std::string& newRdn) = 0;

    /** DN of the creator (RFC 4512, section 3.4.3), read from the server once. */
    virtual std::string creator() = 0;

    /** DN of the last modifier (RFC 4512, section 3.4.4), read from the server each time. */
    virtual std::string modifier() = 0;

    /** Time of creation as generalized time (RFC 4517, section 3.3.13), read once. */
    virtual std::string created() = 0;

    /** Time of the last change as generalized time, read from the server each time. */
    virtual std::string modified() = 0;

    virtual ~IKVRLdapEntity() = default;

    IKVRLdapEntity(const IKVRLdapEntity&) = delete;
    IKVRLdapEntity& operator=(const IKVRLdapEntity&) = delete;

protected:
    IKVRLdapEntity() = default;
};

} // namespace KVR
