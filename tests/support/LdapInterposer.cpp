#include "LdapInterposer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

// The linker's option --wrap=f sends calls of f to __wrap_f, and __real_f to the library.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker asks for these names
extern "C"
{
    int __real_ldap_initialize(LDAP** session, const char* uri);
    int __real_ldap_is_ldap_url(const char* url);
    int __real_ldap_set_option(LDAP* session, int option, const void* value);
    int __real_ldap_get_option(LDAP* session, int option, void* value);
    int __real_ldap_unbind_ext_s(LDAP* session, LDAPControl** server, LDAPControl** client);
    int __real_ldap_sasl_bind_s(LDAP* session, const char* dn, const char* mechanism, berval* credentials,
                                LDAPControl** server, LDAPControl** client, berval** answer);
    int __real_ldap_sasl_interactive_bind_s(LDAP* session, const char* dn, const char* mechanism,
                                            LDAPControl** server, LDAPControl** client, unsigned flags,
                                            LDAP_SASL_INTERACT_PROC* interact, void* defaults);
    int __real_ldap_search_ext_s(LDAP* session, const char* base, int scope, const char* filter,
                                 char** attributes, int typesOnly, LDAPControl** server, LDAPControl** client,
                                 timeval* timeout, int sizeLimit, LDAPMessage** result);
    int __real_ldap_add_ext_s(LDAP* session, const char* dn, LDAPMod** list, LDAPControl** server,
                              LDAPControl** client);
    int __real_ldap_modify_ext_s(LDAP* session, const char* dn, LDAPMod** list, LDAPControl** server,
                                 LDAPControl** client);
    int __real_ldap_delete_ext_s(LDAP* session, const char* dn, LDAPControl** server, LDAPControl** client);
    int __real_ldap_rename_s(LDAP* session, const char* dn, const char* rdn, const char* superior,
                             int deleteOldRdn, LDAPControl** server, LDAPControl** client);
    int __real_ldap_count_entries(LDAP* session, LDAPMessage* result);
    char* __real_ldap_get_dn(LDAP* session, LDAPMessage* entry);
    BerElement* __real_ldap_get_message_ber(LDAPMessage* message);
    berval** __real_ldap_get_values_len(LDAP* session, LDAPMessage* entry, const char* name);
    int __real_ldap_msgfree(LDAPMessage* message);
}

