// Servers that hold a client up: every wait ends at the limit of its operation.

#include "BerOwner.h"
#include "HostileTest.h"
#include "SilentServer.h"

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

constexpr char lost[] = "Can't contact LDAP server";
constexpr char timedOut[] = "Timed out";

using Support::FullPort;
using Support::SilentServer;

constexpr std::chrono::milliseconds dripPause{20};

/** Enough of an answer for libldap to begin to read its rest. */
constexpr std::size_t beginOfMessage = 8;

class StallTest : public EachTransport
{
};

TEST_P(StallTest, InsideTheAnswerToABindEndsAtTheLimit)
{
    responder.onBind(Answer().cutAfter(beginOfMessage));
    const auto connection = connectionTo(responder.uri());
    EXPECT_EQ(bindFailure(lost), inTime([&] { connectTo(*connection, responder.uri()); }));
}

TEST_P(StallTest, InsideTheAnswerToASearchEndsAtTheLimit)
{
    const auto connection = connected();
    responder.onSearch(Answer().entry("cn=a,dc=x").cutAfter(beginOfMessage));
    EXPECT_EQ(searchFailure(lost), inTime([&] { search(*connection); }));
    EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError());
    EXPECT_TRUE(connection->IsTimeLimitReached());
}

TEST_P(StallTest, InsideTheAnswerToAWriteEndsAtTheLimit)
{
    const auto connection = connected();
    responder.onModify(Answer().cutAfter(beginOfMessage));
    EXPECT_EQ(writeFailure(lost), inTime([&] { write(*connection); }));
}

TEST_P(StallTest, WithoutAnyAnswerEndsAsLibldapNotices)
{
    const auto connection = connected();
    responder.onModify(Answer().silence());
    EXPECT_EQ(writeFailure(timedOut), inTime([&] { write(*connection); }));
    EXPECT_EQ(LDAP_TIMEOUT, connection->GetLastError());
    EXPECT_TRUE(connection->IsTimeLimitReached());
    connection->Disconnect();
    EXPECT_TRUE(connection->IsTimeLimitReached()) << "the code of the session is gone";
}

TEST_P(StallTest, OfAWriteWhoseServerReadsNothingEndsAtTheLimit)
{
    const std::string large(20'000'000, 'a');
    const auto connection = connected();
    responder.onSearch(Answer().thenDeaf());
    search(*connection);
    EXPECT_TRUE(inTime([&] { write(*connection, large); }).type == typeid(EKVROpenLdapError));
    EXPECT_EQ(LDAP_SERVER_DOWN, connection->GetLastError());
    EXPECT_TRUE(connection->IsTimeLimitReached());
    EXPECT_EQ(writeFailure(lost), inTime([&] { write(*connection); }));
    EXPECT_FALSE(connection->IsTimeLimitReached()) << "nothing is sent behind a part of a message";
}

TEST_P(StallTest, DoesNotShortenTheLimitOfTheNextOperation)
{
    const auto connection = connected();
    responder.onModify(Answer().silence());
    EXPECT_EQ(writeFailure(timedOut), inTime([&] { write(*connection); }));
    EXPECT_EQ(Caught(), inTime([&] { write(*connection); }));
}

INSTANTIATE_TEST_SUITE_P(Over, StallTest, transports, transportName);

using TimeLimitTest = HostileTest;

TEST_F(TimeLimitTest, HoldsForAnAnswerThatComesByteByByte)
{
    const auto connection = connected();
    responder.onSearch(Answer().entry("cn=a,dc=x", {{"cn", {std::string(100, 'a')}}}).drip(dripPause));
    const Caught error = inTime([&] { search(*connection); });
    // Either of the two can notice it first.
    EXPECT_TRUE(error == searchFailure(lost) || error == searchFailure(timedOut)) << error;
}

TEST_F(TimeLimitTest, HoldsForATlsHandshake)
{
    const std::string halfRecord("\x16\x03\x03\x00\x7a\x02\x00", 7);
    const SilentServer silent;
    const SilentServer half(halfRecord);
    const SilentServer dripping(halfRecord + std::string(120, 'a'), dripPause);
    for (const SilentServer* server : {&silent, &half, &dripping})
    {
        const std::string uri = "ldaps://" + server->target();
        const auto connection = connectionTo(uri);
        EXPECT_EQ(bindFailure(lost).message, inTime([&] { connectTo(*connection, uri); }).message);
    }
}

