#pragma once

#include <KVRLdapTypes.h>

#include <list>
#include <memory>
#include <string>

namespace KVR
{

class IKVRLdapConnection;
class IKVRLdapQuery;

/**
 * Names in the configuration tree of an OpenLDAP server, see slapd-config(5). KVR_MAIN_DATABASE is
 * chosen when the module is built.
 */
namespace Configuration
{
constexpr char root[] = "cn=config";
constexpr char schemas[] = "cn=schema,cn=config";
constexpr char mainDatabase[] = "olcDatabase=" KVR_MAIN_DATABASE;
constexpr char mainDatabaseDn[] = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
constexpr char configDatabaseDn[] = "olcDatabase={0}config,cn=config";
constexpr char chainOverlayDn[] = "olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";
} // namespace Configuration

/**
 * Searches the configuration tree through the virtual table and puts the cursor at the first entry.
 * @param names the attributes to return
 * @throws EKVRError without a query: who may not see the tree gets no such object
 */
std::shared_ptr<IKVRLdapQuery> searchConfiguration(IKVRLdapConnection& connection, const std::string& base,
                                                   const std::string& filter, std::list<std::string> names,
                                                   alSCOPE scope);

/**
 * Throws EKVRInternalError when the result has more than one entry.
 * @param file,function,line the caller's place, which the message tells
 */
void requireSingleEntry(IKVRLdapQuery& query, const char* file, const char* function, unsigned long line);

/** Throws the EKVRError for a configuration that the user can't see. */
[[noreturn]] void throwConfigurationHidden();

} // namespace KVR
