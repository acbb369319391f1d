// A fuzzer of libFuzzer: the first byte chooses the result's code and the character set, the others are
// what a search entry consists of.

#include "EntryBytes.h"
#include "EntryReadings.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace KVR::Support;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const EntryAnswer answer{{bytes, entryContent("cn=b", {{"cn", {"b"}}})}, (*data & 1) != 0 ? 4 : 0, ""};
    const std::string wrong = judgeDamaged(answer, {(*data & 2) != 0 ? "ISO-8859-1" : "UTF-8"});
    if (!wrong.empty())
    {
        static_cast<void>(std::fprintf(stderr, "%s\n", wrong.c_str()));
        std::abort();
    }
    return 0;
}
