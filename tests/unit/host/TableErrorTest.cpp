#include "VirtualTable.h"

#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <memory>
#include <new>

namespace KVR::Test
{

namespace
{

using Support::callSlot;

/** Two destructors, then what, makewhat, msg, details and errcode. */
using HandMadeError = Support::HandMadeObject<EKVRError, 7>;

const EKVRError* seen = nullptr;
const std::string answer = "answer";

const char* answerWhat(const EKVRError* object)
{
    seen = object;
    return "what";
}

const std::string& answerText(const EKVRError* object)
{
    seen = object;
    return answer;
}

void noteObject(EKVRError* object)
{
    seen = object;
}

/** Shows which of its destructors was called. */
class Watched : public EKVRError
{
public:
    Watched() : EKVRError("message", "details") {}
    Watched(const Watched&) = default;
    Watched& operator=(const Watched&) = default;
    ~Watched() override { ++destroyed; }

    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* memory)
    {
        ++freed;
        ::operator delete(memory);
    }

    void Rewrite(const std::string& message, const std::string& detailText)
    {
        msg_ = message;
        details_ = detailText;
    }

    static int destroyed;
    static int freed;
};

int Watched::destroyed = 0;
int Watched::freed = 0;

class TableError : public testing::Test
{
protected:
    TableError()
    {
        seen = nullptr;
        Watched::destroyed = 0;
        Watched::freed = 0;
    }

    HandMadeError handMade_;
};

} // namespace

TEST_F(TableError, DestroyingCallsSlot0)
{
    handMade_.Set(0, noteObject);
    EKVRError& object = handMade_.Get();
    object.~EKVRError();
    EXPECT_EQ(seen, &object);
}

TEST_F(TableError, DeletingCallsSlot1)
{
    handMade_.Set(1, noteObject);
    std::default_delete<EKVRError>()(&handMade_.Get());
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, WhatCallsSlot2)
{
    handMade_.Set(2, answerWhat);
    EXPECT_STREQ(handMade_.Get().what(), "what");
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, MakewhatCallsSlot3)
{
    handMade_.Set(3, noteObject);
    handMade_.Get().makewhat();
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, MsgCallsSlot4)
{
    handMade_.Set(4, answerText);
    EXPECT_EQ(&handMade_.Get().msg(), &answer);
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, DetailsCallsSlot5)
{
    handMade_.Set(5, answerText);
    EXPECT_EQ(&handMade_.Get().details(), &answer);
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, ErrcodeCallsSlot6)
{
    handMade_.Set(
        6,
        +[](const EKVRError* object)
        {
            seen = object;
            return 42;
        });
    EXPECT_EQ(handMade_.Get().errcode(), 42);
    EXPECT_EQ(seen, &handMade_.Get());
}

TEST_F(TableError, Slot0DestroysWithoutFreeing)
{
    alignas(Watched) unsigned char storage[sizeof(Watched)];
    EKVRError& object = *::new (static_cast<void*>(storage)) Watched;
    callSlot<void>(object, 0);
    EXPECT_EQ(Watched::destroyed, 1);
    EXPECT_EQ(Watched::freed, 0);
}

TEST_F(TableError, Slot1DestroysAndFrees)
{
    auto owned = std::make_unique<Watched>();
    EKVRError& object = *owned.release();
    callSlot<void>(object, 1);
    EXPECT_EQ(Watched::destroyed, 1);
    EXPECT_EQ(Watched::freed, 1);
}

TEST_F(TableError, Slots2And4To6AnswerTheTexts)
{
    const EKVRError error("message", "details");
    EXPECT_STREQ(callSlot<const char*>(error, 2), "message: details");
    EXPECT_EQ(callSlot<const std::string&>(error, 4), "message");
    EXPECT_EQ(callSlot<const std::string&>(error, 5), "details");
    EXPECT_EQ(callSlot<int>(error, 6), 1);
}

TEST_F(TableError, Slot3RecomposesTheTextOfSlot2)
{
    Watched error;
    error.Rewrite("other", "");
    EXPECT_STREQ(callSlot<const char*>(error, 2), "message: details");
    callSlot<void>(error, 3);
    EXPECT_STREQ(callSlot<const char*>(error, 2), "other");
}

TEST_F(TableError, TheMessageAndTheDetailsAreTheFirstMembers)
{
    const EKVRError error("message", "details");
    const char* const start = reinterpret_cast<const char*>(&error);
    EXPECT_EQ(reinterpret_cast<const char*>(&error.msg()), start + sizeof(void*));
    EXPECT_EQ(reinterpret_cast<const char*>(&error.details()), start + sizeof(void*) + sizeof(std::string));
}

TEST_F(TableError, TheSubclassesAnswerTheirKindInSlot6)
{
    EXPECT_EQ(callSlot<int>(static_cast<const EKVRError&>(EKVRCheckError("m", "")), 6), 2);
    EXPECT_EQ(callSlot<int>(static_cast<const EKVRError&>(EKVRInternalError("m", "", "f", "g", 1)), 6), 3);
    EXPECT_EQ(callSlot<int>(static_cast<const EKVRError&>(EKVROutOfMemory("m", "", "f", "g", 1)), 6), 4);
}

} // namespace KVR::Test
