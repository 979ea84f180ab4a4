#include "core/app.h"

#include <cctype>
#include <optional>

#include "core/legacy.h"
#include "counters/catalogue.h"
#include "counters/programs.h"
#include "inventory/dos_outputs.h"
#include "inventory/processor_facts.h"
#include "inventory/system_facts.h"
#include "rules/engine.h"

namespace tarnex {

namespace {
// The keys of BNMonitor(0..11) in section Monitor.
const char* const kSwitchKeys[12] = {"CPU",        "MEM",        "HD",          "NET",
                                     "SQL",        "ISA FW",     "Web Service", "Web Proxy",
                                     "ISA Server", "Server Gen", "Once",        "UPrograms"};
}  // namespace

using legacy::Format;
using legacy::FormatDate;
using legacy::Left;
using legacy::UCase;
using legacy::Val;

namespace {

// "Monitor CPU Port", "Monitor CPU Port 2" ... "Monitor CPU Port 5".
std::string PortKey(const char* name, int n) {
  std::string key = name;
  if (n != 1) {
    key += ' ';
    key += std::to_string(n);
  }
  return key;
}

}  // namespace

void ReadFlag(const std::string& text, int32_t& flag) {
  if (auto n = legacy::ImplicitNumber(text)) flag = static_cast<int32_t>(legacy::CLng(*n));
}

App::App(Platform& platform, std::string app_path) : platform_(platform) {
  model_.AppPath = std::move(app_path);
  for (auto& l : listeners_) l = std::make_unique<Winsock>(platform_.Loop());
}

App::~App() = default;

CounterCatalogue App::Catalogue() {
  return CounterCatalogue(platform_, model_, [this] { Yield(); });
}

std::string App::Path(const std::string& name) const {
  return model_.AppPath + name;
}

void App::ShowMessage(const std::string& text) {
  model_.OperatorMessages.push_back(text);
  platform_.ShowMessage(text);
}

double App::ReadCounter(int32_t handle) {
  uint32_t status = 0;
  return platform_.Counters().GetDoubleCounterValue(handle, status);
}

std::string App::INIRead(const std::string& file, const std::string& section,
                         const std::string& key) {
  const std::string name = !file.empty() && file[0] == '\\' ? Path(file) : file;
  const std::string native = platform_.Fs().Native(name);
  if (native.empty()) return {};
  return profiles_.Read(native, section, key);
}

void App::INIWrite(const std::string& file, const std::string& section, const std::string& key,
                   const std::string& value) {
  const std::string name = !file.empty() && file[0] == '\\' ? Path(file) : file;
  const std::string native = platform_.Fs().Native(name);
  if (native.empty()) return;
  std::string clean;
  clean.reserve(value.size());
  for (char c : value) {
    if (c != '\0') clean += c;
  }
  profiles_.Write(native, section, key, clean);
}

void PlaceWindow(double& left, double& top, double screen_width, double screen_height) {
  if (left < 100) left = screen_width / 2 - 4010;
  if (top < 100) top = screen_height / 2 - 4175;
  if (left > screen_width - 6750) left = screen_width - 6750;
  if (top > screen_height - 5800) top = screen_height - 5800;
}

void App::ShowPortIndicators() {
  const std::string* ports[5] = {&model_.CPUPort, &model_.CPUPort2, &model_.CPUPort3,
                                 &model_.CPUPort4, &model_.CPUPort5};
  for (size_t i = 0; i < 5; ++i) model_.cno[i] = Val(*ports[i]) < 1000 ? 1 : 0;
}

void App::FirstRunStamp() {
  if (!INIRead(kSettingsFile, "Server", "First Run").empty()) return;
  const CivilTime now = loop().Now();
  const std::string stamp = FormatDate(now, "dd mmm yyyy") + " " + FormatDate(now, "hh:mm:ssampm");
  const std::string line = "Tracking Started: " + stamp;
  LogDailyBandwidth(line);
  LogMonthlyBandwidth(line);
  LogAnnualBandwidth(line);
  LogDailyHardDrive(line);
  LogMonthlyHardDrive(line);
  // The sixth line goes to the annual bandwidth log a second time; the annual
  // hard drive log gets no first line.
  LogAnnualBandwidth(line);
  INIWrite(kSettingsFile, "Server", "First Run", stamp);
}

void App::StartCompanionIfWanted() {
  if (model_.Check1 == 1 && platform_.FindProcessByPath(CompanionPath()) == 0) {
    platform_.ShellOpen(CompanionPath(), "", model_.AppPath);
  }
}

void App::RestoreLineSpeeds() {
  auto& m = model_;
  m.UpBWList.clear();
  m.DnBWList.clear();
  for (int i = 1; i <= 90; ++i) {
    m.UpBWList.push_back(std::to_string(i + 10) + " MB");
    m.DnBWList.push_back(std::to_string(i + 10) + " MB");
  }
  m.UpBW = INIRead(kSettingsFile, "Monitor", "UP BW");
  m.DnBW = INIRead(kSettingsFile, "Monitor", "DN BW");
  if (m.UpBW.empty()) m.UpBW = "100 MB";
  // An empty download speed gives the upload speed its default again and
  // stays empty itself.
  if (m.DnBW.empty()) m.UpBW = "100 MB";
  // A text too short to lose its " MB" leaves the limit as it was.
  if (m.UpBW.size() >= 3) m.UpBWLimit = Left(m.UpBW, static_cast<int64_t>(m.UpBW.size()) - 3);
  if (m.DnBW.size() >= 3) m.DnBWLimit = Left(m.DnBW, static_cast<int64_t>(m.DnBW.size()) - 3);
}

void App::RestoreBottleneckSwitches() {
  auto& m = model_;
  for (size_t i = 0; i < 12; ++i) {
    ReadFlag(INIRead(kSettingsFile, "Monitor", kSwitchKeys[i]), m.BNMonitor[i]);
  }
  RefreshRuleSwitches(m);
  // Report each bottleneck only once: every key is marked as reported, so the
  // guarded rules stay silent for the whole run.
  if (m.Once == 1) {
    for (int key = 1; key <= 100; ++key) {
      INIWrite(kSettingsFile, "Bottleneck", std::to_string(key), "1");
    }
  }
}

bool App::FormLoad() {
  auto& m = model_;
  auto& pdh = platform_.Counters();

  // 1. The command runner; what it receives goes to DOSBox.
  objDOS_ = std::make_unique<DOSOutputs>(*this);
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
    ShowMessage("Windows performance service disabled or broken!");
  }
  // 4. The probe counter; its handle is not kept.
  int32_t probe = 0;
  if (pdh.AddCounter(m.PerfQuery, "\\\\" + m.ComputerName + "\\Processor(0)\\% Idle Time", probe) !=
      PerfCounters::kOk) {
    ShowMessage("Fail");
  }

