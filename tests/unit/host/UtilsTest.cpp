#include "Caught.h"
#include "TemporaryFolder.h"

#include <kvr/EKVRError.h>
#include <kvr/KVRUtils.h>

#include <gtest/gtest.h>

namespace KVR::Test
{

namespace
{

using Texts = std::list<std::string>;

Texts split(const std::string& text, char separator)
{
    Texts pieces;
    StrTolist(text, pieces, separator);
    return pieces;
}

} // namespace

TEST(Trim, WhiteSpaceAtBothEndsGoes)
{
    EXPECT_EQ(Trim("  text  "), "text");
    EXPECT_EQ(Trim("\t\n\v\f\r text \r\f\v\n\t"), "text");
    EXPECT_EQ(Trim(" text"), "text");
    EXPECT_EQ(Trim("text "), "text");
}

TEST(Trim, WhiteSpaceInsideStays)
{
    EXPECT_EQ(Trim(" a  b\tc "), "a  b\tc");
}

TEST(Trim, NothingButWhiteSpaceGivesNothing)
{
    EXPECT_EQ(Trim(" \t\n "), "");
    EXPECT_EQ(Trim(""), "");
}

TEST(Trim, OtherBytesAreNoWhiteSpace)
{
    EXPECT_EQ(Trim("\xC2\xA0x\xC2\xA0"), "\xC2\xA0x\xC2\xA0");
    EXPECT_EQ(Trim(std::string("\0a\0", 3)), std::string("\0a\0", 3));
}

TEST(StrTolist, TheTextIsSplitAtEverySeparator)
{
    EXPECT_EQ(split("one two three", ' '), (Texts{"one", "two", "three"}));
    EXPECT_EQ(split("a,b", ','), (Texts{"a", "b"}));
}

TEST(StrTolist, ATextWithoutSeparatorIsOnePiece)
{
    EXPECT_EQ(split("one", ' '), (Texts{"one"}));
    EXPECT_EQ(split("", ' '), (Texts{""}));
}

TEST(StrTolist, EmptyPiecesAreKept)
{
    EXPECT_EQ(split(" a  b ", ' '), (Texts{"", "a", "", "b", ""}));
    EXPECT_EQ(split(" ", ' '), (Texts{"", ""}));
}

TEST(StrTolist, PiecesAreAppendedToWhatTheListHolds)
{
    Texts pieces = {"before"};
    StrTolist("a b", pieces, ' ');
    EXPECT_EQ(pieces, (Texts{"before", "a", "b"}));
}

TEST(StrTolist, ANullByteMaySeparate)
{
    EXPECT_EQ(split(std::string("a\0b", 3), '\0'), (Texts{"a", "b"}));
}

TEST(DomainToDn, EveryLabelBecomesOneComponent)
{
    EXPECT_EQ(DomainToDn("example.com"), "dc=example,dc=com");
    EXPECT_EQ(DomainToDn("a.b.example.com"), "dc=a,dc=b,dc=example,dc=com");
    EXPECT_EQ(DomainToDn("localdomain"), "dc=localdomain");
}

TEST(DomainToDn, EmptyLabelsAreLeftOut)
{
    EXPECT_EQ(DomainToDn("example.com."), "dc=example,dc=com");
    EXPECT_EQ(DomainToDn(".example..com"), "dc=example,dc=com");
    EXPECT_EQ(DomainToDn("."), "");
    EXPECT_EQ(DomainToDn(""), "");
}

TEST(DomainToDn, ReservedCharactersAreEscaped)
{
    EXPECT_EQ(DomainToDn("a,b.c+d"), "dc=a\\,b,dc=c\\+d");
    EXPECT_EQ(DomainToDn("\"<>;\\"), "dc=\\\"\\<\\>\\;\\\\");
    EXPECT_EQ(DomainToDn("#a#.b"), "dc=\\#a#,dc=b");
    EXPECT_EQ(DomainToDn(" a b . "), "dc=\\ a b\\ ,dc=\\ ");
    EXPECT_EQ(DomainToDn(std::string("a\0b", 3)), "dc=a\\00b");
    EXPECT_EQ(DomainToDn("a=b"), "dc=a=b");
}

TEST(IsMemberOfList, OnlyAnEqualElementCounts)
{
    const Texts members = {"one", "two", ""};
    EXPECT_TRUE(IsMemberOfList(members, "two"));
    EXPECT_TRUE(IsMemberOfList(members, ""));
    EXPECT_FALSE(IsMemberOfList(members, "Two"));
    EXPECT_FALSE(IsMemberOfList(members, "tw"));
    EXPECT_FALSE(IsMemberOfList({}, ""));
}

TEST(ExtractFileName, TheLastComponentIsPointedAt)
{
    const char* const path = "/src/module/file.cpp";
    EXPECT_STREQ(ExtractFileName(path), "file.cpp");
    EXPECT_EQ(ExtractFileName(path), path + 12);
}

TEST(ExtractFileName, APathWithoutSlashIsItsOwnName)
{
    EXPECT_STREQ(ExtractFileName("file.cpp"), "file.cpp");
    EXPECT_STREQ(ExtractFileName(""), "");
}

TEST(ExtractFileName, APathThatEndsInASlashHasNoName)
{
    EXPECT_STREQ(ExtractFileName("/src/"), "");
    EXPECT_STREQ(ExtractFileName("/"), "");
}

TEST(ExtractFileName, ANullPathHasNoName)
{
    EXPECT_STREQ(ExtractFileName(nullptr), "");
}

class Paths : public testing::Test
{
protected:
    TemporaryFolder folder_;
};

TEST_F(Paths, AFileIsAFileAndAPath)
{
    const std::string path = folder_.File("file");
    EXPECT_TRUE(IsFileExist(path));
    EXPECT_TRUE(IsPathExist(path));
}

TEST_F(Paths, AFolderIsAPathOnly)
{
    const std::string path = folder_.Folder("folder");
    EXPECT_FALSE(IsFileExist(path));
    EXPECT_TRUE(IsPathExist(path));
}

TEST_F(Paths, AMissingPathIsNeither)
{
    EXPECT_FALSE(IsFileExist(folder_.Path("missing")));
    EXPECT_FALSE(IsPathExist(folder_.Path("missing")));
    EXPECT_FALSE(IsFileExist(""));
    EXPECT_FALSE(IsPathExist(""));
    EXPECT_FALSE(IsPathExist(folder_.File("file") + "/below"));
}

TEST_F(Paths, LinksAreFollowed)
{
    namespace fs = std::filesystem;
    fs::create_symlink(folder_.File("file"), folder_.Path("to-file"));
    fs::create_symlink(folder_.Folder("folder"), folder_.Path("to-folder"));
    fs::create_symlink(folder_.Path("missing"), folder_.Path("to-nothing"));
    EXPECT_TRUE(IsFileExist(folder_.Path("to-file")));
    EXPECT_FALSE(IsFileExist(folder_.Path("to-folder")));
    EXPECT_TRUE(IsPathExist(folder_.Path("to-folder")));
    EXPECT_FALSE(IsFileExist(folder_.Path("to-nothing")));
    EXPECT_FALSE(IsPathExist(folder_.Path("to-nothing")));
}

TEST_F(Paths, ADeviceIsAFile)
{
    EXPECT_TRUE(IsFileExist("/dev/null"));
}

TEST(DefaultCodeset, ItIsUtf8UntilSetOtherwise)
{
    EXPECT_EQ(DefaultCodeset(), "UTF-8");
    SetDefaultCodeset("KOI8-R");
    EXPECT_EQ(DefaultCodeset(), "KOI8-R");
    SetDefaultCodeset("UTF-8");
    EXPECT_EQ(DefaultCodeset(), "UTF-8");
}

TEST(DefaultCodeset, ANameWithAZeroByteIsRefusedAndTheOldOneStays)
{
    const Support::Caught error = Support::caught([] { SetDefaultCodeset(std::string("KOI8-R\0x", 8)); });
    EXPECT_TRUE(error.type == typeid(EKVRCheckError));
    EXPECT_EQ(error.message, "Argument of 'SetDefaultCodeset' contains a zero byte.");
    EXPECT_EQ(DefaultCodeset(), "UTF-8");
}

TEST_F(Paths, WithAZeroByteNameNothing)
{
    const std::string shortened("/tmp\0x", 6);
    EXPECT_FALSE(IsPathExist(shortened));
    EXPECT_FALSE(IsFileExist(std::string("/etc/passwd\0x", 13)));
    EXPECT_FALSE(Chmod(shortened, 01777, false));
    EXPECT_FALSE(Chown(shortened, "", "", false));
}

} // namespace KVR::Test
