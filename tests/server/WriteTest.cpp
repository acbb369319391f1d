// What the writing operations leave behind on a real server.

#include "ServerTest.h"

#include <algorithm>
#include <cstdlib>

namespace KVR::ServerTests
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using Attributes = std::multimap<std::string, std::string>;

const std::string lab = "ou=lab,dc=example,dc=com";

class WriteTest : public ServerTest
{
protected:
    using ServerTest::ServerTest;

    void addUnit(const std::string& name, const std::string& parent)
    {
        Attributes attributes{{"objectClass", "organizationalUnit"}, {"ou", name}};
        connection.AddDN("ou=" + name + "," + parent, attributes);
    }

    /** An entry that takes almost any attribute. */
    std::string addDevice(const std::string& name, Attributes more = {})
    {
        std::string dn = "cn=" + name + "," + lab;
        more.insert({{"objectClass", "device"}, {"objectClass", "extensibleObject"}, {"cn", name}});
        connection.AddDN(dn, more);
        return dn;
    }

    std::vector<std::string> valuesOf(const std::string& dn, const std::string& attribute)
    {
        std::list<std::string> values;
        read(dn, {attribute})->ValsByAttr(attribute, values, true);
        return {values.begin(), values.end()};
    }

    std::vector<std::string> below(const std::string& dn)
    {
        return walk(*search(dn, "(objectClass=*)", alSCOPE_CHILDREN));
    }

    bool exists(const std::string& dn) { return search(dn, "(objectClass=*)", alSCOPE_BASE) != nullptr; }

    static std::string messageOf(const Caught& error) { return error.message; }

    /** Expects a refusal by the server with this context. */
    template <typename Call>
    void expectRefusal(Call call, const std::string& context, long code)
    {
        const Caught error = caught(call);
        EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
        EXPECT_THAT(error.message, HasSubstr("OpenLDAP error " + context + " - "));
        EXPECT_EQ(connection.GetLastError(), code);
    }
};

TEST_F(WriteTest, AnAddedEntryHoldsItsValues)
{
    const std::string dn = addDevice("new", {{"description", "first"}, {"description", "second"}});
    EXPECT_THAT(valuesOf(dn, "description"), UnorderedElementsAre("first", "second"));
    expectRefusal([&] { addDevice("new"); }, "on adding dn '" + dn + "'", 68);
}

/** A server that leaves references to its clients; with the chain overlay it would follow them itself. */
class ReferenceTest : public WriteTest
{
protected:
    ReferenceTest() : WriteTest({"--chain", "no"}) {}
};

TEST_F(ReferenceTest, ADeletionDoesNotGoWhereAReferenceLeads)
{
    const std::string root = "dc=example,dc=com";
    addUnit("kept", root);
    addUnit("deleted", root);
    const std::string kept = "ou=kept," + root;
    const std::string deleted = "ou=deleted," + root;
    addUnit("child", kept);
    addUnit("child", deleted);
    Attributes reference{{"objectClass", "referral"},
                         {"objectClass", "extensibleObject"},
                         {"ou", "elsewhere"},
                         {"ref", server.uri() + "/" + kept}};
    const std::string elsewhere = "ou=elsewhere," + deleted;
    connection.AddDN(elsewhere, reference);

    // The unit can't go because the reference stays in it.
    expectRefusal([&] { connection.DeleteDN(deleted); }, "on deleting dn '" + deleted + "'", 66);
    EXPECT_FALSE(exists("ou=child," + deleted));
    expectRefusal([&] { connection.DeleteDN(elsewhere); }, "on searching '" + elsewhere + " (objectClass=*)'",
                  10);
    EXPECT_THAT(below(kept), ElementsAre("ou=child," + kept));
}

TEST_F(WriteTest, AnEntityCreatesChangesRenamesAndDeletesItself)
{
    const auto entity = connection.AllocEntity();
    entity->dn = "cn=self," + lab;
    entity->attributes = {{"objectClass", "device"}, {"cn", "self"}};
    entity->Create();
    Attributes changes{{"+description", "added"}};
    entity->Update(changes, false);
    EXPECT_THAT(valuesOf("cn=self," + lab, "description"), ElementsAre("added"));
    entity->Rename("cn=other");
    EXPECT_EQ(entity->dn, "cn=other," + lab);
    EXPECT_THAT(valuesOf("cn=other," + lab, "cn"), ElementsAre("other"));
    entity->Delete();
    EXPECT_FALSE(exists("cn=other," + lab));
}

