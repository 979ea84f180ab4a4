// The Linux provider's counters: the readers of /proc and /sys texts, the
// counters on canned copies of machines (tests/data/linux), the whole
// catalogue on a canned machine, and sanity bounds on this host.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <regex>
#include <set>

#include "core/model.h"
#include "counters/catalogue.h"
#include "counters/query.h"
#include "platform/forwarding_platform.h"
#include "platform/linux/linux_counters.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/proc_text.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string kData = std::string(TARNEX_SOURCE_DIR) + "/tests/data/linux/";

double PageSize() {
  return static_cast<double>(sysconf(_SC_PAGESIZE));
}

// ---------------------------------------------------------------------------
// Readers of the texts.

TEST(LinuxText, ProcStatGivesTheProcessorLinesAndTheTotals) {
  const std::string text = ReadFile(kData + "host/proc/stat");
  const auto cpus = ParseProcStat(text);
  ASSERT_EQ(cpus.size(), 3u);
  EXPECT_EQ(cpus[0].name, "cpu");
  EXPECT_EQ(cpus[1].name, "cpu0");
  EXPECT_EQ(cpus[0].user, 10000u);
  EXPECT_EQ(cpus[0].system, 3000u);
  EXPECT_EQ(cpus[0].irq, 200u);
  EXPECT_EQ(cpus[0].softirq, 300u);
  EXPECT_EQ(cpus[0].Total(), 10000u + 500 + 3000 + 80000 + 1000 + 200 + 300);
  EXPECT_EQ(cpus[0].Idle(), 81000u);
  const StatTotals t = ParseStatTotals(text);
  EXPECT_EQ(t.interrupts, uint64_t{500000});
  EXPECT_EQ(t.softirqs, uint64_t{200000});
  EXPECT_EQ(t.ctxt, uint64_t{900000});
  EXPECT_EQ(t.procs_running, uint64_t{3});
  const StatTotals none = ParseStatTotals("cpu  1 2 3 4\n");
  EXPECT_FALSE(none.interrupts.has_value());
  EXPECT_FALSE(none.ctxt.has_value());
}

TEST(LinuxText, MeminfoIsInBytesAndVmstatAsItStands) {
  const std::string mem = ReadFile(kData + "host/proc/meminfo");
  EXPECT_EQ(MeminfoBytes(mem, "MemAvailable"), uint64_t{4194304} * 1024);
  EXPECT_EQ(MeminfoBytes(mem, "Committed_AS"), uint64_t{3145728} * 1024);
  // A key is a whole label: "Cached" is not "SwapCached".
  EXPECT_EQ(MeminfoBytes(mem, "Cached"), uint64_t{2048000} * 1024);
  EXPECT_EQ(MeminfoBytes(mem, "HugePages_Total"), uint64_t{0});
  EXPECT_FALSE(MeminfoBytes(mem, "NoSuchField").has_value());
  EXPECT_FALSE(MeminfoBytes(mem, "MemAvail").has_value());
  const std::string vm = ReadFile(kData + "host/proc/vmstat");
  EXPECT_EQ(VmstatValue(vm, "pgmajfault"), uint64_t{4000});
  EXPECT_EQ(VmstatValue(vm, "pgfault"), uint64_t{50000000});
  EXPECT_EQ(VmstatValue(vm, "pswpout"), uint64_t{20});
  EXPECT_FALSE(VmstatValue(vm, "pgfaul").has_value());
}

TEST(LinuxText, DiskstatsFindsAPartitionByNumberElseByName) {
  const std::string text = ReadFile(kData + "host/proc/diskstats");
  const auto part = FindDiskStat(text, 8, 2);
  ASSERT_TRUE(part.has_value());
  EXPECT_EQ(part->name, "sda2");
  EXPECT_EQ(part->sectors_read, 8000000u);
  EXPECT_EQ(part->sectors_written, 16000000u);
  EXPECT_EQ(part->in_flight, 2u);
  EXPECT_EQ(part->io_ms, 120000u);
  EXPECT_EQ(part->weighted_ms, 150000u);
  EXPECT_EQ(FindDiskStat(text, 8, 0)->name, "sda");
  EXPECT_EQ(FindDiskStat(text, 0, 33, "sda1")->name, "sda1");
  EXPECT_FALSE(FindDiskStat(text, 0, 33).has_value());
  // The old short form of a partition line carries too little.
  EXPECT_FALSE(FindDiskStat("   8       1 sda1 300 20000 50 1000\n", 8, 1).has_value());
}

