#include "Caught.h"
#include "KVRLdapConnection.h"
#include "RecordingHost.h"

#include <kvr/KVRUtils.h>

#include <gmock/gmock.h>
#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace KVR::Support
{
namespace
{

/** What the C library is asked for, and the name that it has for the locale's character set. */
struct Iconv
{
    std::vector<std::string> opened; /**< "to < from" */
    std::vector<iconv_t> open;
    int closedOthers = 0; /**< handles that were not open */
    std::optional<std::string> localeCodeset;
};

Iconv library; // NOLINT(cert-err58-cpp)

} // namespace
} // namespace KVR::Support

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's option --wrap names
// them
extern "C"
{
    iconv_t __real_iconv_open(const char* to, const char* from);
    int __real_iconv_close(iconv_t handle);
    char* __real_nl_langinfo(nl_item item);

    iconv_t __wrap_iconv_open(const char* to, const char* from)
    {
        auto* const handle = __real_iconv_open(to, from);
        KVR::Support::library.opened.push_back(std::string(to) + " < " + from);
        if (handle != KVR::closedConversion())
        {
            KVR::Support::library.open.push_back(handle);
        }
        return handle;
    }

    int __wrap_iconv_close(iconv_t handle)
    {
        auto& open = KVR::Support::library.open;
        const auto found = std::find(open.begin(), open.end(), handle);
        if (found == open.end())
        {
            ++KVR::Support::library.closedOthers;
            return -1;
        }
        open.erase(found);
        return __real_iconv_close(handle);
    }

    char* __wrap_nl_langinfo(nl_item item)
    {
        auto& codeset = KVR::Support::library.localeCodeset;
        return item == CODESET && codeset ? codeset->data() : __real_nl_langinfo(item);
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace KVR::Support
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/** In the "C" locale of this program the host's default character set decides. */
class TextConversion : public testing::Test
{
protected:
    TextConversion() { library = Iconv(); }
    ~TextConversion() override
    {
        SetDefaultCodeset("UTF-8");
        library.localeCodeset.reset();
    }

    /** Lets the connection determine its character set; the URI then stops it before it sends. */
    void useCodeset(const std::string& codeset) { useCodeset(codeset, connection); }

    static void useCodeset(const std::string& codeset, CKVRLdapConnection& user)
    {
        SetDefaultCodeset(codeset);
        EXPECT_THROW(user.Connect("no URL", KVRAuthAnonymous), EKVRError);
    }

    RecordingHost host;
    CKVRLdapConnection connection{withoutUrl(host)};

private:
    static IKVRCore& withoutUrl(RecordingHost& core)
    {
        core.parameters["KVR_PRM_LDAP_URIS"] = "no URL";
        return core;
    }
};

const Caught conversionFailure{typeid(EKVRInternalError), "iconv conversion failed.", "",
                               "src/interfaces/ldap-wrapper/KVRLdapConnectionText.cpp:LINE(InternalIconv)"};

TEST_F(TextConversion, BeforeTheFirstConnectIsACopy)
{
    SetDefaultCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8("\xfc"), "\xfc");
    EXPECT_EQ(connection.Utf8ToLocal("\xc3\xbc"), "\xc3\xbc");
}

TEST_F(TextConversion, OfUtf8IsACopyWhateverTheLetterCaseOfItsName)
{
    for (const char* name : {"UTF-8", "utf-8", "Utf-8"})
    {
        useCodeset(name);
        EXPECT_EQ(connection.LocalToUtf8("\xff invalid"), "\xff invalid") << name;
        EXPECT_EQ(connection.Utf8ToLocal("\xff invalid"), "\xff invalid") << name;
    }
}

TEST_F(TextConversion, OfUtf8KeepsZeroBytes)
{
    useCodeset("UTF-8");
    const std::string text("a\0b", 3);
    EXPECT_EQ(connection.LocalToUtf8(text), text);
}

TEST_F(TextConversion, OfTheCLocaleUsesTheHostsDefaultCharacterSet)
{
    useCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8("J\xfcrgen"), "J\xc3\xbcrgen");
    EXPECT_EQ(connection.Utf8ToLocal("J\xc3\xbcrgen"), "J\xfcrgen");
}

