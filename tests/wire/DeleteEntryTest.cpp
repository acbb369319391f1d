#include "SearchTest.h"
#include "WriteTest.h"

#include <algorithm>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DeleteEntryTest : public WriteTest
{
protected:
    Caught deleting()
    {
        return caught([&] { connection.DeleteDN("dc=x"); });
    }

    /** The DNs whose deletion was asked for, in order. */
    std::vector<std::string> deleted() const
    {
        std::vector<std::string> dns;
        for (const LdapRequest& request : responder.requests(Operation::Delete))
        {
            EXPECT_FALSE(request.hasControls);
            dns.push_back(request.dn);
        }
        return dns;
    }

    static Caught refusal(int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on deleting dn 'dc=x' - " + std::string(ldap_err2string(code)),
                           "KVRLdapConnectionEntry.cpp:LINE(DeleteDN)", details);
    }
};

TEST_F(DeleteEntryTest, TheEntriesBelowAreSearchedFirst)
{
    ASSERT_EQ(Caught(), deleting());
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Search, Operation::Delete));
    const LdapRequest request = responder.only(Operation::Search);
    EXPECT_EQ("dc=x", request.dn);
    EXPECT_EQ(LDAP_SCOPE_SUBORDINATE, request.search.scope);
    EXPECT_EQ("(objectClass=*)", request.search.filter);
    EXPECT_THAT(request.search.attributes, ElementsAre("cn"));
}

TEST_F(DeleteEntryTest, OfALeafOnlyTheEntryIsDeleted)
{
    EXPECT_EQ(Caught(), deleting());
    EXPECT_THAT(deleted(), ElementsAre("dc=x"));
}

TEST_F(DeleteEntryTest, EntriesBelowAreDeletedInTheServersOrderThenTheEntry)
{
    responder.onSearch(Answer().entry("cn=b,dc=x").entry("cn=c,cn=a,dc=x").entry("cn=a,dc=x"));
    EXPECT_EQ(Caught(), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=b,dc=x", "cn=c,cn=a,dc=x", "cn=a,dc=x", "dc=x"));
}

TEST_F(DeleteEntryTest, AChildBeforeItsOwnChildStopsItAndTheCallersDnIsTold)
{
    responder.onSearch(
        Answer().entry("cn=b,dc=x").entry("cn=a,dc=x").entry("cn=c,cn=a,dc=x").entry("cn=d,dc=x"));
    responder.handle(Operation::Delete,
                     Support::LdapResponder::byDn({{"cn=a,dc=x", Answer().result(66, "has children")}}));
    EXPECT_EQ(refusal(66, "has children"), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=b,dc=x", "cn=a,dc=x"));
}

TEST_F(DeleteEntryTest, ARefusalOfTheLastEntryBelowKeepsTheEntry)
{
    responder.onSearch(threeEntries());
    responder.handle(Operation::Delete,
                     Support::LdapResponder::byDn({{"cn=c,dc=x", Answer().result(53, "no")}}));
    EXPECT_EQ(refusal(53, "no"), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
}

TEST_F(DeleteEntryTest, AnEntryBelowThatIsGoneMeanwhileIsARefusal)
{
    responder.onSearch(threeEntries());
    responder.onDelete(Answer().result(32));
    EXPECT_EQ(refusal(32), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x"));
}

TEST_F(DeleteEntryTest, Codes47To50BelowTheEntryBecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(threeEntries());
        responder.onDelete(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), deleting()) << code;
    }
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=a,dc=x", "cn=a,dc=x", "cn=a,dc=x"));
}

TEST_F(DeleteEntryTest, OfAMissingEntryTheDeletionIsAskedForAndItsRefusalTold)
{
    responder.onSearch(Answer().result(32));
    responder.onDelete(Answer().result(32, "gone"));
    EXPECT_EQ(refusal(32, "gone"), deleting());
    EXPECT_THAT(deleted(), ElementsAre("dc=x"));
}

TEST_F(DeleteEntryTest, AnEntryThatOnlyTheSearchMissedIsDeleted)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(Caught(), deleting());
    EXPECT_THAT(deleted(), ElementsAre("dc=x"));
}

TEST_F(DeleteEntryTest, AFailureOfTheSearchIsPassedOnAndNothingIsDeleted)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(searchError("Operations error", "words"), deleting());
    responder.onSearch(Answer().result(50, "words"));
    EXPECT_EQ(accessError(50, "words"), deleting());
    EXPECT_THAT(deleted(), IsEmpty());
}

