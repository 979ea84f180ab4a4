#include "backup/backup_clock.h"

#include "backup/backup_settings.h"
#include "backup/programs.h"
#include "base/legacy.h"
#include "mail/summary.h"

namespace tarnex {

using legacy::FormatDate;

namespace {

bool InSendingPause(const ServerModel& m) {
  const std::string& t = m.ClockNow;
  if (m.SendOpt[0] == 1 && (t == "0000" || t == "0001" || t == "0002")) return true;
  if (m.SendOpt[1] != 1) return false;
  for (const char* hour : {"00", "06", "12", "18"}) {
    for (const char* minute : {"00", "01", "02"}) {
      if (t == std::string(hour) + minute) return true;
    }
  }
  return false;
}

}  // namespace

std::string Span(double seconds) {
  const int64_t n = static_cast<int64_t>(seconds);
  const struct {
    int64_t value;
    const char* name;
  } units[] = {
      {(n / 86400) % 365, "day"}, {(n / 3600) % 24, "hr"}, {(n / 60) % 60, "min"}, {n % 60, "sec"}};
  std::string text;
  for (const auto& u : units) {
    if (u.value == 0) continue;
    text += std::to_string(u.value) + " " + u.name + (u.value == 1 ? "" : "s") + " ";
  }
  return legacy::Left(text, static_cast<int64_t>(text.size()) - 2);
}

void BackupTick(Context& ctx) {
  auto& m = ctx.model();
  // 1. An interval under a minute freezes the clock.
  if (m.BackupInterval < 60) return;
  // 2.
  m.ClockNow = FormatDate(ctx.Now(), "hhmm");
  // 3. One server record an hour.
  const std::string minutes = m.ClockNow.substr(2);
  if (minutes != "00" && m.HourLatch == "1") m.HourLatch = "0";
  if (minutes == "00" && m.HourLatch != "1") {
    m.HourLatch = "1";
    WriteServerRecord(ctx);
  }
  // 4. and 5. A run is watched every five seconds until it is gone.
  if (m.BackupState == 1 || m.BackupState == 2) {
    if (IsRunning(ctx, BackupCompanionPath(ctx)) != 0) {
      m.Label20 = "Back-up In Progress";
      ctx.Wait(5000);
      return;
    }
    m.BackupState = 0;
    m.Label20 = "Last BU Complete: " + BackupTime(ctx);
  }
  // 6. The daily full back-up.
  if (m.CloseCHK == 1 && m.ClockNow == m.CRTime) {
    m.BackupCount = 0;
    StartBackup(ctx, 2, "Last BU Started: ");
    return;
  }
  // 7. The count stands still while the back-ups are being sent.
  if (InSendingPause(m)) return;
  // 8. and 9.
  m.BackupCount += 1;
  m.Label21 = "Next File BU: " + Span(m.BackupInterval - m.BackupCount);
  if (m.BackupCount < m.BackupInterval) return;
  // 10.
  m.BackupCount = 0;
  StartBackup(ctx, 1, "Last BU Started: ");
}

}  // namespace tarnex
