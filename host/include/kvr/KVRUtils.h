#pragma once

#include <kvr/KVRExport.h>

#include <list>
#include <string>

/** The host's utility functions. Their signatures, by-value arguments included, are fixed. */
namespace KVR
{

/** Copy of the text without white space (as isspace(3) in the "C" locale) at either end. */
KVR_API std::string Trim(const std::string& text);

/**
 * Appends the pieces between the separators to the list; what the list held stays in front.
 * Empty pieces are kept: n separators give n + 1 pieces, an empty text gives one empty piece.
 */
KVR_API void StrTolist(const std::string text, std::list<std::string>& pieces, char separator);

/**
 * DN of a DNS domain, one "dc" component a label: "example.com" gives "dc=example,dc=com".
 * Empty labels are left out; characters that RFC 4514 reserves are escaped.
 */
KVR_API std::string DomainToDn(const std::string domain);

/**
 * Runs a command with "/bin/sh -c" and waits for its end, however long that takes. The command has
 * the caller's environment, inheritable descriptors, ignored signals and signal mask, as with
 * system(3); SIGCHLD has its default meaning there.
 *
 * Several threads may call it at once. The host may handle or ignore SIGCHLD as it likes. Unlike
 * system(3), it ignores no signals meanwhile: one from the terminal, such as Ctrl-C, reaches
 * the host and the command, and each handles it in its own way.
 * @param command a shell command; one with a zero byte is not run
 * @param quiet true discards what the command prints, errors included
 * @return its exit status, 128 + N when signal N ended it, 127 when it could not be run. When the
 *         process that waits for it is killed, 128 + N of that one.
 */
KVR_API int ExecCommand(const std::string command, bool quiet);

/** True when the path names an existing file that is no directory; links are followed. */
KVR_API bool IsFileExist(const std::string path);

/** True when the path exists, whatever it names; links are followed. */
KVR_API bool IsPathExist(const std::string path);

KVR_API bool IsMemberOfList(const std::list<std::string> members, const std::string text);

/** The last component of the path, a pointer into it; "" when the path ends in a slash. */
KVR_API const char* ExtractFileName(const char* path);

/**
 * Changes permission bits, as chmod(2).
 *
 * With `recursive`, everything below a directory gets the same bits. The path itself may be a
 * link; symbolic links inside are neither changed nor followed. Regular files inside with several
 * hard links are left as they are, whoever owns them, and count as failures: a user who may write
 * to the tree can have linked another one's file there. One descriptor is open for each level of
 * the tree. Neither /proc nor the right to read files is needed, but before Linux 6.6 one of them.
 * @param mode the permission bits of inode(7)
 * @return true when every change succeeded; the others are made all the same
 */
KVR_API bool Chmod(const std::string path, unsigned int mode, bool recursive);

/**
 * Changes owner and group, as chown(2), given by name or by number; an empty name leaves that one
 * as it is, and a name with a zero byte is unknown.
 *
 * With `recursive`, everything below a directory follows, symbolic links themselves included. What
 * Chmod says about links, hard links and descriptors is so here.
 * @return true when both names are known and every change succeeded; nothing is changed when a
 *         name is unknown, and the other changes are made when one fails
 */
KVR_API bool Chown(const std::string path, const std::string user, const std::string group, bool recursive);

/** Character set that stands in when the locale names none, "UTF-8" until SetDefaultCodeset. */
KVR_API std::string DefaultCodeset();

/**
 * Any thread may call it.
 * @param codeset a name that iconv_open(3) knows; what it does not know fails where it is used
 * @throws EKVRCheckError when the name contains a zero byte; the old one stays
 */
KVR_API void SetDefaultCodeset(const std::string& codeset);

} // namespace KVR
