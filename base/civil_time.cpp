#include "base/civil_time.h"

#include <cstdio>

namespace tarnex {

std::optional<CivilTime> ParseCivilTime(const std::string& text) {
  CivilTime t;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%c", &t.year, &t.month, &t.day, &t.hour,
                  &t.minute, &t.second, &extra) != 6) {
    return std::nullopt;
  }
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.hour < 0 || t.hour > 23 || t.minute < 0 ||
      t.minute > 59 || t.second < 0 || t.second > 59) {
    return std::nullopt;
  }
  const CivilTime round_trip = FromEpochMillis(ToEpochMillis(t));
  if (!(round_trip == t)) return std::nullopt;  // 31 April and the like
  return t;
}

}  // namespace tarnex
