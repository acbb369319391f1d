#include "FileTree.h"

#include <kvr/KVRUtils.h>

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KVR::Test
{

namespace
{

namespace fs = std::filesystem;
using testing::UnorderedElementsAre;

class FileAttributes : public FileTree
{
};

} // namespace

TEST_F(FileAttributes, ChmodOfAFileSetsItsBits)
{
    EXPECT_TRUE(Chmod(folder_.Path("top/file"), 0604, false));
    EXPECT_EQ(Mode("top/file"), 0604U);
}

TEST_F(FileAttributes, ChmodWithoutRecursionLeavesTheContentsOfAFolder)
{
    EXPECT_TRUE(Chmod(top_, 0700, false));
    EXPECT_EQ(Mode("top"), 0700U);
    EXPECT_EQ(Mode("top/file"), 0640U);
    EXPECT_EQ(Mode("top/folder"), 0750U);
}

TEST_F(FileAttributes, ChmodWithRecursionGivesTheSameBitsToEverythingBelow)
{
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top"), 0701U);
    EXPECT_EQ(Mode("top/file"), 0701U);
    EXPECT_EQ(Mode("top/folder"), 0701U);
    EXPECT_EQ(Mode("top/folder/deep"), 0701U);
}

TEST_F(FileAttributes, ChmodWithRecursionTakesAPlainFileToo)
{
    EXPECT_TRUE(Chmod(folder_.Path("top/file"), 0604, true));
    EXPECT_EQ(Mode("top/file"), 0604U);
}

TEST_F(FileAttributes, ChmodWithRecursionNeverFollowsLinksInside)
{
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("outside"), 0750U);
    EXPECT_EQ(Mode("outside/file"), 0640U);
}

TEST_F(FileAttributes, ChmodOfALinkToATreeChangesTheTree)
{
    EXPECT_TRUE(Chmod(folder_.Path("to-top"), 0701, true));
    EXPECT_EQ(Mode("top"), 0701U);
    EXPECT_EQ(Mode("top/folder/deep"), 0701U);
    EXPECT_EQ(Mode("outside/file"), 0640U);
}

TEST_F(FileAttributes, ChmodMayTakeTheRightToSearchAway)
{
    EXPECT_TRUE(Chmod(top_, 0600, true));
    EXPECT_EQ(Mode("top"), 0600U);
    SetMode("top", 0700);
    EXPECT_EQ(Mode("top/folder"), 0600U);
    SetMode("top/folder", 0700);
    EXPECT_EQ(Mode("top/folder/deep"), 0600U);
}

TEST_F(FileAttributes, ChmodMayGiveTheRightToReadAFolder)
{
    FileCalls::unreadable = "folder";
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top/folder"), 0701U);
    EXPECT_EQ(Mode("top/folder/deep"), 0701U);
}

