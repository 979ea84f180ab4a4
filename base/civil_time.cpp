#include "base/civil_time.h"

#include <string_view>

namespace tarnex {

std::optional<CivilTime> ParseCivilTime(const std::string& text) {
  // The form, character by character: digits where "YYYY-MM-DD HH:MM:SS"
  // has letters, the separators where it has them.
  static constexpr std::string_view kForm = "YYYY-MM-DD HH:MM:SS";
  if (text.size() != kForm.size()) return std::nullopt;
  for (size_t i = 0; i < kForm.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] >= 'A' && kForm[i] <= 'Z' ? !digit : text[i] != kForm[i]) return std::nullopt;
  }
  const auto number = [&text](size_t at, size_t digits) {
    int n = 0;
    for (size_t i = at; i < at + digits; ++i) n = n * 10 + (text[i] - '0');
    return n;
  };
  CivilTime t;
  t.year = number(0, 4);
  t.month = number(5, 2);
  t.day = number(8, 2);
  t.hour = number(11, 2);
  t.minute = number(14, 2);
  t.second = number(17, 2);
  if (t.year < kFirstStartYear || t.year > kLastStartYear) return std::nullopt;
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.hour < 0 || t.hour > 23 || t.minute < 0 ||
      t.minute > 59 || t.second < 0 || t.second > 59) {
    return std::nullopt;
  }
  const CivilTime round_trip = FromEpochMillis(ToEpochMillis(t));
  if (!(round_trip == t)) return std::nullopt;  // 31 April and the like
  return t;
}

}  // namespace tarnex
