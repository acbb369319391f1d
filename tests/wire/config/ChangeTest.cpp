// What the changes of indexes, limits and uniqueness have in common: they enumerate first, and send
// at most one modification.

#include "ConfigTest.h"

namespace KVR
{

namespace
{

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::ValuesIn;

constexpr char uniqueDn[] = "olcOverlay={2}unique,olcDatabase=" KVR_MAIN_DATABASE ",cn=config";

struct ChangeCase
{
    std::string name; /**< of the operation */
    void (*change)(IKVRLdapConnection& connection);
    void (*withEmptyArgument)(IKVRLdapConnection& connection);
    std::string enumeration;
    std::string attribute;
    bool deletes;
    std::string stored;                   /**< the value that the change is about, as the server has it */
    std::string value;                    /**< what is sent */
    std::string mode;                     /**< what SetAttrValue is called with */
    std::string dn;                       /**< the changed entry */
    std::vector<std::string> entrySearch; /**< the calls that find the changed entry */
    bool enumeratesLimits = false;
};

const std::vector<std::string> uniqueSearch{"Search olcDatabase=" KVR_MAIN_DATABASE
                                            ",cn=config scope 1 objectClass=olcUniqueConfig for dn",
                                            "First", "Fetch"};

const ChangeCase changes[] = {
    {"AddDBIndex",
     [](auto& c) { c.AddDBIndex("uid eq"); },
     [](auto& c) { c.AddDBIndex(""); },
     "EnumerateIndexes",
     "olcDbIndex",
     false,
     "uid eq",
     "uid eq",
     "43",
     mainDatabase,
     {}},
    {"DeleteDBIndex",
     [](auto& c) { c.DeleteDBIndex("uid eq"); },
     [](auto& c) { c.DeleteDBIndex(""); },
     "EnumerateIndexes",
     "olcDbIndex",
     true,
     "uid eq",
     "uid eq",
     "33",
     mainDatabase,
     {}},
    {"AddDBLimit",
     [](auto& c) { c.AddDBLimit("users", "size=10"); },
     [](auto& c) { c.AddDBLimit("users", ""); },
     "EnumerateDBLimits",
     "olcLimits",
     false,
     "{0}users time=5",
     "users size=10",
     "43",
     mainDatabase,
     {},
     true},
    {"DeleteDBLimit",
     [](auto& c) { c.DeleteDBLimit("users"); },
     [](auto& c) { c.DeleteDBLimit(""); },
     "EnumerateDBLimits",
     "olcLimits",
     true,
     "{0}users time=5",
     "{0}users time=5",
     "45",
     mainDatabase,
     {},
     true},
    {"AddDBUniqueness", [](auto& c) { c.AddDBUniqueness("ldap:///?uid?sub"); },
     [](auto& c) { c.AddDBUniqueness(""); }, "EnumerateDBUniqueness", "olcUniqueURI", false,
     "ldap:///?uid?sub", "ldap:///?uid?sub", "43", uniqueDn, uniqueSearch},
    {"DeleteDBUniqueness", [](auto& c) { c.DeleteDBUniqueness("ldap:///?uid?sub"); },
     [](auto& c) { c.DeleteDBUniqueness(""); }, "EnumerateDBUniqueness", "olcUniqueURI", true,
     "ldap:///?uid?sub", "ldap:///?uid?sub", "33", uniqueDn, uniqueSearch}};

class ChangeTest : public ConfigTest, public ::testing::WithParamInterface<ChangeCase>
{
protected:
    const ChangeCase& tested = GetParam();

    Caught changing()
    {
        return caught([&] { tested.change(connection); });
    }

    /** Lets every search find the values, in the entry that is changed. */
    void serverHas(const std::vector<std::string>& values)
    {
        responder.always(Operation::Search, Answer().entry(tested.dn, {{tested.attribute, values}}));
    }

    /** Lets the server have what the change needs. */
    void serverIsReady()
    {
        serverHas(tested.deletes ? std::vector<std::string>{tested.stored}
                                 : std::vector<std::string>{"{7}other value"});
    }

    /** Replaces the enumeration by one that finds the value or another one. */
    void enumerates(bool found)
    {
        overriding.listed = found ? Texts{"a", tested.stored, "b"} : Texts{"other"};
        overriding.mapped = found ? TextMap{{"a", "{1}a x"}, {"users", tested.stored}} : TextMap{{"a", "x"}};
        overriding.results.push_back(MadeResult{{{tested.dn, {}}}, 1});
    }

