// A platform that makes named operations fail on demand, so that a test can
// see what the system does about a file that cannot be written or a port that
// cannot be had, whoever runs it (root ignores file permissions).
//
// Operations by name: files "stat", "open", "read", "write", "chmod", "close",
// "rename", "remove", "mkdir"; sockets "listen", "accept", "resolve",
// "connect", "send", "receive"; the machine "shell-open", "start-command".
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

class FaultPlatform : public ForwardingPlatform {
 public:
  explicit FaultPlatform(Platform& inner);
  ~FaultPlatform() override;

  void Inject(Fault fault);
  void Heal() { faults_.clear(); }
  // How many calls of an operation were made to fail so far.
  int Failed(const std::string& op) const;

  Files& Fs() override;
  Network& Net() override;
  bool ShellOpen(const std::string& file, const std::string& parameters,
                 const std::string& folder) override;
  CommandStart StartCommand(const std::string& command_line,
                            std::unique_ptr<CommandPipe>& pipe) override;

  // The fault that this call trips, if any (consumes a skip or a failure).
  const Fault* Trip(const std::string& op, const std::string& subject);

 private:
  class FaultFiles;
  class FaultNetwork;

  std::vector<Fault> faults_;
  std::map<std::string, int> failed_;
  std::unique_ptr<FaultFiles> files_;
  std::unique_ptr<FaultNetwork> net_;
};

}  // namespace tarnex
