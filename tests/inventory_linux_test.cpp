// The Linux host's facts: parsers on canned copies of /proc, /sys and
// dmidecode, the two substitute programs' layouts, the system-management
// rows, and real runs on this host with sanity bounds.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "base/legacy.h"
#include "core/wmi_values.h"
#include "inventory/processor_facts.h"
#include "inventory/system_facts.h"
#include "platform/linux/host_facts.h"
#include "platform/linux/linux_platform.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using namespace tarnex::host;

std::string Canned(const std::string& name) {
  return ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/inventory/linux/" + name);
}

// ---- parsers

TEST(InventoryLinuxFacts, CpuInfoGivesEveryProcessorWithItsPackage) {
  const auto cpus = ParseCpuInfo(Canned("cpuinfo-two-sockets.txt"));
  ASSERT_EQ(cpus.size(), 4u);
  EXPECT_EQ(cpus[2].processor, 2);
  EXPECT_EQ(cpus[2].physical_id, 1);
  EXPECT_EQ(cpus[0].vendor, "GenuineIntel");
  EXPECT_EQ(cpus[0].model_name, "Intel(R) Xeon(R) CPU           E5620  @ 2.40GHz");
  EXPECT_EQ(cpus[0].family, 6);
  EXPECT_EQ(cpus[0].model, 44);
  EXPECT_EQ(cpus[0].stepping, 2);
  EXPECT_EQ(cpus[0].mhz, 1596.0);
  EXPECT_EQ(cpus[0].cores, 2);
  EXPECT_EQ(cpus[3].flags.count("sse4_2"), 1u);
  EXPECT_EQ(cpus[3].flags.count("avx"), 0u);
}

TEST(InventoryLinuxFacts, MemInfoValuesAreKilobytes) {
  auto mem = ParseMemInfo(Canned("meminfo.txt"));
  EXPECT_EQ(mem["MemTotal"], 8379964u);
  EXPECT_EQ(mem["MemAvailable"], 5541992u);
  EXPECT_EQ(mem["SwapFree"], 7761916u);
}

TEST(InventoryLinuxFacts, SwapAreasWithEscapedNames) {
  const auto swaps = ParseSwaps(Canned("swaps.txt"));
  ASSERT_EQ(swaps.size(), 2u);
  EXPECT_EQ(swaps[0].name, "/dev/sda2");
  EXPECT_EQ(swaps[0].size_kb, 8388604u);
  EXPECT_EQ(swaps[0].used_kb, 626688u);
  EXPECT_EQ(swaps[1].name, "/swap file");
}

TEST(InventoryLinuxFacts, DrivesAreBlockDeviceMountsOncePerPointAndTheRoot) {
  const auto drives = DriveMounts(ParseMounts(Canned("mounts.txt")));
  ASSERT_EQ(drives.size(), 3u);
  EXPECT_EQ(drives[0].point, "/");
  EXPECT_EQ(drives[0].source, "/dev/sda1");
  EXPECT_EQ(drives[1].point, "/srv/data");
  EXPECT_EQ(drives[1].type, "xfs");
  EXPECT_EQ(drives[2].point, "/media/backup disk");
  EXPECT_EQ(drives[2].type, "vfat");
  // A root that is not a block device still counts.
  const auto overlay = DriveMounts(ParseMounts("overlay / overlay rw 0 0\n"));
  ASSERT_EQ(overlay.size(), 1u);
  EXPECT_EQ(overlay[0].point, "/");
}

