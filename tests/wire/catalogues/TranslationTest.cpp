// Every text that the module throws, logs or prints, with catalogues that put a mark in front of
// each: "[w]" says that it comes from the module's own catalogue, "[c]" from the host's, none that
// it is not translated.

#include "Caught.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"
#include "KVRLdapQuery.h"
#include "LdapInterposer.h"
#include "LdapResponder.h"
#include "LogCapture.h"
#include "RecordingHost.h"
#include "ScopedEnvironment.h"

#include <kvr/KVRModuleInfo.h>
#include <kvr/KVRUtils.h>

#include <gmock/gmock.h>
#include <libintl.h>

#include <clocale>
#include <optional>

extern "C" KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo* host);

namespace KVR::Support
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

const std::string accessTail = "[c]Insufficient access. The user should have administrator privilege. - ";
const std::string connectPlace = " in KVRLdapConnection.cpp:LINE(Connect)";

/** Lets a cursor get to its own reading of the result code. */
class SureOfItself : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;
    bool IsConnected() override { return true; }
};

class OpenQuery : public CKVRLdapQuery
{
public:
    using CKVRLdapQuery::CKVRLdapQuery;
    void loseState() { message.reset(); }
};

class Translation : public testing::Test
{
protected:
    /** Message of the error that the call throws, source lines as LINE. */
    template <typename Call>
    static std::string message(Call call)
    {
        return caught(call).message;
    }

    void connect() { connection.Connect(server.target(), KVRAuthAnonymous); }

    std::shared_ptr<IKVRLdapQuery> searchPeople()
    {
        return connection.Search("dc=x", "(cn=*)", all, alSCOPE_SUB);
    }

    LdapResponder server;
    LdapInterposer library;
    LogCapture log;
    RecordingHost host;
    std::list<std::string> all;
    CKVRLdapConnection connection{host};
};

TEST_F(Translation, OfTheDisplayNameIsMadeOnceByTheModulesCatalogue)
{
    const KVRModuleInfo core{0, "", "", kvrHOST_CORE, nullptr};
    EXPECT_STREQ(get_module_info(&core)->displayName, "[w]Openldap interface");
    const ScopedEnvironment noLanguage("LANGUAGE", "C");
    std::setlocale(LC_ALL, "C");
    EXPECT_STREQ(get_module_info(&core)->displayName, "[w]Openldap interface");
    std::setlocale(LC_ALL, "C.UTF-8");
}

TEST_F(Translation, OfARefusedHostTypeIsTheHosts)
{
    const KVRModuleInfo other{0, "", "", 2, nullptr};
    testing::internal::CaptureStderr();
    get_module_info(&other);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[c]Invalid host type 2.\n");
}

TEST_F(Translation, OfAnEmptyArgumentIsTheHosts)
{
    EXPECT_EQ(message([&] { connection.Connect("", KVRAuthAnonymous); }),
              "[c]Argument is empty for 'Connect'.");
    CKVRLdapEntity entity(connection);
    EXPECT_EQ(message([&] { entity.Rename(""); }), "[c]Argument is empty for 'Rename'.");
}

TEST_F(Translation, OfTheConnectionsStateIsTheModules)
{
    EXPECT_EQ(message([&] { connection.GetLastError(); }), "[w]LDAP connection isn`t established.");
    EXPECT_EQ(message([&] { searchPeople(); }), "[w]LDAP connection isn`t established.");
    connect();
    EXPECT_EQ(message([&] { connect(); }), "[w]LDAP connection is already established.");
}

TEST_F(Translation, OfAnInvalidUrlIsTheModules)
{
    host.parameters["KVR_PRM_LDAP_URIS"] = "no URL";
    CKVRLdapConnection misled(host);
    EXPECT_EQ(message([&] { misled.Connect("URL", KVRAuthAnonymous); }), "[w]Invalid LDAP url 'no URL'.");
}

TEST_F(Translation, OfAFailedInitializationIsTheModules)
{
    library.initializeCode = LDAP_NO_MEMORY;
    EXPECT_EQ(message([&] { connect(); }),
              "[w]OpenLDAP error [w]on initialization - Out of memory" + connectPlace);
}

