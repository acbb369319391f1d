// Rules of the overlay "unique" on a real server, which begins without any.

#include "ConfigTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class UniquenessTest : public ConfigTest
{
protected:
    using ConfigTest::ConfigTest;

    /** Expects that the server refuses to add the rule. */
    void expectRefusal(const std::string& uri, const std::string& details)
    {
        EXPECT_EQ(caught([&] { connection.AddDBUniqueness(uri); }),
                  refusal("olcUniqueURI", "olcOverlay={0}unique," + mainDatabaseDn, uri,
                          "Other (e.g., implementation specific) error", details));
        EXPECT_THAT(uniqueness(), IsEmpty());
    }

    const std::string uids = "ldap:///?uid?sub";
    const std::string mails = "ldap:///ou=people,dc=example,dc=com?mail?sub";
};

TEST_F(UniquenessTest, AnOverlayWithoutRulesHasAnEmptyListAndTheMissingAttributeIsLogged)
{
    EXPECT_THAT(uniqueness(), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcUniqueURI' not found")));
}

TEST_F(UniquenessTest, AddedRulesAreListed)
{
    connection.AddDBUniqueness(uids);
    connection.AddDBUniqueness(mails);
    EXPECT_THAT(uniqueness(), ElementsAre(uids, mails));
}

TEST_F(UniquenessTest, ARuleThatIsListedIsAddedWithoutAnyEffect)
{
    connection.AddDBUniqueness(uids);
    EXPECT_EQ(caught([&] { connection.AddDBUniqueness(uids); }), Caught());
    EXPECT_THAT(uniqueness(), ElementsAre(uids));
}

TEST_F(UniquenessTest, ADeletedRuleIsGone)
{
    connection.AddDBUniqueness(uids);
    connection.AddDBUniqueness(mails);
    connection.DeleteDBUniqueness(uids);
    EXPECT_THAT(uniqueness(), ElementsAre(mails));
}

TEST_F(UniquenessTest, ARuleThatIsNotListedIsDeletedWithoutAnyEffect)
{
    connection.AddDBUniqueness(uids);
    EXPECT_EQ(caught([&] { connection.DeleteDBUniqueness(mails); }), Caught());
    EXPECT_THAT(uniqueness(), ElementsAre(uids));
}

TEST_F(UniquenessTest, ARuleThatIsNoUriIsRefused)
{
    expectRefusal("not-a-uri", "<not-a-uri> invalid ldap urilist");
}

TEST_F(UniquenessTest, ARuleOutsideTheDatabaseIsRefused)
{
    expectRefusal("ldap:///dc=other?uid?sub",
                  "dn <dc=other> is not a suffix of backend base dn <dc=example,dc=com>");
}

TEST_F(UniquenessTest, ARuleKeepsASecondEntryWithTheValueOutUntilItIsDeleted)
{
    const auto add = [&](const std::string& name)
    {
        Attributes attributes{{"objectClass", "account"}, {"uid", name}, {"uid", "shared"}};
        connection.AddDN("uid=" + name + "," + lab, attributes);
    };
    connection.AddDBUniqueness(uids);
    add("first");
    const Caught error = caught([&] { add("second"); });
    EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
    EXPECT_EQ(error.message, std::string("OpenLDAP error on adding dn 'uid=second,") + lab +
                                 "' - Constraint violation in KVRLdapConnectionEntry.cpp:LINE(AddDN)");
    EXPECT_EQ(connection.GetLastError(), 19);
    connection.DeleteDBUniqueness(uids);
    EXPECT_EQ(caught([&] { add("second"); }), Caught());
}

class NoOverlayTest : public UniquenessTest
{
protected:
    NoOverlayTest() : UniquenessTest({"--unique", "no"}) {}
};

TEST_F(NoOverlayTest, TheListIsEmptyAndNothingIsLogged)
{
    EXPECT_THAT(uniqueness(), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(NoOverlayTest, ADeletionHasNoEffect)
{
    EXPECT_EQ(caught([&] { connection.DeleteDBUniqueness(uids); }), Caught());
}

TEST_F(NoOverlayTest, AnAdditionNamesTheModuleThatIsMissing)
{
    EXPECT_EQ(caught([&] { connection.AddDBUniqueness(uids); }),
              (Caught{typeid(EKVRInternalError), "LDAP configuration for module 'unique' not found.", "",
                      "src/interfaces/ldap-wrapper/KVRLdapConnectionUnique.cpp:LINE(AddDBUniqueness)"}));
}

} // namespace
} // namespace KVR::ServerTests