TEST_F(WriteTest, AnUpdateAppliesItsModesInOneRequest)
{
    const std::string dn = addDevice(
        "update",
        {{"description", "old"}, {"l", "a"}, {"l", "b"}, {"o", "x"}, {"o", "y"}, {"serialNumber", "1"}});
    Attributes changes{
        {"!description", ""}, {"+description", "new"}, {"-l", "a"}, {"=o", "z"}, {"+serialNumber", "2"}};
    connection.UpdateDN(dn, changes);
    EXPECT_THAT(valuesOf(dn, "description"), ElementsAre("new"));
    EXPECT_THAT(valuesOf(dn, "l"), ElementsAre("b"));
    EXPECT_THAT(valuesOf(dn, "o"), ElementsAre("z"));
    EXPECT_THAT(valuesOf(dn, "serialNumber"), UnorderedElementsAre("1", "2"));
}

TEST_F(WriteTest, AnEmptyUpdateTouchesNothing)
{
    const std::string dn = addDevice("untouched");
    Attributes nothing;
    EXPECT_EQ(caught([&] { connection.UpdateDN(dn, nothing); }), Caught());
}

TEST_F(WriteTest, ARefusedUpdateIsAllOrNothing)
{
    const std::string dn = addDevice("atomic", {{"description", "old"}});
    Attributes changes{{"=description", "new"}, {"+noSuchAttribute", "x"}};
    expectRefusal([&] { connection.UpdateDN(dn, changes); }, "on modifying dn '" + dn + "'", 17);
    EXPECT_THAT(valuesOf(dn, "description"), ElementsAre("old"));
}

TEST_F(WriteTest, ARenameTakesTheOldNamingValueAway)
{
    const std::string dn = addDevice("before", {{"description", "kept"}});
    connection.RenameDN(dn, "cn=after");
    EXPECT_FALSE(exists(dn));
    EXPECT_THAT(valuesOf("cn=after," + lab, "cn"), ElementsAre("after"));
    EXPECT_THAT(valuesOf("cn=after," + lab, "description"), ElementsAre("kept"));
    expectRefusal([&] { connection.RenameDN(dn, "cn=x"); }, "on renaming dn '" + dn + "' to rdn 'cn=x'", 32);
}

TEST_F(WriteTest, ADeletedLeafIsGoneAndASecondDeletionIsRefused)
{
    const std::string dn = addDevice("leaf");
    connection.DeleteDN(dn);
    EXPECT_FALSE(exists(dn));
    expectRefusal([&] { connection.DeleteDN(dn); }, "on deleting dn '" + dn + "'", 32);
}

TEST_F(WriteTest, ADeletionTakesTheChildrenAlong)
{
    addUnit("parent", lab);
    for (const char* child : {"a", "b", "c"})
    {
        addUnit(child, "ou=parent," + lab);
    }
    connection.DeleteDN("ou=parent," + lab);
    EXPECT_FALSE(exists("ou=parent," + lab));
}

TEST_F(WriteTest, ADeletionStopsAtAChildWithChildrenAndLeavesTheRest)
{
    addUnit("parent", lab);
    addUnit("first", "ou=parent," + lab);
    addUnit("second", "ou=parent," + lab);
    addUnit("grandchild", "ou=second,ou=parent," + lab);
    addUnit("third", "ou=parent," + lab);
    const std::vector<std::string> order = below("ou=parent," + lab);
    const auto stop = std::find(order.begin(), order.end(), "ou=second,ou=parent," + lab);
    ASSERT_THAT(std::vector<std::string>(stop, order.end()),
                Contains("ou=grandchild,ou=second,ou=parent," + lab))
        << "the server lists a child before what is below it";
    expectRefusal([&] { connection.DeleteDN("ou=parent," + lab); }, "on deleting dn 'ou=parent," + lab + "'",
                  66);
    EXPECT_THAT(below("ou=parent," + lab), UnorderedElementsAreArray(stop, order.end()))
        << "what the server lists before the refused one went, and nothing else";
}

TEST_F(WriteTest, AttributesAreAddedReplacedRemovedAndCleared)
{
    const std::string dn = addDevice("attr");
    connection.SetAttrValue(dn, "description", "one", alADD);
    std::list<std::string> two{"two", "three"};
    connection.SetAttrValues(dn, "description", two, alADD);
    EXPECT_THAT(valuesOf(dn, "description"), UnorderedElementsAre("one", "two", "three"));
    connection.SetAttrValue(dn, "description", "two", alREMOVE);
    connection.SetAttrValue(dn, "description", "three", alREMOVEALL);
    EXPECT_THAT(valuesOf(dn, "description"), ElementsAre("one"));
    connection.SetAttrValue(dn, "description", "replaced", static_cast<alOPERATION>(100));
    EXPECT_THAT(valuesOf(dn, "description"), ElementsAre("replaced"));
    connection.SetAttrValue(dn, "description", "", alREMOVEALL);
    EXPECT_THAT(valuesOf(dn, "description"), IsEmpty());
    expectRefusal([&] { connection.DeleteAttr(dn, "description"); },
                  "on deleting attribute 'description' of dn '" + dn + "'", 16);
}

