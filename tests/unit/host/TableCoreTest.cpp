#include "VirtualTable.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <type_traits>

namespace KVR::Test
{

namespace
{

using Support::callSlot;

/** Slots 0 to 78. */
using HandMadeCore = Support::HandMadeObject<IKVRCore, 79>;

struct Seen
{
    const IKVRCore* object = nullptr;
    std::string first;
    std::string second;
    std::shared_ptr<CKVRInterface> shared;
    const std::list<std::string>* groups = nullptr;
    int number = -1;
};

Seen seen;
const std::string domainAnswer = "answer.example";

class TableCore : public testing::Test
{
protected:
    TableCore() { seen = Seen(); }
    ~TableCore() override { seen = Seen(); }

    void ExpectOnly(const IKVRCore& object) const { EXPECT_EQ(seen.object, &object); }

    HandMadeCore handMade_;
    CKVRCore real_{KVRHostIdentity{"example.com", "server.example.com", "station"}};
};

const std::string& answerName(IKVRCore* object)
{
    seen.object = object;
    return domainAnswer;
}

std::string answerText(IKVRCore* object)
{
    seen.object = object;
    return "a text that is too long to be stored inside the string object";
}

std::string answerParameter(IKVRCore* object, const std::string& name)
{
    seen.object = object;
    seen.first = name;
    return "value of " + name;
}

bool answerHas(IKVRCore* object, const std::string& name)
{
    seen.object = object;
    seen.first = name;
    return true;
}

void takeInterface(IKVRCore* object, std::shared_ptr<CKVRInterface> shared)
{
    seen.object = object;
    seen.shared = std::move(shared);
}

void takeName(IKVRCore* object, const std::string& name)
{
    seen.object = object;
    seen.first = name;
}

void takeTwo(IKVRCore* object, const std::string& first, const std::string& second)
{
    seen.object = object;
    seen.first = first;
    seen.second = second;
}

bool answerMatch(IKVRCore* object, const std::string& pattern, const std::string& text,
                 std::list<std::string>* groups, int flags)
{
    seen = {object, pattern, text, nullptr, groups, flags};
    return true;
}

} // namespace

TEST_F(TableCore, GetDomainNameCallsSlot1)
{
    handMade_.Set(1, answerName);
    EXPECT_EQ(&handMade_.Get().GetDomainName(), &domainAnswer);
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, GetServerHostCallsSlot2)
{
    handMade_.Set(2, answerName);
    EXPECT_EQ(&handMade_.Get().GetServerHost(), &domainAnswer);
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, GetHostNameCallsSlot3)
{
    handMade_.Set(3, answerName);
    EXPECT_EQ(&handMade_.Get().GetHostName(), &domainAnswer);
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, RegisterInterfaceCallsSlot37WithASharedPointerByValue)
{
    handMade_.Set(37, takeInterface);
    const auto object = std::make_shared<CKVRInterface>("one");
    handMade_.Get().RegisterInterface(object);
    EXPECT_EQ(seen.shared, object);
    EXPECT_EQ(object.use_count(), 2);
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, UnregisterInterfaceCallsSlot39)
{
    handMade_.Set(39, takeName);
    handMade_.Get().UnregisterInterface("ldap");
    EXPECT_EQ(seen.first, "ldap");
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, GetBindDefaultsCallsSlot50AndReturnsByValue)
{
    handMade_.Set(50, answerText);
    EXPECT_EQ(handMade_.Get().GetBindDefaults(),
              "a text that is too long to be stored inside the string object");
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, GetParameterCallsSlot69AndReturnsByValue)
{
    handMade_.Set(69, answerParameter);
    EXPECT_EQ(handMade_.Get().GetParameter("REALM"), "value of REALM");
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, HasParameterCallsSlot70)
{
    handMade_.Set(70, answerHas);
    EXPECT_TRUE(handMade_.Get().HasParameter("REALM"));
    EXPECT_EQ(seen.first, "REALM");
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, DefineParameterCallsSlot71)
{
    handMade_.Set(71, takeTwo);
    handMade_.Get().DefineParameter("NAME", "default");
    EXPECT_EQ(seen.first, "NAME");
    EXPECT_EQ(seen.second, "default");
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, MatchRegexCallsSlot78WithBothTrailingArguments)
{
    handMade_.Set(78, answerMatch);
    std::list<std::string> groups;
    EXPECT_TRUE(handMade_.Get().MatchRegex("^URI", "URI ldap://a", &groups, 7));
    EXPECT_EQ(seen.first, "^URI");
    EXPECT_EQ(seen.second, "URI ldap://a");
    EXPECT_EQ(seen.groups, &groups);
    EXPECT_EQ(seen.number, 7);
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, TheFirstReservedOperationCallsSlot0)
{
    handMade_.Set(
        0, +[](IKVRCore* object) { seen.object = object; });
    handMade_.Get().Reserved00();
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, TheLastReservedOperationCallsSlot77)
{
    handMade_.Set(
        77, +[](IKVRCore* object) { seen.object = object; });
    handMade_.Get().Reserved77();
    ExpectOnly(handMade_.Get());
}

TEST_F(TableCore, TheCoreAnswersNamesInSlots1To3)
{
    IKVRCore& core = real_;
    EXPECT_EQ(callSlot<const std::string&>(core, 1), "example.com");
    EXPECT_EQ(callSlot<const std::string&>(core, 2), "server.example.com");
    EXPECT_EQ(callSlot<const std::string&>(core, 3), "station");
}

TEST_F(TableCore, TheCoreRegistersInSlot37AndUnregistersInSlot39)
{
    IKVRCore& core = real_;
    auto object = std::make_shared<CKVRInterface>("one");
    callSlot<void, std::shared_ptr<CKVRInterface>>(core, 37, object);
    EXPECT_EQ(real_.FindInterface("one"), object);
    callSlot<void, const std::string&>(core, 39, "one");
    EXPECT_EQ(real_.FindInterface("one"), nullptr);
    EXPECT_EQ(object.use_count(), 1);
}

TEST_F(TableCore, TheCoreAnswersBindDefaultsInSlot50)
{
    IKVRCore& core = real_;
    real_.SetParameter("KVR_BIND_DEFAULTS", "a text that is too long to be stored inside the string object");
    EXPECT_EQ(callSlot<std::string>(core, 50),
              "a text that is too long to be stored inside the string object");
}

TEST_F(TableCore, TheCoreKeepsParametersInSlots69To71)
{
    IKVRCore& core = real_;
    EXPECT_FALSE((callSlot<bool, const std::string&>(core, 70, "NAME")));
    callSlot<void, const std::string&, const std::string&>(core, 71, "NAME", "default");
    EXPECT_TRUE((callSlot<bool, const std::string&>(core, 70, "NAME")));
    EXPECT_EQ((callSlot<std::string, const std::string&>(core, 69, "NAME")), "default");
}

TEST_F(TableCore, TheCoreMatchesInSlot78)
{
    IKVRCore& core = real_;
    std::list<std::string>* const noGroups = nullptr;
    EXPECT_TRUE((callSlot<bool, const std::string&, const std::string&, std::list<std::string>*, int>(
        core, 78, "^URI", "URI ldap://a", noGroups, 0)));
    EXPECT_FALSE((callSlot<bool, const std::string&, const std::string&, std::list<std::string>*, int>(
        core, 78, "^URI", "BASE dc=a", noGroups, 0)));
}

TEST_F(TableCore, EverySlotWithoutANamedOperationThrowsAnInternalError)
{
    IKVRCore& core = real_;
    const std::set<std::size_t> named = {1, 2, 3, 37, 39, 50, 69, 70, 71, 78};
    for (std::size_t slot = 0; slot < 79; ++slot)
    {
        if (named.count(slot) == 0)
        {
            EXPECT_THROW(callSlot<void>(core, slot), EKVRInternalError) << "slot " << slot;
        }
    }
}

TEST(TableInterface, TheDestructorIsTheOnlyOperationOfTheBaseClass)
{
    struct Derived : CKVRInterface
    {
        Derived() : CKVRInterface("derived") {}
        virtual int First() { return 17; }
    };
    Derived object;
    // slots 0 and 1 are the two destructors
    EXPECT_EQ(callSlot<int>(object, 2), 17);
}

TEST(TableInterface, TheNameIsTheOnlyMemberAndFollowsTheTable)
{
    static_assert(sizeof(CKVRInterface) == sizeof(void*) + sizeof(std::string));
    static_assert(std::has_virtual_destructor_v<CKVRInterface>);
    const CKVRInterface object("ldap");
    const char* const start = reinterpret_cast<const char*>(&object);
    EXPECT_EQ(reinterpret_cast<const char*>(&object.Name()), start + sizeof(void*));
    EXPECT_EQ(object.Name(), "ldap");
}

} // namespace KVR::Test
