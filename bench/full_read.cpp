// Reads a data set of the private server from search to last entry, as a process of its own, and prints
// one line, "ENTRIES WALL_SECONDS CPU_SECONDS PEAK_KIB WALK_KIB": the last two are the most memory that the
// kernel gave the process, and by how much the walk raised it beyond what the received result had taken.
//     dev/private-slapd run --entries 100000 -- build/release/bin/full-read SIDE DATA

#include "Readers.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace
{

using namespace KVR::Bench;

/** A line of /proc/self/status, in KiB. */
long statusOf(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.compare(0, name.size() + 1, name + ":") == 0)
        {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    throw std::runtime_error("the kernel does not tell " + name);
}

/** Lets the kernel take what the process holds now for the most that it ever held. */
void resetPeak()
{
    std::ofstream references("/proc/self/clear_refs");
    references << 5 << std::flush;
    if (!references)
    {
        throw std::runtime_error("the kernel's peak of memory can't be reset");
    }
}

double cpuSeconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

void read(Reader& reader, const DataSet& data)
{
    const double cpuStart = cpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    reader.Search(data);
    const long searchPeak = statusOf("VmHWM");
    resetPeak();
    const long before = statusOf("VmHWM");
    const std::size_t entries = reader.Walk();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    const double cpu = cpuSeconds() - cpuStart;
    const long walkPeak = statusOf("VmHWM");
    std::printf("%zu %.4f %.4f %ld %ld\n", entries, wall.count(), cpu, std::max(searchPeak, walkPeak),
                walkPeak - before);
}

} // namespace

int main(int count, char** arguments)
{
    std::string side;
    std::string name;
    CLI::App app("Reads a data set once.", "full-read");
    app.add_option("side", side, "floor or module")->required();
    app.add_option("data", name, "data set")->required();
    CLI11_PARSE(app, count, arguments);
    try
    {
        read(*makeReader(side, KVR_MODULE_FILE), dataSet(name));
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "full-read: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
