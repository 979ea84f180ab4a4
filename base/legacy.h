// The text and number behaviour of the runtime the system was first written on,
// reproduced byte for byte (en-US regional settings). Every text the program
// writes goes through these helpers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/civil_time.h"

namespace tarnex::legacy {

// Lenient conversion: the leading number of a text, else 0. Never fails.
double Val(std::string_view text);

// The implicit conversion of a text to a number (assigning a text to a number
// or comparing it with one): the whole text must be a number, blanks around it
// allowed, or True (-1) / False (0). Anything else, the empty text included,
// cannot be converted.
std::optional<double> ImplicitNumber(std::string_view text);

// Format(number, pattern) with the numeric patterns ("0", "#", ",", ".").
std::string Format(double value, std::string_view pattern);
// Format(text, pattern): a text that looks like a number is converted first;
// any other text comes back unchanged.
std::string FormatText(std::string_view text, std::string_view pattern);
// Format(date, pattern) with the date tokens (d, m, y, h, n, s, AMPM ...).
std::string FormatDate(const CivilTime& t, std::string_view pattern);
// A date, a time or both turned into text with no pattern.
std::string DateText(const CivilTime& t);      // "3/15/2024"
std::string TimeText(const CivilTime& t);      // "11:59:00 PM"
std::string DateTimeText(const CivilTime& t);  // "3/15/2024 11:59:00 PM"

// FormatNumber(x, decimals): grouping, leading zero, rounding as Format.
std::string FormatNumber(double value, int decimals = 2);
// FN(x): no decimals, with grouping.
std::string FN(double value);

// A double as concatenation turns it into text (15 significant digits).
std::string Str(double value);
// A single as concatenation turns it into text (7 significant digits).
std::string StrSingle(float value);

// Int: floor. CLng: round half to even. IntDiv: a \ b. Mod: a Mod b.
double Int(double value);
int64_t CLng(double value);
int64_t IntDiv(double a, double b);
int64_t Mod(double a, double b);

// Positions count from 1.
std::string Mid(std::string_view text, int64_t start);
std::string Mid(std::string_view text, int64_t start, int64_t length);
std::string Left(std::string_view text, int64_t length);
std::string Right(std::string_view text, int64_t length);
// 0 when not found. `text_compare` makes the comparison case-blind.
int64_t InStr(std::string_view haystack, std::string_view needle, bool text_compare = false);
int64_t InStr(int64_t start, std::string_view haystack, std::string_view needle,
              bool text_compare = false);
std::string Trim(std::string_view text);  // spaces (code 32) only
std::string LTrim(std::string_view text);
std::string RTrim(std::string_view text);
std::string UCase(std::string_view text);
std::string LCase(std::string_view text);
// Split("", sep) gives no elements; a trailing separator gives an empty last element.
std::vector<std::string> Split(std::string_view text, std::string_view separator);
std::string Replace(std::string_view text, std::string_view find, std::string_view with);

// The runtime's random generator.
class Random {
 public:
  float Rnd();
  void Randomize(double seed_value);
  uint32_t seed() const { return seed_; }

 private:
  uint32_t seed_ = 0x50000;
};

// Windows-1252 text as UTF-8, and back (a character Windows-1252 does not
// have, or a broken sequence, becomes "?").
std::string Cp1252ToUtf8(std::string_view text);
std::string Utf8ToCp1252(std::string_view text);

}  // namespace tarnex::legacy
