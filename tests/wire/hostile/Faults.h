#pragma once

#include "LdapAnswer.h"

#include <functional>
#include <string>
#include <vector>

namespace KVR
{

/** What a server may do instead of answering a request. */
struct Fault
{
    std::string name;
    std::function<Support::Answer(const Support::LdapRequest&)> answer;

    /** Writes and binds, which are reported as libldap's synchronous calls return them, look done. */
    bool looksDone = false;

    /** Every later request meets it as well. */
    bool isLasting = false;
};

/**
 * The faults of the matrix.
 * @param here the server's own URI
 * @param silent URI of a server that takes connections and never answers
 */
std::vector<Fault> faults(const std::string& here, const std::string& silent);

} // namespace KVR
