// The application: owns the server model, the settings store and the monitor
// listeners, and runs start-up, the sampling cycle, the journal, the Save
// operation and the close of the main window over a platform provider.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "core/model.h"
#include "core/profile.h"
#include "counters/catalogue.h"
#include "platform/platform.h"
#include "platform/winsock.h"

namespace tarnex {

class DOSOutputs;

class App {
 public:
  static constexpr const char* kSettingsFile = "\\Bin\\Tarnex.Tnx";
  static constexpr const char* kAsterisks =
      "************************************************************************************";

  App(Platform& platform, std::string app_path);
  ~App();
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  ServerModel& model() { return model_; }
  const ServerModel& model() const { return model_; }
  Platform& platform() { return platform_; }
  EventLoop& loop() { return platform_.Loop(); }
  Winsock& Listener(int index) { return *listeners_[static_cast<size_t>(index)]; }
  int Timer1Id() const { return timer1_; }
  // The command runner of the main window, made at start-up; its output
  // goes to DOSBox. Null before start-up.
  DOSOutputs* objDOS() { return objDOS_.get(); }

  // Start-up. False when the process must end at once (another instance runs).
  bool FormLoad();
  // Closing the main window: the unload order, then the loop stops.
  void FormUnload();
  // The Exit command: closes the sockets and ends at once, saving nothing.
  void Exit();

  // The sampling cycle and its processor averages.
  void Timer1();
  void CPUAver(const std::string& sample);
  // The journal half of the cycle's step 25: a non-empty BNText loses its
  // last two characters and goes to the journal between asterisk lines.
  void JournalFindings();

  // The journal.
  void MyEvents(const std::string& message);
  void LogDailyBandwidth(const std::string& text);
  void LogDailyHardDrive(const std::string& text);
  void LogMonthlyBandwidth(const std::string& text);
  void LogMonthlyHardDrive(const std::string& text);
  void LogAnnualBandwidth(const std::string& text);
  void LogAnnualHardDrive(const std::string& text);

  // Settings: a file name is AppPath-relative when it starts with "\".
  std::string INIRead(const std::string& file, const std::string& section, const std::string& key);
  void INIWrite(const std::string& file, const std::string& section, const std::string& key,
                const std::string& value);
  // The Save operation of the main settings screen.
  void Command1();

  // The one sleep, which lets events run, and a yield.
  void Wait(int64_t ms) { loop().Wait(ms); }
  void Yield() { loop().DoEvents(); }

  // A message box for the operator; kept in the model too.
  void ShowMessage(const std::string& text);

  // The counter catalogue over this application's model and platform.
  CounterCatalogue Catalogue();

  // Counter read: the value whatever the status says.
  double ReadCounter(int32_t handle);

  // The six strip charts.
  void PlotCPU(int32_t value) { Plot(model_.picGraph0, value); }
  void PlotRec(int32_t value) { Plot(model_.picGraph1, value); }
  void PlotSent(int32_t value) { Plot(model_.picGraph2, value); }
  void PlotSeconds(int32_t value) { Plot(model_.CPUU0, value); }
  void PlotMinutes(int32_t value) { Plot(model_.CPUU1, value); }
  void PlotHours(int32_t value) { Plot(model_.CPUU2, value); }

 private:
  std::string Path(const std::string& name) const;
  void AppendLog(const char* name, const std::string& text);
  void EventTextChanged();
  void ShowPortIndicators();
  void FirstRunStamp();
  void RestoreLineSpeeds();
  void RestoreBottleneckSwitches();
  void StartCompanionIfWanted();
  std::string CompanionPath() const { return model_.AppPath + "\\SendBU.exe"; }
  static void Plot(History& history, int32_t value);
  void Timer1Disk();

  Platform& platform_;
  ServerModel model_;
  ProfileStore profiles_;
  std::array<std::unique_ptr<Winsock>, 5> listeners_;
  std::unique_ptr<DOSOutputs> objDOS_;
  int timer1_ = 0;
};

// A flag read from the settings ("1", "0", "True", "False"): the empty text
// or any other text cannot be converted, and the flag keeps its value.
void ReadFlag(const std::string& text, int32_t& flag);

// Text rules of the main screen.
std::string MinSecText(double seconds);
std::string UpTimeText(double seconds);
// A byte figure as MB, GB or TB text; false (and no text) from 1e14 bytes up.
bool SizeText(double bytes, std::string& text);
// Where the window goes: a stored place below 100 is centred, then clamped
// to the screen (twips).
void PlaceWindow(double& left, double& top, double screen_width, double screen_height);

}  // namespace tarnex
