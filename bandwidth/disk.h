// The disk traffic of the system drive, steps 9 to 15 of the sampling cycle:
// its counters, load bands, day and month sums, peaks and texts.
#pragma once

#include "core/context.h"

namespace tarnex {

// Step 9: the seven disk counters.
void ReadDisk(Context& ctx);
// Step 10: the load bands (which overlap at their edges).
void CountDiskLoad(Context& ctx);
// Step 11: each rate counts as one second's bytes.
void SumDiskTraffic(Context& ctx);
// Steps 12 to 14: peaks, totals and the size texts.
void DiskPeaksAndTotals(Context& ctx);
// Step 15: the disk texts.
void ShowDisk(Context& ctx);

}  // namespace tarnex
