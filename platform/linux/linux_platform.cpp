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

const CpuTimes* FindCpu(const std::vector<CpuTimes>& list, const std::string& name) {
  for (const auto& c : list) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

// A percentage of processor time between the last two samples of /proc/stat.
class CpuPercentSource : public CounterSource {
 public:
  enum Kind { kBusy, kIdle };
  CpuPercentSource(const LinuxCounters& owner, std::string cpu, Kind kind)
      : owner_(owner), cpu_(std::move(cpu)), kind_(kind) {}
  void Collect() override {
    const CpuTimes* a = FindCpu(owner_.previous(), cpu_);
    const CpuTimes* b = FindCpu(owner_.current(), cpu_);
    valid_ = a != nullptr && b != nullptr;
    if (!valid_) return;
    const double total = static_cast<double>(b->Total() - a->Total());
    const double idle = static_cast<double>(b->Idle() - a->Idle());
    const double idle_pct = total > 0 ? idle / total * 100 : 100;
    value_ = kind_ == kIdle ? idle_pct : 100 - idle_pct;
    if (value_ < 0) value_ = 0;
    if (value_ > 100) value_ = 100;
  }
  bool Valid() const override { return valid_; }
  double Value() const override { return value_; }

 private:
  const LinuxCounters& owner_;
  std::string cpu_;
  Kind kind_;
  bool valid_ = false;
  double value_ = 0;
};

}  // namespace

std::vector<CpuTimes> ParseProcStat(const std::string& text) {
  std::vector<CpuTimes> out;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.compare(0, 3, "cpu") != 0) continue;
    std::istringstream fields(line);
    CpuTimes c;
    fields >> c.name >> c.user >> c.nice >> c.system >> c.idle >> c.iowait >> c.irq >> c.softirq >>
        c.steal;
    if (!c.name.empty()) out.push_back(c);
  }
  return out;
}

std::unique_ptr<CounterSource> LinuxCounters::Resolve(const std::string& local_path) {
  const std::string path = Lower(local_path);
  const std::string prefix = "\\processor(";
  const size_t close = path.find(")\\");
  if (path.compare(0, prefix.size(), prefix) == 0 && close != std::string::npos) {
    const std::string instance = path.substr(prefix.size(), close - prefix.size());
    const std::string counter = path.substr(close + 2);
    const bool numeric =
        !instance.empty() && instance.find_first_not_of("0123456789") == std::string::npos;
    if (!numeric && instance != "_total") return nullptr;
    const std::string cpu = numeric ? "cpu" + instance : "cpu";
    const auto cpus = current_.empty() ? ParseProcStat(ReadText(proc_root_ + "/stat")) : current_;
    if (FindCpu(cpus, cpu) == nullptr) return nullptr;
    if (counter == "% idle time") {
      return std::make_unique<CpuPercentSource>(*this, cpu, CpuPercentSource::kIdle);
    }
    if (counter == "% processor time") {
      return std::make_unique<CpuPercentSource>(*this, cpu, CpuPercentSource::kBusy);
    }
  }
  return nullptr;
}

void LinuxCounters::BeginCollection() {
  previous_ = std::move(current_);
  current_ = ParseProcStat(ReadText(proc_root_ + "/stat"));
}

bool LinuxCounters::Instances(const std::string& object, std::vector<std::string>& instances) {
  return false;
}

LinuxPlatform::LinuxPlatform(LinuxOptions options) : options_(std::move(options)) {}

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

std::string ProgramBaseName(const std::string& exe, const std::string& cmdline) {
  std::string name = exe.substr(exe.find_last_of('/') + 1);
  const size_t deleted = name.find(" (deleted)");
  if (deleted != std::string::npos) name.resize(deleted);
  static const char* const kInterpreters[] = {"sh",   "bash", "dash", "python", "perl", "ruby",
                                              "node", "php",  "java", "tclsh",  "lua"};
  std::string stem = name;
  while (!stem.empty() &&
         (std::isdigit(static_cast<unsigned char>(stem.back())) || stem.back() == '.')) {
    stem.pop_back();
  }
  bool interpreter = false;
  for (const char* i : kInterpreters) interpreter = interpreter || stem == i;
  if (interpreter) {
    // The first argument after the interpreter that is not an option.
    size_t pos = cmdline.find('\0');
    while (pos != std::string::npos && pos + 1 < cmdline.size()) {
      const size_t end = cmdline.find('\0', pos + 1);
      const std::string arg = cmdline.substr(pos + 1, end - pos - 1);
      if (!arg.empty() && arg[0] != '-') {
        name = arg.substr(arg.find_last_of('/') + 1);
        break;
      }
      pos = end;
    }
  }
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name + ".exe";
}

std::vector<int64_t> LinuxPlatform::EnumProcesses() {
  std::vector<int64_t> pids;
  DIR* dir = opendir("/proc");
  if (dir == nullptr) return pids;
  while (dirent* entry = readdir(dir)) {
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0]))) {
      pids.push_back(std::atoll(entry->d_name));
    }
  }
  closedir(dir);
  std::sort(pids.begin(), pids.end());
  return pids;
}

bool LinuxPlatform::ProcessModules(int64_t pid, std::vector<std::string>& base_names) {
  // A process whose program this one may not read (another user's, or a
  // kernel thread with none) is left out, as a protected process is.
  char target[4096] = {};
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
  if (n <= 0) return false;
  const std::string cmdline = ReadText("/proc/" + std::to_string(pid) + "/cmdline");
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
  DIR* dir = opendir("/proc");
  if (dir == nullptr) return 0;
  int64_t found = 0;
  while (dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (!std::isdigit(static_cast<unsigned char>(name[0]))) continue;
    char target[4096] = {};
    const std::string link = std::string("/proc/") + name + "/exe";
    const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    bool match = n > 0 && Lower(std::string(target, static_cast<size_t>(n))) == wanted;
    if (!match) {
      // A program started through an interpreter is known by its script.
      const std::string cmdline = ReadText(std::string("/proc/") + name + "/cmdline");
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
