#pragma once

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <memory>
#include <string>

namespace KVR::Bench
{

/** A variable that dev/private-slapd sets for its command. @throws std::runtime_error without it */
std::string serverVariable(const char* name);

/**
 * Takes the character set of the environment's locale; numbers are read and written with a point.
 * @throws std::runtime_error when the machine does not have the locale
 */
void useCharacterSet();

/** The module as a plug-in of a host of its own, beside a private server. Outlives its connections. */
class LoadedModule
{
public:
    /** @param file the module's shared object */
    explicit LoadedModule(const std::string& file);

    /** A new connection to the private server, bound anonymously. */
    std::shared_ptr<IKVRLdapConnection> connect();

private:
    CKVRCore core_;
    CKVRModule module_;
    std::shared_ptr<IKVRLdapWrapper> wrapper_;
};

} // namespace KVR::Bench
