#include "Caught.h"
#include "RecordingHost.h"
#include "ScopedEnvironment.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/KVRModuleInfo.h>

#include <gmock/gmock.h>
#include <ldap.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>

extern "C"
{
    KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo* host);
    bool module_init(KVR::IKVRCore& core);
    void module_done(KVR::IKVRCore& core);
}

namespace KVR::Support
{
namespace
{

using testing::ElementsAre;
using testing::StartsWith;

const KVRModuleInfo coreHost{0x010000, "host", "1.0", kvrHOST_CORE, nullptr};

static_assert(offsetof(KVRModuleInfo, version) == 0 && sizeof(KVRModuleInfo::version) == 8 &&
                  offsetof(KVRModuleInfo, interfaceName) == 8 && offsetof(KVRModuleInfo, versionText) == 16 &&
                  offsetof(KVRModuleInfo, kind) == 24 && sizeof(KVRModuleInfo::kind) == 4 &&
                  offsetof(KVRModuleInfo, displayName) == 32,
              "the host reads the record by its layout");

TEST(ModuleInfo, DescribesTheModule)
{
    const KVRModuleInfo* const info = get_module_info(&coreHost);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->version, 0x010725);
    EXPECT_EQ(info->version, 1 << 16 | 7 << 8 | 37);
    EXPECT_STREQ(info->interfaceName, "ldap");
    EXPECT_STREQ(info->versionText, "1.7.37");
    EXPECT_EQ(info->kind, 1);
    EXPECT_STREQ(info->displayName, "Openldap interface");
}

TEST(ModuleInfo, IsTheSameRecordAndTextAtEveryCall)
{
    const KVRModuleInfo* const info = get_module_info(&coreHost);
    const char* const name = info->displayName;
    EXPECT_EQ(get_module_info(&coreHost), info);
    EXPECT_EQ(info->displayName, name);
}

TEST(ModuleInfo, ForAnotherHostTypeIsNullWithATextOnStandardError)
{
    for (const int type : {2, 1, -1})
    {
        const KVRModuleInfo other{0x010000, "host", "1.0", type, nullptr};
        testing::internal::CaptureStderr();
        EXPECT_EQ(get_module_info(&other), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Invalid host type " + std::to_string(type) + ".\n");
    }
}

/** Leaves the module withdrawn, so that each test begins with a clear flag. */
class ModuleStart : public testing::Test
{
protected:
    ~ModuleStart() override { module_done(host); }

    RecordingHost host;
};

/** Lets the host's operation with this record throw, once. */
void throwOnceFrom(RecordingHost& host, const std::string& record)
{
    host.onCall = [&host, record](const std::string& call)
    {
        if (call.compare(0, record.size(), record) == 0)
        {
            host.onCall = nullptr;
            throw std::runtime_error("refused by the host");
        }
    };
}

TEST_F(ModuleStart, DeclaresTheUrisThenRegistersThenDeclaresTheSchemaFolder)
{
    EXPECT_TRUE(module_init(host));
    std::vector<std::string> calls;
    for (const std::string& call : host.calls)
    {
        if (call.find("MatchRegex") == std::string::npos)
        {
            calls.push_back(call);
        }
    }
    EXPECT_THAT(calls, ElementsAre("GetServerHost", StartsWith("DefineParameter KVR_PRM_LDAP_URIS"),
                                   "RegisterInterface ldap",
                                   "DefineParameter KVR_LDAP_SCHEMA_DIR /etc/ldap/schema"));
}

TEST_F(ModuleStart, KeepsNoReferenceToTheInterface)
{
    module_init(host);
    ASSERT_NE(host.registered, nullptr);
    EXPECT_EQ(host.registered->Name(), "ldap");
    EXPECT_EQ(host.registered.use_count(), 1);
}

TEST_F(ModuleStart, TwiceRegistersOnce)
{
    EXPECT_TRUE(module_init(host));
    EXPECT_TRUE(module_init(host));
    EXPECT_EQ(host.count("RegisterInterface"), 1U);
    EXPECT_EQ(host.count("DefineParameter"), 2U);
}

TEST_F(ModuleStart, AfterAStopRegistersANewInterface)
{
    module_init(host);
    const std::shared_ptr<CKVRInterface> first = host.registered;
    module_done(host);
    EXPECT_EQ(host.registered, nullptr);
    EXPECT_TRUE(module_init(host));
    EXPECT_NE(host.registered, nullptr);
    EXPECT_NE(host.registered, first);
}

TEST_F(ModuleStart, TriesAgainAfterTheWrapperCouldNotBeMade)
{
    throwOnceFrom(host, "DefineParameter KVR_PRM_LDAP_URIS");
    EXPECT_EQ(caught([&] { module_init(host); }).message, "refused by the host");
    EXPECT_EQ(host.count("RegisterInterface"), 0U);
    EXPECT_TRUE(module_init(host));
    EXPECT_EQ(host.count("RegisterInterface"), 1U);
}

/** A host that looks at what it is given and then refuses it. */
class RefusingHost final : public RecordingHost
{
public:
    void RegisterInterface(std::shared_ptr<CKVRInterface> object) override
    {
        refused = object;
        throw std::runtime_error("refused by the host");
    }

    std::weak_ptr<CKVRInterface> refused;
};

TEST_F(ModuleStart, DropsTheInterfaceThatTheHostRefused)
{
    RefusingHost refusing;
    EXPECT_EQ(caught([&] { module_init(refusing); }).message, "refused by the host");
    EXPECT_TRUE(refusing.refused.expired());
}

TEST_F(ModuleStart, TriesAgainAfterARefusedRegistration)
{
    throwOnceFrom(host, "RegisterInterface");
    EXPECT_EQ(caught([&] { module_init(host); }).message, "refused by the host");
    EXPECT_EQ(host.registered, nullptr);
    EXPECT_TRUE(module_init(host));
    EXPECT_NE(host.registered, nullptr);
}

TEST_F(ModuleStart, TriesAgainAfterTheSchemaFolderCouldNotBeDeclared)
{
    throwOnceFrom(host, "DefineParameter KVR_LDAP_SCHEMA_DIR");
    EXPECT_EQ(caught([&] { module_init(host); }).message, "refused by the host");
    EXPECT_EQ(host.registered.use_count(), 1) << "the host's own reference, and no other";
    EXPECT_TRUE(module_init(host));
    EXPECT_EQ(host.count("RegisterInterface"), 2U);
}

/** A variable of ldap.conf(5), set by the host after the module's start. The library reads it once a process.
 */
TEST_F(ModuleStart, LeavesTheLibrarysVariablesToTheFirstConnection)
{
    const Support::ScopedEnvironment read("LDAPNOINIT", std::nullopt);
    module_init(host);
    const auto wrapper = std::dynamic_pointer_cast<IKVRLdapWrapper>(host.registered);
    const auto connection = wrapper->getConnection();
    const Support::ScopedEnvironment base("LDAPBASE", "dc=set,dc=later");
    host.parameters["KVR_PRM_LDAP_URIS"] = "ldap://127.0.0.1:1";
    caught([&] { connection->Connect("127.0.0.1:1", KVRAuthAnonymous); });
    char* text = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_DEFBASE, &text);
    const std::unique_ptr<char, decltype(&ldap_memfree)> owner(text, &ldap_memfree);
    EXPECT_STREQ("dc=set,dc=later", text);
}

TEST_F(ModuleStart, HandsOutConnectionsThatUseTheHostsUris)
{
    module_init(host);
    const auto wrapper = std::dynamic_pointer_cast<IKVRLdapWrapper>(host.registered);
    ASSERT_NE(wrapper, nullptr);
    host.parameters["KVR_PRM_LDAP_URIS"] = "no URL";
    const auto first = wrapper->getConnection();
    const auto second = wrapper->getConnection();
    EXPECT_NE(first, second);
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_FALSE(first->IsConnected());
    const Caught refusal{typeid(EKVRError), "Invalid LDAP url 'no URL'.", "", ""};
    EXPECT_EQ(caught([&] { first->Connect("URL", KVRAuthAnonymous); }), refusal);
}

TEST_F(ModuleStart, IsNotForgottenByAStopThatTheHostRefuses)
{
    module_init(host);
    throwOnceFrom(host, "UnregisterInterface");
    EXPECT_EQ(caught([&] { module_done(host); }).message, "refused by the host");
    EXPECT_TRUE(module_init(host));
    EXPECT_EQ(host.count("RegisterInterface"), 1U) << "the interface is still the host's";
    module_done(host);
    EXPECT_TRUE(module_init(host));
    EXPECT_EQ(host.count("RegisterInterface"), 2U);
}

TEST(ModuleStop, WithdrawsTheInterfaceByItsNameAlsoWhenItNeverStarted)
{
    RecordingHost host;
    module_done(host);
    module_done(host);
    EXPECT_THAT(host.calls, ElementsAre("UnregisterInterface ldap", "UnregisterInterface ldap"));
}

} // namespace
} // namespace KVR::Support
