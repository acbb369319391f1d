#pragma once

#include "RunningScript.h"
#include "ScopedEnvironment.h"

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
    std::string cache(const std::string& name) const { return "FILE:" + folder() + "/" + name + ".ccache"; }

    /** No ticket is to be had any more. */
    void stop() { script_.stop(); }

private:
    RunningScript script_;
    ScopedEnvironment configuration_{"KRB5_CONFIG", script_.answer() + "/krb5.conf"};
};

} // namespace KVR::Support
