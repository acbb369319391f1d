#include "FakeModule.h"

void definedNowhere();

KVR_FAKE_EXPORT KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo*)
{
    return &KVR::FakeModule::info;
}

KVR_FAKE_EXPORT bool module_init(KVR::IKVRCore& core)
{
    KVR::FakeModule::registerInterface(core);
    return true;
}

KVR_FAKE_EXPORT void module_done(KVR::IKVRCore& core)
{
    core.UnregisterInterface("fake");
    definedNowhere();
}