TEST(LinuxText, RootMountIsTheLastMountOfSlash) {
  const auto host = RootMount(ReadFile(kData + "host/proc/self/mountinfo"));
  ASSERT_TRUE(host.has_value());
  EXPECT_EQ(host->major, 8u);
  EXPECT_EQ(host->minor, 2u);
  EXPECT_EQ(host->fstype, "ext4");
  EXPECT_EQ(host->source, "/dev/sda2");
  const auto container = RootMount(ReadFile(kData + "container/proc/self/mountinfo"));
  ASSERT_TRUE(container.has_value());
  EXPECT_EQ(container->major, 0u);
  EXPECT_EQ(container->fstype, "overlay");
  const auto stacked = RootMount(
      "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "2 1 0:40 / / rw shared:5 master:3 - tmpfs none rw\n");
  ASSERT_TRUE(stacked.has_value());
  EXPECT_EQ(stacked->fstype, "tmpfs");
  EXPECT_EQ(stacked->source, "none");
  EXPECT_FALSE(RootMount("22 28 0:21 / /sys rw - sysfs sysfs rw\n").has_value());
}

TEST(LinuxText, PidStatCountsFieldsFromTheLastBracket) {
  const auto s = ParsePidStat(ReadFile(kData + "host/proc/1300/stat"));
  ASSERT_TRUE(s.has_value());
  EXPECT_EQ(s->pid, 1300);
  EXPECT_EQ(s->comm, "(sd-pam)");
  EXPECT_EQ(s->vsize, 104000000u);
  EXPECT_EQ(s->rss, 1200u);
  const auto w = ParsePidStat(ReadFile(kData + "host/proc/812/stat"));
  ASSERT_TRUE(w.has_value());
  EXPECT_EQ(w->comm, "worker");
  EXPECT_EQ(w->minflt, 20000u);
  EXPECT_EQ(w->majflt, 100u);
  EXPECT_EQ(w->utime, 1500u);
  EXPECT_EQ(w->stime, 500u);
  EXPECT_EQ(w->num_threads, 4u);
  EXPECT_EQ(w->starttime, 123456u);
  const auto odd =
      ParsePidStat("77 (a) b (c) R 1 77 77 0 -1 0 5 0 6 0 7 8 0 0 20 0 2 0 99 4096 -1 0 0 0");
  ASSERT_TRUE(odd.has_value());
  EXPECT_EQ(odd->comm, "a) b (c");
  EXPECT_EQ(odd->minflt, 5u);
  EXPECT_EQ(odd->majflt, 6u);
  EXPECT_EQ(odd->rss, 0u);  // a negative resident size reads as none
  EXPECT_FALSE(ParsePidStat("77 (cut) R 1 2 3").has_value());
  EXPECT_FALSE(ParsePidStat("").has_value());
}

TEST(LinuxText, SmallFiles) {
  EXPECT_EQ(ParsePidIo(ReadFile(kData + "host/proc/812/io"))->rchar, 5000000u);
  EXPECT_EQ(ParsePidIo(ReadFile(kData + "host/proc/812/io"))->wchar, 2000000u);
  EXPECT_FALSE(ParsePidIo("syscr: 3\n").has_value());
  EXPECT_EQ(FileNrAllocated(ReadFile(kData + "host/proc/sys/fs/file-nr")), uint64_t{4128});
  EXPECT_DOUBLE_EQ(*UptimeSeconds(ReadFile(kData + "host/proc/uptime")), 86461.25);
  EXPECT_EQ(LoadavgThreads(ReadFile(kData + "host/proc/loadavg")), uint64_t{412});
  EXPECT_FALSE(LoadavgThreads("0.1 0.2 0.3\n").has_value());
  EXPECT_EQ(SysfsNumber("2900000\n"), uint64_t{2900000});
  EXPECT_FALSE(SysfsNumber("").has_value());
  EXPECT_FALSE(SysfsNumber("12 kB\n").has_value());
}

TEST(LinuxText, CpuinfoGivesTheFrequencyOfOneProcessor) {
  const std::string text = ReadFile(kData + "host/proc/cpuinfo");
  EXPECT_DOUBLE_EQ(*CpuinfoMhz(text, 0), 2100.0);
  EXPECT_DOUBLE_EQ(*CpuinfoMhz(text, 1), 2200.0);
  EXPECT_FALSE(CpuinfoMhz(text, 2).has_value());
  // The first page of the file is enough for processor 0.
  EXPECT_DOUBLE_EQ(*CpuinfoMhz(text.substr(0, 300), 0), 2100.0);
  EXPECT_FALSE(
      CpuinfoMhz("processor\t: 0\nmodel name\t: ARMv8\n\nprocessor\t: 1\ncpu MHz\t: 9\n", 0)
          .has_value());
}

TEST(LinuxText, PhysicalInterfacesWhenThereAreAny) {
  const std::vector<NetLink> links = {{"lo", 1, false, true},
                                      {"eth1", 3, true, false},
                                      {"docker0", 4, false, false},
                                      {"eth0", 2, true, false}};
  EXPECT_EQ(ChooseInterfaces(links, {}), (std::vector<std::string>{"eth0", "eth1"}));
}

TEST(LinuxText, EveryInterfaceButTheLoopbackWithoutAPhysicalOne) {
  const std::vector<NetLink> links = {
      {"lo", 1, false, true}, {"eth0", 14, false, false}, {"tun0", 15, false, false}};
  EXPECT_EQ(ChooseInterfaces(links, {}), (std::vector<std::string>{"eth0", "tun0"}));
  EXPECT_TRUE(ChooseInterfaces({{"lo", 1, false, true}}, {}).empty());
  EXPECT_TRUE(ChooseInterfaces({}, {}).empty());
}

TEST(LinuxText, ConfiguredInterfacesReplaceTheRule) {
  const std::vector<NetLink> links = {
      {"lo", 1, false, true}, {"eth0", 2, true, false}, {"docker0", 3, false, false}};
  EXPECT_EQ(ChooseInterfaces(links, {"docker0", "missing", "lo", "docker0"}),
            (std::vector<std::string>{"docker0", "lo"}));
}

TEST(LinuxText, AdapterInstancesAreCleanAndLongEnoughForDiscovery) {
  EXPECT_EQ(AdapterInstance("eth0"), "Network Adapter eth0");
  EXPECT_EQ(AdapterInstance("a(b)#c/d\\e"), "Network Adapter a[b]_c_d_e");
  for (const char* name : {"lo", "e", "local0", "isatap0"}) {
    const std::string instance = AdapterInstance(name);
    EXPECT_GT(instance.size(), 5u);
    EXPECT_EQ(instance.find_first_of("()#/\\"), std::string::npos);
    const std::string head = instance.substr(0, 5);
    EXPECT_NE(head, "local");
    EXPECT_NE(head, "isata");
  }
}

TEST(LinuxText, ProgramNamesOfExecutablesAndScripts) {
  EXPECT_EQ(ProgramBaseName("/usr/local/bin/worker", "worker\0-q\0"s), "worker.exe");
  EXPECT_EQ(ProgramBaseName("/usr/bin/python3.11", "python3\0-u\0/opt/r.py\0"s), "r.exe");
  EXPECT_EQ(ProgramBaseName("/usr/sbin/nginx (deleted)", ""), "nginx.exe");
  EXPECT_TRUE(RunsScript("/usr/bin/python3.11"));
  EXPECT_TRUE(RunsScript("/bin/bash"));
  EXPECT_FALSE(RunsScript("/usr/local/bin/worker"));
}

// ---------------------------------------------------------------------------
// The counters on canned machines.

// A copy of a canned machine in a scratch folder, so that a test can move it
// on (the ".later" files) or change it, with a provider on it.
class CannedMachine {
 public:
  explicit CannedMachine(const std::string& name, std::vector<std::string> interfaces = {})
      : name_(name), dir_(MakeTempDir()) {
    fs::copy(kData + name, dir_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    counters_ = std::make_unique<LinuxCounters>(dir_, std::move(interfaces));
    counters_->SetClock([this] { return now_; });
    counters_->OpenQuery(query_);
  }
  ~CannedMachine() {
    counters_.reset();
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  LinuxCounters& counters() { return *counters_; }
  const std::string& dir() const { return dir_; }
  uint32_t query() const { return query_; }

  // The counter's handle, 0 when it cannot be added.
  int32_t Add(const std::string& path) {
    int32_t handle = 0;
    counters_->AddCounter(query_, "\\\\HOST1" + path, handle);
    return handle;
  }
  void Collect(double at) {
    now_ = at;
    counters_->CollectQueryData(query_);
  }
  double Read(int32_t handle) {
    uint32_t status = 0;
    return counters_->GetDoubleCounterValue(handle, status);
  }
  bool Valid(int32_t handle) {
    uint32_t status = 0;
    counters_->GetDoubleCounterValue(handle, status);
    return status == PerfCounters::kOk;
  }
  // Lays the files of the machine's second collection over the copy.
  void MoveOn() {
    fs::copy(kData + name_ + ".later", dir_,
             fs::copy_options::recursive | fs::copy_options::overwrite_existing |
                 fs::copy_options::copy_symlinks);
  }
  void Write(const std::string& relative, const std::string& text) {
    WriteFile(dir_ + "/" + relative, text);
  }
  void Remove(const std::string& relative) { fs::remove_all(dir_ + "/" + relative); }
  void Restore(const std::string& relative) {
    fs::copy(kData + name_ + "/" + relative, dir_ + "/" + relative,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }
  std::vector<std::string> Instances(const std::string& object, uint32_t* status = nullptr) {
    std::string counters, instances;
    const uint32_t s = counters_->EnumObjectItems("HOST1", object, counters, instances);
    if (status != nullptr) *status = s;
    std::vector<std::string> names;
    size_t pos = 0;
    while (pos < instances.size() && instances[pos] != '\0') {
      const size_t end = instances.find('\0', pos);
      names.push_back(instances.substr(pos, end - pos));
      pos = end + 1;
    }
    return names;
  }

 private:
  std::string name_, dir_;
  std::unique_ptr<LinuxCounters> counters_;
  uint32_t query_ = 0;
  double now_ = 100;
};

TEST(LinuxCounters, RatesReadZeroUntilTheSecondCollection) {
  CannedMachine m("host");
  const int32_t cpu = m.Add("\\Processor(_Total)\\% Processor Time");
  const int32_t faults = m.Add("\\Memory\\Page Faults/sec");
  const int32_t rec = m.Add("\\Network Interface(Network Adapter eth0)\\Bytes Received/sec");
  const int32_t disk = m.Add("\\LogicalDisk(/)\\Disk Read Bytes/sec");
  const int32_t available = m.Add("\\Memory\\Available Bytes");
  for (int32_t h : {cpu, faults, rec, disk, available}) ASSERT_NE(h, 0);
  // Nothing before the first collection, and no rate after it.
  EXPECT_EQ(m.Read(available), 0.0);
  m.Collect(100);
  for (int32_t h : {cpu, faults, rec, disk}) {
    EXPECT_EQ(m.Read(h), 0.0);
    EXPECT_FALSE(m.Valid(h));
  }
  EXPECT_TRUE(m.Valid(available));
  EXPECT_EQ(m.Read(available), 4194304.0 * 1024);
  m.MoveOn();
  m.Collect(102);
  for (int32_t h : {cpu, faults, rec, disk}) EXPECT_TRUE(m.Valid(h));
  EXPECT_DOUBLE_EQ(m.Read(cpu), 45.0);
  EXPECT_DOUBLE_EQ(m.Read(faults), 100000.0);
  EXPECT_DOUBLE_EQ(m.Read(rec), 125000.0);
  EXPECT_DOUBLE_EQ(m.Read(disk), 4096.0 * 512 / 2);
}

TEST(LinuxCounters, RateOverTheTimeBetweenCollections) {
  CannedMachine m("host");
  const int32_t faults = m.Add("\\Memory\\Page Faults/sec");
  m.Collect(100);
  m.MoveOn();
  m.Collect(104);  // four seconds for the same change
  EXPECT_DOUBLE_EQ(m.Read(faults), 50000.0);
  // No change and no time: no valid figure.
  m.Collect(104);
  EXPECT_FALSE(m.Valid(faults));
  m.Collect(105);
  EXPECT_TRUE(m.Valid(faults));
  EXPECT_EQ(m.Read(faults), 0.0);
}

TEST(LinuxCounters, ProcessorSharesAndRates) {
  CannedMachine m("host");
  const int32_t busy = m.Add("\\Processor(_Total)\\% Processor Time");
  const int32_t idle0 = m.Add("\\Processor(0)\\% Idle Time");
  const int32_t busy1 = m.Add("\\Processor Information(0,1)\\% Processor Time");
  const int32_t privileged = m.Add("\\Processor Information(_Total)\\% Privileged Time");
  const int32_t interrupt = m.Add("\\Processor Information(_Total)\\% Interrupt Time");
  const int32_t interrupts = m.Add("\\Processor Information(_Total)\\Interrupts/sec");
  const int32_t dpcs = m.Add("\\Processor Information(_Total)\\DPCs Queued / sec");
  const int32_t frequency = m.Add("\\Processor Information(0,0)\\Processor Frequency");
  for (int32_t h : {busy, idle0, busy1, privileged, interrupt, interrupts, dpcs, frequency}) {
    ASSERT_NE(h, 0);
  }
  m.Collect(100);
  EXPECT_EQ(m.Read(frequency), 2900.0);  // scaling_cur_freq, kHz
  m.MoveOn();
  m.Collect(102);
  EXPECT_DOUBLE_EQ(m.Read(busy), 45.0);   // 180 of 400 ticks not idle
  EXPECT_DOUBLE_EQ(m.Read(idle0), 55.0);  // idle + iowait
  EXPECT_DOUBLE_EQ(m.Read(busy1), 45.0);
  EXPECT_DOUBLE_EQ(m.Read(privileged), 15.0);    // system + irq + softirq: 60 of 400
  EXPECT_DOUBLE_EQ(m.Read(interrupt), 5.0);      // irq + softirq: 20 of 400
  EXPECT_DOUBLE_EQ(m.Read(interrupts), 1500.0);  // 3000 in 2 s
  EXPECT_DOUBLE_EQ(m.Read(dpcs), 500.0);         // 1000 softirqs in 2 s
  EXPECT_EQ(m.Read(frequency), 3100.0);
  // Without the scaling driver the figure of /proc/cpuinfo stands in.
  m.Remove("sys/devices/system/cpu/cpu0/cpufreq");
  m.Collect(103);
  EXPECT_EQ(m.Read(frequency), 2100.0);
}

TEST(LinuxCounters, ProcessorPathsThatDoNotExistHere) {
  CannedMachine m("host");
  EXPECT_EQ(m.Add("\\Processor(2)\\% Processor Time"), 0);  // two processors: 0 and 1
  EXPECT_EQ(m.Add("\\Processor(x)\\% Processor Time"), 0);
  EXPECT_EQ(m.Add("\\Processor(_Total)\\% C1 Time"), 0);
  EXPECT_EQ(m.Add("\\Processor Information(_Total)\\DPC Rate"), 0);
  EXPECT_EQ(m.Add("\\Processor Information(_Total)\\Processor Frequency"), 0);
  EXPECT_EQ(m.Add("\\Processor Information(1,0)\\Processor Frequency"), 0);
  EXPECT_EQ(m.Add("\\Processor Information(0,1)\\Interrupts/sec"), 0);
}

TEST(LinuxCounters, MemoryCounters) {
  CannedMachine m("host");
  std::map<std::string, int32_t> h;
  for (const char* c :
       {"Committed Bytes", "Available Bytes", "Cache Bytes", "Cache Bytes Peak", "Page Reads/sec",
        "Page Writes/sec", "Page Faults/sec", "Pages/sec", "Pages Input/sec", "Pages Output/sec",
        "Pool Paged Bytes", "Pool Nonpaged Bytes"}) {
    h[c] = m.Add(std::string("\\Memory\\") + c);
    ASSERT_NE(h[c], 0) << c;
  }
  m.Collect(100);
  const double kb = 1024;
  EXPECT_EQ(m.Read(h["Committed Bytes"]), 3145728 * kb);
  EXPECT_EQ(m.Read(h["Available Bytes"]), 4194304 * kb);
  EXPECT_EQ(m.Read(h["Cache Bytes"]), (102400 + 2048000) * kb);
  EXPECT_EQ(m.Read(h["Cache Bytes Peak"]), (102400 + 2048000) * kb);
  EXPECT_EQ(m.Read(h["Pool Paged Bytes"]), 204800 * kb);
  EXPECT_EQ(m.Read(h["Pool Nonpaged Bytes"]), 102400 * kb);
  m.MoveOn();
  m.Collect(102);
  EXPECT_EQ(m.Read(h["Committed Bytes"]), 3245728 * kb);
  EXPECT_EQ(m.Read(h["Available Bytes"]), 4094304 * kb);
  // The cache shrank; its peak stays the highest seen.
  EXPECT_EQ(m.Read(h["Cache Bytes"]), (102400 + 1948000) * kb);
  EXPECT_EQ(m.Read(h["Cache Bytes Peak"]), (102400 + 2048000) * kb);
  EXPECT_DOUBLE_EQ(m.Read(h["Page Reads/sec"]), 20.0);  // major faults
  EXPECT_DOUBLE_EQ(m.Read(h["Page Writes/sec"]), 5.0);  // swap-outs
  EXPECT_DOUBLE_EQ(m.Read(h["Page Faults/sec"]), 100000.0);
  // pgpgin and pgpgout count kilobytes.
  const double in = 8000 * kb / PageSize() / 2, out = 16000 * kb / PageSize() / 2;
  EXPECT_DOUBLE_EQ(m.Read(h["Pages Input/sec"]), in);
  EXPECT_DOUBLE_EQ(m.Read(h["Pages Output/sec"]), out);
  EXPECT_DOUBLE_EQ(m.Read(h["Pages/sec"]), in + out);
  // A later, larger cache raises the peak.
  std::string meminfo = ReadFile(m.dir() + "/proc/meminfo");
  meminfo.replace(meminfo.find("1948000"), 7, "3000000");
  m.Write("proc/meminfo", meminfo);
  m.Collect(103);
  EXPECT_EQ(m.Read(h["Cache Bytes Peak"]), (102400 + 3000000) * kb);
}

TEST(LinuxCounters, MemoryWithoutAvailableFallsBackToFreePlusCache) {
  CannedMachine m("host");
  std::string meminfo = ReadFile(m.dir() + "/proc/meminfo");
  const size_t at = meminfo.find("MemAvailable:");
  meminfo.erase(at, meminfo.find('\n', at) + 1 - at);
  m.Write("proc/meminfo", meminfo);
  const int32_t available = m.Add("\\Memory\\Available Bytes");
  ASSERT_NE(available, 0);
  m.Collect(100);
  EXPECT_EQ(m.Read(available), (2097152.0 + 102400 + 2048000) * 1024);
}

TEST(LinuxCounters, LogicalDiskOfTheRootPartition) {
  CannedMachine m("host");
  std::map<std::string, int32_t> h;
  for (const char* c :
       {"% Free Space", "Free Megabytes", "Current Disk Queue Length", "% Disk Time",
        "Disk Read Bytes/sec", "Disk Write Bytes/sec", "% Idle Time"}) {
    h[c] = m.Add(std::string("\\LogicalDisk(/)\\") + c);
    ASSERT_NE(h[c], 0) << c;
  }
  EXPECT_EQ(m.Add("\\LogicalDisk(/)\\Split IO/Sec"), 0);
  m.Collect(100);
  // Space is that of the file system holding the root folder.
  struct statvfs v {};
  ASSERT_EQ(statvfs((m.dir() + "/").c_str(), &v), 0);
  const double free_mb =
      static_cast<double>(v.f_bavail) * static_cast<double>(v.f_frsize) / 1048576;
  EXPECT_NEAR(m.Read(h["Free Megabytes"]), free_mb, 64);
  EXPECT_NEAR(m.Read(h["% Free Space"]),
              static_cast<double>(v.f_bavail) / static_cast<double>(v.f_blocks) * 100, 0.1);
  EXPECT_EQ(m.Read(h["Current Disk Queue Length"]), 2.0);  // sda2's own line, not sda's
  m.MoveOn();
  m.Collect(102);
  EXPECT_DOUBLE_EQ(m.Read(h["Disk Read Bytes/sec"]), 4096.0 * 512 / 2);
  EXPECT_DOUBLE_EQ(m.Read(h["Disk Write Bytes/sec"]), 8192.0 * 512 / 2);
  EXPECT_EQ(m.Read(h["Current Disk Queue Length"]), 4.0);
  EXPECT_DOUBLE_EQ(m.Read(h["% Disk Time"]), 60.0);  // 1200 request-ms in 2000 ms
  EXPECT_DOUBLE_EQ(m.Read(h["% Idle Time"]), 75.0);  // busy 500 ms of 2000
}

TEST(LinuxCounters, DiskTimeStopsAtOneHundred) {
  CannedMachine m("host");
  const int32_t time = m.Add("\\LogicalDisk(/)\\% Disk Time");
  const int32_t idle = m.Add("\\LogicalDisk(/)\\% Idle Time");
  m.Collect(100);
  std::string text = ReadFile(m.dir() + "/proc/diskstats");
  // sda2: busy for 3 s of 2 (merged requests overlap) and 9 s of queue.
  text.replace(text.find(" 2 120000 150000 "), 17, " 2 123000 159000 ");
  m.Write("proc/diskstats", text);
  m.Collect(102);
  EXPECT_EQ(m.Read(time), 100.0);
  EXPECT_EQ(m.Read(idle), 0.0);
}

TEST(LinuxCounters, DriveLettersAndSlashNameTheRoot) {
  CannedMachine m("host");
  EXPECT_NE(m.Add("\\LogicalDisk(C:)\\% Free Space"), 0);
  EXPECT_NE(m.Add("\\LogicalDisk(d:)\\Disk Read Bytes/sec"), 0);
  EXPECT_EQ(m.Add("\\LogicalDisk(/h)\\% Free Space"), 0);
  EXPECT_EQ(m.Add("\\LogicalDisk(_Total)\\% Free Space"), 0);
  EXPECT_EQ(m.Add("\\LogicalDisk(C:\\)\\% Free Space"), 0);
  EXPECT_EQ(m.Instances("LogicalDisk"), (std::vector<std::string>{"/"}));
}

TEST(LinuxCounters, RootWithoutABlockDeviceHasSpaceOnly) {
  CannedMachine m("container");
  EXPECT_NE(m.Add("\\LogicalDisk(/)\\% Free Space"), 0);
  const int32_t free_mb = m.Add("\\LogicalDisk(/)\\Free Megabytes");
  EXPECT_NE(free_mb, 0);
  for (const char* c : {"Current Disk Queue Length", "% Disk Time", "Disk Read Bytes/sec",
                        "Disk Write Bytes/sec", "% Idle Time"}) {
    int32_t handle = 0;
    const uint32_t status =
        m.counters().AddCounter(m.query(), std::string("\\\\HOST1\\LogicalDisk(/)\\") + c, handle);
    EXPECT_EQ(status, PerfCounters::kNoCounter) << c;
    EXPECT_EQ(handle, 0) << c;
    EXPECT_EQ(m.Read(handle), 0.0);
  }
  m.Collect(100);
  EXPECT_GT(m.Read(free_mb), 0.0);
}

TEST(LinuxCounters, RootOnAFileSystemThatNumbersItsOwnDevices) {
  CannedMachine m("btrfs");
  const int32_t queue = m.Add("\\LogicalDisk(/)\\Current Disk Queue Length");
  ASSERT_NE(queue, 0);
  m.Collect(100);
  EXPECT_EQ(m.Read(queue), 1.0);  // nvme0n1p2, found by the mount's source
}

TEST(LinuxCounters, ObjectsAndSystem) {
  CannedMachine m("host");
  const int32_t processes = m.Add("\\Objects\\Processes");
  const int32_t threads = m.Add("\\Process(_Total)\\Thread Count");
  const int32_t handles = m.Add("\\Process(_Total)\\Handle Count");
  const int32_t switches = m.Add("\\System\\Context Switches/Sec");
  const int32_t up = m.Add("\\System\\System Up Time");
  const int32_t queue = m.Add("\\System\\Processor Queue Length");
  for (int32_t h : {processes, threads, handles, switches, up, queue}) ASSERT_NE(h, 0);
  EXPECT_EQ(m.Add("\\System\\System Calls/sec"), 0);
  EXPECT_EQ(m.Add("\\Process(_Total)\\% Processor Time"), 0);
  m.Collect(100);
  EXPECT_EQ(m.Read(processes), 6.0);  // 1, 2, 812, 901, 1200, 1300
  EXPECT_EQ(m.Read(threads), 412.0);
  EXPECT_EQ(m.Read(handles), 4128.0);
  EXPECT_EQ(m.Read(up), 86461.25);
  EXPECT_EQ(m.Read(queue), 1.0);  // 3 running or ready on 2 processors
  EXPECT_FALSE(m.Valid(switches));
  m.MoveOn();
  m.Remove("proc/2");
  m.Collect(102);
  EXPECT_EQ(m.Read(processes), 5.0);
  EXPECT_EQ(m.Read(threads), 415.0);
  EXPECT_EQ(m.Read(handles), 4160.0);
  EXPECT_DOUBLE_EQ(m.Read(switches), 4000.0);
  EXPECT_EQ(m.Read(up), 86463.25);
  EXPECT_EQ(m.Read(queue), 3.0);
}

TEST(LinuxCounters, PhysicalAdapterWithItsCounters) {
  CannedMachine m("host");
  EXPECT_EQ(m.Instances("Network Interface"), (std::vector<std::string>{"Network Adapter eth0"}));
  const std::string net = "\\Network Interface(Network Adapter eth0)\\";
  std::map<std::string, int32_t> h;
  for (const char* c : {"Bytes Total/sec", "Bytes Received/sec", "Bytes Sent/sec",
                        "Packets Received/sec", "Packets Sent/sec", "Packets Received Errors",
                        "Packets Outbound Errors", "Packets/sec", "Packets Received Unicast/sec",
                        "Packets Received Non-Unicast/sec", "Packets Sent Unicast/sec"}) {
    h[c] = m.Add(net + c);
    ASSERT_NE(h[c], 0) << c;
  }
  for (const char* c :
       {"Output Queue Length", "Offloaded Connections", "Packets Sent Non-Unicast/sec"}) {
    EXPECT_EQ(m.Add(net + c), 0) << c;
  }
  // The kernel's name alone is no instance, and neither is the loopback.
  EXPECT_EQ(m.Add("\\Network Interface(eth0)\\Bytes Total/sec"), 0);
  EXPECT_EQ(m.Add("\\Network Interface(Network Adapter lo)\\Bytes Total/sec"), 0);
  m.Collect(100);
  // Error counts are cumulative: valid at once.
  EXPECT_EQ(m.Read(h["Packets Received Errors"]), 3.0);
  EXPECT_EQ(m.Read(h["Packets Outbound Errors"]), 1.0);
  EXPECT_FALSE(m.Valid(h["Bytes Total/sec"]));
  m.MoveOn();
  m.Collect(102);
  EXPECT_DOUBLE_EQ(m.Read(h["Bytes Received/sec"]), 125000.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Bytes Sent/sec"]), 50000.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Bytes Total/sec"]), 175000.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets Received/sec"]), 150.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets Sent/sec"]), 100.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets/sec"]), 250.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets Received Non-Unicast/sec"]), 10.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets Received Unicast/sec"]), 140.0);
  EXPECT_DOUBLE_EQ(m.Read(h["Packets Sent Unicast/sec"]), 100.0);
  EXPECT_EQ(m.Read(h["Packets Received Errors"]), 5.0);
  EXPECT_EQ(m.Read(h["Packets Outbound Errors"]), 1.0);
}

