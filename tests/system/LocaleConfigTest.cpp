// Access rules and limits with other characters than ASCII, in a Latin-1 and in a UTF-8 locale.

#include "LocaleTest.h"

#include <gmock/gmock.h>

#include <map>

namespace KVR
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::string latin1Dn = "cn=J\xFCrgen M\xFCller,ou=lab,dc=example,dc=com";

/** Operations on the configuration, with texts in the locale's character set. */
class ConfigInLocale : public LocaleTest
{
protected:
    using LocaleTest::LocaleTest;

    std::list<std::string> rules()
    {
        std::list<std::string> texts;
        connection->EnumerateDBAccessRules(texts);
        return texts;
    }

    std::map<std::string, std::string> limits()
    {
        std::map<std::string, std::string> texts;
        connection->EnumerateDBLimits(texts);
        return texts;
    }
};

/** LC_ALL=de_DE.ISO-8859-1 */
class Latin1Config : public ConfigInLocale
{
protected:
    Latin1Config() : ConfigInLocale("ISO-8859-1") {}

    /** The rules as an entity has them, converted once. */
    std::list<std::string> storedRules()
    {
        std::list<std::string> names{"olcAccess"};
        const auto query = connection->Search("cn=config", "(olcSuffix=*)", names, alSCOPE_ONE);
        std::shared_ptr<IKVRLdapEntity> entity;
        query->Fetch(entity);
        std::list<std::string> texts;
        entity->ValsByAttr("olcAccess", texts, false);
        return texts;
    }
};

TEST_F(Latin1Config, RulesInAsciiAreListed)
{
    connection->AddDBAccessRule(0, "to attrs=cn by self write");
    EXPECT_THAT(rules(), ElementsAre("{0} to attrs=cn by self write", "{1}to * by * manage"));
}

TEST_F(Latin1Config, ARuleWithAnUmlautIsAddedAndThenTheListFailsInItsSecondConversion)
{
    const std::string rule = "to dn.base=\"" + latin1Dn + "\" by self write";
    connection->AddDBAccessRule(-1, rule);
    EXPECT_THAT(storedRules(), ElementsAre("{0}to * by * manage", "{1}" + rule));
    EXPECT_EQ(caught([&] { rules(); }),
              (Caught{typeid(EKVRInternalError), "iconv conversion failed.", "",
                      "src/interfaces/ldap-wrapper/KVRLdapConnectionText.cpp:LINE(InternalIconv)"}));
}

TEST_F(Latin1Config, OnceThatRuleIsDeletedByItsPositionTheListWorksAgain)
{
    connection->AddDBAccessRule(-1, "to dn.base=\"" + latin1Dn + "\" by self write");
    connection->DeleteDBAccessRule(1);
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage"));
}

TEST_F(Latin1Config, ALimitWithAnUmlautIsListedFoundAndDeleted)
{
    const std::string who = "dn.exact=\"cn=J\xFCrgen,dc=example,dc=com\"";
    connection->AddDBLimit(who, "size=500");
    EXPECT_THAT(limits(), ElementsAre(Pair(who, "{0}" + who + " size=500")));
    EXPECT_EQ(caught([&] { connection->AddDBLimit(who, "size=7"); }), Caught());
    EXPECT_THAT(limits(), ElementsAre(Pair(who, "{0}" + who + " size=500")));
    connection->DeleteDBLimit(who);
    EXPECT_THAT(limits(), IsEmpty());
}

/** LC_ALL=C.UTF-8 */
class Utf8Config : public ConfigInLocale
{
protected:
    Utf8Config() : ConfigInLocale("UTF-8") {}
};

TEST_F(Utf8Config, ARuleWithAnUmlautIsListed)
{
    const std::string rule = "to dn.base=\"cn=Jürgen Müller,ou=lab,dc=example,dc=com\" by self write";
    connection->AddDBAccessRule(-1, rule);
    EXPECT_THAT(rules(), ElementsAre("{0}to * by * manage", "{1}" + rule));
}

} // namespace
} // namespace KVR
