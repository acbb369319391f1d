#include "FileTree.h"

#include <kvr/KVRUtils.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <functional>

namespace KVR::Test
{

namespace
{

namespace fs = std::filesystem;
using testing::UnorderedElementsAre;

/** Trees that others may write to, and machines that offer little. */
class UnfriendlyTree : public FileTree
{
};

/** Lets the process open so many descriptors more. */
bool limitDescriptors(int further)
{
    int limit = 0;
    for (; further > 0; ++limit)
    {
        further -= fcntl(limit, F_GETFD) < 0 ? 1 : 0;
    }
    const rlimit descriptors = {static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
    return setrlimit(RLIMIT_NOFILE, &descriptors) == 0;
}

/** An action for the look at the file of this name. */
std::function<void(const std::string&)> whenAt(const std::string& name, const std::function<void()>& action)
{
    return [name, action](const std::string& looked)
    {
        if (looked == name)
        {
            action();
        }
    };
}

} // namespace

TEST_F(UnfriendlyTree, AFolderThatIsReplacedByALinkMeanwhileDoesNotLeadOut)
{
    FileCalls::afterLook = whenAt("folder",
                                  [this]
                                  {
                                      fs::rename(folder_.Path("top/folder"), folder_.Path("moved"));
                                      fs::create_symlink(folder_.Path("outside"), folder_.Path("top/folder"));
                                  });
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_TRUE(fs::is_symlink(folder_.Path("top/folder")));
    EXPECT_EQ(Mode("outside"), 0750U);
    EXPECT_EQ(Mode("outside/file"), 0640U);
}

TEST_F(UnfriendlyTree, AFileThatIsReplacedByALinkMeanwhileDoesNotLeadOut)
{
    FileCalls::afterLook =
        whenAt("file",
               [this]
               {
                   fs::remove(folder_.Path("top/file"));
                   fs::create_symlink(folder_.Path("outside/file"), folder_.Path("top/file"));
               });
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_TRUE(fs::is_symlink(folder_.Path("top/file")));
    EXPECT_EQ(Mode("outside/file"), 0640U);
    fs::remove(folder_.Path("top/file"));
    folder_.File("top/file");
    FileCalls::oldKernel = true;
    FileCalls::withoutProc = true;
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_TRUE(fs::is_symlink(folder_.Path("top/file")));
    EXPECT_EQ(Mode("outside/file"), 0640U);
}

TEST_F(UnfriendlyTree, ChmodLeavesFilesInsideThatHaveFurtherNames)
{
    fs::create_hard_link(folder_.Path("outside/file"), folder_.Path("top/folder/second"));
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("outside/file"), 0640U);
    for (const char* const name : {"top", "top/file", "top/folder", "top/folder/deep"})
    {
        EXPECT_EQ(Mode(name), 0701U) << name;
    }
}

TEST_F(UnfriendlyTree, ChownLeavesFilesInsideThatHaveFurtherNames)
{
    fs::create_hard_link(folder_.Path("outside/file"), folder_.Path("top/folder/second"));
    EXPECT_FALSE(Chown(top_, "1", "2", true));
    EXPECT_THAT(OwnerCalls(),
                UnorderedElementsAre("change top 1:2", "change top/file 1:2", "change top/folder 1:2",
                                     "change top/folder/deep 1:2", "change top/folder/to-outside-file 1:2",
                                     "change top/to-outside 1:2", "change top/to-folder 1:2"));
}

TEST_F(UnfriendlyTree, OnlyRegularFilesWithFurtherNamesAreLeft)
{
    ASSERT_EQ(mkfifo(folder_.Path("outside/fifo").c_str(), 0600), 0);
    fs::create_hard_link(folder_.Path("outside/fifo"), folder_.Path("top/fifo"));
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top/fifo"), 0701U);
    EXPECT_TRUE(Chown(top_, "1", "2", true));
    EXPECT_THAT(OwnerCalls(), testing::Contains("change top/fifo 1:2"));
}

TEST_F(UnfriendlyTree, AFileWithFurtherNamesIsChangedWhereItIsNamedItself)
{
    fs::create_hard_link(folder_.Path("outside/file"), folder_.Path("top/second"));
    EXPECT_TRUE(Chmod(folder_.Path("top/second"), 0604, true));
    EXPECT_EQ(Mode("outside/file"), 0604U);
    EXPECT_TRUE(Chown(folder_.Path("top/second"), "1", "2", true));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top/second 1:2"));
}

TEST_F(UnfriendlyTree, AFileThatIsReplacedByAnotherNameMeanwhileDoesNotLeadOut)
{
    FileCalls::afterLook =
        whenAt("file",
               [this]
               {
                   fs::remove(folder_.Path("top/file"));
                   fs::create_hard_link(folder_.Path("outside/file"), folder_.Path("top/file"));
               });
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("outside/file"), 0640U);
    fs::remove(folder_.Path("top/file"));
    folder_.File("top/file");
    FileCalls::oldKernel = true;
    FileCalls::withoutProc = true;
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("outside/file"), 0640U);
}

