// How often filling an entity allocates when it, and its connection, have read an entry before; and how much
// of a large entry's memory they keep.

#include "Allocations.h"
#include "Caught.h"
#include "EntryBytes.h"
#include "KVRLdapConnection.h"
#include "LdapInterposer.h"
#include "MemoryServer.h"
#include "RecordingHost.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>

namespace KVR::Support
{
namespace
{

const std::string shortText = "short";
const std::string longText = "a text that does not fit into the string object itself";
const std::string longName = "aNameThatDoesNotFitIntoTheStringObject";

/** One attribute with this many values. */
Attributes oneAttribute(const std::string& name, std::size_t values, const std::string& value)
{
    return {{name, std::vector<std::string>(values, value)}};
}

/** Attributes with one value each. */
Attributes attributesOf(int count, const std::string& value)
{
    Attributes attributes;
    for (int name = 0; name < count; ++name)
    {
        attributes.push_back({std::to_string(name), {value}});
    }
    return attributes;
}

class EntryAllocations : public testing::Test
{
protected:
    ~EntryAllocations() override { SetDefaultCodeset("UTF-8"); }

    /** Searches for entries of these attributes with a new connection. */
    void search(const std::vector<Attributes>& entries, const std::string& codeset = "UTF-8")
    {
        server.onSearch = [entries](int id)
        {
            std::string bytes;
            for (const Attributes& attributes : entries)
            {
                bytes += entryMessage(id, entryContent("cn=an entry that has a long name,dc=x", attributes));
            }
            return bytes + resultMessage(id, LDAP_RES_SEARCH_RESULT, 0);
        };
        library.makeSession = [this] { return server.makeSession(); };
        query.reset();
        entity.reset();
        SetDefaultCodeset(codeset);
        connection = std::make_unique<CKVRLdapConnection>(host);
        connection->Connect("memory", KVRAuthAnonymous);
        std::list<std::string> names;
        query = connection->Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
        library.readOptions.reserve(1000);
    }

    /** How often Fetch allocates for the second entry, into the entity that holds the first. */
    long allocationsAfter(const Attributes& first, const Attributes& second,
                          const std::string& codeset = "UTF-8")
    {
        search({first, second}, codeset);
        EXPECT_TRUE(query->Fetch(entity));
        const CountedAllocations allocations;
        EXPECT_TRUE(query->Fetch(entity));
        const long number = allocations.number();
        EXPECT_EQ(library.readDns, 0) << "read in one pass";
        return number;
    }

    long allocationsForAnother(const Attributes& attributes)
    {
        return allocationsAfter(attributes, attributes);
    }

    /** Bytes that are kept beyond what the small entry takes, once an entity that held it had the large. */
    long keptOf(const Attributes& large, const Attributes& small, const std::string& codeset = "UTF-8")
    {
        search({small, large, small}, codeset);
        EXPECT_TRUE(query->Fetch(entity));
        const CountedAllocations allocations;
        EXPECT_TRUE(query->Fetch(entity));
        EXPECT_TRUE(query->Fetch(entity));
        return allocations.bytes();
    }

