// A host with a core library of its own loads the module and works on a private server.

#include "Contract.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <map>

namespace
{

using namespace KVR;
using testing::Contains;
using testing::ElementsAre;
using testing::MatchesRegex;

class Host final : public IKVRCore
{
public:
    const std::string& GetDomainName() override { return name_; }
    const std::string& GetServerHost() override { return name_; }
    const std::string& GetHostName() override { return name_; }
    void RegisterInterface(std::shared_ptr<CKVRInterface> object) override { registered = object; }
    void UnregisterInterface(const std::string& name) override
    {
        if (registered && registered->name == name)
        {
            registered.reset();
        }
    }
    std::string GetBindDefaults() override { return "defaults"; }
    std::string GetParameter(const std::string& name) override { return parameters[name]; }
    bool HasParameter(const std::string& name) override { return parameters.count(name) != 0; }
    void DefineParameter(const std::string& name, const std::string& value) override
    {
        parameters.emplace(name, value);
    }
    bool MatchRegex(const std::string& pattern, const std::string& text, void*, int) override
    {
        return text.compare(0, pattern.size() - 1, pattern, 1, std::string::npos) == 0;
    }

    std::shared_ptr<CKVRInterface> registered;
    std::map<std::string, std::string> parameters{{"KVR_PRM_LDAP_URIS", std::getenv("KVR_TEST_LDAP_URI")}};

private:
    const std::string name_ = "srv.example.com";
};

class OwnHost : public testing::Test
{
protected:
    OwnHost()
    {
        EXPECT_TRUE(entry<bool (*)(IKVRCore&)>("module_init")(host));
        log.messages.clear();
    }
    ~OwnHost() override { entry<void (*)(IKVRCore&)>("module_done")(host); }

    template <typename Function>
    static Function entry(const char* name)
    {
        static void* const module = dlopen(KVR_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
        return reinterpret_cast<Function>(module != nullptr ? dlsym(module, name) : nullptr);
    }

    std::shared_ptr<IKVRLdapConnection> connected()
    {
        auto connection = std::dynamic_pointer_cast<IKVRLdapWrapper>(host.registered)->getConnection();
        connection->Connect("ldap", KVRAuthAnonymous);
        return connection;
    }

    static std::string messageOf(const std::function<void()>& call)
    {
        try
        {
            call();
        }
        catch (const EKVRError& error)
        {
            EXPECT_EQ(error.errcode(), 7);
            EXPECT_EQ(error.what(), "<" + error.msg() + "|" + error.details() + ">");
            return error.msg();
        }
        return "no error";
    }

    Host host;
    CKVRLogProvider& log = CKVRLogProvider::GetLogProvider();
};

TEST_F(OwnHost, GetsTheModulesDescriptionAndItsRefusal)
{
    const auto getModuleInfo = entry<ModuleRecord* (*)(const ModuleRecord*)>("get_module_info");
    const ModuleRecord core{0, nullptr, nullptr, 0, nullptr};
    const ModuleRecord* const record = getModuleInfo(&core);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->version, 0x010725);
    EXPECT_STREQ(record->displayName, "Openldap interface");

    const ModuleRecord other{0, nullptr, nullptr, 2, nullptr};
    testing::internal::CaptureStderr();
    EXPECT_EQ(getModuleInfo(&other), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "1: Invalid host type 2.\n");
}

TEST_F(OwnHost, ReadsAndWritesEntries)
{
    const auto connection = connected();
    connection->SetAttrValue("uid=user000001,ou=people,dc=example,dc=com", "title", "Host", alREPLACE);
    std::list<std::string> names{"title"};
    const auto query = connection->Search("ou=people,dc=example,dc=com", "(title=Host)", names, alSCOPE_SUB);
    std::shared_ptr<IKVRLdapEntity> entity;
    ASSERT_TRUE(query->Fetch(entity));
    EXPECT_EQ(entity->dn, "uid=user000001,ou=people,dc=example,dc=com");
    EXPECT_EQ(entity->ValByAttr("title", true), "Host");
    EXPECT_FALSE(query->Fetch(entity));
}

TEST_F(OwnHost, CatchesErrorsOfItsOwnTypesWithTextsOfItsOwnFormatter)
{
    const auto connection = connected();
    std::multimap<std::string, std::string> attributes{{"objectClass", "device"}, {"cn", "a"}};
    EXPECT_THAT(messageOf([&] { connection->AddDN("cn=a,ou=none,dc=example,dc=com", attributes); }),
                MatchesRegex("4: OpenLDAP error 1: on adding dn 'cn=a,ou=none,dc=example,dc=com' - No such "
                             "object in KVRLdapConnectionEntry.cpp:[0-9]+[(]AddDN[)]"));
    connection->Disconnect();
    EXPECT_EQ(messageOf([&] { connection->GetLastError(); }), "LDAP connection isn`t established.");
}

TEST_F(OwnHost, FindsTheModulesTracesInItsLog)
{
    connected();
    EXPECT_THAT(log.messages, Contains(testing::StartsWith("4/1 ")));
}

} // namespace
