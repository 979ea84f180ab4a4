// The system facts: what machine the program runs on, from the platform's
// system-information program and from WMI. GetSYS writes the first two blocks
// of the report (operating system, system) into CPUInfo and then has the
// processor and memory facts add the other two.
#pragma once

#include <string>
#include <vector>

#include "core/model.h"

namespace tarnex {

class Context;

// The whole of the system facts; ends with getmem and GetCPU.
void GetSYS(Context& ctx);

// The lines of a command's output: split at CR LF, the lines that are blank
// once trimmed left out, the others kept as they are.
std::vector<std::string> OutputLines(const std::string& output);

// Takes one line of the system-information report into its field when its
// first 27 characters are one of the known labels.
void TakeSystemLine(ServerModel& m, const std::string& line);

// Takes the report's lines into their fields; fewer than 11 lines are not
// taken at all.
void TakeSystemLines(ServerModel& m, const std::vector<std::string>& lines);

// The operating system in a word: the first of "Windows 8", "Windows 7",
// "Vista", "2012", "2008", "XP", "2003", "2000" found in the name, without
// regard to case; "" when none is.
std::string OSWordOf(const std::string& os_name);

}  // namespace tarnex
