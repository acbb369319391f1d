#pragma once

#include "KVRLdapHandles.h"
#include "KVRLdapModifications.h"
#include "KVRLdapReceivedEntry.h"
#include "KVRLdapSessionGuard.h"

#include <IKVRLdapConnection.h>

#include <iconv.h>
#include <ldap.h>

#include <cstdint>
#include <typeinfo>
#include <vector>

namespace KVR
{

class IKVRCore;

/** Marks a conversion that is not open. */
inline iconv_t closedConversion()
{
    return reinterpret_cast<iconv_t>(-1); // NOLINT(performance-no-int-to-ptr): iconv_open(3) says so
}

/** What a connection keeps of the C libraries. */
class CKVRConnInternal
{
public:
    CKVRConnInternal() = default;
    virtual ~CKVRConnInternal();

    CKVRConnInternal(const CKVRConnInternal&) = delete;
    CKVRConnInternal& operator=(const CKVRConnInternal&) = delete;

    LDAP* ld = nullptr; /**< the session; null means not connected. The connection ends it. */
    iconv_t toUtf8 = closedConversion();
    iconv_t toLocal = closedConversion();
    std::string bindDefaults;
};

/**
 * A connection through the OpenLDAP client library, see IKVRLdapConnection for its rules.
 *
 * The session's life is the connection's state: it exists from Connect to Disconnect, also when
 * the bind was refused. Conversions are opened at first use and stay open to the end.
 */
class CKVRLdapConnection : public IKVRLdapConnection
{
public:
    /**
     * @param host must outlive the connection
     *
     * With a log level above 4 this sets the debug level of the LDAP library, process-wide.
     */
    explicit CKVRLdapConnection(IKVRCore& host);
    ~CKVRLdapConnection() override;

    KVRAuthType AuthType() override;
    bool Connect(const std::string& target, KVRAuthType type) override;
    bool IsConnected() override;
    void Disconnect() override;
    long GetLastError() override;
    bool IfReconnectNeeded() override;
    std::string LocalToUtf8(const std::string& text) override;
    std::string Utf8ToLocal(const std::string& text) override;
    void AdjustGecosType() override;
    std::shared_ptr<IKVRLdapEntity> AllocEntity() override;
    std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter,
                                          std::list<std::string>& attributes, alSCOPE scope) override;
    void DeleteAttr(const std::string& dn, const std::string& attribute) override;
    void SetAttrValue(const std::string& dn, const std::string& attribute, const std::string& value,
                      alOPERATION operation) override;
    void SetAttrValues(const std::string& dn, const std::string& attribute, std::list<std::string>& values,
                       alOPERATION operation) override;
    void UpdateDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) override;
    void DeleteDN(const std::string& dn) override;
    void AddDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) override;
    void RenameDN(const std::string& dn, const std::string& newRdn) override;
    void SetAttrBinaryValue(const std::string& dn, const std::string& attribute, const char* data,
                            unsigned long size, alOPERATION operation) override;
    char* GetAttrBinaryValue(const std::string& dn, const std::string& attribute,
                             unsigned long& size) override;
    void EnsureOU(const std::string& dn) override;
    void EnumerateIndexes(std::list<std::string>& indexes) override;
    void AddDBIndex(const std::string& index) override;
    void DeleteDBIndex(const std::string& index) override;
    void EnumerateDBAccessRules(std::list<std::string>& rules) override;
    void AddDBAccessRule(int position, const std::string& rule) override;
    void DeleteDBAccessRule(int position) override;
    void EnumerateLdapSchemas(std::list<std::string>& schemas) override;
    bool IsLdapSchemaRegistered(const std::string& name) override;
    void EnumerateModules(std::list<std::string>& modules) override;
    void EnumerateDatabases(std::map<std::string, std::string>& databases) override;
    void EnumerateDBUniqueness(std::list<std::string>& uris) override;
    void AddDBUniqueness(const std::string& rule) override;
    void DeleteDBUniqueness(const std::string& rule) override;
    void EnumerateDBLimits(std::map<std::string, std::string>& limits) override;
    void AddDBLimit(const std::string& who, const std::string& limit) override;
    void DeleteDBLimit(const std::string& who) override;
    void EnumerateSyncRepls(std::list<std::string>& agreements) override;
    void AddSyncRepl(std::string identifier, std::string provider) override;
    void DeleteSyncRepl(std::string identifier, std::string provider) override;
    void EnumerateLdapProviders(std::map<std::string, std::string>& providers) override;
    void AddLdapProvider(const std::string& domain, std::string address,
                         const std::string& reserved) override;
    std::shared_ptr<IKVRLdapEntity> GetLdapProvider(const std::string& domain) override;
    void UpdateLdapProvider(const std::string& domain, std::string address) override;
    void DeleteLdapProvider(const std::string& domain) override;

    /**
     * Throws what the session's last result code asks for; returns when that code is 0, so that a
     * failure that left no code is passed over.
     * @param context translated text that says what was being done
     */
    void InternalCheck(const std::string& context);

    /**
     * Converts with a conversion that is open already. The result ends at the first zero byte.
     * @throws EKVRCheckError when the conversion is not open
     * @throws EKVRInternalError when the text can't be converted or needs more than four bytes per byte
     */
    std::string InternalIconv(bool toUtf8, const std::string& text) const;

