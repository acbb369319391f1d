#pragma once

#include "Charset.h"
#include "DistinguishedName.h"

#include <string>
#include <utility>
#include <vector>

namespace KVR::Cli
{

/** @name What the parser must not read
 * The parser takes "[a,b]" for a list of two and "++" for a sign of its own, and forgets "--" as soon as a
 * list has an element. Protected arguments mean themselves wherever they stand.
 * @{ */

/** The program's arguments for the parser; those behind "--" are protected, and so it is left out. */
std::vector<std::string> ProtectArguments(int count, const char* const* arguments);

bool IsProtected(const std::string& argument);

/** The argument as the user gave it. */
std::string Unprotected(const std::string& argument);
/** @} */

/** @name Arguments that are checked before anything is sent
 * In UTF-8. @param command the command's name, for the message. @throws Failure
 * @{ */

/** An argument in UTF-8. @throws Failure when it is no text of the character set */
std::string Utf8Argument(const Charset& charset, const std::string& argument);

/** Refuses the empty DN, which is that of the root entry. */
std::string DnArgument(const Charset& charset, const std::string& command, const std::string& argument);

/** The RDNs of a DN that is not that of the root. @param dn in UTF-8 */
Dn RdnsOf(const std::string& command, const std::string& dn);

/** An attribute's name or number, with its options (RFC 4512, section 2.5). */
std::string AttributeArgument(const Charset& charset, const std::string& command,
                              const std::string& argument);

/** NAME=VALUE. The value is what follows the first sign, and may be empty. */
std::pair<std::string, std::string> AssignmentArgument(const Charset& charset, const std::string& command,
                                                       const std::string& argument);
/** @} */

/** True when both name one attribute: servers take no notice of case, nor of the order of options. */
bool IsSameAttribute(const std::string& one, const std::string& other);

} // namespace KVR::Cli
