#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * Stands in for the host's functions of files and commands, in test programs that link the target
 * kvr-host-calls: nothing is looked up, run or changed. It records every call in order, as the
 * function's name and its arguments separated by blanks.
 *
 * One object at a time is in effect; without one nothing exists and every call fails.
 */
class HostCalls
{
public:
    HostCalls();
    ~HostCalls();

    HostCalls(const HostCalls&) = delete;
    HostCalls& operator=(const HostCalls&) = delete;

    std::vector<std::string> calls;

    std::set<std::string> paths; /**< what IsPathExist finds */
    std::set<std::string> files; /**< what IsFileExist finds */
    int exitStatus = 0;          /**< of ExecCommand */
    bool changesRights = true;   /**< result of Chmod and Chown */

    /** Lets the named function throw std::runtime_error with the function's name. */
    std::string throwing;

    /** Records a call. */
    void enter(const std::string& function, const std::string& arguments);
};

} // namespace KVR::Support
