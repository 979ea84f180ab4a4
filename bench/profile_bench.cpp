// Costs of the settings store and of name mapping, on a settings file of about
// 3 KB: 100 keys in 5 sections. The files live under $TARNEX_BENCH_DIR, or /tmp.
//
//   Read                   a key of a file that has not changed lately: one stat and a lookup
//   ReadAfterOutsideChange a key right after another program changed the file: parsed again
//   ReadSoonAfterChange    a key while the last change is too recent for the file's times
//                          to vouch for the cached content: the bytes are compared as well
//   Write                  a changed value taken by the store, as every write between two
//                          waits of the program's loop is (the file is written at the wait)
//   INIWrite               the same through the program's settings call: the file name
//                          mapped, NULs removed, the store's write
//   WriteAndFlush          a changed value and the flush of the file: temporary file,
//                          rename, cache refreshed (one wait of the loop after one write)
//   NativePath...          an existing name spelled with the exact case, and with another case
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/app.h"
#include "core/profile.h"
#include "platform/native/native_files.h"
#include "platform/native/native_path.h"
#include "platform/sim/sim_platform.h"

namespace {

tarnex::Files& Host() {
  static tarnex::NativeFiles files;
  return files;
}

struct Fixture {
  std::string dir;
  std::string file;
  std::vector<std::string> sections;
  std::vector<std::string> keys;

  Fixture() {
    // TARNEX_BENCH_DIR picks the file system to measure on (default /tmp).
    const char* base = std::getenv("TARNEX_BENCH_DIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/profile_bench.XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    dir = pattern;
    if (::mkdir((dir + "/Bin").c_str(), 0755) != 0) std::abort();
    file = dir + "/Bin/Tarnex.Tnx";
    tarnex::ProfileStore store(Host());
    for (int s = 0; s < 5; ++s) {
      sections.push_back("Section " + std::to_string(s));
      for (int k = 0; k < 20; ++k) {
        keys.push_back("Setting Key Name " + std::to_string(s * 20 + k));
        if (!store.Write(file, sections.back(), keys.back(), std::to_string(1000000 + k * 7))) {
          std::abort();
        }
      }
    }
    if (!store.Flush()) std::abort();
  }
  ~Fixture() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
  const std::string& SectionOf(std::size_t key) const { return sections[key / 20]; }
};

Fixture& Files() {
  static Fixture f;
  return f;
}

void BM_Read(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::ProfileStore store(Host());
  store.Read(f.file, f.sections[0], f.keys[0]);
  // Let the file's last change age past the window in which its times
  // cannot yet vouch for its content.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::size_t i = 0;
  for (auto _ : state) {
    const std::size_t k = i++ % f.keys.size();
    std::string v = store.Read(f.file, f.SectionOf(k), f.keys[k]);
    benchmark::DoNotOptimize(v);
  }
  state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(f.file));
}
BENCHMARK(BM_Read)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_ReadAfterOutsideChange(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::ProfileStore store(Host());
  std::size_t i = 0;
  for (auto _ : state) {
    state.PauseTiming();
    // New times, as another program's write would leave: the next read parses again.
    ::utimensat(AT_FDCWD, f.file.c_str(), nullptr, 0);
    state.ResumeTiming();
    const std::size_t k = i++ % f.keys.size();
    std::string v = store.Read(f.file, f.SectionOf(k), f.keys[k]);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_ReadAfterOutsideChange)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_ReadSoonAfterChange(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::ProfileStore store(Host());
  std::size_t i = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ::utimensat(AT_FDCWD, f.file.c_str(), nullptr, 0);
    store.Read(f.file, f.sections[0], f.keys[0]);  // parses the changed file
    state.ResumeTiming();
    // Same times as cached, but too recent to vouch for the content alone.
    const std::size_t k = i++ % f.keys.size();
    std::string v = store.Read(f.file, f.SectionOf(k), f.keys[k]);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_ReadSoonAfterChange)->Repetitions(5)->ReportAggregatesOnly(true);

// Runs `write` once an iteration with the iteration's number; flushes (untimed)
// every 256 writes so that the pending changes stay as few as in a turn of
// the program's loop.
template <typename Write, typename Flush>
void TimeWrites(benchmark::State& state, Write write, Flush flush) {
  std::size_t i = 0;
  for (auto _ : state) {
    if (!write(i++)) {
      state.SkipWithError("write failed");
      break;
    }
    if (i % 256 == 0) {
      state.PauseTiming();
      flush();
      state.ResumeTiming();
    }
  }
  flush();
}

void BM_Write(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::ProfileStore store(Host());
  TimeWrites(
      state,
      [&](std::size_t i) {
        const std::size_t k = i % f.keys.size();
        return store.Write(f.file, f.SectionOf(k), f.keys[k], std::to_string(2000000 + i));
      },
      [&] { store.Flush(); });
}
BENCHMARK(BM_Write)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_INIWrite(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = tarnex::SimPlatform::FromText("{}", options, error);
  if (!sim) std::abort();
  tarnex::App app(*sim, f.dir);
  tarnex::Context& ctx = app.ctx();
  TimeWrites(
      state,
      [&](std::size_t i) {
        const std::size_t k = i % f.keys.size();
        ctx.INIWrite(tarnex::Context::kSettingsFile, f.SectionOf(k), f.keys[k],
                     std::to_string(3000000 + i));
        return true;
      },
      [&] { app.Flush(); });
}
BENCHMARK(BM_INIWrite)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_WriteAndFlush(benchmark::State& state) {
  Fixture& f = Files();
  tarnex::ProfileStore store(Host());
  std::size_t i = 0;
  for (auto _ : state) {
    const std::size_t k = i % f.keys.size();
    const std::string value = std::to_string(2000000 + i);  // always a change
    ++i;
    if (!store.Write(f.file, f.SectionOf(k), f.keys[k], value) || !store.Flush()) {
      state.SkipWithError("write failed");
      break;
    }
  }
}
BENCHMARK(BM_WriteAndFlush)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_NativePathExact(benchmark::State& state) {
  Fixture& f = Files();
  const std::string name = f.dir + "\\Bin\\Tarnex.Tnx";
  for (auto _ : state) {
    std::string p = tarnex::NativePath(name);
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(BM_NativePathExact)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_NativePathOtherCase(benchmark::State& state) {
  Fixture& f = Files();
  const std::string name = f.dir + "\\BIN\\TARNEX.TNX";
  for (auto _ : state) {
    std::string p = tarnex::NativePath(name);
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(BM_NativePathOtherCase)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
