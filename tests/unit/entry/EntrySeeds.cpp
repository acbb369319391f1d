// Writes the entries that the fuzzer begins with into a folder, which is emptied: entry-seeds FOLDER

#include "EntryBytes.h"
#include "EntryGenerator.h"
#include "EntryInput.h"

#include <filesystem>
#include <fstream>
#include <iostream>

using namespace KVR::Support;

namespace
{

void write(const std::filesystem::path& folder, const std::string& entry)
{
    static int number = 0;
    std::ofstream file(folder / ("entry-" + std::to_string(number)), std::ios::binary);
    file << inputOf(static_cast<std::uint32_t>(number * 7), number % 4 == 0 ? 4 : 0, entry);
    number++;
}

} // namespace

int main(int count, char** arguments)
try
{
    if (count != 2)
    {
        std::cerr << "usage: entry-seeds FOLDER\n";
        return 2;
    }
    constexpr std::size_t longest = 1000;
    const std::filesystem::path folder = arguments[1];
    // The fuzzer adds to the folder what it finds, and is to begin with the same each time.
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    for (const LengthForm form : {LengthForm::Short, LengthForm::OneByte, LengthForm::FourBytes})
    {
        write(folder, entryContent("cn=a", {{"cn", {"a", "bc"}}, {"sn", {"d"}}}, form));
        write(folder, entryContent("cn=a", {{"cn", {"a"}}, {"CN", {"b"}}, {"sn", {}}}, form));
        write(folder, entryContent("", {}, form));
    }
    EntryGenerator generator(1);
    for (int answer = 0; answer < 100; ++answer)
    {
        for (const std::string& entry : generator.answer(answer % 2 == 0).entries)
        {
            if (entry.size() <= longest)
            {
                write(folder, entry);
            }
        }
    }
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
