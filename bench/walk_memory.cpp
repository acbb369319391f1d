// Memory that the walk over a large result needs beyond the result itself, which the LDAP library
// holds. Run it with a private server:
//     dev/private-slapd run --entries 100000 -- build/dev/bin/walk-memory
// It loads the module as any host does, prints the figures and fails when they are too large.

#include "AllocationCounter.h"
#include "LoadedModule.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{

using namespace KVR;
using Bench::AllocationCounter;

constexpr std::size_t limit = 256UL * 1024;

std::size_t walk(IKVRLdapQuery& query)
{
    std::size_t entries = 0;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query.Fetch(entity))
    {
        ++entries;
    }
    return entries;
}

bool measure(IKVRLdapConnection& connection)
{
    const std::string base = Bench::serverVariable("KVR_TEST_LDAP_SUFFIX");
    std::list<std::string> allAttributes;
    const std::size_t before = AllocationCounter::liveBytes();
    const auto query = connection.Search(base, "(objectClass=*)", allAttributes, alSCOPE_SUB);
    if (!query)
    {
        throw std::runtime_error("there is no entry " + base);
    }

    const std::size_t withResult = AllocationCounter::liveBytes();
    if (withResult == before)
    {
        throw std::runtime_error("the allocations of the libraries are not counted");
    }
    const std::size_t blocksBefore = AllocationCounter::allocations();
    AllocationCounter::resetPeak();
    const std::size_t entries = walk(*query);
    const std::size_t peak = AllocationCounter::peakBytes() - withResult;
    const std::size_t left = AllocationCounter::liveBytes() - withResult;

    std::printf("entries walked              %12zu\n", entries);
    std::printf("bytes of the result         %12zu\n", withResult - before);
    std::printf("blocks allocated by the walk%12zu\n", AllocationCounter::allocations() - blocksBefore);
    std::printf("most bytes live in the walk %12zu\n", peak);
    std::printf("bytes live after the walk   %12zu\n", left);
    std::printf("limit                       %12zu\n", limit);
    return peak < limit && left < limit;
}

} // namespace

int main()
{
    try
    {
        Bench::LoadedModule module(KVR_MODULE_FILE);
        const bool small = measure(*module.connect());
        std::puts(small ? "the walk stays below the limit" : "the walk needs too much memory");
        return small ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    catch (const std::exception& error)
    {
        std::cerr << "walk-memory: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
