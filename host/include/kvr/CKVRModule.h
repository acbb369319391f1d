#pragma once

#include <kvr/KVRExport.h>
#include <kvr/KVRModuleInfo.h>

#include <memory>
#include <string>

namespace KVR
{

/**
 * A loaded module: the constructor loads the shared object and lets the module register its
 * interface, the destructor withdraws the module and closes the shared object.
 *
 * The core must outlive the module. Use from one thread.
 */
class KVR_API CKVRModule
{
public:
    /**
     * @param core host object that the module gets
     * @param path shared object; a name without a slash is looked up as dlopen(3) does
     * @param hostType kind of host that is told to the module
     * @throws EKVRError when the file is missing, is no shared object or no module, when the module
     *         refuses the host type, or when its start fails; errors thrown by the module
     *         itself pass unchanged; the shared object of a module that throws stays loaded,
     *         because the error may need its code
     */
    CKVRModule(IKVRCore& core, const std::string& path, std::int32_t hostType = kvrHOST_CORE);
    ~CKVRModule();

    CKVRModule(const CKVRModule&) = delete;
    CKVRModule& operator=(const CKVRModule&) = delete;

    /** The module's description, valid as long as the module is loaded. */
    const KVRModuleInfo& Info() const { return *info_; }

private:
    struct Close
    {
        void operator()(void* handle) const;
    };

    /** Drops what a module that failed to start left in the registry: its code goes away. */
    void Withdraw();

    IKVRCore& core_;
    std::unique_ptr<void, Close> library_;
    KVRModuleInfo* info_ = nullptr;
    KVRModuleDone done_ = nullptr;
};

} // namespace KVR
