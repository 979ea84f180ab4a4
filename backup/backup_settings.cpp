#include "backup/backup_settings.h"

#include "base/legacy.h"

namespace tarnex {

std::string CompanionPath(Context& ctx) {
  return ctx.Path("\\SendBU.exe");
}

void StartCompanionIfWanted(Context& ctx) {
  Platform& platform = ctx.platform();
  const std::string companion = CompanionPath(ctx);
  if (ctx.model().Check1 == 1 && platform.FindProcessByPath(companion) == 0) {
    platform.ShellOpen(companion, "", ctx.model().AppPath);
  }
}

bool CloseCompanion(Context& ctx) {
  const int64_t pid = ctx.platform().FindProcessByPath(CompanionPath(ctx));
  if (pid == 0) return false;
  ctx.platform().CloseProcessWindow(pid);
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
