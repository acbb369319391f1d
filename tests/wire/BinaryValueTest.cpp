#include "Allocations.h"
#include "WriteTest.h"

#include <cstdlib>
#include <memory>
#include <utility>

namespace KVR
{

namespace
{

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char attributeFile[] = "KVRLdapConnectionAttribute.cpp";
constexpr char checkPlace[] = "KVRLdapConnection.cpp:LINE(InternalCheck)";

class SetBinaryTest : public WriteTest
{
protected:
    std::vector<Modification> set(const std::string& bytes, int operation)
    {
        responder.clear();
        library.modifies.clear();
        connection.SetAttrBinaryValue("cn=a,dc=x", "photo", bytes.data(), bytes.size(),
                                      static_cast<alOPERATION>(operation));
        return sentModifications();
    }

    Caught setting(const char* data, unsigned long size, int operation)
    {
        return caught(
            [&] {
                connection.SetAttrBinaryValue("cn=a,dc=x", "photo", data, size,
                                              static_cast<alOPERATION>(operation));
            });
    }

    const Caught emptyArgument = checkError("Argument is empty for 'SetAttrBinaryValue'.");
};

TEST_F(SetBinaryTest, OneRequestWithDnAttributeAndBytesIsSent)
{
    EXPECT_THAT(set("\0a\0\xff\0"s, alADD), ElementsAre(Modification{0, "photo", {"\0a\0\xff\0"s}}));
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Modify));
    EXPECT_EQ("cn=a,dc=x", responder.only(Operation::Modify).dn);
    EXPECT_FALSE(library.modifies.at(0).hasControls);
}

TEST_F(SetBinaryTest, EachModeIsSentWithTheBinaryFlagAndAnyThatIsNot33Or43Or45Replaces)
{
    const std::pair<int, int> modes[] = {{43, 0}, {45, 1},  {33, 1},  {61, 2}, {0, 2},  {1, 2},
                                         {44, 2}, {100, 2}, {128, 2}, {-1, 2}, {171, 2}};
    for (const auto& [number, code] : modes)
    {
        EXPECT_THAT(set("v\0w"s, number), ElementsAre(Modification{code, "photo", {"v\0w"s}})) << number;
        EXPECT_THAT(library.modifies.at(0).changes, ElementsAre(Change{0x80 + code, "photo", true}))
            << number;
    }
}

TEST_F(SetBinaryTest, Mode33DeletesThatValueOnly)
{
    EXPECT_THAT(set("v\0"s, 33), ElementsAre(Modification{1, "photo", {"v\0"s}}));
}

TEST_F(SetBinaryTest, APointerWithSize0SendsOneEmptyValue)
{
    EXPECT_EQ(Caught(), setting("not sent", 0, alADD));
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{0, "photo", {""}}));
}

TEST_F(SetBinaryTest, Mode33WithANullPointerAndSize0SendsOneEmptyValue)
{
    EXPECT_EQ(Caught(), setting(nullptr, 0, 33));
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{1, "photo", {""}}));
}

TEST_F(SetBinaryTest, ANullPointerWithAnyOtherModeFailsAndSendsNothing)
{
    for (const int number : {43, 45, 61, 0, 100})
    {
        EXPECT_EQ(emptyArgument, setting(nullptr, 0, number)) << number;
        EXPECT_EQ(emptyArgument, setting(nullptr, 5, number)) << number;
    }
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(SetBinaryTest, ANullPointerIsToldBeforeTheConnectionIsLookedAt)
{
    connection.Disconnect();
    EXPECT_EQ(emptyArgument, setting(nullptr, 0, 43));
    EXPECT_EQ(notConnected(), setting(nullptr, 0, 33));
    EXPECT_EQ(notConnected(), setting("", 0, 43));
}

TEST_F(SetBinaryTest, NothingIsConverted)
{
    connectIn("ISO-8859-1");
    connection.SetAttrBinaryValue("cn=\xe4", "p\xe4", "\xe4\xff", 2, alREPLACE);
    EXPECT_EQ("cn=\xe4", responder.only(Operation::Modify).dn);
    EXPECT_THAT(sentModifications(), ElementsAre(Modification{2, "p\xe4", {"\xe4\xff"}}));
}

TEST_F(SetBinaryTest, AMegabyteArrivesWhole)
{
    std::string bytes;
    for (int i = 0; i < 1000000; i++)
    {
        bytes += static_cast<char>(i * 7 % 256);
    }
    EXPECT_EQ(bytes, set(bytes, alREPLACE).at(0).values.at(0));
}

using SetBinaryDeathTest = SetBinaryTest;

TEST_F(SetBinaryDeathTest, Mode33WithANullPointerAndASizeEndsTheProcessInTheLibrary)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(connection.SetAttrBinaryValue("cn=a,dc=x", "photo", nullptr, 5, alREMOVEALL), "");
}

