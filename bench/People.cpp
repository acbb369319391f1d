#include "People.h"

#include "LoadedModule.h"

namespace KVR::Bench
{

std::string personDn(const std::string& uid)
{
    return "uid=" + uid + ",ou=people," + serverVariable("KVR_TEST_LDAP_SUFFIX");
}

Attributes person(const std::string& uid)
{
    return {{"objectClass", "top"},
            {"objectClass", "person"},
            {"objectClass", "organizationalPerson"},
            {"objectClass", "inetOrgPerson"},
            {"uid", uid},
            {"cn", "Jürgen Schäfer"},
            {"sn", "Schäfer"},
            {"givenName", "Jürgen"},
            {"displayName", "Schäfer, Jürgen"},
            {"mail", uid + "@example.com"},
            {"mail", uid + "@mail.example.com"},
            {"telephoneNumber", "+49 30 555 000001"},
            {"telephoneNumber", "+49 40 555 000001"},
            {"mobile", "+49 170 555 000001"},
            {"employeeNumber", "100001"},
            {"title", "Engineer"},
            {"ou", "Research"},
            {"l", "Köln"},
            {"postalAddress", "Example Street 1 $ 10001 Köln"},
            {"description", "Works in Research (Köln), room 1 on floor 1"}};
}

Attributes personChanges()
{
    return {
        {"=title", "Head of Department"}, {"+description", "Has the key of the archive"}, {"!mobile", ""}};
}

} // namespace KVR::Bench
