#include "ConfigTest.h"
#include "LdapResponder.h"

#include <map>

namespace
{

using namespace KVR::CliTest;
using KVR::Support::PrivateSlapd;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

const std::string type = mainDatabase.substr(std::string("{1}").size());
const std::string longRule = "to dn.subtree=\"ou=stand by me,dc=example,dc=com\" by dn.exact=\"cn=boss,"
                             "dc=example,dc=com\" manage by * read";

class CliOverview : public CliConfig
{
protected:
    /** The reasons that a document gives, by the section that they stand beside. */
    static std::map<std::string, std::string> reasons(const nlohmann::json& document)
    {
        std::map<std::string, std::string> found;
        for (const nlohmann::json& row : document.at("unavailable"))
        {
            found[row.at("section")] = row.at("reason");
        }
        return found;
    }

    /** One reason beside every section about the main database. */
    static std::map<std::string, std::string> besideFour(const std::string& reason)
    {
        return {{"rules", reason}, {"indexes", reason}, {"limits", reason}, {"uniqueness", reason}};
    }

    static Outcome json(const PrivateSlapd& on) { return runOn(on, {"overview", "--output", "json"}); }
    static Outcome text(const PrivateSlapd& on) { return runOn(on, {"overview"}); }

    static void addEverything(const PrivateSlapd& on)
    {
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"access", "add", "--at", "0", longRule},
                                                   {"index", "add", "mail eq,sub"},
                                                   {"limit", "add", "users", "size=500"},
                                                   {"unique", "add", "ldap:///dc=example,dc=com?uid?sub"}})
        {
            ASSERT_EQ(runOn(on, arguments).status, 0);
        }
    }

    /** Lets everybody see the configuration apart from a part, which a rule names. */
    static void hide(const PrivateSlapd& on, const std::string& part)
    {
        ASSERT_EQ(runOn(on, {"attr", "set", configurationDn, "olcAccess", "{0}" + part + " by * =w",
                             "{1}to * by * manage"})
                      .status,
                  0);
    }
};

TEST_F(CliOverview, ShowsEverySectionOnOnePage)
{
    const PrivateSlapd own({"--entries", "1"});
    addEverything(own);
    const Outcome outcome = text(own);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("Databases and their suffixes\n"
                                        "  " +
                                        mainDatabase +
                                        "  dc=example,dc=com\n"
                                        "\n"
                                        "Modules\n"
                                        "  {0}back_" +
                                        type +
                                        "\n"
                                        "  {1}syncprov\n"
                                        "  {2}unique\n"
                                        "  {3}back_ldap\n"
                                        "  {4}retcode\n"
                                        "\n"
                                        "Schemas\n"
                                        "  {0}core\n"
                                        "  {1}cosine\n"
                                        "  {2}nis\n"
                                        "  {3}inetorgperson\n"
                                        "\n"
                                        "Access rules of " +
                                        mainDatabase +
                                        ", in their order\n"
                                        "  {0} to dn.subtree=\"ou=stand by me,dc=example,dc=com\"\n"
                                        "      by dn.exact=\"cn=boss,dc=example,dc=com\" manage\n"
                                        "      by * read\n"
                                        "  {1}to * by * manage\n"
                                        "\n"
                                        "Indexes of " +
                                        mainDatabase +
                                        "\n"
                                        "  objectClass eq\n"
                                        "  uid eq\n"
                                        "  mail eq,sub\n"
                                        "\n"
                                        "Limits of " +
                                        mainDatabase +
                                        "\n"
                                        "  {0}users size=500\n"
                                        "\n"
                                        "Unique attributes of " +
                                        mainDatabase +
                                        "\n"
                                        "  ldap:///dc=example,dc=com?uid?sub\n"));
}

TEST_F(CliOverview, IsOneJsonDocument)
{
    const PrivateSlapd own({"--entries", "1"});
    addEverything(own);
    const Outcome outcome = json(own);
    EXPECT_EQ(outcome.status, 0);
    nlohmann::json document = outcome.json();
    document.erase("agreements");
    document.erase("providers");
    EXPECT_EQ(
        document,
        answer("overview",
               {{"databases", {{{"name", mainDatabase}, {"suffix", "dc=example,dc=com"}}}},
                {"modules", {"{0}back_" + type, "{1}syncprov", "{2}unique", "{3}back_ldap", "{4}retcode"}},
                {"schemas", {"{0}core", "{1}cosine", "{2}nis", "{3}inetorgperson"}},
                {"rules", {"{0} " + longRule, "{1}to * by * manage"}},
                {"indexes", {"objectClass eq", "uid eq", "mail eq,sub"}},
                {"limits", {{{"who", "users"}, {"value", "{0}users size=500"}, {"key", "users"}}}},
                {"uniqueness", {"ldap:///dc=example,dc=com?uid?sub"}},
                {"unavailable", nlohmann::json::array()}}));
}

