#pragma once

#include "Output.h"

#include <list>
#include <optional>
#include <string>
#include <vector>

namespace KVR
{
class IKVRLdapConnection;
}

/** What the commands know of the server's configuration beyond what the plug-in's operations tell. */
namespace KVR::Cli
{

struct Context;

/** Name of the server's main database, such as "{1}hdb". */
extern const std::string mainDatabaseName;

/** DN of its entry in the configuration tree. */
extern const std::string mainDatabaseDn;

/** @throws Failure, or what the plug-in says where the user can't see the configuration at all */
void RequireMainDatabase(IKVRLdapConnection& connection, const std::string& command);

/** @throws Failure also when the main database is missing */
void RequireUniqueness(IKVRLdapConnection& connection, const std::string& command);

/**
 * Keeps the log silent as long as it lives, unless the user asked for more of it: a part of the
 * configuration without values is no failure.
 */
class SilentLog
{
public:
    SilentLog();
    ~SilentLog();

    SilentLog(const SilentLog&) = delete;
    SilentLog& operator=(const SilentLog&) = delete;

private:
    const int level_;
};

/** True when the texts differ at most in letter case and blanks, which the server passes over. */
bool IsAlike(const std::string& one, const std::string& other);

/** The first of the values that is alike but not the same. */
std::optional<std::string> AlikeOf(const std::list<std::string>& values, const std::string& text);

/**
 * Tells programs of a stored text that is alike.
 * @return the same for people, behind what they are told of a change; without such a text the other remark
 */
std::string TellAlike(Output& output, const std::optional<std::string>& alike,
                      const std::string& otherwise = "");

/** The failure that the exception being handled stands for, with the stored text that is alike as a hint. */
Failure RefusedBeside(Context& context, const std::optional<std::string>& alike);

/** A value of "olcLimits" (slapd.conf(5), section "limits"). */
struct StoredLimit
{
    std::string value;              /**< with its ordering prefix */
    std::string requester;          /**< as the server reads it: blanks may stand in quotation marks */
    std::optional<std::string> key; /**< under which the plug-in knows it: the requester up to a blank */
};

StoredLimit ParseLimit(const std::string& value);

/** All limits of the main database in their order; none when the user can't see it. */
std::vector<StoredLimit> StoredLimits(IKVRLdapConnection& connection);

/** Limits for programs. */
std::vector<Row> RowsOf(const std::vector<StoredLimit>& limits);

/** True when the text is one requester: it has no blank outside of quotation marks, which are closed. */
bool IsRequester(const std::string& text);

} // namespace KVR::Cli
