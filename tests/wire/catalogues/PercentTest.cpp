// Contexts without arguments are no formats: a translation with percent signs comes through as it is.

#include "SearchTest.h"

#include <libintl.h>

#include <cstring>

namespace
{

constexpr char translation[] = "zu 100%% %s %n";

}

extern "C"
{
    // the names that the linker's option --wrap gives
    // NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
    char* __real_dgettext(const char* domain, const char* text);

    char* __wrap_dgettext(const char* domain, const char* text)
    {
        for (const char* const context : {"on initialization", "on bind", "on GGSAPI bind", "on fetching"})
        {
            if (std::strcmp(text, context) == 0)
            {
                return const_cast<char*>(translation);
            }
        }
        return __real_dgettext(domain, text);
    }
    // NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace KVR
{

namespace
{

using PercentTest = SearchTest;

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

} // namespace

} // namespace KVR
