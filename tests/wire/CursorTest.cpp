#include "SearchTest.h"

#include <algorithm>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class CursorTest : public SearchTest
{
};

TEST_F(CursorTest, TheEntriesComeInTheServersOrder)
{
    const QueryPointer query = searchFor(threeEntries());
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
}

TEST_F(CursorTest, WalkingCountingAndRewindingSendNothing)
{
    const QueryPointer query = searchFor(threeEntries());
    responder.clear();
    walk(*query);
    query->First();
    query->Count();
    connection.Disconnect();
    ASSERT_TRUE(responder.await(Operation::Unbind));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Unbind));
}

TEST_F(CursorTest, AfterTheEndItStartsOver)
{
    const QueryPointer query = searchFor(threeEntries());
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
}

TEST_F(CursorTest, FirstRewindsFromAnyPlace)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    query->First();
    ASSERT_TRUE(query->Fetch(entity));
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=b,dc=x", entity->dn);
    query->First();
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    walk(*query);
    query->First();
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
}

TEST_F(CursorTest, CountGivesAllEntriesAndKeepsThePlace)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    EXPECT_EQ(3, query->Count());
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(3, query->Count());
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=b,dc=x", entity->dn);
    EXPECT_EQ(3, query->Count());
}

TEST_F(CursorTest, ASearchThatFindsNothingEndsAtOnceAndLeavesThePointerEmpty)
{
    const QueryPointer query = search();
    ASSERT_NE(nullptr, query);
    EntityPointer entity;
    EXPECT_FALSE(query->Fetch(entity));
    EXPECT_EQ(nullptr, entity);
    EXPECT_EQ(0, query->Count());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(CursorTest, SearchReferencesAreNoEntries)
{
    ldap_set_option(library.session, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    const QueryPointer query = searchFor(Answer()
                                             .reference({responder.uri() + "/dc=y"})
                                             .entry("cn=a,dc=x")
                                             .reference({responder.uri() + "/dc=z"}));
    EXPECT_EQ(1, query->Count());
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x"));
}

TEST_F(CursorTest, TheLibraryFollowsSearchReferencesWithAnAnonymousBind)
{
    Support::LdapResponder other;
    other.onSearch(Answer().entry("cn=z,dc=y"));
    const QueryPointer query = searchFor(Answer().entry("cn=a,dc=x").reference({other.uri() + "/dc=y"}));
    EXPECT_THAT(walk(*query), ::testing::UnorderedElementsAre("cn=a,dc=x", "cn=z,dc=y"));
    // The library takes leave of the other server in its own time.
    std::vector<Operation> asked = other.operations();
    asked.erase(std::remove(asked.begin(), asked.end(), Operation::Unbind), asked.end());
    ASSERT_THAT(asked, ElementsAre(Operation::Bind, Operation::Search));
    EXPECT_TRUE(other.only(Operation::Bind).bind.simple);
    EXPECT_EQ("", other.only(Operation::Bind).dn);
    EXPECT_EQ("dc=y", other.only(Operation::Search).dn);
}

TEST_F(CursorTest, AnEmptyPointerGetsANewEntityOfTheConnection)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    ASSERT_NE(nullptr, entity);
    EXPECT_EQ(1, entity.use_count());
    responder.onSearch(Answer().entry(entity->dn, {{"modifyTimestamp", {"20240131120000Z"}}}));
    EXPECT_EQ("20240131120000Z", entity->modified());
}

TEST_F(CursorTest, OneEntityIsReusedForTheWholeWalk)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    IKVRLdapEntity* const first = entity.get();
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(first, entity.get());
    EXPECT_EQ("cn=b,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "b"}}), valuesOf(*entity));
}

TEST_F(CursorTest, AtTheEndTheEntityKeepsTheLastEntry)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    while (query->Fetch(entity))
    {
    }
    EXPECT_EQ("cn=c,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "c"}}), valuesOf(*entity));
}

TEST_F(CursorTest, WhatAReusedEntityHeldIsGoneStampsToo)
{
    const QueryPointer query = searchFor(threeEntries());
    const EntityPointer former = connection.AllocEntity();
    former->dn = "cn=former";
    former->attributes = {{"sn", "former"}};
    responder.onSearch(Answer().entry("cn=former", {{"createTimestamp", {"20240131120000Z"}}}));
    ASSERT_EQ("20240131120000Z", former->created());
    EntityPointer entity = former;
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(former, entity);
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity));
    responder.clear();
    entity->created();
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Search).dn);
}

TEST_F(CursorTest, AnEntityMayOutliveItsQuery)
{
    QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    query.reset();
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity));
}

TEST_F(CursorTest, TwoQueriesOfOneConnectionWalkIndependently)
{
    const QueryPointer first = searchFor(threeEntries());
    const QueryPointer second = searchFor(Answer().entry("cn=z,dc=x"));
    EntityPointer entity;
    ASSERT_TRUE(first->Fetch(entity));
    EXPECT_THAT(walk(*second), ElementsAre("cn=z,dc=x"));
    EXPECT_THAT(walk(*first), ElementsAre("cn=b,dc=x", "cn=c,dc=x"));
}

