#include "SearchTest.h"

#include <map>
#include <stdexcept>

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Changes = std::multimap<std::string, std::string>;

Caught emptyDn()
{
    return checkError("Empty or invalid Entity DN");
}

Answer stampsOf(const std::string& dn, const std::string& modified = "20240202020202Z")
{
    return Answer().entry(dn, {{"createTimestamp", {"20240101010101Z"}},
                               {"modifyTimestamp", {modified}},
                               {"creatorsName", {"cn=creator"}},
                               {"modifiersName", {"cn=modifier"}}});
}

class StampTest : public ConnectedTest
{
protected:
    void SetUp() override
    {
        ConnectedTest::SetUp();
        entity = connection.AllocEntity();
        entity->dn = "cn=a,dc=x";
        entity->attributes = {{"cn", "a"}};
        responder.always(Operation::Search, stampsOf("cn=a,dc=x"));
    }

    std::size_t searches() const { return responder.requests(Operation::Search).size(); }

    EntityPointer entity;
};

TEST_F(StampTest, TheFourStampsAreTheServersTexts)
{
    EXPECT_EQ("cn=creator", entity->creator());
    EXPECT_EQ("cn=modifier", entity->modifier());
    EXPECT_EQ("20240101010101Z", entity->created());
    EXPECT_EQ("20240202020202Z", entity->modified());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(StampTest, TheyAreReadByOneBaseSearchOfTheEntry)
{
    entity->modified();
    const LdapRequest request = responder.only(Operation::Search);
    EXPECT_EQ("cn=a,dc=x", request.dn);
    EXPECT_EQ(LDAP_SCOPE_BASE, request.search.scope);
    EXPECT_EQ("(objectClass=*)", request.search.filter);
    EXPECT_THAT(request.search.attributes,
                ElementsAre("createTimestamp", "modifyTimestamp", "creatorsName", "modifiersName"));
}

TEST_F(StampTest, TheCreationFactsAreReadOnce)
{
    entity->created();
    entity->created();
    entity->creator();
    entity->creator();
    EXPECT_EQ(1U, searches());
}

TEST_F(StampTest, TheModificationFactsAreReadEachTime)
{
    entity->modified();
    entity->modified();
    EXPECT_EQ(2U, searches());
    entity->modifier();
    entity->modifier();
    EXPECT_EQ(4U, searches());
    entity->created();
    EXPECT_EQ(4U, searches()) << "the stamps were there";
}

TEST_F(StampTest, AChangedStampIsSeen)
{
    EXPECT_EQ("20240202020202Z", entity->modified());
    responder.onSearch(stampsOf("cn=a,dc=x", "20250303030303Z"));
    EXPECT_EQ("20250303030303Z", entity->modified());
}

TEST_F(StampTest, DnAndAttributesOfTheEntityAreNotTouched)
{
    responder.onSearch(stampsOf("CN=A,DC=X"));
    entity->modified();
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity));
}

TEST_F(StampTest, StampsTheServerKeepsBackAreEmptyAndLoggedInOrder)
{
    responder.onSearch(Answer().entry("cn=a,dc=x"));
    EXPECT_EQ("", entity->created());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'creatorsName' not found"),
                                            Pair(0, "LDAP attribute 'modifiersName' not found"),
                                            Pair(0, "LDAP attribute 'createTimestamp' not found"),
                                            Pair(0, "LDAP attribute 'modifyTimestamp' not found")));
    EXPECT_EQ("", entity->creator());
    EXPECT_EQ(1U, searches());
}

TEST_F(StampTest, AStampWithTwoValuesGivesTheFirstAndIsLogged)
{
    responder.onSearch(Answer().entry("cn=a,dc=x", {{"createTimestamp", {"1"}},
                                                    {"modifyTimestamp", {"second", "first"}},
                                                    {"creatorsName", {"c"}},
                                                    {"modifiersName", {"m"}}}));
    EXPECT_EQ("second", entity->modified());
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'modifyTimestamp' met twice")));
}

