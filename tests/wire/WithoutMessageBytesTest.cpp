// With a libldap that does not export ldap_get_message_ber entries are read all the same. The linker hides
// the call from this program, see CMakeLists.txt.

#include "KVRLdapConnection.h"
#include "LdapResponder.h"
#include "RecordingHost.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <gtest/gtest.h>

namespace KVR
{
namespace
{

using Support::Answer;

TEST(WithoutMessageBytes, EntriesAreReadByName)
{
    Support::LdapResponder responder;
    Support::RecordingHost host;
    CKVRLdapConnection connection(host);
    ASSERT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
    responder.onSearch(Answer().entry("cn=a,dc=x", {{"sn", {"c"}}, {"cn", {"b", "a"}}}));
    std::list<std::string> names;
    const auto query = connection.Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
    ASSERT_NE(query, nullptr);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(entity->dn, "cn=a,dc=x");
    EXPECT_EQ(entity->attributes,
              (std::multimap<std::string, std::string>{{"cn", "b"}, {"cn", "a"}, {"sn", "c"}}));
    EXPECT_FALSE(query->Fetch(entity));
}

} // namespace
} // namespace KVR
