#include "FakeModule.h"

KVR_FAKE_EXPORT KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo*)
{
    return &KVR::FakeModule::info;
}

KVR_FAKE_EXPORT bool module_init(KVR::IKVRCore& core)
{
    core.DefineParameter("FAKE_STARTED", "yes");
    return true;
}
