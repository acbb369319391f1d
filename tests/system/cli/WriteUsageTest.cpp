// What the writing commands refuse before they talk to a server.

#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using testing::HasSubstr;
using testing::StartsWith;

/** Nothing listens there: had it connected, the exit status would be another one. */
void expectRefusal(std::vector<std::string> arguments, const std::string& message)
{
    arguments.insert(arguments.begin(), {"--uri", "ldap://127.0.0.1:1"});
    const Outcome outcome = kvrLdap(arguments);
    EXPECT_EQ(outcome.status, 2) << message;
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("kvr-ldap: " + message + "\n"));
}

const std::vector<std::vector<std::string>> writers = {
    {"add", "", "cn=a"},
    {"modify", "", "--clear", "cn"},
    {"delete", "", "--yes"},
    {"rename", "", "cn=a"},
    {"ensure-ou", ""},
    {"attr set", "", "cn", "a"},
    {"attr add", "", "cn", "a"},
    {"attr remove", "", "cn", "a"},
    {"attr clear", "", "cn"},
    {"attr get-binary", "", "cn"},
    {"attr set-binary", "", "cn", "-"},
};

/** A row of the list as arguments, with this DN. */
std::vector<std::string> withDn(std::vector<std::string> arguments, const std::string& dn)
{
    arguments[1] = dn;
    if (arguments[0].find("attr ") == 0)
    {
        arguments[0].erase(0, 5);
        arguments.insert(arguments.begin(), "attr");
    }
    return arguments;
}

TEST(CliWriteUsage, AnEmptyDnIsRefusedByEveryCommand)
{
    for (const auto& writer : writers)
    {
        expectRefusal(withDn(writer, ""), writer[0] + ": the DN is empty");
        expectRefusal(withDn(writer, "  "), writer[0] + ": the DN is empty");
    }
}

TEST(CliWriteUsage, ChangesHaveNoLdifForm)
{
    for (const auto& writer : writers)
    {
        std::vector<std::string> arguments = withDn(writer, "dc=a");
        arguments.insert(arguments.end(), {"--output", "ldif"});
        expectRefusal(arguments, writer[0] + ": there is no LDIF form of this answer");
    }
}

