// What the two back-up companions of this host share: the installation folder
// they sit in, the server's settings and files seen through the server's own
// code, the archives they make and send, and the child programs they run.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/context.h"
#include "core/profile.h"
#include "platform/linux/linux_platform.h"

namespace tarnex::companion {

// The archives of a back-up run: "TarnexBU-S-20121114-100000.tar.gz" for a
// file back-up, "TarnexBU-F-..." for a full one.
constexpr const char* kArchivePrefix = "TarnexBU-";
constexpr const char* kArchiveSuffix = ".tar.gz";
bool IsArchiveName(const std::string& name);

// The installation folder: the folder of this program's own file.
std::string InstallationFolder();

// The server's model, settings store and files over this host, for a
// companion in `app_path`.
class Server {
 public:
  explicit Server(const std::string& app_path);
  Context& ctx() { return ctx_; }
  LinuxPlatform& host() { return host_; }
  // A key of section "Server" of "\Bin\Tarnex.Tnx", and one of another section.
  std::string Setting(const std::string& key) { return Setting("Server", key); }
  std::string Setting(const std::string& section, const std::string& key);
  // Writes keys of section "Server" and puts the file in place at once, the
  // whole file replaced, as the server's settings store does.
  bool WriteFigures(const std::vector<std::pair<std::string, std::string>>& keys);
  // The back-up location "BU Path" as a host path; "" when it names nothing
  // here.
  std::string BackupFolder();
  // Appends a line, stamped with the time, to a journal of "\Events".
  void Journal(const std::string& name, const std::string& text);

 private:
  LinuxPlatform host_;
  ServerModel model_;
  ProfileStore profiles_;
  Context ctx_;
};

// The archives of a folder, by name, and their count and total size.
struct Archives {
  std::vector<std::string> names;  // sorted
  int64_t bytes = 0;
};
Archives ArchivesIn(const std::string& folder);

// Runs a program found on PATH with `args` (args[0] is its name), standard
// input from /dev/null; its exit code, or -1 when it cannot start. `output`
// gets its standard output and standard error.
int Run(const std::vector<std::string>& args, std::string& output);

// The last line of a program's output that is not empty, for a journal.
std::string LastLine(const std::string& output);

}  // namespace tarnex::companion