TEST(LinuxCounters, CounterThatWentBackGivesNoRateOnce) {
  CannedMachine m("host");
  const int32_t rec = m.Add("\\Network Interface(Network Adapter eth0)\\Bytes Received/sec");
  m.Collect(100);
  m.Write("sys/class/net/eth0/statistics/rx_bytes", "10\n");  // the driver started again
  m.Collect(101);
  EXPECT_FALSE(m.Valid(rec));
  m.Write("sys/class/net/eth0/statistics/rx_bytes", "1010\n");
  m.Collect(102);
  EXPECT_DOUBLE_EQ(m.Read(rec), 1000.0);
}

TEST(LinuxCounters, AdapterThatDisappearsReadsZero) {
  CannedMachine m("host");
  const int32_t errors =
      m.Add("\\Network Interface(Network Adapter eth0)\\Packets Received Errors");
  m.Collect(100);
  EXPECT_EQ(m.Read(errors), 3.0);
  m.Remove("sys/class/net/eth0");
  m.Collect(101);
  EXPECT_FALSE(m.Valid(errors));
  EXPECT_EQ(m.Read(errors), 0.0);
}

TEST(LinuxCounters, ConfiguredInterfacesReplaceTheRule) {
  CannedMachine m("host", {"docker0", "lo", "wlan9"});
  EXPECT_EQ(m.Instances("Network Interface"),
            (std::vector<std::string>{"Network Adapter docker0", "Network Adapter lo"}));
  EXPECT_NE(m.Add("\\Network Interface(Network Adapter lo)\\Bytes Total/sec"), 0);
  EXPECT_EQ(m.Add("\\Network Interface(Network Adapter eth0)\\Bytes Total/sec"), 0);
}

