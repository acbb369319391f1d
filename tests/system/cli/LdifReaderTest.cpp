#include "LdifReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <sstream>

namespace
{

using namespace KVR::Cli::Ldif;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<Record> recordsOf(const std::string& text)
{
    std::istringstream input(text);
    Reader reader(input);
    std::vector<Record> records;
    for (Record record; reader.Next(record);)
    {
        records.push_back(record);
    }
    return records;
}

Record recordOf(const std::string& text)
{
    const std::vector<Record> records = recordsOf(text);
    if (records.size() != 1)
    {
        throw std::runtime_error("there are " + std::to_string(records.size()) + " records");
    }
    return records.front();
}

/** "LINE: WHAT" of a malformed file. */
std::string errorOf(const std::string& text)
{
    try
    {
        recordsOf(text);
    }
    catch (const FormatError& error)
    {
        return std::to_string(error.line) + ": " + error.what();
    }
    return "none";
}

std::string objectionTo(const std::string& text)
{
    const Record record = recordOf(text);
    return record.objection ? std::to_string(record.objection->line) + ": " + record.objection->reason
                            : "none";
}

std::vector<std::string> attributesOf(const Record& record)
{
    std::vector<std::string> lines;
    for (const NamedValue& each : record.attributes)
    {
        lines.push_back(each.name + '=' + each.value);
    }
    return lines;
}

TEST(LdifReader, ReadsAnEntry)
{
    const Record record = recordOf("dn: cn=a,dc=x\ncn: a\nsn: b c \nsn:d\nsn:   e\ndescription:\n");
    EXPECT_EQ(record.line, 1U);
    EXPECT_EQ(record.dn, "cn=a,dc=x");
    EXPECT_EQ(record.type, ChangeType::Add);
    EXPECT_THAT(attributesOf(record), ElementsAre("cn=a", "sn=b c ", "sn=d", "sn=e", "description="));
    EXPECT_FALSE(record.objection);
}

TEST(LdifReader, ReadsNothingFromAnEmptyFile)
{
    for (const char* text :
         {"", "\n\n", "# only a comment\n", "version: 1\n", "version: 1\n\n\n", "version: 1"})
    {
        EXPECT_THAT(recordsOf(text), IsEmpty()) << text;
    }
}

TEST(LdifReader, CountsLinesThroughCommentsFoldsAndEmptyLines)
{
    const std::vector<Record> records = recordsOf("version: 1\n# one\n  and its end\n\n\ndn: cn=a\ncn: a\n"
                                                  " b\n# between\nsn: c\n\n# before\ndn: cn=b\ncn: b\n");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].line, 6U);
    EXPECT_THAT(attributesOf(records[0]), ElementsAre("cn=ab", "sn=c"));
    EXPECT_EQ(records[0].attributes[0].line, 7U);
    EXPECT_EQ(records[0].attributes[1].line, 10U);
    EXPECT_EQ(records[1].line, 13U);
}

TEST(LdifReader, TakesARecordRightBehindTheVersion)
{
    EXPECT_EQ(recordOf("version: 1\ndn: cn=a\ncn: a\n").dn, "cn=a");
    EXPECT_EQ(recordOf("version: 1\n\ndn: cn=a\ncn: a\n").dn, "cn=a");
}

TEST(LdifReader, TakesBothLineEndsAndALastLineWithout)
{
    const std::vector<Record> records = recordsOf("dn: cn=a\r\ncn: a\r\n b\r\n\r\ndn: cn=b\ncn: b");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_THAT(attributesOf(records[0]), ElementsAre("cn=ab"));
    EXPECT_THAT(attributesOf(records[1]), ElementsAre("cn=b"));
}

TEST(LdifReader, TakesAByteOrderMark)
{
    EXPECT_EQ(recordOf("\xef\xbb\xbf"
                       "version: 1\ndn: cn=a\ncn: a\n")
                  .dn,
              "cn=a");
}

