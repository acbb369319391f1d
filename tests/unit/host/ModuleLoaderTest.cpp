#include "Caught.h"
#include "LogCapture.h"
#include "RecordingHost.h"
#include "TemporaryFolder.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
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

/** Closes the one handle that the loader left open. */
void unload(const std::string& path)
{
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    dlclose(handle);
    dlclose(handle);
    EXPECT_FALSE(isLoaded(path));
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
    for (const std::int32_t type : {0, 7})
    {
        const CKVRModule module(core_, fake("good"), type);
        EXPECT_EQ(core_.GetParameter("FAKE_HOST_TYPE"), std::to_string(type));
    }
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

TEST_F(ModuleLoader, ANameIsNotCutAtAZeroByte)
{
    for (const std::string& name : {fake("good"), std::string("libc.so.6")})
    {
        EXPECT_EQ(LoadingGives(name + std::string("\0.so", 4)).message,
                  "File '" + name + "' doesn't exists.");
    }
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

TEST_F(ModuleLoader, AModuleThatLacksAFunctionIsNotLoaded)
{
    const Caught error = LoadingGives(fake("unresolved"));
    EXPECT_EQ(error.message, "Module '" + fake("unresolved") + "' can't be loaded.");
    EXPECT_THAT(error.details, testing::HasSubstr("undefined symbol: _Z14definedNowherev"));
}

TEST_F(ModuleLoader, AModulesFunctionsAreNotForOthers)
{
    const CKVRModule module(core_, fake("good"));
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "module_init"), nullptr);
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

TEST_F(ModuleLoader, EntryPointsOfADependencyAreNotTheLibrarys)
{
    EXPECT_EQ(LoadingGives(fake("borrowing")).message,
              "'" + fake("borrowing") + "' is no module: it has no get_module_info.");
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

TEST_F(ModuleLoader, ADescriptionThatDoesNotFitTheHostIsRefused)
{
    const std::string module = "Module '" + fake("good") + "' of ";
    const std::map<std::int32_t, std::string> misfits = {{20, "kind 0 and major version 1"},
                                                         {22, "kind 2 and major version 1"},
                                                         {30, "kind 1 and major version 0"},
                                                         {32, "kind 1 and major version 2"},
                                                         {40, "kind 1 and major version 1"}};
    for (const auto& [hostType, text] : misfits)
    {
        const Caught error = LoadingGives(fake("good"), hostType);
        EXPECT_TRUE(error.type == typeid(EKVRError));
        EXPECT_EQ(error.message, module + text + " does not fit this host.");
    }
    EXPECT_FALSE(core_.HasParameter("FAKE_STARTED"));
    EXPECT_FALSE(isLoaded(fake("good")));
}

TEST_F(ModuleLoader, ACoreThatHasTheInterfaceRefusesTheModuleAndKeepsTheInterface)
{
    const CKVRModule module(core_, fake("good"));
    const auto registered = core_.FindInterface("fake");
    const Caught error = LoadingGives(fake("good"));
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + fake("good") + "': there is an interface 'fake' already.");
    EXPECT_EQ(core_.FindInterface("fake"), registered);
    EXPECT_EQ(core_.GetParameter("FAKE_STARTED"), "yes");
}

TEST_F(ModuleLoader, AStartWithoutAnInterfaceIsAnError)
{
    core_.SetParameter("FAKE_SILENT", "");
    const Caught error = LoadingGives(fake("good"));
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + fake("good") + "' registered no interface 'fake'.");
    EXPECT_EQ(core_.GetParameter("FAKE_STARTED"), "yes")
        << "it may run for somebody else, and is not stopped";
    unload(fake("good"));
}

TEST_F(ModuleLoader, OfTwoHandlesOfAForeignCoreTheLastWithdrawsTheInterface)
{
    for (const bool isFirstLonger : {true, false})
    {
        Support::RecordingHost host;
        auto first = std::make_unique<CKVRModule>(host, fake("good"));
        auto second = std::make_unique<CKVRModule>(host, fake("good"));
        (isFirstLonger ? second : first).reset();
        EXPECT_EQ(host.count("UnregisterInterface"), 0U);
        (isFirstLonger ? first : second).reset();
        EXPECT_EQ(host.count("UnregisterInterface"), 1U);
        EXPECT_EQ(host.registered, nullptr);
        unload(fake("good"));
    }
}