TEST(LinuxCounters, ContainerServesItsOwnVirtualInterface) {
  CannedMachine m("container");
  EXPECT_EQ(m.Instances("Network Interface"), (std::vector<std::string>{"Network Adapter eth0"}));
  EXPECT_NE(m.Add("\\Network Interface(Network Adapter eth0)\\Bytes Sent/sec"), 0);
  // No scaling driver: the frequency of /proc/cpuinfo.
  const int32_t frequency = m.Add("\\Processor Information(0,0)\\Processor Frequency");
  m.Collect(100);
  EXPECT_EQ(m.Read(frequency), 2200.0);
}

TEST(LinuxCounters, MachineWithNoNetworkDevice) {
  CannedMachine m("nonet");
  uint32_t status = 1;
  EXPECT_TRUE(m.Instances("Network Interface", &status).empty());
  EXPECT_EQ(status, PerfCounters::kOk);
  ServerModel model;
  model.ComputerName = "HOST1";
  DiscoverAdapters(m.counters(), model);
  EXPECT_EQ(model.AdapterCount, 0);
  EXPECT_EQ(model.AdapterName[0], "");
  EXPECT_EQ(m.Add("\\Network Interface(Network Adapter lo)\\Bytes Total/sec"), 0);
}

TEST(LinuxCounters, DiscoveryTakesTheAdapterOfTheHost) {
  CannedMachine m("host");
  ServerModel model;
  model.ComputerName = "HOST1";
  DiscoverAdapters(m.counters(), model);
  EXPECT_EQ(model.AdapterCount, 1);
  EXPECT_EQ(model.AdapterName[0], "Network Adapter eth0");
  const auto adapters = m.counters().Adapters();
  ASSERT_EQ(adapters.size(), 1u);
  EXPECT_EQ(adapters[0].second, "eth0");
}