/** What GetAttrBinaryValue gives; the caller's size is 77 before. */
struct BinaryValue
{
    bool isNull = true;
    std::string bytes;
    unsigned long size = 77;
};

bool operator==(const BinaryValue& left, const BinaryValue& right)
{
    return left.isNull == right.isNull && left.bytes == right.bytes && left.size == right.size;
}

void PrintTo(const BinaryValue& value, std::ostream* stream)
{
    *stream << (value.isNull ? "null" : "bytes <" + value.bytes + ">") << " size " << value.size;
}

class GetBinaryTest : public WriteTest
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(0, library.unfreedResults()) << "the result is freed on every path";
    }

    BinaryValue get()
    {
        BinaryValue value;
        const std::unique_ptr<char, decltype(&std::free)> buffer(
            connection.GetAttrBinaryValue("cn=a,dc=x", "photo", value.size), &std::free);
        value.isNull = buffer == nullptr;
        value.bytes = buffer ? std::string(buffer.get(), value.size) : "";
        return value;
    }

    BinaryValue getFrom(const Answer& answer)
    {
        responder.onSearch(answer);
        return get();
    }

    Caught getting(const Answer& answer)
    {
        responder.onSearch(answer);
        return caught([&] { get(); });
    }

    static Answer photo(const std::vector<std::string>& values)
    {
        return Answer().entry("cn=a,dc=x", {{"photo", values}});
    }

    static Caught searchRefusal(int code, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on searching 'cn=a,dc=x photo=*' - " +
                               std::string(ldap_err2string(code)),
                           std::string(attributeFile) + ":LINE(GetAttrBinaryValue)", details);
    }

    const BinaryValue nullOfSize0{true, "", 0};
    const BinaryValue nullOfUntouchedSize{true, "", 77};
};

TEST_F(GetBinaryTest, TheEntryIsSearchedForTheAttribute)
{
    get();
    EXPECT_THAT(responder.operations(), ElementsAre(Operation::Search));
    const LdapRequest request = responder.only(Operation::Search);
    EXPECT_EQ("cn=a,dc=x", request.dn);
    EXPECT_EQ(LDAP_SCOPE_BASE, request.search.scope);
    EXPECT_EQ("(photo=*)", request.search.filter);
    EXPECT_THAT(request.search.attributes, ElementsAre("photo"));
    EXPECT_FALSE(request.search.typesOnly);
    EXPECT_EQ(0, request.search.sizeLimit);
    EXPECT_EQ(0, request.search.timeLimit);
    EXPECT_FALSE(request.hasControls);
    EXPECT_FALSE(library.searches.at(0).hasTimeout);
    EXPECT_EQ(0, library.searches.at(0).sizeLimit);
}

TEST_F(GetBinaryTest, BytesWithZerosAreReturnedWhole)
{
    EXPECT_EQ((BinaryValue{false, "\0a\0\xff\0"s, 5}), getFrom(photo({"\0a\0\xff\0"s})));
    EXPECT_EQ((BinaryValue{false, "\0"s, 1}), getFrom(photo({"\0"s})));
}

TEST_F(GetBinaryTest, TheFirstOfTwoValuesIsReturned)
{
    EXPECT_EQ((BinaryValue{false, "second", 6}), getFrom(photo({"second", "first"})));
}

TEST_F(GetBinaryTest, TheFirstAttributeOfTheFirstEntryIsReadWhateverItsName)
{
    EXPECT_EQ((BinaryValue{false, "a", 1}),
              getFrom(Answer()
                          .entry("cn=a,dc=x", {{"photo;binary", {"a"}}, {"photo", {"b"}}})
                          .entry("cn=b,dc=x", {{"photo", {"c"}}})));
}

TEST_F(GetBinaryTest, ValuesAreNotConverted)
{
    connectIn("ASCII");
    EXPECT_EQ((BinaryValue{false, "\xe4\xff", 2}), getFrom(photo({"\xe4\xff"})));
}

