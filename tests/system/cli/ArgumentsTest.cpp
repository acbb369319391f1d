#include "Arguments.h"

#include "Failure.h"

#include <gmock/gmock.h>

namespace
{

using namespace KVR::Cli;
using testing::ElementsAre;
using testing::IsEmpty;

const Charset utf8("UTF-8");

/** The arguments as the parser gets them and as the command does. */
std::vector<std::string> protectedAndBack(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "program");
    std::vector<std::string> words = ProtectArguments(static_cast<int>(arguments.size()), arguments.data());
    for (std::string& word : words)
    {
        word = (IsProtected(word) ? "protected " : "") + Unprotected(word);
    }
    return words;
}

/** What is wrong with an argument, or "". */
template <typename Check>
std::string objection(const Check& check)
{
    try
    {
        check();
        return "";
    }
    catch (const Failure& failure)
    {
        EXPECT_EQ(failure.exitCode, ExitCode::Usage);
        EXPECT_EQ(failure.subject, "verb");
        return failure.what();
    }
}

std::string objectionToName(const std::string& name)
{
    return objection([&name] { AttributeArgument(utf8, "verb", name); });
}

TEST(ProtectArguments, KeepsOrdinaryOnes)
{
    EXPECT_THAT(protectedAndBack({"search", "dc=a", "", "-v", "--uri=x", "a[b]", "+"}),
                ElementsAre("search", "dc=a", "", "-v", "--uri=x", "a[b]", "+"));
    EXPECT_THAT(protectedAndBack({}), IsEmpty());
}

TEST(ProtectArguments, ProtectsWhatTheParserReadsAsASign)
{
    EXPECT_THAT(protectedAndBack({"[a,b]", "[", "++", "\x01x"}),
                ElementsAre("protected [a,b]", "protected [", "protected ++", "protected \x01x"));
}

TEST(ProtectArguments, ProtectsAllBehindTheMarkAndTakesItAway)
{
    EXPECT_THAT(protectedAndBack({"a", "--", "-x", "--", ""}),
                ElementsAre("a", "protected -x", "protected --", "protected "));
}

TEST(DnArgument, IsNotEmpty)
{
    EXPECT_EQ(DnArgument(utf8, "verb", "dc=a"), "dc=a");
    EXPECT_EQ(objection([] { DnArgument(utf8, "verb", ""); }), "the DN is empty");
    EXPECT_EQ(objection([] { DnArgument(utf8, "verb", "  "); }), "the DN is empty");
}

TEST(AttributeArgument, TakesNamesNumbersAndOptions)
{
    for (const char* name : {"cn", "userCertificate;binary", "description;lang-de", "2.5.4.3", "olc_X"})
    {
        EXPECT_EQ(AttributeArgument(utf8, "verb", name), name);
    }
}

TEST(AttributeArgument, RefusesTheModesOfAChangeAndEverythingElse)
{
    EXPECT_EQ(objectionToName(""), "the name of an attribute is empty");
    for (const std::string name : {"+mail", "-mail", "=mail", "!mail", ";mail", ".1", "_a", "*", "a b", " a",
                                   "a=", "a)(b", "\xc3\xbc", "a\n"})
    {
        EXPECT_EQ(objectionToName(name), "'" + name + "' is no name of an attribute");
    }
}

TEST(AssignmentArgument, EndsTheNameAtTheFirstSign)
{
    const auto value = [](const std::string& text) { return AssignmentArgument(utf8, "verb", text); };
    EXPECT_EQ(value("cn=a=b"), std::pair(std::string("cn"), std::string("a=b")));
    EXPECT_EQ(value("cn=").second, "");
    EXPECT_EQ(value("cn= two\nlines ").second, " two\nlines ");
    EXPECT_EQ(objection([&value] { value("cn"); }), "'cn' is not NAME=VALUE");
    EXPECT_EQ(objection([&value] { value("=a"); }), "the name of an attribute is empty");
    EXPECT_EQ(objection([&value] { value("+cn=a"); }), "'+cn' is no name of an attribute");
}

TEST(AssignmentArgument, IsConvertedOnce)
{
    const auto [name, value] = AssignmentArgument(Charset("ISO-8859-1"), "verb", "cn=\xfc");
    EXPECT_EQ(name, "cn");
    EXPECT_EQ(value, "\xc3\xbc");
}

TEST(IsSameAttribute, TakesNoNoticeOfCaseAndOrderOfOptions)
{
    EXPECT_TRUE(IsSameAttribute("objectClass", "OBJECTCLASS"));
    EXPECT_TRUE(IsSameAttribute("cn;lang-de;x-a", "CN;x-a;LANG-de"));
    EXPECT_FALSE(IsSameAttribute("cn", "cn;lang-de"));
}

} // namespace
