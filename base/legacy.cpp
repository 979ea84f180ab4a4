// The legacy runtime's text and number behaviour. None of these functions
// throws: every input, however odd, gives some text or number.

#include "base/legacy.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tarnex::legacy {

namespace {

// ---------------------------------------------------------------------------
// Decimal digits of a double.

// The decimal digits of a positive finite number rounded to `precision`
// significant digits: digit[0] stands for 10^exponent.
struct Digits {
  std::array<char, 24> digit{};
  int count = 0;
  int exponent = 0;
};

template <typename T>
Digits SignificantDigits(T positive, int precision) {
  Digits out;
  char buf[64];
  const auto res =
      std::to_chars(buf, buf + sizeof buf, positive, std::chars_format::scientific, precision - 1);
  const char* p = buf;
  const char* end = res.ptr;
  for (; p < end && *p != 'e'; ++p) {
    if (*p >= '0' && *p <= '9' && out.count < static_cast<int>(out.digit.size())) {
      out.digit[out.count++] = *p;
    }
  }
  if (p < end) {  // the exponent
    ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
    int e = 0;
    for (; p < end; ++p) e = e * 10 + (*p - '0');
    out.exponent = negative ? -e : e;
  }
  return out;
}

// |value| rounded half away from zero to `decimals` places, taken from its
// first 15 significant digits. int_digits has no leading zero ("" for a whole
// part of 0); frac_digits has exactly `decimals` characters.
void RoundToPlaces(double positive, int decimals, std::string& int_digits,
                   std::string& frac_digits) {
  int_digits.clear();
  frac_digits.assign(static_cast<size_t>(decimals), '0');
  if (!(positive > 0)) return;
  const Digits d = SignificantDigits(positive, 15);
  int exponent = d.exponent;
  // Digits kept: those standing for 10^-decimals and above.
  const int keep = exponent + 1 + decimals;
  std::string kept;
  if (keep < 0) {
    return;
  } else if (keep == 0) {
    if (d.digit[0] < '5') return;
    kept = "1";
    exponent += 1;
  } else if (keep >= d.count) {
    kept.assign(d.digit.data(), static_cast<size_t>(d.count));
  } else {
    kept.assign(d.digit.data(), static_cast<size_t>(keep));
    if (d.digit[keep] >= '5') {
      int i = keep - 1;
      for (; i >= 0; --i) {
        if (kept[i] == '9') {
          kept[i] = '0';
        } else {
          ++kept[i];
          break;
        }
      }
      if (i < 0) {
        kept.insert(kept.begin(), '1');
        exponent += 1;
      }
    }
  }
  const int n = static_cast<int>(kept.size());
  auto at = [&](int index) { return index >= 0 && index < n ? kept[index] : '0'; };
  if (exponent >= 0) {
    int_digits.reserve(static_cast<size_t>(exponent) + 1);
    for (int i = 0; i <= exponent; ++i) int_digits.push_back(at(i));
  }
  for (int q = 1; q <= decimals; ++q) frac_digits[q - 1] = at(exponent + q);
}

std::string NonFiniteText(double value) {
  if (std::isnan(value)) return "NaN";
  return value < 0 ? "-Inf" : "Inf";
}

// Shortest text of a number at `precision` significant digits, switching to
// the exponent form as the runtime does.
template <typename T>
std::string NumberText(T value, int precision) {
  if (std::isnan(value) || std::isinf(value)) return NonFiniteText(static_cast<double>(value));
  if (value == 0) return "0";  // negative zero too
  std::string out;
  if (value < 0) {
    out.push_back('-');
    value = -value;
  }
  const Digits d = SignificantDigits(value, precision);
  int count = d.count;
  while (count > 1 && d.digit[count - 1] == '0') --count;
  const int x = d.exponent;
  if (x < -4 || x >= precision) {
    out.push_back(d.digit[0]);
    if (count > 1) {
      out.push_back('.');
      out.append(d.digit.data() + 1, static_cast<size_t>(count - 1));
    }
    out.push_back('E');
    out.push_back(x < 0 ? '-' : '+');
    const int ax = x < 0 ? -x : x;
    if (ax < 10) out.push_back('0');
    out += std::to_string(ax);
    return out;
  }
  if (x >= 0) {
    for (int i = 0; i <= x; ++i) out.push_back(i < count ? d.digit[i] : '0');
    if (count > x + 1) {
      out.push_back('.');
      out.append(d.digit.data() + x + 1, static_cast<size_t>(count - x - 1));
    }
  } else {
    out += "0.";
    out.append(static_cast<size_t>(-x - 1), '0');
    out.append(d.digit.data(), static_cast<size_t>(count));
  }
  return out;
}

// ---------------------------------------------------------------------------
// Numeric patterns.

enum class Item : unsigned char { kZero, kHash, kPoint, kComma, kLiteral };

struct PatternItem {
  Item kind;
  std::string_view text;  // for literals
};

bool IsDigitItem(Item k) {
  return k == Item::kZero || k == Item::kHash;
}

// Splits a pattern into its sections at ";" outside quotes and escapes.
std::vector<std::string_view> SplitSections(std::string_view pattern) {
  std::vector<std::string_view> sections;
  size_t begin = 0;
  bool quoted = false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (quoted) {
      if (c == '"') quoted = false;
    } else if (c == '"') {
      quoted = true;
    } else if (c == '\\') {
      ++i;
    } else if (c == ';') {
      sections.push_back(pattern.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  sections.push_back(pattern.substr(begin));
  return sections;
}

std::vector<PatternItem> ParseNumberPattern(std::string_view s) {
  std::vector<PatternItem> items;
  items.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    switch (c) {
      case '0':
        items.push_back({Item::kZero, {}});
        break;
      case '#':
        items.push_back({Item::kHash, {}});
        break;
      case '.':
        items.push_back({Item::kPoint, {}});
        break;
      case ',':
        items.push_back({Item::kComma, {}});
        break;
      case '\\':
        if (i + 1 < s.size()) {
          items.push_back({Item::kLiteral, s.substr(i + 1, 1)});
          ++i;
        }
        break;
      case '"': {
        const size_t close = s.find('"', i + 1);
        const size_t stop = close == std::string_view::npos ? s.size() : close;
        if (stop > i + 1) items.push_back({Item::kLiteral, s.substr(i + 1, stop - i - 1)});
        i = stop;
        break;
      }
      default:
        items.push_back({Item::kLiteral, s.substr(i, 1)});
        break;
    }
  }
  return items;
}

// Formats a non-negative finite number with one pattern section.
std::string FormatSection(double positive, std::string_view section) {
  const std::vector<PatternItem> items = ParseNumberPattern(section);
  const size_t n = items.size();
  size_t point = n;
  for (size_t i = 0; i < n; ++i) {
    if (items[i].kind == Item::kPoint) {
      point = i;
      break;
    }
  }
  // Integer placeholders, fraction placeholders, grouping.
  int int_places = 0;
  int frac_places = 0;
  size_t first_int = n;
  size_t last_int = n;
  for (size_t i = 0; i < n; ++i) {
    if (!IsDigitItem(items[i].kind)) continue;
    if (i < point) {
      if (first_int == n) first_int = i;
      last_int = i;
      ++int_places;
    } else {
      ++frac_places;
    }
  }
  // Grouping: a comma with a whole-part placeholder on each side.
  bool grouping = false;
  for (size_t i = first_int; i < last_int && !grouping; ++i) {
    grouping = items[i].kind == Item::kComma;
  }

  std::string int_digits;
  std::string frac_digits;
  RoundToPlaces(positive, frac_places, int_digits, frac_digits);
  const int len = static_cast<int>(int_digits.size());

  // The whole part, built from right to left.
  std::string whole;
  auto put_digit = [&](int position) {
    if (grouping && position > 0 && position % 3 == 0) whole.push_back(',');
    whole.push_back(position < len ? int_digits[len - 1 - position] : '0');
  };
  int position = 0;
  for (size_t i = point; i-- > 0;) {
    const PatternItem& it = items[i];
    if (it.kind == Item::kLiteral) {
      for (size_t k = it.text.size(); k-- > 0;) whole.push_back(it.text[k]);
    } else if (IsDigitItem(it.kind)) {
      if (i == first_int) {
        // The leftmost placeholder takes every digit still to be printed.
        if (position < len) {
          for (; position < len; ++position) put_digit(position);
        } else if (it.kind == Item::kZero) {
          put_digit(position++);
        }
      } else {
        if (position < len || it.kind == Item::kZero) put_digit(position);
        ++position;
      }
    }
  }
  std::string out(whole.rbegin(), whole.rend());
  if (int_places == 0 && point == n) {
    // No placeholder at all: the pattern's literals stand alone.
    return out;
  }
  if (int_places == 0) out += int_digits;  // whole digits stand before the point

  if (point < n) {
    // Fraction: '#' prints its digit up to the last significant one or the
    // last '0' placeholder, whichever is further right.
    int last = 0;
    int k = 0;
    for (size_t i = point + 1; i < n; ++i) {
      if (!IsDigitItem(items[i].kind)) continue;
      ++k;
      if (items[i].kind == Item::kZero || frac_digits[k - 1] != '0') last = k;
    }
    k = 0;
    out.push_back('.');
    for (size_t i = point + 1; i < n; ++i) {
      const PatternItem& it = items[i];
      if (it.kind == Item::kLiteral) {
        out += it.text;
      } else if (it.kind == Item::kPoint) {
        out.push_back('.');
      } else if (IsDigitItem(it.kind)) {
        ++k;
        if (k <= last) out.push_back(frac_digits[k - 1]);
      }
    }
  }
  return out;
}

// ---------------------------------------------------------------------------
// Letters of the single-byte character set.

unsigned char LowerByte(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return static_cast<unsigned char>(c + 32);
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<unsigned char>(c + 32);
  switch (c) {
    case 0x8A:
    case 0x8C:
    case 0x8E:
      return static_cast<unsigned char>(c + 0x10);
    case 0x9F:
      return 0xFF;
    default:
      return c;
  }
}

unsigned char UpperByte(unsigned char c) {
  if (c >= 'a' && c <= 'z') return static_cast<unsigned char>(c - 32);
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<unsigned char>(c - 32);
  switch (c) {
    case 0x9A:
    case 0x9C:
    case 0x9E:
      return static_cast<unsigned char>(c - 0x10);
    case 0xFF:
      return 0x9F;
    default:
      return c;
  }
}

char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// ---------------------------------------------------------------------------
// Dates.

constexpr std::array<const char*, 12> kMonthNames = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<const char*, 7> kDayNames = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                  "Thursday", "Friday", "Saturday"};

std::string_view MonthName(int month, bool abbreviated) {
  if (month < 1 || month > 12) return {};
  std::string_view name = kMonthNames[static_cast<size_t>(month - 1)];
  return abbreviated ? name.substr(0, 3) : name;
}

std::string_view DayName(const CivilTime& t, bool abbreviated) {
  std::string_view name = kDayNames[static_cast<size_t>(Weekday(t))];
  return abbreviated ? name.substr(0, 3) : name;
}

void AppendInt(std::string& out, int64_t v, int min_width) {
  char buf[24];
  const auto res = std::to_chars(buf, buf + sizeof buf, v < 0 ? -v : v);
  const int width = static_cast<int>(res.ptr - buf);
  if (v < 0) out.push_back('-');
  for (int i = width; i < min_width; ++i) out.push_back('0');
  out.append(buf, res.ptr);
}

int Hour12(int hour) {
  const int h = ((hour % 12) + 12) % 12;
  return h == 0 ? 12 : h;
}

enum class DateTok : unsigned char {
  kLiteral,
  kDay,         // d
  kDay2,        // dd
  kDayAbbr,     // ddd
  kDayName,     // dddd
  kShortDate,   // ddddd
  kLongDate,    // dddddd
  kWeekday,     // w
  kWeek,        // ww
  kMonth,       // m
  kMonth2,      // mm
  kMonthAbbr,   // mmm
  kMonthName,   // mmmm
  kQuarter,     // q
  kDayOfYear,   // y
  kYear2,       // yy
  kYear4,       // yyyy
  kHour,        // h
  kHour2,       // hh
  kMinute,      // n, or m after an hour
  kMinute2,     // nn, or mm after an hour
  kSecond,      // s
  kSecond2,     // ss
  kAmPmLocale,  // AMPM
  kAmPmOwn,     // AM/PM, am/pm, A/P: the pattern's own letters
};

struct DateToken {
  DateTok kind;
  std::string_view text;  // the literal, or the pattern's own AM/PM letters
};

bool MatchNoCase(std::string_view s, size_t at, std::string_view word) {
  if (s.size() - at < word.size()) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    if (AsciiLower(s[at + i]) != word[i]) return false;
  }
  return true;
}