TEST(LinuxCounters, ProgramCountersReadTheFirstProcessOfTheName) {
  CannedMachine m("host");
  const std::string p = "\\Process(WORKER)\\";  // names compare without regard to case
  std::map<std::string, int32_t> h;
  for (const char* c : {"% Processor Time", "Virtual Bytes", "Page Faults/sec", "Working Set",
                        "IO Read Bytes/sec", "IO Write Bytes/sec"}) {
    h[c] = m.Add(p + c);
    ASSERT_NE(h[c], 0) << c;
  }
  EXPECT_EQ(m.Add(p + "Elapsed Time"), 0);
  m.Collect(100);
  EXPECT_EQ(m.Read(h["Virtual Bytes"]), 104857600.0);  // pid 812, not 1200
  EXPECT_EQ(m.Read(h["Working Set"]), 2560 * PageSize());
  EXPECT_FALSE(m.Valid(h["% Processor Time"]));
  m.MoveOn();
  m.Collect(102);
  EXPECT_EQ(m.Read(h["Virtual Bytes"]), 106954752.0);
  EXPECT_EQ(m.Read(h["Working Set"]), 3072 * PageSize());
  // 80 ticks of 1/100 s in 2 s (the kernel shows user time in hundredths).
  EXPECT_DOUBLE_EQ(m.Read(h["% Processor Time"]),
                   80 / static_cast<double>(sysconf(_SC_CLK_TCK)) / 2 * 100);
  EXPECT_DOUBLE_EQ(m.Read(h["Page Faults/sec"]), 200.0);
  EXPECT_DOUBLE_EQ(m.Read(h["IO Read Bytes/sec"]), 500000.0);
  EXPECT_DOUBLE_EQ(m.Read(h["IO Write Bytes/sec"]), 150000.0);
}

