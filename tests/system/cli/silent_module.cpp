// A plug-in with another interface than "ldap"; built a second time, it fails at its start.

#include <kvr/CKVRInterface.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRModuleInfo.h>

#include <memory>
#include <stdexcept>

extern "C"
{
    KVR_API KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo* /*host*/)
    {
        static KVR::KVRModuleInfo info = {0x010000, "silent", "1.0.0", 1, nullptr};
        return &info;
    }

    KVR_API bool module_init(KVR::IKVRCore& core)
    {
        core.RegisterInterface(std::make_shared<KVR::CKVRInterface>("silent"));
#ifdef KVR_FAIL_AT_START
        throw std::runtime_error("no room today");
#else
        return true;
#endif
    }

    KVR_API void module_done(KVR::IKVRCore& core)
    {
        core.UnregisterInterface("silent");
    }
}