  // 5. The system drive.
  m.SystemDrive = Left(m.WinDir, 2);
  m.DriveCaption = UCase(Left(m.WinDir, 1)) + " Drive";

  // 6. The counter catalogue.
  Catalogue().SetUp();

  // 7. Scratch, priority.
  m.DiskReadMonth = 0;
  m.DiskWriteMonth = 0;
  m.LogAllSeconds = 0;
  m.LogAllElapsed = 0;
  platform_.RaisePriority();

  // 8. Single instance.
  if (!platform_.FirstInstance(m.AppPath)) {
    ShowMessage("There is already a copy of Tarnex Server Running!");
    return false;
  }

  // 9. Window place and the system folder. With no desktop the stored place
  // stays as it is.
  m.Left = Val(INIRead(kSettingsFile, "Server", "Left"));
  m.Top = Val(INIRead(kSettingsFile, "Server", "Top"));
  double width = 0, height = 0;
  if (platform_.ScreenSize(width, height)) PlaceWindow(m.Left, m.Top, width, height);
  m.WinDir = platform_.Environment("WinDIR");
  // The test reads the opposite way from the folder names, on purpose.
  m.SystemBinDir = platform_.Fs().FolderExists(m.WinDir + "\\Syswow64") ? m.WinDir + "\\System32"
                                                                        : m.WinDir + "\\Syswow64";

  // 10. The folder tree.
  for (const char* folder :
       {"\\Bin", "\\Events", "\\Events\\Tracked", "\\Events\\SnapShot", "\\Logs", "\\Files"}) {
    if (!platform_.Fs().FolderExists(Path(folder))) platform_.Fs().MakeFolder(Path(folder));
  }

  // 12. First run.
  FirstRunStamp();

  // 17, 18. The expected line speeds and the bottleneck switches.
  RestoreLineSpeeds();
  RestoreBottleneckSwitches();

  // 29. The hour, the connection indicators.
  m.HourNow = FormatDate(loop().Now(), "h");
  ShowPortIndicators();
  // The processor, the page file, the services and the system facts.
  ReadCPUWMI(*this);
  SwapInfo(*this);
  CountServices(platform_, m);
  m.ServiceText = "Service: " + legacy::Str(m.ServiceCount);
  GetSYS(*this);
  m.SysInfo = m.CPUInfo;

  // 30. One whole sampling cycle by hand, then pending events.
  Timer1();
  Yield();

  // 31. The companion.
  StartCompanionIfWanted();

  // 32. The event window shows the system text; the timer starts.
  ReadFlag(INIRead(kSettingsFile, "Server", "Start Server Monitor"), m.Check3[2]);
  m.EventText = m.SysInfo;
  EventTextChanged();
  timer1_ = loop().AddTimer([this] { Timer1(); });
  loop().SetTimerInterval(timer1_, 1000);
  loop().SetTimerEnabled(timer1_, true);
  return true;
}

