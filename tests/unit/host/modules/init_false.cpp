#include "FakeModule.h"

using namespace KVR;

KVR_FAKE_EXPORT KVRModuleInfo* get_module_info(const KVRModuleInfo*)
{
    return &FakeModule::info;
}

KVR_FAKE_EXPORT bool module_init(IKVRCore& core)
{
    FakeModule::registerInterface(core);
    return false;
}

KVR_FAKE_EXPORT void module_done(IKVRCore& core)
{
    core.DefineParameter("FAKE_DONE", "yes");
}
