#include "Caught.h"
#include "FakeConnection.h"
#include "KVRLdapEntity.h"
#include "LogCapture.h"
#include "RecordingHost.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace KVR::Support
{
namespace
{

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using testing::UnorderedElementsAre;

/** Hosts rely on class and text. */
const Caught substrError{typeid(std::out_of_range), "basic_string::substr", "", ""};

class Entity : public testing::Test
{
protected:
    Entity() : entity(connection) {}

    LogCapture log;
    RecordingHost host;
    StrictMock<FakeConnection> connection{host};
    CKVRLdapEntity entity;
};

TEST_F(Entity, IsEmptyAfterConstruction)
{
    EXPECT_EQ(entity.dn, "");
    EXPECT_THAT(entity.attributes, IsEmpty());
    EXPECT_FALSE(entity.IsValid());
}

TEST_F(Entity, IsValidWithADnAlone)
{
    entity.dn = "cn=a,dc=example";
    EXPECT_TRUE(entity.IsValid());
}

TEST_F(Entity, ValByAttrOfAnAbsentAttributeIsEmptyAndQuietWhenAsked)
{
    EXPECT_EQ(entity.ValByAttr("cn", true), "");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Entity, ValByAttrLogsAnAbsentAttributeAtLevelZero)
{
    EXPECT_EQ(entity.ValByAttr("cn", false), "");
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute 'cn' not found")));
}

TEST_F(Entity, ValByAttrOfOneValueLogsNothing)
{
    entity.attributes = {{"cn", "a"}, {"sn", "b"}};
    EXPECT_EQ(entity.ValByAttr("sn", false), "b");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Entity, ValByAttrReturnsTheFirstOfThreeAndLogsMetTwiceOnceEvenWhenQuiet)
{
    entity.attributes = {{"objectClass", "top"}, {"objectClass", "person"}, {"objectClass", "account"}};
    EXPECT_EQ(entity.ValByAttr("objectClass", true), "top");
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute 'objectClass' met twice")));
}

TEST_F(Entity, ValByAttrLogsTwoValuesAsMetTwice)
{
    entity.attributes = {{"cn", "b"}, {"cn", "a"}};
    EXPECT_EQ(entity.ValByAttr("cn", false), "b");
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute 'cn' met twice")));
}

TEST_F(Entity, ValByAttrReturnsTheFirstOfManyEqualKeys)
{
    for (int i = 0; i < 100; ++i)
    {
        entity.attributes.emplace("member", std::to_string(i));
        entity.attributes.emplace("a" + std::to_string(i), "x");
    }
    EXPECT_EQ(entity.ValByAttr("member", true), "0");
}

TEST_F(Entity, LookupsAreCaseSensitive)
{
    entity.attributes = {{"objectClass", "top"}};
    std::list<std::string> values;
    EXPECT_EQ(entity.ValByAttr("objectclass", true), "");
    EXPECT_EQ(entity.ValsByAttr("objectclass", values, true), 0U);
}

TEST_F(Entity, AnAttributeNameWithAPercentSignIsLoggedAsItIs)
{
    entity.ValByAttr("%s%n", false);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute '%s%n' not found")));
}

TEST_F(Entity, ValsByAttrEmptiesTheListAndKeepsTheOrder)
{
    entity.attributes = {{"mail", "z"}, {"cn", "c"}, {"mail", "a"}, {"mail", "z"}};
    std::list<std::string> values{"old"};
    EXPECT_EQ(entity.ValsByAttr("mail", values, false), 3U);
    EXPECT_THAT(values, ElementsAre("z", "a", "z"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(Entity, ValsByAttrOfAnAbsentAttributeIsLoggedUnlessQuiet)
{
    std::list<std::string> values{"old"};
    EXPECT_EQ(entity.ValsByAttr("cn", values, true), 0U);
    EXPECT_THAT(values, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(entity.ValsByAttr("cn", values, false), 0U);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute 'cn' not found")));
}

TEST_F(Entity, ClearEmptiesDnAttributesAndStamps)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"cn", "a"}};
    EXPECT_CALL(connection, Search)
        .WillOnce(Return(connection.queryWith({{{"createTimestamp", "1"},
                                                {"modifyTimestamp", "2"},
                                                {"creatorsName", "3"},
                                                {"modifiersName", "4"}}})))
        .WillOnce(Return(nullptr));
    EXPECT_EQ(entity.created(), "1");
    entity.Clear();
    EXPECT_EQ(entity.dn, "");
    EXPECT_THAT(entity.attributes, IsEmpty());
    entity.dn = "cn=b,dc=x";
    EXPECT_EQ(entity.created(), "") << "the stamp of the previous entry must not show";
}

TEST_F(Entity, WithoutDnEveryOperationOnTheServerIsRefused)
{
    AttributeMap changes{{"+cn", "a"}};
    const Caught refusal{typeid(EKVRCheckError), "Empty or invalid Entity DN", "", ""};
    EXPECT_EQ(caught([&] { entity.Create(); }), refusal);
    EXPECT_EQ(caught([&] { entity.Delete(); }), refusal);
    EXPECT_EQ(caught([&] { entity.Update(changes, false); }), refusal);
    EXPECT_EQ(caught([&] { entity.Update(changes, true); }), refusal);
    EXPECT_EQ(caught([&] { entity.Rename("cn=b"); }), refusal);
    EXPECT_EQ(caught([&] { entity.InvalidateStamp(); }), refusal);
    EXPECT_EQ(caught([&] { entity.created(); }), refusal);
    EXPECT_EQ(caught([&] { entity.creator(); }), refusal);
    EXPECT_EQ(caught([&] { entity.modified(); }), refusal);
    EXPECT_EQ(caught([&] { entity.modifier(); }), refusal);
}

TEST_F(Entity, CreateAddsItsAttributesThroughTheConnection)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"cn", "a"}, {"objectClass", "device"}};
    EXPECT_CALL(connection, AddDN("cn=a,dc=x", entity.attributes));
    entity.Create();
}

