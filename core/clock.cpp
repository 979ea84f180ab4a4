// The clock cycle (Timer2), once a second: the listeners' watch, and in the
// minute 23:59 the night's fold, the daily mail and the day's roll-over. Its
// rows run in this order in one tick.
#include "backup/backup_clock.h"
#include "bandwidth/rollover.h"
#include "base/legacy.h"
#include "core/app.h"
#include "core/journal.h"
#include "mail/relay.h"
#include "mail/summary.h"
#include "monitorlink/listeners.h"
#include "tracking/tracking_day.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::Val;

void App::NightFold() {
  // 1. The day's server record joins the monitor journal.
  WriteServerRecord(ctx_);
  // 2 to 6. The event files into the day event file.
  FoldDayEvents(ctx_);
  // 7, and rows 4 to 6. With tracking off the fold ends here and runs again
  // on every tick of the minute 23:59; with it on, it closes the tracked
  // hits of the day and does not run again this run.
  if (model_.TrackEnabled == 1) CloseTrackingDay(ctx_);
}

void App::Timer2() {
  auto& m = model_;

  // 1. The listeners: marks, and a slot that is closed listens again.
  WatchListeners(ctx_, *listeners_);

  // 2. The time as hhmm.
  m.rtime = FormatDate(ctx_.Now(), "hhmm");

  // 3. The night's fold.
  if (m.rtime == "2359" && m.DayTrackClosed == 0) NightFold();

  // 7. The day of the month.
  m.ddate = FormatDate(ctx_.Now(), "d");

  // 8. In the first hour of a day after the daily mail, both flags reopen.
  if (Val(m.rtime) < 100 && m.MidnightArmed == 1) {
    m.MidnightArmed = 0;
    m.DayClosed = 0;
  }

  // 9. The daily mail, once, in the last minute of the day, to every
  // recipient; then the two daily figures of the summary go back to 0, and
  // the status line tells when the pass was through, whatever became of it.
  if (Val(m.rtime) > 2358 && m.autosend == 1 && m.MidnightArmed == 0) {
    m.MidnightArmed = 1;
    sendit(ctx_, *winsock2_);
    m.SummarySent = "0";
    m.SummaryRec = "0";
    m.Label7 = "Email Sent at " + FormatDate(ctx_.Now(), "hh:mm:ssampm");
  }

  // 10. The day roll-over.
  if (m.rtime == "2359" && m.DayClosed != 1) DayRollOver(ctx_);
}

void App::Timer3() {
  BackupTick(ctx_);
}

}  // namespace tarnex
