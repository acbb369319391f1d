#include "ConfigTest.h"
#include "LdapResponder.h"
#include "TemporaryFile.h"

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string nis = "cn={2}nis,cn=schema,cn=config";
const std::string ia5Gecos =
    "{0}( 1.3.6.1.1.1.1.2 NAME 'gecos' DESC 'The GECOS field; the common name' EQUALITY caseIgnoreIA5Match "
    "SUBSTR caseIgnoreIA5SubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.26 SINGLE-VALUE )";
const std::string directoryGecos =
    "{0}( 1.3.6.1.1.1.1.2 NAME 'gecos' DESC 'The GECOS field; the common name' EQUALITY caseIgnoreMatch "
    "SUBSTR caseIgnoreSubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 SINGLE-VALUE )";
const std::string cure =
    "dn: " + nis + "\nchangetype: modify\nadd: olcAttributeTypes\nolcAttributeTypes: " + ia5Gecos + "\n-\n";

const std::string denied =
    "kvr-ldap: schema adjust-gecos: OpenLDAP error Insufficient access. The user should have administrator "
    "privilege. - Insufficient access\n"
    "kvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n";

class CliGecos : public CliConfig
{
protected:
    void SetUp() override
    {
        server = std::make_unique<PrivateSlapd>(std::vector<std::string>{"--entries", "1"});
    }

    /** The rights of everybody on the schema nis. */
    static void grant(const std::string& rights)
    {
        ASSERT_EQ(run({"attr", "set", configurationDn, "olcAccess",
                       "{0}to dn.base=\"" + nis + "\" by * " + rights, "{1}to * by * manage"})
                      .status,
                  0);
    }

    static std::string definition() { return values(nis, "olcAttributeTypes").at(0); }
};

TEST_F(CliGecos, IsChangedOnce)
{
    ASSERT_EQ(definition(), ia5Gecos);
    expectLine({"schema", "adjust-gecos"}, "modified attribute type gecos");
    EXPECT_EQ(definition(), directoryGecos);
    expectLine({"schema", "adjust-gecos"}, "unchanged attribute type gecos, it took any text before");
    EXPECT_EQ(definition(), directoryGecos);
}

TEST_F(CliGecos, IsChangedInJson)
{
    EXPECT_EQ(
        document({"schema", "adjust-gecos"}),
        answer("schema adjust-gecos", {{"attribute", "gecos"}, {"old", ia5Gecos}, {"result", "modified"}}));
    EXPECT_EQ(document({"schema", "adjust-gecos"}),
              answer("schema adjust-gecos",
                     {{"attribute", "gecos"}, {"old", directoryGecos}, {"result", "unchanged"}}));
}

TEST_F(CliGecos, ThatCantBeDeletedIsRefusedWithoutACure)
{
    grant("=rsca");
    const Outcome outcome = run({"schema", "adjust-gecos"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, denied);
    EXPECT_EQ(definition(), ia5Gecos);
}

TEST_F(CliGecos, ThatIsDeletedAndNotTakenIsPrintedWithACureThatLoadTakes)
{
    grant("=rscz");
    const Outcome outcome = run({"schema", "adjust-gecos"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, cure);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: schema adjust-gecos: the server has removed the old definition of gecos and not "
              "taken the new one. The lines on standard output put it back with kvr-ldap load.\n" +
                  denied);
    EXPECT_THAT(definition(), Not(HasSubstr("'gecos'")));

    grant("manage");
    const TemporaryFile file(outcome.out);
    EXPECT_EQ(run({"load", file.path()}).status, 0);
    EXPECT_EQ(definition(), ia5Gecos);
}

TEST_F(CliGecos, ThatIsDeletedAndNotTakenGivesTheCureInJson)
{
    grant("=rscz");
    const nlohmann::json document = run({"schema", "adjust-gecos", "--output", "json"}).json();
    EXPECT_EQ(document.at("old"), ia5Gecos);
    EXPECT_EQ(document.at("cure"), cure);
    EXPECT_EQ(document.at("error").at("resultCode"), 50);
}

/** A server that does what no ordinary one does. */
class CliOddGecos : public testing::Test
{
protected:
    CliOddGecos()
    {
        server.handle(Operation::Search,
                      [this](const LdapRequest& request)
                      {
                          if (gone && !server.requests(Operation::Modify).empty())
                          {
                              return Answer().drop();
                          }
                          return request.dn == "cn=schema,cn=config" && request.search.scope == 1
                                     ? Answer().entry(nis, {{"cn", {"{2}nis"}}})
                                     : Answer().entry(nis, {{"olcAttributeTypes", definitions}});
                      });
    }

    Outcome adjust(std::vector<std::string> more = {})
    {
        more.insert(more.begin(), {"schema", "adjust-gecos", "--uri", server.uri()});
        return kvrLdap(more);
    }

    std::vector<std::string> definitions{ia5Gecos};
    bool gone = false;
    LdapResponder server;
};

TEST_F(CliOddGecos, ThatNobodyShowsIsUnchanged)
{
    definitions = {"{0}( 1.3.6.1.1.1.1.3 NAME 'homeDirectory' )"};
    EXPECT_EQ(adjust().out, "unchanged attribute type gecos, the server shows none\n");
    EXPECT_TRUE(server.requests(Operation::Modify).empty());
}

TEST_F(CliOddGecos, IsPrintedWithItsCureWhenTheServerGoesAwayBetweenTheChanges)
{
    gone = true;
    server.onModify(Answer());
    server.onModify(Answer().drop());
    const Outcome outcome = adjust();
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, cure);
    EXPECT_THAT(outcome.err, StartsWith("kvr-ldap: schema adjust-gecos: the server may have removed the old "
                                        "definition of gecos and not taken the new one."));
    EXPECT_THAT(outcome.err, EndsWith(" - Can't contact LDAP server\n"));
}

TEST_F(CliOddGecos, WithTextBeyondAsciiIsPrintedAsLdifThatLoadTakes)
{
    definitions = {"{0}( 1.3.6.1.1.1.1.2 NAME 'gecos' DESC 'f\xc3\xbcr' SYNTAX "
                   "1.3.6.1.4.1.1466.115.121.1.26 )"};
    gone = true;
    server.onModify(Answer().drop());
    const std::string printed = adjust().out;
    EXPECT_THAT(printed, HasSubstr("\nolcAttributeTypes:: ezB9KCAxLjMuNi4xLjEu"));
    LdapResponder healthy;
    const TemporaryFile file(printed);
    EXPECT_EQ(kvrLdap({"load", file.path(), "--uri", healthy.uri()}).status, 0);
    EXPECT_THAT(healthy.only(Operation::Modify).modifications.at(0).values, ElementsAre(definitions.front()));
}

} // namespace