TEST_F(CliOverview, OfEmptySectionsSaysSo)
{
    const Outcome outcome = text(*server);
    EXPECT_THAT(outcome.out, HasSubstr("Limits of " + mainDatabase + "\n  (none, or hidden)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Unique attributes of " + mainDatabase + "\n  (none, or hidden)\n"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(json(*server).json().at("limits"), nlohmann::json::array());
}

TEST_F(CliOverview, WithoutTheMainDatabaseShowsTheOthersAndTheReasonBesideItsSections)
{
    const std::string other = type == "hdb" ? "mdb" : "hdb";
    const PrivateSlapd without({"--entries", "1", "--database", other});
    const std::string reason = "there is no database " + mainDatabase + ", or it is hidden";
    const Outcome outcome = text(without);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                StartsWith("Databases and their suffixes\n  {1}" + other + "  dc=example,dc=com\n"));
    const std::vector<std::string> titles{"Access rules of " + mainDatabase + ", in their order",
                                          "Indexes of " + mainDatabase, "Limits of " + mainDatabase,
                                          "Unique attributes of " + mainDatabase};
    for (const std::string& title : titles)
    {
        EXPECT_THAT(outcome.out, HasSubstr('\n' + title + "\n  not shown: " + reason + '\n'));
    }
    const nlohmann::json document = json(without).json();
    EXPECT_EQ(document.at("schemas").size(), 4U);
    for (const char* section : {"rules", "indexes", "limits", "uniqueness"})
    {
        EXPECT_TRUE(document.at(section).is_null()) << section;
    }
    EXPECT_THAT(reasons(document), IsSupersetOf(besideFour(reason)));
    EXPECT_EQ(document.count("error"), 0U);
}

TEST_F(CliOverview, WithoutTheMainDatabaseEveryVerbAboutItSaysSo)
{
    const PrivateSlapd without({"--entries", "1", "--database", type == "hdb" ? "mdb" : "hdb"});
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"access", "list"},
                                               {"access", "add", "to * by * read"},
                                               {"access", "delete", "0"},
                                               {"index", "list"},
                                               {"index", "add", "mail eq"},
                                               {"index", "delete", "mail eq"},
                                               {"limit", "list"},
                                               {"limit", "add", "users", "size=1"},
                                               {"limit", "delete", "users"},
                                               {"unique", "list"},
                                               {"unique", "add", "ldap:///?uid?sub"},
                                               {"unique", "delete", "ldap:///?uid?sub"}})
    {
        const Outcome outcome = runOn(without, arguments);
        EXPECT_EQ(outcome.status, 3);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "kvr-ldap: " + arguments[0] + ' ' + arguments[1] + ": there is no database " +
                                   mainDatabase + ", or it is hidden\n");
    }
}

TEST_F(CliOverview, WithoutTheOverlayUniqueShowsTheReasonBesideThatSectionOnly)
{
    const PrivateSlapd without({"--entries", "1", "--unique", "no"});
    const std::string reason = "the database " + mainDatabase + " has no overlay unique, or it is hidden";
    const Outcome outcome = text(without);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("\nUnique attributes of " + mainDatabase + "\n  not shown: " + reason + '\n'),
                      HasSubstr("\n  uid eq\n")));
    const nlohmann::json document = json(without).json();
    EXPECT_TRUE(document.at("uniqueness").is_null());
    EXPECT_EQ(document.at("unavailable"), nlohmann::json({{{"section", "uniqueness"}, {"reason", reason}}}));
}

TEST_F(CliOverview, WithoutRightsOnTheSchemasShowsTheReasonBesideThem)
{
    const PrivateSlapd partly({"--entries", "1"});
    hide(partly, "to dn.subtree=\"cn=schema,cn=config\"");
    const Outcome outcome = text(partly);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("\nSchemas\n  not shown: Insufficient access. The user should have "
                                "administrator privilege.\n"),
                      HasSubstr("\n  {0}to * by * manage\n"), HasSubstr("\n  uid eq\n")));
    const nlohmann::json document = json(partly).json();
    EXPECT_TRUE(document.at("schemas").is_null());
    EXPECT_EQ(document.at("unavailable").size(), 1U);
    EXPECT_EQ(document.at("unavailable").at(0).at("section"), "schemas");
}

TEST_F(CliOverview, WithoutRightsOnTheMainDatabaseShowsTheReasonBesideItsSections)
{
    const PrivateSlapd partly({"--entries", "1"});
    hide(partly, "to dn.subtree=\"" + mainDatabaseDn + "\"");
    const nlohmann::json document = json(partly).json();
    EXPECT_THAT(reasons(document),
                IsSupersetOf(besideFour("there is no database " + mainDatabase + ", or it is hidden")));
    EXPECT_EQ(document.at("schemas").size(), 4U);
    EXPECT_EQ(document.at("databases"), nlohmann::json::array());
    EXPECT_EQ(text(partly).status, 0);
}