TEST_F(GetBinaryTest, AMegabyteIsReturnedWhole)
{
    const std::string bytes(1000000, '\xfe');
    EXPECT_EQ((BinaryValue{false, bytes, 1000000}), getFrom(photo({bytes})));
}

TEST_F(GetBinaryTest, AnEmptyFirstValueIsNullAndSize0)
{
    EXPECT_EQ(nullOfSize0, getFrom(photo({""})));
    EXPECT_EQ(nullOfSize0, getFrom(photo({"", "second"})));
}

TEST_F(GetBinaryTest, AMissingEntryIsNullAndSize0)
{
    EXPECT_EQ(nullOfSize0, getFrom(Answer().result(32, "gone")));
    EXPECT_EQ(nullOfSize0, getFrom(photo({"lost"}).result(32)));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(GetBinaryTest, NoEntryIsNullAndSize0)
{
    EXPECT_EQ(nullOfSize0, getFrom(Answer()));
}

TEST_F(GetBinaryTest, NoEntryWithACodeInTheSessionIsTold)
{
    library.keptCode = 80;
    EXPECT_EQ(
        ldapErrorAt("OpenLDAP error on fetching - Other (e.g., implementation specific) error", checkPlace),
        getting(Answer()));
    library.keptCode = 50;
    EXPECT_EQ(accessError(50), getting(Answer()));
}

TEST_F(GetBinaryTest, AnEntryWithoutADnIsNullAndSize0)
{
    library.withholdDn = true;
    EXPECT_EQ(nullOfSize0, getFrom(photo({"lost"})));
}

TEST_F(GetBinaryTest, AnEntryWithoutADnAndACodeInTheSessionIsTold)
{
    library.withholdDn = true;
    library.keptCode = 80;
    EXPECT_EQ(
        ldapErrorAt("OpenLDAP error on fetching attributes - Other (e.g., implementation specific) error",
                    checkPlace),
        getting(photo({"lost"})));
}

TEST_F(GetBinaryTest, AnEntryWithoutAttributesIsNullAndLeavesTheSize)
{
    EXPECT_EQ(nullOfUntouchedSize, getFrom(Answer().entry("cn=a,dc=x")));
}

TEST_F(GetBinaryTest, AnEntryWithoutAttributesIsNoErrorWhateverTheSessionKeeps)
{
    library.keptCode = 80;
    EXPECT_EQ(nullOfUntouchedSize, getFrom(Answer().entry("cn=a,dc=x")));
}

TEST_F(GetBinaryTest, AnAttributeWithoutValuesIsNullAndLeavesTheSize)
{
    EXPECT_EQ(nullOfUntouchedSize, getFrom(photo({})));
    library.withheldValues = {"photo"};
    EXPECT_EQ(nullOfUntouchedSize, getFrom(photo({"lost"})));
}

TEST_F(GetBinaryTest, AnAttributeWithoutValuesAndACodeInTheSessionIsTold)
{
    const Caught expected = ldapErrorAt(
        "OpenLDAP error on fetching attributes - Other (e.g., implementation specific) error", checkPlace);
    library.keptCode = 80;
    EXPECT_EQ(expected, getting(photo({})));
    library.withheldValues = {"photo"};
    EXPECT_EQ(expected, getting(photo({"lost"})));
}

TEST_F(GetBinaryTest, AnUnreadableCodeIsAnInternalErrorWhereverTheSessionIsAsked)
{
    const Caught expected = internalError("on getting ldap error code.", checkPlace);
    library.unreadableOptions = {LDAP_OPT_RESULT_CODE};
    EXPECT_EQ(expected, getting(Answer())) << "no entry";
    EXPECT_EQ(expected, getting(photo({}))) << "no values";
    library.withholdDn = true;
    EXPECT_EQ(expected, getting(photo({"lost"}))) << "no DN";
}

TEST_F(GetBinaryTest, AnUnreadableCodeIsNoErrorWhereTheSessionIsNotAsked)
{
    library.unreadableOptions = {LDAP_OPT_RESULT_CODE};
    EXPECT_EQ((BinaryValue{false, "v", 1}), getFrom(photo({"v"})));
    EXPECT_EQ(nullOfSize0, getFrom(Answer().result(32)));
    EXPECT_EQ(nullOfUntouchedSize, getFrom(Answer().entry("cn=a,dc=x")));
}

TEST_F(GetBinaryTest, WithoutADnTheResultIsFreedBeforeTheSessionIsAsked)
{
    library.withholdDn = true;
    library.unfreedAtCheck = 77;
    EXPECT_EQ(nullOfSize0, getFrom(photo({"lost"})));
    EXPECT_EQ(0, library.unfreedAtCheck);
}

TEST_F(GetBinaryTest, Codes47To50BecomeInsufficientAccess)
{
    for (int code = 47; code <= 50; code++)
    {
        EXPECT_EQ(accessError(code, "go away"), getting(Answer().result(code, "go away"))) << code;
    }
}

TEST_F(GetBinaryTest, EveryOtherCodeIsAnErrorTheSizeLimitToo)
{
    for (int code = 1; code <= 123; code++)
    {
        if (code != 32 && (code < 47 || code > 50))
        {
            EXPECT_EQ(searchRefusal(code, "words %s"), getting(photo({"v"}).result(code, "words %s")))
                << code;
        }
    }
}

TEST_F(GetBinaryTest, ARefusalLeavesTheSize)
{
    unsigned long size = 77;
    responder.onSearch(Answer().result(4));
    caught([&] { connection.GetAttrBinaryValue("cn=a,dc=x", "photo", size); });
    EXPECT_EQ(77U, size);
}

TEST_F(GetBinaryTest, TheCallsResultCountsAndNotWhatTheSessionKeeps)
{
    library.keptCode = 0;
    EXPECT_EQ(searchRefusal(4), getting(Answer().result(4)));
    library.keptCode = 50;
    EXPECT_EQ((BinaryValue{false, "v", 1}), getFrom(photo({"v"})));
}

TEST_F(GetBinaryTest, PercentSignsAreNoFormat)
{
    unsigned long size = 77;
    responder.onSearch(Answer().result(1));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=%s%n photo=*' - Operations error",
                          std::string(attributeFile) + ":LINE(GetAttrBinaryValue)"),
              caught([&] { connection.GetAttrBinaryValue("cn=%s%n", "photo", size); }));
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=%s%n a%d=*' - Bad search filter",
                          std::string(attributeFile) + ":LINE(GetAttrBinaryValue)"),
              caught([&] { connection.GetAttrBinaryValue("cn=%s%n", "a%d", size); }));
}

