// The bookkeeping shared by the counter providers: queries, handles, and one
// source per added counter. A provider says which paths exist and how a
// source samples; the table does the rest.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/perf.h"

namespace tarnex {

class CounterSource {
 public:
  virtual ~CounterSource() = default;
  // Takes this collection's sample.
  virtual void Collect() = 0;
  // False until the source has a value (a rate needs two samples).
  virtual bool Valid() const = 0;
  virtual double Value() const = 0;
};

class CounterTable : public PerfCounters {
 public:
  uint32_t OpenQuery(uint32_t& query) override;
  uint32_t AddCounter(uint32_t query, const std::string& path, int32_t& handle) override;
  uint32_t CollectQueryData(uint32_t query) override;
  double GetDoubleCounterValue(int32_t handle, uint32_t& status) override;
  uint32_t EnumObjectItems(const std::string& machine, const std::string& object,
                           std::string& counters, std::string& instances) override;
  uint32_t LookupPerfNameByIndex(uint32_t index, std::string& name) override;
  uint32_t RemoveCounter(int32_t handle) override;
  uint32_t CloseQuery(uint32_t query) override;

  // A path without its "\\MACHINE" part.
  static std::string LocalPart(const std::string& path);

 protected:
  // The source of a path (given without its machine part), or null when no
  // such counter exists here.
  virtual std::unique_ptr<CounterSource> Resolve(const std::string& local_path) = 0;
  // Called once before the sources of a collection sample.
  virtual void BeginCollection() {}
  // The instances of an object; false when the object does not exist.
  virtual bool Instances(const std::string& object, std::vector<std::string>& instances) = 0;

 private:
  struct Counter {
    uint32_t query;
    std::unique_ptr<CounterSource> source;
  };
  std::map<uint32_t, bool> queries_;
  std::map<int32_t, Counter> counters_;
  uint32_t next_query_ = 1;
  int32_t next_handle_ = 1;
};

}  // namespace tarnex
