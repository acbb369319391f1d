#include "ldap-wrapper.h"

#include "KVRLdapSession.h"
#include "KVRTranslate.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRModuleInfo.h>
#include <kvr/KVRUtils.h>

#include <ldap.h>

#include <cstdio>
#include <fstream>

namespace KVR
{

namespace
{

constexpr char clientConfiguration[] = "/etc/ldap/ldap.conf";
constexpr char serverConfiguration[] = "/etc/ldap/slapd.d";

/** The value of the first "URI" line of the client configuration, or "". */
std::string configuredUris(IKVRCore& core)
{
    static const std::string pattern = "^URI";
    std::ifstream file(clientConfiguration);
    for (std::string line; std::getline(file, line);)
    {
        if (line.empty() || line.front() == '#' || !core.MatchRegex(pattern, line, nullptr, 0))
        {
            continue;
        }
        // The pattern is one character longer than the word "URI": whatever stands behind that is skipped.
        return line.size() > pattern.size() ? Trim(line.substr(pattern.size())) : "";
    }
    return "";
}

} // namespace

CKVRLdapWrapper::CKVRLdapWrapper(IKVRCore& host) : IKVRLdapWrapper(host)
{
    const std::string server = core.GetServerHost();
    std::string uris = CKVRLdapWrapper::getDefaultURIs();
    if (uris.empty())
    {
        uris = "ldap://" + server;
    }
    core.DefineParameter("KVR_PRM_LDAP_URIS", uris);
}

std::shared_ptr<IKVRLdapConnection> CKVRLdapWrapper::getConnection()
{
    return std::make_shared<CKVRLdapSession>(core);
}

void CKVRLdapWrapper::RegisterLdapSchema(const std::string& file)
{
    if (!IsPathExist(serverConfiguration))
    {
        throw EKVRError(moduleText("This computer isn't an KVR server."), "");
    }
    CKVRFormatCall format(__FILE__, "RegisterLdapSchema", __LINE__);
    const std::string path = core.GetParameter("KVR_LDAP_SCHEMA_DIR") + "/" + file;
    if (!IsFileExist(path))
    {
        throw EKVRError(format(1, hostText("File '%s' doesn't exists."), path.c_str()), "");
    }
    const char* const command = format(2, "slapadd -n 0 -F %s -v -l %s", serverConfiguration, path.c_str());
    if (ExecCommand(command, false) != 0)
    {
        throw EKVRError(format(1, moduleText("Failed to register LDAP schema '%s'."), file.c_str()), "");
    }
    // What slapadd wrote belongs to its caller, the server could not read it.
    Chmod(serverConfiguration, 0750, true);
    Chown(serverConfiguration, "openldap", "openldap", true);
}

std::string CKVRLdapWrapper::getDefaultURIs()
{
    if (!IsFileExist(clientConfiguration))
    {
        return "";
    }
    const std::string configured = configuredUris(core);
    if (configured.empty())
    {
        return "";
    }
    std::list<std::string> pieces;
    StrTolist(configured, pieces, ' ');
    std::string uris;
    for (const std::string& piece : pieces)
    {
        if (ldap_is_ldap_url(piece.c_str()) != 0)
        {
            uris += " " + piece;
        }
    }
    return Trim(uris);
}

} // namespace KVR

namespace
{

KVR::KVRModuleInfo description{0x010725, "ldap", "1.7.37", 1, nullptr};

/** Holds the characters that the description's display name points to. */
std::string displayName;

bool initialised = false;

} // namespace

extern "C"
{

    /**
     * @param host the host's own description
     * @return the module's description, or null when the host type is not that of a core library
     */
    KVR_API KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo* host)
    {
        if (host->kind != KVR::kvrHOST_CORE)
        {
            KVR::CKVRFormatCall format(__FILE__, "get_module_info", __LINE__);
            static_cast<void>(
                std::fprintf(stderr, "%s\n", format(1, KVR::hostText("Invalid host type %d."), host->kind)));
            static_cast<void>(std::fflush(stderr));
            return nullptr;
        }
        if (description.displayName == nullptr)
        {
            displayName = KVR::moduleText("Openldap interface");
            description.displayName = displayName.c_str();
        }
        return &description;
    }

    /** Registers the interface "ldap" once. Errors of the host pass; a later call tries again. */
    KVR_API bool module_init(KVR::IKVRCore& core)
    {
        if (initialised)
        {
            return true;
        }
        const std::shared_ptr<KVR::CKVRInterface> wrapper(std::make_unique<KVR::CKVRLdapWrapper>(core));
        core.RegisterInterface(wrapper);
        core.DefineParameter("KVR_LDAP_SCHEMA_DIR", "/etc/ldap/schema");
        initialised = true;
        return true;
    }

    /** Withdraws the interface, also when module_init did not run: a half-started module goes too. */
    KVR_API void module_done(KVR::IKVRCore& core)
    {
        core.UnregisterInterface("ldap");
        initialised = false;
    }

} // extern "C"
