#include "Caught.h"
#include "LogCapture.h"
#include "TemporaryFolder.h"

#include <kvr/CKVRLogProvider.h>
#include <kvr/EKVRError.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

namespace KVR::Test
{

namespace
{

using Messages = std::vector<Support::LogCapture::Message>;

CKVRLogProvider& provider()
{
    return CKVRLogProvider::GetLogProvider();
}

/** Was there before the provider, so its destructor runs behind those of everything that is younger. */
struct LastWords
{
    ~LastWords()
    {
        if (armed)
        {
            provider().Put(kvrLOG_FAILURE, 1, "the last words");
        }
    }

    bool armed = false;
};

LastWords lastWords;

/** Brings level and target back. */
class LogProvider : public testing::Test
{
protected:
    ~LogProvider() override
    {
        provider().SetSink({});
        provider().level = kvrLOG_WARNING;
    }

    TemporaryFolder folder_;
};

} // namespace

TEST_F(LogProvider, ThereIsOneProvider)
{
    EXPECT_EQ(&CKVRLogProvider::GetLogProvider(), &CKVRLogProvider::GetLogProvider());
}

TEST_F(LogProvider, TheLevelIsA32BitSignedIntegerAndStartsAtWarning)
{
    static_assert(sizeof provider().level == sizeof(std::int32_t));
    static_assert(std::is_same_v<decltype(provider().level.load()), std::int32_t>);
    EXPECT_EQ(provider().level, 1);
}

TEST_F(LogProvider, LevelsHaveTheirNumbers)
{
    EXPECT_EQ(kvrLOG_FAILURE, 0);
    EXPECT_EQ(kvrLOG_WARNING, 1);
    EXPECT_EQ(kvrLOG_TRACE, 4);
}

TEST_F(LogProvider, MessagesAboveTheLevelAreLeftOut)
{
    const Support::LogCapture log(3);
    provider().Put(kvrLOG_FAILURE, 1, "zero");
    provider().Put(kvrLOG_INFO, 1, "three");
    provider().Put(kvrLOG_TRACE, 1, "four");
    const Messages expected = {{0, "zero"}, {3, "three"}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(LogProvider, ANegativeLevelSilencesTheLog)
{
    const Support::LogCapture log(-1);
    provider().Put(kvrLOG_FAILURE, 1, "zero");
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(LogProvider, APercentSignIsWrittenAsItStands)
{
    const Support::LogCapture log;
    provider().Put(kvrLOG_FAILURE, 1, "100%s of %d %n");
    EXPECT_EQ(log.messages().at(0).second, "100%s of %d %n");
}

TEST_F(LogProvider, FurtherTextsAreAppended)
{
    const Support::LogCapture log;
    provider().Put(kvrLOG_FAILURE, 3, "one", "%two", "three");
    EXPECT_EQ(log.messages().at(0).second, "one%twothree");
}

TEST_F(LogProvider, ACountOfOneReadsNoFurtherText)
{
    const Support::LogCapture log;
    provider().Put(kvrLOG_FAILURE, 1, "one", "two");
    provider().Put(kvrLOG_FAILURE, 0, "none");
    const Messages expected = {{0, "one"}, {0, "none"}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(LogProvider, ANullTextIsHarmless)
{
    const Support::LogCapture log;
    const char* const nothing = nullptr;
    provider().Put(kvrLOG_FAILURE, 1, nothing);
    provider().Put(kvrLOG_FAILURE, 3, "a ", nothing, " b");
    const Messages expected = {{0, "(null)"}, {0, "a (null) b"}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(LogProvider, TheFirstTargetIsStandardErrorWithOneLineAMessage)
{
    testing::internal::CaptureStderr();
    provider().Put(kvrLOG_FAILURE, 1, "one");
    provider().Put(kvrLOG_WARNING, 1, "");
    provider().Put(kvrLOG_WARNING, 1, "two %d");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\n\ntwo %d\n");
}

TEST_F(LogProvider, AnEmptySinkRestoresStandardError)
{
    provider().SetSink([](KVRLogLevel, const std::string&) { ADD_FAILURE() << "the sink was replaced"; });
    provider().SetSink({});
    testing::internal::CaptureStderr();
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\n");
}

TEST_F(LogProvider, AFileIsAppendedTo)
{
    const std::string path = folder_.File("log", "earlier\n");
    provider().SetFile(path);
    provider().Put(kvrLOG_FAILURE, 1, "one %s");
    provider().Put(kvrLOG_WARNING, 1, "two");
    EXPECT_EQ(TemporaryFolder::Read(path), "earlier\none %s\ntwo\n");
}

TEST_F(LogProvider, LineEndsInATextDoNotBeginANewMessage)
{
    const std::string path = folder_.Path("log");
    provider().SetFile(path);
    provider().Put(kvrLOG_FAILURE, 2, "a\nb\r\nc\rd", "\ve\ff\n");
    provider().Put(kvrLOG_FAILURE, 1,
                   "a\xC2\x85"
                   "b\xE2\x80\xA8"
                   "c\xE2\x80\xA9"
                   "d");
    provider().Put(kvrLOG_FAILURE, 1, "\n\r\n\n");
    EXPECT_EQ(TemporaryFolder::Read(path), "a\n\tb\n\tc\n\td\n\te\n\tf\n\t\n"
                                           "a\n\tb\n\tc\n\td\n"
                                           "\n\t\n\t\n\t\n");
    provider().SetSink({});
    testing::internal::CaptureStderr();
    provider().Put(kvrLOG_FAILURE, 1, "a\rb");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\n\tb\n");
}

TEST_F(LogProvider, CharactersBesideLineEndsAreWrittenAsTheyStand)
{
    const std::string text = "\t\x85 \xC3\x85 \xC2\x84 \xE2\x80\xA7 \xE2\x80\xAA \xE2\x80 \xE2";
    provider().SetFile(folder_.Path("log"));
    provider().Put(kvrLOG_FAILURE, 1, text.c_str());
    EXPECT_EQ(TemporaryFolder::Read(folder_.Path("log")), text + '\n');
}

TEST_F(LogProvider, ASinkGetsLineEndsAsTheyStand)
{
    const Support::LogCapture log;
    provider().Put(kvrLOG_FAILURE, 2, "a\r\nb", "\xE2\x80\xA8\n");
    EXPECT_EQ(log.messages().at(0).second, "a\r\nb\xE2\x80\xA8\n");
}

TEST_F(LogProvider, AMissingFileIsMadeAndNotReadableForOthers)
{
    const std::string path = folder_.Path("log");
    provider().SetFile(path);
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(TemporaryFolder::Read(path), "one\n");
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(path).permissions() & perms::others_all, perms::none);
}

TEST_F(LogProvider, ASecondFileTakesOverFromTheFirst)
{
    provider().SetFile(folder_.Path("first"));
    provider().SetFile(folder_.Path("second"));
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(TemporaryFolder::Read(folder_.Path("first")), "");
    EXPECT_EQ(TemporaryFolder::Read(folder_.Path("second")), "one\n");
}

TEST_F(LogProvider, AFileThatCannotBeOpenedIsAnErrorAndTheOldTargetStays)
{
    provider().SetFile(folder_.Path("log"));
    const std::string missing = folder_.Path("missing/log");
    try
    {
        provider().SetFile(missing);
        ADD_FAILURE() << "no error";
    }
    catch (const EKVRError& error)
    {
        EXPECT_EQ(error.msg(), "File '" + missing + "' can't be opened.");
        EXPECT_EQ(error.details(), "No such file or directory");
    }
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(TemporaryFolder::Read(folder_.Path("log")), "one\n");
}

TEST_F(LogProvider, TheBeginningOfAPathIsNotTakenForTheFile)
{
    provider().SetFile(folder_.Path("log"));
    const std::string path = folder_.Path("other");
    errno = 0;
    const Support::Caught error = Support::caught([&] { provider().SetFile(path + std::string("\0x", 2)); });
    EXPECT_EQ(error.message, "File '" + path + "' can't be opened.");
    EXPECT_EQ(error.details, "Invalid argument");
    EXPECT_FALSE(std::filesystem::exists(path));
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(TemporaryFolder::Read(folder_.Path("log")), "one\n");
}

TEST_F(LogProvider, LoggingKeepsErrno)
{
    provider().SetSink([](KVRLogLevel, const std::string&) { errno = EIO; });
    errno = ENOTDIR;
    provider().Put(kvrLOG_FAILURE, 1, "one");
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(LogProvider, AClosedStandardErrorIsHarmless)
{
    EXPECT_EXIT(
        {
            close(STDERR_FILENO);
            provider().Put(kvrLOG_FAILURE, 1, "one");
            _exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(LogProvider, DestructorsThatRunAtTheEndOfTheProgramMayLog)
{
    const std::string path = folder_.Path("log");
    EXPECT_EXIT(
        {
            provider().SetFile(path);
            lastWords.armed = true;
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");
    EXPECT_EQ(TemporaryFolder::Read(path), "the last words\n");
}

} // namespace KVR::Test
