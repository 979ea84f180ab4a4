// The simulated machine: a scenario file and a virtual clock. Deterministic,
// and fast: a day of running takes seconds.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/counter_table.h"
#include "platform/native/http_server.h"
#include "platform/native/instance_lock.h"
#include "platform/native/native_network.h"
#include "platform/native/time_sources.h"
#include "platform/platform.h"
#include "platform/sim/sim_files.h"

namespace tarnex {

struct SimOptions {
  std::string scenario_path;
  std::optional<CivilTime> start;  // overrides the scenario's start
  double speed = 0;                // virtual seconds per real second; 0 = as fast as possible
  bool answer = false;             // the answer to yes/no questions
  bool quiet = false;              // keep operator messages off stderr
};

// A counter's values, one segment per collection; the last value holds.
struct SimSeries {
  std::vector<std::pair<double, int64_t>> segments;  // value, collections
  double At(int64_t collection) const;               // 1 = the first collection
};

class SimCounters : public CounterTable {
 public:
  std::map<std::string, SimSeries> series;                  // lower-cased local paths
  std::map<std::string, std::vector<std::string>> objects;  // lower-cased object names
  // Every path the program asked to add, in order, found or not.
  std::vector<std::string> requested;

  uint32_t AddCounter(uint32_t query, const std::string& path, int32_t& handle) override {
    requested.push_back(path);
    return CounterTable::AddCounter(query, path, handle);
  }

 protected:
  std::unique_ptr<CounterSource> Resolve(const std::string& local_path) override;
  bool Instances(const std::string& object, std::vector<std::string>& instances) override;
};

class SimPlatform : public Platform {
 public:
  // The largest scenario file read.
  static constexpr size_t kMaxScenarioBytes = 64 << 20;

  // Reads the scenario; on failure returns null and says why in `error`.
  static std::unique_ptr<SimPlatform> Load(const SimOptions& options, std::string& error);
  // A scenario given as JSON text (tests).
  static std::unique_ptr<SimPlatform> FromText(const std::string& json, const SimOptions& options,
                                               std::string& error);

  EventLoop& Loop() override { return *loop_; }
  PerfCounters& Counters() override { return counters_; }
  Files& Fs() override { return files_; }
  Network& Net() override { return net_; }
  std::string Environment(const std::string& name) override;
  void ShowMessage(const std::string& text) override;
  bool AskYesNo(const std::string& text) override;
  bool ScreenSize(double& width, double& height) override;
  void RaisePriority() override { priority_raised = true; }
  bool FirstInstance(const std::string& app_path) override;
  // The single-instance lock, which the launcher takes before start-up.
  InstanceLock& Lock() { return lock_; }
  bool SetStartAtBoot(const std::string& program) override;
  bool DeleteStartAtBoot() override;
  std::vector<int64_t> EnumProcesses() override;
  bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) override;
  bool CountServices(int kind, int state, const std::string& machine, int64_t& count) override;
  bool ProcessFileName(int64_t pid, std::string& path) override;
  int64_t ProcessWindow(int64_t pid) override;
  bool CloseWindow(int64_t window) override;
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override;
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override;
  bool QueryWmi(const std::string& query, std::vector<WmiRow>& rows) override;
  ProcessorInfo SystemProcessor() override { return processor; }
  int DnsServer(std::string& address) override {
    if (dns_error == 0) address = dns_server;
    return dns_error;
  }
  bool ProcessorMHz(uint32_t& mhz) override;
  bool InterfaceTable(std::vector<InterfaceRow>& rows) override;
  bool DiskFreeSpace(const std::string& root, double& total, double& free_bytes) override;
  std::unique_ptr<HttpServer> NewHttpServer() override { return NewNativeHttpServer(Loop()); }
  bool RandomBytes(std::string& out, size_t size) override { return NativeRandomBytes(out, size); }

  // The scenario's output text of a command line, or nothing when the
  // machine has no such program.
  std::optional<std::string> CommandOutput(const std::string& command_line) const;

  VirtualTimeSource& Time() { return *time_; }
  SimCounters& Sim() { return counters_; }
  SimFiles& SimFs() { return files_; }

  // The scenario's start time, environment and desktop (width, height).
  std::optional<CivilTime> scenario_start;
  std::map<std::string, std::string> env;
  std::optional<std::pair<double, double>> screen;

  // What the simulated machine saw, for tests and the model dump.
  std::vector<std::string> messages;
  std::vector<std::string> questions;
  std::optional<std::string> boot_value;
  std::map<int64_t, std::string> running;  // pid -> program path
  std::set<int64_t> protected_pids;        // processes that cannot be opened
  std::optional<int64_t> services;         // the service count, when it can be asked
  std::vector<std::string> started;        // "path|parameters|folder"
  std::vector<int64_t> closed;             // the windows sent the close message
  // A process's window is this number above its identifier.
  static constexpr int64_t kWindowBase = 0x10000;
  // Programs that "open" starts, by lower-cased path: how many virtual
  // seconds a run lasts (none: until it is closed) and whether it has a
  // top-level window (without one, a look-up by path never finds it and the
  // close message cannot reach it).
  struct Program {
    std::optional<double> runs_for;
    bool window = true;
  };
  std::map<std::string, Program> programs;
  bool priority_raised = false;

  // The machine's programs, system-management rows, processor and drives, as
  // the scenario gives them; tests may change them while the program runs.
  std::map<std::string, std::string> commands;     // lower-cased "program args" -> output
  std::vector<std::string> commands_run;           // every command line started
  std::map<std::string, std::vector<WmiRow>> wmi;  // lower-cased class -> rows
  ProcessorInfo processor;
  std::optional<uint32_t> mhz;
  struct Disk {
    double total = 0;
    double free = 0;
  };
  std::map<std::string, Disk> disks;  // upper-cased root -> size
  // The interface table; nothing when the machine cannot give one.
  std::optional<std::vector<InterfaceRow>> interfaces;
  // The first DNS server, and the error the network-parameters call fails
  // with (0: none).
  std::string dns_server;
  int dns_error = 0;

  // The operator's steps, in order, each with its time.
  struct OperatorStep {
    CivilTime at;
    nlohmann::json step;
  };
  std::vector<OperatorStep> operator_steps;

 private:
  SimPlatform() = default;

  SimOptions options_;
  std::unique_ptr<VirtualTimeSource> time_;
  std::unique_ptr<EventLoop> loop_;
  SimCounters counters_;
  SimFiles files_;
  NativeNetwork net_;
  InstanceLock lock_;
  int64_t next_pid_ = 1000;
  // Runs that end by themselves: pid -> the loop's millisecond of the end.
  std::map<int64_t, int64_t> ends_at_;
  std::set<int64_t> windowless_;
  void EndFinishedRuns();
};

}  // namespace tarnex
