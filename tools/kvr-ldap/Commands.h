#pragma once

#include "Arguments.h"
#include "Output.h"
#include "Session.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace KVR::Cli
{

/** What a command works with. */
struct Context
{
    Session& session;
    Output& output;
    const Messages& messages;
    const Charset& charset;
    const std::string& command; /**< its name, with the names of its groups in front */
    bool quiet;
    bool withPlace; /**< failures name the place in the module's sources */

    std::string Utf8(const std::string& argument) const { return Utf8Argument(charset, argument); }
    std::string Dn(const std::string& argument) const { return DnArgument(charset, command, argument); }
    std::string Attribute(const std::string& argument) const
    {
        return AttributeArgument(charset, command, argument);
    }
    std::pair<std::string, std::string> Assignment(const std::string& argument) const
    {
        return AssignmentArgument(charset, command, argument);
    }

    Failure UsageFailure(const std::string& why, const std::string& hint = "") const
    {
        return {ExitCode::Usage, command, why, hint};
    }
};

using Action = std::function<void(Context&)>;

/** The command that the user chose. */
struct Chosen
{
    std::string name; /**< with the names of its groups in front */
    bool hasLdif = false;
    Action action;
};

/** What is told about a command in the help. */
struct CommandText
{
    std::string name; /**< with the names of its groups in front */
    std::string description;
    std::string examples; /**< one a line */
};

enum class LdifForm
{
    None,
    Entries
};

/** Collects the commands; each file below commands/ adds its own. */
class CommandTable
{
public:
    explicit CommandTable(CLI::App& app) : app_(app) {}

    /** Adds a group; its commands come after it. */
    void AddGroup(const std::string& name, const std::string& description);

    /** Adds a command; its options and arguments are added to what is returned. */
    CLI::App& Add(const CommandText& text, LdifForm ldif, const Action& action);

    /** Name of the command that was parsed, up to where the user got; "" for none. */
    static std::string NameOf(const CLI::App& app);

    const Chosen& Choice() const { return chosen_; }

private:
    CLI::App& app_;
    Chosen chosen_;
};

/** Adds a positional argument; one with a list of values may be repeated. */
template <typename Value>
CLI::Option& AddArgument(CLI::App& command, const std::string& name, Value& value, const std::string& help)
{
    return *command.add_option(name, value, help)->type_name("");
}

/** Adds an option with a value that may be repeated. */
CLI::Option& AddRepeated(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                         const std::string& form, const std::string& help);

/** Adds an option that takes one of these words. */
CLI::Option& AddChoice(CLI::App& command, const std::string& name, std::string& value,
                       const std::vector<std::string>& words, const std::string& help);

/** @name Groups of commands
 * @{ */
void AddAccessCommands(CommandTable& table);
void AddAttributeCommands(CommandTable& table);
void AddDeleteCommand(CommandTable& table);
void AddEntryCommands(CommandTable& table);
void AddLimitCommands(CommandTable& table);
void AddLoadCommand(CommandTable& table);
void AddModuleCommands(CommandTable& table);
void AddOverviewCommands(CommandTable& table);
void AddProviderCommands(CommandTable& table);
void AddReplicationCommands(CommandTable& table);
void AddSchemaCommands(CommandTable& table);
void AddSearchCommands(CommandTable& table);
void AddSettingCommands(CommandTable& table);
void AddUnitCommand(CommandTable& table);
/** @} */

} // namespace KVR::Cli