TEST_F(StampTest, AnEntryThatIsGoneHasEmptyStampsWhichAreNotReadAgain)
{
    responder.always(Operation::Search, Answer().result(32));
    EXPECT_EQ("", entity->modified());
    EXPECT_EQ(1U, searches());
    EXPECT_EQ("", entity->created());
    EXPECT_EQ("", entity->creator());
    EXPECT_EQ(1U, searches());
    EXPECT_EQ("", entity->modifier());
    EXPECT_EQ(2U, searches());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(StampTest, CreatedOfAnEntryThatIsGoneSearchesOnce)
{
    responder.always(Operation::Search, Answer().result(32));
    EXPECT_EQ("", entity->created());
    EXPECT_EQ("", entity->created());
    EXPECT_EQ(1U, searches());
}

TEST_F(StampTest, AnEntryThatHasGoneKeepsTheStampsReadBefore)
{
    entity->modified();
    responder.always(Operation::Search, Answer().result(32));
    EXPECT_EQ("20240202020202Z", entity->modified());
    EXPECT_EQ("cn=modifier", entity->modifier());
    EXPECT_EQ("20240101010101Z", entity->created());
}

TEST_F(StampTest, ASearchWithoutEntriesKeepsTheStampsToo)
{
    entity->modified();
    responder.always(Operation::Search, Answer());
    EXPECT_EQ("20240202020202Z", entity->modified());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(StampTest, AnEmptyDnIsRefusedAndNothingIsSent)
{
    entity->dn.clear();
    EXPECT_EQ(emptyDn(), caught([&] { entity->created(); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->creator(); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->modified(); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->modifier(); }));
    auto& concrete = dynamic_cast<CKVRLdapEntity&>(*entity);
    EXPECT_EQ(emptyDn(), caught([&] { concrete.InvalidateStamp(); }));
    EXPECT_EQ(0U, searches());
}

TEST_F(StampTest, CachedCreationFactsNeedNoDn)
{
    entity->created();
    entity->dn.clear();
    EXPECT_EQ("20240101010101Z", entity->created());
    EXPECT_EQ("cn=creator", entity->creator());
}

TEST_F(StampTest, ClearForgetsTheStamps)
{
    entity->created();
    entity->Clear();
    entity->dn = "cn=b,dc=x";
    responder.clear();
    entity->created();
    EXPECT_EQ("cn=b,dc=x", responder.only(Operation::Search).dn);
}

TEST_F(StampTest, FailuresOfTheSearchArePassedOn)
{
    responder.onSearch(Answer().result(50, "no"));
    EXPECT_EQ(accessError(50, "no"), caught([&] { entity->modified(); }));
    responder.onSearch(Answer().result(51));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=a,dc=x (objectClass=*)' - Server is busy",
                          "KVRLdapConnection.cpp:LINE(Search)"),
              caught([&] { entity->created(); }));
    connection.Disconnect();
    EXPECT_EQ(notConnected(), caught([&] { entity->modifier(); }));
}

/** Updates through the connection's own operation. */
class EntityUpdateTest : public ConnectedTest
{
protected:
    /** What updating an entity of the server throws; its copy stays and nothing is sent. */
    Caught updating(Changes changes)
    {
        const EntityPointer entity = connection.AllocEntity();
        entity->dn = "cn=a,dc=x";
        entity->attributes = {{"cn", "a"}, {"mail", "m"}, {"sn", "s"}};
        const Caught error = caught([&] { entity->Update(changes, false); });
        EXPECT_EQ((Values{{"cn", "a"}, {"mail", "m"}, {"sn", "s"}}), valuesOf(*entity));
        EXPECT_EQ("cn=a,dc=x", entity->dn);
        EXPECT_THAT(responder.requests(), IsEmpty());
        return error;
    }

    static Caught updateError(const std::string& text)
    {
        return internalError(text, "KVRLdapConnectionEntry.cpp:LINE(UpdateDN)");
    }
};