TEST_F(TimeLimitTest, HoldsForAConnectionThatIsNeverTaken)
{
    const FullPort full;
    const std::string uri = "ldap://" + full.target();
    const auto connection = connectionTo(uri);
    EXPECT_FALSE(connection->IsTimeLimitReached());
    EXPECT_EQ(bindFailure(lost), inTime([&] { connectTo(*connection, uri); }));
    EXPECT_TRUE(connection->IsTimeLimitReached());
    connection->Disconnect();
    EXPECT_TRUE(connection->IsTimeLimitReached()) << "a disconnection waits for no server";
}

TEST_F(TimeLimitTest, IsNotTakenForALostConnection)
{
    const auto connection = connected();
    EXPECT_FALSE(connection->IsTimeLimitReached());
    responder.onModify(Answer().silence());
    inTime([&] { write(*connection); });
    EXPECT_TRUE(connection->IsTimeLimitReached());
    responder.onModify(Answer().drop());
    EXPECT_EQ(writeFailure(lost), inTime([&] { write(*connection); }));
    EXPECT_FALSE(connection->IsTimeLimitReached());
    connection->Disconnect();
    EXPECT_FALSE(connection->IsTimeLimitReached());
}

TEST_F(TimeLimitTest, BeginsAnewForEachServerOfAList)
{
    const FullPort full;
    const SilentServer silent;
    const std::string uris =
        "ldap://" + full.target() + " ldaps://" + silent.target() + " " + responder.uri();
    const auto connection = connectionTo(uris);
    EXPECT_EQ(Caught(), inTime([&] { connectTo(*connection, uris); }));
    EXPECT_FALSE(connection->IsTimeLimitReached()) << "the server that is connected kept it";
    EXPECT_EQ(Caught(), inTime([&] { write(*connection); }));
    EXPECT_EQ(1U, responder.requests(Support::Operation::Modify).size());
}

/** The buffer between libldap and its socket, of the session that was made last. */
Sockbuf* bufferOf(LDAP* session)
{
    Sockbuf* buffer = nullptr;
    EXPECT_EQ(LDAP_OPT_SUCCESS, ldap_get_option(session, LDAP_OPT_SOCKBUF, &buffer));
    return buffer;
}

TEST_F(TimeLimitTest, AServerThatFailedLeavesNoLayerThatWouldCloseTheNextOnesSocketAgain)
{
    const SilentServer noTls("HTTP/1.1 400 Bad Request");
    const std::string uris = "ldaps://" + noTls.target() + " " + responder.uri();
    const auto connection = connectionTo(uris);
    ASSERT_EQ(Caught(), inTime([&] { connectTo(*connection, uris); }));
    Sockbuf* const buffer = bufferOf(library.session);
    ber_sockbuf_remove_io(buffer, &ber_sockbuf_io_tcp, LBER_SBIOD_LEVEL_PROVIDER);
    EXPECT_EQ(0, ber_sockbuf_ctrl(buffer, LBER_SB_OPT_HAS_IO, &ber_sockbuf_io_tcp));
    ber_sockbuf_add_io(buffer, &ber_sockbuf_io_tcp, LBER_SBIOD_LEVEL_PROVIDER, nullptr);
}

TEST_F(TimeLimitTest, AWaitInsideAMessageLeavesErrnoAsItWas)
{
    library.timeLimit = farBeyond;
    const auto connection = connected();
    responder.onDelete(Answer().drip(dripPause));
    int id = 0;
    ASSERT_EQ(LDAP_SUCCESS, ldap_delete_ext(library.session, "dc=x", nullptr, nullptr, &id));
    const Support::BerOwner answer(ber_alloc_t(LBER_USE_DER));
    ber_tag_t tag = LBER_DEFAULT;
    do
    {
        ber_len_t size = 0;
        errno = 0;
        tag = ber_get_next(bufferOf(library.session), &size, answer.get());
    } while (tag == LBER_DEFAULT && errno == EWOULDBLOCK);
    EXPECT_EQ(LDAP_TAG_MESSAGE, tag);
    EXPECT_EQ(0, errno) << "libldap would take an EAGAIN for a message that is still to come";
}

TEST_F(TimeLimitTest, AConnectionThatFailedIsTriedAgainByTheNextOperation)
{
    const std::string uri = "ldap://127.0.0.1:1";
    const auto connection = connectionTo(uri);
    EXPECT_EQ(bindFailure(lost), inTime([&] { connectTo(*connection, uri); }));
    EXPECT_EQ(-1, ber_sockbuf_ctrl(bufferOf(library.session), LBER_SB_OPT_GET_FD, nullptr));
}

} // namespace

} // namespace KVR
