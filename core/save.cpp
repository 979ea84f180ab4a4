// The Save operation of the main settings screen (Command1): the model
// written in its order, with what takes effect at once.
#include "backup/backup_settings.h"
#include "bandwidth/line_speeds.h"
#include "core/app.h"
#include "monitorlink/listeners.h"
#include "rules/engine.h"

namespace tarnex {

void App::Command1() {
  auto& m = model_;
  const char* S = "Server";

  // 1. The programs closed around a full back-up.
  SaveClosePrograms(ctx_);

  // 2, 3. The monitor slots; each listener with a port above 100 reopens.
  SaveMonitorSettings(ctx_, *listeners_);

  // 4. The connection indicators.
  ShowPortIndicators(ctx_);

  // 5. Sending to the remotes, the back-up path, and the three switches.
  SaveBackupTarget(ctx_);
  ctx_.INIWrite(Context::kSettingsFile, S, "Sent Logs", std::to_string(m.Check3[1]));
  ctx_.INIWrite(Context::kSettingsFile, S, "Start at Boot", std::to_string(m.Check3[0]));
  ctx_.INIWrite(Context::kSettingsFile, S, "Start Server Monitor", std::to_string(m.Check3[2]));

  // 6. Start at boot.
  if (m.Check3[0] == 1) {
    platform_.SetStartAtBoot(m.AppPath + "\\Tarnex Server.exe");
  } else {
    platform_.DeleteStartAtBoot();
  }

  // 7. The expected line speeds and their limits.
  SaveLineSpeeds(ctx_);

  // 8. The twelve switches, copied into the rules at once.
  SaveRuleSwitches(ctx_);

  // 9. The back-up clock, the server's name.
  SaveBackupClock(ctx_);
  ctx_.INIWrite(Context::kSettingsFile, S, "Server Name", m.SName);

  // 10. The file back-up list.
  SaveBackupList(ctx_);

  // 11. The back-up interval in seconds.
  TakeBackupInterval(ctx_);

  // 12. The sending companion, closed and started again.
  RestartCompanion(ctx_);
}

}  // namespace tarnex
