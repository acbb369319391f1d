#include "../Commands.h"

#include <kvr/KVRUtils.h>

namespace KVR::Cli
{

namespace
{

std::string textOrNothing(const char* text)
{
    return text != nullptr ? text : "";
}

std::string packedVersion(std::int64_t version)
{
    return std::to_string(version >> 16) + '.' + std::to_string((version >> 8) & 0xff) + '.' +
           std::to_string(version & 0xff);
}

void showModule(Context& context)
{
    const KVRModuleInfo& info = context.session.ModuleInfo();
    Output& output = context.output;
    output.Fact("interface", "interface", textOrNothing(info.interfaceName));
    output.Fact("name", "name", textOrNothing(info.displayName));
    output.Fact("version", "version", textOrNothing(info.versionText));
    output.Fact("packedVersion", "packed version", packedVersion(info.version));
    output.Fact("kind", "kind", std::to_string(info.kind));
    output.Fact("file", "file",
                context.charset.ToUtf8(context.session.ModulePath()).value_or(context.session.ModulePath()));
}

std::list<std::string> words(const std::string& text)
{
    std::list<std::string> pieces;
    StrTolist(text, pieces, ' ');
    pieces.remove("");
    return pieces;
}

void showUris(Context& context)
{
    context.output.List("uris", words(context.session.Uris()));
}

} // namespace

void AddModuleCommands(CommandTable& table)
{
    table.Add({"module", "Describe the plug-in", "  kvr-ldap module\n  kvr-ldap module --output json\n"},
              LdifForm::None, showModule);
    table.Add({"uris", "List the servers that are used without --uri",
               "  kvr-ldap uris\n  kvr-ldap uris --param KVR_SERVER_HOST=srv1.example.com\n"},
              LdifForm::None, showUris);
}

} // namespace KVR::Cli
