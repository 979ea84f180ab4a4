#include "counters/recordings.h"

#include "core/texts.h"
#include "counters/programs.h"

namespace tarnex {

void LogAllWindow(Context& ctx) {
  auto& m = ctx.model();
  if (m.LogAllSeconds == 0) return;
  m.LogAllElapsed += 1;
  if (m.LogAllElapsed >= m.LogAllSeconds || m.LogAllElapsed > 900) {
    m.LogAllSeconds = 0;
    m.LogAllElapsed = 0;
    m.Label27 = "Data Located at " + m.AppPath + "\\Events\\SnapShot";
  } else {
    m.Label27 = "Logging All Data for " + MinSecText(m.LogAllSeconds - m.LogAllElapsed);
  }
}

void ReadRecordedPrograms(Context& ctx) {
  auto& m = ctx.model();
  if (m.LogAllSeconds == 0) return;
  if (m.MinuteTick == 30) RefreshPrograms(ctx.platform(), m, [&ctx] { ctx.Yield(); });
  for (int32_t i = 0; i <= m.ProgLast && i < 101; ++i) {
    const size_t at = static_cast<size_t>(i);
    m.ProgFaults[at] = ctx.ReadCounter(m.hProgFaults[at]);
    m.ProgWorkingSet[at] = ctx.ReadCounter(m.hProgWorkingSet[at]);
  }
}

}  // namespace tarnex
