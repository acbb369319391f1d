// A host as others build it: it includes the public headers, is linked to the host core library and
// meets the module through the three entry points.

#include "Caught.h"
#include "LogCapture.h"
#include "RecordingHost.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapSession.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <typeinfo>

namespace
{

using namespace KVR;
using Support::caught;

/** Nothing listens on this port. */
constexpr char closedPort[] = "127.0.0.1:1";

class ModuleInHost : public testing::Test
{
protected:
    ModuleInHost() { load(); }

    void load() { module.emplace(host, KVR_MODULE_FILE); }

    std::shared_ptr<IKVRLdapWrapper> wrapper()
    {
        return std::dynamic_pointer_cast<IKVRLdapWrapper>(host.FindInterface("ldap"));
    }

    CKVRCore host{KVRHostIdentity{"example.com", "srv.example.com", "host.example.com"}};
    std::optional<CKVRModule> module;
};

TEST_F(ModuleInHost, DescribesItself)
{
    const KVRModuleInfo& info = module->Info();
    EXPECT_EQ(info.version, 0x010725);
    EXPECT_STREQ(info.interfaceName, "ldap");
    EXPECT_STREQ(info.versionText, "1.7.37");
    EXPECT_EQ(info.kind, 1);
    EXPECT_STREQ(info.displayName, "Openldap interface");
}

TEST_F(ModuleInHost, RegistersItsInterfaceUnderItsName)
{
    ASSERT_NE(wrapper(), nullptr);
    EXPECT_EQ(wrapper()->Name(), "ldap");
}

TEST_F(ModuleInHost, DeclaresItsParameters)
{
    EXPECT_EQ(host.GetParameter("KVR_LDAP_SCHEMA_DIR"), "/etc/ldap/schema");
    EXPECT_TRUE(host.HasParameter("KVR_PRM_LDAP_URIS"));
}

TEST_F(ModuleInHost, HandsOutANewUnconnectedConnectionEachTime)
{
    const auto first = wrapper()->getConnection();
    const auto second = wrapper()->getConnection();
    EXPECT_NE(first, second);
    EXPECT_FALSE(first->IsConnected());
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(ModuleInHost, CastsAConnectionToItsSessionAndBack)
{
    const auto connection = wrapper()->getConnection();
    const auto session = std::dynamic_pointer_cast<IKVRLdapSession>(connection);
    ASSERT_NE(session, nullptr);
    EXPECT_FALSE(session->IsTimeLimitReached());
    EXPECT_EQ(std::dynamic_pointer_cast<IKVRLdapConnection>(session), connection);
}

TEST_F(ModuleInHost, CatchesACheckErrorByItsType)
{
    const auto connection = wrapper()->getConnection();
    try
    {
        connection->Connect("", KVRAuthAnonymous);
        FAIL() << "an empty target was taken";
    }
    catch (const EKVRCheckError& error)
    {
        EXPECT_EQ(error.msg(), "Argument is empty for 'Connect'.");
    }
}

TEST_F(ModuleInHost, CatchesAnOpenLdapErrorByItsType)
{
    const auto connection = wrapper()->getConnection();
    try
    {
        connection->Connect(closedPort, KVRAuthAnonymous);
        FAIL() << "a closed port was connected to";
    }
    catch (const EKVROpenLdapError& error)
    {
        EXPECT_EQ(error.msg().rfind("OpenLDAP error on bind - Can't contact LDAP server in "
                                    "KVRLdapConnection.cpp:",
                                    0),
                  0U)
            << error.msg();
    }
}

TEST_F(ModuleInHost, CatchesAnOpenLdapErrorByItsBases)
{
    const auto connection = wrapper()->getConnection();
    EXPECT_THROW(connection->Connect(closedPort, KVRAuthAnonymous), EKVRError);
    EXPECT_THROW(wrapper()->getConnection()->Connect(closedPort, KVRAuthAnonymous), std::exception);
}

TEST_F(ModuleInHost, DoesNotTakeOneKindOfErrorForAnother)
{
    const auto connection = wrapper()->getConnection();
    try
    {
        connection->Connect(closedPort, KVRAuthAnonymous);
        FAIL() << "a closed port was connected to";
    }
    catch (const EKVRCheckError&)
    {
        FAIL() << "caught as a check error";
    }
    catch (const EKVROpenLdapError&)
    {
    }
}

TEST_F(ModuleInHost, CatchesTheOutOfRangeOfAnEntity)
{
    const auto connection = wrapper()->getConnection();
    const auto entity = connection->AllocEntity();
    entity->dn = "cn=a";
    std::multimap<std::string, std::string> changes{{"", "x"}};
    EXPECT_THROW(entity->Update(changes, true), std::out_of_range);
}

TEST_F(ModuleInHost, IsWithdrawnByUnloading)
{
    module.reset();
    EXPECT_EQ(host.FindInterface("ldap"), nullptr);
}

TEST_F(ModuleInHost, RegistersAnewWhenLoadedAgain)
{
    const IKVRLdapWrapper* const first = wrapper().get();
    ASSERT_NE(first, nullptr);
    module.reset();
    load();
    EXPECT_NE(wrapper(), nullptr);
}

TEST_F(ModuleInHost, LeavesWhatItHandedOutUsableAfterAnUnload)
{
    const auto keptWrapper = wrapper();
    const auto connection = keptWrapper->getConnection();
    const auto entity = connection->AllocEntity();
    std::exception_ptr error;
    try
    {
        connection->Connect(closedPort, KVRAuthAnonymous);
    }
    catch (...)
    {
        error = std::current_exception();
    }
    module.reset();
    EXPECT_THROW(std::rethrow_exception(error), EKVROpenLdapError);
    EXPECT_FALSE(entity->IsValid());
    connection->Disconnect();
    EXPECT_FALSE(connection->IsConnected());
    EXPECT_NE(keptWrapper->getConnection(), nullptr);
}

TEST_F(ModuleInHost, RefusesAHostOfAnotherType)
{
    CKVRCore other{KVRHostIdentity{"example.com", "srv.example.com", "host.example.com"}};
    testing::internal::CaptureStderr();
    EXPECT_THROW(CKVRModule(other, KVR_MODULE_FILE, 2), EKVRError);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid host type 2.\n");
    EXPECT_EQ(other.FindInterface("ldap"), nullptr);
}

TEST_F(ModuleInHost, RunsForOneHostOfAProcess)
{
    const auto registered = wrapper();
    CKVRCore other{KVRHostIdentity{"example.org", "srv.example.org", "host.example.org"}};
    EXPECT_EQ(caught([&] { const CKVRModule second(other, KVR_MODULE_FILE); }).message,
              "Module '" KVR_MODULE_FILE "' registered no interface 'ldap'.");
    EXPECT_EQ(other.FindInterface("ldap"), nullptr);
    EXPECT_EQ(wrapper(), registered);
    module.reset();
    const CKVRModule second(other, KVR_MODULE_FILE);
    EXPECT_NE(other.FindInterface("ldap"), nullptr);
}

TEST_F(ModuleInHost, IsNotStartedASecondTimeForTheSameHost)
{
    const auto registered = wrapper();
    EXPECT_EQ(caught([&] { const CKVRModule second(host, KVR_MODULE_FILE); }).message,
              "Module '" KVR_MODULE_FILE "': there is an interface 'ldap' already.");
    EXPECT_EQ(wrapper(), registered);
    EXPECT_NE(wrapper()->getConnection(), nullptr);
}

TEST_F(ModuleInHost, OfAHostWhoseWithdrawalFailedIsNoSoundHandleAnyMore)
{
    module.reset();
    const Support::LogCapture log;
    Support::RecordingHost throwing;
    {
        const CKVRModule first(throwing, KVR_MODULE_FILE);
        throwing.onCall = [&throwing](const std::string& /*call*/)
        {
            throwing.onCall = nullptr;
            throw std::runtime_error("refused by the host");
        };
    }
    EXPECT_EQ(throwing.registered, nullptr) << "the second attempt withdraws the interface";
    EXPECT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(caught([&] { load(); }).message, "Module '" KVR_MODULE_FILE "' registered no interface 'ldap'.")
        << "the module still takes itself for started";
    {
        const CKVRModule stopping(throwing, KVR_MODULE_FILE);
    }
    load();
    EXPECT_NE(wrapper(), nullptr);
}

} // namespace
