#include <gtest/gtest.h>

#include "core/figures.h"
#include "core/texts.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(CPUAver, FiftyNinthSampleStillShowsTheCount) {
  SimApp s;
  for (int i = 0; i < 59; ++i) CPUAver(s.ctx(), "40.0");
  EXPECT_EQ(s.model().CPULastMin, "Data < 60 (59)");
  EXPECT_TRUE(s.model().CAver2.empty());
}

TEST(CPUAver, SixtiethSampleGivesTheMinuteAverageAtOnce) {
  SimApp s;
  for (int i = 0; i < 30; ++i) CPUAver(s.ctx(), "40.0");
  for (int i = 0; i < 30; ++i) CPUAver(s.ctx(), "45.5");
  EXPECT_EQ(s.model().CPULastMin, "CPU Last Min = 42.8%");
  EXPECT_EQ(s.model().LastMinText, "43%");
  EXPECT_EQ(s.model().CAver2, TextList{"43"});
  EXPECT_TRUE(s.model().CAver1.empty());
  EXPECT_EQ(s.model().CPULastHR, "Data < 60 (1)");
  EXPECT_EQ(s.model().CPULast24, "Data < 24 (0)");
  CPUAver(s.ctx(), "10.0");
  EXPECT_EQ(s.model().CPULastMin, "CPU Last Min = 43%");
}

TEST(CPUAver, IdleMinutePrintsEmptyNumbers) {
  SimApp s;
  for (int i = 0; i < 60; ++i) CPUAver(s.ctx(), "0.0");
  EXPECT_EQ(s.model().CPULastMin, "CPU Last Min = .0%");
  EXPECT_EQ(s.model().LastMinText, "%");
  EXPECT_EQ(s.model().CAver2, TextList{""});
  CPUAver(s.ctx(), "0.0");
  EXPECT_EQ(s.model().CPULastMin, "CPU Last Min = %");
}

TEST(CPUAver, HourTextComesFromTheSumsAfterSixtyMinutes) {
  SimApp s;
  for (int minute = 0; minute < 59; ++minute) {
    for (int i = 0; i < 60; ++i) CPUAver(s.ctx(), minute < 30 ? "20.0" : "31.0");
  }
  EXPECT_EQ(s.model().CPULastHR, "Data < 60 (59)");
  for (int i = 0; i < 60; ++i) CPUAver(s.ctx(), "31.0");
  // 30 minutes at 20 and 30 at 31.
  EXPECT_EQ(s.model().CPULastHR, "CPU Last Hr = 25.5%");
  EXPECT_EQ(s.model().LastHourText, "26%");
  EXPECT_EQ(s.model().CAver3, TextList{"26"});
  EXPECT_EQ(s.model().CHours, TextList{"1000"});
  EXPECT_TRUE(s.model().CAver2.empty());
  EXPECT_EQ(s.model().CPULast24, "Data < 24 (1)");
  for (int i = 0; i < 60; ++i) CPUAver(s.ctx(), "5.0");
  EXPECT_EQ(s.model().CPULastHR, "CPU Last Hr = 26%");
}

TEST(CPUAver, AfterTheTwentyFourthHourTheOldestIsDropped) {
  SimApp s;
  s.model().CAver3 = TextList(23, "10");
  s.model().CHours = TextList(23, "0900");
  s.model().CAver3[0] = "58";
  s.model().CAver2 = TextList(59, "34");
  for (int i = 0; i < 60; ++i) CPUAver(s.ctx(), "34.0");
  // 58 + 22 x 10 + 34 over 24 hours; the oldest entry then goes.
  EXPECT_EQ(s.model().CPULast24, "CPU 24 Hrs = 13.0%");
  EXPECT_EQ(s.model().CAver3.size(), 23u);
  EXPECT_EQ(s.model().CAver3.front(), "10");
  EXPECT_EQ(s.model().CAver3.back(), "34");
  EXPECT_EQ(s.model().CHours.size(), 23u);
  EXPECT_EQ(s.model().CHours.back(), "1000");
}

