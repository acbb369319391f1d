#include "Caught.h"
#include "TemporaryFolder.h"

#include <kvr/CKVRCore.h>
#include <kvr/CKVRInterface.h>
#include <kvr/EKVRError.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <utility>

namespace KVR::Test
{

namespace
{

using Support::Caught;
using Support::caught;
using namespace std::string_literals;

class Core : public testing::Test
{
protected:
    /** The message of the error that the file with the text gives. */
    Caught LoadingGives(const std::string& text)
    {
        path_ = folder_.File("parameters", text);
        return caught([this] { core_.LoadParameters(path_); });
    }

    void Load(const std::string& text) { core_.LoadParameters(folder_.File("parameters", text)); }

    TemporaryFolder folder_;
    std::string path_;
    CKVRCore core_{KVRHostIdentity{"example.com", "server.example.com", "station"}};
};

class CallingBack : public CKVRInterface
{
public:
    CallingBack(const std::string& interfaceName, std::function<void()> atEnd)
        : CKVRInterface(interfaceName), atEnd_(std::move(atEnd))
    {
    }
    ~CallingBack() override { atEnd_(); }

private:
    std::function<void()> atEnd_;
};

} // namespace

TEST_F(Core, NamesAreThoseOfTheIdentity)
{
    EXPECT_EQ(core_.GetDomainName(), "example.com");
    EXPECT_EQ(core_.GetServerHost(), "server.example.com");
    EXPECT_EQ(core_.GetHostName(), "station");
}

TEST_F(Core, TheOwnDomainIsWhatIsSaidAndElseTheIdentitys)
{
    const std::string& ofIdentity = core_.GetDomainName();
    core_.DefineParameter("DOMAIN_DN", "dc=said,dc=org");
    const std::string& ofDn = core_.GetDomainName();
    core_.SetParameter("KVR_DOMAIN_NAME", "name.said.org");
    EXPECT_EQ(core_.GetDomainName(), "name.said.org");
    core_.SetParameter("KVR_DOMAIN_NAME", "");
    EXPECT_EQ(core_.GetDomainName(), "said.org");
    core_.SetParameter("DOMAIN_DN", "o=said");
    EXPECT_EQ(core_.GetDomainName(), "example.com");
    EXPECT_EQ(ofIdentity, "example.com") << "names that were handed out stay";
    EXPECT_EQ(ofDn, "said.org");
}

TEST_F(Core, AnUnknownOwnDomainIsEmpty)
{
    EXPECT_EQ(CKVRCore(KVRHostIdentity{"", "server", "station"}).GetDomainName(), "");
}

TEST_F(Core, AnUnknownParameterIsEmptyAndNotThere)
{
    EXPECT_FALSE(core_.HasParameter("REALM"));
    EXPECT_EQ(core_.GetParameter("REALM"), "");
}

TEST_F(Core, ADefinedParameterHasItsDefault)
{
    core_.DefineParameter("REALM", "EXAMPLE.COM");
    EXPECT_TRUE(core_.HasParameter("REALM"));
    EXPECT_EQ(core_.GetParameter("REALM"), "EXAMPLE.COM");
    EXPECT_FALSE(core_.HasParameter("realm"));
}

TEST_F(Core, ALaterDefaultReplacesAnEarlierOne)
{
    core_.DefineParameter("REALM", "ONE");
    core_.DefineParameter("REALM", "TWO");
    EXPECT_EQ(core_.GetParameter("REALM"), "TWO");
}

TEST_F(Core, ASetParameterWinsOverFileAndDefaultThatComeLater)
{
    core_.SetParameter("REALM", "SET");
    Load("REALM = FILE\n");
    core_.DefineParameter("REALM", "DEFAULT");
    EXPECT_EQ(core_.GetParameter("REALM"), "SET");
}

TEST_F(Core, ASetParameterWinsOverFileAndDefaultThatCameBefore)
{
    core_.DefineParameter("REALM", "DEFAULT");
    Load("REALM = FILE\n");
    core_.SetParameter("REALM", "SET");
    EXPECT_EQ(core_.GetParameter("REALM"), "SET");
}

TEST_F(Core, AFileWinsOverADefaultThatComesLater)
{
    Load("REALM = FILE\n");
    core_.DefineParameter("REALM", "DEFAULT");
    EXPECT_EQ(core_.GetParameter("REALM"), "FILE");
}

TEST_F(Core, AFileWinsOverADefaultThatCameBefore)
{
    core_.DefineParameter("REALM", "DEFAULT");
    Load("REALM = FILE\n");
    EXPECT_EQ(core_.GetParameter("REALM"), "FILE");
}

TEST_F(Core, AnEmptyValueIsAValue)
{
    core_.DefineParameter("REALM", "DEFAULT");
    core_.SetParameter("REALM", "");
    EXPECT_TRUE(core_.HasParameter("REALM"));
    EXPECT_EQ(core_.GetParameter("REALM"), "");
}

TEST_F(Core, ParametersFromAFileAreTrimmedAndTheFirstEqualSignSeparates)
{
    Load("  KVR_PRM_LDAP_URIS\t=  ldap://a ldap://b \t\nFILTER=(a=b)\r\nEMPTY =\n");
    EXPECT_EQ(core_.GetParameter("KVR_PRM_LDAP_URIS"), "ldap://a ldap://b");
    EXPECT_EQ(core_.GetParameter("FILTER"), "(a=b)");
    EXPECT_TRUE(core_.HasParameter("EMPTY"));
    EXPECT_EQ(core_.GetParameter("EMPTY"), "");
}

TEST_F(Core, BlankLinesAndCommentsOfAFileAreLeftOut)
{
    Load("\n   \n# A = 1\n  # no parameter\nB = 2 # part of the value\n");
    EXPECT_FALSE(core_.HasParameter("# A"));
    EXPECT_FALSE(core_.HasParameter("A"));
    EXPECT_EQ(core_.GetParameter("B"), "2 # part of the value");
}

TEST_F(Core, TheLastOfEqualNamesInAFileWins)
{
    Load("A = 1\nA = 2");
    EXPECT_EQ(core_.GetParameter("A"), "2");
}

TEST_F(Core, ASecondFileAddsToTheFirst)
{
    Load("A = 1\nB = 1\n");
    Load("B = 2\n");
    EXPECT_EQ(core_.GetParameter("A"), "1");
    EXPECT_EQ(core_.GetParameter("B"), "2");
}

TEST_F(Core, ALineWithoutAnEqualSignIsAnErrorThatNamesFileAndLine)
{
    const Caught error = LoadingGives("A = 1\n\n# comment\nno parameter\n");
    EXPECT_EQ(error.message, "File '" + path_ + "', line 4: there is no '='.");
    EXPECT_EQ(error.details, "");
    EXPECT_TRUE(error.type == typeid(EKVRError));
}

TEST_F(Core, ALineWithoutANameIsAnErrorThatNamesFileAndLine)
{
    const Caught error = LoadingGives("A = 1\n = 2\n");
    EXPECT_EQ(error.message, "File '" + path_ + "', line 2: there is no name before '='.");
}

TEST_F(Core, ALineWhoseNameHasAZeroByteIsAnErrorThatNamesFileAndLine)
{
    const Caught error = LoadingGives("A = 1\nB\0C = 2\n"s);
    EXPECT_EQ(error.message, "File '" + path_ + "', line 2: the name before '=' contains a zero byte.");
    EXPECT_TRUE(error.type == typeid(EKVRError));
    EXPECT_FALSE(core_.HasParameter("A"));
}

TEST_F(Core, AValueMayHaveAZeroByte)
{
    Load("A = 1\0002\n"s);
    core_.SetParameter("B", "1\0002"s);
    EXPECT_EQ(core_.GetParameter("A"), "1\0002"s);
    EXPECT_EQ(core_.GetParameter("B"), "1\0002"s);
}

TEST_F(Core, ANameWithAZeroByteIsRefusedAndNotThere)
{
    core_.SetParameter("A", "1");
    const Caught set = caught([this] { core_.SetParameter("A\0B"s, "2"); });
    const Caught defined = caught([this] { core_.DefineParameter("A\0B"s, "2"); });
    EXPECT_TRUE(set.type == typeid(EKVRCheckError));
    EXPECT_EQ(set.message, "Argument of 'SetParameter' contains a zero byte.");
    EXPECT_TRUE(defined.type == typeid(EKVRCheckError));
    EXPECT_EQ(defined.message, "Argument of 'DefineParameter' contains a zero byte.");
    EXPECT_FALSE(core_.HasParameter("A\0B"s));
    EXPECT_EQ(core_.GetParameter("A\0B"s), "");
    EXPECT_EQ(core_.GetParameter("A"), "1");
}

TEST_F(Core, NothingIsTakenFromAFileWithABadLine)
{
    EXPECT_NE(LoadingGives("A = 1\nbad\nB = 2\n").message, "");
    EXPECT_FALSE(core_.HasParameter("A"));
    EXPECT_FALSE(core_.HasParameter("B"));
}

TEST_F(Core, AMissingFileIsAnErrorThatNamesFileAndReason)
{
    const std::string path = folder_.Path("missing");
    const Caught error = caught([&] { core_.LoadParameters(path); });
    EXPECT_EQ(error.message, "File '" + path + "' can't be read.");
    EXPECT_EQ(error.details, "No such file or directory");
    EXPECT_TRUE(error.type == typeid(EKVRError));
}

TEST_F(Core, TheBeginningOfAPathIsNotTakenForTheFile)
{
    const std::string path = folder_.File("parameters", "A = 1\n");
    errno = 0;
    const Caught error = caught([&] { core_.LoadParameters(path + "\0x"s); });
    EXPECT_EQ(error.message, "File '" + path + "' can't be read.");
    EXPECT_EQ(error.details, "Invalid argument");
    EXPECT_FALSE(core_.HasParameter("A"));
}

TEST_F(Core, AFolderInPlaceOfAFileIsAnError)
{
    const std::string path = folder_.Folder("folder");
    const Caught error = caught([&] { core_.LoadParameters(path); });
    EXPECT_EQ(error.message, "File '" + path + "' can't be read.");
    EXPECT_EQ(error.details, "Is a directory");
}

TEST_F(Core, BindDefaultsAreEmptyUntilTheirParameterIsThere)
{
    EXPECT_EQ(core_.GetBindDefaults(), "");
    core_.SetParameter("KVR_BIND_DEFAULTS", "mech=GSSAPI");
    EXPECT_EQ(core_.GetBindDefaults(), "mech=GSSAPI");
}

TEST_F(Core, ARegisteredInterfaceIsFoundByItsName)
{
    const auto object = std::make_shared<CKVRInterface>("ldap");
    core_.RegisterInterface(object);
    EXPECT_EQ(core_.FindInterface("ldap"), object);
    EXPECT_EQ(core_.FindInterface("LDAP"), nullptr);
    EXPECT_EQ(core_.FindInterface(""), nullptr);
}

TEST_F(Core, TheRegistryKeepsAReferenceOfItsOwn)
{
    std::weak_ptr<CKVRInterface> watched;
    {
        const auto object = std::make_shared<CKVRInterface>("ldap");
        watched = object;
        core_.RegisterInterface(object);
    }
    EXPECT_FALSE(watched.expired());
    core_.UnregisterInterface("ldap");
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(core_.FindInterface("ldap"), nullptr);
}

TEST_F(Core, ASecondInterfaceOfTheSameNameReplacesTheFirst)
{
    std::weak_ptr<CKVRInterface> first;
    {
        const auto object = std::make_shared<CKVRInterface>("ldap");
        first = object;
        core_.RegisterInterface(object);
    }
    const auto second = std::make_shared<CKVRInterface>("ldap");
    core_.RegisterInterface(second);
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(core_.FindInterface("ldap"), second);
}

TEST_F(Core, AnUnknownNameIsUnregisteredWithoutError)
{
    const auto object = std::make_shared<CKVRInterface>("ldap");
    core_.RegisterInterface(object);
    core_.UnregisterInterface("other");
    EXPECT_EQ(core_.FindInterface("ldap"), object);
}

TEST_F(Core, ANullInterfaceIsRefused)
{
    const Caught error = caught([this] { core_.RegisterInterface(nullptr); });
    EXPECT_TRUE(error.type == typeid(EKVRCheckError));
    EXPECT_EQ(error.message, "There is no interface to register.");
}

TEST_F(Core, AnInterfaceThatIsDroppedMayCallTheCore)
{
    int ended = 0;
    const auto callback = [this, &ended]
    {
        core_.UnregisterInterface("ldap");
        ++ended;
    };
    core_.RegisterInterface(std::make_shared<CallingBack>("ldap", callback));
    core_.UnregisterInterface("ldap");
    EXPECT_EQ(ended, 1);

    core_.RegisterInterface(std::make_shared<CallingBack>(
        "ldap", [this, &ended] { ended += core_.FindInterface("ldap") != nullptr ? 10 : 100; }));
    core_.RegisterInterface(std::make_shared<CKVRInterface>("ldap"));
    EXPECT_EQ(ended, 11);
}

TEST_F(Core, AnInterfaceMayBeUnregisteredByItsOwnName)
{
    core_.RegisterInterface(std::make_shared<CKVRInterface>("ldap"));
    core_.UnregisterInterface(core_.FindInterface("ldap")->Name());
    EXPECT_EQ(core_.FindInterface("ldap"), nullptr);
}

TEST(CoreEnd, InterfacesThatAreStillRegisteredMayCallTheCoreAtItsEnd)
{
    std::string value;
    bool found = true;
    {
        CKVRCore core(KVRHostIdentity{"a", "b", "c"});
        core.SetParameter("NAME", "value");
        core.RegisterInterface(std::make_shared<CallingBack>("ldap",
                                                             [&]
                                                             {
                                                                 value = core.GetParameter("NAME");
                                                                 found =
                                                                     core.FindInterface("ldap") != nullptr;
                                                             }));
    }
    EXPECT_EQ(value, "value");
    EXPECT_FALSE(found);
}

} // namespace KVR::Test
