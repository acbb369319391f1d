#include "WriteTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char addPlace[] = "KVRLdapConnectionEntry.cpp:LINE(AddDN)";
constexpr char updatePlace[] = "KVRLdapConnectionEntry.cpp:LINE(UpdateDN)";

Caught invalidAttribute(const std::string& place, const std::string& dn = "cn=a,dc=x")
{
    return internalError("Invalid attribute of dn '" + dn + "'", place);
}

Caught buildingFailure(const std::string& place)
{
    return internalError("on building attributes", place);
}

class AddTest : public WriteTest
{
protected:
    Caught adding(AttributeMap attributes)
    {
        return caught([&] { connection.AddDN("cn=a,dc=x", attributes); });
    }

    /** The attributes of the add request. */
    Support::Attributes added(const AttributeMap& attributes)
    {
        responder.clear();
        EXPECT_EQ(Caught(), adding(attributes));
        return responder.only(Operation::Add).attributes;
    }
};

TEST_F(AddTest, OneRequestWithTheDnIsSent)
{
    ASSERT_EQ(Caught(), adding({{"cn", "a"}}));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Add));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Add).dn);
}

TEST_F(AddTest, AttributesAreSentInByteOrderOfTheirNames)
{
    EXPECT_THAT(added({{"sn", "s"}, {"cn", "a"}, {"objectClass", "top"}, {"CN", "upper"}}),
                ElementsAre(Attribute{"CN", {"upper"}}, Attribute{"cn", {"a"}},
                            Attribute{"objectClass", {"top"}}, Attribute{"sn", {"s"}}));
}

TEST_F(AddTest, PairsOfOneNameAreOneAttributeWithTheValuesInOrderOfInsertion)
{
    EXPECT_THAT(added({{"cn", "b"}, {"sn", "s"}, {"cn", "a"}, {"cn", "c"}, {"cn", "a"}}),
                ElementsAre(Attribute{"cn", {"b", "a", "c", "a"}}, Attribute{"sn", {"s"}}));
}

TEST_F(AddTest, TheListCarriesCode2Throughout)
{
    added({{"cn", "a"}, {"cn", "b"}, {"objectClass", "top"}, {"sn", "s"}});
    EXPECT_THAT(library.adds.at(0).changes,
                ElementsAre(Change{2, "cn", true}, Change{2, "objectClass", true}, Change{2, "sn", true}));
    EXPECT_FALSE(library.adds.at(0).hasControls);
}

TEST_F(AddTest, ModeCharactersBelongToTheName)
{
    EXPECT_THAT(added({{"+cn", "a"}, {"!sn", "s"}}),
                ElementsAre(Attribute{"!sn", {"s"}}, Attribute{"+cn", {"a"}}));
}

TEST_F(AddTest, AnEmptyMapIsSentAsAnEmptyRequest)
{
    EXPECT_THAT(added({}), IsEmpty());
}

TEST_F(AddTest, TheCallersMapIsNotChanged)
{
    AttributeMap attributes{{"cn", "b"}, {"cn", "a"}};
    const AttributeMap before = attributes;
    connection.AddDN("cn=a,dc=x", attributes);
    EXPECT_EQ(before, attributes);
}

