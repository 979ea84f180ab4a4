// The program watch: the list of running programs, their six counters each,
// and the count of services.
#pragma once

#include <functional>
#include <string>

#include "core/model.h"
#include "platform/platform.h"

namespace tarnex {

// The name a module leaves in a 400-character buffer filled with "unknown"
// and blanks, trimmed and cut by one character, as the program list takes it.
std::string ModuleNameFromBuffer(const std::string& base_name);

// Clears Programlist and fills it, then adds the counters.
void LoadPrograms(Platform& platform, ServerModel& m, const std::function<void()>& yield);
// Fills Programlist2 and copies it to Programlist only when they differ.
void RefreshPrograms(Platform& platform, ServerModel& m, const std::function<void()>& yield);
// Adds the six counters of each listed program (index 0 to 100).
void CounterProcess(Platform& platform, ServerModel& m, const std::function<void()>& yield);
// ServiceCount from the service manager; 0 kind means 30, 0 state means 3.
void CountServices(Platform& platform, ServerModel& m, int kind = 0, int state = 0,
                   const std::string& machine = "");

}  // namespace tarnex
