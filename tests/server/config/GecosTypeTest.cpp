// The attribute type "gecos" of the real schema "nis", before and after it takes any text.

#include "ConfigTest.h"

#include <algorithm>

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

const std::string nis = "cn={2}nis,cn=schema,cn=config";
const std::string ia5Gecos =
    "( 1.3.6.1.1.1.1.2 NAME 'gecos' DESC 'The GECOS field; the common name' EQUALITY caseIgnoreIA5Match "
    "SUBSTR caseIgnoreIA5SubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.26 SINGLE-VALUE )";
const std::string directoryGecos =
    "( 1.3.6.1.1.1.1.2 NAME 'gecos' DESC 'The GECOS field; the common name' EQUALITY caseIgnoreMatch "
    "SUBSTR caseIgnoreSubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 SINGLE-VALUE )";

class GecosTypeTest : public ConfigTest
{
protected:
    std::vector<std::string> definitions()
    {
        std::list<std::string> values;
        read(nis)->ValsByAttr("olcAttributeTypes", values, false);
        return {values.begin(), values.end()};
    }

    void addAccount(const std::string& uid, const std::string& gecos)
    {
        Attributes attributes{{"objectClass", "account"},
                              {"objectClass", "posixAccount"},
                              {"uid", uid},
                              {"cn", uid},
                              {"uidNumber", "1000"},
                              {"gidNumber", "1000"},
                              {"homeDirectory", "/home"},
                              {"gecos", gecos}};
        connection.AddDN("uid=" + uid + "," + lab, attributes);
    }
};

TEST_F(GecosTypeTest, AnUmlautIsRefusedBeforeAndAcceptedAfterwards)
{
    const Caught refused = caught([&] { addAccount("jm", "Jürgen Müller"); });
    EXPECT_EQ(refused.type, typeid(EKVROpenLdapError));
    EXPECT_THAT(refused.message, HasSubstr(" - Invalid syntax in KVRLdapConnectionEntry.cpp:LINE(AddDN)"));
    EXPECT_EQ(connection.GetLastError(), 21);

    connection.AdjustGecosType();

    addAccount("jm", "Jürgen Müller");
    EXPECT_EQ(read(std::string("uid=jm,") + lab)->ValByAttr("gecos", false), "Jürgen Müller");
    EXPECT_THAT(walk(*search(lab, "(gecos=JÜRGEN müller)", alSCOPE_ONE)),
                ElementsAre(std::string("uid=jm,") + lab))
        << "the type has the matching rule of directory strings";
}

TEST_F(GecosTypeTest, OnlyTheDefinitionOfGecosChangesAndItStaysAtItsPlace)
{
    std::vector<std::string> expected = definitions();
    ASSERT_EQ(expected.front(), "{0}" + ia5Gecos);
    expected.front() = "{0}" + directoryGecos;
    connection.AdjustGecosType();
    EXPECT_EQ(definitions(), expected);
}

TEST_F(GecosTypeTest, ADefinitionBehindOthersStaysAtItsPlace)
{
    for (const char* type : {"{0}( 1.3.6.1.4.1.32473.1.1 NAME 'labNote' SUP name )",
                             "{0}( 1.3.6.1.4.1.32473.1.2 NAME 'labRoom' SUP name )"})
    {
        connection.SetAttrValue(nis, "olcAttributeTypes", type, alADD);
    }
    std::vector<std::string> expected = definitions();
    ASSERT_EQ(expected.at(2), "{2}" + ia5Gecos);
    expected[2] = "{2}" + directoryGecos;
    connection.AdjustGecosType();
    EXPECT_EQ(definitions(), expected);
}

TEST_F(GecosTypeTest, ASecondRunLeavesTheSameDefinitions)
{
    connection.AdjustGecosType();
    const std::vector<std::string> once = definitions();
    connection.AdjustGecosType();
    EXPECT_EQ(definitions(), once);
    EXPECT_EQ(definitions().front(), "{0}" + directoryGecos);
}

TEST_F(GecosTypeTest, TheTypeIsRewrittenWhileEntriesUseIt)
{
    addAccount("plain", "Plain Name");
    connection.AdjustGecosType();
    EXPECT_EQ(definitions().front(), "{0}" + directoryGecos);
    EXPECT_EQ(read(std::string("uid=plain,") + lab)->ValByAttr("gecos", false), "Plain Name");
}

TEST_F(GecosTypeTest, ALaterSchemaWithALongerNameIsNotTaken)
{
    addSchema("nisextra");
    connection.AdjustGecosType();
    EXPECT_EQ(definitions().front(), "{0}" + directoryGecos);
}

} // namespace
} // namespace KVR::ServerTests
