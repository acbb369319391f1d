// Notices of disconnection, which a server sends unasked: whatever they carry, the session ends and the
// process goes on.

#include "EntryBytes.h"
#include "HostileTest.h"

#include <utility>

namespace KVR
{

namespace
{

constexpr char lost[] = "Can't contact LDAP server";

class NoticeTest : public EachTransport
{
};

TEST_P(NoticeTest, ASearchThatEndsWithSuccessButWithoutAResultIsALostConnection)
{
    for (const int code : {LDAP_SUCCESS, LDAP_SIZELIMIT_EXCEEDED})
    {
        const auto connection = connected();
        responder.onSearch(Answer().notice(code));
        EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); })) << code;
        EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError());
        EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); })) << "the session is over";
    }
}

TEST_P(NoticeTest, EntriesBeforeTheNoticeAreNoResult)
{
    const auto connection = connected();
    responder.onSearch(Answer().entry("cn=a,dc=x").notice(LDAP_SUCCESS));
    EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); }));
}

TEST_P(NoticeTest, ABinaryValueThatIsReadWithoutAResultIsALostConnection)
{
    for (const int code : {LDAP_SUCCESS, LDAP_SIZELIMIT_EXCEEDED})
    {
        const auto connection = connected();
        responder.onSearch(Answer().notice(code));
        EXPECT_EQ(binaryFailure(lost), inTime([&] { readBinary(*connection); })) << code;
        EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError());
    }
}

TEST_P(NoticeTest, AnyOtherCodeIsTheSearchsCode)
{
    const auto connection = connected();
    responder.onSearch(Answer().notice(LDAP_UNAVAILABLE, "going down"));
    EXPECT_EQ(searchFailure("Server is unavailable"), inTime([&] { search(*connection); }));
    EXPECT_EQ(LDAP_UNAVAILABLE, connection->GetLastError());
}

TEST_P(NoticeTest, AWriteIsReportedAsItsSynchronousCallReturns)
{
    const auto connection = connected();
    responder.onModify(Answer().notice(LDAP_SUCCESS));
    EXPECT_EQ(Caught(), inTime([&] { write(*connection); }));
    EXPECT_EQ(writeFailure(lost), inTime([&] { write(*connection); }));
}

TEST_P(NoticeTest, ABindIsReportedAsItsSynchronousCallReturns)
{
    responder.onBind(Answer().notice(LDAP_SUCCESS));
    const auto connection = connectionTo(responder.uri());
    EXPECT_EQ(Caught(), inTime([&] { connectTo(*connection, responder.uri()); }));
    EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); }));
}

TEST_P(NoticeTest, AnAnswerToAnotherOperationIsALostConnectionForASearch)
{
    const auto connection = connected();
    const auto answerOtherwise = [](const LdapRequest& request)
    { return Answer().raw(Support::resultMessage(request.messageId, LDAP_RES_COMPARE, LDAP_SUCCESS)); };
    responder.handle(Support::Operation::Search, answerOtherwise);
    EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); }));
    EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError());
    EXPECT_EQ(binaryFailure(lost), inTime([&] { readBinary(*connection); }));
}

INSTANTIATE_TEST_SUITE_P(Over, NoticeTest, transports, transportName);

/** What ends the process inside libldap when it gets there. */
std::vector<std::pair<std::string, Answer>> harmfulNotices()
{
    const std::string url = "ldap://127.0.0.1:1/dc=y";
    std::string longDiagnostic(5000, 'a');
    return {
        {"a referral", Answer().notice(LDAP_SUCCESS, "", {url})},
        {"a referral and a code", Answer().notice(LDAP_UNAVAILABLE, "bye", {url})},
        {"a referral as LDAPv2 has it", Answer().notice(LDAP_UNAVAILABLE, "Referral:\n" + url)},
        {"the same in another letter case", Answer().notice(LDAP_UNAVAILABLE, "bye rEFERRAL:\n" + url)},
        {"an empty name", Answer().notice(LDAP_SUCCESS, "", {}, "")},
        {"a referral behind a long text", Answer().notice(LDAP_UNAVAILABLE, longDiagnostic, {url})},
    };
}

class HarmfulNoticeTest : public EachTransport
{
};

TEST_P(HarmfulNoticeTest, IsALostConnectionForASearch)
{
    for (const auto& [what, answer] : harmfulNotices())
    {
        const auto connection = connected();
        responder.onSearch(answer);
        EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); })) << what;
        EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError()) << what;
    }
}

TEST_P(HarmfulNoticeTest, IsALostConnectionForAWrite)
{
    for (const auto& [what, answer] : harmfulNotices())
    {
        const auto connection = connected();
        responder.onModify(answer);
        EXPECT_EQ(writeFailure(lost), inTime([&] { write(*connection); })) << what;
    }
}

TEST_P(HarmfulNoticeTest, IsALostConnectionForABind)
{
    for (const auto& [what, answer] : harmfulNotices())
    {
        responder.onBind(answer);
        const auto connection = connectionTo(responder.uri());
        EXPECT_EQ(bindFailure(lost), inTime([&] { connectTo(*connection, responder.uri()); })) << what;
    }
}

TEST_P(HarmfulNoticeTest, IsALostConnectionWhenItComesByteByByte)
{
    const auto connection = connected();
    responder.onSearch(
        Answer().notice(LDAP_SUCCESS, "", {"ldap://127.0.0.1:1/"}).drip(std::chrono::milliseconds(1)));
    EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); }));
}

INSTANTIATE_TEST_SUITE_P(Over, HarmfulNoticeTest, transports, transportName);

} // namespace

} // namespace KVR
