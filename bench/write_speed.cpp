// Adds, modifies and deletes through the module and with bare libldap, on two sessions with the same
// private server:
//     dev/private-slapd run -- build/release/bin/write-speed
// The two take turns batch by batch and each takes the first turn as often as the other. A batch of
// the module is compared with the one next to it, and the median of these ratios decides: whatever
// else the machine does meets both. The lists of modifications of the bare side are built before the
// clock starts; what the module takes to build its own counts against it.
//
// Deleting an entry through the module deletes what is below it first, which takes a search. Its bar
// is the same job with bare libldap, a search and a deletion. The deletion alone is shown too.

#include "BareClient.h"
#include "Figures.h"
#include "LoadedModule.h"
#include "People.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <list>
#include <string>
#include <vector>

namespace
{

using namespace KVR;
using namespace KVR::Bench;

constexpr double leastRatio = 0.95;

/** A person with all that either side needs to write it. */
struct Entry
{
    explicit Entry(const std::string& uid) : dn(personDn(uid)), attributes(person(uid)) {}

    std::string dn;
    Attributes attributes;
    Attributes changes = personChanges();
    BareModifications bareAttributes{attributes, false};
    BareModifications bareChanges{changes, true};
};

/** Entries that point into themselves, so none is ever moved. */
using Batch = std::list<Entry>;

using Operation = std::function<void(Entry&)>;

Batch makeBatch(char side, unsigned size)
{
    Batch batch;
    for (unsigned n = 0; n < size; ++n)
    {
        batch.emplace_back(std::string("write") + side + std::to_string(100000 + n));
    }
    return batch;
}

/** Operations a second. */
double speed(Batch& batch, const Operation& operation)
{
    const auto start = std::chrono::steady_clock::now();
    for (Entry& entry : batch)
    {
        operation(entry);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return static_cast<double>(batch.size()) / taken.count();
}

/** One kind of writing, done by both sides in turn with entries of their own. */
class Duel
{
public:
    Duel(const char* name, Operation module, Operation bare)
        : name_(name), module_(std::move(module)), bare_(std::move(bare))
    {
    }

    void fight(Batch& moduleBatch, Batch& bareBatch, bool moduleFirst)
    {
        if (moduleFirst)
        {
            moduleSpeeds_.push_back(speed(moduleBatch, module_));
        }
        bareSpeeds_.push_back(speed(bareBatch, bare_));
        if (!moduleFirst)
        {
            moduleSpeeds_.push_back(speed(moduleBatch, module_));
        }
        ratios_.push_back(moduleSpeeds_.back() / bareSpeeds_.back());
    }

    void print() const
    {
        std::printf("%-7s %10.0f %14.0f %7.3f   %.3f to %.3f\n", name_, quantile(moduleSpeeds_, 0.5),
                    quantile(bareSpeeds_, 0.5), quantile(ratios_, 0.5), quantile(ratios_, 0.25),
                    quantile(ratios_, 0.75));
    }

    void printVerdict() const
    {
        printBar(std::string("write-") + name_, quantile(moduleSpeeds_, 0.5), quantile(ratios_, 0.5),
                 leastRatio);
    }

private:
    const char* name_;
    Operation module_;
    Operation bare_;
    std::vector<double> moduleSpeeds_;
    std::vector<double> bareSpeeds_;
    std::vector<double> ratios_; /**< of batches that ran one after the other */
};

void measure(unsigned rounds, unsigned size)
{
    LoadedModule loaded(KVR_MODULE_FILE);
    const auto module = loaded.connect();
    BareClient bare;

    Duel add(
        "add", [&](Entry& entry) { module->AddDN(entry.dn, entry.attributes); },
        [&](Entry& entry) { bare.add(entry.dn, entry.bareAttributes); });
    Duel modify(
        "modify", [&](Entry& entry) { module->UpdateDN(entry.dn, entry.changes); },
        [&](Entry& entry) { bare.modify(entry.dn, entry.bareChanges); });
    Duel remove(
        "delete", [&](Entry& entry) { module->DeleteDN(entry.dn); },
        [&](Entry& entry) { bare.removeWithChildren(entry.dn); });
    std::vector<double> removalsAlone;

    Batch moduleBatch = makeBatch('m', size);
    Batch bareBatch = makeBatch('b', size);
    Batch aloneBatch = makeBatch('a', size);
    for (unsigned round = 0; round < rounds; ++round)
    {
        const bool moduleFirst = round % 2 == 0;
        add.fight(moduleBatch, bareBatch, moduleFirst);
        modify.fight(moduleBatch, bareBatch, moduleFirst);
        speed(aloneBatch, [&](Entry& entry) { bare.add(entry.dn, entry.bareAttributes); });
        remove.fight(moduleBatch, bareBatch, moduleFirst);
        removalsAlone.push_back(speed(aloneBatch, [&](Entry& entry) { bare.remove(entry.dn); }));
    }

    std::printf("operations a second, medians of %u batches of %u\n", rounds, size);
    std::printf("            module   bare libldap   ratio   its middle half\n");
    for (const Duel* duel : {&add, &modify, &remove})
    {
        duel->print();
    }
    std::printf("delete without the search below the entry, bare libldap: %.0f\n",
                quantile(removalsAlone, 0.5));
    for (const Duel* duel : {&add, &modify, &remove})
    {
        duel->printVerdict();
    }
}

} // namespace

int main(int count, char** arguments)
{
    unsigned rounds = 40;
    unsigned size = 500;
    CLI::App app("Compares writing through the module with bare libldap.", "write-speed");
    app.add_option("--rounds", rounds, "batches of each kind and side")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--batch", size, "operations of a batch")
        ->check(CLI::Range(1U, 100000U))
        ->capture_default_str();
    CLI11_PARSE(app, count, arguments);
    try
    {
        measure(rounds, size);
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "write-speed: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