TEST_F(Entity, DeleteGoesThroughTheConnectionAndKeepsTheCopy)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"cn", "a"}};
    EXPECT_CALL(connection, DeleteDN("cn=a,dc=x"));
    entity.Delete();
    EXPECT_EQ(entity.dn, "cn=a,dc=x");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a")));
}

TEST_F(Entity, CreateAndDeletePassTheConnectionsErrorAndKeepTheCopy)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"cn", "a"}};
    EXPECT_CALL(connection, AddDN).WillOnce(Throw(EKVRError("not added", "why")));
    EXPECT_CALL(connection, DeleteDN).WillOnce(Throw(EKVRError("not deleted", "why")));
    EXPECT_EQ(caught([&] { entity.Create(); }), (Caught{typeid(EKVRError), "not added", "why", ""}));
    EXPECT_EQ(caught([&] { entity.Delete(); }), (Caught{typeid(EKVRError), "not deleted", "why", ""}));
    EXPECT_EQ(entity.dn, "cn=a,dc=x");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a")));
}

TEST_F(Entity, UpdateSendsTheChangesThroughTheConnectionFirst)
{
    entity.dn = "cn=a,dc=x";
    AttributeMap changes{{"+mail", "m"}};
    EXPECT_CALL(connection, UpdateDN("cn=a,dc=x", changes))
        .WillOnce([this](const auto&, const auto&) { EXPECT_THAT(entity.attributes, IsEmpty()); });
    entity.Update(changes, false);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "m")));
}

TEST_F(Entity, UpdateChangesNothingLocallyWhenTheServerRefuses)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "old"}};
    AttributeMap changes{{"!mail", ""}};
    EXPECT_CALL(connection, UpdateDN).WillOnce(Throw(EKVRError("refused", "")));
    EXPECT_THROW(entity.Update(changes, false), EKVRError);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "old")));
}

