#include "tracking/tracking_day.h"

#include "base/legacy.h"
#include "core/lists.h"
#include "tracking/groups.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::Str;
using legacy::Val;

namespace {

void ZeroLogLengths(ServerModel& m) {
  for (int n = 1; n <= 4; ++n) m.*GroupOf(n).log_len = 0;
}

}  // namespace

std::string TrackFile(int group) {
  return "\\Events\\Tracked\\Track" + std::to_string(group) + ".dat";
}

void LoadTracking(Context& ctx) {
  auto& m = ctx.model();
  m.TrackEnabledText = ctx.INIRead(Context::kSettingsFile, "Track", "Enabled");
  ReadFlag(m.TrackEnabledText, m.TrackEnabled);
  m.TrackInterval = ctx.INIRead(Context::kSettingsFile, "Track", "Interval");
  m.HarvestDone = 0;
  for (int n = 1; n <= 4; ++n) {
    const TrackingGroup& g = GroupOf(n);
    // Group 4 keeps its folder and its reading point under other keys.
    m.*g.path = n < 4 ? ctx.INIRead(Context::kSettingsFile, "Track", "DataPath" + std::to_string(n))
                      : ctx.INIRead("\\Events\\Tracked\\Track.dat", "TData", "DataPath4");
    m.*g.names = TrackedNames(ctx, n);
    m.*g.log_len = Val(ctx.INIRead(TrackFile(n), n < 4 ? "TData" : "Data", "LogLen"));
  }
}

void LoadTrackingDay(Context& ctx) {
  auto& m = ctx.model();
  m.WebSite = ctx.INIRead(Context::kSettingsFile, "Track", "WebSite");
  if (ctx.INIRead(TrackFile(1), "Tdata", "Log Date") == FormatDate(ctx.Now(), "dd mmm yyyy")) {
    return;
  }
  ZeroLogLengths(m);
  for (int n = 1; n <= 4; ++n) {
    for (const std::string& name : m.*GroupOf(n).names) {
      ctx.INIWrite(TrackFile(n), name, "HitsToday", "0");
    }
  }
}

void TrackedLog(Context& ctx, const std::string& text) {
  const CivilTime today = ctx.Now();
  const std::string folder = "\\Events\\Tracked\\" + FormatDate(today, "mmmyyyy");
  ctx.fs().MakeFolder(ctx.Path(folder));  // fails when it is there
  ctx.fs().Append(ctx.Path(folder + "\\Tracked_" + FormatDate(today, "ddmmmyyyy") + ".txt"),
                  text + "\r\n");
}

void CloseTrackingDay(Context& ctx) {
  auto& m = ctx.model();
  // 4.
  m.DayTrackClosed = 1;
  ZeroLogLengths(m);
  // 5. Each name of each group, in group order.
  for (int n = 1; n <= 4; ++n) {
    const std::string file = TrackFile(n);
    for (const std::string& name : m.*GroupOf(n).names) {
      TrackedLog(ctx, name + "     " + ctx.INIRead(file, name, "HitsToday"));
      ctx.INIWrite(file, name, "HitsToday", "0");
      const std::string full = ctx.INIRead(file, name, "Full");
      ctx.INIWrite(file, name, "FileSize",
                   Str(static_cast<double>(ctx.fs().Size(full).value_or(0))));
    }
  }
  // 6. The harvest test of the night. The tests of intervals 1 to 4 look at
  // other times of day and cannot hold at 23:59; of 5 and 6 only 2359 can.
  const std::string& t = m.rtime;
  const double interval = Val(m.TrackInterval);
  if (m.HarvestDone == 0 &&
      ((interval == 5 && (t == "1200" || t == "2359")) || (interval == 6 && t == "2359"))) {
    m.HarvestDone = 1;
  }
}

}  // namespace tarnex
