#pragma once

#include <cstddef>

namespace KVR::Bench
{

/**
 * Counts the bytes that the whole process, its shared objects included, holds in allocated blocks.
 * A program that links AllocationCounter.cpp has its malloc(3) family replaced. Any thread may
 * allocate; the counts are of all threads together.
 */
class AllocationCounter
{
public:
    /** Bytes in blocks that are not freed yet, as the allocator rounded them up. */
    static std::size_t liveBytes();

    /** The largest value of liveBytes() since the last call of resetPeak(). */
    static std::size_t peakBytes();

    /** Blocks allocated since the start of the process. */
    static std::size_t allocations();

    static void resetPeak();
};

} // namespace KVR::Bench
