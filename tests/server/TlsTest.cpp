// Encrypted connections, which only the list of URIs can ask for. Every test is a process of its own:
// the LDAP library reads its configuration, which tells whom to trust, once.

#include "ServerTest.h"

#include <RunningScript.h>
#include <ScopedEnvironment.h>
#include <ldap.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace KVR::ServerTests
{
namespace
{

/** A certificate authority and certificates for localhost, in a folder that lives as long as this object. */
class PrivateAuthority
{
public:
    PrivateAuthority()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "private-ca.XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
        {
            throw std::runtime_error("no folder for certificates");
        }
        folder_ = pattern;
        const std::string command = std::string(KVR_PRIVATE_CA) + " " + folder_ + " localhost";
        if (std::system(command.c_str()) != 0) // NOLINT(cert-env33-c,concurrency-mt-unsafe): own script
        {
            throw std::runtime_error("failed: " + command);
        }
    }

    ~PrivateAuthority()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    PrivateAuthority(const PrivateAuthority&) = delete;
    PrivateAuthority& operator=(const PrivateAuthority&) = delete;

    const std::string& folder() const { return folder_; }

private:
    std::string folder_;
};

/** What the library itself says of a bind to this server that fails; its words depend on how it was built. */
std::string diagnosis(const std::string& uri)
{
    LDAP* session = nullptr;
    ldap_initialize(&session, uri.c_str());
    const int version = LDAP_VERSION3;
    ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
    berval nothing{};
    EXPECT_EQ(ldap_sasl_bind_s(session, nullptr, LDAP_SASL_SIMPLE, &nothing, nullptr, nullptr, nullptr),
              LDAP_SERVER_DOWN);
    char* text = nullptr;
    ldap_get_option(session, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
    const std::string result = text == nullptr ? "" : text;
    ldap_memfree(text);
    ldap_unbind_ext_s(session, nullptr, nullptr);
    return result;
}

class TlsTest : public testing::Test
{
protected:
    /** @param configuration the client's: trusting.conf or doubting.conf */
    explicit TlsTest(const std::string& configuration)
        : clientConfiguration("LDAPCONF", authority.folder() + "/" + configuration)
    {
        // The configuration is what these tests are about.
        unsetenv("LDAPNOINIT"); // NOLINT(concurrency-mt-unsafe): no other thread
    }

    /** The server's URI for encrypted connections, without its scheme. */
    std::string ldapsHost() const { return server.ldapsUri().substr(std::string("ldaps://").size()); }

    Caught connecting(const std::string& uris, const std::string& target)
    {
        core.SetParameter("KVR_PRM_LDAP_URIS", uris);
        connection = std::make_unique<CKVRLdapConnection>(core);
        return caught([&] { connection->Connect(target, KVRAuthAnonymous); });
    }

    bool answers()
    {
        std::list<std::string> names;
        return connection->Search("dc=example,dc=com", "(objectClass=*)", names, alSCOPE_BASE) != nullptr;
    }

    const PrivateAuthority authority;
    const Support::ScopedEnvironment clientConfiguration;
    Support::PrivateSlapd server{{"--entries", "0", "--address", "localhost", "--tls", authority.folder()}};
    CKVRCore core;
    std::unique_ptr<CKVRLdapConnection> connection;
};

/** The client knows the authority. */
class TrustingTest : public TlsTest
{
protected:
    TrustingTest() : TlsTest("trusting.conf") {}
};

TEST_F(TrustingTest, AServerOfTheAuthorityIsConnectedTo)
{
    EXPECT_EQ(connecting(server.ldapsUri(), ldapsHost()), Caught());
    EXPECT_TRUE(connection->IsConnected());
    EXPECT_TRUE(answers());
}

TEST_F(TrustingTest, WhenTheFirstServerOfTheListIsDownTheEncryptedOneAnswers)
{
    const DeadPort dead;
    EXPECT_EQ(connecting("ldaps://" + dead.hostAndPort() + " " + server.ldapsUri(), ldapsHost()), Caught());
    EXPECT_TRUE(answers());
}

TEST_F(TrustingTest, WithoutTheListTheSchemeIsTheUnencryptedOneWhichTheEncryptedPortDoesNotSpeak)
{
    const Caught error = connecting("ldap://elsewhere.example.com", ldapsHost());
    EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
    EXPECT_EQ(error.message,
              "OpenLDAP error on bind - Can't contact LDAP server in KVRLdapConnection.cpp:LINE(Connect)");
}

/** The client knows no authority. */
class DoubtingTest : public TlsTest
{
protected:
    DoubtingTest() : TlsTest("doubting.conf") {}
};

TEST_F(DoubtingTest, TheServerIsRefusedWithTheLibrarysDiagnosis)
{
    const Caught error = connecting(server.ldapsUri(), ldapsHost());

    EXPECT_EQ(error.type, typeid(EKVROpenLdapError));
    EXPECT_EQ(error.message,
              "OpenLDAP error on bind - Can't contact LDAP server in KVRLdapConnection.cpp:LINE(Connect)");
    EXPECT_EQ(error.details, diagnosis(server.ldapsUri()));
    EXPECT_NE(error.details, "");
    EXPECT_EQ(connection->GetLastError(), -1);
}

TEST_F(DoubtingTest, AnUnencryptedServerBehindItInTheListAnswers)
{
    EXPECT_EQ(connecting(server.ldapsUri() + " " + server.uri(), ldapsHost()), Caught());
    EXPECT_TRUE(answers());
}

} // namespace
} // namespace KVR::ServerTests
