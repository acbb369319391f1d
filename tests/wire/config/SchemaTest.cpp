#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr char schemaFile[] = "KVRLdapConnectionSchema.cpp";

/** A schema's entry with the values of "cn". */
MadeEntry schema(const std::vector<std::string>& names)
{
    MadeEntry entry{"cn=x,cn=schema,cn=config", {}};
    for (const std::string& name : names)
    {
        entry.attributes.emplace("cn", name);
    }
    return entry;
}

class SchemaListTest : public ConfigTest
{
protected:
    /** The schemas that are listed with this answer. */
    Texts listedFor(const Answer& answer)
    {
        responder.onSearch(answer);
        connection.EnumerateLdapSchemas(schemas);
        return schemas;
    }

    Texts schemas;
};

TEST_F(SchemaListTest, NamesKeepTheServersOrderAndTheirPrefixes)
{
    EXPECT_THAT(listedFor(Answer()
                              .entry("cn={0}core,cn=schema,cn=config", {{"cn", {"{0}core"}}})
                              .entry("cn={2}nis,cn=schema,cn=config", {{"cn", {"{2}nis"}}})
                              .entry("cn={1}cosine,cn=schema,cn=config", {{"cn", {"{1}cosine"}}})),
                ElementsAre("{0}core", "{2}nis", "{1}cosine"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SchemaListTest, EqualNamesAreAllListed)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"cn", {"a"}}}).entry("cn=b", {{"cn", {"a"}}})),
                ElementsAre("a", "a"));
}

TEST_F(SchemaListTest, OfSeveralNamesTheFirstIsListedAndTheOthersAreLogged)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=b", {{"cn", {"b", "a"}}})), ElementsAre("b"));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'cn' met twice")));
}

TEST_F(SchemaListTest, AnEntryWithoutANameIsListedAsAnEmptyTextAndLogged)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a").entry("cn=b", {{"cn", {"b"}}})), ElementsAre("", "b"));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'cn' not found")));
}

TEST_F(SchemaListTest, AResultCutByTheSizeLimitIsListedAsFarAsItGoesWithAWarning)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"cn", {"a"}}}).result(4)), ElementsAre("a"));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(1, sizeLimitWarning)));
}

TEST_F(SchemaListTest, NamesAreConvertedTwice)
{
    connectIn("ISO-8859-1");
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"cn", {"\xc3\x83\xc2\xa4"}}})), ElementsAre("\xe4"));
}

TEST_F(SchemaListTest, AnUmlautFailsAtTheSecondConversionAfterTheNamesBeforeIt)
{
    connectIn("ISO-8859-1");
    responder.onSearch(Answer()
                           .entry("cn=a", {{"cn", {"a"}}})
                           .entry("cn=b", {{"cn", {"\xc3\xa4"}}})
                           .entry("cn=c", {{"cn", {"c"}}}));
    EXPECT_EQ(conversionFailure(), caught([&] { connection.EnumerateLdapSchemas(schemas); }));
    EXPECT_THAT(schemas, ElementsAre("a"));
}

TEST_F(SchemaListTest, InUtf8NamesStayAsTheyAre)
{
    EXPECT_THAT(listedFor(Answer().entry("cn=a", {{"cn", {"\xc3\xa4"}}})), ElementsAre("\xc3\xa4"));
}

TEST_F(SchemaListTest, EachNameIsReadAloudAndConvertedByTheOverridingOperation)
{
    connectOverriding();
    overriding.results.push_back(MadeResult{{schema({"{0}core"}), schema({"{2}nis"})}});
    overriding.EnumerateLdapSchemas(schemas);
    EXPECT_THAT(schemas, ElementsAre("local {0}core", "local {2}nis"));
    std::vector<std::string> calls;
    for (const std::string& call : overriding.calls)
    {
        calls.push_back(call == "Fetch again" ? "Fetch" : call); // one entity or several, as it likes
    }
    EXPECT_THAT(calls, ElementsAre("Search cn=schema,cn=config scope 1 (objectClass=olcSchemaConfig) for cn",
                                   "First", "Fetch", "ValByAttr cn", "Utf8ToLocal {0}core", "Fetch",
                                   "ValByAttr cn", "Utf8ToLocal {2}nis", "Fetch"));
}

class SchemaRegisteredTest : public ConfigTest
{
protected:
    static Caught tooMany(const std::string& number)
    {
        return unexpected(number, schemaFile, "IsLdapSchemaRegistered");
    }

    /** The answer about "nis" with a made result. */
    bool registeredWith(const MadeResult& result)
    {
        overriding.calls.clear();
        overriding.results.push_back(result);
        return overriding.IsLdapSchemaRegistered("nis");
    }
};

TEST_F(SchemaRegisteredTest, AnyOrderingPrefixFollowedByTheExactNameIsSearchedInTheSubtree)
{
    connection.IsLdapSchemaRegistered("nis");
    EXPECT_THAT(sent(), ElementsAre("search cn=schema,cn=config scope 2 "
                                    "(&(objectClass=olcSchemaConfig)(cn={*}nis)) for cn"));
}

