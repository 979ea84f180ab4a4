#include "platform/native/process.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool PrepareFolder(std::string& path) {
  if (path.empty()) {
    path = ExecutablePath();
    path = path.substr(0, path.find_last_of('/'));
  }
  std::string partial;
  for (size_t pos = 0; pos != std::string::npos;) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (!partial.empty()) mkdir(partial.c_str(), 0755);
  }
  char resolved[PATH_MAX] = {};
  if (realpath(path.c_str(), resolved) == nullptr) return false;
  struct stat st {};
  if (stat(resolved, &st) != 0 || !S_ISDIR(st.st_mode)) return false;
  path = resolved;
  return true;
}

}  // namespace tarnex