TEST_F(AddTest, AnEmptyValueIsRefusedBeforeAnythingIsSent)
{
    EXPECT_EQ(invalidAttribute(addPlace), adding({{"cn", "a"}, {"description", ""}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AddTest, AnEmptyNameIsRefusedBeforeAnythingIsSent)
{
    EXPECT_EQ(invalidAttribute(addPlace), adding({{"", "a"}, {"cn", "a"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AddTest, APercentSignInTheDnIsNoFormat)
{
    AttributeMap attributes{{"", "a"}};
    EXPECT_EQ(invalidAttribute(addPlace, "cn=%s%n"),
              caught([&] { connection.AddDN("cn=%s%n", attributes); }));
}

TEST_F(AddTest, TheSessionIsLookedAtBeforeTheMap)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), adding({{"", ""}}));
}

TEST_F(AddTest, TheWholeMapIsLookedAtBeforeAValueIsConverted)
{
    connectIn("ASCII");
    EXPECT_EQ(invalidAttribute(addPlace), adding({{"cn", "\xe4"}, {"sn", ""}}));
}

TEST_F(AddTest, ValuesAreConvertedAndNamesAndDnAreNot)
{
    connectIn("ISO-8859-1");
    AttributeMap attributes{{"cn\xe4", "\xe4"}, {"cn\xe4", "b"}};
    connection.AddDN("cn=\xe4,dc=x", attributes);
    const LdapRequest request = responder.only(Operation::Add);
    EXPECT_EQ("cn=\xe4,dc=x", request.dn);
    EXPECT_THAT(request.attributes, ElementsAre(Attribute{"cn\xe4", {"\xc3\xa4", "b"}}));
}

TEST_F(AddTest, WithoutAConversionValuesAreSentAsTheyAre)
{
    EXPECT_THAT(added({{"cn", "\xe4\xff"}}), ElementsAre(Attribute{"cn", {"\xe4\xff"}}));
}

TEST_F(AddTest, AValueThatCannotBeConvertedIsToldAsABuildingFailureAndSendsNothing)
{
    connectIn("ASCII");
    EXPECT_EQ(buildingFailure(addPlace), adding({{"cn", "a"}, {"sn", "\xe4"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(AddTest, AnUnknownCharacterSetIsToldAsABuildingFailure)
{
    connectIn("NO-SUCH-CODESET");
    EXPECT_EQ(buildingFailure(addPlace), adding({{"cn", "a"}}));
}

TEST_F(AddTest, AThousandValuesArriveInOrder)
{
    AttributeMap attributes;
    std::vector<std::string> values;
    for (int i = 0; i < 1000; i++)
    {
        values.push_back("value " + std::to_string(i));
        attributes.emplace("cn", values.back());
    }
    EXPECT_THAT(added(attributes), ElementsAre(Attribute{"cn", values}));
}

TEST_F(AddTest, AThousandAttributesArriveWithTheirOwnValues)
{
    AttributeMap attributes;
    for (int i = 1000; i < 2000; i++)
    {
        attributes.emplace("a" + std::to_string(i), "value " + std::to_string(i));
    }
    const Support::Attributes sent = added(attributes);
    ASSERT_EQ(1000U, sent.size());
    for (int i = 1000; i < 2000; i++)
    {
        EXPECT_EQ((Attribute{"a" + std::to_string(i), {"value " + std::to_string(i)}}),
                  sent[static_cast<std::size_t>(i - 1000)]);
    }
}

class UpdateTest : public WriteTest
{
protected:
    Caught updating(AttributeMap attributes)
    {
        return caught([&] { connection.UpdateDN("cn=a,dc=x", attributes); });
    }

    std::vector<Modification> updated(const AttributeMap& attributes)
    {
        responder.clear();
        EXPECT_EQ(Caught(), updating(attributes));
        return sentModifications();
    }
};

TEST_F(UpdateTest, OneRequestWithTheDnIsSent)
{
    ASSERT_EQ(Caught(), updating({{"+cn", "a"}}));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Modify));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Modify).dn);
}

TEST_F(UpdateTest, APlusAddsTheValues)
{
    EXPECT_THAT(updated({{"+mail", "b"}, {"+mail", "a"}}), ElementsAre(Modification{0, "mail", {"b", "a"}}));
}

TEST_F(UpdateTest, AMinusDeletesTheValues)
{
    EXPECT_THAT(updated({{"-mail", "b"}, {"-mail", "a"}}), ElementsAre(Modification{1, "mail", {"b", "a"}}));
}

TEST_F(UpdateTest, AnEqualsSignReplacesByTheValues)
{
    EXPECT_THAT(updated({{"=mail", "b"}, {"=mail", "a"}}), ElementsAre(Modification{2, "mail", {"b", "a"}}));
}

TEST_F(UpdateTest, AnExclamationMarkDeletesTheAttributeAndIgnoresTheValue)
{
    EXPECT_THAT(updated({{"!mail", "a"}}), ElementsAre(Modification{1, "mail", {}}));
}

TEST_F(UpdateTest, TwoExclamationMarkPairsSendOneDeleteWithoutValues)
{
    EXPECT_THAT(updated({{"!mail", "a"}, {"!mail", "b"}}), ElementsAre(Modification{1, "mail", {}}));
}

TEST_F(UpdateTest, OnlyAnExclamationMarkGivesTheLibraryNoListOfValues)
{
    updated({{"!a", "1"}, {"+b", "2"}, {"-c", "3"}, {"=d", "4"}});
    EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{1, "a", false}, Change{0, "b", true},
                                                            Change{1, "c", true}, Change{2, "d", true}));
    EXPECT_FALSE(library.modifies.at(0).hasControls);
}

TEST_F(UpdateTest, DeleteOfTheAttributeIsSentBeforeTheAddOfNewValues)
{
    EXPECT_THAT(updated({{"+mail", "new"}, {"!mail", ""}}),
                ElementsAre(Modification{1, "mail", {}}, Modification{0, "mail", {"new"}}));
}

TEST_F(UpdateTest, AddAndReplaceOfOneAttributeAreTwoModificationsAddFirst)
{
    EXPECT_THAT(updated({{"=mail", "r"}, {"+mail", "a"}}),
                ElementsAre(Modification{0, "mail", {"a"}}, Modification{2, "mail", {"r"}}));
}

TEST_F(UpdateTest, GroupsAreSentByModeThenByAttributeInByteOrder)
{
    EXPECT_THAT(updated({{"=a", "1"},
                         {"-b", "2"},
                         {"-B", "3"},
                         {"+d", "4"},
                         {"+c", "5"},
                         {"+d", "6"},
                         {"!f", "7"},
                         {"!e", "8"}}),
                ElementsAre(Modification{1, "e", {}}, Modification{1, "f", {}}, Modification{0, "c", {"5"}},
                            Modification{0, "d", {"4", "6"}}, Modification{1, "B", {"3"}},
                            Modification{1, "b", {"2"}}, Modification{2, "a", {"1"}}));
}

TEST_F(UpdateTest, OnlyTheFirstCharacterIsTakenOffTheName)
{
    EXPECT_THAT(updated({{"++mail", "a"}, {"=-x", "b"}}),
                ElementsAre(Modification{0, "+mail", {"a"}}, Modification{2, "-x", {"b"}}));
}

TEST_F(UpdateTest, ANameThatIsOnlyAModeIsLeftToTheServer)
{
    EXPECT_THAT(updated({{"+", "a"}}), ElementsAre(Modification{0, "", {"a"}}));
}

TEST_F(UpdateTest, AnEmptyMapIsSentAsAnEmptyRequest)
{
    EXPECT_THAT(updated({}), IsEmpty());
}

TEST_F(UpdateTest, AnEmptyValueIsSentAsOneEmptyValue)
{
    EXPECT_THAT(updated({{"=description", ""}}), ElementsAre(Modification{2, "description", {""}}));
    EXPECT_THAT(updated({{"+description", ""}, {"-sn", ""}}),
                ElementsAre(Modification{0, "description", {""}}, Modification{1, "sn", {""}}));
}

TEST_F(UpdateTest, AnEmptyNameIsRefusedBeforeAnythingIsSent)
{
    EXPECT_EQ(invalidAttribute(updatePlace), updating({{"", "a"}, {"+cn", "a"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateTest, AnEmptyNameIsToldBeforeAnInvalidMode)
{
    EXPECT_EQ(invalidAttribute(updatePlace), updating({{"", "a"}, {"mail", "a"}}));
}

TEST_F(UpdateTest, TheSessionIsLookedAtBeforeTheMap)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), updating({{"", "a"}}));
    EXPECT_EQ(notConnected(), updating({{"*mail", "a"}}));
}

TEST_F(UpdateTest, ANameWithoutAModeIsABuildingFailureAndSendsNothing)
{
    EXPECT_EQ(buildingFailure(updatePlace), updating({{"mail", "a"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateTest, AnInvalidModeIsABuildingFailureAndSendsNothing)
{
    EXPECT_EQ(buildingFailure(updatePlace), updating({{"*mail", "a"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateTest, EveryOtherFirstCharacterIsInvalid)
{
    for (int character = 0; character <= 255; character++)
    {
        const std::string name = std::string(1, static_cast<char>(character)) + "mail";
        const bool isMode = std::string("+-=!").find(name[0]) != std::string::npos;
        EXPECT_EQ(isMode ? Caught() : buildingFailure(updatePlace), updating({{name, "a"}})) << character;
    }
    EXPECT_EQ(4U, responder.requests().size());
}

TEST_F(UpdateTest, AnInvalidModeBehindValidOnesSendsNothing)
{
    EXPECT_EQ(buildingFailure(updatePlace), updating({{"!a", ""}, {"+b", "1"}, {"=c", "2"}, {"mail", "3"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateTest, ValuesAreConvertedAndNamesAndDnAreNot)
{
    connectIn("ISO-8859-1");
    AttributeMap attributes{{"+c\xe4", "\xe4"}, {"-c\xe4", "\xf6"}, {"=c\xe4", "\xfc"}};
    connection.UpdateDN("cn=\xe4,dc=x", attributes);
    EXPECT_EQ("cn=\xe4,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(),
                ElementsAre(Modification{0, "c\xe4", {"\xc3\xa4"}}, Modification{1, "c\xe4", {"\xc3\xb6"}},
                            Modification{2, "c\xe4", {"\xc3\xbc"}}));
}

TEST_F(UpdateTest, AnEmptyValueIsSentEmptyWithAConversionToo)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(updated({{"=description", ""}}), ElementsAre(Modification{2, "description", {""}}));
}

TEST_F(UpdateTest, WithoutAConversionValuesAreSentAsTheyAre)
{
    EXPECT_THAT(updated({{"=cn", "\xe4\xff"}}), ElementsAre(Modification{2, "cn", {"\xe4\xff"}}));
}

TEST_F(UpdateTest, AValueThatCannotBeConvertedIsToldAsABuildingFailureAndSendsNothing)
{
    connectIn("ASCII");
    EXPECT_EQ(buildingFailure(updatePlace), updating({{"!a", ""}, {"+cn", "a"}, {"=sn", "\xe4"}}));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(UpdateTest, ValuesOfExclamationMarksAreNeverConverted)
{
    connectIn("ASCII");
    EXPECT_THAT(updated({{"!mail", "\xe4"}, {"!mail", "\xff"}, {"+mail", "a"}}),
                ElementsAre(Modification{1, "mail", {}}, Modification{0, "mail", {"a"}}));
}

TEST_F(UpdateTest, WithExclamationMarksOnlyTheConversionIsNotEvenOpened)
{
    connectIn("NO-SUCH-CODESET");
    EXPECT_THAT(updated({{"!mail", "a"}}), ElementsAre(Modification{1, "mail", {}}));
}

TEST_F(UpdateTest, TheCallersMapIsNotChanged)
{
    AttributeMap attributes{{"+cn", "b"}, {"!cn", "a"}};
    const AttributeMap before = attributes;
    connection.UpdateDN("cn=a,dc=x", attributes);
    EXPECT_EQ(before, attributes);
}

class RenameTest : public WriteTest
{
};

TEST_F(RenameTest, TheEntryStaysUnderItsParentAndTheOldRdnIsDeleted)
{
    connection.RenameDN("cn=a,ou=x,dc=y", "cn=b");
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::ModifyDn));
    const LdapRequest request = responder.only(Operation::ModifyDn);
    EXPECT_EQ("cn=a,ou=x,dc=y", request.dn);
    EXPECT_EQ("cn=b", request.modifyDn.newRdn);
    EXPECT_TRUE(request.modifyDn.deleteOldRdn);
    EXPECT_EQ(std::nullopt, request.modifyDn.newSuperior);
    EXPECT_FALSE(request.hasControls);
}

TEST_F(RenameTest, NothingIsConverted)
{
    connectIn("ISO-8859-1");
    connection.RenameDN("cn=\xe4,dc=y", "cn=\xf6");
    const LdapRequest request = responder.only(Operation::ModifyDn);
    EXPECT_EQ("cn=\xe4,dc=y", request.dn);
    EXPECT_EQ("cn=\xf6", request.modifyDn.newRdn);
}

TEST_F(RenameTest, ArgumentsAreNotChecked)
{
    connection.RenameDN("", "");
    const LdapRequest request = responder.only(Operation::ModifyDn);
    EXPECT_EQ("", request.dn);
    EXPECT_EQ("", request.modifyDn.newRdn);
}

} // namespace

} // namespace KVR