TEST_F(DeleteEntryTest, AnEntryThatCannotBeReadEndsItWithTheReadersErrorAndTheEarlierOnesAreGone)
{
    for (const char* codeset : {"ASCII", "ISO-8859-1"})
    {
        connectIn(codeset);
        responder.onSearch(Answer()
                               .entry("cn=a,dc=x", {{"cn", {"a"}}})
                               .entry("cn=b,dc=x", {{"cn", {"b"}}})
                               .entry("cn=c,dc=x", {{"cn", {"c", "\xd0\x9e"}}})
                               .entry("cn=d,dc=x", {{"cn", {"d"}}}));
        EXPECT_EQ(conversionFailure(), deleting()) << codeset;
        EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=b,dc=x")) << codeset;
        EXPECT_EQ(0, library.unfreedResults());
    }
}

TEST_F(DeleteEntryTest, AResultCutByTheSizeLimitIsDeletedAsFarAsItGoes)
{
    responder.onSearch(threeEntries().result(4));
    responder.handle(Operation::Delete, Support::LdapResponder::byDn({{"dc=x", Answer().result(66)}}));
    EXPECT_EQ(refusal(66), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x", "dc=x"));
}

TEST_F(DeleteEntryTest, TheSearchsResultIsFreedOnSuccessAndFailure)
{
    responder.onSearch(threeEntries());
    EXPECT_EQ(Caught(), deleting());
    EXPECT_EQ(0, library.unfreedResults());
    responder.onSearch(threeEntries());
    responder.onDelete(Answer().result(66));
    EXPECT_EQ(refusal(66), deleting());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(DeleteEntryTest, NothingIsConverted)
{
    connectIn("ISO-8859-1");
    responder.onSearch(Answer().entry("cn=\xc3\xa4,dc=\xe4"));
    connection.DeleteDN("dc=\xe4");
    EXPECT_EQ("dc=\xe4", responder.only(Operation::Search).dn);
    EXPECT_THAT(deleted(), ElementsAre("cn=\xc3\xa4,dc=\xe4", "dc=\xe4"));
}

TEST_F(DeleteEntryTest, AnEmptyDnIsLeftToTheServer)
{
    connection.DeleteDN("");
    EXPECT_THAT(deleted(), ElementsAre(""));
}

/** Two entries of the test's making; calls are written down. */
class HandMadeQuery : public IKVRLdapQuery
{
public:
    HandMadeQuery(IKVRLdapConnection& owner, std::vector<std::string>& record)
        : connection(owner), calls(record)
    {
    }

    void First() override { calls.emplace_back("First"); }

    bool Fetch(EntityPointer& entity) override
    {
        calls.emplace_back("Fetch");
        if (next > 2)
        {
            return false;
        }
        entity = connection.AllocEntity();
        entity->dn = "cn=made " + std::to_string(next++);
        return true;
    }

    int Count() override
    {
        calls.emplace_back("Count");
        return 2;
    }

private:
    IKVRLdapConnection& connection;
    std::vector<std::string>& calls;
    int next = 1;
};

class OverridingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    QueryPointer Search(const std::string& base, const std::string& filter,
                        std::list<std::string>& attributes, alSCOPE scope) override
    {
        calls.push_back("Search " + base + " " + filter + " " + attributes.front() + " " +
                        std::to_string(attributes.size()) + " " + std::to_string(scope));
        return givesQuery ? std::make_shared<HandMadeQuery>(*this, calls) : nullptr;
    }

    bool givesQuery = true;
    std::vector<std::string> calls;
};

TEST_F(DeleteEntryTest, OverridingSearchFirstAndFetchAreCalled)
{
    OverridingConnection overriding(host);
    connect(overriding);
    overriding.DeleteDN("dc=x");
    EXPECT_THAT(overriding.calls,
                ElementsAre("Search dc=x (objectClass=*) cn 1 3", "First", "Fetch", "Fetch", "Fetch"));
    EXPECT_THAT(responder.requests(Operation::Search), IsEmpty());
    EXPECT_THAT(deleted(), ElementsAre("cn=made 1", "cn=made 2", "dc=x"));
}

TEST_F(DeleteEntryTest, FetchIsNotCalledAgainAfterARefusal)
{
    OverridingConnection overriding(host);
    connect(overriding);
    responder.onDelete(Answer().result(66));
    EXPECT_EQ(refusal(66), caught([&] { overriding.DeleteDN("dc=x"); }));
    EXPECT_THAT(overriding.calls, ElementsAre("Search dc=x (objectClass=*) cn 1 3", "First", "Fetch"));
}

TEST_F(DeleteEntryTest, AnOverridingSearchThatGivesNoQueryLeavesTheEntryToDelete)
{
    OverridingConnection overriding(host);
    overriding.givesQuery = false;
    connect(overriding);
    overriding.DeleteDN("dc=x");
    EXPECT_THAT(deleted(), ElementsAre("dc=x"));
}

/** A server elsewhere that references and referrals lead to. */
class ReferenceDeletionTest : public DeleteEntryTest
{
protected:
    std::string elsewhere() const { return other.uri() + "/ou=y"; }

    /** Whether a write follows referrals, as it does unless that was switched off. */
    bool isFollowing()
    {
        responder.onModify(Answer().referral({elsewhere()}));
        const Caught error = caught([&] { connection.SetAttrValue("dc=x", "cn", "a", alADD); });
        const bool isFollowed = !other.requests(Operation::Modify).empty();
        EXPECT_EQ(isFollowed, error == Caught());
        return isFollowed;
    }

    Support::LdapResponder other;
};

TEST_F(ReferenceDeletionTest, WhatAReferenceLeadsToStays)
{
    responder.onSearch(Answer().entry("cn=a,dc=x").reference({elsewhere() + "??sub"}).entry("cn=b,dc=x"));
    other.always(Operation::Search, Answer().entry("cn=stranger,ou=y"));
    EXPECT_EQ(Caught(), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "dc=x"));
    EXPECT_THAT(other.requests(), IsEmpty());
    EXPECT_TRUE(isFollowing());
}

