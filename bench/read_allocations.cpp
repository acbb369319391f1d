// Prints how many blocks of memory the walks over a result of the private server allocate for each entry.
//     dev/private-slapd run -- build/release/bin/read-allocations DATA...
// A line a walk: "SIDE DATA ALLOCATIONS".

#include "AllocationCounter.h"
#include "Readers.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using namespace KVR::Bench;

void measure(Reader& reader, const std::string& side, const std::string& name)
{
    reader.Search(dataSet(name));
    const std::size_t before = AllocationCounter::allocations();
    const std::size_t entries = reader.Walk();
    const std::size_t blocks = AllocationCounter::allocations() - before;
    if (entries == 0 || (side == "floor" && blocks == 0))
    {
        throw std::runtime_error("nothing to count in " + name);
    }
    std::printf("%s %s %.2f\n", side.c_str(), name.c_str(),
                static_cast<double>(blocks) / static_cast<double>(entries));
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<std::string> names;
    CLI::App app("Counts the allocations of reading.", "read-allocations");
    app.add_option("data", names, "data sets")->required();
    CLI11_PARSE(app, count, arguments);
    try
    {
        for (const char* side : {"floor", "module"})
        {
            const auto reader = makeReader(side, KVR_MODULE_FILE);
            for (const std::string& name : names)
            {
                measure(*reader, side, name);
            }
        }
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "read-allocations: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
