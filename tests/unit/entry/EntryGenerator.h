#pragma once

#include "EntryReadings.h"
#include "LdapRequest.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

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
    /** How lengths are written. */
    enum class Encoding
    {
        Short,
        FourOctets,
        Legal, /**< in one to nine octets */
        Odd    /**< also with more octets than a number has room for, and behind unusual tags */
    };

    std::string content(bool odd);
    std::string part(char tag, const std::string& content);
    Attributes attributes(bool odd);
    std::vector<std::string> names(bool odd);
    void changeNames();
    std::string name(bool odd);
    std::string value();
    std::string dn(bool odd);
    std::string bytes(std::size_t size);

    std::mt19937 engine_;
    Encoding encoding_ = Encoding::Short;
    std::vector<std::string> names_; /**< of the last entry */
};

} // namespace KVR::Support