TEST_F(TextConversion, OfALocaleWithASimilarCharacterSetUsesThat)
{
    for (const char* name : {"ansi_x3.4-1968", "ANSI_X3.4-1968//", "ANSI_X3.4-1986", "ANSI_X3.4", "US-ASCII",
                             "646", "x ANSI_X3.4-1968"})
    {
        library = Iconv();
        library.localeCodeset = name;
        CKVRLdapConnection other(host);
        useCodeset("ISO-8859-1", other);
        caught([&] { other.LocalToUtf8("a"); });
        EXPECT_THAT(library.opened, ElementsAre(std::string("UTF-8 < ") + name));
    }
    library.localeCodeset = "ANSI_X3.4-1968";
    useCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8("\xfc"), "\xc3\xbc");
}

TEST_F(TextConversion, CutsTheResultAtAZeroByte)
{
    useCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8(std::string("a\0b", 3)), "a");
    EXPECT_EQ(connection.Utf8ToLocal(std::string("a\0b", 3)), "a");
}

TEST_F(TextConversion, OfAnEmptyTextDoesNotOpenTheConversion)
{
    useCodeset("no-such-set");
    EXPECT_EQ(connection.LocalToUtf8(""), "");
    EXPECT_EQ(connection.Utf8ToLocal(""), "");
}

TEST_F(TextConversion, WithAnUnknownCharacterSetFailsAtFirstUseWithTheDirectionReversed)
{
    useCodeset("no-such-set");
    EXPECT_EQ(caught([&] { connection.LocalToUtf8("a"); }),
              (Caught{typeid(EKVRError),
                      "Iconv initialization failed for conversion from 'UTF-8' to 'no-such-set'.", "", ""}));
    EXPECT_EQ(caught([&] { connection.Utf8ToLocal("a"); }),
              (Caught{typeid(EKVRError),
                      "Iconv initialization failed for conversion from 'no-such-set' to 'UTF-8'.", "", ""}));
}

TEST_F(TextConversion, ThatCouldNotBeOpenedIsTriedAgain)
{
    useCodeset("no-such-set");
    EXPECT_THROW(connection.LocalToUtf8("a"), EKVRError);
    useCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8("\xe4"), "\xc3\xa4");
}

TEST_F(TextConversion, OfMoreThanFourBytesAByteFails)
{
    useCodeset("UTF-32"); // a byte order mark and the letter: eight bytes
    EXPECT_EQ(caught([&] { connection.Utf8ToLocal("a"); }), conversionFailure);
}

TEST_F(TextConversion, OfExactlyFourBytesAByteFits)
{
    useCodeset("UTF-32BE");
    EXPECT_EQ(connection.Utf8ToLocal("a"), "") << "the first of the four bytes is zero";
    useCodeset("UTF-32LE");
    EXPECT_EQ(connection.Utf8ToLocal("a"), "") << "the conversion that is open stays";
}

TEST_F(TextConversion, CarriesTheShiftStateFromOneTextToTheNext)
{
    useCodeset("ISO-2022-JP");
    EXPECT_EQ(connection.Utf8ToLocal("\xe3\x81\x82"), "\x1b$B$\"");
    EXPECT_EQ(connection.Utf8ToLocal("\xe3\x81\x82"), "$\"");
}

TEST_F(TextConversion, OfAnInvalidOrIncompleteSequenceFails)
{
    useCodeset("ISO-8859-1");
    EXPECT_EQ(caught([&] { connection.Utf8ToLocal("\xff"); }), conversionFailure);
    EXPECT_EQ(caught([&] { connection.Utf8ToLocal("a\xc3"); }), conversionFailure);
}

