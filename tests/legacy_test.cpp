#include "base/legacy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace tarnex::legacy {
namespace {

using Strings = std::vector<std::string>;

// Friday 15 March 2024, 23:59:07.
CivilTime FridayNight() {
  return CivilTime{2024, 3, 15, 23, 59, 7, 0};
}
CivilTime At(int hour, int minute, int second) {
  return CivilTime{2024, 3, 15, hour, minute, second, 0};
}

// ---------------------------------------------------------------------------
// Format(number, pattern)

TEST(LegacyFormat, HashPlaceholderPrintsNothingForZero) {
  EXPECT_EQ(Format(0, "#"), "");
  EXPECT_EQ(Format(0, "##"), "");
  EXPECT_EQ(Format(0.4, "#"), "");
}

TEST(LegacyFormat, PointPrintsEvenWithoutFractionDigits) {
  EXPECT_EQ(Format(1, "#.#"), "1.");
  EXPECT_EQ(Format(0, "#.#"), ".");
  EXPECT_EQ(Format(12, "0.#"), "12.");
}

TEST(LegacyFormat, HashWholePartDropsTheLeadingZero) {
  EXPECT_EQ(Format(.17, "#.00"), ".17");
  EXPECT_EQ(Format(0.5, "#.0"), ".5");
  EXPECT_EQ(Format(0, "#.0"), ".0");
}

TEST(LegacyFormat, ZeroPlaceholderInFractionKeepsTrailingZeros) {
  EXPECT_EQ(Format(1.7, "#.00"), "1.70");
  EXPECT_EQ(Format(3, "0.00"), "3.00");
}

TEST(LegacyFormat, ZeroPlaceholderAlwaysPrintsADigit) {
  EXPECT_EQ(Format(0, "0"), "0");
  EXPECT_EQ(Format(1, "00"), "01");
  EXPECT_EQ(Format(0, "0.0"), "0.0");
  EXPECT_EQ(Format(7, "000"), "007");
}

TEST(LegacyFormat, WholeDigitsBeyondThePlaceholdersPrintInFull) {
  EXPECT_EQ(Format(123, "00"), "123");
  EXPECT_EQ(Format(123456, "#"), "123456");
  EXPECT_EQ(Format(98765.4, "0.0"), "98765.4");
}

TEST(LegacyFormat, CommaBetweenPlaceholdersGroupsAllWholeDigits) {
  EXPECT_EQ(Format(100000, "#,###,###,###"), "100,000");
  EXPECT_EQ(Format(1234.5, "#,###"), "1,235");
  EXPECT_EQ(Format(0, "#,###"), "");
  EXPECT_EQ(Format(0, "#,##0"), "0");
  EXPECT_EQ(Format(1234567.891, "###,###,##0"), "1,234,568");
  EXPECT_EQ(Format(999, "#,##0"), "999");
  EXPECT_EQ(Format(1000, "#,##0"), "1,000");
  EXPECT_EQ(Format(5, "0,000"), "0,005");
  EXPECT_EQ(Format(1234567.25, "#,##0.00"), "1,234,567.25");
}

TEST(LegacyFormat, HugeNumbersGroupEveryDigit) {
  EXPECT_EQ(Format(1e20, "#,##0"), "100,000,000,000,000,000,000");
  EXPECT_EQ(Format(1e20, "0"), "100000000000000000000");
}

TEST(LegacyFormat, CommaNotBetweenPlaceholdersPrintsNothing) {
  EXPECT_EQ(Format(1234567, "0,"), "1234567");
  EXPECT_EQ(Format(1234, ",0"), "1234");
}

TEST(LegacyFormat, RoundsToThePatternsLastPlace) {
  EXPECT_EQ(Format(1.7, "#0"), "2");
  EXPECT_EQ(Format(1.24, "0.0"), "1.2");
  EXPECT_EQ(Format(1.26, "0.0"), "1.3");
}

TEST(LegacyFormat, RoundsFirstThenHashDropsTrailingZeros) {
  EXPECT_EQ(Format(0.0995, "#.##"), ".1");
  EXPECT_EQ(Format(1.5, "#.##"), "1.5");
  EXPECT_EQ(Format(1.05, "#.##"), "1.05");
  EXPECT_EQ(Format(2.001, "#.##"), "2.");
}

TEST(LegacyFormat, RoundsHalfAwayFromZero) {
  EXPECT_EQ(Format(2.5, "0"), "3");
  EXPECT_EQ(Format(0.5, "0"), "1");
  EXPECT_EQ(Format(1.5, "0"), "2");
  EXPECT_EQ(Format(3.5, "0"), "4");
  EXPECT_EQ(Format(-2.5, "0"), "-3");
  EXPECT_EQ(Format(0.125, "0.00"), "0.13");
}

TEST(LegacyFormat, RoundsTheFifteenDigitDecimalNotTheBinaryValue) {
  // 1.005 is stored as 1.00499999999999989..., 0.285 as 0.28499999999999998...
  EXPECT_EQ(Format(1.005, "0.00"), "1.01");
  EXPECT_EQ(Format(0.285, "0.00"), "0.29");
  EXPECT_EQ(Format(1.0049, "0.00"), "1.00");
}

TEST(LegacyFormat, DigitsPastTheFifteenthPrintAsZeros) {
  EXPECT_EQ(Format(1234567890123456789.0, "0"), "1234567890123460000");
  EXPECT_EQ(Format(0.1 + 0.2, "0.0000000000000000"), "0.3000000000000000");
}

TEST(LegacyFormat, RoundingCarriesAcrossADigitBoundary) {
  EXPECT_EQ(Format(9.995, "0.00"), "10.00");
  EXPECT_EQ(Format(99.5, "0"), "100");
  EXPECT_EQ(Format(999999.5, "#,##0"), "1,000,000");
  EXPECT_EQ(Format(0.96, "#.#"), "1.");
  EXPECT_EQ(Format(0.05, "#.#"), ".1");
}

TEST(LegacyFormat, TinyValuesRoundToZero) {
  EXPECT_EQ(Format(1e-300, "0.00"), "0.00");
  EXPECT_EQ(Format(0.004, "#.##"), ".");
  EXPECT_EQ(Format(0.0049999, "0.00"), "0.00");
}

TEST(LegacyFormat, NegativePrintsMinusBeforeTheAbsoluteValue) {
  EXPECT_EQ(Format(-0.1, ".#"), "-.1");
  EXPECT_EQ(Format(-5, "00"), "-05");
  EXPECT_EQ(Format(-1234.5, "#,##0.00"), "-1,234.50");
  EXPECT_EQ(Format(-0.5, "#.0"), "-.5");
}

TEST(LegacyFormat, NegativeThatRoundsToZeroKeepsItsSign) {
  EXPECT_EQ(Format(-0.4, "0"), "-0");
  EXPECT_EQ(Format(-0.001, "0.00"), "-0.00");
  EXPECT_EQ(Format(-0.4, "#"), "-");
}

TEST(LegacyFormat, NegativeZeroFormatsAsZero) {
  EXPECT_EQ(Format(-0.0, "0"), "0");
  EXPECT_EQ(Format(-0.0, "#"), "");
  EXPECT_EQ(Format(-0.0, "0.00"), "0.00");
}

TEST(LegacyFormat, FractionHashPrintsUpToTheLastZeroPlaceholder) {
  EXPECT_EQ(Format(1, "0.#0"), "1.00");
  EXPECT_EQ(Format(1.5, "0.0#"), "1.5");
  EXPECT_EQ(Format(1.25, "0.0#"), "1.25");
}

TEST(LegacyFormat, WholeDigitsWithoutWholePlaceholdersStandBeforeThePoint) {
  EXPECT_EQ(Format(12.5, ".0"), "12.5");
  EXPECT_EQ(Format(0.25, ".##"), ".25");
  EXPECT_EQ(Format(0, ".#"), ".");
}

TEST(LegacyFormat, LiteralCharactersPrintWhereTheyStand) {
  EXPECT_EQ(Format(45.5, "0.0%"), "45.5%");
  EXPECT_EQ(Format(45.5, "0.0 %"), "45.5 %");
  EXPECT_EQ(Format(5, "(#)"), "(5)");
  EXPECT_EQ(Format(1234, "#,##0 MB"), "1,234 MB");
  EXPECT_EQ(Format(1234, "$#,##0"), "$1,234");
  EXPECT_EQ(Format(3.25, "0.0 x"), "3.3 x");
  EXPECT_EQ(Format(0, "# kb"), " kb");
}

TEST(LegacyFormat, BackslashAndQuotesMakeLiterals) {
  EXPECT_EQ(Format(5, "\\#0"), "#5");
  EXPECT_EQ(Format(5, "0\" items\""), "5 items");
  EXPECT_EQ(Format(5, "\"0#.\"0"), "0#.5");
}

TEST(LegacyFormat, PatternWithoutPlaceholdersPrintsItsLiterals) {
  EXPECT_EQ(Format(5, "abc"), "abc");
  EXPECT_EQ(Format(-5, "abc"), "-abc");
}

TEST(LegacyFormat, SemicolonSectionsChooseNegativeAndZeroForms) {
  EXPECT_EQ(Format(5, "0;(0);zero"), "5");
  EXPECT_EQ(Format(-5, "0;(0);zero"), "(5)");
  EXPECT_EQ(Format(0, "0;(0);zero"), "zero");
  EXPECT_EQ(Format(-5, "0;;zero"), "-5");
  EXPECT_EQ(Format(0, "0.0;(0)"), "0.0");
}

TEST(LegacyFormat, EmptyPatternPrintsTheNumberAsText) {
  EXPECT_EQ(Format(2.5, ""), "2.5");
  EXPECT_EQ(Format(1e15, ""), "1E+15");
}

TEST(LegacyFormat, NonFiniteValuesPrintAName) {
  EXPECT_EQ(Format(std::numeric_limits<double>::infinity(), "0"), "Inf");
  EXPECT_EQ(Format(-std::numeric_limits<double>::infinity(), "#,##0"), "-Inf");
  EXPECT_EQ(Format(std::numeric_limits<double>::quiet_NaN(), "0.00"), "NaN");
}

TEST(LegacyFormat, LargestDoublePrintsAllItsDigits) {
  const std::string s = Format(std::numeric_limits<double>::max(), "0");
  EXPECT_EQ(s.size(), 309u);
  EXPECT_EQ(s.substr(0, 15), "179769313486232");
  EXPECT_EQ(s.find_first_not_of('0', 15), std::string::npos);
}

struct PatternCase {
  double value;
  const char* pattern;
  const char* expected;
};

TEST(LegacyFormat, PatternsTheSystemUses) {
  const PatternCase cases[] = {
      {7, "0", "7"},
      {7.5, "0", "8"},
      {7, "00", "07"},
      {59, "00", "59"},
      {12.34, "0.0", "12.3"},
      {0.04, "0.0", "0.0"},
      {42.6, "#", "43"},
      {3.14159, "#.0", "3.1"},
      {3, "#.0", "3.0"},
      {3.14159, "#.#", "3.1"},
      {3.04, "#.#", "3."},
      {3.14159, "#.##", "3.14"},
      {0.5, "#.##", ".5"},
      {3.14159, "#.00", "3.14"},
      {0, "#.00", ".00"},
      {0, "#0", "0"},
      {45.49, "#0", "45"},
      {1234567, "#,###", "1,234,567"},
      {12, "#,###", "12"},
      {1234567, "#,##0", "1,234,567"},
      {0.4, "#,##0", "0"},
      {123456789012.0, "###,###,##0", "123,456,789,012"},
      {123456789012.0, "#,###,###,###", "123,456,789,012"},
      {0.75, ".#", ".8"},
  };
  for (const PatternCase& c : cases) {
    EXPECT_EQ(Format(c.value, c.pattern), c.expected)
        << "value " << c.value << " pattern " << c.pattern;
  }
}

// ---------------------------------------------------------------------------
// Format(text, pattern)

TEST(LegacyFormatText, NumericTextIsConvertedFirst) {
  EXPECT_EQ(FormatText("12.5", "0"), "13");
  EXPECT_EQ(FormatText("  1200", "#,###"), "1,200");
  EXPECT_EQ(FormatText("1200  ", "#,###"), "1,200");
  EXPECT_EQ(FormatText("\t7\t", "00"), "07");
}

TEST(LegacyFormatText, GroupingCommasAreIgnored) {
  EXPECT_EQ(FormatText("1,234,567.8", "0"), "1234568");
  EXPECT_EQ(FormatText("12,34", "#,##0"), "1,234");
}

TEST(LegacyFormatText, SignsPointsAndExponentsAreRead) {
  EXPECT_EQ(FormatText("-2.5", "0"), "-3");
  EXPECT_EQ(FormatText("+2.5", "0"), "3");
  EXPECT_EQ(FormatText(".5", "0.00"), "0.50");
  EXPECT_EQ(FormatText("5.", "0.0"), "5.0");
  EXPECT_EQ(FormatText("1.5E2", "0"), "150");
  EXPECT_EQ(FormatText("1.5d-1", "0.00"), "0.15");
}

TEST(LegacyFormatText, NonNumericTextComesBackUnchanged) {
  EXPECT_EQ(FormatText("abc", "0"), "abc");
  EXPECT_EQ(FormatText("12abc", "0"), "12abc");
  EXPECT_EQ(FormatText("", "0"), "");
  EXPECT_EQ(FormatText("   ", "0"), "   ");
  EXPECT_EQ(FormatText("-", "0"), "-");
  EXPECT_EQ(FormatText(".", "0"), ".");
  EXPECT_EQ(FormatText("1.2.3", "0"), "1.2.3");
  EXPECT_EQ(FormatText("1 2", "0"), "1 2");
  EXPECT_EQ(FormatText(",5", "0"), ",5");
  EXPECT_EQ(FormatText("1e", "0"), "1e");
  EXPECT_EQ(FormatText("N/A", "#,##0"), "N/A");
}

// ---------------------------------------------------------------------------
// Format(date, pattern)

TEST(LegacyFormatDate, DayTokens) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "d"), "15");
  EXPECT_EQ(FormatDate(t, "dd"), "15");
  EXPECT_EQ(FormatDate(t, "ddd"), "Fri");
  EXPECT_EQ(FormatDate(t, "dddd"), "Friday");
  const CivilTime fifth{2024, 3, 5, 0, 0, 0, 0};  // a Tuesday
  EXPECT_EQ(FormatDate(fifth, "d"), "5");
  EXPECT_EQ(FormatDate(fifth, "dd"), "05");
  EXPECT_EQ(FormatDate(fifth, "ddd dddd"), "Tue Tuesday");
}

