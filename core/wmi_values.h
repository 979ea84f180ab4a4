// How the logic uses a property of a system-management row: as a text, as a
// number, printed by a pattern. A null property behaves as it does in the
// original runtime: concatenated it adds nothing, assigned it fails (the
// target keeps its value), printed by a pattern it prints nothing.
#pragma once

#include <optional>
#include <string>

#include "platform/wmi.h"

namespace tarnex {

// The property as text in a concatenation; "" for null.
std::string WmiText(const WmiValue& value);
// Assigns the property to a text; false, with the target unchanged, for null.
bool TakeText(const WmiValue& value, std::string& target);
// The property as a number: a number, or a text that is a number as a whole
// (blanks around it allowed); nothing for null or any other text.
std::optional<double> WmiNumber(const WmiValue& value);
// Assigns the property to a number; false, with the target unchanged, when it
// is not a number.
bool TakeNumber(const WmiValue& value, double& target);

}  // namespace tarnex
