#include "LdifRecords.h"

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