TEST(InventoryLinuxFacts, OsReleaseValuesLoseTheirQuotes) {
  auto os = ParseOsRelease(Canned("os-release.txt"));
  EXPECT_EQ(os["PRETTY_NAME"], "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(os["ID"], "debian");
  EXPECT_EQ(os.count("# a comment"), 0u);
}

TEST(InventoryLinuxFacts, DmidecodeRecordsKeepTheirFieldsButNotTheirLists) {
  const auto records = ParseDmidecode(Canned("dmidecode-processor.txt"));
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].type, 4);
  EXPECT_EQ(records[0].fields.at("Socket Designation"), "CPU1");
  EXPECT_EQ(records[0].fields.at("Max Speed"), "3600 MHz");
  EXPECT_EQ(records[0].fields.at("Flags"), "");
  EXPECT_EQ(records[0].fields.count("FPU (Floating-point unit on-chip)"), 0u);
  EXPECT_EQ(records[1].fields.at("Socket Designation"), "CPU2");
}

TEST(InventoryLinuxFacts, DmiSizesAndNumbers) {
  EXPECT_EQ(DmiSizeBytes("4096 MB"), 4294967296.0);
  EXPECT_EQ(DmiSizeBytes("8 GB"), 8589934592.0);
  EXPECT_EQ(DmiSizeBytes("512 kB"), 524288.0);
  EXPECT_EQ(DmiSizeBytes("No Module Installed"), 0.0);
  EXPECT_EQ(DmiNumber("1333 MT/s"), 1333.0);
  EXPECT_EQ(DmiNumber("Unknown"), 0.0);
}

TEST(InventoryLinuxFacts, CpuListsWithRanges) {
  EXPECT_EQ(ParseCpuList("0-3,8\n"), (std::vector<int>{0, 1, 2, 3, 8}));
  EXPECT_EQ(ParseCpuList("5"), std::vector<int>{5});
  EXPECT_TRUE(ParseCpuList("").empty());
}

// A cache tree as /sys/devices/system/cpu shows it: two processors, each with
// its own level 1 and 2 caches, sharing level 3.
class InventoryLinuxCaches : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = MakeTempDir();
    for (int cpu = 0; cpu < 2; ++cpu) {
      Index(cpu, 0, "1", "Data", "32K", "8", std::to_string(cpu));
      Index(cpu, 1, "1", "Instruction", "32K", "8", std::to_string(cpu));
      Index(cpu, 2, "2", "Unified", "512K", "8", std::to_string(cpu));
      Index(cpu, 3, "3", "Unified", "32M", "16", "0-1");
    }
    std::filesystem::create_directories(root_ + "/cpufreq");  // not a processor
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  void Index(int cpu, int index, const char* level, const char* type, const char* size,
             const char* ways, const std::string& shared) {
    const std::string d =
        root_ + "/cpu" + std::to_string(cpu) + "/cache/index" + std::to_string(index);
    std::filesystem::create_directories(d);
    WriteFile(d + "/level", std::string(level) + "\n");
    WriteFile(d + "/type", std::string(type) + "\n");
    WriteFile(d + "/size", std::string(size) + "\n");
    WriteFile(d + "/ways_of_associativity", std::string(ways) + "\n");
    WriteFile(d + "/coherency_line_size", "64\n");
    WriteFile(d + "/shared_cpu_list", shared + "\n");
  }
  std::string root_;
};

TEST_F(InventoryLinuxCaches, EachCacheIsCountedOnceHoweverManyShareIt) {
  const auto caches = ReadCaches(root_);
  ASSERT_EQ(caches.size(), 7u);
  int l3 = 0;
  for (const auto& c : caches) {
    if (c.level == 3) {
      ++l3;
      EXPECT_EQ(c.size_kb, 32768u);
      EXPECT_EQ(c.cpus, (std::vector<int>{0, 1}));
      EXPECT_EQ(c.ways, 16);
    }
  }
  EXPECT_EQ(l3, 1);
}

TEST_F(InventoryLinuxCaches, MemoryToolPrintsOneLinePerCacheKindWithItsCount) {
  RamFacts r;
  r.processor = "AMD EPYC";
  r.logical = 2;
  r.caches = ReadCaches(root_);
  r.flags = {"fpu", "mmx", "sse", "sse2", "pni", "avx2"};
  EXPECT_EQ(RamText(r),
            "Processor: AMD EPYC, 2 logical processors\r\n"
            "2x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "2x I-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "2x S-cache 512 Kb, 8-way set associative, 64 byte line size\r\n"
            "1x T-cache 32768 Kb, 16-way set associative, 64 byte line size\r\n"
            "MMX instructions\r\nSSE instructions\r\nSSE2 instructions\r\nSSE3 instructions\r\n"
            "AVX2 instructions\r\n");
}

