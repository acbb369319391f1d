// The command line against a real server.

#include "PrivateSlapd.h"
#include "RunProgram.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace
{

using namespace KVR::CliTest;
using KVR::Support::PrivateSlapd;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* people = "ou=people,dc=example,dc=com";

/** Values that LDIF can't carry as they are: blanks at both ends, lines, signs, umlauts, bytes. */
constexpr const char* difficultEntry = R"(dn: cn=difficult,ou=people,dc=example,dc=com
objectClass: inetOrgPerson
cn: difficult
cn:: IGxlYWRpbmc=
sn:: dHJhaWxpbmcg
description: colon: <inside>
description:: OmNvbG9u
description:: PGxlc3M=
description:: dHdvCmxpbmVz
description:: SsO8cmdlbg==
jpegPhoto:: /9j/4QEBAQE=

)";

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        char name[] = "/tmp/kvr-ldap-test-XXXXXX";
        path_ = mkdtemp(name);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name, const std::string& content) const
    {
        std::ofstream(path_ / name) << content;
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

class CliDirectory : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        folder = std::make_unique<TemporaryFolder>();
        server = std::make_unique<PrivateSlapd>(
            std::vector<std::string>{"--data", folder->file("data.ldif", difficultEntry)});
    }

    static void TearDownTestSuite()
    {
        server.reset();
        folder.reset();
    }

    static Outcome run(std::vector<std::string> arguments, const PrivateSlapd& on = *server,
                       const Setting& setting = {})
    {
        arguments.insert(arguments.begin(), {"--uri", on.uri()});
        return kvrLdap(arguments, setting);
    }

    static inline std::unique_ptr<TemporaryFolder> folder;
    static inline std::unique_ptr<PrivateSlapd> server;
};

