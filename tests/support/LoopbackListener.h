#pragma once

#include "Channel.h"

namespace KVR::Support
{

/**
 * A socket that listens on 127.0.0.1.
 * @param port receives its free port
 * @throws std::system_error
 */
Descriptor listenOnLoopback(int queue, int& port);

/** A connection to a port of 127.0.0.1 that is under way. @throws std::system_error */
Descriptor beginConnection(int port);

} // namespace KVR::Support
