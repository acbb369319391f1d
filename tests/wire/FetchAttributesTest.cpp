#include "SearchTest.h"

#include <functional>

namespace KVR
{

namespace
{

using ::testing::IsEmpty;

class FetchAttributesTest : public SearchTest
{
protected:
    /** The first entry of the answer. */
    EntityPointer fetch(const Answer& answer)
    {
        EntityPointer found;
        query = searchFor(answer);
        EXPECT_TRUE(query->Fetch(found));
        return found;
    }

    Values fetchValues(const Support::Attributes& attributes)
    {
        return valuesOf(*fetch(Answer().entry("cn=a,dc=x", attributes)));
    }

    /** What Fetch throws for the first entry; the entity stays to be looked at. */
    Caught failedFetch(const Answer& answer)
    {
        query = searchFor(answer);
        return caught([&] { query->Fetch(entity); });
    }

    QueryPointer query;
    EntityPointer entity;
};

TEST_F(FetchAttributesTest, ValuesKeepTheServersOrder)
{
    EXPECT_EQ((Values{{"cn", "c"}, {"cn", "a"}, {"cn", "b"}, {"cn", "a"}}),
              fetchValues({{"cn", {"c", "a", "b", "a"}}}));
}

TEST_F(FetchAttributesTest, NamesKeepTheServersSpelling)
{
    EXPECT_EQ((Values{{"OBJECTclass", "top"}, {"cn;lang-de", "a"}}),
              fetchValues({{"cn;lang-de", {"a"}}, {"OBJECTclass", {"top"}}}));
}

TEST_F(FetchAttributesTest, AValueIsCutAtItsFirstZeroByte)
{
    using namespace std::string_literals;
    EXPECT_EQ((Values{{"cn", "ab"}, {"cn", ""}, {"cn", "after"}}),
              fetchValues({{"cn", {"ab\0cd"s, "\0x"s, "after"}}}));
}

TEST_F(FetchAttributesTest, AnEmptyValueIsKept)
{
    EXPECT_EQ((Values{{"description", ""}}), fetchValues({{"description", {""}}}));
}

TEST_F(FetchAttributesTest, AnEntryWithoutAttributesHasItsDnOnly)
{
    const EntityPointer found = fetch(Answer().entry("cn=a,dc=x"));
    EXPECT_EQ("cn=a,dc=x", found->dn);
    EXPECT_THAT(found->attributes, IsEmpty());
}

TEST_F(FetchAttributesTest, AnAttributeWithoutValuesIsPassedOver)
{
    EXPECT_EQ((Values{{"cn", "a"}, {"ou", "b"}}), fetchValues({{"cn", {"a"}}, {"sn", {}}, {"ou", {"b"}}}));
}

TEST_F(FetchAttributesTest, ARepeatedAttributeGivesItsFirstValuesAgain)
{
    // The library finds values by the attribute's name, which names the first one both times.
    EXPECT_EQ((Values{{"cn", "a"}, {"cn", "a"}}), fetchValues({{"cn", {"a"}}, {"cn", {"b"}}}));
}

TEST_F(FetchAttributesTest, AnAttributeWithoutValuesInASizeLimitedResultIsAFailure)
{
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching attributes - Size limit exceeded", checkPlace),
              failedFetch(Answer()
                              .entry("cn=a,dc=x", {{"cn", {"a"}}, {"sn", {}}, {"ou", {"b"}}})
                              .entry("cn=b,dc=x")
                              .result(4)));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity)) << "what was filled before stays";
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=b,dc=x", entity->dn) << "the cursor has moved";
}

TEST_F(FetchAttributesTest, UnreadableValuesWithoutACodeArePassedOver)
{
    library.withheldValues = {"sn"};
    EXPECT_EQ((Values{{"cn", "a"}, {"ou", "b"}}), fetchValues({{"cn", {"a"}}, {"sn", {"s"}}, {"ou", {"b"}}}));
}

