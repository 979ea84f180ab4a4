#include "backup/backup_settings.h"

#include "backup/programs.h"
#include "base/legacy.h"
#include "core/lists.h"

namespace tarnex {

namespace {

constexpr const char* kSettings = Context::kSettingsFile;

}  // namespace

void LoadBackupSettings(Context& ctx) {
  auto& m = ctx.model();
  m.List2 = ListEntries(ctx, "\\Bin\\ServerBackup.Tnx", true, true);
  ReadFlag(ctx.INIRead(kSettings, "Server", "BU to Remotes"), m.Check1);
  m.Text1 = ctx.INIRead(kSettings, "Server", "BU Path");
  m.BUPath = ctx.INIRead(kSettings, "Server", "BU Path");
  ReadFlag(ctx.INIRead(kSettings, "Server", "Send 24"), m.SendOpt[0]);
  ReadFlag(ctx.INIRead(kSettings, "Server", "Send 6"), m.SendOpt[1]);
  if (m.SendOpt[0] == 0 && m.SendOpt[1] == 0) m.SendOpt[0] = -1;  // the option set on
}

void LoadBackupClock(Context& ctx) {
  auto& m = ctx.model();
  // "155" stands where the series would have 255.
  m.BUFreqList = {"15",  "30",  "45",  "60",  "75",  "90",  "105", "120", "135", "150",
                  "165", "180", "195", "210", "225", "240", "155", "270", "285", "300",
                  "330", "360", "390", "420", "450", "480", "510", "540", "570", "600"};
  m.BUFreq = ctx.INIRead(kSettings, "Server", "BU Freq");
  if (m.BUFreq.empty()) m.BUFreq = "60";
  TakeBackupInterval(ctx);
  m.CRTimeList = {"0000", "0100", "0200", "0300", "0400", "0500",
                  "0600", "1900", "2000", "2100", "2200", "2300"};
  m.CRTime = ctx.INIRead(kSettings, "Server", "Close and Restart");
  if (m.CRTime.empty()) m.CRTime = "0100";
  ReadFlag(ctx.INIRead(kSettings, "Server", "Send Summary"), m.SendSummary);
  if (m.SendSummary != 1) m.SendSummary = 0;
}

void LoadEndTaskList(Context& ctx) {
  auto& m = ctx.model();
  m.killlist.clear();
  for (const std::string& line : ReadListFile(ctx, "\\Bin\\endtask.txt", false)) {
    if (legacy::Trim(line).empty() || legacy::Left(line, 2) == "//") continue;
    m.killlist.push_back(legacy::Trim(line));
  }
}

void LoadClosePrograms(Context& ctx) {
  auto& m = ctx.model();
  for (size_t i = 0; i < 4; ++i) {
    m.CloseME[i] = ctx.INIRead(kSettings, "Server", "Close Prog " + std::to_string(i + 1));
    m.CmdLine[i] = ctx.INIRead(kSettings, "Server", "CmdLine " + std::to_string(i + 1));
  }
  ReadFlag(ctx.INIRead(kSettings, "Server", "Restart Prog"), m.CloseCHK);
}

void LoadCloseOnBackup(Context& ctx) {
  ctx.model().BUClosed2 = ListEntries(ctx, "\\Files\\CloseOnBU.txt", true, false);
}

std::string BackupTime(Context& ctx) {
  return legacy::FormatDate(ctx.Now(), "hh:mm:ssampm");
}

void StartBackup(Context& ctx, int32_t state, const std::string& label) {
  auto& m = ctx.model();
  m.BackupState = state;
  m.Label20 = label + BackupTime(ctx);
  ctx.platform().ShellOpen(BackupCompanionPath(ctx), state == 2 ? "-F" : "-S", m.AppPath);
}

void menuBU(Context& ctx) {
  StartBackup(ctx, 1, "Manual BU Started: ");
}

void menuFullBU(Context& ctx) {
  StartBackup(ctx, 2, "Last BU Started: ");
  ctx.Wait(5000);
}

std::string BackupCompanionPath(Context& ctx) {
  return ctx.Path("\\TarnexSBackup.exe");
}

std::string CompanionPath(Context& ctx) {
  return ctx.Path("\\SendBU.exe");
}

void StartCompanionIfWanted(Context& ctx) {
  const std::string companion = CompanionPath(ctx);
  if (ctx.model().Check1 == 1 && IsRunning(ctx, companion) == 0) {
    ctx.platform().ShellOpen(companion, "", ctx.model().AppPath);
  }
}

bool CloseCompanion(Context& ctx) {
  const int64_t window = IsRunning(ctx, CompanionPath(ctx));
  if (window == 0) return false;
  ctx.platform().CloseWindow(window);
  return true;
}

void SaveClosePrograms(Context& ctx) {
  auto& m = ctx.model();
  const char* S = "Server";
  for (int i = 0; i < 4; ++i) {
    ctx.INIWrite(Context::kSettingsFile, S, "Close Prog " + std::to_string(i + 1), m.CloseME[i]);
    ctx.INIWrite(Context::kSettingsFile, S, "CmdLine " + std::to_string(i + 1), m.CmdLine[i]);
  }
  ctx.INIWrite(Context::kSettingsFile, S, "Restart Prog", std::to_string(m.CloseCHK));
  ctx.INIWrite(Context::kSettingsFile, S, "Close and Restart", m.CRTime);
}

void SaveBackupTarget(Context& ctx) {
  auto& m = ctx.model();
  ctx.INIWrite(Context::kSettingsFile, "Server", "BU to Remotes", std::to_string(m.Check1));
  m.BUPath = m.Text1;
  ctx.INIWrite(Context::kSettingsFile, "Server", "BU Path", m.BUPath);
}

void SaveBackupClock(Context& ctx) {
  auto& m = ctx.model();
  ctx.INIWrite(Context::kSettingsFile, "Server", "BU Freq", m.BUFreq);
  ctx.INIWrite(Context::kSettingsFile, "Server", "Send 24", m.SendOpt[0] ? "True" : "False");
  ctx.INIWrite(Context::kSettingsFile, "Server", "Send 6", m.SendOpt[1] ? "True" : "False");
}

void SaveBackupList(Context& ctx) {
  std::string list;
  for (const auto& entry : ctx.model().List2) {
    if (entry.size() >= 2) list += entry + "\r\n";
  }
  ctx.fs().WriteAll(ctx.Path("\\Bin\\ServerBackup.Tnx"), list);
}

void TakeBackupInterval(Context& ctx) {
  auto& m = ctx.model();
  m.BackupInterval = legacy::Val(m.BUFreq) * 60;
}

void RestartCompanion(Context& ctx) {
  if (CloseCompanion(ctx)) ctx.Wait(1000);
  StartCompanionIfWanted(ctx);
}

}  // namespace tarnex
