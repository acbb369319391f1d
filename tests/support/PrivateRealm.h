#pragma once

#include "RunningScript.h"
#include "ScopedEnvironment.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace KVR::Support
{

/**
 * A Kerberos realm that lives as long as this object, made by dev/private-kdc, and the only one that
 * the process knows meanwhile. KRB5CCNAME, which tells whose tickets are used, is for the test to set.
 */
class PrivateRealm
{
public:
    PrivateRealm() : script_({KVR_PRIVATE_KDC, "run"}, "$KVR_TEST_KERBEROS") {}

    /** The folder that dev/private-slapd takes with --kerberos. */
    const std::string& folder() const { return script_.answer(); }

    /** The name of a ticket cache, as KRB5CCNAME takes it. The file need not exist. */
    std::string cache(const std::string& name) const { return "FILE:" + cacheFile(name); }

    /** The file of such a cache. */
    std::string cacheFile(const std::string& name) const { return folder() + "/" + name + ".ccache"; }

    /** Makes a cache with a ticket that has expired. */
    void makeExpired(const std::string& name) const { tool("expired-ticket", cacheFile(name)); }

    /** Stops the key distribution centre. Caches, keys and configuration stay. */
    void stopCentre() const { tool("stop"); }

private:
    void tool(const std::string& action, const std::string& argument = "") const
    {
        const std::string command =
            std::string(KVR_PRIVATE_KDC) + " " + action + " " + folder() + " " + argument;
        if (std::system(command.c_str()) != 0) // NOLINT(cert-env33-c,concurrency-mt-unsafe): own script
        {
            throw std::runtime_error("failed: " + command);
        }
    }

    RunningScript script_;
    ScopedEnvironment configuration_{"KRB5_CONFIG", script_.answer() + "/krb5.conf"};
};

} // namespace KVR::Support
