#include "platform/native/instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace tarnex {

InstanceLock::~InstanceLock() {
  if (fd_ >= 0) ::close(fd_);
}

bool InstanceLock::Acquire(const std::string& folder) {
  if (fd_ >= 0) return true;
  const std::string path = folder + "/" + kFileName;
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return true;  // a folder that cannot hold the lock does not stop the program
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  return true;
}

}  // namespace tarnex
