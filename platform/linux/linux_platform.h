// The Linux host as the machine the system supervises.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/linux_counters.h"
#include "platform/native/http_server.h"
#include "platform/native/instance_lock.h"
#include "platform/native/native_files.h"
#include "platform/native/native_network.h"
#include "platform/native/time_sources.h"
#include "platform/platform.h"

namespace tarnex {

struct LinuxOptions {
  std::string app_path;                          // host path of the installation folder
  std::string executable;                        // host path of this program (default: this
                                                 // process's); the system-facts program
                                                 // sits beside it
  std::string boot_dir = "/etc/systemd/system";  // where the start-at-boot unit goes
  std::string unit_dir = "/lib/systemd/system";  // where the package puts its unit
  bool answer = false;                           // the answer to yes/no questions
  std::vector<std::string> interfaces;           // network interfaces to serve; empty: the rule
  std::string root;                              // folder of the proc and sys trees; "": the host
};

class LinuxPlatform : public Platform {
 public:
  explicit LinuxPlatform(LinuxOptions options);

  EventLoop& Loop() override { return loop_; }
  PerfCounters& Counters() override { return counters_; }
  Files& Fs() override { return files_; }
  Network& Net() override { return net_; }
  std::string Environment(const std::string& name) override;
  void ShowMessage(const std::string& text) override;
  bool AskYesNo(const std::string& text) override;
  void RaisePriority() override;
  bool FirstInstance(const std::string& app_path) override;
  // The single-instance lock, which the launcher takes before start-up.
  InstanceLock& Lock() { return lock_; }
  bool SetStartAtBoot(const std::string& program) override;
  bool DeleteStartAtBoot() override;
  std::vector<int64_t> EnumProcesses() override;
  bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) override;
  bool CountServices(int kind, int state, const std::string& machine, int64_t& count) override;
  bool ProcessFileName(int64_t pid, std::string& path) override;
  std::string ProcessPathOf(const std::string& name) override { return files_.Native(name); }
  int64_t ProcessWindow(int64_t pid) override;
  bool CloseWindow(int64_t window) override;
  std::string ProgramFile() override;
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override;
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override;
  bool QueryWmi(const std::string& query, std::vector<WmiRow>& rows) override;
  ProcessorInfo SystemProcessor() override;
  bool ProcessorMHz(uint32_t& mhz) override;
  bool InterfaceTable(std::vector<InterfaceRow>& rows) override;
  bool DiskFreeSpace(const std::string& root, double& total, double& free_bytes) override;
  std::unique_ptr<HttpServer> NewHttpServer() override { return NewNativeHttpServer(Loop()); }
  bool RandomBytes(std::string& out, size_t size) override { return NativeRandomBytes(out, size); }
  // The first "nameserver" of /etc/resolv.conf; error 2 when the file cannot
  // be read.
  int DnsServer(std::string& address) override;

  // The program and arguments a command line stands for on this host: a
  // quoted program runs to its closing quote; otherwise the shortest run of
  // words that names an existing file is the program, as on the original
  // platform. A program whose file name is Systeminfo.exe, in any folder,
  // that does not exist here is the system-facts program of this project.
  // Empty when there is no such program.
  std::vector<std::string> ResolveCommand(const std::string& command_line) const;

  // The counters, for what only this provider offers (its adapters, its clock).
  LinuxCounters& Host() { return counters_; }

  static constexpr const char* kUnitName = "tarnex-server.service";
  // The package's unit, when the package is installed; "" otherwise.
  std::string PackagedUnit() const;
  // The link that enables the package's unit at boot.
  std::string BootLink() const;
  static constexpr const char* kSystemFactsProgram = "tarnex-sysinfo";

 private:
  LinuxOptions options_;
  std::string proc_;  // the proc tree of the host
  RealTimeSource time_;
  EventLoop loop_{time_};
  LinuxCounters counters_;
  NativeFiles files_;
  NativeNetwork net_;
  InstanceLock lock_;
  std::map<std::string, double> swap_peaks_;  // the highest use seen of each swap area
};

}  // namespace tarnex
