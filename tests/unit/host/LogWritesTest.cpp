#include "TemporaryFolder.h"

#include <kvr/CKVRLogProvider.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <thread>

namespace KVR::Test
{

namespace
{

/** What the next calls of write(2) do: the bytes they take at most, or an error below 0. */
std::deque<int> nextWrites;

/** The next calls of poll(2) that a signal ends. */
int interruptedPolls = 0;

CKVRLogProvider& provider()
{
    return CKVRLogProvider::GetLogProvider();
}

class LogWrites : public testing::Test
{
protected:
    ~LogWrites() override
    {
        nextWrites.clear();
        interruptedPolls = 0;
        provider().SetSink({});
    }

    /** Contents of the log file when the calls of write(2) do that. */
    std::string Written(const std::deque<int>& writes, const char* text) const
    {
        const std::string path = folder_.File("log");
        provider().SetFile(path);
        nextWrites = writes;
        provider().Put(kvrLOG_FAILURE, 1, text);
        EXPECT_TRUE(nextWrites.empty()) << nextWrites.size() << " calls are left";
        return TemporaryFolder::Read(path);
    }

    TemporaryFolder folder_;
};

/** Standard error as a pipe that does not block. */
class PipedStandardError
{
public:
    PipedStandardError() : former_(dup(STDERR_FILENO))
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
        reading_ = ends[0];
        EXPECT_EQ(fcntl(reading_, F_SETFL, 0), 0);
        EXPECT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
        close(ends[1]);
    }
    ~PipedStandardError()
    {
        Restore();
        CloseReading();
        close(former_);
    }

    PipedStandardError(const PipedStandardError&) = delete;
    PipedStandardError& operator=(const PipedStandardError&) = delete;

    void Restore() const { dup2(former_, STDERR_FILENO); }

    void WaitUntilFull() const
    {
        const int size = fcntl(reading_, F_GETPIPE_SZ);
        for (int held = 0; held < size; std::this_thread::yield())
        {
            ASSERT_EQ(ioctl(reading_, FIONREAD, &held), 0);
        }
    }

    /** Everything until the other end is closed. */
    std::string Read() const
    {
        std::string text(4096, '\0');
        std::string all;
        for (ssize_t length = 1; length > 0;)
        {
            length = read(reading_, text.data(), text.size());
            all.append(text, 0, length > 0 ? static_cast<std::size_t>(length) : 0U);
        }
        return all;
    }

    void CloseReading()
    {
        if (reading_ >= 0)
        {
            close(reading_);
        }
        reading_ = -1;
    }

private:
    int former_;
    int reading_ = -1;
};

const std::string& longText()
{
    static const std::string text(300000, 'x');
    return text;
}

} // namespace

TEST_F(LogWrites, AMessageThatIsTakenInPartsIsWhole)
{
    EXPECT_EQ(Written({3, 1, 2}, "the message"), "the message\n");
}

TEST_F(LogWrites, AnInterruptedWriteIsRepeated)
{
    EXPECT_EQ(Written({-EINTR, 4, -EINTR, -EINTR}, "the message"), "the message\n");
}

TEST_F(LogWrites, AnotherErrorEndsTheMessageAndNotTheNext)
{
    EXPECT_EQ(Written({4, -ENOSPC}, "the message"), "the ");
    EXPECT_EQ(Written({}, "another"), "another\n");
}

TEST_F(LogWrites, AFullPipeThatDoesNotBlockIsWaitedFor)
{
    PipedStandardError error;
    std::string text;
    std::thread reading(
        [&]
        {
            error.WaitUntilFull();
            text = error.Read();
        });
    interruptedPolls = 2;
    errno = ENOTDIR;
    provider().Put(kvrLOG_FAILURE, 2, longText().c_str(), " and the end");
    EXPECT_EQ(errno, ENOTDIR);
    error.Restore();
    reading.join();
    EXPECT_EQ(text.size(), longText().size() + 13);
    EXPECT_EQ(text.substr(text.size() - 13), " and the end\n");
    EXPECT_EQ(interruptedPolls, 0);
}

TEST_F(LogWrites, AReaderThatGoesAwayEndsTheMessage)
{
    PipedStandardError error;
    void (*const former)(int) = signal(SIGPIPE, SIG_IGN);
    std::thread closing(
        [&]
        {
            error.WaitUntilFull();
            error.CloseReading();
        });
    provider().Put(kvrLOG_FAILURE, 1, longText().c_str());
    closing.join();
    signal(SIGPIPE, former);
}

} // namespace KVR::Test

extern "C"
{

    __attribute__((visibility("default"))) ssize_t write(int descriptor, const void* bytes, std::size_t size)
    {
        std::deque<int>& next = KVR::Test::nextWrites;
        if (!next.empty())
        {
            const int step = next.front();
            next.pop_front();
            if (step < 0)
            {
                errno = -step;
                return -1;
            }
            size = std::min(size, static_cast<std::size_t>(step));
        }
        return syscall(SYS_write, descriptor, bytes, size);
    }

    __attribute__((visibility("default"))) int poll(pollfd* descriptors, nfds_t count, int timeout)
    {
        if (KVR::Test::interruptedPolls > 0)
        {
            --KVR::Test::interruptedPolls;
            errno = EINTR;
            return -1;
        }
        return static_cast<int>(syscall(SYS_poll, descriptors, count, timeout));
    }

} // extern "C"
