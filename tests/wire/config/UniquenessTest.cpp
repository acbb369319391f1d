#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char overlayDn[] = "olcOverlay={2}unique,olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
constexpr char uri[] = "ldap:///dc=x?uid?sub";
constexpr char subtreeSearch[] = "search olcDatabase=" KVR_MAIN_DATABASE
                                 ",cn=config scope 2 (objectClass=olcUniqueConfig) for olcUniqueURI";
constexpr char entrySearch[] =
    "search olcDatabase=" KVR_MAIN_DATABASE ",cn=config scope 1 (objectClass=olcUniqueConfig) for dn";
constexpr char noUri[] = "LDAP attribute 'olcUniqueURI' not found";

Caught noOverlay(const std::string& operation)
{
    return internalError("LDAP configuration for module 'unique' not found.",
                         "KVRLdapConnectionUnique.cpp:LINE(" + operation + ")");
}

Answer overlay(const std::vector<std::string>& uris, const std::string& dn = overlayDn)
{
    return Answer().entry(dn, {{"olcUniqueURI", uris}});
}

class UniquenessListTest : public ConfigTest
{
protected:
    Texts listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateDBUniqueness(uris);
        return uris;
    }

    Texts uris;
};

TEST_F(UniquenessListTest, UrisAreListedInTheServersOrderAsTheyAre)
{
    EXPECT_THAT(listedFor(overlay({"ldap:///?uid?sub", " b ", "ldap:///?uid?sub", "a"})),
                ElementsAre("ldap:///?uid?sub", " b ", "ldap:///?uid?sub", "a"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UniquenessListTest, AnOverlayWithoutUrisGivesAnEmptyListAndOneLogLine)
{
    uris = {"old"};
    EXPECT_THAT(listedFor(Answer().entry(overlayDn)), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, noUri)));
}

TEST_F(UniquenessListTest, OfSeveralOverlaysTheFirstCounts)
{
    EXPECT_THAT(listedFor(overlay({"a"}).entry("cn=b", {{"olcUniqueURI", {"b"}}})), ElementsAre("a"));
}

TEST_F(UniquenessListTest, UrisAreNotConvertedASecondTime)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedFor(overlay({"ldap:///dc=\xc3\xa4"})), ElementsAre("ldap:///dc=\xe4"));
}

TEST_F(UniquenessListTest, TheEntityIsReadAloudAfterOneFetchWithoutACount)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{
        {{"cn=a", {{"olcUniqueURI", "\xc3\xa4"}, {"olcUniqueURI", "a"}}}, {"cn=b", {{"olcUniqueURI", "b"}}}},
        2});
    overriding.EnumerateDBUniqueness(uris);
    EXPECT_THAT(uris, ElementsAre("\xc3\xa4", "a"));
    EXPECT_THAT(overriding.calls, ElementsAre("Search olcDatabase=" KVR_MAIN_DATABASE ",cn=config scope 2 "
                                              "objectClass=olcUniqueConfig for olcUniqueURI",
                                              "First", "Fetch", "ValsByAttr olcUniqueURI"));
}

TEST_F(UniquenessListTest, WhatFetchDoesNotTellIsNotListed)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{{"cn=a", {{"olcUniqueURI", "a"}}}}, 1, 0, false});
    overriding.EnumerateDBUniqueness(uris);
    EXPECT_THAT(uris, IsEmpty());
}

class UniquenessChangeTest : public ConfigTest
{
protected:
    /** Lets the enumeration find this, and the search for the overlay that. */
    void finds(const Answer& enumeration, const Answer& entry)
    {
        responder.onSearch(enumeration);
        responder.onSearch(entry);
    }

    Caught adding(const std::string& text)
    {
        return caught([&] { connection.AddDBUniqueness(text); });
    }

    Caught deleting(const std::string& text)
    {
        return caught([&] { connection.DeleteDBUniqueness(text); });
    }