TEST(LdifReader, FoldRemovesJustOneBlank)
{
    EXPECT_THAT(attributesOf(recordOf("dn: cn=a\ncn: a\n  b\n \n c\n")), ElementsAre("cn=a bc"));
    EXPECT_EQ(recordOf("d\n n: c\n n=a\ncn: a\n").dn, "cn=a");
}

TEST(LdifReader, DecodesBase64)
{
    EXPECT_THAT(attributesOf(recordOf("dn:: Y249YQ==\ncn:: AP8=\nsn::\ngn:: YWI\n =\n")),
                ElementsAre("cn=\0\xff"s, "sn=", "gn=ab"));
}

TEST(LdifReader, TakesUtf8)
{
    EXPECT_EQ(recordOf("dn: cn=\xc3\xbc\ncn: \xc3\n \xbc\n").attributes[0].value, "\xc3\xbc");
}

TEST(LdifReader, ItsOwnWordsMayBeInAnyCase)
{
    EXPECT_EQ(recordOf("VERSION: 1\nDN: cn=a\nChangeType: DELETE\n").type, ChangeType::Delete);
}

TEST(LdifReader, ReadsAttributeOptions)
{
    EXPECT_THAT(attributesOf(recordOf("dn: cn=a\ncn;lang-de: a\n2.5.4.3;x-1;y: b\n")),
                ElementsAre("cn;lang-de=a", "2.5.4.3;x-1;y=b"));
}

TEST(LdifReader, ReadsModifications)
{
    const Record record =
        recordOf("dn: cn=a\nchangetype: modify\nadd: mail\nmail: a\nMAIL: b\n-\ndelete: sn\n-\n"
                 "replace: cn;lang-de\ncn;LANG-DE:: YQ==\n-\ndelete: gn\ngn: x\n-\n");
    EXPECT_EQ(record.type, ChangeType::Modify);
    ASSERT_EQ(record.modifications.size(), 4U);
    EXPECT_EQ(record.modifications[0].kind, Modification::Kind::Add);
    EXPECT_EQ(record.modifications[0].line, 3U);
    ASSERT_EQ(record.modifications[0].values.size(), 2U);
    EXPECT_EQ(record.modifications[0].values[1].value, "b");
    EXPECT_EQ(record.modifications[0].values[1].line, 5U);
    EXPECT_EQ(record.modifications[1].kind, Modification::Kind::Delete);
    EXPECT_THAT(record.modifications[1].values, IsEmpty());
    EXPECT_EQ(record.modifications[2].kind, Modification::Kind::Replace);
    EXPECT_EQ(record.modifications[2].values.front().value, "a");
    EXPECT_EQ(record.modifications[3].name, "gn");
}

TEST(LdifReader, TakesTheLastChangeWithoutItsEnd)
{
    const std::vector<Record> records =
        recordsOf("dn: cn=a\nchangetype: modify\nadd: mail\nmail: a\n\ndn: cn=b\nchangetype: delete\n");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].modifications.size(), 1U);
}

TEST(LdifReader, ReadsAModifyRecordWithoutChanges)
{
    EXPECT_THAT(recordOf("dn: cn=a\nchangetype: modify\n").modifications, IsEmpty());
}

TEST(LdifReader, ReadsRenames)
{
    for (const char* type : {"modrdn", "moddn"})
    {
        const Record record =
            recordOf("dn: cn=a,dc=x\nchangetype: "s + type + "\nnewrdn: cn=b+sn=c\ndeleteoldrdn: 1\n");
        EXPECT_EQ(record.type, ChangeType::Rename);
        EXPECT_EQ(record.newRdn, "cn=b+sn=c");
        EXPECT_FALSE(record.objection);
    }
    EXPECT_EQ(recordOf("dn: cn=a\nchangetype: modrdn\nnewrdn:: Y249w7w=\ndeleteoldrdn: 1\n").newRdn,
              "cn=\xc3\xbc");
}

TEST(LdifReader, ReadsDeletes)
{
    const Record record = recordOf("dn: cn=a\nchangetype: delete\n");
    EXPECT_EQ(record.type, ChangeType::Delete);
    EXPECT_EQ(record.dn, "cn=a");
}