// Tokenises a date pattern. Sets `twelve_hour` when a half-day mark appears.
void ParseDatePattern(std::string_view s, std::vector<DateToken>& tokens, bool& twelve_hour) {
  twelve_hour = false;
  bool after_hour = false;  // the nearest date/time token so far is h or hh
  auto emit = [&](DateTok kind) {
    tokens.push_back({kind, {}});
    after_hour = kind == DateTok::kHour || kind == DateTok::kHour2;
  };
  size_t i = 0;
  while (i < s.size()) {
    const char c = AsciiLower(s[i]);
    size_t run = 1;
    while (i + run < s.size() && AsciiLower(s[i + run]) == c) ++run;
    switch (c) {
      case 'd': {
        size_t left = run;
        while (left > 0) {
          const size_t take = left >= 6 ? 6 : left;
          static constexpr DateTok kByLength[] = {DateTok::kDay,       DateTok::kDay2,
                                                  DateTok::kDayAbbr,   DateTok::kDayName,
                                                  DateTok::kShortDate, DateTok::kLongDate};
          emit(kByLength[take - 1]);
          left -= take;
        }
        i += run;
        break;
      }
      case 'm': {
        size_t left = run;
        while (left > 0) {
          const size_t take = left >= 4 ? 4 : left;
          if (take <= 2 && after_hour) {
            emit(take == 1 ? DateTok::kMinute : DateTok::kMinute2);
          } else {
            static constexpr DateTok kByLength[] = {DateTok::kMonth, DateTok::kMonth2,
                                                    DateTok::kMonthAbbr, DateTok::kMonthName};
            emit(kByLength[take - 1]);
          }
          left -= take;
        }
        i += run;
        break;
      }
      case 'y': {
        size_t left = run;
        while (left > 0) {
          if (left >= 4) {
            emit(DateTok::kYear4);
            left -= 4;
          } else if (left >= 2) {
            emit(DateTok::kYear2);
            left -= 2;
          } else {
            emit(DateTok::kDayOfYear);
            left -= 1;
          }
        }
        i += run;
        break;
      }
      case 'h':
      case 'n':
      case 's':
      case 'w': {
        size_t left = run;
        while (left > 0) {
          const bool two = left >= 2;
          DateTok kind;
          if (c == 'h') {
            kind = two ? DateTok::kHour2 : DateTok::kHour;
          } else if (c == 'n') {
            kind = two ? DateTok::kMinute2 : DateTok::kMinute;
          } else if (c == 's') {
            kind = two ? DateTok::kSecond2 : DateTok::kSecond;
          } else {
            kind = two ? DateTok::kWeek : DateTok::kWeekday;
          }
          emit(kind);
          left -= two ? 2 : 1;
        }
        i += run;
        break;
      }
      case 'q':
        for (size_t k = 0; k < run; ++k) emit(DateTok::kQuarter);
        i += run;
        break;
      case 'a':
        if (MatchNoCase(s, i, "am/pm")) {
          tokens.push_back({DateTok::kAmPmOwn, s.substr(i, 5)});
          twelve_hour = true;
          i += 5;
        } else if (MatchNoCase(s, i, "ampm")) {
          tokens.push_back({DateTok::kAmPmLocale, {}});
          twelve_hour = true;
          i += 4;
        } else if (MatchNoCase(s, i, "a/p")) {
          tokens.push_back({DateTok::kAmPmOwn, s.substr(i, 3)});
          twelve_hour = true;
          i += 3;
        } else {
          tokens.push_back({DateTok::kLiteral, s.substr(i, 1)});
          ++i;
        }
        break;
      case '\\':
        if (i + 1 < s.size()) tokens.push_back({DateTok::kLiteral, s.substr(i + 1, 1)});
        i += 2;
        break;
      case '"': {
        const size_t close = s.find('"', i + 1);
        const size_t stop = close == std::string_view::npos ? s.size() : close;
        if (stop > i + 1) tokens.push_back({DateTok::kLiteral, s.substr(i + 1, stop - i - 1)});
        i = stop + 1;
        break;
      }
      default:
        tokens.push_back({DateTok::kLiteral, s.substr(i, 1)});
        ++i;
        break;
    }
  }
}

