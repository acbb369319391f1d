// A fuzzer of libFuzzer for how received entries are read, see EntryInput.h.

#include "EntryInput.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace KVR::Support;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static EntryReader reader;
    const std::string wrong = judgeInput(reader, {reinterpret_cast<const char*>(data), size});
    if (!wrong.empty())
    {
        static_cast<void>(std::fprintf(stderr, "%s\n", wrong.c_str()));
        std::abort();
    }
    return 0;
}
