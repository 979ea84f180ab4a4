#include "platform/linux/linux_counters.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <optional>

#include "platform/linux/proc_text.h"

namespace tarnex {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

double MonotonicSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// The text of a file through one descriptor; at most `limit` bytes when
// `limit` is not 0. False when the file cannot be opened or read.
bool ReadWhole(const std::string& path, std::string& out, size_t limit = 0) {
  out.clear();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[8192];
  bool ok = true;
  for (;;) {
    size_t want = sizeof buffer;
    if (limit != 0) {
      if (out.size() >= limit) break;
      want = std::min(want, limit - out.size());
    }
    const ssize_t n = ::read(fd, buffer, want);
    if (n < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    if (n == 0) break;
    out.append(buffer, static_cast<size_t>(n));
  }
  ::close(fd);
  return ok;
}

// A file of the host read again at each collection. Under the host's own
// /proc and /sys the descriptor stays open and each read starts again at
// offset 0, where the kernel makes the text anew; this costs a fraction of
// opening the file each time. A copy's files (in tests) are opened at each
// read, since a copy changes by files being replaced.
class HostFile {
 public:
  HostFile() = default;
  HostFile(std::string path, bool hold, size_t limit = 0)
      : path_(std::move(path)), hold_(hold), limit_(limit) {}
  HostFile(HostFile&& other) noexcept { *this = std::move(other); }
  HostFile& operator=(HostFile&& other) noexcept {
    if (this != &other) {
      Close();
      path_ = std::move(other.path_);
      hold_ = other.hold_;
      limit_ = other.limit_;
      fd_ = other.fd_;
      other.fd_ = -1;
    }
    return *this;
  }
  HostFile(const HostFile&) = delete;
  HostFile& operator=(const HostFile&) = delete;
  ~HostFile() { Close(); }

  bool Named() const { return !path_.empty(); }

  // The file's text now; false when it cannot be read (for a process's
  // file: the process has ended).
  bool Read(std::string& out) {
    if (!hold_) return ReadWhole(path_, out, limit_);
    if (fd_ < 0) fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) return false;
    size_t size = limit_ != 0 ? limit_ : std::max<size_t>(out.capacity(), 4096);
    out.resize(size);
    size_t got = 0;
    for (;;) {
      const ssize_t n = ::pread(fd_, out.data() + got, size - got, static_cast<off_t>(got));
      if (n < 0) {
        if (errno == EINTR) continue;
        Close();
        out.clear();
        return false;
      }
      got += static_cast<size_t>(n);
      // The kernel's texts come whole up to the size asked for: a shorter
      // read is the end.
      if (got < size || limit_ != 0) break;
      size *= 2;
      out.resize(size);
    }
    out.resize(got);
    return true;
  }

  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  std::string path_;
  bool hold_ = false;
  size_t limit_ = 0;
  int fd_ = -1;
};

bool IsNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

using Reading = std::optional<double>;

// A figure read as it stands at each collection.
class LevelSource : public CounterSource {
 public:
  explicit LevelSource(std::function<Reading()> read) : read_(std::move(read)) {}
  void Collect() override {
    const Reading r = read_();
    valid_ = r.has_value();
    value_ = valid_ ? *r : 0;
  }
  bool Valid() const override { return valid_; }
  double Value() const override { return value_; }

 private:
  std::function<Reading()> read_;
  bool valid_ = false;
  double value_ = 0;
};

// A count that only grows, and the series it belongs to: a rate is taken only
// between two samples of one series (one process, for instance).
struct Count {
  double value = 0;
  uint64_t series = 0;
};

// The change of a count per second between the last two collections; no
// valid data until the second one, across a change of series, or when the
// count went back (a device or interface that started again).
class RateSource : public CounterSource {
 public:
  RateSource(const double& now, std::function<std::optional<Count>()> count,
             std::function<double(double)> shape = {})
      : now_(now), count_(std::move(count)), shape_(std::move(shape)) {}
  void Collect() override {
    const std::optional<Count> c = count_();
    const double t = now_;
    valid_ = false;
    if (c && have_ && c->series == previous_.series && t > previous_time_ &&
        c->value >= previous_.value) {
      value_ = (c->value - previous_.value) / (t - previous_time_);
      if (shape_) value_ = shape_(value_);
      valid_ = true;
    }
    if (!valid_) value_ = 0;
    have_ = c.has_value();
    if (c) {
      previous_ = *c;
      previous_time_ = t;
    }
  }
  bool Valid() const override { return valid_; }
  double Value() const override { return value_; }

 private:
  const double& now_;
  std::function<std::optional<Count>()> count_;
  std::function<double(double)> shape_;
  bool have_ = false;
  Count previous_;
  double previous_time_ = 0;
  bool valid_ = false;
  double value_ = 0;
};

// Processor ticks: those of one kind, and all of them.
struct Ticks {
  double part = 0, total = 0;
};

// The share of processor time of one kind between the last two collections,
// in percent.
class ShareSource : public CounterSource {
 public:
  explicit ShareSource(std::function<std::optional<Ticks>()> ticks) : ticks_(std::move(ticks)) {}
  void Collect() override {
    const std::optional<Ticks> t = ticks_();
    valid_ = false;
    if (t && have_ && t->total > previous_.total && t->part >= previous_.part) {
      value_ = (t->part - previous_.part) / (t->total - previous_.total) * 100;
      value_ = std::clamp(value_, 0.0, 100.0);
      valid_ = true;
    }
    if (!valid_) value_ = 0;
    have_ = t.has_value();
    if (t) previous_ = *t;
  }
  bool Valid() const override { return valid_; }
  double Value() const override { return value_; }