TEST_F(WriteTest, TenThousandValuesOfOneAttributeArriveInOrder)
{
    Attributes attributes;
    std::vector<std::string> expected;
    for (int i = 0; i < 10000; ++i)
    {
        expected.push_back("value " + std::to_string(i));
        attributes.emplace("description", expected.back());
    }
    const std::string dn = addDevice("many", attributes);
    EXPECT_EQ(valuesOf(dn, "description"), expected);
}

TEST_F(WriteTest, ABinaryValueOfFiveMegabytesComesBackByteForByte)
{
    const std::string dn = addDevice("binary");
    std::string bytes(5 * 1024 * 1024, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = static_cast<char>(i * 31 % 257);
    }
    connection.SetAttrBinaryValue(dn, "jpegPhoto", bytes.data(), bytes.size(), alREPLACE);
    unsigned long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> back(
        connection.GetAttrBinaryValue(dn, "jpegPhoto", size), &std::free);
    ASSERT_EQ(size, bytes.size());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), back.get()));
}

TEST_F(WriteTest, ABinaryValueThatIsNotThereIsNullAndZero)
{
    const std::string dn = addDevice("bare");
    unsigned long size = 77;
    EXPECT_EQ(connection.GetAttrBinaryValue(dn, "jpegPhoto", size), nullptr);
    EXPECT_EQ(size, 0U);
    size = 77;
    EXPECT_EQ(connection.GetAttrBinaryValue("cn=missing," + lab, "jpegPhoto", size), nullptr);
    EXPECT_EQ(size, 0U);
}

TEST_F(WriteTest, AnEmptyValueIsStoredWhereTheSchemaAllowsIt)
{
    const std::string dn = addDevice("empty");
    connection.SetAttrBinaryValue(dn, "userPassword", "", 0, alREPLACE);
    EXPECT_THAT(valuesOf(dn, "userPassword"), ElementsAre(""));
    Attributes changes{{"=description", ""}};
    expectRefusal([&] { connection.UpdateDN(dn, changes); }, "on modifying dn '" + dn + "'", 21);
}

TEST_F(WriteTest, OrganisationalUnitsAreCreatedFromTheTopAndFoundTheNextTime)
{
    const std::string path = "ou=Team,ou=Department,dc=example,dc=com";
    connection.EnsureOU(path);
    EXPECT_TRUE(exists(path));
    EXPECT_THAT(valuesOf(path, "objectClass"), UnorderedElementsAre("top", "organizationalUnit"));
    EXPECT_EQ(caught([&] { connection.EnsureOU(path); }), Caught());
    connection.EnsureOU("ou=Other,ou=Department,dc=example,dc=com");
    EXPECT_TRUE(exists("ou=Other,ou=Department,dc=example,dc=com"));
}

TEST_F(WriteTest, AUnitWhoseNameNeedsEscapesIsCreatedOnceAndFound)
{
    const std::string path = "ou=Research\\, Development (R*D),dc=example,dc=com";
    connection.EnsureOU(path);
    EXPECT_THAT(valuesOf(path, "ou"), ElementsAre("Research, Development (R*D)"));
    EXPECT_EQ(caught([&] { connection.EnsureOU(path); }), Caught());
}

class LimitedWriteTest : public WriteTest
{
protected:
    LimitedWriteTest() : WriteTest({"--size-limit", "5"}) {}
};

TEST_F(LimitedWriteTest, MoreChildrenThanTheSizeLimitAreRefusedAtTheEntryItself)
{
    addUnit("parent", lab);
    for (int i = 0; i < 8; ++i)
    {
        addUnit("child" + std::to_string(i), "ou=parent," + lab);
    }
    expectRefusal([&] { connection.DeleteDN("ou=parent," + lab); }, "on deleting dn 'ou=parent," + lab + "'",
                  66);
    EXPECT_EQ(below("ou=parent," + lab).size(), 3U) << "those that the search did not show";
    connection.DeleteDN("ou=parent," + lab);
    EXPECT_FALSE(exists("ou=parent," + lab)) << "a second deletion gets the rest";
}

} // namespace
} // namespace KVR::ServerTests
