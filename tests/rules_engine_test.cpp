// What all rules share: the switches, the report step, Once, the accumulated
// counts, the order of the pass, and how the cycle journals the findings.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/rules_support.h"

namespace tarnex::testing {
namespace {

const char* kDayLog = "Logs/2012/Nov/14 Nov 12.txt";
const std::string kStars = std::string(84, '*');

void WriteSettings(SimApp& s, const std::string& text) {
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", text);
}

// Switches.
TEST(RulesSwitches, CopiedFromBNMonitorInTheirOrder) {
  ServerModel m;
  m.BNMonitor = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  RefreshRuleSwitches(m);
  EXPECT_EQ(m.BNCPU, 1);
  EXPECT_EQ(m.BNMemory, 2);
  EXPECT_EQ(m.BNDisk, 3);
  EXPECT_EQ(m.BNNetwork, 4);
  EXPECT_EQ(m.BNSQL, 5);
  EXPECT_EQ(m.BNFirewall, 6);
  EXPECT_EQ(m.BNWeb, 7);
  EXPECT_EQ(m.BNProxy, 8);
  EXPECT_EQ(m.BNCache, 9);
  EXPECT_EQ(m.BNServer, 10);
  EXPECT_EQ(m.Once, 11);
  EXPECT_EQ(m.BNPrograms, 12);
}

TEST(RulesSwitches, OnlyTheExactValueOneTurnsAGroupOn) {
  for (int32_t value : {2, -1, 0}) {
    RuleBench b;
    b.m().BNMonitor[2] = value;
    RefreshRuleSwitches(b.m());
    b.m().DiskQueue = 5;
    for (int i = 0; i < 20; ++i) ASSERT_EQ(b.Pass(), "");
    EXPECT_EQ(b.m().BNCount[14], 0) << value;
  }
}

TEST(RulesSwitches, OffFreezesTheCountsAndOnContinuesFromThere) {
  RuleBench b;
  b.m().BNDisk = 1;
  b.m().DiskQueue = 5;
  for (int i = 0; i < 10; ++i) b.Pass();
  b.m().BNDisk = 0;
  for (int i = 0; i < 100; ++i) b.Pass();
  EXPECT_EQ(b.m().BNCount[14], 10);
  b.m().BNDisk = 1;
  for (int i = 0; i < 4; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_EQ(b.Pass(), "Hard Drive Queue was Greater than 4 for 15 Sec\r\n");
}

TEST(RulesSwitches, ChangingBNMonitorTakesEffectOnlyOnSave) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BNMonitor[1] = 1;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().BNMemory, 0);
  s.app().Command1();
  EXPECT_EQ(s.model().BNMemory, 1);
  // Save turns Once on without marking the keys.
  s.model().BNMonitor[10] = 1;
  s.app().Command1();
  EXPECT_EQ(s.model().Once, 1);
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Bottleneck", "1"), "");
}

// Start-up.
TEST(RulesStartUp, FreshFolderGivesTheDefaultLineSpeeds) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  const auto& m = s.model();
  EXPECT_EQ(m.UpBW, "100 MB");
  EXPECT_EQ(m.DnBW, "");
  EXPECT_EQ(m.UpBWLimit, "100");
  EXPECT_EQ(m.DnBWLimit, "");
  ASSERT_EQ(m.UpBWList.size(), 90u);
  ASSERT_EQ(m.DnBWList.size(), 90u);
  EXPECT_EQ(m.UpBWList.front(), "11 MB");
  EXPECT_EQ(m.UpBWList[1], "12 MB");
  EXPECT_EQ(m.UpBWList.back(), "100 MB");
  EXPECT_EQ(m.DnBWList, m.UpBWList);
}

TEST(RulesStartUp, EmptyDownloadSpeedGivesTheUploadSpeedItsDefaultAgain) {
  SimApp s;
  WriteSettings(s, "[Monitor]\r\nUP BW=50 MB\r\n");
  s.model().DnBWLimit = "30";
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().UpBW, "100 MB");
  EXPECT_EQ(s.model().DnBW, "");
  EXPECT_EQ(s.model().UpBWLimit, "100");
  // An empty speed cannot lose its last three characters: the limit stays.
  EXPECT_EQ(s.model().DnBWLimit, "30");
}

