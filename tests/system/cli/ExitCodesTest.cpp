#include "ExitCodes.h"

#include <gtest/gtest.h>

namespace
{

using KVR::Cli::ExitCode;
using KVR::Cli::ExitCodeOf;

TEST(ExitCodes, SuccessIsDone)
{
    EXPECT_EQ(ExitCodeOf(0), ExitCode::Done);
}

TEST(ExitCodes, AMissingEntryIsNotFound)
{
    EXPECT_EQ(ExitCodeOf(32), ExitCode::NotFound);
    EXPECT_EQ(ExitCodeOf(31), ExitCode::Refused);
    EXPECT_EQ(ExitCodeOf(33), ExitCode::Refused);
}

TEST(ExitCodes, Codes47To50AreInsufficientAccess)
{
    for (const long code : {47, 48, 49, 50})
    {
        EXPECT_EQ(ExitCodeOf(code), ExitCode::NoAccess) << code;
    }
    EXPECT_EQ(ExitCodeOf(46), ExitCode::Refused);
    EXPECT_EQ(ExitCodeOf(51), ExitCode::Refused);
}

TEST(ExitCodes, OtherCodesOfTheServerAreRefusals)
{
    for (const long code : {1, 3, 4, 8, 20, 34, 53, 80, 123})
    {
        EXPECT_EQ(ExitCodeOf(code), ExitCode::Refused) << code;
    }
}

TEST(ExitCodes, ABadFilterOrParameterIsUsage)
{
    EXPECT_EQ(ExitCodeOf(-7), ExitCode::Usage);
    EXPECT_EQ(ExitCodeOf(-9), ExitCode::Usage);
}

TEST(ExitCodes, OtherFailuresOfTheLibraryAreNoConnection)
{
    for (const long code : {-1, -2, -4, -5, -6, -11})
    {
        EXPECT_EQ(ExitCodeOf(code), ExitCode::NoConnection) << code;
    }
}

TEST(ExitCodes, HaveTheNumbersThatTheHelpTells)
{
    EXPECT_EQ(static_cast<int>(ExitCode::Done), 0);
    EXPECT_EQ(static_cast<int>(ExitCode::Refused), 1);
    EXPECT_EQ(static_cast<int>(ExitCode::Usage), 2);
    EXPECT_EQ(static_cast<int>(ExitCode::NotFound), 3);
    EXPECT_EQ(static_cast<int>(ExitCode::NoAccess), 4);
    EXPECT_EQ(static_cast<int>(ExitCode::NoConnection), 5);
    EXPECT_EQ(static_cast<int>(ExitCode::Unusable), 6);
}

} // namespace
