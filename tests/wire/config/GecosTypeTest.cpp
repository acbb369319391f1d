#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char schemaSearch[] = "search cn=schema,cn=config scope 1 (objectClass=olcSchemaConfig) for cn";
constexpr char nisSearch[] = "search cn=schema,cn=config scope 2 "
                             "(&(objectClass=olcSchemaConfig)(cn={2}nis)) for olcAttributeTypes";
constexpr char nisDn[] = "cn={2}nis,cn=schema,cn=config";

constexpr char gecos[] = "{1}( 1.3.6.1.1.1.1.2 NAME 'gecos' EQUALITY caseIgnoreIA5Match "
                         "SUBSTR caseIgnoreIA5SubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.26 "
                         "SINGLE-VALUE )";
constexpr char adjustedGecos[] = "{1}( 1.3.6.1.1.1.1.2 NAME 'gecos' EQUALITY caseIgnoreMatch "
                                 "SUBSTR caseIgnoreSubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 "
                                 "SINGLE-VALUE )";
constexpr char uidNumber[] = "{0}( 1.3.6.1.1.1.1.0 NAME 'uidNumber' EQUALITY integerMatch "
                             "SYNTAX 1.3.6.1.4.1.1466.115.121.1.27 SINGLE-VALUE )";

std::string deletion(const std::string& position)
{
    return std::string("modify ") + nisDn + " 1 olcAttributeTypes '" + position + "'";
}

std::string addition(const std::string& definition)
{
    return std::string("modify ") + nisDn + " 0 olcAttributeTypes '" + definition + "'";
}

class GecosTypeTest : public ConfigTest
{
protected:
    /** Lets the server have these schemas. */
    void hasSchemas(const std::vector<std::string>& names)
    {
        Answer answer;
        for (const std::string& name : names)
        {
            answer.entry("cn=" + name + ",cn=schema,cn=config", {{"cn", {name}}});
        }
        responder.onSearch(answer);
    }

    /** Lets the server have the schema {2}nis with these attribute types. */
    void hasNis(const std::vector<std::string>& definitions)
    {
        hasSchemas({"{0}core", "{1}cosine", "{2}nis"});
        responder.onSearch(Answer().entry(nisDn, {{"olcAttributeTypes", definitions}}));
    }

    Caught adjusting()
    {
        return caught([&] { connection.AdjustGecosType(); });
    }

    /** The requests of an adjustment behind its two searches. */
    std::vector<std::string> changes()
    {
        responder.clear();
        EXPECT_EQ(Caught(), adjusting());
        return without(2, sent());
    }

    /** As above, with one definition of the server's. */
    std::vector<std::string> changesOf(const std::string& definition)
    {
        hasNis({definition});
        return changes();
    }
};

TEST_F(GecosTypeTest, TheDefinitionIsDeletedByItsPositionAndAddedAnew)
{
    hasNis({uidNumber, gecos});
    EXPECT_EQ(Caught(), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch, nisSearch, deletion("{1}"), addition(adjustedGecos)));
    EXPECT_EQ(0, library.unfreedResults());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(GecosTypeTest, AnAdjustedDefinitionIsDeletedAndAddedUnchanged)
{
    EXPECT_THAT(changesOf(adjustedGecos), ElementsAre(deletion("{1}"), addition(adjustedGecos)));
}

TEST_F(GecosTypeTest, WithoutANisSchemaNothingIsSent)
{
    hasSchemas({"{0}core", "{5}cosine", "{6}NIS", "{7}ni s"});
    EXPECT_EQ(Caught(), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch));
}

TEST_F(GecosTypeTest, WithoutAnySchemaNothingIsSent)
{
    EXPECT_EQ(Caught(), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch));
}

TEST_F(GecosTypeTest, TheFirstNameThatContainsNisWins)
{
    hasSchemas({"{5}cosine", "{7}nisextra", "{2}nis"});
    responder.onSearch(Answer().entry("cn={7}nisextra", {{"olcAttributeTypes", {gecos}}}));
    EXPECT_EQ(Caught(), adjusting());
    const std::string dn = "cn={7}nisextra,cn=schema,cn=config";
    EXPECT_THAT(sent(), ElementsAre(schemaSearch,
                                    "search cn=schema,cn=config scope 2 "
                                    "(&(objectClass=olcSchemaConfig)(cn={7}nisextra)) for olcAttributeTypes",
                                    "modify " + dn + " 1 olcAttributeTypes '{1}'",
                                    "modify " + dn + " 0 olcAttributeTypes '" + adjustedGecos + "'"));
}

