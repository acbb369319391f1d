#include "Replication.h"

#include "Configuration.h"
#include "Failure.h"
#include "Lookup.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

constexpr const char* configDatabaseDn = "olcDatabase={0}config,cn=config";
constexpr const char* agreementAttribute = "olcSyncrepl";

std::string withoutZeros(const std::string& digits)
{
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

/** The digits behind "rid=", which may stand in quotation marks. */
std::string identifierOf(const std::string& stored)
{
    const std::string key = "rid=";
    const std::size_t place = stored.find(key);
    if (place == std::string::npos)
    {
        return "";
    }
    const std::size_t begin = std::min(stored.find_first_not_of('"', place + key.size()), stored.size());
    return stored.substr(begin, stored.find_first_not_of("0123456789", begin) - begin);
}

bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

std::string Agreement::OfConfiguration() const
{
    return "rid=\"" + identifier + "\" provider=\"" + ProviderUri() +
           "\" bindmethod=sasl saslmech=gssapi authcid=\"" + daemon +
           R"(" searchbase="cn=config" type=refreshAndPersist retry="60 +")";
}

bool Agreement::HasIdentifierOf(const std::string& stored) const
{
    const std::string other = identifierOf(stored);
    return !other.empty() && withoutZeros(other) == withoutZeros(identifier);
}

bool Agreement::HasProviderOf(const std::string& stored) const
{
    return holds(stored, "provider=\"" + ProviderUri() + "\"");
}

bool Agreement::IsStoredAs(const std::string& stored) const
{
    return holds(stored, "rid=\"" + identifier + "\"") && HasProviderOf(stored);
}

bool Agreement::IsConfigurationsStoredAs(const std::string& stored) const
{
    const bool isNumbered = !stored.empty() && stored.front() == '{' && holds(stored, "}");
    return IsAlike(stored.substr(isNumbered ? stored.find('}') + 1 : 0), OfConfiguration());
}

ConfigurationReplication ReadConfigurationReplication(IKVRLdapConnection& connection,
                                                      const std::string& command)
{
    // Newer servers tell the mirror mode that was written under another name.
    std::list<std::string> names{agreementAttribute, "olcMirrorMode", "olcMultiProvider"};
    const auto query = connection.Search(configDatabaseDn, everyEntry, names, alSCOPE_BASE);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (!query || !query->Fetch(entity))
    {
        throw Failure(ExitCode::NoAccess, command,
                      std::string("the configuration database ") + configDatabaseDn +
                          " is hidden from the user");
    }
    ConfigurationReplication found;
    for (const auto& [name, value] : entity->attributes)
    {
        if (IsAlike(name, agreementAttribute))
        {
            found.agreements.push_back(value);
        }
        else
        {
            found.mirrorMode = value;
        }
    }
    return found;
}

} // namespace KVR::Cli