    static std::string change(int code, const std::string& dn, const std::string& value)
    {
        return "modify " + dn + " " + std::to_string(code) + " olcUniqueURI '" + value + "'";
    }
};

TEST_F(UniquenessChangeTest, TheOverlayIsSearchedInTheSubtreeForUrisThenOneLevelBelowForItsDn)
{
    finds(overlay({"a"}), Answer().entry(overlayDn));
    EXPECT_EQ(Caught(), adding(uri));
    EXPECT_THAT(sent(), ElementsAre(subtreeSearch, entrySearch, change(0, overlayDn, uri)));
    EXPECT_THAT(log.messages(), IsEmpty());
    responder.clear();
    finds(overlay({"a", uri}), Answer().entry(overlayDn));
    EXPECT_EQ(Caught(), deleting(uri));
    EXPECT_THAT(sent(), ElementsAre(subtreeSearch, entrySearch, change(1, overlayDn, uri)));
}

TEST_F(UniquenessChangeTest, TheChangedEntryIsTheOneOfTheSecondSearch)
{
    finds(overlay({"a"}, "cn=of the first search"), Answer().entry("cn=of the second").entry("cn=not this"));
    EXPECT_EQ(Caught(), adding(uri));
    EXPECT_EQ(change(0, "cn=of the second", uri), last(sent()));
}

TEST_F(UniquenessChangeTest, UrisAreComparedAsAWholeAndSentAsTheyAre)
{
    for (const char* text :
         {"ldap:///dc=x?uid", " ldap:///dc=x?uid?sub", "LDAP:///dc=x?uid?sub", "%s%n", " "})
    {
        responder.clear();
        finds(overlay({uri}), Answer().entry(overlayDn));
        EXPECT_EQ(Caught(), adding(text));
        EXPECT_EQ(change(0, overlayDn, text), last(sent()));
        responder.clear();
        responder.onSearch(overlay({uri}));
        EXPECT_EQ(Caught(), deleting(text));
        EXPECT_THAT(sent(), ElementsAre(subtreeSearch)) << text;
    }
}

TEST_F(UniquenessChangeTest, WithoutAnOverlayAddingFailsAndDeletingDoesNothing)
{
    EXPECT_EQ(noOverlay("AddDBUniqueness"), adding(uri));
    EXPECT_THAT(sent(), ElementsAre(subtreeSearch, entrySearch));
    responder.clear();
    EXPECT_EQ(Caught(), deleting(uri));
    EXPECT_THAT(sent(), ElementsAre(subtreeSearch));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(UniquenessChangeTest, AnOverlayDeeperThanOneLevelIsListedButNotFoundForAChange)
{
    finds(overlay({"a"}, "olcOverlay={0}unique,cn=x,olcDatabase=" KVR_MAIN_DATABASE ",cn=config"), Answer());
    EXPECT_EQ(noOverlay("AddDBUniqueness"), adding(uri));
    finds(overlay({uri}, "olcOverlay={0}unique,cn=x,olcDatabase=" KVR_MAIN_DATABASE ",cn=config"), Answer());
    EXPECT_EQ(noOverlay("DeleteDBUniqueness"), deleting(uri));
    EXPECT_THAT(responder.requests(Operation::Modify), IsEmpty());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(UniquenessChangeTest, ADatabaseThatIsGoneAtTheSecondSearchIsAnOverlayNotFound)
{
    finds(overlay({"a"}), Answer().result(32, "words"));
    EXPECT_EQ(noOverlay("AddDBUniqueness"), adding(uri));
    finds(overlay({uri}), Answer().result(32, "words"));
    EXPECT_EQ(noOverlay("DeleteDBUniqueness"), deleting(uri));
}

TEST_F(UniquenessChangeTest, ARefusedSecondSearchIsPassedOn)
{
    finds(overlay({"a"}), Answer().result(1, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'olcDatabase=" KVR_MAIN_DATABASE ",cn=config "
                          "objectClass=olcUniqueConfig' - Operations error",
                          "KVRLdapConnection.cpp:LINE(Search)", "words"),
              adding(uri));
    finds(overlay({uri}), Answer().result(50));
    EXPECT_EQ(accessError(50), deleting(uri));
    EXPECT_THAT(responder.requests(Operation::Modify), IsEmpty());
}

TEST_F(UniquenessChangeTest, AnOverlayWithoutUrisIsLoggedByTheEnumerationOnly)
{
    finds(Answer().entry(overlayDn), Answer().entry(overlayDn));
    EXPECT_EQ(Caught(), adding(uri));
    EXPECT_EQ(change(0, overlayDn, uri), last(sent()));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, noUri)));
}

