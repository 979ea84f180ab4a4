#include "platform/linux/linux_platform.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "platform/linux/host_facts.h"
#include "platform/linux/proc_text.h"

extern char** environ;

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
  // Names match without regard to case, as on the original platform.
  const std::string wanted = Lower(name);
  for (char** e = environ; e != nullptr && *e != nullptr; ++e) {
    const std::string entry = *e;
    const size_t eq = entry.find('=');
    if (eq != std::string::npos && Lower(entry.substr(0, eq)) == wanted) {
      return entry.substr(eq + 1);
    }
  }
  if (wanted == "windir") return "/";
  if (wanted == "computername") {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) == 0) return host;
    return {};
  }
  if (wanted == "number_of_processors") return std::to_string(sysconf(_SC_NPROCESSORS_ONLN));
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
  // A lock file that is not the program's own has stopped the launcher
  // before start-up; here only another copy holding the lock says no.
  const std::string folder = files_.Native(app_path);
  return folder.empty() || lock_.Acquire(folder) != InstanceLock::Result::kHeld;
}

std::string LinuxPlatform::PackagedUnit() const {
  const std::string unit = options_.unit_dir + "/" + kUnitName;
  struct stat st {};
  return !options_.unit_dir.empty() && ::stat(unit.c_str(), &st) == 0 && S_ISREG(st.st_mode)
             ? unit
             : std::string();
}

std::string LinuxPlatform::BootLink() const {
  return options_.boot_dir + "/multi-user.target.wants/" + kUnitName;
}

bool LinuxPlatform::SetStartAtBoot(const std::string& program) {
  const std::string packaged = PackagedUnit();
  if (!packaged.empty()) {
    // The package's unit is enabled as systemctl enables it: a link in the
    // folder of the target that wants it.
    const std::string link = BootLink();
    ::mkdir((options_.boot_dir + "/multi-user.target.wants").c_str(), 0755);
    ::unlink(link.c_str());
    return ::symlink(packaged.c_str(), link.c_str()) == 0;
  }
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
  return files_.Replace(unit, text.str());
}