void AppendShortDate(std::string& out, const CivilTime& t) {
  AppendInt(out, t.month, 1);
  out.push_back('/');
  AppendInt(out, t.day, 1);
  out.push_back('/');
  AppendInt(out, t.year, 4);
}

void AppendLongTime(std::string& out, const CivilTime& t) {
  AppendInt(out, Hour12(t.hour), 1);
  out.push_back(':');
  AppendInt(out, t.minute, 2);
  out.push_back(':');
  AppendInt(out, t.second, 2);
  out += t.hour < 12 ? " AM" : " PM";
}

// ---------------------------------------------------------------------------
// Numeric text.

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// A text that reads completely as a number (blanks around it and grouping
// commas in its whole part allowed).
bool ParseNumericText(std::string_view text, double& value) {
  size_t b = 0;
  size_t e = text.size();
  while (b < e && IsBlank(text[b])) ++b;
  while (e > b && IsBlank(text[e - 1])) --e;
  std::string clean;
  clean.reserve(e - b);
  size_t i = b;
  bool negative = false;
  if (i < e && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  bool digits = false;
  for (; i < e; ++i) {
    const char c = text[i];
    if (c >= '0' && c <= '9') {
      clean.push_back(c);
      digits = true;
    } else if (c == ',' && digits) {
      // grouping comma
    } else {
      break;
    }
  }
  if (i < e && text[i] == '.') {
    clean.push_back('.');
    for (++i; i < e && text[i] >= '0' && text[i] <= '9'; ++i) {
      clean.push_back(text[i]);
      digits = true;
    }
  }
  if (!digits) return false;
  if (i < e && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
    clean.push_back('e');
    ++i;
    if (i < e && (text[i] == '+' || text[i] == '-')) clean.push_back(text[i++]);
    bool exp_digits = false;
    for (; i < e && text[i] >= '0' && text[i] <= '9'; ++i) {
      clean.push_back(text[i]);
      exp_digits = true;
    }
    if (!exp_digits) return false;
  }
  if (i != e) return false;
  double v = 0;
  const auto res = std::from_chars(clean.data(), clean.data() + clean.size(), v);
  if (res.ec != std::errc() || res.ptr != clean.data() + clean.size()) return false;
  value = negative ? -v : v;
  return true;
}

bool IsValBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n';
}

