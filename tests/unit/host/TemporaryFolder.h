#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace KVR::Test
{

/** A new folder that is removed with all its contents. */
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "kvr-host-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
        {
            throw std::runtime_error("no temporary folder");
        }
        path_ = std::filesystem::canonical(name);
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return path_ / name; }

    /** Writes a file and returns its path. */
    std::string File(const std::string& name, const std::string& text = "") const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return path_ / name;
    }

    std::string Folder(const std::string& name) const
    {
        std::filesystem::create_directories(path_ / name);
        return path_ / name;
    }

    static std::string Read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path path_;
};

} // namespace KVR::Test
