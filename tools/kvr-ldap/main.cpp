#include "Application.h"
#include "Installation.h"

#include <libintl.h>

#include <csignal>
#include <exception>

namespace
{

int run(int count, char** arguments)
{
    using namespace KVR::Cli;
    try
    {
        const Charset charset = Charset::OfEnvironment();
        const std::string catalogues = Installation::Locale();
        for (const char* domain : {"libkvr-core", "libkvr-ldap-wrapper"})
        {
            bindtextdomain(domain, catalogues.c_str());
            bind_textdomain_codeset(domain, "UTF-8");
        }
        bind_textdomain_codeset("libc", "UTF-8");
        return Application(charset).Run(count, arguments);
    }
    catch (const std::exception&)
    {
        const Failure failure = DescribeException("start", nullptr, false);
        Messages(Charset("UTF-8")).Report(failure);
        return static_cast<int>(failure.exitCode);
    }
}

} // namespace

int main(int count, char** arguments)
{
    KVR::Cli::OccupyStandardDescriptors();
    // A reader that went away shows as an error of the write then.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    return run(count, arguments);
}