// &H / &O numbers: up to 16 bits they read as a signed 16-bit integer, up to
// 32 bits as a signed 32-bit integer; a trailing '&' keeps the 32-bit reading.
double ValRadix(std::string_view text, size_t i, int radix) {
  uint64_t v = 0;
  bool any = false;
  bool overflow = false;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (IsValBlank(c)) continue;
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (radix == 16 && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))) {
      digit = AsciiLower(c) - 'a' + 10;
    } else {
      break;
    }
    if (digit >= radix) break;
    any = true;
    v = v * static_cast<uint64_t>(radix) + static_cast<uint64_t>(digit);
    if (v > 0xFFFFFFFFull) {
      overflow = true;
      v = 0x100000000ull;  // keeps the arithmetic bounded
    }
  }
  if (!any || overflow) return 0;
  while (i < text.size() && IsValBlank(text[i])) ++i;
  const bool long_suffix = i < text.size() && text[i] == '&';
  if (v <= 0xFFFF && !long_suffix) return static_cast<double>(static_cast<int16_t>(v));
  return static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(v)));
}

// ---------------------------------------------------------------------------

int64_t RoundHalfEven(double x) {
  if (std::isnan(x)) return 0;
  if (x >= 9223372036854775807.0) return std::numeric_limits<int64_t>::max();
  if (x <= -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
  const double f = std::floor(x);
  const double diff = x - f;
  double r = f;
  if (diff > 0.5) {
    r = f + 1;
  } else if (diff == 0.5) {
    r = std::fmod(f, 2.0) == 0 ? f : f + 1;
  }
  if (r >= 9223372036854775807.0) return std::numeric_limits<int64_t>::max();
  return static_cast<int64_t>(r);
}

std::string_view Tail(std::string_view text, int64_t start) {
  if (start < 1) start = 1;
  if (static_cast<uint64_t>(start) > text.size()) return {};
  return text.substr(static_cast<size_t>(start - 1));
}

void AppendUtf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

constexpr std::array<uint16_t, 32> kCp1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

}  // namespace