TEST_F(GetBinaryTest, AnEmptyAttributeIsABadFilterAndSendsNothing)
{
    unsigned long size = 77;
    EXPECT_EQ(ldapErrorAt("OpenLDAP error on searching 'cn=a =*' - Bad search filter",
                          std::string(attributeFile) + ":LINE(GetAttrBinaryValue)"),
              caught([&] { connection.GetAttrBinaryValue("cn=a", "", size); }));
    EXPECT_THAT(responder.requests(), IsEmpty());
}

TEST_F(GetBinaryTest, ItWorksWhileTheLastErrorAsksForAReconnect)
{
    library.setResultCode(50);
    ASSERT_FALSE(connection.IsConnected());
    EXPECT_EQ((BinaryValue{false, "v", 1}), getFrom(photo({"v"})));
}

TEST_F(GetBinaryTest, ABufferThatCannotBeAllocatedIsOutOfMemory)
{
    const std::string value(123457, 'v');
    {
        const Support::RefusedSize refused(value.size());
        EXPECT_EQ(std::type_index(typeid(EKVROutOfMemory)), getting(photo({value})).type);
    }
    EXPECT_EQ((BinaryValue{false, value, 123457}), getFrom(photo({value})));
}

TEST_F(GetBinaryTest, ExactlyTheValuesLengthIsAllocated)
{
    const std::string value(123457, 'v');
    for (const std::size_t other : {value.size() - 1, value.size() + 1})
    {
        const Support::RefusedSize refused(other);
        EXPECT_EQ((BinaryValue{false, value, value.size()}), getFrom(photo({value})));
    }
}

TEST(GetBinaryDeathTest, WithoutASessionTheLibraryAbortsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Support::RecordingHost host;
    CKVRLdapConnection connection(host);
    unsigned long size = 77;
    EXPECT_EXIT(connection.GetAttrBinaryValue("cn=a,dc=x", "photo", size), ::testing::KilledBySignal(SIGABRT),
                "Assertion `ld != NULL. failed");
}

} // namespace

} // namespace KVR
