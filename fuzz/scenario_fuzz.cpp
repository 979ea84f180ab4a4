// The scenario reader on any text: it builds a simulated machine or says what
// is wrong, and never fails otherwise.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/sim/sim_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  tarnex::SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = tarnex::SimPlatform::FromText(text, options, error);
  if (!sim && error.empty()) __builtin_trap();
  if (sim) {
    // What the program asks of the machine first: its environment and the
    // processor, then one collection of every counter.
    sim->Environment("WinDIR");
    sim->SystemProcessor();
    for (const auto& [path, series] : sim->Sim().series) {
      series.At(1);
      series.At(1000000);
    }
  }
  return 0;
}
