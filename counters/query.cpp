#include "counters/query.h"

#include "base/legacy.h"

namespace tarnex {

namespace {
constexpr size_t kEnumBuffer = 32768;
}

uint32_t EnumObjectItems(PerfCounters& pdh, const std::string& machine, const std::string& object,
                         std::string& counters, std::string& instances) {
  std::string c, i;
  const uint32_t status = pdh.EnumObjectItems(machine, object, c, i);
  if (status == PerfCounters::kOk) {
    counters = c.substr(0, kEnumBuffer);
    instances = i.substr(0, kEnumBuffer);
  }
  return status;
}

std::string ProcessorPath(PerfCounters& pdh, int index) {
  std::string object, counter;
  pdh.LookupPerfNameByIndex(238, object);
  pdh.LookupPerfNameByIndex(6, counter);
  return "\\" + object + "(" + std::to_string(index) + ")\\" + counter;
}

void AddCounter(PerfCounters& pdh, uint32_t query, const std::string& path, int32_t& handle,
                const std::function<void()>& yield) {
  int32_t local = handle;
  pdh.AddCounter(query, path, local);
  handle = local;
  if (yield) yield();
}

void DiscoverAdapters(PerfCounters& pdh, ServerModel& model) {
  model.AdapterCount = 0;
  std::string counters, instances;
  if (EnumObjectItems(pdh, model.ComputerName, "Network Interface", counters, instances) !=
      PerfCounters::kOk) {
    return;
  }
  const auto items = legacy::Split(instances, std::string(1, '\0'));
  // The empty item behind the final NUL is left out.
  for (size_t i = 0; i + 1 < items.size(); ++i) {
    const std::string& item = items[i];
    if (item.size() <= 5) continue;
    const std::string head = legacy::LCase(item.substr(0, 5));
    if (head == "local" || head == "isata") continue;
    for (auto& slot : model.AdapterName) {
      if (slot.empty()) {
        slot = item;
        break;
      }
    }
    ++model.AdapterCount;
  }
}

}  // namespace tarnex
