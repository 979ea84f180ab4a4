// A platform that hands every operation to another one. A test derives from
// it to change one operation and keep the rest of a machine as it is.
#pragma once

#include "platform/platform.h"

namespace tarnex {

class ForwardingPlatform : public Platform {
 public:
  explicit ForwardingPlatform(Platform& inner) : inner_(inner) {}
  Platform& inner() { return inner_; }

  EventLoop& Loop() override { return inner_.Loop(); }
  PerfCounters& Counters() override { return inner_.Counters(); }
  Files& Fs() override { return inner_.Fs(); }
  Network& Net() override { return inner_.Net(); }
  std::string Environment(const std::string& name) override { return inner_.Environment(name); }
  void ShowMessage(const std::string& text) override { inner_.ShowMessage(text); }
  bool AskYesNo(const std::string& text) override { return inner_.AskYesNo(text); }
  bool ScreenSize(double& width, double& height) override {
    return inner_.ScreenSize(width, height);
  }
  void RaisePriority() override { inner_.RaisePriority(); }
  bool FirstInstance(const std::string& app_path) override {
    return inner_.FirstInstance(app_path);
  }
  bool SetStartAtBoot(const std::string& program) override {
    return inner_.SetStartAtBoot(program);
  }
  bool DeleteStartAtBoot() override { return inner_.DeleteStartAtBoot(); }
  std::vector<int64_t> EnumProcesses() override { return inner_.EnumProcesses(); }
  bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) override {
    return inner_.ProcessModules(pid, base_names);
  }
  bool CountServices(int kind, int state, const std::string& machine, int64_t& count) override {
    return inner_.CountServices(kind, state, machine, count);
  }
  bool ProcessFileName(int64_t pid, std::string& path) override {
    return inner_.ProcessFileName(pid, path);
  }
  std::string ProcessPathOf(const std::string& name) override { return inner_.ProcessPathOf(name); }
  int64_t ProcessWindow(int64_t pid) override { return inner_.ProcessWindow(pid); }
  bool CloseWindow(int64_t window) override { return inner_.CloseWindow(window); }
  std::string ProgramFile() override { return inner_.ProgramFile(); }
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override {
    return inner_.ShellOpen(file, parameters, folder);
  }
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override {
    return inner_.StartCommand(command_line, pipe);
  }
  bool QueryWmi(const std::string& query, std::vector<WmiRow>& rows) override {
    return inner_.QueryWmi(query, rows);
  }
  ProcessorInfo SystemProcessor() override { return inner_.SystemProcessor(); }
  bool ProcessorMHz(uint32_t& mhz) override { return inner_.ProcessorMHz(mhz); }
  bool InterfaceTable(std::vector<InterfaceRow>& rows) override {
    return inner_.InterfaceTable(rows);
  }
  bool DiskFreeSpace(const std::string& root, double& total, double& free_bytes) override {
    return inner_.DiskFreeSpace(root, total, free_bytes);
  }
  int DnsServer(std::string& address) override { return inner_.DnsServer(address); }
  std::unique_ptr<HttpServer> NewHttpServer() override { return inner_.NewHttpServer(); }
  bool RandomBytes(std::string& out, size_t size) override { return inner_.RandomBytes(out, size); }

 private:
  Platform& inner_;
};

}  // namespace tarnex
