// How often building a list of modifications allocates: three arrays, one record a name, and the
// text of each value that does not fit into the string object itself. Nothing grows on the way.

#include "Allocations.h"
#include "KVRLdapModifications.h"

#include <gtest/gtest.h>

namespace KVR::Support
{
namespace
{

using Attributes = CKVRModificationList::Attributes;
using Mode = CKVRModificationMode;

const std::string longText = "a text that does not fit into the string object itself";

constexpr long arrays = 3;

/** Pairs of this many names with this many values each. */
Attributes pairs(int names, int values, const std::string& value, char mode = '+')
{
    Attributes attributes;
    for (int name = 0; name < names; ++name)
    {
        for (int i = 0; i < values; ++i)
        {
            attributes.emplace(mode + std::to_string(name), value);
        }
    }
    return attributes;
}

long allocationsFor(const Attributes& attributes, const CKVRModificationList::Convert& convert = {})
{
    const CKVRModificationList::ModeOf modeOf = [](const std::string& name) {
        return Mode{LDAP_MOD_ADD, name.front() != '!', 1};
    };
    CKVRModificationList list;
    const CountedAllocations allocations;
    list.Build(attributes, modeOf, convert);
    return allocations.number();
}

TEST(ModificationAllocations, ManyShortValuesOfOneNameNeedTheArraysAndOneRecord)
{
    EXPECT_EQ(allocationsFor(pairs(1, 1, "short")), arrays + 1);
    EXPECT_EQ(allocationsFor(pairs(1, 1000, "short")), arrays + 1);
}

TEST(ModificationAllocations, EveryNameNeedsOneRecord)
{
    EXPECT_EQ(allocationsFor(pairs(1000, 1, "short")), arrays + 1000);
    EXPECT_EQ(allocationsFor(pairs(100, 10, "short")), arrays + 100);
}

TEST(ModificationAllocations, EveryLongValueIsCopiedOnce)
{
    EXPECT_EQ(allocationsFor(pairs(1, 1000, longText)), arrays + 1 + 1000);
    EXPECT_EQ(allocationsFor(pairs(10, 10, longText)), arrays + 10 + 100);
}

TEST(ModificationAllocations, AConvertedValueIsNotCopiedAgain)
{
    const auto copy = [](const std::string& value) { return value; };
    EXPECT_EQ(allocationsFor(pairs(1, 1000, longText), copy), arrays + 1 + 1000) << "the conversion's own";
    EXPECT_EQ(allocationsFor(pairs(1, 1000, "short"), copy), arrays + 1);
}

TEST(ModificationAllocations, ValuesThatAreNotSentAreNotCopied)
{
    EXPECT_EQ(allocationsFor(pairs(10, 10, longText, '!')), arrays + 10);
}

TEST(ModificationAllocations, AnEmptyMapNeedsTheTwoArraysThatEndWithANull)
{
    EXPECT_EQ(allocationsFor({}), 2);
}

} // namespace
} // namespace KVR::Support
