// The Linux host as the machine the system supervises.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/counter_table.h"
#include "platform/files.h"
#include "platform/native/instance_lock.h"
#include "platform/platform.h"

namespace tarnex {

struct LinuxOptions {
  std::string app_path;                          // host path of the installation folder
  std::string executable;                        // host path of this program (default: this
                                                 // process's); the system-facts program
                                                 // sits beside it
  std::string boot_dir = "/etc/systemd/system";  // where the start-at-boot unit goes
  bool answer = false;                           // the answer to yes/no questions
};

// One line of /proc/stat: the jiffies of a processor (or of all, "cpu").
struct CpuTimes {
  std::string name;  // "cpu", "cpu0", ...
  unsigned long long user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0,
                     steal = 0;
  unsigned long long Total() const {
    return user + nice + system + idle + iowait + irq + softirq + steal;
  }
  unsigned long long Idle() const { return idle + iowait; }
};

// The processor lines of a /proc/stat text.
std::vector<CpuTimes> ParseProcStat(const std::string& text);

// The program a process runs, as the system names it: the executable's file
// name, or the script's for a program run by an interpreter, with ".exe".
// `exe` is the target of /proc/PID/exe, `cmdline` the NUL-separated arguments.
std::string ProgramBaseName(const std::string& exe, const std::string& cmdline);

class LinuxCounters : public CounterTable {
 public:
  explicit LinuxCounters(std::string proc_root = "/proc") : proc_root_(std::move(proc_root)) {}
  // The last two samples of /proc/stat; a rate needs both.
  const std::vector<CpuTimes>& previous() const { return previous_; }
  const std::vector<CpuTimes>& current() const { return current_; }

 protected:
  std::unique_ptr<CounterSource> Resolve(const std::string& local_path) override;
  void BeginCollection() override;
  bool Instances(const std::string& object, std::vector<std::string>& instances) override;

 private:
  std::string proc_root_;
  std::vector<CpuTimes> previous_, current_;
};

class LinuxPlatform : public Platform {
 public:
  explicit LinuxPlatform(LinuxOptions options);

  EventLoop& Loop() override { return loop_; }
  PerfCounters& Counters() override { return counters_; }
  Files& Fs() override { return files_; }
  std::string Environment(const std::string& name) override;
  void ShowMessage(const std::string& text) override;
  bool AskYesNo(const std::string& text) override;
  void RaisePriority() override;
  bool FirstInstance(const std::string& app_path) override;
  bool SetStartAtBoot(const std::string& program) override;
  bool DeleteStartAtBoot() override;
  std::vector<int64_t> EnumProcesses() override;
  bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) override;
  bool CountServices(int kind, int state, const std::string& machine, int64_t& count) override;
  int64_t FindProcessByPath(const std::string& path) override;
  bool CloseProcessWindow(int64_t pid) override;
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override;
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override;
  bool QueryWmi(const std::string& query, std::vector<WmiRow>& rows) override;
  ProcessorInfo SystemProcessor() override;
  bool ProcessorMHz(uint32_t& mhz) override;
  bool DiskFreeSpace(const std::string& root, double& total, double& free_bytes) override;

  // The program and arguments a command line stands for on this host: a
  // quoted program runs to its closing quote; otherwise the shortest run of
  // words that names an existing file is the program, as on the original
  // platform. A program whose file name is Systeminfo.exe, in any folder,
  // that does not exist here is the system-facts program of this project.
  // Empty when there is no such program.
  std::vector<std::string> ResolveCommand(const std::string& command_line) const;

  static constexpr const char* kUnitName = "tarnex-server.service";
  static constexpr const char* kSystemFactsProgram = "tarnex-sysinfo";

 private:
  LinuxOptions options_;
  RealTimeSource time_;
  EventLoop loop_{time_};
  LinuxCounters counters_;
  Files files_;
  InstanceLock lock_;
  std::map<std::string, double> swap_peaks_;  // the highest use seen of each swap area
};

}  // namespace tarnex
