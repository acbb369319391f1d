#include "Caught.h"
#include "LogCapture.h"
#include "TemporaryFolder.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace KVR::Test
{

namespace
{

using Support::Caught;
using Support::caught;

std::string fake(const std::string& name)
{
    return KVR_FAKE_MODULES "/fake-" + name + ".so";
}

bool isLoaded(const std::string& path)
{
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
    {
        dlclose(handle);
    }
    return handle != nullptr;
}

class ModuleLoader : public testing::Test
{
protected:
    Caught LoadingGives(const std::string& path, std::int32_t hostType = kvrHOST_CORE)
    {
        return caught([&] { const CKVRModule module(core_, path, hostType); });
    }

    TemporaryFolder folder_;
    CKVRCore core_{KVRHostIdentity{"example.com", "server.example.com", "station"}};
};

} // namespace

TEST_F(ModuleLoader, AGoodModuleIsStartedAndStopped)
{
    {
        const CKVRModule module(core_, fake("good"));
        EXPECT_EQ(core_.GetParameter("FAKE_STARTED"), "yes");
        ASSERT_NE(core_.FindInterface("fake"), nullptr);
        EXPECT_EQ(core_.FindInterface("fake")->Name(), "fake");
        EXPECT_TRUE(isLoaded(fake("good")));
    }
    EXPECT_EQ(core_.GetParameter("FAKE_STARTED"), "no");
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
    EXPECT_FALSE(isLoaded(fake("good")));
}

TEST_F(ModuleLoader, TheDescriptionIsTheModules)
{
    const CKVRModule module(core_, fake("good"));
    EXPECT_EQ(module.Info().version, 0x10203);
    EXPECT_STREQ(module.Info().interfaceName, "fake");
    EXPECT_STREQ(module.Info().versionText, "1.2.3");
    EXPECT_STREQ(module.Info().displayName, "Fake interface");
}

TEST_F(ModuleLoader, TheModuleIsToldTheHostType)
{
    EXPECT_EQ(CKVRModule(core_, fake("good")).Info().kind, 0);
    EXPECT_EQ(CKVRModule(core_, fake("good"), 7).Info().kind, 7);
}

TEST_F(ModuleLoader, AModuleMayBeLoadedAgain)
{
    for (int round = 0; round < 3; ++round)
    {
        const CKVRModule module(core_, fake("good"));
        EXPECT_NE(core_.FindInterface("fake"), nullptr);
    }
}

TEST_F(ModuleLoader, AMissingFileIsNamed)
{
    const std::string path = folder_.Path("missing.so");
    const Caught error = LoadingGives(path);
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "File '" + path + "' doesn't exists.");
    EXPECT_EQ(error.details, "");
}

TEST_F(ModuleLoader, AFolderIsNoModuleFile)
{
    const std::string path = folder_.Folder("folder");
    EXPECT_EQ(LoadingGives(path).message, "File '" + path + "' doesn't exists.");
}

TEST_F(ModuleLoader, AMissingNameWithoutSlashGivesTheLoadersReason)
{
    const Caught error = LoadingGives("kvr-no-such-module.so");
    EXPECT_EQ(error.message, "Module 'kvr-no-such-module.so' can't be loaded.");
    EXPECT_THAT(error.details, testing::HasSubstr("No such file or directory"));
}

TEST_F(ModuleLoader, AFileThatIsNoSharedObjectGivesTheLoadersReason)
{
    const std::string path = folder_.File("text.so", std::string(4096, 'x'));
    const Caught error = LoadingGives(path);
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + path + "' can't be loaded.");
    EXPECT_EQ(error.details, path + ": invalid ELF header");
}

TEST_F(ModuleLoader, ASharedObjectWithoutEntryPointsIsNoModule)
{
    const Caught error = LoadingGives(fake("no_entry_points"));
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "'" + fake("no_entry_points") + "' is no module: it has no get_module_info.");
    EXPECT_EQ(error.details, "");
    EXPECT_FALSE(isLoaded(fake("no_entry_points")));
}

TEST_F(ModuleLoader, TheFirstMissingEntryPointIsNamed)
{
    EXPECT_EQ(LoadingGives(fake("only_info")).message,
              "'" + fake("only_info") + "' is no module: it has no module_init.");
}

TEST_F(ModuleLoader, NothingIsStartedWhenAnEntryPointIsMissing)
{
    EXPECT_EQ(LoadingGives(fake("no_done")).message,
              "'" + fake("no_done") + "' is no module: it has no module_done.");
    EXPECT_FALSE(core_.HasParameter("FAKE_STARTED"));
}

TEST_F(ModuleLoader, ARefusedHostTypeIsNamed)
{
    const Caught error = LoadingGives(fake("good"), 3);
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + fake("good") + "' refuses host type 3.");
    EXPECT_FALSE(core_.HasParameter("FAKE_STARTED"));
    EXPECT_FALSE(isLoaded(fake("good")));
}

TEST_F(ModuleLoader, AStartThatFailsIsAnErrorAndLeavesNothingInTheRegistry)
{
    const Caught error = LoadingGives(fake("init_false"));
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + fake("init_false") + "' could not be started.");
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
    EXPECT_FALSE(core_.HasParameter("FAKE_DONE")) << "what did not start is not stopped";
    EXPECT_FALSE(isLoaded(fake("init_false")));
}

TEST_F(ModuleLoader, AnErrorOfTheModulesStartPassesUnchangedAndStaysUsable)
{
    core_.SetParameter("FAKE_THROW", "init");
    try
    {
        const CKVRModule module(core_, fake("throwing"));
        ADD_FAILURE() << "no error";
    }
    catch (const EKVRError& error)
    {
        EXPECT_STREQ(error.what(), "Fake failure in module_init (module)");
        EXPECT_EQ(error.errcode(), 99);
    }
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
}

TEST_F(ModuleLoader, AnErrorOfTheModulesDescriptionPassesUnchanged)
{
    EXPECT_EQ(LoadingGives(fake("throwing"), 66).message, "Fake failure in get_module_info (module)");
}

TEST_F(ModuleLoader, AnErrorAtTheModulesEndIsLogged)
{
    const Support::LogCapture log;
    core_.SetParameter("FAKE_THROW", "done");
    EXPECT_EQ(LoadingGives(fake("throwing")).message, "");
    core_.SetParameter("FAKE_THROW", "number");
    EXPECT_EQ(LoadingGives(fake("throwing")).message, "");
    const std::vector<Support::LogCapture::Message> expected = {
        {kvrLOG_FAILURE, "A module failed to stop: Fake failure in module_done (module)"},
        {kvrLOG_FAILURE, "A module failed to stop."}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(ModuleLoader, AModuleThatFailsToWithdrawIsWithdrawnBeforeItsCodeGoes)
{
    const Support::LogCapture log;
    core_.SetParameter("FAKE_THROW", "early");
    EXPECT_EQ(LoadingGives(fake("throwing")).message, "");
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
}

TEST_F(ModuleLoader, ALogThatFailsDoesNotStopTheEndOfAModule)
{
    const Support::LogCapture log;
    CKVRLogProvider::GetLogProvider().SetSink([](KVRLogLevel, const std::string&)
                                              { throw std::runtime_error("no room for the log"); });
    core_.SetParameter("FAKE_THROW", "done");
    EXPECT_EQ(LoadingGives(fake("throwing")).message, "");
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
}

} // namespace KVR::Test
