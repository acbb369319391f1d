// Names of units: escapes, special characters, and text that only looks like a component.

#include "OrganisationalUnitTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(EnsureTest, AnEscapedCommaBelongsToTheName)
{
    EXPECT_THAT(sentFor("ou=Sales\\, North,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=B)"), creationOf("ou=B,dc=x", "B"),
                            searchOf("ou=B,dc=x", "(ou=Sales, North)"),
                            creationOf("ou=Sales\\, North,ou=B,dc=x", "Sales, North")));
    EXPECT_THAT(sentFor("ou=A,ou=Sales\\2c North\\, South"),
                ElementsAre(searchOf("", "(ou=Sales, North, South)"),
                            creationOf("ou=Sales\\2c North\\, South", "Sales, North, South"),
                            searchOf("ou=Sales\\2c North\\, South", "(ou=A)"),
                            creationOf("ou=A,ou=Sales\\2c North\\, South", "A")));
}

TEST_F(EnsureTest, ACommaBehindAnEscapedBackslashEndsTheName)
{
    EXPECT_THAT(sentFor("ou=A\\\\,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A\\5c)"), creationOf("ou=A\\\\,dc=x", "A\\")));
}

TEST_F(EnsureTest, SpecialCharactersOfFiltersAreEscapedInTheFilterOnly)
{
    EXPECT_THAT(sentFor("ou=A*(b),dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A\\2a\\28b\\29)"), creationOf("ou=A*(b),dc=x", "A*(b)")));
}

TEST_F(EnsureTest, AnEscapedBlankAtTheEndBelongsToTheName)
{
    EXPECT_THAT(sentFor("ou=A\\ ,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A )"), creationOf("ou=A\\ ,dc=x", "A ")));
}

TEST_F(EnsureTest, HexadecimalEscapesAreUndoneInTheName)
{
    EXPECT_THAT(sentFor("ou=J\\C3\\BC,dc=x"), ElementsAre(searchOf("dc=x", "(ou=J\xc3\xbc)"),
                                                          creationOf("ou=J\\C3\\BC,dc=x", "J\xc3\xbc")));
}

TEST_F(EnsureTest, WhatLooksLikeAUnitBehindAnEscapedCommaIsPartOfTheName)
{
    EXPECT_THAT(sentFor("ou=A\\,ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A,ou=B)"), creationOf("ou=A\\,ou=B,dc=x", "A,ou=B")));
    EXPECT_THAT(sentFor("ou=A\\+ou=B,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A+ou=B)"), creationOf("ou=A\\+ou=B,dc=x", "A+ou=B")));
    EXPECT_THAT(sentFor("ou=A\\,B\\,ou=C,ou=D,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=D)"), creationOf("ou=D,dc=x", "D"),
                            searchOf("ou=D,dc=x", "(ou=A,B,ou=C)"),
                            creationOf("ou=A\\,B\\,ou=C,ou=D,dc=x", "A,B,ou=C")));
}

TEST_F(EnsureTest, AUnitBehindAComponentWithEscapesIsAUnit)
{
    EXPECT_THAT(sentFor("cn=a\\,b,ou=A,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
    EXPECT_THAT(sentFor("ou=A,cn=a\\,ou=b,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A)"), creationOf("ou=A,dc=x", "A")));
}

TEST_F(EnsureTest, WhatLooksLikeADomainBehindAnEscapedCommaIsPartOfTheName)
{
    EXPECT_THAT(sentFor("ou=A\\,dc=x,dc=y"),
                ElementsAre(searchOf("dc=y", "(ou=A,dc=x)"), creationOf("ou=A\\,dc=x,dc=y", "A,dc=x")));
    EXPECT_THAT(sentFor("ou=A\\,dc=x"),
                ElementsAre(searchOf("", "(ou=A,dc=x)"), creationOf("ou=A\\,dc=x", "A,dc=x")));
}

TEST_F(EnsureTest, InAComponentWithoutEscapesAUnitCountsWhereverItStands)
{
    EXPECT_THAT(sentFor("cn=you=1,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=1)"), creationOf("ou=1,dc=x", "1")));
}

TEST_F(EnsureTest, ADomainCountsWhereverItStandsAndWithoutACommaBeforeItThereIsNoUnit)
{
    EXPECT_THAT(sentFor("ou=xdc=1,dc=com"), IsEmpty());
    EXPECT_THAT(sentFor("ou=A,ou=xdc=1,dc=com"),
                ElementsAre(searchOf("dc=1,dc=com", "(ou=A)"), creationOf("ou=A,dc=1,dc=com", "A")));
}

TEST_F(EnsureTest, ABackslashAtTheEndIsTakenAsItIs)
{
    EXPECT_THAT(sentFor("ou=A\\"), ElementsAre(searchOf("", "(ou=A\\5c)"), creationOf("ou=A\\", "A\\")));
}

TEST_F(EnsureTest, AnEscapedTabAtTheEndBelongsToTheName)
{
    EXPECT_THAT(sentFor("ou=A\\\t,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A\t)"), creationOf("ou=A\\\t,dc=x", "A\t")));
    EXPECT_THAT(sentFor("ou=A\\\t \t,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A\t)"), creationOf("ou=A\\\t,dc=x", "A\t")))
        << "white space behind it is trimmed";
}

TEST_F(EnsureTest, ABlankBehindAnEscapedBackslashIsTrimmed)
{
    EXPECT_THAT(sentFor("ou=A\\\\ ,dc=x"),
                ElementsAre(searchOf("dc=x", "(ou=A\\5c)"), creationOf("ou=A\\\\,dc=x", "A\\")));
}

TEST_F(EnsureTest, AHexadecimalZeroIsEscapedInTheFilter)
{
    responder.handle(Operation::Search, [](const LdapRequest&) { return Answer().entry("ou=found"); });
    EXPECT_THAT(sentFor("ou=A\\00B,dc=x"), ElementsAre(searchOf("dc=x", "(ou=A\\00B)")));
}

TEST_F(EnsureTest, WithAConversionTheNameOfTheNewUnitIsConvertedAndDnAndFilterAreNot)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(sentFor("ou=\xe4,dc=\xf6"),
                ElementsAre(searchOf("dc=\xf6", "(ou=\xe4)"), creationOf("ou=\xe4,dc=\xf6", "\xc3\xa4")));
}

TEST_F(EnsureTest, ANameThatCannotBeConvertedIsSearchedForAndThenTheBuildingFailureOfAddDn)
{
    connectIn("ASCII");
    EXPECT_EQ(internalError("on building attributes", "KVRLdapConnectionEntry.cpp:LINE(AddDN)"),
              ensuring("ou=\xe4,dc=x"));
    EXPECT_THAT(sent(), ElementsAre(searchOf("dc=x", "(ou=\xe4)")));
}

} // namespace

} // namespace KVR
