#pragma once

#include <map>
#include <string>

namespace KVR::Bench
{

using Attributes = std::multimap<std::string, std::string>;

/** DN of the person of this number below ou=people of the private server. */
std::string personDn(const std::string& uid);

/** Attributes of a person as dev/people.awk makes them: 15 types, 20 values. */
Attributes person(const std::string& uid);

/** What a person's move to another desk changes: one value replaced, one added, one attribute removed. */
Attributes personChanges();

} // namespace KVR::Bench