    LdapInterposer library;
    MemoryServer server;
    RecordingHost host;
    std::unique_ptr<CKVRLdapConnection> connection;
    std::shared_ptr<IKVRLdapQuery> query;
    std::shared_ptr<IKVRLdapEntity> entity;
};

TEST_F(EntryAllocations, AnEntryLikeTheOneBeforeNeedsNone)
{
    EXPECT_EQ(allocationsForAnother({}), 0);
    EXPECT_EQ(allocationsForAnother(oneAttribute("cn", 1000, shortText)), 0);
    EXPECT_EQ(allocationsForAnother(oneAttribute("cn", 1000, longText)), 0);
    EXPECT_EQ(allocationsForAnother(oneAttribute(longName, 1000, longText)), 0);
    EXPECT_EQ(allocationsForAnother(attributesOf(200, longText)), 0);
    EXPECT_EQ(allocationsForAnother({{"B", {longText}}, {"a", {longText}}, {"C", {longText}}}), 0)
        << "capital letters come first";
}

TEST_F(EntryAllocations, AConvertedValueNeedsNone)
{
    const Attributes attributes = oneAttribute("cn", 50, longText);
    EXPECT_EQ(allocationsAfter(attributes, attributes, "ISO-8859-1"), 0);
}

TEST_F(EntryAllocations, WhatIsMoreThanBeforeNeedsItsNodeAndItsLongTexts)
{
    EXPECT_EQ(allocationsAfter(oneAttribute("cn", 2, shortText), oneAttribute("cn", 5, shortText)), 3);
    EXPECT_EQ(allocationsAfter(oneAttribute("cn", 2, longText), oneAttribute("cn", 5, longText)), 3 * 2);
    EXPECT_EQ(allocationsAfter(oneAttribute("cn", 2, shortText), oneAttribute("cn", 2, longText)), 2);
}

TEST_F(EntryAllocations, WhatIsLessThanBeforeNeedsNone)
{
    EXPECT_EQ(allocationsAfter(oneAttribute("cn", 5, longText), oneAttribute("cn", 2, shortText)), 0);
    EXPECT_EQ(allocationsAfter({{"a", {"1"}}, {"b", {"2"}}}, {{"b", {"2"}}}), 0) << "names that are fewer";
    EXPECT_EQ(allocationsAfter(oneAttribute("cn", 2, longText + "x"), oneAttribute("cn", 2, longText)), 0);
    const Attribute many{"a", std::vector<std::string>(1000, shortText)};
    EXPECT_EQ(allocationsAfter({many, {"b", {longText + "0123456789"}}}, {many, {"b", {longText}}}), 0)
        << "room within the string object is no room to spare";
}

constexpr long kept = 64L * 1024;

TEST_F(EntryAllocations, OfALargeEntryLittleIsKept)
{
    const Attributes small = oneAttribute("cn", 1, shortText);
    const std::string huge(1000000, 'x');
    for (const char* codeset : {"UTF-8", "ISO-8859-1"})
    {
        SCOPED_TRACE(codeset);
        EXPECT_LE(keptOf(oneAttribute("cn", 1, huge), small, codeset), kept);
        EXPECT_LE(keptOf(oneAttribute("cn", 20000, longText), small, codeset), kept);
        EXPECT_LE(keptOf(attributesOf(20000, longText), small, codeset), kept);
        EXPECT_LE(keptOf(attributesOf(5000, shortText), small, codeset), kept);
        EXPECT_LE(keptOf(attributesOf(300, longText), small, codeset), kept);
        EXPECT_LE(keptOf(oneAttribute(std::string(100000, 'n'), 1, huge), small, codeset), kept);
    }
}

TEST_F(EntryAllocations, OfALargeEntryThatIsReadByNameLittleIsKept)
{
    Attributes large = attributesOf(2000, longText);
    large.push_back({"1999", {longText}});
    EXPECT_LE(keptOf(large, oneAttribute("cn", 1, shortText)), kept);
    EXPECT_EQ(library.readDns, 1);
}

TEST_F(EntryAllocations, OfTheNamesOnlyThoseOfTheLastEntryAreKept)
{
    search({attributesOf(2, longText),
            {{"a", {longText}}, {"b", {longText}}},
            {{"b", {longText}}, {"a", {longText}}},
            {{"b", {longText}}, {"a", {longText}}}});
    for (int entry = 0; entry < 3; ++entry)
    {
        EXPECT_TRUE(query->Fetch(entity));
    }
    const CountedAllocations allocations;
    EXPECT_TRUE(query->Fetch(entity));
    EXPECT_EQ(allocations.number(), 0);
}

TEST_F(EntryAllocations, ATextGrowsInTheRoomThatItHas)
{
    search({oneAttribute("cn", 1, longText), oneAttribute("cn", 1, longText.substr(1)),
            oneAttribute("cn", 1, longText)});
    EXPECT_TRUE(query->Fetch(entity));
    EXPECT_TRUE(query->Fetch(entity));
    const CountedAllocations allocations;
    EXPECT_TRUE(query->Fetch(entity));
    EXPECT_EQ(allocations.number(), 0);
}

TEST_F(EntryAllocations, ATextThatGrowsHasNoRoomToSpare)
{
    search({oneAttribute("cn", 1, longText), oneAttribute("cn", 1, longText + "!")});
    EXPECT_TRUE(query->Fetch(entity));
    EXPECT_TRUE(query->Fetch(entity));
    const std::string& text = entity->attributes.begin()->second;
    EXPECT_EQ(text.capacity(), text.size());
}

/** Each of the texts could keep little, all of them together would keep much. */
TEST_F(EntryAllocations, OfManyLongTextsLittleIsKept)
{
    EXPECT_LE(keptOf(oneAttribute("cn", 5000, std::string(100, 'x')), oneAttribute("cn", 5000, longText)),
              8L * 1024);
}

TEST_F(EntryAllocations, ALongValueIsConvertedAsAWhole)
{
    const std::string huge(17UL * 1024 * 1024, 'x');
    search({oneAttribute("cn", 1, huge)}, "ISO-8859-1");
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_TRUE(entity->ValByAttr("cn", true) == huge);
}

TEST_F(EntryAllocations, AConvertedValueThatMemoryIsTooSmallForLeavesNoOther)
{
    for (long number = 1;; ++number)
    {
        search({{{"cn", {"123456789", std::string(200, 'x')}}, {"sn", {"b"}}}}, "ISO-8859-1");
        entity = connection->AllocEntity();
        const FailingAllocation failing(FailingAllocation::By::OperatorNew, number);
        caught([&] { query->Fetch(entity); });
        if (!failing.failed())
        {
            break;
        }
        const auto sn = entity->attributes.find("sn");
        EXPECT_TRUE(sn == entity->attributes.end() || sn->second == "b") << number;
    }
}

/** As if it was cleared first and filled value by value. */
TEST_F(EntryAllocations, OfAnEntryThatMemoryIsTooSmallForTheBeginningIsLeft)
{
    const Attributes former = {{"cn", {"1", "2"}}, {"former", {longText}}, {"sn", {longText}}};
    const Attributes latter = {
        {"sn", {longText + longText, "3"}}, {"cn", {longText, "4", "5"}}, {longName, {longText}}};
    std::size_t most = 0;
    for (long number = 1;; ++number)
    {
        search({former, latter, latter}, "ISO-8859-1");
        ASSERT_TRUE(query->Fetch(entity));
        std::string("cn=former").swap(entity->dn);
        std::type_index thrown = typeid(void);
        {
            const FailingAllocation failing(FailingAllocation::By::OperatorNew, number);
            thrown = caught([&] { query->Fetch(entity); }).type;
            if (!failing.failed())
            {
                break;
            }
        }
        EXPECT_EQ(thrown, typeid(std::bad_alloc));
        EXPECT_NE(entity->dn, "cn=former");
        EXPECT_LE(entity->attributes.size(), 6U);
        EXPECT_EQ(entity->attributes.count("former"), 0U);
        EXPECT_EQ(entity->attributes.count("cn") > 0 && entity->attributes.find("cn")->second != longText,
                  false);
        most = std::max(most, entity->attributes.size());
        ASSERT_TRUE(query->Fetch(entity));
        EXPECT_EQ(entity->attributes.size(), 6U) << "the next one is whole";
        EXPECT_EQ(entity->dn.size(), 37U);
    }
    EXPECT_GE(most, 3U);
}

/** The buffer of a conversion is four times as long as its text. */
TEST_F(EntryAllocations, OnlyAShortBufferIsKeptForTheNextConversion)
{
    SetDefaultCodeset("ISO-8859-1");
    library.makeSession = [this] { return server.makeSession(); };
    CKVRLdapConnection converting(host);
    converting.Connect("memory", KVRAuthAnonymous);
    const auto allocationsAfter = [&](const std::string& text)
    {
        EXPECT_EQ(caught([&] { converting.Utf8ToLocal(text); }).type == typeid(void), text.back() != '\xff');
        const CountedAllocations allocations;
        EXPECT_EQ(converting.Utf8ToLocal("ab"), "ab");
        return allocations.number();
    };
    EXPECT_EQ(allocationsAfter(std::string(2500, 'x')), 0);
    EXPECT_EQ(allocationsAfter(std::string(2600, 'x')), 1);
    EXPECT_EQ(allocationsAfter(std::string(2600, 'x') + '\xff'), 1) << "nor when it has failed";
}

} // namespace
} // namespace KVR::Support