 private:
  std::function<std::optional<Ticks>()> ticks_;
  bool have_ = false;
  Ticks previous_;
  bool valid_ = false;
  double value_ = 0;
};

constexpr uint64_t kNever = ~uint64_t{0};

// A file's text, read at most once per collection.
struct CachedText {
  uint64_t generation = kNever;
  bool ok = false;
  std::string text;
  HostFile file;
};

// Free space of a file system.
struct Space {
  double blocks = 0, available = 0, fragment = 0;
};

// The seven statistics of a network interface.
struct NetSample {
  uint64_t rx_bytes = 0, tx_bytes = 0, rx_packets = 0, tx_packets = 0, rx_errors = 0, tx_errors = 0,
           multicast = 0;
};

// The block device of the root file system, as found once.
struct RootDevice {
  bool found = false;   // the root mount is known
  bool device = false;  // and it lies on a block device
  unsigned major = 0, minor = 0;
  std::string name;  // the device's name, for a look-up by name
};

// A program watched by name: the process it reads now, if any.
struct Watch {
  std::string name;    // as the counters were added
  int64_t pid = 0;     // 0: no process of that name is known
  uint64_t start = 0;  // the process's start time, to notice a reused pid
  std::string comm;    // its command name, to notice a new program in it
  uint64_t serial = 0;
  std::optional<PidStat> stat;
  std::optional<PidIo> io;
  HostFile stat_file, io_file;  // /proc/PID/stat and /proc/PID/io
};

// While a watched name has no process, the processes started since the last
// collection are looked at in every collection, and all of them every this
// many collections (a process may start another program in itself).
constexpr uint64_t kFullScanEvery = 10;

}  // namespace

std::vector<int64_t> ListProcesses(const std::string& proc_dir) {
  std::vector<int64_t> pids;
  DIR* dir = opendir(proc_dir.c_str());
  if (dir == nullptr) return pids;
  while (dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (name[0] < '1' || name[0] > '9') continue;
    char* end = nullptr;
    const long long pid = std::strtoll(name, &end, 10);
    if (end != nullptr && *end == '\0') pids.push_back(pid);
  }
  closedir(dir);
  std::sort(pids.begin(), pids.end());
  return pids;
}

class LinuxHost {
 public:
  LinuxHost(std::string root, std::vector<std::string> configured)
      : root_(std::move(root)),
        proc_(root_ + "/proc"),
        sys_(root_ + "/sys"),
        hold_(root_.empty()),
        configured_(std::move(configured)) {
    const long page = sysconf(_SC_PAGESIZE);
    const long ticks = sysconf(_SC_CLK_TCK);
    page_size_ = page > 0 ? static_cast<double>(page) : 4096;
    clock_ticks_ = ticks > 0 ? static_cast<double>(ticks) : 100;
  }

  ~LinuxHost() {
    if (proc_dir_ != nullptr) closedir(proc_dir_);
  }
  LinuxHost(const LinuxHost&) = delete;
  LinuxHost& operator=(const LinuxHost&) = delete;

  std::function<double()> clock = MonotonicSeconds;
  // The time of the collection in progress.
  double now = 0;

  void Begin() {
    ++generation_;
    now = clock();
  }

  double PageSize() const { return page_size_; }
  double ClockTicks() const { return clock_ticks_; }

  // ---- texts of the collection ----

  const std::string* Text(CachedText& cache, const std::string& path, size_t limit = 0) {
    if (cache.generation != generation_) {
      if (!cache.file.Named()) cache.file = HostFile(path, hold_, limit);
      cache.ok = cache.file.Read(cache.text);
      cache.generation = generation_;
    }
    return cache.ok ? &cache.text : nullptr;
  }
  const std::string* Stat() { return Text(stat_, proc_ + "/stat"); }
  const std::string* Meminfo() { return Text(meminfo_, proc_ + "/meminfo"); }
  const std::string* Vmstat() { return Text(vmstat_, proc_ + "/vmstat"); }
  const std::string* Loadavg() { return Text(loadavg_, proc_ + "/loadavg"); }
  const std::string* Uptime() { return Text(uptime_, proc_ + "/uptime"); }
  const std::string* FileNr() { return Text(file_nr_, proc_ + "/sys/fs/file-nr"); }

  const std::vector<CpuTimes>& Cpus() {
    if (cpus_generation_ != generation_) {
      const std::string* text = Stat();
      cpus_ = text != nullptr ? ParseProcStat(*text) : std::vector<CpuTimes>{};
      totals_ = text != nullptr ? ParseStatTotals(*text) : StatTotals{};
      cpus_generation_ = generation_;
    }
    return cpus_;
  }
  const CpuTimes* Cpu(const std::string& name) {
    for (const auto& c : Cpus()) {
      if (c.name == name) return &c;
    }
    return nullptr;
  }
  const StatTotals& Totals() {
    Cpus();
    return totals_;
  }
  // The processors online: the "cpuN" lines.
  size_t ProcessorCount() {
    size_t n = 0;
    for (const auto& c : Cpus()) n += c.name.size() > 3 ? 1 : 0;
    return n;
  }

  std::optional<uint64_t> MemBytes(const char* key) {
    const std::string* text = Meminfo();
    return text != nullptr ? MeminfoBytes(*text, key) : std::nullopt;
  }
  std::optional<uint64_t> VmCount(const char* key) {
    const std::string* text = Vmstat();
    return text != nullptr ? VmstatValue(*text, key) : std::nullopt;
  }

