// A failed conversion is reported while an entry is being read, and the formatter logs a translation that
// does not fit. A host whose log fetches does so in the middle of that entry.

#include "SearchTest.h"

#include <cstring>

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's option --wrap names
// them
extern "C"
{
    char* __real_dgettext(const char* domain, const char* text);
    char* __wrap_dgettext(const char* domain, const char* text);

    char* __wrap_dgettext(const char* domain, const char* text)
    {
        static char unfit[] = "%s %s %s";
        return std::strstr(text, "Iconv initialization failed") != nullptr ? unfit
                                                                           : __real_dgettext(domain, text);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace KVR
{
namespace
{

class FetchWhileReporting : public WireTest
{
protected:
    DefaultCodesetGuard codeset{"no such set"};
    CKVRLdapConnection connection{host};
};

TEST_F(FetchWhileReporting, TheEntryThatIsBeingReadStaysAsItIs)
{
    connect(connection);
    std::list<std::string> names;
    responder.onSearch(Answer().entry("cn=inner,dc=x", {{"cn", {""}}}));
    const QueryPointer inner = connection.Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);
    responder.onSearch(Answer().entry("cn=outer,dc=x", {{"cn", {""}}, {"sn", {"", "b"}}, {"tn", {"c"}}}));
    const QueryPointer outer = connection.Search("dc=x", "(objectClass=*)", names, alSCOPE_SUB);

    EntityPointer fetched;
    log.setLevel(kvrLOG_DEBUG);
    CKVRLogProvider::GetLogProvider().SetSink(
        [&](KVRLogLevel, const std::string&)
        {
            if (!fetched)
            {
                EXPECT_TRUE(inner->Fetch(fetched));
            }
        });
    EntityPointer entity;
    EXPECT_EQ(std::type_index(typeid(EKVRError)), caught([&] { outer->Fetch(entity); }).type);
    CKVRLogProvider::GetLogProvider().SetSink({});

    ASSERT_NE(nullptr, fetched) << "the log has fetched";
    EXPECT_EQ("cn=inner,dc=x", fetched->dn);
    EXPECT_EQ("cn=outer,dc=x", entity->dn);
    EXPECT_EQ((Values{{"cn", ""}, {"sn", ""}}), valuesOf(*entity));
}

} // namespace
} // namespace KVR
