#include "FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace
{

/** Allocations up to the one that fails; 0 fails none. */
thread_local long newCountdown = 0;
thread_local long mallocCountdown = 0;

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
        return failsNow(mallocCountdown) ? nullptr : __real_malloc(size);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

void* operator new(std::size_t size)
{
    void* const memory = failsNow(newCountdown) ? nullptr : __real_malloc(size > 0 ? size : 1);
    if (memory == nullptr)
    {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
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

} // namespace KVR::Support
