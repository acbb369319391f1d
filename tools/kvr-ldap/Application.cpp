#include "Application.h"

#include <kvr/CKVRLogProvider.h>

#include <algorithm>
#include <memory>
#include <set>

namespace KVR::Cli
{

namespace
{

constexpr const char* description =
    "Reads and administers an LDAP directory through the plug-in libkvr-ldap-wrapper.";

constexpr const char* examples = R"(Examples:
  kvr-ldap module
  kvr-ldap search ou=people,dc=example,dc=com '(mail=*)' cn mail
  kvr-ldap --uri 'ldap://srv1 ldaps://srv2' show dc=example,dc=com
  KRB5CCNAME=FILE:/tmp/ticket kvr-ldap --auth gssapi search cn=config --output json

Exit codes:
  0  done, also when the reader of the output went away before its end
  1  refused by the server
  2  usage: a command, option, argument, filter or URI that is none
  3  not found: the entry does not exist
  4  insufficient access
  5  no connection or time-out, or no usable Kerberos ticket
  6  the plug-in or a local file is unusable, the standard output too

Data goes to standard output, messages to standard error.
)";

} // namespace

Application::Application(const Charset& charset)
    : charset_(charset), messages_(charset), app_(description, "kvr-ldap"), commands_(app_)
{
    AddOptions();
    AddModuleCommands(commands_);
    AddSearchCommands(commands_);
    app_.require_subcommand(1);
    app_.footer(examples);
}

void Application::AddOptions()
{
    app_.get_help_ptr()->description("print this help, or that of a command, and exit");
    app_.set_version_flag("--version", "kvr-ldap " KVR_VERSION, "print the version and exit");
    app_.add_option("--uri", options_.uris, "servers to connect to, several with blanks between them")
        ->type_name("URI");
    AddChoice(app_, "--auth", options_.auth, {"anonymous", "gssapi"},
              "log in anonymously (the default) or with the Kerberos ticket that KRB5CCNAME names");
    app_.add_option("--module", options_.modulePath, "the plug-in")->type_name("FILE");
    app_.add_option("--param", options_.parameters, "host parameter; may be repeated")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    app_.add_option("--params", options_.parameterFile, "file of host parameters, one NAME = VALUE a line")
        ->type_name("FILE");
    AddChoice(app_, "--output", output_, {"text", "json", "ldif"}, "form of the output, by default text");
    CLI::Option* const verbose =
        app_.add_flag("-v", options_.verbosity, "tell more; -vvvv traces, -vvvvv debugs the LDAP library");
    app_.add_flag("-q", quiet_, "tell nothing but failures of the command")->excludes(verbose);
}

int Application::Run(int count, const char* const* arguments)
{
    try
    {
        Parse(count, arguments);
        return Execute();
    }
    catch (const CLI::CallForHelp&)
    {
        return Print(app_.help());
    }
    catch (const CLI::CallForVersion& version)
    {
        return Print(version.what() + std::string("\n"));
    }
    catch (const CLI::ParseError& error)
    {
        const Failure failure = UsageFailure(error);
        messages_.Report(failure);
        return static_cast<int>(failure.exitCode);
    }
}

void Application::Parse(int count, const char* const* arguments)
{
    app_.parse(count, arguments);
    options_.output = output_ == "json"   ? OutputForm::Json
                      : output_ == "ldif" ? OutputForm::Ldif
                                          : OutputForm::Text;
}

int Application::Execute()
{
    const Chosen& command = commands_.Choice();
    if (options_.output == OutputForm::Ldif && !command.hasLdif)
    {
        messages_.Report({ExitCode::Usage, command.name, "there is no LDIF form of this answer",
                          "use --output text or --output json"});
        return static_cast<int>(ExitCode::Usage);
    }
    ConnectLog();

    const std::unique_ptr<Output> output = MakeOutput(options_.output, command.name, out_, charset_);
    std::unique_ptr<Session> session;
    try
    {
        session = std::make_unique<Session>(options_, charset_);
        Context context{*session, *output, messages_, charset_, quiet_};
        command.action(context);
        output->Finish();
        out_.Flush();
        return static_cast<int>(ExitCode::Done);
    }
    catch (const OutputClosed&)
    {
        return static_cast<int>(ExitCode::Done);
    }
    catch (const std::exception&)
    {
        Failure failure = DescribeException(command.name, session ? session->OpenConnection() : nullptr,
                                            options_.verbosity > 0);
        if (failure.exitCode == ExitCode::NoAccess && options_.auth == "anonymous")
        {
            failure.advice = "--auth gssapi logs in with a Kerberos ticket";
        }
        messages_.Report(failure);
        try
        {
            output->Fail(failure);
            out_.Flush();
        }
        catch (const std::exception&)
        {
            // The failure is told already, and it came first.
        }
        return static_cast<int>(failure.exitCode);
    }
}

int Application::Print(const std::string& text)
{
    try
    {
        out_.Write(text);
        out_.Flush();
        return static_cast<int>(ExitCode::Done);
    }
    catch (const OutputClosed&)
    {
        return static_cast<int>(ExitCode::Done);
    }
    catch (const Failure& failure)
    {
        messages_.Report(failure);
        return static_cast<int>(failure.exitCode);
    }
}

Failure Application::UsageFailure(const CLI::ParseError& error) const
{
    const std::vector<CLI::App*> chosen = app_.get_subcommands();
    const std::string command = chosen.empty() ? "" : CommandTable::NameOf(*chosen.front());
    const std::string advice = "see kvr-ldap " + command + (command.empty() ? "" : " ") + "--help";

    const std::vector<std::string> unknown = app_.remaining(true);
    if (!unknown.empty())
    {
        const bool isOption = unknown.front().size() > 1 && unknown.front().front() == '-';
        const std::string kind = isOption          ? "unknown option"
                                 : command.empty() ? "unknown command"
                                                   : "argument too many";
        return {ExitCode::Usage, command, kind + " '" + unknown.front() + "'", advice};
    }
    if (chosen.empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
    {
        return {ExitCode::Usage, command, "no command is given", advice};
    }
    return {ExitCode::Usage, command, error.what(), advice};
}

void Application::ConnectLog() const
{
    CKVRLogProvider& log = CKVRLogProvider::GetLogProvider();
    log.level = quiet_ ? -1 : options_.verbosity;
    // Reading an entry's history meets the same missing attribute several times.
    const auto told = std::make_shared<std::set<std::string>>();
    log.SetSink(
        [messages = messages_, told](KVRLogLevel level, const std::string& text)
        {
            if (level > kvrLOG_FAILURE || told->insert(text).second)
            {
                messages.Line(text);
            }
        });
}

} // namespace KVR::Cli
