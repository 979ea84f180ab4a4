// The rules on single programs: one program a tick, clock-based marks and
// visit counts.
#include <gtest/gtest.h>

#include "tests/rules_support.h"

namespace tarnex::testing {
namespace {

const char* const kSuffixes[6] = {"% Processor Time", "Virtual Bytes",     "Page Faults/sec",
                                  "Working Set",      "IO Read Bytes/sec", "IO Write Bytes/sec"};
enum Counter { kCPU, kVirtual, kFaults, kWorkingSet, kRead, kWrite };

// The six counters of each named program, at 0.
std::string ProgramCounters(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& name : names) {
    for (const char* suffix : kSuffixes) {
      if (!out.empty()) out += ", ";
      out += "\"" + JsonEscape("\\Process(" + name + ")\\" + suffix) + "\": 0";
    }
  }
  return out;
}

std::vector<std::string> Paths(const std::vector<std::string>& names) {
  std::vector<std::string> out;
  for (const auto& n : names) out.push_back("C:\\Apps\\" + n + ".exe");
  return out;
}

class Programs {
 public:
  explicit Programs(const std::vector<std::string>& names = {"app"},
                    const std::string& start = "2012-11-14 10:00:00")
      : b_(RuleScenario(Paths(names), ProgramCounters(names), start)) {
    b_.m().BNPrograms = 1;
  }
  RuleBench& b() { return b_; }
  ServerModel& m() { return b_.m(); }
  void Set(const std::string& name, Counter c, double value) {
    b_.Counter("\\Process(" + name + ")\\" + kSuffixes[c], value);
  }
  // One second later, one pass.
  std::string Tick() {
    b_.sim().sim().Time().Advance(1000);
    return b_.Pass();
  }
  std::string Ticks(int n) {
    std::string all;
    for (int i = 0; i < n; ++i) all += Tick();
    return all;
  }

