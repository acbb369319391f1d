#include "OrganisationalUnitTest.h"

#include "SearchTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(EnsureTest, MissingUnitsAreSearchedAndCreatedFromTheDomainDownwards)
{
    EXPECT_THAT(sentFor("ou=A,ou=B,dc=x,dc=y"),
                ElementsAre(searchOf("dc=x,dc=y", "(ou=B)"), creationOf("ou=B,dc=x,dc=y", "B"),
                            searchOf("ou=B,dc=x,dc=y", "(ou=A)"), creationOf("ou=A,ou=B,dc=x,dc=y", "A")));
}

TEST_F(EnsureTest, UnitsThatAreThereAreNotCreated)
{
    has("dc=x,dc=y", "(ou=B)");
    has("ou=B,dc=x,dc=y", "(ou=A)");
    EXPECT_THAT(sentFor("ou=A,ou=B,dc=x,dc=y"),
                ElementsAre(searchOf("dc=x,dc=y", "(ou=B)"), searchOf("ou=B,dc=x,dc=y", "(ou=A)")));
}

TEST_F(EnsureTest, OnlyTheUpperUnitIsThere)
{
    has("dc=x,dc=y", "(ou=B)");
    EXPECT_THAT(sentFor("ou=A,ou=B,dc=x,dc=y"),
                ElementsAre(searchOf("dc=x,dc=y", "(ou=B)"), searchOf("ou=B,dc=x,dc=y", "(ou=A)"),
                            creationOf("ou=A,ou=B,dc=x,dc=y", "A")));
}

TEST_F(EnsureTest, OnlyTheLowerUnitIsThere)
{
    has("ou=B,dc=x,dc=y", "(ou=A)");
    EXPECT_THAT(sentFor("ou=A,ou=B,dc=x,dc=y"),
                ElementsAre(searchOf("dc=x,dc=y", "(ou=B)"), creationOf("ou=B,dc=x,dc=y", "B"),
                            searchOf("ou=B,dc=x,dc=y", "(ou=A)")));
}

TEST_F(EnsureTest, ThreeUnitsAreEachMadeBelowTheOneBefore)
{
    EXPECT_THAT(sentFor("ou=A,ou=B,ou=C,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=C)"), creationOf("ou=C,dc=x", "C"),
                            searchOf("ou=C,dc=x", "(ou=B)"), creationOf("ou=B,ou=C,dc=x", "B"),
                            searchOf("ou=B,ou=C,dc=x", "(ou=A)"), creationOf("ou=A,ou=B,ou=C,dc=x", "A")));
}

TEST_F(EnsureTest, ADomainAloneSendsNothing)
{
    EXPECT_THAT(sentFor("dc=x,dc=y"), IsEmpty());
}

TEST_F(EnsureTest, AUnitBehindTheDomainSendsNothing)
{
    EXPECT_THAT(sentFor("dc=x,ou=A"), IsEmpty());
}

TEST_F(EnsureTest, APathWithoutUnitsAndDomainSendsNothing)
{
    EXPECT_THAT(sentFor("cn=a"), IsEmpty());
    EXPECT_THAT(sentFor("cn=a,o=b"), IsEmpty());
    EXPECT_THAT(sentFor(","), IsEmpty());
    EXPECT_THAT(sentFor("cn=a,dc=x"), IsEmpty());
}

TEST_F(EnsureTest, ComponentsAreTrimmed)
{
    EXPECT_THAT(sentFor("ou=A , ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B"),
                            searchOf("ou=B,dc=x", "(ou=A)"), creationOf("ou=A,ou=B,dc=x", "A")));
}

TEST_F(EnsureTest, TheDomainIsTrimmedAsAWhole)
{
    EXPECT_THAT(sentFor("ou=A, dc=x , dc=y "),
                ElementsAre(searchOf("dc=x , dc=y", "(ou=A)"), creationOf("ou=A,dc=x , dc=y", "A")));
}

TEST_F(EnsureTest, ABlankBehindTheEqualsSignIsKept)
{
    EXPECT_THAT(sentFor("ou= A,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou= A)"), creationOf("ou= A,dc=x", " A")));
}

TEST_F(EnsureTest, WithoutADomainTheFirstUnitIsCreatedOnItsOwn)
{
    EXPECT_THAT(sentFor("ou=A,ou=B"), ElementsAre(searchOf("", "(ou=B)"), creationOf("ou=B", "B"),
                                                  searchOf("ou=B", "(ou=A)"), creationOf("ou=A,ou=B", "A")));
}

