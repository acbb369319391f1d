#pragma once

#include "Caught.h"
#include "PrivateSlapd.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <gtest/gtest.h>
#include <langinfo.h>

#include <clocale>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace KVR
{

using Support::Caught;
using Support::caught;

inline const std::string lab = "ou=lab,dc=example,dc=com";

/** The module in a real host, connected to a private server with the entries of the server tests. */
class LocaleTest : public testing::Test
{
protected:
    /**
     * @param codeset what the locale of this process has to name, so that no test runs elsewhere
     * @param moreOptions of the server
     */
    explicit LocaleTest(const std::string& codeset, const std::vector<std::string>& moreOptions = {})
        : server(serverOptions(moreOptions))
    {
        if (std::setlocale(LC_ALL, "") == nullptr || nl_langinfo(CODESET) != codeset)
        {
            throw std::runtime_error("this test needs LC_ALL and LOCPATH of a locale with " + codeset);
        }
        connection->Connect(server.hostAndPort(), KVRAuthAnonymous);
    }

    std::shared_ptr<IKVRLdapEntity> read(const std::string& dn, std::list<std::string> names = {"cn"})
    {
        const auto query = connection->Search(dn, "(objectClass=*)", names, alSCOPE_BASE);
        std::shared_ptr<IKVRLdapEntity> entity;
        if (!query || !query->Fetch(entity))
        {
            throw std::runtime_error("there is no entry " + dn);
        }
        return entity;
    }

    /** Expects that the entry's values don't fit into the locale's character set. */
    void expectUnconvertible(const std::string& dn, const std::list<std::string>& names = {"cn"})
    {
        EXPECT_EQ(caught([&] { read(dn, names); }),
                  (Caught{typeid(EKVRInternalError), "iconv conversion failed.", "",
                          "src/interfaces/ldap-wrapper/KVRLdapConnectionText.cpp:LINE(InternalIconv)"}));
    }

    Support::PrivateSlapd server;
    CKVRCore core;
    CKVRModule module{core, KVR_MODULE_FILE};
    std::shared_ptr<IKVRLdapConnection> connection =
        dynamic_cast<IKVRLdapWrapper&>(*core.FindInterface("ldap")).getConnection();

private:
    static std::vector<std::string> serverOptions(const std::vector<std::string>& more)
    {
        std::vector<std::string> options{"--entries", "0", "--data", KVR_ENTRIES};
        options.insert(options.end(), more.begin(), more.end());
        return options;
    }
};

} // namespace KVR
