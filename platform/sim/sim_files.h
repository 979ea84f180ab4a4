// Files of a simulated machine: the host's files, plus folders that the
// scenario says exist on the simulated machine (drive-letter names).
#pragma once

#include <set>
#include <string>

#include "platform/native/native_files.h"

namespace tarnex {

class SimFiles : public NativeFiles {
 public:
  void DeclareFolder(std::string_view name);
  bool FolderExists(std::string_view name) const override;

 private:
  std::set<std::string> folders_;  // upper-cased, backslashes
};

}  // namespace tarnex