TEST(RulesStartUp, BothSpeedsRestoredGiveTheirLimits) {
  SimApp s;
  WriteSettings(s, "[Monitor]\r\nUP BW=50 MB\r\nDN BW=20 MB\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().UpBW, "50 MB");
  EXPECT_EQ(s.model().DnBW, "20 MB");
  EXPECT_EQ(s.model().UpBWLimit, "50");
  EXPECT_EQ(s.model().DnBWLimit, "20");
}

TEST(RulesStartUp, SwitchesAreRestoredAndCopied) {
  SimApp s;
  WriteSettings(s,
                "[Monitor]\r\nCPU=1\r\nMEM=True\r\nHD=2\r\nNET=\r\nSQL=0\r\nISA FW=1\r\n"
                "Web Service=1\r\nWeb Proxy=x\r\nISA Server=1\r\nServer Gen=1\r\nOnce=0\r\n"
                "UPrograms=1\r\n");
  // A flag that cannot be converted keeps the value it had.
  s.model().BNMonitor[3] = 1;
  s.model().BNMonitor[7] = 1;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().BNMonitor, (Flags<12>{1, -1, 2, 1, 0, 1, 1, 1, 1, 1, 0, 1}));
  EXPECT_EQ(s.model().BNCPU, 1);
  EXPECT_EQ(s.model().BNMemory, -1);
  EXPECT_EQ(s.model().BNDisk, 2);
  EXPECT_EQ(s.model().BNNetwork, 1);
  EXPECT_EQ(s.model().BNProxy, 1);
  EXPECT_EQ(s.model().BNPrograms, 1);
}

