// What the command load sends, and what it refuses to send.

#include "LdapResponder.h"
#include "RunProgram.h"
#include "TemporaryFile.h"

#include <gmock/gmock.h>
#include <ldap.h>

#include <optional>

namespace
{

using namespace KVR::CliTest;
using namespace KVR::Support;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string addA = "dn: cn=a,dc=x\nobjectClass: person\ncn: a\nsn: s\n";
const std::string addB = "dn: cn=b,dc=x\nobjectClass: person\ncn: b\nsn: s\n";
const std::string deleteA = "dn: cn=a,dc=x\nchangetype: delete\n";
const std::string deleteB = "dn: cn=b,cn=a,dc=x\nchangetype: delete\n";
const std::string replaceEmpty = "dn: cn=r,dc=x\nchangetype: modify\nreplace: mail\n-\n";

class CliLoad : public testing::Test
{
protected:
    /** Loads these records, with an empty line between them. */
    Outcome load(const std::vector<std::string>& records, std::vector<std::string> options = {},
                 const Setting& setting = {})
    {
        std::string text;
        for (const std::string& record : records)
        {
            text += (text.empty() ? "" : "\n") + record;
        }
        file_.emplace(text);
        options.insert(options.begin(), {"load", file_->path(), "--uri", server.uri()});
        return kvrLdap(options, setting);
    }

    /** Start of a message about a line of the file. */
    std::string at(int line) const
    {
        return "kvr-ldap: " + file_->path() + ':' + std::to_string(line) + ": ";
    }

    std::string message(const std::string& text) const { return "kvr-ldap: " + file_->path() + ": " + text; }

    /** Requests that change something. */
    std::vector<Operation> changes() const
    {
        std::vector<Operation> sent;
        for (const Operation each : server.operations())
        {
            if (each != Operation::Bind && each != Operation::Search && each != Operation::Unbind)
            {
                sent.push_back(each);
            }
        }
        return sent;
    }

    /** Answers searches below DNs by these children, other ones by none. */
    void haveChildren(const std::map<std::string, std::vector<std::string>>& children)
    {
        server.handle(Operation::Search,
                      [children](const LdapRequest& request)
                      {
                          Answer answer;
                          const auto found = children.find(request.dn);
                          if (found != children.end())
                          {
                              for (const std::string& dn : found->second)
                              {
                                  answer.entry(dn);
                              }
                          }
                          return answer;
                      });
    }

    LdapResponder server;
    std::optional<TemporaryFile> file_;
};

std::string counts(int added, int changed, int renamed, int deleted, int refused, int notTried)
{
    return "added " + std::to_string(added) + ", changed " + std::to_string(changed) + ", renamed " +
           std::to_string(renamed) + ", deleted " + std::to_string(deleted) + ", refused " +
           std::to_string(refused) + ", not tried " + std::to_string(notTried) + "\n";
}

TEST_F(CliLoad, AppliesTheRecordsInTheirOrder)
{
    const Outcome outcome = load({addA, "dn: cn=a,dc=x\nchangetype: modrdn\nnewrdn: cn=c\ndeleteoldrdn: 1\n",
                                  "dn: cn=c,dc=x\nchangetype: modify\nadd: mail\nmail: m\n-\n",
                                  "dn: cn=c,dc=x\nchangetype: delete\n", addB});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, counts(2, 1, 1, 1, 0, 0));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(changes(), ElementsAre(Operation::Add, Operation::ModifyDn, Operation::Modify,
                                       Operation::Delete, Operation::Add));
    EXPECT_EQ(server.requests(Operation::Add)[0].dn, "cn=a,dc=x");
    EXPECT_EQ(server.only(Operation::ModifyDn).dn, "cn=a,dc=x");
    EXPECT_EQ(server.only(Operation::ModifyDn).modifyDn.newRdn, "cn=c");
    EXPECT_TRUE(server.only(Operation::ModifyDn).modifyDn.deleteOldRdn);
    EXPECT_EQ(server.only(Operation::Delete).dn, "cn=c,dc=x");
}