  // Page cache: Buffers + Cached. Each reading also raises the peak.
  Reading CacheBytes() {
    const auto buffers = MemBytes("Buffers"), cached = MemBytes("Cached");
    if (!buffers || !cached) return std::nullopt;
    const double bytes = static_cast<double>(*buffers + *cached);
    if (bytes > cache_peak_) cache_peak_ = bytes;
    return bytes;
  }
  Reading CachePeak() {
    if (!CacheBytes()) return std::nullopt;
    return cache_peak_;
  }

  // Memory available for new work without swapping.
  Reading AvailableBytes() {
    if (const auto a = MemBytes("MemAvailable")) return static_cast<double>(*a);
    const auto free = MemBytes("MemFree"), buffers = MemBytes("Buffers"),
               cached = MemBytes("Cached");
    if (!free || !buffers || !cached) return std::nullopt;
    return static_cast<double>(*free + *buffers + *cached);
  }

  // The frequency of processor `n` in MHz: the kernel's current scaling
  // frequency, else the figure /proc/cpuinfo shows.
  Reading FrequencyMhz(int n) {
    CachedText& scaling = scaling_[n];
    const std::string* khz = Text(scaling, sys_ + "/devices/system/cpu/cpu" + std::to_string(n) +
                                               "/cpufreq/scaling_cur_freq");
    if (khz != nullptr) {
      if (const auto v = SysfsNumber(*khz)) return static_cast<double>(*v) / 1000;
    }
    // Processor 0's record stands in the first page of the file: reading no
    // further keeps the cost the same on a machine of many processors.
    const std::string* info =
        n == 0 ? Text(cpuinfo_head_, proc_ + "/cpuinfo", 4096) : Text(cpuinfo_, proc_ + "/cpuinfo");
    if (info == nullptr) return std::nullopt;
    return CpuinfoMhz(*info, n);
  }

  // ---- processes ----

  const std::vector<int64_t>& Pids() {
    if (pids_generation_ != generation_) {
      pids_generation_ = generation_;
      if (!hold_) {
        pids_ = ListProcesses(proc_);
      } else {
        // The folder stays open and is read again from its start.
        if (proc_dir_ == nullptr) proc_dir_ = opendir(proc_.c_str());
        pids_.clear();
        if (proc_dir_ != nullptr) {
          rewinddir(proc_dir_);
          while (dirent* entry = readdir(proc_dir_)) {
            const char* name = entry->d_name;
            if (name[0] < '1' || name[0] > '9') continue;
            pids_.push_back(std::strtoll(name, nullptr, 10));
          }
          std::sort(pids_.begin(), pids_.end());
        }
      }
    }
    return pids_;
  }

  std::string PidPath(int64_t pid, const char* file) const {
    return proc_ + "/" + std::to_string(pid) + "/" + file;
  }

  // The program name of a process as the program list writes it (without
  // ".exe"), or "" when its program cannot be read.
  std::string ProgramOf(int64_t pid) const {
    char target[4096];
    const ssize_t n = readlink(PidPath(pid, "exe").c_str(), target, sizeof target - 1);
    if (n <= 0) return {};
    const std::string exe(target, static_cast<size_t>(n));
    std::string cmdline;
    if (RunsScript(exe)) ReadWhole(PidPath(pid, "cmdline"), cmdline);
    const std::string base = ProgramBaseName(exe, cmdline);
    return base.substr(0, base.size() - 4);
  }

  // The first process (lowest pid) that runs a program, by the name in
  // lower case; 0 when none does. The index of names is made anew once per
  // collection; a name it misses is looked for among the processes started
  // since.
  int64_t FindProgram(const std::string& lower_name) {
    if (index_generation_ != generation_) {
      index_.clear();
      index_pids_.clear();
      index_generation_ = generation_;
    } else if (const int64_t pid = LookUp(lower_name)) {
      return pid;
    }
    UpdateIndex();
    return LookUp(lower_name);
  }
  std::vector<std::string> ProgramNames() {
    index_.clear();
    index_pids_.clear();
    index_generation_ = generation_;
    UpdateIndex();
    std::vector<std::string> names;
    for (const auto& p : index_) {
      if (std::find(names.begin(), names.end(), p.name) == names.end()) names.push_back(p.name);
    }
    return names;
  }

  // The watch of a program name, bound to the first process of that name;
  // null when no process runs it.
  Watch* WatchFor(const std::string& name) {
    const std::string key = Lower(name);
    auto it = watches_.find(key);
    if (it != watches_.end() && it->second.pid != 0) return &it->second;
    const int64_t pid = FindProgram(key);
    if (pid == 0) return nullptr;
    const bool created = it == watches_.end();
    Watch& w = watches_[key];
    if (w.name.empty()) w.name = name;
    if (!Bind(w, pid)) {
      if (created) watches_.erase(key);
      return nullptr;
    }
    return &w;
  }

  // Reads every watched process once per collection; finds a process for a
  // name whose process has gone.
  void SamplePrograms() {
    if (programs_generation_ == generation_) return;
    programs_generation_ = generation_;
    bool unbound = false, lost = false;
    for (auto& [key, w] : watches_) {
      if (w.pid != 0 && !Refresh(w)) {
        Unbind(w);
        lost = true;
      }
      unbound = unbound || w.pid == 0;
    }
    if (!unbound) return;
    const std::vector<int64_t> pids = Pids();
    // When a watched process has ended, another process of its name may
    // have run for long: every process is looked at.
    const bool full =
        lost || last_full_scan_ == kNever || generation_ >= last_full_scan_ + kFullScanEvery;
    for (int64_t pid : pids) {
      if (!full && std::binary_search(examined_.begin(), examined_.end(), pid)) continue;
      const std::string name = Lower(ProgramOf(pid));
      if (name.empty()) continue;
      auto it = watches_.find(name);
      if (it != watches_.end() && it->second.pid == 0) Bind(it->second, pid);
    }
    examined_ = pids;
    if (full) last_full_scan_ = generation_;
  }

