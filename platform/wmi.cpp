#include "platform/wmi.h"

#include <cctype>

namespace tarnex {

namespace {

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

WmiRow::WmiRow(std::initializer_list<std::pair<std::string, WmiValue>> properties) {
  for (const auto& [name, value] : properties) Set(name, value);
}

void WmiRow::Set(const std::string& name, WmiValue value) {
  for (auto& [n, v] : properties_) {
    if (SameName(n, name)) {
      v = std::move(value);
      return;
    }
  }
  properties_.emplace_back(name, std::move(value));
}

const WmiValue& WmiRow::Get(std::string_view name) const {
  static const WmiValue kNull;
  for (const auto& [n, v] : properties_) {
    if (SameName(n, name)) return v;
  }
  return kNull;
}

std::string WmiClassOf(std::string_view query) {
  // Words are separated by blanks; the class is the word after "from".
  std::vector<std::string_view> words;
  size_t i = 0;
  while (i < query.size()) {
    while (i < query.size() && IsBlank(query[i])) ++i;
    const size_t start = i;
    while (i < query.size() && !IsBlank(query[i])) ++i;
    if (i > start) words.push_back(query.substr(start, i - start));
  }
  for (size_t w = 0; w + 1 < words.size(); ++w) {
    if (SameName(words[w], "from")) return std::string(words[w + 1]);
  }
  return {};
}

}  // namespace tarnex
