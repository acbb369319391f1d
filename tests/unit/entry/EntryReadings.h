#pragma once

#include <functional>
#include <string>
#include <vector>

namespace KVR::Support
{

/** The answer to a search: what its entries consist of (see entryContent), and how it ends. */
struct EntryAnswer
{
    std::vector<std::string> entries;
    int code = 0;
    std::string behind; /**< each entry, in its message */

    /** What becomes of the answer's bytes at last; the messages' own tags and lengths are among them. */
    std::function<void(std::string&)> spoil = nullptr;
};

/** How entries are read. */
enum class Road
{
    AsItIs,    /**< by the module */
    ByName,    /**< by the module, while the calls in place fail */
    Reference, /**< by a reader of its own that knows the calls by name only */
};

/** What the connection's Utf8ToLocal does before it converts. */
struct Conversion
{
    std::string codeset = "UTF-8"; /**< of the locale */
    int throwsAt = 0;              /**< number, from 1, of the conversion that throws; 0 is none */
    bool searches = false;         /**< each conversion reads another result of the same connection */
};

/** What reading an answer has done. */
struct Reading
{
    /** All that can be seen, in order: calls, results, what was thrown, and the session's kept code. */
    std::vector<std::string> events;

    std::size_t firstWalk = 0; /**< number of events to the end of the first walk */

    bool quiet = false;  /**< the first walk came to its end and nothing was thrown */
    int keptCode = 0;    /**< at the end of the first walk, or when it was given up */
    int readInPlace = 0; /**< entries of the first walk that no call by name was made for */
};

/** Counts, walks to the end and beyond it, rewinds, counts, and walks once more. */
Reading readAnswer(const EntryAnswer& answer, Road road, const Conversion& conversion = {});

/** The bytes, those that can't be printed as \xNN; long ones are told by size and hash. */
std::string printable(const std::string& bytes);

/**
 * Reads bytes that may be damaged, by the reference and by the module: they have to read them alike.
 * Only where the heads between DN and first attribute are not what they are in every entry the module
 * may be the one that says so, by ending the walk with the code -4, and may read otherwise later.
 * @return "", or what is wrong
 */
std::string judgeDamaged(const EntryAnswer& answer, const Conversion& conversion = {});

} // namespace KVR::Support
