// The performance counter operations the logic needs: one query, counters
// added by path, a collection a second, values read as doubles.
#pragma once

#include <cstdint>
#include <string>

namespace tarnex {

class PerfCounters {
 public:
  static constexpr uint32_t kOk = 0;
  static constexpr uint32_t kNoObject = 0xC0000BB8;
  static constexpr uint32_t kNoCounter = 0xC0000BB9;
  static constexpr uint32_t kInvalidHandle = 0xC0000BBC;
  static constexpr uint32_t kInvalidData = 0xC0000BC6;
  static constexpr uint32_t kNoData = 0x800007D5;

  virtual ~PerfCounters() = default;
  // Opens a real-time query; 0 on success.
  virtual uint32_t OpenQuery(uint32_t& query) = 0;
  // Adds a counter by its full path. On failure `handle` is left as it was.
  virtual uint32_t AddCounter(uint32_t query, const std::string& path, int32_t& handle) = 0;
  // Takes one sample of every counter of the query. Rates come from the last
  // two samples, so a rate reads 0 until the second collection.
  virtual uint32_t CollectQueryData(uint32_t query) = 0;
  // The counter's value; 0.0 for handle 0 or any counter without valid data.
  virtual double GetDoubleCounterValue(int32_t handle, uint32_t& status) = 0;
  // The counters and instances of an object, each name followed by a NUL.
  virtual uint32_t EnumObjectItems(const std::string& machine, const std::string& object,
                                   std::string& counters, std::string& instances) = 0;
  // The localised name of a standard object or counter index.
  virtual uint32_t LookupPerfNameByIndex(uint32_t index, std::string& name) = 0;
  virtual uint32_t RemoveCounter(int32_t handle) = 0;
  virtual uint32_t CloseQuery(uint32_t query) = 0;
};

}  // namespace tarnex
