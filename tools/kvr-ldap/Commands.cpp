#include "Commands.h"

#include <algorithm>

namespace KVR::Cli
{

namespace
{

/** A command's own name, and the application or group that it belongs to. */
struct Place
{
    CLI::App& parent;
    std::string name;
};

Place placeOf(CLI::App& app, const std::string& name)
{
    const std::size_t blank = name.find(' ');
    if (blank == std::string::npos)
    {
        return {app, name};
    }
    return placeOf(*app.get_subcommand(name.substr(0, blank)), name.substr(blank + 1));
}

} // namespace

void CommandTable::AddGroup(const std::string& name, const std::string& description)
{
    const Place place = placeOf(app_, name);
    CLI::App* const group = place.parent.add_subcommand(place.name, description);
    group->fallthrough();
    group->require_subcommand(1);
    group->footer("Arguments and examples: kvr-ldap " + name + " COMMAND --help\n");
}

CLI::App& CommandTable::Add(const CommandText& text, LdifForm ldif, const Action& action)
{
    const Place place = placeOf(app_, text.name);
    CLI::App* const command = place.parent.add_subcommand(place.name, text.description);
    command->fallthrough();
    command->footer("Examples:\n" + text.examples + "\nGlobal options and exit codes: kvr-ldap --help\n");
    const bool hasLdif = ldif == LdifForm::Entries;
    command->callback([this, command, hasLdif, action] { chosen_ = {NameOf(*command), hasLdif, action}; });
    return *command;
}

CLI::Option& AddRepeated(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                         const std::string& form, const std::string& help)
{
    return *command.add_option(name, values, help)
                ->type_name(form)
                ->expected(1)
                ->take_all()
                ->allow_extra_args(false);
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
