// Damaged entries: nothing crashes, and all reads as it does by name, the first time and the second.

#include "EntryBytes.h"
#include "EntryGenerator.h"
#include "EntryInput.h"
#include "KVRLdapElements.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace KVR::Support
{
namespace
{

/** Small entries, every byte of which can be tried. */
std::vector<std::string> smallEntries()
{
    return {entryContent("cn=a", {{"cn", {"a", "bc"}}, {"sn", {"d"}}, {"o", {"", "e"}}}),
            entryContent("cn=a", {{"cn", {"a"}}, {"sn", {"d"}}}, LengthForm::FourBytes),
            entryContent("cn=a", {{"cn", {"a"}}, {"CN", {"d"}}, {"sn", {}}}), entryContent("", {{"a", {""}}}),
            entryContent("cn=a", {})};
}

class EntryDamage : public testing::Test
{
protected:
    /** Judges in all of the settings, in turn. */
    std::string judge(const EntryAnswer& answer) { return reader.judge(answer, settingOf(next_++)); }

    EntryReader reader;

private:
    std::uint32_t next_ = 0;
};

TEST_F(EntryDamage, EveryTruncationIsSeenAtTheEndOfTheWalk)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t size = 0; size < whole.size(); ++size)
        {
            SCOPED_TRACE(printable(whole.substr(0, size)));
            for (const int code : {0, 4})
            {
                const EntryAnswer answer = followedBySound(whole.substr(0, size), code);
                ASSERT_EQ("", judge(answer));
                const Reading reading = reader.read(answer, Road::AsItIs);
                EXPECT_FALSE(reading.quiet);
                EXPECT_EQ(reading.keptCode, LDAP_DECODING_ERROR);
            }
        }
    }
}

TEST_F(EntryDamage, InputsThatOnceReadDifferentlyReadTheSame)
{
    int inputs = 0;
    for (const auto& file : std::filesystem::directory_iterator(KVR_INPUTS))
    {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string input(std::istreambuf_iterator<char>(stream), {});
        EXPECT_EQ("", judgeInput(reader, input)) << file.path();
        inputs++;
    }
    EXPECT_GT(inputs, 0);
}

TEST_F(EntryDamage, EveryByteMayBeMissingOrComeTwice)
{
    for (const std::string& whole : smallEntries())
    {
        for (std::size_t at = 0; at < whole.size(); ++at)
        {
            ASSERT_EQ("", judge(followedBySound(whole.substr(0, at) + whole.substr(at + 1))));
            ASSERT_EQ("",
                      judge(followedBySound(whole.substr(0, at) + whole.substr(at, 1) + whole.substr(at))));
        }
    }
}

TEST_F(EntryDamage, BytesBehindTheAttributesAreNoPartOfThem)
{
    for (const std::string& whole : smallEntries())
    {
        for (const char* behind : {"\x04\x01x",
                                   "\x30\x08\x04\x02"
                                   "cn\x31\x02\x04\x7f",
                                   "\xff", "\x84\xff\xff\xff\xff"})
        {
            ASSERT_EQ("", judge(followedBySound(whole + behind)));
        }
    }
}

TEST_F(EntryDamage, LengthsMayBeAsLongAsTheyCanBe)
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
                ASSERT_EQ("", judge(followedBySound(whole.substr(0, at) + length + whole.substr(at + 1))));
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

TEST_F(EntryDamage, ALengthOfMoreBytesThanANumberHasIsNone)
{
    for (std::size_t octets = sizeof(std::size_t) + 1; octets < 127; ++octets)
    {
        const std::string bytes =
            std::string{0x04, static_cast<char>(0x80 | octets), 1} + std::string(octets - 2, '\0') + "\x01a";
        std::size_t length = 0;
        EXPECT_FALSE(CKVRElements(bytes.data(), bytes.data() + bytes.size()).TakeHead(length)) << octets;
    }
}

TEST_F(EntryDamage, HeadsAndContentsHaveToFit)
{
    const auto hasHead = [](const std::string& bytes)
    {
        std::size_t length = 0;
        return CKVRElements(bytes.data(), bytes.data() + bytes.size()).TakeHead(length);
    };
    for (const char* const bytes : {"", "\x04", "\x04\x81", "\x1f\x05\x01x", "\x3f\x81\x05\x01x"})
    {
        EXPECT_FALSE(hasHead(bytes)) << printable(bytes);
    }
    EXPECT_TRUE(hasHead("\x04\x81\x01"));
    const std::string cut = "\x04\x02x";
    CKVRElements contents;
    EXPECT_FALSE(CKVRElements(cut.data(), cut.data() + cut.size()).Take(contents));
}

