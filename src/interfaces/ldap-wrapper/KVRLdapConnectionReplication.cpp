#include "KVRLdapCommon.h"
#include "KVRLdapConfiguration.h"
#include "KVRLdapConnection.h"
#include "KVRTranslate.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>

#include <algorithm>
#include <list>

namespace KVR
{

namespace
{

constexpr char agreementAttribute[] = "olcSyncrepl";
constexpr char mirrorAttribute[] = "olcMirrorMode";

/** Identifier and provider of an agreement, and how a stored value shows them. */
struct Agreement
{
    Agreement(IKVRCore& core, const std::string& givenIdentifier, const std::string& givenProvider)
        : identifier(givenIdentifier.empty() ? "001" : givenIdentifier),
          providerUri("ldap://" + (givenProvider.empty() ? core.GetServerHost() : givenProvider)),
          identifierKey("rid=\"" + identifier + "\""),
          providerKey("provider=\"" + providerUri + "\"")
    {
    }

    std::string identifier;
    std::string providerUri;
    std::string identifierKey;
    std::string providerKey;
};

bool holds(const std::string& value, const std::string& key)
{
    return value.find(key) != std::string::npos;
}

/** The name by which this computer's daemon logs in to the provider. */
std::string daemonIdentity(IKVRCore& core)
{
    return core.GetParameter("KVRD_USER") + "/" + core.GetHostName();
}

/** The stored form of an agreement, see "olcSyncrepl" in slapd-config(5). */
std::string agreementText(const Agreement& agreement, const std::string& identity,
                          const std::string& searchBase)
{
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    return format(4,
                  "rid=\"%s\" provider=\"%s\" bindmethod=sasl saslmech=gssapi authcid=\"%s\" "
                  "searchbase=\"%s\" type=refreshAndPersist retry=\"60 +\"",
                  agreement.identifier.c_str(), agreement.providerUri.c_str(), identity.c_str(),
                  searchBase.c_str());
}

/** @param key what the stored agreement has in common with the new one, @param value and its value */
[[noreturn]] void throwAgreementExists(const char* key, const std::string& value, const std::string& stored)
{
    CKVRFormatCall format(__FILE__, "AddSyncRepl", __LINE__);
    throw EKVRError(format(3, moduleText("SyncRepl with %s=\"%s\" already exists:\n'%s'."), key,
                           value.c_str(), stored.c_str()),
                    "");
}

void requireNewAgreement(const Agreement& agreement, const std::list<std::string>& existing)
{
    for (const std::string& stored : existing)
    {
        if (holds(stored, agreement.identifierKey))
        {
            throwAgreementExists("rid", agreement.identifier, stored);
        }
        if (holds(stored, agreement.providerKey))
        {
            throwAgreementExists("provider", agreement.providerUri, stored);
        }
    }
}

/** Adds the agreement to the configuration database and switches its mirror mode on, in one request. */
int addWithMirrorMode(LDAP* session, const std::string& agreement)
{
    const std::string on = "TRUE";
    char* agreements[] = {unchanged(agreement), nullptr};
    char* modes[] = {unchanged(on), nullptr};
    const std::string attributes[] = {agreementAttribute, mirrorAttribute};
    LDAPMod changes[] = {{LDAP_MOD_ADD, unchanged(attributes[0]), {agreements}},
                         {LDAP_MOD_ADD, unchanged(attributes[1]), {modes}}};
    LDAPMod* list[] = {&changes[0], &changes[1], nullptr};
    return ldap_modify_ext_s(session, Configuration::configDatabaseDn, list, nullptr, nullptr);
}

} // namespace

void CKVRLdapConnection::EnumerateSyncRepls(std::list<std::string>& agreements)
{
    requireSession();
    const auto query = searchConfiguration(*this, Configuration::root, Configuration::mainDatabase,
                                           {agreementAttribute}, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (query->Fetch(entity))
    {
        entity->ValsByAttr(agreementAttribute, agreements, true);
    }
}

void CKVRLdapConnection::AddSyncRepl(std::string identifier, std::string provider)
{
    requireSession();
    const Agreement agreement(core, identifier, provider);
    std::list<std::string> existing;
    EnumerateSyncRepls(existing);
    requireNewAgreement(agreement, existing);

    const std::string identity = daemonIdentity(core);
    const std::string domain = core.GetParameter("DOMAIN_DN");
    SetAttrValue(Configuration::mainDatabaseDn, agreementAttribute,
                 agreementText(agreement, identity, domain), alADD);

    // The configuration database takes an agreement only together with mirror mode.
    const std::string text = agreementText(agreement, identity, Configuration::root);
    const std::string wireText = toWire(text);
    const int code = addWithMirrorMode(sessionForRequest(), wireText);
    checkResult(internal->ld, code, {__FILE__, "AddSyncRepl", __LINE__},
                markedText("on modifying attribute '%s' of dn '%s' to value '%s'"),
                std::string(agreementAttribute), std::string(Configuration::configDatabaseDn), text);
}

void CKVRLdapConnection::DeleteSyncRepl(std::string identifier, std::string provider)
{
    requireSession();
    const Agreement agreement(core, identifier, provider);
    std::list<std::string> existing;
    EnumerateSyncRepls(existing);
    const auto stored =
        std::find_if(existing.begin(), existing.end(),
                     [&agreement](const std::string& value) {
                         return holds(value, agreement.identifierKey) && holds(value, agreement.providerKey);
                     });
    if (stored == existing.end())
    {
        return;
    }
    SetAttrValue(Configuration::mainDatabaseDn, agreementAttribute, *stored, alREMOVE);
    SetAttrValue(Configuration::configDatabaseDn, agreementAttribute,
                 agreementText(agreement, daemonIdentity(core), Configuration::root), alREMOVE);
    DeleteAttr(Configuration::configDatabaseDn, mirrorAttribute);
}

} // namespace KVR
