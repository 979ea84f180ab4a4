#include "tracking/harvest.h"

#include <utility>

#include "base/legacy.h"
#include "core/lists.h"
#include "tracking/groups.h"
#include "tracking/hits.h"
#include "tracking/tracking_day.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::Str;
using legacy::Val;

std::string DailyLogName(const std::string& folder, const CivilTime& day) {
  return folder + "\\ex" + FormatDate(day, "yymmdd") + ".log";
}

std::string ReadLog(Context& ctx, const std::string& name) {
  std::string text;
  FileInfo info;
  const std::string path = ctx.fs().Native(name);
  if (!path.empty() && ctx.fs().ReadFile(path, text, info, SIZE_MAX, OpenFor::kReadThroughLinks)) {
    return text;
  }
  if (!path.empty() && !ctx.fs().Stat(path, info)) ctx.fs().Append(name, "", true);
  return {};
}

void Harvest(Context& ctx, int group) {
  auto& m = ctx.model();
  const TrackingGroup& g = GroupOf(group);
  // 1.
  Text& folder = m.*g.path;
  if (legacy::Right(folder, 1) == "\\") folder.pop_back();
  // 2. and 3.
  const std::string text = ReadLog(ctx, DailyLogName(folder, ctx.Now()));
  // 4. The text from the reading point on.
  double& log_len = m.*g.log_len;
  const int64_t from = legacy::CLng(log_len);
  std::string fresh = legacy::Mid(text, from + 1, static_cast<int64_t>(text.size()) - from);
  // 5. to 9.
  m.DataLBuff.clear();
  if (fresh.size() > 5) {
    m.DataLBuff = std::move(fresh);
    const LogLines lines(m.DataLBuff);
    // Only the lines of this year move the reading point, by their length
    // without the line end.
    const std::string year = FormatDate(ctx.Now(), "yyyy");
    for (const std::string_view piece : lines.pieces()) {
      if (piece.substr(0, 4) == year) log_len += static_cast<double>(piece.size());
    }
    ctx.INIWrite(TrackFile(group), "TData", "LogLen", Str(log_len));
    CountAndRecord(ctx, group, m.*g.names, lines);
  }
  // 10.
  WriteTrackReport(ctx, group);
}

void WriteTrackReport(Context& ctx, int group) {
  const std::string file = TrackFile(group);
  double hits = 0, today = 0, size = 0;
  std::string report;
  for (const std::string& name : TrackedNames(ctx, group)) {
    const std::string h = ctx.INIRead(file, name, "Hits"), t = ctx.INIRead(file, name, "HitsToday"),
                      s = ctx.INIRead(file, name, "Size"), d = ctx.INIRead(file, name, "LastDate");
    hits += Val(h);
    today += Val(t);
    size += Val(s);
    report += name + "|" + h + "|" + t + "|" + s + "|" + d + "\r\n";
  }
  report += "Totals|" + Str(hits) + "|" + Str(today) + "|" + Str(size) + "|\r\n";
  const std::string path = "\\Events\\Tracked\\Track" + std::to_string(group) + ".txt";
  ctx.fs().WriteAll(ctx.Path(path), report);
}

}  // namespace tarnex
