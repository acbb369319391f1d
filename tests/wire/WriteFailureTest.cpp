#include "WriteTest.h"

#include <functional>

namespace KVR
{

namespace
{

using ::testing::IsEmpty;

/** An operation that writes, and the words in which it tells that the server refused. */
struct Writer
{
    const char* name;
    const char* file;
    Operation operation;
    const char* context;
    std::function<void(IKVRLdapConnection&)> write;
};

void PrintTo(const Writer& writer, std::ostream* stream)
{
    *stream << writer.name;
}

// Percent signs in all arguments, so that every test proves that none of them is a format.
constexpr char entryFile[] = "KVRLdapConnectionEntry.cpp";
constexpr char attributeFile[] = "KVRLdapConnectionAttribute.cpp";

const Writer writers[] = {
    {"AddDN", entryFile, Operation::Add, "on adding dn 'cn=100%s,dc=x'",
     [](IKVRLdapConnection& connection)
     {
         AttributeMap attributes{{"cn", "100%s"}};
         connection.AddDN("cn=100%s,dc=x", attributes);
     }},
    {"UpdateDN", entryFile, Operation::Modify, "on modifying dn 'cn=100%s,dc=x'",
     [](IKVRLdapConnection& connection)
     {
         AttributeMap attributes{{"=sn", "100%s"}};
         connection.UpdateDN("cn=100%s,dc=x", attributes);
     }},
    {"DeleteDN", entryFile, Operation::Delete, "on deleting dn 'cn=100%s,dc=x'",
     [](IKVRLdapConnection& connection) { connection.DeleteDN("cn=100%s,dc=x"); }},
    {"RenameDN", entryFile, Operation::ModifyDn, "on renaming dn 'cn=100%s,dc=x' to rdn 'cn=99%n'",
     [](IKVRLdapConnection& connection) { connection.RenameDN("cn=100%s,dc=x", "cn=99%n"); }},
    {"SetAttrValue", attributeFile, Operation::Modify,
     "on modifying attribute 'sn%d' of dn 'cn=100%s,dc=x' to value '99%n'",
     [](IKVRLdapConnection& connection)
     { connection.SetAttrValue("cn=100%s,dc=x", "sn%d", "99%n", alREPLACE); }},
    {"SetAttrValues", attributeFile, Operation::Modify, "on modifying attribute 'sn%d' of dn 'cn=100%s,dc=x'",
     [](IKVRLdapConnection& connection)
     {
         std::list<std::string> values{"99%n"};
         connection.SetAttrValues("cn=100%s,dc=x", "sn%d", values, alADD);
     }},
    {"SetAttrBinaryValue", attributeFile, Operation::Modify,
     "on modifying attribute 'sn%d' of dn 'cn=100%s,dc=x' to binary value",
     [](IKVRLdapConnection& connection)
     { connection.SetAttrBinaryValue("cn=100%s,dc=x", "sn%d", "99%n", 4, alADD); }},
    {"DeleteAttr", attributeFile, Operation::Modify, "on deleting attribute 'sn%d' of dn 'cn=100%s,dc=x'",
     [](IKVRLdapConnection& connection) { connection.DeleteAttr("cn=100%s,dc=x", "sn%d"); }},
};

class WriteFailureTest : public WriteTest, public ::testing::WithParamInterface<Writer>
{
protected:
    Caught writing()
    {
        return caught([&] { GetParam().write(connection); });
    }

    /** What the server's refusal becomes. */
    Caught refusal(int code, const std::string& details = "") const
    {
        const Writer& writer = GetParam();
        return ldapErrorAt("OpenLDAP error " + std::string(writer.context) + " - " + ldap_err2string(code),
                           std::string(writer.file) + ":LINE(" + writer.name + ")", details);
    }

    void refuseWith(int code, const std::string& diagnostic = "")
    {
        responder.on(GetParam().operation, Answer().result(code, diagnostic));
    }
};

INSTANTIATE_TEST_SUITE_P(Writers, WriteFailureTest, ::testing::ValuesIn(writers),
                         [](const auto& writer) { return std::string(writer.param.name); });

TEST_P(WriteFailureTest, WithoutASessionItIsRefusedAndSendsNothing)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), writing());
    EXPECT_THAT(responder.requests(Operation::Search), IsEmpty());
    EXPECT_THAT(responder.requests(GetParam().operation), IsEmpty());
}

TEST_P(WriteFailureTest, WhatTheServerAcceptsThrowsAndLogsNothing)
{
    EXPECT_EQ(Caught(), writing());
    EXPECT_FALSE(responder.only(GetParam().operation).hasControls);
    EXPECT_EQ("cn=100%s,dc=x", responder.only(GetParam().operation).dn);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_P(WriteFailureTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        refuseWith(code, "go away");
        EXPECT_EQ(accessError(code, "go away"), writing()) << code;
    }
}

TEST_P(WriteFailureTest, EveryOtherCodeIsToldInTheWritersOwnWords)
{
    for (int code = 1; code <= 123; code++)
    {
        if (code < 47 || code > 50)
        {
            refuseWith(code, "words %s");
            EXPECT_EQ(refusal(code, "words %s"), writing()) << code;
        }
    }
}

TEST_P(WriteFailureTest, AConnectionThatIsDroppedIsToldInTheWritersOwnWords)
{
    responder.on(GetParam().operation, Answer().drop());
    EXPECT_EQ(refusal(-1), writing());
}

TEST_P(WriteFailureTest, TheCallsResultCountsAndNotWhatTheSessionKeeps)
{
    library.keptCode = 0;
    refuseWith(21);
    EXPECT_EQ(refusal(21), writing());
    library.keptCode = 50;
    refuseWith(21);
    // The cursor of the search below the entry asks the session; the other writers must not.
    if (GetParam().operation != Operation::Delete)
    {
        EXPECT_EQ(refusal(21), writing());
        EXPECT_EQ(Caught(), writing());
    }
}

TEST_P(WriteFailureTest, AFormerErrorThatAsksForAReconnectIsNoObstacle)
{
    library.setResultCode(50);
    ASSERT_FALSE(connection.IsConnected());
    EXPECT_EQ(Caught(), writing());
    EXPECT_TRUE(connection.IsConnected());
}

TEST_P(WriteFailureTest, AfterARefusalTheConnectionIsUsable)
{
    refuseWith(80);
    EXPECT_EQ(refusal(80), writing());
    EXPECT_EQ(Caught(), writing());
    EXPECT_THAT(responder.requests(GetParam().operation), ::testing::SizeIs(2));
}

} // namespace

} // namespace KVR