 private:
  RuleBench b_;
};

std::string CPUText(const std::string& name, const std::string& write_high,
                    const std::string& mark) {
  return "The Program " + name + " has had High Processor/CPU (" + write_high + "%) for over " +
         mark +
         " Sec. Excessive Processor Usage can cause other programs not to function as "
         "expected.\r\n";
}

TEST(RulesPrograms, OneProgramIsExaminedOnEveryTick) {
  Programs p;
  EXPECT_EQ(p.m().ProgLast, 0);
  for (int i = 0; i < 3; ++i) {
    p.Tick();
    EXPECT_EQ(p.m().ProgIndex, 0);
  }
  EXPECT_EQ(p.m().ProgName[0], "app");
}

TEST(RulesPrograms, ProgramsAreVisitedInTurn) {
  Programs p({"one", "two", "three"});
  // The counter set-up leaves the index at the last program.
  EXPECT_EQ(p.m().ProgIndex, 2);
  std::vector<int32_t> seen;
  for (int i = 0; i < 5; ++i) {
    p.Tick();
    seen.push_back(p.m().ProgIndex);
  }
  EXPECT_EQ(seen, (std::vector<int32_t>{0, 1, 2, 0, 1}));
  EXPECT_EQ(p.m().ProgName[2], "three");
}

TEST(RulesPrograms, ProcessorOver300SecondsQuotesTheMarkAndWriteHigh) {
  Programs p;
  p.Set("app", kCPU, 170);      // 85% of the machine with 2 processors
  EXPECT_EQ(p.b().Pass(), "");  // 10:00:00, the mark is set
  EXPECT_EQ(p.m().CPUStart[0], 36000.0f);
  EXPECT_EQ(p.m().CPUHold[0], 85);
  EXPECT_EQ(p.Ticks(300), "");  // 300 seconds is not above 300
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000"));
  // Nothing clears the mark: the text comes at every visit.
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000"));
  p.Set("app", kCPU, 160);  // 80: not above
  EXPECT_EQ(p.Tick(), "");
  EXPECT_EQ(p.m().CPUStart[0], 0.0f);
}

TEST(RulesPrograms, ProcessorTextQuotesTheLastHighWriteRate) {
  Programs p;
  p.Set("app", kCPU, 200);
  p.Set("app", kWrite, 60000000);
  p.b().Pass();
  p.Set("app", kWrite, 0);
  p.Ticks(300);
  EXPECT_EQ(p.Tick(), CPUText("app", "60000000", "36000"));
}

TEST(RulesPrograms, MarkKeepsTheFractionOfTheClockAsASingle) {
  Programs p;
  p.b().sim().sim().Time().Advance(250);
  p.Set("app", kCPU, 200);
  p.b().Pass();
  EXPECT_EQ(p.m().CPUStart[0], 36000.25f);
  p.Ticks(300);
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000.25"));
}

TEST(RulesPrograms, SteadyNinetyPercentOfOneProcessorOnTwoIsNotHigh) {
  Programs p;
  p.Set("app", kCPU, 90);
  EXPECT_EQ(p.Ticks(400), "");
  EXPECT_EQ(p.m().CPUStart[0], 0.0f);
  EXPECT_EQ(p.m().CPUHold[0], 0);
}

TEST(RulesPrograms, MissingProcessorCountMakesTheProcessorTestHold) {
  Programs p;
  p.m().ProcessorCount = "";
  p.b().Pass();
  EXPECT_EQ(p.m().CPUStart[0], 36000.0f);
  EXPECT_EQ(p.m().CPUHold[0], 0);
  EXPECT_EQ(p.Ticks(300), "");
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000"));
}

TEST(RulesPrograms, VirtualMemoryGrowingAtEveryVisitFor600Seconds) {
  Programs p;
  const std::string text =
      "The Program app has had its Virtual Memory continually grow for over 36000 Sec. This "
      "continuing to grow could mean a memory shortage or program issues, such as programming "
      "issues or memory leaks.\r\n";
  p.Set("app", kVirtual, 1000);
  p.b().Pass();
  for (int s = 1; s <= 600; ++s) {
    p.Set("app", kVirtual, 1000 + s);
    ASSERT_EQ(p.Tick(), "") << s;
  }
  p.Set("app", kVirtual, 2000);
  EXPECT_EQ(p.Tick(), text);
  EXPECT_EQ(p.m().VirtualHigh[0], 2000);
  // A visit without a new high clears the mark.
  EXPECT_EQ(p.Tick(), "");
  EXPECT_EQ(p.m().VirtualStart[0], 0.0f);
}

TEST(RulesPrograms, PageFaultsCountVisitsWithANewHigh) {
  Programs p;
  const auto text = [](int n) {
    return "The Program app has had high Page Faults for over " + std::to_string(n) +
           " Sec. Excessive page faults from a particular process are an indication usually of "
           "bad coding practices. Either the functions and DLLs are not organized correctly, or "
           "the data set that the application is using is being called in a less than "
           "efficient manner.\r\n";
  };
  for (int v = 1; v <= 60; ++v) {
    p.Set("app", kFaults, v);
    ASSERT_EQ(p.Tick(), "") << v;
  }
  p.Set("app", kFaults, 61);
  EXPECT_EQ(p.Tick(), text(61));
  p.Set("app", kFaults, 62);
  EXPECT_EQ(p.Tick(), text(62));
  EXPECT_EQ(p.Tick(), "");
  EXPECT_EQ(p.m().FaultCount[0], 0);
  EXPECT_EQ(p.m().FaultHigh[0], 62);
}

TEST(RulesPrograms, WorkingSetCountsVisitsWithANewHigh) {
  Programs p;
  for (int v = 1; v <= 90; ++v) {
    p.Set("app", kWorkingSet, v * 1000);
    ASSERT_EQ(p.Tick(), "") << v;
  }
  p.Set("app", kWorkingSet, 91000);
  EXPECT_EQ(p.Tick(),
            "The Program app has had its Working Set continually grow for over 91 Sec. If there "
            "is not a Memory Shortage then this may indicate the Programs code is causing a "
            "Memory Leak!\r\n");
}

TEST(RulesPrograms, DiskReadsOver600Seconds) {
  Programs p;
  p.Set("app", kRead, 50000001);
  p.b().Pass();
  EXPECT_EQ(p.Ticks(600), "");
  EXPECT_EQ(p.Tick(),
            "The Program app has had high Hard Drive Reads (50000001 Bytes) for over 36000 Sec. "
            "Excessive Hard Drive Usage by one program can cause others to have to wait for "
            "processing\r\n");
}

TEST(RulesPrograms, DiskReadOfExactly50000000DoesNotCount) {
  Programs p;
  p.Set("app", kRead, 50000000);
  EXPECT_EQ(p.Ticks(700), "");
  EXPECT_EQ(p.m().ReadStart[0], 0.0f);
  EXPECT_EQ(p.m().ReadHigh[0], 0);
}

TEST(RulesPrograms, DiskWritesOver600Seconds) {
  Programs p;
  p.Set("app", kWrite, 70000000);
  p.b().Pass();
  EXPECT_EQ(p.Ticks(600), "");
  EXPECT_EQ(p.Tick(),
            "The Program app has had high Hard Drive Writes (70000000 Bytes) for over 36000 Sec. "
            "Excessive Hard Drive Usage by one program can cause others to have to wait for "
            "processing\r\n");
}

TEST(RulesPrograms, WithThreeProgramsEachIsExaminedEveryThirdSecond) {
  Programs p({"one", "two", "three"});
  p.Set("two", kCPU, 200);
  std::string all = p.Ticks(303);
  EXPECT_EQ(all, "");
  // "two" was first seen at the second tick, 10:00:02.
  EXPECT_EQ(p.m().CPUStart[1], 36002.0f);
  all = p.Ticks(3);
  EXPECT_EQ(all, CPUText("two", "0", "36002"));
}

TEST(RulesPrograms, EpisodeSpanningMidnightDoesNotFire) {
  Programs p({"app"}, "2012-11-14 23:58:00");
  p.Set("app", kCPU, 200);
  p.b().Pass();
  EXPECT_EQ(p.m().CPUStart[0], 86280.0f);
  EXPECT_EQ(p.Ticks(600), "");  // to 00:08:00
  EXPECT_EQ(p.m().CPUStart[0], 86280.0f);
}

TEST(RulesPrograms, MarkFromTheDayBeforeFiresOnlyPastMarkPlusLimitNextDay) {
  Programs p({"app"}, "2012-11-15 00:00:10");
  p.Set("app", kCPU, 200);
  // A mark left from 22:13:20 the day before, the block having been off.
  p.m().CPUStart[0] = 80000;
  EXPECT_EQ(p.b().Pass(), "");
  EXPECT_EQ(p.m().CPUStart[0], 80000.0f);
  // 22:18:20 is 300 seconds past the mark: not above.
  p.b().sim().sim().Time().Advance((80300 - 10 - 1) * 1000LL);
  EXPECT_EQ(p.Tick(), "");
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "80000"));
}

