// The processor and memory facts: memory slots, the second half of the
// report (memory, page file, processor, caches, drives) with its file
// \Bin\SystemData.txt, the processor module and the page-file figures.
#pragma once

#include <string>
#include <vector>

#include "core/model.h"

namespace tarnex {

class Context;

// The memory slots from Win32_PhysicalMemory, into Slots and section
// "Memory" of the settings.
void getmem(Context& ctx);
// The second half of the report, appended to CPUInfo and written, with the
// first half, to \Bin\SystemData.txt.
void GetCPU(Context& ctx);
// The memory tool's lines into the report: cache sizes, the level lines and
// the lines from the first instruction cache on.
void TakeRamLines(ServerModel& m, const std::vector<std::string>& lines);

// The processor module: type, speed and the Win32_Processor properties.
void ReadCPUWMI(Context& ctx);
void ReadCPUType(Context& ctx);
void ReadCPUMHz(Context& ctx);

// The page-file figures (megabytes, summed over the page files) and their
// screen texts.
void SwapInfo(Context& ctx);

}  // namespace tarnex
