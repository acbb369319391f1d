#pragma once

#include "Console.h"
#include "Failure.h"

#include <IKVRLdapEntity.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace KVR::Cli
{

/** An object in a list; what is unknown has no value. */
using Row = std::vector<std::pair<std::string, std::variant<std::monostate, std::string, std::int64_t>>>;

/** Value of a member in JSON; what is unknown has none. */
using Datum =
    std::variant<std::monostate, bool, std::string, std::uint64_t, std::list<std::string>, std::vector<Row>>;

/**
 * What a command found, in one of the forms of --output. A command calls the operations in the
 * order in which a reader wants them; every name is given once.
 */
class Output
{
public:
    virtual ~Output() = default;

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /** Begins the answer of a search. @param truncated true when the server cut it */
    virtual void BeginEntries(bool truncated) = 0;
    virtual void EndEntries() = 0;

    /** An entry of the answer, or the one entry that the command is about. */
    virtual void Entry(const IKVRLdapEntity& entity) = 0;

    /**
     * One thing that is known, or not when the value is empty.
     * @param name name in JSON, @param label the same for people
     */
    virtual void Fact(const std::string& name, const std::string& label, const std::string& value) = 0;

    /** A point in time, in generalized time. */
    virtual void Time(const std::string& name, const std::string& label, const std::string& value) = 0;

    virtual void List(const std::string& name, const std::list<std::string>& values) = 0;

    /** One line for people; JSON leaves it out. */
    virtual void Line(const std::string& text) = 0;

    /** One thing for programs, which people are told by Line; an empty text stays one. */
    virtual void Member(const std::string& name, const Datum& value) = 0;

    /** Bytes, as they are for people, who send them to a file or a program. @throws Failure at a terminal */
    virtual void Binary(const std::string& bytes) = 0;

    /** Ends the answer of a command that succeeded. */
    virtual void Finish() = 0;

    /** Ends the answer of a command that failed, wherever that was. */
    virtual void Fail(const Failure& failure) = 0;

protected:
    Output() = default;
};

enum class OutputForm
{
    Text,
    Json,
    Ldif
};

/** @param command name of the command, which JSON repeats */
std::unique_ptr<Output> MakeOutput(OutputForm form, const std::string& command, StandardOutput& out,
                                   const Charset& charset);

/** @name The forms, by file
 * @{ */
std::unique_ptr<Output> MakeTextOutput(StandardOutput& out, const Charset& charset);
std::unique_ptr<Output> MakeJsonOutput(const std::string& command, StandardOutput& out);
std::unique_ptr<Output> MakeLdifOutput(StandardOutput& out);
/** @} */

} // namespace KVR::Cli