TEST_F(EnsureTest, OneUnitWithoutADomainIsCreatedOnItsOwn)
{
    EXPECT_THAT(sentFor("ou=A"), ElementsAre(searchOf("", "(ou=A)"), creationOf("ou=A", "A")));
}

TEST_F(EnsureTest, AUnitWithoutADomainThatIsThereIsNotCreated)
{
    has("", "(ou=B)");
    EXPECT_THAT(sentFor("ou=A,ou=B"), ElementsAre(searchOf("", "(ou=B)"), searchOf("ou=B", "(ou=A)"),
                                                  creationOf("ou=A,ou=B", "A")));
}

TEST_F(EnsureTest, OtherComponentsBetweenUnitsAreSkipped)
{
    EXPECT_THAT(sentFor("ou=A,cn=c,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B"),
                            searchOf("ou=B,dc=x", "(ou=A)"), creationOf("ou=A,ou=B,dc=x", "A")));
    EXPECT_THAT(sentFor("ou=A,cn=c,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
    EXPECT_THAT(sentFor("ou=A,o=c"), ElementsAre(searchOf("", "(ou=A)"), creationOf("ou=A", "A")));
}

TEST_F(EnsureTest, TextBeforeTheLeftmostUnitIsIgnored)
{
    EXPECT_THAT(sentFor("cn=a,ou=A,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
    EXPECT_THAT(sentFor("cn=b,cn=a,ou=A"), ElementsAre(searchOf("", "(ou=A)"), creationOf("ou=A", "A")));
}

TEST_F(EnsureTest, LeadingBlanksEndItWithoutASecondRound)
{
    EXPECT_THAT(sentFor("  ou=A,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B"),
                            searchOf("ou=B,dc=x", "(ou=A)"), creationOf("ou=A,ou=B,dc=x", "A")));
}

TEST_F(EnsureTest, LeadingBlanksBeforeOneUnitEndItToo)
{
    EXPECT_THAT(sentFor(" ou=A"), ElementsAre(searchOf("", "(ou=A)"), creationOf("ou=A", "A")));
    EXPECT_THAT(sentFor("\tou=A,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
}

TEST_F(EnsureTest, UpperCaseUnitsAreNotRecognised)
{
    EXPECT_THAT(sentFor("OU=A,dc=x"), IsEmpty());
    EXPECT_THAT(sentFor("ou=A,OU=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
    EXPECT_THAT(sentFor("Ou=A,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B")));
}

TEST_F(EnsureTest, AnUpperCaseDomainIsNotRecognised)
{
    EXPECT_THAT(sentFor("ou=A,DC=x"), ElementsAre(searchOf("", "(ou=A)"), creationOf("ou=A", "A")));
    EXPECT_THAT(sentFor("ou=A,DC=x,dc=y"),
                ElementsAre(searchOf("dc=y", "(ou=A)"), creationOf("ou=A,dc=y", "A")));
}

class EnsureFailureTest : public EnsureTest
{
};

TEST_F(EnsureFailureTest, AnEmptyPathIsToldBeforeTheConnectionIsLookedAt)
{
    const Caught expected = checkError("Argument is empty for 'EnsureOU'.");
    EXPECT_EQ(expected, ensuring(""));
    connection.Disconnect();
    EXPECT_EQ(expected, ensuring(""));
}

TEST_F(EnsureFailureTest, WithoutASessionAnyOtherPathIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), ensuring("ou=A,dc=x"));
    EXPECT_EQ(notConnected(), ensuring("dc=x")) << "even with nothing to create";
    EXPECT_EQ(notConnected(), ensuring(" "));
}

TEST_F(EnsureFailureTest, AFailureOfTheSearchIsPassedOnAndNothingIsCreated)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'dc=x (&(objectClass=organizationalUnit)(ou=A))' "
                          "- Operations error",
                          "KVRLdapConnection.cpp:LINE(Search)", "words"),
              ensuring("ou=A,dc=x"));
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), ensuring("ou=A,dc=x"));
    EXPECT_THAT(responder.requests(Operation::Add), IsEmpty());
}

