#include "Caught.h"
#include "KVRLdapCommon.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <memory>
#include <typeinfo>

namespace KVR::Support
{
namespace
{

struct Unbind
{
    void operator()(LDAP* session) const { ldap_unbind_ext_s(session, nullptr, nullptr); }
};

/** A session that was never connected and keeps the given diagnostic message. */
std::unique_ptr<LDAP, Unbind> sessionWith(const char* diagnostic)
{
    LDAP* session = nullptr;
    EXPECT_EQ(ldap_initialize(&session, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
    EXPECT_EQ(ldap_set_option(session, LDAP_OPT_DIAGNOSTIC_MESSAGE, diagnostic), LDAP_OPT_SUCCESS);
    return std::unique_ptr<LDAP, Unbind>(session);
}

TEST(OpenLdapError, ShortFormWithoutCodeAndMessageIsTheBareText)
{
    const EKVROpenLdapError error(nullptr, 0, "");
    EXPECT_EQ(error.msg(), "OpenLDAP error");
    EXPECT_STREQ(error.what(), "OpenLDAP error");
}

TEST(OpenLdapError, ShortFormWithEmptyMessageHasNoBlankBeforeTheLibraryText)
{
    const EKVROpenLdapError error(nullptr, LDAP_SERVER_DOWN, "");
    EXPECT_EQ(error.msg(), "OpenLDAP error - Can't contact LDAP server");
}

TEST(OpenLdapError, ShortFormWithMessageAndCode)
{
    const EKVROpenLdapError error(nullptr, LDAP_INVALID_CREDENTIALS, "Insufficient access.");
    EXPECT_EQ(error.msg(), "OpenLDAP error Insufficient access. - Invalid credentials");
}

TEST(OpenLdapError, ShortFormWithMessageAndCodeZeroHasNoLibraryText)
{
    const EKVROpenLdapError error(nullptr, 0, "on bind");
    EXPECT_EQ(error.msg(), "OpenLDAP error on bind");
}

TEST(OpenLdapError, LongFormNamesThePlaceByTheLastPathComponent)
{
    const EKVROpenLdapError error(nullptr, 0x44, "on adding dn 'x'", "dir/Conn", "AddDN", 700);
    EXPECT_EQ(error.msg(), "OpenLDAP error on adding dn 'x' - Already exists in Conn:700(AddDN)");
    EXPECT_EQ(error.where(), "dir/Conn:700(AddDN)");
}

TEST(OpenLdapError, LongFormWithCodeZeroHasNoLibraryText)
{
    const EKVROpenLdapError error(nullptr, 0, "can't bind", "Conn", "Connect", 1);
    EXPECT_EQ(error.msg(), "OpenLDAP error can't bind in Conn:1(Connect)");
}

TEST(OpenLdapError, LongFormWithEmptyMessageHasNoBlankBeforeTheSuffix)
{
    const EKVROpenLdapError error(nullptr, LDAP_SERVER_DOWN, "", "Conn", "Connect", 1);
    EXPECT_EQ(error.msg(), "OpenLDAP error - Can't contact LDAP server in Conn:1(Connect)");
}

TEST(OpenLdapError, LongFormTakesAPercentSignInTheMessageLiterally)
{
    const EKVROpenLdapError error(nullptr, 0, "on adding dn 'cn=100%s%n'", "Conn", "AddDN", 1);
    EXPECT_EQ(error.msg(), "OpenLDAP error on adding dn 'cn=100%s%n' in Conn:1(AddDN)");
}

TEST(OpenLdapError, WithoutSessionTheDetailsAreEmpty)
{
    EXPECT_EQ(EKVROpenLdapError(nullptr, 32, "x").details(), "");
    EXPECT_EQ(EKVROpenLdapError(nullptr, 32, "x", "f", "g", 1).details(), "");
}

TEST(OpenLdapError, TheDetailsHoldTheDiagnosticMessageInBothForms)
{
    const auto session = sessionWith("no such suffix");
    const EKVROpenLdapError brief(session.get(), 32, "x");
    const EKVROpenLdapError full(session.get(), 32, "x", "f", "g", 1);
    EXPECT_EQ(brief.details(), "no such suffix");
    EXPECT_EQ(full.details(), "no such suffix");
    EXPECT_STREQ(brief.what(), "OpenLDAP error x - No such object: no such suffix");
    EXPECT_STREQ(full.what(), "OpenLDAP error x - No such object in f:1(g): no such suffix");
}

TEST(OpenLdapError, ASessionWithoutDiagnosticLeavesTheDetailsEmpty)
{
    LDAP* raw = nullptr;
    ASSERT_EQ(ldap_initialize(&raw, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
    const std::unique_ptr<LDAP, Unbind> session(raw);
    EXPECT_EQ(EKVROpenLdapError(session.get(), 1, "x").details(), "");
}

TEST(OpenLdapError, AddsNoFieldsToItsBase)
{
    EXPECT_EQ(sizeof(EKVROpenLdapError), sizeof(EKVRError));
}

TEST(OpenLdapError, IsCaughtByItsBaseByValueAndKeepsItsTexts)
{
    try
    {
        throw EKVROpenLdapError(nullptr, 50, "x", "f", "g", 1);
    }
    catch (const EKVRError& error)
    {
        EXPECT_EQ(typeid(error), typeid(EKVROpenLdapError));
        EXPECT_EQ(error.msg(), "OpenLDAP error x - Insufficient access in f:1(g)");
    }
}

class AccessFailure : public testing::TestWithParam<int>
{
};

TEST_P(AccessFailure, ThrowsTheAccessTextInsteadOfTheContext)
{
    const Caught expected{
        typeid(EKVROpenLdapError),
        std::string("OpenLDAP error Insufficient access. The user should have administrator privilege. - ") +
            ldap_err2string(GetParam()),
        "", ""};
    EXPECT_EQ(caught([] { throwOpenLdapError(nullptr, GetParam(), "on bind", "f.cpp", "g", 1); }), expected);
}

INSTANTIATE_TEST_SUITE_P(Codes47To50, AccessFailure, testing::Values(47, 48, 49, 50));

class OtherFailure : public testing::TestWithParam<int>
{
};

TEST_P(OtherFailure, ThrowsTheContextWithThePlace)
{
    const Caught expected{typeid(EKVROpenLdapError),
                          std::string("OpenLDAP error on bind - ") + ldap_err2string(GetParam()) +
                              " in f.cpp:LINE(g)",
                          "", "f.cpp:LINE(g)"};
    EXPECT_EQ(caught([] { throwOpenLdapError(nullptr, GetParam(), "on bind", "f.cpp", "g", 1); }), expected);
}

INSTANTIATE_TEST_SUITE_P(CodesOutside47To50, OtherFailure, testing::Values(46, 51, 1, 32, -1, -11));

} // namespace
} // namespace KVR::Support