TEST_F(CliLoad, SendsEveryAttributeOfAnEntryOnce)
{
    load({"dn: cn=a\nobjectClass: person\ncn: z\nCN: a\nsn:: /9g=\n"});
    const LdapRequest add = server.only(Operation::Add);
    EXPECT_THAT(add.attributes, ElementsAre(Attribute{"cn", {"z", "a"}}, Attribute{"objectClass", {"person"}},
                                            Attribute{"sn", {"\xff\xd8"}}));
}

TEST_F(CliLoad, SendsJustTheChangesOfARecord)
{
    load({"dn: cn=a\nchangetype: modify\ndelete: Mail\n-\nadd: mail\nmail: b\nmail: a\n-\n"
          "delete: sn\nsn:: w7w=\n-\nreplace: cn\ncn:\n-\n"});
    EXPECT_THAT(server.only(Operation::Modify).modifications,
                ElementsAre(Modification{LDAP_MOD_DELETE, "Mail", {}},
                            Modification{LDAP_MOD_ADD, "Mail", {"b", "a"}},
                            Modification{LDAP_MOD_DELETE, "sn", {"\xc3\xbc"}},
                            Modification{LDAP_MOD_REPLACE, "cn", {""}}));
}

TEST_F(CliLoad, ReadsStandardInput)
{
    const Outcome outcome =
        shell("printf 'dn: cn=a\\ncn: a\\n\\ndn: cn=b\\nb\\n' | \"$KVR_LDAP\" load - --uri " + server.uri());
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "kvr-ldap: standard input:5: 'b' is no 'name: value'\n"
                           "kvr-ldap: hint: nothing was sent\n");
    EXPECT_EQ(shell("printf 'dn: cn=a\\ncn: a\\n' | \"$KVR_LDAP\" load - --uri " + server.uri()).out,
              counts(1, 0, 0, 0, 0, 0));
}

TEST_F(CliLoad, AMalformedRecordAtTheEndSendsNothing)
{
    const Outcome outcome = load({addA, addB, "dn: cn=c,dc=x\ncn:: ?\n"}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, at(12) + "the value is no base64\nkvr-ldap: hint: nothing was sent\n");
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CliLoad, AnEmptyFileSendsNothing)
{
    const Outcome outcome = load({"# nothing\n"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CliLoad, AFileThatCantBeReadEndsWith6)
{
    EXPECT_EQ(kvrLdap({"load", "/nowhere/a.ldif", "--uri", server.uri()}).status, 6);
    EXPECT_EQ(kvrLdap({"load", "/", "--uri", server.uri()}).status, 6);
}

TEST_F(CliLoad, HasNoLdifForm)
{
    EXPECT_EQ(load({addA}, {"--output", "ldif"}).status, 2);
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CliLoad, WhatCantBeExpressedSendsNothing)
{
    const Outcome outcome = load({addA, replaceEmpty, "dn: cn=c,dc=x\ncn: c\nuserPassword:: AA==\n", addB});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 2, 2));
    EXPECT_EQ(outcome.err,
              at(8) +
                  "cn=r,dc=x: 'replace: mail' has no values\n"
                  "kvr-ldap: hint: 'delete: mail' removes an attribute that is there\n" +
                  at(13) +
                  "cn=c,dc=x: the value of 'userPassword' has a zero byte, which no text can have\n"
                  "kvr-ldap: hint: attr set-binary writes such a value\n" +
                  message("nothing was sent: 2 of 4 records can't be applied\n"
                          "kvr-ldap: hint: --continue-on-error applies the others\n"));
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CliLoad, NobodyIsAskedAboutDeletionsOfAFileThatCantBeExpressed)
{
    EXPECT_EQ(load({deleteA, replaceEmpty}).out, counts(0, 0, 0, 0, 1, 1));
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CliLoad, OtherRecordsAreAppliedOnDemandWhenOneCantBeExpressed)
{
    const Outcome outcome = load({addA, replaceEmpty, addB}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(2, 0, 0, 0, 1, 0));
    EXPECT_EQ(outcome.err, at(8) +
                               "cn=r,dc=x: 'replace: mail' has no values\n"
                               "kvr-ldap: hint: 'delete: mail' removes an attribute that is there\n" +
                               message("1 of 3 records were refused\n"));
    EXPECT_THAT(changes(), ElementsAre(Operation::Add, Operation::Add));
}