TEST(TextRules, UpTimeOfTwoDaysSaysFortyEightHours) {
  EXPECT_EQ(UpTimeText(172800), "2 Days - 48 Hrs - 0 Min - 00 Sec");
}

TEST(TextRules, UpTimeBuildsFromTheLargestUnitThatApplies) {
  EXPECT_EQ(UpTimeText(0), "00 Sec");
  EXPECT_EQ(UpTimeText(59), "59 Sec");
  EXPECT_EQ(UpTimeText(61), "1 Min - 01 Sec");
  EXPECT_EQ(UpTimeText(3661), "1 Hrs - 1 Min - 01 Sec");
  EXPECT_EQ(UpTimeText(90061), "1 Days - 25 Hrs - 1 Min - 01 Sec");
  // Days wrap at 60 and hours at 60.
  EXPECT_EQ(UpTimeText(61.0 * 86400), "1 Days - 24 Hrs - 0 Min - 00 Sec");
}

TEST(TextRules, MinutesAndSecondsText) {
  EXPECT_EQ(MinSecText(125), "2 Min :05 Sec");
  EXPECT_EQ(MinSecText(59), "0 Min :59 Sec");
  EXPECT_EQ(MinSecText(3600), "0 Min :00 Sec");
}

TEST(TextRules, SizeTextPicksTheUnit) {
  std::string t;
  ASSERT_TRUE(SizeText(99999999, t));
  EXPECT_EQ(t, "100 MB");
  ASSERT_TRUE(SizeText(100000000, t));
  EXPECT_EQ(t, "0 GB");
  ASSERT_TRUE(SizeText(2500000000000, t));
  EXPECT_EQ(t, "3 TB");
  t = "kept";
  EXPECT_FALSE(SizeText(100000000000000, t));
  EXPECT_EQ(t, "kept");
}

std::string Scenario(const std::string& counters) {
  return R"({"start": "2012-11-14 10:00:00",
    "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
    "counters": {"\\Processor(0)\\% Idle Time": 50)" +
         (counters.empty() ? "" : ", " + counters) + "}}";
}

TEST(Timer1, ProcessorFiguresAndTexts) {
  SimApp s(Scenario(R"("\\Processor(_Total)\\% Processor Time": [12.34, 99.96],
      "\\\\SRV1\\Processor Information(0,0)\\Processor Frequency": 2400.4,
      "\\\\SRV1\\Processor Information(_Total)\\% Interrupt Time": 3,
      "\\\\SRV1\\Processor Information(_Total)\\Interrupts/sec": 812.6,
      "\\\\SRV1\\Processor Information(_Total)\\DPCs Queued / sec": 7.2,
      "\\\\SRV1\\Processor Information(_Total)\\% Privileged Time": 4)"));
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.CPUUsage, "12.3");
  EXPECT_EQ(m.cpu1, "12.3%");
  EXPECT_EQ(m.CPUSpeed, 2400);
  EXPECT_EQ(m.CPUMHZ, "2400 MHz");
  EXPECT_EQ(m.Label32, "1.5%");
  EXPECT_EQ(m.Interrupts, "813");
  EXPECT_EQ(m.Label77, "Interrupts: 813 Sec");
  EXPECT_EQ(m.DPCPercent, "0");
  EXPECT_EQ(m.Label22, "DPC Queue: 7 Sec");
  EXPECT_EQ(m.Label23, "DPC: 0%");
  EXPECT_EQ(m.CPUPrivilege, "4");
  EXPECT_EQ(m.picGraph0.back(), 12);
  EXPECT_EQ(m.picGraph0[298], 0);
  s.loop().Wait(1000);
  EXPECT_EQ(m.CPUUsage, "100.0");
  EXPECT_EQ(m.picGraph0.back(), 100);
  EXPECT_EQ(m.picGraph0[298], 12);
  EXPECT_EQ(m.CAver1, (TextList{"12.3", "100.0"}));
}

