#include "LogCapture.h"

#include <kvr/CKVRFormatCall.h>

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

namespace KVR::Test
{

namespace
{

class FormatCall : public testing::Test
{
protected:
    CKVRFormatCall format_{"file.cpp", "Function", 12};
};

} // namespace

TEST_F(FormatCall, AFormatWithoutConversionsStaysAsItIs)
{
    EXPECT_STREQ(format_(0, "plain text"), "plain text");
    EXPECT_STREQ(format_(0, ""), "");
}

TEST_F(FormatCall, TheFormatsOfTheModuleArePrinted)
{
    EXPECT_STREQ(format_(1, "Invalid host type %d.", 3), "Invalid host type 3.");
    EXPECT_STREQ(format_(2, "slapadd -n 0 -F %s -v -l %s", "/etc/ldap/slapd.d", "/tmp/a.ldif"),
                 "slapadd -n 0 -F /etc/ldap/slapd.d -v -l /tmp/a.ldif");
    EXPECT_STREQ(format_(3, "(&(%s)(%s={*}%s))", "objectClass=*", "olcAccess", "to *"),
                 "(&(objectClass=*)(olcAccess={*}to *))");
    EXPECT_STREQ(format_(4, "OpenLDAP error%s in %s:%d(%s)", " (x)", "file.cpp", 12UL, "Connect"),
                 "OpenLDAP error (x) in file.cpp:12(Connect)");
    EXPECT_STREQ(format_(4, "Unexpected error %d in %s:%u - %s()", -5, "file.cpp", 12UL, "Fetch"),
                 "Unexpected error -5 in file.cpp:12 - Fetch()");
}

TEST_F(FormatCall, AnArgumentWithAPercentSignIsNotFormattedAgain)
{
    EXPECT_STREQ(format_(2, "%s %s", "%s%n", "%d"), "%s%n %d");
}

TEST_F(FormatCall, TwoPercentSignsGiveOne)
{
    EXPECT_STREQ(format_(1, "100%% of %s%%", "it"), "100% of it%");
}

TEST_F(FormatCall, IntegersArePrintedInEveryBase)
{
    EXPECT_STREQ(format_(6, "%d %i %u %o %x %X", -1, 2, 3U, 8, 255, 255), "-1 2 3 10 ff FF");
}

TEST_F(FormatCall, TheLimitsOfIntegersArePrinted)
{
    EXPECT_STREQ(format_(3, "%lld %llu %d", LLONG_MIN, ULLONG_MAX, INT_MIN),
                 "-9223372036854775808 18446744073709551615 -2147483648");
}

TEST_F(FormatCall, LengthModifiersDoNotChangeTheArgument)
{
    EXPECT_STREQ(format_(4, "%hhd %ld %jd %zu", 70000, 70001, 70002, 70003), "70000 70001 70002 70003");
}

TEST_F(FormatCall, RealNumbersArePrintedInEveryNotation)
{
    EXPECT_STREQ(format_(4, "%f %.2f %g %.1e", 1.5, 2.345678, 0.5, 1200.0), "1.500000 2.35 0.5 1.2e+03");
    EXPECT_STREQ(format_(2, "%a %G", 1.0, 0.25F), "0x1p+0 0.25");
}

TEST_F(FormatCall, ACharacterIsPrinted)
{
    EXPECT_STREQ(format_(2, "%c%3c", 'a', 'b'), "a  b");
}

TEST_F(FormatCall, ACharacterOfNoValueIsPrintedAsNumberAndDoesNotEndTheText)
{
    EXPECT_STREQ(format_(2, "%c|%c|", 0, 256), "0|256|");
}

TEST_F(FormatCall, WidthAndFlagsAreKept)
{
    EXPECT_STREQ(format_(5, "%5d|%-5d|%05d|%+d|% d", 42, 42, 42, 42, 42), "   42|42   |00042|+42| 42");
    EXPECT_STREQ(format_(2, "%#x|%#o", 255, 8), "0xff|010");
    EXPECT_STREQ(format_(2, "%5s|%-5s|", "ab", "cd"), "   ab|cd   |");
}

TEST_F(FormatCall, FlagsOfTheLocaleAreTaken)
{
    EXPECT_STREQ(format_(2, "%'d %Id", 1234, 5678), "1234 5678");
}

TEST_F(FormatCall, PrecisionCutsATextAndFillsANumber)
{
    EXPECT_STREQ(format_(3, "%.3s|%.0s|%.4d", "abcdef", "abc", 42), "abc||0042");
    EXPECT_STREQ(format_(1, "%.s|", "abc"), "|");
}

TEST_F(FormatCall, AStarTakesWidthAndPrecisionFromArguments)
{
    EXPECT_STREQ(format_(2, "%*d|", 5, 42), "   42|");
    EXPECT_STREQ(format_(2, "%*d|", -5, 42), "42   |");
    EXPECT_STREQ(format_(3, "%*.*s|", 6, 2, "abc"), "    ab|");
}

TEST_F(FormatCall, ANegativePrecisionFromAnArgumentIsNone)
{
    EXPECT_STREQ(format_(2, "%.*s|", -1, "abc"), "abc|");
}

TEST_F(FormatCall, AStarThatMeetsATextCountsAsNoWidth)
{
    EXPECT_STREQ(format_(2, "%*d|", "wide", 42), "42|");
}

TEST_F(FormatCall, ATranslationMayChangeTheOrderOfArguments)
{
    EXPECT_STREQ(format_(2, "%2$s before %1$s", "one", "two"), "two before one");
    EXPECT_STREQ(format_(1, "%1$s and %1$s", "again"), "again and again");
}

TEST_F(FormatCall, WidthMayComeFromANumberedArgument)
{
    EXPECT_STREQ(format_(2, "%1$*2$d|", 42, 5), "   42|");
}

TEST_F(FormatCall, ANumberedArgumentThatIsMissingStaysInTheText)
{
    EXPECT_STREQ(format_(2, "%3$s %2$s %0$s", "one", "two"), "%3$s two %0$s");
    EXPECT_STREQ(format_(1, "%99999999999999999999$s %s", "one"), "%99999999999999999999$s one");
}

TEST_F(FormatCall, AConversionWithoutArgumentStaysInTheText)
{
    EXPECT_STREQ(format_(1, "%s %s %-5d", "one"), "one %s %-5d");
    EXPECT_STREQ(format_(0, "%s"), "%s");
    EXPECT_STREQ(format_(1, "%*d", 5), "%*d");
    EXPECT_STREQ(format_(0, "%*d %.*f"), "%*d %.*f");
    EXPECT_STREQ(format_(1, "%1$*9$d|%1$.*9$d", 5), "%1$*9$d|%1$.*9$d");
}

TEST_F(FormatCall, ASmallerCountHidesArguments)
{
    EXPECT_STREQ(format_(1, "%s %s", "one", "two"), "one %s");
    EXPECT_STREQ(format_(0, "%s", "one"), "%s");
}

TEST_F(FormatCall, ALargerCountReadsNoArgumentThatIsNotThere)
{
    EXPECT_STREQ(format_(9, "%s %s", "one"), "one %s");
    EXPECT_STREQ(format_(ULONG_MAX, "%s"), "%s");
}

TEST_F(FormatCall, ArgumentsThatNoConversionAsksForAreLeftOut)
{
    EXPECT_STREQ(format_(3, "%s", "one", 2, 3.0), "one");
}

TEST_F(FormatCall, ANumberWhereATextIsExpectedIsPrintedAsNumber)
{
    EXPECT_STREQ(format_(2, "%s %s", 42, -7), "42 -7");
    EXPECT_STREQ(format_(1, "%s", 2.5), "2.5");
    EXPECT_STREQ(format_(1, "%s", ULLONG_MAX), "18446744073709551615");
    EXPECT_STREQ(format_(2, "%.1s %.5s", 42, 42), "42 42");
}

TEST_F(FormatCall, ATextWhereANumberIsExpectedIsPrintedAsText)
{
    EXPECT_STREQ(format_(4, "%d %x %f %c", "one", "two", "three", "four"), "one two three four");
    EXPECT_STREQ(format_(1, "%p", "text"), "text");
}

TEST_F(FormatCall, ARealNumberAndAnIntegerMayBeExchanged)
{
    EXPECT_STREQ(format_(2, "%d %f", 2.5, 7), "2.5 7");
}

TEST_F(FormatCall, ANegativeNumberIsNeverPrintedAsALargeOne)
{
    EXPECT_STREQ(format_(3, "%u %x %o", -1, -2, -3), "-1 -2 -3");
}

TEST_F(FormatCall, ALargeUnsignedNumberIsNeverPrintedAsANegativeOne)
{
    EXPECT_STREQ(format_(2, "%d %i", 4294967295U, ULLONG_MAX), "4294967295 18446744073709551615");
}

TEST_F(FormatCall, APointerIsPrintedWhateverTheConversionIs)
{
    const auto* const pointer = reinterpret_cast<const void*>(0x1234);
    EXPECT_STREQ(format_(3, "%p %s %d", pointer, pointer, pointer), "0x1234 0x1234 0x1234");
    EXPECT_STREQ(format_(1, "%8p|", pointer), "  0x1234|");
}

TEST_F(FormatCall, ANullTextIsNamed)
{
    const char* const nothing = nullptr;
    EXPECT_STREQ(format_(2, "%s %d", nothing, nothing), "(null) (null)");
}

TEST_F(FormatCall, ANullFormatGivesAnEmptyText)
{
    EXPECT_STREQ(format_(1, nullptr, "one"), "");
}

TEST_F(FormatCall, CountingConversionsNeverWrite)
{
    int written = 42;
    EXPECT_STREQ(format_(1, "abc%n", static_cast<const void*>(&written)), "abc%n");
    EXPECT_STREQ(format_(1, "abc%hhn%s", "x"), "abc%hhnx");
    EXPECT_EQ(written, 42);
}

TEST_F(FormatCall, UnknownAndUnfinishedConversionsStayInTheText)
{
    EXPECT_STREQ(format_(1, "%y %s", "one"), "%y one");
    EXPECT_STREQ(format_(1, "at the end %", "one"), "at the end %");
    EXPECT_STREQ(format_(1, "at the end %-5.2l", "one"), "at the end %-5.2l");
    EXPECT_STREQ(format_(1, "%m %s", "one"), "%m one");
}

TEST_F(FormatCall, AnImmenseWidthIsLimited)
{
    const std::string text = format_(1, "%2147483647d", 1);
    EXPECT_EQ(text.size(), 65535U);
    EXPECT_EQ(std::string(format_(1, "%99999999999999999999s", "x")).size(), 65535U);
    EXPECT_EQ(std::string(format_(2, "%*d", INT_MIN, 1)).size(), 65535U);
    EXPECT_EQ(std::string(format_(1, "%.2147483647d", 1)).size(), 65535U);
}

TEST_F(FormatCall, AnImmensePrecisionKeepsTheWholeText)
{
    EXPECT_STREQ(format_(1, "%.99999999999999999999s", "text"), "text");
}

TEST_F(FormatCall, AVeryLongTextIsKeptWhole)
{
    const std::string argument(3U << 20U, 'x');
    EXPECT_EQ(format_(2, "<%s|%s>", argument.c_str(), argument.c_str()),
              '<' + argument + '|' + argument + '>');
}

TEST_F(FormatCall, EveryTextStaysValidUntilTheFormatterIsDestroyed)
{
    const char* const first = format_(1, "first %d", 1);
    const char* const second = format_(1, "second %s", "text that is longer than a short string");
    for (int call = 0; call < 100; ++call)
    {
        format_(1, "call %d", call);
    }
    EXPECT_STREQ(first, "first 1");
    EXPECT_STREQ(second, "second text that is longer than a short string");
}

TEST_F(FormatCall, ATextMayBeTheArgumentOfTheNextCall)
{
    EXPECT_STREQ(format_(1, "outer %s", format_(1, "inner %d", 1)), "outer inner 1");
}

TEST_F(FormatCall, BooleansEnumerationsAndCharactersAreIntegers)
{
    enum Plain
    {
        seven = 7
    };
    enum class Scoped : unsigned char
    {
        eight = 8
    };
    EXPECT_STREQ(format_(4, "%d %d %d %d", true, seven, Scoped::eight, 'a'), "1 7 8 97");
}

TEST_F(FormatCall, AMisfitIsReportedWithTheCallSite)
{
    const Support::LogCapture log(kvrLOG_NOTICE);
    format_(1, "%s %s", "one");
    format_(1, "%d", "one");
    const std::vector<Support::LogCapture::Message> expected = {
        {kvrLOG_NOTICE, "file.cpp:12(Function): arguments don't fit the format: %s %s"},
        {kvrLOG_NOTICE, "file.cpp:12(Function): arguments don't fit the format: %d"}};
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(FormatCall, AFittingCallReportsNothing)
{
    const Support::LogCapture log(kvrLOG_DEBUG);
    format_(5, "%s %d %u %c %f %%", "one", 2, 3U, 'x', 1.0);
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(FormatCall, NullCallSitesAreHarmless)
{
    const Support::LogCapture log(kvrLOG_NOTICE);
    CKVRFormatCall nowhere(nullptr, nullptr, 0);
    EXPECT_STREQ(nowhere(0, "%s"), "%s");
    EXPECT_EQ(log.messages().at(0).second, ":0(): arguments don't fit the format: %s");
}

TEST_F(FormatCall, ALogThatFailsDoesNotTakeTheTextAway)
{
    const Support::LogCapture log(kvrLOG_NOTICE);
    CKVRLogProvider::GetLogProvider().SetSink([](KVRLogLevel, const std::string&)
                                              { throw std::runtime_error("no room for the log"); });
    EXPECT_STREQ(format_(1, "%d", "text"), "text");
}

TEST_F(FormatCall, ACharacterBeyondAsciiIsACharacter)
{
    EXPECT_STREQ(format_(1, "%c", '\xe9'), "\xe9");
}

TEST_F(FormatCall, AnEnumerationIsPrintedByItsUnderlyingType)
{
    enum class Wide : unsigned long long
    {
        Highest = ULLONG_MAX
    };
    enum class Narrow : int
    {
        Below = -1
    };
    EXPECT_STREQ(format_(1, "%u", Wide::Highest), "18446744073709551615");
    EXPECT_STREQ(format_(1, "%d", Narrow::Below), "-1");
}

TEST_F(FormatCall, FlagsThatDoNotBelongToTheConversionAreLeftOut)
{
    EXPECT_STREQ(format_(1, "%#d", 5), "5");
    EXPECT_STREQ(format_(1, "%#x", 255), "0xff");
    EXPECT_STREQ(format_(1, "%'x", 255), "ff");
    EXPECT_STREQ(format_(1, "%Id", 5), "5");
}

} // namespace KVR::Test
