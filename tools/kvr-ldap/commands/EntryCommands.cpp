#include "../Change.h"
#include "../Commands.h"
#include "../DistinguishedName.h"

#include <IKVRLdapConnection.h>
#include <kvr/KVRUtils.h>

#include <algorithm>
#include <map>
#include <set>

namespace KVR::Cli
{

namespace
{

using AttributeMap = std::multimap<std::string, std::string>;

struct AddArguments
{
    std::string dn;
    std::vector<std::string> attributes;
};

struct ModifyArguments
{
    std::string dn;
    std::vector<std::string> adds;
    std::vector<std::string> removes;
    std::vector<std::string> replacements;
    std::vector<std::string> clears;
};

struct RenameArguments
{
    std::string dn;
    std::string rdn;
};

/** Spelling of attribute names: the first one stands for all, since the map tells them apart by case. */
class Spelling
{
public:
    std::string Of(const std::string& name)
    {
        const auto known =
            std::find_if(names_.begin(), names_.end(),
                         [&name](const std::string& each) { return IsSameAttribute(each, name); });
        return known == names_.end() ? names_.emplace_back(name) : *known;
    }

private:
    std::vector<std::string> names_;
};

void add(Context& context, const AddArguments& arguments)
{
    const std::string dn = context.Dn(arguments.dn);
    AttributeMap attributes;
    Spelling spelling;
    for (const std::string& argument : arguments.attributes)
    {
        const auto [name, value] = context.Assignment(argument);
        if (value.empty())
        {
            throw context.UsageFailure("the value of '" + name + "' is empty",
                                       "leave out an attribute that has no value");
        }
        attributes.emplace(spelling.Of(name), value);
    }
    context.session.Connection().AddDN(dn, attributes);
    TellChange(context.output, {"added", "dn", dn});
}

/** Changes of one entry, as UpdateDN takes them, and what may not stand together in them. */
class Changes
{
public:
    explicit Changes(const Context& context) : context_(context) {}

    void Add(alOPERATION mode, const std::vector<std::string>& assignments)
    {
        for (const std::string& argument : assignments)
        {
            const auto [name, value] = context_.Assignment(argument);
            Put(mode, spelling_.Of(name), value);
        }
    }

    void Clear(const std::vector<std::string>& arguments)
    {
        for (const std::string& argument : arguments)
        {
            Put(alREMOVEALL, spelling_.Of(context_.Attribute(argument)), "");
        }
    }

    /** The map, whose order is that of the request. @throws Failure for what is only half meant */
    AttributeMap Checked() const
    {
        if (map_.empty())
        {
            throw context_.UsageFailure("nothing is to be changed",
                                        "--add, --remove, --replace and --clear say what");
        }
        for (const auto& [name, modes] : modes_)
        {
            // Each of them undoes what was sent before it, or needs what was taken away before it.
            Refuse(name, modes, alREMOVEALL, alREPLACE);
            Refuse(name, modes, alREMOVEALL, alREMOVE);
            Refuse(name, modes, alADD, alREPLACE);
            Refuse(name, modes, alREMOVE, alREPLACE);
        }
        RefuseAddedAndRemoved();
        return map_;
    }

private:
    using Modes = std::set<alOPERATION>;

    static std::string OptionOf(alOPERATION mode)
    {
        switch (mode)
        {
        case alADD:
            return "--add";
        case alREMOVE:
            return "--remove";
        case alREPLACE:
            return "--replace";
        default:
            return "--clear";
        }
    }

    void Put(alOPERATION mode, const std::string& name, const std::string& value)
    {
        modes_[name].insert(mode);
        map_.emplace(static_cast<char>(mode) + name, value);
    }

    void Refuse(const std::string& name, const Modes& modes, alOPERATION one, alOPERATION other) const
    {
        if (modes.count(one) > 0 && modes.count(other) > 0)
        {
            throw context_.UsageFailure(
                OptionOf(one) + " and " + OptionOf(other) + " of '" + name + "' exclude each other",
                "--replace sets all values of an attribute, --clear takes them all away");
        }
    }

    void RefuseAddedAndRemoved() const
    {
        for (const auto& [key, value] : map_)
        {
            if (key.front() != static_cast<char>(alADD))
            {
                continue;
            }
            const auto [first, end] = map_.equal_range(static_cast<char>(alREMOVE) + key.substr(1));
            const auto isValue = [&added = value](const auto& removed) { return removed.second == added; };
            if (std::any_of(first, end, isValue))
            {
                throw context_.UsageFailure("the same value of '" + key.substr(1) + "' is added and removed");
            }
        }
    }

