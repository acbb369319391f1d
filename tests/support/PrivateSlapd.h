#pragma once

#include "RunningScript.h"

#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * A private directory server that lives as long as this object, made by dev/private-slapd. It also
 * ends when the test process dies in whatever way.
 */
class PrivateSlapd
{
public:
    /**
     * @param options of dev/private-slapd, as in {"--size-limit", "10"}
     * @throws std::runtime_error when the server does not start; the reason is on standard error
     */
    explicit PrivateSlapd(const std::vector<std::string>& options = {});

    const std::string& uri() const { return uri_; }

    /** Empty without the option --tls. */
    const std::string& ldapsUri() const { return ldapsUri_; }

    /** Whether the server is OpenLDAP 2.4, which answers some requests in another way. */
    static bool isVersion24();

    /** The URI without the scheme. */
    std::string hostAndPort() const;

    /** Stops the server before its time. */
    void stop() { script_.stop(); }

private:
    RunningScript script_;
    std::string uri_;
    std::string ldapsUri_;
};

} // namespace KVR::Support
