#include "SilentServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace KVR::Support
{

SilentServer::SilentServer(std::string greeting, std::chrono::milliseconds pause)
    : greeting_(std::move(greeting)),
      pause_(pause),
      listener_(listenOnLoopback(SOMAXCONN, port_)),
      wakeup_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_(&SilentServer::run, this)
{
}

SilentServer::~SilentServer()
{
    static_cast<void>(::eventfd_write(wakeup_.get(), 1));
    thread_.join();
}

std::string SilentServer::target() const
{
    return "127.0.0.1:" + std::to_string(port_);
}

void SilentServer::run()
{
    for (;;)
    {
        std::vector<pollfd> watched{pollfd{wakeup_.get(), POLLIN, 0}, pollfd{listener_.get(), POLLIN, 0}};
        for (const Descriptor& connection : connections_)
        {
            watched.push_back(pollfd{connection.get(), POLLRDHUP, 0});
        }
        const bool isGreeting = pause_.count() > 0 && !connections_.empty() && greeted_ < greeting_.size();
        ::poll(watched.data(), watched.size(), isGreeting ? static_cast<int>(pause_.count()) : -1);
        if (watched[0].revents != 0)
        {
            return;
        }
        for (std::size_t i = connections_.size(); i-- > 0;)
        {
            if (watched[i + 2].revents != 0)
            {
                connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (watched[1].revents != 0)
        {
            connections_.emplace_back(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            greeted_ = 0;
        }
        greet();
    }
}

/** Sends what is due to the newest connection. */
void SilentServer::greet()
{
    if (connections_.empty() || greeted_ == greeting_.size())
    {
        return;
    }
    const std::size_t count = pause_.count() > 0 ? 1 : greeting_.size();
    static_cast<void>(
        ::send(connections_.back().get(), greeting_.data() + greeted_, count, MSG_NOSIGNAL | MSG_DONTWAIT));
    greeted_ += count;
}

FullPort::FullPort() : listener_(listenOnLoopback(0, port_))
{
    // The queue holds one connection; more attempts of the same time make sure of that.
    for (int count = 0; count < 4; ++count)
    {
        waiting_.push_back(beginConnection(port_));
    }
}

void FullPort::takeWaiting()
{
    // The kernel repeats attempts that found no room, and these would take it from the next one to come.
    waiting_.clear();
    pollfd watched{listener_.get(), POLLIN, 0};
    while (::poll(&watched, 1, 0) > 0)
    {
        waiting_.emplace_back(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }
}

std::string FullPort::target() const
{
    return "127.0.0.1:" + std::to_string(port_);
}

} // namespace KVR::Support
