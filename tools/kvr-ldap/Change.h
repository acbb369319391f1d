#pragma once

#include "Output.h"

#include <string>

namespace KVR::Cli
{

/**
 * What a command did to one thing. People read one line "RESULT [LABEL] OBJECT[REMARK]", as in "added
 * cn=a,dc=example" or "unchanged index cn eq, it is there already".
 */
struct Change
{
    std::string result; /**< one word: added, modified, deleted, renamed, created, removed, unchanged */
    std::string member; /**< name of the object in JSON: "dn" for an entry */
    std::string object;
    std::string label{};  /**< what the object is, for people; a DN says it itself */
    std::string remark{}; /**< for people, with the sign or blank that it begins with */
};

/**
 * Tells the change; in JSON the members are the object and "result". What only one command has to say goes
 * with Output::Member.
 */
void TellChange(Output& output, const Change& change);

/** "1 entry", "2 entries" */
std::string Counted(std::size_t number, const std::string& one, const std::string& many);

} // namespace KVR::Cli