TEST_F(EntityUpdateTest, AnInvalidModeIsTheConnectionsBuildingFailure)
{
    EXPECT_EQ(updateError("on building attributes"), updating({{"*mail", "x"}, {"!sn", ""}}));
    EXPECT_EQ(updateError("on building attributes"), updating({{"mail", "x"}}));
}

TEST_F(EntityUpdateTest, AnEmptyKeyIsTheConnectionsInvalidAttribute)
{
    EXPECT_EQ(updateError("Invalid attribute of dn 'cn=a,dc=x'"), updating({{"", "x"}, {"!sn", ""}}));
}

TEST_F(EntityUpdateTest, ARefusalOfTheServerLeavesTheCopyToo)
{
    const EntityPointer entity = connection.AllocEntity();
    entity->dn = "cn=a,dc=x";
    entity->attributes = {{"mail", "m"}};
    Changes changes{{"!mail", ""}};
    responder.onModify(Answer().result(53, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on modifying dn 'cn=a,dc=x' - Server is unwilling to perform",
                          "KVRLdapConnectionEntry.cpp:LINE(UpdateDN)", "words"),
              caught([&] { entity->Update(changes, false); }));
    EXPECT_EQ((Values{{"mail", "m"}}), valuesOf(*entity));
    EXPECT_EQ(Caught(), caught([&] { entity->Update(changes, false); }));
    EXPECT_THAT(valuesOf(*entity), IsEmpty());
}

/** What the overridden operations below were called with. */
using Calls = std::vector<std::string>;

/** Gives one empty entry. */
class OneEntryQuery : public IKVRLdapQuery
{
public:
    OneEntryQuery(Calls& calls, EntityPointer entry) : calls_(calls), entry_(std::move(entry)) {}
    void First() override { calls_.emplace_back("First"); }

    bool Fetch(EntityPointer& entity) override
    {
        calls_.emplace_back(entity ? "Fetch into something" : "Fetch");
        entity = entry_;
        return true;
    }

    int Count() override
    {
        calls_.emplace_back("Count");
        return 1;
    }

private:
    Calls& calls_;
    EntityPointer entry_;
};

/** Records the operations that entities use and does nothing. */
class RecordingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    QueryPointer Search(const std::string& base, const std::string& filter,
                        std::list<std::string>& attributes, alSCOPE scope) override
    {
        called("Search " + base + " " + filter + " " + std::to_string(attributes.size()) + " " +
               std::to_string(scope));
        const EntityPointer entry = AllocEntity();
        entry->attributes = {{"modifyTimestamp", "from the other search"}};
        return std::make_shared<OneEntryQuery>(calls, entry);
    }

    void AddDN(const std::string& dn, Changes& attributes) override { called("AddDN " + dn, attributes); }
    void DeleteDN(const std::string& dn) override { called("DeleteDN " + dn); }
    void UpdateDN(const std::string& dn, Changes& changes) override { called("UpdateDN " + dn, changes); }
    void RenameDN(const std::string& dn, const std::string& newRdn) override
    {
        called("RenameDN " + dn + " " + newRdn);
    }

    Calls calls;
    bool refuses = false;

private:
    void called(std::string call, const Changes& pairs = {})
    {
        for (const auto& [key, value] : pairs)
        {
            call.append(" ").append(key).append("=").append(value);
        }
        calls.push_back(call);
        if (refuses)
        {
            throw EKVRCheckError("refused", "");
        }
    }
};

/** Entities whose connection records; there is no session. */
class EntityCallsTest : public WireTest
{
protected:
    void SetUp() override
    {
        entity->dn = "cn=old,dc=x";
        entity->attributes = {{"cn", "old"}, {"sn", "s"}};
    }

    RecordingConnection connection{host};
    EntityPointer entity = connection.AllocEntity();
};

TEST_F(EntityCallsTest, StampsAreReadThroughTheConnectionsOwnSearchThenFirstThenFetch)
{
    EXPECT_EQ("from the other search", entity->modified());
    EXPECT_THAT(connection.calls, ElementsAre("Search cn=old,dc=x (objectClass=*) 4 0", "First", "Fetch"));
}