    std::vector<std::string> modifications() const
    {
        std::vector<std::string> texts;
        for (const std::string& text : sent())
        {
            if (text.compare(0, 7, "modify ") == 0)
            {
                texts.push_back(text);
            }
        }
        return texts;
    }
};

INSTANTIATE_TEST_SUITE_P(By, ChangeTest, ValuesIn(changes),
                         [](const auto& parameter) { return parameter.param.name; });

TEST_P(ChangeTest, OneModificationIsSentAfterTheSearches)
{
    serverIsReady();
    EXPECT_EQ(Caught(), changing());
    const std::string modification = "modify " + tested.dn + (tested.deletes ? " 1 " : " 0 ") +
                                     tested.attribute + " '" + tested.value + "'";
    EXPECT_THAT(modifications(), ::testing::ElementsAre(modification));
    EXPECT_EQ(modification, last(sent()));
    EXPECT_EQ(tested.entrySearch.empty() ? 2U : 3U, sent().size());
    EXPECT_EQ(0, library.unfreedResults());
}

TEST_P(ChangeTest, WhereNothingIsToChangeNothingIsSentAndNothingReported)
{
    serverHas(tested.deletes ? std::vector<std::string>{"{7}other value"}
                             : std::vector<std::string>{"{6}first value", tested.stored});
    EXPECT_EQ(Caught(), changing());
    EXPECT_THAT(responder.operations(), ::testing::ElementsAre(Operation::Search));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_P(ChangeTest, AChangeIsDoneOnce)
{
    serverIsReady();
    EXPECT_EQ(Caught(), changing());
    serverHas(tested.deletes ? std::vector<std::string>{} : std::vector<std::string>{tested.stored});
    EXPECT_EQ(Caught(), changing());
    EXPECT_EQ(1U, modifications().size());
}

TEST_P(ChangeTest, AnEmptyArgumentIsToldBeforeAnythingElse)
{
    overriding.listed = Texts();
    overriding.mapped = TextMap();
    EXPECT_EQ(emptyArgument(tested.name), caught([&] { tested.withEmptyArgument(overriding); }));
    EXPECT_THAT(overriding.calls, IsEmpty());
    EXPECT_EQ(emptyArgument(tested.name), caught([&] { tested.withEmptyArgument(connection); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
    connection.Disconnect();
    EXPECT_EQ(emptyArgument(tested.name), caught([&] { tested.withEmptyArgument(connection); }));
}

TEST_P(ChangeTest, WithoutASessionTheEnumerationTellsIt)
{
    connection.Disconnect();
    EXPECT_EQ(notConnected(), changing());
}

TEST_P(ChangeTest, WithoutASessionOverridingOperationsDoTheWork)
{
    enumerates(tested.deletes);
    tested.change(overriding);
    std::vector<std::string> expected{tested.enumeration};
    expected.insert(expected.end(), tested.entrySearch.begin(), tested.entrySearch.end());
    expected.push_back("SetAttrValue " + tested.dn + " " + tested.attribute + " '" + tested.value + "' " +
                       tested.mode);
    EXPECT_THAT(overriding.calls, ElementsAreArray(expected));
}

TEST_P(ChangeTest, TheOverridingEnumerationDecidesThatNothingIsToChange)
{
    enumerates(!tested.deletes);
    tested.change(overriding);
    EXPECT_THAT(overriding.calls, ::testing::ElementsAre(tested.enumeration));
}

TEST_P(ChangeTest, AnEmptyEnumerationMeansThatTheValueIsNotThere)
{
    enumerates(false);
    overriding.listed = Texts();
    overriding.mapped = TextMap();
    tested.change(overriding);
    EXPECT_EQ(tested.deletes ? 1U : 2U + tested.entrySearch.size(), overriding.calls.size());
}

TEST_P(ChangeTest, AFailureOfTheOverridingSetAttrValueIsPassedOn)
{
    enumerates(tested.deletes);
    overriding.refuses = true;
    EXPECT_EQ(checkError("refused"), caught([&] { tested.change(overriding); }));
}

TEST_P(ChangeTest, AMissingDatabaseEntryIsTheEnumerationsInsufficientAccess)
{
    responder.onSearch(Answer().result(32));
    EXPECT_EQ(noQuery(), changing());
    EXPECT_THAT(responder.operations(), ::testing::ElementsAre(Operation::Search));
}

TEST_P(ChangeTest, ARefusedSearchIsPassedOnAndNothingIsSent)
{
    responder.onSearch(Answer().result(50, "words"));
    EXPECT_EQ(accessError(50, "words"), changing());
    EXPECT_THAT(responder.operations(), ::testing::ElementsAre(Operation::Search));
}

TEST_P(ChangeTest, ARefusedModificationIsPassedOn)
{
    serverIsReady();
    responder.onModify(Answer().result(53, "words"));
    EXPECT_EQ(refusedChange(tested.attribute, tested.dn, tested.value, 53, "words"), changing());
    EXPECT_EQ(1U, modifications().size());
}

TEST_P(ChangeTest, ARefusalByCodes47To50BecomesInsufficientAccess)
{
    serverIsReady();
    for (int code = 47; code <= 50; code++)
    {
        responder.onModify(Answer().result(code, "not yours"));
        EXPECT_EQ(accessError(code, "not yours"), changing()) << code;
    }
    EXPECT_EQ(Caught(), changing()) << "the session is there all the same";
}

} // namespace

} // namespace KVR
