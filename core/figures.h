// The sampling cycle's own figures: the processor, objects and memory steps,
// the processor averages and the strip charts.
#pragma once

#include <cstdint>
#include <string>

#include "core/context.h"

namespace tarnex {

// Step 4: the processor counters, in their order.
void ReadProcessor(Context& ctx);
// Step 5: the processor texts, the chart and the averages.
void ShowProcessor(Context& ctx);
// Step 6: interrupts and deferred calls.
void ShowInterrupts(Context& ctx);
// Step 7: objects and system.
void ReadObjects(Context& ctx);
// Step 8: memory.
void ReadMemory(Context& ctx);
// Step 16: memory pages and the pools.
void ReadMemoryPages(Context& ctx);

// Feeds the minute, hour and day averages of the processor load.
void CPUAver(Context& ctx, const std::string& sample);

// Moves a strip chart's history one place on and puts the value last.
void Plot(History& history, int32_t value);

}  // namespace tarnex
