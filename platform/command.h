// A command line run as a separate program, with its standard output and
// standard error on one pipe that the caller reads.
#pragma once

#include <cstddef>
#include <memory>

namespace tarnex {

class CommandPipe {
 public:
  virtual ~CommandPipe() = default;
  // Reads up to `size` bytes of the program's output into `buffer` and says
  // how many in `count`. Blocks until output comes. False, with a count of 0,
  // once the program has closed its end and everything was read.
  virtual bool Read(char* buffer, size_t size, size_t& count) = 0;
};

enum class CommandStart {
  kStarted,   // the program runs; its output is on the pipe
  kNoPipe,    // no pipe could be made
  kNotFound,  // the program could not be started
};

}  // namespace tarnex
