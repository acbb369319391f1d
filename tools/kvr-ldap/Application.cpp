#include "Application.h"

#include "Arguments.h"

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
  kvr-ldap attr set uid=ann,ou=people,dc=example,dc=com mail ann@example.com

Exit codes:
  0  done, also when the reader of the output went away before its end
  1  refused by the server
  2  usage: a command, option, argument, filter or URI that is none, a change that nobody confirmed
  3  not found: the entry does not exist
  4  insufficient access
  5  no connection or time-out, or no usable Kerberos ticket
  6  the plug-in or a local file is unusable, the standard output too

Data goes to standard output, messages to standard error.
)";

/** Gives every option what the user wrote. */
void unprotectAll(CLI::App& app)
{
    for (CLI::Option* const option : app.get_options())
    {
        option->transform(Unprotected);
    }
    for (CLI::App* const command : app.get_subcommands(nullptr))
    {
        unprotectAll(*command);
    }
}

} // namespace

Application::Application(const Charset& charset)
    : charset_(charset), messages_(charset), app_(description, "kvr-ldap"), commands_(app_)
{
    AddOptions();
    AddModuleCommands(commands_);
    AddSearchCommands(commands_);
    AddEntryCommands(commands_);
    AddDeleteCommand(commands_);
    AddUnitCommand(commands_);
    AddAttributeCommands(commands_);
    AddLoadCommand(commands_);
    AddOverviewCommands(commands_);
    AddSchemaCommands(commands_);
    AddAccessCommands(commands_);
    AddSettingCommands(commands_);
    AddLimitCommands(commands_);
    AddReplicationCommands(commands_);
    AddProviderCommands(commands_);
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
    AddRepeated(app_, "--param", options_.parameters, "NAME=VALUE", "host parameter; may be repeated");
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
    unprotectAll(app_);
    std::vector<std::string> words = ProtectArguments(count, arguments);
    std::reverse(words.begin(), words.end()); // as the parser wants them
    app_.parse(std::move(words));
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
        Context context{*session, *output, messages_, charset_, command.name, quiet_, options_.verbosity > 0};
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

const CLI::App& Application::Named() const
{
    const CLI::App* named = &app_;
    while (!named->get_subcommands().empty())
    {
        named = named->get_subcommands().front();
    }
    return *named;
}

Failure Application::UsageFailure(const CLI::ParseError& error) const
{
    const CLI::App& named = Named();
    const std::string command = CommandTable::NameOf(named);
    const bool isIncomplete = named.get_require_subcommand_min() > 0;
    const std::string advice = "see kvr-ldap " + command + (command.empty() ? "" : " ") + "--help";

    const std::vector<std::string> unknown = app_.remaining(true);
    if (!unknown.empty())
    {
        const bool isOption = unknown.front().size() > 1 && unknown.front().front() == '-';
        const std::string kind = isOption       ? "unknown option"
                                 : isIncomplete ? "unknown command"
                                                : "argument too many";
        return {ExitCode::Usage, command, kind + " '" + Unprotected(unknown.front()) + "'", advice};
    }
    if (isIncomplete && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
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
