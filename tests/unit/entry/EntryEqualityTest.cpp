// Whatever a server may send in good order reads the same in one pass as it does by name: DN, names, values
// and their order, calls, errors and the kept code, also when it is read once more.

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

constexpr std::uint32_t settings = 3 * 4 * entityUses * 8;

class EntryEquality : public testing::Test
{
protected:
    /** Reads the answer in all ways. @return how the module does it */
    Reading readAlike(const EntryAnswer& answer, const Setting& setting = {})
    {
        Reading reading = reader.read(answer, Road::AsItIs, setting);
        for (const Road road : {Road::ByName, Road::Reference})
        {
            const Reading other = reader.read(answer, road, setting);
            if (!(reading.events == other.events))
            {
                EXPECT_EQ(reading.events.lines(), other.events.lines());
            }
            EXPECT_EQ(reading.quiet, other.quiet);
            EXPECT_EQ(reading.keptCode, other.keptCode);
        }
        return reading;
    }

    int readInOnePass(const EntryAnswer& answer, const Setting& setting = {})
    {
        return readAlike(answer, setting).readInOnePass;
    }

    /** Entries by chance, in this setting or in all. @return how many of them were read in one pass */
    int readGenerated(bool odd, std::uint32_t seed, int answers, const Setting* fixed = nullptr)
    {
        int inOnePass = 0;
        EntryGenerator generator(seed);
        for (int number = 0; number < answers && !HasFailure(); ++number)
        {
            SCOPED_TRACE("answer " + std::to_string(number));
            const Setting setting = fixed != nullptr ? *fixed : settingOf(generator.below(settings));
            inOnePass += readInOnePass(generator.answer(odd), setting);
        }
        return inOnePass;
    }

    EntryReader reader;
};

TEST_F(EntryEquality, PlainEntriesByChanceReadTheSameAndInOnePass)
{
    constexpr int answers = 500;
    const Setting plain;
    EXPECT_GE(readGenerated(false, 1, answers, &plain), answers) << "one entry at least in each answer";
}

TEST_F(EntryEquality, OddEntriesByChanceReadTheSame)
{
    constexpr int answers = 500;
    const Setting plain;
    const int inOnePass = readGenerated(true, 2, answers, &plain);
    EXPECT_GT(inOnePass, answers / 20);
    EXPECT_LT(inOnePass, answers);
}

TEST_F(EntryEquality, EntriesReadTheSameWhateverTheEntityTheTypesTheCodeAndTheCharacterSet)
{
    readGenerated(false, 3, 2000);
    readGenerated(true, 4, 1000);
}

TEST_F(EntryEquality, EntriesReadTheSameInRareCharacterSets)
{
    for (const char* codeset : {"UTF-16", "no such set"})
    {
        const Setting setting{codeset};
        readGenerated(false, 3, 80, &setting);
        readGenerated(true, 4, 80, &setting);
    }
}

TEST_F(EntryEquality, EntriesReadTheSameWhenAConversionThrowsInTheMiddle)
{
    Setting setting{"UTF-8", Types::Deriving};
    for (setting.throwsAt = 1; setting.throwsAt <= 12; ++setting.throwsAt)
    {
        readGenerated(false, 5, 20, &setting);
        readGenerated(true, 6, 20, &setting);
    }
}

TEST_F(EntryEquality, EntriesReadTheSameWhileEachConversionReadsOthers)
{
    Setting setting{"UTF-8", Types::Deriving};
    setting.searches = true;
    readGenerated(false, 7, 40, &setting);
    readGenerated(true, 8, 40, &setting);
    setting.codeset = "ISO-8859-1";
    setting.throwsAt = 7;
    readGenerated(false, 9, 40, &setting);
}

TEST_F(EntryEquality, AThousandAttributesWithTenThousandValuesAreReadInOnePass)
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
    EXPECT_EQ(reading.readInOnePass, 1);
    EXPECT_TRUE(reading.quiet);
    EXPECT_THAT(reading.events.lines(), Contains("  name0 = value 7"));

    attributes.push_back({"NAME999", {"again"}});
    EXPECT_EQ(readInOnePass(answerWith(attributes)), 0);
}

TEST_F(EntryEquality, TenThousandValuesOfOneAttributeKeepTheirOrderInOnePass)
{
    Attribute attribute{"member", {}};
    std::vector<std::string> lines;
    for (int value = 0; value < 10000; ++value)
    {
        attribute.values.push_back(std::to_string(value * 7919 % 10000));
        lines.push_back("  member = " + attribute.values.back());
    }
    const Reading reading = readAlike(answerWith({{"cn", {"z"}}, attribute, {"sn", {"a"}}}));
    EXPECT_EQ(reading.readInOnePass, 1);
    const auto events = reading.events.lines();
    const auto first = std::find(events.begin(), events.end(), lines.front());
    ASSERT_GE(events.end() - first, 10000);
    EXPECT_EQ(std::vector<std::string>(first, first + 10000), lines);
}

