// Processor time of reading, with the module and with bare libldap, as Google Benchmark takes and prints
// it:
//     dev/private-slapd run -- build/release/bin/read-speed --benchmark_out=FILE DATA...
// "walk/SIDE/DATA" walks over a received result. LC_ALL decides the character set that values arrive in.

#include "Readers.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <string>

namespace
{

using namespace KVR::Bench;

// Readers live as long as one run, so that no result of a former run is in the way.

void walk(benchmark::State& state, const std::string& side, const std::string& name)
{
    const auto reader = makeReader(side, KVR_MODULE_FILE);
    reader->Search(dataSet(name));
    std::size_t entries = reader->Walk();
    while (state.KeepRunning())
    {
        entries = reader->Walk();
        benchmark::DoNotOptimize(entries);
    }
    state.counters["entries"] = static_cast<double>(entries);
}

void registerSides(const std::string& name)
{
    for (const std::string side : {"floor", "module"})
    {
        std::string title = "walk/";
        title.append(side).append("/").append(name);
        const std::function<void(benchmark::State&)> run = [side, name](auto& state)
        { walk(state, side, name); };
        benchmark::RegisterBenchmark(title.c_str(), run)->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int count, char** arguments)
{
    try
    {
        useCharacterSet();
        benchmark::Initialize(&count, arguments);
        for (int n = 1; n < count; ++n)
        {
            registerSides(arguments[n]);
        }
        return benchmark::RunSpecifiedBenchmarks() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    catch (const std::exception& error)
    {
        std::cerr << "read-speed: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
