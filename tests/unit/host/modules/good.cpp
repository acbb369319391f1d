#include "FakeModule.h"

#include <string>

using namespace KVR;

KVR_FAKE_EXPORT KVRModuleInfo* get_module_info(const KVRModuleInfo* host)
{
    if (host->kind != 0 && host->kind != 7)
    {
        return nullptr;
    }
    FakeModule::info.kind = host->kind;
    return host->version > 0 && host->interfaceName != nullptr && host->versionText != nullptr
               ? &FakeModule::info
               : nullptr;
}

KVR_FAKE_EXPORT bool module_init(IKVRCore& core)
{
    FakeModule::registerInterface(core);
    core.DefineParameter("FAKE_STARTED", "yes");
    return true;
}

KVR_FAKE_EXPORT void module_done(IKVRCore& core)
{
    core.UnregisterInterface("fake");
    core.DefineParameter("FAKE_STARTED", "no");
}