TEST_F(FetchAttributesTest, UnreadableValuesWithACodeAreAFailure)
{
    library.withheldValues = {"sn"};
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching attributes - Size limit exceeded", checkPlace),
              failedFetch(Answer().entry("cn=a,dc=x", {{"sn", {"s"}}}).result(4)));
}

TEST_F(FetchAttributesTest, TheDnIsKeptAsTheServerSentIt)
{
    EXPECT_EQ("CN=\xc3\xa4 + SN=b , DC=x", fetch(Answer().entry("CN=\xc3\xa4 + SN=b , DC=x"))->dn);
}

TEST_F(FetchAttributesTest, AMissingDnWithoutACodeStaysEmptyAndTheAttributesAreRead)
{
    library.withholdDn = true;
    const EntityPointer found = fetch(Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}));
    EXPECT_EQ("", found->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*found));
}

TEST_F(FetchAttributesTest, AMissingDnWithACodeIsAFailure)
{
    library.withholdDn = true;
    entity = connection.AllocEntity();
    entity->dn = "cn=former";
    entity->attributes = {{"sn", "former"}};
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching attributes - Size limit exceeded", checkPlace),
              failedFetch(threeEntries().result(4)));
    EXPECT_EQ("", entity->dn) << "cleared first";
    EXPECT_THAT(entity->attributes, IsEmpty());
    library.withholdDn = false;
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=b,dc=x", entity->dn) << "the cursor has moved";
}

TEST_F(FetchAttributesTest, AnAccessCodeAtAMissingDnBecomesInsufficientAccess)
{
    query = searchFor(threeEntries());
    ASSERT_TRUE(query->Fetch(entity));
    library.withholdDn = true;
    library.setResultCode(50);
    auto& concrete = dynamic_cast<CKVRLdapQuery&>(*query);
    EXPECT_EQ(accessError(50), caught([&] { concrete.FetchAttributes(entity); }));
}

TEST_F(FetchAttributesTest, AnEmptyPointerIsAnInternalError)
{
    query = searchFor(threeEntries());
    auto& concrete = dynamic_cast<CKVRLdapQuery&>(*query);
    const Caught expected =
        internalError("LDAP entity is not allocated.", "KVRLdapQuery.cpp:LINE(FetchAttributes)");
    EXPECT_EQ(expected, caught([&] { concrete.FetchAttributes(entity); }));
}

TEST_F(FetchAttributesTest, CalledByTheClientItReadsTheEntryTheCursorStandsOn)
{
    query = searchFor(threeEntries());
    ASSERT_TRUE(query->Fetch(entity));
    ASSERT_TRUE(query->Fetch(entity));
    EntityPointer another = connection.AllocEntity();
    dynamic_cast<CKVRLdapQuery&>(*query).FetchAttributes(another);
    EXPECT_EQ("cn=b,dc=x", another->dn);
}

TEST_F(FetchAttributesTest, ADamagedEntryIsSeenAtTheEndOfTheWalk)
{
    query = searchFor(
        Answer().damagedEntry("cn=a,dc=x", {{"cn", {"a"}}, {"objectClass", {"top"}}}).entry("cn=b,dc=x"));
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity));
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ("cn=b,dc=x", entity->dn);
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on fetching - Decoding error", fetchPlace),
              caught([&] { query->Fetch(entity); }));
}

TEST_F(FetchAttributesTest, ValuesAreConvertedAndDnsAreNot)
{
    connection.Disconnect();
    const DefaultCodesetGuard codeset("ISO-8859-1");
    connect(connection);
    const EntityPointer found =
        fetch(Answer().entry("cn=\xc3\xa4,dc=x", {{"cn", {"\xc3\xa4", "", "a"}}, {"n\xc3\xa4", {"b"}}}));
    EXPECT_EQ("cn=\xc3\xa4,dc=x", found->dn);
    EXPECT_EQ((Values{{"cn", "\xe4"}, {"cn", ""}, {"cn", "a"}, {"n\xc3\xa4", "b"}}), valuesOf(*found));
}

