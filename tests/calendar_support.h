// Shared helpers of the calendar tests: a simulated server with one network
// adapter whose counters a test sets, and the settings and archive files.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>

#include "bandwidth/traffic.h"
#include "tests/test_support.h"

namespace tarnex::testing {

// The fourteen counters of the adapter, in the tick's order (local paths).
inline const char* const kAdapterCounters[14] = {
    "Bytes Sent/sec",
    "Bytes Received/sec",
    "Bytes Total/sec",
    "Packets Received/sec",
    "Packets Sent/sec",
    "Packets Received Errors",
    "Packets Outbound Errors",
    "Output Queue Length",
    "Offloaded Connections",
    "Packets/sec",
    "Packets Received Unicast/sec",
    "Packets Received Non-Unicast/sec",
    "Packets Sent Unicast/sec",
    "Packets Sent Non-Unicast/sec",
};

// A server with the adapter "Intel Ethernet", every counter of it at 0, and
// `extra` JSON members behind "counters" (already escaped), from `start`.
inline std::string TrafficScenario(const std::string& start = "2012-11-14 10:00:00",
                                   const std::string& extra = "") {
  std::string s = "{\"start\": \"" + start +
                  "\", \"env\": {\"WinDIR\": \"C:\\\\Windows\", \"COMPUTERNAME\": \"SRV1\", "
                  "\"NUMBER_OF_PROCESSORS\": \"2\"}, \"objects\": {\"Network Interface\": "
                  "[\"Intel Ethernet\"]}, \"counters\": {\"\\\\Processor(0)\\\\% Idle Time\": 50";
  for (const char* c : kAdapterCounters) {
    s += ", \"\\\\Network Interface(Intel Ethernet)\\\\" + std::string(c) + "\": 0";
  }
  s += "}";
  if (!extra.empty()) s += ", " + extra;
  return s + "}";
}

// The simulated server, started, with its adapter's counters set by the test.
class TrafficBench {
 public:
  explicit TrafficBench(const std::string& scenario = TrafficScenario(), std::string dir = "")
      : s_(scenario, std::move(dir)) {}
  // Writes a settings file before the start.
  void Settings(const std::string& text) {
    std::filesystem::create_directories(s_.dir() + "/Bin");
    WriteFile(s_.dir() + "/Bin/Tarnex.Tnx", text);
  }
  void Start() { ASSERT_TRUE(s_.app().FormLoad()); }

  // An adapter counter's value from the next collection on.
  void Counter(const std::string& name, double value) {
    std::string key = "\\network interface(intel ethernet)\\" + name;
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    auto it = s_.sim().Sim().series.find(key);
    ASSERT_NE(it, s_.sim().Sim().series.end()) << name;
    it->second.segments = {{value, 1}};
  }
  // One collection and one tick of the totals.
  void Tick() {
    s_.sim().Counters().CollectQueryData(s_.model().PerfQuery);
    getbandwidthXP(s_.ctx());
  }

  SimApp& s() { return s_; }
  ServerModel& m() { return s_.model(); }
  Context& ctx() { return s_.ctx(); }
  std::string Key(const std::string& section, const std::string& key,
                  const std::string& file = Context::kSettingsFile) {
    return s_.ctx().INIRead(file, section, key);
  }

 private:
  SimApp s_;
};

}  // namespace tarnex::testing
