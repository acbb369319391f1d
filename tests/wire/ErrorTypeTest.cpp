#include "ConnectionTest.h"

#include <cstring>

namespace KVR
{

namespace
{

class ErrorTypeTest : public ConnectedTest
{
protected:
    /** Lets the session hold a server's diagnostic message. */
    LDAP* sessionWithDiagnostic(const std::string& text)
    {
        ldap_set_option(library.session, LDAP_OPT_DIAGNOSTIC_MESSAGE, text.c_str());
        return library.session;
    }
};

TEST_F(ErrorTypeTest, TheShortFormIsContextAndLibraryText)
{
    const EKVROpenLdapError error(nullptr, LDAP_BUSY, "on bind");
    EXPECT_EQ("OpenLDAP error on bind - Server is busy", error.msg());
    EXPECT_EQ("", error.details());
    EXPECT_EQ("", error.where());
    EXPECT_STREQ("OpenLDAP error on bind - Server is busy", error.what());
}

TEST_F(ErrorTypeTest, Code0AddsNoLibraryText)
{
    EXPECT_EQ("OpenLDAP error on bind", EKVROpenLdapError(nullptr, 0, "on bind").msg());
    EXPECT_EQ("OpenLDAP error", EKVROpenLdapError(nullptr, 0, "").msg());
    EXPECT_EQ("OpenLDAP error on bind in Conn:7(Connect)",
              EKVROpenLdapError(nullptr, 0, "on bind", "dir/Conn", "Connect", 7).msg());
    EXPECT_EQ("OpenLDAP error in Conn:7(Connect)",
              EKVROpenLdapError(nullptr, 0, "", "dir/Conn", "Connect", 7).msg());
}

TEST_F(ErrorTypeTest, AnEmptyContextAddsNoBlank)
{
    EXPECT_EQ("OpenLDAP error - Can't contact LDAP server",
              EKVROpenLdapError(nullptr, LDAP_SERVER_DOWN, "").msg());
    EXPECT_EQ("OpenLDAP error - Can't contact LDAP server in Conn:7(Connect)",
              EKVROpenLdapError(nullptr, LDAP_SERVER_DOWN, "", "Conn", "Connect", 7).msg());
}

TEST_F(ErrorTypeTest, TheLongFormShowsTheLastPartOfTheFileOnly)
{
    const EKVROpenLdapError error(nullptr, LDAP_ALREADY_EXISTS, "on adding dn 'x'", "dir/Conn", "AddDN", 700);
    EXPECT_EQ("OpenLDAP error on adding dn 'x' - Already exists in Conn:700(AddDN)", error.msg());
    EXPECT_STREQ("OpenLDAP error on adding dn 'x' - Already exists in Conn:700(AddDN)", error.what());
    EXPECT_EQ("dir/Conn:700(AddDN)", error.where());
}

TEST_F(ErrorTypeTest, PercentSignsInTheArgumentsAreNoFormat)
{
    EXPECT_EQ("OpenLDAP error on adding dn '%s%n' - Already exists in %d:1(%x)",
              EKVROpenLdapError(nullptr, LDAP_ALREADY_EXISTS, "on adding dn '%s%n'", "%d", "%x", 1).msg());
}

TEST_F(ErrorTypeTest, TheServersDiagnosticBecomesTheDetails)
{
    LDAP* session = sessionWithDiagnostic("database is read-only");
    const EKVROpenLdapError shortForm(session, LDAP_BUSY, "on bind");
    EXPECT_EQ("database is read-only", shortForm.details());
    EXPECT_NE(nullptr, std::strstr(shortForm.what(), "database is read-only"));
    const EKVROpenLdapError longForm(session, LDAP_BUSY, "on bind", "f", "g", 1);
    EXPECT_EQ("database is read-only", longForm.details());
    EXPECT_NE(nullptr, std::strstr(longForm.what(), "database is read-only"));
}

TEST_F(ErrorTypeTest, TheDiagnosticIsReadEvenForCode0)
{
    EXPECT_EQ("kept", EKVROpenLdapError(sessionWithDiagnostic("kept"), 0, "").details());
}

TEST_F(ErrorTypeTest, WithoutASessionTheDetailsStayEmptyAndNothingIsRead)
{
    EXPECT_EQ("", EKVROpenLdapError(nullptr, LDAP_BUSY, "x").details());
    EXPECT_EQ("", EKVROpenLdapError(nullptr, LDAP_BUSY, "x", "f", "g", 1).details());
    EXPECT_THAT(library.readOptions, ::testing::IsEmpty());
}

TEST_F(ErrorTypeTest, WithoutADiagnosticTheDetailsStayEmpty)
{
    EXPECT_EQ("", EKVROpenLdapError(library.session, LDAP_BUSY, "x").details());
}

TEST_F(ErrorTypeTest, AnUnreadableDiagnosticLeavesTheDetailsEmpty)
{
    LDAP* session = sessionWithDiagnostic("not to be seen");
    library.unreadableOptions.insert(LDAP_OPT_DIAGNOSTIC_MESSAGE);
    EXPECT_EQ("", EKVROpenLdapError(session, LDAP_BUSY, "x").details());
    EXPECT_EQ("", EKVROpenLdapError(session, LDAP_BUSY, "x", "f", "g", 1).details());
}

TEST_F(ErrorTypeTest, OnlyTheDiagnosticIsReadFromTheSession)
{
    const EKVROpenLdapError error(library.session, LDAP_BUSY, "x");
    EXPECT_THAT(library.readOptions, ::testing::ElementsAre(LDAP_OPT_DIAGNOSTIC_MESSAGE));
}

TEST_F(ErrorTypeTest, ItIsCaughtAsTheBaseError)
{
    EXPECT_THROW(throw EKVROpenLdapError(nullptr, 1, "x"), EKVRError);
    EXPECT_EQ(1, EKVROpenLdapError(nullptr, 1, "x").errcode());
}

} // namespace

} // namespace KVR
