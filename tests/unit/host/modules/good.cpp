#include "FakeModule.h"

#include <map>
#include <string>

using namespace KVR;

namespace
{

std::int32_t hostType = 0;

// No templates with unique symbols, which would keep the library loaded: std::to_string is one.

/** Descriptions by host type; others are refused. */
std::map<std::int32_t, KVRModuleInfo> descriptions{{0, FakeModule::info},
                                                   {7, FakeModule::info},
                                                   {20, {1 << 16, "fake", "1.0.0", 0, nullptr}},
                                                   {22, {1 << 16, "fake", "1.0.0", 2, nullptr}},
                                                   {30, {0xffff, "fake", "0.255.255", 1, nullptr}},
                                                   {32, {2 << 16, "fake", "2.0.0", 1, nullptr}},
                                                   {40, {1 << 16, nullptr, "1.0.0", 1, nullptr}}};

} // namespace

KVR_FAKE_EXPORT KVRModuleInfo* get_module_info(const KVRModuleInfo* host)
{
    hostType = host->kind;
    const auto found = descriptions.find(hostType);
    return found != descriptions.end() && host->version > 0 && host->interfaceName != nullptr &&
                   host->versionText != nullptr
               ? &found->second
               : nullptr;
}

/** The parameter FAKE_SILENT keeps the module from registering its interface, and from withdrawing it. */
KVR_FAKE_EXPORT bool module_init(IKVRCore& core)
{
    if (!core.HasParameter("FAKE_SILENT"))
    {
        FakeModule::registerInterface(core);
    }
    core.DefineParameter("FAKE_STARTED", "yes");
    core.DefineParameter("FAKE_HOST_TYPE", hostType == 7 ? "7" : "0");
    return true;
}

KVR_FAKE_EXPORT void module_done(IKVRCore& core)
{
    if (!core.HasParameter("FAKE_SILENT"))
    {
        core.UnregisterInterface("fake");
    }
    core.DefineParameter("FAKE_STARTED", "no");
}