TEST_F(Translation, OfARefusedBindIsTheModules)
{
    server.onBind(Answer().result(LDAP_UNWILLING_TO_PERFORM));
    EXPECT_EQ(message([&] { connect(); }),
              "[w]OpenLDAP error [w]on bind - Server is unwilling to perform" + connectPlace);
}

TEST_F(Translation, OfMissingAccessRightsIsTheHostsWithinTheModules)
{
    server.onBind(Answer().result(LDAP_INVALID_CREDENTIALS));
    EXPECT_EQ(message([&] { connect(); }), "[w]OpenLDAP error " + accessTail + "Invalid credentials");
}

TEST_F(Translation, OfTheKerberosBindIsTheModules)
{
    const ScopedEnvironment noCache("KRB5CCNAME", std::nullopt);
    EXPECT_EQ(message([&] { connection.Connect(server.target(), KVRAuthGssapi); }),
              "[w]OpenLDAP error [w]can't bind via GGSAPI: KRB5CCNAME not set" + connectPlace);
    connection.Disconnect();
    const ScopedEnvironment cache("KRB5CCNAME", "FILE:none");
    library.interactiveBind = [](const auto&) { return LDAP_LOCAL_ERROR; };
    EXPECT_EQ(message([&] { connection.Connect(server.target(), KVRAuthGssapi); }),
              "[w]OpenLDAP error [w]on GGSAPI bind - Local error" + connectPlace);
}

TEST_F(Translation, OfTracesDoesNotExist)
{
    log.setLevel(kvrLOG_TRACE);
    const ScopedEnvironment cache("KRB5CCNAME", "FILE:none");
    connection.Connect(server.target(), KVRAuthGssapi);
    EXPECT_THAT(log.messages(),
                ElementsAre(Pair(kvrLOG_TRACE, "Initilize LDAP connection to: " + server.uri()),
                            Pair(kvrLOG_TRACE, "ldap_sasl_bind KRB5CCNAME FILE:none")));
}

TEST_F(Translation, OfAFailedDisconnectionIsTheModules)
{
    connect();
    library.unbindCode = 5;
    connection.Disconnect();
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "[w]LDAP disconnection error: 5.")));
}

TEST_F(Translation, OfAnUnreadableResultCodeIsTheModules)
{
    connect();
    library.unreadableOptions = {LDAP_OPT_RESULT_CODE};
    EXPECT_EQ(message([&] { connection.GetLastError(); }), "[w]Can't obtain LDAP error code.");
    EXPECT_EQ(message([&] { connection.InternalCheck("x"); }), "[w]on getting ldap error code.");
}

TEST_F(Translation, OfConversionsIsTheModules)
{
    EXPECT_EQ(message([&] { (void)connection.InternalIconv(true, "a"); }), "[w]Invalid iconv handle.");
    std::setlocale(LC_CTYPE, "C");
    SetDefaultCodeset("no-such-set");
    connect();
    SetDefaultCodeset("UTF-8");
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(message([&] { connection.LocalToUtf8("a"); }),
              "[w]Iconv initialization failed for conversion from 'UTF-8' to 'no-such-set'.");
}

TEST_F(Translation, OfAFailedConversionIsTheModules)
{
    std::setlocale(LC_CTYPE, "C");
    SetDefaultCodeset("ISO-8859-1");
    connect();
    SetDefaultCodeset("UTF-8");
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(message([&] { connection.Utf8ToLocal("\xff"); }), "[w]iconv conversion failed.");
}

TEST_F(Translation, OfARefusedSearchIsTheModules)
{
    connect();
    server.onSearch(Answer().result(LDAP_OTHER));
    EXPECT_EQ(message([&] { searchPeople(); }),
              "[w]OpenLDAP error [w]on searching 'dc=x (cn=*)' - Other (e.g., implementation specific) error "
              "in KVRLdapConnection.cpp:LINE(Search)");
}

