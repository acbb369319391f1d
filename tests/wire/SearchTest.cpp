#include "SearchTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SearchRequestTest : public SearchTest
{
protected:
    LdapRequest sent(const std::string& base, const std::string& filter,
                     std::list<std::string> attributes = {}, alSCOPE scope = alSCOPE_SUB)
    {
        responder.clear();
        connection.Search(base, filter, attributes, scope);
        return responder.only(Operation::Search);
    }
};

TEST_F(SearchRequestTest, BaseFilterAndAttributesAreSentAsGiven)
{
    const LdapRequest request = sent("ou=People,dc=x", "(&(cn=a*)(!(sn=b)))", {"sn", "cn", "+", "sn"});
    EXPECT_EQ("ou=People,dc=x", request.dn);
    EXPECT_EQ("(&(cn=a*)(!(sn=b)))", request.search.filter);
    EXPECT_THAT(request.search.attributes, ElementsAre("sn", "cn", "+", "sn"));
    EXPECT_FALSE(request.hasControls);
}

TEST_F(SearchRequestTest, ExactlyOneRequestIsSent)
{
    search();
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Search));
}

TEST_F(SearchRequestTest, NoLimitsAreSentAndValuesAreAskedFor)
{
    const LdapRequest request = sent("dc=x", "(cn=a)");
    EXPECT_EQ(0, request.search.sizeLimit);
    EXPECT_EQ(0, request.search.timeLimit);
    EXPECT_FALSE(request.search.typesOnly);
    EXPECT_EQ(LDAP_DEREF_NEVER, request.search.dereference);
}

TEST_F(SearchRequestTest, AnEmptyListAsksForAllUserAttributes)
{
    EXPECT_THAT(sent("dc=x", "(cn=a)").search.attributes, IsEmpty());
}

TEST_F(SearchRequestTest, TheLibraryGetsAnArrayEvenForAnEmptyListAndNoLimits)
{
    search();
    ASSERT_EQ(1U, library.searches.size());
    EXPECT_TRUE(library.searches[0].hasAttributeArray);
    EXPECT_FALSE(library.searches[0].hasControls);
    EXPECT_FALSE(library.searches[0].hasTimeout);
    EXPECT_EQ(0, library.searches[0].sizeLimit);
}

TEST_F(SearchRequestTest, TheCallersListIsNotChanged)
{
    std::list<std::string> attributes{"sn", "cn"};
    connection.Search("dc=x", "(cn=a)", attributes, alSCOPE_SUB);
    EXPECT_THAT(attributes, ElementsAre("sn", "cn"));
}

TEST_F(SearchRequestTest, TheFourScopesAreMappedAndAnyOtherIsTheSubtree)
{
    const std::pair<int, int> scopes[] = {{0, LDAP_SCOPE_BASE},     {1, LDAP_SCOPE_ONELEVEL},
                                          {2, LDAP_SCOPE_SUBTREE},  {3, LDAP_SCOPE_SUBORDINATE},
                                          {4, LDAP_SCOPE_SUBTREE},  {7, LDAP_SCOPE_SUBTREE},
                                          {-1, LDAP_SCOPE_SUBTREE}, {2147483647, LDAP_SCOPE_SUBTREE}};
    for (const auto& [given, expected] : scopes)
    {
        EXPECT_EQ(expected, sent("dc=x", "(cn=a)", {}, static_cast<alSCOPE>(given)).search.scope) << given;
    }
}

TEST_F(SearchRequestTest, BaseAndFilterAreNotConverted)
{
    connection.Disconnect();
    const DefaultCodesetGuard codeset("ISO-8859-1");
    connect(connection);
    const LdapRequest request = sent("ou=\xc3\xa4,dc=x", "(cn=\xc3\xb6)", {"c\xc3\xb6"});
    EXPECT_EQ("ou=\xc3\xa4,dc=x", request.dn);
    EXPECT_EQ("(cn=\xc3\xb6)", request.search.filter);
    EXPECT_THAT(request.search.attributes, ElementsAre("c\xc3\xb6"));
}

