// How often filling an entity from a plain entry allocates, once the connection has read one like it:
// a node of the map for each value, the text of values that do not fit into the string object, and for
// each name that does not fit a copy in each node and one to build them from.

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
    /** How often Fetch allocates for the entry when one just like it was read before. */
    long allocationsFor(const Attributes& attributes)
    {
        server.onSearch = [&](int id)
        {
            const std::string entry = entryMessage(id, entryContent("cn=a", attributes));
            return entry + entry + entry + resultMessage(id, LDAP_RES_SEARCH_RESULT, 0);
        };
        library.makeSession = [this] { return server.makeSession(); };
        CKVRLdapConnection connection(host);
        connection.Connect("memory", KVRAuthAnonymous);
        std::list<std::string> names;
        const auto query = connection.Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
        library.readOptions.reserve(1000);
        std::shared_ptr<IKVRLdapEntity> entity;
        EXPECT_TRUE(query->Fetch(entity));
        const CountedAllocations second;
        EXPECT_TRUE(query->Fetch(entity));
        const long number = second.number();
        const CountedAllocations third;
        EXPECT_TRUE(query->Fetch(entity));
        EXPECT_EQ(third.number(), number) << "what is kept does not grow";
        EXPECT_EQ(library.readDns, 0) << "read in place";
        return number;
    }

    LdapInterposer library;
    MemoryServer server;
    RecordingHost host;
};

TEST_F(EntryAllocations, AShortValueNeedsItsNode)
{
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1, shortText)), 1);
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1000, shortText)), 1000);
    EXPECT_EQ(allocationsFor(attributesOf(1000, shortText)), 1000);
}

TEST_F(EntryAllocations, ALongValueNeedsItsNodeAndItsText)
{
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1, longText)), 2);
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1000, longText)), 2000);
    EXPECT_EQ(allocationsFor(attributesOf(1000, longText)), 2000);
}

TEST_F(EntryAllocations, ALongNameIsBuiltOnceAndCopiedIntoItsNodes)
{
    EXPECT_EQ(allocationsFor(oneAttribute(longName, 1, shortText)), 1 + 2);
    EXPECT_EQ(allocationsFor(oneAttribute(longName, 1000, shortText)), 1 + 2000);
    EXPECT_EQ(allocationsFor(oneAttribute(longName, 1000, longText)), 1 + 3000);
}

TEST_F(EntryAllocations, AnEntryWithoutAttributesNeedsNothing)
{
    EXPECT_EQ(allocationsFor({}), 0);
}

/** A value that is longer than what a connection keeps is copied once more. */
TEST_F(EntryAllocations, AVeryLongValueIsNotKeptByTheConnection)
{
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1, std::string(60000, 'x'))), 2);
    EXPECT_EQ(allocationsFor(oneAttribute("cn", 1, std::string(70000, 'x'))), 3);
}

/** Twelve allocations let the list of attributes grow to 2,048, and one makes the table of names. */
TEST_F(EntryAllocations, TheRecordsOfManyAttributesAreNotKeptByTheConnection)
{
    EXPECT_EQ(allocationsFor(attributesOf(1024, shortText)), 1024);
    EXPECT_EQ(allocationsFor(attributesOf(1025, shortText)), 1025 + 12 + 1);
}

TEST_F(EntryAllocations, AConvertedValueNeedsNoMore)
{
    SetDefaultCodeset("ISO-8859-1");
    const long number = allocationsFor(oneAttribute("cn", 1000, longText));
    SetDefaultCodeset("UTF-8");
    EXPECT_EQ(number, 2000);
}

/** The buffer of a conversion is four times as long as its text. */
TEST_F(EntryAllocations, OnlyAShortBufferIsKeptForTheNextConversion)
{
    SetDefaultCodeset("ISO-8859-1");
    library.makeSession = [this] { return server.makeSession(); };
    CKVRLdapConnection connection(host);
    connection.Connect("memory", KVRAuthAnonymous);
    SetDefaultCodeset("UTF-8");
    const auto allocationsAfter = [&](const std::string& text)
    {
        EXPECT_EQ(caught([&] { connection.Utf8ToLocal(text); }).type == typeid(void), text.back() != '\xff');
        const CountedAllocations allocations;
        EXPECT_EQ(connection.Utf8ToLocal("ab"), "ab");
        return allocations.number();
    };
    EXPECT_EQ(allocationsAfter(std::string(16000, 'x')), 0);
    EXPECT_EQ(allocationsAfter(std::string(17000, 'x')), 1);
    EXPECT_EQ(allocationsAfter(std::string(17000, 'x') + '\xff'), 1) << "nor when it has failed";
}

} // namespace
} // namespace KVR::Support
