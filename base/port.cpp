#include "base/port.h"

namespace tarnex {

bool ParsePort(const std::string& digits, int& port) {
  if (digits.empty() || digits.size() > 5 ||
      digits.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  const int value = std::stoi(digits);
  if (value > 65535) return false;
  port = value;
  return true;
}

}  // namespace tarnex
