#include "OwnDomain.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace KVR::Test
{

TEST(OwnDomain, OfADnIsThatOfItsComponents)
{
    const std::map<std::string, std::string> domains = {{"dc=example,dc=com", "example.com"},
                                                        {" DC = example , dC=com ", "example.com"},
                                                        {"dc=intranet", "intranet"},
                                                        {"dc=a-1,dc=_b,dc=C", "a-1._b.C"}};
    for (const auto& [dn, domain] : domains)
    {
        EXPECT_EQ(domain, domainOfDn(dn)) << dn;
    }
}

TEST(OwnDomain, OfADnOfAnotherKindIsUnknown)
{
    for (const char* const dn : {"", "o=example", "ou=people,dc=example,dc=com", "dc=example,o=com", "dc",
                                 "dc=", "dc=example,", ",dc=com", "dc=,dc=com", "dc=example,dc=",
                                 "dc=example,dc= ,dc=com", "dc=a.b,dc=com", "dc=a\\,b", "dc=a+o=b,dc=com"})
    {
        EXPECT_EQ("", domainOfDn(dn)) << dn;
    }
}

TEST(OwnDomain, OfAHostNameIsWhatFollowsItsFirstDot)
{
    const std::map<std::string, std::string> domains = {{"station.example.com", "example.com"},
                                                        {"station.intranet", "intranet"},
                                                        {"station", ""},
                                                        {"station.example.com.", "example.com"},
                                                        {"station.", ""},
                                                        {"10.0.0.5", ""},
                                                        {"station.lan2", "lan2"},
                                                        {"", ""}};
    for (const auto& [name, domain] : domains)
    {
        EXPECT_EQ(domain, domainOfHost(name)) << name;
    }
}

TEST(OwnDomain, OfTheResolverIsTheFirstOneItSearches)
{
    const std::map<std::string, std::string> domains = {
        {"nameserver 127.0.0.1\nsearch example.com other.org\n", "example.com"},
        {"search\texample.com.", "example.com"},
        {"domain example.com\n", "example.com"},
        {"search first.org\ndomain last.org\n", "last.org"},
        {"domain first.org\nsearch last.org more.org\nnameserver ::1\n", "last.org"},
        {"# search example.com\n;domain example.com\n", ""},
        {" search example.com\n\tdomain example.com\n", ""},
        {"search\n", ""},
        {"search .\n", ""},
        {"searching example.com\nSEARCH example.com\noptions ndots:1\n", ""},
        {"", ""}};
    for (const auto& [text, domain] : domains)
    {
        std::istringstream configuration(text);
        EXPECT_EQ(domain, searchDomainOf(configuration)) << text;
    }
}

} // namespace KVR::Test