TEST(LegacyFormatDate, EveryWeekdayHasItsEnglishName) {
  const char* names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                         "Thursday", "Friday", "Saturday"};
  for (int i = 0; i < 7; ++i) {
    const CivilTime t{2024, 3, 10 + i, 12, 0, 0, 0};  // 10 March 2024 is a Sunday
    EXPECT_EQ(FormatDate(t, "dddd"), names[i]);
    EXPECT_EQ(FormatDate(t, "ddd"), std::string(names[i]).substr(0, 3));
  }
}

TEST(LegacyFormatDate, MonthTokens) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "m"), "3");
  EXPECT_EQ(FormatDate(t, "mm"), "03");
  EXPECT_EQ(FormatDate(t, "mmm"), "Mar");
  EXPECT_EQ(FormatDate(t, "mmmm"), "March");
  const char* months[] = {"January", "February", "March",     "April",   "May",      "June",
                          "July",    "August",   "September", "October", "November", "December"};
  for (int m = 1; m <= 12; ++m) {
    const CivilTime u{2023, m, 1, 0, 0, 0, 0};
    EXPECT_EQ(FormatDate(u, "mmmm"), months[m - 1]);
    EXPECT_EQ(FormatDate(u, "mmm"), std::string(months[m - 1]).substr(0, 3));
  }
}