TEST_F(CliLoad, SpeaksOfNoOthersWhereThereAreNone)
{
    const Outcome outcome = load({replaceEmpty});
    EXPECT_THAT(outcome.err, EndsWith(message("nothing was sent: 1 of 1 record can't be applied\n")));
}

TEST_F(CliLoad, TheFirstRefusalStops)
{
    server.onAdd(Answer());
    server.onAdd(Answer().result(LDAP_ALREADY_EXISTS, "it is there"));
    const Outcome outcome = load({addA, addB, addA, addB});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(1, 0, 0, 0, 1, 2));
    EXPECT_EQ(outcome.err,
              at(6) + "cn=b,dc=x: OpenLDAP error on adding dn 'cn=b,dc=x' - Already exists: it is there\n");
    EXPECT_EQ(changes().size(), 2U);
}

TEST_F(CliLoad, EndsByTheKindOfTheRefusal)
{
    server.onAdd(Answer().result(LDAP_NO_SUCH_OBJECT));
    EXPECT_EQ(load({addA}).status, 3);
    server.onAdd(Answer().result(LDAP_INSUFFICIENT_ACCESS));
    const Outcome outcome = load({addA});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("\nkvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n"));
}

TEST_F(CliLoad, GoesOnAfterRefusalsOnDemand)
{
    server.onAdd(Answer().result(LDAP_INSUFFICIENT_ACCESS, "read only"));
    server.onAdd(Answer());
    server.onAdd(Answer().result(LDAP_NO_SUCH_OBJECT));
    const Outcome outcome = load({addA, addB, addA, addB}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(2, 0, 0, 0, 2, 0));
    EXPECT_EQ(outcome.err,
              at(1) +
                  "cn=a,dc=x: OpenLDAP error Insufficient access. The user should have administrator "
                  "privilege. - Insufficient access: read only\n" +
                  at(11) + "cn=a,dc=x: OpenLDAP error on adding dn 'cn=a,dc=x' - No such object\n" +
                  message("2 of 4 records were refused\n"));
}

TEST_F(CliLoad, ALostConnectionStopsInAnyCase)
{
    server.onAdd(Answer().result(LDAP_ALREADY_EXISTS));
    server.onAdd(Answer().drop());
    const Outcome outcome = load({addA, addB, addA}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 2, 1));
    EXPECT_THAT(outcome.err, HasSubstr(at(6) + "cn=b,dc=x: OpenLDAP error on adding dn 'cn=b,dc=x' - "
                                               "Can't contact LDAP server\n"));
    EXPECT_EQ(changes().size(), 2U);
}

TEST_F(CliLoad, NobodyListeningEndsWith5)
{
    server.stop();
    const Outcome outcome = load({addA});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr("hint: check that the server runs"));
}

