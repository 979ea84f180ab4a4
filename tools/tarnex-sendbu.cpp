// tarnex-sendbu: the sending companion, put in place as SendBU.exe in the
// installation folder, where the server starts it while "BU to Remotes" is
// on. Each pass copies the archives of the back-up location "BU Path" that a
// destination lacks to each destination of section "Offsite" ("Dest 1" to
// "Dest 5", rsync), records "Offsite N Total Cnt" and "Offsite N Total Size"
// in section "Server", and journals what it sent, or why it could not, in
// "\Events\Offsite.txt". It ends on SIGTERM; with --once after one pass. See
// docs/backup.md.
#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/legacy.h"
#include "tools/companion.h"

namespace {

using tarnex::companion::Server;

constexpr int kDestinations = 5;
constexpr int kDefaultInterval = 300;
constexpr int kLeastInterval = 5;

volatile std::sig_atomic_t g_stop = 0;

void OnTerm(int) {
  g_stop = 1;
}

// The count and total size of the archives an rsync listing of a folder
// shows ("-rw-r--r--   1,234 2012/11/14 10:00:00 NAME").
void ListedArchives(const std::string& listing, int64_t& count, int64_t& bytes) {
  count = bytes = 0;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string mode, size, date, time, name;
    if (!(words >> mode >> size >> date >> time) || mode.empty() || mode[0] != '-') continue;
    std::getline(words >> std::ws, name);
    if (!tarnex::companion::IsArchiveName(name)) continue;
    std::string digits;
    for (const char c : size) {
      if (c >= '0' && c <= '9') digits += c;
    }
    if (digits.empty()) continue;
    ++count;
    bytes += std::stoll(digits);
  }
}

class Sender {
 public:
  explicit Sender(Server& server) : server_(server) {}

  // One pass over every destination; false when one of them failed.
  bool Pass() {
    bool all_good = true;
    const std::string source = server_.BackupFolder();
    for (int n = 1; n <= kDestinations; ++n) {
      const std::string label = "Remote " + std::to_string(n);
      const std::string given =
          tarnex::legacy::Trim(server_.Setting("Offsite", "Dest " + std::to_string(n)));
      if (given.empty()) continue;
      std::string problem;
      if (!Send(n, source, given, problem)) {
        all_good = false;
        // A lasting problem is journalled once, not at every pass.
        if (last_problem_[n] != problem) {
          server_.Journal("Offsite.txt", label + " (" + given + "): sending failed: " + problem);
        }
        last_problem_[n] = problem;
      } else {
        last_problem_[n].clear();
      }
    }
    return all_good;
  }

 private:
  bool Send(int n, const std::string& source, const std::string& given, std::string& problem) {
    if (source.empty()) {
      problem = "the back-up location \"" + server_.Setting("BU Path") + "\" is not a folder";
      return false;
    }
    // A folder of this host is named as the server names files; anything
    // else (HOST:FOLDER, rsync://...) goes to rsync as it stands.
    std::string dest = given;
    if (given[0] == '/' || given[0] == '\\') dest = server_.host().Fs().Native(given);
    if (dest.empty()) {
      problem = "the destination names nothing on this host";
      return false;
    }
    if (dest.back() != '/') dest += '/';
    const auto archives = tarnex::companion::ArchivesIn(source);
    std::string output;
    int64_t sent = 0, sent_bytes = 0;
    if (!archives.names.empty()) {
      std::vector<std::string> args{"rsync", "-t", "--ignore-existing", "--out-format=%n %l"};
      for (const std::string& name : archives.names) args.push_back(source + "/" + name);
      args.push_back(dest);
      const int code = tarnex::companion::Run(args, output);
      if (code != 0) {
        problem =
            "rsync ended with " + std::to_string(code) + ": " + tarnex::companion::LastLine(output);
        return false;
      }
      std::istringstream lines(output);
      for (std::string line; std::getline(lines, line);) {
        const size_t blank = line.rfind(' ');
        if (blank == std::string::npos) continue;
        if (!tarnex::companion::IsArchiveName(line.substr(0, blank))) continue;
        ++sent;
        sent_bytes += std::atoll(line.c_str() + blank + 1);
      }
    }
    const int code = tarnex::companion::Run({"rsync", "--list-only", dest}, output);
    if (code != 0) {
      problem = "rsync could not list the destination (" + std::to_string(code) +
                "): " + tarnex::companion::LastLine(output);
      return false;
    }
    int64_t count = 0, bytes = 0;
    ListedArchives(output, count, bytes);
    const std::string key = "Offsite " + std::to_string(n);
    if (!server_.WriteFigures({{key + " Total Cnt", std::to_string(count)},
                               {key + " Total Size", std::to_string(bytes)}})) {
      problem = "cannot write the figures to \\Bin\\Tarnex.Tnx";
      return false;
    }
    if (sent > 0) {
      server_.Journal("Offsite.txt", "Remote " + std::to_string(n) + " (" + given + "): sent " +
                                         std::to_string(sent) + " new back-up files (" +
                                         std::to_string(sent_bytes) + " bytes)");
    }
    return true;
  }

  Server& server_;
  std::map<int, std::string> last_problem_;
};

}  // namespace

int main(int argc, char** argv) {
  const bool once = argc == 2 && std::strcmp(argv[1], "--once") == 0;
  if (argc > 2 || (argc == 2 && !once)) {
    std::fputs("usage: SendBU.exe [--once]\n", stderr);
    return 2;
  }
  const std::string app = tarnex::companion::InstallationFolder();
  if (app.empty()) return 2;
  struct sigaction action {};
  action.sa_handler = OnTerm;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);

  Server server(app);
  Sender sender(server);
  if (once) return sender.Pass() ? 0 : 1;
  while (g_stop == 0) {
    sender.Pass();
    int interval = static_cast<int>(tarnex::legacy::Val(server.Setting("Offsite", "Interval")));
    if (interval <= 0) interval = kDefaultInterval;
    if (interval < kLeastInterval) interval = kLeastInterval;
    for (int tenths = 0; tenths < interval * 10 && g_stop == 0; ++tenths) usleep(100000);
  }
  return 0;
}
