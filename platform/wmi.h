// Rows of the system-management classes the logic queries
// ("Select * from Win32_Processor" and the like): each row holds named
// properties, a property is a number, a text or null.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnex {

// std::monostate is null: a property without a value, or one the row lacks.
using WmiValue = std::variant<std::monostate, double, std::string>;

class WmiRow {
 public:
  WmiRow() = default;
  WmiRow(std::initializer_list<std::pair<std::string, WmiValue>> properties);

  // Sets a property; names match without regard to case.
  void Set(const std::string& name, WmiValue value);
  // The property's value; null when the row does not have it.
  const WmiValue& Get(std::string_view name) const;
  const std::vector<std::pair<std::string, WmiValue>>& properties() const { return properties_; }

 private:
  std::vector<std::pair<std::string, WmiValue>> properties_;
};

// The class a query names: the word after "from" ("Select * from Win32_Processor"
// gives "Win32_Processor"); empty when the query has no such word.
std::string WmiClassOf(std::string_view query);

}  // namespace tarnex