TEST_F(CliLoad, IsOneJsonDocument)
{
    server.onAdd(Answer());
    server.onAdd(Answer().result(LDAP_ALREADY_EXISTS, "it is there"));
    const Outcome outcome = load({addA, addB, replaceEmpty, "dn: cn=d\nchangetype: modify\nadd: sn\nsn: s\n"},
                                 {"--continue-on-error", "--output", "json"});
    EXPECT_EQ(outcome.status, 1);
    const nlohmann::json expected = {
        {"schemaVersion", 1},
        {"command", "load"},
        {"file", file_->path()},
        {"added", 1},
        {"changed", 1},
        {"renamed", 0},
        {"deleted", 0},
        {"notTried", 0},
        {"refused",
         {{{"line", 6},
           {"dn", "cn=b,dc=x"},
           {"message", "OpenLDAP error on adding dn 'cn=b,dc=x' - Already exists: it is there"},
           {"resultCode", 68}},
          {{"line", 13},
           {"dn", "cn=r,dc=x"},
           {"message", "'replace: mail' has no values"},
           {"resultCode", nullptr}}}},
        {"error",
         {{"exitCode", 1},
          {"kind", "refused by the server"},
          {"resultCode", nullptr},
          {"subject", file_->path()},
          {"message", "2 of 4 records were refused"}}}};
    EXPECT_EQ(outcome.json(), expected);
}

TEST_F(CliLoad, NamesTheLineOfAMalformedRecordInJson)
{
    const nlohmann::json error = load({addA, "cn: a\n"}, {"--output", "json"}).json().at("error");
    EXPECT_EQ(error.at("exitCode"), 6);
    EXPECT_EQ(error.at("subject"), file_->path() + ":6");
    EXPECT_EQ(error.at("message"), "a record begins with its dn, not with 'cn'");
}

TEST_F(CliLoad, ReadsUtf8InAnyLocale)
{
    server.onAdd(Answer().result(LDAP_ALREADY_EXISTS));
    const Outcome outcome =
        load({"dn: cn=\xc3\xbc,dc=x\ncn:: w7w=\nsn: \xc3\xbc\n"}, {}, inLocale("de_DE.ISO-8859-1"));
    const LdapRequest add = server.only(Operation::Add);
    EXPECT_EQ(add.dn, "cn=\xc3\xbc,dc=x");
    EXPECT_THAT(add.attributes, ElementsAre(Attribute{"cn", {"\xc3\xbc"}}, Attribute{"sn", {"\xc3\xbc"}}));
    EXPECT_THAT(outcome.err, HasSubstr(at(1) + "cn=\xfc,dc=x: OpenLDAP"));
}

TEST_F(CliLoad, AnEntryWithChildrenIsNotDeletedAndNothingIsSent)
{
    haveChildren({{"cn=a,dc=x", {"cn=b,cn=a,dc=x"}}});
    const Outcome outcome = load({addB, deleteA});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 1, 1));
    EXPECT_EQ(outcome.err, at(6) +
                               "cn=a,dc=x: the entry has children\n"
                               "kvr-ldap: hint: delete them by records before this one\n" +
                               message("nothing was sent: 1 of 2 records can't be applied\n"
                                       "kvr-ldap: hint: --continue-on-error applies the others\n"));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_EQ(server.only(Operation::Search).search.scope, LDAP_SCOPE_ONELEVEL);
    EXPECT_THAT(server.only(Operation::Search).search.attributes, ElementsAre("1.1"));
}

TEST_F(CliLoad, AnEntryIsDeletedAfterItsChildren)
{
    server.handle(Operation::Search,
                  [this](const LdapRequest& request)
                  {
                      const bool hasChild = server.requests(Operation::Delete).empty();
                      return hasChild && request.dn == "cn=a,dc=x" ? Answer().entry("CN=B, cn=a,dc=x")
                                                                   : Answer();
                  });
    const Outcome outcome = load({deleteB, deleteA});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 2, 0, 0));
    EXPECT_EQ(server.requests(Operation::Delete)[0].dn, "cn=b,cn=a,dc=x");
    EXPECT_EQ(server.requests(Operation::Delete)[1].dn, "cn=a,dc=x");
}

