#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using testing::HasSubstr;

/** A usage error is one line, perhaps one of help behind it, and nothing is on standard output. */
void expectUsage(const std::vector<std::string>& arguments, const std::string& messages)
{
    const Outcome outcome = kvrLdap(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, messages);
}

TEST(CliUsage, ACommandIsNeeded)
{
    expectUsage({}, "kvr-ldap: no command is given\n"
                    "kvr-ldap: hint: see kvr-ldap --help\n");
}

TEST(CliUsage, AnUnknownCommandIsNamed)
{
    expectUsage({"serch", "dc=example"}, "kvr-ldap: unknown command 'serch'\n"
                                         "kvr-ldap: hint: see kvr-ldap --help\n");
}

TEST(CliUsage, AnUnknownOptionIsNamedBeforeAndAfterTheCommand)
{
    expectUsage({"search", "dc=example", "--bogus"}, "kvr-ldap: search: unknown option '--bogus'\n"
                                                     "kvr-ldap: hint: see kvr-ldap search --help\n");
    expectUsage({"--bogus", "module"}, "kvr-ldap: module: unknown option '--bogus'\n"
                                       "kvr-ldap: hint: see kvr-ldap module --help\n");
}

TEST(CliUsage, AMissingArgumentIsNamed)
{
    expectUsage({"search"}, "kvr-ldap: search: BASE is required\n"
                            "kvr-ldap: hint: see kvr-ldap search --help\n");
    expectUsage({"show"}, "kvr-ldap: show: DN is required\n"
                          "kvr-ldap: hint: see kvr-ldap show --help\n");
}

TEST(CliUsage, AnArgumentTooManyIsNamed)
{
    expectUsage({"show", "dc=a", "dc=b"}, "kvr-ldap: show: argument too many 'dc=b'\n"
                                          "kvr-ldap: hint: see kvr-ldap show --help\n");
}

TEST(CliUsage, AWordOutsideAChoiceIsRefusedWithTheChoice)
{
    expectUsage({"search", "dc=a", "--scope", "7"},
                "kvr-ldap: search: --scope: '7' is none of base|one|sub|children\n"
                "kvr-ldap: hint: see kvr-ldap search --help\n");
    expectUsage({"module", "--output", "xml"}, "kvr-ldap: module: --output: 'xml' is none of text|json|ldif\n"
                                               "kvr-ldap: hint: see kvr-ldap module --help\n");
    expectUsage({"--auth", "simple", "module"},
                "kvr-ldap: module: --auth: 'simple' is none of anonymous|gssapi\n"
                "kvr-ldap: hint: see kvr-ldap module --help\n");
}

TEST(CliUsage, VerboseAndQuietExcludeEachOther)
{
    const Outcome outcome = kvrLdap({"module", "-v", "-q"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("excludes"));
}

TEST(CliUsage, AParameterNeedsItsNameAndSign)
{
    expectUsage({"module", "--param", "REALM"}, "kvr-ldap: --param: 'REALM' is not NAME=VALUE\n");
    expectUsage({"module", "--param", "=x"}, "kvr-ldap: --param: '=x' is not NAME=VALUE\n");
}

TEST(CliUsage, AnEmptyFilterIsRefusedBeforeAnythingIsSent)
{
    // Nothing listens there: had it connected, the exit status would be another one.
    for (const char* filter : {"", " "})
    {
        expectUsage({"search", "dc=example", filter, "--uri", "ldap://127.0.0.1:1"},
                    "kvr-ldap: search: the filter is empty\n"
                    "kvr-ldap: hint: leave it out, or give (objectClass=*)\n");
    }
}

TEST(CliUsage, AnEmptyAttributeNameIsRefusedBeforeAnythingIsSent)
{
    expectUsage({"search", "dc=example", "(cn=a)", "cn", "", "--uri", "ldap://127.0.0.1:1"},
                "kvr-ldap: search: the name of an attribute is empty\n");
}

TEST(CliUsage, AnEmptyUriIsNoServer)
{
    expectUsage({"show", "dc=example", "--uri", ""}, "kvr-ldap: connecting: no server is given\n"
                                                     "kvr-ldap: hint: --uri ldap://HOST names one\n");
}

TEST(CliUsage, AUriThatIsNoneIsNamed)
{
    expectUsage({"show", "dc=example", "--uri", "127.0.0.1"},
                "kvr-ldap: connecting to 127.0.0.1: Invalid LDAP url '127.0.0.1'.\n"
                "kvr-ldap: hint: write a server as ldap://HOST or ldaps://HOST, several with blanks between "
                "them\n");
}

TEST(CliUsage, AUriThatOnlyTheLibraryRefusesIsUsageToo)
{
    expectUsage({"show", "dc=example", "--uri", "ldap://127.0.0.1:1 bogus"},
                "kvr-ldap: connecting to ldap://127.0.0.1:1 bogus: OpenLDAP error on initialization - Bad "
                "parameter to an ldap routine\n"
                "kvr-ldap: hint: write a server as ldap://HOST or ldaps://HOST, several with blanks between "
                "them\n");
}

TEST(CliUsage, AnArgumentThatIsNoTextOfTheLocaleIsRefused)
{
    expectUsage({"show", "cn=J\xfcrgen"},
                "kvr-ldap: arguments: 'cn=J\\xfcrgen' is no text in the character set UTF-8\n");
}

TEST(CliUsage, AnAnswerWithoutLdifFormRefusesIt)
{
    for (const char* command : {"module", "uris"})
    {
        expectUsage({command, "--output", "ldif"},
                    std::string("kvr-ldap: ") + command +
                        ": there is no LDIF form of this answer\n"
                        "kvr-ldap: hint: use --output text or --output json\n");
    }
}

TEST(CliUsage, OptionsStandBeforeOrAfterTheCommand)
{
    const Outcome before = kvrLdap({"--output", "json", "--uri", "ldap://a", "uris"});
    const Outcome after = kvrLdap({"uris", "--uri", "ldap://a", "--output", "json"});
    EXPECT_EQ(before.status, 0);
    EXPECT_EQ(before.out,
              "{\n  \"schemaVersion\": 1,\n  \"command\": \"uris\",\n  \"uris\": [\"ldap://a\"]\n}\n");
    EXPECT_EQ(after.out, before.out);
}

TEST(CliHelp, ListsCommandsExitCodesAndExamples)
{
    const Outcome outcome = kvrLdap({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    for (const char* part :
         {"Usage: kvr-ldap [OPTIONS] SUBCOMMAND", "  module ", "  uris ", "  search ", "  show ",
          "Exit codes:", "  0  done", "  1  refused by the server", "  2  usage", "  3  not found",
          "  4  insufficient access", "  5  no connection or time-out",
          "  6  the plug-in or a local file is unusable", "Examples:"})
    {
        EXPECT_THAT(outcome.out, HasSubstr(part));
    }
    EXPECT_EQ(kvrLdap({"-h"}).out, outcome.out);
}

TEST(CliHelp, HasAnExampleOfEachCommand)
{
    for (const std::string command : {"module", "uris", "search", "show"})
    {
        const Outcome outcome = kvrLdap({command, "--help"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage: kvr-ldap " + command));
        EXPECT_THAT(outcome.out, HasSubstr("Examples:\n  kvr-ldap " + command));
    }
}

TEST(CliVersion, IsThatOfTheProject)
{
    const Outcome outcome = kvrLdap({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "kvr-ldap 1.7.37\n");
}

} // namespace
