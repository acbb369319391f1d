#include "Change.h"

namespace KVR::Cli
{

void TellChange(Output& output, const Change& change)
{
    output.Line(change.result + ' ' + (change.label.empty() ? "" : change.label + ' ') + change.object +
                change.remark);
    output.Member(change.member, change.object);
    output.Member("result", change.result);
}

std::string Counted(std::size_t number, const std::string& one, const std::string& many)
{
    return std::to_string(number) + ' ' + (number == 1 ? one : many);
}

} // namespace KVR::Cli