TEST_F(GecosTypeTest, NisMayStandInTheMiddleOfTheName)
{
    hasSchemas({"{3}sunisland"});
    EXPECT_EQ(Caught(), adjusting());
    EXPECT_THAT(sent(),
                ElementsAre(schemaSearch,
                            "search cn=schema,cn=config scope 2 "
                            "(&(objectClass=olcSchemaConfig)(cn={3}sunisland)) for olcAttributeTypes"));
}

TEST_F(GecosTypeTest, WithoutAnEntryOrADefinitionNothingIsChanged)
{
    hasSchemas({"{2}nis"});
    EXPECT_THAT(changes(), IsEmpty());
    hasNis({uidNumber});
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(GecosTypeTest, OnlyBraceBlankOidAndBlankMakeADefinition)
{
    for (const char* definition :
         {"{1}( 1.3.6.1.1.1.1.20 NAME 'x' )", "{1}(1.3.6.1.1.1.1.2 NAME 'gecos' )", "{1}( 1.3.6.1.1.1.1.2)",
          "{1} ( 1.3.6.1.1.1.1.2 NAME 'gecos' )", "( 1.3.6.1.1.1.1.2 NAME 'gecos' )",
          "{1}(  1.3.6.1.1.1.1.2 NAME 'gecos' )", "{1}( 2.1.3.6.1.1.1.1.2 NAME 'x' )"})
    {
        EXPECT_THAT(changesOf(definition), IsEmpty()) << definition;
    }
}

TEST_F(GecosTypeTest, OfSeveralDefinitionsTheFirstIsAdjusted)
{
    hasNis({"{4}( 1.3.6.1.1.1.1.2 NAME 'b' )", "{3}( 1.3.6.1.1.1.1.2 NAME 'a' )"});
    EXPECT_THAT(changes(), ElementsAre(deletion("{4}"), addition("{4}( 1.3.6.1.1.1.1.2 NAME 'b' )")));
}

TEST_F(GecosTypeTest, EveryAttributeIsLookedThroughInTheEntitysOrder)
{
    hasSchemas({"{2}nis"});
    responder.onSearch(Answer().entry(nisDn, {{"olcZ", {"{7}( 1.3.6.1.1.1.1.2 NAME 'z' )"}},
                                              {"olcA", {"{6}( 1.3.6.1.1.1.1.2 NAME 'a' )"}}}));
    EXPECT_THAT(changes(), ElementsAre(deletion("{6}"), addition("{6}( 1.3.6.1.1.1.1.2 NAME 'a' )")));
}

TEST_F(GecosTypeTest, ThePositionIsReadFromAtMostEightDigits)
{
    EXPECT_THAT(changesOf("{12345678}( 1.3.6.1.1.1.1.2 )"),
                ElementsAre(deletion("{12345678}"), addition("{12345678}( 1.3.6.1.1.1.1.2 )")));
    EXPECT_THAT(changesOf("{123456789}( 1.3.6.1.1.1.1.2 )"),
                ElementsAre(deletion("{12345678}"), addition("{123456789}( 1.3.6.1.1.1.1.2 )")));
}

TEST_F(GecosTypeTest, ThePositionIsReadAsSscanfReadsANumber)
{
    EXPECT_EQ(deletion("{7}"), first(changesOf("{007}( 1.3.6.1.1.1.1.2 )")));
    EXPECT_EQ(deletion("{8}"), first(changesOf("{ 8}( 1.3.6.1.1.1.1.2 )")));
    EXPECT_EQ(deletion("{-9}"), first(changesOf("{-9}( 1.3.6.1.1.1.1.2 )")));
    EXPECT_EQ(deletion("{10}"), first(changesOf("{10 x}( 1.3.6.1.1.1.1.2 )")));
}

TEST_F(GecosTypeTest, WhereNoNumberStandsInFrontThePositionIs0)
{
    for (const char* definition : {"{}( 1.3.6.1.1.1.1.2 )", "{x}( 1.3.6.1.1.1.1.2 )", "}( 1.3.6.1.1.1.1.2 )",
                                   "x{5}( 1.3.6.1.1.1.1.2 )", " {5}( 1.3.6.1.1.1.1.2 )"})
    {
        EXPECT_THAT(changesOf(definition), ElementsAre(deletion("{0}"), addition(definition))) << definition;
    }
}

TEST_F(GecosTypeTest, EveryIa5IsRemovedWhereverItStands)
{
    EXPECT_THAT(changesOf("IA5{3}( 1.3.6.1.1.1.1.2 IA5IA5 'aIA5' ia5 IA 5 IA5"),
                ElementsAre(deletion("{0}"), addition("{3}( 1.3.6.1.1.1.1.2  'a' ia5 IA 5 ")));
}

TEST_F(GecosTypeTest, TheSyntaxIsReplacedAtItsFirstPlaceOnly)
{
    EXPECT_THAT(changesOf("{3}( 1.3.6.1.1.1.1.2 DESC '1.26' SYNTAX 1.3.6.1.4.1.1466.115.121.1.26 )"),
                ElementsAre(deletion("{3}"), addition("{3}( 1.3.6.1.1.1.1.2 DESC '1.15' SYNTAX "
                                                      "1.3.6.1.4.1.1466.115.121.1.26 )")));
}

TEST_F(GecosTypeTest, TheSyntaxIsReplacedAfterIa5IsRemoved)
{
    EXPECT_THAT(changesOf("{3}( 1.3.6.1.1.1.1.2 1.2IA56 1.26 )"),
                ElementsAre(deletion("{3}"), addition("{3}( 1.3.6.1.1.1.1.2 1.15 1.26 )")));
}

TEST_F(GecosTypeTest, TextAroundTheSyntaxStays)
{
    EXPECT_THAT(
        changesOf("{3}( 1.3.6.1.1.1.1.2 SYNTAX 1.3.6.1.4.1.1466.115.121.1.26{256} %s %n )"),
        ElementsAre(deletion("{3}"),
                    addition("{3}( 1.3.6.1.1.1.1.2 SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{256} %s %n )")));
}

TEST_F(GecosTypeTest, TheDefinitionIsConvertedOnceEachWay)
{
    connectIn("ISO-8859-1");
    const std::string definition = "{3}( 1.3.6.1.1.1.1.2 DESC '\xc3\xa4' )";
    EXPECT_THAT(changesOf(definition), ElementsAre(deletion("{3}"), addition(definition)));
}

class GecosFailureTest : public GecosTypeTest
{
};

TEST_F(GecosFailureTest, WithoutASessionItIsRefused)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), adjusting());
}