TEST(Timer1, WithoutDeferredCallFiguresBothBecomeMinusOne) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Interrupts, "0");
  EXPECT_EQ(s.model().DPCQueued, "-1");
  EXPECT_EQ(s.model().DPCPercent, "-1");
  EXPECT_EQ(s.model().Label22, "");
  EXPECT_EQ(s.model().Label23, "");
  EXPECT_EQ(s.model().Label77, "Interrupts: 0 Sec");
}

TEST(Timer1, ZeroSpeedKeepsTheLastSpeed) {
  SimApp s(Scenario(R"("\\\\SRV1\\Processor Information(0,0)\\Processor Frequency": [2800, 0])"));
  ASSERT_TRUE(s.app().FormLoad());
  s.model().MaxClockSpeed = 3000;
  EXPECT_EQ(s.model().CPUSpeed, 2800);
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().CPUSpeed, 2800);  // "" from format "#" cannot be stored
}

TEST(Timer1, SlowReportedSpeedIsReplacedByTheMaximum) {
  SimApp s(Scenario(R"("\\\\SRV1\\Processor Information(0,0)\\Processor Frequency": 99)"));
  ASSERT_TRUE(s.app().FormLoad());
  s.model().MaxClockSpeed = 2400;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().CPUSpeed, 2400);
  EXPECT_EQ(s.model().CPUMHZ, "2400 MHz");
}

TEST(Timer1, SystemAndMemoryTexts) {
  SimApp s(Scenario(R"("\\Objects\\Processes": 57, "\\Process(_Total)\\Thread Count": 1234,
      "\\Process(_Total)\\Handle Count": 45678.4, "\\\\SRV1\\System\\System Up Time": 172800,
      "\\\\SRV1\\System\\Context Switches/Sec": 1500.5, "\\\\SRV1\\System\\System Calls/sec": 0,
      "\\\\SRV1\\Memory\\Page Faults/sec": 321, "\\\\SRV1\\Memory\\Available Bytes": 1500000000,
      "\\\\SRV1\\Memory\\Committed Bytes": [2499999999, 3000000000],
      "\\\\SRV1\\Memory\\Cache Bytes": 250000000, "\\\\SRV1\\Memory\\Cache Bytes Peak": 300000000,
      "\\\\SRV1\\Memory\\Pool Paged Bytes": [100000000, 200000000],
      "\\\\SRV1\\Memory\\Pool Nonpaged Bytes": [50000000, 60000000],
      "\\\\SRV1\\Memory\\Pages/sec": 12, "\\\\SRV1\\Memory\\Pages Input/sec": 3,
      "\\\\SRV1\\Memory\\Pages Output/sec": 4, "\\\\SRV1\\Memory\\Page Reads/sec": 5,
      "\\\\SRV1\\Memory\\Page Writes/sec": 6)"));
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.procnum, "Processes: 57");
  EXPECT_EQ(m.procnumb, "Threads: 1,234");
  EXPECT_EQ(m.Label39, "Handles: 45,678");
  EXPECT_EQ(m.Label38, "Up Time: 2 Days - 48 Hrs - 0 Min - 00 Sec");
  EXPECT_EQ(m.Label36, "Contect Switches: 1,501");
  EXPECT_EQ(m.SystemCallsText, "System Calls: 0");
  EXPECT_EQ(m.Label30, "Page Faults: 321 Sec");
  EXPECT_EQ(m.free, "Free MEM: 1,500 MB");
  EXPECT_EQ(m.used, "Used MEM: 2,500 MB");
  EXPECT_EQ(m.Label29, "Page Reads: 5 Sec");
  EXPECT_EQ(m.Label28, "Page Writes: 6 Sec");
  EXPECT_EQ(m.Label42, "Cache B/P: 250/300MB");
  // The pools are read after this line: the first cycle shows zeros.
  EXPECT_EQ(m.Label41, "Page/Non: 0/0MB");
  EXPECT_EQ(m.Label40, "Memory Pages: 12 Sec");
  EXPECT_EQ(m.Label43, "Memory Pages Input: 3 Sec");
  EXPECT_EQ(m.Label44, "Memory Pages Output: 4 Sec");
  EXPECT_EQ(m.TotalMemory, 3999999999.0);
  s.loop().Wait(1000);
  EXPECT_EQ(m.Label41, "Page/Non: 100/50MB");
  EXPECT_EQ(m.TotalMemory, 3999999999.0);  // the first non-zero total stays
}

