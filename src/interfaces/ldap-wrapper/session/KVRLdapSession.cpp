#include "KVRLdapSession.h"

namespace KVR
{

CKVRLdapSession::CKVRLdapSession(IKVRCore& host) : CKVRLdapConnection(host, typeid(CKVRLdapSession)) {}

bool CKVRLdapSession::IsTimeLimitReached()
{
    return hasReachedTimeLimit();
}

} // namespace KVR
