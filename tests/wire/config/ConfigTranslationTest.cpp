// The texts of configuration operations, with catalogues that put a mark in front of each: "[w]"
// says that it comes from the module's own catalogue, "[c]" from the host's.

#include "ConfigTest.h"
#include "HostCalls.h"
#include "ldap-wrapper.h"

#include <libintl.h>

#include <clocale>
#include <functional>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::Pair;

class ConfigTranslation : public ConfigTest
{
protected:
    template <typename Call>
    static std::string message(Call call)
    {
        return caught(call).message;
    }

    Texts list;
    TextMap map;

    /** Every operation that searches, in the order of the virtual table. */
    const std::vector<std::function<void()>> searching{[this] { connection.AdjustGecosType(); },
                                                       [this] { connection.EnumerateIndexes(list); },
                                                       [this] { connection.AddDBIndex("a"); },
                                                       [this] { connection.DeleteDBIndex("a"); },
                                                       [this] { connection.EnumerateDBAccessRules(list); },
                                                       [this] { connection.EnumerateLdapSchemas(list); },
                                                       [this] { connection.IsLdapSchemaRegistered("a"); },
                                                       [this] { connection.EnumerateModules(list); },
                                                       [this] { connection.EnumerateDatabases(map); },
                                                       [this] { connection.EnumerateDBUniqueness(list); },
                                                       [this] { connection.AddDBUniqueness("a"); },
                                                       [this] { connection.DeleteDBUniqueness("a"); },
                                                       [this] { connection.EnumerateDBLimits(map); },
                                                       [this] { connection.AddDBLimit("a", "a"); },
                                                       [this] { connection.DeleteDBLimit("a"); }};
};

TEST_F(ConfigTranslation, OfAMissingSessionIsTheModules)
{
    connection.Disconnect();
    for (const auto& operation : searching)
    {
        EXPECT_EQ("[w]LDAP connection isn`t established.", message(operation));
    }
    EXPECT_EQ("[w]LDAP connection isn`t established.", message([&] { connection.AddDBAccessRule(0, "a"); }));
    EXPECT_EQ("[w]LDAP connection isn`t established.", message([&] { connection.DeleteDBAccessRule(0); }));
}

TEST_F(ConfigTranslation, OfASearchWithoutAQueryIsTheHosts)
{
    responder.always(Operation::Search, Answer().result(32));
    for (const auto& operation : searching)
    {
        EXPECT_EQ("[c]Insufficient access. The user should have administrator privilege.",
                  message(operation));
    }
}

TEST_F(ConfigTranslation, OfAnEmptyArgumentIsTheHosts)
{
    EXPECT_EQ("[c]Argument is empty for 'AddDBIndex'.", message([&] { connection.AddDBIndex(""); }));
    EXPECT_EQ("[c]Argument is empty for 'DeleteDBIndex'.", message([&] { connection.DeleteDBIndex(""); }));
    EXPECT_EQ("[c]Argument is empty for 'AddDBUniqueness'.",
              message([&] { connection.AddDBUniqueness(""); }));
    EXPECT_EQ("[c]Argument is empty for 'DeleteDBUniqueness'.",
              message([&] { connection.DeleteDBUniqueness(""); }));
    EXPECT_EQ("[c]Argument is empty for 'AddDBLimit'.", message([&] { connection.AddDBLimit("a", ""); }));
    EXPECT_EQ("[c]Argument is empty for 'DeleteDBLimit'.", message([&] { connection.DeleteDBLimit(""); }));
}

TEST_F(ConfigTranslation, OfAnInvalidRuleIndexIsTheModules)
{
    EXPECT_EQ("[w]Invalid DB access rule index -2.", message([&] { connection.AddDBAccessRule(-2, "a"); }));
    EXPECT_EQ("[w]Invalid DB access rule index -1.", message([&] { connection.DeleteDBAccessRule(-1); }));
}

TEST_F(ConfigTranslation, OfTooManyEntriesIsTheHosts)
{
    const std::string start = "\\[c\\]Unexpected error [0-9]+ in KVRLdapConnection";
    responder.always(Operation::Search,
                     Answer().entry("cn=a", {{"cn", {"nis"}}}).entry("cn=b", {{"cn", {"nis"}}}));
    EXPECT_THAT(message([&] { connection.EnumerateDBAccessRules(list); }),
                MatchesRegex(start + "Access.cpp:[0-9]+ - EnumerateDBAccessRules\\(\\)"));
    EXPECT_THAT(message([&] { connection.IsLdapSchemaRegistered("a"); }),
                MatchesRegex(start + "Schema.cpp:[0-9]+ - IsLdapSchemaRegistered\\(\\)"));
    EXPECT_THAT(message([&] { connection.AdjustGecosType(); }),
                MatchesRegex(start + "Schema.cpp:[0-9]+ - AdjustGecosType\\(\\)"));
}

TEST_F(ConfigTranslation, OfAMissingOverlayIsTheModules)
{
    const std::string text = "[w]LDAP configuration for module 'unique' not found.";
    EXPECT_EQ(text, message([&] { connection.AddDBUniqueness("a"); }));
    responder.onSearch(Answer().entry("cn=a", {{"olcUniqueURI", {"a"}}}));
    EXPECT_EQ(text, message([&] { connection.DeleteDBUniqueness("a"); }));
}

TEST_F(ConfigTranslation, OfARefusedChangeIsTheModules)
{
    responder.onModify(Answer().result(16));
    EXPECT_EQ("[w]OpenLDAP error [w]on modifying attribute 'olcAccess' of dn 'olcDatabase=" KVR_MAIN_DATABASE
              ",cn=config' "
              "to value '{1}' - No such attribute in KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)",
              message([&] { connection.DeleteDBAccessRule(1); }));
}

TEST_F(ConfigTranslation, OfAnAttributeThatIsNotThereIsTheModules)
{
    responder.always(Operation::Search, Answer().entry("cn=a"));
    connection.EnumerateModules(list);
    connection.EnumerateDBLimits(map);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "[w]LDAP attribute 'olcModuleLoad' not found")));
}

TEST(SchemaRegistrationTranslation, OfEveryFailureButAMissingFileIsTheModules)
{
    Support::HostCalls machine;
    Support::RecordingHost host;
    CKVRLdapWrapper wrapper(host);
    const auto message = [&] { return caught([&] { wrapper.RegisterLdapSchema("x"); }).message; };
    EXPECT_EQ("[w]This computer isn't an KVR server.", message());
    machine.paths = {"/etc/ldap/slapd.d"};
    EXPECT_EQ("[c]File '/x' doesn't exists.", message());
    machine.files = {"/x"};
    machine.exitStatus = 1;
    EXPECT_EQ("[w]Failed to register LDAP schema 'x'.", message());
}

} // namespace

} // namespace KVR

int main(int argc, char** argv)
{
    setenv("LANGUAGE", "qq", 1);
    std::setlocale(LC_ALL, "C.UTF-8");
    bindtextdomain("libkvr-ldap-wrapper", KVR_MARKED_CATALOGUES);
    bindtextdomain("libkvr-core", KVR_MARKED_CATALOGUES);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