bool LinuxPlatform::DeleteStartAtBoot() {
  if (!PackagedUnit().empty()) {
    const std::string link = BootLink();
    return ::unlink(link.c_str()) == 0 || errno == ENOENT;
  }
  return files_.Remove(options_.boot_dir + "/" + kUnitName);
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

bool LinuxPlatform::ProcessFileName(int64_t pid, std::string& path) {
  // Reading the executable's link needs the rights to trace the process:
  // another user's process cannot be opened, as on the original platform.
  const std::string dir = proc_ + "/" + std::to_string(pid);
  char target[4096] = {};
  const ssize_t n = readlink((dir + "/exe").c_str(), target, sizeof target - 1);
  if (n <= 0) return false;
  char cwd[4096] = {};
  const ssize_t c = readlink((dir + "/cwd").c_str(), cwd, sizeof cwd - 1);
  path = ProgramPath(std::string(target, static_cast<size_t>(n)), ReadText(dir + "/cmdline"),
                     c > 0 ? std::string(cwd, static_cast<size_t>(c)) : std::string());
  return true;
}

int64_t LinuxPlatform::ProcessWindow(int64_t pid) {
  // A program "has a main window" while it runs; the window is the process.
  if (pid <= 0) return 0;
  return ProcessAlive(ReadText(proc_ + "/" + std::to_string(pid) + "/stat")) ? pid : 0;
}

bool LinuxPlatform::CloseWindow(int64_t window) {
  // The close message is SIGTERM.
  return window > 0 && ::kill(static_cast<pid_t>(window), SIGTERM) == 0;
}

std::string LinuxPlatform::ProgramFile() {
  // The running executable itself.
  char path[4096];
  const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return {};
  return std::string(path, static_cast<size_t>(n));
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

namespace {

// The output of a program started by StartCommand.
class ProcessPipe : public CommandPipe {
 public:
  ProcessPipe(int fd, pid_t pid) : fd_(fd), pid_(pid) {}
  ~ProcessPipe() override {
    ::close(fd_);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
  }
  bool Read(char* buffer, size_t size, size_t& count) override {
    count = 0;
    for (;;) {
      const ssize_t n = ::read(fd_, buffer, size);
      if (n > 0) {
        count = static_cast<size_t>(n);
        return true;
      }
      if (n < 0 && errno == EINTR) continue;
      return false;
    }
  }

 private:
  int fd_;
  pid_t pid_;
};

// Starts `args` with standard input from /dev/null and standard output on
// `out_fd`, standard error on `err_fd`. 0 when it cannot start.
pid_t Spawn(const std::vector<std::string>& args, int out_fd, int err_fd) {
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return 0;
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out_fd, 1);
  posix_spawn_file_actions_adddup2(&actions, err_fd, 2);
  std::vector<std::string> copy = args;
  std::vector<char*> argv;
  for (auto& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, copy[0].c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return rc == 0 ? pid : 0;
}

// The standard output of a program run to its end; "" when it cannot run.
std::string Capture(const std::vector<std::string>& args) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return {};
  const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  const pid_t pid = Spawn(args, fds[1], null >= 0 ? null : fds[1]);
  ::close(fds[1]);
  if (null >= 0) ::close(null);
  std::string out;
  if (pid == 0) {
    ::close(fds[0]);
    return out;
  }
  ProcessPipe pipe(fds[0], pid);
  char buffer[4096];
  for (size_t n = 0; pipe.Read(buffer, sizeof buffer, n);) out.append(buffer, n);
  return out;
}

// The DMI records of the given types, read by dmidecode where it is
// installed and may read the table; none otherwise.
std::vector<host::DmiRecord> DmiRecords(int type) {
  for (const char* program : {"/usr/sbin/dmidecode", "/sbin/dmidecode", "/usr/bin/dmidecode",
                              "/usr/local/sbin/dmidecode"}) {
    if (::access(program, X_OK) != 0) continue;
    std::vector<host::DmiRecord> out;
    for (auto& r : host::ParseDmidecode(Capture({program, "-t", std::to_string(type)}))) {
      if (r.type == type) out.push_back(std::move(r));
    }
    return out;
  }
  return {};
}

std::string LastComponent(const std::string& path) {
  const size_t cut = path.find_last_of("\\/");
  return cut == std::string::npos ? path : path.substr(cut + 1);
}

// Arguments separated by blanks; double quotes keep blanks inside one.
void SplitArguments(const std::string& text, std::vector<std::string>& out) {
  std::string current;
  bool quoted = false, any = false;
  for (char c : text) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (any) out.push_back(current);
      current.clear();
      any = false;
    } else {
      current += c;
      any = true;
    }
  }
  if (any) out.push_back(current);
}