TEST(InventoryLinuxFacts, CachesOfOneKindThatDifferGetALineEachAndUnknownSizesSayIt) {
  RamFacts r;
  r.logical = 1;
  r.caches = {{1, "Data", 48, 12, 64, {0}},
              {1, "Data", 48, 12, 64, {1}},
              {1, "Data", 32, 8, 64, {2}},
              {1, "Instruction", 0, -1, 0, {0}},
              {2, "Unified", 2048, 0, 64, {0}}};
  EXPECT_EQ(RamText(r),
            "Processor: N/A, 1 logical processor\r\n"
            "2x D-cache 48 Kb, 12-way set associative, 64 byte line size\r\n"
            "1x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "1x I-cache unknown size\r\n"
            "1x S-cache 2048 Kb, fully associative, 64 byte line size\r\n");
}

TEST(InventoryLinuxFacts, MemoryToolLinesReadBackIntoTheReport) {
  RamFacts r;
  r.logical = 2;
  r.processor = "Xeon";
  r.caches = {{1, "Data", 32, 8, 64, {0}},
              {1, "Instruction", 32, 8, 64, {0}},
              {2, "Unified", 256, 8, 64, {0}},
              {3, "Unified", 12288, 16, 64, {0, 1}},
              {1, "Instruction", 0, -1, 0, {1}}};
  r.flags = {"mmx", "sse"};
  ServerModel m;
  TakeRamLines(m, OutputLines(RamText(r)));
  EXPECT_EQ(m.CacheL1, "32 Kb");
  EXPECT_EQ(m.CacheL2, "256 Kb");
  EXPECT_EQ(m.CacheL3, "12288 Kb");
  EXPECT_EQ(m.HasMMX, 1);
  EXPECT_EQ(m.HasSSE, 1);
  EXPECT_EQ(m.CPUInfo,
            "\r\nLevel 132 KbI-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "\r\nLevel 2256 KbS-cache 256 Kb, 8-way set associative, 64 byte line size\r\n"
            "\r\nLevel 312288 KbT-cache 12288 Kb, 16-way set associative, 64 byte line size\r\n"
            "MMX instructions\r\nSSE instructions\r\n");
}

SystemFacts CannedSystem() {
  SystemFacts f;
  f.host_name = "srv1";
  f.os_name = "Debian GNU/Linux 12 (bookworm)";
  f.os_version = "6.1.0-18-amd64 #1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1 (2024-02-01)";
  f.product_id = "43E3A-D5DA0-61438-D4FF6";
  f.install_date = "6/24/2025, 2:37:40 PM";
  f.boot_time = "3/15/2026, 9:05:03 AM";
  f.manufacturer = "";
  f.model = "";
  f.system_type = "x86_64";
  f.packages = 2;
  f.processors = {"[01]: x86_64 Family 6 Model 44 Stepping 2 GenuineIntel ~1596 Mhz",
                  "[02]: x86_64 Family 6 Model 44 Stepping 2 GenuineIntel ~1596 Mhz"};
  f.bios_version = "Dell Inc. 1.9.0, 12/12/2011";
  f.boot_device = "/dev/sda1";
  f.input_locale = "en_US.UTF-8";
  f.total_mb = 8183.56;
  f.available_mb = 5412.1;
  f.virtual_max_mb = 16375.5;
  f.virtual_available_mb = 12992.2;
  f.page_files = {"/dev/sda2", "/swap file"};
  return f;
}

