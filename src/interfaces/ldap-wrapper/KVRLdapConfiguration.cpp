#include "KVRLdapConfiguration.h"

#include "KVRTranslate.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapQuery.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

#include <cerrno>

namespace KVR
{

std::shared_ptr<IKVRLdapQuery> searchConfiguration(IKVRLdapConnection& connection, const std::string& base,
                                                   const std::string& filter, std::list<std::string> names,
                                                   alSCOPE scope)
{
    std::shared_ptr<IKVRLdapQuery> query = connection.Search(base, filter, names, scope);
    if (!query)
    {
        throwConfigurationHidden();
    }
    query->First();
    return query;
}

void requireSingleEntry(IKVRLdapQuery& query, const char* file, const char* function, unsigned long line)
{
    const int count = query.Count();
    const int error = errno; // translating and formatting may change it
    if (count > 1)
    {
        CKVRFormatCall format(file, function, line);
        throw EKVRInternalError(format(4, hostText("Unexpected error %d in %s:%u - %s()"), error,
                                       ExtractFileName(file), static_cast<unsigned>(line), function),
                                "", file, function, line);
    }
}

void throwConfigurationHidden()
{
    throw EKVRError(hostText("Insufficient access. The user should have administrator privilege."), "");
}

} // namespace KVR
