#include "platform/linux/linux_platform.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "platform/linux/proc_text.h"

namespace tarnex {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream out;
  out << in.rdbuf();
  return out.str();
}

}  // namespace

LinuxPlatform::LinuxPlatform(LinuxOptions options)
    : options_(std::move(options)),
      proc_(options_.root + "/proc"),
      counters_(options_.root, options_.interfaces) {}

std::string LinuxPlatform::Environment(const std::string& name) {
  if (const char* value = std::getenv(name.c_str())) return value;
  if (name == "WinDIR") return "/";
  if (name == "COMPUTERNAME") {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) == 0) return host;
    return {};
  }
  if (name == "NUMBER_OF_PROCESSORS") return std::to_string(sysconf(_SC_NPROCESSORS_ONLN));
  return {};
}

void LinuxPlatform::ShowMessage(const std::string& text) {
  std::cerr << "tarnex-server: message: " << text << "\n";
}

bool LinuxPlatform::AskYesNo(const std::string& text) {
  std::cerr << "tarnex-server: question: " << text << " -> " << (options_.answer ? "yes" : "no")
            << "\n";
  return options_.answer;
}

void LinuxPlatform::RaisePriority() {
  // Permitted for a privileged process only; otherwise the priority stays.
  setpriority(PRIO_PROCESS, 0, -10);
}

bool LinuxPlatform::FirstInstance(const std::string& app_path) {
  const std::string folder = files_.Native(app_path);
  return folder.empty() || lock_.Acquire(folder);
}

bool LinuxPlatform::SetStartAtBoot(const std::string& program) {
  const std::string unit = options_.boot_dir + "/" + kUnitName;
  std::ostringstream text;
  text << "[Unit]\n"
       << "Description=Tarnex Server\n"
       << "After=network.target\n\n"
       << "[Service]\n"
       << "ExecStart=\"" << options_.executable << "\" --app-path \"" << options_.app_path << "\"\n"
       << "WorkingDirectory=" << options_.app_path << "\n\n"
       << "[Install]\n"
       << "WantedBy=multi-user.target\n";
  const std::string temp = unit + ".tmp";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out << text.str();
    if (!out.flush()) return false;
  }
  return std::rename(temp.c_str(), unit.c_str()) == 0;
}

bool LinuxPlatform::DeleteStartAtBoot() {
  const std::string unit = options_.boot_dir + "/" + kUnitName;
  return ::unlink(unit.c_str()) == 0;
}

std::vector<int64_t> LinuxPlatform::EnumProcesses() {
  return ListProcesses(proc_);
}

bool LinuxPlatform::ProcessModules(int64_t pid, std::vector<std::string>& base_names) {
  // A process whose program this one may not read (another user's, or a
  // kernel thread with none) is left out, as a protected process is.
  char target[4096] = {};
  const std::string link = proc_ + "/" + std::to_string(pid) + "/exe";
  const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
  if (n <= 0) return false;
  const std::string cmdline = ReadText(proc_ + "/" + std::to_string(pid) + "/cmdline");
  base_names = {ProgramBaseName(std::string(target, static_cast<size_t>(n)), cmdline)};
  return true;
}

bool LinuxPlatform::CountServices(int kind, int state, const std::string& machine, int64_t& count) {
  // Services are systemd's service units; drivers (kind 11) are not counted.
  if (kind == 11) {
    count = 0;
    return true;
  }
  const char* filter = state == 2 ? "--state=inactive" : "--state=running";
  const std::string command =
      std::string("systemctl list-units --type=service --no-legend --plain --no-pager ") + filter +
      " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return false;
  int64_t lines = 0;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
    if (std::strchr(buffer, '\n') != nullptr && buffer[0] != '\n') ++lines;
  }
  const int status = pclose(pipe);
  if (status != 0) return false;
  count = lines;
  return true;
}

int64_t LinuxPlatform::FindProcessByPath(const std::string& path) {
  const std::string wanted = Lower(files_.Native(path));
  if (wanted.empty()) return 0;
  DIR* dir = opendir(proc_.c_str());
  if (dir == nullptr) return 0;
  int64_t found = 0;
  while (dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (!std::isdigit(static_cast<unsigned char>(name[0]))) continue;
    char target[4096] = {};
    const std::string link = proc_ + "/" + name + "/exe";
    const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    bool match = n > 0 && Lower(std::string(target, static_cast<size_t>(n))) == wanted;
    if (!match) {
      // A program started through an interpreter is known by its script.
      const std::string cmdline = ReadText(proc_ + "/" + name + "/cmdline");
      const size_t first = cmdline.find('\0');
      if (first != std::string::npos) {
        const std::string second =
            cmdline.substr(first + 1, cmdline.find('\0', first + 1) - first - 1);
        match = Lower(second) == wanted;
      }
    }
    if (match) {
      found = std::atoll(name);
      break;
    }
  }
  closedir(dir);
  return found;
}

bool LinuxPlatform::CloseProcessWindow(int64_t pid) {
  return pid > 0 && ::kill(static_cast<pid_t>(pid), SIGTERM) == 0;
}

bool LinuxPlatform::ShellOpen(const std::string& file, const std::string& parameters,
                              const std::string& folder) {
  const std::string program = files_.Native(file);
  const std::string dir = files_.Native(folder);
  if (program.empty() || ::access(program.c_str(), X_OK) != 0) return false;
  std::vector<std::string> args{program};
  std::istringstream words(parameters);
  for (std::string w; words >> w;) args.push_back(w);
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    // A grandchild runs the program, so that nothing is left to reap here.
    if (fork() != 0) _exit(0);
    setsid();
    if (!dir.empty() && chdir(dir.c_str()) != 0) _exit(127);
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return true;
}

}  // namespace tarnex
