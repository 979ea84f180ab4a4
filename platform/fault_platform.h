// A platform that makes named operations fail on demand, so that a test can
// see what the system does about a file that cannot be written or a port that
// cannot be had, whoever runs it (root ignores file permissions).
//
// Operations by name: files "stat", "open", "read", "write", "chmod",
// "truncate", "close", "rename", "remove", "mkdir"; sockets "listen", "accept", "resolve",
// "connect", "send", "receive"; the machine "shell-open", "start-command",
// "open-process" (its subject the process identifier), "close-window".
// A fault names its operation and, optionally, a part of its subject (a host
// path, a port number as text, a host name, a command line).
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/forwarding_platform.h"

namespace tarnex {

struct Fault {
  std::string op;
  std::string subject;  // must occur in the operation's subject; "" matches any
  int skip = 0;         // matching calls that still succeed first
  int times = -1;       // failures before the fault heals itself; -1: for ever
  // A write that fails after writing this many bytes of its data (-1: none).
  int64_t partial = -1;
};

// The faults injected and the calls they made fail.
class FaultInjector {
 public:
  void Inject(Fault fault) { faults_.push_back(std::move(fault)); }
  void Heal() { faults_.clear(); }
  // How many calls of an operation were made to fail so far.
  int Failed(const std::string& op) const;
  // The fault that this call trips, if any (consumes a skip or a failure).
  const Fault* Trip(const std::string& op, const std::string& subject);

 private:
  std::vector<Fault> faults_;
  std::map<std::string, int> failed_;
};

// Files whose primitives fail as the injector says.
class FaultFiles : public Files {
 public:
  FaultFiles(FaultInjector& faults, Files& inner) : faults_(faults), inner_(inner) {}

  std::string Native(std::string_view name) const override { return inner_.Native(name); }
  bool FolderExists(std::string_view name) const override { return inner_.FolderExists(name); }
  bool Stat(const std::string& path, FileInfo& info) const override;
  int Open(const std::string& path, OpenFor how) override;
  bool Info(int file, FileInfo& info) override { return inner_.Info(file, info); }
  int64_t Read(int file, char* buffer, size_t size) override;
  bool Write(int file, std::string_view data) override;
  bool SetMode(int file, uint32_t mode) override;
  bool Truncate(int file, int64_t size) override;
  bool Close(int file) override;
  bool Rename(const std::string& from, const std::string& to) override;
  bool Remove(const std::string& path) override;
  bool MakeDir(const std::string& path) override;
  bool List(const std::string& path, std::vector<std::string>& names) const override {
    return inner_.List(path, names);
  }
  std::string TempPath(const std::string& path) const override { return inner_.TempPath(path); }
  int64_t ClockNs() const override { return inner_.ClockNs(); }
  std::optional<CivilTime> LocalTime(int64_t epoch_seconds) const override {
    return inner_.LocalTime(epoch_seconds);
  }

 private:
  FaultInjector& faults_;
  Files& inner_;
  std::map<int, std::string> paths_;  // what each open handle names
};

// Sockets whose calls fail as the injector says.
class FaultNetwork : public Network {
 public:
  FaultNetwork(FaultInjector& faults, Network& inner) : faults_(faults), inner_(inner) {}

  int Listen(int port, int& bound_port) override;
  int Accept(int listener) override;
  std::string PeerAddress(int fd, int& port) override { return inner_.PeerAddress(fd, port); }
  std::string LocalAddress(int fd) override { return inner_.LocalAddress(fd); }
  bool Resolve(const std::string& host, std::string& address) override;
  int Connect(const std::string& address, int port) override;
  bool ConnectSucceeded(int fd) override { return inner_.ConnectSucceeded(fd); }
  int64_t Send(int fd, const char* data, size_t size) override;
  int64_t Receive(int fd, char* data, size_t size) override;
  void Close(int fd) override { inner_.Close(fd); }
  int OpenDatagram(const std::string& address, int port) override {
    return inner_.OpenDatagram(address, port);
  }

 private:
  FaultInjector& faults_;
  Network& inner_;
};

// A machine with an injector over its files, its sockets and its program
// starts; everything else as the machine it wraps.
class FaultPlatform : public ForwardingPlatform {
 public:
  explicit FaultPlatform(Platform& inner)
      : ForwardingPlatform(inner), files_(faults_, inner.Fs()), net_(faults_, inner.Net()) {}

  void Inject(Fault fault) { faults_.Inject(std::move(fault)); }
  void Heal() { faults_.Heal(); }
  int Failed(const std::string& op) const { return faults_.Failed(op); }

  Files& Fs() override { return files_; }
  Network& Net() override { return net_; }
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override;
  bool ProcessFileName(int64_t pid, std::string& path) override;
  bool CloseWindow(int64_t window) override;
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override;

 private:
  FaultInjector faults_;
  FaultFiles files_;
  FaultNetwork net_;
};

}  // namespace tarnex
