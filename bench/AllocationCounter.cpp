#include "AllocationCounter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

// The allocator of glibc under the names that stay its own when malloc(3) is replaced.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library chose them
extern "C"
{
    void* __libc_malloc(std::size_t size);
    void* __libc_calloc(std::size_t count, std::size_t size);
    void* __libc_realloc(void* block, std::size_t size);
    void* __libc_memalign(std::size_t alignment, std::size_t size);
    void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace
{

std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};
std::atomic<std::size_t> blocks{0};

void* counted(void* block)
{
    if (block != nullptr)
    {
        const std::size_t size = malloc_usable_size(block);
        const std::size_t now = live.fetch_add(size) + size;
        std::size_t highest = peak.load();
        while (now > highest && !peak.compare_exchange_weak(highest, now))
        {
        }
        ++blocks;
    }
    return block;
}

void uncount(void* block)
{
    live -= block == nullptr ? 0 : malloc_usable_size(block);
}

} // namespace

// Seen by the shared objects too: the project's programs hide their functions otherwise.
#pragma GCC visibility push(default)
extern "C"
{
    void* malloc(std::size_t size)
    {
        return counted(__libc_malloc(size));
    }

    void* calloc(std::size_t count, std::size_t size)
    {
        return counted(__libc_calloc(count, size));
    }

    void* realloc(void* block, std::size_t size)
    {
        const std::size_t former = block == nullptr ? 0 : malloc_usable_size(block);
        void* moved = __libc_realloc(block, size);
        // Without a new block the old one stays, unless the size of 0 asked to free it.
        if (moved != nullptr || size == 0)
        {
            live -= former;
        }
        return counted(moved);
    }

    void* memalign(std::size_t alignment, std::size_t size)
    {
        return counted(__libc_memalign(alignment, size));
    }

    void* aligned_alloc(std::size_t alignment, std::size_t size)
    {
        return counted(__libc_memalign(alignment, size));
    }

    int posix_memalign(void** block, std::size_t alignment, std::size_t size)
    {
        *block = counted(__libc_memalign(alignment, size));
        return *block == nullptr ? ENOMEM : 0;
    }

    void free(void* block)
    {
        uncount(block);
        __libc_free(block);
    }
}

#pragma GCC visibility pop

namespace KVR::Bench
{

std::size_t AllocationCounter::liveBytes()
{
    return live;
}

std::size_t AllocationCounter::peakBytes()
{
    return peak;
}

std::size_t AllocationCounter::allocations()
{
    return blocks;
}

void AllocationCounter::resetPeak()
{
    peak = live.load();
}

} // namespace KVR::Bench
