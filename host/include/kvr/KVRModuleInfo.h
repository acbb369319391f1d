#pragma once

#include <cstdint>

namespace KVR
{

class IKVRCore;

/** Describes a module, and the host to a module. The layout is part of the calling contract. */
struct KVRModuleInfo
{
    std::int64_t version;      /**< major << 16, minor << 8, patch */
    const char* interfaceName; /**< name under which the module registers its interface */
    const char* versionText;
    std::int32_t kind;       /**< kvrMODULE_INTERFACE; in the host's own record the host type */
    const char* displayName; /**< translated name for people, or null */
};

/** Host type that a core library passes as `kind` of its own record. */
constexpr std::int32_t kvrHOST_CORE = 0;

/** Kind of a module that registers an interface. */
constexpr std::int32_t kvrMODULE_INTERFACE = 1;

/** The three C entry points of a module. */
using KVRGetModuleInfo = KVRModuleInfo* (*)(const KVRModuleInfo* host);
using KVRModuleInit = bool (*)(IKVRCore& core);
using KVRModuleDone = void (*)(IKVRCore& core);

} // namespace KVR
