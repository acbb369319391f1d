#pragma once

#include "EntryReadings.h"
#include "LdapRequest.h"

#include <cstdint>
#include <random>
#include <string>

namespace KVR::Support
{

/** Well-formed answers by chance, the same ones for the same seed. */
class EntryGenerator
{
public:
    explicit EntryGenerator(std::uint32_t seed) : engine_(seed) {}

    /** One to three entries. @param odd with what only the calls by name decide */
    EntryAnswer answer(bool odd);

    /** A number below the limit. */
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(engine_() % limit); }

private:
    std::string content(bool odd);
    Attributes attributes(bool odd);
    std::string name(bool odd);
    std::string value();
    std::string dn(bool odd);
    std::string bytes(std::size_t size);

    std::mt19937 engine_;
};

} // namespace KVR::Support
