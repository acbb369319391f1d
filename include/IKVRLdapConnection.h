#pragma once

#include <KVRLdapTypes.h>

#include <list>
#include <map>
#include <memory>
#include <string>

namespace KVR
{

class IKVRLdapEntity;
class IKVRLdapQuery;

/**
 * One connection to an LDAP server.
 *
 * Life: a new connection has no session; Connect makes one and binds it, Disconnect ends it. A
 * Connect that failed can leave a session that is not bound, so call Disconnect before the next
 * Connect. The host object must outlive the connection, and the connection its queries and
 * entities.
 *
 * Threads: a connection with its queries and entities is used by one thread at a time; different
 * connections are independent.
 *
 * Errors: operations that need the server throw EKVRCheckError when there is no session,
 * EKVROpenLdapError when the library or the server reports a failure; result codes 47 to 50
 * are reported as missing access rights. Where a result is read entry by entry and value by value, the
 * session's last result code tells the failure: EKVRInternalError means that it could not be read,
 * and a failure that left the code 0 is passed over.
 *
 * Waits: each request to the server, from its sending to the end of its answer and with every server that
 * referrals and references lead it to, ends after 30 seconds at most. The result code is -5 where
 * the library notices the limit while it waits for an answer, and the session can be used on; it is -1 where
 * a wait inside a message, a large write or a TLS handshake was ended, and the session is lost then; it can
 * be 10 for a referral that led to a silent server. IKVRLdapSession::IsTimeLimitReached tells such a -1 from
 * a connection that was lost. An operation that sends several requests has a limit for each. Not limited are
 * name resolution and the waits of the Kerberos library for its servers.
 *
 * Signals: a handler that runs meanwhile changes no result and no limit, and a connection that the server
 * has closed raises no SIGPIPE, whatever the host does with that signal.
 *
 * Hostile servers: whatever a server sends, the process goes on. Search and GetAttrBinaryValue take only an
 * answer to a search for a result, and report a lost connection (-1) otherwise; the code 32 says that the
 * base does not exist wherever it comes from. A write, a deletion and the bind are reported as the library's
 * synchronous calls return them, and these look at an answer's number and code only: a server that means it
 * can make them look done, with a notice of disconnection (RFC 4511, section 4.4.1) that carries the code 0
 * as well.
 *
 * Referrals: the library follows referrals and search references on its own, anonymously, for searches and
 * writes, except for DeleteDN. One with extensions (RFC 4516, section 2.8), such as StartTLS, is not
 * followed, and a server whose result has more than 256 KiB, entries not counted, loses the connection.
 *
 * Text: values are in the locale's character set and converted to and from UTF-8; DNs, filters
 * and attribute names are passed on as they are, in UTF-8.
 *
 * Operations call one another through the virtual table, whose order is fixed.
 */
class IKVRLdapConnection
{
public:
    virtual ~IKVRLdapConnection() = default;

    IKVRLdapConnection(const IKVRLdapConnection&) = delete;
    IKVRLdapConnection& operator=(const IKVRLdapConnection&) = delete;

    /** Kind of bind of the last Connect that reached the bind, anonymous before that. */
    virtual KVRAuthType AuthType() = 0;

    /**
     * Connects and binds. Waits at most 30 seconds for each address of each server that is tried: for the
     * connection, TLS and the bind together.
     * @param target host name, which becomes "ldap://" and the name and replaces the connection's
     *        URIs; or any part of these URIs, to the letter, as the sign to use them all. They are
     *        the host parameter "KVR_PRM_LDAP_URIS" as it was at construction ("ldap://localhost"
     *        without it), until a Connect to another target, also a failed one, replaces them.
     *        A scheme in the target is not looked at
     * @param type anonymous bind, or SASL GSSAPI with the ticket cache that the environment
     *        variable KRB5CCNAME names. It is only read; an empty one must not reach the Kerberos
     *        library, which reads past its end
     * @return true
     * @throws EKVRCheckError when the target is empty or a session exists already
     * @throws EKVRError when the resulting URI is no LDAP URL
     * @throws EKVROpenLdapError when the session can't be made or the bind is refused
     */
    virtual bool Connect(const std::string& target, KVRAuthType type) = 0;

    /**
     * True when there is a session and IfReconnectNeeded is false. Nothing is sent.
     * @throws EKVRInternalError when the result code can't be read
     */
    virtual bool IsConnected() = 0;

