#include "WriteTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using namespace KVR::CliTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string person = "uid=user000001,ou=people,dc=example,dc=com";
const std::string bytes("\xff\xd8\0\x1b\n\xe0", 6);

class CliAttribute : public CliWrite
{
protected:
    CliAttribute()
    {
        char name[] = "/tmp/kvr-ldap-test-XXXXXX";
        folder = mkdtemp(name);
    }
    ~CliAttribute() override { std::filesystem::remove_all(folder); }

    std::string file(const std::string& name) const { return folder / name; }

    std::string fileWith(const std::string& name, const std::string& content) const
    {
        std::ofstream(folder / name) << content;
        return file(name);
    }

    static std::string contentOf(const std::string& name)
    {
        std::ostringstream content;
        content << std::ifstream(name).rdbuf();
        return content.str();
    }

    std::size_t files() const
    {
        const std::filesystem::directory_iterator all(folder);
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    std::filesystem::path folder;
};

TEST_F(CliAttribute, SetAddAndRemoveAndClear)
{
    expectLine({"attr", "set", person, "description", "[a,b]"}, "modified description of " + person);
    EXPECT_THAT(values(person, "description"), ElementsAre("[a,b]"));
    expectLine({"attr", "set", person, "description", "one", "two=2"}, "modified description of " + person);
    EXPECT_THAT(values(person, "description"), UnorderedElementsAre("one", "two=2"));
    expectLine({"attr", "add", person, "description", "three\nlines", "--", "-4", "--", "[5,6]"},
               "added 4 values of description of " + person);
    EXPECT_THAT(values(person, "description"),
                UnorderedElementsAre("one", "two=2", "three\nlines", "-4", "--", "[5,6]"));
    expectLine({"attr", "remove", person, "description", "one"},
               "removed 1 value of description of " + person);
    expectLine({"attr", "remove", person, "description", "--", "-4", "--"},
               "removed 2 values of description of " + person);
    EXPECT_THAT(values(person, "description"), UnorderedElementsAre("two=2", "three\nlines", "[5,6]"));
    expectLine({"attr", "clear", person, "description"}, "cleared description of " + person);
    EXPECT_THAT(values(person, "description"), IsEmpty());
}

TEST_F(CliAttribute, ChangesInJson)
{
    const auto expected = [](const std::string& command, const std::string& result)
    {
        return nlohmann::json({{"schemaVersion", 1},
                               {"command", command},
                               {"dn", person},
                               {"attribute", "title"},
                               {"result", result}});
    };
    EXPECT_EQ(document({"attr", "set", person, "title", "a"}), expected("attr set", "modified"));
    EXPECT_EQ(document({"attr", "add", person, "title", "b"}), expected("attr add", "added"));
    EXPECT_EQ(document({"attr", "remove", person, "title", "b"}), expected("attr remove", "removed"));
    EXPECT_THAT(values(person, "title"), ElementsAre("a"));
    EXPECT_EQ(document({"attr", "clear", person, "title"}), expected("attr clear", "cleared"));
    EXPECT_THAT(values(person, "title"), IsEmpty());
}

TEST_F(CliAttribute, WhatIsNotThereCantBeClearedOrRemoved)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"attr", "clear", person, "pager"},
          std::vector<std::string>{"attr", "remove", person, "pager", "1"}})
    {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, HasSubstr(" - No such attribute"));
    }
}

TEST_F(CliAttribute, AMissingEntryEndsWith3)
{
    const std::string nobody = "cn=nobody,dc=example,dc=com";
    EXPECT_EQ(run({"attr", "set", nobody, "sn", "a"}).status, 3);
    EXPECT_EQ(run({"attr", "clear", nobody, "sn"}).status, 3);
    EXPECT_EQ(run({"attr", "get-binary", nobody, "sn"}).status, 3);
    EXPECT_EQ(run({"attr", "set-binary", nobody, "sn", fileWith("a", "a")}).status, 3);
}

