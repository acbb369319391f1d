#include "LdifRecords.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::Cli::Ldif;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// The examples of RFC 2849 that show a shape of their own.

TEST(LdifExamples, TwoEntries)
{
    const std::vector<Record> records = recordsOf(R"(version: 1
dn: cn=Barbara Jensen, ou=Product Development, dc=airius, dc=com
objectclass: top
objectclass: person
objectclass: organizationalPerson
cn: Barbara Jensen
cn: Barbara J Jensen
cn: Babs Jensen
sn: Jensen
uid: bjensen
telephonenumber: +1 408 555 1212
description: A big sailing fan.

dn: cn=Bjorn Jensen, ou=Accounting, dc=airius, dc=com
objectclass: top
objectclass: person
objectclass: organizationalPerson
cn: Bjorn Jensen
sn: Jensen
telephonenumber: +1 408 555 1212
)");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].attributes.size(), 10U);
    EXPECT_EQ(records[1].line, 14U);
    EXPECT_EQ(records[1].dn, "cn=Bjorn Jensen, ou=Accounting, dc=airius, dc=com");
}

TEST(LdifExamples, FoldedValue)
{
    const Record record = recordOf(R"(version: 1
dn:cn=Barbara Jensen, ou=Product Development, dc=airius, dc=com
objectclass:top
objectclass:person
objectclass:organizationalPerson
cn:Barbara Jensen
cn:Barbara J Jensen
cn:Babs Jensen
sn:Jensen
uid:bjensen
telephonenumber:+1 408 555 1212
description:Babs is a big sailing fan, and travels extensively in sea
 rch of perfect sailing conditions.
title:Product Manager, Rod and Reel Division
)");
    EXPECT_EQ(record.attributes[9].value, "Babs is a big sailing fan, and travels extensively in search of "
                                          "perfect sailing conditions.");
    EXPECT_EQ(record.attributes[10].line, 14U);
}

TEST(LdifExamples, Base64Value)
{
    const Record record = recordOf(R"(version: 1
dn: cn=Gern Jensen, ou=Product Testing, dc=airius, dc=com
objectclass: top
objectclass: person
objectclass: organizationalPerson
cn: Gern Jensen
cn: Gern O Jensen
sn: Jensen
uid: gernj
telephonenumber: +1 408 555 1212
description:: V2hhdCBhIGNhcmVmdWwgcmVhZGVyIHlvdSBhcmUhICBUaGlzIHZhbHVl
 IGlzIGJhc2UtNjQtZW5jb2RlZCBiZWNhdXNlIGl0IGhhcyBhIGNvbnRyb2wgY2hhcmFjdG
 VyIGluIGl0IChhIENSKS4NICBCeSB0aGUgd2F5LCB5b3Ugc2hvdWxkIHJlYWxseSBnZXQg
 b3V0IG1vcmUu
)");
    EXPECT_EQ(record.attributes.back().value,
              "What a careful reader you are!  This value is base-64-encoded because it has a control "
              "character in it (a CR).\r  By the way, you should really get out more.");
}

TEST(LdifExamples, NamesInUtf8WithLanguages)
{
    const Record record = recordOf(R"(version: 1
dn:: b3U95Za25qWt6YOoLG89QWlyaXVz
# dn:: ou=<JapaneseOU>,o=Airius
objectclass: top
objectclass: organizationalUnit
ou:: 5Za25qWt6YOo
# ou:: <JapaneseOU>
ou;lang-ja:: 5Za25qWt6YOo
# ou;lang-ja:: <JapaneseOU>
ou;lang-ja;phonetic:: 44GI44GE44GO44KH44GG44G2
# ou;lang-ja:: <JapaneseOU_in_phonetic_representation>
ou;lang-en: Sales
description: Japanese office
)");
    EXPECT_EQ(record.dn, "ou=\xe5\x96\xb6\xe6\xa5\xad\xe9\x83\xa8,o=Airius");
    EXPECT_EQ(record.attributes[4].name, "ou;lang-ja;phonetic");
    EXPECT_EQ(record.attributes[5].value, "Sales");
}

