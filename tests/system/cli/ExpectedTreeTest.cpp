#include "ExpectedTree.h"

#include <gtest/gtest.h>

namespace
{

using namespace KVR::Cli;

class CliExpectedTree : public testing::Test
{
protected:
    static Dn dn(const std::string& text) { return ParseDn(text).value(); }

    /** @param present RDNs that the server shows below the entry */
    bool hasChildren(const std::string& text, const std::vector<std::string>& present = {})
    {
        std::vector<std::string> keys;
        keys.reserve(present.size());
        for (const std::string& rdn : present)
        {
            keys.push_back(dn(rdn).front().key);
        }
        return tree.HasChildren(dn(text), keys);
    }

    std::string presentName(const std::string& text) { return tree.PresentName(dn(text)).value_or("(none)"); }

    ExpectedTree tree;
};

TEST_F(CliExpectedTree, IsTheServersTreeAsLongAsNothingChanges)
{
    EXPECT_FALSE(hasChildren("ou=a,dc=x"));
    EXPECT_TRUE(hasChildren("ou=a,dc=x", {"cn=b"}));
    EXPECT_EQ(presentName("OU=B, dc=x"), "OU=B,dc=x");
    EXPECT_EQ(presentName(""), "");
}

TEST_F(CliExpectedTree, DeletedChildIsNone)
{
    tree.Delete(dn("CN=b, ou=a,dc=x"));
    EXPECT_FALSE(hasChildren("ou=a,dc=x", {"cn=b"}));
    EXPECT_TRUE(hasChildren("ou=a,dc=x", {"cn=b", "cn=c"}));
}

TEST_F(CliExpectedTree, AddedChildIsOneUntilItIsDeleted)
{
    tree.Add(dn("cn=b,ou=a,dc=x"));
    EXPECT_TRUE(hasChildren("ou=a,dc=x"));
    tree.Delete(dn("cn=b,ou=a,dc=x"));
    EXPECT_FALSE(hasChildren("ou=a,dc=x"));
    tree.Add(dn("cn=b,ou=a,dc=x"));
    EXPECT_TRUE(hasChildren("ou=a,dc=x"));
}

TEST_F(CliExpectedTree, GrandchildIsNoChild)
{
    tree.Delete(dn("cn=c,cn=b,ou=a"));
    tree.Add(dn("cn=d,cn=b,ou=a"));
    EXPECT_FALSE(hasChildren("ou=a"));
    EXPECT_TRUE(hasChildren("ou=a", {"cn=b"}));
}

TEST_F(CliExpectedTree, RenamedChildCountsOnceUnderItsNewName)
{
    tree.Rename(dn("cn=b,ou=a"), dn("cn=c").front());
    EXPECT_TRUE(hasChildren("ou=a", {"cn=b"}));
    tree.Delete(dn("cn=c,ou=a"));
    EXPECT_FALSE(hasChildren("ou=a", {"cn=b"}));
}

TEST_F(CliExpectedTree, RenamedEntryKeepsItsChildren)
{
    tree.Delete(dn("cn=b,ou=a,dc=x"));
    tree.Rename(dn("ou=a,dc=x"), dn("ou=z").front());
    EXPECT_EQ(presentName("ou=z,dc=x"), "ou=a,dc=x");
    EXPECT_EQ(presentName("cn=c,ou=z,dc=x"), "cn=c,ou=a,dc=x");
    EXPECT_FALSE(hasChildren("ou=z,dc=x", {"cn=b"}));
    EXPECT_TRUE(hasChildren("ou=z,dc=x", {"cn=c"}));
    EXPECT_EQ(presentName("ou=a,dc=x"), "(none)");
}

TEST_F(CliExpectedTree, NewEntryIsUnknownToTheServer)
{
    tree.Add(dn("ou=a,dc=x"));
    EXPECT_EQ(presentName("ou=a,dc=x"), "(none)");
    EXPECT_EQ(presentName("cn=b,ou=a,dc=x"), "(none)");
}

TEST_F(CliExpectedTree, EntryAddedInPlaceOfADeletedOneIsEmpty)
{
    tree.Delete(dn("ou=a,dc=x"));
    tree.Add(dn("ou=a,dc=x"));
    EXPECT_EQ(presentName("ou=a,dc=x"), "(none)");
    EXPECT_FALSE(hasChildren("ou=a,dc=x"));
}

TEST_F(CliExpectedTree, RenameToItsOwnNameChangesNothing)
{
    tree.Rename(dn("cn=b,ou=a"), dn("CN=B").front());
    EXPECT_FALSE(hasChildren("ou=a"));
    EXPECT_EQ(presentName("cn=b,ou=a"), "cn=b,ou=a");
}

TEST_F(CliExpectedTree, HoldsAVeryDeepName)
{
    std::string deep = "dc=x";
    for (int level = 0; level < 100000; ++level)
    {
        deep.insert(0, "a=b,");
    }
    tree.Add(dn(deep));
    EXPECT_TRUE(tree.HasChildren(dn(deep.substr(4)), {}));
}

} // namespace
