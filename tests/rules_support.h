// Shared helpers of the rule tests: a simulated machine whose optional
// counters all exist, with the counter catalogue set up and no cycle running,
// so that each test drives the rule pass by hand.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "counters/catalogue.h"
#include "platform/counter_table.h"
#include "rules/engine.h"
#include "tests/rule_counters.h"
#include "tests/test_support.h"

namespace tarnex::testing {

// A scenario with every rule counter at 0, the given processes (full paths)
// and the given extra counters (JSON members, already escaped).
inline std::string RuleScenario(const std::vector<std::string>& programs = {},
                                const std::string& extra_counters = "",
                                const std::string& start = "2012-11-14 10:00:00") {
  std::string s = "{\"start\": \"" + start +
                  "\", \"env\": {\"WinDIR\": \"C:\\\\Windows\", \"COMPUTERNAME\": \"SRV1\", "
                  "\"NUMBER_OF_PROCESSORS\": \"2\"}, \"counters\": {\"\\\\Processor(0)\\\\% Idle "
                  "Time\": 50";
  for (const auto& path : RuleCounterPaths()) s += ", \"" + JsonEscape(path) + "\": 0";
  if (!extra_counters.empty()) s += ", " + extra_counters;
  s += "}";
  if (!programs.empty()) {
    s += ", \"processes\": [";
    for (size_t i = 0; i < programs.size(); ++i) {
      if (i != 0) s += ", ";
      s += "{\"pid\": " + std::to_string(100 + i) + ", \"path\": \"" + JsonEscape(programs[i]) +
           "\"}";
    }
    s += "]";
  }
  return s + "}";
}

// The rule pass driven by hand over a simulated machine.
class RuleBench {
 public:
  explicit RuleBench(const std::string& scenario = RuleScenario()) : s_(scenario) {
    std::filesystem::create_directory(s_.dir() + "/Bin");
    m().ComputerName = "SRV1";
    m().ProcessorCount = "2";
    m().SystemDrive = "C:";
    CounterCatalogue(s_.ctx()).SetUp();
  }

  SimApp& sim() { return s_; }
  App& app() { return s_.app(); }
  Context& ctx() { return s_.app().ctx(); }
  ServerModel& m() { return s_.model(); }

  // A counter's value from the next collection on (local path).
  void Counter(const std::string& local_path, double value) {
    std::string key = local_path;
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    auto it = s_.sim().Sim().series.find(key);
    ASSERT_NE(it, s_.sim().Sim().series.end()) << local_path;
    it->second.segments = {{value, 1}};
  }

  // One collection and one rule pass; the pass's text.
  std::string Pass() {
    s_.sim().Counters().CollectQueryData(m().PerfQuery);
    BottleneckCheck(s_.ctx());
    return m().BNText;
  }

  std::string Key(int key) {
    return s_.ctx().INIRead(Context::kSettingsFile, "Bottleneck", std::to_string(key));
  }
  void SetKey(int key, const std::string& value) {
    s_.ctx().INIWrite(Context::kSettingsFile, "Bottleneck", std::to_string(key), value);
  }
  // The settings file as it stands on disk.
  std::string SettingsFile() { return s_.File("Bin/Tarnex.Tnx"); }

 private:
  SimApp s_;
};

// One counting, high-water or trend rule, as a table row of the tests: how
// to make its condition hold (in the 1-based pass given), the nearest values
// at which it does not count, where its count is, the pass at which it fires
// and its exact text. Key 0: a rule without a key.
struct RuleCase {
  const char* name;
  int key;
  int limit_pass;
  std::function<void(RuleBench&, int pass)> hold;
  std::function<void(RuleBench&, int pass)> miss;
  std::function<double&(ServerModel&)> count;
  std::string text;
};

// Test output names the rule rather than dumping its bytes.
inline void PrintTo(const RuleCase& rule, std::ostream* os) {
  *os << rule.name;
}

inline std::string RuleCaseName(const ::testing::TestParamInfo<RuleCase>& info) {
  return info.param.name;
}

// The tests every rule of a table gets.
inline void ExpectShortOfTheLimitSilentThenTheTextOnce(const RuleCase& rule) {
  RuleBench b;
  for (int pass = 1; pass < rule.limit_pass; ++pass) {
    rule.hold(b, pass);
    ASSERT_EQ(b.Pass(), "") << "pass " << pass;
  }
  EXPECT_EQ(rule.count(b.m()), rule.limit_pass - 1);
  rule.hold(b, rule.limit_pass);
  EXPECT_EQ(b.Pass(), rule.text + "\r\n");
  EXPECT_EQ(rule.count(b.m()), 0);
  if (rule.key != 0) {
    EXPECT_EQ(b.Key(rule.key), "1");
  }
  rule.hold(b, rule.limit_pass + 1);
  EXPECT_EQ(b.Pass(), "");
  EXPECT_EQ(rule.count(b.m()), 1);
}

inline void ExpectNoCountAtTheBoundary(const RuleCase& rule) {
  RuleBench b;
  for (int pass = 1; pass <= rule.limit_pass + 1; ++pass) {
    rule.miss(b, pass);
    const std::string text = b.Pass();
    ASSERT_EQ(text.find(rule.text), std::string::npos) << "pass " << pass;
  }
  EXPECT_EQ(rule.count(b.m()), 0);
}

inline void ExpectOnceWithTheKeyWrittenSilent(const RuleCase& rule) {
  RuleBench b;
  b.m().Once = 1;
  for (int key = 1; key <= 100; ++key) b.SetKey(key, "1");
  std::string all;
  for (int pass = 1; pass <= rule.limit_pass; ++pass) {
    rule.hold(b, pass);
    all += b.Pass();
  }
  // The rule fired (its count went back to 0); a rule without a key speaks
  // whatever Once says.
  EXPECT_EQ(rule.count(b.m()), 0);
  EXPECT_EQ(all, rule.key == 0 ? rule.text + "\r\n" : "");
}

inline void ExpectOnceWithTheKeyMissingSpeaksAtTheFirstFiringOnly(const RuleCase& rule) {
  RuleBench b;
  b.m().Once = 1;
  for (int pass = 1; pass <= rule.limit_pass; ++pass) {
    rule.hold(b, pass);
    const std::string text = b.Pass();
    if (pass < rule.limit_pass) {
      ASSERT_EQ(text, "") << "pass " << pass;
    } else {
      EXPECT_EQ(text, rule.text + "\r\n");
    }
  }
  std::string later;
  for (int pass = rule.limit_pass + 1; pass <= 2 * rule.limit_pass; ++pass) {
    rule.hold(b, pass);
    later += b.Pass();
  }
  EXPECT_EQ(rule.count(b.m()), 0);
  EXPECT_EQ(later, rule.key == 0 ? rule.text + "\r\n" : "");
}

}  // namespace tarnex::testing
