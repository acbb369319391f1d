#pragma once

#include "Charset.h"
#include "Output.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KVR::Cli
{

/** Options that hold for every command, as they were given. */
struct GlobalOptions
{
    std::optional<std::string> uris;
    std::string auth = "anonymous";
    std::optional<std::string> modulePath;
    std::vector<std::string> parameters;
    std::optional<std::string> parameterFile;
    OutputForm output = OutputForm::Text;
    int verbosity = 0; /**< level of the log */
};

/**
 * The host side of one run: the host object with its parameters, the loaded module, and the
 * connection once a command asks for it.
 */
class Session
{
public:
    /** @throws Failure when an option is unusable or the module can't be loaded */
    Session(const GlobalOptions& options, const Charset& charset);

    const std::string& ModulePath() const { return modulePath_; }
    const KVRModuleInfo& ModuleInfo() const { return module_->Info(); }
    IKVRLdapWrapper& Wrapper() { return *wrapper_; }

    /** The host that the module has been loaded into, with its names. */
    IKVRCore& Host() { return *core_; }

    /** A host parameter, or "". */
    std::string HostParameter(const std::string& name) { return core_->GetParameter(name); }

    /** URIs that a connection is made to, separated by blanks. */
    std::string Uris();

    /** The connection, made at the first call. @throws Failure */
    IKVRLdapConnection& Connection();

    /** The connection if there is one already, or null. */
    IKVRLdapConnection* OpenConnection() { return connection_.get(); }

private:
    void LoadModule();

    GlobalOptions options_;
    std::string modulePath_;
    // Destroyed from the last to the first: a module outlives what it handed out.
    std::unique_ptr<CKVRCore> core_;
    std::unique_ptr<CKVRModule> module_;
    std::shared_ptr<IKVRLdapWrapper> wrapper_;
    std::shared_ptr<IKVRLdapConnection> connection_;
};

} // namespace KVR::Cli
