// Searches on a real server in real locales. ctest runs the tests of one locale in processes that
// have it set; values arrive in the locale's character set, DNs stay UTF-8.

#include "LocaleTest.h"

#include <kvr/KVRUtils.h>

namespace KVR
{
namespace
{

const std::string latinDn = "cn=Jürgen Müller," + lab;
const std::string cyrillicDn = "cn=Ольга Смирнова," + lab;

// The names in the character sets of the locales.
const std::string latinName = "J\xFCrgen M\xFCller";
const std::string cyrillicName = "\xEF\xCC\xD8\xC7\xC1 \xF3\xCD\xC9\xD2\xCE\xCF\xD7\xC1";

class LocaleReadTest : public LocaleTest
{
protected:
    using LocaleTest::LocaleTest;

    /** Expects the entry with its DN as it was stored and its name as given. */
    void expectName(const std::string& dn, const std::string& name)
    {
        const auto entity = read(dn);
        EXPECT_EQ(entity->dn, dn);
        EXPECT_EQ(entity->ValByAttr("cn", false), name);
    }
};

/** LC_ALL=C */
class CLocale : public LocaleReadTest
{
protected:
    CLocale() : LocaleReadTest("ANSI_X3.4-1968") {}
};

TEST_F(CLocale, ValuesStayUtf8BecauseTheHostsDefaultStandsIn)
{
    expectName(latinDn, "Jürgen Müller");
    expectName(cyrillicDn, "Ольга Смирнова");
}

TEST_F(CLocale, ValuesFollowTheHostsDefaultWhenItIsAnother)
{
    SetDefaultCodeset("ISO-8859-1");
    connection->Disconnect();
    connection->Connect(server.hostAndPort(), KVRAuthAnonymous);

    expectName(latinDn, latinName);
    expectUnconvertible(cyrillicDn);
}

/** LC_ALL=C.UTF-8 */
class Utf8Locale : public LocaleReadTest
{
protected:
    Utf8Locale() : LocaleReadTest("UTF-8") {}
};

TEST_F(Utf8Locale, ValuesStayUtf8)
{
    expectName(latinDn, "Jürgen Müller");
    expectName(cyrillicDn, "Ольга Смирнова");
}

/** LC_ALL=de_DE.ISO-8859-1 */
class Latin1Locale : public LocaleReadTest
{
protected:
    Latin1Locale() : LocaleReadTest("ISO-8859-1") {}
};

TEST_F(Latin1Locale, ValuesArriveInLatin1AndTheDnInUtf8)
{
    expectName(latinDn, latinName);
}

TEST_F(Latin1Locale, ACyrillicValueCannotBeConverted)
{
    expectUnconvertible(cyrillicDn);
}

TEST_F(Latin1Locale, TheConversionWorksOnAfterAValueThatFailed)
{
    expectUnconvertible(cyrillicDn);
    expectName(latinDn, latinName);
}

TEST_F(Latin1Locale, TextOfTheUserBecomesUtf8)
{
    EXPECT_EQ(connection->LocalToUtf8(latinName), "Jürgen Müller");
}

/** LC_ALL=ru_RU.KOI8-R */
class Koi8Locale : public LocaleReadTest
{
protected:
    Koi8Locale() : LocaleReadTest("KOI8-R") {}
};

TEST_F(Koi8Locale, ValuesArriveInKoi8AndTheDnInUtf8)
{
    expectName(cyrillicDn, cyrillicName);
}

TEST_F(Koi8Locale, AGermanUmlautCannotBeConverted)
{
    expectUnconvertible(latinDn);
}

TEST_F(Koi8Locale, TextOfTheUserBecomesUtf8)
{
    EXPECT_EQ(connection->LocalToUtf8(cyrillicName), "Ольга Смирнова");
}

} // namespace
} // namespace KVR
