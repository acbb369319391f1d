// Values of many shapes go to a real server by each of the writing operations and come back
// unchanged.

#include "ServerTest.h"
#include "ValueShapes.h"

#include <cstdlib>
#include <set>

namespace KVR::ServerTests
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Attributes = std::multimap<std::string, std::string>;

class ValueShapeTest : public ServerTest
{
protected:
    ValueShapeTest() : ServerTest({"--config", KVR_SHAPES_SCHEMA}) {}

    /** Adds an entry that takes almost any attribute. @return its DN */
    std::string addEntry(Attributes more = {})
    {
        const std::string name = "shape " + std::to_string(++entries_);
        std::string dn = "cn=" + name + ",ou=lab,dc=example,dc=com";
        more.insert({{"objectClass", "device"}, {"objectClass", "extensibleObject"}});
        more.emplace("cn", name);
        connection.AddDN(dn, more);
        names_.insert(name);
        return dn;
    }

    /** The entry's values of the shape's attributes, without the value that names it. */
    Attributes valuesOf(const std::string& dn, const ValueShape& shape)
    {
        std::list<std::string> names;
        for (const auto& pair : shape.pairs)
        {
            names.push_back(pair.first);
        }
        names.unique();
        Attributes values = read(dn, names)->attributes;
        for (auto pair = values.begin(); pair != values.end();)
        {
            pair = pair->first == "cn" && names_.count(pair->second) != 0 ? values.erase(pair) : ++pair;
        }
        return values;
    }

    static Attributes attributesOf(const ValueShape& shape, const std::string& mode = "")
    {
        Attributes attributes;
        for (const auto& [name, value] : shape.pairs)
        {
            attributes.emplace(mode + name, value);
        }
        return attributes;
    }

    void expectValues(const std::string& dn, const ValueShape& shape)
    {
        // Long values make no good messages.
        EXPECT_TRUE(valuesOf(dn, shape) == attributesOf(shape)) << shape.name;
    }

    std::string bytesOf(const std::string& dn, const std::string& attribute)
    {
        unsigned long size = 0;
        const std::unique_ptr<char, decltype(&std::free)> bytes(
            connection.GetAttrBinaryValue(dn, attribute, size), &std::free);
        return bytes ? std::string(bytes.get(), size) : "";
    }

private:
    int entries_ = 0;
    std::set<std::string> names_;
};

TEST_F(ValueShapeTest, ThereAreAtLeastSeventyAndTheirNamesDiffer)
{
    std::set<std::string> names;
    for (const auto& shapes : {textShapes(), binaryShapes()})
    {
        for (const ValueShape& shape : shapes)
        {
            EXPECT_TRUE(names.insert(shape.name).second) << shape.name;
        }
    }
    EXPECT_GE(names.size(), 70U);
}

TEST_F(ValueShapeTest, TextComesBackFromEntriesThatWereAdded)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        expectValues(addEntry(attributesOf(shape)), shape);
    }
}

TEST_F(ValueShapeTest, TextComesBackFromEntriesThatWereUpdated)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const std::string dn = addEntry();
        Attributes additions = attributesOf(shape, "+");
        connection.UpdateDN(dn, additions);
        expectValues(dn, shape);
    }
}

TEST_F(ValueShapeTest, TextComesBackFromListsOfValues)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const std::string dn = addEntry();
        for (auto first = shape.pairs.begin(); first != shape.pairs.end();)
        {
            const std::string attribute = first->first;
            std::list<std::string> values;
            for (; first != shape.pairs.end() && first->first == attribute; ++first)
            {
                values.push_back(first->second);
            }
            connection.SetAttrValues(dn, attribute, values, alADD);
        }
        expectValues(dn, shape);
    }
}

TEST_F(ValueShapeTest, TextComesBackFromValuesThatWereSetOneByOne)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        if (shape.pairs.size() <= 1000) // it is one request each
        {
            const std::string dn = addEntry();
            for (const auto& [attribute, value] : shape.pairs)
            {
                connection.SetAttrValue(dn, attribute, value, alADD);
            }
            expectValues(dn, shape);
        }
    }
}

