#include "HostCalls.h"

#include <kvr/KVRUtils.h>

#include <sstream>
#include <stdexcept>

namespace KVR
{

namespace
{

Support::HostCalls* current = nullptr;

} // namespace

namespace Support
{

HostCalls::HostCalls()
{
    current = this;
}

HostCalls::~HostCalls()
{
    current = nullptr;
}

void HostCalls::enter(const std::string& function, const std::string& arguments)
{
    calls.push_back(function + " " + arguments);
    if (function == throwing)
    {
        throw std::runtime_error(function);
    }
}

} // namespace Support

// A program's own functions come before those of the shared libraries that it uses.

bool IsPathExist(const std::string path)
{
    if (current == nullptr)
    {
        return false;
    }
    current->enter("IsPathExist", path);
    return current->paths.count(path) != 0;
}

bool IsFileExist(const std::string path)
{
    if (current == nullptr)
    {
        return false;
    }
    current->enter("IsFileExist", path);
    return current->files.count(path) != 0;
}

int ExecCommand(const std::string command, bool quiet)
{
    if (current == nullptr)
    {
        return 127;
    }
    current->enter("ExecCommand", command + (quiet ? " quietly" : " aloud"));
    return current->exitStatus;
}

bool Chmod(const std::string path, unsigned int mode, bool recursive)
{
    if (current == nullptr)
    {
        return false;
    }
    std::ostringstream arguments;
    arguments << path << " 0" << std::oct << mode << (recursive ? " recursive" : "");
    current->enter("Chmod", arguments.str());
    return current->changesRights;
}

bool Chown(const std::string path, const std::string user, const std::string group, bool recursive)
{
    if (current == nullptr)
    {
        return false;
    }
    current->enter("Chown", path + " " + user + " " + group + (recursive ? " recursive" : ""));
    return current->changesRights;
}

} // namespace KVR
