// The cost of one sampling cycle on the simulated machine.
#include <benchmark/benchmark.h>
#include <filesystem>

#include "bench_app.h"
#include "core/commands.h"

namespace {

constexpr const char* kScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50, "\\Processor(_Total)\\% Processor Time": 37.5,
               "\\\\SRV1\\Memory\\Available Bytes": 1500000000,
               "\\\\SRV1\\LogicalDisk(C:)\\% Idle Time": 60}
})";

// Runs the cycle with or without a recording of every figure going on (the
// recording is kept from reaching its end so that every cycle writes a line).
void RunCycles(benchmark::State& state, bool recording) {
  BenchApp bench(kScenario);
  auto& app = bench.app();
  auto& m = app.model();
  auto& counters = bench.sim().Counters();
  counters.AddCounter(m.PerfQuery, "\\Processor(_Total)\\% Processor Time", m.hCPUUsage);
  counters.AddCounter(m.PerfQuery, "\\\\SRV1\\Memory\\Available Bytes", m.hMemAvailable);
  counters.AddCounter(m.PerfQuery, "\\\\SRV1\\LogicalDisk(C:)\\% Idle Time", m.hDiskIdle);
  if (recording && !app.commands().Do("", "mnulogall15").empty()) {
    state.SkipWithError("the recording did not start");
    return;
  }
  for (auto _ : state) {
    app.Timer1();
    if (recording) m.LogAllElapsed = 0;
  }
  if (recording) {
    double bytes = 0;
    for (const auto& file : std::filesystem::directory_iterator(bench.dir() + "/Events/SnapShot"))
      bytes += static_cast<double>(file.file_size());
    state.counters["bytes_per_cycle"] = bytes / static_cast<double>(state.iterations());
  }
}

void BM_Timer1Cycle(benchmark::State& state) {
  RunCycles(state, false);
}
void BM_Timer1CycleRecording(benchmark::State& state) {
  RunCycles(state, true);
}
BENCHMARK(BM_Timer1Cycle)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(BM_Timer1CycleRecording)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