TEST_F(GecosFailureTest, TheSessionIsLookedAtBeforeAnOverridingEnumerationIsCalled)
{
    overriding.listed = Texts{"{2}nis"};
    EXPECT_EQ(notConnected(), caught([&] { overriding.AdjustGecosType(); }));
    EXPECT_THAT(overriding.calls, IsEmpty());
}

TEST_F(GecosFailureTest, AMissingSchemaContainerIsInsufficientAccess)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch));
}

TEST_F(GecosFailureTest, ASecondSearchWithoutAQueryIsInsufficientAccess)
{
    hasSchemas({"{2}nis"});
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch, nisSearch));
}

TEST_F(GecosFailureTest, RefusedSearchesArePassedOn)
{
    responder.onSearch(Answer().result(1));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=schema,cn=config (objectClass=olcSchemaConfig)' "
                          "- Operations error",
                          "KVRLdapConnection.cpp:LINE(Search)"),
              adjusting());
    hasSchemas({"{2}nis"});
    responder.onSearch(Answer().result(50, "words"));
    EXPECT_EQ(accessError(50, "words"), adjusting());
}

TEST_F(GecosFailureTest, TwoSchemaEntriesAreAnInternalErrorAndNothingIsChanged)
{
    hasSchemas({"{2}nis"});
    responder.onSearch(Answer().entry(nisDn, {{"olcAttributeTypes", {gecos}}}).entry("cn=other"));
    const Caught error = adjusting();
    EXPECT_EQ(std::type_index(typeid(EKVRInternalError)), error.type);
    EXPECT_THAT(error.message,
                ::testing::MatchesRegex("Unexpected error [0-9]+ in KVRLdapConnectionSchema.cpp:[0-9]+ - "
                                        "AdjustGecosType\\(\\)"));
    EXPECT_THAT(sent(), ElementsAre(schemaSearch, nisSearch));
}

TEST_F(GecosFailureTest, TheErrorNumberIsTheOneThatCountLeft)
{
    connectOverriding();
    overriding.listed = Texts{"{2}nis"};
    overriding.results.push_back(MadeResult{{{nisDn, {{"olcAttributeTypes", gecos}}}}, 2, EDOM});
    EXPECT_EQ(unexpected(std::to_string(EDOM), "KVRLdapConnectionSchema.cpp", "AdjustGecosType"),
              caughtUnexpected([&] { overriding.AdjustGecosType(); }));
    EXPECT_EQ("Count", last(overriding.calls));
}