TEST(Timer1, DiskSumsPeaksAndTexts) {
  SimApp s(Scenario(R"("\\\\SRV1\\LogicalDisk(C:)\\% Free Space": 41.6,
      "\\\\SRV1\\LogicalDisk(C:)\\Free Megabytes": 20480,
      "\\\\SRV1\\LogicalDisk(C:)\\Disk Read Bytes/sec": [3000000, 1000000],
      "\\\\SRV1\\LogicalDisk(C:)\\Disk Write Bytes/sec": 500000,
      "\\\\SRV1\\LogicalDisk(C:)\\Current Disk Queue Length": 2,
      "\\\\SRV1\\LogicalDisk(C:)\\% Disk Time": 12.5,
      "\\\\SRV1\\LogicalDisk(C:)\\% Idle Time": [24.5, 80])"));
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  // 24.5 lies in two bands and counts in both.
  EXPECT_EQ(m.IdleSamples, 1);
  EXPECT_EQ(m.IdleBand3, 1);
  EXPECT_EQ(m.IdleBand2, 1);
  EXPECT_EQ(m.IdlePer[3], "79-100: 100%");
  EXPECT_EQ(m.IdlePer[2], "50-79: 100%");
  EXPECT_EQ(m.IdlePer[0], "0-24: 0%");
  s.loop().Wait(1000);
  EXPECT_EQ(m.IdleBand0, 1);
  EXPECT_EQ(m.IdlePer[0], "0-24: 50%");
  EXPECT_EQ(m.DiskReadDay, 4000000);
  EXPECT_EQ(m.DiskReadMonth, 4000000);
  EXPECT_EQ(m.DiskWriteDay, 1000000);
  EXPECT_EQ(m.DiskTotalDay, 5000000);
  EXPECT_EQ(m.DiskReadPeak, 3000000);
  EXPECT_EQ(m.Label45, "Read: 1 MBps");
  EXPECT_EQ(m.Label46, "Write: 1 MBps");
  EXPECT_EQ(m.Label49, "PeakR: 3 MBps");
  EXPECT_EQ(m.Label50, "PeakW: 1 MBps");
  EXPECT_EQ(m.Label47, "Read D/M: 4 MB / 4 MB");
  EXPECT_EQ(m.Label48, "Write D/M: 1 MB / 1 MB");
  EXPECT_EQ(m.Label65, "Total D/M: 5 MB / 5 MB");
  EXPECT_EQ(m.Label58, "Time: 13 %");
  EXPECT_EQ(m.Label60, "Idle: 80 %");
  EXPECT_EQ(m.Label62, "Free: 20,480 MB");
  EXPECT_EQ(m.Label59, "Free: 42 %");
  EXPECT_EQ(m.Label61, "Queue: 2");
}

TEST(Timer1, DayAbove1e14KeepsTheLastText) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Label47, "Read D/M: 0 MB / 0 MB");
  s.model().DiskReadDay = 2e14;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().Label47, "Read D/M: 0 MB / 0 MB");
  EXPECT_EQ(s.model().Label65, "Total D/M: 0 MB / 0 MB");
  EXPECT_EQ(s.model().Label48, "Write D/M: 0 MB / 0 MB");
}

