#include "LdapResponder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ldap.h>

#include <filesystem>
#include <iterator>
#include <memory>

namespace KVR::Support
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** A client of the library itself, so that the responder is tested without the module. */
class ResponderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const int version = LDAP_VERSION3;
        ASSERT_EQ(LDAP_SUCCESS, ldap_initialize(&session, responder.uri().c_str()));
        ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
        ldap_set_option(session, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    }

    void TearDown() override { disconnect(); }

    void disconnect()
    {
        if (session != nullptr)
        {
            ldap_unbind_ext_s(session, nullptr, nullptr);
            session = nullptr;
        }
    }

    int search(const std::string& filter = "(objectClass=*)")
    {
        LDAPMessage* raw = nullptr;
        const int code = ldap_search_ext_s(session, "dc=x", LDAP_SCOPE_SUBTREE, filter.c_str(), nullptr, 0,
                                           nullptr, nullptr, nullptr, 0, &raw);
        result.reset(raw);
        return code;
    }

    struct Free
    {
        void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
    };

    LdapResponder responder;
    LDAP* session = nullptr;
    std::unique_ptr<LDAPMessage, Free> result;
};

std::ptrdiff_t openDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

TEST_F(ResponderTest, FiltersAreReadBackAsTheyWereWritten)
{
    for (const char* filter :
         {"(objectClass=*)", "(cn=a)", "(cn=)", "(&(cn=a)(sn=b))", "(|(cn=a)(!(sn=b)))", "(cn>=a)", "(cn<=a)",
          "(cn~=a)", "(cn=a*)", "(cn=*a)", "(cn=*a*)", "(cn=a*b*c)", "(cn=*a*b*)", "(cn:caseExactMatch:=a)",
          "(cn:dn:=a)", "(:caseExactMatch:=a)", "(cn=\\28a\\29\\2a\\5c\\00)",
          "(&(olcDatabase=*)(olcSuffix={*}x))"})
    {
        responder.clear();
        ASSERT_EQ(LDAP_SUCCESS, search(filter)) << filter;
        EXPECT_EQ(filter, responder.only(Operation::Search).search.filter);
    }
}

TEST_F(ResponderTest, AModifyIsRecordedWithCodesAndValuesInOrder)
{
    std::string a = "a";
    std::string zero("b\0c", 3);
    berval first{a.size(), a.data()};
    berval second{zero.size(), zero.data()};
    berval* values[] = {&second, &first, nullptr};
    std::string cn = "cn";
    std::string sn = "sn";
    LDAPMod add{LDAP_MOD_ADD | LDAP_MOD_BVALUES, cn.data(), {}};
    add.mod_vals.modv_bvals = values;
    LDAPMod remove{LDAP_MOD_DELETE | LDAP_MOD_BVALUES, sn.data(), {}};
    remove.mod_vals.modv_bvals = nullptr;
    LDAPMod* changes[] = {&add, &remove, nullptr};
    ASSERT_EQ(LDAP_SUCCESS, ldap_modify_ext_s(session, "cn=e", changes, nullptr, nullptr));
    const LdapRequest request = responder.only(Operation::Modify);
    EXPECT_EQ("cn=e", request.dn);
    EXPECT_THAT(request.modifications, ElementsAre(Modification{LDAP_MOD_ADD, "cn", {zero, "a"}},
                                                   Modification{LDAP_MOD_DELETE, "sn", {}}));
    EXPECT_FALSE(request.hasControls);
}

TEST_F(ResponderTest, AnAddIsRecordedWithItsAttributesInOrder)
{
    std::string value = "v";
    berval bytes{value.size(), value.data()};
    berval* values[] = {&bytes, nullptr};
    std::string sn = "sn";
    std::string cn = "cn";
    LDAPMod first{LDAP_MOD_ADD | LDAP_MOD_BVALUES, sn.data(), {}};
    first.mod_vals.modv_bvals = values;
    LDAPMod second{LDAP_MOD_ADD | LDAP_MOD_BVALUES, cn.data(), {}};
    second.mod_vals.modv_bvals = values;
    LDAPMod* attributes[] = {&first, &second, nullptr};
    ASSERT_EQ(LDAP_SUCCESS, ldap_add_ext_s(session, "cn=e", attributes, nullptr, nullptr));
    EXPECT_THAT(responder.only(Operation::Add).attributes,
                ElementsAre(Attribute{"sn", {"v"}}, Attribute{"cn", {"v"}}));
}