TEST(RulesStartUp, OnceWritesOneToTheKeys1To100) {
  SimApp s;
  WriteSettings(s, "[Monitor]\r\nOnce=1\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  std::string expected =
      "[Monitor]\r\nOnce=1\r\n[Server]\r\nFirst Run=14 Nov 2012 10:00:00AM\r\n"
      "Bandwidth Month=Nov 2012\r\n[Bottleneck]\r\n";
  for (int key = 1; key <= 100; ++key) expected += std::to_string(key) + "=1\r\n";
  // The keys come right after the first-run stamp; later start-up steps add
  // sections of their own behind them.
  const std::string file = s.File("Bin/Tarnex.Tnx");
  EXPECT_EQ(file.substr(0, expected.size()), expected);
  // Nothing more stands in the section: what follows is another section.
  ASSERT_GT(file.size(), expected.size());
  EXPECT_EQ(file[expected.size()], '[');
  EXPECT_EQ(s.model().Once, 1);
}

TEST(RulesStartUp, WithoutOnceNoKeyIsWritten) {
  SimApp s;
  WriteSettings(s, "[Monitor]\r\nOnce=2\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  const std::string file = s.File("Bin/Tarnex.Tnx");
  EXPECT_EQ(
      file.rfind("[Monitor]\r\nOnce=2\r\n[Server]\r\nFirst Run=14 Nov 2012 10:00:00AM\r\n", 0), 0u);
  EXPECT_EQ(file.find("[Bottleneck]"), std::string::npos);
}

// The report step.
TEST(RulesReportStep, WithOnceOffEveryFiringSpeaks) {
  RuleBench b;
  b.SetKey(1, "1");
  EXPECT_TRUE(ReportStep(b.ctx(), 1));
  EXPECT_TRUE(ReportStep(b.ctx(), 2));
  EXPECT_EQ(b.Key(2), "1");
}

TEST(RulesReportStep, WithOnceOnTheStoredTextIsComparedWithZero) {
  RuleBench b;
  b.m().Once = 1;
  const std::pair<const char*, bool> cases[] = {{"1", false},  {"2", false},  {"-1", false},
                                                {"0", true},   {"0.0", true}, {"", true},
                                                {"abc", true}, {"1x", true},  {" 1", false}};
  int key = 40;
  for (const auto& [stored, allowed] : cases) {
    b.SetKey(key, stored);
    EXPECT_EQ(ReportStep(b.ctx(), key), allowed) << "\"" << stored << "\"";
    // The key holds "1" whatever the outcome.
    EXPECT_EQ(b.Key(key), "1") << stored;
    ++key;
  }
}

TEST(RulesReportStep, MissingKeyLetsTheTextThroughAndIsThenWritten) {
  RuleBench b;
  b.m().Once = 1;
  EXPECT_TRUE(ReportStep(b.ctx(), 61));
  EXPECT_FALSE(ReportStep(b.ctx(), 61));
  EXPECT_EQ(b.SettingsFile(), "[Bottleneck]\r\n61=1\r\n");
}

// Accumulated time.
TEST(RulesEngine, CountIsNotClearedWhenTheConditionStops) {
  RuleBench b;
  b.m().BNMemory = 1;
  b.m().PageFaults = 1;
  b.m().PageReads = 10;
  for (int i = 0; i < 20; ++i) ASSERT_EQ(b.Pass(), "");
  b.m().PageReads = 0;
  for (int i = 0; i < 3600; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_EQ(b.m().BNCount[1], 20);
  b.m().PageReads = 10;
  for (int i = 0; i < 9; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_EQ(b.Pass(), "Memory Pages Per Sec was greater than 9 pages per sec for more than 0\r\n");
}

TEST(RulesEngine, TextQuotesTheAccumulatedCount) {
  RuleBench b;
  b.m().BNDisk = 1;
  b.m().DiskTime = 50;
  b.m().DiskQueue = 5;
  for (int i = 0; i < 10; ++i) b.Pass();
  b.m().DiskQueue = 0;
  for (int i = 0; i < 500; ++i) b.Pass();
  b.m().DiskQueue = 9;
  for (int i = 0; i < 4; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_EQ(b.Pass(), "Hard Drive Queue was Greater than 4 for 15 Sec\r\n");
}

TEST(RulesEngine, TwoRulesInOnePassComeInPassOrderEachOnItsLine) {
  RuleBench b;
  b.m().BNMemory = 1;
  b.m().BNDisk = 1;
  b.m().DiskTime = 50;
  b.m().PageFaults = 0;  // rule 2 counts
  b.m().DiskQueue = 5;
  b.m().BNCount[14] = 5;
  for (int i = 0; i < 9; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_EQ(b.Pass(),
            "Hard Page Faults was greater than 40% detected for more than 10 Sec. A High Value "
            "generally indicative of memory shortages of some kind.\r\n"
            "Hard Drive Queue was Greater than 4 for 15 Sec\r\n");
}

TEST(RulesEngine, EachPassStartsWithAnEmptyText) {
  RuleBench b;
  b.m().BNText = "left over\r\n";
  EXPECT_EQ(b.Pass(), "");
}

TEST(RulesEngine, WithEverySwitchOffNoKeyIsTouched) {
  RuleBench b;
  b.m().PageReads = 100;
  b.m().DiskQueue = 100;
  b.m().ServerValues[12] = 100;
  for (int i = 0; i < 100; ++i) ASSERT_EQ(b.Pass(), "");
  EXPECT_FALSE(b.sim().Has("Bin/Tarnex.Tnx"));
}

TEST(RulesEngine, TickCounterIsZeroAfterThePass) {
  RuleBench b;
  b.m().MinuteTick = 30;
  b.Pass();
  EXPECT_EQ(b.m().MinuteTick, 0);
}

TEST(RulesEngine, TestFlagAddsItsTextLastAndOnce) {
  RuleBench b;
  b.m().BNDisk = 1;
  b.m().DiskTime = 50;
  b.m().DiskQueue = 5;
  b.m().BNCount[14] = 14;
  Label16Click(b.m());
  EXPECT_EQ(b.m().BNTestFlag, 1);
  EXPECT_EQ(b.Pass(), "Hard Drive Queue was Greater than 4 for 15 Sec\r\nThis is a Error Test\r\n");
  EXPECT_EQ(b.m().BNTestFlag, 0);
  EXPECT_EQ(b.Pass(), "");
}

TEST(RulesEngine, TestFlagSpeaksWithEverySwitchOffAndWithOnce) {
  RuleBench b;
  b.m().Once = 1;
  b.m().BNTestFlag = 1;
  EXPECT_EQ(b.Pass(), "This is a Error Test\r\n");
  // Only the value 1 asks for the test.
  b.m().BNTestFlag = 2;
  EXPECT_EQ(b.Pass(), "");
  EXPECT_EQ(b.m().BNTestFlag, 2);
}

// The journal half of the cycle.
TEST(RulesJournal, FindingsGoBetweenTwoAsteriskLinesWithoutTheirLastLineEnd) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BNText = "first\r\nsecond\r\n";
  JournalFindings(s.ctx());
  EXPECT_EQ(s.model().BNText, "first\r\nsecond");
  EXPECT_EQ(s.File(kDayLog), kStars + "\r\nfirst\r\nsecond\r\n" + kStars + "\r\n");
  EXPECT_EQ(s.model().EventText,
            s.model().SysInfo + kStars + "\r\nfirst\r\nsecond\r\n" + kStars + "\r\n");
}

TEST(RulesJournal, TextOfExactlyTwoCharactersIsJournalledEmpty) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BNText = "\r\n";
  JournalFindings(s.ctx());
  EXPECT_EQ(s.model().BNText, "");
  EXPECT_EQ(s.File(kDayLog), kStars + "\r\n\r\n" + kStars + "\r\n");
}

TEST(RulesJournal, TextOfOneCharacterCannotBeCutAndGoesAsItIs) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BNText = "x";
  JournalFindings(s.ctx());
  EXPECT_EQ(s.File(kDayLog), kStars + "\r\nx\r\n" + kStars + "\r\n");
}

TEST(RulesJournal, EmptyTextWritesNothing) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  JournalFindings(s.ctx());
  EXPECT_FALSE(s.Has(kDayLog));
}

TEST(RulesJournal, TestFlagReachesTheDayLogThroughTheCycle) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  Label16Click(s.model());
  s.loop().Wait(1000);
  EXPECT_EQ(s.File(kDayLog), kStars + "\r\nThis is a Error Test\r\n" + kStars + "\r\n");
  s.loop().Wait(5000);
  EXPECT_EQ(s.File(kDayLog), kStars + "\r\nThis is a Error Test\r\n" + kStars + "\r\n");
}

}  // namespace
}  // namespace tarnex::testing