TEST(Timer1, LogAllWindowCountsDownAndEnds) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().LogAllSeconds = 60;
  s.model().LogAllElapsed = 0;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().Label27, "Logging All Data for 0 Min :59 Sec");
  s.loop().Wait(59000);
  EXPECT_EQ(s.model().LogAllSeconds, 0);
  EXPECT_EQ(s.model().LogAllElapsed, 0);
  EXPECT_EQ(s.model().Label27, "Data Located at " + s.dir() + "\\Events\\SnapShot");
}

TEST(Timer1, LogAllWindowEndsAbove900Elapsed) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().LogAllSeconds = 5000;
  s.model().LogAllElapsed = 900;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().LogAllSeconds, 0);
}

TEST(Timer1, RulePassLeavesTheTickCounterAtZeroAfterEveryCycle) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().MinuteTick, 0);
  s.loop().Wait(59000);
  EXPECT_EQ(s.model().MinuteTick, 0);
  // Even a counter far past its wrap is back at 0 after the next pass.
  s.model().MinuteTick = 100;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().MinuteTick, 0);
}

TEST(Timer1, ProgramListIsNotRefreshedAtTheThirtiethTickInSteadyRunning) {
  SimApp s;
  s.sim().running[100] = "C:\\Apps\\first.exe";
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Programlist, TextList{"first"});
  s.sim().running[101] = "C:\\Apps\\second.exe";
  s.loop().Wait(120000);
  EXPECT_EQ(s.model().Programlist, TextList{"first"});
}

TEST(Timer1, ServicesAreNotCountedAgainAtTheSixtiethTickInSteadyRunning) {
  SimApp s;
  s.sim().services = 40;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().ServiceCount, 40);
  s.sim().services = 41;
  s.loop().Wait(180000);
  EXPECT_EQ(s.model().ServiceCount, 40);
  EXPECT_EQ(s.model().ServiceText, "Service: 40");
}

TEST(Timer1, IntervalStaysAtASecondInSimulation) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().Wait(10000);
  EXPECT_EQ(s.loop().TimerInterval(s.app().Timer1Id()), 1000);
  EXPECT_EQ(s.model().CycleElapsed, 0.0f);
  EXPECT_EQ(s.model().MinuteTick, 0);
}

TEST(Timer1, UnaddedCountersReadZeroAndTheCycleRunsWhole) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().CPUUsage, "0.0");
  EXPECT_EQ(s.model().procnum, "Processes: 0");
  EXPECT_EQ(s.model().Label38, "Up Time: 00 Sec");
  EXPECT_EQ(s.model().Label44, "Memory Pages Output: 0 Sec");
}

TEST(Graphs, OneNewSampleDrawsAFlatLineAndALastRise) {
  SimApp s;
  Plot(s.model().picGraph0, 40);
  const auto& h = s.model().picGraph0;
  ASSERT_EQ(h.size(), 300u);
  EXPECT_EQ(h.back(), 40);
  for (size_t i = 0; i + 1 < h.size(); ++i) ASSERT_EQ(h[i], 0) << i;
}

TEST(Graphs, ValuesShiftTowardsTheStartAndAreNotLimited) {
  SimApp s;
  Plot(s.model().CPUU2, 100);
  Plot(s.model().CPUU2, 250);
  const auto& h = s.model().CPUU2;
  ASSERT_EQ(h.size(), 30u);
  EXPECT_EQ(h[28], 100);
  EXPECT_EQ(h[29], 250);
  for (int i = 0; i < 60; ++i) Plot(s.model().CPUU0, i);
  EXPECT_EQ(s.model().CPUU0.front(), 0);
  EXPECT_EQ(s.model().CPUU0.back(), 59);
  Plot(s.model().CPUU0, 60);
  EXPECT_EQ(s.model().CPUU0.front(), 1);
  EXPECT_EQ(s.model().CPUU1.size(), 60u);
  EXPECT_EQ(s.model().picGraph1.size(), 300u);
  EXPECT_EQ(s.model().picGraph2.size(), 300u);
}

}  // namespace
}  // namespace tarnex::testing
