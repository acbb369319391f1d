#include "WriteTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** What each mode sends; anything that is not 33, 43 or 45 replaces. */
const std::pair<int, int> modes[] = {
    {43, LDAP_MOD_ADD},     {45, LDAP_MOD_DELETE},   {33, LDAP_MOD_DELETE},  {61, LDAP_MOD_REPLACE},
    {0, LDAP_MOD_REPLACE},  {100, LDAP_MOD_REPLACE}, {1, LDAP_MOD_REPLACE},  {2, LDAP_MOD_REPLACE},
    {44, LDAP_MOD_REPLACE}, {-33, LDAP_MOD_REPLACE}, {-1, LDAP_MOD_REPLACE}, {289, LDAP_MOD_REPLACE}};

alOPERATION mode(int number)
{
    return static_cast<alOPERATION>(number);
}

Caught emptyArgument(const std::string& operation)
{
    return checkError("Argument is empty for '" + operation + "'.");
}

class SetAttrValueTest : public WriteTest
{
protected:
    std::vector<Modification> set(const std::string& value, int operation)
    {
        responder.clear();
        library.modifies.clear();
        connection.SetAttrValue("cn=a,dc=x", "mail", value, mode(operation));
        return sentModifications();
    }

    Caught setting(const std::string& value, int operation)
    {
        return caught([&] { connection.SetAttrValue("cn=a,dc=x", "mail", value, mode(operation)); });
    }
};

TEST_F(SetAttrValueTest, OneRequestWithDnAttributeAndValueIsSent)
{
    EXPECT_THAT(set("v", alADD), ElementsAre(Modification{0, "mail", {"v"}}));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Modify));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_FALSE(library.modifies.at(0).hasControls);
}

TEST_F(SetAttrValueTest, ModesThatAreNot33Or43Or45Replace)
{
    for (const auto& [number, code] : modes)
    {
        EXPECT_THAT(set("v", number), ElementsAre(Modification{code, "mail", {"v"}})) << number;
        EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{code, "mail", true})) << number;
    }
}

TEST_F(SetAttrValueTest, Mode33WithoutAValueDeletesTheAttribute)
{
    EXPECT_THAT(set("", 33), ElementsAre(Modification{1, "mail", {}}));
    EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{1, "mail", true})) << "an empty list";
}

TEST_F(SetAttrValueTest, Mode33WithAValueDeletesThatValue)
{
    EXPECT_THAT(set("v", 33), ElementsAre(Modification{1, "mail", {"v"}}));
}

TEST_F(SetAttrValueTest, AnyOtherModeWithoutAValueFailsAndSendsNothing)
{
    for (const int number : {43, 45, 61, 0, 100})
    {
        EXPECT_EQ(emptyArgument("SetAttrValue"), setting("", number)) << number;
    }
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SetAttrValueTest, AnEmptyValueIsToldBeforeTheConnectionIsLookedAt)
{
    connection.Disconnect();
    EXPECT_EQ(emptyArgument("SetAttrValue"), setting("", 45));
    EXPECT_EQ(notConnected(), setting("", 33));
    EXPECT_EQ(notConnected(), setting("v", 45));
}

TEST_F(SetAttrValueTest, DnAndAttributeMayBeEmpty)
{
    connection.SetAttrValue("", "", "v", alADD);
    EXPECT_EQ("", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{0, "", {"v"}}));
}