TEST_F(FetchAttributesTest, AValueThatCannotBeConvertedStopsTheFetch)
{
    connection.Disconnect();
    const DefaultCodesetGuard codeset("ISO-8859-1");
    connect(connection);
    EXPECT_EQ(internalError("iconv conversion failed.", "KVRLdapConnectionText.cpp:LINE(InternalIconv)"),
              failedFetch(Answer().entry("cn=a,dc=x", {{"cn", {"a", "\xd0\x96", "b"}}})));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", "a"}}), valuesOf(*entity));
}

/** Counts and answers conversions. */
class ConvertingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    std::string Utf8ToLocal(const std::string& text) override
    {
        converted.push_back(text);
        return "<" + text + ">";
    }

    std::vector<std::string> converted;
};

/** Counts how often it is emptied. */
class ClearedEntity : public CKVRLdapEntity
{
public:
    using CKVRLdapEntity::CKVRLdapEntity;

    void Clear() override
    {
        cleared++;
        CKVRLdapEntity::Clear();
    }

    int cleared = 0;
};

class OverriddenFetchTest : public WireTest
{
protected:
    ConvertingConnection connection{host};
};

TEST_F(OverriddenFetchTest, EachValueGoesThroughTheConnectionsConversion)
{
    connect(connection);
    responder.onSearch(Answer().entry("cn=a,dc=x", {{"cn", {"a", "", "b"}}}));
    EntityPointer entity;
    ASSERT_TRUE(searchWith(connection)->Fetch(entity));
    EXPECT_THAT(connection.converted, ::testing::ElementsAre("a", "", "b"));
    EXPECT_EQ((Values{{"cn", "<a>"}, {"cn", "<>"}, {"cn", "<b>"}}), valuesOf(*entity));
    EXPECT_EQ("cn=a,dc=x", entity->dn);
}

TEST_F(OverriddenFetchTest, TheEntityIsEmptiedThroughItsOwnClearOncePerEntry)
{
    connect(connection);
    responder.onSearch(threeEntries());
    const QueryPointer query = searchWith(connection);
    const auto counting = std::make_shared<ClearedEntity>(connection);
    EntityPointer entity = counting;
    while (query->Fetch(entity))
    {
    }
    EXPECT_EQ(counting, entity);
    EXPECT_EQ(3, counting->cleared);
}

/** An entity of a host, which has nothing in common with the module's. */
class ForeignEntity : public IKVRLdapEntity
{
public:
    std::string ValByAttr(const std::string& /*name*/, bool /*quiet*/) override { return ""; }
    unsigned long ValsByAttr(const std::string& /*name*/, std::list<std::string>& /*values*/,
                             bool /*quiet*/) override
    {
        return 0;
    }
    void Clear() override
    {
        dn.clear();
        attributes = {{"kept", "by the host"}};
    }
    bool IsValid() override { return false; }
    void Create() override {}
    void Delete() override {}
    void Update(std::multimap<std::string, std::string>& /*changes*/, bool /*localOnly*/) override {}
    void Rename(const std::string& /*newRdn*/) override {}
    std::string creator() override { return ""; }
    std::string modifier() override { return ""; }
    std::string created() override { return ""; }
    std::string modified() override { return ""; }
};

TEST_F(FetchAttributesTest, AnEntityOfTheHostsOwnClassIsFilledInBothWaysOfReading)
{
    for (const bool byName : {false, true})
    {
        library.hideBytes = byName;
        query = searchFor(threeEntries());
        const auto foreign = std::make_shared<ForeignEntity>();
        entity = foreign;
        ASSERT_TRUE(query->Fetch(entity));
        ASSERT_TRUE(query->Fetch(entity));
        EXPECT_EQ(foreign, entity);
        EXPECT_EQ("cn=b,dc=x", foreign->dn);
        EXPECT_EQ((Values{{"cn", "b"}, {"kept", "by the host"}}), valuesOf(*foreign));
        foreign->dn = "cn=changed";
        dynamic_cast<CKVRLdapQuery&>(*query).FetchAttributes(entity);
        EXPECT_EQ("cn=b,dc=x", foreign->dn);
    }
}

