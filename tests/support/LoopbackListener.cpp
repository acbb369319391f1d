#include "LoopbackListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace KVR::Support
{

namespace
{

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

int checked(int result, const char* what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

} // namespace

Descriptor listenOnLoopback(int queue, int& port)
{
    Descriptor listener(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    checked(::bind(listener.get(), generic, size), "bind");
    checked(::getsockname(listener.get(), generic, &size), "getsockname");
    checked(::listen(listener.get(), queue), "listen");
    port = ntohs(address.sin_port);
    return listener;
}

Descriptor beginConnection(int port)
{
    Descriptor socket(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket"));
    const sockaddr_in address = loopback(port);
    static_cast<void>(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    return socket;
}

} // namespace KVR::Support
