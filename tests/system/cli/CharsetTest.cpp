#include "Charset.h"

#include "Failure.h"

#include <gtest/gtest.h>

namespace
{

using KVR::Cli::Charset;
using KVR::Cli::ExitCode;
using KVR::Cli::Failure;

TEST(Charset, Utf8IsCheckedAndKept)
{
    const Charset utf8("utf-8");
    EXPECT_EQ(utf8.ToUtf8("J\xc3\xbcrgen"), "J\xc3\xbcrgen");
    EXPECT_EQ(utf8.ToUtf8("J\xfcrgen"), std::nullopt);
    EXPECT_EQ(utf8.FromUtf8("J\xc3\xbcrgen"), "J\xc3\xbcrgen");
}

TEST(Charset, ConvertsBothWays)
{
    const Charset latin1("ISO-8859-1");
    EXPECT_EQ(latin1.ToUtf8("J\xfcrgen"), "J\xc3\xbcrgen");
    EXPECT_EQ(latin1.FromUtf8("J\xc3\xbcrgen"), "J\xfcrgen");
    EXPECT_EQ(latin1.FromUtf8(""), "");
    EXPECT_EQ(latin1.ToUtf8(""), "");
}

TEST(Charset, RefusesArgumentsThatAreNoText)
{
    EXPECT_EQ(Charset("US-ASCII").ToUtf8("J\xfcrgen"), std::nullopt);
}

TEST(Charset, NamesCharactersThatItLacks)
{
    EXPECT_EQ(Charset("ISO-8859-1").FromUtf8("a \xd0\x9f\xe2\x82\xac \xc3\xbc"), "a \\u{41f}\\u{20ac} \xfc");
}

TEST(Charset, ReplacesPunctuationThatItLacks)
{
    EXPECT_EQ(Charset("ISO-8859-1").FromUtf8("\xe2\x80\x9ez\xe2\x80\x9c \xe2\x80\x93 b"), ",,z\" - b");
}

TEST(Charset, NamesBytesThatAreNoText)
{
    EXPECT_EQ(Charset("ISO-8859-1").FromUtf8("a\xff\xc3"), "a\\xff\\xc3");
}

TEST(Charset, ConvertsLongTextWhole)
{
    std::string utf8;
    for (int count = 0; count < 5000; ++count)
    {
        utf8 += "\xc3\xbc";
    }
    EXPECT_EQ(Charset("ISO-8859-1").FromUtf8(utf8), std::string(5000, '\xfc'));
    EXPECT_EQ(Charset("ISO-8859-1").ToUtf8(std::string(5000, '\xfc')), utf8);
}

TEST(Charset, ReturnsToTheInitialShiftState)
{
    EXPECT_EQ(Charset("ISO-2022-JP").FromUtf8("\xe3\x81\x82"), "\x1b$B$\"\x1b(B");
    EXPECT_EQ(Charset("ISO-2022-JP").FromUtf8("\xe3\x81\x82\xe2\x80\x9e"), "\x1b$B$\"\x1b(B,,");
}

TEST(Charset, RefusesAnUnknownNameAtItsFirstUse)
{
    try
    {
        Charset("NO-SUCH-SET").FromUtf8("a");
        FAIL() << "converted";
    }
    catch (const Failure& failure)
    {
        EXPECT_EQ(failure.exitCode, ExitCode::Unusable);
        EXPECT_STREQ(failure.what(), "the character set 'NO-SUCH-SET' is unknown to iconv");
    }
}

} // namespace
