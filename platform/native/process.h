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
// turns it into an absolute path with no links. Returns "" when it is a
// folder this process can write in, else what is wrong with it. A name
// holding a "\" is refused before anything is made: the program's own names
// use "\" as their separator, so such a folder would lead its files
// elsewhere.
std::string PrepareFolder(std::string& path);

// Removes the temporary files (`<file>.tmp<pid>`) that processes no longer
// running left in `folder` and in the folders under it, `depth` levels down.
// Links are removed as links and never followed; a file of a process that
// runs is kept. Returns how many were removed.
int RemoveStaleTemporaries(const std::string& folder, int depth = 4);

}  // namespace tarnex
