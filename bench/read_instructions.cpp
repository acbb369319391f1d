// Walks over results of the private server as a subject for callgrind, which counts the walks alone:
//     valgrind --tool=callgrind --instr-atstart=no --dump-instr=no bin/read-instructions SIDE DATA...
// Each walk becomes a part of the profile that is named "DATA ENTRIES". With --searches it searches for
// one entry as often as told instead, with everything counted. LC_ALL decides the character set that values
// arrive in.
// bench/measure-reads runs it and reads the profiles.

#include "Readers.h"

#include <valgrind/callgrind.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace
{

using namespace KVR::Bench;

void countWalk(Reader& reader, const std::string& name)
{
    reader.Search(dataSet(name));
    // What only the first walk of a process needs, such as finding the libraries' functions, is left out.
    reader.Walk();
    CALLGRIND_START_INSTRUMENTATION;
    const std::size_t entries = reader.Walk();
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string label = name + " " + std::to_string(entries);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

void search(Reader& reader, unsigned times)
{
    const DataSet person = dataSet("person");
    for (unsigned n = 0; n < times; ++n)
    {
        reader.Search(person);
    }
    std::cout << times << std::endl;
}

} // namespace

int main(int count, char** arguments)
{
    std::string side;
    std::vector<std::string> names;
    unsigned searches = 0;
    CLI::App app("Reads from the private server, as a subject for callgrind.", "read-instructions");
    app.add_option("side", side, "floor, module or fresh")->required();
    app.add_option("data", names, "data sets");
    app.add_option("--searches", searches, "search for one entry so often");
    CLI11_PARSE(app, count, arguments);
    try
    {
        useCharacterSet();
        const auto reader = makeReader(side, KVR_MODULE_FILE);
        if (searches > 0)
        {
            search(*reader, searches);
        }
        for (const std::string& name : names)
        {
            countWalk(*reader, name);
        }
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "read-instructions: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