TEST_F(UniquenessChangeTest, TheUriIsConverted)
{
    connectIn("ISO-8859-1");
    finds(overlay({"ldap:///dc=\xc3\xa4"}), Answer().entry(overlayDn));
    EXPECT_EQ(Caught(), deleting("ldap:///dc=\xe4"));
    EXPECT_EQ(change(1, overlayDn, "ldap:///dc=\xc3\xa4"), last(sent()));
}

/** Changes with overriding operations and without a session. */
class UniquenessOverriddenTest : public ConfigTest
{
protected:
    void SetUp() override
    {
        ConfigTest::SetUp();
        overriding.listed = Texts{"ldap:///?cn?sub"};
    }

    Caught adding()
    {
        return caught([&] { overriding.AddDBUniqueness(uri); });
    }

    Caught deleting()
    {
        return caught([&] { overriding.DeleteDBUniqueness("ldap:///?cn?sub"); });
    }
};

TEST_F(UniquenessOverriddenTest, TheEntityThatFetchHandsOutCountsNotItsAnswer)
{
    overriding.results.push_back(MadeResult{{{"cn=handed out", {}}}, 1, 0, false});
    EXPECT_EQ(Caught(), adding());
    EXPECT_EQ("SetAttrValue cn=handed out olcUniqueURI 'ldap:///dc=x?uid?sub' 43", last(overriding.calls));
    overriding.results.push_back(MadeResult{{{"cn=handed out", {}}}, 1, 0, false});
    EXPECT_EQ(Caught(), deleting());
    EXPECT_EQ("SetAttrValue cn=handed out olcUniqueURI 'ldap:///?cn?sub' 33", last(overriding.calls));
}

TEST_F(UniquenessOverriddenTest, AFetchThatSaysYesWithoutAnEntityIsAnOverlayNotFound)
{
    overriding.results.push_back(MadeResult{{{"cn=kept back", {}}}, 1, 0, true, false});
    EXPECT_EQ(noOverlay("AddDBUniqueness"), adding());
    overriding.results.push_back(MadeResult{{{"cn=kept back", {}}}, 1, 0, true, false});
    EXPECT_EQ(noOverlay("DeleteDBUniqueness"), deleting());
    EXPECT_EQ("Fetch", last(overriding.calls));
}

TEST_F(UniquenessOverriddenTest, AnOverridingSearchWithoutAQueryIsAnOverlayNotFound)
{
    overriding.results.emplace_back(std::nullopt);
    EXPECT_EQ(noOverlay("AddDBUniqueness"), adding());
    overriding.results.emplace_back(std::nullopt);
    EXPECT_EQ(noOverlay("DeleteDBUniqueness"), deleting());
}

TEST_F(UniquenessOverriddenTest, AnEntityWithAnEmptyDnIsAnEntity)
{
    overriding.results.push_back(MadeResult{{{"", {}}}, 1});
    EXPECT_EQ(Caught(), adding());
    EXPECT_EQ("SetAttrValue  olcUniqueURI 'ldap:///dc=x?uid?sub' 43", last(overriding.calls));
}

} // namespace

} // namespace KVR
