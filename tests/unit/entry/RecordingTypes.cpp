#include "RecordingTypes.h"

#include <IKVRLdapQuery.h>

#include <stdexcept>

namespace KVR::Support
{

bool RecordingConnection::IsConnected()
{
    record_.add("IsConnected");
    return CKVRLdapConnection::IsConnected();
}

bool RecordingConnection::IfReconnectNeeded()
{
    record_.add("IfReconnectNeeded");
    return CKVRLdapConnection::IfReconnectNeeded();
}

long RecordingConnection::GetLastError()
{
    record_.add("GetLastError");
    return CKVRLdapConnection::GetLastError();
}

std::string RecordingConnection::LocalToUtf8(const std::string& text)
{
    record_.add("LocalToUtf8");
    return CKVRLdapConnection::LocalToUtf8(text);
}

std::string RecordingConnection::Utf8ToLocal(const std::string& text)
{
    if (nested_)
    {
        return CKVRLdapConnection::Utf8ToLocal(text);
    }
    record_.add("Utf8ToLocal \"", text, "\" into \"", record_.entity->dn, "\" with ",
                record_.entity->attributes.size());
    if (++conversions_ == throwsAt_)
    {
        throw std::runtime_error("no conversion " + printable(text));
    }
    if (searches_)
    {
        readAnother();
    }
    return CKVRLdapConnection::Utf8ToLocal(text);
}

void RecordingConnection::readAnother()
{
    nested_ = true;
    std::list<std::string> names;
    std::shared_ptr<IKVRLdapEntity> another;
    const auto query = Search("dc=nested", "(objectClass=*)", names, alSCOPE_SUB);
    while (query->Fetch(another))
    {
        record_.add("nested \"", another->dn, "\" ", another->attributes.size());
    }
    nested_ = false;
}

bool RecordingEntity::IsValid()
{
    record_.add("IsValid");
    return CKVRLdapEntity::IsValid();
}

void RecordingEntity::Clear()
{
    record_.add("Clear of \"", dn, "\" with ", attributes.size());
    CKVRLdapEntity::Clear();
}

} // namespace KVR::Support
