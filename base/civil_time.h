// A local date and time with no time zone attached: what the wall clock of the
// server shows. The program only ever works with local time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarnex {

struct CivilTime {
  int year = 2000;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millis = 0;  // 0..999

  friend bool operator==(const CivilTime&, const CivilTime&) = default;
};

// Days since 1970-01-01 of a proleptic Gregorian date.
constexpr int64_t DaysFromCivil(int y, int m, int d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

constexpr void CivilFromDays(int64_t z, int& y, int& m, int& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
}

// Milliseconds since 1970-01-01 00:00:00 of the same naive local time.
constexpr int64_t ToEpochMillis(const CivilTime& t) {
  return ((DaysFromCivil(t.year, t.month, t.day) * 24 + t.hour) * 60 + t.minute) * 60000LL +
         t.second * 1000LL + t.millis;
}

constexpr CivilTime FromEpochMillis(int64_t ms) {
  int64_t days = ms >= 0 ? ms / 86400000 : -((-ms + 86399999) / 86400000);
  int64_t rest = ms - days * 86400000;
  CivilTime t;
  CivilFromDays(days, t.year, t.month, t.day);
  t.hour = static_cast<int>(rest / 3600000);
  t.minute = static_cast<int>(rest / 60000 % 60);
  t.second = static_cast<int>(rest / 1000 % 60);
  t.millis = static_cast<int>(rest % 1000);
  return t;
}

// 0 = Sunday .. 6 = Saturday.
constexpr int Weekday(const CivilTime& t) {
  const int64_t d = DaysFromCivil(t.year, t.month, t.day);
  return static_cast<int>(((d + 4) % 7 + 7) % 7);
}

// 1 for the first of January.
constexpr int DayOfYear(const CivilTime& t) {
  return static_cast<int>(DaysFromCivil(t.year, t.month, t.day) - DaysFromCivil(t.year, 1, 1) + 1);
}

// The calendar comparisons of the roll-overs: the same day, month or year.
constexpr bool SameDay(const CivilTime& a, const CivilTime& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day;
}
constexpr bool SameMonth(const CivilTime& a, const CivilTime& b) {
  return a.year == b.year && a.month == b.month;
}
constexpr bool SameYear(const CivilTime& a, const CivilTime& b) {
  return a.year == b.year;
}

// Seconds since midnight, with the fraction.
constexpr double SecondsSinceMidnight(const CivilTime& t) {
  return t.hour * 3600.0 + t.minute * 60.0 + t.second + t.millis / 1000.0;
}

// The years a start time may name: from the first year of the host's clock to
// a last one that keeps four digits for a century of running after it.
constexpr int kFirstStartYear = 1970;
constexpr int kLastStartYear = 2999;

// "YYYY-MM-DD HH:MM:SS" as a local time, every field with exactly that many
// digits and the year from kFirstStartYear to kLastStartYear; nothing when
// the text is not a valid date and time in that form.
std::optional<CivilTime> ParseCivilTime(const std::string& text);

}  // namespace tarnex