TEST(LdifReader, ObjectsToWhatThePlugInLacks)
{
    EXPECT_EQ(objectionTo("dn: cn=a\ncontrol: 1.2.3 true\ncontrol: 1.2.4\nchangetype: delete\n"),
              "2: the plug-in can't send controls");
    EXPECT_EQ(objectionTo("dn: cn=a\ncn: a\njpegPhoto:< file:///etc/shadow\n"),
              "3: values are not read from other files");
    EXPECT_EQ(objectionTo("dn: cn=a\nchangetype: modify\nincrement: uidNumber\nuidNumber: 1\n-\n"),
              "3: the plug-in can't increment values");
    EXPECT_EQ(objectionTo("dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 0\n"),
              "4: the plug-in's rename always removes the value of the old RDN");
    EXPECT_EQ(objectionTo("dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 1\nnewsuperior: dc=x\n"),
              "5: the plug-in's rename can't move an entry");
}

TEST(LdifReader, ItsFirstObjectionStays)
{
    EXPECT_EQ(objectionTo("dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 0\nnewsuperior: dc=x\n"),
              "4: the plug-in's rename always removes the value of the old RDN");
}

struct Malformed
{
    const char* name;
    std::string text;
    std::string error;

    friend std::ostream& operator<<(std::ostream& stream, const Malformed& each)
    {
        return stream << each.name;
    }
};

class LdifMalformed : public testing::TestWithParam<Malformed>
{
};

