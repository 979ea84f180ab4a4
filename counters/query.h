// The counter query layer: the one enumeration routine, the processor path
// builder, counter adding, and the discovery of network adapters.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/model.h"
#include "platform/perf.h"

namespace tarnex {

// Lists the counters and instances of an object through buffers of 32768
// characters, each cut to the length that came back. Returns the status.
uint32_t EnumObjectItems(PerfCounters& pdh, const std::string& machine, const std::string& object,
                         std::string& counters, std::string& instances);

// "\\" + localised "Processor" + "(" + index + ")\\" + localised "% Processor Time".
std::string ProcessorPath(PerfCounters& pdh, int index);

// Adds one counter and stores the handle whatever the status, then gives way
// to pending events.
void AddCounter(PerfCounters& pdh, uint32_t query, const std::string& path, int32_t& handle,
                const std::function<void()>& yield);

// Finds the network adapters: AdapterCount and AdapterName(0..5).
void DiscoverAdapters(PerfCounters& pdh, ServerModel& model);

}  // namespace tarnex
