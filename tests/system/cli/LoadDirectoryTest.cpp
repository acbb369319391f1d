// The command load against a real server.

#include "PrivateSlapd.h"
#include "RunProgram.h"
#include "TemporaryFile.h"

#include <gmock/gmock.h>

#include <memory>

namespace
{

using namespace KVR::CliTest;
using KVR::Support::PrivateSlapd;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* people = "ou=people,dc=example,dc=com";

/** Values and names that need care on the way: blanks, lines, signs, other scripts, bytes. */
constexpr const char* difficultEntries = R"(dn: cn=difficult,ou=people,dc=example,dc=com
objectClass: inetOrgPerson
cn: difficult
cn:: IGxlYWRpbmc=
sn:: dHJhaWxpbmcg
description: colon: <inside>
description:: OmNvbG9u
description:: dHdvCmxpbmVz
description;lang-de:: SsO8cmdlbg==
jpegPhoto:: /9j/4QEBAQE=

dn: cn=a\,b\+c \22d\22,ou=people,dc=example,dc=com
objectClass: person
cn: a,b+c "d"
sn: s

dn:: Y249w5xiZXIsb3U9cGVvcGxlLGRjPWV4YW1wbGUsZGM9Y29t
objectClass: inetOrgPerson
cn:: w5xiZXI=
sn: s

dn: cn=below,cn=difficult,ou=people,dc=example,dc=com
objectClass: person
cn: below
sn: s

)";

std::string personNumber(int number)
{
    const std::string name = "load" + std::to_string(number);
    return "dn: uid=" + name + ",ou=people,dc=example,dc=com\nobjectClass: inetOrgPerson\nuid: " + name +
           "\ncn: " + name + "\nsn: s\n\n";
}

class CliLoadDirectory : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        server = std::make_unique<PrivateSlapd>(std::vector<std::string>{"--entries", "20"});
    }

    static void TearDownTestSuite() { server.reset(); }

    static Outcome run(std::vector<std::string> arguments, const PrivateSlapd& on = *server,
                       const Setting& setting = {})
    {
        arguments.insert(arguments.begin(), {"--uri", on.uri()});
        return kvrLdap(arguments, setting);
    }

    static Outcome load(const std::string& text, std::vector<std::string> options = {},
                        const PrivateSlapd& on = *server, const Setting& setting = {})
    {
        const TemporaryFile file(text);
        options.insert(options.begin(), {"load", file.path()});
        return run(options, on, setting);
    }

    /** Number of entries of ou=people that match. */
    static int count(const std::string& filter)
    {
        return run({"search", people, filter, "uid", "--output", "json"}).json().at("count");
    }

    static nlohmann::json attributesOf(const std::string& dn)
    {
        return run({"show", dn, "--output", "json"}).json().at("entry").at("attributes");
    }

    static inline std::unique_ptr<PrivateSlapd> server;
};

TEST_F(CliLoadDirectory, AppliesThreeHundredRecords)
{
    std::string text = "version: 1\n\n";
    for (int number = 1; number <= 270; ++number)
    {
        text += personNumber(number);
    }
    for (int number = 1; number <= 10; ++number)
    {
        const std::string dn = "dn: uid=load" + std::to_string(number) + ",ou=people,dc=example,dc=com\n";
        text += dn + "changetype: modify\nadd: description\ndescription: d\n-\nreplace: sn\nsn: t\n-\n\n";
        text +=
            dn + "changetype: modrdn\nnewrdn: uid=renamed" + std::to_string(number) + "\ndeleteoldrdn: 1\n\n";
        text += "dn: uid=load" + std::to_string(number + 100) +
                ",ou=people,dc=example,dc=com\nchangetype: delete\n\n";
    }
    const Outcome outcome = load(text);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "added 270, changed 10, renamed 10, deleted 10, refused 0, not tried 0\n");
    EXPECT_EQ(count("(uid=load*)"), 250);
    EXPECT_EQ(count("(&(uid=renamed*)(sn=t)(description=d))"), 10);
    EXPECT_THAT(attributesOf("uid=renamed7,ou=people,dc=example,dc=com").at("uid"), ElementsAre("renamed7"));
}