TEST(InventoryLinuxFacts, SystemFactsReportHasTheLabelledLayout) {
  EXPECT_EQ(SystemInfoText(CannedSystem()),
            "\r\n"
            "Host Name:                 srv1\r\n"
            "OS Name:                   Debian GNU/Linux 12 (bookworm)\r\n"
            "OS Version:                6.1.0-18-amd64 #1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1 "
            "(2024-02-01)\r\n"
            "Product ID:                43E3A-D5DA0-61438-D4FF6\r\n"
            "Original Install Date:     6/24/2025, 2:37:40 PM\r\n"
            "System Boot Time:          3/15/2026, 9:05:03 AM\r\n"
            "System Manufacturer:       N/A\r\n"
            "System Model:              N/A\r\n"
            "System Type:               x86_64\r\n"
            "Processor(s):              2 Processor(s) Installed.\r\n"
            "                           [01]: x86_64 Family 6 Model 44 Stepping 2 GenuineIntel "
            "~1596 Mhz\r\n"
            "                           [02]: x86_64 Family 6 Model 44 Stepping 2 GenuineIntel "
            "~1596 Mhz\r\n"
            "BIOS Version:              Dell Inc. 1.9.0, 12/12/2011\r\n"
            "Boot Device:               /dev/sda1\r\n"
            "Input Locale:              en_US.UTF-8\r\n"
            "Total Physical Memory:     8,183 MB\r\n"
            "Available Physical Memory: 5,412 MB\r\n"
            "Virtual Memory: Max Size:  16,375 MB\r\n"
            "Virtual Memory: Available: 12,992 MB\r\n"
            "Virtual Memory: In Use:    3,383 MB\r\n"
            "Page File Location(s):     /dev/sda2\r\n"
            "                           /swap file\r\n");
}

TEST(InventoryLinuxFacts, SystemFactsReportReadsBackIntoEveryField) {
  ServerModel m;
  TakeSystemLines(m, OutputLines(SystemInfoText(CannedSystem())));
  EXPECT_EQ(m.ProductID, "43E3A-D5DA0-61438-D4");
  EXPECT_EQ(m.PhysicalMemoryText, "8,183");
  EXPECT_EQ(m.PhysicalFreeText, "5,412");
  EXPECT_EQ(m.OSName, "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(m.Processors, "2 Processor(s) Installed.");
  EXPECT_EQ(m.SystemModel, "N/A");
  EXPECT_EQ(m.BIOSVersion, "Dell Inc. 1.9.0, 12/12/2011");
  EXPECT_EQ(m.InputLocale, "en_US.UTF-8");
  EXPECT_EQ(m.Manufacturer, "N/A");
  EXPECT_EQ(m.BootDevice, "/dev/sda1");
  EXPECT_EQ(m.OSVersion, "6.1.0-18-amd64 #1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1 (2024-02-01)");
  EXPECT_EQ(m.InstallDate, "6/24/2025, 2:37:40 PM");
  EXPECT_EQ(m.BootTime, "3/15/2026, 9:05:03 AM");
  EXPECT_EQ(m.VirtualFree, "12,992 MB");
  EXPECT_EQ(m.VirtualUsed, "3,383 MB");
}

TEST(InventoryLinuxFacts, ReportTimeIsTheLocalTimeWithACommaAndTheHalfDay) {
  const int64_t when = 1352790161;  // a November morning of 2012 (UTC)
  const time_t t = when;
  struct tm local {};
  localtime_r(&t, &local);
  const std::string text = ReportTime(when);
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(text, parts,
                               std::regex(R"((\d+)/(\d+)/(\d{4}), (\d+):(\d\d):(\d\d) (AM|PM))")))
      << text;
  EXPECT_EQ(std::stoi(parts[1]), local.tm_mon + 1);
  EXPECT_EQ(std::stoi(parts[2]), local.tm_mday);
  EXPECT_EQ(std::stoi(parts[3]), local.tm_year + 1900);
  EXPECT_EQ(std::stoi(parts[4]), local.tm_hour % 12 == 0 ? 12 : local.tm_hour % 12);
  EXPECT_EQ(std::stoi(parts[5]), local.tm_min);
  EXPECT_EQ(std::stoi(parts[6]), local.tm_sec);
  EXPECT_EQ(parts[7], local.tm_hour < 12 ? "AM" : "PM");
}

