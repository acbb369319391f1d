#pragma once

#include "HostileTest.h"

#include <filesystem>
#include <iterator>
#include <thread>

namespace KVR
{

/** Number of the process's open descriptors. */
inline std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

/** Waits until the servers have closed what their clients have; false when more descriptors stay open. */
inline bool awaitDescriptors(std::ptrdiff_t count)
{
    const auto deadline = std::chrono::steady_clock::now() + farBeyond;
    while (openDescriptors() > count && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::yield();
    }
    return openDescriptors() <= count;
}

} // namespace KVR
