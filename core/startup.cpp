// Start-up (Form_Load): one linear procedure, in the order the system has
// always kept; the step numbers are those of that order.
#include "backup/backup_settings.h"
#include "bandwidth/line_speeds.h"
#include "bandwidth/logs.h"
#include "base/legacy.h"
#include "core/app.h"
#include "core/journal.h"
#include "counters/catalogue.h"
#include "counters/programs.h"
#include "inventory/dos_outputs.h"
#include "inventory/processor_facts.h"
#include "inventory/system_facts.h"
#include "monitorlink/listeners.h"
#include "rules/engine.h"

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

  // 12. First run.
  FirstRunStamp();

  // 17. The expected line speeds.
  LoadLineSpeeds(ctx_);
  // 18. The bottleneck switches.
  LoadRuleSwitches(ctx_);

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

  // 32. The event window shows the system text; the timer starts.
  ReadFlag(ctx_.INIRead(Context::kSettingsFile, "Server", "Start Server Monitor"), m.Check3[2]);
  m.EventText = m.SysInfo;
  EventTextChanged(m);
  timer1_ = loop().AddTimer([this] { Timer1(); });
  loop().SetTimerInterval(timer1_, 1000);
  loop().SetTimerEnabled(timer1_, true);
  return true;
}

}  // namespace tarnex
