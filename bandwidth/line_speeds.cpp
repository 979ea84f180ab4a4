#include "bandwidth/line_speeds.h"

#include "base/legacy.h"

namespace tarnex {

namespace {

// The limits are the speeds without their " MB"; a text too short to cut
// leaves the limit as it was.
void TakeLimits(ServerModel& m) {
  using legacy::Left;
  if (m.UpBW.size() >= 3) m.UpBWLimit = Left(m.UpBW, static_cast<int64_t>(m.UpBW.size()) - 3);
  if (m.DnBW.size() >= 3) m.DnBWLimit = Left(m.DnBW, static_cast<int64_t>(m.DnBW.size()) - 3);
}

}  // namespace

void LoadLineSpeeds(Context& ctx) {
  auto& m = ctx.model();
  m.UpBWList.clear();
  m.DnBWList.clear();
  for (int i = 1; i <= 90; ++i) {
    m.UpBWList.push_back(std::to_string(i + 10) + " MB");
    m.DnBWList.push_back(std::to_string(i + 10) + " MB");
  }
  m.UpBW = ctx.INIRead(Context::kSettingsFile, "Monitor", "UP BW");
  m.DnBW = ctx.INIRead(Context::kSettingsFile, "Monitor", "DN BW");
  if (m.UpBW.empty()) m.UpBW = "100 MB";
  // An empty download speed gives the upload speed its default again and
  // stays empty itself.
  if (m.DnBW.empty()) m.UpBW = "100 MB";
  TakeLimits(m);
}

void SaveLineSpeeds(Context& ctx) {
  auto& m = ctx.model();
  ctx.INIWrite(Context::kSettingsFile, "Monitor", "UP BW", m.UpBW);
  ctx.INIWrite(Context::kSettingsFile, "Monitor", "DN BW", m.DnBW);
  TakeLimits(m);
}

}  // namespace tarnex
