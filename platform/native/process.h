// What the launcher needs of this host's process: the signals that close the
// program, the program's own path, and the installation folder made ready.
#pragma once

#include <string>

#include "platform/event_loop.h"

namespace tarnex {

// SIGTERM and SIGINT: the first one calls `on_close` from the event loop
// (closing the program as closing the main window does); a second one ends
// the process at once. Only one instance may exist.
class CloseSignals {
 public:
  CloseSignals(EventLoop& loop, EventLoop::Handler on_close);
  ~CloseSignals();
  CloseSignals(const CloseSignals&) = delete;
  CloseSignals& operator=(const CloseSignals&) = delete;
  bool ok() const { return watch_ != 0; }

 private:
  EventLoop& loop_;
  int watch_ = 0;
};

// The host path of the running program.
std::string ExecutablePath();

// Makes `path` (the folder of this program when empty) and its parents, and
// turns it into an absolute path with no links; false when that cannot be
// done or it is not a folder.
bool PrepareFolder(std::string& path);

}  // namespace tarnex
