#include "FakeModule.h"

KVR_FAKE_EXPORT KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo*)
{
    return &KVR::FakeModule::info;
}
