// Referrals and references that lead to servers that hold a client up, refuse it or lead back.

#include "EntryBytes.h"
#include "HostileTest.h"
#include "SilentServer.h"

namespace KVR
{

namespace
{

using Support::element;
using Support::FullPort;
using Support::LdapResponder;
using Support::Operation;
using Support::SilentServer;

constexpr char timedOut[] = "Timed out";
constexpr char referral[] = "Referral";

std::string number(int value)
{
    return element(0x02, std::string(1, static_cast<char>(value)));
}

class ReferralTest : public HostileTest
{
protected:
    void SetUp() override { connection = connected(); }

    /** What a write fails with whose server refers it to these places. */
    Caught writeReferredTo(const std::vector<std::string>& urls)
    {
        responder.onModify(Answer().referral(urls));
        return inTime([&] { write(*connection); });
    }

    std::unique_ptr<CKVRLdapSession> connection;
};

TEST_F(ReferralTest, OfAWriteIsFollowedAnonymously)
{
    LdapResponder other;
    EXPECT_EQ(Caught(), writeReferredTo({other.uri() + "/dc=y"}));
    EXPECT_EQ("dc=y", other.only(Operation::Modify).dn);
    const auto bind = other.only(Operation::Bind);
    EXPECT_TRUE(bind.bind.simple);
    EXPECT_EQ("", bind.dn);
    EXPECT_EQ("", bind.bind.credentials);
}

TEST_F(ReferralTest, ToASilentServerEndsAtTheLimit)
{
    const SilentServer silent;
    EXPECT_EQ(writeFailure(referral).message,
              writeReferredTo({"ldap://" + silent.target() + "/dc=y"}).message);
    EXPECT_TRUE(connection->IsTimeLimitReached());
    responder.onSearch(Answer().referral({"ldap://" + silent.target() + "/dc=y"}));
    EXPECT_EQ(searchFailure(referral).message, inTime([&] { search(*connection); }).message);
    EXPECT_EQ(Caught(), inTime([&] { write(*connection); })) << "the session goes on";
}

TEST_F(ReferralTest, ToAServerWhoseTlsHandshakeStallsEndsAtTheLimit)
{
    const SilentServer silent;
    EXPECT_EQ(writeFailure(referral).message,
              writeReferredTo({"ldaps://" + silent.target() + "/dc=y"}).message);
}

TEST_F(ReferralTest, ToAServerThatTakesNoConnectionEndsAtTheLimit)
{
    const FullPort full;
    EXPECT_EQ(writeFailure(referral).message, writeReferredTo({"ldap://" + full.target() + "/dc=y"}).message);
}

TEST_F(ReferralTest, ToAServerThatIsSilentAfterItsBindEndsAtTheLimit)
{
    LdapResponder other;
    other.onModify(Answer().silence());
    EXPECT_EQ(writeFailure(timedOut), writeReferredTo({other.uri() + "/dc=y"}));
}

TEST_F(ReferralTest, ToNowhereIsNotFollowed)
{
    EXPECT_EQ(writeFailure(referral).message, writeReferredTo({"ldap://127.0.0.1:1/dc=y"}).message);
}

TEST_F(ReferralTest, ToAServerThatRefusesTheBindIsNotFollowed)
{
    LdapResponder other;
    other.always(Operation::Bind, Answer().result(LDAP_INAPPROPRIATE_AUTH, "no anonymous binds"));
    EXPECT_EQ(writeFailure(referral).message, writeReferredTo({other.uri() + "/dc=y"}).message);
    EXPECT_TRUE(other.requests(Operation::Modify).empty());
}

TEST_F(ReferralTest, TakesTheNextPlaceWhereTheFirstRefuses)
{
    LdapResponder first;
    LdapResponder second;
    first.always(Operation::Bind, Answer().result(LDAP_UNWILLING_TO_PERFORM));
    EXPECT_EQ(Caught(), writeReferredTo({first.uri() + "/dc=y", second.uri() + "/dc=z"}));
    EXPECT_EQ("dc=z", second.only(Operation::Modify).dn);
}

TEST_F(ReferralTest, OfAServerThatWasReferredToAndLeadsToOneThatRefusesEndsTheOperation)
{
    LdapResponder second;
    LdapResponder third;
    second.onModify(Answer().referral({third.uri() + "/dc=z"}));
    for (const Answer& refusal :
         {Answer().result(LDAP_INAPPROPRIATE_AUTH), Answer().drop(), Answer().silence()})
    {
        third.onBind(refusal);
        second.onModify(Answer().referral({third.uri() + "/dc=z"}));
        EXPECT_NE(Caught(), writeReferredTo({second.uri() + "/dc=y"}));
        connection = connected();
    }
}

TEST_F(ReferralTest, WithStartTlsIsNotFollowed)
{
    LdapResponder other;
    for (const char* const extension : {"!1.3.6.1.4.1.1466.20037", "x-starttls"})
    {
        const std::string url = other.uri() + "/dc=y????" + extension;
        EXPECT_EQ(writeFailure(referral).message, writeReferredTo({url}).message) << url;
    }
    EXPECT_TRUE(other.requests().empty());
}

TEST_F(ReferralTest, OfAServerThatHasAnsweredAndClosesDoesNotHarmTheOneThatIsFollowed)
{
    // While the second referral is followed, the answer and the end of the first one's server are there.
    const SilentServer silent;
    LdapResponder other;
    other.onSearch(Answer().reference({"ldap://" + silent.target() + "/dc=z"}).result(LDAP_SUCCESS).drop());
    responder.onSearch(Answer().referral({other.uri() + "/dc=y"}));
    EXPECT_NE(Caught(), inTime([&] { search(*connection); }));
    EXPECT_EQ(Caught(), inTime([&] { connection->Disconnect(); }));
}

TEST_F(ReferralTest, ToManyServersAtOnceIsFollowedForOneRequest)
{
    const SilentServer first;
    const SilentServer second;
    LdapResponder other;
    const auto referTwiceAndAnswer = [&](const LdapRequest& request)
    {
        const auto referTo = [&](const SilentServer& server)
        {
            const std::string url = "ldap://" + server.target() + "/dc=z";
            return element(0x30, number(request.messageId) +
                                     element(LDAP_RES_MODIFY, element(0x0a, "\x0a") + element(0x04, "") +
                                                                  element(0x04, "") +
                                                                  element(0xa3, element(0x04, url))));
        };
        return Answer().raw(referTo(first) + referTo(second) +
                            Support::resultMessage(request.messageId, LDAP_RES_MODIFY, LDAP_SUCCESS));
    };
    other.handle(Operation::Modify, referTwiceAndAnswer);
    inTime([&] { writeReferredTo({other.uri() + "/dc=y"}); });
    EXPECT_EQ(Caught(), inTime([&] { connection->Disconnect(); }));
}

TEST_F(ReferralTest, InTheAnswerToABindHasNoLimitOfItsOwn)
{
    std::vector<std::unique_ptr<SilentServer>> silents;
    for (int number = 0; number < 8; ++number)
    {
        silents.push_back(std::make_unique<SilentServer>());
    }
    Answer references;
    std::vector<std::string> urls;
    for (const auto& each : silents)
    {
        urls.push_back("ldap://" + each->target() + "/dc=y");
        references.reference({urls.back()});
    }
    library.timeLimit = std::chrono::seconds(1);
    for (const Answer& answer : {references.result(LDAP_SUCCESS), Answer().referral(urls),
                                 Answer().reference(urls).result(LDAP_SUCCESS)})
    {
        responder.onBind(answer);
        const auto begin = std::chrono::steady_clock::now();
        const auto another = connectionTo(responder.uri());
        inTime([&] { connectTo(*another, responder.uri()); });
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    }
}

TEST_F(ReferralTest, BackToTheSameServerEnds)
{
    responder.handle(Operation::Modify, [this](const LdapRequest& request)
                     { return Answer().referral({responder.uri() + "/" + request.dn + ",dc=x"}); });
    EXPECT_NE(Caught(), inTime([&] { write(*connection); }));
    responder.always(Operation::Modify, Answer().referral({responder.uri() + "/dc=x"}));
    EXPECT_EQ(writeFailure(referral).message, inTime([&] { write(*connection); }).message);
}

TEST_F(ReferralTest, AReferenceThatLeadsNowhereLeavesTheRestOfTheResult)
{
    responder.onSearch(Answer().entry("cn=a,dc=x").reference({"ldap://127.0.0.1:1/dc=y"}).entry("cn=b,dc=x"));
    std::shared_ptr<IKVRLdapQuery> query;
    EXPECT_EQ(Caught(), inTime([&] { query = search(*connection); }));
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(2, query->Count());
}

TEST_F(ReferralTest, AReferenceToAServerThatRefusesTheBindLeavesTheRestOfTheResult)
{
    LdapResponder other;
    other.always(Operation::Bind, Answer().result(LDAP_INAPPROPRIATE_AUTH));
    responder.onSearch(Answer().entry("cn=a,dc=x").reference({other.uri() + "/dc=y"}).entry("cn=b,dc=x"));
    std::shared_ptr<IKVRLdapQuery> query;
    EXPECT_EQ(Caught(), inTime([&] { query = search(*connection); }));
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(2, query->Count());
    EXPECT_TRUE(other.requests(Operation::Search).empty());
}

TEST_F(ReferralTest, ManyReferencesAtOnceAreFollowedOneAfterTheOther)
{
    // Bound by the time limit and not by the stack.
    library.timeLimit = std::chrono::seconds(2);
    const SilentServer silent;
    const std::string port = silent.target().substr(silent.target().find(':'));
    Answer answer;
    for (int last = 1; last < 200; ++last)
    {
        answer.reference({"ldap://127.0.1." + std::to_string(last) + port + "/dc=y"});
    }
    responder.onSearch(answer);
    inTime([&] { search(*connection); });
    connection->Disconnect();
}

TEST_F(ReferralTest, AReferenceBackToTheSameServerEnds)
{
    responder.always(Operation::Search,
                     Answer().entry("cn=a,dc=x").reference({responder.uri() + "/dc=x??sub"}));
    std::shared_ptr<IKVRLdapQuery> query;
    EXPECT_EQ(Caught(), inTime([&] { query = search(*connection); }));
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(1, query->Count());
}

TEST_F(ReferralTest, AReferenceToASilentServerEndsAtTheLimit)
{
    const SilentServer silent;
    responder.onSearch(Answer().entry("cn=a,dc=x").reference({"ldap://" + silent.target() + "/dc=y"}));
    EXPECT_EQ(searchFailure(timedOut), inTime([&] { search(*connection); }));
}

} // namespace

} // namespace KVR
