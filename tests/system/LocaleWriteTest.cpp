// Writing in a Latin-1 locale: values go to the server in UTF-8 and come back in Latin-1.

#include "LocaleTest.h"
#include "ValueShapes.h"

#include <cstdlib>
#include <map>
#include <optional>

namespace KVR
{
namespace
{

using ServerTests::textShapes;
using ServerTests::ValueShape;
using Attributes = std::multimap<std::string, std::string>;

/** UTF-8 in Latin-1, nothing when a character has no place there. */
std::optional<std::string> inLatin1(const std::string& utf8)
{
    std::string latin1;
    for (std::size_t i = 0; i < utf8.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        if (byte > 0xC3)
        {
            return std::nullopt;
        }
        // C2 and C3 begin the characters U+0080 to U+00FF, which have two bytes.
        latin1 += static_cast<char>(byte < 0x80 ? byte : ((byte & 0x03) << 6) | (utf8[++i] & 0x3F));
    }
    return latin1;
}

std::optional<ValueShape> inLatin1(const ValueShape& shape)
{
    ValueShape converted{shape.name, {}};
    for (const auto& [attribute, value] : shape.pairs)
    {
        const auto latin1 = inLatin1(value);
        if (!latin1)
        {
            return std::nullopt;
        }
        converted.pairs.emplace_back(attribute, *latin1);
    }
    return converted;
}

/** LC_ALL=de_DE.ISO-8859-1 */
class Latin1Write : public LocaleTest
{
protected:
    Latin1Write() : LocaleTest("ISO-8859-1", {"--config", KVR_SHAPES_SCHEMA}) {}

    /** Adds an entry that takes almost any attribute. @return its DN */
    std::string addEntry(Attributes more = {})
    {
        std::string dn = "uid=" + std::to_string(++entries_) + "," + lab;
        more.insert({{"objectClass", "account"},
                     {"objectClass", "extensibleObject"},
                     {"uid", std::to_string(entries_)}});
        connection->AddDN(dn, more);
        return dn;
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

    /** Expects the shape's values as the module reads them, and the first one as the server has it. */
    void expectValues(const std::string& dn, const ValueShape& latin1, const ValueShape& utf8)
    {
        std::list<std::string> names;
        for (const auto& pair : latin1.pairs)
        {
            names.push_back(pair.first);
        }
        names.unique();
        EXPECT_TRUE(read(dn, names)->attributes == attributesOf(latin1));
        EXPECT_TRUE(bytesOf(dn, utf8.pairs.front().first) == utf8.pairs.front().second);
    }

    /** What the server has, which no locale changes. */
    std::string bytesOf(const std::string& dn, const std::string& attribute)
    {
        unsigned long size = 0;
        const std::unique_ptr<char, decltype(&std::free)> bytes(
            connection->GetAttrBinaryValue(dn, attribute, size), &std::free);
        return bytes ? std::string(bytes.get(), size) : "";
    }

private:
    int entries_ = 0;
};

TEST_F(Latin1Write, TextOfTheCharacterSetComesBackFromAddedEntries)
{
    int written = 0;
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        if (const auto latin1 = inLatin1(shape))
        {
            expectValues(addEntry(attributesOf(*latin1)), *latin1, shape);
            ++written;
        }
    }
    EXPECT_GE(written, 50);
}

TEST_F(Latin1Write, TextOfTheCharacterSetComesBackFromUpdatedEntries)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        if (const auto latin1 = inLatin1(shape))
        {
            const std::string dn = addEntry();
            Attributes additions = attributesOf(*latin1, "+");
            connection->UpdateDN(dn, additions);
            expectValues(dn, *latin1, shape);
        }
    }
}

TEST_F(Latin1Write, TextOfTheCharacterSetComesBackFromSingleValuesAndFromLists)
{
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const auto& [attribute, utf8] = shape.pairs.front();
        if (const auto value = inLatin1(utf8))
        {
            const ValueShape stored{shape.name, {{attribute, utf8}}};
            const ValueShape expected{shape.name, {{attribute, *value}}};
            const std::string dn = addEntry();
            connection->SetAttrValue(dn, attribute, *value, alADD);
            expectValues(dn, expected, stored);
            connection->DeleteAttr(dn, attribute);
            std::list<std::string> values{*value};
            connection->SetAttrValues(dn, attribute, values, alADD);
            expectValues(dn, expected, stored);
        }
    }
}

TEST_F(Latin1Write, TextBeyondTheCharacterSetCannotBeReadBack)
{
    int unreadable = 0;
    for (const ValueShape& shape : textShapes())
    {
        SCOPED_TRACE(shape.name);
        const auto& [attribute, utf8] = shape.pairs.front();
        if (!inLatin1(utf8))
        {
            const std::string dn = addEntry();
            connection->SetAttrBinaryValue(dn, attribute, utf8.data(), utf8.size(), alADD);
            expectUnconvertible(dn, {attribute});
            EXPECT_EQ(bytesOf(dn, attribute), utf8);
            ++unreadable;
        }
    }
    EXPECT_GE(unreadable, 15);
}

TEST_F(Latin1Write, BytesThatWouldBeUtf8AreWrittenAsTheCharactersThatTheyAreHere)
{
    const std::string dn = addEntry({{"description", "\xC3\xBC"}});
    EXPECT_EQ(bytesOf(dn, "description"), "Ã¼");
    EXPECT_EQ(read(dn, {"description"})->ValByAttr("description", false), "\xC3\xBC");
}

} // namespace
} // namespace KVR