TEST_F(SearchRequestTest, AnEmptyBaseIsTheRoot)
{
    EXPECT_EQ("", sent("", "(objectClass=*)", {}, alSCOPE_BASE).dn);
}

class SearchResultTest : public SearchTest
{
};

TEST_F(SearchResultTest, WithoutASessionItIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), caught([&] { search(); }));
    EXPECT_THAT(library.searches, IsEmpty());
}

TEST_F(SearchResultTest, ABaseThatDoesNotExistGivesNoQueryAndNoError)
{
    QueryPointer query = search();
    EXPECT_EQ(Caught(), caught([&] { query = searchFor(Answer().result(32, "no such", "dc=x")); }));
    EXPECT_EQ(nullptr, query);
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(32, connection.GetLastError());
}

TEST_F(SearchResultTest, ASizeLimitedResultIsAQuery)
{
    const QueryPointer query = searchFor(threeEntries().result(4));
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(3, query->Count());
    EXPECT_EQ(4, connection.GetLastError());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SearchResultTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        EXPECT_EQ(accessError(code, "go away"), caught([&] { searchFor(Answer().result(code, "go away")); }));
    }
}

TEST_F(SearchResultTest, EveryOtherCodeIsToldWithBaseAndFilter)
{
    for (int code = 1; code <= 123; code++)
    {
        if (code == 4 || code == 32 || (code >= 47 && code <= 50))
        {
            continue;
        }
        EXPECT_EQ(searchError(ldap_err2string(code), "words"),
                  caught([&] { searchFor(Answer().result(code, "words")); }))
            << code;
    }
}

TEST_F(SearchResultTest, TheTextIsToTheLetterAndPercentSignsAreNoFormat)
{
    std::list<std::string> attributes;
    responder.onSearch(Answer().result(LDAP_BUSY, "later %s"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=100%s,dc=x (cn=%d%n*)' - Server is busy",
                          "KVRLdapConnection.cpp:LINE(Search)", "later %s"),
              caught([&] { connection.Search("cn=100%s,dc=x", "(cn=%d%n*)", attributes, alSCOPE_SUB); }));
}

TEST_F(SearchResultTest, EntriesBeforeAFailureAreLost)
{
    EXPECT_EQ(searchError("Other (e.g., implementation specific) error"),
              caught([&] { searchFor(threeEntries().result(80)); }));
}

