#include "LdifPlan.h"

#include <KVRLdapTypes.h>

#include <algorithm>
#include <unordered_map>

namespace KVR::Cli::Ldif
{

namespace
{

/** Gives every attribute the spelling that came first. */
class Spelling
{
public:
    const std::string& operator()(const std::string& name)
    {
        return first_.emplace(FoldedName(name), name).first->second;
    }

private:
    std::unordered_map<std::string, std::string> first_;
};

const char* wordOf(Modification::Kind kind)
{
    switch (kind)
    {
    case Modification::Kind::Add:
        return "add";
    case Modification::Kind::Delete:
        return "delete";
    case Modification::Kind::Replace:
        break;
    }
    return "replace";
}

char modeOf(const Modification& modification)
{
    switch (modification.kind)
    {
    case Modification::Kind::Add:
        return alADD;
    case Modification::Kind::Delete:
        return modification.values.empty() ? alREMOVEALL : alREMOVE;
    case Modification::Kind::Replace:
        break;
    }
    return alREPLACE;
}

std::string asWritten(const Modification& modification)
{
    return "'" + std::string(wordOf(modification.kind)) + ": " + modification.name + "'";
}

/** A value is passed as a text that ends at a zero byte. */
std::optional<Objection> objectionTo(const NamedValue& value)
{
    if (value.value.find('\0') == std::string::npos)
    {
        return std::nullopt;
    }
    return Objection{value.line, "the value of '" + value.name + "' has a zero byte, which no text can have",
                     "attr set-binary writes such a value"};
}

std::optional<Objection> objectionTo(const Modification& modification)
{
    if (modification.values.empty() && modification.kind == Modification::Kind::Replace)
    {
        return Objection{modification.line, asWritten(modification) + " has no values",
                         "'delete: " + modification.name + "' removes an attribute that is there"};
    }
    if (modification.values.empty() && modification.kind == Modification::Kind::Add)
    {
        return Objection{modification.line, asWritten(modification) + " has no values", ""};
    }
    for (const NamedValue& value : modification.values)
    {
        if (std::optional<Objection> objection = objectionTo(value))
        {
            return objection;
        }
    }
    return std::nullopt;
}

void planAdd(const Record& record, PlannedChange& change)
{
    Spelling spelling;
    change.attributes.reserve(record.attributes.size());
    for (const NamedValue& value : record.attributes)
    {
        std::optional<Objection> objection = objectionTo(value);
        if (!objection && value.value.empty())
        {
            objection = Objection{
                value.line, "the plug-in adds no entry with an empty value of '" + value.name + "'", ""};
        }
        if (objection && !change.objection)
        {
            change.objection = objection;
        }
        change.attributes.emplace_back(spelling(value.name), value.value);
    }
}

/** Position of the first key that is not behind the one before it. */
std::size_t firstOutOfOrder(const std::vector<std::string>& keys)
{
    const auto found = std::adjacent_find(keys.begin(), keys.end(),
                                          [](const auto& left, const auto& right) { return left >= right; });
    return found == keys.end() ? keys.size() : static_cast<std::size_t>(found - keys.begin()) + 1;
}

/**
 * Mode and name of every change. UpdateDN sends its map in order of these keys, and equal ones as one
 * change; the case of names, which decides on the order too, is free.
 */
std::vector<std::string> keysOf(const Record& record, std::optional<Objection>& objection)
{
    Spelling spelling;
    std::vector<std::string> keys;
    std::vector<std::string> lowerKeys;
    for (const Modification& modification : record.modifications)
    {
        keys.push_back(modeOf(modification) + spelling(modification.name));
        lowerKeys.push_back(modeOf(modification) + FoldedName(modification.name));
    }
    const std::size_t wrong = firstOutOfOrder(keys);
    if (wrong == keys.size())
    {
        return keys;
    }
    if (firstOutOfOrder(lowerKeys) < lowerKeys.size())
    {
        const Modification& later = record.modifications[wrong];
        const std::string before = asWritten(record.modifications[wrong - 1]);
        const std::string reason = keys[wrong] == keys[wrong - 1]
                                       ? "would be sent with the one before it as one change"
                                       : "would be sent before " + before;
        objection = Objection{later.line, asWritten(later) + ' ' + reason, "make it a record of its own"};
    }
    return lowerKeys;
}

void planModify(const Record& record, PlannedChange& change)
{
    std::optional<Objection> order;
    const std::vector<std::string> keys = keysOf(record, order);
    std::optional<Objection>& objection = change.objection;
    for (std::size_t index = 0; index < keys.size(); ++index)
    {
        const Modification& modification = record.modifications[index];
        if (!objection)
        {
            objection = objectionTo(modification);
        }
        if (modification.values.empty())
        {
            change.attributes.emplace_back(keys[index], "");
        }
        for (const NamedValue& value : modification.values)
        {
            change.attributes.emplace_back(keys[index], value.value);
        }
    }
    if (!objection)
    {
        objection = order;
    }
}

} // namespace

PlannedChange PlanChange(const Record& record)
{
    PlannedChange change;
    change.line = record.line;
    change.dn = record.dn;
    change.type = record.type;
    change.newRdn = record.newRdn;
    change.objection = record.objection;
    if (record.type == ChangeType::Add)
    {
        planAdd(record, change);
    }
    else if (record.type == ChangeType::Modify)
    {
        planModify(record, change);
    }
    else if (record.dn.find('=') == std::string::npos && !change.objection)
    {
        change.objection = Objection{record.line, "the root entry can be neither deleted nor renamed", ""};
    }
    return change;
}

} // namespace KVR::Cli::Ldif
