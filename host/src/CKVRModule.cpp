#include "CoreText.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>
#include <kvr/KVRUtils.h>

#include <dlfcn.h>

#include <exception>

namespace KVR
{

namespace
{

std::string loaderError()
{
    const char* const error = dlerror();
    return error != nullptr ? error : "";
}

template <typename Function>
Function entryPoint(void* library, const char* name, const std::string& path)
{
    const auto function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr)
    {
        CKVRFormatCall format(__FILE__, __func__, __LINE__);
        throw EKVRError(format(2, coreText("'%s' is no module: it has no %s."), path.c_str(), name), "");
    }
    return function;
}

/**
 * Logs that a module failed to stop. It throws nothing, since destructors stop modules.
 * @param reason null when the module gave none
 */
void reportStop(const char* reason)
try
{
    CKVRLogProvider& log = CKVRLogProvider::GetLogProvider();
    if (reason != nullptr)
    {
        log.Put(kvrLOG_FAILURE, 2, coreText("A module failed to stop: "), reason);
    }
    else
    {
        log.Put(kvrLOG_FAILURE, 1, coreText("A module failed to stop."));
    }
}
catch (...)
{
    // Where even the log fails there is nobody left to tell.
}

constexpr std::int64_t hostVersion =
    (KVR_HOST_VERSION_MAJOR << 16) | (KVR_HOST_VERSION_MINOR << 8) | KVR_HOST_VERSION_PATCH;

} // namespace

void CKVRModule::Close::operator()(void* handle) const
{
    dlclose(handle);
}

CKVRModule::CKVRModule(IKVRCore& core, const std::string& path, std::int32_t hostType) : core_(core)
{
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    if (path.find('/') != std::string::npos && !IsFileExist(path))
    {
        throw EKVRError(format(1, coreText("File '%s' doesn't exists."), path.c_str()), "");
    }
    library_.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!library_)
    {
        const std::string reason = loaderError();
        throw EKVRError(format(1, coreText("Module '%s' can't be loaded."), path.c_str()), reason);
    }
    const auto getModuleInfo = entryPoint<KVRGetModuleInfo>(library_.get(), "get_module_info", path);
    const auto moduleInit = entryPoint<KVRModuleInit>(library_.get(), "module_init", path);
    done_ = entryPoint<KVRModuleDone>(library_.get(), "module_done", path);

    const KVRModuleInfo host = {hostVersion, "core", KVR_HOST_VERSION_TEXT, hostType, nullptr};
    bool started = false;
    try
    {
        info_ = getModuleInfo(&host);
        started = info_ != nullptr && moduleInit(core_);
    }
    catch (...)
    {
        // The error in flight needs the module's code: its type, its destructor, its texts. So
        // a module that throws at its start stays in memory.
        static_cast<void>(library_.release());
        Withdraw();
        throw;
    }
    if (info_ == nullptr)
    {
        throw EKVRError(format(2, coreText("Module '%s' refuses host type %d."), path.c_str(), hostType), "");
    }
    if (!started)
    {
        Withdraw();
        throw EKVRError(format(1, coreText("Module '%s' could not be started."), path.c_str()), "");
    }
}

CKVRModule::~CKVRModule()
{
    try
    {
        done_(core_);
        return;
    }
    catch (const std::exception& error)
    {
        reportStop(error.what());
    }
    catch (...)
    {
        reportStop(nullptr);
    }
    // What the module registered must not outlive its code.
    try
    {
        Withdraw();
    }
    catch (const std::exception& error)
    {
        reportStop(error.what());
    }
}

void CKVRModule::Withdraw()
{
    if (info_ != nullptr && info_->interfaceName != nullptr)
    {
        core_.UnregisterInterface(info_->interfaceName);
    }
}

} // namespace KVR
