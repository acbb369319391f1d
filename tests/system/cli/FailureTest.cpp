#include "Failure.h"

#include "KVRLdapConnection.h"
#include "LdapResponder.h"

#include <IKVRLdapQuery.h>
#include <kvr/CKVRCore.h>

#include <gtest/gtest.h>

#include <list>
#include <new>
#include <stdexcept>

namespace
{

using namespace KVR;
using namespace KVR::Cli;
using Support::Answer;
using Support::LdapResponder;

class CliFailure : public testing::Test
{
protected:
    /** What an action's exception is told as. */
    template <typename Action>
    Failure describe(const Action& action, bool withPlace = false)
    {
        try
        {
            action();
        }
        catch (...)
        {
            return DescribeException("trying", &connection, withPlace);
        }
        return {ExitCode::Done, "nothing", "nothing was thrown"};
    }

    std::shared_ptr<IKVRLdapQuery> search()
    {
        std::list<std::string> all;
        return connection.Search("dc=example", "(objectClass=*)", all, alSCOPE_BASE);
    }

    void connect() { connection.Connect(server.target(), KVRAuthAnonymous); }

    LdapResponder server;
    CKVRCore host;
    CKVRLdapConnection connection{host};
};

TEST_F(CliFailure, IsKeptAsItIs)
{
    const Failure failure = describe([] { throw Failure(ExitCode::NotFound, "a", "b", "c"); });
    EXPECT_EQ(failure.exitCode, ExitCode::NotFound);
    EXPECT_EQ(failure.subject, "a");
    EXPECT_STREQ(failure.what(), "b");
    EXPECT_EQ(failure.advice, "c");
}

TEST_F(CliFailure, OfAnOperationTakesTheSessionsCode)
{
    connect();
    server.onSearch(Answer().result(51, "later"));
    const Failure failure = describe([this] { search(); });
    EXPECT_EQ(failure.exitCode, ExitCode::Refused);
    EXPECT_EQ(failure.resultCode, 51);
    EXPECT_STREQ(failure.what(),
                 "OpenLDAP error on searching 'dc=example (objectClass=*)' - Server is busy: later");
}

TEST_F(CliFailure, OfALostSessionTakesTheCodeThatLostIt)
{
    connect();
    const auto query = search();
    server.onSearch(Answer().result(50));
    EXPECT_ANY_THROW(search());
    const Failure failure = describe([&query] { query->First(); });
    EXPECT_EQ(failure.exitCode, ExitCode::NoAccess);
    EXPECT_EQ(failure.resultCode, 50);
}

TEST_F(CliFailure, OfACheckIsUsageWhateverHappenedBefore)
{
    connect();
    server.onSearch(Answer().result(51));
    EXPECT_ANY_THROW(search());
    const Failure failure = describe([this] { connection.Connect("", KVRAuthAnonymous); });
    EXPECT_EQ(failure.exitCode, ExitCode::Usage);
    EXPECT_EQ(failure.resultCode, std::nullopt);
    EXPECT_STREQ(failure.what(), "Argument is empty for 'Connect'.");
}

TEST_F(CliFailure, OfTheModuleItselfIsAnUnusablePlugin)
{
    EXPECT_EQ(describe([] { throw EKVRInternalError("a", "", "f", "g", 1); }).exitCode, ExitCode::Unusable);
    EXPECT_EQ(describe([] { throw EKVROutOfMemory("a", "", "f", "g", 1); }).exitCode, ExitCode::Unusable);
    const Failure plain = describe([] { throw EKVRError("a", "b"); });
    EXPECT_EQ(plain.exitCode, ExitCode::Unusable);
    EXPECT_STREQ(plain.what(), "a: b");
}

TEST_F(CliFailure, OfTheModuleAfterARefusedRequestIsMissingAccess)
{
    for (const int code : {47, 48, 49, 50})
    {
        connect();
        server.onSearch(Answer().result(code));
        EXPECT_ANY_THROW(search());
        const Failure failure = describe([] { throw EKVRError("denied", ""); });
        EXPECT_EQ(failure.exitCode, ExitCode::NoAccess) << code;
        EXPECT_EQ(failure.resultCode, code);
        EXPECT_STREQ(failure.what(), "denied");
        connection.Disconnect();
    }
}

TEST_F(CliFailure, OfTheModuleAfterASearchThatFoundNoBaseIsMissingAccess)
{
    connect();
    server.onSearch(Answer().result(32));
    EXPECT_EQ(search(), nullptr);
    const Failure failure = describe([] { throw EKVRError("denied", ""); });
    EXPECT_EQ(failure.exitCode, ExitCode::NoAccess);
    EXPECT_EQ(failure.resultCode, 32);
}

TEST_F(CliFailure, OfTheModuleAfterAnyOtherAnswerIsAnUnusablePlugin)
{
    connect();
    search();
    EXPECT_EQ(describe([] { throw EKVRError("a", "b"); }).exitCode, ExitCode::Unusable);
    server.onSearch(Answer().result(51));
    EXPECT_ANY_THROW(search());
    EXPECT_EQ(describe([] { throw EKVRError("a", "b"); }).exitCode, ExitCode::Unusable);
}

TEST_F(CliFailure, OfTheModulesInsideStaysOneAfterARefusedRequest)
{
    connect();
    server.onSearch(Answer().result(50));
    EXPECT_ANY_THROW(search());
    EXPECT_EQ(describe([] { throw EKVRInternalError("a", "", "f", "g", 1); }).exitCode, ExitCode::Unusable);
    EXPECT_EQ(describe([] { throw EKVROutOfMemory("a", "", "f", "g", 1); }).exitCode, ExitCode::Unusable);
}

TEST_F(CliFailure, OfTheStandardLibraryIsCaughtToo)
{
    const Failure range = describe([] { throw std::out_of_range("basic_string::substr"); });
    EXPECT_EQ(range.exitCode, ExitCode::Unusable);
    EXPECT_STREQ(range.what(), "basic_string::substr");
    EXPECT_STREQ(describe([] { throw std::bad_alloc(); }).what(), "out of memory");
}

TEST_F(CliFailure, LeavesOnlyAPlaceAtTheEndOut)
{
    const EKVRError error("on x in File.cpp:12(Do)", "", "src/File.cpp", "Do", 12);
    EXPECT_EQ(TextOf(error, true, false), "on x");
    EXPECT_EQ(TextOf(error, true, true), "on x in File.cpp:12(Do)");
    const EKVRError other("Failed in File.cpp:12(Do) again", "", "src/File.cpp", "Do", 12);
    EXPECT_EQ(TextOf(other, true, false), "Failed in File.cpp:12(Do) again");
    const EKVRError placeless("on x", "");
    EXPECT_EQ(TextOf(placeless, true, false), "on x");
}

} // namespace