TEST(LegacyFormatDate, YearTokens) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "y"), "75");  // 31 + 29 + 15
  EXPECT_EQ(FormatDate(t, "yy"), "24");
  EXPECT_EQ(FormatDate(t, "yyyy"), "2024");
  const CivilTime early{2005, 1, 1, 0, 0, 0, 0};
  EXPECT_EQ(FormatDate(early, "yy y"), "05 1");
}

TEST(LegacyFormatDate, RunOfYSplitsGreedilyIntoFourTwoOne) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "yyyyy"), "202475");
  EXPECT_EQ(FormatDate(t, "dd mmm yyyyy"), "15 Mar 202475");
  EXPECT_EQ(FormatDate(t, "yyy"), "2475");
  EXPECT_EQ(FormatDate(t, "yyyyyy"), "202424");
}

TEST(LegacyFormatDate, HourTokensUseTheTwentyFourHourClockByDefault) {
  EXPECT_EQ(FormatDate(FridayNight(), "h"), "23");
  EXPECT_EQ(FormatDate(FridayNight(), "hh"), "23");
  EXPECT_EQ(FormatDate(At(9, 5, 3), "h"), "9");
  EXPECT_EQ(FormatDate(At(9, 5, 3), "hh"), "09");
  EXPECT_EQ(FormatDate(At(0, 0, 0), "hh"), "00");
}

TEST(LegacyFormatDate, MinuteAndSecondTokens) {
  EXPECT_EQ(FormatDate(FridayNight(), "n nn s ss"), "59 59 7 07");
  EXPECT_EQ(FormatDate(At(9, 5, 3), "n nn s ss"), "5 05 3 03");
}

TEST(LegacyFormatDate, MAfterAnHourMeansMinutes) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "hhmm"), "2359");
  EXPECT_EQ(FormatDate(t, "hh:mm:ss"), "23:59:07");
  EXPECT_EQ(FormatDate(t, "h:m"), "23:59");
  EXPECT_EQ(FormatDate(t, "hh \"at\" mm"), "23 at 59");
  EXPECT_EQ(FormatDate(At(9, 5, 3), "h:m"), "9:5");
}

TEST(LegacyFormatDate, MWithoutAnHourJustBeforeItMeansTheMonth) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "mm:ss"), "03:07");
  EXPECT_EQ(FormatDate(t, "hh dd mm"), "23 15 03");
  EXPECT_EQ(FormatDate(t, "hh:nn mm"), "23:59 03");
  EXPECT_EQ(FormatDate(t, "hhmmm"), "23Mar");
}

TEST(LegacyFormatDate, AmPmSwitchesToTheTwelveHourClock) {
  EXPECT_EQ(FormatDate(FridayNight(), "hh:mm:ssampm"), "11:59:07PM");
  EXPECT_EQ(FormatDate(At(9, 5, 3), "hh:mm:ssampm"), "09:05:03AM");
  EXPECT_EQ(FormatDate(FridayNight(), "HH:MM:SS AMPM"), "11:59:07 PM");
  EXPECT_EQ(FormatDate(FridayNight(), "h AmPm"), "11 PM");
}

TEST(LegacyFormatDate, AmPmAppliesToHoursBeforeAndAfterIt) {
  EXPECT_EQ(FormatDate(FridayNight(), "AMPM h"), "PM 11");
  EXPECT_EQ(FormatDate(FridayNight(), "h AMPM h"), "11 PM 11");
}

TEST(LegacyFormatDate, MidnightAndNoonAreTwelve) {
  EXPECT_EQ(FormatDate(At(0, 0, 0), "hh:mm AMPM"), "12:00 AM");
  EXPECT_EQ(FormatDate(At(12, 0, 0), "hh:mm AMPM"), "12:00 PM");
  EXPECT_EQ(FormatDate(At(12, 30, 0), "h:mmampm"), "12:30PM");
  EXPECT_EQ(FormatDate(At(11, 59, 59), "h AMPM"), "11 AM");
  EXPECT_EQ(FormatDate(At(13, 0, 0), "h AMPM"), "1 PM");
}

TEST(LegacyFormatDate, HalfDayFormsPrintTheirOwnLetters) {
  EXPECT_EQ(FormatDate(FridayNight(), "h AM/PM"), "11 PM");
  EXPECT_EQ(FormatDate(At(9, 0, 0), "h AM/PM"), "9 AM");
  EXPECT_EQ(FormatDate(FridayNight(), "h am/pm"), "11 pm");
  EXPECT_EQ(FormatDate(At(9, 0, 0), "h am/pm"), "9 am");
  EXPECT_EQ(FormatDate(FridayNight(), "h A/P"), "11 P");
  EXPECT_EQ(FormatDate(At(9, 0, 0), "h A/P"), "9 A");
  EXPECT_EQ(FormatDate(FridayNight(), "h a/p"), "11 p");
  EXPECT_EQ(FormatDate(At(9, 0, 0), "h a/p"), "9 a");
}

