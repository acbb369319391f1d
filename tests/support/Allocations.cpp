#include "Allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace
{

/** Allocations up to the one that fails; 0 fails none. */
thread_local long newCountdown = 0;
thread_local long mallocCountdown = 0;

/** The size that malloc(3) refuses; 0 stands for none. */
thread_local std::size_t refusedSize = 0;

thread_local long newCalls = 0;
thread_local long newBytes = 0;

bool failsNow(long& countdown)
{
    return countdown > 0 && --countdown == 0;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's option --wrap names
// them
extern "C"
{
    void* __real_malloc(std::size_t size);
    void* __wrap_malloc(std::size_t size);

    void* __wrap_malloc(std::size_t size)
    {
        const bool refused = refusedSize != 0 && size == refusedSize;
        return refused || failsNow(mallocCountdown) ? nullptr : __real_malloc(size);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

// All forms are replaced: a sanitizer's own ones don't call each other as the library's do.

void* operator new(std::size_t size)
{
    ++newCalls;
    void* const memory = failsNow(newCountdown) ? nullptr : __real_malloc(size > 0 ? size : 1);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    newBytes += static_cast<long>(malloc_usable_size(memory));
    return memory;
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    newBytes -= static_cast<long>(malloc_usable_size(memory));
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

void operator delete[](void* memory) noexcept
{
    operator delete(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

namespace KVR::Support
{

FailingAllocation::FailingAllocation(By by, long number)
    : countdown_(by == By::OperatorNew ? newCountdown : mallocCountdown)
{
    countdown_ = number;
}

FailingAllocation::~FailingAllocation()
{
    countdown_ = 0;
}

bool FailingAllocation::failed() const
{
    return countdown_ == 0;
}

RefusedSize::RefusedSize(std::size_t size)
{
    refusedSize = size;
}

RefusedSize::~RefusedSize()
{
    refusedSize = 0;
}

CountedAllocations::CountedAllocations() : before_(newCalls), bytesBefore_(newBytes) {}

long CountedAllocations::bytes() const
{
    return newBytes - bytesBefore_;
}

long CountedAllocations::number() const
{
    return newCalls - before_;
}

} // namespace KVR::Support
