// The traffic tick, the month table and the totals restored at start-up.
#include <gtest/gtest.h>

#include "base/legacy.h"
#include "tests/calendar_support.h"

namespace tarnex::testing {
namespace {

TEST(TrafficTick, EachRateCountsAsOneSecondOfBytesOnEveryTotal) {
  TrafficBench b;
  b.Start();
  b.m().DailySent = "1000";
  b.m().tup = "2000";
  b.m().AnnualSent = "3000";
  b.Counter("Bytes Sent/sec", 500);
  b.Counter("Bytes Received/sec", 250);
  b.Tick();
  EXPECT_EQ(b.m().CurSent, 4000);
  EXPECT_EQ(b.m().CurRec, 2000);
  EXPECT_EQ(b.m().DailySent, "1500");
  EXPECT_EQ(b.m().tup, "2500");
  EXPECT_EQ(b.m().AnnualSent, "3500");
  EXPECT_EQ(b.m().DailyRec, "250");
  EXPECT_EQ(b.m().upthru, "Cur Sent: 4 Kb");
  EXPECT_EQ(b.m().dnthru, "Cur Rec'd: 2 Kb");
}

TEST(TrafficTick, TheSixTotalsAreWrittenEveryTick) {
  TrafficBench b;
  b.Start();
  b.Counter("Bytes Sent/sec", 1000000);
  b.Counter("Bytes Received/sec", 3000000);
  b.Tick();
  b.Tick();
  EXPECT_EQ(b.Key("Bandwidth", "Daily Sent"), b.m().DailySent);
  EXPECT_EQ(b.Key("Bandwidth", "Daily Rec"), b.m().DailyRec);
  EXPECT_EQ(b.Key("Bandwidth", "Total Sent"), b.m().tup);
  EXPECT_EQ(b.Key("Bandwidth", "Total Rec"), b.m().tdn);
  EXPECT_EQ(b.Key("Bandwidth", "Annual Sent"), b.m().AnnualSent);
  EXPECT_EQ(b.Key("Bandwidth", "Annual Rec"), b.m().AnnualRec);
  b.s().loop().DoEvents();
  const std::string file = ReadFile(b.s().dir() + "/Bin/Tarnex.Tnx");
  EXPECT_NE(file.find("Daily Sent=" + b.m().DailySent + "\r\nDaily Rec=" + b.m().DailyRec +
                      "\r\nTotal Sent=" + b.m().tup + "\r\nTotal Rec=" + b.m().tdn +
                      "\r\nAnnual Sent=" + b.m().AnnualSent + "\r\nAnnual Rec=" + b.m().AnnualRec +
                      "\r\n"),
            std::string::npos)
      << file;
}

TEST(TrafficTick, AnAdapterCountOfZeroAddsNothing) {
  TrafficBench b(
      TrafficScenario().replace(TrafficScenario().find("[\"Intel Ethernet\"]"), 18, "[]"));
  b.Start();
  ASSERT_EQ(b.m().AdapterCount, 0);
  b.m().DailySent = "77";
  b.Tick();
  EXPECT_EQ(b.m().CurSent, 0);
  EXPECT_EQ(b.m().DailySent, "77");
}

TEST(TrafficTick, TheQueueLengthSumIsNeverReset) {
  TrafficBench b;
  b.Start();
  b.Counter("Output Queue Length", 3);
  b.Counter("Packets/sec", 10);
  b.Tick();
  b.Tick();
  b.Tick();
  EXPECT_EQ(b.m().NetOutQueue, 9);
  EXPECT_EQ(b.m().NetPackets, 10);
  EXPECT_EQ(b.m().Label55, "Packets Send Queue: 9 Sec");
  EXPECT_EQ(b.m().Label57, "Total Packets: 10 Sec");
}

TEST(TrafficTick, ThePacketLabelsAreCrossed) {
  TrafficBench b;
  b.Start();
  b.Counter("Packets Received/sec", 1234);
  b.Counter("Packets Sent/sec", 56);
  b.Counter("Packets Received Errors", 2);
  b.Counter("Packets Outbound Errors", 3);
  b.Counter("Offloaded Connections", 4);
  b.Tick();
  EXPECT_EQ(b.m().Label52, "Packets Sent: 1,234 Sec");
  EXPECT_EQ(b.m().Label51, "Packets Rec: 56 Sec");
  EXPECT_EQ(b.m().Label53, "Packets Rec Errors: 2 Sec");
  EXPECT_EQ(b.m().Label54, "Packets Sent Errors: 3 Sec");
  EXPECT_EQ(b.m().Label56, "Offload: 4 Sec");
}

TEST(TrafficTick, EveryValueGoesThroughItsTextWithFifteenDigits) {
  TrafficBench b;
  b.Start();
  b.m().tdn = "0.1";
  b.Counter("Bytes Received/sec", 0.2);
  b.Tick();
  // 0.1 + 0.2 is 0.30000000000000004 in doubles; its text has 15 digits.
  EXPECT_EQ(b.m().tdn, "0.3");
  b.Counter("Bytes Received/sec", 1.0 / 3);
  b.Tick();
  EXPECT_EQ(b.m().AdapterBytesRec[0], 0.333333333333333);
}

TEST(TrafficTick, ATotalThatCannotBeATotalKeepsItsText) {
  TrafficBench b;
  b.Start();
  b.m().DailyRec = "1.7E+308";
  b.Counter("Bytes Received/sec", 1e308);
  b.Tick();
  EXPECT_EQ(b.m().DailyRec, "1.7E+308");
}

TEST(TrafficTick, TotalsTextsChooseTheirUnitsByTheirOwnValues) {
  EXPECT_EQ(TotalText(1e15), "1,000,000 GB");
  EXPECT_EQ(TotalText(1e12), "1,000,000 MB");
  EXPECT_EQ(TotalText(1.5e15), "1,500 TB");
  EXPECT_EQ(TotalText(2.5e12), "2,500 GB");
  EXPECT_EQ(TotalText(0), "0 MB");
  TrafficBench b;
  b.Start();
  b.m().tdn = "2500000000000";
  b.m().AnnualRec = "1500000000000000";
  b.m().tup = "7000000";
  b.m().AnnualSent = "8000000";
  b.Tick();
  EXPECT_EQ(b.m().trstart, "2,500 GB / 1,500 TB");
  EXPECT_EQ(b.m().tsstart, "7 MB / 8 MB");
  EXPECT_EQ(b.m().ttstart, "2,500 GB / 1,500 TB");
}

TEST(TrafficTick, OneMegabitCountsAsOneMbpsAndLessAsNoneWithTheGraphAtOne) {
  TrafficBench b;
  b.Start();
  b.Counter("Bytes Received/sec", 125000);  // exactly 1,000,000 bits
  b.Counter("Bytes Sent/sec", 124999);
  b.Tick();
  EXPECT_EQ(b.m().RecPeak, 1);
  EXPECT_EQ(b.m().RecMbps, 1);
  EXPECT_EQ(b.m().SentPeak, 0);
  EXPECT_EQ(b.m().SentMbps, 1) << "the graph's value is never below 1";
  EXPECT_EQ(b.m().picGraph2.back(), 1);
  EXPECT_EQ(b.m().Label8a, "") << "no peak above 0 yet";
  EXPECT_EQ(b.m().Label24, "Sent Peak: 0 Mbps");
}

TEST(TrafficTick, NinetyMbpsStaysOnTheSmallScaleAndNinetyOneTakesTheLarge) {
  TrafficBench b;
  b.Start();
  b.Counter("Bytes Received/sec", 90e6 / 8);
  b.Tick();
  EXPECT_EQ(b.m().RecMbps, 90);
  EXPECT_EQ(b.m().ScaleRec, 100);
  EXPECT_EQ(b.m().Label75, "Scale 0 to 100 Mbps");
  b.Counter("Bytes Received/sec", 91e6 / 8);
  b.Tick();
  EXPECT_EQ(b.m().ScaleRec, 1000);
  EXPECT_EQ(b.m().Label75, "Scale 0 to 1 Gbps");
  EXPECT_EQ(b.m().picGraph1.back(), 91);
  // The scale falls back as soon as the traffic does.
  b.Counter("Bytes Received/sec", 0);
  b.Tick();
  EXPECT_EQ(b.m().ScaleRec, 100);
  EXPECT_EQ(b.m().picGraph1.back(), 1);
}

TEST(TrafficTick, PeaksAreTheHighestSinceTheStartOfTheRun) {
  TrafficBench b;
  b.Start();
  b.Counter("Bytes Sent/sec", 40e6 / 8);
  b.Tick();
  b.Counter("Bytes Sent/sec", 12.4e6 / 8);
  b.Tick();
  EXPECT_EQ(b.m().SentPeak, 12);
  EXPECT_EQ(b.m().Label8a, "40");
  EXPECT_EQ(b.m().Label24, "Sent Peak: 40 Mbps");
  EXPECT_EQ(b.m().SentPeakText, "40");
}

TEST(TrafficTick, TheDayTextsShowMegabytes) {
  TrafficBench b;
  b.Start();
  b.m().DailyRec = "123456789";
  b.m().DailySent = "999999";
  b.Tick();
  EXPECT_EQ(b.m().tbrec, "D-Rec'd: 123 MB");
  EXPECT_EQ(b.m().tbsent, "D-Sent: 1 MB");
}

TEST(MonthTable, TheFirstEverStartWritesTheStartOfCounting) {
  TrafficBench b;
  b.Start();  // the cycle of the start runs the month check
  EXPECT_EQ(b.Key("Start", "Month", kBandwidthFile), "11");
  EXPECT_EQ(b.Key("Start", "Year", kBandwidthFile), "2012");
  EXPECT_EQ(b.Key("Server", "Bandwidth Month"), "Nov 2012");
  EXPECT_EQ(b.Key("Nov 2012", "Week1 Send"), "0");
  EXPECT_EQ(b.m().LastMonthLabel, "");
}

TEST(MonthTable, UpdateBWArchivesTheStoredMonthAndAddsItsSlotsToTheTotalsSince) {
  TrafficBench b;
  b.Settings(
      "[Server]\r\nBandwidth Month=Oct 2012\r\n[BW]\r\nUP=100\r\nDN=200\r\n"
      "[Oct 2012]\r\nWeek1 Send=5\r\nWeek1 Rec=6\r\nWeek2 Send=7\r\nTotal Send=40\r\n"
      "Total Rec=50\r\n");
  b.Start();
  // The start's cycle found a new month and archived the old one.
  EXPECT_EQ(b.Key("Oct 2012", "Week1 Send", kBandwidthFile), "5");
  EXPECT_EQ(b.Key("Oct 2012", "Week2 Send", kBandwidthFile), "7");
  EXPECT_EQ(b.Key("Oct 2012", "Week3 Rec", kBandwidthFile), "");
  EXPECT_EQ(b.Key("Oct 2012", "Total Rec", kBandwidthFile), "50");
  EXPECT_EQ(b.Key("BW", "UP"), "140");
  EXPECT_EQ(b.Key("BW", "DN"), "250");
  EXPECT_EQ(b.Key("Server", "Bandwidth Month"), "Nov 2012");
  EXPECT_EQ(b.Key("Nov 2012", "Total Send"), "0");
  EXPECT_EQ(b.m().BWSMon, "0");
  EXPECT_EQ(b.m().BWSWk[0], "0");
  EXPECT_EQ(b.Key("Start", "Month", kBandwidthFile), "") << "counting had begun before";
}

TEST(MonthTable, FromTheSecondCycleOnUpdateBWRunsEveryCycleAndTheTableStaysAtZero) {
  TrafficBench b;
  b.Start();
  b.m().BWSMon = "500";
  b.m().BWSWk[2] = "9";
  MonthCheck(b.ctx());
  EXPECT_EQ(b.m().BWSMon, "0");
  EXPECT_EQ(b.m().BWSWk[2], "0");
  EXPECT_EQ(b.Key("BW", "UP"), "500");
  EXPECT_EQ(b.Key("Nov 2012", "Week3 Send", kBandwidthFile), "9");
}

TEST(MonthTable, SaveITWritesTheTableToThisMonthsSection) {
  TrafficBench b;
  b.Start();
  b.m().BWSWk[0] = "11";
  b.m().BWRMon = "22";
  SaveIT(b.ctx());
  EXPECT_EQ(b.Key("Nov 2012", "Week1 Send"), "11");
  EXPECT_EQ(b.Key("Nov 2012", "Total Rec"), "22");
}

TEST(MonthTable, ClosingOnTheDayTheMonthChangedSavesToTheNewMonth) {
  TrafficBench b(TrafficScenario("2012-11-30 23:59:58"));
  b.Settings("[Server]\r\n" + MonitorPorts());  // start-up's cycle ends in November
  b.Start();
  b.s().loop().Wait(5000);  // the cycles of 00:00 see December
  EXPECT_EQ(b.m().MonthLabel, "Dec 2012");
  b.m().BWSWk[1] = "321";
  b.s().app().FormUnload();
  EXPECT_EQ(b.Key("Dec 2012", "Week2 Send"), "321");
  EXPECT_EQ(b.Key("Nov 2012", "Week2 Send"), "0");
}

TEST(MonthTable, ExitLosesTheTableUntilTheNextWrite) {
  TrafficBench b;
  b.Start();
  b.m().BWSWk[1] = "321";
  b.s().app().Exit();
  EXPECT_EQ(b.Key("Nov 2012", "Week2 Send"), "0");
}

TEST(RestoreTotals, ARestartOnANewDayClearsTheDayWithoutALogLine) {
  TrafficBench b(TrafficScenario("2012-11-15 09:00:00"));
  b.Settings(
      "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nAnnual=2012\r\n"
      "Month=Nov2012\r\nDaily=14 Nov 2012\r\nDaily Sent=100\r\nDaily Rec=200\r\n"
      "Total Sent=1000\r\nTotal Rec=2000\r\nAnnual Sent=10000\r\nAnnual Rec=20000\r\n");
  b.Start();
  EXPECT_EQ(b.m().rdate, "15 Nov 2012");
  EXPECT_EQ(b.Key("Bandwidth", "Daily"), "15 Nov 2012");
  EXPECT_EQ(b.m().DailySent, "0");
  EXPECT_EQ(b.m().DailyRec, "0");
  EXPECT_EQ(b.m().tup, "1000");
  EXPECT_EQ(b.m().AnnualRec, "20000");
  EXPECT_FALSE(b.s().Has("Logs/Daily Bandwidth.txt"));
}

TEST(RestoreTotals, ARestartInANewMonthFilesTheTotalsUnderTheNewMonthsName) {
  TrafficBench b(TrafficScenario("2012-12-03 09:00:00"));
  b.Settings(
      "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nAnnual=2012\r\n"
      "Month=Nov2012\r\nDaily=30 Nov 2012\r\nTotal Sent=1234567.5\r\nTotal Rec=2000\r\n"
      "Annual Sent=10000\r\nAnnual Rec=20000\r\n");
  b.Start();
  EXPECT_EQ(b.Key("Dec2012", "Send", kBandwidthFile), "1,234,568");
  EXPECT_EQ(b.Key("Dec2012", "Rec", kBandwidthFile), "2,000");
  EXPECT_EQ(b.Key("Dec2012", "Total", kBandwidthFile), "1,236,568");
  EXPECT_EQ(b.Key("Nov2012", "Send", kBandwidthFile), "");
  EXPECT_EQ(b.Key("Bandwidth", "Month"), "Dec2012");
  EXPECT_EQ(b.m().tup, "0");
  EXPECT_EQ(b.m().tdn, "0");
  EXPECT_EQ(b.m().BandwidthMonthKey, "Dec2012");
  EXPECT_EQ(b.m().AnnualSent, "10000") << "the year goes on";
  EXPECT_FALSE(b.s().Has("Logs/Monthly Bandwidth.txt"));
}

TEST(RestoreTotals, ARestartInANewYearZeroesTheYearAfterWritingIt) {
  TrafficBench b(TrafficScenario("2013-01-02 09:00:00"));
  b.Settings(
      "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nAnnual=2012\r\n"
      "Month=Dec2012\r\nAnnual Sent=10000\r\nAnnual Rec=20000\r\n");
  b.Start();
  EXPECT_EQ(b.Key("Bandwidth", "Annual"), "2013");
  EXPECT_EQ(b.m().BandwidthYearKey, "2013");
  EXPECT_EQ(b.m().AnnualSent, "0");
  EXPECT_EQ(b.m().AnnualRec, "0");
  EXPECT_FALSE(b.s().Has("Logs/Annual Bandwidth.txt"));
}

TEST(RestoreTotals, TheWeekTableComesFromTheMonthLastStored) {
  TrafficBench b;
  b.Settings(
      "[Server]\r\nBandwidth Month=Nov 2012\r\n[Nov 2012]\r\nWeek4 Rec=44\r\nTotal Send=55\r\n");
  b.Start();
  // The start's own cycle then finds the month unchanged: no archive.
  EXPECT_EQ(b.m().BWRWk[3], "44");
  EXPECT_EQ(b.m().BWSMon, "55");
  EXPECT_EQ(b.Key("Nov 2012", "Total Send", kBandwidthFile), "");
}

}  // namespace
}  // namespace tarnex::testing