// ---------------------------------------------------------------------------

double Val(std::string_view text) {
  size_t i = 0;
  const size_t n = text.size();
  auto skip = [&] {
    while (i < n && IsValBlank(text[i])) ++i;
  };
  skip();
  if (i < n && text[i] == '&') {
    ++i;
    skip();
    if (i < n && (text[i] == 'h' || text[i] == 'H')) return ValRadix(text, i + 1, 16);
    if (i < n && (text[i] == 'o' || text[i] == 'O')) return ValRadix(text, i + 1, 8);
    return 0;
  }
  bool negative = false;
  if (i < n && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  std::string clean;
  bool digits = false;
  bool point = false;
  for (; i < n; ++i) {
    const char c = text[i];
    if (IsValBlank(c)) continue;
    if (c >= '0' && c <= '9') {
      clean.push_back(c);
      digits = true;
    } else if (c == '.' && !point) {
      clean.push_back('.');
      point = true;
    } else {
      break;
    }
  }
  if (!digits) return 0;
  if (i < n && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
    std::string exponent = "e";
    size_t j = i + 1;
    while (j < n && IsValBlank(text[j])) ++j;
    if (j < n && (text[j] == '+' || text[j] == '-')) exponent.push_back(text[j++]);
    bool exp_digits = false;
    for (; j < n; ++j) {
      const char c = text[j];
      if (IsValBlank(c)) continue;
      if (c < '0' || c > '9') break;
      exponent.push_back(c);
      exp_digits = true;
    }
    if (exp_digits) clean += exponent;
  }
  if (clean.front() == '.') clean.insert(clean.begin(), '0');
  double v = 0;
  const auto res = std::from_chars(clean.data(), clean.data() + clean.size(), v);
  if (res.ec != std::errc() || !std::isfinite(v)) return 0;
  if (v == 0) return 0;
  return negative ? -v : v;
}

std::string Format(double value, std::string_view pattern) {
  if (!std::isfinite(value)) return NonFiniteText(value);
  if (pattern.empty()) return Str(value);
  if (pattern.find(';') == std::string_view::npos) {
    return value < 0 ? "-" + FormatSection(-value, pattern) : FormatSection(value, pattern);
  }
  const std::vector<std::string_view> sections = SplitSections(pattern);
  if (value < 0 && sections.size() >= 2 && !sections[1].empty()) {
    return FormatSection(-value, sections[1]);
  }
  if (value == 0 && sections.size() >= 3 && !sections[2].empty()) {
    return FormatSection(0, sections[2]);
  }
  if (value < 0) return "-" + FormatSection(-value, sections[0]);
  return FormatSection(value, sections[0]);
}

std::string FormatText(std::string_view text, std::string_view pattern) {
  double value = 0;
  if (!ParseNumericText(text, value)) return std::string(text);
  return Format(value, pattern);
}

std::string FormatDate(const CivilTime& t, std::string_view pattern) {
  std::vector<DateToken> tokens;
  tokens.reserve(pattern.size());
  bool twelve = false;
  ParseDatePattern(pattern, tokens, twelve);
  const bool am = t.hour < 12;
  std::string out;
  out.reserve(pattern.size() + 16);
  for (const DateToken& tok : tokens) {
    switch (tok.kind) {
      case DateTok::kLiteral:
        out += tok.text;
        break;
      case DateTok::kDay:
        AppendInt(out, t.day, 1);
        break;
      case DateTok::kDay2:
        AppendInt(out, t.day, 2);
        break;
      case DateTok::kDayAbbr:
        out += DayName(t, true);
        break;
      case DateTok::kDayName:
        out += DayName(t, false);
        break;
      case DateTok::kShortDate:
        AppendShortDate(out, t);
        break;
      case DateTok::kLongDate:
        out += DayName(t, false);
        out += ", ";
        out += MonthName(t.month, false);
        out.push_back(' ');
        AppendInt(out, t.day, 1);
        out += ", ";
        AppendInt(out, t.year, 4);
        break;
      case DateTok::kWeekday:
        AppendInt(out, Weekday(t) + 1, 1);
        break;
      case DateTok::kWeek: {
        const CivilTime jan1{t.year, 1, 1, 0, 0, 0, 0};
        AppendInt(out, (DayOfYear(t) - 1 + Weekday(jan1)) / 7 + 1, 1);
        break;
      }
      case DateTok::kMonth:
        AppendInt(out, t.month, 1);
        break;
      case DateTok::kMonth2:
        AppendInt(out, t.month, 2);
        break;
      case DateTok::kMonthAbbr:
        out += MonthName(t.month, true);
        break;
      case DateTok::kMonthName:
        out += MonthName(t.month, false);
        break;
      case DateTok::kQuarter:
        AppendInt(out, (t.month - 1) / 3 + 1, 1);
        break;
      case DateTok::kDayOfYear:
        AppendInt(out, DayOfYear(t), 1);
        break;
      case DateTok::kYear2:
        AppendInt(out, ((t.year % 100) + 100) % 100, 2);
        break;
      case DateTok::kYear4:
        AppendInt(out, t.year, 4);
        break;
      case DateTok::kHour:
        AppendInt(out, twelve ? Hour12(t.hour) : t.hour, 1);
        break;
      case DateTok::kHour2:
        AppendInt(out, twelve ? Hour12(t.hour) : t.hour, 2);
        break;
      case DateTok::kMinute:
        AppendInt(out, t.minute, 1);
        break;
      case DateTok::kMinute2:
        AppendInt(out, t.minute, 2);
        break;
      case DateTok::kSecond:
        AppendInt(out, t.second, 1);
        break;
      case DateTok::kSecond2:
        AppendInt(out, t.second, 2);
        break;
      case DateTok::kAmPmLocale:
        out += am ? "AM" : "PM";
        break;
      case DateTok::kAmPmOwn:
        // "AM/PM" or "A/P": the part before the slash for the morning.
        if (tok.text.size() == 5) {
          out += am ? tok.text.substr(0, 2) : tok.text.substr(3, 2);
        } else {
          out.push_back(am ? tok.text[0] : tok.text[2]);
        }
        break;
    }
  }
  return out;
}

std::string DateText(const CivilTime& t) {
  std::string out;
  AppendShortDate(out, t);
  return out;
}

std::string TimeText(const CivilTime& t) {
  std::string out;
  AppendLongTime(out, t);
  return out;
}

std::string DateTimeText(const CivilTime& t) {
  std::string out;
  AppendShortDate(out, t);
  out.push_back(' ');
  AppendLongTime(out, t);
  return out;
}

std::string FormatNumber(double value, int decimals) {
  if (!std::isfinite(value)) return NonFiniteText(value);
  if (decimals < 0) decimals = 2;  // the regional default
  if (decimals > 99) decimals = 99;
  std::string int_digits;
  std::string frac_digits;
  RoundToPlaces(value < 0 ? -value : value, decimals, int_digits, frac_digits);
  std::string out;
  out.reserve(int_digits.size() * 4 / 3 + frac_digits.size() + 4);
  if (value < 0) out.push_back('-');
  if (int_digits.empty()) {
    out.push_back('0');
  } else {
    const size_t len = int_digits.size();
    for (size_t i = 0; i < len; ++i) {
      if (i > 0 && (len - i) % 3 == 0) out.push_back(',');
      out.push_back(int_digits[i]);
    }
  }
  if (decimals > 0) {
    out.push_back('.');
    out += frac_digits;
  }
  return out;
}

std::string FN(double value) {
  return FormatNumber(value, 0);
}

std::string Str(double value) {
  return NumberText(value, 15);
}

std::string StrSingle(float value) {
  return NumberText(value, 7);
}

double Int(double value) {
  return std::floor(value);
}

int64_t CLng(double value) {
  return RoundHalfEven(value);
}

int64_t IntDiv(double a, double b) {
  const int64_t x = RoundHalfEven(a);
  const int64_t y = RoundHalfEven(b);
  if (y == 0) return 0;
  if (y == -1) return x == std::numeric_limits<int64_t>::min() ? x : -x;
  return x / y;
}

int64_t Mod(double a, double b) {
  const int64_t x = RoundHalfEven(a);
  const int64_t y = RoundHalfEven(b);
  if (y == 0 || y == -1) return 0;
  return x % y;
}

std::string Mid(std::string_view text, int64_t start) {
  return std::string(Tail(text, start));
}

std::string Mid(std::string_view text, int64_t start, int64_t length) {
  if (length <= 0) return {};
  const std::string_view tail = Tail(text, start);
  return std::string(tail.substr(
      0, static_cast<uint64_t>(length) < tail.size() ? static_cast<size_t>(length) : tail.size()));
}

std::string Left(std::string_view text, int64_t length) {
  if (length <= 0) return {};
  if (static_cast<uint64_t>(length) >= text.size()) return std::string(text);
  return std::string(text.substr(0, static_cast<size_t>(length)));
}

std::string Right(std::string_view text, int64_t length) {
  if (length <= 0) return {};
  if (static_cast<uint64_t>(length) >= text.size()) return std::string(text);
  return std::string(text.substr(text.size() - static_cast<size_t>(length)));
}

int64_t InStr(std::string_view haystack, std::string_view needle, bool text_compare) {
  return InStr(1, haystack, needle, text_compare);
}

int64_t InStr(int64_t start, std::string_view haystack, std::string_view needle,
              bool text_compare) {
  if (start < 1) start = 1;
  if (haystack.empty() || static_cast<uint64_t>(start) > haystack.size()) return 0;
  if (needle.empty()) return start;
  const size_t from = static_cast<size_t>(start - 1);
  if (!text_compare) {
    const size_t at = haystack.find(needle, from);
    return at == std::string_view::npos ? 0 : static_cast<int64_t>(at) + 1;
  }
  if (needle.size() > haystack.size()) return 0;
  for (size_t at = from; at + needle.size() <= haystack.size(); ++at) {
    size_t k = 0;
    while (k < needle.size() && LowerByte(static_cast<unsigned char>(haystack[at + k])) ==
                                    LowerByte(static_cast<unsigned char>(needle[k]))) {
      ++k;
    }
    if (k == needle.size()) return static_cast<int64_t>(at) + 1;
  }
  return 0;
}

std::string Trim(std::string_view text) {
  const size_t b = text.find_first_not_of(' ');
  if (b == std::string_view::npos) return {};
  const size_t e = text.find_last_not_of(' ');
  return std::string(text.substr(b, e - b + 1));
}

std::string LTrim(std::string_view text) {
  const size_t b = text.find_first_not_of(' ');
  if (b == std::string_view::npos) return {};
  return std::string(text.substr(b));
}

std::string RTrim(std::string_view text) {
  const size_t e = text.find_last_not_of(' ');
  if (e == std::string_view::npos) return {};
  return std::string(text.substr(0, e + 1));
}

std::string UCase(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(UpperByte(static_cast<unsigned char>(c)));
  return out;
}

std::string LCase(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(LowerByte(static_cast<unsigned char>(c)));
  return out;
}

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  if (separator.empty()) {
    parts.emplace_back(text);
    return parts;
  }
  size_t begin = 0;
  for (;;) {
    const size_t at = text.find(separator, begin);
    if (at == std::string_view::npos) {
      parts.emplace_back(text.substr(begin));
      return parts;
    }
    parts.emplace_back(text.substr(begin, at - begin));
    begin = at + separator.size();
  }
}