/** An entity that does something else when it is emptied, and leaves what it has. */
class BusyEntity : public CKVRLdapEntity
{
public:
    using CKVRLdapEntity::CKVRLdapEntity;

    void Clear() override { action(); }

    std::function<void()> action;
};

class BusyClearTest : public FetchAttributesTest
{
protected:
    /** Fetches the first entry of the answer. */
    void fetchWith(const std::function<void()>& action, const Answer& answer)
    {
        query = searchFor(answer);
        const auto busy = std::make_shared<BusyEntity>(connection);
        busy->action = action;
        busy->dn = "cn=former";
        entity = busy;
        library.shownBytes = 0;
        query->Fetch(entity);
    }
};

TEST_F(BusyClearTest, ThatEndsTheSessionEndsTheFetchOfWhatIsReadByName)
{
    const Answer answer = Answer().entry("cn=a,dc=x", {{"cn", {"a"}}, {"CN", {"b"}}});
    EXPECT_EQ(notConnected(), caught([&] { fetchWith([&] { connection.Disconnect(); }, answer); }));
}

TEST_F(BusyClearTest, MayMoveTheCursor)
{
    fetchWith([&] { query->First(); }, threeEntries());
    EXPECT_EQ("cn=a,dc=x", entity->dn);
}

TEST_F(BusyClearTest, IsCalledBeforeAnyByteIsLookedAt)
{
    int shown = -1;
    fetchWith([&] { shown = library.shownBytes; }, threeEntries());
    EXPECT_EQ(0, shown);
    EXPECT_EQ(1, library.shownBytes);
}

TEST_F(BusyClearTest, ThatLeavesADnDoesNotKeepItFromBeingReplaced)
{
    fetchWith([] {}, Answer().entry("", {{"cn", {"a"}}}));
    EXPECT_EQ("", entity->dn);
    library.withholdDn = true;
    fetchWith([] {}, threeEntries());
    EXPECT_EQ("", entity->dn);
}

/** A connection that loses its session when it is asked for it, and says that it has one. */
class LosingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    bool IsConnected() override
    {
        Disconnect();
        return true;
    }
};

TEST_F(OverriddenFetchTest, ASessionThatIsLostMeanwhileIsNoSession)
{
    LosingConnection losing(host);
    ASSERT_TRUE(losing.CKVRLdapConnection::Connect(responder.target(), KVRAuthAnonymous));
    responder.onSearch(threeEntries());
    const QueryPointer query = searchWith(losing);
    EntityPointer entity;
    EXPECT_EQ(notConnected(), caught([&] { query->Fetch(entity); }));
    EXPECT_EQ(notConnected(), caught([&] { query->Count(); }));
}

/** A connection that hands out entities of its own class. */
class AllocatingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    EntityPointer AllocEntity() override { return std::make_shared<ClearedEntity>(*this); }
};

TEST_F(OverriddenFetchTest, AnEmptyPointerGetsTheModulesEntityAndNotAnAllocatedOne)
{
    AllocatingConnection allocating(host);
    connect(allocating);
    responder.onSearch(threeEntries());
    EntityPointer entity;
    ASSERT_TRUE(searchWith(allocating)->Fetch(entity));
    const IKVRLdapEntity& made = *entity;
    EXPECT_EQ(typeid(CKVRLdapEntity), typeid(made));
}

/** A connection whose conversion does something else as well. */
class BusyConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    std::string Utf8ToLocal(const std::string& text) override
    {
        if (text == trigger)
        {
            trigger.clear();
            action();
        }
        return text;
    }

    std::string trigger; /**< the value at whose conversion it happens, once */
    std::function<void()> action;
};

