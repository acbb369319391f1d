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

/** A format as it comes from a catalogue, where the compiler does not see it. */
const char* translated(const char* text)
{
    return text;
}

class FormatCall : public testing::Test
{
protected:
    CKVRFormatCall format_{"file.cpp", "Function", 12};
};

} // namespace

TEST_F(FormatCall, AFormatWithoutConversionsStaysAsItIs)
{
    EXPECT_STREQ(format_(0, "plain text"), "plain text");
    EXPECT_STREQ(format_(0, translated(""), nullptr), "");
}

TEST_F(FormatCall, TheFormatsOfTheModuleArePrinted)
{
    EXPECT_STREQ(format_(1, "Invalid host type %d.", 3), "Invalid host type 3.");
    EXPECT_STREQ(format_(2, "slapadd -n 0 -F %s -v -l %s", "/etc/ldap/slapd.d", "/tmp/a.ldif"),
                 "slapadd -n 0 -F /etc/ldap/slapd.d -v -l /tmp/a.ldif");
    EXPECT_STREQ(format_(3, "(&(%s)(%s={*}%s))", "objectClass=*", "olcAccess", "to *"),
                 "(&(objectClass=*)(olcAccess={*}to *))");
    EXPECT_STREQ(format_(4, "OpenLDAP error%s in %s:%d(%s)", " (x)", "file.cpp", 12, "Connect"),
                 "OpenLDAP error (x) in file.cpp:12(Connect)");
    EXPECT_STREQ(format_(4, "Unexpected error %d in %s:%u - %s()", -5, "file.cpp", 12U, "Fetch"),
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
    EXPECT_STREQ(format_(6, "%d %i %u %o %x %X", -1, 2, 3U, 8U, 255U, 255U), "-1 2 3 10 ff FF");
}

TEST_F(FormatCall, TheLimitsOfIntegersArePrinted)
{
    EXPECT_STREQ(format_(3, "%lld %llu %d", LLONG_MIN, ULLONG_MAX, INT_MIN),
                 "-9223372036854775808 18446744073709551615 -2147483648");
}

TEST_F(FormatCall, ANumberIsPrintedAsItsConversionReadsIt)
{
    EXPECT_STREQ(format_(3, translated("%u %x %o"), -1, -2, -3), "4294967295 fffffffe 37777777775");
    EXPECT_STREQ(format_(1, translated("%d"), 4294967295U), "-1");
}

TEST_F(FormatCall, LengthModifiersReadTheArgument)
{
    EXPECT_STREQ(format_(2, translated("%hhd %hu"), 70000, 70001), "112 4465");
    EXPECT_STREQ(format_(4, "%ld %jd %zu %td", LONG_MAX, INTMAX_MAX, SIZE_MAX, PTRDIFF_MIN),
                 "9223372036854775807 9223372036854775807 18446744073709551615 -9223372036854775808");
    EXPECT_STREQ(format_(1, "%Lf", 1.5L), "1.500000");
}

TEST_F(FormatCall, ArgumentsOfEveryKindFollowEachOther)
{
    EXPECT_STREQ(format_(9, "%s %d %f %c %ld %s %g %u %s", "a", 1, 2.5, 'b', 3L, "c", 4.5, 5U, "d"),
                 "a 1 2.500000 b 3 c 4.5 5 d");
}

TEST_F(FormatCall, RealNumbersArePrintedInEveryNotation)
{
    EXPECT_STREQ(format_(4, "%f %.2f %g %.1e", 1.5, 2.345678, 0.5, 1200.0), "1.500000 2.35 0.5 1.2e+03");
    EXPECT_STREQ(format_(2, "%a %G", 1.0, 0.25F), "0x1p+0 0.25");
    EXPECT_STREQ(format_(1, "%.40f", 0.5), "0.5000000000000000000000000000000000000000");
}

TEST_F(FormatCall, ACharacterIsPrinted)
{
    EXPECT_STREQ(format_(2, "%c%3c", 'a', 'b'), "a  b");
}

TEST_F(FormatCall, AZeroCharacterDoesNotEndTheText)
{
    EXPECT_STREQ(format_(2, "%c|%c|", 0, 'b'), "|b|");
}

TEST_F(FormatCall, WidthAndFlagsAreKept)
{
    EXPECT_STREQ(format_(5, "%5d|%-5d|%05d|%+d|% d", 42, 42, 42, 42, 42), "   42|42   |00042|+42| 42");
    EXPECT_STREQ(format_(2, "%#x|%#o", 255U, 8U), "0xff|010");
    EXPECT_STREQ(format_(2, "%5s|%-5s|", "ab", "cd"), "   ab|cd   |");
}

TEST_F(FormatCall, FlagsOfTheLocaleAreTaken)
{
    EXPECT_STREQ(format_(2, translated("%'d %Id"), 1234, 5678), "1234 5678");
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

TEST_F(FormatCall, ATranslationMayChangeTheOrderOfArguments)
{
    EXPECT_STREQ(format_(2, translated("%2$s before %1$s"), "one", "two"), "two before one");
    EXPECT_STREQ(format_(1, translated("%1$s and %1$s"), "again"), "again and again");
    EXPECT_STREQ(format_(4, translated("%4$s() %3$u %2$s %1$d"), -5, "file.cpp", 12U, "Fetch"),
                 "Fetch() 12 file.cpp -5");
}

TEST_F(FormatCall, ATranslationMayLeaveArgumentsOut)
{
    EXPECT_STREQ(format_(2, translated("%2$s"), "one", "two"), "two");
    EXPECT_STREQ(format_(3, translated("%3$s %1$d%%"), 1, 2U, "three"), "three 1%");
    EXPECT_STREQ(format_(2, translated("no conversion"), "one", "two"), "no conversion");
}

TEST_F(FormatCall, NumberedConversionsMayStandAmongOthers)
{
    EXPECT_STREQ(format_(2, translated("%s %2$s %s"), "one", "two"), "one two two");
}

TEST_F(FormatCall, OneArgumentHasOneType)
{
    EXPECT_STREQ(format_(1, translated("%1$s %1$d %1$p %1$x"), "one"), "one %1$d %1$p %1$x");
    EXPECT_STREQ(format_(1, translated("%1$d %1$ld %1$s %1$x %1$f"), 10), "10 %1$ld %1$s a %1$f");
    EXPECT_STREQ(format_(1, translated("%1$s %1$*1$d"), "one"), "one %1$*1$d");
}

TEST_F(FormatCall, WidthMayComeFromANumberedArgument)
{
    EXPECT_STREQ(format_(2, translated("%1$*2$d|"), 42, 5), "   42|");
    EXPECT_STREQ(format_(3, translated("%1$*3$.*2$s|"), "abc", 2, 5), "   ab|");
}

TEST_F(FormatCall, ANumberedArgumentThatIsMissingStaysInTheText)
{
    EXPECT_STREQ(format_(2, translated("%3$s %2$s %0$s"), "one", "two"), "%3$s two %0$s");
    EXPECT_STREQ(format_(1, translated("%99999999999999999999$s %s"), "one"), "%99999999999999999999$s one");
}

TEST_F(FormatCall, AConversionWithoutArgumentStaysInTheText)
{
    EXPECT_STREQ(format_(1, translated("%s %s %-5d"), "one"), "one %s %-5d");
    EXPECT_STREQ(format_(0, translated("%s"), nullptr), "%s");
    EXPECT_STREQ(format_(1, translated("%*d"), 5), "%*d");
    EXPECT_STREQ(format_(0, translated("%*d %.*f"), nullptr), "%*d %.*f");
    EXPECT_STREQ(format_(1, translated("%1$*9$d|%1$.*9$d"), 5), "%1$*9$d|%1$.*9$d");
    EXPECT_STREQ(format_(1, translated("%1$*9$.2d|%1$*9$.*1$d"), 5), "%1$*9$.2d|%1$*9$.*1$d")
        << "the precision is there, the width is not";
    EXPECT_STREQ(format_(3, translated("%*n%2$s%3$d"), 1, "two", 3), "%*ntwo3") << "the width is not read";
}

TEST_F(FormatCall, ConversionsBeyondTheHighestIndexOfTheSystemAreRefused)
{
    EXPECT_STREQ(format_(ULONG_MAX, translated("%4097$s %s"), "one"), "%4097$s one");
}

TEST_F(FormatCall, ASmallerCountHidesArguments)
{
    EXPECT_STREQ(format_(1, translated("%s %s"), "one", "two"), "one %s");
    EXPECT_STREQ(format_(0, translated("%s"), "one"), "%s");
}

TEST_F(FormatCall, ArgumentsThatNoConversionAsksForAreLeftOut)
{
    EXPECT_STREQ(format_(3, translated("%s"), "one", 2, 3.0), "one");
}

TEST_F(FormatCall, APointerIsPrinted)
{
    const auto* const pointer = reinterpret_cast<const void*>(0x1234);
    EXPECT_STREQ(format_(2, "%p|%8p|", pointer, pointer), "0x1234|  0x1234|");
}

TEST_F(FormatCall, ANullTextIsNamed)
{
    const char* const nothing = nullptr;
    EXPECT_STREQ(format_(1, "%s", nothing), "(null)");
}

TEST_F(FormatCall, ANullFormatGivesAnEmptyText)
{
    EXPECT_STREQ(format_(1, translated(nullptr), "one"), "");
}

TEST_F(FormatCall, CountingConversionsNeverWrite)
{
    int written = 42;
    EXPECT_STREQ(format_(2, translated("abc%n %s"), &written, "two"), "abc%n two");
    EXPECT_STREQ(format_(1, translated("abc%1$hhn"), &written), "abc%1$hhn");
    EXPECT_STREQ(format_(1, translated("abc%n%s"), "x"), "abc%n%s")
        << "the place of its argument stays taken";
    EXPECT_EQ(written, 42);
}

TEST_F(FormatCall, WideCharactersStayInTheText)
{
    EXPECT_STREQ(format_(5, translated("%ls %S %lc %C %s"), L"a", L"b", L'c', L'd', "five"),
                 "%ls %S %lc %C five");
}

TEST_F(FormatCall, UnknownAndUnfinishedConversionsStayInTheText)
{
    for (const char* const conversion : {"%y", "%m", "%k", "% "})
    {
        EXPECT_EQ(format_(1, translated((std::string(conversion) + "| %s").c_str()), "one"),
                  std::string(conversion) + "| one");
    }
    for (const char* const end : {"%", "%-5.2l", "%2$", "%*"})
    {
        EXPECT_EQ(format_(1, translated((std::string("at the end ") + end).c_str()), "one"),
                  std::string("at the end ") + end);
    }
    EXPECT_STREQ(format_(4, translated("%hhhd %lzd %Ld %qd"), 1, 2, 3, 4), "%hhhd %lzd %Ld %qd");
    EXPECT_STREQ(format_(3, translated("%hs %lp %qf"), "one", "two", 3.0), "%hs %lp %qf");
}

TEST_F(FormatCall, AnImmenseWidthIsLimited)
{
    EXPECT_EQ(std::string(format_(1, translated("%2147483647d"), 1)).size(), 65535U);
    EXPECT_EQ(std::string(format_(1, translated("%99999999999999999999s"), "x")).size(), 65535U);
    EXPECT_EQ(std::string(format_(1, translated("%.2147483647d"), 1)).size(), 65535U);
}

TEST_F(FormatCall, ALargePrecisionKeepsTheWholeText)
{
    EXPECT_STREQ(format_(1, "%.65535s", "text"), "text");
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

TEST_F(FormatCall, AMisfitIsReportedWithTheCallSite)
{
    const Support::LogCapture log(kvrLOG_NOTICE);
    format_(1, translated("%s %s"), "one");
    format_(1, translated("%n"), "one");
    const std::vector<Support::LogCapture::Message> expected = {
        {kvrLOG_NOTICE, "file.cpp:12(Function): arguments don't fit the format: %s %s"},
        {kvrLOG_NOTICE, "file.cpp:12(Function): arguments don't fit the format: %n"}};
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
    EXPECT_STREQ(nowhere(0, translated("%s"), nullptr), "%s");
    EXPECT_EQ(log.messages().at(0).second, ":0(): arguments don't fit the format: %s");
}

TEST_F(FormatCall, ALogThatFailsDoesNotTakeTheTextAway)
{
    const Support::LogCapture log(kvrLOG_NOTICE);
    CKVRLogProvider::GetLogProvider().SetSink([](KVRLogLevel, const std::string&)
                                              { throw std::runtime_error("no room for the log"); });
    EXPECT_STREQ(format_(0, translated("%d"), nullptr), "%d");
}

TEST_F(FormatCall, ACharacterBeyondAsciiIsACharacter)
{
    EXPECT_STREQ(format_(1, "%c", '\xe9'), "\xe9");
}

} // namespace KVR::Test