TEST(InventoryLinuxFacts, Sha256OfKnownTexts) {
  EXPECT_EQ(Sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(InventoryLinuxFacts, ProductIdIsADigestOfTheMachineIdentityInFourGroups) {
  const std::string id = ProductId("3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  EXPECT_TRUE(std::regex_match(id, std::regex("[0-9A-F]{5}-[0-9A-F]{5}-[0-9A-F]{5}-[0-9A-F]{5}")))
      << id;
  EXPECT_EQ(id, ProductId("3d1219c7c4c5404aaa1f6d2a48adfda4"));
  EXPECT_NE(id, ProductId("3d1219c7c4c5404aaa1f6d2a48adfda5"));
  EXPECT_EQ(legacy::InStr(id, "3D1219"), 0);
  EXPECT_EQ(ProductId(""), "");
}

// ---- system-management rows

TEST(InventoryLinuxRows, OneProcessorRowPerPackage) {
  ProcessorFacts facts;
  facts.cpus = ParseCpuInfo(Canned("cpuinfo-two-sockets.txt"));
  facts.dmi = ParseDmidecode(Canned("dmidecode-processor.txt"));
  facts.caches = {{2, "Unified", 256, 8, 64, {0}},       {2, "Unified", 256, 8, 64, {1}},
                  {2, "Unified", 256, 8, 64, {2}},       {2, "Unified", 256, 8, 64, {3}},
                  {3, "Unified", 12288, 16, 64, {0, 1}}, {3, "Unified", 12288, 16, 64, {2, 3}}};
  facts.max_khz = {{0, 2661000}};
  facts.busy = {{0, 10}, {1, 20}, {2, 50}, {3, 51}};
  const auto rows = ProcessorRows(facts);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(WmiText(rows[0].Get("Name")), "Intel(R) Xeon(R) CPU           E5620  @ 2.40GHz");
  EXPECT_EQ(WmiText(rows[0].Get("Manufacturer")), "GenuineIntel");
  EXPECT_EQ(WmiText(rows[0].Get("DeviceID")), "CPU0");
  EXPECT_EQ(WmiNumber(rows[0].Get("MaxClockSpeed")), 2661.0);
  EXPECT_EQ(WmiNumber(rows[1].Get("MaxClockSpeed")), 3600.0);  // from the DMI table
  EXPECT_EQ(WmiText(rows[0].Get("SocketDesignation")), "CPU1");
  EXPECT_EQ(WmiText(rows[1].Get("SocketDesignation")), "CPU2");
  EXPECT_EQ(WmiNumber(rows[0].Get("L2CacheSize")), 512.0);
  EXPECT_EQ(WmiNumber(rows[1].Get("L3CacheSize")), 12288.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("LoadPercentage")), 15.0);
  EXPECT_EQ(WmiNumber(rows[1].Get("LoadPercentage")), 51.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("ProcessorType")), 3.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("NumberOfLogicalProcessors")), 2.0);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(rows[0].Get("L2CacheSpeed")));
}

TEST(InventoryLinuxRows, ProcessorWithoutFrequencyOrDmiTakesItsCurrentSpeed) {
  ProcessorFacts facts;
  facts.cpus = ParseCpuInfo(Canned("cpuinfo-two-sockets.txt"));
  const auto rows = ProcessorRows(facts);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(WmiNumber(rows[0].Get("MaxClockSpeed")), 1596.0);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(rows[0].Get("SocketDesignation")));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(rows[0].Get("LoadPercentage")));
}

