// Searches on a real server in real locales. ctest runs the tests of one locale in processes that
// have it set; values arrive in the locale's character set, DNs stay UTF-8.

#include "Caught.h"
#include "PrivateSlapd.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>
#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>
#include <langinfo.h>

#include <clocale>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>

namespace KVR
{
namespace
{

using Support::Caught;
using Support::caught;

const std::string lab = "ou=lab,dc=example,dc=com";
const std::string latinDn = "cn=Jürgen Müller," + lab;
const std::string cyrillicDn = "cn=Ольга Смирнова," + lab;

// The names in the character sets of the locales.
const std::string latinName = "J\xFCrgen M\xFCller";
const std::string cyrillicName = "\xEF\xCC\xD8\xC7\xC1 \xF3\xCD\xC9\xD2\xCE\xCF\xD7\xC1";

class LocaleTest : public testing::Test
{
protected:
    /** @param codeset what the locale of this process has to name, so that no test runs elsewhere */
    explicit LocaleTest(const std::string& codeset)
    {
        if (std::setlocale(LC_ALL, "") == nullptr || nl_langinfo(CODESET) != codeset)
        {
            throw std::runtime_error("this test needs LC_ALL and LOCPATH of a locale with " + codeset);
        }
        connection->Connect(server.hostAndPort(), KVRAuthAnonymous);
    }

    std::shared_ptr<IKVRLdapEntity> read(const std::string& dn)
    {
        std::list<std::string> names{"cn"};
        const auto query = connection->Search(dn, "(objectClass=*)", names, alSCOPE_BASE);
        std::shared_ptr<IKVRLdapEntity> entity;
        if (!query || !query->Fetch(entity))
        {
            throw std::runtime_error("there is no entry " + dn);
        }
        return entity;
    }

    /** Expects the entry with its DN as it was stored and its name as given. */
    void expectName(const std::string& dn, const std::string& name)
    {
        const auto entity = read(dn);
        EXPECT_EQ(entity->dn, dn);
        EXPECT_EQ(entity->ValByAttr("cn", false), name);
    }

    /** Expects that the entry's values don't fit into the locale's character set. */
    void expectUnconvertible(const std::string& dn)
    {
        EXPECT_EQ(caught([&] { read(dn); }),
                  (Caught{typeid(EKVRInternalError), "iconv conversion failed.", "",
                          "src/interfaces/ldap-wrapper/KVRLdapConnectionText.cpp:LINE(InternalIconv)"}));
    }

    Support::PrivateSlapd server{{"--entries", "0", "--data", KVR_ENTRIES}};
    CKVRCore core;
    CKVRModule module{core, KVR_MODULE_FILE};
    std::shared_ptr<IKVRLdapConnection> connection =
        dynamic_cast<IKVRLdapWrapper&>(*core.FindInterface("ldap")).getConnection();
};

/** LC_ALL=C */
class CLocale : public LocaleTest
{
protected:
    CLocale() : LocaleTest("ANSI_X3.4-1968") {}
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
class Utf8Locale : public LocaleTest
{
protected:
    Utf8Locale() : LocaleTest("UTF-8") {}
};

TEST_F(Utf8Locale, ValuesStayUtf8)
{
    expectName(latinDn, "Jürgen Müller");
    expectName(cyrillicDn, "Ольга Смирнова");
}

/** LC_ALL=de_DE.ISO-8859-1 */
class Latin1Locale : public LocaleTest
{
protected:
    Latin1Locale() : LocaleTest("ISO-8859-1") {}
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
class Koi8Locale : public LocaleTest
{
protected:
    Koi8Locale() : LocaleTest("KOI8-R") {}
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
