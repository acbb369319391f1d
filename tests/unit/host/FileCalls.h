#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/**
 * The program's own versions of the C library's calls that change files: they let a test see a
 * change of owner without the right to make it, let one change fail, and act between two steps of
 * a walk.
 */
namespace KVR::Test::FileCalls
{

struct Owner
{
    std::string path;
    uid_t user;
    gid_t group;
    bool follows; /**< a link in the last component is followed */
};

/** Changes of owners so far. */
extern std::vector<Owner> owners;

/** True makes the changes of owners. */
extern bool changeOwners;

/** Name of an entry whose change fails. */
extern std::string failing;

/** Name of a folder that can't be opened until its bits were changed. */
extern std::string unreadable;

/** Called with the name of an entry before and after the walk looks at it. */
extern std::function<void(const std::string&)> beforeLook;
extern std::function<void(const std::string&)> afterLook;

void Reset();

} // namespace KVR::Test::FileCalls