    const Context& context_;
    Spelling spelling_;
    AttributeMap map_;
    std::map<std::string, Modes> modes_;
};

void modify(Context& context, const ModifyArguments& arguments)
{
    const std::string dn = context.Dn(arguments.dn);
    Changes changes(context);
    changes.Add(alADD, arguments.adds);
    changes.Add(alREMOVE, arguments.removes);
    changes.Add(alREPLACE, arguments.replacements);
    changes.Clear(arguments.clears);
    AttributeMap map = changes.Checked();
    context.session.Connection().UpdateDN(dn, map);
    TellChange(context.output, {"modified", "dn", dn});
}

void rename(Context& context, const RenameArguments& arguments)
{
    const std::string dn = context.Dn(arguments.dn);
    const std::string rdn = Trim(context.Utf8(arguments.rdn));
    const Dn rdns = RdnsOf(context.command, dn);
    const std::optional<Dn> given = ParseDn(rdn);
    if (!given || given->size() != 1)
    {
        throw context.UsageFailure("'" + rdn + "' is no RDN",
                                   "it is one NAME=VALUE, with a \"\\\" before a comma in the value");
    }
    std::string newDn = rdn;
    std::for_each(rdns.begin() + 1, rdns.end(), [&newDn](const Rdn& each) { newDn += ',' + each.text; });

    context.session.Connection().RenameDN(dn, rdn);
    TellChange(context.output, {"renamed", "dn", dn, "", " to " + newDn});
    context.output.Member("newDn", newDn);
}

void addAdd(CommandTable& table)
{
    const auto arguments = std::make_shared<AddArguments>();
    CLI::App& command =
        table.Add({"add", "Add an entry",
                   "  kvr-ldap add ou=guests,dc=example,dc=com objectClass=organizationalUnit ou=guests\n"
                   "  kvr-ldap add cn=ann,ou=guests,dc=example,dc=com objectClass=person cn=ann sn=Smith \\\n"
                   "      'description=two words' description=another\n"},
                  LdifForm::None, [arguments](Context& context) { add(context, *arguments); });
    AddArgument(command, "DN", arguments->dn, "DN of the new entry").required();
    AddArgument(command, "NAME=VALUE", arguments->attributes,
                "its attributes; one with several values comes several times")
        .required();
}

void addModify(CommandTable& table)
{
    const auto arguments = std::make_shared<ModifyArguments>();
    CLI::App& command =
        table.Add({"modify", "Change attributes of an entry, all of them or none",
                   "  kvr-ldap modify cn=ann,dc=example,dc=com --replace sn=Jones --clear telephoneNumber\n"
                   "  kvr-ldap modify cn=ann,dc=example,dc=com --add mail=ann@example.com \\\n"
                   "      --remove mail=old@example.com\n"
                   "  kvr-ldap modify cn=ann,dc=example,dc=com --clear mail --add mail=only@example.com\n"},
                  LdifForm::None, [arguments](Context& context) { modify(context, *arguments); });
    AddArgument(command, "DN", arguments->dn, "DN of the entry").required();
    AddRepeated(command, "--add", arguments->adds, "NAME=VALUE", "add a value");
    AddRepeated(command, "--remove", arguments->removes, "NAME=VALUE", "remove a value");
    AddRepeated(command, "--replace", arguments->replacements, "NAME=VALUE",
                "set the attribute to this value, or to all that are given so");
    AddRepeated(command, "--clear", arguments->clears, "NAME", "remove the attribute, which must be there");
}

void addRename(CommandTable& table)
{
    const auto arguments = std::make_shared<RenameArguments>();
    CLI::App& command =
        table.Add({"rename", "Give an entry another RDN, which replaces the old one",
                   "  kvr-ldap rename cn=ann,ou=guests,dc=example,dc=com cn=anna\n"
                   "  kvr-ldap rename 'cn=ann,dc=example,dc=com' 'cn=Smith\\, Ann'\n"},
                  LdifForm::None, [arguments](Context& context) { rename(context, *arguments); });
    AddArgument(command, "DN", arguments->dn, "DN of the entry").required();
    AddArgument(command, "RDN", arguments->rdn, "its new RDN; the entry stays under its parent").required();
}

} // namespace

void AddEntryCommands(CommandTable& table)
{
    addAdd(table);
    addModify(table);
    addRename(table);
}

} // namespace KVR::Cli