TEST_F(CliLoadDirectory, AFailureInTheMiddleStops)
{
    const Outcome outcome =
        load(personNumber(9001) + personNumber(9002) + personNumber(9001) + personNumber(9003));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "added 2, changed 0, renamed 0, deleted 0, refused 1, not tried 1\n");
    EXPECT_THAT(outcome.err,
                HasSubstr(":13: uid=load9001,ou=people,dc=example,dc=com: OpenLDAP error on "
                          "adding dn 'uid=load9001,ou=people,dc=example,dc=com' - Already exists"));
    EXPECT_EQ(count("(uid=load900*)"), 2);
}

TEST_F(CliLoadDirectory, GoesOnAfterFailuresOnDemand)
{
    const std::string noSchema =
        "dn: uid=load8003,ou=people,dc=example,dc=com\nobjectClass: nothing\nuid: x\n\n";
    const Outcome outcome = load(personNumber(8001) + personNumber(8001) + noSchema + personNumber(8002),
                                 {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "added 2, changed 0, renamed 0, deleted 0, refused 2, not tried 0\n");
    EXPECT_THAT(outcome.err, HasSubstr(":7: uid=load8001,"));
    EXPECT_THAT(outcome.err, HasSubstr("objectClass: value #0 invalid per syntax"));
    EXPECT_EQ(count("(uid=load800*)"), 2);
}

TEST_F(CliLoadDirectory, NothingIsSentWhenTheEndIsMalformed)
{
    const Outcome outcome = load(personNumber(7001) + personNumber(7002) + "dn: uid=load7003\nuid\n");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, HasSubstr(":14: 'uid' is no 'name: value'"));
    EXPECT_EQ(count("(uid=load700*)"), 0);
}

TEST_F(CliLoadDirectory, ChildrenThatTheFileDoesNotDeleteKeepTheirParent)
{
    const std::string unit = "ou=unit,ou=people,dc=example,dc=com";
    ASSERT_EQ(load("dn: " + unit + "\nobjectClass: organizationalUnit\nou: unit\n\n" + "dn: cn=one," + unit +
                   "\nobjectClass: person\ncn: one\nsn: s\n\ndn: cn=two," + unit +
                   "\nobjectClass: person\ncn: two\nsn: s\n")
                  .status,
              0);
    const std::string deleteUnit = "dn: " + unit + "\nchangetype: delete\n\n";
    const std::string deleteOne = "dn: cn=one," + unit + "\nchangetype: delete\n\n";
    const std::string deleteTwo = "dn: CN=Two , OU=Unit,ou=people,dc=example,dc=com\nchangetype: delete\n\n";
    const Outcome kept = load(deleteOne + deleteUnit);
    EXPECT_EQ(kept.status, 1);
    EXPECT_EQ(kept.out, "added 0, changed 0, renamed 0, deleted 0, refused 1, not tried 1\n");
    EXPECT_THAT(kept.err, HasSubstr(":4: " + unit + ": the entry has children\n"));
    EXPECT_EQ(run({"search", unit, "--output", "json"}).json().at("count"), 3);

    const std::string rename =
        "dn: cn=one," + unit + "\nchangetype: modrdn\nnewrdn: cn=1\ndeleteoldrdn: 1\n\n";
    const std::string deleteRenamed = "dn: cn=1," + unit + "\nchangetype: delete\n\n";
    const Outcome gone = load(rename + deleteTwo + deleteRenamed + deleteUnit);
    EXPECT_EQ(gone.err, "");
    EXPECT_EQ(gone.out, "added 0, changed 0, renamed 1, deleted 3, refused 0, not tried 0\n");
    EXPECT_EQ(run({"show", unit}).status, 3);
}

