#pragma once

#include "FileCalls.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace KVR::Test
{

/** A tree to change: top/{file, folder/{deep, to-outside}, to-outside, to-folder} and outside/file. */
class FileTree : public testing::Test
{
protected:
    FileTree()
    {
        FileCalls::Reset();
        folder_.Folder("top/folder");
        folder_.Folder("outside");
        top_ = folder_.Path("top");
        for (const char* const name : {"top/file", "top/folder/deep", "outside/file"})
        {
            folder_.File(name);
            SetMode(name, 0640);
        }
        for (const char* const name : {"top", "top/folder", "outside"})
        {
            SetMode(name, 0750);
        }
        std::filesystem::create_symlink(folder_.Path("outside"), folder_.Path("top/to-outside"));
        std::filesystem::create_symlink(folder_.Path("outside/file"),
                                        folder_.Path("top/folder/to-outside-file"));
        std::filesystem::create_symlink("folder", folder_.Path("top/to-folder"));
        std::filesystem::create_symlink("top", folder_.Path("to-top"));
    }
    ~FileTree() override { FileCalls::Reset(); }

    void SetMode(const std::string& name, mode_t mode) const
    {
        ASSERT_EQ(chmod(folder_.Path(name).c_str(), mode), 0);
    }

    unsigned Mode(const std::string& name) const
    {
        struct stat status = {};
        EXPECT_EQ(lstat(folder_.Path(name).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    /** The calls as "what path-below-the-temporary-folder user:group". */
    std::vector<std::string> OwnerCalls() const
    {
        std::vector<std::string> calls;
        calls.reserve(FileCalls::owners.size());
        for (const FileCalls::Owner& call : FileCalls::owners)
        {
            calls.push_back((call.follows ? "follow " : "change ") +
                            call.path.substr(folder_.Path("").size()) + ' ' +
                            std::to_string(static_cast<int>(call.user)) + ':' +
                            std::to_string(static_cast<int>(call.group)));
        }
        return calls;
    }

    TemporaryFolder folder_;
    std::string top_;
};

} // namespace KVR::Test