TEST(RulesPrograms, BlockDoesNotRunWhileTheDataViewIsOpen) {
  Programs p;
  p.Set("app", kCPU, 200);
  p.Set("app", kFaults, 5);
  p.b().Pass();
  p.m().BNViewOpen = 1;
  p.Set("app", kCPU, 0);
  p.Set("app", kFaults, 0);
  const int32_t index = p.m().ProgIndex;
  EXPECT_EQ(p.Ticks(400), "");
  EXPECT_EQ(p.m().CPUStart[0], 36000.0f);
  EXPECT_EQ(p.m().FaultCount[0], 1);
  EXPECT_EQ(p.m().ProgIndex, index);
  EXPECT_EQ(p.m().ProgCPU[0], 200);
  // Closed again, the rules resume where they were.
  p.m().BNViewOpen = 0;
  p.Set("app", kCPU, 200);
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000"));
}

TEST(RulesPrograms, SwitchOffMeansNoVisit) {
  Programs p;
  p.m().BNPrograms = 2;
  p.Set("app", kCPU, 200);
  p.Ticks(5);
  EXPECT_EQ(p.m().ProgName[0], "");
  EXPECT_EQ(p.m().CPUStart[0], 0.0f);
}

TEST(RulesPrograms, OnceDoesNotSilenceThem) {
  Programs p;
  p.m().Once = 1;
  for (int key = 1; key <= 100; ++key) p.b().SetKey(key, "1");
  p.Set("app", kCPU, 200);
  p.b().Pass();
  p.Ticks(300);
  EXPECT_EQ(p.Tick(), CPUText("app", "0", "36000"));
}

TEST(RulesPrograms, EndedProgramReadsZeroAndItsMarksGoToZero) {
  Programs p;
  p.Set("app", kCPU, 200);
  p.Set("app", kRead, 60000000);
  p.b().Pass();
  EXPECT_NE(p.m().ReadStart[0], 0.0f);
  p.Set("app", kCPU, 0);
  p.Set("app", kRead, 0);
  p.Tick();
  EXPECT_EQ(p.m().CPUStart[0], 0.0f);
  EXPECT_EQ(p.m().ReadStart[0], 0.0f);
}

TEST(RulesPrograms, EmptyListExaminesTheFirstSlotWithAnEmptyName) {
  Programs p(std::vector<std::string>{});
  EXPECT_EQ(p.m().ProgLast, -1);
  p.m().ProgName[0] = "old";
  p.Tick();
  EXPECT_EQ(p.m().ProgIndex, 0);
  EXPECT_EQ(p.m().ProgName[0], "");
}

TEST(RulesPrograms, PositionsPastTheLastSlotArePassedOver) {
  std::vector<std::string> names;
  for (int i = 0; i < 150; ++i) names.push_back("p" + std::to_string(i));
  RuleBench b(RuleScenario(Paths(names)));
  b.m().BNPrograms = 1;
  // No counters exist for these programs: all read 0.
  EXPECT_EQ(b.m().ProgLast, 149);
  std::vector<int32_t> seen;
  for (int i = 0; i < 151; ++i) {
    ASSERT_EQ(b.Pass(), "");
    seen.push_back(b.m().ProgIndex);
  }
  EXPECT_EQ(seen[0], 0);
  EXPECT_EQ(seen[100], 100);
  EXPECT_EQ(seen[101], 101);
  EXPECT_EQ(seen[149], 149);
  EXPECT_EQ(seen[150], 0);
  EXPECT_EQ(b.m().ProgName[100], "p100");
}

}  // namespace
}  // namespace tarnex::testing
