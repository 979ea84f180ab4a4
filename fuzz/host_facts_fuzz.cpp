// The readers of the host's facts on any text: /proc/cpuinfo, /proc/meminfo,
// /proc/swaps, /proc/mounts, os-release and the DMI table's text, and the
// system-management rows made of what they read.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "platform/linux/host_facts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  using namespace tarnex::host;
  ProcessorFacts facts;
  facts.cpus = ParseCpuInfo(text);
  ParseMemInfo(text);
  const auto swaps = ParseSwaps(text);
  DriveMounts(ParseMounts(text));
  ParseOsRelease(text);
  const auto dmi = ParseDmidecode(text);
  DmiSizeBytes(text);
  DmiNumber(text);
  ParseCpuList(text);
  for (const auto& record : dmi) {
    if (record.type == 4) facts.dmi.push_back(record);
  }
  ProcessorRows(facts);
  MemoryRows(dmi);
  std::map<std::string, double> peaks;
  PageFileRows(swaps, peaks);
  return 0;
}