TEST_F(CliLoadDirectory, MissingEntryEndsWith3)
{
    const Outcome outcome = load("dn: cn=nobody,ou=people,dc=example,dc=com\nchangetype: delete\n");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(load("dn: cn=nobody,ou=people,dc=example,dc=com\nchangetype: modify\ndelete: sn\n").status, 3);
}

TEST_F(CliLoadDirectory, WhatSearchPrintsIsLoadedAndReadBack)
{
    const TemporaryFile data(difficultEntries);
    const PrivateSlapd source({"--entries", "50", "--data", data.path()});
    const PrivateSlapd copy({"--entries", "0"});
    const std::vector<std::string> search = {"search", people, "--scope", "children", "--output", "ldif"};
    const Outcome original = run(search, source);
    ASSERT_THAT(original.out, HasSubstr("\ndn: cn=below,cn=difficult,"));
    const Outcome outcome = load(original.out, {}, copy);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "added 54, changed 0, renamed 0, deleted 0, refused 0, not tried 0\n");
    EXPECT_EQ(run(search, copy).out, original.out);
}

TEST_F(CliLoadDirectory, NamesMayBeChangedInBetween)
{
    const std::string unit = "ou=copies,ou=people,dc=example,dc=com";
    const Outcome outcome =
        shell("{ printf 'dn: " + unit +
              "\\nobjectClass: organizationalUnit\\nou: copies\\n\\n'; \"$KVR_LDAP\" --uri " + server->uri() +
              " search " + people + " '(uid=user00000*)' --output ldif | sed -e '/^version/d' -e " +
              "'s/,ou=people,/,ou=copies,ou=people,/'; } | \"$KVR_LDAP\" load - --uri " + server->uri());
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "added 10, changed 0, renamed 0, deleted 0, refused 0, not tried 0\n");
    nlohmann::json original = attributesOf("uid=user000001,ou=people,dc=example,dc=com");
    EXPECT_EQ(attributesOf("uid=user000001," + unit), original);
}

TEST_F(CliLoadDirectory, Latin1LocaleLoadsUtf8)
{
    const Outcome outcome = load("dn: cn=J\xc3\xbcrgen,ou=people,dc=example,dc=com\nobjectClass: person\n"
                                 "cn: J\xc3\xbcrgen\nsn:: SsO8cmdlbg==\n",
                                 {}, *server, inLocale("de_DE.ISO-8859-1"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(attributesOf("cn=J\xc3\xbcrgen,ou=people,dc=example,dc=com").at("sn"),
                ElementsAre("J\xc3\xbcrgen"));
}

TEST_F(CliLoadDirectory, AttributesThatDifferInCaseAreOne)
{
    const Outcome outcome = load("dn: cn=case,ou=people,dc=example,dc=com\nOBJECTCLASS: person\ncn: case\n"
                                 "objectClass: uidObject\nCN: box\nsn: s\nuid: case\n\n"
                                 "dn: cn=case,ou=people,dc=example,dc=com\nchangetype: modify\n"
                                 "delete: CN\ncn: box\n-\nreplace: Sn\nSN: t\n-\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(attributesOf("cn=case,ou=people,dc=example,dc=com").at("cn"), ElementsAre("case"));
    EXPECT_THAT(attributesOf("cn=case,ou=people,dc=example,dc=com").at("sn"), ElementsAre("t"));
}

TEST_F(CliLoadDirectory, AModifyRecordWithoutChangesIsLeftToTheServer)
{
    const Outcome outcome = load("dn: uid=user000001,ou=people,dc=example,dc=com\nchangetype: modify\n");
    EXPECT_EQ(outcome.out, "added 0, changed 1, renamed 0, deleted 0, refused 0, not tried 0\n");
    EXPECT_EQ(load("dn: uid=nobody,ou=people,dc=example,dc=com\nchangetype: modify\n").status, 3);
}

} // namespace
