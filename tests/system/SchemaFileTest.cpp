// Schema files loaded by the real slapadd. Runs in dev/sandbox, where /etc/ldap is a copy and the
// configuration of a private server takes the place of /etc/ldap/slapd.d.

#include "Caught.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>
#include <kvr/KVRUtils.h>

#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace KVR
{
namespace
{

using Support::Caught;
using Support::caught;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace fs = std::filesystem;

const fs::path serverConfiguration = "/etc/ldap/slapd.d";

Caught plainError(const std::string& message)
{
    return {typeid(EKVRError), message, "", ""};
}

class SchemaFileTest : public testing::Test
{
protected:
    SchemaFileTest()
    {
        if (std::getenv("KVR_SANDBOX") == nullptr) // NOLINT(concurrency-mt-unsafe): no other thread
        {
            throw std::runtime_error("run this test with dev/sandbox: it writes to /etc/ldap");
        }
    }

    Caught registering(const std::string& file)
    {
        return caught([&] { wrapper.RegisterLdapSchema(file); });
    }

    static void writeSchema(const std::string& file, const std::string& text)
    {
        std::ofstream("/etc/ldap/schema/" + file) << text;
    }

    CKVRCore core;
    CKVRModule module{core, KVR_MODULE_FILE};
    IKVRLdapWrapper& wrapper = dynamic_cast<IKVRLdapWrapper&>(*core.FindInterface("ldap"));
};

TEST_F(SchemaFileTest, WithoutAServersConfigurationNothingIsLookedFor)
{
    EXPECT_EQ(registering("missing.ldif"), plainError("This computer isn't an KVR server."));
    EXPECT_EQ(registering("misc.ldif"), plainError("This computer isn't an KVR server."));
    EXPECT_FALSE(fs::exists(serverConfiguration));
}

/** Who a file belongs to and what may be done with it. */
struct Rights
{
    std::string path;
    uid_t user;
    gid_t group;
    mode_t mode;

    bool operator==(const Rights& other) const
    {
        return path == other.path && user == other.user && group == other.group && mode == other.mode;
    }

    friend std::ostream& operator<<(std::ostream& stream, const Rights& rights)
    {
        return stream << rights.path << " of " << rights.user << ':' << rights.group << " mode " << std::oct
                      << rights.mode << std::dec;
    }
};

Rights rightsOf(const fs::path& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
    {
        throw std::runtime_error("there is no " + path.string());
    }
    return {path, status.st_uid, status.st_gid, status.st_mode & 07777U};
}

/** The computer has a server, which is stopped and has its configuration in /etc/ldap/slapd.d. */
class SchemaServerTest : public SchemaFileTest
{
protected:
    SchemaServerTest()
    {
        start();
        stop();
        fs::create_directory(serverConfiguration);
        if (mount((folder + "/slapd.d").c_str(), serverConfiguration.c_str(), nullptr, MS_BIND, nullptr) != 0)
        {
            throw std::runtime_error("the server's configuration can't be mounted");
        }
    }

    ~SchemaServerTest() override
    {
        ExecCommand(KVR_PRIVATE_SLAPD " stop " + folder, true);
        umount(serverConfiguration.c_str());
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    void start()
    {
        run("start", " --backend " KVR_BACK_HDB " --database " KVR_DATABASE_TYPE " --entries 0");
        std::string uri;
        std::getline(std::ifstream(folder + "/uri"), uri);
        connection = wrapper.getConnection();
        connection->Connect(uri.substr(std::string("ldap://").size()), KVRAuthAnonymous);
    }

    void stop()
    {
        connection->Disconnect();
        run("stop", "");
    }

    std::list<std::string> schemas()
    {
        std::list<std::string> names;
        connection->EnumerateLdapSchemas(names);
        return names;
    }

    /** The configuration folder and everything in it. */
    static std::vector<Rights> allRights()
    {
        std::vector<Rights> all{rightsOf(serverConfiguration)};
        for (const auto& entry : fs::recursive_directory_iterator(serverConfiguration))
        {
            all.push_back(rightsOf(entry.path()));
        }
        return all;
    }

    static std::string schemaFile(const std::string& prefixedName)
    {
        return serverConfiguration / "cn=config/cn=schema" / ("cn=" + prefixedName + ".ldif");
    }

    const std::string folder = makeFolder();
    std::shared_ptr<IKVRLdapConnection> connection;

private:
    /** Sandboxes share the folder of temporary files, and their processes have equal numbers. */
    static std::string makeFolder()
    {
        std::string name = fs::temp_directory_path() / "schema-file-test.XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
        {
            throw std::runtime_error("no folder for the server");
        }
        return name;
    }

    void run(const std::string& command, const std::string& options)
    {
        if (ExecCommand(KVR_PRIVATE_SLAPD " " + command + " " + folder + options + " >/dev/null", false) != 0)
        {
            throw std::runtime_error("private-slapd can't " + command + " the server");
        }
    }
};

TEST_F(SchemaServerTest, ARegisteredSchemaIsThereWhenTheServerStarts)
{
    EXPECT_EQ(registering("misc.ldif"), Caught());
    start();
    EXPECT_THAT(schemas(), ElementsAre("{0}core", "{1}cosine", "{2}nis", "{3}inetorgperson", "{4}misc"));
    EXPECT_TRUE(connection->IsLdapSchemaRegistered("misc"));
}

TEST_F(SchemaServerTest, ARunningServerSeesItOnlyAfterItsNextStart)
{
    start();
    EXPECT_EQ(registering("misc.ldif"), Caught());
    EXPECT_FALSE(connection->IsLdapSchemaRegistered("misc"));
    EXPECT_THAT(schemas(), Not(Contains("{4}misc")));
    stop();
    start();
    EXPECT_TRUE(connection->IsLdapSchemaRegistered("misc"));
    EXPECT_THAT(schemas(), Contains("{4}misc"));
}

TEST_F(SchemaServerTest, ASchemaOfOnesOwnCanBeUsedAfterwards)
{
    writeSchema("lab.ldif", "dn: cn=lab,cn=schema,cn=config\n"
                            "objectClass: olcSchemaConfig\n"
                            "cn: lab\n"
                            "olcAttributeTypes: ( 1.3.6.1.4.1.32473.1.1 NAME 'labNote' SUP name )\n"
                            "olcObjectClasses: ( 1.3.6.1.4.1.32473.1.2 NAME 'labThing' SUP top STRUCTURAL "
                            "MUST labNote )\n");
    EXPECT_EQ(registering("lab.ldif"), Caught());
    start();
    std::multimap<std::string, std::string> attributes{{"objectClass", "labThing"}, {"labNote", "bench"}};
    EXPECT_EQ(caught([&] { connection->AddDN("labNote=bench,dc=example,dc=com", attributes); }), Caught());
}

TEST_F(SchemaServerTest, EverythingBelongsToTheServersAccountAfterwardsAndOthersMayNotLook)
{
    const passwd* const account = getpwnam("openldap");
    ASSERT_NE(account, nullptr);
    // In the user namespace of a user other than root there are no other accounts to give files to.
    const std::string probe = folder + "/probe";
    std::ofstream(probe).close();
    const bool givesAway = chown(probe.c_str(), account->pw_uid, account->pw_gid) == 0;
    const Rights before = rightsOf(serverConfiguration);
    const uid_t user = givesAway ? account->pw_uid : before.user;
    const gid_t group = givesAway ? account->pw_gid : before.group;

    EXPECT_EQ(registering("misc.ldif"), Caught());

    std::vector<Rights> expected = allRights();
    for (Rights& rights : expected)
    {
        rights = {rights.path, user, group, 0750};
    }
    EXPECT_EQ(allRights(), expected);
    EXPECT_THAT(expected, Contains(testing::Field(&Rights::path, schemaFile("{4}misc"))));
}

/** Registrations that fail: the configuration stays as it is, its rights included. */
class RefusedSchemaTest : public SchemaServerTest
{
protected:
    void expectRefusal(const std::string& file, const std::string& message)
    {
        const std::vector<Rights> before = allRights();
        EXPECT_EQ(registering(file), plainError(message));
        EXPECT_EQ(allRights(), before);
        start();
        EXPECT_THAT(schemas(), SizeIs(names_));
        EXPECT_THAT(schemas(), Not(Contains("{" + std::to_string(names_) + "}lab")));
    }

    void registerFirst(const std::string& file)
    {
        EXPECT_EQ(registering(file), Caught());
        ++names_;
    }

private:
    std::size_t names_ = 4;
};

TEST_F(RefusedSchemaTest, TheSameFileASecondTimeIsRefused)
{
    registerFirst("misc.ldif");
    expectRefusal("misc.ldif", "Failed to register LDAP schema 'misc.ldif'.");
}

TEST_F(RefusedSchemaTest, ASchemaThatTheServerHasFromTheBeginningIsRefused)
{
    expectRefusal("nis.ldif", "Failed to register LDAP schema 'nis.ldif'.");
}

TEST_F(RefusedSchemaTest, AFileThatIsNoLdifIsRefused)
{
    writeSchema("broken.ldif", "this is no LDIF\n");
    expectRefusal("broken.ldif", "Failed to register LDAP schema 'broken.ldif'.");
}

TEST_F(RefusedSchemaTest, ADefinitionThatTheServerCannotReadIsRefused)
{
    writeSchema("lab.ldif", "dn: cn=lab,cn=schema,cn=config\n"
                            "objectClass: olcSchemaConfig\n"
                            "cn: lab\n"
                            "olcAttributeTypes: ( 1.3.6.1.4.1.32473.1.1 NAME 'labNote' SUP noSuchType )\n");
    expectRefusal("lab.ldif", "Failed to register LDAP schema 'lab.ldif'.");
}

TEST_F(RefusedSchemaTest, AMissingFileIsNamedWithItsFolder)
{
    expectRefusal("missing.ldif", "File '/etc/ldap/schema/missing.ldif' doesn't exists.");
}

TEST_F(RefusedSchemaTest, ANameWithoutItsExtensionIsAMissingFile)
{
    expectRefusal("misc", "File '/etc/ldap/schema/misc' doesn't exists.");
}

TEST_F(RefusedSchemaTest, AFolderIsNoFile)
{
    expectRefusal(".", "File '/etc/ldap/schema/.' doesn't exists.");
}

} // namespace
} // namespace KVR
