#include "CoreText.h"
#include "ZeroByte.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRFormatCall.h>
#include <kvr/CKVRLogProvider.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

#include <dlfcn.h>
#include <link.h>

#include <exception>
#include <mutex>
#include <set>
#include <utility>

namespace KVR
{

namespace
{

std::string loaderError()
{
    const char* const error = dlerror();
    return error != nullptr ? error : "";
}

/** A symbol of the library itself; dlsym finds those of its dependencies too. */
void* ownSymbol(void* library, const char* name)
{
    void* const symbol = dlsym(library, name);
    link_map* own = nullptr;
    link_map* owner = nullptr;
    Dl_info information = {};
    const bool isKnown =
        symbol != nullptr && dlinfo(library, RTLD_DI_LINKMAP, &own) == 0 &&
        dladdr1(symbol, &information, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) != 0;
    return isKnown && owner == own ? symbol : nullptr;
}

template <typename Function>
Function entryPoint(void* library, const char* name, const std::string& path)
{
    const auto function = reinterpret_cast<Function>(ownSymbol(library, name));
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

/** Calls what may throw anything, a host's own types too; false when it did, which is logged. */
template <typename Function>
bool attempt(const Function& function)
{
    try
    {
        function();
        return true;
    }
    catch (const std::exception& error)
    {
        reportStop(error.what());
    }
    catch (...)
    {
        reportStop(nullptr);
    }
    return false;
}

constexpr std::int64_t hostVersion =
    (KVR_HOST_VERSION_MAJOR << 16) | (KVR_HOST_VERSION_MINOR << 8) | KVR_HOST_VERSION_PATCH;

std::int64_t majorOf(std::int64_t version)
{
    return version >> 16;
}

/** A core and the name of an interface. */
using Place = std::pair<const IKVRCore*, std::string>;

struct TakenPlaces
{
    std::mutex mutex;
    std::multiset<Place> places;
};

TakenPlaces& takenPlaces()
{
    // Never destroyed: modules in statics of the host end later.
    static TakenPlaces& taken = *std::make_unique<TakenPlaces>().release();
    return taken;
}

} // namespace

/**
 * The share that a handle has in the interface of a name. Which of several handles has registered it,
 * can't be seen: a module that runs already takes a second start for done. So the last one withdraws it.
 */
class CKVRModule::Claim
{
public:
    Claim(const IKVRCore& core, const char* name) : place_(&core, name)
    {
        const std::lock_guard<std::mutex> lock(takenPlaces().mutex);
        takenPlaces().places.insert(place_);
    }

    ~Claim()
    {
        const std::lock_guard<std::mutex> lock(takenPlaces().mutex);
        takenPlaces().places.erase(takenPlaces().places.find(place_));
    }

    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    /** True when no other live handle has a share. */
    bool IsOnlyOne() const
    {
        const std::lock_guard<std::mutex> lock(takenPlaces().mutex);
        return takenPlaces().places.count(place_) == 1;
    }

private:
    const Place place_;
};

void CKVRModule::Close::operator()(void* handle) const
{
    dlclose(handle);
}

CKVRModule::CKVRModule(CKVRCore& core, const std::string& path, std::int32_t hostType)
    : CKVRModule(core, &core, path, hostType)
{
}

CKVRModule::CKVRModule(IKVRCore& core, const std::string& path, std::int32_t hostType)
    : CKVRModule(core, nullptr, path, hostType)
{
}

CKVRModule::CKVRModule(IKVRCore& core, const CKVRCore* registry, const std::string& path,
                       std::int32_t hostType)
    : core_(core), registry_(registry)
{
    Load(path);
    const auto getModuleInfo = entryPoint<KVRGetModuleInfo>(library_.get(), "get_module_info", path);
    const auto moduleInit = entryPoint<KVRModuleInit>(library_.get(), "module_init", path);
    done_ = entryPoint<KVRModuleDone>(library_.get(), "module_done", path);
    Describe(getModuleInfo, path, hostType);
    Start(moduleInit, path);
}

CKVRModule::~CKVRModule()
{
    if (!claim_->IsOnlyOne())
    {
        KeepCode();
        return;
    }
    const bool isDone = attempt([this] { done_(core_); });
    if (!isDone || registry_ != nullptr)
    {
        Withdraw();
    }
}

void CKVRModule::Load(const std::string& path)
{
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    const bool isFile = path.find('/') != std::string::npos || hasZeroByte(path);
    if (isFile && !IsFileExist(path))
    {
        throw EKVRError(format(1, coreText("File '%s' doesn't exists."), path.c_str()), "");
    }
    library_.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!library_)
    {
        const std::string reason = loaderError();
        throw EKVRError(format(1, coreText("Module '%s' can't be loaded."), path.c_str()), reason);
    }
}

void CKVRModule::Describe(KVRGetModuleInfo getModuleInfo, const std::string& path, std::int32_t hostType)
{
    const KVRModuleInfo host = {hostVersion, "core", KVR_HOST_VERSION_TEXT, hostType, nullptr};
    try
    {
        info_ = getModuleInfo(&host);
    }
    catch (...)
    {
        KeepCode();
        throw;
    }
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    if (info_ == nullptr)
    {
        throw EKVRError(format(2, coreText("Module '%s' refuses host type %d."), path.c_str(), hostType), "");
    }
    if (info_->kind != kvrMODULE_INTERFACE || majorOf(info_->version) != majorOf(hostVersion) ||
        info_->interfaceName == nullptr)
    {
        throw EKVRError(
            format(3, coreText("Module '%s' of kind %d and major version %lld does not fit this host."),
                   path.c_str(), info_->kind, static_cast<long long>(majorOf(info_->version))),
            "");
    }
}

void CKVRModule::Start(KVRModuleInit moduleInit, const std::string& path)
{
    const char* const name = info_->interfaceName;
    CKVRFormatCall format(__FILE__, __func__, __LINE__);
    if (registry_ != nullptr && registry_->FindInterface(name))
    {
        throw EKVRError(
            format(2, coreText("Module '%s': there is an interface '%s' already."), path.c_str(), name), "");
    }
    claim_ = std::make_unique<Claim>(core_, name);
    // A start that fails leaves the code in memory: the error may be of the module, and what the module
    // has registered by other names can't be seen.
    void* const library = library_.release();
    bool isStarted = false;
    try
    {
        isStarted = moduleInit(core_);
    }
    catch (...)
    {
        Withdraw();
        throw;
    }
    if (!isStarted)
    {
        Withdraw();
        throw EKVRError(format(1, coreText("Module '%s' could not be started."), path.c_str()), "");
    }
    if (registry_ != nullptr && !registry_->FindInterface(name))
    {
        throw EKVRError(format(2, coreText("Module '%s' registered no interface '%s'."), path.c_str(), name),
                        "");
    }
    library_.reset(library);
}

/** Drops what the module left in the registry; where that fails, the code must stay for it. */
void CKVRModule::Withdraw()
{
    if (claim_->IsOnlyOne() && !attempt([this] { core_.UnregisterInterface(info_->interfaceName); }))
    {
        KeepCode();
    }
}

/** What is still registered or thrown needs the module's code: its functions, its types, its texts. */
void CKVRModule::KeepCode()
{
    static_cast<void>(library_.release());
}

} // namespace KVR