TEST_F(SetAttrValueTest, OnlyTheValueIsConverted)
{
    connectIn("ISO-8859-1");
    connection.SetAttrValue("cn=\xe4,dc=x", "m\xe4", "\xe4", alREPLACE);
    EXPECT_EQ("cn=\xe4,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{2, "m\xe4", {"\xc3\xa4"}}));
}

TEST_F(SetAttrValueTest, WithoutAConversionTheValueIsSentAsItIs)
{
    EXPECT_THAT(set("\xe4\xff", alREPLACE), ElementsAre(Modification{2, "mail", {"\xe4\xff"}}));
}

TEST_F(SetAttrValueTest, ARefusalTellsTheValueAsItWasBeforeTheConversion)
{
    connectIn("ISO-8859-1");
    responder.onModify(Answer().result(20, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on modifying attribute 'mail' of dn 'cn=a,dc=x' to value '\xe4' "
                          "- Type or value exists",
                          "KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)", "words"),
              setting("\xe4", alADD));
}

TEST_F(SetAttrValueTest, ARefusedDeletionOfTheAttributeTellsAnEmptyValue)
{
    responder.onModify(Answer().result(16));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on modifying attribute 'mail' of dn 'cn=a,dc=x' to value '' "
                          "- No such attribute",
                          "KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)"),
              setting("", alREMOVEALL));
}

TEST_F(SetAttrValueTest, AFailedConversionKeepsItsOwnErrorAndSendsNothing)
{
    connectIn("ASCII");
    EXPECT_EQ(conversionFailure(), setting("\xe4", alADD));
    EXPECT_EQ(conversionFailure(), setting("\xe4", alREMOVEALL));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SetAttrValueTest, AnUnknownCharacterSetKeepsItsOwnError)
{
    connectIn("NO-SUCH-CODESET");
    EXPECT_EQ(plainError("Iconv initialization failed for conversion from 'UTF-8' to 'NO-SUCH-CODESET'."),
              setting("v", alADD));
    EXPECT_EQ(Caught(), setting("", alREMOVEALL)) << "there is nothing to convert";
}

class SetAttrValuesTest : public WriteTest
{
protected:
    std::vector<Modification> set(std::list<std::string> values, int operation)
    {
        responder.clear();
        library.modifies.clear();
        connection.SetAttrValues("cn=a,dc=x", "mail", values, mode(operation));
        return sentModifications();
    }

    Caught setting(std::list<std::string> values, int operation)
    {
        return caught([&] { connection.SetAttrValues("cn=a,dc=x", "mail", values, mode(operation)); });
    }
};

TEST_F(SetAttrValuesTest, OneRequestWithTheValuesInTheOrderOfTheListIsSent)
{
    EXPECT_THAT(set({"c", "a", "b", "a"}, alADD), ElementsAre(Modification{0, "mail", {"c", "a", "b", "a"}}));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Modify));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_FALSE(library.modifies.at(0).hasControls);
}

TEST_F(SetAttrValuesTest, ModesThatAreNot33Or43Or45Replace)
{
    for (const auto& [number, code] : modes)
    {
        EXPECT_THAT(set({"v", "w"}, number), ElementsAre(Modification{code, "mail", {"v", "w"}})) << number;
        EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{code, "mail", true})) << number;
    }
}

TEST_F(SetAttrValuesTest, Mode33WithoutValuesDeletesTheAttribute)
{
    EXPECT_THAT(set({}, 33), ElementsAre(Modification{1, "mail", {}}));
    EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{1, "mail", true})) << "an empty list";
}

TEST_F(SetAttrValuesTest, EmptyTextsInTheListAreSentAsEmptyValues)
{
    EXPECT_THAT(set({""}, alREPLACE), ElementsAre(Modification{2, "mail", {""}}));
    EXPECT_THAT(set({"a", "", "b"}, alREMOVE), ElementsAre(Modification{1, "mail", {"a", "", "b"}}));
    EXPECT_THAT(set({""}, alREMOVEALL), ElementsAre(Modification{1, "mail", {""}}));
}

TEST_F(SetAttrValuesTest, AnyOtherModeWithAnEmptyListFailsAndSendsNothing)
{
    for (const int number : {43, 45, 61, 0, 100})
    {
        EXPECT_EQ(emptyArgument("SetAttrValues"), setting({}, number)) << number;
    }
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SetAttrValuesTest, AnEmptyListIsToldBeforeTheConnectionIsLookedAt)
{
    connection.Disconnect();
    EXPECT_EQ(emptyArgument("SetAttrValues"), setting({}, 43));
    EXPECT_EQ(notConnected(), setting({}, 33));
    EXPECT_EQ(notConnected(), setting({""}, 43));
}