TEST_F(GecosFailureTest, ARefusedDeletionEndsItAndNothingIsAdded)
{
    hasNis({gecos});
    responder.onModify(Answer().result(53, "words"));
    EXPECT_EQ(refusedChange("olcAttributeTypes", nisDn, "{1}", 53, "words"), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch, nisSearch, deletion("{1}")));
}

TEST_F(GecosFailureTest, AfterARefusedAdditionNothingIsRepaired)
{
    hasNis({gecos});
    responder.onModify(Answer());
    responder.onModify(Answer().result(21, "words"));
    EXPECT_EQ(refusedChange("olcAttributeTypes", nisDn, adjustedGecos, 21, "words"), adjusting());
    EXPECT_THAT(sent(), ElementsAre(schemaSearch, nisSearch, deletion("{1}"), addition(adjustedGecos)));
}

TEST_F(GecosFailureTest, MissingRightsToChangeAreInsufficientAccess)
{
    hasNis({gecos});
    responder.onModify(Answer().result(50, "words"));
    EXPECT_EQ(accessError(50, "words"), adjusting());
}

class GecosOverriddenTest : public GecosTypeTest
{
protected:
    void SetUp() override
    {
        GecosTypeTest::SetUp();
        connectOverriding();
        overriding.listed = Texts{"{5}cosine", "{2}nis", "{3}nis"};
    }

    /** The calls of an adjustment; whether the cursor was rewound, which changes nothing, is left out. */
    std::vector<std::string> calls()
    {
        EXPECT_THAT(responder.requests(), IsEmpty());
        std::vector<std::string> kept;
        for (const std::string& call : overriding.calls)
        {
            if (call != "First")
            {
                kept.push_back(call == "Fetch again" ? "Fetch" : call);
            }
        }
        return kept;
    }

    const std::string search = "Search cn=schema,cn=config scope 2 "
                               "(&(objectClass=olcSchemaConfig)(cn={2}nis)) for olcAttributeTypes";
};

TEST_F(GecosOverriddenTest, EnumerationSearchAndSetAttrValueAreCalledWithTheModesToRemoveAndToAdd)
{
    overriding.results.push_back(MadeResult{{{"cn=any", {{"olcAttributeTypes", gecos}}}}, 1});
    overriding.AdjustGecosType();
    const std::string target = std::string("SetAttrValue ") + nisDn + " olcAttributeTypes ";
    EXPECT_THAT(calls(), ElementsAre("EnumerateLdapSchemas", search, "Count", "Fetch", "Fetch",
                                     target + "'{1}' 33", target + "'" + adjustedGecos + "' 43"));
}

TEST_F(GecosOverriddenTest, ACountOf0Or1IsNotLookedAtFurther)
{
    overriding.results.push_back(MadeResult{{{"cn=any", {{"olcAttributeTypes", gecos}}}}, 0});
    overriding.AdjustGecosType();
    EXPECT_EQ(7U, calls().size());
    overriding.calls.clear();
    overriding.results.push_back(MadeResult{{}, 1});
    overriding.AdjustGecosType();
    EXPECT_THAT(calls(), ElementsAre("EnumerateLdapSchemas", search, "Count", "Fetch"));
}

TEST_F(GecosOverriddenTest, ALaterEntryMayHoldTheDefinition)
{
    overriding.results.push_back(MadeResult{
        {{"cn=a", {{"olcAttributeTypes", uidNumber}}}, {"cn=b", {{"olcAttributeTypes", gecos}}}}, 1});
    overriding.AdjustGecosType();
    EXPECT_THAT(calls(),
                ::testing::Contains(std::string("SetAttrValue ") + nisDn + " olcAttributeTypes '{1}' 33"));
}

TEST_F(GecosOverriddenTest, AfterARefusedDeletionSetAttrValueIsNotCalledAgain)
{
    overriding.results.push_back(MadeResult{{{"cn=any", {{"olcAttributeTypes", gecos}}}}, 1});
    overriding.refuses = true;
    EXPECT_EQ(checkError("refused"), caught([&] { overriding.AdjustGecosType(); }));
    EXPECT_EQ(std::string("SetAttrValue ") + nisDn + " olcAttributeTypes '{1}' 33", last(calls()));
    EXPECT_EQ(6U, calls().size());
}

} // namespace

} // namespace KVR
