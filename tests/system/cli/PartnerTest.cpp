#include "Partner.h"

#include <gtest/gtest.h>

namespace
{

using namespace KVR::Cli;

const OwnNames here{"srv2.example.com", "example.com"};

std::string hostOf(const std::string& text)
{
    const std::optional<HostPort> host = ParseHost(text);
    return host ? host->host + '|' + host->port : "none";
}

bool isThis(const std::string& host, const std::string& uris, const OwnNames& own = here)
{
    return IsThisServer(ParseHost(host).value(), uris, own);
}

TEST(CliPartner, HostsAreReadWithTheirPorts)
{
    EXPECT_EQ(hostOf("srv1"), "srv1|");
    EXPECT_EQ(hostOf("SRV1.Example.com.:1389"), "srv1.example.com|1389");
    EXPECT_EQ(hostOf("127.0.0.1:1"), "127.0.0.1|1");
    EXPECT_EQ(hostOf("[::1]:65535"), "::1|65535");
    EXPECT_EQ(hostOf("[FE80::1]"), "fe80::1|");
    EXPECT_EQ(hostOf("a_b-c"), "a_b-c|");
}

TEST(CliPartner, WhatIsNoHostIsNotRead)
{
    for (const std::string text : {"",       ".",      "..",     ".:1",         "-a",      ".a",
                                   ":1",     "srv1:",  "srv1:x", "srv1:123456", "srv1:-1", "srv1/",
                                   "a b",    "a\"",    "::1",    "[]",          "[::1",    "[::1]1",
                                   "[::1]:", "[srv1]", "a%b",    "\xc3\xa4"})
    {
        EXPECT_EQ(hostOf(text), "none") << text;
    }
}

TEST(CliPartner, UrisOfServers)
{
    EXPECT_EQ(ParseServerUri("ldap://srv1").value().host, "srv1");
    EXPECT_EQ(ParseServerUri("ldaps://srv1:1/").value().port, "1");
    for (const std::string uri : {"", "srv1", "ldap://", "ldap:///", "ldap://srv1/dc=x", "LDAP://srv1",
                                  "ldapi:///", "ldap://ldap://srv1", "ldap://srv1 ", " ldap://srv1"})
    {
        EXPECT_FALSE(ParseServerUri(uri)) << uri;
    }
}

TEST(CliPartner, LoopbackIsThisServerWhereverItIs)
{
    for (const std::string uri : {"ldap://localhost", "ldap://srv9.example.org", "ldapi:///", "ldap:///",
                                  "ldaps://srv9", "ldap://a ldap://b"})
    {
        for (const std::string host :
             {"localhost", "127.0.0.1", "[::1]", "LocalHost", "localhost.localdomain"})
        {
            EXPECT_TRUE(isThis(host, uri)) << host << ' ' << uri;
        }
    }
}

TEST(CliPartner, TheHostOfTheConnectionIsThisServer)
{
    EXPECT_TRUE(isThis("SRV9.example.org.", "ldap://srv9.example.org"));
    EXPECT_TRUE(isThis("srv9", "ldap://srv9.example.com"));
    EXPECT_TRUE(isThis("srv9.example.com", "ldap://srv9"));
    EXPECT_TRUE(isThis("srv3", "ldap://srv1 ldap://srv3"));
    EXPECT_FALSE(isThis("srv9", "ldap://srv9.example.org"));
    EXPECT_FALSE(isThis("srv1", "ldap://srv3"));
    EXPECT_FALSE(isThis("127.0.0.2", "ldap://127.0.0.3"));
    EXPECT_FALSE(isThis("srv9", "ldap://srv9.example.com", {"srv2", ""}));
}

TEST(CliPartner, TheOwnHostIsThisServerWhereTheConnectionStaysOnIt)
{
    for (const std::string uri : {"ldap://localhost:1389", "ldapi:///", "ldap://127.0.0.1", "ldap://srv2"})
    {
        EXPECT_TRUE(isThis("srv2.example.com", uri)) << uri;
        EXPECT_TRUE(isThis("srv2", uri)) << uri;
    }
    EXPECT_FALSE(isThis("srv2.example.com", "ldap://srv1.example.com"));
}

TEST(CliPartner, AnotherPortIsAnotherServer)
{
    EXPECT_TRUE(isThis("localhost:1389", "ldap://localhost:1389"));
    EXPECT_TRUE(isThis("localhost:389", "ldap://localhost"));
    EXPECT_TRUE(isThis("localhost:389", "ldaps://localhost:636"));
    EXPECT_TRUE(isThis("localhost:389", "ldapi:///"));
    EXPECT_FALSE(isThis("localhost:389", "ldap://localhost:1389"));
    EXPECT_FALSE(isThis("localhost:1389", "ldap://localhost"));
}

TEST(CliPartner, DomainsAreDnsNames)
{
    EXPECT_EQ(ParseDomain("example.com"), "example.com");
    EXPECT_EQ(ParseDomain("EXAMPLE.com."), "EXAMPLE.com");
    EXPECT_EQ(ParseDomain("a-1"), "a-1");
    for (const std::string text :
         {"", ".", "..", "a..b", ".a", "a..", "a b", " a", "a,b", "a_b", "a\\", "a*", "\xc3\xa4"})
    {
        EXPECT_EQ(ParseDomain(text), std::nullopt) << text;
    }
}

TEST(CliPartner, SuffixesAreComparedWithoutCaseAndBlanks)
{
    EXPECT_TRUE(IsSameDn("dc=example,dc=com", "DC=Example, dc=COM"));
    EXPECT_FALSE(IsSameDn("dc=example,dc=com", "dc=com"));
    EXPECT_FALSE(IsSameDn("dc=example,dc=com", "dc=example,dc=org"));
    EXPECT_TRUE(IsWithinDn("dc=sub,dc=example,dc=com", "dc=Example,dc=com"));
    EXPECT_TRUE(IsWithinDn("dc=example,dc=com", ""));
    EXPECT_FALSE(IsWithinDn("dc=com", "dc=example,dc=com"));
    EXPECT_FALSE(IsWithinDn("dc=xexample,dc=com", "dc=example,dc=com"));
    EXPECT_FALSE(IsWithinDn("no DN", "also none"));
}

} // namespace