TEST_F(SetAttrValuesTest, TheCallersListIsNotChanged)
{
    connectIn("ISO-8859-1");
    std::list<std::string> values{"\xe4", "b"};
    connection.SetAttrValues("cn=a,dc=x", "mail", values, alADD);
    EXPECT_THAT(values, ElementsAre("\xe4", "b"));
}

TEST_F(SetAttrValuesTest, OnlyTheValuesAreConverted)
{
    connectIn("ISO-8859-1");
    std::list<std::string> values{"\xe4", "", "b", "\xf6"};
    connection.SetAttrValues("cn=\xe4,dc=x", "m\xe4", values, alADD);
    EXPECT_EQ("cn=\xe4,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(),
                ElementsAre(Modification{0, "m\xe4", {"\xc3\xa4", "", "b", "\xc3\xb6"}}));
}

TEST_F(SetAttrValuesTest, AFailedConversionKeepsItsOwnErrorAndSendsNothing)
{
    connectIn("ASCII");
    EXPECT_EQ(conversionFailure(), setting({"a", "\xe4", "b"}, alADD));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SetAttrValuesTest, AnUnknownCharacterSetKeepsItsOwnErrorAndSendsNothing)
{
    connectIn("NO-SUCH-CODESET");
    EXPECT_EQ(plainError("Iconv initialization failed for conversion from 'UTF-8' to 'NO-SUCH-CODESET'."),
              setting({"", "v"}, alADD));
    EXPECT_THAT(responder.requests(), IsEmpty());
    EXPECT_EQ(Caught(), setting({}, alREMOVEALL)) << "there is nothing to convert";
}

TEST_F(SetAttrValuesTest, AThousandShortAndLongValuesArriveInOrder)
{
    std::list<std::string> values;
    for (std::size_t i = 0; i < 1000; i++)
    {
        values.emplace_back(i % 50, static_cast<char>('a' + i % 26));
    }
    EXPECT_THAT(set(values, alREPLACE), ElementsAre(Modification{2, "mail", {values.begin(), values.end()}}));
}

class DeleteAttrTest : public WriteTest
{
};

TEST_F(DeleteAttrTest, OneDeleteWithoutAListOfValuesIsSent)
{
    connection.DeleteAttr("cn=a,dc=x", "mail");
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Modify));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{1, "mail", {}}));
    EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{1, "mail", false}));
    EXPECT_FALSE(library.modifies.at(0).hasControls);
}

TEST_F(DeleteAttrTest, ArgumentsAreNotChecked)
{
    connection.DeleteAttr("", "");
    EXPECT_EQ("", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{1, "", {}}));
    connection.Disconnect();
    EXPECT_EQ(notConnected(), caught([&] { connection.DeleteAttr("", ""); }));
}

TEST_F(DeleteAttrTest, AnAttributeThatTheEntryLacksIsTheServersRefusal)
{
    responder.onModify(Answer().result(16, "modify/delete: mail"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on deleting attribute 'mail' of dn 'cn=a,dc=x' - No such attribute",
                          "KVRLdapConnectionAttribute.cpp:LINE(DeleteAttr)", "modify/delete: mail"),
              caught([&] { connection.DeleteAttr("cn=a,dc=x", "mail"); }));
}

TEST_F(DeleteAttrTest, NothingIsConverted)
{
    connectIn("ISO-8859-1");
    connection.DeleteAttr("cn=\xe4", "m\xe4");
    EXPECT_EQ("cn=\xe4", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{1, "m\xe4", {}}));
}

} // namespace

} // namespace KVR