TEST_P(LdifMalformed, NamesItsLine)
{
    EXPECT_EQ(errorOf(GetParam().text), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Files, LdifMalformed,
    testing::Values(
        Malformed{"Version", "version: 2\ndn: cn=a\ncn: a\n", "1: LDIF has version 1, not '2'"},
        Malformed{"LateVersion", "dn: cn=a\ncn: a\n\nversion: 1\n\ndn: cn=b\ncn: b\n",
                  "4: a record begins with its dn, not with 'version'"},
        Malformed{"NoDn", "# x\n\ncn: a\n", "3: a record begins with its dn, not with 'cn'"},
        Malformed{"NoColon", "dn: cn=a\ncn: a\n\n\ndn: cn=b\ncn b\n", "6: 'cn b' is no 'name: value'"},
        Malformed{"FoldAtTheStart", " dn: cn=a\n",
                  "1: the line begins with a blank, but there is none to go on with"},
        Malformed{"FoldBehindAnEmptyLine", "dn: cn=a\ncn: a\n\n b\n",
                  "4: the line begins with a blank, but there is none to go on with"},
        Malformed{"NoAttributes", "\ndn: cn=a\n", "2: the record adds an entry without attributes"},
        Malformed{"NoAttributesInAnAdd", "dn: cn=a\nchangetype: add\n\ndn: cn=b\ncn: b\n",
                  "1: the record adds an entry without attributes"},
        Malformed{"SecondDn", "dn: cn=a\ncn: a\ndn: cn=b\ncn: b\n",
                  "3: a second dn: there is no empty line before it"},
        Malformed{"SecondDnAtOnce", "dn: cn=a\ndn: cn=a\ncn: a\n",
                  "2: a second dn: there is no empty line before it"},
        Malformed{"SecondDnBehindADelete", "dn: cn=a\nchangetype: delete\ndn: cn=b\ncn: b\n",
                  "3: a delete record ends with its changetype"},
        Malformed{"SecondDnInAModify", "dn: cn=a\nchangetype: modify\nadd: sn\nsn: a\n-\ndn: cn=b\n",
                  "6: a second dn: there is no empty line before it"},
        Malformed{"NoBase64", "dn: cn=a\ncn:: a b\n", "2: the value is no base64"},
        Malformed{"ShortBase64", "dn: cn=a\ncn:: YWI\n", "2: the value is no base64"},
        Malformed{"LongPadding", "dn: cn=a\ncn:: YQ=\n =\n =\n", "2: the value is no base64"},
        Malformed{"PaddingInside", "dn: cn=a\ncn:: YQ==YQ==\n", "2: the value is no base64"},
        Malformed{"StrayBits", "dn: cn=a\ncn:: YR==\n", "2: the value is no base64"},
        Malformed{"BlankBehindBase64", "dn: cn=a\ncn:: YQ== \n", "2: the value is no base64"},
        Malformed{"ColonFirst", "dn: cn=a\ncn: :a\n", "2: a value that begins with ':' must be in base64"},
        Malformed{"LessFirst", "dn: cn=a\ncn: <a\n", "2: a value that begins with '<' must be in base64"},
        Malformed{"NoUtf8", "dn: cn=a\ncn: a\nsn: \xfc\n",
                  "3: the text is no UTF-8; such a value must be in base64"},
        Malformed{"ZeroByte", "dn: cn=a\ncn: a\0b\n"s,
                  "2: there is a zero byte; such a value must be in base64"},
        Malformed{"CarriageReturnInside", "dn: cn=a\ncn: a\rb\n",
                  "2: there is a carriage return inside the line"},
        Malformed{"DnThatIsNone", "dn: somebody\ncn: a\n", "1: 'somebody' is no DN"},
        Malformed{"DnWithoutComponent", "dn: cn=a,,dc=x\ncn: a\n", "1: 'cn=a,,dc=x' is no DN"},
        Malformed{"DnThatIsNoUtf8", "dn:: Y249/w==\ncn: a\n", "1: the value of 'dn' is no UTF-8 text"},
        Malformed{"DnWithAZeroByte", "dn:: Y249AGE=\ncn: a\n", "1: the value of 'dn' is no UTF-8 text"},
        Malformed{"DnInAFile", "dn:< file:///x\ncn: a\n",
                  "1: the value of 'dn' can't stand in a file of its own"},
        Malformed{"AttributeName", "dn: cn=a\nc n: a\n", "2: 'c n' is no attribute name"},
        Malformed{"EmptyAttributeName", "dn: cn=a\n: a\n", "2: '' is no attribute name"},
        Malformed{"ModeCharacter", "dn: cn=a\n+cn: a\n", "2: '+cn' is no attribute name"},
        Malformed{"EmptyOption", "dn: cn=a\ncn;: a\n", "2: 'cn;' is no attribute name"},
        Malformed{"NumberWithLeadingZero", "dn: cn=a\n2.05: a\n", "2: '2.05' is no attribute name"},
        Malformed{"Underscore", "dn: cn=a\na_b: a\n", "2: 'a_b' is no attribute name"},
        Malformed{"ChangeType", "dn: cn=a\nchangetype: modfy\n", "2: 'modfy' is no changetype"},
        Malformed{"LateChangeType", "dn: cn=a\ncn: a\nchangetype: add\n",
                  "3: changetype stands right behind the dn"},
        Malformed{"ControlWithoutChangeType", "dn: cn=a\ncontrol: 1.2.3\ncn: a\n",
                  "2: behind a control stands changetype"},
        Malformed{"LinesBehindADelete", "dn: cn=a\nchangetype: delete\ncn: a\n",
                  "3: a delete record ends with its changetype"},
        Malformed{"UnknownChange", "dn: cn=a\nchangetype: modify\nad: cn\ncn: a\n-\n",
                  "3: here stands add, delete or replace, not 'ad'"},
        Malformed{"ChangeOfNoAttribute", "dn: cn=a\nchangetype: modify\nadd: c=n\n-\n",
                  "3: 'c=n' is no attribute name"},
        Malformed{"ValueOfAnotherAttribute", "dn: cn=a\nchangetype: modify\nadd: cn\nsn: a\n-\n",
                  "4: here stands a value of 'cn' or '-', not 'sn'"},
        Malformed{"NoEndOfAChange", "dn: cn=a\nchangetype: modify\nadd: cn\ncn: a\nadd: sn\nsn: b\n-\n",
                  "5: here stands a value of 'cn' or '-', not 'add'"},
        Malformed{"EndOfNoChange", "dn: cn=a\nchangetype: modify\nadd: cn\ncn: a\n-\n-\n",
                  "6: '-' is no 'name: value'"},
        Malformed{"EndInAnEntry", "dn: cn=a\ncn: a\n-\n", "3: '-' is no 'name: value'"},
        Malformed{"NoNewRdn", "dn: cn=a\nchangetype: modrdn\n", "1: the record lacks newrdn"},
        Malformed{"NoDeleteOldRdn", "dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\n",
                  "1: the record lacks deleteoldrdn"},
        Malformed{"RenameInAnotherOrder", "dn: cn=a\nchangetype: modrdn\ndeleteoldrdn: 1\nnewrdn: cn=b\n",
                  "3: here stands newrdn, not 'deleteoldrdn'"},
        Malformed{"NewRdnThatIsADn", "dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b,dc=x\ndeleteoldrdn: 1\n",
                  "3: 'cn=b,dc=x' is no RDN"},
        Malformed{"EmptyNewRdn", "dn: cn=a\nchangetype: modrdn\nnewrdn:\ndeleteoldrdn: 1\n",
                  "3: '' is no RDN"},
        Malformed{"DeleteOldRdn", "dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: yes\n",
                  "4: deleteoldrdn is 0 or 1, not 'yes'"},
        Malformed{"LinesBehindARename",
                  "dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 1\ncn: b\n",
                  "5: this is more than a rename has"},
        Malformed{"NewSuperiorThatIsNone",
                  "dn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 1\nnewsuperior: x\n",
                  "5: 'x' is no DN"}),
    [](const auto& test) { return test.param.name; });

TEST(LdifQuoted, IsShortAndHarmless)
{
    EXPECT_EQ(Quoted("a\x1b"
                     "b\xff"),
              "'a\\x1bb\\xff'");
    EXPECT_EQ(Quoted(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
    EXPECT_EQ(Quoted(std::string(59, 'x') + "\xc3\xbc"), "'" + std::string(59, 'x') + "\xc3\xbc'");
}

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

// Files that somebody changed at random, always the same ones.

TEST(LdifReader, EveryDamagedFileIsReadOrNamesALineOfItsOwn)
{
    const std::string whole = "version: 1\n\ndn: cn=a,dc=x\nobjectClass: person\ncn: a\n b\nsn:: YWI=\n\n"
                              "# comment\ndn:: Y249YSxkYz14\nchangetype: modify\nadd: mail\nmail: x\n-\n"
                              "replace: sn;lang-de\nsn;lang-de: y\n-\n\ndn: cn=\\2c\\,b+sn=\"c,d\",dc=x\n"
                              "changetype: modrdn\nnewrdn: cn=c\ndeleteoldrdn: 1\n\ndn: cn=c,dc=x\n"
                              "control: 1.2.3 true\nchangetype: delete\n";
    const std::string signs = "\n\r :;-<=#\\\",+\"\t\xff\xc3" + "\0"s + "aA0=";
    std::mt19937 random(20240131); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same files in every run
    std::size_t malformed = 0;
    for (int round = 0; round < 20000; ++round)
    {
        std::string text = whole;
        for (unsigned int left = 1 + random() % 4; left > 0; --left)
        {
            const std::size_t at = random() % text.size();
            switch (random() % 3)
            {
            case 0:
                text[at] = signs[random() % signs.size()];
                break;
            case 1:
                text.insert(at, 1, signs[random() % signs.size()]);
                break;
            default:
                text.erase(at, 1 + random() % 12);
            }
        }
        const std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        try
        {
            recordsOf(text);
        }
        catch (const FormatError& error)
        {
            ++malformed;
            ASSERT_GE(error.line, 1U);
            ASSERT_LE(error.line, lines);
        }
    }
    EXPECT_GT(malformed, 5000U);
    EXPECT_LT(malformed, 20000U);
}

} // namespace
