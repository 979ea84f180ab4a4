// The seam between the system's logic and the machine it runs on. The logic
// sees only these interfaces; a provider (the Linux host, or a simulation
// driven by a scenario file) implements them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/perf.h"

namespace tarnex {

class Platform {
 public:
  virtual ~Platform() = default;

  virtual EventLoop& Loop() = 0;
  virtual PerfCounters& Counters() = 0;
  virtual Files& Fs() = 0;

  // The value of an environment variable of the original platform
  // (WinDIR, COMPUTERNAME, NUMBER_OF_PROCESSORS).
  virtual std::string Environment(const std::string& name) = 0;

  // A message box for the operator, and a yes/no question.
  virtual void ShowMessage(const std::string& text) = 0;
  virtual bool AskYesNo(const std::string& text) = 0;

  // The desktop's size in twips; false when there is no desktop.
  virtual bool ScreenSize(double& width, double& height) { return false; }

  // Raises the process's priority when permitted; silently keeps it otherwise.
  virtual void RaisePriority() = 0;

  // Takes the single-instance lock of the installation folder for as long as
  // the process lives. False when another instance holds it.
  virtual bool FirstInstance(const std::string& app_path) = 0;

  // The start-at-boot value: set it to start `program`, or remove it.
  virtual bool SetStartAtBoot(const std::string& program) = 0;
  virtual bool DeleteStartAtBoot() = 0;

  // The identifiers of the running processes.
  virtual std::vector<int64_t> EnumProcesses() = 0;
  // The module base names of a process ("app.exe" ...), its program first.
  // False when the process cannot be opened or its modules cannot be listed.
  virtual bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) = 0;
  // The number of services of a kind (30: all Win32 services, 11: drivers)
  // in a state (1 running, 2 stopped, 3 all). False when the service
  // manager cannot be asked.
  virtual bool CountServices(int kind, int state, const std::string& machine, int64_t& count) = 0;

  // A running process whose full program path is `path` (compared without
  // regard to case): its identifier, or 0 when there is none.
  virtual int64_t FindProcessByPath(const std::string& path) = 0;
  // Asks the process's main window to close.
  virtual bool CloseProcessWindow(int64_t pid) = 0;
  // Starts a file with the shell verb "open".
  virtual bool ShellOpen(const std::string& file, const std::string& parameters,
                         const std::string& folder) = 0;
};

}  // namespace tarnex
