// The rules through the whole program: a simulated machine whose counters
// drive one group, the real start-up and cycle on the virtual clock, and the
// day log and the Bottleneck section compared byte for byte.
#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>

#include "tests/rules_support.h"

namespace tarnex::testing {
namespace {

const char* kDayLog = "Logs/2012/Nov/14 Nov 12.txt";

// One journal entry of the cycle: the pass's texts between asterisk lines.
std::string Entry(std::initializer_list<std::string> texts) {
  const std::string stars(84, '*');
  std::string out = stars + "\r\n";
  bool first = true;
  for (const auto& t : texts) {
    if (!first) out += "\r\n";
    out += t;
    first = false;
  }
  return out + "\r\n" + stars + "\r\n";
}

// The text of one section of a profile file, heading included.
std::string Section(const std::string& file, const std::string& name) {
  const std::string heading = "[" + name + "]\r\n";
  const size_t start = file.find(heading);
  if (start == std::string::npos) return "";
  size_t end = file.find("\r\n[", start + heading.size() - 2);
  end = end == std::string::npos ? file.size() : end + 2;
  return file.substr(start, end - start);
}

std::string Keys(std::initializer_list<int> keys) {
  std::string out = "[Bottleneck]\r\n";
  for (int k : keys) out += std::to_string(k) + "=1\r\n";
  return out;
}

// A machine whose counters are given as JSON members (already escaped), with
// the settings file holding the given Monitor section and the monitor ports.
class Machine {
 public:
  Machine(const std::string& counters, const std::string& monitor,
          const std::vector<std::string>& programs = {})
      : s_(RuleScenario(programs, counters)) {
    std::filesystem::create_directory(s_.dir() + "/Bin");
    WriteFile(s_.dir() + "/Bin/Tarnex.Tnx",
              "[Server]\r\n" + MonitorPorts() + "[Monitor]\r\n" + monitor);
    ok_ = s_.app().FormLoad();
  }
  bool ok() const { return ok_; }
  SimApp& s() { return s_; }
  void Seconds(int n) { s_.loop().Wait(static_cast<int64_t>(n) * 1000); }
  std::string DayLog() { return s_.Has(kDayLog) ? s_.File(kDayLog) : "(none)"; }
  std::string Bottleneck() { return Section(s_.File("Bin/Tarnex.Tnx"), "Bottleneck"); }