TEST_F(CliLoad, ChildrenThatAreDeletedTooLateRefuseTheirParent)
{
    haveChildren({{"cn=a,dc=x", {"cn=b,cn=a,dc=x"}}});
    EXPECT_EQ(load({deleteA, deleteB}).status, 1);
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CliLoad, AChildThatTheFileAddsRefusesItsParent)
{
    const Outcome outcome = load({"dn: cn=c,CN=A,dc=x\ncn: c\n", deleteA});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the entry has children"));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CliLoad, ChildrenOfARenamedEntryAreAskedForUnderItsOldName)
{
    haveChildren({{"cn=o,dc=x", {"cn=b,cn=o,dc=x"}}});
    const Outcome outcome =
        load({"dn: cn=o,dc=x\nchangetype: modrdn\nnewrdn: cn=a\ndeleteoldrdn: 1\n", deleteA});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(server.only(Operation::Search).dn, "cn=o,dc=x");
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CliLoad, AnEntryThatTheFileMakesIsNotAskedFor)
{
    const Outcome outcome = load({addA, deleteA});
    EXPECT_EQ(outcome.out, counts(1, 0, 0, 1, 0, 0));
    EXPECT_EQ(server.operations()[1], Operation::Add);
}

TEST_F(CliLoad, ChildrenThatAppearMeanwhileRefuseTheirParent)
{
    server.onSearch(Answer());
    server.onSearch(Answer().entry("cn=c,cn=b,cn=a,dc=x"));
    const Outcome outcome = load({deleteA, addB});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 1, 1));
    EXPECT_EQ(outcome.err, at(1) + "cn=a,dc=x: the entry has children\n"
                                   "kvr-ldap: hint: delete them by records before this one\n");
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_EQ(server.requests(Operation::Search)[1].search.scope, LDAP_SCOPE_CHILDREN);
}

TEST_F(CliLoad, ChildrenBeyondTheSizeLimitAreLookedForOnceMore)
{
    const Answer cut = Answer().entry("cn=b,cn=a,dc=x").result(LDAP_SIZELIMIT_EXCEEDED);
    for (const Answer& each : {Answer(), cut, Answer(), Answer(), Answer().result(LDAP_SIZELIMIT_EXCEEDED)})
    {
        server.onSearch(each); // both before all, the child twice when it goes, its parent when it would
    }
    const Outcome outcome = load({deleteB, deleteA});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("refused 1"));
    EXPECT_THAT(outcome.err, HasSubstr(at(4) + "cn=a,dc=x: the entry has children\n"));
}

TEST_F(CliLoad, AnEntryWhoseChildrenAreHiddenByAnErrorIsNotDeleted)
{
    server.onSearch(Answer().result(LDAP_INSUFFICIENT_ACCESS));
    const Outcome outcome = load({addB, deleteA});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, counts(0, 0, 0, 0, 1, 1));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CliLoad, AConnectionThatIsLostWhileCheckingEndsWith5)
{
    server.onSearch(Answer().drop());
    const Outcome outcome = load({addB, deleteA}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CliLoad, AnEntryThatIsGoneAlreadyEndsWith3)
{
    server.always(Operation::Search, Answer().result(LDAP_NO_SUCH_OBJECT));
    server.onDelete(Answer().result(LDAP_NO_SUCH_OBJECT));
    EXPECT_EQ(load({deleteA}).status, 3);
}

TEST_F(CliLoad, RefusedDeletesLeaveTheOthersOnDemand)
{
    haveChildren({{"cn=a,dc=x", {"cn=b,cn=a,dc=x"}}});
    const Outcome outcome = load({deleteA, addB}, {"--continue-on-error"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, counts(1, 0, 0, 0, 1, 0));
    EXPECT_THAT(changes(), ElementsAre(Operation::Add));
}

TEST_F(CliLoad, ShowsNothingOfTheFileThatActsOnATerminal)
{
    const Outcome outcome = load({addA, "dn: cn=\x1b[2J,dc=x\n\x1b: a\n"});
    EXPECT_EQ(outcome.err, at(7) + "'\\x1b' is no attribute name\nkvr-ldap: hint: nothing was sent\n");
    EXPECT_THAT(load({"dn: cn=\x1b[2J\nchangetype: modify\nreplace: a\n"}).err, Not(HasSubstr("\x1b")));
}

} // namespace
