#include "ConfigTest.h"
#include "TemporaryFile.h"

namespace
{

using namespace KVR::CliTest;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<std::string> badNames{"../x", "a b", "x;y", "$(id)", "x*",  "(x)", "{2}nis",   "x\n", "/x",
                                        "x\"",  "x'",  "x\\", "`id`",  "x|y", "x&y", "\xc3\xa4", ""};

class CliSchema : public CliConfig
{
};

TEST_F(CliSchema, ListedInOrder)
{
    expectLine({"schema", "list"}, "{0}core\n{1}cosine\n{2}nis\n{3}inetorgperson");
    EXPECT_EQ(document({"schema", "list"}),
              answer("schema list", {{"schemas", {"{0}core", "{1}cosine", "{2}nis", "{3}inetorgperson"}}}));
}

TEST_F(CliSchema, ThatIsThereIsFoundByItsWholeName)
{
    expectLine({"schema", "has", "nis"}, "the server has the schema nis");
    EXPECT_EQ(document({"schema", "has", "core"}),
              answer("schema has", {{"schema", "core"}, {"registered", true}}));
    expectFailure({"schema", "has", "person"}, 3,
                  "kvr-ldap: schema has: the server has no schema 'person'\n");
}

TEST_F(CliSchema, ThatIsNotThereEndsWith3)
{
    const Outcome outcome = run({"schema", "has", "lab", "--output", "json"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.json().at("registered"), false);
    EXPECT_EQ(outcome.json().at("error").at("exitCode"), 3);
}

TEST_F(CliSchema, NamesHaveLettersDigitsDotsUnderscoresAndDashesOnly)
{
    for (const std::string& name : badNames)
    {
        const Outcome has = run({"schema", "has", name});
        EXPECT_EQ(has.status, 2) << name;
        EXPECT_THAT(has.err, HasSubstr(" is no name of a schema\nkvr-ldap: hint: it consists of letters, "
                                       "digits, \".\", \"_\" and \"-\"\n"));
        EXPECT_EQ(run({"schema", "register", name}).status, 2) << name;
    }
    EXPECT_EQ(run({"schema", "has", "a.B_1-z"}).status, 3);
}

const std::string prologue = R"(set -eu
cd /etc/ldap
cat >schema/lab.ldif <<'LDIF'
dn: cn=lab,cn=schema,cn=config
objectClass: olcSchemaConfig
cn: lab
olcAttributeTypes: ( 1.3.6.1.4.1.32473.1.1 NAME 'labNote' SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )
LDIF
echo nonsense >schema/bad.ldif
make_server()
{
    mkdir slapd.d
    slapadd -n 0 -F slapd.d <<'LDIF'
dn: cn=config
objectClass: olcGlobal
cn: config

dn: cn=schema,cn=config
objectClass: olcSchemaConfig
cn: schema

include: file:///etc/ldap/schema/core.ldif
LDIF
}
# A slapadd in front of the true one, which tells that it has run.
watch_slapadd()
{
    mkdir bin
    printf '#!/bin/sh\necho slapadd has run\nexec /usr/sbin/slapadd "$@"\n' >bin/slapadd
    chmod 755 bin/slapadd
    PATH=/etc/ldap/bin:$PATH
}
)";

/** A sandbox, where this computer is a server as soon as a script makes it one. */
class CliRegister : public testing::Test
{
protected:
    static Outcome inside(const std::string& script)
    {
        const TemporaryFile file(prologue + script);
        return shell("\"$KVR_SANDBOX_TOOL\" -- bash " + file.path());
    }
};

TEST_F(CliRegister, LoadsTheFileAndSaysWhenARunningServerSeesIt)
{
    const Outcome outcome = inside(R"(
        make_server
        "$KVR_LDAP" schema register lab.ldif
        ls slapd.d/cn=config/cn=schema >&2)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "added schema lab.ldif; a running server sees it after its next start\n");
    EXPECT_THAT(outcome.err, HasSubstr("cn={0}core.ldif\ncn={1}lab.ldif\n"));
}