TEST_F(CliOverview, WithoutRightsOnAnAttributeDoesNotClaimThatItIsEmpty)
{
    const PrivateSlapd partly({"--entries", "1"});
    hide(partly, "to dn.base=\"" + mainDatabaseDn + "\" attrs=olcAccess");
    const Outcome outcome = text(partly);
    EXPECT_THAT(outcome.out,
                HasSubstr("\nAccess rules of " + mainDatabase + ", in their order\n  (none, or hidden)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\n  uid eq\n"));
    EXPECT_EQ(outcome.err, "");
    const nlohmann::json added =
        runOn(partly, {"access", "add", "--at", "0", "to attrs=sn by * read", "--output", "json"}).json();
    EXPECT_EQ(added.at("result"), "added");
    EXPECT_TRUE(added.at("position").is_null());
}

TEST_F(CliOverview, OfAHiddenConfigurationEndsWith4AndKeepsOneDocument)
{
    const PrivateSlapd hidden({"--entries", "1", "--rights", "locked"});
    const Outcome outcome = text(hidden);
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err,
              "kvr-ldap: overview: Insufficient access. The user should have administrator privilege.\n"
              "kvr-ldap: hint: --auth gssapi logs in with a Kerberos ticket\n");
    EXPECT_THAT(outcome.out, StartsWith("Databases and their suffixes\n  not shown: Insufficient access. The "
                                        "user should have administrator privilege.\n"));
    const nlohmann::json document = json(hidden).json();
    EXPECT_GE(document.at("unavailable").size(), 7U);
    EXPECT_EQ(document.at("error").at("exitCode"), 4);
    EXPECT_EQ(document.at("error").at("resultCode"), 32);
}

TEST_F(CliOverview, EveryVerbOnAHiddenConfigurationEndsWith4)
{
    const PrivateSlapd hidden({"--entries", "1", "--rights", "locked"});
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"databases"},
                                               {"modules"},
                                               {"schema", "list"},
                                               {"schema", "has", "nis"},
                                               {"schema", "adjust-gecos"},
                                               {"access", "list"},
                                               {"access", "add", "to * by * read"},
                                               {"index", "list"},
                                               {"index", "add", "mail eq"},
                                               {"limit", "list"},
                                               {"limit", "delete", "users"},
                                               {"unique", "list"},
                                               {"unique", "add", "ldap:///?uid?sub"}})
    {
        const Outcome outcome = runOn(hidden, arguments);
        EXPECT_EQ(outcome.status, 4) << arguments.front();
        EXPECT_THAT(outcome.err, HasSubstr(": Insufficient access. "));
    }
}

TEST_F(CliOverview, OfNoServerEndsWith5)
{
    PrivateSlapd gone({"--entries", "1"});
    gone.stop();
    const Outcome outcome = json(gone);
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.json().at("error").at("exitCode"), 5);
    EXPECT_THAT(outcome.out, Not(HasSubstr("unavailable")));
}

TEST_F(CliOverview, ThatLosesTheServerEndsWith5AndKeepsOneDocument)
{
    KVR::Support::LdapResponder leaving;
    leaving.onSearch(KVR::Support::Answer().entry(
        mainDatabaseDn, {{"olcDatabase", {mainDatabase}}, {"olcSuffix", {"dc=example,dc=com"}}}));
    leaving.onSearch(KVR::Support::Answer().drop());
    const Outcome outcome = kvrLdap({"overview", "--uri", leaving.uri(), "--output", "json"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.json().at("databases").size(), 1U);
    EXPECT_EQ(outcome.json().at("error").at("resultCode"), -1);
    EXPECT_EQ(leaving.requests(KVR::Support::Operation::Search).size(), 2U);
}

TEST_F(CliOverview, ALatin1ProcessShowsLatin1)
{
    const PrivateSlapd own({"--entries", "1"});
    const Setting setting = inLocale(latin1);
    ASSERT_EQ(runOn(own, {"limit", "add", "dn.exact=\"cn=J\xfcrgen\"", "size=1"}, setting).status, 0);
    EXPECT_THAT(runOn(own, {"overview"}, setting).out,
                HasSubstr("\n  {0}dn.exact=\"cn=J\xfcrgen\" size=1\n"));
    EXPECT_EQ(runOn(own, {"overview", "--output", "json"}, setting).json().at("limits").at(0).at("value"),
              "{0}dn.exact=\"cn=J\xc3\xbcrgen\" size=1");
}

TEST_F(CliOverview, ItsPartsAreCommandsToo)
{
    expectLine({"databases"}, mainDatabase + "  dc=example,dc=com");
    expectLine({"modules"}, "{0}back_" + type + "\n{1}syncprov\n{2}unique\n{3}back_ldap\n{4}retcode");
    EXPECT_EQ(
        document({"databases"}),
        answer("databases", {{"databases", {{{"name", mainDatabase}, {"suffix", "dc=example,dc=com"}}}}}));
    EXPECT_EQ(
        document({"modules"}),
        answer("modules",
               {{"modules", {"{0}back_" + type, "{1}syncprov", "{2}unique", "{3}back_ldap", "{4}retcode"}}}));
}

} // namespace
