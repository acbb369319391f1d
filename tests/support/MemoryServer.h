#pragma once

#include <ldap.h>

#include <functional>
#include <string>

namespace KVR::Support
{

/**
 * An LDAP server whose connections are memory: without sockets and threads, so that many thousand
 * answers take a moment. Whatever is asked is answered before the request's sending ends; a bind succeeds.
 */
class MemoryServer
{
public:
    /** The bytes that answer a search with this message id; the connection ends when they run out. */
    std::function<std::string(int id)> onSearch;

    /**
     * A session with a new connection, for ldap_unbind_ext_s to end. It must not outlive the server.
     * @throws std::runtime_error
     */
    LDAP* makeSession();

    /** Bytes of the answer to a request. */
    std::string answer(const std::string& request) const;
};

} // namespace KVR::Support
