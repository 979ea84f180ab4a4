#include "platform/native/native_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "platform/native/native_path.h"
#include "platform/native/time_sources.h"

namespace tarnex {

namespace {

void Fill(const struct stat& st, FileInfo& info) {
  info.regular = S_ISREG(st.st_mode);
  info.folder = S_ISDIR(st.st_mode);
  info.device = static_cast<uint64_t>(st.st_dev);
  info.inode = static_cast<uint64_t>(st.st_ino);
  info.size = static_cast<int64_t>(st.st_size);
  info.modified_ns = st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec;
  info.changed_ns = st.st_ctim.tv_sec * 1000000000LL + st.st_ctim.tv_nsec;
  info.mode = st.st_mode & 07777;
}

}  // namespace

std::string NativeFiles::Native(std::string_view name) const {
  if (name.empty() || (name[0] != '/' && name[0] != '\\')) return {};
  return NativePath(name);
}

bool NativeFiles::Stat(const std::string& path, FileInfo& info) const {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return false;
  Fill(st, info);
  return true;
}

int NativeFiles::Open(const std::string& path, OpenFor how) {
  // O_NONBLOCK keeps the open itself from waiting on a named pipe or a
  // device; whatever is not a regular file is then closed again unread.
  int flags = O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
  switch (how) {
    case OpenFor::kRead:
      flags |= O_RDONLY;
      break;
    case OpenFor::kReadThroughLinks:
      flags = (flags & ~O_NOFOLLOW) | O_RDONLY;
      break;
    case OpenFor::kAppend:
      flags |= O_WRONLY | O_APPEND | O_CREAT;
      break;
    case OpenFor::kAppendExisting:
      flags |= O_WRONLY | O_APPEND;
      break;
    case OpenFor::kWriteNew:
      flags |= O_WRONLY | O_CREAT | O_EXCL;
      break;
  }
  int fd;
  do {
    fd = ::open(path.c_str(), flags, 0644);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -1;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    errno = EINVAL;
    return -1;
  }
  return fd;
}

bool NativeFiles::Info(int file, FileInfo& info) {
  struct stat st {};
  if (::fstat(file, &st) != 0) return false;
  Fill(st, info);
  return true;
}

int64_t NativeFiles::Read(int file, char* buffer, size_t size) {
  for (;;) {
    const ssize_t n = ::read(file, buffer, size);
    if (n >= 0 || errno != EINTR) return n;
  }
}

bool NativeFiles::Write(int file, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = ::write(file, data.data(), data.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

bool NativeFiles::SetMode(int file, uint32_t mode) {
  return ::fchmod(file, mode & 07777) == 0;
}

bool NativeFiles::Truncate(int file, int64_t size) {
  int rc;
  do {
    rc = ::ftruncate(file, static_cast<off_t>(size));
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

bool NativeFiles::Close(int file) {
  return ::close(file) == 0;
}

bool NativeFiles::Rename(const std::string& from, const std::string& to) {
  // Swapping the two names is as atomic as a rename and spares the file
  // system the flush it starts when a file is renamed over another; the old
  // content, now under the first name, is removed after.
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
    ::unlink(from.c_str());
    return true;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool NativeFiles::Remove(const std::string& path) {
  return ::unlink(path.c_str()) == 0;
}

bool NativeFiles::MakeDir(const std::string& path) {
  return ::mkdir(path.c_str(), 0755) == 0;
}

bool NativeFiles::List(const std::string& path, std::vector<std::string>& names) const {
  names.clear();
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) return false;
  while (const dirent* e = ::readdir(dir)) {
    const std::string name = e->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(dir);
  return true;
}

std::string NativeFiles::TempPath(const std::string& path) const {
  return path + ".tmp" + std::to_string(::getpid());
}

int64_t NativeFiles::ClockNs() const {
  timespec t{};
  ::clock_gettime(CLOCK_REALTIME, &t);
  return t.tv_sec * 1000000000LL + t.tv_nsec;
}

std::optional<CivilTime> NativeFiles::LocalTime(int64_t epoch_seconds) const {
  return LocalCivilTime(epoch_seconds);
}

}  // namespace tarnex