bool IsFile(const std::string& path) {
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

const CpuTimes* FindCpu(const std::vector<CpuTimes>& list, const std::string& name) {
  for (const auto& c : list) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

// Busy percent of each processor over a short interval.
std::map<int, double> BusyPercent() {
  const auto first = ParseProcStat(host::ReadText("/proc/stat"));
  struct timespec pause = {0, 100 * 1000 * 1000};
  nanosleep(&pause, nullptr);
  const auto second = ParseProcStat(host::ReadText("/proc/stat"));
  std::map<int, double> out;
  for (const CpuTimes& b : second) {
    if (b.name.size() <= 3) continue;  // "cpu", all of them
    const CpuTimes* a = FindCpu(first, b.name);
    if (a == nullptr || b.Total() <= a->Total()) continue;
    const double total = static_cast<double>(b.Total() - a->Total());
    const double idle = static_cast<double>(b.Idle() - a->Idle());
    out[std::atoi(b.name.c_str() + 3)] = std::max(0.0, 100 - idle / total * 100);
  }
  return out;
}

// Whether the block device a file system is mounted from can be removed:
// 1 yes, 0 no, -1 not known.
int Removable(const std::string& source) {
  if (source.rfind("/dev/", 0) != 0) return -1;
  char real[PATH_MAX] = {};
  if (realpath(source.c_str(), real) == nullptr) return -1;
  const std::string name = LastComponent(real);
  char sys[PATH_MAX] = {};
  if (realpath(("/sys/class/block/" + name).c_str(), sys) == nullptr) return -1;
  std::string dir = sys;
  // A partition's removable flag is its disk's.
  if (IsFile(dir + "/partition")) dir = dir.substr(0, dir.find_last_of('/'));
  const std::string flag = host::ReadLine(dir + "/removable");
  return flag.empty() ? -1 : (flag == "1" ? 1 : 0);
}

}  // namespace

std::vector<std::string> LinuxPlatform::ResolveCommand(const std::string& command_line) const {
  std::string line = command_line;
  while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.erase(0, 1);
  // The candidates for the program, each with the rest of the line.
  std::vector<std::pair<std::string, std::string>> candidates;
  if (!line.empty() && line.front() == '"') {
    const size_t close = line.find('"', 1);
    if (close == std::string::npos) {
      candidates.emplace_back(line.substr(1), "");
    } else {
      candidates.emplace_back(line.substr(1, close - 1), line.substr(close + 1));
    }
  } else {
    for (size_t at = line.find(' '); at != std::string::npos; at = line.find(' ', at + 1)) {
      candidates.emplace_back(line.substr(0, at), line.substr(at + 1));
    }
    candidates.emplace_back(line, "");
  }
  for (const auto& [program, rest] : candidates) {
    std::vector<std::string> args;
    const std::string native = files_.Native(program);
    if (IsFile(native)) {
      args.push_back(native);
    } else if (Lower(LastComponent(program)) == "systeminfo.exe") {
      std::string self = options_.executable;
      if (self.empty()) {
        char buffer[PATH_MAX] = {};
        const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
        if (n > 0) self.assign(buffer, static_cast<size_t>(n));
      }
      args.push_back(self.substr(0, self.find_last_of('/') + 1) + kSystemFactsProgram);
    } else {
      continue;
    }
    SplitArguments(rest, args);
    return args;
  }
  return {};
}

CommandStart LinuxPlatform::StartCommand(const std::string& command_line,
                                         std::unique_ptr<CommandPipe>& pipe) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return CommandStart::kNoPipe;
  const std::vector<std::string> args = ResolveCommand(command_line);
  const pid_t pid = args.empty() ? 0 : Spawn(args, fds[1], fds[1]);
  // This program's copy of the write end goes, so that the end of the
  // child's output is seen.
  ::close(fds[1]);
  if (pid == 0) {
    ::close(fds[0]);
    return CommandStart::kNotFound;
  }
  pipe = std::make_unique<ProcessPipe>(fds[0], pid);
  return CommandStart::kStarted;
}

bool LinuxPlatform::QueryWmi(const std::string& query, std::vector<WmiRow>& rows) {
  rows.clear();
  const std::string cls = Lower(WmiClassOf(query));
  if (cls == "win32_processor") {
    host::ProcessorFacts facts;
    facts.cpus = host::ParseCpuInfo(host::ReadText("/proc/cpuinfo"));
    facts.caches = host::ReadCaches("/sys/devices/system/cpu");
    facts.dmi = DmiRecords(4);
    for (const host::CpuEntry& c : facts.cpus) {
      const std::string khz =
          host::ReadLine("/sys/devices/system/cpu/cpu" + std::to_string(c.processor) +
                         "/cpufreq/cpuinfo_max_freq");
      if (!khz.empty()) facts.max_khz[c.processor] = std::strtod(khz.c_str(), nullptr);
    }
    facts.busy = BusyPercent();
    rows = host::ProcessorRows(facts);
    return true;
  }
  if (cls == "win32_physicalmemory") {
    rows = host::MemoryRows(DmiRecords(17));
    return true;
  }
  if (cls == "win32_pagefileusage") {
    rows = host::PageFileRows(host::ParseSwaps(host::ReadText("/proc/swaps")), swap_peaks_);
    return true;
  }
  if (cls == "win32_process") {
    for (const int64_t pid : EnumProcesses()) {
      std::vector<std::string> names;
      if (!ProcessModules(pid, names) || names.empty()) continue;
      rows.push_back(WmiRow{{"Name", names.front()}, {"ProcessId", static_cast<double>(pid)}});
    }
    return true;
  }
  if (cls == "win32_ntlogevent") {
    // The system journal's recent error entries, newest first, where this
    // process may read them.
    FILE* pipe = popen(
        "journalctl --priority=err --reverse --lines=500 --output=json --no-pager --quiet "
        "2>/dev/null",
        "r");
    if (pipe == nullptr) return false;
    std::string text;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
    const int status = pclose(pipe);
    if (text.empty() && status != 0) return false;
    rows = host::JournalEventRows(text);
    return true;
  }
  if (cls == "win32_logicaldisk") {
    for (const host::MountEntry& m :
         host::DriveMounts(host::ParseMounts(host::ReadText("/proc/self/mounts")))) {
      WmiRow row{{"Caption", m.point}, {"DeviceID", m.point}, {"FileSystem", m.type}};
      const int removable = Removable(m.source);
      row.Set("MediaType", removable == 1 ? 11.0 : (removable == 0 ? 12.0 : 0.0));
      row.Set("DriveType", removable == 1 ? 2.0 : 3.0);
      struct statvfs vfs {};
      if (::statvfs(m.point.c_str(), &vfs) == 0) {
        row.Set("Size", static_cast<double>(vfs.f_blocks) * static_cast<double>(vfs.f_frsize));
        row.Set("FreeSpace", static_cast<double>(vfs.f_bavail) * static_cast<double>(vfs.f_frsize));
      }
      rows.push_back(std::move(row));
    }
    return true;
  }
  return false;
}

