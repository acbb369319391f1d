#pragma once

#include <sys/types.h>

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
    ~PrivateSlapd();

    PrivateSlapd(const PrivateSlapd&) = delete;
    PrivateSlapd& operator=(const PrivateSlapd&) = delete;

    const std::string& uri() const { return uri_; }

    /** The URI without the scheme. */
    std::string hostAndPort() const;

    /** Stops the server before its time. */
    void stop();

private:
    std::string uri_;
    pid_t tool_ = -1;
    int toolInput_ = -1; /**< closing it stops the server */
};

} // namespace KVR::Support
