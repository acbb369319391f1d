#include "RunProgram.h"
#include "TemporaryFile.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* moduleHint = "\nkvr-ldap: hint: --module FILE names the plug-in\n";

TEST(CliModule, IsDescribed)
{
    const Outcome outcome = kvrLdap({"module", "--module", KVR_MODULE_FILE});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "interface:      ldap\n"
                           "name:           Openldap interface\n"
                           "version:        1.7.37\n"
                           "packed version: 1.7.37\n"
                           "kind:           1\n"
                           "file:           " KVR_MODULE_FILE "\n");
}

TEST(CliModule, IsDescribedInJson)
{
    const nlohmann::json expected = {{"schemaVersion", 1},  {"command", "module"},
                                     {"interface", "ldap"}, {"name", "Openldap interface"},
                                     {"version", "1.7.37"}, {"packedVersion", "1.7.37"},
                                     {"kind", "1"},         {"file", KVR_MODULE_FILE}};
    EXPECT_EQ(kvrLdap({"module", "--module", KVR_MODULE_FILE, "--output", "json"}).json(), expected);
}

TEST(CliModule, IsFoundBesideTheProgram)
{
    EXPECT_THAT(kvrLdap({"module"}).out, EndsWith("/lib/libkvr-ldap-wrapper.so\n"));
}

TEST(CliModule, MissingEndsWith6)
{
    const Outcome outcome = kvrLdap({"module", "--module", "/nowhere/module.so"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              std::string("kvr-ldap: loading the plug-in: File '/nowhere/module.so' doesn't exists.") +
                  moduleHint);
}

TEST(CliModule, WithoutSlashIsAFileOfTheCurrentFolder)
{
    EXPECT_THAT(kvrLdap({"module", "--module", "libc.so.6"}).err,
                HasSubstr("File './libc.so.6' doesn't exists."));
}

TEST(CliModule, ThatIsNoSharedObjectEndsWith6)
{
    const TemporaryFile text("no shared object");
    const Outcome outcome = kvrLdap({"module", "--module", text.path()});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, AllOf(StartsWith("kvr-ldap: loading the plug-in: "), HasSubstr(text.path()),
                                   EndsWith(moduleHint)));
}

TEST(CliModule, WithoutEntryPointsEndsWith6)
{
    const Outcome outcome = kvrLdap({"module", "--module", KVR_CORE_FILE});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("get_module_info"), EndsWith(moduleHint)));
}

TEST(CliModule, WithoutTheInterfaceEndsWith6)
{
    const Outcome outcome = kvrLdap({"module", "--module", KVR_SILENT_MODULE});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "kvr-ldap: loading the plug-in: '" KVR_SILENT_MODULE
                           "' offers no interface \"ldap\"" +
                               std::string(moduleHint));
}

TEST(CliModule, ThatThrowsAtItsStartEndsWith6)
{
    const Outcome outcome = kvrLdap({"module", "--module", KVR_FAILING_MODULE});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, std::string("kvr-ldap: loading the plug-in: no room today") + moduleHint);
}

TEST(CliModule, FailureIsTheErrorOfTheJsonDocument)
{
    const Outcome outcome = kvrLdap({"module", "--module", "/nowhere/module.so", "--output", "json"});
    EXPECT_EQ(outcome.status, 6);
    const nlohmann::json expected = {{"schemaVersion", 1},
                                     {"command", "module"},
                                     {"error",
                                      {{"exitCode", 6},
                                       {"kind", "the plug-in or a local file is unusable"},
                                       {"resultCode", nullptr},
                                       {"subject", "loading the plug-in"},
                                       {"message", "File '/nowhere/module.so' doesn't exists."}}}};
    EXPECT_EQ(outcome.json(), expected);
}

TEST(CliParameters, ComeFromTheOptionAndFromAFile)
{
    const TemporaryFile file("# a list\n\nKVR_PRM_LDAP_URIS = ldap://a ldaps://b\n");
    EXPECT_EQ(kvrLdap({"uris", "--params", file.path()}).out, "ldap://a\nldaps://b\n");
    EXPECT_EQ(kvrLdap({"uris", "--param", "KVR_PRM_LDAP_URIS=ldap://c"}).out, "ldap://c\n");
}

TEST(CliParameters, OfTheOptionWinOverTheFileAndTheUriOverBoth)
{
    const TemporaryFile file("KVR_PRM_LDAP_URIS = ldap://a\n");
    const std::string parameter = "KVR_PRM_LDAP_URIS=ldap://c";
    EXPECT_EQ(kvrLdap({"uris", "--params", file.path(), "--param", parameter}).out, "ldap://c\n");
    EXPECT_EQ(kvrLdap({"uris", "--uri", "ldap://d", "--param", parameter}).out, "ldap://d\n");
}

TEST(CliParameters, AreTrimmed)
{
    EXPECT_EQ(kvrLdap({"uris", "--param", " KVR_PRM_LDAP_URIS = [a b] "}).out, "[a\nb]\n");
    EXPECT_EQ(
        kvrLdap({"uris", "--param", "KVR_PRM_LDAP_URIS= ", "--output", "json"}).json().at("uris").size(), 0U);
    EXPECT_EQ(kvrLdap({"show", "dc=a", "--param", "KVR_PRM_LDAP_URIS= "}).err,
              "kvr-ldap: connecting: no server is given\nkvr-ldap: hint: --uri ldap://HOST names one\n");
}