std::string Replace(std::string_view text, std::string_view find, std::string_view with) {
  if (find.empty()) return std::string(text);
  std::string out;
  out.reserve(text.size());
  size_t begin = 0;
  for (;;) {
    const size_t at = text.find(find, begin);
    if (at == std::string_view::npos) {
      out += text.substr(begin);
      return out;
    }
    out += text.substr(begin, at - begin);
    out += with;
    begin = at + find.size();
  }
}

float Random::Rnd() {
  seed_ = (seed_ * 0x43FD43FDu + 0xC39EC3u) & 0xFFFFFFu;
  return static_cast<float>(seed_) / 16777216.0f;
}

void Random::Randomize(double seed_value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &seed_value, sizeof bits);
  const uint32_t h = static_cast<uint32_t>(bits >> 32);
  seed_ = (seed_ & 0xFF0000FFu) | ((((h & 0xFFFFu) ^ (h >> 16)) << 8) & 0x00FFFF00u);
}

std::string Cp1252ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 2);
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c < 0x80) {
      out.push_back(ch);
    } else if (c < 0xA0) {
      AppendUtf8(out, kCp1252High[c - 0x80]);
    } else {
      AppendUtf8(out, c);
    }
  }
  return out;
}

std::string Utf8ToCp1252(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    uint32_t code = 0;
    size_t length = 1;
    if (c < 0x80) {
      code = c;
    } else if ((c & 0xE0) == 0xC0) {
      code = c & 0x1F;
      length = 2;
    } else if ((c & 0xF0) == 0xE0) {
      code = c & 0x0F;
      length = 3;
    } else if ((c & 0xF8) == 0xF0) {
      code = c & 0x07;
      length = 4;
    } else {
      out.push_back('?');
      ++i;
      continue;
    }
    bool whole = i + length <= text.size();
    for (size_t k = 1; whole && k < length; ++k) {
      const unsigned char next = static_cast<unsigned char>(text[i + k]);
      whole = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    if (!whole) {
      out.push_back('?');
      ++i;
      continue;
    }
    i += length;
    char byte = '?';
    if (code < 0x80 || (code >= 0xA0 && code <= 0xFF)) {
      byte = static_cast<char>(code);
    } else {
      for (uint32_t high = 0; high < 32; ++high) {
        if (kCp1252High[high] == code) byte = static_cast<char>(0x80 + high);
      }
    }
    out.push_back(byte);
  }
  return out;
}

std::optional<double> ImplicitNumber(std::string_view text) {
  const std::string t = Trim(text);
  if (t.empty()) return std::nullopt;
  const std::string upper = UCase(t);
  if (upper == "TRUE") return -1.0;
  if (upper == "FALSE") return 0.0;
  size_t i = 0;
  if (t[i] == '+' || t[i] == '-') ++i;
  bool digits = false;
  while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i, digits = true;
  if (i < t.size() && t[i] == '.') {
    ++i;
    while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i, digits = true;
  }
  if (digits && i < t.size() && (t[i] == 'E' || t[i] == 'e')) {
    size_t j = i + 1;
    if (j < t.size() && (t[j] == '+' || t[j] == '-')) ++j;
    const size_t exp_start = j;
    while (j < t.size() && std::isdigit(static_cast<unsigned char>(t[j]))) ++j;
    if (j > exp_start) i = j;
  }
  if (!digits || i != t.size()) return std::nullopt;
  return Val(t);
}

}  // namespace tarnex::legacy
