#include "Ldif.h"

#include <gtest/gtest.h>

namespace
{

namespace Ldif = KVR::Cli::Ldif;
using namespace std::string_literals;

TEST(LdifLine, WritesPlainTextAsItIs)
{
    EXPECT_EQ(Ldif::Line("cn", "Anna Schmidt"), "cn: Anna Schmidt\n");
    EXPECT_EQ(Ldif::Line("labeledURI", "http://a:80/<b>"), "labeledURI: http://a:80/<b>\n");
}

TEST(LdifLine, WritesNothingForAnEmptyValue)
{
    EXPECT_EQ(Ldif::Line("dn", ""), "dn:\n");
}

TEST(LdifLine, HidesALeadingBlankColonOrLess)
{
    EXPECT_EQ(Ldif::Line("cn", " a"), "cn:: IGE=\n");
    EXPECT_EQ(Ldif::Line("cn", ":a"), "cn:: OmE=\n");
    EXPECT_EQ(Ldif::Line("cn", "<a"), "cn:: PGE=\n");
}

TEST(LdifLine, HidesATrailingBlank)
{
    EXPECT_EQ(Ldif::Line("cn", "a "), "cn:: YSA=\n");
}

TEST(LdifLine, HidesLineEndsZeroBytesAndControlCharacters)
{
    EXPECT_EQ(Ldif::Line("cn", "a\nb"), "cn:: YQpi\n");
    EXPECT_EQ(Ldif::Line("cn", "a\rb"), "cn:: YQ1i\n");
    EXPECT_EQ(Ldif::Line("cn", "a\0b"s), "cn:: YQBi\n");
    EXPECT_EQ(Ldif::Line("cn", "a\x1b"), "cn:: YRs=\n");
    EXPECT_EQ(Ldif::Line("cn", "a\x7f"), "cn:: YX8=\n");
}

TEST(LdifLine, HidesWhatIsNotAscii)
{
    EXPECT_EQ(Ldif::Line("cn", "\xc3\xbc"), "cn:: w7w=\n");
    EXPECT_EQ(Ldif::Line("cn", "\xff"), "cn:: /w==\n");
}

TEST(LdifLine, IsNeverFolded)
{
    EXPECT_EQ(Ldif::Line("cn", std::string(500, 'a')), "cn: " + std::string(500, 'a') + "\n");
}

TEST(LdifComment, StaysOnItsLine)
{
    EXPECT_EQ(Ldif::Comment("one\ndn: cn=x"), "# one dn: cn=x\n");
}

TEST(LdifAttributeName, HasNoCharacterThatEndsIt)
{
    EXPECT_TRUE(Ldif::IsAttributeName("userCertificate;binary"));
    EXPECT_TRUE(Ldif::IsAttributeName("1.2.840.113556"));
    for (const char* bad : {"", "cn:", "cn\nsn", "c n", "c\x1bn", "\xc3\xbc"})
    {
        EXPECT_FALSE(Ldif::IsAttributeName(bad)) << bad;
    }
}

} // namespace