TEST_F(ModuleLoader, AHandleLeavesTheInterfaceThatAnotherOneRegisteredAfterAWithdrawalByTheHost)
{
    auto first = std::make_unique<CKVRModule>(core_, fake("good"));
    core_.UnregisterInterface("fake");
    auto second = std::make_unique<CKVRModule>(core_, fake("good"));
    first.reset();
    EXPECT_NE(core_.FindInterface("fake"), nullptr);
    second.reset();
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
    unload(fake("good"));
}

TEST_F(ModuleLoader, AnInterfaceThatTheModuleDoesNotWithdrawIsWithdrawnBeforeItsCodeGoes)
{
    {
        const CKVRModule module(core_, fake("good"));
        core_.SetParameter("FAKE_SILENT", "");
    }
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
    EXPECT_FALSE(isLoaded(fake("good")));
}

TEST_F(ModuleLoader, AFailedStartLeavesTheInterfaceOfALiveHandleAlone)
{
    Support::RecordingHost host;
    const CKVRModule live(host, fake("throwing"));
    host.parameters["FAKE_THROW"] = "init";
    EXPECT_EQ(caught([&] { const CKVRModule module(host, fake("throwing")); }).message,
              "Fake failure in module_init (module)");
    EXPECT_EQ(host.count("UnregisterInterface"), 0U);
    host.parameters.clear();
}

TEST_F(ModuleLoader, NothingThatAHostThrowsLeavesTheDestructor)
{
    const Support::LogCapture log;
    for (const bool isNumber : {false, true})
    {
        Support::RecordingHost host;
        EXPECT_NO_THROW({
            const CKVRModule module(host, fake("good"));
            host.onCall = [isNumber](const std::string& call)
            {
                if (call.find("Unregister") == 0)
                {
                    isNumber ? throw 5 : throw std::runtime_error("no");
                }
            };
        });
        EXPECT_EQ(host.count("UnregisterInterface"), 2U) << "the module's attempt, and the loader's";
        EXPECT_TRUE(isLoaded(fake("good"))) << "the interface that stays needs its code";
        host.registered.reset();
        unload(fake("good"));
    }
    const std::vector<Support::LogCapture::Message> expected = {
        {kvrLOG_FAILURE, "A module failed to stop: no"},
        {kvrLOG_FAILURE, "A module failed to stop: no"},
        {kvrLOG_FAILURE, "A module failed to stop."},
        {kvrLOG_FAILURE, "A module failed to stop."}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(ModuleLoader, AHostThatThrowsWhileAFailedStartIsUndoneDoesNotReplaceTheError)
{
    const Support::LogCapture log;
    Support::RecordingHost host;
    host.throwFrom("UnregisterInterface");
    EXPECT_EQ(caught([&] { const CKVRModule module(host, fake("init_false")); }).message,
              "Module '" + fake("init_false") + "' could not be started.");
    host.parameters["FAKE_THROW"] = "init";
    EXPECT_EQ(caught([&] { const CKVRModule module(host, fake("throwing")); }).message,
              "Fake failure in module_init (module)");
    EXPECT_EQ(log.messages().size(), 2U);
    host.registered.reset();
    unload(fake("init_false"));
}

TEST_F(ModuleLoader, AStartThatFailsIsAnErrorAndLeavesNothingInTheRegistry)
{
    const Caught error = LoadingGives(fake("init_false"));
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_EQ(error.message, "Module '" + fake("init_false") + "' could not be started.");
    EXPECT_EQ(core_.FindInterface("fake"), nullptr);
    EXPECT_FALSE(core_.HasParameter("FAKE_DONE")) << "what did not start is not stopped";
    unload(fake("init_false"));
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
