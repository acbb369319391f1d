#include "DistinguishedName.h"

#include <gmock/gmock.h>

namespace
{

using KVR::Cli::Dn;
using KVR::Cli::ParseDn;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> componentsOf(const std::string& text)
{
    std::vector<std::string> components;
    const Dn dn = ParseDn(text).value();
    for (const KVR::Cli::Rdn& rdn : dn)
    {
        components.push_back(rdn.text);
    }
    return components;
}

bool isSame(const std::string& left, const std::string& right)
{
    const Dn one = ParseDn(left).value();
    const Dn other = ParseDn(right).value();
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const auto& each, const auto& its) { return each.key == its.key; });
}

TEST(DistinguishedName, FallsIntoComponents)
{
    EXPECT_THAT(componentsOf("cn=a, ou = b ;dc=c"), ElementsAre("cn=a", "ou = b", "dc=c"));
    EXPECT_THAT(componentsOf("cn=a\\,b+sn=\"c,d\",dc=x"), ElementsAre("cn=a\\,b+sn=\"c,d\"", "dc=x"));
    EXPECT_THAT(componentsOf("cn=a\\ ,dc=x"), ElementsAre("cn=a\\ ", "dc=x"));
    EXPECT_THAT(componentsOf("cn=,dc=x"), ElementsAre("cn=", "dc=x"));
}

TEST(DistinguishedName, OfTheRootIsEmpty)
{
    EXPECT_THAT(componentsOf(""), IsEmpty());
    EXPECT_THAT(componentsOf("  "), IsEmpty());
}

TEST(DistinguishedName, IsTheSameInAnySpelling)
{
    EXPECT_TRUE(isSame("CN=Anna  Maria,DC=Example", "cn = anna maria , dc=example"));
    EXPECT_TRUE(isSame("cn=a\\2Cb", "cn=a\\,b"));
    EXPECT_TRUE(isSame("cn=\\61", "cn=a"));
    EXPECT_TRUE(isSame("cn=\"a,b\"", "cn=a\\,b"));
    EXPECT_TRUE(isSame("cn=a+sn=b", "SN=b + cn=A"));
    EXPECT_TRUE(isSame("cn=a\\ ", "cn=a"));
    EXPECT_TRUE(isSame("OID.2.5.4.3=a", "2.5.4.3=a"));
}

TEST(DistinguishedName, IsTheSameInLettersOfOtherScripts)
{
    EXPECT_TRUE(isSame("cn=J\xc3\x9cRGEN", "cn=j\xc3\xbcrgen"));
    EXPECT_TRUE(isSame("cn=\xd0\x90", "cn=\xd0\xb0"));
    EXPECT_TRUE(isSame("cn=\\C3\\9C", "cn=\xc3\xbc"));
    EXPECT_TRUE(isSame("cn=\xf0\x9d\x84\x9e", "cn=\xf0\x9d\x84\x9e"));
}

TEST(DistinguishedName, TellsNamesApart)
{
    EXPECT_FALSE(isSame("cn=a", "cn=b"));
    EXPECT_FALSE(isSame("cn=a", "sn=a"));
    EXPECT_FALSE(isSame("cn=a,dc=x", "cn=a"));
    EXPECT_FALSE(isSame("cn=a+sn=b", "cn=a\\+sn\\=b"));
    EXPECT_FALSE(isSame("cn=ab", "cn=a b"));
    EXPECT_FALSE(isSame("cn=\xf0\x9d\x84\x9e", "cn=\xf0\x9d\x84\x9f"));
}

TEST(DistinguishedName, IsRefusedWhenItIsNone)
{
    for (const char* text : {"a", "=a", "cn=a,", ",cn=a", "cn=a,,dc=b", "cn=a+", "cn=a\\", "cn=a\\4",
                             "cn=\"a", "c n=a", "cn=a,b", "1..2=a"})
    {
        EXPECT_FALSE(ParseDn(text)) << text;
    }
}

} // namespace
