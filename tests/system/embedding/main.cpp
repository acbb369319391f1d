// A host whose build has the module among its targets: it loads it and makes a connection.

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <iostream>

int main()
try
{
    KVR::CKVRCore core;
    core.SetParameter("KVR_PRM_LDAP_URIS", "ldap://localhost");
    const KVR::CKVRModule module(core, MODULE_FILE);
    const auto ldap = std::dynamic_pointer_cast<KVR::IKVRLdapWrapper>(core.FindInterface("ldap"));
    std::cout << (ldap->getConnection()->IsConnected() ? "connected" : "not connected") << '\n';
}
catch (const std::exception& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