class BusyConversionTest : public WireTest
{
protected:
    void SetUp() override
    {
        connect(busy);
        responder.onSearch(Answer()
                               .entry("cn=a,dc=x", {{"sn", {"d", "e"}}, {"cn", {"a", "b", "c"}}})
                               .entry("cn=f,dc=x", {{"cn", {"f"}}, {"tn", {"g"}}}));
        query = searchWith(busy);
    }

    /** What is in the first entry when this happens at the conversion of "b". */
    Values fetchWith(const std::function<void()>& action)
    {
        busy.trigger = "b";
        busy.action = action;
        EntityPointer kept = entity = std::make_shared<CKVRLdapEntity>(busy);
        EXPECT_TRUE(query->Fetch(entity));
        return valuesOf(*kept);
    }

    /** The first entry as it was sent. */
    static Values whole() { return {{"cn", "a"}, {"cn", "b"}, {"cn", "c"}, {"sn", "d"}, {"sn", "e"}}; }

    BusyConnection busy{host};
    QueryPointer query;
    EntityPointer entity;
};

TEST_F(BusyConversionTest, MayClearTheEntity)
{
    EXPECT_EQ((Values{{"cn", "b"}, {"cn", "c"}}), fetchWith([&] { entity->Clear(); }));
    EXPECT_EQ("", entity->dn);
}

TEST_F(BusyConversionTest, MayEraseAndAddValues)
{
    EXPECT_EQ((Values{{"cn", "a"}, {"cn", "z"}, {"cn", "b"}, {"cn", "c"}, {"dn", "y"}}),
              fetchWith(
                  [&]
                  {
                      entity->attributes.erase("sn");
                      entity->attributes.emplace("cn", "z");
                      entity->attributes.emplace("dn", "y");
                  }));
}

TEST_F(BusyConversionTest, MayFetchTheNextEntryIntoTheSameEntity)
{
    EXPECT_EQ((Values{{"cn", "f"}, {"cn", "b"}, {"cn", "c"}, {"tn", "g"}}),
              fetchWith([&] { EXPECT_TRUE(query->Fetch(entity)); }));
    EXPECT_EQ("cn=f,dc=x", entity->dn);
    EXPECT_FALSE(query->Fetch(entity)) << "the cursor has moved";
}

TEST_F(BusyConversionTest, MayWalkTheResultToItsEnd)
{
    EXPECT_EQ(whole(), fetchWith(
                           [&]
                           {
                               EntityPointer other;
                               while (query->Fetch(other))
                               {
                               }
                           }));
    EXPECT_TRUE(query->Fetch(entity)) << "the cursor starts over";
    EXPECT_EQ("cn=a,dc=x", entity->dn);
}

TEST_F(BusyConversionTest, MayTakeTheEntityAway)
{
    EXPECT_EQ(whole(), fetchWith([&] { entity.reset(); }));
    EXPECT_EQ(nullptr, entity);
}

TEST_F(BusyConversionTest, MayTakeAwayAnEntityThatNobodyElseHas)
{
    busy.trigger = "b";
    bool isKept = false;
    busy.action = [&]
    {
        const std::weak_ptr<IKVRLdapEntity> taken = entity;
        entity.reset();
        isKept = !taken.expired();
    };
    EXPECT_TRUE(query->Fetch(entity));
    EXPECT_EQ(nullptr, entity);
    EXPECT_TRUE(isKept) << "until it is filled";
}

TEST_F(BusyConversionTest, MaySearchAnew)
{
    EXPECT_EQ(whole(), fetchWith([&] { EXPECT_NE(nullptr, searchWith(busy)); }));
}

TEST_F(BusyConversionTest, ThatEndsTheSessionEndsTheFetchAfterTheAttribute)
{
    busy.trigger = "b";
    busy.action = [&] { busy.Disconnect(); };
    EXPECT_EQ(notConnected(), caught([&] { query->Fetch(entity); }));
    EXPECT_EQ(whole(), valuesOf(*entity));
}

} // namespace

} // namespace KVR