TEST_F(Entity, UpdateInsertsBehindTheExistingValues)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "z"}, {"mail", "y"}};
    AttributeMap changes{{"+mail", "a"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "z"), Pair("mail", "y"), Pair("mail", "a")));
}

TEST_F(Entity, UpdateRemovesAllEqualValuesOfThatAttribute)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}, {"mail", "b"}, {"mail", "a"}, {"cn", "a"}};
    AttributeMap changes{{"-mail", "a"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a"), Pair("mail", "b")));
}

TEST_F(Entity, UpdateComparesRemovedValuesByteForByte)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "A"}};
    AttributeMap changes{{"-mail", "a"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "A")));
}

TEST_F(Entity, UpdateRemovesTheWholeAttributeWhateverTheValue)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}, {"mail", "b"}, {"cn", "a"}};
    AttributeMap changes{{"!mail", "ignored"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a")));
}

TEST_F(Entity, UpdateSetsEveryElementOfAReplacedAttribute)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}, {"mail", "b"}};
    AttributeMap changes{{"=mail", "new"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "new"), Pair("mail", "new")));
}

TEST_F(Entity, UpdateAddsNothingForAReplacedAttributeThatIsAbsent)
{
    entity.dn = "cn=a,dc=x";
    AttributeMap changes{{"=mail", "new"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, IsEmpty());
}

TEST_F(Entity, UpdateAppliesChangesInTheOrderOfThePrefixedKeys)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "old"}};
    AttributeMap changes{{"=mail", "last"}, {"+mail", "added"}, {"!mail", ""}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "last")));
}

TEST_F(Entity, UpdateRemovesValuesAfterAddingAndBeforeReplacing)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}, {"mail", "b"}};
    AttributeMap changes{{"-mail", "new"}, {"+mail", "new"}, {"-mail", "a"}, {"=mail", "last"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "last"))) << "only b was left to be replaced";
}

TEST_F(Entity, UpdateWithTwoReplacementsOfOneAttributeKeepsTheLast)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}};
    AttributeMap changes{{"=mail", "z"}, {"=mail", "y"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "y")));
}

TEST_F(Entity, LocalUpdateIgnoresAnUnknownMode)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}};
    AttributeMap changes{{"*mail", "b"}, {"mail", "c"}};
    entity.Update(changes, true);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "a")));
}

TEST_F(Entity, LocalUpdateWithAnEmptyKeyIsOutOfRangeAndChangesNothing)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"mail", "a"}};
    AttributeMap changes{{"", "x"}, {"!mail", ""}};
    EXPECT_EQ(caught([&] { entity.Update(changes, true); }), substrError);
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("mail", "a")));
}

TEST_F(Entity, UpdateLeavesTheStampsAlone)
{
    entity.dn = "cn=a,dc=x";
    EXPECT_CALL(connection, Search).WillOnce(Return(connection.queryWith({{{"createTimestamp", "1"}}})));
    EXPECT_EQ(entity.created(), "1");
    AttributeMap changes{{"+mail", "a"}};
    entity.Update(changes, true);
    EXPECT_EQ(entity.created(), "1");
}

TEST_F(Entity, RenameChecksTheRdnBeforeTheDn)
{
    const Caught refusal{typeid(EKVRCheckError), "Argument is empty for 'Rename'.", "", ""};
    EXPECT_EQ(caught([&] { entity.Rename(""); }), refusal);
}

TEST_F(Entity, RenameKeepsTheParentAndChangesTheFirstNamingValue)
{
    entity.dn = "cn=old,dc=example";
    entity.attributes = {{"cn", "old"}, {"cn", "other"}, {"sn", "old"}};
    EXPECT_CALL(connection, RenameDN("cn=old,dc=example", "cn=new"));
    entity.Rename("cn=new");
    EXPECT_EQ(entity.dn, "cn=new,dc=example");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "new"), Pair("cn", "other"), Pair("sn", "old")));
}

