// The reader of the memory and cache tool's output on any text.
#include <cstddef>
#include <cstdint>
#include <string>

#include "inventory/processor_facts.h"
#include "inventory/system_facts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  tarnex::ServerModel m;
  tarnex::TakeRamLines(m, tarnex::OutputLines(text));
  return 0;
}
