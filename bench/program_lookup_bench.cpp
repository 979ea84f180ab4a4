// The cost of one look-up of a program by its full path over this host's
// process list: a program that is not there (every process is opened and
// read), and this benchmark's own program (found where the list has it).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "backup/programs.h"
#include "core/context.h"
#include "core/profile.h"
#include "platform/linux/linux_platform.h"

namespace {

struct HostContext {
  HostContext() : host(tarnex::LinuxOptions{}), profiles(host.Fs()), ctx(host, model, profiles) {}
  tarnex::LinuxPlatform host;
  tarnex::ServerModel model;
  tarnex::ProfileStore profiles;
  tarnex::Context ctx;
};

void LookUp(benchmark::State& state, const std::string& path) {
  HostContext host;
  const double processes = static_cast<double>(host.host.EnumProcesses().size());
  int64_t found = 0;
  for (auto _ : state) {
    found = tarnex::IsRunning(host.ctx, path);
    benchmark::DoNotOptimize(found);
  }
  state.counters["processes"] = processes;
  state.counters["found"] = found != 0 ? 1 : 0;
}

void BM_ProgramLookUpNotRunning(benchmark::State& state) {
  LookUp(state, "/nowhere/TarnexSBackup.exe");
}
BENCHMARK(BM_ProgramLookUpNotRunning)->Unit(benchmark::kMicrosecond);

void BM_ProgramLookUpOwnProgram(benchmark::State& state) {
  LookUp(state, std::filesystem::read_symlink("/proc/self/exe").string());
}
BENCHMARK(BM_ProgramLookUpOwnProgram)->Unit(benchmark::kMicrosecond);

}  // namespace