  // ---- logical disk ----

  const RootDevice& Root() {
    if (!root_device_) {
      RootDevice r;
      std::string mountinfo;
      if (ReadWhole(proc_ + "/self/mountinfo", mountinfo)) {
        if (const auto m = RootMount(mountinfo)) {
          r.found = true;
          r.major = m->major;
          r.minor = m->minor;
          r.device = m->major != 0;
          // A file system that numbers its own devices (btrfs, for one)
          // shows major 0 but names its device as the source.
          if (!r.device && m->source.rfind("/dev/", 0) == 0) {
            struct stat st {};
            if (::stat((root_ + m->source).c_str(), &st) == 0 && S_ISBLK(st.st_mode)) {
              r.major = major(st.st_rdev);
              r.minor = minor(st.st_rdev);
            }
            r.name = m->source.substr(m->source.find_last_of('/') + 1);
            std::string diskstats;
            r.device = ReadWhole(proc_ + "/diskstats", diskstats) &&
                       FindDiskStat(diskstats, r.major, r.minor, r.name).has_value();
          }
        }
      }
      root_device_ = r;
    }
    return *root_device_;
  }

  std::optional<DiskStat> RootDisk() {
    if (disk_generation_ != generation_) {
      disk_generation_ = generation_;
      disk_.reset();
      const RootDevice& r = Root();
      const std::string* text = Text(diskstats_, proc_ + "/diskstats");
      if (r.device && text != nullptr) disk_ = FindDiskStat(*text, r.major, r.minor, r.name);
    }
    return disk_;
  }

  std::optional<Space> RootSpace() {
    if (space_generation_ != generation_) {
      space_generation_ = generation_;
      space_.reset();
      struct statvfs v {};
      if (::statvfs((root_.empty() ? "/" : root_ + "/").c_str(), &v) == 0 && v.f_blocks > 0) {
        space_ = Space{static_cast<double>(v.f_blocks), static_cast<double>(v.f_bavail),
                       static_cast<double>(v.f_frsize != 0 ? v.f_frsize : v.f_bsize)};
      }
    }
    return space_;
  }

  // ---- network ----

  std::vector<NetLink> Links() const {
    std::vector<NetLink> links;
    const std::string base = sys_ + "/class/net";
    DIR* dir = opendir(base.c_str());
    if (dir == nullptr) return links;
    while (dirent* entry = readdir(dir)) {
      const std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      // Beside the interfaces the folder may hold files such as
      // bonding_masters; an interface has an index.
      std::string text;
      if (!ReadWhole(base + "/" + name + "/ifindex", text)) continue;
      NetLink l;
      l.name = name;
      l.ifindex = static_cast<int64_t>(SysfsNumber(text).value_or(0));
      struct stat st {};
      l.device = ::lstat((base + "/" + name + "/device").c_str(), &st) == 0;
      if (ReadWhole(base + "/" + name + "/type", text)) {
        l.loopback = SysfsNumber(text) == uint64_t{772};
      } else {
        l.loopback = name == "lo";
      }
      links.push_back(l);
    }
    closedir(dir);
    return links;
  }

  // Counter instance and kernel name of each adapter served.
  const std::vector<std::pair<std::string, std::string>>& Adapters() {
    if (adapters_generation_ != generation_) {
      adapters_.clear();
      for (const auto& name : ChooseInterfaces(Links(), configured_)) {
        adapters_.emplace_back(AdapterInstance(name), name);
      }
      adapters_generation_ = generation_;
    }
    return adapters_;
  }

  std::optional<NetSample> Net(const std::string& interface) {
    NetEntry& entry = net_[interface];
    if (entry.generation != generation_) {
      entry.generation = generation_;
      entry.sample.reset();
      static const char* const kFiles[7] = {"rx_bytes",  "tx_bytes",  "rx_packets", "tx_packets",
                                            "rx_errors", "tx_errors", "multicast"};
      const std::string base = sys_ + "/class/net/" + interface + "/statistics/";
      uint64_t v[7] = {};
      for (size_t i = 0; i < 7; ++i) {
        if (!entry.files[i].Named()) entry.files[i] = HostFile(base + kFiles[i], hold_);
        std::optional<uint64_t> n;
        if (entry.files[i].Read(scratch_)) n = SysfsNumber(scratch_);
        if (!n) return std::nullopt;
        v[i] = *n;
      }
      entry.sample = NetSample{v[0], v[1], v[2], v[3], v[4], v[5], v[6]};
    }
    return entry.sample;
  }

