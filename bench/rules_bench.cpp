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

namespace {

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

std::string Scenario(int programs) {
  static const char* const kOptional[] = {
      "\\SQL Server: Latches Object\\Latch Waits/sec",
      "\\SQL Server: Latches Object\\Total Latch Wait Time (ms)",
      "\\SQL Server: Latches Object\\Buffer Cache Hit Ratio",
      "\\SQLServer: General Statistics\\Logouts/sec",
      "\\Web Service Cache\\Kernel:URI Cache Flushes",
      "\\Web Service Cache\\Kernel:URI Cache Misses",
      "\\Active Server Pages\\Request Wait Time",
      "\\Active Server Pages\\Requests Queued",
      "\\ISA Server Firewall Service\\Accepting TCP Connections",
      "\\ISA Server Firewall Service\\Worker Threads",
      "\\ISA Server Firewall Service\\DNS Cache Hits %",
      "\\ISA Server Firewall Packet Engine\\Active Connections",
      "\\ISA Server Firewall Packet Engine\\Backlogged Packets",
      "\\ISA Server Firewall Packet Engine\\Bytes/sec",
      "\\ISA Server Firewall Packet Engine\\TCP Established Connections/sec",
      "\\ISA Server Web Proxy\\Cache Hit Ratio",
      "\\ISA Server Web Proxy\\Reverse Bytes Sent/sec",
      "\\ISA Server Web Proxy\\Average Milliseconds/request",
      "\\ISA Server Web Proxy\\Current Direct Fetches",
      "\\ISA Server Web Proxy\\Current Cache Fetches",
      "\\ISA Server Web Proxy\\Requests/sec",
      "\\ISA Server Web Proxy\\Failing Requests/sec",
      "\\ISA Server Web Proxy\\DNS Cache Hits",
      "\\ISA Server Web Proxy\\Incoming Connections/sec",
      "\\ISA Server Cache\\Disk Failure Rate",
      "\\ISA Server Cache\\Memory Cache Allocated Space",
      "\\ISA Server Cache\\Disk Cache Allocated Space",
      "\\ISA Server Cache\\Memory Usage Ratio Percent",
      "\\ISA Server Cache\\Disk Content Write Rate",
      "\\ISA Server Cache\\Disk URL Retrieve Rate",
      "\\ISA Server Cache\\Disk Bytes Retrieved Rate",
      "\\ISA Server Cache\\Memory URL Retrieve Rate",
      "\\ISA Server Cache\\Memory Bytes Retrieved Rate"};
  static const char* const kProgram[] = {"% Processor Time",  "Virtual Bytes",
                                         "Page Faults/sec",   "Working Set",
                                         "IO Read Bytes/sec", "IO Write Bytes/sec"};
  std::string s =
      R"({"start": "2012-11-14 10:00:00", "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1",
      "NUMBER_OF_PROCESSORS": "2"}, "counters": {"\\Processor(0)\\% Idle Time": 50)";
  for (const char* path : kOptional) s += ", \"" + Escape(path) + "\": 10";
  for (int i = 0; i < programs; ++i) {
    for (const char* suffix : kProgram) {
      s += ", \"" + Escape("\\Process(prog" + std::to_string(i) + ")\\" + suffix) + "\": 10";
    }
  }
  s += "}, \"processes\": [";
  for (int i = 0; i < programs; ++i) {
    s += (i == 0 ? "" : ", ") + std::string("{\"pid\": ") + std::to_string(100 + i) +
         ", \"path\": \"" + Escape("C:\\Apps\\prog" + std::to_string(i) + ".exe") + "\"}";
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
      tarnex::BottleneckCheck(app);
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