TEST(LinuxCounters, ProgramsAreTheNamesOfTheProgramList) {
  CannedMachine m("host");
  EXPECT_NE(m.Add("\\Process(report)\\Working Set"), 0);  // a script, by its own name
  EXPECT_EQ(m.Add("\\Process(python3)\\Working Set"), 0);
  EXPECT_NE(m.Add("\\Process(systemd)\\Working Set"), 0);
  EXPECT_EQ(m.Add("\\Process(kthreadd)\\Working Set"), 0);  // no program to read
  EXPECT_EQ(m.Add("\\Process(nosuch)\\Working Set"), 0);
  EXPECT_EQ(m.Instances("Process"),
            (std::vector<std::string>{"systemd", "worker", "report", "_Total"}));
}

TEST(LinuxCounters, ProcessGoneBeforeTheAddIsNotAdded) {
  CannedMachine m("host");
  LinuxOptions options;
  options.root = m.dir();
  LinuxPlatform platform(options);
  const auto pids = platform.EnumProcesses();
  ASSERT_NE(std::find(pids.begin(), pids.end(), 901), pids.end());
  std::vector<std::string> modules;
  ASSERT_TRUE(platform.ProcessModules(901, modules));
  EXPECT_EQ(modules, (std::vector<std::string>{"report.exe"}));
  m.Remove("proc/901");
  EXPECT_EQ(m.Add("\\Process(report)\\Working Set"), 0);
}

TEST(LinuxCounters, ProcessThatVanishesReadsZeroUntilItsNameIsBack) {
  CannedMachine m("host");
  const int32_t set = m.Add("\\Process(report)\\Working Set");
  const int32_t cpu = m.Add("\\Process(report)\\% Processor Time");
  ASSERT_NE(set, 0);
  m.Collect(100);
  EXPECT_EQ(m.Read(set), 2048 * PageSize());
  m.Remove("proc/901");
  m.Collect(101);
  EXPECT_FALSE(m.Valid(set));
  EXPECT_EQ(m.Read(set), 0.0);
  m.Collect(102);
  EXPECT_EQ(m.Read(set), 0.0);
  m.Restore("proc/901");
  m.Collect(103);
  EXPECT_EQ(m.Read(set), 2048 * PageSize());
  EXPECT_FALSE(m.Valid(cpu));  // a rate begins again with the process
  m.Collect(104);
  EXPECT_TRUE(m.Valid(cpu));
}

TEST(LinuxCounters, NextProcessOfTheNameTakesOverWhenTheFirstEnds) {
  CannedMachine m("host");
  const int32_t virt = m.Add("\\Process(worker)\\Virtual Bytes");
  const int32_t faults = m.Add("\\Process(worker)\\Page Faults/sec");
  m.Collect(100);
  m.Collect(101);
  EXPECT_TRUE(m.Valid(faults));
  m.Remove("proc/812");
  m.Collect(102);
  EXPECT_EQ(m.Read(virt), 999999999.0);  // pid 1200
  EXPECT_FALSE(m.Valid(faults));         // no rate across two processes
  m.Collect(103);
  EXPECT_TRUE(m.Valid(faults));
}

TEST(LinuxCounters, ReusedPidOfAnotherProgramIsNoticed) {
  CannedMachine m("host");
  const int32_t virt = m.Add("\\Process(worker)\\Virtual Bytes");
  m.Collect(100);
  // Pid 812 now belongs to another program, started later.
  std::string stat = ReadFile(m.dir() + "/proc/812/stat");
  stat.replace(stat.find("(worker)"), 8, "(cron)");
  stat.replace(stat.find(" 123456 "), 8, " 777777 ");
  m.Write("proc/812/stat", stat);
  fs::remove(m.dir() + "/proc/812/exe");
  fs::create_symlink("/usr/sbin/cron", m.dir() + "/proc/812/exe");
  m.Collect(101);
  EXPECT_EQ(m.Read(virt), 999999999.0);  // pid 1200
}

