// The strip charts: the CPU graph window, drawn from the processor averages
// when it opens, and the points of any chart's line.
#pragma once

#include <utility>
#include <vector>

#include "core/context.h"

namespace tarnex {

// The CPU graph window ("CPU Usage") opens: each minute sample, minute
// average and hour average is plotted into its chart, in order. The charts
// then stay as they are.
void OpenCPUGraph(Context& ctx);

// The six charts by their pictures' names: picGraph0 .. picGraph2 and CPUU0 ..
// CPUU2. False for another name.
bool ChartOf(ServerModel& m, const std::string& name, History*& history, double& scale);

// A chart's line: the point (i, scale - value) of every entry, from the
// oldest; a value above the scale lies above the top, unclipped.
std::vector<std::pair<int, int>> ChartPoints(const History& history, double scale);

}  // namespace tarnex
