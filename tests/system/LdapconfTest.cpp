// Default URIs from the real /etc/ldap/ldap.conf. Runs in dev/sandbox, where /etc/ldap is a copy.

#include "PrivateSlapd.h"
#include "RecordingHost.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace KVR
{
namespace
{

namespace fs = std::filesystem;

const fs::path clientConfiguration = "/etc/ldap/ldap.conf";

/** Takes from root the right to read what the permission bits forbid, as long as it lives. */
class WithoutFileOverride
{
public:
    WithoutFileOverride()
    {
        check(syscall(SYS_capget, &header_, former_.data()));
        std::array<__user_cap_data_struct, 2> reduced = former_;
        reduced[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        check(syscall(SYS_capset, &header_, reduced.data()));
    }

    ~WithoutFileOverride() { syscall(SYS_capset, &header_, former_.data()); }

    WithoutFileOverride(const WithoutFileOverride&) = delete;
    WithoutFileOverride& operator=(const WithoutFileOverride&) = delete;

private:
    static void check(long result)
    {
        if (result != 0)
        {
            throw std::runtime_error("the process may not change its capabilities");
        }
    }

    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> former_{};
};

class LdapConfTest : public testing::Test
{
protected:
    LdapConfTest()
    {
        if (std::getenv("KVR_SANDBOX") == nullptr) // NOLINT(concurrency-mt-unsafe): no other thread
        {
            throw std::runtime_error("run this test with dev/sandbox: it writes to /etc/ldap");
        }
        fs::remove_all(clientConfiguration);
    }

    static void write(const std::string& text) { std::ofstream(clientConfiguration) << text; }

    /** Loads the module; its wrapper's constructor reads the file. */
    IKVRLdapWrapper& wrapper()
    {
        module_.emplace(core, KVR_MODULE_FILE);
        return dynamic_cast<IKVRLdapWrapper&>(*core.FindInterface("ldap"));
    }

    /** Expects these default URIs, and what the host's parameter is then. */
    void expectUris(const std::string& uris, const std::string& parameter)
    {
        EXPECT_EQ(wrapper().getDefaultURIs(), uris);
        EXPECT_EQ(core.GetParameter("KVR_PRM_LDAP_URIS"), parameter);
    }

    void expectUris(const std::string& uris) { expectUris(uris, uris); }

    void expectNoUris() { expectUris("", "ldap://directory.example.com"); }

    CKVRCore core{KVRHostIdentity{"example.com", "directory.example.com", "client.example.com"}};

private:
    std::optional<CKVRModule> module_;
};

TEST_F(LdapConfTest, AMissingFileLeavesTheHostsServer)
{
    expectNoUris();
}

TEST_F(LdapConfTest, AnEmptyFileLeavesTheHostsServer)
{
    write("");
    expectNoUris();
}

TEST_F(LdapConfTest, ADirectoryInsteadOfTheFileLeavesTheHostsServer)
{
    fs::create_directory(clientConfiguration);
    expectNoUris();
}

TEST_F(LdapConfTest, ADanglingLinkLeavesTheHostsServer)
{
    fs::create_symlink("/etc/ldap/nowhere", clientConfiguration);
    expectNoUris();
}

TEST_F(LdapConfTest, AnUnreadableFileLeavesTheHostsServer)
{
    write("URI ldap://a\n");
    fs::permissions(clientConfiguration, fs::perms::none);
    const WithoutFileOverride unprivileged;
    ASSERT_FALSE(std::ifstream(clientConfiguration).good());

    expectNoUris();
}

TEST_F(LdapConfTest, AFileWithoutAUriLineLeavesTheHostsServer)
{
    write("# URI ldap://a\nBASE dc=example,dc=com\n\nTLS_REQCERT demand\n");
    expectNoUris();
}

TEST_F(LdapConfTest, TheUrisOfTheLineAreTheDefault)
{
    write("BASE dc=example,dc=com\n\nURI ldap://a ldaps://b:1636 ldapi:///\n");
    expectUris("ldap://a ldaps://b:1636 ldapi:///");
}

TEST_F(LdapConfTest, CommentsTabsAndBogusWordsAndLaterLinesAreLeftOut)
{
    write("#URI ldap://a\nURI\tldap://b ldaps://c bogus\nURI ldap://d\n");
    expectUris("ldap://b ldaps://c");
}

TEST_F(LdapConfTest, OfTwoUriLinesTheFirstWins)
{
    write("URI ldap://first\nURI ldap://second\n");
    expectUris("ldap://first");
}

TEST_F(LdapConfTest, AFirstUriLineWithoutUsableUrisIsNotReplacedByTheSecond)
{
    write("URI http://web\nURI ldap://second\n");
    expectNoUris();
}

TEST_F(LdapConfTest, TheLastLineNeedsNoLineEnd)
{
    write("URI ldap://a");
    expectUris("ldap://a");
}

TEST_F(LdapConfTest, ABareUriLineDoesNotStopTheModule)
{
    write("URI\n");
    expectNoUris();
}

TEST_F(LdapConfTest, ABareUriLineWithoutLineEndDoesNotStopTheModule)
{
    write("URI");
    expectNoUris();
}

TEST_F(LdapConfTest, ABareUriLineHidesLaterOnes)
{
    write("URI\nURI ldap://second\n");
    expectNoUris();
}

TEST_F(LdapConfTest, AUriLineOfBlanksLeavesTheHostsServer)
{
    write("URI   \t \n");
    expectNoUris();
}

TEST_F(LdapConfTest, ALineWithoutASeparatorLosesTheFirstCharacterOfItsUrl)
{
    write("URIldap://x\n");
    expectNoUris();
}

TEST_F(LdapConfTest, OneCharacterBehindTheKeywordIsSkippedWhateverItIs)
{
    write("URIS ldap://x\n");
    expectUris("ldap://x");
}

TEST_F(LdapConfTest, WhiteSpaceAroundAndBetweenTheUrisDoesNotCount)
{
    write("URI \t  ldap://a   ldap://b \t\r\n");
    expectUris("ldap://a ldap://b");
}

TEST_F(LdapConfTest, TheKeywordStandsAtTheStartOfItsLine)
{
    write(" URI ldap://a\n");
    expectNoUris();
}

TEST_F(LdapConfTest, TheKeywordIsWrittenInCapitals)
{
    write("uri ldap://a\n");
    expectNoUris();
}

TEST_F(LdapConfTest, TheHostIsAskedForThePatternUntilTheFirstMatchAndNotForCommentsAndEmptyLines)
{
    write("# URI ldap://a\n\nBASE x\n URI ldap://b\nURI ldap://c\nURI ldap://d\n");
    Support::RecordingHost host;
    const CKVRModule module(host, KVR_MODULE_FILE);
    const std::vector<std::string> expected{"GetServerHost",
                                            "MatchRegex ^URI BASE x null 0",
                                            "MatchRegex ^URI  URI ldap://b null 0",
                                            "MatchRegex ^URI URI ldap://c null 0",
                                            "DefineParameter KVR_PRM_LDAP_URIS ldap://c",
                                            "RegisterInterface ldap",
                                            "DefineParameter KVR_LDAP_SCHEMA_DIR /etc/ldap/schema"};
    EXPECT_EQ(host.calls, expected);
}

TEST_F(LdapConfTest, TheHostsServerIsTheOneItNamedBeforeTheFileWasRead)
{
    write("BASE x\n");
    Support::RecordingHost host;
    host.serverHost = "former.example.com";
    host.onCall = [&](const std::string& call)
    {
        if (call == "MatchRegex ^URI BASE x null 0")
        {
            host.serverHost = "later.example.com";
        }
    };
    const CKVRModule module(host, KVR_MODULE_FILE);
    ASSERT_EQ(host.serverHost, "later.example.com");
    EXPECT_EQ(host.parameters["KVR_PRM_LDAP_URIS"], "ldap://former.example.com");
}

TEST_F(LdapConfTest, TheFileIsReadAnewByEachCall)
{
    write("URI ldap://a\n");
    IKVRLdapWrapper& ldap = wrapper();

    write("URI ldap://b\n");

    EXPECT_EQ(ldap.getDefaultURIs(), "ldap://b");
    EXPECT_EQ(core.GetParameter("KVR_PRM_LDAP_URIS"), "ldap://a");
}

TEST_F(LdapConfTest, TheServerOfTheFileIsReached)
{
    const Support::PrivateSlapd server({"--entries", "0"});
    write("URI " + server.uri() + "\n");
    const auto connection = wrapper().getConnection();

    EXPECT_TRUE(connection->Connect(server.hostAndPort(), KVRAuthAnonymous));

    std::list<std::string> names;
    EXPECT_NE(connection->Search("dc=example,dc=com", "(objectClass=*)", names, alSCOPE_BASE), nullptr);
}

} // namespace
} // namespace KVR
