#include "LdapResponder.h"
#include "RunProgram.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using testing::HasSubstr;

Answer stamps()
{
    return Answer().entry("cn=a,dc=example", {{"createTimestamp", {"20240131120507Z"}},
                                              {"modifyTimestamp", {"20240201000000Z"}},
                                              {"creatorsName", {"cn=maker"}},
                                              {"modifiersName", {"cn=changer"}}});
}

class CliShow : public testing::Test
{
protected:
    Outcome show(const std::string& dn, std::vector<std::string> more = {})
    {
        more.insert(more.begin(), {"show", dn, "--uri", server.uri()});
        return kvrLdap(more);
    }

    void serveEntry()
    {
        server.handle(Operation::Search,
                      [](const LdapRequest& request)
                      {
                          return request.search.attributes.empty()
                                     ? Answer().entry("cn=a,dc=example", {{"cn", {"a"}}, {"sn", {"b"}}})
                                     : stamps();
                      });
    }

    LdapResponder server;
};

TEST_F(CliShow, TellsTheEntryAndItsHistory)
{
    serveEntry();
    const Outcome outcome = show("cn=a,dc=example");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "dn: cn=a,dc=example\n"
                           "  cn: a\n"
                           "  sn: b\n"
                           "\n"
                           "creator:        cn=maker\n"
                           "created:        2024-01-31 12:05:07 UTC\n"
                           "modifier:       cn=changer\n"
                           "modified:       2024-02-01 00:00:00 UTC\n");
}

TEST_F(CliShow, IsOneJsonDocument)
{
    serveEntry();
    const nlohmann::json expected = {
        {"schemaVersion", 1},
        {"command", "show"},
        {"entry", {{"dn", "cn=a,dc=example"}, {"attributes", {{"cn", {"a"}}, {"sn", {"b"}}}}}},
        {"creator", "cn=maker"},
        {"created", "20240131120507Z"},
        {"modifier", "cn=changer"},
        {"modified", "20240201000000Z"}};
    EXPECT_EQ(show("cn=a,dc=example", {"--output", "json"}).json(), expected);
}

TEST_F(CliShow, TellsTheHistoryInCommentsOfLdif)
{
    serveEntry();
    EXPECT_EQ(show("cn=a,dc=example", {"--output", "ldif"}).out, "version: 1\n"
                                                                 "\n"
                                                                 "dn: cn=a,dc=example\n"
                                                                 "cn: a\n"
                                                                 "sn: b\n"
                                                                 "# creator: cn=maker\n"
                                                                 "# created: 20240131120507Z\n"
                                                                 "# modifier: cn=changer\n"
                                                                 "# modified: 20240201000000Z\n");
}

TEST_F(CliShow, ReadsTheNamedEntryOnly)
{
    serveEntry();
    show("cn=a,dc=example");
    const LdapRequest first = server.requests(Operation::Search).front();
    EXPECT_EQ(first.dn, "cn=a,dc=example");
    EXPECT_EQ(first.search.scope, 0);
    EXPECT_EQ(first.search.filter, "(objectClass=*)");
}

TEST_F(CliShow, OfAMissingEntryEndsWith3)
{
    server.onSearch(Answer().result(32));
    const Outcome outcome = show("cn=gone");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kvr-ldap: show: there is no entry 'cn=gone'\n"
                           "kvr-ldap: hint: an entry that the server hides from the user counts as absent\n");
}

TEST_F(CliShow, OfAnEntryThatIsNotReturnedEndsWith3)
{
    EXPECT_EQ(show("cn=hidden").status, 3);
}

TEST_F(CliShow, OfTheRootAsksForNoHistory)
{
    server.onSearch(Answer().entry("", {{"vendorName", {"us"}}}));
    const Outcome outcome = show("", {"--output", "json"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(server.requests(Operation::Search).size(), 1U);
    EXPECT_EQ(outcome.json().at("entry").at("dn"), "");
    EXPECT_TRUE(outcome.json().at("creator").is_null());
}

TEST_F(CliShow, TellsAMissingStampOnce)
{
    server.always(Operation::Search, Answer().entry("cn=a,dc=example"));
    const Outcome outcome = show("cn=a,dc=example");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\ncreator:        (unknown)\n"));
    EXPECT_EQ(outcome.err, "kvr-ldap: LDAP attribute 'creatorsName' not found\n"
                           "kvr-ldap: LDAP attribute 'modifiersName' not found\n"
                           "kvr-ldap: LDAP attribute 'createTimestamp' not found\n"
                           "kvr-ldap: LDAP attribute 'modifyTimestamp' not found\n");
    EXPECT_EQ(show("cn=a,dc=example", {"-q"}).err, "");
}

TEST_F(CliShow, DoesNotRepeatWordsOfTheServerForAFailureOfTheLibrary)
{
    server.onSearch(Answer().entry("cn=a,dc=example").result(0, "words of before"));
    server.onSearch(Answer().drop());
    const Outcome outcome = show("cn=a,dc=example");
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: show: OpenLDAP error on searching 'cn=a,dc=example (objectClass=*)' - Can't "
              "contact LDAP server\n");
}

TEST_F(CliShow, ThatBreaksOffKeepsOneDocument)
{
    server.onSearch(Answer().entry("cn=a,dc=example"));
    server.onSearch(Answer().drop());
    const Outcome outcome = show("cn=a,dc=example", {"--output", "json"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.json().at("entry").at("dn"), "cn=a,dc=example");
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), -1);
}

} // namespace