 private:
  SimApp s_;
  bool ok_ = false;
};

std::string Ramp(int from, int to) {
  std::string out = "[";
  for (int v = from; v <= to; ++v) out += (v == from ? "" : ", ") + std::to_string(v);
  return out + "]";
}

TEST(RulesScenario, MemoryGroup) {
  Machine r(
      R"("\\\\SRV1\\Memory\\Page Reads/sec": [{"value": 10, "for": 20}, {"value": 0, "for": 30},
           {"value": 10, "for": 10}, 0],
         "\\\\SRV1\\Memory\\Page Faults/sec": 1,
         "\\\\SRV1\\Memory\\Pages/sec": [{"value": 0, "for": 4}, {"value": 800, "for": 5}, 0],
         "\\\\SRV1\\Memory\\Available Bytes": [{"value": 1000, "for": 39}, 100],
         "\\\\SRV1\\Memory\\Committed Bytes": 500)",
      "MEM=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(80);
  EXPECT_EQ(r.DayLog(),
            Entry({"Memory Pages Per Sec was > 80 for more than 5 Sec. Possible Low Memory "
                   "Issues!"}) +
                Entry({"Memory Pages Per Sec was greater than 9 pages per sec for more than 0"}) +
                Entry({"Available Memory (RAM) has been Less than 15% of the Total Memory for 31 "
                       "Sec"}));
  EXPECT_EQ(r.Bottleneck(), Keys({4, 1, 6}));
}

TEST(RulesScenario, ProcessorGroupEpisodeOfExactlyFiveMinutes) {
  Machine r(R"("\\Processor(_Total)\\% Processor Time": [{"value": 96, "for": 300}, 10])",
            "CPU=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(299);
  EXPECT_EQ(r.DayLog(), "(none)");
  EXPECT_EQ(r.Bottleneck(), "");
  r.Seconds(10);
  EXPECT_EQ(r.DayLog(), Entry({"CPU Usage has been over 95% for 5 Min"}));
  EXPECT_EQ(r.Bottleneck(), Keys({11, 12, 13}));
}

TEST(RulesScenario, ProcessorGroupEpisodeOf301SecondsIsSilent) {
  Machine r(R"("\\Processor(_Total)\\% Processor Time": [{"value": 96, "for": 301}, 10])",
            "CPU=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(320);
  EXPECT_EQ(r.DayLog(), "(none)");
  EXPECT_EQ(r.Bottleneck(), Keys({11, 12, 13}));
}

TEST(RulesScenario, DiskGroup) {
  Machine r(R"("\\\\SRV1\\LogicalDisk(C:)\\% Disk Time": [{"value": 3, "for": 30}, 50],
         "\\\\SRV1\\LogicalDisk(C:)\\Current Disk Queue Length":
             [{"value": 0, "for": 10}, {"value": 5, "for": 15}, 0])",
            "HD=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(40);
  EXPECT_EQ(r.DayLog(), Entry({"Hard Drive Queue was Greater than 4 for 15 Sec"}) +
                            Entry({"Hard Drive Idle was Less than 5 for 30 Sec",
                                   "Hard Drive Idle was Less than 10 for 30 Sec",
                                   "Hard Drive Idle was Less than 15 for 30 Sec"}));
  EXPECT_EQ(r.Bottleneck(), Keys({14, 15}));
}

TEST(RulesScenario, SQLGroup) {
  Machine r(R"("\\SQL Server: Latches Object\\Latch Waits/sec": 901,
         "\\SQLServer: General Statistics\\Logouts/sec": 3)",
            "SQL=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(40);
  const std::string waits =
      "SQL Latch Waits was greater than 900 ms for 11 sec. Check Disk/Memory Performance 1. IO "
      "bottlenecks 2. Memory pressure Normally reduced with more memory and/or IO capacity ";
  const std::string logouts =
      "The SQL Server General Statistics Logouts Sec was greater than 2 for 16 sec. This may "
      "indicates that the application is not correctly using connection pooling..";
  // Passes 11, 16, 22, 32, 33.
  EXPECT_EQ(r.DayLog(),
            Entry({waits}) + Entry({logouts}) + Entry({waits}) + Entry({logouts}) + Entry({waits}));
  EXPECT_EQ(r.Bottleneck(), Keys({17, 19}));
}

TEST(RulesScenario, NetworkGroupWithNoAdaptersNeverCounts) {
  Machine r("", "NET=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(100);
  EXPECT_EQ(r.DayLog(), "(none)");
  EXPECT_EQ(r.Bottleneck(), "");
  for (int key = 20; key <= 28; ++key)
    EXPECT_EQ(r.s().model().BNCount[static_cast<size_t>(key)], 0);
}

TEST(RulesScenario, ServerGroup) {
  Machine r(R"("\\\\SRV1\\Server\\Work Item Shortages": 4)", "Server Gen=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(35);
  const std::string text =
      "Server Work Item Shortages per second was greater than 3 for 16 sec. Consider tuning "
      "InitWorkItems or MaxWorkItems in the registry.";
  EXPECT_EQ(r.DayLog(), Entry({text}) + Entry({text}));
  // Rule 30 writes its key from the first second.
  EXPECT_EQ(r.Bottleneck(), Keys({30, 29}));
}

TEST(RulesScenario, WebGroup) {
  Machine r(R"("\\Web Service Cache\\Kernel:URI Cache Misses": )" + Ramp(1, 60) +
                R"(, "\\Active Server Pages\\Request Wait Time": )" + Ramp(1, 49),
            "Web Service=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(70);
  EXPECT_EQ(r.DayLog(),
            Entry({"Web Service Kernal URI Cache Misses has continued to grow, more than 50 "
                   "Time."}));
  EXPECT_EQ(r.Bottleneck(), Keys({32}));
}

TEST(RulesScenario, TrendRuleWithEverySwitchOff) {
  Machine r(R"("\\\\SRV1\\Memory\\Pool Paged Bytes": )" + Ramp(1, 601), "");
  ASSERT_TRUE(r.ok());
  r.Seconds(599);
  EXPECT_EQ(r.DayLog(), "(none)");
  r.Seconds(1);
  EXPECT_EQ(r.DayLog(), Entry({"Pool Paged Memory has steadily increased over the past 10 "
                               "minutes indicating a possible Memory Leak."}));
  EXPECT_EQ(r.Bottleneck(), "");
}

TEST(RulesScenario, OnceFromStartUpSilencesEveryGuardedText) {
  Machine r(R"("\\\\SRV1\\Memory\\Page Reads/sec": 10)", "MEM=1\r\nOnce=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(100);
  EXPECT_EQ(r.DayLog(), "(none)");
  std::string keys = "[Bottleneck]\r\n";
  for (int key = 1; key <= 100; ++key) keys += std::to_string(key) + "=1\r\n";
  EXPECT_EQ(r.Bottleneck(), keys);
  // The rules fired all the same.
  EXPECT_EQ(r.s().model().BNCount[2], 1);
}

TEST(RulesScenario, OnceTurnedOnBySaveStopsARuleAfterItsFirstText) {
  // A page-fault rate of 0 makes rule 2 count every second.
  Machine r("", "MEM=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(15);
  r.s().model().BNMonitor[1] = 1;
  r.s().model().BNMonitor[10] = 1;
  r.s().app().Command1();
  r.Seconds(30);
  EXPECT_EQ(r.DayLog(), Entry({"Hard Page Faults was greater than 40% detected for more than 10 "
                               "Sec. A High Value generally indicative of memory shortages of "
                               "some kind."}));
  EXPECT_EQ(r.Bottleneck(), Keys({4, 2}));
  EXPECT_EQ(r.s().model().BNCount[2], 6);
}

TEST(RulesScenario, FirewallGroup) {
  Machine r(R"("\\ISA Server Firewall Service\\Worker Threads": 500,
             "\\ISA Server Firewall Packet Engine\\Active Connections": 30001)",
            "ISA FW=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(20);
  const std::string threads =
      "ISA Firewall Service Working Thread has been greater than 400. Suspect External Services "
      "(DNS or Active Directory) or an attack is occurring";
  const std::string active =
      "The ISA Server Firewall Packet Engine Active Connections was greater than 30,000 for 16 "
      "sec. Depends on the scenario. For application filtering scenarios, expect up to 30,000. "
      "Suspect if more. For stateful filtering with IP routing enabled, expect up to 100,000. "
      "Suspect if more.";
  // Passes 6, 12, 16, 18.
  EXPECT_EQ(r.DayLog(), Entry({threads}) + Entry({threads}) + Entry({active}) + Entry({threads}));
  EXPECT_EQ(r.Bottleneck(), Keys({38, 35}));
}

TEST(RulesScenario, WebProxyGroup) {
  Machine r(R"("\\ISA Server Web Proxy\\Cache Hit Ratio": [0, 0, 3],
             "\\ISA Server Web Proxy\\Requests/sec": 10,
             "\\ISA Server Web Proxy\\Failing Requests/sec": 9)",
            "Web Proxy=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(12);
  const std::string failing =
      "ISA Web Proxy Failing Requests Second has been greater than the Request Per Second (8)";
  const std::string hit = "ISA Web Proxy Cache Hit Ratio has been greater than 30%.";
  // Passes 5, 7, 10, 12.
  EXPECT_EQ(r.DayLog(), Entry({failing}) + Entry({hit}) + Entry({failing}) + Entry({hit}));
  EXPECT_EQ(r.Bottleneck(), Keys({51, 45}));
}

TEST(RulesScenario, CacheGroupEndsThePassWithRule8) {
  Machine r(R"("\\ISA Server Cache\\Disk URL Retrieve Rate": 40,
             "\\ISA Server Cache\\Disk Bytes Retrieved Rate": 50000,
             "\\ISA Server Cache\\Disk Cache Allocated Space": 24)",
            "ISA Server=1\r\n");
  ASSERT_TRUE(r.ok());
  r.Seconds(10);
  const std::string urls =
      "ISAS Server Cache Disk URL Retrieve Rate should be High (as compared to disk retrieve "
      "rate) in forward caching, low in reverse.";
  const std::string allocated =
      "ISAS Server Cache Memory Cache Allocated Space has been Less than 25, when cache is full, "
      "it should be between 50% to 100% of total memory cache size";
  // Rule 58 never sees the bytes as read: rule 57 overwrites them first.
  EXPECT_EQ(r.DayLog(), Entry({urls, allocated}) + Entry({urls, allocated}));
  EXPECT_EQ(r.Bottleneck(), Keys({57, 8}));
}

TEST(RulesScenario, ProgramRulesSpeakAtEveryVisitOnceOverTheirLimit) {
  Machine r(R"("\\Process(app)\\% Processor Time": 170,
             "\\Process(app)\\IO Write Bytes/sec": [60000000, 0])",
            "UPrograms=1\r\nOnce=1\r\n", {"C:\\Apps\\app.exe"});
  ASSERT_TRUE(r.ok());
  r.Seconds(300);
  EXPECT_EQ(r.DayLog(), "(none)");
  r.Seconds(2);
  const std::string text =
      "The Program app has had High Processor/CPU (60000000%) for over 36000 Sec. Excessive "
      "Processor Usage can cause other programs not to function as expected.";
  EXPECT_EQ(r.DayLog(), Entry({text}) + Entry({text}));
  // Program rules have no key: only the start-up marks stand in the section.
  std::string keys = "[Bottleneck]\r\n";
  for (int key = 1; key <= 100; ++key) keys += std::to_string(key) + "=1\r\n";
  EXPECT_EQ(r.Bottleneck(), keys);
}

}  // namespace
}  // namespace tarnex::testing
