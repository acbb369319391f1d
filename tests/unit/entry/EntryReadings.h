#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace KVR::Support
{

/** The answer to a search: what its entries consist of (see entryContent), and how it ends. */
struct EntryAnswer
{
    std::vector<std::string> entries;
    int code = 0;
    std::string behind{};  /**< each entry, in its message */
    std::string between{}; /**< after each entry: the operation of another message, or nothing */

    /** What becomes of the answer's bytes at last; the messages' own tags and lengths are among them. */
    std::function<void(std::string&)> spoil = nullptr;
};

/** How entries are read. */
enum class Road
{
    AsItIs,   /**< by the module */
    ByName,   /**< by the module, while libldap does not show the bytes of entries */
    Reference /**< by a reader of its own that knows the calls by name only */
};

/** The classes of connection and entity: the module's own, or ones that derive and record each call. */
enum class Types
{
    Own,
    OwnConnection, /**< with entities that derive */
    Deriving
};

/** What happens to entities between two fetches. */
enum class EntityUse
{
    Kept,
    Cleared,
    Updated, /**< the local copy */
    MovedFrom,
    Swapped, /**< its attributes, with those of another */
    Edited,
    Shared,    /**< another connection fetches into it */
    Taken,     /**< is of another connection */
    Alternated /**< with another */
};
constexpr int entityUses = 9;

/** Codes that a session may have kept when a walk begins. */
constexpr int keptCodes[] = {0, 4, 3, 11, 32, 49, -4, -11};

/** The circumstances of a reading. */
struct Setting
{
    std::string codeset = "UTF-8"; /**< of the locale */
    Types types = Types::Own;
    EntityUse use = EntityUse::Kept;
    int keptCode = 0;      /**< what the session keeps when the walks begin, if it is not 0 */
    int throwsAt = 0;      /**< number, from 1, of the deriving connection's conversion that throws */
    bool searches = false; /**< each conversion of a deriving connection reads another result of it */
};

/** One of all settings: equal numbers give the same, and those that follow each other all there are. */
Setting settingOf(std::uint32_t number);

/** What can be seen, in order: calls, results, what was thrown, and the session's kept code. */
struct Events
{
    std::string bytes;
    std::vector<std::size_t> ends; /**< of each event in the bytes */

    std::vector<std::string> lines() const;
    bool operator==(const Events& other) const { return ends == other.ends && bytes == other.bytes; }
};

/** What reading an answer has done. */
struct Reading
{
    Events events;
    bool quiet = false;    /**< the first walk came to its end and nothing was thrown */
    int keptCode = 0;      /**< at the end of the first walk, or when it was given up */
    int readInOnePass = 0; /**< entries of the first walk that no call by name was made for */
};

/** The bytes, those that can't be printed as \xNN. */
std::string printable(const std::string& bytes);

/**
 * Reads answers: counts, walks to the end and beyond it, rewinds, counts, and walks once more. Sessions are
 * used again as long as they are sound. One at a time, for it has an LdapInterposer.
 */
class EntryReader
{
public:
    EntryReader();
    ~EntryReader();

    EntryReader(const EntryReader&) = delete;
    EntryReader& operator=(const EntryReader&) = delete;

    Reading read(const EntryAnswer& answer, Road road, const Setting& setting = {});

    /**
     * Reads an answer, which may be damaged, by the reference and by the module: all that can be seen has
     * to be the same.
     * @return "", or what is different
     */
    std::string judge(const EntryAnswer& answer, const Setting& setting = {});

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace KVR::Support