    /** Ends the session, if there is one. Throws nothing; a failure is logged at level 0. */
    virtual void Disconnect() = 0;

    /**
     * Result code of the last operation of the session (RFC 4511, section 4.1.9, negative for
     * failures of the library).
     * @throws EKVRCheckError without a session
     * @throws EKVRInternalError when the code can't be read
     */
    virtual long GetLastError() = 0;

    /**
     * True when the last result code is -11 or 47 to 50. A server that went away (-1) does not
     * count.
     * @throws as GetLastError
     */
    virtual bool IfReconnectNeeded() = 0;

    /**
     * Text of the locale's character set in UTF-8; a copy when no conversion is needed or before
     * the first Connect. A converted text ends at its first zero byte. The character set is taken at
     * the first conversion and then kept, also when a later Connect finds another one, and so is its
     * shift state from one text to the next.
     * @throws EKVRError when the character set is unknown to iconv(3)
     * @throws EKVRInternalError when the text can't be converted, or takes more than four bytes a byte
     */
    virtual std::string LocalToUtf8(const std::string& text) = 0;

    /** UTF-8 text in the locale's character set; otherwise as LocalToUtf8. */
    virtual std::string Utf8ToLocal(const std::string& text) = 0;

    /**
     * Changes the server's attribute type "gecos" (RFC 2307) from IA5 to UTF-8 text, in the first schema
     * whose name contains "nis". Without it nothing is changed; a type that was changed before is
     * written again as it is. The old definition is deleted in one request and the new one added in another:
     * when the server refuses the second, the schema is left without the type.
     * @throws EKVRCheckError without a session; EKVRError when the user can't see the schemas;
     *         EKVRInternalError when several entries have that name; what SetAttrValue throws
     */
    virtual void AdjustGecosType() = 0;

    /** A new, empty entity of this connection. */
    virtual std::shared_ptr<IKVRLdapEntity> AllocEntity() = 0;

    /**
     * Searches and receives the whole result (ldap_search_ext_s(3)).
     *
     * A search reference whose server can't be reached or refuses the anonymous bind is left out: the search
     * succeeds with what there was.
     * @param base DN to start from, in UTF-8
     * @param filter filter (RFC 4515), in UTF-8; never empty, the library answers that by closing
     *        the connection
     * @param attributes names to return, not changed; none means all user attributes
     * @param scope any value outside the enumeration searches the subtree
     * @return the result, owned by the caller; null when the base does not exist. A result cut by
     *         the server's size limit is returned too: GetLastError right after Search is 4 then
     * @throws EKVRCheckError without a session
     * @throws EKVROpenLdapError for any other failure
     */
    virtual std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter,
                                                  std::list<std::string>& attributes, alSCOPE scope) = 0;

    /**
     * Removes an attribute with all its values, in one modify request (RFC 4511, section 4.6).
     * @throws EKVRCheckError without a session, EKVROpenLdapError when the server refuses, also when
     *         the entry lacks the attribute
     */
    virtual void DeleteAttr(const std::string& dn, const std::string& attribute) = 0;

    /**
     * Changes one value of an attribute in one modify request.
     * @param value may be empty with alREMOVEALL only, which then removes the whole attribute
     * @param operation a value outside the enumeration replaces
     * @throws EKVRCheckError for an empty value with any other operation, then without a session;
     *         EKVROpenLdapError when the server refuses; what LocalToUtf8 throws
     */
    virtual void SetAttrValue(const std::string& dn, const std::string& attribute, const std::string& value,
                              alOPERATION operation) = 0;

    /**
     * The same for several values in one request.
     * @param values not changed; empty texts in it are sent; it may be empty with alREMOVEALL only
     */
    virtual void SetAttrValues(const std::string& dn, const std::string& attribute,
                               std::list<std::string>& values, alOPERATION operation) = 0;

