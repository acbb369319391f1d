#pragma once

#include <kvr/IKVRCore.h>

#include <map>
#include <mutex>
#include <set>

namespace KVR
{

/** Names that a host knows itself by. */
struct KVRHostIdentity
{
    std::string domainName; /**< DNS name of the domain that the installation serves, "" if unknown */
    std::string serverHost; /**< host of the domain's server */
    std::string hostName;   /**< this computer */

    /**
     * This computer's name and "localhost" as server. The domain is that of the host name, else the first
     * search domain of the resolver's file; the network is not asked.
     */
    KVR_API static KVRHostIdentity OfThisComputer();

    /** As OfThisComputer, under another host name. */
    KVR_API static KVRHostIdentity OfComputer(const std::string& hostName);
};

/**
 * The host object of a process: parameter store and registry of interfaces.
 *
 * Every operation may be called from any thread. Destroy all modules (CKVRModule) and everything
 * they handed out before the core.
 */
class KVR_API CKVRCore final : public IKVRCore
{
public:
    explicit CKVRCore(KVRHostIdentity identity = KVRHostIdentity::OfThisComputer());
    ~CKVRCore();

    CKVRCore(const CKVRCore&) = delete;
    CKVRCore& operator=(const CKVRCore&) = delete;

    /**
     * Sets a parameter; it wins over LoadParameters and DefineParameter, whenever they come.
     * @param value may contain any byte
     * @throws EKVRCheckError when the name contains a zero byte
     */
    void SetParameter(const std::string& name, const std::string& value);

    /**
     * Reads parameters from a file of "NAME = value" lines; empty lines and lines that begin with
     * '#' are left out, white space at the ends of line, name and value does not count, the last of
     * equal names wins. Nothing is taken from a file that has a bad line.
     * @throws EKVRError naming file and line when the file can't be read (a path with a zero byte
     *         names none) or a line has no "=", no name, or a zero byte in its name
     */
    void LoadParameters(const std::string& path);

    /** The registered interface, or null. */
    std::shared_ptr<CKVRInterface> FindInterface(const std::string& name) const;

    /**
     * The parameter KVR_DOMAIN_NAME, else the domain of the parameter DOMAIN_DN if that is one of "dc"
     * components, else the identity's. Empty means unknown: then nothing protects the own domain in
     * IKVRLdapConnection::DeleteLdapProvider.
     * @return a name that stays as it is as long as the core lives
     */
    const std::string& GetDomainName() override;
    const std::string& GetServerHost() override;
    const std::string& GetHostName() override;
    void RegisterInterface(std::shared_ptr<CKVRInterface> object) override;
    void UnregisterInterface(const std::string& name) override;
    std::string GetBindDefaults() override;
    std::string GetParameter(const std::string& name) override;
    bool HasParameter(const std::string& name) override;

    /** @throws EKVRCheckError when the name contains a zero byte */
    void DefineParameter(const std::string& name, const std::string& defaultValue) override;

    bool MatchRegex(const std::string& pattern, const std::string& text, std::list<std::string>* groups,
                    int flags) override;

private:
    using Parameters = std::map<std::string, std::string>;

    const KVRHostIdentity identity_;
    mutable std::mutex mutex_;
    std::set<std::string> domainNames_; /**< every name that was handed out by reference */
    Parameters overrides_;
    Parameters fromFile_;
    Parameters defaults_;
    std::map<std::string, std::shared_ptr<CKVRInterface>> interfaces_;
};

} // namespace KVR