class EndOfWalkTest : public SearchTest
{
};

TEST_F(EndOfWalkTest, ASizeLimitedResultIsWarnedOfEachTimeTheEndIsReached)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(1, sizeLimitWarning)));
    walk(*query);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(1, sizeLimitWarning), Pair(1, sizeLimitWarning)));
    EXPECT_EQ(3, query->Count());
}

TEST_F(EndOfWalkTest, TheWarningDoesNotComeBeforeTheEnd)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    EntityPointer entity;
    query->Fetch(entity);
    query->Fetch(entity);
    query->Fetch(entity);
    query->First();
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EndOfWalkTest, AnotherCodeIsToldAsFetching)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    query->Fetch(entity);
    keepCode(51, "later");
    query->Fetch(entity);
    query->Fetch(entity);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching - Server is busy", fetchPlace, "later"),
              caught([&] { query->Fetch(entity); }));
    EXPECT_EQ("cn=c,dc=x", entity->dn);
}

TEST_F(EndOfWalkTest, AfterAFailureAtTheEndTheCursorStartsOver)
{
    const QueryPointer query = searchFor(threeEntries());
    keepCode(51);
    caught([&] { walk(*query); });
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
}

TEST_F(EndOfWalkTest, ReadingTheStampInMidWalkHidesTheSizeLimit)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    entity->modified();
    log.clear();
    EXPECT_THAT(walk(*query), ElementsAre("cn=b,dc=x", "cn=c,dc=x"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EndOfWalkTest, ASearchOfAMissingBaseInMidWalkEndsItAsFailure)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    keepCode(32);
    ASSERT_TRUE(query->Fetch(entity));
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching - No such object", fetchPlace),
              caught([&] { query->Fetch(entity); }));
}

TEST_F(EndOfWalkTest, AnAccessCodeInMidWalkIsToldAsNotConnectedUntilAnotherOperationSucceeds)
{
    const QueryPointer query = searchFor(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(query->Fetch(entity));
    keepCode(50);
    EXPECT_EQ(notConnected(), caught([&] { query->Fetch(entity); }));
    EXPECT_EQ(notConnected(), caught([&] { query->First(); }));
    EXPECT_EQ(notConnected(), caught([&] { query->Count(); }));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_NE(nullptr, search()) << "Search itself still works";
    EXPECT_THAT(walk(*query), ElementsAre("cn=b,dc=x", "cn=c,dc=x")) << "the place is kept";
}

TEST_F(EndOfWalkTest, AServerThatWentAwayInMidWalkIsToldAtTheEnd)
{
    const QueryPointer query = searchFor(threeEntries());
    responder.dropConnections();
    caught([&] { search(); });
    EntityPointer entity;
    for (int i = 0; i < 3; i++)
    {
        EXPECT_TRUE(query->Fetch(entity));
    }
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching - Can't contact LDAP server", fetchPlace),
              caught([&] { query->Fetch(entity); }));
}

/** Says that it is connected whatever the last result code is. */
class AlwaysConnected : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;
    bool IsConnected() override { return true; }
};

class EndOfWalkCodeTest : public WireTest
{
protected:
    void SetUp() override { connect(connection); }

    AlwaysConnected connection{host};
};

TEST_F(EndOfWalkCodeTest, Codes47To50BecomeInsufficientAccess)
{
    const QueryPointer query = searchWith(connection);
    EntityPointer entity;
    for (int code = 47; code <= 50; code++)
    {
        library.setResultCode(code);
        EXPECT_EQ(accessError(code), caught([&] { query->Fetch(entity); }));
    }
}

TEST_F(EndOfWalkCodeTest, AnUnreadableCodeIsAnInternalError)
{
    const QueryPointer query = searchWith(connection);
    EntityPointer entity;
    library.unreadableOptions.insert(LDAP_OPT_RESULT_CODE);
    EXPECT_EQ(internalError("on getting ldap error code.", fetchPlace),
              caught([&] { query->Fetch(entity); }));
}

TEST_F(EndOfWalkCodeTest, EveryOtherCodeIsToldAsFetching)
{
    const QueryPointer query = searchWith(connection);
    EntityPointer entity;
    for (const int code : {-11, -1, 1, 3, 5, 32, 46, 51, 80})
    {
        library.setResultCode(code);
        EXPECT_EQ(
            ldapErrorAt("OpenLDAP error on fetching - " + std::string(ldap_err2string(code)), fetchPlace),
            caught([&] { query->Fetch(entity); }));
    }
}

TEST_F(EndOfWalkCodeTest, OnlyTheCodesOfTheEndAreRead)
{
    responder.onSearch(threeEntries());
    const QueryPointer query = searchWith(connection);
    library.readOptions.clear();
    EntityPointer entity;
    query->Fetch(entity);
    EXPECT_THAT(library.readOptions, IsEmpty());
    walk(*query);
    EXPECT_THAT(library.readOptions, ElementsAre(LDAP_OPT_RESULT_CODE));
}

