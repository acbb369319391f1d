#pragma once

#include "Commands.h"

#include <exception>

namespace KVR::Cli
{

/**
 * Tells what a change that failed half-way has left, which needs another question to the server. When
 * that fails too, as on a lost connection, the first failure is the one that counts.
 */
template <typename Tell>
void TellRemains(const Context& context, const Tell& tell)
{
    try
    {
        tell();
    }
    catch (const std::exception&)
    {
        context.messages.Line(context.command + ": how much of it is done is unknown");
    }
}

} // namespace KVR::Cli
