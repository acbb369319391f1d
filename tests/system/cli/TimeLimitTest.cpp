// A server that holds the user up: 30 seconds, then an error that says so.

#include "LdapResponder.h"
#include "RunProgram.h"
#include "SilentServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::HasSubstr;

constexpr const char* reached = "hint: the time limit was reached";

std::future<Outcome> searching(const std::string& uri)
{
    return std::async(std::launch::async, [uri] { return kvrLdap({"search", "dc=x", "--uri", uri}); });
}

/** All at once, so that the limit passes once. */
TEST(CliTimeLimit, IsThirtySecondsAndToldFromALostConnection)
{
    LdapResponder stalling;
    stalling.onSearch(Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).cutAfter(8));
    LdapResponder silent;
    silent.onSearch(Answer().silence());
    const SilentServer withoutTls;

    const auto begin = std::chrono::steady_clock::now();
    auto inMessage = searching(stalling.uri());
    auto withoutAnswer = searching(silent.uri());
    auto inHandshake = searching("ldaps://" + withoutTls.target());
    for (auto* run : {&inMessage, &withoutAnswer, &inHandshake})
    {
        const Outcome outcome = run->get();
        EXPECT_EQ(outcome.status, 5);
        EXPECT_THAT(outcome.err, HasSubstr(reached));
    }
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::seconds(29));
    EXPECT_LT(waited, std::chrono::seconds(40));
}

TEST(CliTimeLimit, IsNotBlamedForALostConnection)
{
    LdapResponder server;
    server.onSearch(Answer().drop());
    const Outcome outcome = searching(server.uri()).get();
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: search: OpenLDAP error on searching 'dc=x (objectClass=*)' - Can't contact "
              "LDAP server\n");
}

TEST(CliTimeLimit, IsNotTheHintForAReferralThatLedNowhere)
{
    LdapResponder server;
    server.onModify(Answer().referral({"ldap://127.0.0.1:1/dc=y"}));
    const Outcome outcome = kvrLdap({"attr", "set", "dc=x", "cn", "a", "--uri", server.uri()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("hint: the time limit")));
}

} // namespace
