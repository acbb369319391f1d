#include "KVRLdapEscapes.h"

#include <gtest/gtest.h>

namespace KVR::Support
{
namespace
{

using namespace std::string_literals;

TEST(IsEscaped, IsFalseWithoutABackslashInFront)
{
    EXPECT_FALSE(isEscaped("a,b", 1));
    EXPECT_FALSE(isEscaped(",", 0));
    EXPECT_FALSE(isEscaped("\\a,", 2));
}

TEST(IsEscaped, IsTrueBehindAnOddNumberOfBackslashes)
{
    EXPECT_TRUE(isEscaped("\\,", 1));
    EXPECT_TRUE(isEscaped("a\\,", 2));
    EXPECT_TRUE(isEscaped("a\\\\\\,", 4));
}

TEST(IsEscaped, IsFalseBehindAnEvenNumberOfBackslashes)
{
    EXPECT_FALSE(isEscaped("\\\\,", 2));
    EXPECT_FALSE(isEscaped("a\\\\\\\\,", 5));
}

TEST(IsEscaped, TellsOfThePlaceBehindTheEnd)
{
    EXPECT_TRUE(isEscaped("a\\", 2));
    EXPECT_FALSE(isEscaped("a\\\\", 3));
    EXPECT_FALSE(isEscaped("", 0));
}

TEST(PlainValue, OfATextWithoutEscapesIsTheText)
{
    EXPECT_EQ(plainValue(""), "");
    EXPECT_EQ(plainValue("Sales (north)*"), "Sales (north)*");
    EXPECT_EQ(plainValue("\xc3\xa4"), "\xc3\xa4");
}

TEST(PlainValue, TakesTheBackslashFromAnEscapedCharacter)
{
    EXPECT_EQ(plainValue("a\\, b"), "a, b");
    EXPECT_EQ(plainValue("\\ a\\ "), " a ");
    EXPECT_EQ(plainValue("\\#\\+\\\"\\\\\\<\\>\\;\\="), "#+\"\\<>;=");
}

TEST(PlainValue, MakesAByteOfTwoHexadecimalDigits)
{
    EXPECT_EQ(plainValue("\\2C\\2c"), ",,");
    EXPECT_EQ(plainValue("J\\c3\\BCrgen"), "J\xc3\xbcrgen");
    EXPECT_EQ(plainValue("a\\00b"), "a\0b"s);
    EXPECT_EQ(plainValue("\\4142"), "A42") << "two digits and no more";
}

TEST(PlainValue, UnescapesEachCharacterOnce)
{
    EXPECT_EQ(plainValue("\\\\2c"), "\\2c");
    EXPECT_EQ(plainValue("\\5c2c"), "\\2c");
}

TEST(PlainValue, WithOneHexadecimalDigitTakesItAsACharacter)
{
    EXPECT_EQ(plainValue("\\ag"), "ag");
    EXPECT_EQ(plainValue("\\a"), "a");
    EXPECT_EQ(plainValue("\\g1"), "g1");
}

TEST(PlainValue, KeepsABackslashAtTheEnd)
{
    EXPECT_EQ(plainValue("a\\"), "a\\");
}

TEST(FilterValue, OfATextWithoutSpecialCharactersIsTheText)
{
    EXPECT_EQ(filterValue(""), "");
    EXPECT_EQ(filterValue("Sales, & north = |!<>~"), "Sales, & north = |!<>~");
    EXPECT_EQ(filterValue("\xc3\xa4"), "\xc3\xa4");
}

TEST(FilterValue, EscapesTheFiveSpecialCharacters)
{
    EXPECT_EQ(filterValue("*()\\\0"s), "\\2a\\28\\29\\5c\\00");
    EXPECT_EQ(filterValue("a*b(c)d\\e"), "a\\2ab\\28c\\29d\\5ce");
}

} // namespace
} // namespace KVR::Support