TEST_F(ValueShapeTest, TextIsTheSameBytesWhenItIsReadAsABinaryValue)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const auto& [attribute, value] = shape.pairs.front();
        if (attribute != "cn") // the value that names the entry is the first one
        {
            EXPECT_TRUE(bytesOf(addEntry(attributesOf(shape)), attribute) == value);
        }
    }
}

TEST_F(ValueShapeTest, TextIsFoundAgainByItsOwnRemoval)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const bool hasNoEqualityRule = shape.pairs.front().first == "preferredDeliveryMethod";
        // The server compares each of many values with all others.
        if (shape.pairs.size() <= 1000 && !hasNoEqualityRule)
        {
            const std::string dn = addEntry(attributesOf(shape));
            Attributes removals = attributesOf(shape, "-");
            connection.UpdateDN(dn, removals);
            EXPECT_THAT(valuesOf(dn, shape), IsEmpty());
        }
    }
}

TEST_F(ValueShapeTest, BinaryValuesComeBackByteForByte)
{
    for (const ValueShape& shape : binaryShapes())
    {
        SCOPED_TRACE(shape.name);
        const auto& [attribute, bytes] = shape.pairs.front();
        const std::string dn = addEntry();
        connection.SetAttrBinaryValue(dn, attribute, bytes.data(), bytes.size(), alREPLACE);
        EXPECT_TRUE(bytesOf(dn, attribute) == bytes);
        std::list<std::string> values;
        read(dn, {attribute})->ValsByAttr(attribute, values, true);
        ASSERT_THAT(values, SizeIs(1));
        EXPECT_TRUE(values.front() == bytes.c_str()) << "a text ends at its first zero byte";
    }
}

TEST_F(ValueShapeTest, ABinaryValueIsFoundAgainByItsOwnRemoval)
{
    const std::string dn = addEntry();
    const std::string bytes("a\0b", 3);
    connection.SetAttrBinaryValue(dn, "shapeOctets", bytes.data(), bytes.size(), alADD);
    connection.SetAttrBinaryValue(dn, "shapeOctets", "a", 1, alADD);
    connection.SetAttrBinaryValue(dn, "shapeOctets", bytes.data(), bytes.size(), alREMOVEALL);
    EXPECT_EQ(bytesOf(dn, "shapeOctets"), "a") << "only that value is removed";
    connection.SetAttrBinaryValue(dn, "shapeOctets", "a", 1, alREMOVE);
    EXPECT_EQ(bytesOf(dn, "shapeOctets"), "");
}

TEST_F(ValueShapeTest, AnEmptyValueIsKeptWhereTheSyntaxAllowsIt)
{
    for (const char* attribute : {"shapeOctets", "shapeIa5", "mail", "userPassword"})
    {
        SCOPED_TRACE(attribute);
        const ValueShape empty{attribute, {{attribute, ""}}};
        const std::string updated = addEntry();
        Attributes changes{{std::string("=") + attribute, ""}};
        connection.UpdateDN(updated, changes);
        expectValues(updated, empty);
        const std::string set = addEntry();
        std::list<std::string> values{""};
        connection.SetAttrValues(set, attribute, values, alADD);
        expectValues(set, empty);
        const std::string binary = addEntry();
        connection.SetAttrBinaryValue(binary, attribute, "", 0, alREPLACE);
        expectValues(binary, empty);
    }
}

TEST_F(ValueShapeTest, ValuesThatTheServerTakesForEqualAreRefusedTogether)
{
    for (const ValueShape& shape : duplicateShapes())
    {
        SCOPED_TRACE(shape.name);
        const std::string dn = addEntry();
        Attributes additions = attributesOf(shape, "+");
        const Caught error = caught([&] { connection.UpdateDN(dn, additions); });
        EXPECT_THAT(error.message, HasSubstr("OpenLDAP error on modifying dn '" + dn + "' - Type or value"));
        EXPECT_EQ(connection.GetLastError(), 20);
        EXPECT_THAT(valuesOf(dn, shape), IsEmpty());
    }
}

} // namespace
} // namespace KVR::ServerTests
