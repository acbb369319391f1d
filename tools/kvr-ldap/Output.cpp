#include "Output.h"

namespace KVR::Cli
{

std::unique_ptr<Output> MakeOutput(OutputForm form, const std::string& command, StandardOutput& out,
                                   const Charset& charset)
{
    switch (form)
    {
    case OutputForm::Json:
        return MakeJsonOutput(command, out);
    case OutputForm::Ldif:
        return MakeLdifOutput(out);
    case OutputForm::Text:
        break;
    }
    return MakeTextOutput(out, charset);
}

} // namespace KVR::Cli