TEST_F(CliRegister, KeepsTheOutputOfSlapaddOutOfTheDocument)
{
    const Outcome outcome = inside(R"(
        make_server
        watch_slapadd
        "$KVR_LDAP" schema register lab.ldif --output json)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.json(), nlohmann::json({{"schemaVersion", 1},
                                              {"command", "schema register"},
                                              {"file", "lab.ldif"},
                                              {"result", "added"}}));
    EXPECT_THAT(outcome.err, HasSubstr("slapadd has run\n"));
}

TEST_F(CliRegister, ShowsWhatSlapaddSaidAboutABadFile)
{
    const Outcome outcome = inside(R"(
        make_server
        "$KVR_LDAP" schema register bad.ldif --output json)");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, HasSubstr("slapadd: "));
    EXPECT_THAT(outcome.err,
                HasSubstr("kvr-ldap: schema register: Failed to register LDAP schema 'bad.ldif'.\n"));
    EXPECT_EQ(outcome.json().at("error").at("message"), "Failed to register LDAP schema 'bad.ldif'.");
}

TEST_F(CliRegister, IsRefusedBeforeSlapaddWhereTheFolderCantBeWritten)
{
    const Outcome outcome = inside(R"(
        make_server
        watch_slapadd
        chmod 500 slapd.d
        # Without its capabilities root is an ordinary user.
        setpriv --bounding-set -all --inh-caps -all "$KVR_LDAP" schema register lab.ldif)");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "kvr-ldap: schema register: the server's folder /etc/ldap/slapd.d can't be written: "
              "Permission denied\n"
              "kvr-ldap: hint: schemas are registered on the server itself, as root\n");
}

TEST_F(CliRegister, SaysThatThisComputerIsNoServer)
{
    const Outcome outcome = inside("\"$KVR_LDAP\" schema register lab.ldif");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: schema register: This computer isn't an KVR server.\n");
}

TEST_F(CliRegister, SaysThatTheFileDoesNotExist)
{
    const Outcome outcome = inside("make_server; \"$KVR_LDAP\" schema register nowhere.ldif");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: schema register: File '/etc/ldap/schema/nowhere.ldif' doesn't exists.\n");
}

TEST_F(CliRegister, RunsNothingForABadNameOrABadFolder)
{
    const Outcome outcome = inside(R"(
        make_server
        watch_slapadd
        for name in ../x "a b" "x;y" '$(id)' '$(touch /etc/ldap/touched)'; do
            status=0
            "$KVR_LDAP" schema register "$name" || status=$?
            [ "$status" = 2 ] || echo "$name: $status"
        done
        for folder in "/etc/ldap/schema;touch /etc/ldap/touched;" "/etc/ldap/a b" '$(id)'; do
            status=0
            "$KVR_LDAP" schema register lab.ldif --param "KVR_LDAP_SCHEMA_DIR=$folder" || status=$?
            [ "$status" = 2 ] || echo "$folder: $status"
        done
        [ ! -e touched ] || echo touched)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("kvr-ldap: schema register: '$(id)' is no name of a schema\n"));
    EXPECT_THAT(
        outcome.err,
        HasSubstr("kvr-ldap: schema register: the parameter KVR_LDAP_SCHEMA_DIR is '/etc/ldap/a b'\n"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("slapadd has run")));
}

TEST_F(CliRegister, TakesTheFileFromTheFolderOfTheParameter)
{
    const Outcome outcome = inside(R"(
        make_server
        mkdir own
        mv schema/lab.ldif own/
        "$KVR_LDAP" schema register lab.ldif --param KVR_LDAP_SCHEMA_DIR=/etc/ldap/own)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "added schema lab.ldif; a running server sees it after its next start\n");
}

} // namespace
