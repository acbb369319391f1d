#pragma once

#include "KVRLdapConnection.h"

#include <IKVRLdapSession.h>

namespace KVR
{

/** The connections that the wrapper hands out, see IKVRLdapSession. */
class CKVRLdapSession : public CKVRLdapConnection, public IKVRLdapSession
{
public:
    explicit CKVRLdapSession(IKVRCore& host);

    bool IsTimeLimitReached() override;
};

} // namespace KVR
