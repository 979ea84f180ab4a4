#include "core/wmi_values.h"

#include <cctype>
#include <cstdlib>

#include "base/legacy.h"

namespace tarnex {

std::string WmiText(const WmiValue& value) {
  if (const auto* n = std::get_if<double>(&value)) return legacy::Str(*n);
  if (const auto* t = std::get_if<std::string>(&value)) return *t;
  return {};
}

bool TakeText(const WmiValue& value, std::string& target) {
  if (std::holds_alternative<std::monostate>(value)) return false;
  target = WmiText(value);
  return true;
}

std::optional<double> WmiNumber(const WmiValue& value) {
  if (const auto* n = std::get_if<double>(&value)) return *n;
  const auto* t = std::get_if<std::string>(&value);
  if (t == nullptr) return std::nullopt;
  const std::string text = legacy::Trim(*t);
  if (text.empty()) return std::nullopt;
  // The whole text must be the number: sign, digits, one point, exponent.
  size_t i = 0;
  if (text[i] == '+' || text[i] == '-') ++i;
  bool digits = false;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, digits = true;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, digits = true;
  }
  if (digits && i < text.size() && (text[i] == 'E' || text[i] == 'e')) {
    size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
    const size_t exponent = j;
    while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j]))) ++j;
    if (j > exponent) i = j;
  }
  if (!digits || i != text.size()) return std::nullopt;
  return std::strtod(text.c_str(), nullptr);
}

bool TakeNumber(const WmiValue& value, double& target) {
  const auto n = WmiNumber(value);
  if (!n) return false;
  target = *n;
  return true;
}

}  // namespace tarnex
