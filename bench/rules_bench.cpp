// The cost of one rule pass with every switch on and 100 programs listed, on
// the simulated machine. At rest the pass writes several keys of the
// settings file each second (rules 4, 11, 12, 13, 15 and 30), so the figure
// includes those writes.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "core/app.h"
#include "platform/sim/sim_platform.h"
#include "rules/engine.h"
#include "tests/rule_counters.h"

namespace {

std::string Scenario(int programs) {
  static const char* const kProgram[] = {"% Processor Time",  "Virtual Bytes",
                                         "Page Faults/sec",   "Working Set",
                                         "IO Read Bytes/sec", "IO Write Bytes/sec"};
  std::string s =
      R"({"start": "2012-11-14 10:00:00", "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1",
      "NUMBER_OF_PROCESSORS": "2"}, "counters": {"\\Processor(0)\\% Idle Time": 50)";
  for (const auto& path : tarnex::testing::RuleCounterPaths()) {
    s += ", \"" + tarnex::testing::JsonEscape(path) + "\": 10";
  }
  for (int i = 0; i < programs; ++i) {
    for (const char* suffix : kProgram) {
      s += ", \"" +
           tarnex::testing::JsonEscape("\\Process(prog" + std::to_string(i) + ")\\" + suffix) +
           "\": 10";
    }
  }
  s += "}, \"processes\": [";
  for (int i = 0; i < programs; ++i) {
    s += (i == 0 ? "" : ", ") + std::string("{\"pid\": ") + std::to_string(100 + i) +
         ", \"path\": \"" +
         tarnex::testing::JsonEscape("C:\\Apps\\prog" + std::to_string(i) + ".exe") + "\"}";
  }
  return s + "]}";
}

void BM_BottleneckCheckAllSwitches100Programs(benchmark::State& state) {
  char pattern[] = "/tmp/tarnex-bench-XXXXXX";
  const std::string dir = mkdtemp(pattern);
  tarnex::SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = tarnex::SimPlatform::FromText(Scenario(100), options, error);
  if (!sim) {
    state.SkipWithError(error.c_str());
    return;
  }
  {
    tarnex::App app(*sim, dir);
    app.FormLoad();
    auto& m = app.model();
    // Every switch on; the argument says whether Once is among them.
    m.BNMonitor.fill(1);
    m.BNMonitor[10] = static_cast<int32_t>(state.range(0));
    tarnex::RefreshRuleSwitches(m);
    sim->Counters().CollectQueryData(m.PerfQuery);
    state.counters["programs"] = static_cast<double>(m.ProgLast + 1);
    for (auto _ : state) {
      tarnex::BottleneckCheck(app.ctx());
      benchmark::DoNotOptimize(m.BNText);
    }
  }
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_BottleneckCheckAllSwitches100Programs)
    ->ArgName("Once")
    ->Arg(1)
    ->Arg(0)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace
