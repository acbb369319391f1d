#pragma once

#include <cstddef>

namespace KVR::Support
{

/**
 * In test programs that link the target kvr-allocations, allocations of the current thread can be let
 * fail and counted: those by operator new, and those by calls of malloc(3) in the program's own code,
 * the module's included. What libraries allocate by malloc(3) is left alone.
 *
 * The N-th allocation by one of the two fails, as long as the object lives.
 */
class FailingAllocation
{
public:
    enum class By
    {
        OperatorNew,
        Malloc
    };

    FailingAllocation(By by, long number);
    ~FailingAllocation();

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /** True once the allocation was reached and has failed. */
    bool failed() const;

private:
    long& countdown_;
};

/** Every malloc(3) of exactly this many bytes fails as long as the object lives. */
class RefusedSize
{
public:
    explicit RefusedSize(std::size_t size);
    ~RefusedSize();

    RefusedSize(const RefusedSize&) = delete;
    RefusedSize& operator=(const RefusedSize&) = delete;
};

/** Counts what operator new has done since its construction. */
class CountedAllocations
{
public:
    CountedAllocations();

    /** Calls. */
    long number() const;

    /** Bytes that are not freed, as the allocator rounded them up; less than 0 when former ones are. */
    long bytes() const;

private:
    long before_;
    long bytesBefore_;
};

} // namespace KVR::Support
