// The harvest of a group's log of today (readdata1 to readdata4): the new
// lines since the last pass are counted against the group's names, and the
// group's report is written again.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// The IIS daily log of a folder for the day: FOLDER\exYYMMDD.log.
std::string DailyLogName(const std::string& folder, const CivilTime& day);

// The text of a log the operator's folder names, links followed; a log that
// is missing is made, empty, as opening it with the create flag does.
std::string ReadLog(Context& ctx, const std::string& name);

// One group's pass, group 1 to 4. No cycle calls it; it is there for a
// schedule to join.
void Harvest(Context& ctx, int group);

// "\Events\Tracked\Track<N>.txt": a line a name of "\Files\TData<N>.dat" with
// its figures, and the "Totals" line.
void WriteTrackReport(Context& ctx, int group);

}  // namespace tarnex
