#include "FakeModule.h"

#include <stdexcept>
#include <string>

using namespace KVR;

namespace
{

/** An error whose type, texts and destructor are the module's own. */
class FakeError : public EKVRError
{
public:
    explicit FakeError(const std::string& place) : EKVRError("Fake failure in " + place, "")
    {
        msg_ += " (module)";
        FakeError::makewhat();
    }
    FakeError(const FakeError&) = default;
    FakeError& operator=(const FakeError&) = default;
    ~FakeError() override = default;

    int errcode() const override { return 99; }
};

} // namespace

/** The parameter FAKE_THROW says which entry point throws; host type 66 makes the first one throw. */
KVR_FAKE_EXPORT KVRModuleInfo* get_module_info(const KVRModuleInfo* host)
{
    if (host->kind == 66)
    {
        throw FakeError("get_module_info");
    }
    return &FakeModule::info;
}

KVR_FAKE_EXPORT bool module_init(IKVRCore& core)
{
    FakeModule::registerInterface(core);
    if (core.GetParameter("FAKE_THROW") == "init")
    {
        throw FakeError("module_init");
    }
    return true;
}

KVR_FAKE_EXPORT void module_done(IKVRCore& core)
{
    if (core.GetParameter("FAKE_THROW") == "early")
    {
        throw FakeError("module_done");
    }
    core.UnregisterInterface("fake");
    if (core.GetParameter("FAKE_THROW") == "done")
    {
        throw FakeError("module_done");
    }
    if (core.GetParameter("FAKE_THROW") == "number")
    {
        throw 5;
    }
}