TEST_F(SchemaRegisteredTest, AnEntryMeansYesAndNoneNo)
{
    responder.onSearch(Answer().entry("cn={2}nis,cn=schema,cn=config", {{"cn", {"{2}nis"}}}));
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("nis"));
    responder.onSearch(Answer());
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("nis"));
    EXPECT_EQ(0, library.unfreedResults());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SchemaRegisteredTest, TwoEntriesAreAnInternalError)
{
    responder.onSearch(
        Answer().entry("cn={2}nis,cn=schema,cn=config").entry("cn={3}nis,cn=schema,cn=config"));
    const Caught error = caught([&] { connection.IsLdapSchemaRegistered("nis"); });
    EXPECT_EQ(std::type_index(typeid(EKVRInternalError)), error.type);
    EXPECT_THAT(error.message,
                ::testing::MatchesRegex("Unexpected error [0-9]+ in KVRLdapConnectionSchema.cpp:[0-9]+ - "
                                        "IsLdapSchemaRegistered\\(\\)"));
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_F(SchemaRegisteredTest, TheErrorNumberIsTheOneThatCountLeft)
{
    connectOverriding();
    for (const int number : {0, EEXIST, EDOM})
    {
        EXPECT_EQ(tooMany(std::to_string(number)), caughtUnexpected(
                                                       [&] {
                                                           registeredWith({{schema({"a"})}, 2, number});
                                                       }));
        EXPECT_EQ("Count", last(overriding.calls));
    }
}

TEST_F(SchemaRegisteredTest, OverridingSearchFirstCountAndOneFetchAreCalled)
{
    connectOverriding();
    EXPECT_TRUE(registeredWith({{schema({"{2}nis"}), schema({"{3}nis"})}, 1}));
    EXPECT_THAT(overriding.calls, ElementsAre("Search cn=schema,cn=config scope 2 "
                                              "(&(objectClass=olcSchemaConfig)(cn={*}nis)) for cn",
                                              "First", "Count", "Fetch"));
}

TEST_F(SchemaRegisteredTest, TheAnswerIsWhatFetchTellsNotTheCount)
{
    connectOverriding();
    EXPECT_TRUE(registeredWith({{schema({"a"})}, 0}));
    EXPECT_TRUE(registeredWith({{schema({"a"})}, -1}));
    EXPECT_FALSE(registeredWith({{}, 1}));
    EXPECT_FALSE(registeredWith({{schema({"a"})}, 1, 0, false}));
}

TEST_F(SchemaRegisteredTest, TheNameGoesIntoTheFilterAsItIs)
{
    connectOverriding();
    overriding.IsLdapSchemaRegistered("a*(%s)\\");
    overriding.IsLdapSchemaRegistered("");
    EXPECT_THAT(overriding.calls,
                ::testing::Contains("Search cn=schema,cn=config scope 2 "
                                    "(&(objectClass=olcSchemaConfig)(cn={*}a*(%s)\\)) for cn"));
    EXPECT_THAT(overriding.calls, ::testing::Contains("Search cn=schema,cn=config scope 2 "
                                                      "(&(objectClass=olcSchemaConfig)(cn={*})) for cn"));
}

TEST_F(SchemaRegisteredTest, AZeroByteEndsTheNameInTheFilter)
{
    connectOverriding();
    overriding.IsLdapSchemaRegistered(std::string("nis\0more", 8));
    EXPECT_EQ("Search cn=schema,cn=config scope 2 (&(objectClass=olcSchemaConfig)(cn={*}nis)) for cn",
              overriding.calls.front());
}

TEST_F(SchemaRegisteredTest, WithoutASessionItIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), caught([&] { connection.IsLdapSchemaRegistered("nis"); }));
    EXPECT_EQ(notConnected(), caught([&] { connection.IsLdapSchemaRegistered(""); }));
    EXPECT_EQ(notConnected(), caught([&] { overriding.IsLdapSchemaRegistered("nis"); }));
    EXPECT_THAT(overriding.calls, IsEmpty());
}

TEST_F(SchemaRegisteredTest, AMissingContainerIsInsufficientAccess)
{
    responder.onSearch(Answer().result(32, "words"));
    EXPECT_EQ(noQuery(), caught([&] { connection.IsLdapSchemaRegistered("nis"); }));
}

TEST_F(SchemaRegisteredTest, ARefusedSearchIsPassedOn)
{
    responder.onSearch(Answer().result(1, "words"));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=schema,cn=config "
                          "(&(objectClass=olcSchemaConfig)(cn={*}nis))' - Operations error",
                          "KVRLdapConnection.cpp:LINE(Search)", "words"),
              caught([&] { connection.IsLdapSchemaRegistered("nis"); }));
    responder.onSearch(Answer().result(50));
    EXPECT_EQ(accessError(50), caught([&] { connection.IsLdapSchemaRegistered("nis"); }));
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("nis")) << "the session is there all the same";
}

} // namespace

} // namespace KVR
