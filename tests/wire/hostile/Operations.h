#pragma once

#include "LdapAnswer.h"

#include <IKVRLdapConnection.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace KVR
{

/** An operation of a connection that sends requests, and a server that lets it succeed. */
struct TestedOperation
{
    std::string name;
    std::function<void(IKVRLdapConnection&)> run;
    std::function<Support::Answer(const Support::LdapRequest&)> answerSearch;
};

inline std::ostream& operator<<(std::ostream& stream, const TestedOperation& operation)
{
    return stream << operation.name;
}

/** Every operation of a connection, and of its entities, that sends requests after the bind. */
std::vector<TestedOperation> testedOperations();

} // namespace KVR
