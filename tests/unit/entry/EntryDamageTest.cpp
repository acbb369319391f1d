// Damaged entries: nothing crashes, and none is read as if nothing was wrong. Whether bytes are damaged
// says a reader that knows the calls by name only, with a copy of its own: what is read in place is
// changed by it, so that damaged bytes can't be read twice in the same way.

#include "EntryBytes.h"
#include "EntryGenerator.h"
#include "EntryReadings.h"
#include "KVRLdapElements.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <algorithm>
#include <string>
#include <vector>

namespace KVR::Support
{
namespace
{

/** Damaged bytes with a sound entry behind them. */
EntryAnswer followedBySound(const std::string& damaged, int code = 0)
{
    return {{damaged, entryContent("cn=b", {{"cn", {"b"}}})}, code, ""};
}

/** Small entries, every byte of which can be tried. */
std::vector<std::string> smallEntries()
{
    return {entryContent("cn=a", {{"cn", {"a", "bc"}}, {"sn", {"d"}}, {"o", {"", "e"}}}),
            entryContent("cn=a", {{"cn", {"a"}}, {"sn", {"d"}}}, LengthForm::FourBytes),
            entryContent("cn=a", {{"cn", {"a"}}, {"CN", {"d"}}, {"sn", {}}}), entryContent("", {{"a", {""}}}),
            entryContent("cn=a", {})};
}

/** Judges each small entry with each of its bytes changed in every way that the test wants. */
template <typename Values>
void expectRightWithEachByteChanged(const Values& valuesFor)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t at = 0; at < whole.size(); ++at)
        {
            for (const int value : valuesFor(whole[at]))
            {
                std::string damaged = whole;
                damaged[at] = static_cast<char>(value);
                ASSERT_EQ("", judgeDamaged(followedBySound(damaged)));
            }
        }
    }
}

TEST(EntryDamage, EveryTruncationIsSeenAtTheEndOfTheWalk)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t size = 0; size < whole.size(); ++size)
        {
            SCOPED_TRACE(printable(whole.substr(0, size)));
            for (const int code : {0, 4})
            {
                const EntryAnswer answer = followedBySound(whole.substr(0, size), code);
                ASSERT_EQ("", judgeDamaged(answer));
                const Reading reading = readAnswer(answer, Road::AsItIs);
                EXPECT_FALSE(reading.quiet);
                EXPECT_EQ(reading.keptCode, LDAP_DECODING_ERROR);
            }
        }
    }
}

TEST(EntryDamage, EveryByteMayHaveEveryValueInAnEntryOfOneAttribute)
{
    const std::string whole = entryContent("cn=a", {{"cn", {"a", "bc"}}});
    for (std::size_t at = 0; at < whole.size(); ++at)
    {
        for (int value = 0; value < 256; ++value)
        {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(value);
            ASSERT_EQ("", judgeDamaged(followedBySound(damaged)));
        }
    }
}

TEST(EntryDamage, EveryByteMayBeATagOrALengthThatItIsNot)
{
    expectRightWithEachByteChanged(
        [](char)
        {
            return std::vector<int>{0x00, 0x01, 0x02, 0x04, 0x05, 0x1f, 0x24, 0x30, 0x31, 0x3f, 0x64,
                                    0x7f, 0x80, 0x81, 0x82, 0x83, 0x84, 0x88, 0xa0, 0xbf, 0xff};
        });
}

TEST(EntryDamage, EveryByteMayBeALittleMoreOrLess)
{
    expectRightWithEachByteChanged(
        [](char byte)
        { return std::vector<int>{byte - 3, byte - 2, byte - 1, byte + 1, byte + 2, byte + 3}; });
}

TEST(EntryDamage, EveryByteMayBeMissingOrComeTwice)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t at = 0; at < whole.size(); ++at)
        {
            ASSERT_EQ("", judgeDamaged(followedBySound(whole.substr(0, at) + whole.substr(at + 1))));
            ASSERT_EQ("", judgeDamaged(
                              followedBySound(whole.substr(0, at) + whole.substr(at, 1) + whole.substr(at))));
        }
    }
}