    /**
     * Changes an entry by a batch of modifications in one request.
     * @param attributes values by attribute name with a mode character in front: '!' removes the
     *        attribute, '+' adds the values, '-' removes them, '=' replaces by them. They are sent in
     *        the order of the map: '!' first, then '+', '-', '='. Values of '!' are passed over, empty
     *        values of the others are sent. Not changed
     * @throws EKVRCheckError without a session; EKVRInternalError for an empty name, and when the
     *         request can't be built: a name without a mode character, a value that can't be
     *         converted; EKVROpenLdapError when the server refuses
     */
    virtual void UpdateDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) = 0;

    /**
     * Deletes an entry after the entries below it, in one pass and in the server's order: a child with
     * children of its own makes the server refuse when it comes before them. What was deleted by then
     * is gone.
     *
     * Referrals and search references are not followed: an entry below that is a reference (RFC 3296) stays,
     * so that the server refuses the deletion of the entry above it, and what it leads to is not touched. An
     * entry that is a reference itself fails with the code 10. A server with the overlay slapo-chain(5)
     * follows them by itself, and the client sees nothing of it.
     * @throws EKVRCheckError without a session; EKVROpenLdapError when the server refuses, with the
     *         given DN in its text; what Search and Fetch throw
     */
    virtual void DeleteDN(const std::string& dn) = 0;

    /**
     * Adds an entry (RFC 4511, section 4.7).
     * @param attributes values by attribute name, neither of them empty. Not changed
     * @throws EKVRCheckError without a session; EKVRInternalError for an empty name or value, and
     *         when a value can't be converted; EKVROpenLdapError when the server refuses
     */
    virtual void AddDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) = 0;

    /**
     * Gives an entry a new RDN under the same parent; the old RDN's value is removed (RFC 4511,
     * section 4.9).
     * @throws EKVRCheckError without a session; EKVROpenLdapError when the server refuses
     */
    virtual void RenameDN(const std::string& dn, const std::string& newRdn) = 0;

    /**
     * Changes one binary value in one modify request.
     * @param data bytes, neither copied nor converted. Null is let through with alREMOVEALL only. Give it
     *        with size 0 then: the size is not looked at, and libldap ends the process on a null
     *        pointer with another size
     * @param size number of bytes; 0 is one empty value
     * @throws EKVRCheckError for a null pointer with any other operation, then without a session;
     *         EKVROpenLdapError when the server refuses
     */
    virtual void SetAttrBinaryValue(const std::string& dn, const std::string& attribute, const char* data,
                                    unsigned long size, alOPERATION operation) = 0;

    /**
     * First value of an attribute as bytes, not ended by a zero byte.
     *
     * Call it on a connection that has a session only: unlike the other operations it does not look,
     * and libldap ends the process without one.
     * @param size receives the number of bytes. It is 0 when the entry does not exist, does not have
     *        the attribute, has an empty value or a DN that can't be read; it stays as it was when the
     *        server returns the entry without the attribute or the attribute without values
     * @return a buffer that the caller releases with free(3), or null
     * @throws EKVROpenLdapError when the search fails, a size limit included, or its answer can't be
     *         read; EKVRInternalError when the result code can't be read; EKVROutOfMemory when the buffer
     *         can't be allocated
     */
    virtual char* GetAttrBinaryValue(const std::string& dn, const std::string& attribute,
                                     unsigned long& size) = 0;

    /**
     * Creates the organisational units of a DN that are missing, from the top down.
     *
     * A unit is what stands from a lower-case "ou=" to the next comma that is not escaped (RFC 4514); the
     * domain begins at the first lower-case "dc=", and without one the units stand at the root. Both
     * are taken wherever they stand in a component, but not behind an escape. Other components, and
     * what stands in front of the leftmost unit, are passed over.
     * @param dn in UTF-8; AddDN converts the units' names like any value, so names beyond ASCII need a
     *        UTF-8 locale
     * @throws EKVRCheckError for an empty DN, then without a session; what Search and AddDN throw.
     *         Units created before stay
     */
    virtual void EnsureOU(const std::string& dn) = 0;

    /** @name Configuration of the server
     *
     * The tree "cn=config" of an OpenLDAP server (slapd-config(5)). Its main database is the entry
     * "olcDatabase={1}hdb,cn=config", unless the module was built for another one with the option
     * KVR_MAIN_DATABASE. Values keep the ordering prefix "{N}" that the server puts in front.
     *
     * Enumerations check the session first, with EKVRCheckError, and leave the caller's container alone
     * then; after that it is emptied. They throw EKVRError when the entry to start from does not exist,
     * which is what a user without rights sees, and what Search and Fetch throw. No other missing entry
     * is an error, it leaves the container empty. An attribute that is absent, or of which one value is
     * taken though it has several, is logged at level 0; limits are read quietly.
     *
     * Each change sends one modify request at most and throws what SetAttrValue throws.
     * @{ */

    /**
     * Attribute indexes of the main database ("olcDbIndex").
     * @param indexes receives them in the server's order
     */
    virtual void EnumerateIndexes(std::list<std::string>& indexes) = 0;

    /**
     * Adds an index, such as "uid eq", unless the same text is listed.
     * @throws EKVRCheckError for an empty text; what EnumerateIndexes throws
     */
    virtual void AddDBIndex(const std::string& index) = 0;

    /** Removes an index if this text is listed. @throws as AddDBIndex */
    virtual void DeleteDBIndex(const std::string& index) = 0;

    /**
     * Access rules of the main database ("olcAccess", slapd.access(5)) in their order.
     * @param rules receives them, converted from UTF-8 twice: a rule with other characters than ASCII
     *        can make it fail in a locale that is not UTF-8
     * @throws EKVRInternalError when several databases have the main database's name
     */
    virtual void EnumerateDBAccessRules(std::list<std::string>& rules) = 0;

    /**
     * Inserts a rule.
     * @param position its place from 0, or -1 for the end; the server takes one beyond the end as the end
     * @throws EKVRCheckError without a session; EKVRError for a position below -1
     */
    virtual void AddDBAccessRule(int position, const std::string& rule) = 0;

    /**
     * Removes the rule at a position, from 0; the server refuses one beyond the last.
     * @throws EKVRCheckError without a session; EKVRError for a position below 0
     */
    virtual void DeleteDBAccessRule(int position) = 0;

    /**
     * Names of the loaded schemas.
     * @param schemas receives them, converted from UTF-8 twice
     */
    virtual void EnumerateLdapSchemas(std::list<std::string>& schemas) = 0;

    /**
     * True when a schema of this name is loaded, whatever its ordering prefix.
     * @param name goes into a filter (RFC 4515) as it is: '*', '(', ')' and '\' act there
     * @throws as an enumeration; EKVRInternalError when several schemas match
     */
    virtual bool IsLdapSchemaRegistered(const std::string& name) = 0;

    /**
     * Modules of the server's first module list ("olcModuleLoad").
     * @param modules receives them in the server's order
     */
    virtual void EnumerateModules(std::list<std::string>& modules) = 0;

    /**
     * Databases that serve a suffix.
     * @param databases receives the first suffix by the database's name, such as "{1}hdb"; of equal
     *        names the first counts
     */
    virtual void EnumerateDatabases(std::map<std::string, std::string>& databases) = 0;

    /**
     * Rules of the main database's overlay "unique" ("olcUniqueURI", slapo-unique(5)).
     * @param uris receives them in the server's order; empty without the overlay
     */
    virtual void EnumerateDBUniqueness(std::list<std::string>& uris) = 0;

    /**
     * Adds a rule unless the same text is listed.
     * @throws EKVRCheckError for an empty text; EKVRInternalError without the overlay; what
     *         EnumerateDBUniqueness throws
     */
    virtual void AddDBUniqueness(const std::string& rule) = 0;

    /** Removes a rule if this text is listed. @throws as AddDBUniqueness */
    virtual void DeleteDBUniqueness(const std::string& rule) = 0;

    /**
     * Limits of the main database ("olcLimits", slapd.conf(5)).
     * @param limits receives the whole stored values by the requester, which is the text between
     *        the ordering prefix and the next blank; of equal requesters the last counts, a value of
     *        another form is left out
     */
    virtual void EnumerateDBLimits(std::map<std::string, std::string>& limits) = 0;

    /**
     * Adds the limits of a requester unless there are some already; these stay as they are then.
     * @param who requester, such as "users", as it is; may be empty
     * @param limit such as "size=500 time=10", taken without white space around it
     * @throws EKVRCheckError for an empty limit; what EnumerateDBLimits throws
     */
    virtual void AddDBLimit(const std::string& who, const std::string& limit) = 0;

    /**
     * Removes the value that EnumerateDBLimits gives for a requester, if there is one.
     * @throws EKVRCheckError for an empty requester; what EnumerateDBLimits throws
     */
    virtual void DeleteDBLimit(const std::string& who) = 0;
    /** @} */

    /** @name Replication agreements
     *
     * An agreement makes the server pull changes from another one, logged in by Kerberos as this
     * computer's daemon ("olcSyncrepl" in slapd-config(5)). The host parameters "KVRD_USER" and
     * "DOMAIN_DN" name the daemon's user and the domain. Operations throw EKVRCheckError without a
     * session and EKVRError when the user can't see the configuration.
     * @{ */

    /**
     * Agreements of the main database.
     * @param agreements replaced by the stored values; left as it is when there is no such
     *        database
     */
    virtual void EnumerateSyncRepls(std::list<std::string>& agreements) = 0;

    /**
     * Adds an agreement to the main database, then one to the configuration database together with
     * mirror mode. When the server refuses the second the first stays; it does so when mirror mode is
     * on already.
     * @param identifier replica identifier; "001" when empty
     * @param provider host, optionally with a port; the host's server when empty
     * @throws EKVRError when an agreement has this identifier or this provider, nothing was changed then;
     *         EKVROpenLdapError when the server refuses; what SetAttrValue throws
     */
    virtual void AddSyncRepl(std::string identifier, std::string provider) = 0;

    /**
     * Removes the agreement with this identifier and this provider from both databases and switches
     * mirror mode off, for whatever other agreements there are too. Does nothing when there is none.
     * The configuration database's agreement is written anew to be deleted: when the daemon's user or this
     * computer's name has changed since, the server refuses it, and mirror mode stays on.
     * @param identifier,provider as for AddSyncRepl
     * @throws what SetAttrValue and DeleteAttr throw; what was removed before stays removed
     */
    virtual void DeleteSyncRepl(std::string identifier, std::string provider) = 0;
    /** @} */

    /** @name Providers of foreign domains
     *
     * A provider makes the server answer for another domain by asking that domain's server: a database
     * below the frontend's chain overlay and one beside the main database, both of the type "ldap"
     * (slapd-ldap(5), slapo-chain(5)) and both with the domain's DN as suffix. Domains are DNS names.
     * The server logs in there as this computer's daemon, whom the host parameters "KVRD_USER" and
     * "REALM" name. Operations throw EKVRCheckError without a session and EKVRError when the user can't
     * see the configuration; except for EnumerateLdapProviders and AddLdapProvider, a server without the
     * chain overlay looks the same.
     * @{ */

    /**
     * Providers with their suffixes.
     *
     * Where the overlay is missing a second search tells whether it is hidden, and GetLastError tells of
     * that one.
     * @param providers emptied once there is a session; receives the suffix by the name of the chain
     *        overlay's database, such as "{0}ldap", of equal names the first; stays empty without the
     *        overlay
     */
    virtual void EnumerateLdapProviders(std::map<std::string, std::string>& providers) = 0;

    /**
     * Adds both databases. When the second is refused the first stays.
     * @param address URI of the other server; without "ldap://" in it, that is put in front, also of
     *        "ldaps://"
     * @param reserved not used
     * @throws EKVRError when the domain has a provider; what AddDN throws
     */
    virtual void AddLdapProvider(const std::string& domain, std::string address,
                                 const std::string& reserved) = 0;

    /**
     * The chain overlay's database of a domain with all its user attributes.
     * @return the entry, owned by the caller
     * @throws EKVRError when there is none
     */
    virtual std::shared_ptr<IKVRLdapEntity> GetLdapProvider(const std::string& domain) = 0;

    /**
     * Gives both databases another address, the chain overlay's first.
     * @param address as for AddLdapProvider
     * @throws EKVRError when one of them does not exist; without the second the first is changed then; what
     *         UpdateDN throws
     */
    virtual void UpdateLdapProvider(const std::string& domain, std::string address) = 0;

    /**
     * Deletes the chain overlay's databases of a domain, then every database right below "cn=config" with
     * the domain's suffix, whatever its kind. Letter case does not count in suffixes: another spelling
     * of the host's own domain deletes the main database, and so does the own domain itself when the
     * host's GetDomainName() is empty. Does nothing when no database has the suffix.
     * @throws EKVRError for the host's own domain, as it is spelled; what DeleteDN throws
     */
    virtual void DeleteLdapProvider(const std::string& domain) = 0;
    /** @} */

protected:
    IKVRLdapConnection() = default;
};

} // namespace KVR
