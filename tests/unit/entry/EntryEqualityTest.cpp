// Whatever a server may send in good order reads the same in one pass, in place, as it does by name:
// DN, names, values and their order, calls, errors and the kept code, also when it is read once more.

#include "EntryBytes.h"
#include "EntryGenerator.h"
#include "EntryReadings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace KVR::Support
{
namespace
{

using namespace std::string_literals;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

EntryAnswer answerWith(const Attributes& attributes, int code = 0)
{
    return {{entryContent("cn=a,dc=x", attributes)}, code, ""};
}

/** Reads the answer in all ways, each with bytes of its own. @return how the module does it */
Reading readAlike(const EntryAnswer& answer, const Conversion& conversion = {})
{
    const Reading reading = readAnswer(answer, Road::AsItIs, conversion);
    for (const Road road : {Road::ByName, Road::Reference})
    {
        const Reading other = readAnswer(answer, road, conversion);
        EXPECT_EQ(other.readInPlace, 0);
        EXPECT_EQ(reading.events, other.events);
        EXPECT_EQ(reading.quiet, other.quiet);
        EXPECT_EQ(reading.keptCode, other.keptCode);
    }
    return reading;
}

/** Entries by chance. @return how many of them were read in place */
int readGenerated(bool odd, std::uint32_t seed, int answers, const Conversion& fixed = {})
{
    int inPlace = 0;
    EntryGenerator generator(seed);
    for (int number = 0; number < answers && !testing::Test::HasFailure(); ++number)
    {
        SCOPED_TRACE("answer " + std::to_string(number));
        inPlace += readAlike(generator.answer(odd), fixed).readInPlace;
    }
    return inPlace;
}

TEST(EntryEquality, PlainEntriesByChanceReadTheSameAndInPlace)
{
    constexpr int answers = 800;
    EXPECT_GE(readGenerated(false, 1, answers), answers) << "one entry at least in each answer";
}

TEST(EntryEquality, OddEntriesByChanceReadTheSame)
{
    constexpr int answers = 800;
    const int inPlace = readGenerated(true, 2, answers);
    EXPECT_GT(inPlace, answers / 20);
    EXPECT_LT(inPlace, answers);
}

TEST(EntryEquality, EntriesReadTheSameWhileValuesAreConverted)
{
    for (const char* codeset : {"ISO-8859-1", "ISO-2022-JP", "UTF-16", "UTF-7", "no such set"})
    {
        SCOPED_TRACE(codeset);
        readGenerated(false, 3, 80, {codeset});
        readGenerated(true, 4, 80, {codeset});
    }
}

TEST(EntryEquality, EntriesReadTheSameWhenAConversionThrowsInTheMiddle)
{
    for (int number = 1; number <= 12; ++number)
    {
        SCOPED_TRACE(number);
        readGenerated(false, 5, 20, {"UTF-8", number});
        readGenerated(true, 6, 20, {"UTF-8", number});
    }
}

TEST(EntryEquality, EntriesReadTheSameWhileEachConversionReadsOthers)
{
    EXPECT_GT(readGenerated(false, 7, 40, {"UTF-8", 0, true}), 0);
    readGenerated(true, 8, 40, {"UTF-8", 0, true});
    readGenerated(false, 9, 40, {"ISO-8859-1", 7, true});
}

TEST(EntryEquality, AThousandAttributesWithTenThousandValuesAreReadInPlace)
{
    Attributes attributes;
    for (int name = 0; name < 1000; ++name)
    {
        attributes.push_back({"name" + std::to_string(name * 7919 % 1000), {}});
        for (int value = 0; value < 10; ++value)
        {
            attributes.back().values.push_back("value " + std::to_string(value * 7 % 10));
        }
    }
    const Reading reading = readAlike(answerWith(attributes));
    EXPECT_EQ(reading.readInPlace, 1);
    EXPECT_TRUE(reading.quiet);
    EXPECT_THAT(reading.events, Contains("  name0 = value 7"));

    attributes.push_back({"NAME999", {"again"}});
    EXPECT_EQ(readAlike(answerWith(attributes)).readInPlace, 0);
}

TEST(EntryEquality, TenThousandValuesOfOneAttributeKeepTheirOrderInPlace)
{
    Attribute attribute{"member", {}};
    std::vector<std::string> lines;
    for (int value = 0; value < 10000; ++value)
    {
        attribute.values.push_back(std::to_string(value * 7919 % 10000));
        lines.push_back("  member = " + attribute.values.back());
    }
    const Reading reading = readAlike(answerWith({{"cn", {"z"}}, attribute, {"sn", {"a"}}}));
    EXPECT_EQ(reading.readInPlace, 1);
    const auto& events = reading.events;
    const auto first = std::find(events.begin(), events.end(), lines.front());
    ASSERT_GE(events.end() - first, 10000);
    EXPECT_EQ(std::vector<std::string>(first, first + 10000), lines);
}

TEST(EntryEquality, LongValuesAreReadInPlace)
{
    const std::string longValue(512UL * 1024, 'x');
    EXPECT_EQ(readAlike(answerWith({{"jpegPhoto", {longValue, "a", longValue + "\0more"s}}})).readInPlace, 1);
    EXPECT_EQ(readAlike(answerWith({{"jpegPhoto", {longValue, "a"}}}), {"ISO-8859-1"}).readInPlace, 1);
}

TEST(EntryEquality, OptionsBetweenTheirAttributeKeepTheServersOrder)
{
    EXPECT_EQ(readAlike(answerWith({{"cn;lang-de", {"1", "0"}},
                                    {"cn", {"c", "a", "b", "a"}},
                                    {"CN;lang-en", {"y", "x"}},
                                    {"cn;lang-de;x", {"2"}},
                                    {"ab", {"3"}}}))
                  .readInPlace,
              1);
}

TEST(EntryEquality, TheEntityIsClearedAndFilledOnceInPlace)
{
    const Reading reading = readAlike(answerWith({{"cn", {"b", "a"}}, {"sn", {"c"}}}));
    const std::vector<std::string> firstEntry = {"Clear of \"cn=former\" with 1",
                                                 "Utf8ToLocal \"b\" into \"cn=a,dc=x\" with 0",
                                                 "Utf8ToLocal \"a\" into \"cn=a,dc=x\" with 1",
                                                 "Utf8ToLocal \"c\" into \"cn=a,dc=x\" with 2",
                                                 "entry \"cn=a,dc=x\", code 0",
                                                 "  cn = b",
                                                 "  cn = a",
                                                 "  sn = c"};
    const auto clear = std::find(reading.events.begin(), reading.events.end(), firstEntry.front());
    ASSERT_GE(reading.events.end() - clear, static_cast<long>(firstEntry.size()));
    EXPECT_EQ(std::vector<std::string>(clear, clear + static_cast<long>(firstEntry.size())), firstEntry);
}

TEST(EntryEquality, IconvIsToldFourBytesAByteAndIsNeverReset)
{
    const Reading reading = readAlike(
        answerWith({{"cn", {std::string(50000, 'x'), std::string(5000, 'x'), "ab"}}, {"sn", {"abc"}}}),
        {"ISO-8859-1"});
    EXPECT_THAT(reading.events, Contains("iconv of 50000 into 200000"));
    EXPECT_THAT(reading.events, Contains("iconv of 2 into 8"));
    EXPECT_THAT(reading.events, Contains("iconv of 3 into 12"));
    EXPECT_THAT(reading.events, Not(Contains(HasSubstr("without input"))));
}

TEST(EntryEquality, AValueThatCannotBeConvertedLeavesTheEntityAsFarAsItWas)
{
    const Reading reading =
        readAlike(answerWith({{"cn", {"a", "\xd0\x96", "b"}}, {"sn", {"c"}}}), {"ISO-8859-1"});
    EXPECT_EQ(reading.readInPlace, 1);
    EXPECT_FALSE(reading.quiet);
    EXPECT_THAT(reading.events, Contains(HasSubstr("iconv conversion failed.")));
    EXPECT_THAT(reading.events, Contains("  cn = a"));
    EXPECT_THAT(reading.events, Not(Contains("  cn = b")));
    EXPECT_THAT(reading.events, Not(Contains("  sn = c")));
}

/** What is not plain, and why. */
struct NotPlain
{
    const char* what;
    std::string dn;
    Attributes attributes;
};

class NotPlainEntry : public testing::TestWithParam<NotPlain>
{
};

TEST_P(NotPlainEntry, IsReadByNameWithTheSameResult)
{
    for (const int code : {0, 4})
    {
        const EntryAnswer answer{
            {entryContent(GetParam().dn, GetParam().attributes), entryContent("cn=b,dc=x", {{"cn", {"b"}}})},
            code,
            ""};
        EXPECT_EQ(readAlike(answer).readInPlace, 1) << "the second one";
    }
}

const NotPlain notPlain[] = {
    {"ARepeatedName", "cn=a", {{"cn", {"a"}}, {"sn", {"b"}}, {"cn", {"c"}}}},
    {"ARepeatedNameInOtherCase", "cn=a", {{"cn", {"a"}}, {"sn", {"b"}}, {"Cn", {"c"}}}},
    {"ARepeatedOptionInOtherCase", "cn=a", {{"cn;lang-de", {"a"}}, {"cn", {"b"}}, {"cn;LANG-DE", {"c"}}}},
    {"ANameRepeatedAtOnce", "cn=a", {{"z", {"a"}}, {"Z", {"b"}}}},
    {"AnAttributeWithoutValues", "cn=a", {{"cn", {"a"}}, {"sn", {}}, {"ou", {"b"}}}},
    {"AFirstAttributeWithoutValues", "cn=a", {{"sn", {}}, {"ou", {"b"}}}},
    {"ALastAttributeWithoutValues", "cn=a", {{"cn", {"a"}}, {"sn", {}}}},
    {"AZeroByteInTheDn", "cn=a\0,dc=x"s, {{"cn", {"a"}}}},
    {"AZeroByteAtTheDnsEnd", "cn=a\0"s, {{"cn", {"a"}}}},
    {"AZeroByteInAName", "cn=a", {{"cn", {"a"}}, {"s\0n"s, {"b"}}, {"ou", {"c"}}}},
    {"AZeroByteAtANamesEnd", "cn=a", {{"cn\0"s, {"a"}}}},
    {"ANameThatIsAZeroByte", "cn=a", {{"\0"s, {"a"}}}},
    {"AnEmptyName", "cn=a", {{"cn", {"a"}}, {"", {"b"}}}},
    {"AHighByteInAName", "cn=a", {{"n\xc3\xa4", {"a"}}}},
};

INSTANTIATE_TEST_SUITE_P(Entries, NotPlainEntry, testing::ValuesIn(notPlain),
                         [](const auto& described) { return std::string(described.param.what); });

/** Names that a careless comparison takes for the same. */
TEST(EntryEquality, NamesThatOnlyLookAlikeAreReadInPlace)
{
    EXPECT_EQ(readAlike(answerWith({{"@", {"1"}},
                                    {"`", {"2"}},
                                    {"a[", {"3"}},
                                    {"A{", {"4"}},
                                    {"cn", {"5"}},
                                    {"cn ", {"6"}},
                                    {"c", {"7"}},
                                    {"\x01", {"8"}},
                                    {"!", {"9"}}}))
                  .readInPlace,
              1);
}

TEST(EntryEquality, AnEntryWithoutAttributesOrWithAnEmptyDnIsReadInPlace)
{
    EXPECT_EQ(readAlike(answerWith({})).readInPlace, 1);
    EXPECT_EQ(readAlike({{entryContent("", {{"cn", {"a"}}}), entryContent("", {})}, 0, ""}).readInPlace, 2);
}

TEST(EntryEquality, ValuesEndAtTheirFirstZeroByteInPlace)
{
    const Reading reading = readAlike(answerWith({{"cn", {"ab\0cd"s, "\0x"s, "", "after"}}}));
    EXPECT_EQ(reading.readInPlace, 1);
    EXPECT_THAT(reading.events, Contains("  cn = ab"));
}

TEST(EntryEquality, AnEmptyResultIsTheSame)
{
    EXPECT_TRUE(readAlike({}).quiet);
    EXPECT_THAT(readAlike({{}, 4, ""}).events, Contains(HasSubstr("logged 1")));
}

} // namespace
} // namespace KVR::Support
