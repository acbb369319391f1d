#pragma once

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
    bool quiet;

    std::string Utf8(const std::string& argument) const { return Utf8Argument(charset, argument); }
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
    std::string name;
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

    /** Adds a command; its options and arguments are added to what is returned. */
    CLI::App& Add(const CommandText& text, LdifForm ldif, const Action& action);

    /** Name of the command that was parsed, up to where the user got; "" for none. */
    static std::string NameOf(const CLI::App& app);

    const Chosen& Choice() const { return chosen_; }

private:
    CLI::App& app_;
    Chosen chosen_;
};

/** Adds a positional argument. A list of them splits "[a,b]" into two, as the parser does. */
template <typename Value>
CLI::Option& AddArgument(CLI::App& command, const std::string& name, Value& value, const std::string& help)
{
    return *command.add_option(name, value, help)->type_name("");
}

/** Adds an option that takes one of these words. */
CLI::Option& AddChoice(CLI::App& command, const std::string& name, std::string& value,
                       const std::vector<std::string>& words, const std::string& help);

/** @name Groups of commands
 * @{ */
void AddModuleCommands(CommandTable& table);
void AddSearchCommands(CommandTable& table);
/** @} */

} // namespace KVR::Cli
