// Translations with percent signs. Contexts without arguments are no formats: theirs come through as they
// are. Others are formats, and what does not fit is logged with the place of the call.

#include "SearchTest.h"

#include <kvr/KVRModuleInfo.h>

#include <libintl.h>

#include <functional>
#include <map>

namespace
{

constexpr char translation[] = "zu 100%% %s %n";

std::map<std::string, std::string> translations; // NOLINT(cert-err58-cpp)

} // namespace

extern "C"
{
    // the names that the linker's option --wrap gives
    // NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
    char* __real_dgettext(const char* domain, const char* text);

    char* __wrap_dgettext(const char* domain, const char* text)
    {
        const auto found = translations.find(text);
        return found != translations.end() ? found->second.data() : __real_dgettext(domain, text);
    }
    // NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

    KVR::KVRModuleInfo* get_module_info(const KVR::KVRModuleInfo* host);
}

namespace KVR
{

namespace
{

class PercentTest : public SearchTest
{
protected:
    PercentTest()
    {
        for (const char* const context : {"on initialization", "on bind", "on GGSAPI bind", "on fetching"})
        {
            translations[context] = translation;
        }
    }

    ~PercentTest() override { translations.clear(); }
};

Caught translated(const std::string& reason, const std::string& place)
{
    return ldapErrorAt(std::string("OpenLDAP error ") + translation + " - " + reason, place);
}

TEST_F(PercentTest, OfTheInitializationAndTheBindsComesThrough)
{
    const std::string place = "KVRLdapConnection.cpp:LINE(Connect)";
    connection.Disconnect();
    library.initializeCode = LDAP_NO_MEMORY;
    EXPECT_EQ(translated("Out of memory", place),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
    library.initializeCode.reset();
    responder.onBind(Answer().result(LDAP_BUSY));
    EXPECT_EQ(translated("Server is busy", place),
              caught([&] { connection.Connect(responder.target(), KVRAuthAnonymous); }));
}

TEST_F(PercentTest, OfTheEndOfAWalkComesThrough)
{
    const QueryPointer query = searchFor(Answer());
    library.setResultCode(LDAP_BUSY);
    EntityPointer entity;
    EXPECT_EQ(translated("Server is busy", fetchPlace), caught([&] { query->Fetch(entity); }));
}

TEST_F(PercentTest, ThatAsksForMoreThanThereIsIsLoggedWithThePlaceOfTheCall)
{
    struct
    {
        std::string text;
        std::string place;
        std::function<void()> call;
    } const formatted[] = {
        {"Invalid host type %d.", "ldap-wrapper.cpp:LINE(get_module_info)",
         []
         {
             const KVRModuleInfo other{0, "", "", 2, nullptr};
             get_module_info(&other);
         }},
        {"OpenLDAP error%s in %s:%d(%s)", "KVRLdapCommon.cpp:LINE(EKVROpenLdapError)",
         []
         { const EKVROpenLdapError error(nullptr, LDAP_BUSY, "on bind", "dir/Caller.cpp", "Caller", 700); }},
        {"LDAP disconnection error: %d.", "KVRLdapConnection.cpp:LINE(Disconnect)",
         [&]
         {
             library.unbindCode = 81;
             connection.Disconnect();
         }},
    };
    log.setLevel(kvrLOG_INFO);
    for (const auto& [text, place, call] : formatted)
    {
        translations[text] = text + " %s";
        log.clear();
        testing::internal::CaptureStderr();
        call();
        testing::internal::GetCapturedStderr();
        std::vector<std::string> logged;
        for (const auto& [level, message] : log.messages())
        {
            EXPECT_THAT(message, ::testing::Not(::testing::HasSubstr(":700(")));
            logged.push_back(Support::withoutLines(message));
        }
        EXPECT_THAT(logged, ::testing::Contains(
                                ::testing::StartsWith("src/interfaces/ldap-wrapper/" + place + ": ")));
    }
}

} // namespace

} // namespace KVR