TEST_F(ResponderTest, DeleteRenameAndCompareAreRecorded)
{
    std::string value = "v";
    berval bytes{value.size(), value.data()};
    ASSERT_EQ(LDAP_SUCCESS, ldap_delete_ext_s(session, "cn=a", nullptr, nullptr));
    ASSERT_EQ(LDAP_SUCCESS, ldap_rename_s(session, "cn=b", "cn=c", nullptr, 1, nullptr, nullptr));
    ASSERT_EQ(LDAP_SUCCESS, ldap_rename_s(session, "cn=b", "cn=c", "dc=y", 0, nullptr, nullptr));
    responder.on(Operation::Compare, Answer().result(LDAP_COMPARE_TRUE));
    ASSERT_EQ(LDAP_COMPARE_TRUE, ldap_compare_ext_s(session, "cn=d", "sn", &bytes, nullptr, nullptr));
    const auto requests = responder.requests();
    ASSERT_THAT(responder.operations(),
                ElementsAre(Operation::Delete, Operation::ModifyDn, Operation::ModifyDn, Operation::Compare));
    EXPECT_EQ("cn=a", requests[0].dn);
    EXPECT_EQ("cn=c", requests[1].modifyDn.newRdn);
    EXPECT_TRUE(requests[1].modifyDn.deleteOldRdn);
    EXPECT_EQ(std::nullopt, requests[1].modifyDn.newSuperior);
    EXPECT_FALSE(requests[2].modifyDn.deleteOldRdn);
    EXPECT_EQ("dc=y", requests[2].modifyDn.newSuperior);
    EXPECT_THAT(requests[3].attributes, ElementsAre(Attribute{"sn", {"v"}}));
}

TEST_F(ResponderTest, ControlsAreNoticed)
{
    LDAPControl* control = nullptr;
    ASSERT_EQ(LDAP_SUCCESS, ldap_control_create(LDAP_CONTROL_MANAGEDSAIT, 0, nullptr, 0, &control));
    LDAPControl* controls[] = {control, nullptr};
    EXPECT_EQ(LDAP_SUCCESS, ldap_delete_ext_s(session, "cn=a", controls, nullptr));
    ldap_control_free(control);
    EXPECT_TRUE(responder.only(Operation::Delete).hasControls);
}

TEST_F(ResponderTest, AbandonAndUnbindAreAwaited)
{
    int id = 0;
    responder.onSearch(Answer().silence());
    ASSERT_EQ(LDAP_SUCCESS, ldap_search_ext(session, "dc=x", LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                                            nullptr, nullptr, 0, &id));
    ASSERT_EQ(LDAP_SUCCESS, ldap_abandon_ext(session, id, nullptr, nullptr));
    ASSERT_TRUE(responder.await(Operation::Abandon));
    EXPECT_EQ(responder.only(Operation::Search).messageId, responder.only(Operation::Abandon).abandonedId);
    disconnect();
    EXPECT_TRUE(responder.await(Operation::Unbind));
    EXPECT_TRUE(responder.awaitNoConnection());
}

TEST_F(ResponderTest, AnswersComeInOrderThenTheHandlerThenSuccess)
{
    responder.onDelete(Answer().result(LDAP_BUSY, "later", "dc=x"));
    EXPECT_EQ(LDAP_BUSY, ldap_delete_ext_s(session, "cn=a", nullptr, nullptr));
    EXPECT_EQ(LDAP_SUCCESS, ldap_delete_ext_s(session, "cn=a", nullptr, nullptr));
    responder.handle(Operation::Delete, LdapResponder::byDn({{"cn=a", Answer().result(LDAP_OTHER)}}));
    responder.onDelete(Answer().result(LDAP_UNAVAILABLE));
    EXPECT_EQ(LDAP_UNAVAILABLE, ldap_delete_ext_s(session, "cn=a", nullptr, nullptr));
    EXPECT_EQ(LDAP_OTHER, ldap_delete_ext_s(session, "cn=a", nullptr, nullptr));
    EXPECT_EQ(LDAP_SUCCESS, ldap_delete_ext_s(session, "cn=b", nullptr, nullptr));
}