 private:
  std::optional<PidStat> ReadStat(Watch& w) {
    if (!w.stat_file.Read(scratch_)) return std::nullopt;
    return ParsePidStat(scratch_);
  }
  std::optional<PidIo> ReadIo(Watch& w) {
    if (!w.io_file.Read(scratch_)) return std::nullopt;
    return ParsePidIo(scratch_);
  }
  bool Bind(Watch& w, int64_t pid) {
    w.stat_file = HostFile(PidPath(pid, "stat"), hold_);
    w.io_file = HostFile(PidPath(pid, "io"), hold_);
    const auto s = ReadStat(w);
    if (!s) {
      Unbind(w);
      return false;
    }
    w.pid = pid;
    w.start = s->starttime;
    w.comm = s->comm;
    w.stat = s;
    w.io = ReadIo(w);
    ++w.serial;
    return true;
  }
  void Unbind(Watch& w) {
    w.pid = 0;
    w.stat.reset();
    w.io.reset();
    w.stat_file = HostFile();
    w.io_file = HostFile();
  }
  // False when the process has gone or now runs another program. A held
  // descriptor of an ended process fails even when its pid is in use again.
  bool Refresh(Watch& w) {
    const auto s = ReadStat(w);
    if (!s || s->starttime != w.start || s->comm != w.comm) return false;
    w.stat = s;
    w.io = ReadIo(w);
    return true;
  }
  int64_t LookUp(const std::string& lower_name) const {
    for (const auto& p : index_) {
      if (p.lower == lower_name) return p.pid;
    }
    return 0;
  }
  // Brings the index up to the processes now: those gone leave it, the
  // programs of those not seen before are read.
  void UpdateIndex() {
    const std::vector<int64_t> pids = ListProcesses(proc_);
    std::vector<Named> next;
    next.reserve(index_.size() + 8);
    size_t at = 0;
    for (int64_t pid : pids) {
      while (at < index_.size() && index_[at].pid < pid) ++at;
      if (at < index_.size() && index_[at].pid == pid) {
        next.push_back(std::move(index_[at]));
        continue;
      }
      if (std::binary_search(index_pids_.begin(), index_pids_.end(), pid)) continue;
      std::string name = ProgramOf(pid);
      if (!name.empty()) next.push_back(Named{pid, Lower(name), std::move(name)});
    }
    index_ = std::move(next);
    index_pids_ = pids;
    examined_ = pids;
  }

  std::string root_, proc_, sys_;
  bool hold_;  // keep the files of the host open (not those of a copy)
  std::vector<std::string> configured_;
  double page_size_ = 4096, clock_ticks_ = 100;
  uint64_t generation_ = 0;

  CachedText stat_, meminfo_, vmstat_, loadavg_, uptime_, file_nr_, cpuinfo_, cpuinfo_head_,
      diskstats_;
  std::map<int, CachedText> scaling_;
  uint64_t cpus_generation_ = kNever;
  std::vector<CpuTimes> cpus_;
  StatTotals totals_;
  double cache_peak_ = 0;

  uint64_t pids_generation_ = kNever;
  std::vector<int64_t> pids_;
  DIR* proc_dir_ = nullptr;
  std::string scratch_;

  uint64_t index_generation_ = kNever;
  // A process with a program: its pid, and its program's name in lower
  // case and as it stands. In increasing pid order.
  struct Named {
    int64_t pid;
    std::string lower, name;
  };
  std::vector<Named> index_;
  std::vector<int64_t> index_pids_;  // every process looked at, with a program or not
  std::map<std::string, Watch> watches_;
  uint64_t programs_generation_ = kNever;
  uint64_t last_full_scan_ = kNever;
  std::vector<int64_t> examined_;

  std::optional<RootDevice> root_device_;
  uint64_t disk_generation_ = kNever;
  std::optional<DiskStat> disk_;
  uint64_t space_generation_ = kNever;
  std::optional<Space> space_;

  uint64_t adapters_generation_ = kNever;
  std::vector<std::pair<std::string, std::string>> adapters_;
  struct NetEntry {
    uint64_t generation = kNever;
    std::optional<NetSample> sample;
    HostFile files[7];
  };
  std::map<std::string, NetEntry> net_;
};

