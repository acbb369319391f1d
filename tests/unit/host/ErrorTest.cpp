#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace KVR::Test
{

namespace
{

class Rewriting : public EKVRError
{
public:
    Rewriting() : EKVRError("first", "details") { msg_ = "second"; }
};

} // namespace

TEST(Error, WhatIsTheMessageWhenThereAreNoDetails)
{
    EXPECT_STREQ(EKVRError("message", "").what(), "message");
}

TEST(Error, WhatIsTheMessageAColonAndTheDetails)
{
    EXPECT_STREQ(EKVRError("message", "details").what(), "message: details");
}

TEST(Error, APercentSignIsKeptAsItStands)
{
    const EKVRError error("100%s", "%n%d");
    EXPECT_STREQ(error.what(), "100%s: %n%d");
    EXPECT_EQ(error.msg(), "100%s");
    EXPECT_EQ(error.details(), "%n%d");
}

TEST(Error, EmptyTextsGiveAnEmptyWhat)
{
    EXPECT_STREQ(EKVRError("", "").what(), "");
}

TEST(Error, MessageAndDetailsAreKeptApart)
{
    const EKVRError error("message", "details");
    EXPECT_EQ(error.msg(), "message");
    EXPECT_EQ(error.details(), "details");
}

TEST(Error, AnErrorWithoutAPlaceHasNone)
{
    EXPECT_EQ(EKVRError("message", "details").where(), "");
    EXPECT_EQ(EKVRCheckError("message", "details").where(), "");
}

TEST(Error, ThePlaceIsFileLineAndFunction)
{
    EXPECT_EQ(EKVRError("m", "d", "file.cpp", "Connect", 12).where(), "file.cpp:12(Connect)");
    EXPECT_EQ(EKVRInternalError("m", "d", "file.cpp", "Connect", 4294967296UL).where(),
              "file.cpp:4294967296(Connect)");
    EXPECT_EQ(EKVROutOfMemory("m", "d", "file.cpp", "Connect", 1).where(), "file.cpp:1(Connect)");
}

TEST(Error, OfAPlaceThatIsKnownInPartTheRestIsEmpty)
{
    EXPECT_EQ(EKVRError("m", "d", "file.cpp", "", 12).where(), "file.cpp:12()");
    EXPECT_EQ(EKVRError("m", "d", "", "Connect", 12).where(), ":12(Connect)");
    EXPECT_EQ(EKVRError("m", "d", "", "", 12).where(), "") << "a line alone is no place";
}

TEST(Error, ThePlaceIsNoPartOfWhat)
{
    EXPECT_STREQ(EKVRError("m", "d", "file.cpp", "Connect", 12).what(), "m: d");
}

TEST(Error, TheClassesHaveTheirCodes)
{
    EXPECT_EQ(EKVRError("m", "").errcode(), 1);
    EXPECT_EQ(EKVRCheckError("m", "").errcode(), 2);
    EXPECT_EQ(EKVRInternalError("m", "", "f", "g", 1).errcode(), 3);
    EXPECT_EQ(EKVROutOfMemory("m", "", "f", "g", 1).errcode(), 4);
}

TEST(Error, EveryClassIsCaughtAsTheBaseAndAsAStandardException)
{
    EXPECT_THROW(throw EKVRCheckError("m", ""), EKVRError);
    EXPECT_THROW(throw EKVRInternalError("m", "", "f", "g", 1), EKVRError);
    EXPECT_THROW(throw EKVROutOfMemory("m", "", "f", "g", 1), EKVRError);
    static_assert(std::is_base_of_v<std::exception, EKVRError>);
}

TEST(Error, ASubclassThatRewritesTheMessageRecomposesWhat)
{
    Rewriting error;
    EXPECT_STREQ(error.what(), "first: details");
    error.makewhat();
    EXPECT_STREQ(error.what(), "second: details");
}

TEST(Error, ACopyOutlivesTheOriginal)
{
    auto original = std::make_unique<EKVRError>("message", "details", "file.cpp", "Connect", 12UL);
    const EKVRError copy(*original);
    original.reset();
    EXPECT_STREQ(copy.what(), "message: details");
    EXPECT_EQ(copy.where(), "file.cpp:12(Connect)");
}

} // namespace KVR::Test