class CountTest : public SearchTest
{
};

TEST_F(CountTest, AFailureThatLeftNoCodeGivesMinusOne)
{
    const QueryPointer query = searchFor(threeEntries());
    library.countEntries = -1;
    EXPECT_EQ(-1, query->Count());
}

TEST_F(CountTest, AFailureIsToldWithTheSessionsCode)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    library.countEntries = -1;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching count - Size limit exceeded", checkPlace),
              caught([&] { query->Count(); }));
}

TEST_F(CountTest, AnUnreadableCodeAfterAFailureIsAnInternalError)
{
    AlwaysConnected always(host);
    connect(always);
    const QueryPointer query = searchWith(always);
    library.countEntries = -1;
    library.unreadableOptions.insert(LDAP_OPT_RESULT_CODE);
    EXPECT_EQ(internalError("on getting ldap error code.", checkPlace), caught([&] { query->Count(); }));
}

TEST_F(CountTest, TheSessionsCodeDoesNotMatterWhileCountingSucceeds)
{
    const QueryPointer query = searchFor(threeEntries());
    keepCode(80);
    EXPECT_EQ(3, query->Count());
}

/** A query that has lost its result. */
class BareQuery : public CKVRLdapQuery
{
public:
    explicit BareQuery(CKVRLdapConnection& owner) : CKVRLdapQuery(owner) { message.reset(); }
};

class QueryStateTest : public SearchTest
{
protected:
    /** What the three operations throw, which has to be the same. */
    Caught operationsOf(IKVRLdapQuery& query)
    {
        Caught first = caught([&] { query.First(); });
        const Caught count = caught([&] { query.Count(); });
        const Caught fetch = caught([&] { query.Fetch(entity); });
        EXPECT_EQ(first, count);
        EXPECT_EQ(first, fetch);
        return first;
    }

    EntityPointer entity;
};

TEST_F(QueryStateTest, WithoutASessionTheCursorIsNotConnected)
{
    const QueryPointer query = searchFor(threeEntries());
    connection.Disconnect();
    EXPECT_EQ(notConnected(), operationsOf(*query));
    EXPECT_EQ(nullptr, entity);
}

TEST_F(QueryStateTest, AQueryFromBeforeAReconnectIsReadOnAndTheNewSessionsCodeEndsIt)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    ASSERT_TRUE(query->Fetch(entity));
    connection.Disconnect();
    connect(connection);
    EXPECT_THAT(walk(*query), ElementsAre("cn=b,dc=x", "cn=c,dc=x"));
    EXPECT_THAT(log.messages(), IsEmpty()) << "the size limit was the former session's";
    query->First();
    EXPECT_EQ(3, query->Count());
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x", "cn=c,dc=x"));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(QueryStateTest, ACodeThatAsksForAReconnectIsToldAsNotConnected)
{
    const QueryPointer query = searchFor(threeEntries());
    for (const int code : {-11, 47, 48, 49, 50})
    {
        library.setResultCode(code);
        EXPECT_EQ(notConnected(), operationsOf(*query)) << code;
    }
}

TEST_F(QueryStateTest, AQueryWithoutStateIsInvalid)
{
    BareQuery query(connection);
    EXPECT_EQ(checkError("Invalid LDAP query state."), operationsOf(query));
}

TEST_F(QueryStateTest, TheConnectionIsCheckedBeforeTheState)
{
    BareQuery query(connection);
    connection.Disconnect();
    EXPECT_EQ(notConnected(), operationsOf(query));
}

/** Shows what a query keeps. */
class OpenQuery : public CKVRLdapQuery
{
public:
    using CKVRLdapQuery::CKVRLdapQuery;

    using CKVRLdapQuery::attributes;
    using CKVRLdapQuery::base;
    using CKVRLdapQuery::filter;
    using CKVRLdapQuery::message;
};

TEST_F(QueryStateTest, AFreshQueryIsEmptyAndStandsBeforeTheFirstEntry)
{
    OpenQuery query(connection);
    EXPECT_EQ(nullptr, query.message->result);
    EXPECT_EQ(nullptr, query.message->current);
    EXPECT_EQ("", query.base);
    EXPECT_EQ("", query.filter);
    EXPECT_TRUE(query.attributes.empty());
    EXPECT_EQ(Caught(), caught([&] { query.First(); }));
}

TEST_F(QueryStateTest, AQueryKeepsWhatItWasSearchedWith)
{
    std::list<std::string> names{"sn", "cn"};
    const QueryPointer found = connection.Search("ou=a,dc=x", "(cn=*)", names, alSCOPE_ONE);
    names.clear();
    auto& query = dynamic_cast<CKVRLdapQuery&>(*found);
    EXPECT_EQ("ou=a,dc=x", query.*(&OpenQuery::base));
    EXPECT_EQ("(cn=*)", query.*(&OpenQuery::filter));
    EXPECT_EQ((std::list<std::string>{"sn", "cn"}), query.*(&OpenQuery::attributes));
}

} // namespace

} // namespace KVR