TEST(InventoryLinuxRows, MemoryDevicesBecomeSlotsThroughTheLogic) {
  const auto rows = MemoryRows(ParseDmidecode(Canned("dmidecode-memory.txt")));
  ASSERT_EQ(rows.size(), 3u);
  SimApp s("{}");
  std::filesystem::create_directory(s.dir() + "/Bin");
  s.sim().wmi["win32_physicalmemory"] = rows;
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "Slot 1   4 GB  Speed: 1333 Mhz   (BANK 0)");
  EXPECT_EQ(s.model().Slots[1], "Slot 2   8 GB  Speed: 1600 Mhz   (BANK 1)");
  EXPECT_EQ(s.model().Slots[2], "Slot 3   Empty     (BANK 2)");
  EXPECT_EQ(s.model().SimmCount, 2);
}

TEST(InventoryLinuxRows, PageFileRowsKeepTheHighestUseSeen) {
  std::map<std::string, double> peaks;
  auto rows = PageFileRows(ParseSwaps(Canned("swaps.txt")), peaks);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(WmiText(rows[0].Get("Name")), "/dev/sda2");
  EXPECT_EQ(WmiNumber(rows[0].Get("AllocatedBaseSize")), 8191.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("CurrentUsage")), 612.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("PeakUsage")), 612.0);
  rows = PageFileRows({{"/dev/sda2", 8388604, 102400}}, peaks);
  EXPECT_EQ(WmiNumber(rows[0].Get("CurrentUsage")), 100.0);
  EXPECT_EQ(WmiNumber(rows[0].Get("PeakUsage")), 612.0);
}

// ---- on this host

std::string RunProgram(const std::vector<std::string>& args, int& code) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], 1);
    dup2(fds[1], 2);
    close(fds[0]);
    std::vector<std::string> copy = args;
    std::vector<char*> argv;
    for (auto& a : copy) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(fds[1]);
  std::string out;
  char buffer[4096];
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) out.append(buffer, n);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return out;
}

// Every line ends in CR LF.
void ExpectCrLf(const std::string& text) {
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
  for (size_t i = text.find('\n'); i != std::string::npos; i = text.find('\n', i + 1)) {
    ASSERT_TRUE(i > 0 && text[i - 1] == '\r') << "bare line feed at " << i;
  }
}

uint64_t MemTotalKb() {
  return ParseMemInfo(ReadFile("/proc/meminfo"))["MemTotal"];
}

TEST(InventoryRealHost, SystemFactsProgramPrintsEveryLabelWithPlausibleValues) {
  int code = -1;
  const std::string out = RunProgram({TARNEX_SYSINFO_BINARY}, code);
  EXPECT_EQ(code, 0);
  ExpectCrLf(out);
  for (const char* label :
       {"OS Name:", "OS Version:", "Product ID:", "Original Install Date:", "System Boot Time:",
        "System Manufacturer:", "System Model:", "BIOS Version:", "Processor(s):", "Input Locale:",
        "Boot Device:", "Total Physical Memory:", "Available Physical Memory:",
        "Virtual Memory: Available:", "Virtual Memory: In Use:"}) {
    std::string head = label;
    head.resize(27, ' ');
    EXPECT_NE(out.find("\r\n" + head), std::string::npos) << label;
  }
  ServerModel m;
  TakeSystemLines(m, OutputLines(out));
  auto os = ParseOsRelease(ReadFile("/etc/os-release"));
  if (!os["PRETTY_NAME"].empty()) {
    EXPECT_EQ(m.OSName, os["PRETTY_NAME"]);
  }
  EXPECT_FALSE(m.OSVersion.empty());
  EXPECT_GE(legacy::Val(m.Processors), 1);
  // Megabytes with grouping: the whole of MemTotal.
  const double total = legacy::Val(legacy::Replace(m.PhysicalMemoryText, ",", ""));
  EXPECT_EQ(total, static_cast<double>(MemTotalKb() / 1024)) << m.PhysicalMemoryText;
  const double free_mb = legacy::Val(legacy::Replace(m.PhysicalFreeText, ",", ""));
  EXPECT_GT(free_mb, 0);
  EXPECT_LE(free_mb, total);
  EXPECT_TRUE(
      std::regex_match(m.BootTime, std::regex(R"(\d{1,2}/\d{1,2}/\d{4}, \d{1,2}:\d\d:\d\d [AP]M)")))
      << m.BootTime;
  EXPECT_EQ(m.VirtualFree.substr(m.VirtualFree.size() - 3), " MB");
  EXPECT_EQ(m.VirtualUsed.substr(m.VirtualUsed.size() - 3), " MB");
  EXPECT_EQ(m.ProductID.size(), 20u);
  EXPECT_FALSE(m.BootDevice.empty());
}

