// The single-instance lock: a file in the installation folder locked for as
// long as the process lives.
//
// The file must be the program's own: a regular file owned by the user the
// program runs as, readable and writable by that user only, and reached
// without following a link. Another user can then neither take the lock (they
// cannot open the file) nor put something else in its place that the program
// would accept. Anything else at that path is refused: the program does not
// start, and says why.
#pragma once

#include <string>

namespace tarnex {

class InstanceLock {
 public:
  static constexpr const char* kFileName = ".tarnex-server.lock";

  enum class Result {
    kTaken,    // this process holds the lock
    kHeld,     // another copy of the program holds it
    kRefused,  // the path holds something that is not a lock file of ours
  };

  ~InstanceLock();
  // Takes the lock in `folder` (a host path). Taking it again once held
  // gives kTaken at once. With kRefused, problem() says what is wrong.
  Result Acquire(const std::string& folder);
  const std::string& problem() const { return problem_; }

 private:
  Result Refuse(const std::string& path, const std::string& why);

  int fd_ = -1;
  std::string problem_;
};

}  // namespace tarnex
