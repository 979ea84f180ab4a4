#include "counters/programs.h"

#include <algorithm>

#include "base/legacy.h"
#include "counters/query.h"

namespace tarnex {

namespace {

constexpr size_t kMaxProcesses = 1024;
constexpr size_t kMaxModules = 1024;
constexpr size_t kProgramSlots = 101;

// Walks the processes and their modules into `list`.
void WalkProcesses(Platform& platform, TextList& list) {
  list.clear();
  std::vector<int64_t> pids = platform.EnumProcesses();
  if (pids.size() > kMaxProcesses) pids.resize(kMaxProcesses);
  for (int64_t pid : pids) {
    std::vector<std::string> modules;
    // A process that cannot be opened is left out.
    if (!platform.ProcessModules(pid, modules)) continue;
    if (modules.size() > kMaxModules) modules.resize(kMaxModules);
    for (const auto& module : modules) {
      const std::string name = ModuleNameFromBuffer(module);
      if (legacy::LCase(legacy::Right(name, 3)) == "exe") {
        list.push_back(legacy::Left(name, static_cast<int64_t>(name.size()) - 4));
      }
    }
  }
}

}  // namespace

std::string ModuleNameFromBuffer(const std::string& base_name) {
  std::string buffer = "unknown";
  buffer.resize(400, ' ');
  // The call copies at most 399 characters and a closing NUL.
  const std::string name = base_name.substr(0, 399);
  buffer.replace(0, name.size() + 1, name + '\0');
  buffer = legacy::Trim(buffer);
  return legacy::Left(buffer, static_cast<int64_t>(buffer.size()) - 1);
}

void CounterProcess(Platform& platform, ServerModel& m, const std::function<void()>& yield) {
  const std::string prefix = "\\\\" + m.ComputerName + "\\Process(";
  for (size_t i = 0; i < m.Programlist.size(); ++i) {
    m.ProgIndex = static_cast<int32_t>(i);
    if (i >= kProgramSlots) continue;
    const std::string base = prefix + m.Programlist[i];
    auto& pdh = platform.Counters();
    AddCounter(pdh, m.PerfQuery, base + ")\\% Processor Time", m.hProgCPU[i], yield);
    AddCounter(pdh, m.PerfQuery, base + ")\\Virtual Bytes", m.hProgVirtual[i], yield);
    AddCounter(pdh, m.PerfQuery, base + ")\\Page Faults/sec", m.hProgFaults[i], yield);
    AddCounter(pdh, m.PerfQuery, base + ")\\Working Set", m.hProgWorkingSet[i], yield);
    AddCounter(pdh, m.PerfQuery, base + ")\\IO Read Bytes/sec", m.hProgRead[i], yield);
    AddCounter(pdh, m.PerfQuery, base + ")\\IO Write Bytes/sec", m.hProgWrite[i], yield);
  }
}

void LoadPrograms(Platform& platform, ServerModel& m, const std::function<void()>& yield) {
  WalkProcesses(platform, m.Programlist);
  m.ProgLast = static_cast<int32_t>(m.Programlist.size()) - 1;
  CounterProcess(platform, m, yield);
}

void RefreshPrograms(Platform& platform, ServerModel& m, const std::function<void()>& yield) {
  WalkProcesses(platform, m.Programlist2);
  if (m.Programlist2.size() == m.Programlist.size()) {
    const bool all_found =
        std::all_of(m.Programlist2.begin(), m.Programlist2.end(), [&](const std::string& name) {
          return std::find(m.Programlist.begin(), m.Programlist.end(), name) != m.Programlist.end();
        });
    if (all_found) return;
  }
  m.Programlist = m.Programlist2;
  m.ProgLast = static_cast<int32_t>(m.Programlist.size()) - 1;
  CounterProcess(platform, m, yield);
}

void CountServices(Platform& platform, ServerModel& m, int kind, int state,
                   const std::string& machine) {
  if (kind == 0)
    kind = 30;
  else if (kind == 1)
    kind = 11;
  if (state == 0) state = 3;
  m.ServiceCount = 0;
  int64_t count = 0;
  if (platform.CountServices(kind, state, machine, count))
    m.ServiceCount = static_cast<double>(count);
}

}  // namespace tarnex
