// A TCP port number as the operator writes it after a host's colon.
#pragma once

#include <string>

namespace tarnex {

// One to five decimal digits, 0 to 65535; false (port untouched) otherwise.
bool ParsePort(const std::string& digits, int& port);

}  // namespace tarnex