TEST_F(EntryDamage, AnIndefiniteLengthIsNone)
{
    const std::string bytes("\x04\x80\x00\x00", 4);
    std::size_t length = 0;
    EXPECT_FALSE(CKVRElements(bytes.data(), bytes.data() + bytes.size()).TakeHead(length));
}

TEST_F(EntryDamage, AListWhoseTagHasSeveralBytesReadsAsByName)
{
    const std::string attribute = element(0x30, element(0x04, "cn") + element(0x31, element(0x04, "a")));
    // Without its first byte, which ends the DN, the second tag looks like another length.
    for (const std::string tag : {"\x1f\x05", "\x1f\x82\x05", "\x3f\x81\x82\x05"})
    {
        const std::string list = tag + element(0x30, attribute).substr(1);
        ASSERT_EQ("", judge(followedBySound(element(0x04, "cn=a") + list)));
    }
}

TEST_F(EntryDamage, AnElementBehindTheValuesOfAnAttributeIsReadAsByName)
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
            ASSERT_EQ("", judge(followedBySound(element(0x04, "cn=a") + element(0x30, list))));
        }
    }
}

constexpr int elementsWithLength = 3 * 5 + 2;

TEST_F(EntryDamage, ALengthThatNoNumberHasRoomForIsSeenAtTheEndOfTheWalk)
{
    for (int place = 0; place < elementsWithLength; ++place)
    {
        for (std::size_t octets = 5; octets < 127; ++octets)
        {
            SCOPED_TRACE(std::to_string(octets) + " bytes for the length of element " +
                         std::to_string(place));
            const EntryAnswer answer = followedBySound(entryWithLongLength(place, 1, octets));
            ASSERT_EQ("", judge(answer));
            const Reading reading = reader.read(answer, Road::AsItIs);
            EXPECT_FALSE(reading.quiet);
            EXPECT_EQ(reading.keptCode, LDAP_DECODING_ERROR);
        }
    }
}

TEST_F(EntryDamage, ZerosInFrontOfALengthAreNoDamageAsFarAsANumberHasRoomForThem)
{
    for (int place = 0; place < elementsWithLength; ++place)
    {
        for (const std::size_t octets : {5U, 8U, 9U, 126U})
        {
            SCOPED_TRACE(std::to_string(octets) + " bytes for the length of element " +
                         std::to_string(place));
            const EntryAnswer answer = followedBySound(entryWithLongLength(place, 0, octets));
            ASSERT_EQ("", judge(answer));
            EXPECT_EQ(reader.read(answer, Road::AsItIs).quiet, octets <= sizeof(std::size_t));
        }
    }
}

TEST_F(EntryDamage, SeveralBytesMayBeChangedByChance)
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
        ASSERT_EQ("", judge(answer)) << number;
    }
}

/** A byte's place in the answer as it is sent, which the first message's own tag and length begin. */
class DamagedMessage : public EntryDamage, public testing::WithParamInterface<std::size_t>
{
};

TEST_P(DamagedMessage, IsReadAsItIsByName)
{
    for (int value = 0; value < 256; ++value)
    {
        EntryAnswer answer = followedBySound(entryContent("cn=a", {{"cn", {"a"}}}));
        answer.spoil = [&](std::string& bytes) { bytes.at(GetParam()) = static_cast<char>(value); };
        ASSERT_EQ("", judge(answer)) << value;
    }
}

// Without the two lengths: libldap itself loses the memory of a message whose operation does not fit.
INSTANTIATE_TEST_SUITE_P(Heads, DamagedMessage, testing::Values(0, 2, 3, 4, 5, 6, 7, 8, 10, 11));

TEST_F(EntryDamage, AnAnswerThatIsCutIsNeverAResult)
{
    EntryAnswer answer = followedBySound(entryContent("cn=a", {{"cn", {"a"}}}));
    std::size_t whole = 0;
    answer.spoil = [&](std::string& bytes) { whole = bytes.size(); };
    EXPECT_TRUE(reader.read(answer, Road::AsItIs).quiet);
    for (std::size_t size = 0; size < whole; ++size)
    {
        answer.spoil = [&](std::string& bytes) { bytes.resize(size); };
        ASSERT_EQ("", judge(answer));
        EXPECT_FALSE(reader.read(answer, Road::AsItIs).quiet);
    }
}

} // namespace
} // namespace KVR::Support
