#include "platform/counter_table.h"

namespace tarnex {

std::string CounterTable::LocalPart(const std::string& path) {
  if (path.size() > 2 && path[0] == '\\' && path[1] == '\\') {
    const size_t next = path.find('\\', 2);
    return next == std::string::npos ? std::string() : path.substr(next);
  }
  return path;
}

uint32_t CounterTable::OpenQuery(uint32_t& query) {
  query = next_query_++;
  queries_[query] = true;
  return kOk;
}

uint32_t CounterTable::AddCounter(uint32_t query, const std::string& path, int32_t& handle) {
  if (queries_.count(query) == 0) return kInvalidHandle;
  auto source = Resolve(LocalPart(path));
  if (!source) return kNoCounter;
  handle = next_handle_++;
  counters_[handle] = Counter{query, std::move(source)};
  return kOk;
}

uint32_t CounterTable::CollectQueryData(uint32_t query) {
  if (queries_.count(query) == 0) return kInvalidHandle;
  BeginCollection();
  for (auto& [handle, counter] : counters_) {
    if (counter.query == query) counter.source->Collect();
  }
  return kOk;
}

double CounterTable::GetDoubleCounterValue(int32_t handle, uint32_t& status) {
  auto it = counters_.find(handle);
  if (it == counters_.end()) {
    status = kInvalidHandle;
    return 0.0;
  }
  if (!it->second.source->Valid()) {
    status = kInvalidData;
    return 0.0;
  }
  status = kOk;
  return it->second.source->Value();
}

uint32_t CounterTable::EnumObjectItems(const std::string& machine, const std::string& object,
                                       std::string& counters, std::string& instances) {
  std::vector<std::string> names;
  if (!Instances(object, names)) return kNoObject;
  counters.clear();
  instances.clear();
  for (const auto& name : names) {
    instances += name;
    instances += '\0';
  }
  instances += '\0';
  counters += '\0';
  return kOk;
}

uint32_t CounterTable::LookupPerfNameByIndex(uint32_t index, std::string& name) {
  if (index == 238)
    name = "Processor";
  else if (index == 6)
    name = "% Processor Time";
  else
    return kInvalidData;
  return kOk;
}

uint32_t CounterTable::RemoveCounter(int32_t handle) {
  return counters_.erase(handle) != 0 ? kOk : kInvalidHandle;
}

uint32_t CounterTable::CloseQuery(uint32_t query) {
  if (queries_.erase(query) == 0) return kInvalidHandle;
  for (auto it = counters_.begin(); it != counters_.end();) {
    it = it->second.query == query ? counters_.erase(it) : std::next(it);
  }
  return kOk;
}

}  // namespace tarnex