TEST(LegacyFormatDate, LettersAreCaseInsensitive) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "DD MMM YYYY"), "15 Mar 2024");
  EXPECT_EQ(FormatDate(t, "Dddd"), "Friday");
  EXPECT_EQ(FormatDate(t, "HhNnSs"), "235907");
}

TEST(LegacyFormatDate, PatternsTheSystemUses) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "dd mmm yyyy"), "15 Mar 2024");
  EXPECT_EQ(FormatDate(t, "dd mmm yy"), "15 Mar 24");
  EXPECT_EQ(FormatDate(t, "ddmmmyy"), "15Mar24");
  EXPECT_EQ(FormatDate(t, "ddmmmyyyy"), "15Mar2024");
  EXPECT_EQ(FormatDate(t, "mmm yyyy"), "Mar 2024");
  EXPECT_EQ(FormatDate(t, "mmmyyyy"), "Mar2024");
  EXPECT_EQ(FormatDate(t, "yyyy"), "2024");
  EXPECT_EQ(FormatDate(t, "yymmdd"), "240315");
  EXPECT_EQ(FormatDate(t, "hhmm"), "2359");
  EXPECT_EQ(FormatDate(t, "hh:mm:ssampm"), "11:59:07PM");
  EXPECT_EQ(FormatDate(t, "h"), "23");
  EXPECT_EQ(FormatDate(t, "d"), "15");
  EXPECT_EQ(FormatDate(t, "m"), "3");
}

TEST(LegacyFormatDate, OtherCharactersPrintAsTheyStand) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "d/m/yyyy"), "15/3/2024");
  EXPECT_EQ(FormatDate(t, "dd-mmm"), "15-Mar");
  EXPECT_EQ(FormatDate(t, "a d"), "a 15");
  EXPECT_EQ(FormatDate(t, "[x]"), "[x]");
  EXPECT_EQ(FormatDate(t, ""), "");
}

TEST(LegacyFormatDate, QuotesAndBackslashMakeLiterals) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "\"day\" d"), "day 15");
  EXPECT_EQ(FormatDate(t, "\\d d"), "d 15");
  EXPECT_EQ(FormatDate(t, "\"open"), "open");
}

TEST(LegacyFormatDate, FiveAndSixDsAreTheShortAndLongDate) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "ddddd"), "3/15/2024");
  EXPECT_EQ(FormatDate(t, "dddddd"), "Friday, March 15, 2024");
}

TEST(LegacyFormatDate, WeekdayWeekAndQuarterTokens) {
  const CivilTime t = FridayNight();
  EXPECT_EQ(FormatDate(t, "w"), "6");    // Sunday is 1
  EXPECT_EQ(FormatDate(t, "ww"), "11");  // weeks start on Sunday; 1 January is in week 1
  EXPECT_EQ(FormatDate(t, "q"), "1");
  EXPECT_EQ(FormatDate(CivilTime{2024, 1, 6, 0, 0, 0, 0}, "ww"), "1");  // a Saturday
  EXPECT_EQ(FormatDate(CivilTime{2024, 1, 7, 0, 0, 0, 0}, "ww"), "2");
  EXPECT_EQ(FormatDate(CivilTime{2024, 12, 31, 0, 0, 0, 0}, "q"), "4");
}

TEST(LegacyFormatDate, OutOfRangeFieldsDoNotBreakIt) {
  const CivilTime odd{2024, 13, 40, 25, 61, 99, 0};
  EXPECT_EQ(FormatDate(odd, "mmm"), "");
  EXPECT_EQ(FormatDate(odd, "m d"), "13 40");
  EXPECT_EQ(FormatDate(odd, "h AMPM"), "1 PM");
}

// ---------------------------------------------------------------------------
// Dates and times as text with no pattern

TEST(LegacyDateText, DateIsMonthDayYearWithoutPadding) {
  EXPECT_EQ(DateText(FridayNight()), "3/15/2024");
  EXPECT_EQ(DateText(CivilTime{2024, 1, 5, 0, 0, 0, 0}), "1/5/2024");
  EXPECT_EQ(DateText(CivilTime{1999, 12, 31, 0, 0, 0, 0}), "12/31/1999");
}

TEST(LegacyDateText, TimeIsTwelveHourWithSeconds) {
  EXPECT_EQ(TimeText(At(23, 59, 0)), "11:59:00 PM");
  EXPECT_EQ(TimeText(At(9, 5, 3)), "9:05:03 AM");
  EXPECT_EQ(TimeText(At(0, 0, 0)), "12:00:00 AM");
  EXPECT_EQ(TimeText(At(12, 0, 0)), "12:00:00 PM");
}

TEST(LegacyDateText, DateTimeIsDateSpaceTime) {
  EXPECT_EQ(DateTimeText(At(23, 59, 0)), "3/15/2024 11:59:00 PM");
  EXPECT_EQ(DateTimeText(CivilTime{2024, 7, 4, 6, 7, 8, 0}), "7/4/2024 6:07:08 AM");
}

// ---------------------------------------------------------------------------
// FormatNumber and FN

TEST(LegacyFormatNumber, TwoDecimalsLeadingZeroAndGroupingByDefault) {
  EXPECT_EQ(FormatNumber(1234.5), "1,234.50");
  EXPECT_EQ(FormatNumber(0), "0.00");
  EXPECT_EQ(FormatNumber(-1234.567), "-1,234.57");
  EXPECT_EQ(FormatNumber(0.5), "0.50");
  EXPECT_EQ(FormatNumber(1e20), "100,000,000,000,000,000,000.00");
}

TEST(LegacyFormatNumber, RoundsLikeFormat) {
  EXPECT_EQ(FormatNumber(0.125), "0.13");
  EXPECT_EQ(FormatNumber(1.005), "1.01");
  EXPECT_EQ(FormatNumber(9.995), "10.00");
  EXPECT_EQ(FormatNumber(999.995), "1,000.00");
  EXPECT_EQ(FormatNumber(2.5, 0), "3");
}

TEST(LegacyFormatNumber, DecimalsArgumentSetsThePlaces) {
  EXPECT_EQ(FormatNumber(12.3456, 3), "12.346");
  EXPECT_EQ(FormatNumber(12.3456, 1), "12.3");
  EXPECT_EQ(FormatNumber(1234567.4, 0), "1,234,567");
}

TEST(LegacyFormatNumber, NegativeDecimalsMeanTheRegionalTwo) {
  EXPECT_EQ(FormatNumber(5, -1), "5.00");
  EXPECT_EQ(FormatNumber(5, -7), "5.00");
}

TEST(LegacyFormatNumber, NegativeThatRoundsToZeroKeepsItsSign) {
  EXPECT_EQ(FormatNumber(-0.001), "-0.00");
  EXPECT_EQ(FormatNumber(-0.0), "0.00");
}

