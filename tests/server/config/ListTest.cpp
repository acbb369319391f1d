// Modules, databases and schemas of a real server.

#include "ConfigTest.h"

namespace KVR::ServerTests
{
namespace
{

using testing::ElementsAre;
using testing::Pair;

using ListTest = ConfigTest;

TEST_F(ListTest, TheModulesAreThoseThatTheServerHasLoadedInTheirOrder)
{
    const std::string type = std::string(KVR_MAIN_DATABASE).substr(3);
    EXPECT_THAT(modules(),
                ElementsAre("{0}back_" + type, "{1}syncprov", "{2}unique", "{3}back_ldap", "{4}retcode"));
}

TEST_F(ListTest, AModuleThatIsLoadedLaterIsTheLast)
{
    connection.SetAttrValue("cn=module{0},cn=config", "olcModuleLoad", "memberof", alADD);
    EXPECT_EQ(modules().size(), 6U);
    EXPECT_EQ(modules().back(), "{5}memberof");
}

TEST_F(ListTest, TheDatabasesAreThoseWithASuffix)
{
    EXPECT_THAT(databases(), ElementsAre(Pair(KVR_MAIN_DATABASE, "dc=example,dc=com")));
}

TEST_F(ListTest, AnotherDatabaseIsListedWithItsFirstSuffixAndTheSecondOneIsLogged)
{
    Attributes attributes{{"objectClass", "olcDatabaseConfig"},
                          {"objectClass", "olcLDAPConfig"},
                          {"olcDatabase", "ldap"},
                          {"olcSuffix", "dc=other"},
                          {"olcSuffix", "dc=another"},
                          {"olcDbURI", "ldap://127.0.0.1:9"}};
    connection.AddDN("olcDatabase=ldap,cn=config", attributes);
    EXPECT_THAT(databases(),
                ElementsAre(Pair(KVR_MAIN_DATABASE, "dc=example,dc=com"), Pair("{2}ldap", "dc=other")));
    EXPECT_THAT(log.messages(), ElementsAre(Pair(0, "LDAP attribute 'olcSuffix' met twice")));
}

TEST_F(ListTest, TheSchemasAreListedWithTheirPrefixes)
{
    EXPECT_THAT(schemas(), ElementsAre("{0}core", "{1}cosine", "{2}nis", "{3}inetorgperson"));
}

TEST_F(ListTest, ASchemaIsFoundByItsWholeNameWithoutPrefix)
{
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("nis"));
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("inetorgperson"));
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("person"));
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("inetorg"));
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("{2}nis"));
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("schema"));
}

TEST_F(ListTest, ASchemaWithALongerNameIsNotTakenForAnotherOne)
{
    addSchema("labextra");
    EXPECT_FALSE(connection.IsLdapSchemaRegistered("lab"));
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("labextra"));
    addSchema("lab");
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("lab"));
    addSchema("nisextra");
    EXPECT_TRUE(connection.IsLdapSchemaRegistered("nis"));
    EXPECT_THAT(schemas(), ElementsAre("{0}core", "{1}cosine", "{2}nis", "{3}inetorgperson", "{4}labextra",
                                       "{5}lab", "{6}nisextra"));
}

} // namespace
} // namespace KVR::ServerTests
