#pragma once

#include "LoopbackListener.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace KVR::Support
{

/**
 * A server on a free port of 127.0.0.1 that takes connections, sends the same bytes over each whatever it
 * is asked, if any, and reads nothing. A connection ends when its client ends it.
 */
class SilentServer
{
public:
    /** @param pause what passes before each byte */
    explicit SilentServer(std::string greeting = "",
                          std::chrono::milliseconds pause = std::chrono::milliseconds(0));
    ~SilentServer();

    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    std::string target() const;

private:
    void run();
    void greet();

    const std::string greeting_;
    const std::chrono::milliseconds pause_;
    int port_ = 0;
    Descriptor listener_;
    Descriptor wakeup_;
    std::vector<Descriptor> connections_;
    std::size_t greeted_ = 0;
    std::thread thread_;
};

/** A port of 127.0.0.1 whose queue is full: connecting to it never ends. */
class FullPort
{
public:
    FullPort();

    std::string target() const;

    /** One more attempt to connect. */
    Descriptor connect() const { return beginConnection(port_); }

    /** Makes room in the queue, but answers nobody. */
    void takeWaiting();

private:
    int port_ = 0;
    Descriptor listener_;
    std::vector<Descriptor> waiting_;
};

} // namespace KVR::Support