TEST(LdifExamples, ValueInAnotherFile)
{
    EXPECT_EQ(objectionTo(R"(version: 1
dn: cn=Horatio Jensen, ou=Product Testing, dc=airius, dc=com
objectclass: top
objectclass: person
objectclass: organizationalPerson
cn: Horatio Jensen
cn: Horatio N Jensen
sn: Jensen
uid: hjensen
telephonenumber: +1 408 555 1212
jpegphoto:< file:///usr/local/directory/photos/hjensen.jpg
)"),
              "11: values are not read from other files");
}

TEST(LdifExamples, Changes)
{
    const std::vector<Record> records = recordsOf(R"(version: 1
# Add a new entry
dn: cn=Fiona Jensen, ou=Marketing, dc=airius, dc=com
changetype: add
objectclass: top
objectclass: person
objectclass: organizationalPerson
cn: Fiona Jensen
sn: Jensen
uid: fiona
telephonenumber: +1 408 555 1212

# Delete an existing entry
dn: cn=Robert Jensen, ou=Marketing, dc=airius, dc=com
changetype: delete

# Modify an entry's relative distinguished name
dn: cn=Paul Jensen, ou=Product Development, dc=airius, dc=com
changetype: modrdn
newrdn: cn=Paula Jensen
deleteoldrdn: 1

# Rename an entry and move all of its children to a new location in
# the directory tree (only implemented by LDAPv3 servers).
dn: ou=PD Accountants, ou=Product Development, dc=airius, dc=com
changetype: modrdn
newrdn: ou=Product Development Accountants
deleteoldrdn: 0
newsuperior: ou=Accounting, dc=airius, dc=com

# Modify an entry: add an additional value to the postaladdress
# attribute, completely delete the description attribute, replace
# the telephonenumber attribute with two values, and delete a specific
# value from the facsimiletelephonenumber attribute
dn: cn=Paula Jensen, ou=Product Development, dc=airius, dc=com
changetype: modify
add: postaladdress
postaladdress: 123 Anystreet $ Sunnyvale, CA $ 94086
-
delete: description
-
replace: telephonenumber
telephonenumber: +1 408 555 1234
telephonenumber: +1 408 555 5678
-
delete: facsimiletelephonenumber
facsimiletelephonenumber: +1 408 555 9876
-

# Modify an entry: replace the postaladdress attribute with an empty
# set of values (which will cause the attribute to be removed), and
# delete the entire description attribute. Note that the first will
# always succeed, while the second will only succeed if at least
# one value for the description attribute is present.
dn: cn=Ingrid Jensen, ou=Product Support, dc=airius, dc=com
changetype: modify
replace: postaladdress
-
delete: description
-
)");
    ASSERT_EQ(records.size(), 6U);
    EXPECT_EQ(records[0].attributes.size(), 7U);
    EXPECT_EQ(records[1].type, ChangeType::Delete);
    EXPECT_EQ(records[2].newRdn, "cn=Paula Jensen");
    ASSERT_TRUE(records[3].objection);
    EXPECT_EQ(records[3].objection->line, 28U);
    ASSERT_EQ(records[4].modifications.size(), 4U);
    EXPECT_EQ(records[4].modifications[2].values[1].value, "+1 408 555 5678");
    EXPECT_THAT(records[5].modifications[0].values, IsEmpty());
}

TEST(LdifExamples, DeleteWithControl)
{
    const Record record = recordOf(R"(version: 1
# Delete an entry. The operation will attach the LDAPv3
# Tree Delete Control defined in [9]. The criticality
# field is "true" and the controlValue field is
# absent, as required by [9].
dn: ou=Product Development, dc=airius, dc=com
control: 1.2.840.113556.1.4.805 true
changetype: delete
)");
    EXPECT_EQ(record.type, ChangeType::Delete);
    ASSERT_TRUE(record.objection);
    EXPECT_EQ(record.objection->line, 7U);
}

} // namespace
