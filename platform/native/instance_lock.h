// The single-instance lock: a file in the installation folder locked for as
// long as the process lives.
#pragma once

#include <string>

namespace tarnex {

class InstanceLock {
 public:
  static constexpr const char* kFileName = ".tarnex-server.lock";
  ~InstanceLock();
  // Takes the lock in `folder` (a host path). False when another process holds it.
  bool Acquire(const std::string& folder);

 private:
  int fd_ = -1;
};

}  // namespace tarnex