TEST_F(EnsureFailureTest, ARefusedCreationIsPassedOnWithTheUnitsDnAndEndsIt)
{
    responder.onAdd(Answer().result(53, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on adding dn 'ou=B,dc=x' - Server is unwilling to perform",
                          "KVRLdapConnectionEntry.cpp:LINE(AddDN)", "words"),
              ensuring("ou=A,ou=B,dc=x"));
    EXPECT_THAT(sent(), ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B")));
    responder.onAdd(Answer().result(50));
    EXPECT_EQ(accessError(50), ensuring("ou=A,ou=B,dc=x"));
}

TEST_F(EnsureFailureTest, ASecondCallGoesOnWhereTheFirstStopped)
{
    responder.onAdd(Answer());
    responder.onAdd(Answer().result(53));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on adding dn 'ou=A,ou=B,dc=x' - Server is unwilling to perform",
                          "KVRLdapConnectionEntry.cpp:LINE(AddDN)"),
              ensuring("ou=A,ou=B,dc=x"));
    has("dc=x", "(ou=B)");
    EXPECT_THAT(sentFor("ou=A,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), searchOf("ou=B,dc=x", "(ou=A)"),
                            creationOf("ou=A,ou=B,dc=x", "A")));
}

TEST_F(EnsureFailureTest, AMissingBaseIsNoErrorAndTheUnitIsCreated)
{
    responder.onSearch(Answer().result(32));
    EXPECT_THAT(sentFor("ou=A,dc=x"), ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
}

TEST_F(EnsureFailureTest, AFailureOfTheCountIsPassedOnAndNothingIsCreated)
{
    library.countEntries = -1;
    responder.onSearch(Answer().entry("ou=A,dc=x").result(4, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching count - Size limit exceeded", checkPlace, "words"),
              ensuring("ou=A,dc=x"));
    EXPECT_THAT(sent(), ElementsAre(searchOf("dc=x", "(ou=A)")));
}

TEST_F(EnsureFailureTest, AUnitWithoutANameCannotBeCreated)
{
    EXPECT_EQ(internalError("Invalid attribute of dn 'ou=,dc=x'", "KVRLdapConnectionEntry.cpp:LINE(AddDN)"),
              ensuring("ou=,dc=x"));
    EXPECT_THAT(sent(), ElementsAre(searchOf("dc=x", "(ou=)")));
}

/** A query that only counts. */
class CountingQuery : public IKVRLdapQuery
{
public:
    explicit CountingQuery(int number) : count(number) {}

    void First() override { throw std::logic_error("First"); }
    bool Fetch(EntityPointer& /*entity*/) override { throw std::logic_error("Fetch"); }
    int Count() override { return count; }

private:
    int count;
};

/** Writes down the operations that EnsureOU should use. */
class OverridingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    QueryPointer Search(const std::string& base, const std::string& filter,
                        std::list<std::string>& attributes, alSCOPE scope) override
    {
        calls.push_back("Search " + base + " " + filter + " " + attributes.front() + " " +
                        std::to_string(attributes.size()) + " " + std::to_string(scope));
        return count < 0 ? nullptr : std::make_shared<CountingQuery>(count);
    }

    void AddDN(const std::string& dn, AttributeMap& attributes) override
    {
        calls.push_back("AddDN " + dn);
        for (const auto& [name, value] : attributes)
        {
            calls.back().append(" ").append(name).append("=").append(value);
        }
    }

    int count = 0;
    std::vector<std::string> calls;
};

class EnsureOverriddenTest : public WriteTest
{
protected:
    std::vector<std::string> callsFor(int count)
    {
        OverridingConnection overriding(host);
        connect(overriding);
        overriding.count = count;
        overriding.EnsureOU("ou=A,ou=B,dc=x");
        EXPECT_THAT(responder.requests(), IsEmpty());
        return overriding.calls;
    }
};

TEST_F(EnsureOverriddenTest, SearchAndAddDnAreCalledForEachMissingUnit)
{
    EXPECT_THAT(callsFor(0),
                ElementsAre("Search dc=x (&(objectClass=organizationalUnit)(ou=B)) * 1 1",
                            "AddDN ou=B,dc=x objectClass=top objectClass=organizationalUnit ou=B",
                            "Search ou=B,dc=x (&(objectClass=organizationalUnit)(ou=A)) * 1 1",
                            "AddDN ou=A,ou=B,dc=x objectClass=top objectClass=organizationalUnit ou=A"));
}

TEST_F(EnsureOverriddenTest, ASearchWithoutAQueryMeansThatTheUnitIsMissing)
{
    EXPECT_EQ(callsFor(0), callsFor(-1));
}

TEST_F(EnsureOverriddenTest, ACountAbove0MeansThatTheUnitIsThere)
{
    for (const int count : {1, 2})
    {
        EXPECT_THAT(callsFor(count),
                    ElementsAre("Search dc=x (&(objectClass=organizationalUnit)(ou=B)) * 1 1",
                                "Search ou=B,dc=x (&(objectClass=organizationalUnit)(ou=A)) * 1 1"));
    }
}

} // namespace

} // namespace KVR