protected:
    /** @param type the class of the module's own that derives from this one and is being made */
    CKVRLdapConnection(IKVRCore& host, const std::type_info& type);

    /** True when its time limit ended the last operation that waited for a server. */
    bool hasReachedTimeLimit() const;

private:
    friend class CKVRLdapQuery;

    /** False for a class of a host that derives from the module's, and whose operations may do anything. */
    bool isOfModulesType() const { return typeid(*this) == *modulesType; }

    /** Throws EKVRCheckError unless there is a session. */
    void requireSession() const;

    /** The session, or null, for one request to the server, whose time limit begins. */
    LDAP* sessionForRequest();

    /**
     * Searches and receives the whole result.
     * @param scope a scope of libldap
     * @return result code; with success, and with a result that is cut, there is a result
     */
    int search(const std::string& base, int scope, const std::string& filter, char** names,
               MessageOwner& result);

    void determineCodeset();
    void chooseUri(const std::string& target);
    void openSession();
    int setSessionOptions();
    void bindAnonymously();
    void bindWithKerberos();

    /** A value as the server gets it: through LocalToUtf8 when the locale is not UTF-8. */
    std::string toWire(const std::string& value);

    /** Converts the values as Utf8ToLocal does, in their order. If it throws, those before are converted. */
    void toLocal(CKVRReceivedEntry& entry);
    void openToLocal();

    /** InternalIconv with an open conversion. The view ends with the next text, or when the buffer goes. */
    std::string_view convertText(iconv_t handle, std::string_view text) const;

    /** Fills the list from the map; whatever fails is told as "on building attributes". */
    void buildModifications(CKVRModificationList& list,
                            const std::multimap<std::string, std::string>& attributes,
                            const CKVRModificationList::ModeOf& modeOf, const char* function);

    /** Deletes the entries below one, in one pass. @return the first result code that is not 0, or 0 */
    int deleteBelow(const std::string& dn);

    /** Creates a unit below its parent unless it is there. @return its DN */
    std::string ensureUnit(const std::string& component, const std::string& parent);

    /** Deletes the databases right below an entry of the configuration that a filter finds. */
    void deleteDatabases(const char* parent, const std::string& filter);

    /** First value of an entry's first attribute, as GetAttrBinaryValue returns it. */
    char* firstBinaryValue(LDAPMessage* entry, unsigned long& size);

    IKVRCore& core;
    std::unique_ptr<CKVRConnInternal> internal;
    KVRAuthType authType = KVRAuthAnonymous;
    std::string uri = "ldap://localhost";
    std::int32_t timeout = 30; /**< seconds, for a connection attempt and for an answer */
    bool convert = false;
    std::string codeset;

    const std::type_info* const modulesType;
    CKVRSessionGuard guard;
    std::unique_ptr<CKVRReceivedEntry> received; /**< while no entry is being read */
    mutable std::vector<char> converted;         /**< buffer of convertText */
};

} // namespace KVR
