// Facts of the Linux host in the terms the system's logic asks for: the
// labelled report of the system-facts program, the cache and feature lines of
// the memory tool, and the rows of the system-management classes. Reading the
// host and shaping the facts are kept apart, so that the shaping can be tried
// on canned copies of /proc and /sys.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "platform/wmi.h"

namespace tarnex::host {

// Where the host's facts are read. Tests point these at canned copies.
struct HostPaths {
  std::string proc = "/proc";
  std::string sys = "/sys";
  std::string etc = "/etc";
};

// The whole of a small file, or "" when it cannot be read.
std::string ReadText(const std::string& path);
// The first line of a small file without its line end and outer blanks.
std::string ReadLine(const std::string& path);

// ---- /proc/cpuinfo

struct CpuEntry {
  int processor = 0;
  std::string vendor;      // vendor_id
  std::string model_name;  // model name
  int family = -1;         // cpu family
  int model = -1;
  int stepping = -1;
  double mhz = 0;       // cpu MHz
  int physical_id = 0;  // the package
  int cores = 0;        // cpu cores (in the package)
  std::set<std::string> flags;
};
std::vector<CpuEntry> ParseCpuInfo(const std::string& text);

// ---- /proc/meminfo (values in kB), /proc/swaps, /proc/mounts, os-release

std::map<std::string, uint64_t> ParseMemInfo(const std::string& text);

struct SwapEntry {
  std::string name;
  uint64_t size_kb = 0;
  uint64_t used_kb = 0;
};
std::vector<SwapEntry> ParseSwaps(const std::string& text);

struct MountEntry {
  std::string source;
  std::string point;
  std::string type;
};
// Octal escapes (\040 for a blank) are turned back into their characters.
std::vector<MountEntry> ParseMounts(const std::string& text);
// The mounts that stand for drives: file systems on a block device (not a
// loop device), one per mount point (the last mount there wins), and the root
// whatever it is mounted from; in the order of the mount table.
std::vector<MountEntry> DriveMounts(const std::vector<MountEntry>& mounts);

std::map<std::string, std::string> ParseOsRelease(const std::string& text);

// ---- dmidecode's text output

struct DmiRecord {
  int type = -1;
  std::map<std::string, std::string> fields;  // "Socket Designation" -> "CPU 1"
};
std::vector<DmiRecord> ParseDmidecode(const std::string& text);
// "8 GB", "8192 MB", "512 kB" in bytes; 0 for "No Module Installed" and the like.
double DmiSizeBytes(const std::string& text);
// The leading whole number of "2400 MT/s" or "3800 MHz"; 0 when there is none.
double DmiNumber(const std::string& text);

// ---- caches under /sys/devices/system/cpu

struct CacheInstance {
  int level = 0;
  std::string type;      // Data, Instruction, Unified
  uint64_t size_kb = 0;  // 0 when unknown
  int ways = -1;         // -1 when unknown, 0 fully associative
  int line_size = 0;
  std::vector<int> cpus;  // the processors that share it
};
// "0-3,8" as the numbers it lists.
std::vector<int> ParseCpuList(const std::string& text);
// Every cache of the machine once, however many processors share it.
std::vector<CacheInstance> ReadCaches(const std::string& cpu_root);

// ---- the system-facts program

struct SystemFacts {
  std::string host_name;
  std::string os_name;
  std::string os_version;
  std::string product_id;
  std::string install_date;
  std::string boot_time;
  std::string manufacturer;
  std::string model;
  std::string system_type;
  int packages = 0;
  std::vector<std::string> processors;  // one "[01]: ..." line per package
  std::string bios_version;
  std::string boot_device;
  std::string input_locale;
  double total_mb = 0;
  double available_mb = 0;
  double virtual_max_mb = 0;
  double virtual_available_mb = 0;
  std::vector<std::string> page_files;
};
SystemFacts GatherSystemFacts(const HostPaths& paths);
// The report: each label padded to 27 characters, its value from column 28,
// CR LF line ends. An unknown fact reads "N/A".
std::string SystemInfoText(const SystemFacts& facts);
// A point in time as the report prints it, "3/15/2024, 11:59:07 PM" (local).
std::string ReportTime(int64_t epoch_seconds);
// The installation's product identifier: a digest of the machine's identity,
// so that the identity itself is not shown.
std::string ProductId(const std::string& machine_id);
std::string Sha256Hex(std::string_view data);

// ---- the memory and cache tool

struct RamFacts {
  std::string processor;
  int logical = 0;
  std::vector<CacheInstance> caches;
  std::set<std::string> flags;
};
RamFacts GatherRamFacts(const HostPaths& paths);
// One line per cache kind ("2x D-cache 32 Kb, 8-way set associative, 64 byte
// line size") and per instruction-set feature ("SSE2 instructions").
std::string RamText(const RamFacts& facts);

// ---- system-management rows

struct ProcessorFacts {
  std::vector<CpuEntry> cpus;
  std::vector<CacheInstance> caches;
  std::vector<DmiRecord> dmi;     // type 4 records, one per socket
  std::map<int, double> max_khz;  // processor -> cpufreq maximum
  std::map<int, double> busy;     // processor -> busy percent just now
};
// One Win32_Processor row per package.
std::vector<WmiRow> ProcessorRows(const ProcessorFacts& facts);
// One Win32_PhysicalMemory row per memory device of the DMI table.
std::vector<WmiRow> MemoryRows(const std::vector<DmiRecord>& dmi);
// One Win32_PageFileUsage row per swap area; `peaks` keeps the highest use
// seen of each area (MB) and is updated.
std::vector<WmiRow> PageFileRows(const std::vector<SwapEntry>& swaps,
                                 std::map<std::string, double>& peaks);

// ---- the interface table

// One row per interface of a /sys/class/net folder, in the order of their
// index: the kernel's counters taken to 32 bits as the table keeps them, the
// name as description and name, the kind (6 Ethernet, 24 loopback, 1 other),
// the speed in bits per second (0 when unknown), the state (5 operational
// when up or unknown, 2 otherwise; administratively 1 up or 2 down), the
// hardware address and the send queue's length.
std::vector<InterfaceRow> InterfaceRows(const std::string& sys_class_net);

// ---- the system's error log

// Win32_NTLogEvent rows from the system journal's entries, one JSON object a
// line as journalctl writes them: Category is the entry's identifier (its
// program when it has none), EventCode its priority, Message its text. An
// entry whose text is not a text (binary data) is left out.
std::vector<WmiRow> JournalEventRows(const std::string& json_lines);

}  // namespace tarnex::host
