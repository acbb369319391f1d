// The texts of the operations that write, see TranslationTest.cpp for the marks.

#include "Allocations.h"
#include "Caught.h"
#include "KVRLdapConnection.h"
#include "LdapInterposer.h"
#include "LdapResponder.h"
#include "LogCapture.h"
#include "RecordingHost.h"

#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>

#include <clocale>
#include <functional>

namespace KVR::Support
{
namespace
{

using AttributeMap = std::multimap<std::string, std::string>;

const std::string busy = " - Server is busy in ";
const std::string entryFile = "KVRLdapConnectionEntry.cpp";
const std::string attributeFile = "KVRLdapConnectionAttribute.cpp";

class WriteTranslation : public testing::Test
{
protected:
    WriteTranslation() { connection.Connect(server.target(), KVRAuthAnonymous); }

    /** Message of the error that the call throws, source lines as LINE. */
    static std::string message(const std::function<void()>& call) { return caught(call).message; }

    /** Message of a write that the server refuses with this code. */
    std::string refused(Operation operation, const std::function<void()>& write, int code = LDAP_BUSY)
    {
        server.on(operation, Answer().result(code));
        return message(write);
    }

    void add() { connection.AddDN("cn=a", entry); }
    void set() { connection.SetAttrValue("cn=a", "sn", "v", alADD); }
    void readBinary() { connection.GetAttrBinaryValue("cn=a", "photo", size); }