TEST_F(EntryEquality, LongValuesAreReadInOnePass)
{
    const std::string longValue(512UL * 1024, 'x');
    EXPECT_EQ(readInOnePass(answerWith({{"jpegPhoto", {longValue, "a", longValue + "\0more"s}}})), 1);
    EXPECT_EQ(readInOnePass(answerWith({{"jpegPhoto", {longValue, "a"}}}), {"ISO-8859-1"}), 1);
}

TEST_F(EntryEquality, OptionsBetweenTheirAttributeKeepTheServersOrder)
{
    EXPECT_EQ(readInOnePass(answerWith({{"cn;lang-de", {"1", "0"}},
                                        {"cn", {"c", "a", "b", "a"}},
                                        {"CN;lang-en", {"y", "x"}},
                                        {"cn;lang-de;x", {"2"}},
                                        {"ab", {"3"}}})),
              1);
}

/** The events from this one on, as many as there are others. */
std::vector<std::string> eventsFrom(const Reading& reading, const std::vector<std::string>& expected)
{
    const auto lines = reading.events.lines();
    const auto first = std::find(lines.begin(), lines.end(), expected.front());
    const auto size = std::min<long>(lines.end() - first, static_cast<long>(expected.size()));
    return {first, first + size};
}

TEST_F(EntryEquality, TheEntityIsClearedAndFilledOnce)
{
    const EntryAnswer answer = answerWith({{"cn", {"b", "a"}}, {"sn", {"c"}}});
    const std::vector<std::string> byDeriving = {"Clear of \"cn=former\" with 1",
                                                 "Utf8ToLocal \"b\" into \"cn=a,dc=x\" with 0",
                                                 "Utf8ToLocal \"a\" into \"cn=a,dc=x\" with 1",
                                                 "Utf8ToLocal \"c\" into \"cn=a,dc=x\" with 2",
                                                 "entry \"cn=a,dc=x\", code 0",
                                                 "  cn = b",
                                                 "  cn = a",
                                                 "  sn = c"};
    const Reading deriving = readAlike(answer, {"UTF-8", Types::Deriving});
    EXPECT_EQ(eventsFrom(deriving, byDeriving), byDeriving);
    EXPECT_EQ(deriving.readInOnePass, 0);

    const std::vector<std::string> byOwn = {"Clear of \"cn=former\" with 1", "entry \"cn=a,dc=x\", code 0",
                                            "  cn = b", "  cn = a", "  sn = c"};
    const Reading own = readAlike(answer, {"UTF-8", Types::OwnConnection});
    EXPECT_EQ(eventsFrom(own, byOwn), byOwn);
    EXPECT_EQ(own.readInOnePass, 1);
}

TEST_F(EntryEquality, IconvIsToldFourBytesAByteAndIsNeverReset)
{
    const Reading reading = readAlike(
        answerWith({{"cn", {std::string(50000, 'x'), std::string(5000, 'x'), "ab"}}, {"sn", {"abc"}}}),
        {"ISO-8859-1"});
    EXPECT_THAT(reading.events.lines(), Contains("iconv of 50000 into 200000"));
    EXPECT_THAT(reading.events.lines(), Contains("iconv of 2 into 8"));
    EXPECT_THAT(reading.events.lines(), Contains("iconv of 3 into 12"));
    EXPECT_THAT(reading.events.lines(), Not(Contains(HasSubstr("without input"))));
}

TEST_F(EntryEquality, TheStateOfAConversionGoesOnFromValueToValue)
{
    const auto lines =
        readAlike(answerWith({{"cn", {"\xe3\x81\x82", "\xe3\x81\x82"}}}), {"ISO-2022-JP"}).events.lines();
    EXPECT_THAT(lines, Contains("  cn = \\x1b$B$\""));
    EXPECT_THAT(lines, Contains("  cn = $\""));
}

TEST_F(EntryEquality, AnEmptyElementMayHaveALongLength)
{
    EXPECT_EQ(readInOnePass({{entryContent("cn=a", {{"cn", {"a", ""}}}, LengthForm::FourBytes)}}), 1);
    EXPECT_EQ(readInOnePass({{entryContent("cn=a", {}, LengthForm::FourBytes)}}), 1);
    EXPECT_EQ(readInOnePass({{entryContent("", {{"cn", {""}}}, LengthForm::OneByte)}}), 1);
}

/** An entry of one attribute, one of whose seven elements has some bits of its tag turned. */
std::string entryWithTurnedTag(int place, int bits)
{
    const auto part = [&](int number, int tag, const std::string& content)
    { return element(static_cast<unsigned char>(number == place ? tag ^ bits : tag), content); };
    const std::string values = part(0, 0x04, "x") + part(1, 0x04, "y");
    const std::string attribute = part(2, 0x04, "cn") + part(3, 0x31, values);
    return part(4, 0x04, "cn=a") + part(5, 0x30, part(6, 0x30, attribute));
}

