#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/**
 * The program's own versions of the C library's calls that change files and find accounts: they let
 * a test see a change of owner without the right to make it, let one change fail, act between two
 * steps of a walk, and stand for another machine.
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

/** Names of the entries that were opened to read or write them. */
extern std::vector<std::string> opened;

/** True stands for a kernel before 6.6, which has no fchmodat2(2). */
extern bool oldKernel;

/** True stands for a machine where /proc is not mounted, as far as changes go. */
extern bool withoutProc;

/** Name of a user and a group with the id 1234 and a record that needs 5000 bytes. */
extern std::string largeAccount;

/** Called with the name of an entry before and after the walk looks at it. */
extern std::function<void(const std::string&)> beforeLook;
extern std::function<void(const std::string&)> afterLook;

void Reset();

} // namespace KVR::Test::FileCalls