namespace {

// A path split into its parts; object and counter in lower case.
struct PathParts {
  std::string object, instance, counter;
  bool has_instance = false;
};

bool SplitPath(const std::string& path, PathParts& p) {
  if (path.size() < 2 || path[0] != '\\') return false;
  const size_t stop = path.find_first_of("(\\", 1);
  if (stop == std::string::npos) return false;
  p.object = Lower(path.substr(1, stop - 1));
  size_t counter_at = stop + 1;
  if (path[stop] == '(') {
    const size_t close = path.find(")\\", stop + 1);
    if (close == std::string::npos) return false;
    p.instance = path.substr(stop + 1, close - stop - 1);
    p.has_instance = true;
    counter_at = close + 2;
  }
  p.counter = Lower(path.substr(counter_at));
  return !p.object.empty() && !p.counter.empty();
}

std::unique_ptr<CounterSource> Level(std::function<Reading()> read) {
  return std::make_unique<LevelSource>(std::move(read));
}

// A rate of a system-wide count (one series for ever).
std::unique_ptr<CounterSource> Rate(LinuxHost& h, std::function<std::optional<double>()> count,
                                    std::function<double(double)> shape = {}) {
  return std::make_unique<RateSource>(
      h.now,
      [count = std::move(count)]() -> std::optional<Count> {
        const auto c = count();
        if (!c) return std::nullopt;
        return Count{*c, 0};
      },
      std::move(shape));
}

std::optional<double> AsDouble(std::optional<uint64_t> v) {
  if (!v) return std::nullopt;
  return static_cast<double>(*v);
}

// Processor ticks of one kind in a /proc/stat line.
enum class CpuKind { kBusy, kIdle, kPrivileged, kInterrupt, kUser };

std::unique_ptr<CounterSource> CpuShare(LinuxHost& h, std::string cpu, CpuKind kind) {
  return std::make_unique<ShareSource>([&h, cpu, kind]() -> std::optional<Ticks> {
    const CpuTimes* c = h.Cpu(cpu);
    if (c == nullptr) return std::nullopt;
    const double total = static_cast<double>(c->Total());
    double part = 0;
    switch (kind) {
      case CpuKind::kBusy:
        part = static_cast<double>(c->Total() - c->Idle());
        break;
      case CpuKind::kIdle:
        part = static_cast<double>(c->Idle());
        break;
      case CpuKind::kPrivileged:
        part = static_cast<double>(c->system + c->irq + c->softirq);
        break;
      case CpuKind::kInterrupt:
        part = static_cast<double>(c->irq + c->softirq);
        break;
      case CpuKind::kUser:
        part = static_cast<double>(c->user + c->nice);
        break;
    }
    return Ticks{part, total};
  });
}

// The percentages every processor instance has.
std::unique_ptr<CounterSource> ProcessorPercent(LinuxHost& h, const std::string& cpu,
                                                const std::string& counter) {
  if (h.Cpu(cpu) == nullptr) return nullptr;
  if (counter == "% processor time") return CpuShare(h, cpu, CpuKind::kBusy);
  if (counter == "% idle time") return CpuShare(h, cpu, CpuKind::kIdle);
  if (counter == "% privileged time") return CpuShare(h, cpu, CpuKind::kPrivileged);
  if (counter == "% interrupt time") return CpuShare(h, cpu, CpuKind::kInterrupt);
  if (counter == "% user time") return CpuShare(h, cpu, CpuKind::kUser);
  return nullptr;
}

std::unique_ptr<CounterSource> ResolveProcessor(LinuxHost& h, const PathParts& p) {
  if (!p.has_instance) return nullptr;
  const std::string instance = Lower(p.instance);
  if (instance == "_total") return ProcessorPercent(h, "cpu", p.counter);
  if (!IsNumber(instance)) return nullptr;
  return ProcessorPercent(h, "cpu" + instance, p.counter);
}

std::unique_ptr<CounterSource> ResolveProcessorInformation(LinuxHost& h, const PathParts& p) {
  if (!p.has_instance) return nullptr;
  const std::string instance = Lower(p.instance);
  if (instance == "_total") {
    if (p.counter == "interrupts/sec") {
      if (!h.Totals().interrupts) return nullptr;
      return Rate(h, [&h] { return AsDouble(h.Totals().interrupts); });
    }
    if (p.counter == "dpcs queued / sec" || p.counter == "dpcs queued/sec") {
      if (!h.Totals().softirqs) return nullptr;
      return Rate(h, [&h] { return AsDouble(h.Totals().softirqs); });
    }
    return ProcessorPercent(h, "cpu", p.counter);
  }
  // "group,processor": the host has one group, 0.
  if (instance.rfind("0,", 0) != 0 || !IsNumber(instance.substr(2))) return nullptr;
  const std::string number = instance.substr(2);
  if (p.counter == "processor frequency") {
    const int n = std::atoi(number.c_str());
    if (h.Cpu("cpu" + number) == nullptr || !h.FrequencyMhz(n)) return nullptr;
    return Level([&h, n] { return h.FrequencyMhz(n); });
  }
  return ProcessorPercent(h, "cpu" + number, p.counter);
}

std::unique_ptr<CounterSource> ResolveMemory(LinuxHost& h, const PathParts& p) {
  if (p.has_instance || h.Meminfo() == nullptr) return nullptr;
  const auto mem = [&h](const char* key) -> std::unique_ptr<CounterSource> {
    if (!h.MemBytes(key)) return nullptr;
    return Level([&h, key] { return AsDouble(h.MemBytes(key)); });
  };
  const auto vm_rate = [&h](const char* key, double scale = 1) -> std::unique_ptr<CounterSource> {
    if (!h.VmCount(key)) return nullptr;
    return Rate(h, [&h, key, scale]() -> std::optional<double> {
      const auto v = h.VmCount(key);
      if (!v) return std::nullopt;
      return static_cast<double>(*v) * scale;
    });
  };
  // pgpgin and pgpgout count kilobytes; the counters count pages.
  const double pages_per_kb = 1024 / h.PageSize();
  const std::string& c = p.counter;
  if (c == "committed bytes") return mem("Committed_AS");
  if (c == "available bytes") {
    if (!h.AvailableBytes()) return nullptr;
    return Level([&h] { return h.AvailableBytes(); });
  }
  if (c == "cache bytes") {
    if (!h.CacheBytes()) return nullptr;
    return Level([&h] { return h.CacheBytes(); });
  }
  if (c == "cache bytes peak") {
    if (!h.CacheBytes()) return nullptr;
    return Level([&h] { return h.CachePeak(); });
  }
  if (c == "page reads/sec") return vm_rate("pgmajfault");
  if (c == "page writes/sec") return vm_rate("pswpout");
  if (c == "page faults/sec") return vm_rate("pgfault");
  if (c == "pages input/sec") return vm_rate("pgpgin", pages_per_kb);
  if (c == "pages output/sec") return vm_rate("pgpgout", pages_per_kb);
  if (c == "pages/sec") {
    if (!h.VmCount("pgpgin") || !h.VmCount("pgpgout")) return nullptr;
    return Rate(h, [&h, pages_per_kb]() -> std::optional<double> {
      const auto in = h.VmCount("pgpgin"), out = h.VmCount("pgpgout");
      if (!in || !out) return std::nullopt;
      return static_cast<double>(*in + *out) * pages_per_kb;
    });
  }
  if (c == "pool paged bytes") return mem("SReclaimable");
  if (c == "pool nonpaged bytes") return mem("SUnreclaim");
  return nullptr;
}

// "/" and any drive-letter form ("C:") name the root file system.
bool IsRootDrive(const std::string& instance) {
  if (instance == "/") return true;
  return instance.size() == 2 && std::isalpha(static_cast<unsigned char>(instance[0])) &&
         instance[1] == ':';
}

std::unique_ptr<CounterSource> ResolveLogicalDisk(LinuxHost& h, const PathParts& p) {
  if (!p.has_instance || !IsRootDrive(p.instance)) return nullptr;
  const std::string& c = p.counter;
  if (c == "% free space" || c == "free megabytes") {
    if (!h.RootSpace()) return nullptr;
    if (c == "% free space") {
      return Level([&h]() -> Reading {
        const auto s = h.RootSpace();
        if (!s) return std::nullopt;
        return s->available / s->blocks * 100;
      });
    }
    return Level([&h]() -> Reading {
      const auto s = h.RootSpace();
      if (!s) return std::nullopt;
      return s->available * s->fragment / 1048576;
    });
  }
  // The rest needs the block device under the root.
  const bool device_counter = c == "current disk queue length" || c == "% disk time" ||
                              c == "% idle time" || c == "disk read bytes/sec" ||
                              c == "disk write bytes/sec";
  if (!device_counter || !h.RootDisk()) return nullptr;
  const auto field = [&h](uint64_t DiskStat::*member, double scale) {
    return [&h, member, scale]() -> std::optional<double> {
      const auto d = h.RootDisk();
      if (!d) return std::nullopt;
      return static_cast<double>((*d).*member) * scale;
    };
  };
  const auto cap = [](double v) { return std::min(v, 100.0); };
  if (c == "current disk queue length") return Level(field(&DiskStat::in_flight, 1));
  // Request-milliseconds per second, / 10: the mean queue length x 100.
  if (c == "% disk time") return Rate(h, field(&DiskStat::weighted_ms, 0.1), cap);
  // Busy milliseconds per second, / 10: the busy percent.
  if (c == "% idle time") {
    return Rate(h, field(&DiskStat::io_ms, 0.1), [cap](double v) { return 100 - cap(v); });
  }
  if (c == "disk read bytes/sec") return Rate(h, field(&DiskStat::sectors_read, 512));
  return Rate(h, field(&DiskStat::sectors_written, 512));
}

std::unique_ptr<CounterSource> ResolveNetwork(LinuxHost& h, const PathParts& p) {
  if (!p.has_instance) return nullptr;
  std::string interface;
  for (const auto& [instance, kernel] : h.Adapters()) {
    if (Lower(instance) == Lower(p.instance)) interface = kernel;
  }
  if (interface.empty() || !h.Net(interface)) return nullptr;
  const auto rate = [&h, interface](uint64_t (*pick)(const NetSample&)) {
    return Rate(h, [&h, interface, pick]() -> std::optional<double> {
      const auto s = h.Net(interface);
      if (!s) return std::nullopt;
      return static_cast<double>(pick(*s));
    });
  };
  const auto level = [&h, interface](uint64_t (*pick)(const NetSample&)) {
    return Level([&h, interface, pick]() -> Reading {
      const auto s = h.Net(interface);
      if (!s) return std::nullopt;
      return static_cast<double>(pick(*s));
    });
  };
  const std::string& c = p.counter;
  if (c == "bytes total/sec") {
    return rate([](const NetSample& s) { return s.rx_bytes + s.tx_bytes; });
  }
  if (c == "bytes received/sec") return rate([](const NetSample& s) { return s.rx_bytes; });
  if (c == "bytes sent/sec") return rate([](const NetSample& s) { return s.tx_bytes; });
  if (c == "packets received/sec") return rate([](const NetSample& s) { return s.rx_packets; });
  if (c == "packets sent/sec") return rate([](const NetSample& s) { return s.tx_packets; });
  if (c == "packets/sec") {
    return rate([](const NetSample& s) { return s.rx_packets + s.tx_packets; });
  }
  if (c == "packets received errors") return level([](const NetSample& s) { return s.rx_errors; });
  if (c == "packets outbound errors") return level([](const NetSample& s) { return s.tx_errors; });
  if (c == "packets received unicast/sec") {
    return rate([](const NetSample& s) {
      return s.rx_packets > s.multicast ? s.rx_packets - s.multicast : uint64_t{0};
    });
  }
  if (c == "packets received non-unicast/sec") {
    return rate([](const NetSample& s) { return s.multicast; });
  }
  if (c == "packets sent unicast/sec") return rate([](const NetSample& s) { return s.tx_packets; });
  return nullptr;
}

std::unique_ptr<CounterSource> ResolveProgram(LinuxHost& h, const PathParts& p) {
  const std::string& c = p.counter;
  const bool known = c == "% processor time" || c == "virtual bytes" || c == "page faults/sec" ||
                     c == "working set" || c == "io read bytes/sec" || c == "io write bytes/sec";
  if (!known) return nullptr;
  Watch* watch = h.WatchFor(p.instance);
  if (watch == nullptr) return nullptr;
  const auto level = [&h, watch](double (*pick)(const Watch&, const LinuxHost&)) {
    return Level([&h, watch, pick]() -> Reading {
      h.SamplePrograms();
      if (watch->pid == 0 || !watch->stat) return std::nullopt;
      return pick(*watch, h);
    });
  };
  const auto rate = [&h, watch](std::optional<double> (*pick)(const Watch&, const LinuxHost&)) {
    return std::make_unique<RateSource>(h.now, [&h, watch, pick]() -> std::optional<Count> {
      h.SamplePrograms();
      if (watch->pid == 0 || !watch->stat) return std::nullopt;
      const auto v = pick(*watch, h);
      if (!v) return std::nullopt;
      return Count{*v, watch->serial};
    });
  };
  if (c == "% processor time") {
    // Ticks as a percentage of one processor's second.
    return rate([](const Watch& w, const LinuxHost& host) -> std::optional<double> {
      return static_cast<double>(w.stat->utime + w.stat->stime) / host.ClockTicks() * 100;
    });
  }
  if (c == "virtual bytes") {
    return level(
        [](const Watch& w, const LinuxHost&) { return static_cast<double>(w.stat->vsize); });
  }
  if (c == "page faults/sec") {
    return rate([](const Watch& w, const LinuxHost&) -> std::optional<double> {
      return static_cast<double>(w.stat->minflt + w.stat->majflt);
    });
  }
  if (c == "working set") {
    return level([](const Watch& w, const LinuxHost& host) {
      return static_cast<double>(w.stat->rss) * host.PageSize();
    });
  }
  if (c == "io read bytes/sec") {
    return rate([](const Watch& w, const LinuxHost&) -> std::optional<double> {
      if (!w.io) return std::nullopt;
      return static_cast<double>(w.io->rchar);
    });
  }
  return rate([](const Watch& w, const LinuxHost&) -> std::optional<double> {
    if (!w.io) return std::nullopt;
    return static_cast<double>(w.io->wchar);
  });
}

std::unique_ptr<CounterSource> ResolveProcess(LinuxHost& h, const PathParts& p) {
  if (!p.has_instance) return nullptr;
  if (Lower(p.instance) != "_total") return ResolveProgram(h, p);
  if (p.counter == "thread count") {
    if (!h.Loadavg() || !LoadavgThreads(*h.Loadavg())) return nullptr;
    return Level([&h]() -> Reading {
      const std::string* text = h.Loadavg();
      return text != nullptr ? AsDouble(LoadavgThreads(*text)) : std::nullopt;
    });
  }
  if (p.counter == "handle count") {
    if (!h.FileNr() || !FileNrAllocated(*h.FileNr())) return nullptr;
    return Level([&h]() -> Reading {
      const std::string* text = h.FileNr();
      return text != nullptr ? AsDouble(FileNrAllocated(*text)) : std::nullopt;
    });
  }
  return nullptr;
}

std::unique_ptr<CounterSource> ResolveObjects(LinuxHost& h, const PathParts& p) {
  if (p.has_instance || p.counter != "processes" || h.Pids().empty()) return nullptr;
  return Level([&h]() -> Reading {
    const auto& pids = h.Pids();
    if (pids.empty()) return std::nullopt;
    return static_cast<double>(pids.size());
  });
}

std::unique_ptr<CounterSource> ResolveSystem(LinuxHost& h, const PathParts& p) {
  if (p.has_instance) return nullptr;
  if (p.counter == "context switches/sec") {
    if (!h.Totals().ctxt) return nullptr;
    return Rate(h, [&h] { return AsDouble(h.Totals().ctxt); });
  }
  if (p.counter == "system up time") {
    if (!h.Uptime() || !UptimeSeconds(*h.Uptime())) return nullptr;
    return Level([&h]() -> Reading {
      const std::string* text = h.Uptime();
      return text != nullptr ? UptimeSeconds(*text) : std::nullopt;
    });
  }
  if (p.counter == "processor queue length") {
    if (!h.Totals().procs_running) return nullptr;
    return Level([&h]() -> Reading {
      const auto running = h.Totals().procs_running;
      if (!running) return std::nullopt;
      const double waiting =
          static_cast<double>(*running) - static_cast<double>(h.ProcessorCount());
      return waiting > 0 ? waiting : 0.0;
    });
  }
  return nullptr;
}

}  // namespace