TEST_F(UnfriendlyTree, AFileThatIsReplacedByAFifoMeanwhileIsLeftWhereItMustBeOpened)
{
    FileCalls::oldKernel = true;
    FileCalls::withoutProc = true;
    FileCalls::afterLook = whenAt("file",
                                  [this]
                                  {
                                      fs::remove(folder_.Path("top/file"));
                                      ASSERT_EQ(mkfifo(folder_.Path("top/file").c_str(), 0600), 0);
                                  });
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top/file"), 0600U);
}

TEST_F(UnfriendlyTree, ChmodNeedsNeitherANewKernelNorProc)
{
    for (const bool oldKernel : {false, true})
    {
        for (const bool withoutProc : {false, true})
        {
            FileCalls::oldKernel = oldKernel;
            FileCalls::withoutProc = withoutProc;
            SetMode("top/file", 0640);
            SetMode("top/folder/deep", 0640);
            EXPECT_TRUE(Chmod(top_, 0701, true)) << oldKernel << withoutProc;
            EXPECT_EQ(Mode("top/file"), 0701U) << oldKernel << withoutProc;
            EXPECT_EQ(Mode("top/folder/deep"), 0701U) << oldKernel << withoutProc;
            EXPECT_EQ(Mode("outside/file"), 0640U) << oldKernel << withoutProc;
        }
    }
}

TEST_F(UnfriendlyTree, ChmodWithoutProcOnAnOldKernelNeedsOneRightToAFile)
{
    EXPECT_EXIT(
        {
            constexpr uid_t nobody = 65534;
            const bool ordinary = geteuid() != 0 || setuid(nobody) == 0;
            const TemporaryFolder own;
            own.Folder("top");
            FileCalls::oldKernel = true;
            FileCalls::withoutProc = true;
            bool right = ordinary;
            for (const mode_t mode : {0400U, 0200U, 0U})
            {
                const std::string path = own.File("top/file");
                right = chmod(path.c_str(), mode) == 0 && right;
                right = Chmod(own.Path("top"), 0700, true) == (mode != 0) && right;
                fs::remove(path);
            }
            _exit(right ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST_F(UnfriendlyTree, AFifoIsChangedWithoutBeingOpened)
{
    ASSERT_EQ(mkfifo(folder_.Path("top/fifo").c_str(), 0600), 0);
    FileCalls::withoutProc = true;
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top/fifo"), 0701U);
    FileCalls::withoutProc = false;
    FileCalls::oldKernel = true;
    EXPECT_TRUE(Chmod(top_, 0711, true));
    EXPECT_EQ(Mode("top/fifo"), 0711U);
    FileCalls::withoutProc = true;
    EXPECT_FALSE(Chmod(top_, 0700, true));
    EXPECT_EQ(Mode("top/fifo"), 0711U);
    EXPECT_EQ(Mode("top/file"), 0700U);
    EXPECT_TRUE(Chown(top_, "1", "2", true));
    EXPECT_THAT(FileCalls::opened, testing::Not(testing::Contains("fifo")));
}

TEST_F(UnfriendlyTree, ATreeNeedsOneDescriptorForEachLevelAndOneMore)
{
    constexpr int levels = 40;
    std::string path = "deep";
    for (int level = 1; level < levels; ++level)
    {
        path += "/next";
    }
    folder_.Folder(path);
    folder_.File(path + "/file");
    const std::string deep = folder_.Path("deep");
    EXPECT_EXIT(
        {
            const bool limited = limitDescriptors(levels + 1);
            const bool changed = Chmod(deep, 0701, true) && Chown(deep, "1", "2", true);
            _exit(limited && changed ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
    EXPECT_EQ(Mode(path + "/file"), 0701U);
}

TEST_F(UnfriendlyTree, AFileThatCannotBeLookedAtIsAFailure)
{
    EXPECT_EXIT(
        {
            FileCalls::beforeLook = [](const std::string&) { limitDescriptors(0); };
            _exit(Chmod(top_, 0701, true) ? 1 : 42);
        },
        testing::ExitedWithCode(42), "");
    EXPECT_EQ(Mode("top"), 0701U) << "the walk goes on";
}

TEST_F(UnfriendlyTree, AFileThatIsRemovedMeanwhileIsNoFailure)
{
    FileCalls::beforeLook = whenAt("file", [this] { fs::remove(folder_.Path("top/file")); });
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_FALSE(fs::exists(folder_.Path("top/file")));
}

} // namespace KVR::Test
