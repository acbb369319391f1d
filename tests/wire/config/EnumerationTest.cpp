// What all enumerations of the configuration have in common.

#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::ValuesIn;

/** What a call has thrown, and what the caller's container holds then. */
struct Outcome
{
    Caught error;
    Texts content;
};

/** The container holds "old" before the call. */
Outcome run(IKVRLdapConnection& connection, void (IKVRLdapConnection::*operation)(Texts&))
{
    Texts content{"old"};
    const Caught error = caught([&] { (connection.*operation)(content); });
    return {error, content};
}

/** The map holds "old" for "old" before the call. */
Outcome run(IKVRLdapConnection& connection, void (IKVRLdapConnection::*operation)(TextMap&))
{
    TextMap content{{"old", "old"}};
    const Caught error = caught([&] { (connection.*operation)(content); });
    Texts texts;
    for (const auto& [key, value] : content)
    {
        texts.push_back(key == value ? key : key + " is " + value);
    }
    return {error, texts};
}

struct Enumeration
{
    std::string name;
    Outcome (*call)(IKVRLdapConnection& connection);
    std::string base;
    std::string scope;
    std::string filter; /**< as it is given to Search */
    std::string attributes;
    std::vector<std::string> cursorCalls; /**< on a result without entries */
};

const std::vector<std::string> firstFetch{"First", "Fetch"};
const std::vector<std::string> firstCountFetch{"First", "Count", "Fetch"};

template <auto operation>
Outcome runOn(IKVRLdapConnection& connection)
{
    return run(connection, operation);
}

const Enumeration enumerations[] = {
    {"LdapSchemas", runOn<&IKVRLdapConnection::EnumerateLdapSchemas>, "cn=schema,cn=config", "1",
     "(objectClass=olcSchemaConfig)", "cn", firstFetch},
    {"DBAccessRules", runOn<&IKVRLdapConnection::EnumerateDBAccessRules>, "cn=config", "2",
     "(&(objectClass=olcDatabaseConfig)(olcDatabase=" KVR_MAIN_DATABASE "))", "olcAccess", firstCountFetch},
    {"Indexes", runOn<&IKVRLdapConnection::EnumerateIndexes>, "cn=config", "2",
     "olcDatabase=" KVR_MAIN_DATABASE, "olcDbIndex", firstFetch},
    {"DBLimits", runOn<&IKVRLdapConnection::EnumerateDBLimits>, "cn=config", "2",
     "olcDatabase=" KVR_MAIN_DATABASE, "olcLimits", firstFetch},
    {"DBUniqueness", runOn<&IKVRLdapConnection::EnumerateDBUniqueness>,
     "olcDatabase=" KVR_MAIN_DATABASE ",cn=config", "2", "objectClass=olcUniqueConfig", "olcUniqueURI",
     firstFetch},
    {"Modules", runOn<&IKVRLdapConnection::EnumerateModules>, "cn=config", "2", "cn=module{0}",
     "olcModuleLoad", firstFetch},
    {"Databases", runOn<&IKVRLdapConnection::EnumerateDatabases>, "cn=config", "1",
     "(&(objectClass=*)(olcSuffix=*))", "olcDatabase olcSuffix", firstFetch}};

class EnumerationTest : public ConfigTest, public ::testing::WithParamInterface<Enumeration>
{
protected:
    Outcome enumerate() { return GetParam().call(connection); }

    static std::string searchFrom(const std::string& filter)
    {
        const Enumeration& tested = GetParam();
        return tested.base + " scope " + tested.scope + " " + filter + " for " + tested.attributes;
    }

    /** The search as it goes over the wire, where every filter has parentheses. */
    static std::string searchOnTheWire()
    {
        const std::string& filter = GetParam().filter;
        return "search " + searchFrom(filter.front() == '(' ? filter : "(" + filter + ")");
    }
};

INSTANTIATE_TEST_SUITE_P(Of, EnumerationTest, ValuesIn(enumerations),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EnumerationTest, OneSearchIsSentAndNothingElse)
{
    EXPECT_EQ(Caught(), enumerate().error);
    EXPECT_THAT(sent(), ElementsAre(searchOnTheWire()));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_P(EnumerationTest, WithoutAnEntryTheContainerIsEmptyAndNothingIsLogged)
{
    const Outcome outcome = enumerate();
    EXPECT_EQ(Caught(), outcome.error);
    EXPECT_THAT(outcome.content, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_P(EnumerationTest, WithoutASessionTheContainerKeepsItsContent)
{
    connection.Disconnect();
    const Outcome outcome = enumerate();
    EXPECT_EQ(notConnected(), outcome.error);
    EXPECT_THAT(outcome.content, ElementsAre("old"));
}

TEST_P(EnumerationTest, AMissingBaseIsInsufficientAccessAndTheContainerIsEmpty)
{
    responder.onSearch(Answer().result(32, "words"));
    const Outcome outcome = enumerate();
    EXPECT_EQ(noQuery(), outcome.error);
    EXPECT_THAT(outcome.content, IsEmpty());
}

TEST_P(EnumerationTest, ARefusedSearchIsPassedOnAndTheContainerIsEmpty)
{
    responder.onSearch(Answer().result(1, "words"));
    const Outcome outcome = enumerate();
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching '" + GetParam().base + " " + GetParam().filter +
                              "' - Operations error",
                          "KVRLdapConnection.cpp:LINE(Search)", "words"),
              outcome.error);
    EXPECT_THAT(outcome.content, IsEmpty());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_P(EnumerationTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        responder.onSearch(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), enumerate().error) << code;
    }
}

TEST_P(EnumerationTest, ASessionThatShouldBeReconnectedIsASessionAllTheSame)
{
    responder.onModify(Answer().result(50));
    EXPECT_EQ(accessError(50), caught([&] { connection.SetAttrValue("cn=a", "cn", "a", alADD); }));
    ASSERT_FALSE(connection.IsConnected());
    EXPECT_EQ(Caught(), enumerate().error);
    EXPECT_THAT(responder.requests(Operation::Search), ::testing::SizeIs(1));
}

TEST_P(EnumerationTest, ARefusalIsNotRemembered)
{
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), enumerate().error);
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), enumerate().error);
    EXPECT_EQ(Caught(), enumerate().error);
}

TEST_P(EnumerationTest, OverridingSearchAndItsQueryAreCalled)
{
    connectOverriding();
    std::vector<std::string> expected = GetParam().cursorCalls;
    expected.insert(expected.begin(), "Search " + searchFrom(GetParam().filter));
    EXPECT_EQ(Caught(), GetParam().call(overriding).error);
    EXPECT_THAT(overriding.calls, ElementsAreArray(expected));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_P(EnumerationTest, AnOverridingSearchWithoutAQueryIsInsufficientAccess)
{
    connectOverriding();
    overriding.results.emplace_back(std::nullopt);
    const Outcome outcome = GetParam().call(overriding);
    EXPECT_EQ(noQuery(), outcome.error);
    EXPECT_THAT(outcome.content, IsEmpty());
}

TEST_P(EnumerationTest, AnOverridingSearchIsNotCalledWithoutASession)
{
    const Outcome outcome = GetParam().call(overriding);
    EXPECT_EQ(notConnected(), outcome.error);
    EXPECT_THAT(outcome.content, ElementsAre("old"));
    EXPECT_THAT(overriding.calls, IsEmpty());
}

} // namespace

} // namespace KVR
