#include "Commands.h"

#include <algorithm>

namespace KVR::Cli
{

CLI::App& CommandTable::Add(const CommandText& text, LdifForm ldif, const Action& action)
{
    CLI::App* const command = app_.add_subcommand(text.name, text.description);
    command->fallthrough();
    command->footer("Examples:\n" + text.examples + "\nGlobal options and exit codes: kvr-ldap --help\n");
    const bool hasLdif = ldif == LdifForm::Entries;
    command->callback([this, command, hasLdif, action] { chosen_ = {NameOf(*command), hasLdif, action}; });
    return *command;
}

CLI::Option& AddChoice(CLI::App& command, const std::string& name, std::string& value,
                       const std::vector<std::string>& words, const std::string& help)
{
    std::string form;
    for (const std::string& word : words)
    {
        form += (form.empty() ? "" : "|") + word;
    }
    const auto check = [words, form](const std::string& given)
    {
        const bool known = std::find(words.begin(), words.end(), given) != words.end();
        return known ? std::string() : "'" + given + "' is none of " + form;
    };
    return *command.add_option(name, value, help)->check(check)->type_name(form);
}

std::string CommandTable::NameOf(const CLI::App& app)
{
    if (app.get_parent() == nullptr)
    {
        return "";
    }
    const std::string group = NameOf(*app.get_parent());
    return group.empty() ? app.get_name() : group + ' ' + app.get_name();
}

} // namespace KVR::Cli
