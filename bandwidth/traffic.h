// The traffic totals: one tick a second adds a second's worth of each
// direction's bytes to the day, the month and the year, and the month table
// is archived as the month changes. The totals live as text in the model and
// in section "Bandwidth" of the settings, written every tick.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// "\Bin\BandWidth.Tnx", the month archive (spelled "\Bin\Bandwidth.Tnx" by
// the month roll-over: one file, the name is case-blind).
inline constexpr const char* kBandwidthFile = "\\Bin\\BandWidth.Tnx";

// The tick (the sampling cycle's step 21): the fourteen sums over the
// adapters, the throughput, the totals, the texts, the peaks, the graphs and
// the six writes.
void getbandwidthXP(Context& ctx);

// The sampling cycle's step 30: the month label, and updateBW when it
// differs from the one last stored (which is then cleared, so updateBW runs
// on every cycle from the second on).
void MonthCheck(Context& ctx);
// The month archive: the week table of the month last stored goes to the
// archive file, "UP" and "DN" take the month's slots, the table restarts at 0.
void updateBW(Context& ctx);
// The unload's first step: the week table to the section of this month.
void SaveIT(Context& ctx);

// Start-up, step 16: the month last stored and its week table.
void LoadWeekTable(Context& ctx);
// Start-up, step 28: the totals, with the year, month and day roll-overs
// that fell due while the program was down (no log lines on this path).
void LoadTotals(Context& ctx);

// The month's totals in the archive, under `month` ("mmmyyyy"): "Send",
// "Rec" and "Total" with grouping and no decimals.
void ArchiveMonthTotals(Context& ctx, const std::string& month);

// A byte total in words for the totals texts: above 1e15 in TB, above 1e12
// in GB, else in MB, with grouping and no decimals.
std::string TotalText(double bytes);

// A total kept as text after an addition: the text of the new value, or the
// old text when the value is not finite (the assignment fails).
void AddToTotal(std::string& total, double bytes);

}  // namespace tarnex
