#include "RecordingHost.h"

#include <kvr/CKVRInterface.h>

#include <regex.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace KVR::Support
{

RecordingHost::RecordingHost() = default;

RecordingHost::~RecordingHost() = default;

void RecordingHost::enter(const std::string& operation, const std::string& arguments)
{
    calls.push_back(arguments.empty() ? operation : operation + " " + arguments);
    if (onCall)
    {
        onCall(calls.back());
    }
    if (throwing_.count(operation) != 0)
    {
        throw std::runtime_error(operation);
    }
}

std::size_t RecordingHost::count(const std::string& operation) const
{
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(),
        [&operation](const std::string& call)
        { return call == operation || call.compare(0, operation.size() + 1, operation + " ") == 0; }));
}

const std::string& RecordingHost::GetDomainName()
{
    enter("GetDomainName");
    return domainName;
}

const std::string& RecordingHost::GetServerHost()
{
    enter("GetServerHost");
    return serverHost;
}

const std::string& RecordingHost::GetHostName()
{
    enter("GetHostName");
    return hostName;
}

void RecordingHost::RegisterInterface(std::shared_ptr<CKVRInterface> object)
{
    enter("RegisterInterface", object ? object->Name() : "(null)");
    registered = std::move(object);
}

void RecordingHost::UnregisterInterface(const std::string& name)
{
    enter("UnregisterInterface", name);
    if (registered && registered->Name() == name)
    {
        registered.reset();
    }
}

std::string RecordingHost::GetBindDefaults()
{
    enter("GetBindDefaults");
    return bindDefaults;
}

std::string RecordingHost::GetParameter(const std::string& name)
{
    enter("GetParameter", name);
    const auto found = parameters.find(name);
    return found != parameters.end() ? found->second : "";
}

bool RecordingHost::HasParameter(const std::string& name)
{
    enter("HasParameter", name);
    return parameters.count(name) != 0;
}

void RecordingHost::DefineParameter(const std::string& name, const std::string& defaultValue)
{
    enter("DefineParameter", name + " " + defaultValue);
    parameters.emplace(name, defaultValue);
}

bool RecordingHost::MatchRegex(const std::string& pattern, const std::string& text,
                               std::list<std::string>* groups, int flags)
{
    enter("MatchRegex",
          pattern + " " + text + (groups != nullptr ? " groups " : " null ") + std::to_string(flags));
    regex_t compiled{};
    if (::regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
    {
        throw std::invalid_argument(pattern);
    }
    const std::unique_ptr<regex_t, decltype(&::regfree)> owner(&compiled, &::regfree);
    return ::regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
}

} // namespace KVR::Support