    LdapResponder server;
    LdapInterposer library;
    LogCapture log;
    RecordingHost host;
    AttributeMap entry{{"cn", "a"}};
    std::list<std::string> values{"v", "w"};
    unsigned long size = 77;
    CKVRLdapConnection connection{host};
};

TEST_F(WriteTranslation, OfAnInvalidAttributeIsTheModules)
{
    AttributeMap nameless{{"", "a"}};
    EXPECT_EQ(message([&] { connection.AddDN("cn=a", nameless); }), "[w]Invalid attribute of dn 'cn=a'");
    EXPECT_EQ(message([&] { connection.UpdateDN("cn=a", nameless); }), "[w]Invalid attribute of dn 'cn=a'");
}

TEST_F(WriteTranslation, OfABuildingFailureIsTheModules)
{
    AttributeMap invalid{{"*mail", "a"}};
    EXPECT_EQ(message([&] { connection.UpdateDN("cn=a", invalid); }), "[w]on building attributes");
    const FailingAllocation failing(FailingAllocation::By::OperatorNew, 1);
    EXPECT_EQ(message([&] { add(); }), "[w]on building attributes");
}

TEST_F(WriteTranslation, OfARefusedAddIsTheModules)
{
    EXPECT_EQ(refused(Operation::Add, [&] { add(); }),
              "[w]OpenLDAP error [w]on adding dn 'cn=a'" + busy + entryFile + ":LINE(AddDN)");
}

TEST_F(WriteTranslation, OfARefusedUpdateIsTheModules)
{
    AttributeMap changes{{"=sn", "a"}};
    EXPECT_EQ(refused(Operation::Modify, [&] { connection.UpdateDN("cn=a", changes); }),
              "[w]OpenLDAP error [w]on modifying dn 'cn=a'" + busy + entryFile + ":LINE(UpdateDN)");
}

TEST_F(WriteTranslation, OfARefusedDeletionIsTheModules)
{
    EXPECT_EQ(refused(Operation::Delete, [&] { connection.DeleteDN("cn=a"); }),
              "[w]OpenLDAP error [w]on deleting dn 'cn=a'" + busy + entryFile + ":LINE(DeleteDN)");
}

TEST_F(WriteTranslation, OfARefusedRenameIsTheModules)
{
    EXPECT_EQ(refused(Operation::ModifyDn, [&] { connection.RenameDN("cn=a", "cn=b"); }),
              "[w]OpenLDAP error [w]on renaming dn 'cn=a' to rdn 'cn=b'" + busy + entryFile +
                  ":LINE(RenameDN)");
}

TEST_F(WriteTranslation, OfARefusedValueIsTheModules)
{
    EXPECT_EQ(refused(Operation::Modify, [&] { set(); }),
              "[w]OpenLDAP error [w]on modifying attribute 'sn' of dn 'cn=a' to value 'v'" + busy +
                  attributeFile + ":LINE(SetAttrValue)");
}

TEST_F(WriteTranslation, OfRefusedValuesIsTheModules)
{
    EXPECT_EQ(refused(Operation::Modify, [&] { connection.SetAttrValues("cn=a", "sn", values, alADD); }),
              "[w]OpenLDAP error [w]on modifying attribute 'sn' of dn 'cn=a'" + busy + attributeFile +
                  ":LINE(SetAttrValues)");
}

TEST_F(WriteTranslation, OfARefusedBinaryValueIsTheModules)
{
    EXPECT_EQ(
        refused(Operation::Modify, [&] { connection.SetAttrBinaryValue("cn=a", "photo", "v", 1, alADD); }),
        "[w]OpenLDAP error [w]on modifying attribute 'photo' of dn 'cn=a' to binary value" + busy +
            attributeFile + ":LINE(SetAttrBinaryValue)");
}

TEST_F(WriteTranslation, OfARefusedDeletionOfAnAttributeIsTheModules)
{
    EXPECT_EQ(refused(Operation::Modify, [&] { connection.DeleteAttr("cn=a", "sn"); }),
              "[w]OpenLDAP error [w]on deleting attribute 'sn' of dn 'cn=a'" + busy + attributeFile +
                  ":LINE(DeleteAttr)");
}

TEST_F(WriteTranslation, OfARefusedReadingOfABinaryValueIsTheModules)
{
    EXPECT_EQ(refused(Operation::Search, [&] { readBinary(); }),
              "[w]OpenLDAP error [w]on searching 'cn=a photo=*'" + busy + attributeFile +
                  ":LINE(GetAttrBinaryValue)");
}

TEST_F(WriteTranslation, OfABinaryValueThatIsNotThereIsTheModules)
{
    const std::string place = "KVRLdapConnection.cpp:LINE(InternalCheck)";
    library.keptCode = LDAP_BUSY;
    EXPECT_EQ(message([&] { readBinary(); }), "[w]OpenLDAP error [w]on fetching" + busy + place);
    server.always(Operation::Search, Answer().entry("cn=a", {{"photo", {}}}));
    EXPECT_EQ(message([&] { readBinary(); }), "[w]OpenLDAP error [w]on fetching attributes" + busy + place)
        << "no values";
    library.withholdDn = true;
    EXPECT_EQ(message([&] { readBinary(); }), "[w]OpenLDAP error [w]on fetching attributes" + busy + place)
        << "no DN";
    library.unreadableOptions = {LDAP_OPT_RESULT_CODE};
    EXPECT_EQ(message([&] { readBinary(); }), "[w]on getting ldap error code.");
}

TEST_F(WriteTranslation, OfABufferThatCannotBeAllocatedIsTheModules)
{
    const std::string value(123457, 'v');
    server.onSearch(Answer().entry("cn=a", {{"photo", {value}}}));
    const RefusedSize refusedSize(value.size());
    EXPECT_EQ(message([&] { readBinary(); }), "[w]can't allocate a buffer for the value");
}

TEST_F(WriteTranslation, OfAnEmptyArgumentIsTheHosts)
{
    std::list<std::string> none;
    EXPECT_EQ(message([&] { connection.SetAttrValue("cn=a", "sn", "", alADD); }),
              "[c]Argument is empty for 'SetAttrValue'.");
    EXPECT_EQ(message([&] { connection.SetAttrValues("cn=a", "sn", none, alADD); }),
              "[c]Argument is empty for 'SetAttrValues'.");
    EXPECT_EQ(message([&] { connection.SetAttrBinaryValue("cn=a", "photo", nullptr, 0, alADD); }),
              "[c]Argument is empty for 'SetAttrBinaryValue'.");
    EXPECT_EQ(message([&] { connection.EnsureOU(""); }), "[c]Argument is empty for 'EnsureOU'.");
}

TEST_F(WriteTranslation, OfMissingAccessRightsIsTheHostsWithinTheModules)
{
    const std::string expected =
        "[w]OpenLDAP error [c]Insufficient access. The user should have administrator privilege. - "
        "Insufficient access";
    EXPECT_EQ(refused(
                  Operation::Add, [&] { add(); }, LDAP_INSUFFICIENT_ACCESS),
              expected);
    EXPECT_EQ(refused(
                  Operation::Modify, [&] { set(); }, LDAP_INSUFFICIENT_ACCESS),
              expected);
    EXPECT_EQ(refused(
                  Operation::Search, [&] { readBinary(); }, LDAP_INSUFFICIENT_ACCESS),
              expected);
}

TEST_F(WriteTranslation, OfTheMissingSessionIsTheModules)
{
    connection.Disconnect();
    for (const std::function<void()>& write :
         {std::function<void()>([&] { add(); }), std::function<void()>([&] { set(); })})
    {
        EXPECT_EQ(message(write), "[w]LDAP connection isn`t established.");
    }
    EXPECT_EQ(message([&] { connection.EnsureOU("dc=x"); }), "[w]LDAP connection isn`t established.");
}

TEST_F(WriteTranslation, OfAValueThatCannotBeConvertedIsTheModules)
{
    connection.Disconnect();
    std::setlocale(LC_CTYPE, "C");
    SetDefaultCodeset("ASCII");
    connection.Connect(server.target(), KVRAuthAnonymous);
    SetDefaultCodeset("UTF-8");
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(message([&] { connection.SetAttrValue("cn=a", "sn", "\xe4", alADD); }),
              "[w]iconv conversion failed.");
    entry.emplace("sn", "\xe4");
    EXPECT_EQ(message([&] { add(); }), "[w]on building attributes");
}

} // namespace
} // namespace KVR::Support
