// Start-up (Form_Load): one linear procedure, in the order the system has
// always kept; the step numbers are those of that order.
#include "backup/backup_settings.h"
#include "bandwidth/line_speeds.h"
#include "bandwidth/logs.h"
#include "bandwidth/traffic.h"
#include "base/legacy.h"
#include "core/app.h"
#include "core/commands.h"
#include "core/journal.h"
#include "counters/catalogue.h"
#include "counters/programs.h"
#include "inventory/dos_outputs.h"
#include "inventory/processor_facts.h"
#include "inventory/system_facts.h"
#include "mail/mail_settings.h"
#include "monitorlink/listeners.h"
#include "rules/engine.h"
#include "tracking/tracking_day.h"
#include "update/update.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::Left;
using legacy::UCase;
using legacy::Val;

void PlaceWindow(double& left, double& top, double screen_width, double screen_height) {
  if (left < 100) left = screen_width / 2 - 4010;
  if (top < 100) top = screen_height / 2 - 4175;
  if (left > screen_width - 6750) left = screen_width - 6750;
  if (top > screen_height - 5800) top = screen_height - 5800;
}

void App::FirstRunStamp() {
  if (!ctx_.INIRead(Context::kSettingsFile, "Server", "First Run").empty()) return;
  const CivilTime now = ctx_.Now();
  const std::string stamp = FormatDate(now, "dd mmm yyyy") + " " + FormatDate(now, "hh:mm:ssampm");
  const std::string line = "Tracking Started: " + stamp;
  LogDailyBandwidth(ctx_, line);
  LogMonthlyBandwidth(ctx_, line);
  LogAnnualBandwidth(ctx_, line);
  LogDailyHardDrive(ctx_, line);
  LogMonthlyHardDrive(ctx_, line);
  // The sixth line goes to the annual bandwidth log a second time; the annual
  // hard drive log gets no first line.
  LogAnnualBandwidth(ctx_, line);
  ctx_.INIWrite(Context::kSettingsFile, "Server", "First Run", stamp);
}