TEST_F(FileAttributes, AnOrdinaryUserMayTakeAndGiveTheRightsToFolders)
{
    EXPECT_EXIT(
        {
            constexpr uid_t nobody = 65534;
            const bool ordinary = geteuid() != 0 || setuid(nobody) == 0;
            const TemporaryFolder own;
            own.Folder("top/folder");
            own.File("top/folder/deep");
            const bool taken = Chmod(own.Path("top"), 0600, true);
            const bool given = Chmod(own.Path("top"), 0700, true);
            const bool allTaken = Chmod(own.Path("top"), 0, true);
            fs::create_symlink("top", own.Path("link"));
            const bool byLink = Chmod(own.Path("link"), 0700, true);
            const bool givenAgain = Chmod(own.Path("top"), 0710, true);
            struct stat status = {};
            const bool deep = stat(own.Path("top/folder/deep").c_str(), &status) == 0;
            _exit(ordinary && taken && given && allTaken && byLink && givenAgain && deep &&
                          (status.st_mode & 07777U) == 0710U
                      ? 42
                      : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST_F(FileAttributes, ChmodOfAMissingPathFails)
{
    EXPECT_FALSE(Chmod(folder_.Path("missing"), 0600, false));
    EXPECT_FALSE(Chmod(folder_.Path("missing"), 0600, true));
    EXPECT_FALSE(Chmod("", 0600, true));
}

TEST_F(FileAttributes, ChmodGoesOnAfterAFailureAndTellsOfIt)
{
    for (const char* const name : {"top/a", "top/b", "top/c"})
    {
        folder_.File(name);
    }
    FileCalls::failing = "b";
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top"), 0701U);
    EXPECT_EQ(Mode("top/a"), 0701U);
    EXPECT_EQ(Mode("top/c"), 0701U);
    EXPECT_EQ(Mode("top/file"), 0701U);
    EXPECT_EQ(Mode("top/folder/deep"), 0701U);
}

TEST_F(FileAttributes, ChmodTellsOfAFailureDeepInside)
{
    FileCalls::failing = "deep";
    EXPECT_FALSE(Chmod(top_, 0701, true));
    EXPECT_EQ(Mode("top/folder"), 0701U);
}

TEST_F(FileAttributes, ChownOfAFileTakesNumbers)
{
    EXPECT_TRUE(Chown(folder_.Path("top/file"), "1234", "4321", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top/file 1234:4321"));
}

TEST_F(FileAttributes, ChownTakesNamesOfAccounts)
{
    const passwd* const root = getpwuid(0);
    const group* const rootGroup = getgrgid(0);
    EXPECT_TRUE(Chown(folder_.Path("top/file"), root->pw_name, rootGroup->gr_name, false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top/file 0:0"));
}

TEST_F(FileAttributes, ChownTakesAccountsWithLongRecords)
{
    FileCalls::largeAccount = "large";
    EXPECT_TRUE(Chown(folder_.Path("top/file"), "large", "", false));
    EXPECT_TRUE(Chown(folder_.Path("top/file"), "", "large", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top/file 1234:-1", "follow top/file -1:1234"));
}

TEST_F(FileAttributes, ChownLeavesWhatHasAnEmptyNameAsItIs)
{
    EXPECT_TRUE(Chown(folder_.Path("top/file"), "1234", "", false));
    EXPECT_TRUE(Chown(folder_.Path("top/file"), "", "4321", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top/file 1234:-1", "follow top/file -1:4321"));
}

TEST_F(FileAttributes, ChownWithAnUnknownNameFailsAndChangesNothing)
{
    EXPECT_FALSE(Chown(top_, "no such user", "0", true));
    EXPECT_FALSE(Chown(top_, "0", "no such group", true));
    EXPECT_FALSE(Chown(top_, "-1", "0", true));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre());
}

TEST_F(FileAttributes, ChownDoesNotTakeTheBeginningOfANameForTheName)
{
    using namespace std::string_literals;
    EXPECT_FALSE(Chown(top_, getpwuid(0)->pw_name + "\0x"s, "", false));
    EXPECT_FALSE(Chown(top_, "", getgrgid(0)->gr_name + "\0x"s, false));
    EXPECT_FALSE(Chown(top_, "1\0"s, "", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre());
}

TEST_F(FileAttributes, ChownTakesNoNumberBeyondTheLargestId)
{
    EXPECT_TRUE(Chown(top_, "4294967294", "0", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top -2:0"));
    EXPECT_FALSE(Chown(top_, "4294967295", "0", false));
    EXPECT_FALSE(Chown(top_, "4294967296", "0", false));
    EXPECT_FALSE(Chown(top_, "18446744073709551616", "0", false));
}

TEST_F(FileAttributes, ChownWithoutRecursionLeavesTheContentsOfAFolder)
{
    EXPECT_TRUE(Chown(top_, "1", "2", false));
    EXPECT_THAT(OwnerCalls(), UnorderedElementsAre("follow top 1:2"));
}

TEST_F(FileAttributes, ChownWithRecursionChangesEverythingBelowAndNeverFollowsLinks)
{
    EXPECT_TRUE(Chown(top_, "1", "2", true));
    EXPECT_THAT(OwnerCalls(),
                UnorderedElementsAre("change top 1:2", "change top/file 1:2", "change top/folder 1:2",
                                     "change top/folder/deep 1:2", "change top/folder/to-outside-file 1:2",
                                     "change top/to-outside 1:2", "change top/to-folder 1:2"));
}

TEST_F(FileAttributes, ChownOfALinkToATreeChangesTheTree)
{
    EXPECT_TRUE(Chown(folder_.Path("to-top"), "1", "2", true));
    EXPECT_THAT(OwnerCalls(), testing::Contains("change top/folder/deep 1:2"));
}

TEST_F(FileAttributes, ChownGoesOnAfterAFailureAndTellsOfIt)
{
    FileCalls::failing = "deep";
    EXPECT_FALSE(Chown(top_, "1", "2", true));
    EXPECT_THAT(OwnerCalls(), testing::IsSupersetOf({"change top 1:2", "change top/file 1:2",
                                                     "change top/folder 1:2", "change top/to-folder 1:2"}));
}

TEST_F(FileAttributes, ChownOfAMissingPathFails)
{
    EXPECT_FALSE(Chown(folder_.Path("missing"), "1", "2", true));
    EXPECT_FALSE(Chown(folder_.Path("missing"), "1", "2", false));
}

TEST_F(FileAttributes, ChownToTheOwnAccountReallySucceeds)
{
    FileCalls::changeOwners = true;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    EXPECT_TRUE(Chown(top_, user, group, true));
    EXPECT_TRUE(Chown(folder_.Path("top/file"), user, group, false));
}

TEST_F(FileAttributes, NoDescriptorIsLeftOpen)
{
    const auto openDescriptors = []
    { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
    const auto before = openDescriptors();
    EXPECT_TRUE(Chmod(top_, 0701, true));
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace KVR::Test
