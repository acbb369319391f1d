// Processor time of searching for one person by name and reading it, with the module and with bare libldap:
//     dev/private-slapd run -- build/release/bin/single-read
// The two take turns batch by batch. Whatever else the machine does only adds to the time that the kernel
// takes, twice the time on a busy machine, so the fastest tenth of the batches tells. Prints "FLOOR MODULE",
// microseconds a read.

#include "Figures.h"
#include "Readers.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>
#include <vector>

namespace
{

using namespace KVR::Bench;

constexpr unsigned batch = 20;
constexpr double share = 0.1;

/** Microseconds a read. */
double cost(Reader& reader, const DataSet& person)
{
    timespec start{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    for (unsigned n = 0; n < batch; ++n)
    {
        reader.Search(person);
        reader.Walk();
    }
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    const double seconds = static_cast<double>(end.tv_sec - start.tv_sec) +
                           static_cast<double>(end.tv_nsec - start.tv_nsec) / 1e9;
    return 1e6 * seconds / batch;
}

void measure(unsigned rounds)
{
    BareReader bare;
    ModuleReader module(KVR_MODULE_FILE);
    const DataSet person = dataSet("person");
    std::vector<double> floors;
    std::vector<double> modules;
    for (unsigned round = 0; round < rounds; ++round)
    {
        floors.push_back(cost(bare, person));
        modules.push_back(cost(module, person));
    }
    std::printf("%.2f %.2f\n", quantile(floors, share), quantile(modules, share));
}

} // namespace

int main(int count, char** arguments)
{
    unsigned rounds = 3000;
    CLI::App app("Compares reading one entry with bare libldap.", "single-read");
    app.add_option("--rounds", rounds, "batches of each side")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    CLI11_PARSE(app, count, arguments);
    try
    {
        measure(rounds);
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "single-read: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
