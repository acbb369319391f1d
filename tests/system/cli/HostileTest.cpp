// What a directory must not do to the terminal of who reads it, nor to the files made from it.

#include "LdapResponder.h"
#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::HasSubstr;
using testing::Not;

constexpr const char* clearScreen = "\x1b[2J";

class CliHostile : public testing::Test
{
protected:
    Outcome search(const std::string& form)
    {
        return kvrLdap({"search", "dc=example", "--uri", server.uri(), "--output", form});
    }

    LdapResponder server;
};

TEST_F(CliHostile, ControlCharactersOfNamesAndValuesAreShown)
{
    server.onSearch(Answer().entry("cn=\x1b[2J,dc=example", {{"cn", {"a\x1b[2J\nb"}}, {"x\x1b", {"1"}}}));
    EXPECT_EQ(search("text").out, "dn: cn=\\x1b[2J,dc=example\n  cn: a\\x1b[2J\\x0ab\n  x\\x1b: 1\n");
}

TEST_F(CliHostile, ValuesThatAreNoTextAreShown)
{
    server.onSearch(Answer().entry("cn=a", {{"cn", {"\xff\xd8\xff"}}}));
    EXPECT_EQ(search("text").out, "dn: cn=a\n  cn: \\xff\\xd8\\xff\n");
}

TEST_F(CliHostile, WordsOfTheServerAreShownOnOneLine)
{
    server.onSearch(Answer().result(53, std::string("no\nkvr-ldap: all is well") + clearScreen));
    const Outcome outcome = search("text");
    EXPECT_THAT(outcome.err, HasSubstr(": no kvr-ldap: all is well\\x1b[2J\n"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("\x1b")));
}

TEST_F(CliHostile, JsonHasNoControlCharacters)
{
    server.onSearch(Answer().entry("cn=\x1b", {{"cn\x1b", {"\x1b\xc2\x9b"}}}));
    const Outcome outcome = search("json");
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\xc2\x9b")));
    EXPECT_EQ(outcome.json().at("entries").at(0).at("attributes").at("cn\x1b").at(0), "\x1b\xc2\x9b");
}

TEST_F(CliHostile, ANameThatIsNoTextIsShownInJson)
{
    server.onSearch(Answer().entry("cn=\xff", {{"c\xff", {"1"}}}));
    const nlohmann::json entry = search("json").json().at("entries").at(0);
    EXPECT_EQ(entry.at("dn"), nlohmann::json({{"base64", "Y249/w=="}}));
    EXPECT_EQ(entry.at("attributes").at("c\\xff").at(0), "1");
}

TEST_F(CliHostile, NothingStandsOnLdifLinesOfItsOwn)
{
    server.onSearch(Answer().entry("cn=a\nobjectClass: b", {{"cn", {"a\nmail: b"}}, {"x: 1\nmail", {"c"}}}));
    EXPECT_EQ(search("ldif").out, "version: 1\n\ndn:: Y249YQpvYmplY3RDbGFzczogYg==\n"
                                  "cn:: YQptYWlsOiBi\n"
                                  "# left out, no attribute name: x: 1 mail\n");
}

} // namespace
