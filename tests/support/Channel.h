#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>

namespace KVR::Support
{

/** Owner of a file descriptor. */
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    int get() const { return number_; }

private:
    int number_;
};

/** A client's connection as its server has it. Nothing waits, and nothing raises a signal. */
class Channel
{
public:
    explicit Channel(Descriptor socket) : socket_(std::move(socket)) {}
    virtual ~Channel() = default;

    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /** As recv(2): -1 with EAGAIN when there is nothing to read yet. */
    virtual ssize_t receive(char* bytes, std::size_t size);

    /** As send(2): -1 with EAGAIN when nothing can be written yet. */
    virtual ssize_t send(const char* bytes, std::size_t size);

    int socket() const { return socket_.get(); }

    /** Lets the end of the connection be a reset. */
    void resetAtEnd() const;

private:
    Descriptor socket_;
};

/** A connection with TLS, with a certificate of its own making for 127.0.0.1. */
std::unique_ptr<Channel> makeTlsChannel(Descriptor socket);

} // namespace KVR::Support