TEST_F(Entity, RenameOfALongerDnKeepsEverythingBehindTheFirstComma)
{
    entity.dn = "uid=a,ou=People,dc=example";
    EXPECT_CALL(connection, RenameDN);
    entity.Rename("uid=b");
    EXPECT_EQ(entity.dn, "uid=b,ou=People,dc=example");
}

TEST_F(Entity, RenameCutsAtTheFirstCommaAlsoAnEscapedOne)
{
    entity.dn = "cn=a\\,b,dc=example";
    EXPECT_CALL(connection, RenameDN);
    entity.Rename("cn=c");
    EXPECT_EQ(entity.dn, "cn=c,b,dc=example");
}

TEST_F(Entity, RenameLeavesAnAttributeOfAnotherSpellingAlone)
{
    entity.dn = "uid=a,dc=example";
    entity.attributes = {{"uid", "a"}};
    EXPECT_CALL(connection, RenameDN);
    entity.Rename("UID=b");
    EXPECT_EQ(entity.dn, "UID=b,dc=example");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("uid", "a")));
}

TEST_F(Entity, RenameTakesTheTextBehindTheFirstEqualsSign)
{
    entity.dn = "cn=a,dc=example";
    entity.attributes = {{"cn", "a"}};
    EXPECT_CALL(connection, RenameDN);
    entity.Rename("cn=x=y");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "x=y")));
}

TEST_F(Entity, RenameWithoutEqualsSignTakesTheWholeRdnAsNameAndValue)
{
    entity.dn = "cn=a,dc=example";
    entity.attributes = {{"cn", "a"}, {"plain", "old"}};
    EXPECT_CALL(connection, RenameDN);
    entity.Rename("plain");
    EXPECT_EQ(entity.dn, "plain,dc=example");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a"), Pair("plain", "plain")));
}

TEST_F(Entity, RenameOfADnWithoutParentIsOutOfRangeAfterTheServerRenamed)
{
    entity.dn = "dc=example";
    entity.attributes = {{"dc", "example"}};
    EXPECT_CALL(connection, RenameDN("dc=example", "dc=new"));
    EXPECT_EQ(caught([&] { entity.Rename("dc=new"); }), substrError);
    EXPECT_EQ(entity.dn, "dc=example");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("dc", "example")));
}

TEST_F(Entity, RenameChangesNothingLocallyWhenTheServerRefuses)
{
    entity.dn = "cn=a,dc=x";
    entity.attributes = {{"cn", "a"}};
    EXPECT_CALL(connection, RenameDN).WillOnce(Throw(EKVRError("refused", "")));
    EXPECT_THROW(entity.Rename("cn=b"), EKVRError);
    EXPECT_EQ(entity.dn, "cn=a,dc=x");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a")));
}

class EntityStamps : public Entity
{
protected:
    EntityStamps() { entity.dn = "cn=a,dc=x"; }

    AttributeMap stamps(const std::string& suffix)
    {
        return {{"createTimestamp", "created" + suffix},
                {"modifyTimestamp", "modified" + suffix},
                {"creatorsName", "creator" + suffix},
                {"modifiersName", "modifier" + suffix}};
    }
};

TEST_F(EntityStamps, AreReadByOneBaseSearchForFourNamesInOrder)
{
    const auto query = connection.queryWith({stamps("")});
    EXPECT_CALL(connection,
                Search("cn=a,dc=x", "(objectClass=*)",
                       ElementsAre("createTimestamp", "modifyTimestamp", "creatorsName", "modifiersName"),
                       alSCOPE_BASE))
        .WillOnce(Return(query));
    entity.attributes = {{"cn", "a"}};
    entity.InvalidateStamp();
    EXPECT_EQ(query->firstCalls, 1);
    EXPECT_EQ(query->fetchCalls, 1);
    EXPECT_TRUE(query->receivedEmptyEntity) << "the stamps are fetched into an entity of their own";
    EXPECT_EQ(entity.dn, "cn=a,dc=x");
    EXPECT_THAT(entity.attributes, ElementsAre(Pair("cn", "a")));
    EXPECT_EQ(entity.created(), "created");
    EXPECT_EQ(entity.creator(), "creator");
}