TEST_F(CliDirectory, SearchFindsPeople)
{
    const Outcome outcome = run({"search", people, "(uid=user000001)", "cn", "mail"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("dn: uid=user000001,ou=people,dc=example,dc=com\n  cn: "));
    EXPECT_THAT(outcome.out, HasSubstr("\n  mail: user000001@example.com\n"));
}

TEST_F(CliDirectory, SearchFindsAllOfThem)
{
    const Outcome outcome = run({"search", people, "(uid=*)", "uid", "--output", "json"});
    EXPECT_EQ(outcome.json().at("count"), 300);
    EXPECT_EQ(outcome.json().at("truncated"), false);
}

TEST_F(CliDirectory, ScopesDiffer)
{
    const auto count = [](const std::string& scope)
    {
        const Outcome outcome =
            run({"search", "ou=units,dc=example,dc=com", "--scope", scope, "--output", "json"});
        return outcome.json().at("count").get<int>();
    };
    EXPECT_EQ(count("base"), 1);
    EXPECT_EQ(count("one"), 5);
    EXPECT_EQ(count("children"), 65);
    EXPECT_EQ(count("sub"), 66);
}

TEST_F(CliDirectory, ShowTellsWhoMadeAnEntry)
{
    const Outcome outcome = run({"show", "uid=user000001,ou=people,dc=example,dc=com", "--output", "json"});
    EXPECT_EQ(outcome.status, 0);
    const nlohmann::json document = outcome.json();
    EXPECT_EQ(document.at("entry").at("attributes").at("uid").at(0), "user000001");
    EXPECT_EQ(document.at("creator"), "cn=root,dc=example,dc=com");
    EXPECT_EQ(document.at("modifier"), "cn=root,dc=example,dc=com");
    EXPECT_THAT(document.at("created").get<std::string>(), MatchesRegex("[0-9]{14}Z"));
    EXPECT_EQ(document.at("modified"), document.at("created"));
}

TEST_F(CliDirectory, ReadsTheServersConfiguration)
{
    const Outcome outcome = run({"show", "olcDatabase={1}hdb,cn=config", "--output", "json"});
    EXPECT_EQ(outcome.json().at("entry").at("attributes").at("olcSuffix").at(0), "dc=example,dc=com");
}

TEST_F(CliDirectory, MissingEntryEndsWith3)
{
    EXPECT_EQ(run({"show", "uid=nobody,ou=people,dc=example,dc=com"}).status, 3);
    EXPECT_EQ(run({"search", "ou=nowhere,dc=example,dc=com"}).status, 3);
}

TEST_F(CliDirectory, WordsOfTheServerAreShown)
{
    const Outcome outcome = run({"search", "no dn"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: search: OpenLDAP error on searching 'no dn (objectClass=*)' - Invalid DN "
              "syntax: invalid DN\n");
}

TEST_F(CliDirectory, SizeLimitIsTold)
{
    const PrivateSlapd small({"--entries", "20", "--size-limit", "5"});
    const Outcome outcome = run({"search", people, "(uid=*)", "--output", "json"}, small);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.json().at("truncated"), true);
    EXPECT_EQ(outcome.json().at("count"), 5);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: search: the answer is incomplete: the server's size limit was reached\n");
}

TEST_F(CliDirectory, HiddenEntriesAreAbsentAndForbiddenOnesDenied)
{
    const PrivateSlapd guarded({"--entries", "1", "--access",
                                "to dn.subtree=\"ou=people,dc=example,dc=com\" "
                                "by * disclose"});
    EXPECT_EQ(run({"search", people}, guarded).status, 4);
    EXPECT_EQ(run({"search", "ou=units,dc=example,dc=com"}, guarded).status, 0);
}

TEST_F(CliDirectory, LdifIsReadBackByAnotherServer)
{
    const std::vector<std::string> search = {"search", people, "(cn=difficult)", "--output", "ldif"};
    const Outcome original = run(search);
    ASSERT_EQ(original.status, 0);
    ASSERT_THAT(original.out, HasSubstr("\ndn: cn=difficult,"));

    const PrivateSlapd other({"--entries", "1"});
    const std::string file = folder->file("copy.ldif", original.out);
    ASSERT_EQ(shell("ldapadd -x -H " + other.uri() + " -f " + file).status, 0);
    EXPECT_EQ(run(search, other).out, original.out);
}

TEST_F(CliDirectory, LdifOfShownEntryIsReadBack)
{
    const Outcome shown = run({"show", "cn=difficult,ou=people,dc=example,dc=com", "--output", "ldif"});
    const PrivateSlapd other({"--entries", "1"});
    const std::string file = folder->file("shown.ldif", shown.out);
    EXPECT_EQ(shell("ldapadd -x -H " + other.uri() + " -f " + file).status, 0);
}

TEST_F(CliDirectory, BinaryValuesAreBase64InJson)
{
    const Outcome outcome = run({"search", people, "(cn=difficult)", "jpegPhoto", "--output", "json"});
    EXPECT_EQ(outcome.json().at("entries").at(0).at("attributes").at("jpegPhoto").at(0),
              nlohmann::json({{"base64", "/9j/4QEBAQE="}}));
}

TEST_F(CliDirectory, Latin1ArgumentsFindAndLatin1TextIsShown)
{
    const Outcome outcome = run({"search", people, "(description=J\xfcrgen)", "description"}, *server,
                                inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\n  description: J\xfcrgen\n"));
}

TEST_F(CliDirectory, Latin1LocaleWalksPastNamesThatItLacks)
{
    const Outcome outcome =
        run({"search", people, "(uid=*)", "cn", "--output", "json"}, *server, inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.json().at("count"), 300);
}

TEST_F(CliDirectory, ReaderThatGoesAwayEndsItQuietly)
{
    const Outcome outcome = shell("\"$KVR_LDAP\" --uri " + server->uri() +
                                  " search dc=example,dc=com | head -n 1; echo ${PIPESTATUS[*]}");
    EXPECT_EQ(outcome.out, "dn: dc=example,dc=com\n0 0\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CliDirectory, FullDiskEndsWith6)
{
    Setting full;
    full.output = "/dev/full";
    const Outcome outcome = run({"search", people}, *server, full);
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "kvr-ldap: standard output: No space left on device\n");
}

} // namespace