Platform::ProcessorInfo LinuxPlatform::SystemProcessor() {
  ProcessorInfo info;
  struct utsname u {};
  const std::string machine = uname(&u) == 0 ? u.machine : "";
  const bool x86 = machine == "x86_64" ||
                   (machine.size() == 4 && machine[0] == 'i' && machine.compare(2, 2, "86") == 0);
  if (!x86) return info;
  // A 32-bit program sees any processor of this family as a 586.
  info.type = 586;
  const auto cpus = host::ParseCpuInfo(host::ReadText("/proc/cpuinfo"));
  if (cpus.empty()) return info;
  const host::CpuEntry& c = cpus.front();
  if (c.family >= 0) info.level = static_cast<uint16_t>(std::min(c.family, 0xFFFF));
  if (c.model >= 0 && c.stepping >= 0) {
    info.revision =
        static_cast<uint16_t>((std::min(c.model, 0xFF) << 8) | std::min(c.stepping, 0xFF));
  }
  return info;
}

bool LinuxPlatform::ProcessorMHz(uint32_t& mhz) {
  for (const char* file : {"/sys/devices/system/cpu/cpu0/cpufreq/base_frequency",
                           "/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq"}) {
    const std::string khz = host::ReadLine(file);
    if (!khz.empty() && std::isdigit(static_cast<unsigned char>(khz[0]))) {
      mhz = static_cast<uint32_t>(std::lround(std::strtod(khz.c_str(), nullptr) / 1000));
      return true;
    }
  }
  const auto cpus = host::ParseCpuInfo(host::ReadText("/proc/cpuinfo"));
  if (cpus.empty() || cpus.front().mhz <= 0) return false;
  mhz = static_cast<uint32_t>(std::lround(cpus.front().mhz));
  return true;
}

bool LinuxPlatform::InterfaceTable(std::vector<InterfaceRow>& rows) {
  rows = host::InterfaceRows(options_.root + "/sys/class/net");
  return true;
}

bool LinuxPlatform::DiskFreeSpace(const std::string& root, double& total, double& free_bytes) {
  const std::string path = files_.Native(root);
  struct statvfs vfs {};
  if (path.empty() || ::statvfs(path.c_str(), &vfs) != 0) return false;
  total = static_cast<double>(vfs.f_blocks) * static_cast<double>(vfs.f_frsize);
  free_bytes = static_cast<double>(vfs.f_bavail) * static_cast<double>(vfs.f_frsize);
  return true;
}

int LinuxPlatform::DnsServer(std::string& address) {
  std::ifstream in(options_.root + "/etc/resolv.conf", std::ios::binary);
  if (!in) return 2;
  std::ostringstream text;
  text << in.rdbuf();
  address = FirstNameserver(text.str());
  return 0;
}

}  // namespace tarnex
