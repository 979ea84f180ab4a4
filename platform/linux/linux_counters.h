// The host's performance counters: every path of the system's catalogue that
// Linux has a source for, read from /proc and /sys. The mapping of each path
// is written in docs/linux-provider.md.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/counter_table.h"

namespace tarnex {

// One collection's view of the host, read lazily: each file at most once per
// collection, and only when a counter needs it.
class LinuxHost;

class LinuxCounters : public CounterTable {
 public:
  // `root` is the folder that holds the host's proc and sys trees: "" for the
  // host itself (/proc, /sys), a copy's folder in tests. `interfaces` names
  // the network interfaces to serve instead of those the default rule finds.
  explicit LinuxCounters(std::string root = "", std::vector<std::string> interfaces = {});
  ~LinuxCounters() override;

  // The clock of the collections, in seconds; the monotonic clock unless
  // replaced. Rates divide by the difference of two of its readings.
  void SetClock(std::function<double()> clock);

  // The network adapters served now: the counter instance and the kernel's
  // name of each, in the order of discovery.
  std::vector<std::pair<std::string, std::string>> Adapters();

 protected:
  std::unique_ptr<CounterSource> Resolve(const std::string& local_path) override;
  void BeginCollection() override;
  bool Instances(const std::string& object, std::vector<std::string>& instances) override;

 private:
  std::unique_ptr<LinuxHost> host_;
};

// The identifiers of the processes under a proc folder, in increasing order.
std::vector<int64_t> ListProcesses(const std::string& proc_dir);

}  // namespace tarnex
