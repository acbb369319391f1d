#include "KVRLdapModifications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace KVR::Support
{
namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Attributes = CKVRModificationList::Attributes;
using Mode = CKVRModificationMode;

Mode replace(const std::string& /*name*/)
{
    return {LDAP_MOD_REPLACE, true, 0};
}

/** A name's first character as its mode: '!' asks for no list of values. */
Mode byFirstCharacter(const std::string& name)
{
    return name.front() == '!' ? Mode{LDAP_MOD_DELETE, false, 1} : Mode{LDAP_MOD_ADD, true, 1};
}

/** A list as text, such as "2 cn <a> <b>"; "none" stands for no list of values. */
std::vector<std::string> textOf(CKVRModificationList& list)
{
    std::vector<std::string> texts;
    for (LDAPMod** record = list.Data(); *record != nullptr; ++record)
    {
        std::string text = std::to_string((*record)->mod_op) + " " + (*record)->mod_type;
        char** value = (*record)->mod_vals.modv_strvals;
        text += value == nullptr ? " none" : "";
        for (; value != nullptr && *value != nullptr; ++value)
        {
            text += std::string(" <") + *value + ">";
        }
        texts.push_back(text);
    }
    return texts;
}

std::vector<std::string> built(const Attributes& attributes, const CKVRModificationList::ModeOf& modeOf,
                               const CKVRModificationList::Convert& convert = {})
{
    CKVRModificationList list;
    list.Build(attributes, modeOf, convert);
    return textOf(list);
}

TEST(ModificationList, OfAnEmptyMapHasNoRecord)
{
    EXPECT_THAT(built({}, replace), IsEmpty());
}

TEST(ModificationList, HasOneRecordForEachNameInTheOrderOfTheMap)
{
    EXPECT_THAT(built({{"sn", "s"}, {"cn", "b"}, {"Z", "z"}, {"cn", "a"}}, replace),
                ElementsAre("2 Z <z>", "2 cn <b> <a>", "2 sn <s>"));
}

TEST(ModificationList, CarriesTheOperationOfEachMode)
{
    EXPECT_THAT(built({{"a", "1"}, {"b", "2"}, {"c", "3"}},
                      [](const std::string& name) {
                          return Mode{name.front() - 'a', true, 0};
                      }),
                ElementsAre("0 a <1>", "1 b <2>", "2 c <3>"));
}

TEST(ModificationList, NamesThatDifferOnlyInTheirModeAreTwoRecords)
{
    EXPECT_THAT(built({{"+mail", "a"}, {"=mail", "b"}}, byFirstCharacter),
                ElementsAre("0 mail <a>", "0 mail <b>"));
}

TEST(ModificationList, AModeWithoutValuesHasNoListOfValues)
{
    EXPECT_THAT(built({{"!a", "1"}, {"!a", "2"}, {"!b", "3"}, {"+a", "4"}, {"+a", "5"}}, byFirstCharacter),
                ElementsAre("1 a none", "1 b none", "0 a <4> <5>"));
}

TEST(ModificationList, OfModesWithoutValuesOnlyIsBuiltToo)
{
    EXPECT_THAT(built({{"!a", "1"}, {"!b", "2"}}, byFirstCharacter), ElementsAre("1 a none", "1 b none"));
}

TEST(ModificationList, EmptyValuesAreKept)
{
    EXPECT_THAT(built({{"a", ""}, {"a", ""}, {"b", ""}}, replace), ElementsAre("2 a <> <>", "2 b <>"));
}

TEST(ModificationList, TypesPointIntoTheNamesOfTheMap)
{
    const Attributes attributes{{"+cn", "a"}, {"+sn", "b"}};
    CKVRModificationList list;
    list.Build(attributes, byFirstCharacter, {});
    EXPECT_EQ(attributes.begin()->first.c_str() + 1, list.Data()[0]->mod_type);
    EXPECT_EQ(std::next(attributes.begin())->first.c_str() + 1, list.Data()[1]->mod_type);
}

TEST(ModificationList, ValuesAreCopiesInOneArrayWithANullBehindEachGroup)
{
    const Attributes attributes{{"a", "1"}, {"a", "2"}, {"b", "3"}, {"c", "4"}};
    CKVRModificationList list;
    list.Build(attributes, replace, {});
    char** const first = list.Data()[0]->mod_vals.modv_strvals;
    EXPECT_STREQ("1", first[0]);
    EXPECT_NE(attributes.begin()->second.data(), first[0]);
    EXPECT_STREQ("2", first[1]);
    EXPECT_EQ(nullptr, first[2]);
    EXPECT_EQ(first + 3, list.Data()[1]->mod_vals.modv_strvals);
    EXPECT_EQ(nullptr, first[4]);
    EXPECT_EQ(first + 5, list.Data()[2]->mod_vals.modv_strvals);
    EXPECT_EQ(nullptr, first[6]);
}

TEST(ModificationList, ValuesAreWhatTheConversionGives)
{
    EXPECT_THAT(built({{"a", "1"}, {"a", "2"}, {"b", ""}}, replace,
                      [](const std::string& value) { return "<" + value + ">"; }),
                ElementsAre("2 a <<1>> <<2>>", "2 b <<>>"));
}

TEST(ModificationList, ModesAreAskedOnceForEachNameAndValuesConvertedOnceWhereTheyAreSent)
{
    std::vector<std::string> calls;
    built(
        {{"!a", "1"}, {"!a", "2"}, {"+b", "3"}, {"+b", "4"}},
        [&calls](const std::string& name)
        {
            calls.push_back(name);
            return byFirstCharacter(name);
        },
        [&calls](const std::string& value)
        {
            calls.push_back(value);
            return value;
        });
    EXPECT_THAT(calls, ElementsAre("!a", "+b", "3", "4"));
}

TEST(ModificationList, PassesOnWhatModesAndConversionThrow)
{
    CKVRModificationList list;
    const Attributes attributes{{"a", "1"}, {"b", "2"}, {"c", "3"}};
    const auto refuseB = [](const std::string& name)
    { return name == "b" ? throw std::domain_error(name) : replace(name); };
    EXPECT_THROW(list.Build(attributes, refuseB, {}), std::domain_error);
    CKVRModificationList another;
    const auto refuse2 = [](const std::string& value)
    { return value == "2" ? throw std::range_error(value) : value; };
    EXPECT_THROW(another.Build(attributes, replace, refuse2), std::range_error);
}

TEST(ModificationList, OfManyPairsKeepsEveryValue)
{
    Attributes attributes;
    for (int i = 0; i < 10000; i++)
    {
        attributes.emplace(i % 2 == 0 ? "even" : "odd", std::to_string(i));
    }
    CKVRModificationList list;
    list.Build(attributes, replace, {});
    for (int group = 0; group < 2; group++)
    {
        char** const values = list.Data()[group]->mod_vals.modv_strvals;
        for (int i = 0; i < 5000; i++)
        {
            ASSERT_EQ(std::to_string(2 * i + group), values[i]);
        }
        EXPECT_EQ(nullptr, values[5000]);
    }
    EXPECT_EQ(nullptr, list.Data()[2]);
}

} // namespace
} // namespace KVR::Support
