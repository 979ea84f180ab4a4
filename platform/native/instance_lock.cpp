#include "platform/native/instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tarnex {

namespace {

constexpr mode_t kLockMode = 0600;

// Opens the lock file as it must be: never through a link, never waiting on
// a named pipe or a device, created for this user only when missing.
int OpenLock(const std::string& path, int extra_flags) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | extra_flags,
                kLockMode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

InstanceLock::~InstanceLock() {
  if (fd_ >= 0) ::close(fd_);
}

InstanceLock::Result InstanceLock::Refuse(const std::string& path, const std::string& why) {
  problem_ = "the lock file '" + path + "' " + why;
  return Result::kRefused;
}

InstanceLock::Result InstanceLock::Acquire(const std::string& folder) {
  if (fd_ >= 0) return Result::kTaken;
  const std::string path = folder + "/" + kFileName;
  // Each round opens the file and locks it. The lock counts only if the name
  // still leads to the file locked: a copy that replaced a lock file of the
  // wrong mode (below) may have put another in its place meanwhile, and the
  // old file, no longer locked once that copy let it go, must not count.
  for (int round = 0; round < 4; ++round) {
    const int fd = OpenLock(path, 0);
    if (fd < 0) {
      if (errno == ELOOP) return Refuse(path, "is a symbolic link");
      if (errno == EISDIR) return Refuse(path, "is a folder");
      return Refuse(path, std::string("cannot be opened: ") + std::strerror(errno));
    }
    struct stat st {};
    const auto refuse = [&](const std::string& why) {
      ::close(fd);
      return Refuse(path, why);
    };
    if (::fstat(fd, &st) != 0)
      return refuse(std::string("cannot be read: ") + std::strerror(errno));
    if (!S_ISREG(st.st_mode)) return refuse("is not a regular file");
    if (st.st_uid != ::geteuid()) return refuse("belongs to another user");
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
      ::close(fd);
      if (errno == EWOULDBLOCK) return Result::kHeld;
      return Refuse(path, std::string("cannot be locked: ") + std::strerror(errno));
    }
    struct stat now {};
    if (::lstat(path.c_str(), &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino) {
      ::close(fd);
      continue;
    }
    if ((st.st_mode & 07777) != kLockMode) {
      // A lock file from before the mode was enforced, which others may have
      // opened then and could lock once this copy ends: a new file, locked
      // before it takes the name, replaces it.
      const std::string fresh = path + ".new" + std::to_string(::getpid());
      ::unlink(fresh.c_str());
      const int nfd = OpenLock(fresh, O_EXCL);
      const bool replaced = nfd >= 0 && ::fchmod(nfd, kLockMode) == 0 &&
                            ::flock(nfd, LOCK_EX | LOCK_NB) == 0 &&
                            ::rename(fresh.c_str(), path.c_str()) == 0;
      ::close(fd);
      if (!replaced) {
        if (nfd >= 0) ::close(nfd);
        ::unlink(fresh.c_str());
        return Refuse(path, "has the wrong permissions and cannot be replaced");
      }
      fd_ = nfd;
      return Result::kTaken;
    }
    fd_ = fd;
    return Result::kTaken;
  }
  return Refuse(path, "keeps changing");
}

}  // namespace tarnex