TEST_F(Translation, OfTheCursorsTextsIsTheModules)
{
    connect();
    OpenQuery stateless(connection);
    stateless.loseState();
    EXPECT_EQ(message([&] { stateless.First(); }), "[w]Invalid LDAP query state.");

    std::shared_ptr<IKVRLdapEntity> none;
    CKVRLdapQuery empty(connection);
    EXPECT_EQ(message([&] { empty.FetchAttributes(none); }), "[w]LDAP entity is not allocated.");

    server.onSearch(Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).result(LDAP_SIZELIMIT_EXCEEDED));
    const auto query = searchPeople();
    library.countEntries = -1;
    EXPECT_EQ(message([&] { query->Count(); }),
              "[w]OpenLDAP error [w]on fetching count - Size limit exceeded in "
              "KVRLdapConnection.cpp:LINE(InternalCheck)");
    library.withholdDn = true;
    EXPECT_EQ(message([&] { query->Fetch(none); }),
              "[w]OpenLDAP error [w]on fetching attributes - Size limit exceeded in "
              "KVRLdapConnection.cpp:LINE(InternalCheck)");
}

TEST_F(Translation, OfUnreadableValuesIsTheModules)
{
    connect();
    server.onSearch(Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).result(LDAP_SIZELIMIT_EXCEEDED));
    const auto query = searchPeople();
    library.withheldValues = {"cn"};
    std::shared_ptr<IKVRLdapEntity> entity;
    EXPECT_EQ(message([&] { query->Fetch(entity); }),
              "[w]OpenLDAP error [w]on fetching attributes - Size limit exceeded in "
              "KVRLdapConnection.cpp:LINE(InternalCheck)");
}

TEST_F(Translation, OfAResultCodeThatIsUnreadableAtTheEndOfAWalkIsTheModules)
{
    SureOfItself sure(host);
    sure.Connect(server.target(), KVRAuthAnonymous);
    const auto query = sure.Search("dc=x", "(cn=*)", all, alSCOPE_SUB);
    library.unreadableOptions = {LDAP_OPT_RESULT_CODE};
    std::shared_ptr<IKVRLdapEntity> entity;
    EXPECT_EQ(message([&] { query->Fetch(entity); }), "[w]on getting ldap error code.");
}

TEST_F(Translation, OfTheEndOfAWalkIsTheModules)
{
    connect();
    const auto query = searchPeople();
    std::shared_ptr<IKVRLdapEntity> entity;
    library.setResultCode(LDAP_SIZELIMIT_EXCEEDED);
    EXPECT_FALSE(query->Fetch(entity));
    EXPECT_THAT(log.messages(),
                ElementsAre(Pair(kvrLOG_WARNING,
                                 "[w]LDAP search size limit exceeded. Some entries may be unavailable.")));
    library.setResultCode(LDAP_OTHER);
    EXPECT_EQ(message([&] { query->Fetch(entity); }),
              "[w]OpenLDAP error [w]on fetching - Other (e.g., implementation specific) error in "
              "KVRLdapQuery.cpp:LINE(Fetch)");
}

TEST_F(Translation, OfTheEntitysTextsIsTheModules)
{
    CKVRLdapEntity entity(connection);
    EXPECT_EQ(message([&] { entity.Delete(); }), "[w]Empty or invalid Entity DN");
    entity.attributes = {{"cn", "a"}, {"cn", "b"}};
    std::list<std::string> values;
    entity.ValByAttr("sn", false);
    entity.ValByAttr("cn", false);
    entity.ValsByAttr("mail", values, false);
    EXPECT_THAT(log.messages(), ElementsAre(Pair(kvrLOG_FAILURE, "[w]LDAP attribute 'sn' not found"),
                                            Pair(kvrLOG_FAILURE, "[w]LDAP attribute 'cn' met twice"),
                                            Pair(kvrLOG_FAILURE, "[w]LDAP attribute 'mail' not found")));
}

} // namespace
} // namespace KVR::Support

int main(int argc, char** argv)
{
    setenv("LANGUAGE", "qq", 1);
    std::setlocale(LC_ALL, "C.UTF-8");
    bindtextdomain("libkvr-ldap-wrapper", KVR_MARKED_CATALOGUES);
    bindtextdomain("libkvr-core", KVR_MARKED_CATALOGUES);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
