#pragma once

#include <ldap.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * Stands between the module and libldap, in test programs that link the target
 * kvr-ldap-interposer. It records calls, and lets those fail that no server can make fail.
 *
 * One object at a time is in effect, from its construction to its destruction; without one every
 * call passes unchanged. For one thread. A call that is told to fail is not passed on, unless the
 * description says so.
 */
class LdapInterposer
{
public:
    LdapInterposer();
    ~LdapInterposer();

    LdapInterposer(const LdapInterposer&) = delete;
    LdapInterposer& operator=(const LdapInterposer&) = delete;

    struct SetOption
    {
        LDAP* session = nullptr;
        int option = 0;
        std::string value; /**< a number, or seconds and microseconds as "30.000000" */
    };

    struct Bind
    {
        LDAP* session = nullptr;
        std::optional<std::string> dn;
        std::optional<std::string> mechanism;
        std::string credentials;
        bool hasControls = false;
    };

    struct InteractiveBind
    {
        LDAP* session = nullptr;
        std::optional<std::string> dn;
        std::optional<std::string> mechanism;
        bool hasControls = false;
        unsigned flags = 0;
        LDAP_SASL_INTERACT_PROC* interact = nullptr;
        void* defaults = nullptr;
    };

    struct Search
    {
        bool hasAttributeArray = false;
        bool hasControls = false;
        bool hasTimeout = false;
        int sizeLimit = 0;
        int code = 0;
        LDAPMessage* result = nullptr; /**< null again once it was freed */
    };

    /** One element of the list that an add or a modify got, with its code as it was given. */
    struct Change
    {
        int code = 0;
        std::string type;
        bool hasValueList = false;
    };

    struct Write
    {
        std::vector<Change> changes;
        bool hasControls = false;
    };

    /** @name Records, in the order of the calls
     * @{ */
    std::vector<std::string> initialized; /**< URIs */
    std::vector<SetOption> setOptions;
    std::vector<int> readOptions;
    std::vector<Bind> binds;
    std::vector<InteractiveBind> interactiveBinds;
    std::vector<Search> searches;
    std::vector<Write> adds;
    std::vector<Write> modifies;
    std::vector<LDAPMessage*> freed; /**< by ldap_msgfree, null not counted */
    int unbinds = 0;
    int readDns = 0;        /**< calls of ldap_get_dn */
    int shownBytes = 0;     /**< calls of ldap_get_message_ber */
    int unfreedAtCheck = 0; /**< unfreedResults() when the session's result code was read last */
    /** @} */

    /** @name Script
     * @{ */
    std::map<int, int> setOptionCodes;   /**< option -> code of ldap_set_option */
    std::set<int> unreadableOptions;     /**< options that ldap_get_option fails for */
    std::optional<int> initializeCode;   /**< code of ldap_initialize */
    bool initializeMakesSession = false; /**< a failing ldap_initialize makes the session */
    std::string initializeDiagnostic;    /**< diagnostic message of the session that it makes */
    std::optional<int> unbindCode;       /**< code of ldap_unbind_ext_s, after the real call */
    std::optional<int> keptCode;         /**< what searches and writes leave in the session */
    std::optional<int> countEntries;     /**< result of ldap_count_entries */
    bool refuseUrls = false;             /**< ldap_is_ldap_url says no */
    bool hideBytes = false;              /**< ldap_get_message_ber gives null */
    /** @name What ldap_get_dn and ldap_get_values_len give null for; ldap_get_message_ber does too then
     * @{ */
    bool withholdDn = false;
    std::set<std::string> withheldValues; /**< names of attributes */
    /** @} */
    std::optional<std::chrono::milliseconds> timeLimit; /**< in place of time-outs of 30 seconds */

    /** Makes the sessions in place of ldap_initialize. */
    std::function<LDAP*()> makeSession;

    /** Replaces ldap_sasl_interactive_bind_s; without one it succeeds and sends nothing. */
    std::function<int(const InteractiveBind&)> interactiveBind;
    /** @} */

    /** The session that ldap_initialize made last. */
    LDAP* session = nullptr;

    /** Lets the session say that its last operation ended with this code. */
    void setResultCode(int code) const;

    /** Number of result messages that searches returned and nobody has freed. */
    int unfreedResults() const;
};

} // namespace KVR::Support
