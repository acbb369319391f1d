// Which values the writing operations convert: those that they send, through LocalToUtf8 of the
// virtual table, and only where the locale's character set asks for it.

#include "WriteTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** Records what is to be converted and marks it. */
class ConvertingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    std::string LocalToUtf8(const std::string& text) override
    {
        if (refused == text)
        {
            throw EKVRCheckError("refused", "");
        }
        converted.push_back(text);
        return "<" + text + ">";
    }

    std::vector<std::string> converted;
    std::optional<std::string> refused;
};

class WriteConversionTest : public WireTest
{
protected:
    void connectIn(const std::string& codeset)
    {
        const DefaultCodesetGuard guard(codeset);
        connect(connection);
    }

    /** The attributes of the only add request. */
    Support::Attributes added() const { return responder.only(Operation::Add).attributes; }

    /** The modifications of the only modify request. */
    std::vector<Modification> modified() const { return responder.only(Operation::Modify).modifications; }

    AttributeMap entry{{"cn", "b"}, {"cn", "a"}, {"sn", "s"}};
    AttributeMap changes{{"!mail", "m"}, {"+cn", "c"}, {"-sn", "d"}, {"=l", "e"}, {"=l", ""}};
    std::list<std::string> values{"v", "", "w"};
    ConvertingConnection connection{host};
};

TEST_F(WriteConversionTest, AddingConvertsEachValueOnce)
{
    connectIn("ISO-8859-1");
    connection.AddDN("cn=a,dc=x", entry);
    EXPECT_THAT(connection.converted, ElementsAre("b", "a", "s"));
    EXPECT_THAT(added(), ElementsAre(Attribute{"cn", {"<b>", "<a>"}}, Attribute{"sn", {"<s>"}}));
}

TEST_F(WriteConversionTest, AddingConvertsNothingInAUtf8Locale)
{
    connectIn("UTF-8");
    connection.AddDN("cn=a,dc=x", entry);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(added(), ElementsAre(Attribute{"cn", {"b", "a"}}, Attribute{"sn", {"s"}}));
}

TEST_F(WriteConversionTest, UpdatingConvertsEachValueThatIsSentOnce)
{
    connectIn("ISO-8859-1");
    connection.UpdateDN("cn=a,dc=x", changes);
    EXPECT_THAT(connection.converted, ElementsAre("c", "d", "e", "")) << "no value of an exclamation mark";
    EXPECT_THAT(modified(), ElementsAre(Modification{1, "mail", {}}, Modification{0, "cn", {"<c>"}},
                                        Modification{1, "sn", {"<d>"}}, Modification{2, "l", {"<e>", "<>"}}));
}

TEST_F(WriteConversionTest, UpdatingConvertsNothingInAUtf8Locale)
{
    connectIn("UTF-8");
    connection.UpdateDN("cn=a,dc=x", changes);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(modified(), ElementsAre(Modification{1, "mail", {}}, Modification{0, "cn", {"c"}},
                                        Modification{1, "sn", {"d"}}, Modification{2, "l", {"e", ""}}));
}

TEST_F(WriteConversionTest, AFailingConversionIsABuildingFailureOfBothWhateverItThrows)
{
    connectIn("ISO-8859-1");
    connection.refused = "s";
    EXPECT_EQ(internalError("on building attributes", "KVRLdapConnectionEntry.cpp:LINE(AddDN)"),
              caught([&] { connection.AddDN("cn=a,dc=x", entry); }));
    connection.refused = "e";
    EXPECT_EQ(internalError("on building attributes", "KVRLdapConnectionEntry.cpp:LINE(UpdateDN)"),
              caught([&] { connection.UpdateDN("cn=a,dc=x", changes); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(WriteConversionTest, SettingAValueConvertsIt)
{
    connectIn("ISO-8859-1");
    connection.SetAttrValue("cn=a,dc=x", "sn", "v", alREMOVEALL);
    EXPECT_THAT(connection.converted, ElementsAre("v"));
    EXPECT_THAT(modified(), ElementsAre(Modification{1, "sn", {"<v>"}}));
}

TEST_F(WriteConversionTest, SettingAValueConvertsNothingInAUtf8Locale)
{
    connectIn("UTF-8");
    connection.SetAttrValue("cn=a,dc=x", "sn", "v", alADD);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(modified(), ElementsAre(Modification{0, "sn", {"v"}}));
}

TEST_F(WriteConversionTest, DeletingAnAttributeByMode33HasNothingToConvert)
{
    connectIn("ISO-8859-1");
    connection.SetAttrValue("cn=a,dc=x", "sn", "", alREMOVEALL);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(modified(), ElementsAre(Modification{1, "sn", {}}));
}

TEST_F(WriteConversionTest, SettingValuesConvertsEachOneOnceEmptyOnesToo)
{
    connectIn("ISO-8859-1");
    connection.SetAttrValues("cn=a,dc=x", "sn", values, alREPLACE);
    EXPECT_THAT(connection.converted, ElementsAre("v", "", "w"));
    EXPECT_THAT(modified(), ElementsAre(Modification{2, "sn", {"<v>", "<>", "<w>"}}));
}

TEST_F(WriteConversionTest, SettingValuesConvertsNothingInAUtf8Locale)
{
    connectIn("UTF-8");
    connection.SetAttrValues("cn=a,dc=x", "sn", values, alREPLACE);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(modified(), ElementsAre(Modification{2, "sn", {"v", "", "w"}}));
}

TEST_F(WriteConversionTest, AFailingConversionOfTheSettersIsPassedOnAsItIs)
{
    connectIn("ISO-8859-1");
    connection.refused = "w";
    EXPECT_EQ(checkError("refused"), caught([&] { connection.SetAttrValue("cn=a,dc=x", "sn", "w", alADD); }));
    EXPECT_EQ(checkError("refused"),
              caught([&] { connection.SetAttrValues("cn=a,dc=x", "sn", values, alADD); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(WriteConversionTest, BinaryValuesAreNotConverted)
{
    connectIn("ISO-8859-1");
    connection.SetAttrBinaryValue("cn=a,dc=x", "photo", "v", 1, alADD);
    EXPECT_THAT(connection.converted, IsEmpty());
    EXPECT_THAT(modified(), ElementsAre(Modification{0, "photo", {"v"}}));
}

TEST_F(WriteConversionTest, OfAUnitOnlyTheNameIsConvertedAndNotItsDnAndItsFilter)
{
    connectIn("ISO-8859-1");
    connection.EnsureOU("ou=A,dc=x");
    EXPECT_THAT(connection.converted, ElementsAre("top", "organizationalUnit", "A"));
    EXPECT_EQ("dc=x", responder.only(Operation::Search).dn);
    EXPECT_EQ("(&(objectClass=organizationalUnit)(ou=A))", responder.only(Operation::Search).search.filter);
    EXPECT_EQ("ou=A,dc=x", responder.only(Operation::Add).dn);
    EXPECT_THAT(added(), ElementsAre(Attribute{"objectClass", {"<top>", "<organizationalUnit>"}},
                                     Attribute{"ou", {"<A>"}}));
}

} // namespace

} // namespace KVR