TEST_F(EntityCallsTest, CreateAddsDnAndAttributes)
{
    entity->Create();
    EXPECT_THAT(connection.calls, ElementsAre("AddDN cn=old,dc=x cn=old sn=s"));
}

TEST_F(EntityCallsTest, DeleteDeletesTheDnAndKeepsTheCopy)
{
    entity->Delete();
    EXPECT_THAT(connection.calls, ElementsAre("DeleteDN cn=old,dc=x"));
    EXPECT_TRUE(entity->IsValid());
    EXPECT_EQ((Values{{"cn", "old"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, UpdateChangesTheServerThenTheCopy)
{
    Changes changes{{"+cn", "also"}, {"!sn", ""}};
    entity->Update(changes, false);
    EXPECT_THAT(connection.calls, ElementsAre("UpdateDN cn=old,dc=x !sn= +cn=also"));
    EXPECT_EQ((Values{{"cn", "old"}, {"cn", "also"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, ALocalUpdateCallsNothing)
{
    Changes changes{{"+cn", "also"}};
    entity->Update(changes, true);
    EXPECT_THAT(connection.calls, IsEmpty());
    EXPECT_EQ((Values{{"cn", "old"}, {"cn", "also"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, ARefusedUpdateLeavesTheCopyAlone)
{
    connection.refuses = true;
    Changes changes{{"+cn", "also"}};
    EXPECT_EQ(checkError("refused"), caught([&] { entity->Update(changes, false); }));
    EXPECT_EQ((Values{{"cn", "old"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, RenameRenamesOnTheServerThenInTheCopy)
{
    entity->Rename("cn=new");
    EXPECT_THAT(connection.calls, ElementsAre("RenameDN cn=old,dc=x cn=new"));
    EXPECT_EQ("cn=new,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "new"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, ARefusedRenameLeavesTheCopyAlone)
{
    connection.refuses = true;
    EXPECT_EQ(checkError("refused"), caught([&] { entity->Rename("cn=new"); }));
    EXPECT_EQ("cn=old,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "old"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, RenamingADnWithoutAParentFailsAfterTheServerHasRenamed)
{
    entity->dn = "cn=old";
    EXPECT_EQ((Caught{typeid(std::out_of_range), "basic_string::substr", "", ""}),
              caught([&] { entity->Rename("cn=new"); }));
    EXPECT_THAT(connection.calls, ElementsAre("RenameDN cn=old cn=new"));
    EXPECT_EQ("cn=old", entity->dn);
    EXPECT_EQ((Values{{"cn", "old"}, {"sn", "s"}}), valuesOf(*entity));
}

TEST_F(EntityCallsTest, WithoutADnNothingIsCalled)
{
    Changes changes{{"+cn", "also"}};
    entity->dn.clear();
    EXPECT_EQ(emptyDn(), caught([&] { entity->Create(); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->Delete(); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->Update(changes, false); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->Update(changes, true); }));
    EXPECT_EQ(emptyDn(), caught([&] { entity->Rename("cn=new"); }));
    EXPECT_THAT(connection.calls, IsEmpty());
}

TEST_F(EntityCallsTest, AnEmptyNewRdnIsRefusedBeforeTheDnIsLookedAt)
{
    entity->dn.clear();
    EXPECT_EQ(checkError("Argument is empty for 'Rename'."), caught([&] { entity->Rename(""); }));
    EXPECT_THAT(connection.calls, IsEmpty());
}

TEST_F(EntityCallsTest, AnEmptyKeyIsRefusedBeforeTheCopyChanges)
{
    Changes changes{{"", "x"}, {"!sn", ""}};
    EXPECT_EQ((Caught{typeid(std::out_of_range), "basic_string::substr", "", ""}),
              caught([&] { entity->Update(changes, true); }));
    EXPECT_EQ((Values{{"cn", "old"}, {"sn", "s"}}), valuesOf(*entity));
}

} // namespace

} // namespace KVR