TEST(LinuxCounters, ProgramThatStartsLaterIsFoundAtTheNextCollection) {
  CannedMachine m("host");
  const int32_t set = m.Add("\\Process(report)\\Working Set");
  m.Remove("proc/901");
  m.Collect(100);
  EXPECT_FALSE(m.Valid(set));
  // A new process of the program, under a new pid.
  fs::copy(kData + "host/proc/901", m.dir() + "/proc/4242",
           fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  m.Collect(101);
  EXPECT_EQ(m.Read(set), 2048 * PageSize());
}

TEST(LinuxCounters, ProgramThatAnExistingProcessStartsIsFoundWithinTenCollections) {
  CannedMachine m("host");
  const int32_t set = m.Add("\\Process(report)\\Working Set");
  m.Remove("proc/901");
  m.Collect(100);
  // Pid 1 runs the program now (as after exec).
  fs::remove(m.dir() + "/proc/1/exe");
  fs::create_symlink("/usr/bin/python3.11", m.dir() + "/proc/1/exe");
  m.Write("proc/1/cmdline", "python3\0/opt/tools/report.py\0"s);
  int collections = 0;
  while (!m.Valid(set) && collections < 20) m.Collect(101 + collections++);
  EXPECT_TRUE(m.Valid(set));
  EXPECT_LE(collections, 10);
}

TEST(LinuxCounters, ProductsAndObjectsThatLinuxDoesNotHave) {
  CannedMachine m("host");
  for (const char* path :
       {"\\Server\\Bytes Total/sec", "\\Server\\Work Item Shortages",
        "\\ISA Server Web Proxy\\Requests/sec", "\\FTP Service\\Bytes Sent/sec",
        "\\Web Service\\Current Connections", "\\Active Server Pages\\Requests Queued",
        "\\SQL Server: Latches Object\\Total Latch Wait Time (ms)",
        "\\SQLServer: General Statistics\\Logouts/sec", "\\Memory\\Commit Limit",
        "\\Memory(x)\\Available Bytes", "no path", "\\Memory", "\\Processor(0)"}) {
    EXPECT_EQ(m.Add(path), 0) << path;
  }
  uint32_t status = 0;
  m.Instances("SQL Server: Latches Object", &status);
  EXPECT_EQ(status, PerfCounters::kNoObject);
  m.Instances("Memory", &status);
  EXPECT_EQ(status, PerfCounters::kOk);
  EXPECT_EQ(m.Instances("Processor"), (std::vector<std::string>{"0", "1", "_Total"}));
  EXPECT_EQ(m.Instances("Processor Information"),
            (std::vector<std::string>{"0,0", "0,1", "_Total"}));
}

// ---------------------------------------------------------------------------
// The whole catalogue.

// A platform that records every counter path added, and what became of it.
class RecordingCounters : public PerfCounters {
 public:
  explicit RecordingCounters(PerfCounters& inner) : inner_(inner) {}
  uint32_t OpenQuery(uint32_t& query) override { return inner_.OpenQuery(query); }
  uint32_t AddCounter(uint32_t query, const std::string& path, int32_t& handle) override {
    const uint32_t status = inner_.AddCounter(query, path, handle);
    added.emplace_back(path, status);
    return status;
  }
  uint32_t CollectQueryData(uint32_t query) override { return inner_.CollectQueryData(query); }
  double GetDoubleCounterValue(int32_t handle, uint32_t& status) override {
    return inner_.GetDoubleCounterValue(handle, status);
  }
  uint32_t EnumObjectItems(const std::string& machine, const std::string& object,
                           std::string& counters, std::string& instances) override {
    return inner_.EnumObjectItems(machine, object, counters, instances);
  }
  uint32_t LookupPerfNameByIndex(uint32_t index, std::string& name) override {
    return inner_.LookupPerfNameByIndex(index, name);
  }
  uint32_t RemoveCounter(int32_t handle) override { return inner_.RemoveCounter(handle); }
  uint32_t CloseQuery(uint32_t query) override { return inner_.CloseQuery(query); }

  std::vector<std::pair<std::string, uint32_t>> added;

 private:
  PerfCounters& inner_;
};

// The Linux host with its counter adds recorded.
class RecordingPlatform : public ForwardingPlatform {
 public:
  explicit RecordingPlatform(LinuxPlatform& inner)
      : ForwardingPlatform(inner), counters_(inner.Counters()) {}
  PerfCounters& Counters() override { return counters_; }
  RecordingCounters& recorder() { return counters_; }

 private:
  RecordingCounters counters_;
};

// The catalogue set up on a machine; the model as the start-up leaves it
// for a WinDIR of "/".
struct CatalogueRun {
  explicit CatalogueRun(const std::string& root) {
    LinuxOptions options;
    options.root = root;
    host = std::make_unique<LinuxPlatform>(options);
    recording = std::make_unique<RecordingPlatform>(*host);
    model.ComputerName = "HOST1";
    model.WinDir = "/";
    model.SystemDrive = "/";
    CounterCatalogue(*recording, model, {}).SetUp();
  }
  std::unique_ptr<LinuxPlatform> host;
  std::unique_ptr<RecordingPlatform> recording;
  ServerModel model;
};

TEST(LinuxCatalogue, WholeCatalogueOnACannedMachine) {
  CannedMachine machine("host");
  CatalogueRun run(machine.dir());
  ServerModel& m = run.model;
  // Served.
  for (int32_t h :
       {m.hCPUUsage,      m.hCPUSpeed,     m.hDPCQueued,    m.hCPUInterrupt,    m.hInterrupts,
        m.hCPUPrivilege,  m.hMemCommitted, m.hMemAvailable, m.hCacheBytes,      m.hCachePeak,
        m.hPageReads,     m.hPageWrites,   m.hPageFaults,   m.hMemPages,        m.hPagesInput,
        m.hPagesOutput,   m.hPoolPaged,    m.hPoolNonpaged, m.hDiskFreePercent, m.hDiskFreeMB,
        m.hDiskQueue,     m.hDiskTime,     m.hDiskReadBps,  m.hDiskWriteBps,    m.hDiskIdle,
        m.hProcessCount,  m.hThreadCount,  m.hHandleCount,  m.hContextSwitches, m.hUpTime,
        m.hProcessorQueue}) {
    EXPECT_NE(h, 0);
  }
  // Not served here: read as a product that is not installed.
  for (int32_t h : {m.hDPCRate, m.hDPCPercent, m.hDiskSplitIO, m.hSystemCalls}) EXPECT_EQ(h, 0);
  for (int32_t h : m.hServer) EXPECT_EQ(h, 0);
  for (int32_t h : m.hSQLUnread) EXPECT_EQ(h, 0);
  for (int32_t h : {m.hCacheDiskFailure, m.hWPRequests, m.hFWAcceptTCP, m.hPEActive, m.hFTPSent,
                    m.hFTPSent2, m.hWebBytes, m.hURIFlushes, m.hASPQueued, m.hPEEstablished,
                    m.hSQLLatchWaits, m.hSQLLogouts}) {
    EXPECT_EQ(h, 0);
  }
  // One adapter, twelve of its fourteen counters.
  EXPECT_EQ(m.AdapterCount, 1);
  EXPECT_EQ(m.AdapterName[0], "Network Adapter eth0");
  for (int32_t h : {m.hNetBytesTotal[0], m.hNetBytesRec[0], m.hNetBytesSent[0], m.hNetPacketsRec[0],
                    m.hNetPacketsSent[0], m.hNetRecErrors[0], m.hNetOutErrors[0], m.hNetPackets[0],
                    m.hNetRecUnicast[0], m.hNetRecNonUnicast[0], m.hNetSentUnicast[0]}) {
    EXPECT_NE(h, 0);
  }
  EXPECT_EQ(m.hNetOutQueue[0], 0);
  EXPECT_EQ(m.hNetOffloaded[0], 0);
  EXPECT_EQ(m.hNetSentNonUnicast[0], 0);
  EXPECT_EQ(m.hNetBytesTotal[1], 0);
  // The programs: two processes of one name are two entries, both served.
  EXPECT_EQ(m.Programlist, (TextList{"systemd", "worker", "report", "worker"}));
  for (size_t i = 0; i < 4; ++i) {
    for (const auto* handles : {&m.hProgCPU, &m.hProgVirtual, &m.hProgFaults, &m.hProgWorkingSet,
                                &m.hProgRead, &m.hProgWrite}) {
      EXPECT_NE((*handles)[i], 0) << i;
    }
  }
  // Two collections, two seconds apart, through the model's handles.
  double now = 100;
  run.host->Host().SetClock([&now] { return now; });
  auto& pdh = run.host->Counters();
  pdh.CollectQueryData(m.PerfQuery);
  machine.MoveOn();
  now = 102;
  pdh.CollectQueryData(m.PerfQuery);
  uint32_t status = 0;
  EXPECT_DOUBLE_EQ(pdh.GetDoubleCounterValue(m.hCPUUsage, status), 45.0);
  EXPECT_DOUBLE_EQ(pdh.GetDoubleCounterValue(m.hNetBytesRec[0], status), 125000.0);
  EXPECT_DOUBLE_EQ(pdh.GetDoubleCounterValue(m.hProgFaults[1], status), 200.0);
  EXPECT_DOUBLE_EQ(pdh.GetDoubleCounterValue(m.hProgFaults[3], status), 200.0);
  EXPECT_EQ(pdh.GetDoubleCounterValue(m.hProcessCount, status), 6.0);
  EXPECT_EQ(pdh.GetDoubleCounterValue(m.hSystemCalls, status), 0.0);
}

// The rows of the counter table of docs/linux-provider.md: path pattern ("*"
// for any instance or counter) and whether it has a source.
std::vector<std::pair<std::string, bool>> DocumentedPaths() {
  const std::string doc = ReadFile(std::string(TARNEX_SOURCE_DIR) + "/docs/linux-provider.md");
  std::vector<std::pair<std::string, bool>> rows;
  std::istringstream lines(doc);
  std::string line;
  const std::regex row(R"(^\| `([^`]+)` \| ([^|]+) \|)");
  while (std::getline(lines, line)) {
    std::smatch match;
    if (!std::regex_search(line, match, row)) continue;
    const std::string source = match[2];
    rows.emplace_back(match[1], source.rfind("none", 0) != 0);
  }
  return rows;
}

bool Matches(const std::string& pattern, const std::string& text) {
  // Only "*" is special; it matches any run of characters.
  const size_t star = pattern.find('*');
  if (star == std::string::npos) return pattern == text;
  if (text.compare(0, star, pattern, 0, star) != 0) return false;
  for (size_t i = star; i <= text.size(); ++i) {
    if (Matches(pattern.substr(star + 1), text.substr(i))) return true;
  }
  return false;
}

TEST(LinuxCatalogue, EveryCataloguePathIsDocumentedAsServedOrAbsent) {
  const auto rows = DocumentedPaths();
  ASSERT_GT(rows.size(), 40u);
  CannedMachine machine("host");
  CatalogueRun run(machine.dir());
  const auto& added = run.recording->recorder().added;
  ASSERT_GT(added.size(), 150u);
  std::set<std::string> seen;
  for (const auto& [full, status] : added) {
    const std::string path = CounterTable::LocalPart(full);
    if (!seen.insert(path).second) continue;
    std::vector<bool> found;
    for (const auto& [pattern, served] : rows) {
      if (Matches(pattern, path)) found.push_back(served);
    }
    ASSERT_EQ(found.size(), 1u) << path << " is in the table " << found.size() << " times";
    EXPECT_EQ(found[0], status == PerfCounters::kOk)
        << path << (found[0] ? " is documented as served" : " is documented as absent");
  }
}

// ---------------------------------------------------------------------------
// This host.

// Collects, then works until the processors' tick counts have moved, and
// collects again (the tests do not sleep).
void CollectTwice(LinuxCounters& counters, uint32_t query) {
  counters.CollectQueryData(query);
  const auto ticks = [] {
    const auto cpus = ParseProcStat(ReadFile("/proc/stat"));
    return cpus.empty() ? 0ull : cpus[0].Total();
  };
  const unsigned long long start = ticks();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  volatile double sink = 0;
  while (ticks() < start + 4 && std::chrono::steady_clock::now() < deadline) {
    for (int i = 0; i < 100000; ++i) sink = sink + std::sqrt(static_cast<double>(i));
  }
  counters.CollectQueryData(query);
}

TEST(LinuxHost, FiguresOfThisHostAreWithinSaneBounds) {
  LinuxCounters counters;
  uint32_t query = 0;
  counters.OpenQuery(query);
  const auto add = [&](const std::string& path) {
    int32_t handle = 0;
    counters.AddCounter(query, path, handle);
    return handle;
  };
  const auto read = [&](int32_t handle) {
    uint32_t status = 0;
    return counters.GetDoubleCounterValue(handle, status);
  };
  std::vector<int32_t> percents;
  for (const char* p : {"\\Processor(_Total)\\% Processor Time", "\\Processor(0)\\% Idle Time",
                        "\\Processor Information(_Total)\\% Privileged Time",
                        "\\Processor Information(_Total)\\% Interrupt Time"}) {
    percents.push_back(add(p));
    ASSERT_NE(percents.back(), 0) << p;
  }
  const int32_t available = add("\\Memory\\Available Bytes");
  const int32_t committed = add("\\Memory\\Committed Bytes");
  const int32_t cache = add("\\Memory\\Cache Bytes");
  const int32_t processes = add("\\Objects\\Processes");
  const int32_t threads = add("\\Process(_Total)\\Thread Count");
  const int32_t handles = add("\\Process(_Total)\\Handle Count");
  const int32_t up = add("\\System\\System Up Time");
  const int32_t faults = add("\\Memory\\Page Faults/sec");
  for (int32_t h : {available, committed, cache, processes, threads, handles, up, faults}) {
    ASSERT_NE(h, 0);
  }
  // The disk and the adapters depend on the machine: what is served is sane.
  const int32_t free_pct = add("\\LogicalDisk(/)\\% Free Space");
  ASSERT_NE(free_pct, 0);  // statvfs always answers for "/"
  const int32_t disk_idle = add("\\LogicalDisk(/)\\% Idle Time");
  std::vector<int32_t> net;
  for (const auto& [instance, kernel] : counters.Adapters()) {
    net.push_back(add("\\Network Interface(" + instance + ")\\Bytes Total/sec"));
    EXPECT_NE(net.back(), 0) << kernel;
  }
  CollectTwice(counters, query);

  for (int32_t h : percents) {
    EXPECT_GE(read(h), 0.0);
    EXPECT_LE(read(h), 100.0);
  }
  const double total = static_cast<double>(*MeminfoBytes(ReadFile("/proc/meminfo"), "MemTotal"));
  EXPECT_GT(read(available), 0.0);
  EXPECT_LT(read(available), total);
  EXPECT_GT(read(committed), 0.0);
  EXPECT_LT(read(cache), total);
  EXPECT_GT(read(processes), 1.0);
  EXPECT_GE(read(threads), read(processes));
  EXPECT_GT(read(handles), 0.0);
  EXPECT_GT(read(up), 0.0);
  EXPECT_GE(read(faults), 0.0);
  EXPECT_GE(read(free_pct), 0.0);
  EXPECT_LE(read(free_pct), 100.0);
  if (disk_idle != 0) {
    EXPECT_GE(read(disk_idle), 0.0);
    EXPECT_LE(read(disk_idle), 100.0);
  }
  for (int32_t h : net) EXPECT_GE(read(h), 0.0);
  // This test's own program is watched like any other.
  const int32_t own = add("\\Process(tarnex-tests)\\Working Set");
  ASSERT_NE(own, 0);
  counters.CollectQueryData(query);
  EXPECT_GT(read(own), 1e6);
  EXPECT_LT(read(own), total);
}

// Starts a copy of sleep under the name `program` and waits until it runs it.
pid_t StartProgram(const std::string& program) {
  const pid_t pid = fork();
  if (pid == 0) {
    execl(program.c_str(), program.c_str(), "30", static_cast<char*>(nullptr));
    _exit(127);
  }
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    std::error_code error;
    if (fs::read_symlink(link, error) == program) break;
    sched_yield();
  }
  return pid;
}

