// Limits of the main database on a real server, which begins without any.

#include "ConfigTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using LimitTest = ConfigTest;

TEST_F(LimitTest, ADatabaseWithoutLimitsHasAnEmptyMap)
{
    EXPECT_THAT(limits(), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(LimitTest, AddedLimitsAreListedByTheirRequesterWithTheirPrefixes)
{
    connection.AddDBLimit("users", "size=500");
    connection.AddDBLimit("anonymous", "size=10 time=5");
    EXPECT_THAT(limits(), ElementsAre(Pair("anonymous", "{1}anonymous size=10 time=5"),
                                      Pair("users", "{0}users size=500")));
}

TEST_F(LimitTest, WhiteSpaceAroundALimitIsNotStored)
{
    connection.AddDBLimit("users", "  size=500 \t");
    EXPECT_THAT(limits(), ElementsAre(Pair("users", "{0}users size=500")));
}

TEST_F(LimitTest, AnotherLimitOfTheSameRequesterHasNoEffect)
{
    connection.AddDBLimit("users", "size=500");
    EXPECT_EQ(caught([&] { connection.AddDBLimit("users", "time=9"); }), Caught());
    EXPECT_THAT(limits(), ElementsAre(Pair("users", "{0}users size=500")));
}

TEST_F(LimitTest, ADeletedLimitLetsTheLaterOnesMoveUp)
{
    connection.AddDBLimit("users", "size=500");
    connection.AddDBLimit("anonymous", "size=10");
    connection.AddDBLimit("dn.exact=\"cn=a,dc=example,dc=com\"", "size=1");
    connection.DeleteDBLimit("anonymous");
    EXPECT_THAT(limits(), ElementsAre(Pair("dn.exact=\"cn=a,dc=example,dc=com\"",
                                           "{1}dn.exact=\"cn=a,dc=example,dc=com\" size=1"),
                                      Pair("users", "{0}users size=500")));
    connection.DeleteDBLimit("users");
    connection.DeleteDBLimit("dn.exact=\"cn=a,dc=example,dc=com\"");
    EXPECT_THAT(limits(), IsEmpty());
}

TEST_F(LimitTest, ARequesterWithoutLimitsIsDeletedWithoutAnyEffect)
{
    connection.AddDBLimit("users", "size=500");
    EXPECT_EQ(caught([&] { connection.DeleteDBLimit("anonymous"); }), Caught());
    EXPECT_THAT(limits(), ElementsAre(Pair("users", "{0}users size=500")));
}

TEST_F(LimitTest, AnEmptyRequesterReachesTheServerWhichRefusesIt)
{
    EXPECT_EQ(caught([&] { connection.AddDBLimit("", "size=10"); }),
              refusal("olcLimits", mainDatabaseDn, " size=10", "Other (e.g., implementation specific) error",
                      "<olcLimits> handler exited with 1"));
    EXPECT_THAT(limits(), IsEmpty());
}

TEST_F(LimitTest, ALimitCutsTheNextSearchUntilItIsDeleted)
{
    connection.AddDBLimit("anonymous", "size=1");
    search(lab, "(objectClass=*)", alSCOPE_ONE);
    EXPECT_EQ(connection.GetLastError(), 4);
    connection.DeleteDBLimit("anonymous");
    search(lab, "(objectClass=*)", alSCOPE_ONE);
    EXPECT_EQ(connection.GetLastError(), 0);
}

} // namespace
} // namespace KVR::ServerTests