TEST(CliWriteUsage, EveryCommandHasHelpWithAnExample)
{
    for (const auto& writer : writers)
    {
        std::vector<std::string> arguments = withDn(writer, "dc=a");
        arguments.emplace_back("--help");
        const Outcome outcome = kvrLdap(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage: kvr-ldap " + writer[0] + " [OPTIONS] DN"));
        EXPECT_THAT(outcome.out, HasSubstr("\nExamples:\n  "));
        EXPECT_THAT(outcome.out, HasSubstr("kvr-ldap " + writer[0] + " "));
    }
}

TEST(CliWriteUsage, AGroupNeedsACommandAndNamesAnUnknownOne)
{
    expectRefusal({"attr"}, "attr: no command is given");
    expectRefusal({"attr", "sett", "dc=a"}, "attr: unknown command 'sett'");
    expectRefusal({"attr", "search", "dc=a"}, "attr: unknown command 'search'");
    expectRefusal({"attr", "clear", "--bogus"}, "attr clear: unknown option '--bogus'");
    const Outcome help = kvrLdap({"attr", "--help"});
    for (const char* command :
         {"  set ", "  add ", "  remove ", "  clear ", "  get-binary ", "  set-binary "})
    {
        EXPECT_THAT(help.out, HasSubstr(command));
    }
}

TEST(CliWriteUsage, AnArgumentBehindTheMarkIsNoOption)
{
    expectRefusal({"delete", "dc=a", "--", "-x"}, "delete: argument too many '-x'");
    expectRefusal({"delete", "dc=a", "--", "[x]"}, "delete: argument too many '[x]'");
}

TEST(CliAddUsage, NeedsNameAndValueOfEachAttribute)
{
    expectRefusal({"add", "dc=a"}, "add: NAME=VALUE is required");
    expectRefusal({"add", "dc=a", "cn"}, "add: 'cn' is not NAME=VALUE");
    expectRefusal({"add", "dc=a", "=a"}, "add: the name of an attribute is empty");
    expectRefusal({"add", "dc=a", "cn="}, "add: the value of 'cn' is empty");
    expectRefusal({"add", "dc=a", "+cn=a"}, "add: '+cn' is no name of an attribute");
}

TEST(CliModifyUsage, NeedsAChange)
{
    expectRefusal({"modify", "dc=a"}, "modify: nothing is to be changed");
}

TEST(CliModifyUsage, RefusesNamesThatWouldBeReadAsModesOrNotAtAll)
{
    for (const std::string option : {"--add", "--remove", "--replace"})
    {
        for (const std::string name : {"+cn", "-cn", "!cn"})
        {
            expectRefusal({"modify", "dc=a", option, name + "=a"},
                          "modify: '" + name + "' is no name of an attribute");
        }
        expectRefusal({"modify", "dc=a", option, "=a"}, "modify: the name of an attribute is empty");
        expectRefusal({"modify", "dc=a", option, ""}, "modify: '' is not NAME=VALUE");
        expectRefusal({"modify", "dc=a", option, "cn"}, "modify: 'cn' is not NAME=VALUE");
    }
    expectRefusal({"modify", "dc=a", "--clear", ""}, "modify: the name of an attribute is empty");
    expectRefusal({"modify", "dc=a", "--clear", "!cn"}, "modify: '!cn' is no name of an attribute");
    expectRefusal({"modify", "dc=a", "--clear", "cn=a"}, "modify: 'cn=a' is no name of an attribute");
}

TEST(CliModifyUsage, RefusesWhatIsOnlyHalfMeant)
{
    expectRefusal({"modify", "dc=a", "--clear", "cn", "--replace", "CN=a"},
                  "modify: --clear and --replace of 'CN' exclude each other");
    expectRefusal({"modify", "dc=a", "--clear", "cn", "--remove", "cn=a"},
                  "modify: --clear and --remove of 'cn' exclude each other");
    expectRefusal({"modify", "dc=a", "--add", "cn=b", "--replace", "cn=a"},
                  "modify: --add and --replace of 'cn' exclude each other");
    expectRefusal({"modify", "dc=a", "--remove", "cn=b", "--replace", "cn=a"},
                  "modify: --remove and --replace of 'cn' exclude each other");
    expectRefusal({"modify", "dc=a", "--add", "cn=b", "--remove", "CN=b"},
                  "modify: the same value of 'cn' is added and removed");
}

TEST(CliRenameUsage, TakesOneRdn)
{
    for (const std::string rdn : {"", "b", "=b", "cn=b,ou=c", "cn=b;ou=c", "cn=b+c", "cn=b\\"})
    {
        expectRefusal({"rename", "cn=a,dc=x", rdn}, "rename: '" + rdn + "' is no RDN");
    }
    expectRefusal({"rename", "a", "cn=b"}, "rename: 'a' is no DN");
}

TEST(CliDeleteUsage, TakesADn)
{
    expectRefusal({"delete", "people", "--yes"}, "delete: 'people' is no DN");
}

TEST(CliEnsureOuUsage, RefusesPathsInWhichOtherUnitsWouldBeMade)
{
    const std::map<std::string, std::string> reasons = {
        {"OU=a,dc=x", "'OU=a' is to begin with 'ou='"},
        {"ou =a,dc=x", "'ou =a' is to begin with 'ou='"},
        {"ou=a,DC=x,dc=y", "'DC=x' is to begin with 'dc='"},
        {"ou=you=me,dc=x", "'ou=' stands inside 'ou=you=me'"},
        {"cn=you=me,ou=a,dc=x", "'ou=' stands inside 'cn=you=me'"},
        {"ou=abcdc=1,dc=x", "'dc=' stands inside 'ou=abcdc=1'"},
        {"ou=a+cn=b,dc=x", "'ou=a+cn=b' has several parts"},
        {"ou=a,cn=b,ou=c,dc=x", "'cn=b' stands between units and domain"},
        {"ou=a,o=b", "'o=b' stands between units and domain"},
        {"ou=a;ou=b,dc=x", "a \";\" or a quotation mark in it is not escaped"},
        {"ou=\"a,b\",dc=x", "a \";\" or a quotation mark in it is not escaped"},
    };
    for (const auto& [path, reason] : reasons)
    {
        expectRefusal({"ensure-ou", path}, "ensure-ou: '" + path + "' can't be ensured: " + reason);
    }
    expectRefusal({"ensure-ou", "people"}, "ensure-ou: 'people' is no DN");
}

TEST(CliAttrUsage, RefusesEmptyNamesAndValues)
{
    for (const std::string verb : {"set", "add", "remove"})
    {
        expectRefusal({"attr", verb, "dc=a", "cn"}, "attr " + verb + ": VALUE is required");
        expectRefusal({"attr", verb, "dc=a", "cn", ""}, "attr " + verb + ": a value is empty");
        expectRefusal({"attr", verb, "dc=a", "cn", "a", ""}, "attr " + verb + ": a value is empty");
        expectRefusal({"attr", verb, "dc=a", "", "a"},
                      "attr " + verb + ": the name of an attribute is empty");
    }
    expectRefusal({"attr", "clear", "dc=a", ""}, "attr clear: the name of an attribute is empty");
    expectRefusal({"attr", "get-binary", "dc=a", "a)(b"},
                  "attr get-binary: 'a)(b' is no name of an attribute");
    expectRefusal({"attr", "get-binary", "dc=a", "*"}, "attr get-binary: '*' is no name of an attribute");
}

TEST(CliAttrUsage, AnEmptyFileIsNoValue)
{
    for (const char* file : {"-", "/dev/null"})
    {
        expectRefusal({"attr", "set-binary", "dc=a", "jpegPhoto", file},
                      "attr set-binary: there is no value: the file is empty");
    }
}

TEST(CliAttrUsage, AFileThatCantBeReadEndsWith6)
{
    const std::vector<std::string> command = {"attr", "set-binary", "dc=a", "jpegPhoto"};
    for (const auto& [file, reason] :
         std::map<std::string, std::string>{{"/nowhere/at all", "No such file or directory"},
                                            {"/tmp", "Is a directory"},
                                            {"", "No such file or directory"}})
    {
        std::vector<std::string> arguments = command;
        arguments.push_back(file);
        const Outcome outcome = kvrLdap(arguments);
        EXPECT_EQ(outcome.status, 6);
        EXPECT_EQ(outcome.err, "kvr-ldap: file '" + file + "': " + reason + "\n");
    }
}

} // namespace