TEST_F(ResponderTest, TheDiagnosticAndTheMatchedDnAreSent)
{
    responder.onDelete(Answer().result(LDAP_NO_SUCH_OBJECT, "no such person", "dc=x"));
    ASSERT_EQ(LDAP_NO_SUCH_OBJECT, ldap_delete_ext_s(session, "cn=a,dc=x", nullptr, nullptr));
    char* text = nullptr;
    ldap_get_option(session, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
    EXPECT_STREQ("no such person", text);
    ldap_memfree(text);
    ldap_get_option(session, LDAP_OPT_MATCHED_DN, &text);
    EXPECT_STREQ("dc=x", text);
    ldap_memfree(text);
}

TEST_F(ResponderTest, EntriesAreSentWithTheirBytes)
{
    const std::string zero("ab\0cd", 5);
    responder.onSearch(Answer()
                           .entry("cn=a", {{"cn", {zero, ""}}, {"sn", {}}, {"cn", {"again"}}})
                           .reference({responder.uri() + "/dc=y"})
                           .result(LDAP_SIZELIMIT_EXCEEDED));
    ASSERT_EQ(LDAP_SIZELIMIT_EXCEEDED, search());
    EXPECT_EQ(1, ldap_count_entries(session, result.get()));
    EXPECT_EQ(1, ldap_count_references(session, result.get()));
    berval** values = ldap_get_values_len(session, ldap_first_entry(session, result.get()), "cn");
    ASSERT_NE(nullptr, values);
    EXPECT_EQ(zero, std::string(values[0]->bv_val, values[0]->bv_len));
    EXPECT_EQ(0U, values[1]->bv_len);
    EXPECT_EQ(nullptr, values[2]);
    ldap_value_free_len(values);
}

TEST_F(ResponderTest, BrokenAnswersFailAsTheyShould)
{
    responder.onSearch(Answer().malformed());
    EXPECT_EQ(LDAP_DECODING_ERROR, search());
    responder.onSearch(Answer().result(LDAP_CONNECT_ERROR));
    EXPECT_EQ(LDAP_CONNECT_ERROR, search());
    responder.onSearch(Answer().entry("cn=a").cutEntry("cn=b", {{"cn", {"b"}}}));
    EXPECT_EQ(LDAP_SERVER_DOWN, search());
}

TEST_F(ResponderTest, ADroppedConnectionIsSeenAndTheNextClientIsServed)
{
    responder.onSearch(Answer().entry("cn=a").drop());
    EXPECT_EQ(LDAP_SERVER_DOWN, search());
    disconnect();
    SetUp();
    EXPECT_EQ(LDAP_SUCCESS, search());
    EXPECT_EQ(2, responder.connections());
    responder.dropConnections();
    EXPECT_TRUE(responder.awaitNoConnection());
    EXPECT_EQ(LDAP_SERVER_DOWN, search());
}

TEST_F(ResponderTest, AStoppedResponderIsNotReachable)
{
    responder.stop();
    EXPECT_EQ(LDAP_SERVER_DOWN, search());
}

TEST_F(ResponderTest, StoppingDoesNotWaitForAClientThatDoesNotRead)
{
    int id = 0;
    responder.onSearch(Answer().entry("cn=a", {{"cn", {std::string(64UL << 20U, 'x')}}}));
    ASSERT_EQ(LDAP_SUCCESS, ldap_search_ext(session, "dc=x", LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                                            nullptr, nullptr, 0, &id));
    ASSERT_TRUE(responder.await(Operation::Search));
    responder.stop();
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Search));
}

TEST_F(ResponderTest, ClearForgetsTheRequests)
{
    ASSERT_EQ(LDAP_SUCCESS, search());
    responder.clear();
    EXPECT_THAT(responder.requests(), IsEmpty());
    EXPECT_THROW(static_cast<void>(responder.only(Operation::Search)), std::runtime_error);
}

TEST(ResponderLifeTest, NothingStaysOpen)
{
    const auto before = openDescriptors();
    {
        const LdapResponder responder;
        EXPECT_LT(before, openDescriptors());
    }
    EXPECT_EQ(before, openDescriptors());
}

} // namespace

} // namespace KVR::Support