TEST(InventoryRealHost, MemoryToolPrintsTheCachesAndFeaturesOfThisProcessor) {
  int code = -1;
  const std::string out = RunProgram({TARNEX_RAM_BINARY, "-i"}, code);
  EXPECT_EQ(code, 0);
  ExpectCrLf(out);
  EXPECT_EQ(out.rfind("Processor: ", 0), 0u) << out;
  ServerModel m;
  TakeRamLines(m, OutputLines(out));
  if (std::filesystem::exists("/sys/devices/system/cpu/cpu0/cache/index0/size")) {
    EXPECT_NE(out.find("D-cache "), std::string::npos) << out;
    EXPECT_GT(legacy::Val(m.CacheL1), 0) << m.CacheL1;
  }
  const auto cpus = ParseCpuInfo(ReadFile("/proc/cpuinfo"));
  ASSERT_FALSE(cpus.empty());
  if (cpus.front().flags.count("sse2") != 0) {
    EXPECT_NE(out.find("\r\nSSE2 instructions\r\n"), std::string::npos);
    EXPECT_EQ(m.HasSSE, 1);
  }
}

TEST(InventoryRealHost, MemoryToolWantsItsOption) {
  int code = -1;
  const std::string out = RunProgram({TARNEX_RAM_BINARY}, code);
  EXPECT_EQ(code, 2);
  EXPECT_EQ(out, "usage: ram.exe -i\r\n");
}

class InventoryRealHostProvider : public ::testing::Test {
 protected:
  void SetUp() override {
    LinuxOptions options;
    options.executable = TARNEX_SERVER_BINARY;
    platform_ = std::make_unique<LinuxPlatform>(options);
  }
  std::unique_ptr<LinuxPlatform> platform_;
};

TEST_F(InventoryRealHostProvider, ProcessorRowsNameThisProcessor) {
  std::vector<WmiRow> rows;
  ASSERT_TRUE(platform_->QueryWmi("Select * from Win32_Processor", rows));
  ASSERT_GE(rows.size(), 1u);
  const auto cpus = ParseCpuInfo(ReadFile("/proc/cpuinfo"));
  if (!cpus.front().model_name.empty()) {
    EXPECT_EQ(WmiText(rows[0].Get("Name")), cpus.front().model_name);
  }
  if (cpus.front().mhz > 0) {
    EXPECT_GT(WmiNumber(rows[0].Get("MaxClockSpeed")).value_or(0), 0);
  }
  const double load = WmiNumber(rows[0].Get("LoadPercentage")).value_or(-1);
  EXPECT_GE(load, 0);
  EXPECT_LE(load, 100);
}

TEST_F(InventoryRealHostProvider, RootFileSystemIsADriveWithItsSize) {
  std::vector<WmiRow> rows;
  ASSERT_TRUE(platform_->QueryWmi("select * FROM win32_logicaldisk", rows));
  const auto root = std::find_if(rows.begin(), rows.end(),
                                 [](const WmiRow& r) { return WmiText(r.Get("Caption")) == "/"; });
  ASSERT_NE(root, rows.end());
  double total = 0, free_bytes = 0;
  ASSERT_TRUE(platform_->DiskFreeSpace("/\\", total, free_bytes));
  struct statvfs vfs {};
  ASSERT_EQ(statvfs("/", &vfs), 0);
  EXPECT_EQ(total, static_cast<double>(vfs.f_blocks) * static_cast<double>(vfs.f_frsize));
  EXPECT_GT(total, 0);
  EXPECT_LE(free_bytes, total);
  EXPECT_FALSE(platform_->DiskFreeSpace("Q:\\", total, free_bytes));
}