TEST_F(SearchResultTest, ABadFilterIsToldAndSendsNothing)
{
    std::list<std::string> attributes;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'dc=x (cn=a' - Bad search filter",
                          "KVRLdapConnection.cpp:LINE(Search)"),
              caught([&] { connection.Search("dc=x", "(cn=a", attributes, alSCOPE_SUB); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SearchResultTest, IntermediateResponsesAreNoPartOfIt)
{
    const std::string name = "1.3.6.1.4.1.4203.1.9.1.4";
    const QueryPointer query = searchFor(Answer()
                                             .intermediate(name, "before")
                                             .entry("cn=a,dc=x", {{"cn", {"a"}}})
                                             .intermediate(name)
                                             .entry("cn=b,dc=x", {{"cn", {"b"}}})
                                             .intermediate("")
                                             .result(4));
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(2, query->Count());
    EXPECT_THAT(walk(*query), ElementsAre("cn=a,dc=x", "cn=b,dc=x"));
    EXPECT_THAT(log.messages(), ElementsAre(::testing::Pair(1, sizeLimitWarning)));
    EXPECT_THAT(walk(*searchFor(Answer().intermediate(name, "alone"))), IsEmpty());
    EXPECT_EQ(nullptr, searchFor(Answer().intermediate(name).result(32)));
    EXPECT_EQ(searchError("Server is busy"),
              caught([&] { searchFor(Answer().intermediate(name).result(51)); }));
}

TEST_F(SearchResultTest, AConnectionThatIsDroppedInMidResultIsAFailure)
{
    EXPECT_EQ(searchError("Can't contact LDAP server"), caught([&] { searchFor(threeEntries().drop()); }));
    EXPECT_EQ(-1, connection.GetLastError());
}

TEST_F(SearchResultTest, AnEntryThatIsCutOffIsAFailure)
{
    EXPECT_EQ(searchError("Can't contact LDAP server"),
              caught(
                  [&] {
                      searchFor(Answer().cutEntry("cn=a,dc=x", {{"cn", {"a"}}}));
                  }));
}

TEST_F(SearchResultTest, AMalformedAnswerIsAFailure)
{
    EXPECT_EQ(searchError("Decoding error"), caught([&] { searchFor(Answer().malformed()); }));
}

TEST_F(SearchResultTest, ACodeOfTheLibraryInsideTheAnswerIsAFailure)
{
    EXPECT_EQ(searchError("Connect error"), caught([&] { searchFor(Answer().result(-11)); }));
}

TEST_F(SearchResultTest, ASilentServerIsGivenUpAfterTheTimeout)
{
    connection.Disconnect();
    library.timeLimit = std::chrono::milliseconds(50);
    connect(connection);
    EXPECT_EQ(searchError("Timed out"), caught([&] { searchFor(Answer().silence()); }));
}

TEST_F(SearchResultTest, ItWorksWhileTheLastErrorAsksForAReconnect)
{
    keepCode(50);
    ASSERT_FALSE(connection.IsConnected());
    const QueryPointer query = searchFor(threeEntries());
    ASSERT_NE(nullptr, query);
    EXPECT_TRUE(connection.IsConnected());
}

TEST_F(SearchResultTest, TheResultIsFreedWhenThereIsNoQuery)
{
    for (const int code : {32, 47, 50, 80})
    {
        caught([&] { searchFor(Answer().entry("cn=a,dc=x").result(code)); });
        ASSERT_EQ(code, library.searches.back().code);
        EXPECT_EQ(0, library.unfreedResults()) << code;
    }
    EXPECT_EQ(4U, library.freed.size()) << "each result once";
}

TEST_F(SearchResultTest, TheQueryOwnsTheResultAndFreesItOnce)
{
    for (const int code : {0, 4})
    {
        library.freed.clear();
        QueryPointer query = searchFor(threeEntries().result(code));
        LDAPMessage* const result = library.searches.back().result;
        EXPECT_EQ(1, library.unfreedResults());
        walk(*query);
        query->First();
        EXPECT_THAT(library.freed, IsEmpty());
        query.reset();
        EXPECT_THAT(library.freed, ElementsAre(result));
    }
}

TEST_F(SearchResultTest, AQueryMayBeDestroyedAfterDisconnect)
{
    QueryPointer query = searchFor(threeEntries());
    connection.Disconnect();
    query.reset();
    EXPECT_EQ(0, library.unfreedResults());
}

/** Counts the state queries. */
class StateCountingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    bool IsConnected() override
    {
        asked++;
        return CKVRLdapConnection::IsConnected();
    }

    int asked = 0;
};

TEST_F(SearchResultTest, OnlyTheCursorAsksIsConnected)
{
    StateCountingConnection counting(host);
    connect(counting);
    const QueryPointer query = searchWith(counting);
    EXPECT_EQ(0, counting.asked);
    query->First();
    EXPECT_EQ(1, counting.asked);
    query->Count();
    EXPECT_EQ(2, counting.asked);
    EntityPointer entity;
    query->Fetch(entity);
    EXPECT_EQ(3, counting.asked);
}

TEST_F(SearchResultTest, AllocEntityGivesANewEmptyEntityWithoutASession)
{
    CKVRLdapConnection unconnected(host);
    const EntityPointer entity = unconnected.AllocEntity();
    ASSERT_NE(nullptr, entity);
    EXPECT_EQ("", entity->dn);
    EXPECT_THAT(entity->attributes, IsEmpty());
    EXPECT_FALSE(entity->IsValid());
    EXPECT_NE(entity, unconnected.AllocEntity());
    EXPECT_EQ(notConnected(), caught(
                                  [&]
                                  {
                                      entity->dn = "cn=a";
                                      entity->modified();
                                  }));
}

} // namespace

} // namespace KVR
