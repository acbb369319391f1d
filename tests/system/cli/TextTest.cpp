#include "Text.h"

#include <gtest/gtest.h>

namespace
{

using namespace KVR::Cli;
using namespace std::string_literals;

TEST(Base64, FollowsTheVectorsOfItsStandard)
{
    EXPECT_EQ(Base64(""), "");
    EXPECT_EQ(Base64("f"), "Zg==");
    EXPECT_EQ(Base64("fo"), "Zm8=");
    EXPECT_EQ(Base64("foo"), "Zm9v");
    EXPECT_EQ(Base64("foob"), "Zm9vYg==");
    EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
}

TEST(Base64, TakesEveryByte)
{
    EXPECT_EQ(Base64("\xff\xfe\x00\xfb"s), "//4A+w==");
}

TEST(Utf8, AcceptsCharactersOfEveryLength)
{
    EXPECT_TRUE(IsUtf8(""));
    EXPECT_TRUE(IsUtf8("a\x00z"s));
    EXPECT_TRUE(IsUtf8("\xc3\xbc \xe2\x82\xac \xf0\x9f\x98\x80"));
    EXPECT_TRUE(IsUtf8("\xc2\x80 \xdf\xbf \xe0\xa0\x80 \xef\xbf\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf"));
}

TEST(Utf8, RefusesLongFormsOfShorterCharacters)
{
    EXPECT_FALSE(IsUtf8("\xc0\xaf"));
    EXPECT_FALSE(IsUtf8("\xc1\xbf"));
    EXPECT_FALSE(IsUtf8("\xe0\x9f\xbf"));
    EXPECT_FALSE(IsUtf8("\xf0\x8f\xbf\xbf"));
}

TEST(Utf8, RefusesSurrogatesAndWhatLiesBeyondUnicode)
{
    EXPECT_FALSE(IsUtf8("\xed\xa0\x80"));
    EXPECT_FALSE(IsUtf8("\xed\xbf\xbf"));
    EXPECT_FALSE(IsUtf8("\xf4\x90\x80\x80"));
    EXPECT_FALSE(IsUtf8("\xf5\x80\x80\x80"));
}

TEST(Utf8, RefusesHalfCharactersAndStrayBytes)
{
    EXPECT_FALSE(IsUtf8("\xfc"));
    EXPECT_FALSE(IsUtf8("\xc3"));
    EXPECT_FALSE(IsUtf8("\xe2\x82"));
    EXPECT_FALSE(IsUtf8("\xe2\x82z"));
    EXPECT_FALSE(IsUtf8("a\xbcz"));
}

TEST(Printable, LeavesOrdinaryTextAlone)
{
    EXPECT_EQ(Printable("J\xc3\xbcrgen \\2C cn=a+b"), "J\xc3\xbcrgen \\2C cn=a+b");
}

TEST(Printable, ShowsControlCharacters)
{
    EXPECT_EQ(Printable("a\x1b[2Jb"), "a\\x1b[2Jb");
    EXPECT_EQ(Printable("\x00\t\n\x1f\x7f"s), "\\x00\\x09\\x0a\\x1f\\x7f");
}

TEST(Printable, ShowsTheControlCharactersBeyondAscii)
{
    EXPECT_EQ(Printable("\xc2\x9b"
                        "2J"),
              "\\u{9b}2J");
    EXPECT_EQ(Printable("\xc2\x80\xc2\x9f\xc2\xa0"), "\\u{80}\\u{9f}\xc2\xa0");
    EXPECT_EQ(Printable("\xe2\x80\xa8"), "\\u{2028}");
}

TEST(Printable, ShowsCharactersThatTurnTheDirection)
{
    const std::string rightToLeft = {'\xe2', '\x80', '\xae'};
    const std::string isolate = {'\xe2', '\x81', '\xa6'};
    EXPECT_EQ(Printable("a" + rightToLeft + "b"), "a\\u{202e}b");
    EXPECT_EQ(Printable(isolate), "\\u{2066}");
}

TEST(Printable, ShowsBytesThatAreNoText)
{
    EXPECT_EQ(Printable("a\xff\xc3z"), "a\\xff\\xc3z");
}

TEST(OneLine, PutsBlanksForLineEndsAndTabs)
{
    EXPECT_EQ(OneLine("first\nsecond\r\tthird\x1b"), "first second  third\\x1b");
}

TEST(LegibleTime, ReadsSecondsInUniversalTime)
{
    EXPECT_EQ(LegibleTime("20240131120507Z"), "2024-01-31 12:05:07 UTC");
}

TEST(LegibleTime, LeavesOtherFormsAsTheyAre)
{
    for (const char* other :
         {"", "20240131120507", "20240131120507+0100", "20240131120507.5Z", "2024013112050xZ"})
    {
        EXPECT_EQ(LegibleTime(other), other);
    }
}

TEST(CliText, ReadsBase64Back)
{
    std::string bytes;
    for (int each = 0; each < 256; ++each)
    {
        bytes += static_cast<char>(each);
        EXPECT_EQ(FromBase64(Base64(bytes)), bytes);
    }
    EXPECT_EQ(FromBase64(""), "");
}

TEST(CliText, ReadsNoOtherBase64)
{
    for (const char* text : {"YQ", "YQ=", "YQ===", "=", "====", "YQ==YQ==", "Y=Q=", "YR==", "YWJ=", "YW J",
                             "YW-_", "YQ==\n", "YWI=="})
    {
        EXPECT_FALSE(FromBase64(text)) << text;
    }
}

} // namespace