TEST_F(EntryEquality, UnusualTagsAndWhatIsBehindTheListAreReadByName)
{
    for (const int bits : {0x20, 0x40, 0x80, 0x01, 0x08})
    {
        for (int place = 0; place < 7; ++place)
        {
            EXPECT_EQ(readInOnePass({{entryWithTurnedTag(place, bits)}}), 0) << bits << " at " << place;
        }
    }
    EXPECT_EQ(readInOnePass({{entryContent("cn=a", {{"cn", {"a"}}}) + "\x04\x01x"}}), 0);
}

TEST_F(EntryEquality, AValueThatCannotBeConvertedLeavesTheEntityAsFarAsItWas)
{
    const Reading reading =
        readAlike(answerWith({{"cn", {"a", "\xd0\x96", "b"}}, {"sn", {"c"}}}), {"ISO-8859-1"});
    EXPECT_EQ(reading.readInOnePass, 1);
    EXPECT_FALSE(reading.quiet);
    EXPECT_THAT(reading.events.lines(), Contains(HasSubstr("iconv conversion failed.")));
    EXPECT_THAT(reading.events.lines(), Contains("  cn = a"));
    EXPECT_THAT(reading.events.lines(), Not(Contains("  cn = b")));
    EXPECT_THAT(reading.events.lines(), Not(Contains("  sn = c")));
}

/** What is not plain, and why. */
struct NotPlain
{
    const char* what;
    std::string dn;
    Attributes attributes;
};

class NotPlainEntry : public EntryEquality, public testing::WithParamInterface<NotPlain>
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
        EXPECT_EQ(readInOnePass(answer), 1) << "the second one";
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
    {"TheLowestHighByteInAName", "cn=a", {{"n\x80", {"a"}}}},
};

INSTANTIATE_TEST_SUITE_P(Entries, NotPlainEntry, testing::ValuesIn(notPlain),
                         [](const auto& described) { return std::string(described.param.what); });

/** The names of the entry before are known, each with a zero byte behind it. */
TEST_F(EntryEquality, NamesThatOnlyTogetherAreThoseOfTheEntryBeforeAreReadByName)
{
    const std::pair<Attributes, Attributes> pairs[] = {
        {{{"a", {"1"}}, {"b", {"2"}}, {"c", {"3"}}}, {{"a\0b"s, {"1"}}, {"c", {"2"}}}},
        {{{"a", {"1"}}, {"b", {"2"}}, {"c", {"3"}}}, {{"a\0b\0c"s, {"1"}}}},
        {{{"a", {"1"}}, {"b", {"2"}}}, {{"a\0b"s, {"3"}}}},
        {{{"ab", {"1"}}, {"c", {"2"}}}, {{"a", {"3"}}, {"\0c"s, {"4"}}}}};
    for (const auto& [known, attributes] : pairs)
    {
        EntryAnswer answer = answerWith(known);
        answer.entries.push_back(entryContent("cn=b", attributes));
        EXPECT_EQ(readInOnePass(answer), 1) << "the first one";
    }
}

/** Names that a careless comparison takes for the same. */
TEST_F(EntryEquality, NamesThatOnlyLookAlikeAreReadInOnePass)
{
    EXPECT_EQ(readInOnePass(answerWith({{"@", {"1"}},
                                        {"`", {"2"}},
                                        {"a[", {"3"}},
                                        {"A{", {"4"}},
                                        {"cn", {"5"}},
                                        {"cn ", {"6"}},
                                        {"c", {"7"}},
                                        {"\x01", {"8"}},
                                        {"!", {"9"}}})),
              1);
}

TEST_F(EntryEquality, AnEntryWithoutAttributesOrWithAnEmptyDnIsReadInOnePass)
{
    EXPECT_EQ(readInOnePass(answerWith({})), 1);
    EXPECT_EQ(readInOnePass({{entryContent("", {{"cn", {"a"}}}), entryContent("", {})}, 0, ""}), 2);
}

TEST_F(EntryEquality, ValuesEndAtTheirFirstZeroByteInOnePass)
{
    const Reading reading = readAlike(answerWith({{"cn", {"ab\0cd"s, "\0x"s, "", "after"}}}));
    EXPECT_EQ(reading.readInOnePass, 1);
    EXPECT_THAT(reading.events.lines(), Contains("  cn = ab"));
}

TEST_F(EntryEquality, AnEmptyResultIsTheSame)
{
    EXPECT_TRUE(readAlike({}).quiet);
    EXPECT_THAT(readAlike({{}, 4, ""}).events.lines(), Contains(HasSubstr("logged 1")));
}

} // namespace
} // namespace KVR::Support
