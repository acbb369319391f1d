#include "TemporaryFolder.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <sstream>
#include <thread>
#include <vector>

namespace KVR::Test
{

namespace
{

constexpr int threadCount = 4;
constexpr int rounds = 500;

/** Runs the function in several threads that start together; it gets the thread's number. */
void inThreads(const std::function<void(int)>& function)
{
    std::atomic<int> waiting{threadCount};
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int number = 0; number < threadCount; ++number)
    {
        threads.emplace_back(
            [&, number]
            {
                --waiting;
                while (waiting > 0)
                {
                    std::this_thread::yield();
                }
                function(number);
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

/** Checks that the log holds every thread's lines whole and in order. */
void expectWholeLines(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<int> next(threadCount, 0);
    std::string line;
    int lines = 0;
    while (std::getline(stream, line))
    {
        const auto thread = static_cast<std::size_t>(line.at(0) - '0');
        ASSERT_LT(thread, next.size()) << line;
        const std::string tail(static_cast<std::size_t>(100 * (thread + 1)), static_cast<char>('a' + thread));
        ASSERT_EQ(line, std::to_string(thread) + ' ' + std::to_string(next[thread]++) + ' ' + tail);
        ++lines;
    }
    EXPECT_EQ(lines, threadCount * rounds);
}

void putLines(int thread)
{
    const std::string tail(static_cast<std::size_t>(100 * (thread + 1)), static_cast<char>('a' + thread));
    for (int round = 0; round < rounds; ++round)
    {
        const std::string line = std::to_string(thread) + ' ' + std::to_string(round) + ' ' + tail;
        CKVRLogProvider::GetLogProvider().Put(kvrLOG_FAILURE, 1, line.c_str());
    }
}

} // namespace

TEST(Threads, LinesOfTheLogFileDoNotMix)
{
    const TemporaryFolder folder;
    const std::string path = folder.Path("log");
    CKVRLogProvider::GetLogProvider().SetFile(path);
    inThreads(putLines);
    CKVRLogProvider::GetLogProvider().SetSink({});
    expectWholeLines(TemporaryFolder::Read(path));
}

TEST(Threads, LinesOnStandardErrorDoNotMix)
{
    testing::internal::CaptureStderr();
    inThreads(putLines);
    expectWholeLines(testing::internal::GetCapturedStderr());
}

TEST(Threads, ASinkIsCalledByOneThreadAtATime)
{
    int calls = 0; // no atomic: the log keeps the threads apart
    std::atomic<int> inside{0};
    bool together = false;
    CKVRLogProvider::GetLogProvider().SetSink(
        [&](KVRLogLevel, const std::string&)
        {
            together = ++inside > 1 || together;
            std::this_thread::yield();
            ++calls;
            --inside;
        });
    inThreads(putLines);
    CKVRLogProvider::GetLogProvider().SetSink({});
    EXPECT_FALSE(together);
    EXPECT_EQ(calls, threadCount * rounds);
}

TEST(Threads, TheLevelMayChangeWhileOthersLog)
{
    std::atomic<int> calls{0};
    CKVRLogProvider& provider = CKVRLogProvider::GetLogProvider();
    provider.SetSink([&](KVRLogLevel, const std::string&) { ++calls; });
    inThreads(
        [&](int thread)
        {
            for (int round = 0; round < rounds; ++round)
            {
                if (thread == 0)
                {
                    provider.level = round % 2 == 0 ? kvrLOG_FAILURE : kvrLOG_TRACE;
                }
                provider.Put(kvrLOG_FAILURE, 1, "always");
            }
        });
    provider.SetSink({});
    provider.level = kvrLOG_WARNING;
    EXPECT_EQ(calls, threadCount * rounds);
}

TEST(Threads, ParametersAreReadAndWrittenTogether)
{
    CKVRCore core(KVRHostIdentity{"a", "b", "c"});
    const TemporaryFolder folder;
    const std::string path = folder.File("parameters", "SHARED = file\nFILE = file\n");
    std::atomic<int> wrong{0};
    inThreads(
        [&](int thread)
        {
            const std::string own = "OWN" + std::to_string(thread);
            for (int round = 0; round < rounds; ++round)
            {
                core.SetParameter(own, std::to_string(round));
                core.DefineParameter("SHARED", "default");
                if (round % 50 == 0)
                {
                    core.LoadParameters(path);
                }
                const std::string shared = core.GetParameter("SHARED");
                wrong += core.GetParameter(own) == std::to_string(round) ? 0 : 1;
                wrong += shared == "default" || shared == "file" ? 0 : 1;
                wrong += core.HasParameter("SHARED") ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(core.GetParameter("SHARED"), "file");
}

TEST(Threads, InterfacesAreRegisteredAndFoundTogether)
{
    CKVRCore core(KVRHostIdentity{"a", "b", "c"});
    std::atomic<int> wrong{0};
    inThreads(
        [&](int thread)
        {
            const std::string own = "own" + std::to_string(thread);
            for (int round = 0; round < rounds; ++round)
            {
                core.RegisterInterface(std::make_shared<CKVRInterface>(own));
                core.RegisterInterface(std::make_shared<CKVRInterface>("shared"));
                const std::shared_ptr<CKVRInterface> shared = core.FindInterface("shared");
                wrong += shared == nullptr || shared->Name() == "shared" ? 0 : 1;
                wrong += core.FindInterface(own) != nullptr ? 0 : 1;
                core.UnregisterInterface("shared");
            }
        });
    EXPECT_EQ(wrong, 0);
}

TEST(Threads, ExpressionsAreMatchedTogether)
{
    CKVRCore core(KVRHostIdentity{"a", "b", "c"});
    std::atomic<int> wrong{0};
    inThreads(
        [&](int thread)
        {
            const std::string pattern = "^URI" + std::to_string(thread);
            for (int round = 0; round < rounds; ++round)
            {
                wrong += core.MatchRegex(pattern, "URI" + std::to_string(thread), nullptr, 0) ? 0 : 1;
                wrong += core.MatchRegex(pattern, "URI" + std::to_string(thread + 1), nullptr, 0) ? 1 : 0;
            }
        });
    EXPECT_EQ(wrong, 0);
}

TEST(Threads, TheDefaultCodesetMayBeSetWhileOthersReadIt)
{
    std::atomic<int> wrong{0};
    inThreads(
        [&](int thread)
        {
            for (int round = 0; round < rounds; ++round)
            {
                if (thread == 0)
                {
                    SetDefaultCodeset(round % 2 == 0 ? "a-rather-long-name-of-a-codeset" : "UTF-8");
                }
                const std::string name = DefaultCodeset();
                wrong += name == "UTF-8" || name == "a-rather-long-name-of-a-codeset" ? 0 : 1;
            }
        });
    SetDefaultCodeset("UTF-8");
    EXPECT_EQ(wrong, 0);
}

TEST(Threads, CommandsRunTogether)
{
    std::atomic<int> wrong{0};
    inThreads(
        [&](int thread)
        {
            for (int round = 0; round < 5; ++round)
            {
                wrong += ExecCommand("exit " + std::to_string(10 + thread), false) == 10 + thread ? 0 : 1;
            }
        });
    EXPECT_EQ(wrong, 0);
}

} // namespace KVR::Test
