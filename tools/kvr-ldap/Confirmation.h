#pragma once

#include "Commands.h"

#include <string>

namespace KVR::Cli
{

/** What the user is asked before a command does what may hurt. */
struct Confirmation
{
    std::string question;
    std::string reason;    /**< why it needs a yes, for where nobody can be asked */
    std::string remains;   /**< what a no leaves as it is, such as "nothing is deleted" */
    std::string yesAdvice; /**< what --yes does */
};

/**
 * Asks at a terminal, and elsewhere wants --yes.
 * @param given true when --yes was given, which answers everything
 * @throws Failure without a yes
 */
void Confirm(const Context& context, const Confirmation& confirmation, bool given);

} // namespace KVR::Cli
