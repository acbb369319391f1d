#include "CoreText.h"
#include "OwnDomain.h"
#include "ZeroByte.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRInterface.h>
#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

#include <regex.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

/** A compiled regular expression. */
class Regex
{
public:
    Regex(const std::string& pattern, int flags) : result_(regcomp(&expression_, pattern.c_str(), flags)) {}
    ~Regex()
    {
        if (result_ == 0)
        {
            regfree(&expression_);
        }
    }

    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    explicit operator bool() const { return result_ == 0; }
    const regex_t& Get() const { return expression_; }

    std::string Error() const
    {
        std::vector<char> text(regerror(result_, &expression_, nullptr, 0));
        regerror(result_, &expression_, text.data(), text.size());
        return text.data();
    }

private:
    regex_t expression_ = {};
    int result_;
};

[[noreturn]] void throwUnreadable(const std::string& path, unsigned long line)
{
    const std::string reason = std::generic_category().message(errno);
    CKVRFormatCall format(__FILE__, "LoadParameters", line);
    throw EKVRError(format(1, coreText("File '%s' can't be read."), path.c_str()), reason);
}

[[noreturn]] void throwBadLine(const char* translated, const std::string& path, unsigned long number)
{
    CKVRFormatCall format(__FILE__, "LoadParameters", __LINE__);
    throw EKVRError(format(2, translated, path.c_str(), number), "");
}

std::map<std::string, std::string> parseParameters(const std::string& path)
{
    std::map<std::string, std::string> parameters;
    if (hasZeroByte(path))
    {
        errno = EINVAL;
        throwUnreadable(path, __LINE__);
    }
    std::ifstream file(path);
    if (!file)
    {
        throwUnreadable(path, __LINE__);
    }
    std::string line;
    for (unsigned long number = 1; std::getline(file, line); ++number)
    {
        line = Trim(line);
        if (line.empty() || line.front() == '#')
        {
            continue;
        }
        const std::size_t sign = line.find('=');
        if (sign == std::string::npos)
        {
            throwBadLine(coreText("File '%s', line %lu: there is no '='."), path, number);
        }
        const std::string name = Trim(line.substr(0, sign));
        if (name.empty())
        {
            throwBadLine(coreText("File '%s', line %lu: there is no name before '='."), path, number);
        }
        if (hasZeroByte(name))
        {
            throwBadLine(coreText("File '%s', line %lu: the name before '=' contains a zero byte."), path,
                         number);
        }
        parameters[name] = Trim(line.substr(sign + 1));
    }
    if (file.bad())
    {
        throwUnreadable(path, __LINE__);
    }
    return parameters;
}

} // namespace

KVRHostIdentity KVRHostIdentity::OfThisComputer()
{
    std::array<char, HOST_NAME_MAX + 1> name = {};
    return OfComputer(gethostname(name.data(), name.size()) == 0 ? name.data() : "localhost");
}

KVRHostIdentity KVRHostIdentity::OfComputer(const std::string& hostName)
{
    KVRHostIdentity identity{domainOfHost(hostName), "localhost", hostName};
    if (identity.domainName.empty())
    {
        std::ifstream resolver("/etc/resolv.conf");
        identity.domainName = searchDomainOf(resolver);
    }
    return identity;
}

CKVRCore::CKVRCore(KVRHostIdentity identity) : identity_(std::move(identity)) {}

CKVRCore::~CKVRCore()
{
    // destructors of registered objects may still ask the core
    std::map<std::string, std::shared_ptr<CKVRInterface>> dropped;
    const std::lock_guard<std::mutex> lock(mutex_);
    dropped.swap(interfaces_);
}

void CKVRCore::SetParameter(const std::string& name, const std::string& value)
{
    checkName(name, __func__);
    const std::lock_guard<std::mutex> lock(mutex_);
    overrides_[name] = value;
}

void CKVRCore::LoadParameters(const std::string& path)
{
    Parameters loaded = parseParameters(path);
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [name, value] : loaded)
    {
        fromFile_[name] = std::move(value);
    }
}

std::shared_ptr<CKVRInterface> CKVRCore::FindInterface(const std::string& name) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = interfaces_.find(name);
    return found != interfaces_.end() ? found->second : nullptr;
}

const std::string& CKVRCore::GetDomainName()
{
    std::string name = GetParameter("KVR_DOMAIN_NAME");
    for (const std::string& next : {domainOfDn(GetParameter("DOMAIN_DN")), identity_.domainName})
    {
        name = name.empty() ? next : name;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return *domainNames_.insert(name).first;
}

const std::string& CKVRCore::GetServerHost()
{
    return identity_.serverHost;
}

const std::string& CKVRCore::GetHostName()
{
    return identity_.hostName;
}

// The references that the registry drops go after the lock, for their destructors may call back.

void CKVRCore::RegisterInterface(std::shared_ptr<CKVRInterface> object)
{
    if (!object)
    {
        throw EKVRCheckError(coreText("There is no interface to register."), "");
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    interfaces_[object->Name()].swap(object);
}

void CKVRCore::UnregisterInterface(const std::string& name)
{
    std::shared_ptr<CKVRInterface> dropped;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = interfaces_.find(name);
    if (found != interfaces_.end())
    {
        dropped.swap(found->second);
        interfaces_.erase(found);
    }
}

std::string CKVRCore::GetBindDefaults()
{
    return GetParameter("KVR_BIND_DEFAULTS");
}

std::string CKVRCore::GetParameter(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Parameters* parameters : {&overrides_, &fromFile_, &defaults_})
    {
        const auto found = parameters->find(name);
        if (found != parameters->end())
        {
            return found->second;
        }
    }
    return {};
}

bool CKVRCore::HasParameter(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return overrides_.count(name) + fromFile_.count(name) + defaults_.count(name) > 0;
}

void CKVRCore::DefineParameter(const std::string& name, const std::string& defaultValue)
{
    checkName(name, __func__);
    const std::lock_guard<std::mutex> lock(mutex_);
    defaults_[name] = defaultValue;
}

bool CKVRCore::MatchRegex(const std::string& pattern, const std::string& text, std::list<std::string>* groups,
                          int flags)
{
    const Regex regex(pattern, REG_EXTENDED | ((flags & 1) != 0 ? REG_ICASE : 0));
    if (!regex)
    {
        CKVRFormatCall format(__FILE__, __func__, __LINE__);
        throw EKVRCheckError(format(1, coreText("Invalid regular expression '%s'."), pattern.c_str()),
                             regex.Error());
    }
    std::vector<regmatch_t> places(regex.Get().re_nsub + 1);
    places[0].rm_eo = static_cast<regoff_t>(text.size());
    if (regexec(&regex.Get(), text.c_str(), places.size(), places.data(), REG_STARTEND) != 0)
    {
        return false;
    }
    if (groups != nullptr)
    {
        for (const regmatch_t& place : places)
        {
            groups->push_back(place.rm_so < 0
                                  ? std::string()
                                  : text.substr(static_cast<std::size_t>(place.rm_so),
                                                static_cast<std::size_t>(place.rm_eo - place.rm_so)));
        }
    }
    return true;
}

} // namespace KVR
