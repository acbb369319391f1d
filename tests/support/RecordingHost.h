#pragma once

#include <kvr/IKVRCore.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * A host object for tests. It records every call in order, as the operation's name and its
 * arguments separated by blanks, and answers from fields that the test sets.
 */
class RecordingHost : public IKVRCore
{
public:
    RecordingHost();
    ~RecordingHost();

    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    std::string domainName = "example.com";
    std::string serverHost = "server.example.com";
    std::string hostName = "workstation";
    std::string bindDefaults = "defaults of the host";
    std::map<std::string, std::string> parameters;
    std::shared_ptr<CKVRInterface> registered; /**< what RegisterInterface was given last */
    std::vector<std::string> calls;

    /** Called at the beginning of every operation, with its record. */
    std::function<void(const std::string&)> onCall;

    /** Lets the named operation throw std::runtime_error with the operation's name. */
    void throwFrom(const std::string& operation) { throwing_.insert(operation); }
    void throwFromNothing() { throwing_.clear(); }

    /** Number of calls of the named operation. */
    std::size_t count(const std::string& operation) const;

    const std::string& GetDomainName() override;
    const std::string& GetServerHost() override;
    const std::string& GetHostName() override;
    void RegisterInterface(std::shared_ptr<CKVRInterface> object) override;
    void UnregisterInterface(const std::string& name) override;
    std::string GetBindDefaults() override;
    std::string GetParameter(const std::string& name) override;
    bool HasParameter(const std::string& name) override;
    void DefineParameter(const std::string& name, const std::string& defaultValue) override;
    bool MatchRegex(const std::string& pattern, const std::string& text, std::list<std::string>* groups,
                    int flags) override;

private:
    void enter(const std::string& operation, const std::string& arguments = "");

    std::set<std::string> throwing_;
};

} // namespace KVR::Support
