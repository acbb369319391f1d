#include "Caught.h"
#include "KVRLdapConnection.h"
#include "RecordingHost.h"

#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>

namespace KVR::Support
{
namespace
{

/** In the "C" locale of this program the host's default character set decides. */
class TextConversion : public testing::Test
{
protected:
    ~TextConversion() override { SetDefaultCodeset("UTF-8"); }

    /** Lets the connection determine its character set; the URI then stops it before it sends. */
    void useCodeset(const std::string& codeset)
    {
        SetDefaultCodeset(codeset);
        EXPECT_THROW(connection.Connect("no URL", KVRAuthAnonymous), EKVRError);
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