TEST_F(CliAttribute, BinaryValuesComeBackByteForByte)
{
    expectLine({"attr", "set-binary", person, "jpegPhoto", fileWith("in", bytes)},
               "modified jpegPhoto of " + person);
    EXPECT_EQ(run({"attr", "get-binary", person, "jpegPhoto"}).out, bytes);
    expectLine({"attr", "get-binary", person, "jpegPhoto", "--out", file("out")},
               "saved 6 bytes to " + file("out"));
    EXPECT_EQ(contentOf(file("out")), bytes);
    EXPECT_EQ(document({"attr", "get-binary", person, "jpegPhoto"}),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "attr get-binary"},
                              {"dn", person},
                              {"attribute", "jpegPhoto"},
                              {"size", 6},
                              {"base64", "/9gAGwrg"}}));
    EXPECT_EQ(document({"attr", "get-binary", person, "jpegPhoto", "--out", file("out")}),
              nlohmann::json({{"schemaVersion", 1},
                              {"command", "attr get-binary"},
                              {"dn", person},
                              {"attribute", "jpegPhoto"},
                              {"file", file("out")},
                              {"size", 6},
                              {"result", "saved"}}));
    const Outcome other = shell("ldapsearch -x -LLL -H " + server->uri() + " -b '" + person + "' jpegPhoto");
    EXPECT_THAT(other.out, HasSubstr("jpegPhoto:: /9gAGwrg\n"));
}

TEST_F(CliAttribute, SetBinaryReadsStandardInputAndReplaces)
{
    Setting setting;
    setting.input = "\xff\xd8other";
    EXPECT_EQ(
        run({"attr", "set-binary", person, "jpegPhoto", "-", "--output", "json"}, setting).json().at("size"),
        7);
    EXPECT_EQ(run({"attr", "get-binary", person, "jpegPhoto"}).out, setting.input);
}

TEST_F(CliAttribute, ALargeValueArrivesWhole)
{
    std::string large = "\xff\xd8";
    for (int number = 0; large.size() < 1000000; ++number)
    {
        large += std::to_string(number) + '\0';
    }
    EXPECT_EQ(run({"attr", "set-binary", person, "jpegPhoto", fileWith("large", large)}).status, 0);
    EXPECT_EQ(run({"attr", "get-binary", person, "jpegPhoto", "--out", file("back")}).status, 0);
    EXPECT_TRUE(contentOf(file("back")) == large);
}

TEST_F(CliAttribute, AnOldFileIsReplacedWithItsPermissionsAndNothingIsLeftOver)
{
    const std::string old = fileWith("old", "something longer than the value");
    ASSERT_EQ(chmod(old.c_str(), 0640), 0);
    std::filesystem::create_symlink(old, file("link"));
    EXPECT_EQ(run({"attr", "get-binary", person, "uid", "--out", file("link")}).status, 0);
    EXPECT_EQ(contentOf(old), "user000001");
    EXPECT_TRUE(std::filesystem::is_symlink(file("link")));
    EXPECT_EQ(std::filesystem::status(old).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(files(), 2);
}

TEST_F(CliAttribute, ANewFileHasTheUsualPermissions)
{
    const Outcome outcome = shell("umask 027; \"$KVR_LDAP\" --uri " + server->uri() + " attr get-binary " +
                                  person + " uid --out " + file("new"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::filesystem::status(file("new")).permissions(), std::filesystem::perms(0640));
}

TEST_F(CliAttribute, ADeviceIsWrittenToAndStays)
{
    EXPECT_EQ(run({"attr", "get-binary", person, "uid", "--out", "/dev/null"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    const Outcome full = run({"attr", "get-binary", person, "uid", "--out", "/dev/full"});
    EXPECT_EQ(full.status, 6);
    EXPECT_EQ(full.err, "kvr-ldap: file '/dev/full': No space left on device\n");
}

TEST_F(CliAttribute, AFileThatCantBeWrittenEndsWith6AndLeavesNothing)
{
    const Outcome nowhere = run({"attr", "get-binary", person, "uid", "--out", file("no folder/file")});
    EXPECT_EQ(nowhere.status, 6);
    EXPECT_EQ(nowhere.err, "kvr-ldap: file '" + file("no folder/file") + "': No such file or directory\n");
    EXPECT_EQ(nowhere.out, "");
    const Outcome nameless = shell("cd " + folder.string() + "; \"$KVR_LDAP\" --uri " + server->uri() +
                                   " attr get-binary " + person + " uid --out ''");
    EXPECT_EQ(nameless.status, 6);
    EXPECT_EQ(run({"attr", "get-binary", person, "uid", "--out", folder}).status, 6);
    EXPECT_EQ(files(), 0);
}

TEST_F(CliAttribute, AnAttributeThatIsNotThereEndsWith3AndWritesNoFile)
{
    const Outcome outcome = run({"attr", "get-binary", person, "pager", "--out", file("out")});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, StartsWith("kvr-ldap: attr get-binary: the entry '" + person +
                                        "' has no attribute 'pager'\n"));
    EXPECT_EQ(files(), 0);
}

} // namespace
