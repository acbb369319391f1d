// A directory of 100,000 people.

#include "ServerTest.h"

#include <algorithm>

namespace KVR::ServerTests
{
namespace
{

constexpr int people = 100000;

TEST(LargeResultTest, AHundredThousandEntriesAreWalkedToTheEnd)
{
    const Support::PrivateSlapd server({"--entries", std::to_string(people)});
    const LogCapture log;
    CKVRCore core;
    CKVRLdapConnection connection(core);
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
    std::list<std::string> names;

    const auto query = connection.Search("ou=people,dc=example,dc=com", "(uid=*)", names, alSCOPE_ONE);

    ASSERT_NE(query, nullptr);
    EXPECT_EQ(query->Count(), people);
    std::shared_ptr<IKVRLdapEntity> entity;
    std::vector<bool> seen(people + 1);
    int walked = 0;
    while (query->Fetch(entity))
    {
        ++walked;
        const int number = std::stoi(entity->ValByAttr("employeeNumber", false)) - 100000;
        seen.at(static_cast<std::size_t>(number)) = true;
        ASSERT_EQ(entity->attributes.size(), 20U) << entity->dn;
    }
    EXPECT_EQ(walked, people);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), people);
    EXPECT_THAT(log.messages(), testing::IsEmpty());
}

} // namespace
} // namespace KVR::ServerTests