TEST_F(ReferenceDeletionTest, OfAReferenceObjectFailsInItsSearch)
{
    responder.onSearch(Answer().referral({elsewhere()}));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'dc=x (objectClass=*)' - Referral",
                          "KVRLdapConnection.cpp:LINE(Search)"),
              deleting());
    EXPECT_THAT(deleted(), IsEmpty());
    EXPECT_THAT(other.requests(), IsEmpty());
    EXPECT_TRUE(isFollowing());
}

TEST_F(ReferenceDeletionTest, ThatIsAnsweredWithAReferralIsRefused)
{
    responder.onDelete(Answer().referral({elsewhere()}));
    EXPECT_EQ(refusal(LDAP_REFERRAL), deleting());
    EXPECT_THAT(other.requests(), IsEmpty());
    EXPECT_TRUE(isFollowing());
}

TEST_F(ReferenceDeletionTest, BelowThatIsAnsweredWithAReferralIsRefused)
{
    responder.onSearch(threeEntries());
    responder.onDelete(Answer());
    responder.onDelete(Answer().referral({elsewhere()}));
    EXPECT_EQ(refusal(LDAP_REFERRAL), deleting());
    EXPECT_THAT(deleted(), ElementsAre("cn=a,dc=x", "cn=b,dc=x"));
    EXPECT_THAT(other.requests(), IsEmpty());
}

TEST_F(ReferenceDeletionTest, LeavesReferralsAsTheyWere)
{
    ldap_set_option(library.session, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    EXPECT_EQ(Caught(), deleting());
    EXPECT_FALSE(isFollowing());
}

/** A connection whose search ends the session, and begins another one where it has a target. */
class ReconnectingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    std::string target;

    std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter,
                                          std::list<std::string>& attributes, alSCOPE scope) override
    {
        Disconnect();
        if (!target.empty())
        {
            Connect(target, KVRAuthAnonymous);
        }
        return CKVRLdapConnection::Search(base, filter, attributes, scope);
    }
};

TEST_F(ReferenceDeletionTest, OfAnOverridingConnectionMayEndTheSession)
{
    ReconnectingConnection overriding(host);
    overriding.target = responder.target();
    connect(overriding);
    EXPECT_EQ(Caught(), caught([&] { overriding.DeleteDN("dc=x"); }));
    EXPECT_THAT(deleted(), ElementsAre("dc=x"));
}

TEST_F(ReferenceDeletionTest, LeavesASessionThatHasEndedAlone)
{
    ReconnectingConnection overriding(host);
    connect(overriding);
    EXPECT_EQ(notConnected(), caught([&] { overriding.DeleteDN("dc=x"); }));
    const auto isReferrals = [](const auto& set) { return set.option == LDAP_OPT_REFERRALS; };
    EXPECT_EQ(1, std::count_if(library.setOptions.begin(), library.setOptions.end(), isReferrals));
}

} // namespace

} // namespace KVR
