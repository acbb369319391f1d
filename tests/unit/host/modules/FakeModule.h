#pragma once

#include <kvr/CKVRInterface.h>
#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRModuleInfo.h>

#include <memory>

/** What the small modules that the loader is tested with have in common. */
namespace KVR::FakeModule
{

/** An interface whose code goes away with the module. */
class Interface : public CKVRInterface
{
public:
    Interface() : CKVRInterface("fake") {}
};

inline KVRModuleInfo info = {(1 << 16) | (2 << 8) | 3, "fake", "1.2.3", kvrMODULE_INTERFACE,
                             "Fake interface"};

inline void registerInterface(IKVRCore& core)
{
    core.RegisterInterface(std::make_shared<Interface>());
}

} // namespace KVR::FakeModule

#define KVR_FAKE_EXPORT extern "C" __attribute__((visibility("default")))
