#include "Caught.h"
#include "LogCapture.h"
#include "ScopedEnvironment.h"
#include "TemporaryFolder.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>
#include <libintl.h>

#include <clocale>

namespace KVR::Test
{

namespace
{

using Support::caught;

/** Takes the marked catalogues, in which a text of libkvr-core begins with "[c]". */
class HostCatalogue : public testing::Test
{
protected:
    HostCatalogue()
    {
        EXPECT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
        bindtextdomain("libkvr-core", KVR_MARKED_CATALOGUES);
        bindtextdomain("libkvr-ldap-wrapper", KVR_MARKED_CATALOGUES);
    }
    ~HostCatalogue() override { EXPECT_NE(std::setlocale(LC_ALL, "C"), nullptr); }

    Support::ScopedEnvironment language_{"LANGUAGE", "qq"};
    TemporaryFolder folder_;
    CKVRCore core_{KVRHostIdentity{"example.com", "server.example.com", "station"}};
};

std::string fake(const std::string& name)
{
    return KVR_FAKE_MODULES "/fake-" + name + ".so";
}

} // namespace

TEST_F(HostCatalogue, ErrorsOfAParameterFileAreTranslated)
{
    const std::string path = folder_.File("parameters", "no parameter\n");
    const std::string missing = folder_.Path("missing");
    EXPECT_EQ(caught([&] { core_.LoadParameters(path); }).message,
              "[c]File '" + path + "', line 1: there is no '='.");
    folder_.File("parameters", "= value\n");
    EXPECT_EQ(caught([&] { core_.LoadParameters(path); }).message,
              "[c]File '" + path + "', line 1: there is no name before '='.");
    EXPECT_EQ(caught([&] { core_.LoadParameters(missing); }).message,
              "[c]File '" + missing + "' can't be read.");
    folder_.File("parameters", std::string("A\0B = C\n", 8));
    EXPECT_EQ(caught([&] { core_.LoadParameters(path); }).message,
              "[c]File '" + path + "', line 1: the name before '=' contains a zero byte.");
    EXPECT_EQ(caught([&] { core_.SetParameter(std::string("A\0B", 3), "C"); }).message,
              "[c]Argument of 'SetParameter' contains a zero byte.");
}

TEST_F(HostCatalogue, ErrorsOfTheRegistryAndOfExpressionsAreTranslated)
{
    EXPECT_EQ(caught([&] { core_.RegisterInterface(nullptr); }).message,
              "[c]There is no interface to register.");
    EXPECT_EQ(caught([&] { core_.MatchRegex("(", "", nullptr, 0); }).message,
              "[c]Invalid regular expression '('.");
}

TEST_F(HostCatalogue, ErrorsOfTheLogFileAreTranslated)
{
    const std::string path = folder_.Path("missing/log");
    EXPECT_EQ(caught([&] { CKVRLogProvider::GetLogProvider().SetFile(path); }).message,
              "[c]File '" + path + "' can't be opened.");
}

TEST_F(HostCatalogue, ErrorsOfTheModuleLoaderAreTranslated)
{
    const auto loading = [this](const std::string& path, std::int32_t hostType)
    { return caught([&] { const CKVRModule module(core_, path, hostType); }).message; };
    const std::string missing = folder_.Path("missing.so");
    const std::string text = folder_.File("text.so", "text");
    EXPECT_EQ(loading(missing, 0), "[c]File '" + missing + "' doesn't exists.");
    EXPECT_EQ(loading(text, 0), "[c]Module '" + text + "' can't be loaded.");
    EXPECT_EQ(loading(fake("only_info"), 0),
              "[c]'" + fake("only_info") + "' is no module: it has no module_init.");
    EXPECT_EQ(loading(fake("good"), 3), "[c]Module '" + fake("good") + "' refuses host type 3.");
    EXPECT_EQ(loading(fake("init_false"), 0), "[c]Module '" + fake("init_false") + "' could not be started.");
    EXPECT_EQ(loading(fake("good"), 22),
              "[c]Module '" + fake("good") + "' of kind 2 and major version 1 does not fit this host.");
    core_.SetParameter("FAKE_SILENT", "");
    EXPECT_EQ(loading(fake("good"), 0), "[c]Module '" + fake("good") + "' registered no interface 'fake'.");
    core_.RegisterInterface(std::make_shared<CKVRInterface>("fake"));
    EXPECT_EQ(loading(fake("good"), 0),
              "[c]Module '" + fake("good") + "': there is an interface 'fake' already.");
}

TEST_F(HostCatalogue, MessagesAboutTheEndOfAModuleAreTranslated)
{
    const Support::LogCapture log;
    core_.SetParameter("FAKE_THROW", "done");
    EXPECT_EQ(caught([&] { const CKVRModule module(core_, fake("throwing")); }).message, "");
    core_.SetParameter("FAKE_THROW", "number");
    EXPECT_EQ(caught([&] { const CKVRModule module(core_, fake("throwing")); }).message, "");
    EXPECT_EQ(log.messages().at(0).second,
              "[c]A module failed to stop: Fake failure in module_done (module)");
    EXPECT_EQ(log.messages().at(1).second, "[c]A module failed to stop.");
}

TEST_F(HostCatalogue, TheGermanCataloguesTranslateBothDomains)
{
    const Support::ScopedEnvironment german("LANGUAGE", "de");
    bindtextdomain("libkvr-core", KVR_BUILT_CATALOGUES);
    bindtextdomain("libkvr-ldap-wrapper", KVR_BUILT_CATALOGUES);
    EXPECT_EQ(caught([&] { core_.MatchRegex("(", "", nullptr, 0); }).message,
              "Ungültiger regulärer Ausdruck „(“.");
    EXPECT_STREQ(dgettext("libkvr-ldap-wrapper", "LDAP connection is already established."),
                 "Die LDAP-Verbindung besteht bereits.");
}

} // namespace KVR::Test