namespace KVR::Support
{

namespace
{

/** Seconds that the module lets a session wait. */
constexpr time_t usualTimeout = 30;

LdapInterposer* current = nullptr;

std::optional<std::string> textOrNull(const char* text)
{
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::string optionText(int option, const void* value)
{
    if (option == LDAP_OPT_PROTOCOL_VERSION || option == LDAP_OPT_DEBUG_LEVEL)
    {
        return std::to_string(*static_cast<const int*>(value));
    }
    if (option == LDAP_OPT_TIMEOUT || option == LDAP_OPT_NETWORK_TIMEOUT)
    {
        const auto* time = static_cast<const timeval*>(value);
        std::array<char, 64> text{};
        static_cast<void>(std::snprintf(text.data(), text.size(), "%ld.%06ld",
                                        static_cast<long>(time->tv_sec), static_cast<long>(time->tv_usec)));
        return text.data();
    }
    return "?";
}

LdapInterposer::Write writeOf(LDAPMod** list, bool hasControls)
{
    LdapInterposer::Write write;
    write.hasControls = hasControls;
    for (; *list != nullptr; ++list)
    {
        const LDAPMod& change = **list;
        write.changes.push_back({change.mod_op, change.mod_type, change.mod_vals.modv_strvals != nullptr});
    }
    return write;
}

/** The code of a call, after the session was given the one that the script wants it to keep. */
int withKeptCode(int code)
{
    if (current != nullptr && current->keptCode)
    {
        current->setResultCode(*current->keptCode);
    }
    return code;
}

} // namespace

LdapInterposer::LdapInterposer()
{
    if (current != nullptr)
    {
        throw std::logic_error("there is an interposer already");
    }
    current = this;
}

LdapInterposer::~LdapInterposer()
{
    current = nullptr;
}

void LdapInterposer::setResultCode(int code) const
{
    if (session == nullptr ||
        __real_ldap_set_option(session, LDAP_OPT_RESULT_CODE, &code) != LDAP_OPT_SUCCESS)
    {
        throw std::logic_error("there is no session to set the result code of");
    }
}

int LdapInterposer::unfreedResults() const
{
    int count = 0;
    for (const auto& search : searches)
    {
        count += search.result != nullptr ? 1 : 0;
    }
    return count;
}

} // namespace KVR::Support

using KVR::Support::current;
using KVR::Support::usualTimeout;

extern "C"
{
    int __wrap_ldap_initialize(LDAP** session, const char* uri)
    {
        if (current == nullptr)
        {
            return __real_ldap_initialize(session, uri);
        }
        current->initialized.emplace_back(uri);
        if (current->initializeCode && !current->initializeMakesSession)
        {
            return *current->initializeCode;
        }
        int code = LDAP_SUCCESS;
        if (current->makeSession)
        {
            *session = current->makeSession();
        }
        else
        {
            code = __real_ldap_initialize(session, uri);
        }
        current->session = code == LDAP_SUCCESS ? *session : nullptr;
        if (current->session != nullptr && !current->initializeDiagnostic.empty())
        {
            __real_ldap_set_option(*session, LDAP_OPT_DIAGNOSTIC_MESSAGE,
                                   current->initializeDiagnostic.c_str());
        }
        return current->initializeCode.value_or(code);
    }

    int __wrap_ldap_is_ldap_url(const char* url)
    {
        return current != nullptr && current->refuseUrls ? 0 : __real_ldap_is_ldap_url(url);
    }

    int __wrap_ldap_set_option(LDAP* session, int option, const void* value)
    {
        if (current == nullptr)
        {
            return __real_ldap_set_option(session, option, value);
        }
        current->setOptions.push_back({session, option, KVR::Support::optionText(option, value)});
        const auto scripted = current->setOptionCodes.find(option);
        if (scripted != current->setOptionCodes.end())
        {
            return scripted->second;
        }
        const bool isTimeout = option == LDAP_OPT_TIMEOUT || option == LDAP_OPT_NETWORK_TIMEOUT;
        if (isTimeout && current->timeLimit && static_cast<const timeval*>(value)->tv_sec == usualTimeout)
        {
            const auto microseconds =
                std::chrono::duration_cast<std::chrono::microseconds>(*current->timeLimit).count();
            timeval shortened{};
            shortened.tv_sec = microseconds / std::micro::den;
            shortened.tv_usec = microseconds % std::micro::den;
            return __real_ldap_set_option(session, option, &shortened);
        }
        return __real_ldap_set_option(session, option, value);
    }

    int __wrap_ldap_get_option(LDAP* session, int option, void* value)
    {
        if (current != nullptr)
        {
            current->readOptions.push_back(option);
            if (option == LDAP_OPT_RESULT_CODE)
            {
                current->unfreedAtCheck = current->unfreedResults();
            }
            if (current->unreadableOptions.count(option) != 0)
            {
                return LDAP_OPT_ERROR;
            }
        }
        return __real_ldap_get_option(session, option, value);
    }

    int __wrap_ldap_unbind_ext_s(LDAP* session, LDAPControl** server, LDAPControl** client)
    {
        const int code = __real_ldap_unbind_ext_s(session, server, client);
        if (current == nullptr)
        {
            return code;
        }
        current->unbinds++;
        if (current->session == session)
        {
            current->session = nullptr;
        }
        return current->unbindCode.value_or(code);
    }

    int __wrap_ldap_sasl_bind_s(LDAP* session, const char* dn, const char* mechanism, berval* credentials,
                                LDAPControl** server, LDAPControl** client, berval** answer)
    {
        if (current != nullptr)
        {
            const std::string bytes =
                credentials != nullptr ? std::string(credentials->bv_val, credentials->bv_len) : "";
            current->binds.push_back({session, KVR::Support::textOrNull(dn),
                                      KVR::Support::textOrNull(mechanism), bytes,
                                      server != nullptr || client != nullptr});
        }
        return __real_ldap_sasl_bind_s(session, dn, mechanism, credentials, server, client, answer);
    }

    int __wrap_ldap_sasl_interactive_bind_s(LDAP* session, const char* dn, const char* mechanism,
                                            LDAPControl** server, LDAPControl** client, unsigned flags,
                                            LDAP_SASL_INTERACT_PROC* interact, void* defaults)
    {
        if (current == nullptr)
        {
            return __real_ldap_sasl_interactive_bind_s(session, dn, mechanism, server, client, flags,
                                                       interact, defaults);
        }
        current->interactiveBinds.push_back(
            {session, KVR::Support::textOrNull(dn), KVR::Support::textOrNull(mechanism),
             server != nullptr || client != nullptr, flags, interact, defaults});
        return current->interactiveBind ? current->interactiveBind(current->interactiveBinds.back())
                                        : LDAP_SUCCESS;
    }

    int __wrap_ldap_search_ext_s(LDAP* session, const char* base, int scope, const char* filter,
                                 char** attributes, int typesOnly, LDAPControl** server, LDAPControl** client,
                                 timeval* timeout, int sizeLimit, LDAPMessage** result)
    {
        const int code = __real_ldap_search_ext_s(session, base, scope, filter, attributes, typesOnly, server,
                                                  client, timeout, sizeLimit, result);
        if (current != nullptr)
        {
            current->searches.push_back({attributes != nullptr, server != nullptr || client != nullptr,
                                         timeout != nullptr, sizeLimit, code, *result});
        }
        return KVR::Support::withKeptCode(code);
    }

    int __wrap_ldap_add_ext_s(LDAP* session, const char* dn, LDAPMod** list, LDAPControl** server,
                              LDAPControl** client)
    {
        if (current != nullptr)
        {
            current->adds.push_back(KVR::Support::writeOf(list, server != nullptr || client != nullptr));
        }
        return KVR::Support::withKeptCode(__real_ldap_add_ext_s(session, dn, list, server, client));
    }

    int __wrap_ldap_modify_ext_s(LDAP* session, const char* dn, LDAPMod** list, LDAPControl** server,
                                 LDAPControl** client)
    {
        if (current != nullptr)
        {
            current->modifies.push_back(KVR::Support::writeOf(list, server != nullptr || client != nullptr));
        }
        return KVR::Support::withKeptCode(__real_ldap_modify_ext_s(session, dn, list, server, client));
    }

    int __wrap_ldap_delete_ext_s(LDAP* session, const char* dn, LDAPControl** server, LDAPControl** client)
    {
        return KVR::Support::withKeptCode(__real_ldap_delete_ext_s(session, dn, server, client));
    }

    int __wrap_ldap_rename_s(LDAP* session, const char* dn, const char* rdn, const char* superior,
                             int deleteOldRdn, LDAPControl** server, LDAPControl** client)
    {
        return KVR::Support::withKeptCode(
            __real_ldap_rename_s(session, dn, rdn, superior, deleteOldRdn, server, client));
    }

    int __wrap_ldap_count_entries(LDAP* session, LDAPMessage* result)
    {
        return current != nullptr && current->countEntries ? *current->countEntries
                                                           : __real_ldap_count_entries(session, result);
    }

    char* __wrap_ldap_get_dn(LDAP* session, LDAPMessage* entry)
    {
        if (current != nullptr)
        {
            current->readDns++;
        }
        return current != nullptr && current->withholdDn ? nullptr : __real_ldap_get_dn(session, entry);
    }

    BerElement* __wrap_ldap_get_message_ber(LDAPMessage* message)
    {
        if (current != nullptr)
        {
            current->shownBytes++;
        }
        const bool hidden = current != nullptr &&
                            (current->hideBytes || current->withholdDn || !current->withheldValues.empty());
        return hidden ? nullptr : __real_ldap_get_message_ber(message);
    }

    berval** __wrap_ldap_get_values_len(LDAP* session, LDAPMessage* entry, const char* name)
    {
        return current != nullptr && current->withheldValues.count(name) != 0
                   ? nullptr
                   : __real_ldap_get_values_len(session, entry, name);
    }

    int __wrap_ldap_msgfree(LDAPMessage* message)
    {
        if (current != nullptr && message != nullptr)
        {
            current->freed.push_back(message);
            for (auto& search : current->searches)
            {
                // the address can come back with a later search
                search.result = search.result == message ? nullptr : search.result;
            }
        }
        return __real_ldap_msgfree(message);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