TEST(EntryDamage, BytesBehindTheAttributesAreNoPartOfThem)
{
    for (const std::string& whole : smallEntries())
    {
        for (const char* behind : {"\x04\x01x",
                                   "\x30\x08\x04\x02"
                                   "cn\x31\x02\x04\x7f",
                                   "\xff", "\x84\xff\xff\xff\xff"})
        {
            ASSERT_EQ("", judgeDamaged(followedBySound(whole + behind)));
        }
    }
}

TEST(EntryDamage, LengthsMayBeAsLongAsTheyCanBe)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t at = 0; at < whole.size(); ++at)
        {
            for (const std::string length :
                 {"\x84\x7f\xff\xff\xff", "\x84\xff\xff\xff\xff", "\x88\x7f\xff\xff\xff\xff\xff\xff\xff",
                  "\x88\xff\xff\xff\xff\xff\xff\xff\xff", "\x88\xff\xff\xff\xff\xff\xff\xff\xf0",
                  "\x89\x01\x01\x01\x01\x01\x01\x01\x01\x01", "\x81\xff", "\x82\xff\xff", "\x80"})
            {
                ASSERT_EQ("",
                          judgeDamaged(followedBySound(whole.substr(0, at) + length + whole.substr(at + 1))));
            }
        }
    }
}

/** A sound entry but for one of its elements, whose length takes so many bytes, with this one in front. */
std::string entryWithLongLength(int place, char first, std::size_t octets)
{
    int number = 0;
    const auto part = [&](unsigned char tag, const std::string& content)
    {
        std::string bytes = element(tag, content);
        if (number++ == place)
        {
            std::string before(octets, '\0');
            before[0] = static_cast<char>(0x80 | octets);
            before[1] = first;
            bytes.insert(1, before);
        }
        return bytes;
    };
    std::string list;
    for (const char* const name : {"cn", "sn", "o"})
    {
        std::string values = part(0x04, "a");
        values += part(0x04, "bc");
        std::string attribute = part(0x04, name);
        attribute += part(0x31, values);
        list += part(0x30, attribute);
    }
    const std::string dn = part(0x04, "cn=a");
    return dn + part(0x30, list);
}

TEST(EntryDamage, ALengthOfMoreBytesThanANumberHasIsNone)
{
    for (std::size_t octets = sizeof(std::size_t) + 1; octets < 127; ++octets)
    {
        const std::string bytes =
            std::string{0x04, static_cast<char>(0x80 | octets), 1} + std::string(octets - 2, '\0') + "\x01a";
        std::size_t length = 0;
        EXPECT_FALSE(CKVRElements(bytes.data(), bytes.data() + bytes.size()).TakeHead(length)) << octets;
    }
}

TEST(EntryDamage, AnIndefiniteLengthIsNone)
{
    const std::string bytes("\x04\x80\x00\x00", 4);
    std::size_t length = 0;
    EXPECT_FALSE(CKVRElements(bytes.data(), bytes.data() + bytes.size()).TakeHead(length));
}

TEST(EntryDamage, AListWhoseTagHasSeveralBytesIsSeenAtTheEndOfTheWalk)
{
    const std::string attribute = element(0x30, element(0x04, "cn") + element(0x31, element(0x04, "a")));
    // Without its first byte, which ends the DN, the second tag looks like another length.
    for (const std::string tag : {"\x1f\x05", "\x1f\x82\x05", "\x3f\x81\x82\x05"})
    {
        const std::string list = tag + element(0x30, attribute).substr(1);
        const EntryAnswer answer = followedBySound(element(0x04, "cn=a") + list);
        ASSERT_EQ("", judgeDamaged(answer));
        const Reading reading = readAnswer(answer, Road::AsItIs);
        EXPECT_FALSE(reading.quiet) << printable(list);
        EXPECT_EQ(reading.keptCode, LDAP_DECODING_ERROR) << printable(list);
    }
}

TEST(EntryDamage, AnElementBehindTheValuesOfAnAttributeIsReadAsByName)
{
    const std::string sound = element(0x30, element(0x04, "sn") + element(0x31, element(0x04, "b")));
    for (const std::string& behind :
         {element(0x04, "x"), element(0x31, element(0x04, "x")), std::string("\x1f\x05\x01x"),
          std::string("\x1f\x82\x05\x01x"), std::string("\x1f\x82\x05\x04\x04\x02xy"),
          "\x1f\x05" + sound.substr(1), "\x1f\x82\x05" + sound.substr(1), sound})
    {
        const std::string damaged =
            element(0x30, element(0x04, "cn") + element(0x31, element(0x04, "a")) + behind);
        for (const std::string& list : {damaged, damaged + sound, sound + damaged, damaged + damaged})
        {
            ASSERT_EQ("", judgeDamaged(followedBySound(element(0x04, "cn=a") + element(0x30, list))));
        }
    }
}