TEST_F(EntityStamps, OfCreationAreReadOnce)
{
    EXPECT_CALL(connection, Search).Times(1).WillOnce(Return(connection.queryWith({stamps("")})));
    EXPECT_EQ(entity.created(), "created");
    EXPECT_EQ(entity.created(), "created");
    EXPECT_EQ(entity.creator(), "creator");
}

TEST_F(EntityStamps, OfModificationAreReadEachTime)
{
    EXPECT_CALL(connection, Search)
        .WillOnce(Return(connection.queryWith({stamps("1")})))
        .WillOnce(Return(connection.queryWith({stamps("2")})))
        .WillOnce(Return(connection.queryWith({stamps("3")})));
    EXPECT_EQ(entity.modified(), "modified1");
    EXPECT_EQ(entity.modified(), "modified2");
    EXPECT_EQ(entity.modifier(), "modifier3");
    EXPECT_EQ(entity.created(), "created3");
}

TEST_F(EntityStamps, OfAVanishedEntryAreEmptyAndThenNotSearchedForAgain)
{
    EXPECT_CALL(connection, Search).Times(1).WillOnce(Return(nullptr));
    EXPECT_EQ(entity.modified(), "");
    EXPECT_EQ(entity.created(), "");
    EXPECT_EQ(entity.creator(), "");
}

TEST_F(EntityStamps, OfAVanishedEntryKeepTheLastKnownValue)
{
    EXPECT_CALL(connection, Search)
        .WillOnce(Return(connection.queryWith({stamps("")})))
        .WillOnce(Return(nullptr))
        .WillOnce(Return(connection.queryWith({})));
    EXPECT_EQ(entity.modified(), "modified");
    EXPECT_EQ(entity.modified(), "modified");
    EXPECT_EQ(entity.modifier(), "modifier");
}

TEST_F(EntityStamps, ThatTheServerWithholdsAreEmptyAndLogged)
{
    EXPECT_CALL(connection, Search).WillOnce(Return(connection.queryWith({{{"modifyTimestamp", "m"}}})));
    EXPECT_EQ(entity.modified(), "m");
    EXPECT_EQ(entity.created(), "");
    EXPECT_THAT(log.messages(),
                ElementsAre(Pair(kvrLOG_FAILURE, "LDAP attribute 'creatorsName' not found"),
                            Pair(kvrLOG_FAILURE, "LDAP attribute 'modifiersName' not found"),
                            Pair(kvrLOG_FAILURE, "LDAP attribute 'createTimestamp' not found")));
}

TEST_F(EntityStamps, PassTheErrorOfTheFetchAndStayAsTheyWere)
{
    const auto broken = connection.queryWith({stamps("new")});
    broken->makeEntity = []() -> std::shared_ptr<IKVRLdapEntity> { throw EKVRError("fetch", ""); };
    EXPECT_CALL(connection, Search)
        .WillOnce(Return(connection.queryWith({stamps("")})))
        .WillOnce(Return(broken));
    EXPECT_EQ(entity.modified(), "modified");
    EXPECT_EQ(caught([&] { entity.modified(); }).message, "fetch");
    EXPECT_EQ(entity.created(), "created");
}

TEST_F(EntityStamps, PassTheErrorOfTheSearch)
{
    EXPECT_CALL(connection, Search).WillOnce(Throw(EKVRError("search", "")));
    EXPECT_THROW(entity.modified(), EKVRError);
}

} // namespace
} // namespace KVR::Support
