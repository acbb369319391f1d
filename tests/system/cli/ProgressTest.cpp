#include "Progress.h"

#include <gtest/gtest.h>

namespace
{

using KVR::Cli::Progress;
using std::chrono::milliseconds;

class CliProgress : public testing::Test
{
protected:
    Progress::Clock clock()
    {
        return [this] { return now; };
    }

    Progress::Write write()
    {
        return [this](const std::string& text) { shown += text; };
    }

    std::chrono::steady_clock::time_point now{};
    std::string shown;
};

TEST_F(CliProgress, IsNotShownInTheFirstSecond)
{
    {
        Progress progress(clock(), write());
        progress.Tell("applied", 1, 9);
        now += milliseconds(999);
        progress.Tell("applied", 2, 9);
        progress.Clear();
    }
    EXPECT_EQ(shown, "");
}

TEST_F(CliProgress, IsShownAfterASecondAndGoneInTheEnd)
{
    {
        Progress progress(clock(), write());
        now += milliseconds(1000);
        progress.Tell("applied", 2, 9);
        EXPECT_EQ(shown, "\rapplied 2 of 9 records");
        shown.clear();
    }
    EXPECT_EQ(shown, "\r" + std::string(22, ' ') + "\r");
}

TEST_F(CliProgress, ChangesAFewTimesASecond)
{
    Progress progress(clock(), write());
    now += milliseconds(1000);
    for (std::size_t done = 0; done < 1000; ++done, now += milliseconds(1))
    {
        progress.Tell("applied", done, 1000);
    }
    EXPECT_EQ(shown, "\rapplied 0 of 1000 records\rapplied 250 of 1000 records"
                     "\rapplied 500 of 1000 records\rapplied 750 of 1000 records");
}

TEST_F(CliProgress, ShorterLineHidesTheLongerOne)
{
    Progress progress(clock(), write());
    now += milliseconds(1000);
    progress.Tell("checked", 100, 100);
    now += milliseconds(1000);
    shown.clear();
    progress.Tell("read", 5, 0);
    EXPECT_EQ(shown, "\rread 5 records" + std::string(12, ' '));
}

TEST_F(CliProgress, MakesRoomForAMessageOnce)
{
    Progress progress(clock(), write());
    now += milliseconds(1000);
    progress.Tell("read", 5, 0);
    shown.clear();
    progress.Clear();
    progress.Clear();
    EXPECT_EQ(shown, "\r" + std::string(14, ' ') + "\r");
}

TEST_F(CliProgress, IsNotShownWhereThereIsNoTerminal)
{
    Progress progress(clock(), nullptr);
    now += milliseconds(5000);
    progress.Tell("applied", 2, 9);
    progress.Clear();
    EXPECT_EQ(shown, "");
}

} // namespace
