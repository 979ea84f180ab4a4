// tarnex-counter-read: reads counter paths through the Linux provider once a
// second and prints each collection as one line of JSON, so that the
// provider's figures can be set beside those of other tools
// (bench/accuracy.sh).
//
//   tarnex-counter-read [--seconds N] [--interfaces a,b] [--adapters] PATH...
//   tarnex-counter-read --list-adapters [--interfaces a,b]
//
// --list-adapters prints the kernel names of the adapters served, one a line.
// --adapters adds "Bytes Received/sec" and "Bytes Sent/sec" of every adapter
// the provider serves. A path that cannot be added is reported on standard
// error and left out. Each line is
//   {"t": seconds since local midnight, "values": {"PATH": value, ...}}
// and the first collection, which gives no rates yet, is not printed.
#include <sys/time.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/linux/linux_counters.h"

namespace {

double SecondsSinceMidnight() {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  tm local{};
  const time_t now = tv.tv_sec;
  localtime_r(&now, &local);
  return local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec + tv.tv_usec / 1e6;
}

std::vector<std::string> SplitNames(const std::string& text) {
  std::vector<std::string> names;
  size_t pos = 0;
  while (pos <= text.size()) {
    const size_t comma = text.find(',', pos);
    const std::string name = text.substr(pos, comma == std::string::npos ? comma : comma - pos);
    if (!name.empty()) names.push_back(name);
    if (comma == std::string::npos) break;
    pos = comma + 1;
  }
  return names;
}

}  // namespace

int main(int argc, char** argv) {
  double seconds = 60;
  bool adapters = false, list = false;
  std::vector<std::string> interfaces, paths;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--seconds" && i + 1 < argc) {
      seconds = std::atof(argv[++i]);
    } else if (arg == "--interfaces" && i + 1 < argc) {
      interfaces = SplitNames(argv[++i]);
    } else if (arg == "--adapters") {
      adapters = true;
    } else if (arg == "--list-adapters") {
      list = true;
    } else if (arg.rfind("--", 0) == 0) {
      std::cerr << "usage: tarnex-counter-read [--seconds N] [--interfaces a,b] [--adapters] "
                   "PATH...\n       tarnex-counter-read --list-adapters [--interfaces a,b]\n";
      return 2;
    } else {
      paths.push_back(arg);
    }
  }
  tarnex::LinuxCounters counters("", interfaces);
  uint32_t query = 0;
  counters.OpenQuery(query);
  if (list) {
    for (const auto& [instance, kernel] : counters.Adapters()) std::cout << kernel << "\n";
    return 0;
  }
  if (adapters) {
    for (const auto& [instance, kernel] : counters.Adapters()) {
      paths.push_back("\\Network Interface(" + instance + ")\\Bytes Received/sec");
      paths.push_back("\\Network Interface(" + instance + ")\\Bytes Sent/sec");
    }
  }
  std::vector<std::pair<std::string, int32_t>> added;
  for (const auto& path : paths) {
    int32_t handle = 0;
    if (counters.AddCounter(query, path, handle) == tarnex::PerfCounters::kOk) {
      added.emplace_back(path, handle);
    } else {
      std::cerr << "tarnex-counter-read: no counter " << path << "\n";
    }
  }
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  const int rounds = static_cast<int>(seconds);
  for (int round = 0; round <= rounds; ++round) {
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    const double t = SecondsSinceMidnight();
    counters.CollectQueryData(query);
    if (round > 0) {
      nlohmann::json line;
      line["t"] = t;
      for (const auto& [path, handle] : added) {
        uint32_t status = 0;
        line["values"][path] = counters.GetDoubleCounterValue(handle, status);
      }
      std::cout << line.dump() << std::endl;
    }
    next.tv_sec += 1;
  }
  return 0;
}