TEST(LegacyFormatNumber, NonFiniteValuesPrintAName) {
  EXPECT_EQ(FormatNumber(std::numeric_limits<double>::infinity()), "Inf");
  EXPECT_EQ(FN(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(LegacyFN, GroupsAndDropsDecimals) {
  EXPECT_EQ(FN(1234567.8), "1,234,568");
  EXPECT_EQ(FN(0), "0");
  EXPECT_EQ(FN(0.4), "0");
  EXPECT_EQ(FN(999.5), "1,000");
  EXPECT_EQ(FN(-1234.5), "-1,235");
  EXPECT_EQ(FN(123), "123");
  EXPECT_EQ(FN(1000), "1,000");
}

// ---------------------------------------------------------------------------
// Val

TEST(LegacyVal, BlanksTabsAndLineFeedsAreSkippedAnywhere) {
  EXPECT_EQ(Val(" 2 45 7"), 2457);
  EXPECT_EQ(Val("1615 198th Street"), 1615198);
  EXPECT_EQ(Val("\t\n 42"), 42);
  EXPECT_EQ(Val("1 000.5"), 1000.5);
  EXPECT_EQ(Val("- 5"), -5);
  EXPECT_EQ(Val("1\t2\n3"), 123);
}

TEST(LegacyVal, StopsAtTheFirstCharacterThatIsNotPartOfANumber) {
  EXPECT_EQ(Val("24 and 57"), 24);
  EXPECT_EQ(Val("12abc"), 12);
  EXPECT_EQ(Val("12,345"), 12);
  EXPECT_EQ(Val("50%"), 50);
}

TEST(LegacyVal, CarriageReturnStopsTheNumber) {
  EXPECT_EQ(Val("5\r6"), 5);
  EXPECT_EQ(Val("\r5"), 0);
  EXPECT_EQ(Val("17\r\n"), 17);
}

TEST(LegacyVal, NothingReadGivesZero) {
  EXPECT_EQ(Val(""), 0);
  EXPECT_EQ(Val("abc"), 0);
  EXPECT_EQ(Val("   "), 0);
  EXPECT_EQ(Val("-"), 0);
  EXPECT_EQ(Val("."), 0);
  EXPECT_EQ(Val("e5"), 0);
  EXPECT_EQ(Val("--5"), 0);
  EXPECT_FALSE(std::signbit(Val("-")));
}

TEST(LegacyVal, ReadsAnOptionalSign) {
  EXPECT_EQ(Val("-12.5"), -12.5);
  EXPECT_EQ(Val("+3"), 3);
  EXPECT_EQ(Val("  -0.25xyz"), -0.25);
}

TEST(LegacyVal, ASecondPointStopsTheNumber) {
  EXPECT_EQ(Val("1.2.3"), 1.2);
  EXPECT_EQ(Val(".5"), 0.5);
  EXPECT_EQ(Val("5."), 5);
  EXPECT_EQ(Val("192.168.1.1"), 192.168);
}

TEST(LegacyVal, ReadsAnExponentWithEOrD) {
  EXPECT_EQ(Val("1.5D2"), 150);
  EXPECT_EQ(Val("1e3"), 1000);
  EXPECT_EQ(Val("1E-2"), 0.01);
  EXPECT_EQ(Val("2.5d+1"), 25);
  EXPECT_EQ(Val("3E 2"), 300);
}

TEST(LegacyVal, ExponentWithoutDigitsIsIgnored) {
  EXPECT_EQ(Val("2e"), 2);
  EXPECT_EQ(Val("2e+"), 2);
  EXPECT_EQ(Val("2Dx"), 2);
}

TEST(LegacyVal, HexAndOctalPrefixes) {
  EXPECT_EQ(Val("&H1F"), 31);
  EXPECT_EQ(Val("&hff"), 255);
  EXPECT_EQ(Val("  &H10 xyz"), 16);
  EXPECT_EQ(Val("&O17"), 15);
  EXPECT_EQ(Val("&o8"), 0);
  EXPECT_EQ(Val("&H"), 0);
  EXPECT_EQ(Val("&X1"), 0);
  EXPECT_EQ(Val("&HG"), 0);
}

TEST(LegacyVal, HexAndOctalReadAsSixteenOrThirtyTwoBitIntegers) {
  EXPECT_EQ(Val("&H7FFF"), 32767);
  EXPECT_EQ(Val("&H8000"), -32768);
  EXPECT_EQ(Val("&HFFFF"), -1);
  EXPECT_EQ(Val("&HFFFF&"), 65535);
  EXPECT_EQ(Val("&H10000"), 65536);
  EXPECT_EQ(Val("&H7FFFFFFF"), 2147483647);
  EXPECT_EQ(Val("&HFFFFFFFF"), -1);
  EXPECT_EQ(Val("&O177777"), -1);
  EXPECT_EQ(Val("&H100000000"), 0);
}

TEST(LegacyVal, OutOfRangeGivesZero) {
  EXPECT_EQ(Val("1e400"), 0);
  EXPECT_EQ(Val("1e-400"), 0);
  EXPECT_EQ(Val("1e99999999999999999999"), 0);
}

TEST(LegacyVal, LongDigitStringsAreReadExactly) {
  EXPECT_EQ(Val("123456789012345678901234567890"), 123456789012345678901234567890.0);
  EXPECT_EQ(Val("0.1"), 0.1);
}

// ---------------------------------------------------------------------------
// Str and StrSingle

TEST(LegacyStr, PlainFormWithLeadingZero) {
  EXPECT_EQ(Str(0.5), "0.5");
  EXPECT_EQ(Str(-0.25), "-0.25");
  EXPECT_EQ(Str(100), "100");
  EXPECT_EQ(Str(0), "0");
  EXPECT_EQ(Str(1234567), "1234567");
  EXPECT_EQ(Str(0.0001), "0.0001");
}

TEST(LegacyStr, FifteenSignificantDigitsTrailingZerosDropped) {
  EXPECT_EQ(Str(0.1 + 0.2), "0.3");
  EXPECT_EQ(Str(1.0 / 3.0), "0.333333333333333");
  EXPECT_EQ(Str(2.0 / 3.0), "0.666666666666667");
  EXPECT_EQ(Str(123456789012345.0), "123456789012345");
  EXPECT_EQ(Str(999999999999999.0), "999999999999999");
  EXPECT_EQ(Str(12.5), "12.5");
}

TEST(LegacyStr, ExponentFormFromOneE15AndForSmallValues) {
  EXPECT_EQ(Str(1e15), "1E+15");
  EXPECT_EQ(Str(1.234e16), "1.234E+16");
  EXPECT_EQ(Str(1e-5), "1E-05");
  EXPECT_EQ(Str(1.5e-7), "1.5E-07");
  EXPECT_EQ(Str(1e100), "1E+100");
  EXPECT_EQ(Str(-1e15), "-1E+15");
  EXPECT_EQ(Str(9999999999999999.0), "1E+16");
  EXPECT_EQ(Str(1.7976931348623157e308), "1.79769313486232E+308");
}

TEST(LegacyStr, NegativeZeroPrintsZero) {
  EXPECT_EQ(Str(-0.0), "0");
}

TEST(LegacyStr, NonFiniteValuesPrintAName) {
  EXPECT_EQ(Str(std::numeric_limits<double>::infinity()), "Inf");
  EXPECT_EQ(Str(-std::numeric_limits<double>::infinity()), "-Inf");
  EXPECT_EQ(Str(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(LegacyStrSingle, SevenSignificantDigits) {
  EXPECT_EQ(StrSingle(654322.3f), "654322.3");
  EXPECT_EQ(StrSingle(0.1f), "0.1");
  EXPECT_EQ(StrSingle(1.0f / 3.0f), "0.3333333");
  EXPECT_EQ(StrSingle(0.5f), "0.5");
  EXPECT_EQ(StrSingle(9999999.0f), "9999999");
  EXPECT_EQ(StrSingle(-2.25f), "-2.25");
}

TEST(LegacyStrSingle, ExponentFormFromOneE7) {
  EXPECT_EQ(StrSingle(1e7f), "1E+07");
  EXPECT_EQ(StrSingle(12345678.0f), "1.234568E+07");
  EXPECT_EQ(StrSingle(1e-5f), "1E-05");
  EXPECT_EQ(StrSingle(0.0001f), "0.0001");
}

TEST(LegacyStrSingle, NegativeZeroPrintsZero) {
  EXPECT_EQ(StrSingle(-0.0f), "0");
}

// ---------------------------------------------------------------------------
// Integers and arithmetic

TEST(LegacyArithmetic, IntIsFloor) {
  EXPECT_EQ(Int(-3.5), -4);
  EXPECT_EQ(Int(3.7), 3);
  EXPECT_EQ(Int(-0.5), -1);
  EXPECT_EQ(Int(5), 5);
}

TEST(LegacyArithmetic, CLngRoundsHalfToEven) {
  EXPECT_EQ(CLng(0.5), 0);
  EXPECT_EQ(CLng(1.5), 2);
  EXPECT_EQ(CLng(2.5), 2);
  EXPECT_EQ(CLng(3.5), 4);
  EXPECT_EQ(CLng(-0.5), 0);
  EXPECT_EQ(CLng(-1.5), -2);
  EXPECT_EQ(CLng(-2.5), -2);
  EXPECT_EQ(CLng(2.6), 3);
  EXPECT_EQ(CLng(-2.4), -2);
  EXPECT_EQ(CLng(4e9), 4000000000LL);
}

TEST(LegacyArithmetic, CLngSaturatesOutOfRangeAndNaNIsZero) {
  EXPECT_EQ(CLng(1e300), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(CLng(-1e300), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(CLng(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(LegacyArithmetic, IntDivRoundsOperandsThenTruncates) {
  EXPECT_EQ(IntDiv(7.5, 2), 4);
  EXPECT_EQ(IntDiv(7, 2), 3);
  EXPECT_EQ(IntDiv(-7, 2), -3);
  EXPECT_EQ(IntDiv(7, -2), -3);
  EXPECT_EQ(IntDiv(2.5, 1), 2);
  EXPECT_EQ(IntDiv(6.5, 2.5), 3);
  EXPECT_EQ(IntDiv(3600, 60), 60);
}

TEST(LegacyArithmetic, IntDivByZeroGivesZero) {
  EXPECT_EQ(IntDiv(1, 0), 0);
  EXPECT_EQ(IntDiv(5, 0.4), 0);  // 0.4 rounds to 0
}

TEST(LegacyArithmetic, ModTakesTheDividendsSign) {
  EXPECT_EQ(Mod(7, 3), 1);
  EXPECT_EQ(Mod(-7, 3), -1);
  EXPECT_EQ(Mod(7, -3), 1);
  EXPECT_EQ(Mod(-7, -3), -1);
  EXPECT_EQ(Mod(7.5, 2), 0);   // 8 Mod 2
  EXPECT_EQ(Mod(6.5, 4), 2);   // 6 Mod 4
  EXPECT_EQ(Mod(10, 2.5), 0);  // 10 Mod 2
}

TEST(LegacyArithmetic, ModByZeroGivesZero) {
  EXPECT_EQ(Mod(5, 0), 0);
  EXPECT_EQ(Mod(5, -0.5), 0);
}

TEST(LegacyArithmetic, ExtremeOperandsDoNotOverflow) {
  const int64_t lo = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(IntDiv(-1e300, -1), lo);
  EXPECT_EQ(Mod(-1e300, -1), 0);
}

// ---------------------------------------------------------------------------
// Text functions

TEST(LegacyText, MidCountsFromOne) {
  EXPECT_EQ(Mid("Hello", 2, 3), "ell");
  EXPECT_EQ(Mid("Hello", 2), "ello");
  EXPECT_EQ(Mid("Hello", 1), "Hello");
  EXPECT_EQ(Mid("Hello", 5), "o");
  EXPECT_EQ(Mid("Hello", 4, 10), "lo");
}

TEST(LegacyText, MidPastTheEndIsEmpty) {
  EXPECT_EQ(Mid("Hello", 6), "");
  EXPECT_EQ(Mid("Hello", 10, 2), "");
  EXPECT_EQ(Mid("", 1), "");
}

TEST(LegacyText, MidWithStartBelowOneStartsAtOne) {
  EXPECT_EQ(Mid("Hello", 0, 2), "He");
  EXPECT_EQ(Mid("Hello", -5), "Hello");
}

TEST(LegacyText, MidWithZeroOrNegativeLengthIsEmpty) {
  EXPECT_EQ(Mid("Hello", 2, 0), "");
  EXPECT_EQ(Mid("Hello", 2, -1), "");
  EXPECT_EQ(Mid("Hello", 2, std::numeric_limits<int64_t>::max()), "ello");
}

TEST(LegacyText, LeftAndRight) {
  EXPECT_EQ(Left("Hello", 2), "He");
  EXPECT_EQ(Right("Hello", 2), "lo");
  EXPECT_EQ(Left("Hello", 5), "Hello");
  EXPECT_EQ(Right("Hello", 5), "Hello");
  EXPECT_EQ(Left("Hello", 9), "Hello");
  EXPECT_EQ(Right("Hello", 9), "Hello");
}

TEST(LegacyText, LeftAndRightWithZeroOrNegativeLengthAreEmpty) {
  EXPECT_EQ(Left("Hello", 0), "");
  EXPECT_EQ(Right("Hello", 0), "");
  EXPECT_EQ(Left("Hello", -3), "");
  EXPECT_EQ(Right("Hello", -3), "");
}

TEST(LegacyText, InStrGivesThePositionFromOneOrZero) {
  EXPECT_EQ(InStr("Hello", "l"), 3);
  EXPECT_EQ(InStr("Hello", "H"), 1);
  EXPECT_EQ(InStr("Hello", "lo"), 4);
  EXPECT_EQ(InStr("Hello", "z"), 0);
  EXPECT_EQ(InStr("Hello", "Hello!"), 0);
  EXPECT_EQ(InStr("", "a"), 0);
}

TEST(LegacyText, InStrIsCaseSensitiveUnlessTextCompare) {
  EXPECT_EQ(InStr("Hello", "LL"), 0);
  EXPECT_EQ(InStr("Hello", "LL", true), 3);
  EXPECT_EQ(InStr("ABC", "b", true), 2);
  EXPECT_EQ(InStr("caf\xC9", "\xE9", true), 4);
  EXPECT_EQ(InStr("caf\xC9", "\xE9", false), 0);
}

TEST(LegacyText, InStrWithAStart) {
  EXPECT_EQ(InStr(4, "Hello", "l"), 4);
  EXPECT_EQ(InStr(5, "Hello", "l"), 0);
  EXPECT_EQ(InStr(6, "Hello", "o"), 0);
  int64_t zero = 0;
  EXPECT_EQ(InStr(zero, "Hello", "H"), 1);
  EXPECT_EQ(InStr(2, "aXbxc", "x", true), 2);
  EXPECT_EQ(InStr(3, "aXbxc", "x", true), 4);
}

TEST(LegacyText, InStrWithAnEmptyNeedleGivesTheStart) {
  EXPECT_EQ(InStr("Hello", ""), 1);
  EXPECT_EQ(InStr(3, "Hello", ""), 3);
  EXPECT_EQ(InStr(9, "Hello", ""), 0);
  EXPECT_EQ(InStr("", ""), 0);
}

TEST(LegacyText, TrimRemovesSpacesOnly) {
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(LTrim("  a b  "), "a b  ");
  EXPECT_EQ(RTrim("  a b  "), "  a b");
  EXPECT_EQ(Trim("\ta\t"), "\ta\t");
  EXPECT_EQ(Trim(" \r\n"), "\r\n");
  EXPECT_EQ(Trim("    "), "");
  EXPECT_EQ(LTrim("   "), "");
  EXPECT_EQ(RTrim("   "), "");
  EXPECT_EQ(Trim(""), "");
}

TEST(LegacyText, UCaseAndLCaseIncludeTheWesternLetters) {
  EXPECT_EQ(UCase("abcXYZ 123"), "ABCXYZ 123");
  EXPECT_EQ(LCase("abcXYZ 123"), "abcxyz 123");
  EXPECT_EQ(UCase("\xE9\xFF\x9A\xF7\xDF"), "\xC9\x9F\x8A\xF7\xDF");
  EXPECT_EQ(LCase("\xC9\x9F\x8A\xD7"), "\xE9\xFF\x9A\xD7");
}

TEST(LegacyText, SplitOnASeparator) {
  EXPECT_EQ(Split("a,b,c", ","), (Strings{"a", "b", "c"}));
  EXPECT_EQ(Split("abc", ","), (Strings{"abc"}));
  EXPECT_EQ(Split("a::b", "::"), (Strings{"a", "b"}));
  EXPECT_EQ(Split(",a", ","), (Strings{"", "a"}));
}

TEST(LegacyText, SplitOfEmptyTextHasNoElements) {
  EXPECT_TRUE(Split("", ",").empty());
}

TEST(LegacyText, SplitWithATrailingSeparatorEndsWithAnEmptyElement) {
  EXPECT_EQ(Split("a,b,", ","), (Strings{"a", "b", ""}));
  EXPECT_EQ(Split(",", ","), (Strings{"", ""}));
}

TEST(LegacyText, SplitWithAnEmptySeparatorGivesTheWholeText) {
  EXPECT_EQ(Split("abc", ""), (Strings{"abc"}));
}

TEST(LegacyText, ReplaceEveryOccurrenceLeftToRight) {
  EXPECT_EQ(Replace("a.b.c", ".", "-"), "a-b-c");
  EXPECT_EQ(Replace("aaa", "aa", "b"), "ba");
  EXPECT_EQ(Replace("abc", "b", ""), "ac");
  EXPECT_EQ(Replace("abc", "x", "y"), "abc");
  EXPECT_EQ(Replace("a", "a", "aa"), "aa");
}

TEST(LegacyText, ReplaceWithAnEmptyFindChangesNothing) {
  EXPECT_EQ(Replace("abc", "", "x"), "abc");
}

// ---------------------------------------------------------------------------
// Random numbers

uint32_t NextSeed(uint32_t s) {
  const uint64_t wide = static_cast<uint64_t>(s) * 0x43FD43FDull + 0xC39EC3ull;
  return static_cast<uint32_t>(wide % 0x1000000ull);
}

TEST(LegacyRandom, SeedStartsAt0x50000) {
  EXPECT_EQ(Random().seed(), 0x50000u);
}

TEST(LegacyRandom, FirstValuesFollowTheLinearCongruence) {
  Random r;
  uint32_t s = 0x50000;
  for (int i = 0; i < 8; ++i) {
    s = NextSeed(s);
    const float v = r.Rnd();
    EXPECT_EQ(r.seed(), s) << "call " << i;
    EXPECT_EQ(v, static_cast<float>(static_cast<double>(s) / 16777216.0)) << "call " << i;
  }
}

TEST(LegacyRandom, FirstTwoSeedsWorkedByHand) {
  // 0x50000 * 0x43FD43FD + 0xC39EC3 keeps 0xB49EC3 in its low 24 bits.
  Random r;
  EXPECT_FLOAT_EQ(r.Rnd(), 11837123.0f / 16777216.0f);
  EXPECT_EQ(r.seed(), 0xB49EC3u);
  EXPECT_FLOAT_EQ(r.Rnd(), 8949370.0f / 16777216.0f);
  EXPECT_EQ(r.seed(), 0x888E7Au);
  EXPECT_NEAR(static_cast<double>(11837123.0f / 16777216.0f), 0.7055475, 1e-7);
}

TEST(LegacyRandom, ValuesStayBelowOne) {
  Random r;
  for (int i = 0; i < 100000; ++i) {
    const float v = r.Rnd();
    ASSERT_GE(v, 0.0f);
    ASSERT_LT(v, 1.0f);
  }
}

TEST(LegacyRandom, RandomizeMixesTheHighWordOfTheDouble) {
  const double t = 45123.75;  // a clock reading
  uint64_t bits = 0;
  std::memcpy(&bits, &t, sizeof bits);
  const uint32_t high = static_cast<uint32_t>(bits >> 32);
  const uint32_t middle = (((high & 0xFFFFu) ^ (high >> 16)) << 8) & 0x00FFFF00u;

  Random r;
  r.Randomize(t);
  EXPECT_EQ(r.seed(), (0x50000u & 0xFF0000FFu) | middle);

  Random q;
  q.Rnd();  // seed 0xB49EC3: its low byte 0xC3 survives
  q.Randomize(t);
  EXPECT_EQ(q.seed(), 0xC3u | middle);
  EXPECT_EQ(q.Rnd(), static_cast<float>(NextSeed(0xC3u | middle)) / 16777216.0f);
}

TEST(LegacyRandom, RandomizeWithDifferentClocksGivesDifferentSequences) {
  Random a;
  Random b;
  a.Randomize(1000.25);
  b.Randomize(2000.5);
  EXPECT_NE(a.seed(), b.seed());
  EXPECT_NE(a.Rnd(), b.Rnd());
}

// ---------------------------------------------------------------------------
// Windows-1252 to UTF-8

TEST(LegacyCp1252, AsciiPassesThrough) {
  EXPECT_EQ(Cp1252ToUtf8("Hello, 123\r\n"), "Hello, 123\r\n");
  EXPECT_EQ(Cp1252ToUtf8(""), "");
  EXPECT_EQ(Cp1252ToUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(LegacyCp1252, LatinOneRangeMapsToTheSameCodePoints) {
  EXPECT_EQ(Cp1252ToUtf8("\xA0"), "\xC2\xA0");
  EXPECT_EQ(Cp1252ToUtf8("caf\xE9"), "caf\xC3\xA9");
  EXPECT_EQ(Cp1252ToUtf8("\xFF"), "\xC3\xBF");
  EXPECT_EQ(Cp1252ToUtf8("\xB0"), "\xC2\xB0");
}

std::string Utf8Of(uint32_t cp) {
  std::string s;
  if (cp < 0x800) {
    s += static_cast<char>(0xC0 | (cp >> 6));
    s += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    s += static_cast<char>(0xE0 | (cp >> 12));
    s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (cp & 0x3F));
  }
  return s;
}

TEST(LegacyCp1252, HighControlRangeFollowsTheCodePageTable) {
  EXPECT_EQ(Cp1252ToUtf8("\x80"), "\xE2\x82\xAC");  // euro sign
  EXPECT_EQ(Cp1252ToUtf8("\x99"), "\xE2\x84\xA2");  // trade mark
  EXPECT_EQ(Cp1252ToUtf8("\x9F"), "\xC5\xB8");      // Y with diaeresis
  const struct {
    unsigned char byte;
    uint32_t code_point;
  } table[] = {
      {0x80, 0x20AC}, {0x81, 0x0081}, {0x82, 0x201A}, {0x83, 0x0192}, {0x84, 0x201E},
      {0x85, 0x2026}, {0x86, 0x2020}, {0x87, 0x2021}, {0x88, 0x02C6}, {0x89, 0x2030},
      {0x8A, 0x0160}, {0x8B, 0x2039}, {0x8C, 0x0152}, {0x8D, 0x008D}, {0x8E, 0x017D},
      {0x8F, 0x008F}, {0x90, 0x0090}, {0x91, 0x2018}, {0x92, 0x2019}, {0x93, 0x201C},
      {0x94, 0x201D}, {0x95, 0x2022}, {0x96, 0x2013}, {0x97, 0x2014}, {0x98, 0x02DC},
      {0x99, 0x2122}, {0x9A, 0x0161}, {0x9B, 0x203A}, {0x9C, 0x0153}, {0x9D, 0x009D},
      {0x9E, 0x017E}, {0x9F, 0x0178},
  };
  for (const auto& e : table) {
    EXPECT_EQ(Cp1252ToUtf8(std::string(1, static_cast<char>(e.byte))), Utf8Of(e.code_point))
        << "byte " << static_cast<int>(e.byte);
  }
}

TEST(LegacyCp1252, UndefinedBytesKeepTheirCodePoint) {
  EXPECT_EQ(Cp1252ToUtf8("\x81"), "\xC2\x81");
  EXPECT_EQ(Cp1252ToUtf8("\x8D"), "\xC2\x8D");
  EXPECT_EQ(Cp1252ToUtf8("\x8F"), "\xC2\x8F");
  EXPECT_EQ(Cp1252ToUtf8("\x90"), "\xC2\x90");
  EXPECT_EQ(Cp1252ToUtf8("\x9D"), "\xC2\x9D");
}

TEST(LegacyCp1252, EveryHighByteGivesOneCharacter) {
  for (int b = 0xA0; b <= 0xFF; ++b) {
    EXPECT_EQ(Cp1252ToUtf8(std::string(1, static_cast<char>(b))), Utf8Of(static_cast<uint32_t>(b)))
        << "byte " << b;
  }
}

// ---------------------------------------------------------------------------
// Nothing escapes

TEST(LegacyRobustness, ArbitraryInputsNeverThrow) {
  uint32_t s = 12345;
  auto next = [&] {
    s = s * 1103515245u + 12345u;
    return s >> 8;
  };
  const char alphabet[] = "0#.,;%\\\"-+eEdDhHmMnNsSyYaApP/ &xq 1234567890\t\n\r\x80\xFF";
  const double values[] = {0.0,
                           -0.0,
                           1.5,
                           -2.5,
                           1e20,
                           -1e-300,
                           123456.789,
                           1e308,
                           -1e308,
                           std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN(),
                           9.995,
                           0.0995};
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const int len = static_cast<int>(next() % 16);
    for (int i = 0; i < len; ++i) text += alphabet[next() % (sizeof alphabet - 1)];
    const double v = values[next() % (sizeof values / sizeof values[0])];
    const CivilTime t{static_cast<int>(next() % 3000),
                      static_cast<int>(next() % 14),
                      static_cast<int>(next() % 33),
                      static_cast<int>(next() % 25),
                      static_cast<int>(next() % 61),
                      static_cast<int>(next() % 61),
                      0};
    const int64_t n = static_cast<int64_t>(next() % 40) - 20;
    EXPECT_NO_THROW({
      (void)Format(v, text);
      (void)FormatText(text, "#,##0.00");
      (void)FormatDate(t, text);
      (void)Val(text);
      (void)FormatNumber(v, static_cast<int>(n));
      (void)Str(v);
      (void)StrSingle(static_cast<float>(v));
      (void)IntDiv(v, static_cast<double>(n));
      (void)Mod(v, static_cast<double>(n));
      (void)Mid(text, n, n);
      (void)Left(text, n);
      (void)Right(text, n);
      (void)InStr(n, text, "a", true);
      (void)Split(text, ",");
      (void)Replace(text, "0", "00");
      (void)UCase(text);
      (void)Cp1252ToUtf8(text);
    }) << "input '"
       << text << "' value " << v;
  }
}

}  // namespace
}  // namespace tarnex::legacy

namespace tarnex::legacy {
namespace {

TEST(LegacyImplicitNumber, WholeNumericTextConverts) {
  EXPECT_EQ(ImplicitNumber(" 12.5 "), 12.5);
  EXPECT_EQ(ImplicitNumber("-3"), -3.0);
  EXPECT_EQ(ImplicitNumber("1E3"), 1000.0);
  EXPECT_EQ(ImplicitNumber("True"), -1.0);
  EXPECT_EQ(ImplicitNumber("false"), 0.0);
}

TEST(LegacyImplicitNumber, EmptyOrPartlyNumericTextCannotBeConverted) {
  EXPECT_FALSE(ImplicitNumber("").has_value());
  EXPECT_FALSE(ImplicitNumber("   ").has_value());
  EXPECT_FALSE(ImplicitNumber("12abc").has_value());
  EXPECT_FALSE(ImplicitNumber(".").has_value());
}

}  // namespace
}  // namespace tarnex::legacy
