// The cost of the Linux provider on this host: the whole catalogue is set up
// as start-up sets it up (the programs running now included), then
//
//   LinuxCollectAndReadCatalogue  one collection and a read of every handle the catalogue holds
//   LinuxCollectOnly              the collection alone
//   LinuxReadCatalogueOnly        the reads alone (look-ups of the last collection's values)
//
// The counters "handles", "served" and "programs" tell how much was measured.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "core/model.h"
#include "counters/catalogue.h"
#include "platform/linux/linux_platform.h"

namespace {

struct Catalogue {
  std::unique_ptr<tarnex::LinuxPlatform> platform;
  tarnex::ServerModel model;
  std::vector<int32_t> handles;  // every handle field of the model, 0 or not
  size_t served = 0;

  Catalogue() {
    platform = std::make_unique<tarnex::LinuxPlatform>(tarnex::LinuxOptions{});
    model.ComputerName = platform->Environment("COMPUTERNAME");
    model.WinDir = platform->Environment("WinDIR");
    model.SystemDrive = model.WinDir.substr(0, 2);
    tarnex::CounterCatalogue(*platform, model, {}).SetUp();
    auto& m = model;
#define TARNEX_BENCH_HANDLE(name) handles.push_back(m.name);
    TARNEX_HANDLE_FIELDS(TARNEX_BENCH_HANDLE)
#undef TARNEX_BENCH_HANDLE
    for (const auto* group :
         {&m.hNetBytesTotal, &m.hNetBytesRec, &m.hNetBytesSent, &m.hNetPacketsRec,
          &m.hNetPacketsSent, &m.hNetRecErrors, &m.hNetOutErrors, &m.hNetOutQueue, &m.hNetOffloaded,
          &m.hNetPackets, &m.hNetRecUnicast, &m.hNetRecNonUnicast, &m.hNetSentUnicast,
          &m.hNetSentNonUnicast}) {
      handles.insert(handles.end(), group->begin(), group->end());
    }
    for (const auto* group : {&m.hProgCPU, &m.hProgVirtual, &m.hProgFaults, &m.hProgWorkingSet,
                              &m.hProgRead, &m.hProgWrite}) {
      handles.insert(handles.end(), group->begin(), group->end());
    }
    handles.insert(handles.end(), m.hServer.begin(), m.hServer.end());
    handles.insert(handles.end(), m.hSQLUnread.begin(), m.hSQLUnread.end());
    for (int32_t h : handles) served += h != 0 ? 1 : 0;
    // A first collection, so that the rates have a previous sample.
    platform->Counters().CollectQueryData(model.PerfQuery);
  }

  double ReadAll() {
    double sum = 0;
    uint32_t status = 0;
    for (int32_t h : handles) sum += platform->Counters().GetDoubleCounterValue(h, status);
    return sum;
  }

  void Report(benchmark::State& state) const {
    state.counters["handles"] = static_cast<double>(handles.size());
    state.counters["served"] = static_cast<double>(served);
    state.counters["programs"] = static_cast<double>(model.Programlist.size());
    state.counters["adapters"] = static_cast<double>(model.AdapterCount);
  }
};

void BM_LinuxCollectAndReadCatalogue(benchmark::State& state) {
  Catalogue c;
  for (auto _ : state) {
    c.platform->Counters().CollectQueryData(c.model.PerfQuery);
    benchmark::DoNotOptimize(c.ReadAll());
  }
  c.Report(state);
}
BENCHMARK(BM_LinuxCollectAndReadCatalogue)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_LinuxCollectOnly(benchmark::State& state) {
  Catalogue c;
  for (auto _ : state) c.platform->Counters().CollectQueryData(c.model.PerfQuery);
  c.Report(state);
}
BENCHMARK(BM_LinuxCollectOnly)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_LinuxReadCatalogueOnly(benchmark::State& state) {
  Catalogue c;
  c.platform->Counters().CollectQueryData(c.model.PerfQuery);
  for (auto _ : state) benchmark::DoNotOptimize(c.ReadAll());
  c.Report(state);
}
BENCHMARK(BM_LinuxReadCatalogueOnly)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
