// The readers of /proc and /sys texts on any text. Each input goes through
// every reader, as any of those files could hold anything.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/linux/proc_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  using namespace tarnex;
  ParseProcStat(text);
  ParseStatTotals(text);
  MeminfoBytes(text, "MemAvailable");
  MeminfoBytes(text, "HugePages_Total");
  VmstatValue(text, "pgmajfault");
  FindDiskStat(text, 8, 0);
  FindDiskStat(text, 0, 0, "sda");
  RootMount(text);
  ParsePidStat(text);
  ParsePidIo(text);
  CpuinfoMhz(text, 0);
  CpuinfoMhz(text, 1);
  FileNrAllocated(text);
  UptimeSeconds(text);
  LoadavgThreads(text);
  SysfsNumber(text);
  const size_t half = text.size() / 2;
  ProgramBaseName(text.substr(0, half), text.substr(half));
  RunsScript(text);
  FirstNameserver(text);
  AdapterInstance(text);
  return 0;
}