constexpr int elementsWithLength = 3 * 5 + 2;

TEST(EntryDamage, ALengthThatNoNumberHasRoomForIsSeenAtTheEndOfTheWalk)
{
    for (int place = 0; place < elementsWithLength; ++place)
    {
        for (std::size_t octets = 5; octets < 127; ++octets)
        {
            SCOPED_TRACE(std::to_string(octets) + " bytes for the length of element " +
                         std::to_string(place));
            const EntryAnswer answer = followedBySound(entryWithLongLength(place, 1, octets));
            ASSERT_EQ("", judgeDamaged(answer));
            const Reading reading = readAnswer(answer, Road::AsItIs);
            EXPECT_FALSE(reading.quiet);
            EXPECT_EQ(reading.keptCode, LDAP_DECODING_ERROR);
        }
    }
}

TEST(EntryDamage, ZerosInFrontOfALengthAreNoDamageAsFarAsANumberHasRoomForThem)
{
    for (int place = 0; place < elementsWithLength; ++place)
    {
        for (const std::size_t octets : {5U, 8U, 9U, 126U})
        {
            SCOPED_TRACE(std::to_string(octets) + " bytes for the length of element " +
                         std::to_string(place));
            const EntryAnswer answer = followedBySound(entryWithLongLength(place, 0, octets));
            ASSERT_EQ("", judgeDamaged(answer));
            EXPECT_EQ(readAnswer(answer, Road::AsItIs).quiet, octets <= sizeof(std::size_t));
        }
    }
}

TEST(EntryDamage, SeveralBytesMayBeChangedByChance)
{
    EntryGenerator generator(10);
    for (int number = 0; number < 2000; ++number)
    {
        EntryAnswer answer = generator.answer(number % 2 == 0);
        std::string& bytes = answer.entries.front();
        bytes.resize(std::min<std::size_t>(bytes.size(), 2000));
        for (std::uint32_t left = 1 + generator.below(4); left > 0 && !bytes.empty(); --left)
        {
            const std::size_t at = generator.below(static_cast<std::uint32_t>(bytes.size()));
            bytes[at] =
                static_cast<char>(generator.below(2) == 0 ? generator.below(256) : generator.below(8));
        }
        ASSERT_EQ("", judgeDamaged(answer)) << number;
    }
}

/** A byte's place in the answer as it is sent, which the first message's own tag and length begin. */
class DamagedMessage : public testing::TestWithParam<std::size_t>
{
};

TEST_P(DamagedMessage, IsReadAsItIsByName)
{
    for (int value = 0; value < 256; ++value)
    {
        EntryAnswer answer = followedBySound(entryContent("cn=a", {{"cn", {"a"}}}));
        answer.spoil = [&](std::string& bytes) { bytes.at(GetParam()) = static_cast<char>(value); };
        ASSERT_EQ("", judgeDamaged(answer)) << value;
    }
}

// Without the two lengths: libldap itself loses the memory of a message whose operation does not fit.
INSTANTIATE_TEST_SUITE_P(Heads, DamagedMessage, testing::Values(0, 2, 3, 4, 5, 6, 7, 8, 10, 11));

TEST(EntryDamage, AnAnswerThatIsCutIsNeverAResult)
{
    EntryAnswer answer = followedBySound(entryContent("cn=a", {{"cn", {"a"}}}));
    std::size_t whole = 0;
    answer.spoil = [&](std::string& bytes) { whole = bytes.size(); };
    EXPECT_TRUE(readAnswer(answer, Road::AsItIs).quiet);
    for (std::size_t size = 0; size < whole; ++size)
    {
        answer.spoil = [&](std::string& bytes) { bytes.resize(size); };
        ASSERT_EQ("", judgeDamaged(answer));
        EXPECT_FALSE(readAnswer(answer, Road::AsItIs).quiet);
    }
}

} // namespace
} // namespace KVR::Support
