// The application: owns the server model, the settings store and the state
// of the subsystems that hold more than model fields, and runs the
// orchestration in the order the system has always kept: start-up, the
// sampling cycle, the Save operation and the two ways out. The work of each
// step lives with the subsystem that owns it; each is handed the Context.
#pragma once

#include <memory>
#include <string>

#include "core/context.h"
#include "core/model.h"
#include "core/profile.h"
#include "platform/platform.h"

namespace tarnex {

class Commands;
class DOSOutputs;
class Listeners;
struct RelaySocket;
class UpdateCheck;

class App {
 public:
  App(Platform& platform, std::string app_path);
  ~App();
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  ServerModel& model() { return model_; }
  const ServerModel& model() const { return model_; }
  Context& ctx() { return ctx_; }
  Platform& platform() { return platform_; }
  EventLoop& loop() { return platform_.Loop(); }
  Winsock& Listener(int index);
  int Timer1Id() const { return timer1_; }
  int Timer2Id() const { return timer2_; }
  // The command runner of the main window, made at start-up; its output
  // goes to DOSBox. Null before start-up.
  DOSOutputs* objDOS() { return objDOS_.get(); }
  // The operator's surface: every window with its fields and commands.
  Commands& commands() { return *commands_; }

  // The deployment's update server, asked at start-up; with none (the
  // default) there is no check.
  void SetUpdateServer(const std::string& host, int port);
  UpdateCheck& update() { return *update_; }

  // Start-up. False when the process must end at once (another instance runs).
  bool FormLoad();
  // Closing the main window: the unload order, then the loop stops.
  void FormUnload();
  // The Exit command: closes the sockets and ends at once, saving nothing.
  void Exit();
  // The sampling cycle.
  void Timer1();
  // The clock cycle.
  void Timer2();
  // The back-up clock.
  void Timer3();
  // The Save operation of the main settings screen.
  void Command1();
  // A button of the row that fills a slot's password (0 to 4) or the
  // server code (5).
  void Generate(int index);

  // Writes the settings changed since the loop last waited (the loop does
  // this itself before every wait; the launcher once more at exit).
  bool Flush() { return profiles_.Flush(); }

 private:
  void FirstRunStamp();
  void NightFold();

  Platform& platform_;
  ServerModel model_;
  ProfileStore profiles_;
  Context ctx_;
  std::unique_ptr<Listeners> listeners_;
  // The main window's mail socket, on which the daily report leaves.
  std::unique_ptr<RelaySocket> winsock2_;
  std::unique_ptr<UpdateCheck> update_;
  std::unique_ptr<DOSOutputs> objDOS_;
  std::unique_ptr<Commands> commands_;
  int timer1_ = 0;
  int timer2_ = 0;
  int timer3_ = 0;
  int flush_hook_ = 0;
};

// Where the window goes: a stored place below 100 is centred, then clamped
// to the screen (twips).
void PlaceWindow(double& left, double& top, double screen_width, double screen_height);

}  // namespace tarnex