TEST(CliParameters, NameTheHost)
{
    const TemporaryFile file("KVR_SERVER_HOST = srv2.example.com\n");
    const Outcome outcome = shell("\"$KVR_SANDBOX_TOOL\" -- bash -c '"
                                  ": >/etc/ldap/ldap.conf; \"$KVR_LDAP\" uris; "
                                  "\"$KVR_LDAP\" uris --param KVR_SERVER_HOST=srv1.example.com; "
                                  "\"$KVR_LDAP\" uris --params " +
                                  file.path() + "'");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "ldap://localhost\nldap://srv1.example.com\nldap://srv2.example.com\n");
}

/** In a box whose resolver searches as given, a host of this name deletes the provider of a domain. */
Outcome deletingOn(const std::string& host, const std::string& resolver, const std::string& arguments)
{
    const TemporaryFile file(resolver);
    return shell("\"$KVR_SANDBOX_TOOL\" --host " + host + " -- bash -c 'mount --bind " + file.path() +
                 " /etc/resolv.conf && \"$KVR_LDAP\" provider delete --yes --uri ldap://127.0.0.1:1 " +
                 arguments + "'");
}

TEST(CliOwnDomain, IsThatOfTheHostNameOrElseTheFirstOneThatTheResolverSearches)
{
    const char* const resolver = "nameserver 127.0.0.1\nsearch found.org other.org\n";
    const std::string ownDomain = "is the own domain, whose database would go with its data";
    const std::string otherHost = "--param KVR_HOST_NAME=station ";
    EXPECT_THAT(deletingOn("srv1.named.org", resolver, "named.org").err, HasSubstr(ownDomain));
    EXPECT_EQ(deletingOn("srv1.named.org", resolver, "found.org").status, 5);
    EXPECT_THAT(deletingOn("srv1", resolver, "found.org").err, HasSubstr(ownDomain));
    EXPECT_EQ(deletingOn("srv1", resolver, "other.org").status, 5);
    EXPECT_THAT(deletingOn("srv1.named.org", resolver, otherHost + "found.org").err, HasSubstr(ownDomain));
}

TEST(CliOwnDomain, ThatIsUnknownKeepsProvidersFromBeingChanged)
{
    for (const std::string change : {"add a.org srv3", "update a.org srv3", "delete a.org --yes"})
    {
        const Outcome outcome =
            shell("\"$KVR_SANDBOX_TOOL\" --host srv1 -- \"$KVR_LDAP\" provider " + change);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err,
                  "kvr-ldap: provider " + change.substr(0, change.find(' ')) +
                      ": the own domain is unknown; nothing is changed\n"
                      "kvr-ldap: hint: KVR_DOMAIN_NAME and DOMAIN_DN say which domain is the own "
                      "one\n");
    }
}

TEST(CliUris, AreThoseOfLdapConf)
{
    const Outcome outcome =
        shell("\"$KVR_SANDBOX_TOOL\" -- bash -c '"
              "echo URI ldap://a bogus ldaps://b >/etc/ldap/ldap.conf; \"$KVR_LDAP\" uris'");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "ldap://a\nldaps://b\n");
}

TEST(CliParameters, KeepSignsAndBracketsOfTheValue)
{
    EXPECT_EQ(kvrLdap({"uris", "--param", "KVR_PRM_LDAP_URIS=ldap:///??sub?(a=b)"}).out,
              "ldap:///??sub?(a=b)\n");
    EXPECT_EQ(kvrLdap({"uris", "--param", "KVR_PRM_LDAP_URIS=[a,b]", "--param", "REALM=x"}).out, "[a,b]\n");
}

TEST(CliParameters, ABadFileIsNamedWithItsLineAndEndsWith6)
{
    const TemporaryFile file("REALM = X\nno sign here\n");
    const Outcome outcome = kvrLdap({"uris", "--params", file.path()});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                AllOf(StartsWith("kvr-ldap: --params: "), HasSubstr(file.path()), HasSubstr("2")));
}

TEST(CliParameters, AMissingFileEndsWith6)
{
    const Outcome outcome = kvrLdap({"uris", "--params", "/nowhere/params"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, AllOf(StartsWith("kvr-ldap: --params: "), HasSubstr("/nowhere/params")));
}

TEST(CliOutput, FullDiskEndsWith6)
{
    Setting full;
    full.output = "/dev/full";
    for (const char* command : {"module", "--help", "--version"})
    {
        const Outcome outcome = kvrLdap({command}, full);
        EXPECT_EQ(outcome.status, 6) << command;
        EXPECT_EQ(outcome.err, "kvr-ldap: standard output: No space left on device\n");
    }
}

TEST(CliOutput, ClosedFromTheStartIsQuiet)
{
    Setting closed;
    closed.output = "";
    const Outcome outcome = kvrLdap({"module"}, closed);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST(CliOutput, ClosedByItsReaderIsQuiet)
{
    Setting setting;
    setting.readerGone = true;
    for (const char* command : {"module", "--help"})
    {
        const Outcome outcome = kvrLdap({command}, setting);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
    }
}

} // namespace