bool App::FormLoad() {
  auto& m = model_;
  auto& pdh = platform_.Counters();

  // 1. The command runner; what it receives goes to DOSBox.
  objDOS_ = std::make_unique<DOSOutputs>(ctx_);
  objDOS_->ReceiveOutputs = [this](const std::string& text) { model_.DOSBox += text; };

  // 2. Identity and environment.
  m.AppVersion = "0.80";
  m.AppBuildDate = "14 Nov 2012";
  m.WinDir = platform_.Environment("WinDIR");
  m.ComputerName = platform_.Environment("COMPUTERNAME");
  m.ProcessorCount = platform_.Environment("NUMBER_OF_PROCESSORS");

  // 3. Performance-service probe.
  m.PerfServiceBroken = 0;
  if (pdh.OpenQuery(m.PerfQuery) != PerfCounters::kOk) {
    m.PerfServiceBroken = 1;
    ctx_.ShowMessage("Windows performance service disabled or broken!");
  }
  // 4. The probe counter; its handle is not kept.
  int32_t probe = 0;
  if (pdh.AddCounter(m.PerfQuery, "\\\\" + m.ComputerName + "\\Processor(0)\\% Idle Time", probe) !=
      PerfCounters::kOk) {
    ctx_.ShowMessage("Fail");
  }

  // 5. The system drive.
  m.SystemDrive = Left(m.WinDir, 2);
  m.DriveCaption = UCase(Left(m.WinDir, 1)) + " Drive";

  // 6. The counter catalogue.
  CounterCatalogue(ctx_).SetUp();

  // 7. Scratch, priority.
  m.DiskReadMonth = 0;
  m.DiskWriteMonth = 0;
  m.LogAllSeconds = 0;
  m.LogAllElapsed = 0;
  platform_.RaisePriority();

  // 8. Single instance.
  if (!platform_.FirstInstance(m.AppPath)) {
    ctx_.ShowMessage("There is already a copy of Tarnex Server Running!");
    return false;
  }

  // 9. Window place and the system folder. With no desktop the stored place
  // stays as it is.
  m.Left = Val(ctx_.INIRead(Context::kSettingsFile, "Server", "Left"));
  m.Top = Val(ctx_.INIRead(Context::kSettingsFile, "Server", "Top"));
  double width = 0, height = 0;
  if (platform_.ScreenSize(width, height)) PlaceWindow(m.Left, m.Top, width, height);
  m.WinDir = platform_.Environment("WinDIR");
  // The test reads the opposite way from the folder names, on purpose.
  m.SystemBinDir = platform_.Fs().FolderExists(m.WinDir + "\\Syswow64") ? m.WinDir + "\\System32"
                                                                        : m.WinDir + "\\Syswow64";

  // 10. The folder tree.
  Files& fs = platform_.Fs();
  for (const char* folder :
       {"\\Bin", "\\Events", "\\Events\\Tracked", "\\Events\\SnapShot", "\\Logs", "\\Files"}) {
    if (!fs.FolderExists(ctx_.Path(folder))) fs.MakeFolder(ctx_.Path(folder));
  }

  // 11. The update check: the reply comes as an event, later.
  update_->chk4up();

  // 12. First run.
  FirstRunStamp();

  // 13. Mail.
  LoadMailSettings(ctx_);

  // 14. Back-up: the list, sending to the remotes, the path, the options.
  LoadBackupSettings(ctx_);

  // 15. The flags of the run start at 0.
  m.MinuteTick = 0;
  m.DayClosed = 0;
  m.MidnightArmed = 0;
  m.BackupState = 0;
  m.BackupCount = 0;
  m.DayTrackClosed = 0;
  m.HarvestDone = 0;

  // 16. The week table of the month last stored.
  LoadWeekTable(ctx_);

  // 17. The expected line speeds.
  LoadLineSpeeds(ctx_);
  // 18. The bottleneck switches.
  LoadRuleSwitches(ctx_);

  // 19 to 21. The back-up clock, the close and restart time, "Send Summary".
  LoadBackupClock(ctx_);

  // 22. The end-task list.
  LoadEndTaskList(ctx_);

  // 23. The monitor slots' ports, passwords and server code.
  LoadMonitorSettings(ctx_);

  // 24. The listeners open: socket events can come from here on.
  OpenListeners(ctx_, *listeners_);

  // 25. The programs closed around a full back-up, two switches, the ports
  // still empty, the users and the server's name.
  LoadClosePrograms(ctx_);
  ReadFlag(ctx_.INIRead(Context::kSettingsFile, "Server", "Sent Logs"), m.Check3[1]);
  ReadFlag(ctx_.INIRead(Context::kSettingsFile, "Server", "Start at Boot"), m.Check3[0]);
  DefaultEmptyPorts(ctx_);
  LoadMonitorUsers(ctx_);
  m.SName = ctx_.INIRead(Context::kSettingsFile, "Server", "Server Name");

  // 26. Web-site tracking.
  LoadTracking(ctx_);

  // 27. The day of the tracked hits; the close-on-back-up list.
  LoadTrackingDay(ctx_);
  LoadCloseOnBackup(ctx_);

  // 28. The totals, with the roll-overs that fell due while the program was
  // down.
  LoadTotals(ctx_);

  // 29. The hour, the connection indicators; the processor, the page file,
  // the services and the system facts.
  m.HourNow = FormatDate(ctx_.Now(), "h");
  ShowPortIndicators(ctx_);
  ReadCPUWMI(ctx_);
  SwapInfo(ctx_);
  CountServices(platform_, m);
  m.ServiceText = "Service: " + legacy::Str(m.ServiceCount);
  GetSYS(ctx_);
  m.SysInfo = m.CPUInfo;

  // 30. One whole sampling cycle by hand, then pending events.
  Timer1();
  ctx_.Yield();

  // 31. The sending companion.
  StartCompanionIfWanted(ctx_);

  // 32. The performance console when it is wanted; the event window shows
  // the system text; the timers start, in this order, each at 1000 ms.
  ReadFlag(ctx_.INIRead(Context::kSettingsFile, "Server", "Start Server Monitor"), m.Check3[2]);
  if (m.Check3[2] == 1) commands_->Open("frmServer");
  m.EventText = m.SysInfo;
  EventTextChanged(m);
  timer1_ = loop().AddTimer([this] { Timer1(); });
  timer2_ = loop().AddTimer([this] { Timer2(); });
  timer3_ = loop().AddTimer([this] { Timer3(); });
  for (const int timer : {timer1_, timer2_, timer3_}) {
    loop().SetTimerInterval(timer, 1000);
    loop().SetTimerEnabled(timer, true);
  }
  return true;
}

}  // namespace tarnex
