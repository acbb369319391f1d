// Referrals and references that lead to servers that hold a client up, refuse it or lead back.

#include "HostileTest.h"
#include "SilentServer.h"

namespace KVR
{

namespace
{

using Support::FullPort;
using Support::LdapResponder;
using Support::Operation;
using Support::SilentServer;

constexpr char lost[] = "Can't contact LDAP server";
constexpr char timedOut[] = "Timed out";
constexpr char referral[] = "Referral";

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
