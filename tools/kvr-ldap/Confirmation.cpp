#include "Confirmation.h"

namespace KVR::Cli
{

void Confirm(const Context& context, const Confirmation& confirmation, bool given)
{
    if (given)
    {
        return;
    }
    const std::optional<bool> answer = context.messages.Ask(confirmation.question);
    if (!answer)
    {
        throw context.UsageFailure(confirmation.reason + "; " + confirmation.remains, confirmation.yesAdvice);
    }
    if (!*answer)
    {
        throw context.UsageFailure("not confirmed; " + confirmation.remains);
    }
}

} // namespace KVR::Cli
