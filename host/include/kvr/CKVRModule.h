#pragma once

#include <kvr/KVRExport.h>
#include <kvr/KVRModuleInfo.h>

#include <memory>
#include <string>

namespace KVR
{

class CKVRCore;

/**
 * A loaded module: the constructor loads the shared object and lets the module register its
 * interface, the destructor withdraws the module and closes the shared object.
 *
 * A module runs once in a process: for a second core, and for a core that has its interface already, a
 * handle is refused where this can be seen. Of several live handles that a core has for interfaces of one
 * name, the last withdraws it.
 *
 * The core must outlive the module. Objects that the module handed out end before the handle, unless the
 * module's code stays in memory by itself (ld(1), nodelete). Use from one thread.
 */
class KVR_API CKVRModule
{
public:
    /**
     * Verifies that the module registers its interface with this core.
     * @param core host object that the module gets
     * @param path shared object; a name without a slash is looked up as dlopen(3) does
     * @param hostType kind of host that is told to the module
     * @throws EKVRError when the file is missing, is no shared object or no module, when the module
     *         refuses the host type, is of another kind or major version than the host's, when the
     *         core has an interface of its name already, when its start fails or registers none;
     *         errors thrown by the module itself pass unchanged; the shared object of a module whose
     *         start fails stays loaded, because the error and what it registered may need its code
     */
    CKVRModule(CKVRCore& core, const std::string& path, std::int32_t hostType = kvrHOST_CORE);

    /**
     * As above for another implementation of the host object. Its registry can't be read, so the
     * caller has to see to it that the module's name is free and that the module runs for no other core.
     */
    CKVRModule(IKVRCore& core, const std::string& path, std::int32_t hostType = kvrHOST_CORE);

    /**
     * Throws nothing: errors of the module and of the core are logged. When the interface can't be
     * withdrawn, or another live handle has a share in it, the shared object stays loaded.
     */
    ~CKVRModule();

    CKVRModule(const CKVRModule&) = delete;
    CKVRModule& operator=(const CKVRModule&) = delete;

    /** The module's description, valid as long as the module is loaded. */
    const KVRModuleInfo& Info() const { return *info_; }

private:
    class Claim;

    struct Close
    {
        void operator()(void* handle) const;
    };

    CKVRModule(IKVRCore& core, const CKVRCore* registry, const std::string& path, std::int32_t hostType);

    void Load(const std::string& path);
    void Describe(KVRGetModuleInfo getModuleInfo, const std::string& path, std::int32_t hostType);
    void Start(KVRModuleInit moduleInit, const std::string& path);
    void Withdraw();
    void KeepCode();

    IKVRCore& core_;
    const CKVRCore* registry_; /**< the core, where it can be looked into */
    std::unique_ptr<void, Close> library_;
    std::unique_ptr<Claim> claim_;
    KVRModuleInfo* info_ = nullptr;
    KVRModuleDone done_ = nullptr;
};

} // namespace KVR
