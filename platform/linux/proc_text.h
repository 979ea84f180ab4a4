// Readers of the host's /proc and /sys texts. Each function takes the text of
// one file (or a few facts about one folder) and returns what the counters
// need; none of them touches the file system, so they run on canned copies.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnex {

// One processor line of /proc/stat: the jiffies of a processor (or of all,
// "cpu"). Guest time is already inside user and nice.
struct CpuTimes {
  std::string name;  // "cpu", "cpu0", ...
  unsigned long long user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0,
                     steal = 0;
  unsigned long long Total() const {
    return user + nice + system + idle + iowait + irq + softirq + steal;
  }
  unsigned long long Idle() const { return idle + iowait; }
};

// The processor lines of a /proc/stat text, "cpu" first when present.
std::vector<CpuTimes> ParseProcStat(const std::string& text);

// The single-number lines of /proc/stat beside the processors.
struct StatTotals {
  std::optional<uint64_t> interrupts;     // "intr": its first number, all interrupts
  std::optional<uint64_t> softirqs;       // "softirq": its first number, all deferred work
  std::optional<uint64_t> ctxt;           // "ctxt": context switches since boot
  std::optional<uint64_t> procs_running;  // "procs_running": tasks running or ready
};
StatTotals ParseStatTotals(const std::string& text);

// A "Name:   1234 kB" line of /proc/meminfo, in bytes (a value without a unit,
// such as HugePages_Total, as it stands).
std::optional<uint64_t> MeminfoBytes(std::string_view text, std::string_view key);

// A "name 1234" line of /proc/vmstat.
std::optional<uint64_t> VmstatValue(std::string_view text, std::string_view key);

// One line of /proc/diskstats.
struct DiskStat {
  unsigned major = 0, minor = 0;
  std::string name;
  uint64_t reads = 0, sectors_read = 0, writes = 0, sectors_written = 0;
  uint64_t in_flight = 0;    // requests issued to the device and not yet done
  uint64_t io_ms = 0;        // milliseconds with at least one request in flight
  uint64_t weighted_ms = 0;  // request-milliseconds: in flight times time
};
// The line of the device major:minor, or else (when `name` is not empty) the
// line of that device name.
std::optional<DiskStat> FindDiskStat(std::string_view text, unsigned major, unsigned minor,
                                     std::string_view name = {});

// The mount of "/" in a /proc/self/mountinfo text: the last one, which hides
// any beneath it.
struct MountEntry {
  unsigned major = 0, minor = 0;
  std::string fstype, source;
};
std::optional<MountEntry> RootMount(std::string_view mountinfo);

// /proc/PID/stat. The program name is in brackets and may hold blanks and
// brackets itself, so the fields are counted from the last ")".
struct PidStat {
  int64_t pid = 0;
  std::string comm;
  uint64_t minflt = 0, majflt = 0, utime = 0, stime = 0, num_threads = 0, starttime = 0;
  uint64_t vsize = 0;  // bytes
  uint64_t rss = 0;    // pages
};
std::optional<PidStat> ParsePidStat(std::string_view text);

// /proc/PID/io: bytes passed through read and write calls of any kind (files,
// pipes, sockets, devices).
struct PidIo {
  uint64_t rchar = 0, wchar = 0;
};
std::optional<PidIo> ParsePidIo(std::string_view text);

// "cpu MHz" of a processor in a /proc/cpuinfo text.
std::optional<double> CpuinfoMhz(std::string_view text, int processor);

// /proc/sys/fs/file-nr: the file handles allocated now.
std::optional<uint64_t> FileNrAllocated(std::string_view text);

// /proc/uptime: seconds since boot.
std::optional<double> UptimeSeconds(std::string_view text);

// /proc/loadavg: the scheduling entities (threads) that exist, the number
// behind the "/" of the fourth field.
std::optional<uint64_t> LoadavgThreads(std::string_view text);

// A sysfs file that holds one unsigned number (in decimal).
std::optional<uint64_t> SysfsNumber(std::string_view text);

// What the provider knows of an entry of /sys/class/net.
struct NetLink {
  std::string name;       // the kernel's name, eth0
  int64_t ifindex = 0;    // "ifindex"
  bool device = false;    // has a "device" link: a physical device
  bool loopback = false;  // "type" 772
};

// The interfaces served as network adapters, in ifindex order. With
// `configured` empty: those with a device; when none has one (a container),
// every interface but the loopback. Otherwise the configured names that
// exist, in the order given.
std::vector<std::string> ChooseInterfaces(std::vector<NetLink> links,
                                          const std::vector<std::string>& configured);

// The counter instance of an interface: "Network Adapter " + its name, with
// the characters a counter path cannot hold in an instance replaced: "(" by
// "[", ")" by "]", and "#", "/", "\" by "_".
std::string AdapterInstance(const std::string& kernel_name);

// The program a process runs, as the system names it: the executable's file
// name, or the script's for a program run by an interpreter, with ".exe".
// `exe` is the target of /proc/PID/exe, `cmdline` the NUL-separated arguments.
std::string ProgramBaseName(const std::string& exe, const std::string& cmdline);

// Whether the name of a program run by `exe` comes from its arguments.
bool RunsScript(const std::string& exe);

// The full path of the program a process runs: its executable (`exe`, the
// target of /proc/PID/exe) less the " (deleted)" mark of a file removed since
// it started, or for a program run by an interpreter the script's path (the
// first argument that is not an option) resolved against the process's
// folder `cwd`.
std::string ProgramPath(const std::string& exe, const std::string& cmdline, const std::string& cwd);

// Whether a process whose /proc/PID/stat text is `stat` still runs: it is
// there and is neither a zombie nor dead.
bool ProcessAlive(const std::string& stat);

// The first DNS server of a resolver configuration (the text of
// /etc/resolv.conf): the address of its first "nameserver" line, cut to the
// 15 characters the network parameters hold; "" when there is none.
std::string FirstNameserver(const std::string& resolv_conf);

}  // namespace tarnex