TEST_F(TextConversion, OfACharacterThatTheTargetLacksFails)
{
    useCodeset("ISO-8859-1");
    EXPECT_EQ(caught([&] { connection.Utf8ToLocal("\xd0\x96"); }), conversionFailure);
}

TEST_F(TextConversion, WorksOnAfterAFailedOne)
{
    useCodeset("ISO-8859-1");
    EXPECT_THROW(connection.Utf8ToLocal("\xff"), EKVRInternalError);
    EXPECT_EQ(connection.Utf8ToLocal("\xc3\xa4"), "\xe4");
}

TEST_F(TextConversion, StaysOpenWhenALaterConnectFindsAnotherCharacterSet)
{
    useCodeset("KOI8-R");
    EXPECT_EQ(connection.Utf8ToLocal("\xd0\x96"), "\xf6");
    useCodeset("ISO-8859-5");
    EXPECT_EQ(connection.Utf8ToLocal("\xd0\x96"), "\xf6");
    EXPECT_EQ(connection.LocalToUtf8("\xb6"), "\xd0\x96") << "the other direction was not open yet";
}

TEST_F(TextConversion, IsClosedWithTheConnectionOnceForEachOneOpened)
{
    using Use = std::function<void(CKVRLdapConnection&)>;
    const Use toUtf8 = [](CKVRLdapConnection& user) { user.LocalToUtf8("a"); };
    const Use toLocal = [](CKVRLdapConnection& user) { user.Utf8ToLocal("a"); };
    const Use failing = [](CKVRLdapConnection& user) { user.Utf8ToLocal("\xff"); };
    const Use neverOpened = [](CKVRLdapConnection& user) { (void)user.InternalIconv(true, "a"); };
    const Use unknown = [](CKVRLdapConnection& user) { useCodeset("no-such-set", user); };
    const std::pair<std::vector<Use>, std::size_t> histories[] = {
        {{}, 0},
        {{toUtf8}, 1},
        {{toLocal}, 1},
        {{toUtf8, toLocal, toLocal, toUtf8}, 2},
        {{failing, failing, toLocal}, 1},
        {{toUtf8, failing}, 2},
        {{neverOpened, toLocal, neverOpened}, 1},
        {{unknown, toUtf8, toLocal}, 0},
        {{toUtf8, unknown, toUtf8, toLocal}, 1},
    };
    for (const auto& [uses, open] : histories)
    {
        {
            CKVRLdapConnection user(host);
            useCodeset("ISO-8859-1", user);
            for (const Use& use : uses)
            {
                caught([&] { use(user); });
            }
            EXPECT_THAT(library.open, SizeIs(open));
        }
        EXPECT_THAT(library.open, IsEmpty());
        EXPECT_EQ(library.closedOthers, 0);
    }
}

TEST_F(TextConversion, StopsWhenALaterConnectFindsUtf8)
{
    useCodeset("ISO-8859-1");
    EXPECT_EQ(connection.LocalToUtf8("\xe4"), "\xc3\xa4");
    useCodeset("UTF-8");
    EXPECT_EQ(connection.LocalToUtf8("\xe4"), "\xe4");
}

TEST_F(TextConversion, WithAHandleThatIsNotOpenIsRefused)
{
    EXPECT_EQ(caught([&] { (void)connection.InternalIconv(true, "a"); }),
              (Caught{typeid(EKVRCheckError), "Invalid iconv handle.", "", ""}));
    EXPECT_EQ(caught([&] { (void)connection.InternalIconv(false, "a"); }),
              (Caught{typeid(EKVRCheckError), "Invalid iconv handle.", "", ""}));
}

TEST_F(TextConversion, HandlesALongText)
{
    useCodeset("ISO-8859-1");
    const std::string local(1000000, '\xfc');
    const std::string wire = connection.LocalToUtf8(local);
    EXPECT_EQ(wire.size(), 2000000U);
    EXPECT_EQ(connection.Utf8ToLocal(wire), local);
}

} // namespace
} // namespace KVR::Support
