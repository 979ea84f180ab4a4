// The reader of the system-facts program's output on any text.
#include <cstddef>
#include <cstdint>
#include <string>

#include "inventory/system_facts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  tarnex::ServerModel m;
  const auto lines = tarnex::OutputLines(text);
  tarnex::TakeSystemLines(m, lines);
  for (const std::string& line : lines) tarnex::TakeSystemLine(m, line);
  tarnex::OSWordOf(m.OSName);
  tarnex::OSWordOf(text);
  return 0;
}
