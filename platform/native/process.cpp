#include "platform/native/process.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace tarnex {

namespace {

int g_pipe[2] = {-1, -1};
volatile sig_atomic_t g_signals = 0;

void OnSignal(int) {
  g_signals = g_signals + 1;
  if (g_signals > 1) _exit(1);
  const char byte = 1;
  [[maybe_unused]] ssize_t n = write(g_pipe[1], &byte, 1);
}

}  // namespace

CloseSignals::CloseSignals(EventLoop& loop, EventLoop::Handler on_close) : loop_(loop) {
  if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
  watch_ = loop_.WatchFd(g_pipe[0], POLLIN, [on_close = std::move(on_close)](short) {
    char drain[16];
    while (read(g_pipe[0], drain, sizeof drain) > 0) {
    }
    on_close();
  });
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

CloseSignals::~CloseSignals() {
  if (watch_ == 0) return;
  loop_.Unwatch(watch_);
  signal(SIGTERM, SIG_DFL);
  signal(SIGINT, SIG_DFL);
  close(g_pipe[0]);
  close(g_pipe[1]);
  g_pipe[0] = g_pipe[1] = -1;
}

std::string ExecutablePath() {
  char buffer[PATH_MAX] = {};
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

std::string PrepareFolder(std::string& path) {
  if (path.empty()) {
    path = ExecutablePath();
    path = path.substr(0, path.find_last_of('/'));
  }
  if (path.find('\\') != std::string::npos) {
    return "the installation folder '" + path + "' holds a '\\'";
  }
  std::string partial;
  for (size_t pos = 0; pos != std::string::npos;) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (!partial.empty()) mkdir(partial.c_str(), 0755);
  }
  char resolved[PATH_MAX] = {};
  if (realpath(path.c_str(), resolved) == nullptr) {
    return "the installation folder '" + path + "' cannot be made: " + std::strerror(errno);
  }
  struct stat st {};
  if (stat(resolved, &st) != 0 || !S_ISDIR(st.st_mode)) {
    return "the installation folder '" + path + "' is not a folder";
  }
  if (std::string(resolved).find('\\') != std::string::npos) {
    return "the installation folder '" + std::string(resolved) + "' holds a '\\'";
  }
  if (access(resolved, W_OK | X_OK) != 0) {
    return "the installation folder '" + std::string(resolved) +
           "' cannot be written: " + std::strerror(errno);
  }
  path = resolved;
  return {};
}

namespace {

// The process id of a temporary file's name, `<file>.tmp<pid>`; 0 when the
// name is not one.
pid_t TemporaryOwner(std::string_view name) {
  const size_t at = name.rfind(".tmp");
  if (at == std::string_view::npos || at == 0) return 0;
  const std::string_view digits = name.substr(at + 4);
  if (digits.empty() || digits.size() > 9 || digits[0] == '0') return 0;
  pid_t pid = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return 0;
    pid = pid * 10 + (c - '0');
  }
  return pid;
}

bool Running(pid_t pid) {
  return kill(pid, 0) == 0 || errno == EPERM;
}

int RemoveStaleIn(int dir_fd, int depth) {
  DIR* dir = fdopendir(dir_fd);
  if (dir == nullptr) {
    close(dir_fd);
    return 0;
  }
  int removed = 0;
  while (const dirent* e = readdir(dir)) {
    const std::string_view name = e->d_name;
    if (name == "." || name == "..") continue;
    struct stat st {};
    if (fstatat(dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISDIR(st.st_mode)) {
      if (depth <= 0) continue;
      const int sub =
          openat(dirfd(dir), e->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      if (sub >= 0) removed += RemoveStaleIn(sub, depth - 1);
      continue;
    }
    const pid_t owner = TemporaryOwner(name);
    if (owner > 0 && !Running(owner) && unlinkat(dirfd(dir), e->d_name, 0) == 0) ++removed;
  }
  closedir(dir);
  return removed;
}

}  // namespace

int RemoveStaleTemporaries(const std::string& folder, int depth) {
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fd < 0 ? 0 : RemoveStaleIn(fd, depth);
}

}  // namespace tarnex