LinuxCounters::LinuxCounters(std::string root, std::vector<std::string> interfaces)
    : host_(std::make_unique<LinuxHost>(std::move(root), std::move(interfaces))) {}

LinuxCounters::~LinuxCounters() = default;

void LinuxCounters::SetClock(std::function<double()> clock) {
  host_->clock = std::move(clock);
}

std::vector<std::pair<std::string, std::string>> LinuxCounters::Adapters() {
  return host_->Adapters();
}

std::unique_ptr<CounterSource> LinuxCounters::Resolve(const std::string& local_path) {
  PathParts p;
  if (!SplitPath(local_path, p)) return nullptr;
  LinuxHost& h = *host_;
  if (p.object == "processor") return ResolveProcessor(h, p);
  if (p.object == "processor information") return ResolveProcessorInformation(h, p);
  if (p.object == "memory") return ResolveMemory(h, p);
  if (p.object == "logicaldisk") return ResolveLogicalDisk(h, p);
  if (p.object == "network interface") return ResolveNetwork(h, p);
  if (p.object == "process") return ResolveProcess(h, p);
  if (p.object == "objects") return ResolveObjects(h, p);
  if (p.object == "system") return ResolveSystem(h, p);
  return nullptr;
}

void LinuxCounters::BeginCollection() {
  host_->Begin();
}

bool LinuxCounters::Instances(const std::string& object, std::vector<std::string>& instances) {
  const std::string o = Lower(object);
  LinuxHost& h = *host_;
  instances.clear();
  if (o == "processor" || o == "processor information") {
    for (const auto& c : h.Cpus()) {
      if (c.name.size() <= 3) continue;
      const std::string n = c.name.substr(3);
      instances.push_back(o == "processor" ? n : "0," + n);
    }
    instances.push_back("_Total");
    return true;
  }
  if (o == "network interface") {
    for (const auto& [instance, kernel] : h.Adapters()) instances.push_back(instance);
    return true;
  }
  if (o == "logicaldisk") {
    if (h.RootSpace()) instances.push_back("/");
    return true;
  }
  if (o == "process") {
    instances = h.ProgramNames();
    instances.push_back("_Total");
    return true;
  }
  return o == "memory" || o == "objects" || o == "system";
}

}  // namespace tarnex