void App::Command1() {
  auto& m = model_;
  const char* S = "Server";
  for (int i = 0; i < 4; ++i) {
    INIWrite(kSettingsFile, S, "Close Prog " + std::to_string(i + 1), m.CloseME[i]);
    INIWrite(kSettingsFile, S, "CmdLine " + std::to_string(i + 1), m.CmdLine[i]);
  }
  INIWrite(kSettingsFile, S, "Restart Prog", std::to_string(m.CloseCHK));
  INIWrite(kSettingsFile, S, "Close and Restart", m.CRTime);

  const std::string* cpu_ports[5] = {&m.CPUPort, &m.CPUPort2, &m.CPUPort3, &m.CPUPort4,
                                     &m.CPUPort5};
  const std::string* bu_ports[5] = {&m.BUPort, &m.BUPort2, &m.BUPort3, &m.BUPort4, &m.BUPort5};
  for (int n = 1; n <= 5; ++n) {
    INIWrite(kSettingsFile, S, PortKey("Monitor CPU Port", n), *cpu_ports[n - 1]);
  }
  for (int n = 1; n <= 5; ++n) {
    INIWrite(kSettingsFile, S, "Monitor CPU Pass " + std::to_string(n), m.CPUpass[n - 1]);
  }
  for (int n = 1; n <= 5; ++n) {
    INIWrite(kSettingsFile, S, PortKey("Monitor BU Port", n), *bu_ports[n - 1]);
  }
  INIWrite(kSettingsFile, S, "Monitor Server Code", m.SrvCODE);
  for (int n = 1; n <= 5; ++n) {
    INIWrite(kSettingsFile, S, "Monitor User " + std::to_string(n), m.MUser[n - 1]);
    const double port = Val(*cpu_ports[n - 1]);
    if (port > 100) {
      Winsock& l = Listener(n - 1);
      l.Close();
      l.SetLocalPort(static_cast<int>(legacy::CLng(port)));
      l.Listen();
    }
  }
  ShowPortIndicators();

  INIWrite(kSettingsFile, S, "BU to Remotes", std::to_string(m.Check1));
  m.BUPath = m.Text1;
  INIWrite(kSettingsFile, S, "BU Path", m.BUPath);
  INIWrite(kSettingsFile, S, "Sent Logs", std::to_string(m.Check3[1]));
  INIWrite(kSettingsFile, S, "Start at Boot", std::to_string(m.Check3[0]));
  INIWrite(kSettingsFile, S, "Start Server Monitor", std::to_string(m.Check3[2]));
  if (m.Check3[0] == 1) {
    platform_.SetStartAtBoot(m.AppPath + "\\Tarnex Server.exe");
  } else {
    platform_.DeleteStartAtBoot();
  }

  INIWrite(kSettingsFile, "Monitor", "UP BW", m.UpBW);
  INIWrite(kSettingsFile, "Monitor", "DN BW", m.DnBW);
  // The limits are the speeds without their " MB"; a text too short to cut
  // leaves the limit as it was.
  if (m.UpBW.size() >= 3) m.UpBWLimit = Left(m.UpBW, static_cast<int64_t>(m.UpBW.size()) - 3);
  if (m.DnBW.size() >= 3) m.DnBWLimit = Left(m.DnBW, static_cast<int64_t>(m.DnBW.size()) - 3);

  for (size_t i = 0; i < 12; ++i) {
    INIWrite(kSettingsFile, "Monitor", kSwitchKeys[i], std::to_string(m.BNMonitor[i]));
  }
  RefreshRuleSwitches(m);

  INIWrite(kSettingsFile, S, "BU Freq", m.BUFreq);
  INIWrite(kSettingsFile, S, "Send 24", m.SendOpt[0] ? "True" : "False");
  INIWrite(kSettingsFile, S, "Send 6", m.SendOpt[1] ? "True" : "False");
  INIWrite(kSettingsFile, S, "Server Name", m.SName);

  std::string list;
  for (const auto& entry : m.List2) {
    if (entry.size() >= 2) list += entry + "\r\n";
  }
  platform_.Fs().WriteAll(Path("\\Bin\\ServerBackup.Tnx"), list);

  m.BackupInterval = Val(m.BUFreq) * 60;

  if (const int64_t pid = platform_.FindProcessByPath(CompanionPath())) {
    platform_.CloseProcessWindow(pid);
    Wait(1000);
  }
  StartCompanionIfWanted();
}

void App::FormUnload() {
  for (auto& l : listeners_) l->Close();
  INIWrite(kSettingsFile, "Server", "Left", legacy::Str(model_.Left));
  INIWrite(kSettingsFile, "Server", "Top", legacy::Str(model_.Top));
  if (const int64_t pid = platform_.FindProcessByPath(CompanionPath())) {
    platform_.CloseProcessWindow(pid);
  }
  loop().Stop();
}

void App::Exit() {
  for (auto& l : listeners_) l->Close();
  loop().Stop();
}

}  // namespace tarnex