void EndProgram(pid_t pid) {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

TEST(LinuxHost, WatchedProcessThatEndsReadsZeroUntilItsNameIsBack) {
  const std::string dir = MakeTempDir();
  const std::string name = "tarnexwatch" + std::to_string(getpid());
  const std::string program = dir + "/" + name;
  fs::copy_file("/bin/sleep", program);
  fs::permissions(program, fs::perms::owner_all);
  LinuxCounters counters;
  uint32_t query = 0;
  counters.OpenQuery(query);
  const auto read = [&](int32_t handle, bool& valid) {
    uint32_t status = 0;
    const double v = counters.GetDoubleCounterValue(handle, status);
    valid = status == PerfCounters::kOk;
    return v;
  };
  // Virtual Bytes: the kernel keeps the size of the mappings exact, while
  // its count of resident pages may lag just after the program starts.
  const std::string path = "\\Process(" + name + ")\\Virtual Bytes";
  int32_t size = 0;
  EXPECT_NE(counters.AddCounter(query, path, size), PerfCounters::kOk);  // not running yet
  pid_t pid = StartProgram(program);
  ASSERT_EQ(counters.AddCounter(query, path, size), PerfCounters::kOk);
  bool valid = false;
  counters.CollectQueryData(query);
  EXPECT_GT(read(size, valid), 0.0);
  EXPECT_TRUE(valid);
  EndProgram(pid);
  counters.CollectQueryData(query);
  EXPECT_EQ(read(size, valid), 0.0);
  EXPECT_FALSE(valid);
  pid = StartProgram(program);
  counters.CollectQueryData(query);
  EXPECT_GT(read(size, valid), 0.0);
  EXPECT_TRUE(valid);
  EndProgram(pid);
  fs::remove_all(dir);
}

TEST(LinuxHost, WholeCatalogueOnThisHost) {
  CatalogueRun run("");
  ServerModel& m = run.model;
  for (int32_t h :
       {m.hCPUUsage, m.hCPUPrivilege, m.hCPUInterrupt, m.hInterrupts, m.hDPCQueued, m.hMemCommitted,
        m.hMemAvailable, m.hCacheBytes, m.hPageFaults, m.hDiskFreePercent, m.hDiskFreeMB,
        m.hProcessCount, m.hThreadCount, m.hHandleCount, m.hContextSwitches, m.hUpTime}) {
    EXPECT_NE(h, 0);
  }
  EXPECT_EQ(m.hSystemCalls, 0);
  for (int32_t h : m.hServer) EXPECT_EQ(h, 0);
  EXPECT_EQ(m.AdapterCount, static_cast<int32_t>(run.host->Host().Adapters().size()));
  // Programs come and go; most of those just listed are still there.
  ASSERT_GT(m.Programlist.size(), 0u);
  size_t served = 0;
  for (size_t i = 0; i < m.Programlist.size() && i < 101; ++i) served += m.hProgWorkingSet[i] != 0;
  EXPECT_GT(served, 0u);
}

}  // namespace
}  // namespace tarnex::testing
