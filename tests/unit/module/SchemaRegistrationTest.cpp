#include "Caught.h"
#include "HostCalls.h"
#include "RecordingHost.h"
#include "ldap-wrapper.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace KVR::Support
{

namespace
{

using testing::ElementsAre;

const std::string folder = "IsPathExist /etc/ldap/slapd.d";
const std::string parameter = "GetParameter KVR_LDAP_SCHEMA_DIR";
const std::string file = "IsFileExist /schemas/x.ldif";
const std::string command = "ExecCommand slapadd -n 0 -F /etc/ldap/slapd.d -v -l /schemas/x.ldif aloud";
const std::string mode = "Chmod /etc/ldap/slapd.d 0750 recursive";
const std::string owner = "Chown /etc/ldap/slapd.d openldap openldap recursive";

Caught plain(const std::string& text)
{
    return {typeid(EKVRError), text, "", ""};
}

class SchemaRegistrationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        machine.paths = {"/etc/ldap/slapd.d"};
        machine.files = {"/schemas/x.ldif"};
        host.parameters["KVR_LDAP_SCHEMA_DIR"] = "/schemas";
        host.onCall = [this](const std::string& call) { machine.calls.push_back(call); };
        machine.calls.clear();
    }

    Caught registering(const std::string& name)
    {
        machine.calls.clear();
        return caught([&] { wrapper.RegisterLdapSchema(name); });
    }

    HostCalls machine;
    RecordingHost host;
    CKVRLdapWrapper wrapper{host};
};

TEST_F(SchemaRegistrationTest, FolderParameterAndFileAreLookedAtThenTheCommandRunsThenRightsAreGivenBack)
{
    EXPECT_EQ(Caught(), registering("x.ldif"));
    EXPECT_THAT(machine.calls, ElementsAre(folder, parameter, file, command, mode, owner));
}

TEST_F(SchemaRegistrationTest, WithoutAServersFolderNothingElseIsLookedAt)
{
    machine.paths.clear();
    EXPECT_EQ(plain("This computer isn't an KVR server."), registering("x.ldif"));
    EXPECT_THAT(machine.calls, ElementsAre(folder));
}

TEST_F(SchemaRegistrationTest, AMissingFileIsToldByItsWholePathAndNothingIsRun)
{
    EXPECT_EQ(plain("File '/schemas/y.ldif' doesn't exists."), registering("y.ldif"));
    EXPECT_THAT(machine.calls, ElementsAre(folder, parameter, "IsFileExist /schemas/y.ldif"));
}

TEST_F(SchemaRegistrationTest, AnyExitStatusBut0IsAFailureAfterWhichRightsStay)
{
    for (const int status : {1, 2, 127, 137, 256, -1})
    {
        machine.exitStatus = status;
        EXPECT_EQ(plain("Failed to register LDAP schema 'x.ldif'."), registering("x.ldif")) << status;
        EXPECT_THAT(machine.calls, ElementsAre(folder, parameter, file, command)) << status;
    }
}

TEST_F(SchemaRegistrationTest, RightsThatCannotBeGivenBackAreNoFailure)
{
    machine.changesRights = false;
    EXPECT_EQ(Caught(), registering("x.ldif"));
    EXPECT_THAT(machine.calls, ElementsAre(folder, parameter, file, command, mode, owner));
}

TEST_F(SchemaRegistrationTest, TheNameIsUsedAsItIs)
{
    for (const std::string name : {"x", "sub/../x.schema", " a b'\"$(c);.ldif", "%s%d%n", "/x", "\xc3\xa4"})
    {
        machine.files = {"/schemas/" + name};
        EXPECT_EQ(Caught(), registering(name));
        EXPECT_THAT(
            machine.calls,
            ElementsAre(folder, parameter, "IsFileExist /schemas/" + name,
                        "ExecCommand slapadd -n 0 -F /etc/ldap/slapd.d -v -l /schemas/" + name + " aloud",
                        mode, owner));
        machine.exitStatus = 1;
        EXPECT_EQ(plain("Failed to register LDAP schema '" + name + "'."), registering(name));
        machine.exitStatus = 0;
        machine.files.clear();
        EXPECT_EQ(plain("File '/schemas/" + name + "' doesn't exists."), registering(name));
    }
}

TEST_F(SchemaRegistrationTest, AnEmptyNameLeavesTheFolderWhichIsNoFile)
{
    EXPECT_EQ(plain("File '/schemas/' doesn't exists."), registering(""));
}

TEST_F(SchemaRegistrationTest, TheParameterIsReadEachTimeAndUsedAsItIs)
{
    host.parameters["KVR_LDAP_SCHEMA_DIR"] = "/other/ %s/";
    EXPECT_EQ(plain("File '/other/ %s//x.ldif' doesn't exists."), registering("x.ldif"));
    host.parameters.clear();
    EXPECT_EQ(plain("File '/x.ldif' doesn't exists."), registering("x.ldif"));
}

TEST_F(SchemaRegistrationTest, AVeryLongNameIsNotCut)
{
    const std::string name(5000, 'n');
    machine.files = {"/schemas/" + name};
    EXPECT_EQ(Caught(), registering(name));
    EXPECT_EQ("ExecCommand slapadd -n 0 -F /etc/ldap/slapd.d -v -l /schemas/" + name + " aloud",
              machine.calls.at(3));
}

TEST_F(SchemaRegistrationTest, FailuresOfTheHostArePassedOnAndEndIt)
{
    const auto failureOf = [](const std::string& function) {
        return Caught{typeid(std::runtime_error), function, "", ""};
    };
    machine.throwing = "IsPathExist";
    EXPECT_EQ(failureOf("IsPathExist"), registering("x.ldif"));
    EXPECT_EQ(folder, machine.calls.back());
    machine.throwing = "IsFileExist";
    EXPECT_EQ(failureOf("IsFileExist"), registering("x.ldif"));
    EXPECT_EQ(file, machine.calls.back());
    machine.throwing = "ExecCommand";
    EXPECT_EQ(failureOf("ExecCommand"), registering("x.ldif"));
    EXPECT_EQ(command, machine.calls.back());
    machine.throwing = "Chmod";
    EXPECT_EQ(failureOf("Chmod"), registering("x.ldif"));
    EXPECT_EQ(mode, machine.calls.back());
    machine.throwing = "Chown";
    EXPECT_EQ(failureOf("Chown"), registering("x.ldif"));
    EXPECT_EQ(owner, machine.calls.back());
    host.throwFrom("GetParameter");
    EXPECT_EQ(failureOf("GetParameter"), registering("x.ldif"));
    EXPECT_EQ(parameter, machine.calls.back());
}

} // namespace

} // namespace KVR::Support
