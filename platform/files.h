// Files and folders by the program's own names (AppPath & "\Logs\..."). Both
// providers keep their files on this host's file system; a name that does not
// lead to an absolute path here (a drive-letter name from a scenario) names
// nothing, unless the scenario declares the folder.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "core/civil_time.h"

namespace tarnex {

class Files {
 public:
  virtual ~Files() = default;

  // The host path of a name, or "" when the name leads nowhere on this host.
  std::string Native(std::string_view name) const;

  virtual bool FolderExists(std::string_view name) const;
  // Makes one folder; fails when it exists already or its parent does not.
  bool MakeFolder(std::string_view name);
  // Appends to a file, creating it when `create` is set.
  bool Append(std::string_view name, std::string_view text, bool create = true);
  // Replaces a file's content (through a temporary file and a rename).
  bool WriteAll(std::string_view name, std::string_view text);
  // When a file was last modified, in local time; nothing when it does not exist.
  std::optional<CivilTime> Modified(std::string_view name) const;
};

// Files of a simulated machine: the host's files, plus folders that the
// scenario says exist on the simulated machine (drive-letter names).
class SimFiles : public Files {
 public:
  void DeclareFolder(std::string_view name);
  bool FolderExists(std::string_view name) const override;

 private:
  std::set<std::string> folders_;  // upper-cased, backslashes
};

}  // namespace tarnex