TEST_F(InventoryRealHostProvider, PageFileRowsAreTheSwapAreas) {
  std::vector<WmiRow> rows;
  ASSERT_TRUE(platform_->QueryWmi("Select * from Win32_PageFileUsage", rows));
  EXPECT_EQ(rows.size(), ParseSwaps(ReadFile("/proc/swaps")).size());
  std::vector<WmiRow> none;
  EXPECT_FALSE(platform_->QueryWmi("Select * from Win32_NoSuchClass", none));
  EXPECT_TRUE(none.empty());
}

TEST_F(InventoryRealHostProvider, ProcessorTypeLevelAndSpeed) {
  const auto cpus = ParseCpuInfo(ReadFile("/proc/cpuinfo"));
  const auto info = platform_->SystemProcessor();
  if (cpus.front().family >= 0) {
    EXPECT_EQ(info.type, 586u);
    EXPECT_EQ(info.level, cpus.front().family);
    EXPECT_EQ(info.revision, (cpus.front().model << 8) | cpus.front().stepping);
  }
  uint32_t mhz = 0;
  if (cpus.front().mhz > 0) {
    ASSERT_TRUE(platform_->ProcessorMHz(mhz));
    EXPECT_GT(mhz, 0u);
  }
}

TEST_F(InventoryRealHostProvider, EnvironmentNamesMatchWithoutCase) {
  EXPECT_EQ(platform_->Environment("windir"), platform_->Environment("WinDIR"));
  EXPECT_FALSE(platform_->Environment("number_of_processors").empty());
}

TEST(InventoryRealHost, ServerOnThisHostWritesTheSystemDataFile) {
  const std::string dir = MakeTempDir();
  std::filesystem::create_directories(dir + "/Bin");
  std::filesystem::copy_file(TARNEX_RAM_BINARY, dir + "/Bin/ram.exe");
  int code = -1;
  const std::string err = RunProgram(
      {TARNEX_SERVER_BINARY, "--console", "off", "--app-path", dir, "--run-for", "1"}, code);
  EXPECT_EQ(code, 0) << err;
  EXPECT_EQ(err.find("message:"), std::string::npos) << err;
  const std::string data = ReadFile(dir + "/Bin/SystemData.txt");
  ExpectCrLf(data);
  auto os = ParseOsRelease(ReadFile("/etc/os-release"));
  if (!os["PRETTY_NAME"].empty()) {
    EXPECT_EQ(data.rfind("OPERATING SYSTEM\r\nOS: " + os["PRETTY_NAME"] + "\r\n", 0), 0u) << data;
  }
  EXPECT_NE(data.find("\r\nSYSTEM\r\nMother Board: "), std::string::npos);
  EXPECT_NE(
      data.find("\r\nPROCESSOR/MEMORY INFORMATION\r\nMemory   Total: " +
                legacy::Format(static_cast<double>(MemTotalKb() / 1024), "#,##0") + "   Free: "),
      std::string::npos)
      << data;
  EXPECT_NE(data.find("\r\nHARD DRIVES\r\n   /Total Size: "), std::string::npos) << data;
  if (std::filesystem::exists("/sys/devices/system/cpu/cpu0/cache/index1/size")) {
    EXPECT_NE(data.find("\r\nLevel 1"), std::string::npos) << data;
  }
  const std::string settings = ReadFile(dir + "/Bin/Tarnex.Tnx");
  EXPECT_NE(settings.find("[Memory]\r\nSlots="), std::string::npos) << settings;
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
