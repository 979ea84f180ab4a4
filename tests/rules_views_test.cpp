// The two views: the static list of what is watched, and the data view with
// its captioned rows, program blocks, red marks and its own timer.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "rules/views.h"
#include "tests/rules_support.h"

namespace tarnex::testing {
namespace {

std::string DataFile(const std::string& name) {
  return ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/" + name);
}

struct FixedRow {
  int row;
  std::string caption;
  std::string suffix;
};

std::vector<FixedRow> FixedRows() {
  std::vector<FixedRow> rows;
  std::istringstream in(DataFile("bn_view_rows.txt"));
  std::string line;
  while (std::getline(in, line)) {
    const size_t a = line.find('\t');
    const size_t b = line.find('\t', a + 1);
    rows.push_back(
        {std::stoi(line.substr(0, a)), line.substr(a + 1, b - a - 1), line.substr(b + 1)});
  }
  return rows;
}

std::string ProgramCounters(const std::vector<std::string>& names) {
  static const char* const suffixes[6] = {"% Processor Time",  "Virtual Bytes",
                                          "Page Faults/sec",   "Working Set",
                                          "IO Read Bytes/sec", "IO Write Bytes/sec"};
  std::string out;
  for (const auto& name : names) {
    for (const char* suffix : suffixes) {
      if (!out.empty()) out += ", ";
      out += "\"" + JsonEscape("\\Process(" + name + ")\\" + suffix) + "\": 0";
    }
  }
  return out;
}

std::vector<std::string> Names(int count) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back("prog" + std::to_string(i));
  return out;
}

std::vector<std::string> Paths(const std::vector<std::string>& names) {
  std::vector<std::string> out;
  for (const auto& n : names) out.push_back("C:\\Apps\\" + n + ".exe");
  return out;
}

// A machine with `count` programs, each with its six counters.
class View {
 public:
  explicit View(int count = 1)
      : names_(Names(count)), b_(RuleScenario(Paths(names_), ProgramCounters(names_))) {}
  RuleBench& b() { return b_; }
  ServerModel& m() { return b_.m(); }
  void Set(const std::string& name, const char* suffix, double value) {
    b_.Counter("\\Process(" + name + ")\\" + suffix, value);
  }
  // A collection, as the sampling cycle makes one each second.
  void Collect() { b_.sim().sim().Counters().CollectQueryData(m().PerfQuery); }
  // Lets the view's timer run.
  void Seconds(int n) { b_.sim().loop().Wait(static_cast<int64_t>(n) * 1000); }
  const std::string& Caption(int row) { return m().BNCaption.at(static_cast<size_t>(row)); }
  const std::string& Value(int row) { return m().BNVal.at(static_cast<size_t>(row)); }
  int32_t Red(int row) { return m().BNValRed.at(static_cast<size_t>(row)); }

 private:
  std::vector<std::string> names_;
  RuleBench b_;
};

const char* const kBlock[7] = {
    "Program",        "Page Faults",         "Working Sets",        "Processor Usage",
    "Virtual Memory", "Hard Drive Read Bps", "Hard Drive Write Bps"};

TEST(RulesViews, TrackedListIsTheFixedTextWithMemoryPagesTwice) {
  ServerModel m;
  BuildBNList(m);
  EXPECT_EQ(m.BNTrackedText, DataFile("bottlenecks_tracked.txt"));
  EXPECT_EQ(m.BNTrackedText.rfind("MEMORY:\r\n   Memory Pages Per Sec\r\n", 0), 0u);
  const std::string item = "\r\n   Memory Pages Per Sec\r\n";
  const size_t first = m.BNTrackedText.find(item);
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(m.BNTrackedText.find(item, first + 1), std::string::npos);
  // Not filtered by the switches.
  m.BNMonitor = {};
  m.BNSQL = 0;
  const std::string before = m.BNTrackedText;
  BuildBNList(m);
  EXPECT_EQ(m.BNTrackedText, before);
}

TEST(RulesViews, OpeningCreatesTheRowsAndCaptionsTheFixedBlock) {
  View v;
  EXPECT_EQ(v.m().BNCaption.size(), 1u);
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.m().BNViewOpen, 1);
  ASSERT_EQ(v.m().BNCaption.size(), 208u);
  ASSERT_EQ(v.m().BNVal.size(), 208u);
  for (const auto& row : FixedRows()) EXPECT_EQ(v.Caption(row.row), row.caption) << row.row;
  EXPECT_EQ(v.Caption(56), "");
}

TEST(RulesViews, OneProgramGivesOneBlockAndTheNarrowView) {
  View v;
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.m().ProgLast, 0);
  for (int k = 0; k < 7; ++k) EXPECT_EQ(v.Caption(57 + k), kBlock[k]);
  EXPECT_EQ(v.Caption(64), "");
  EXPECT_EQ(v.m().BNRow, 65);
  EXPECT_EQ(v.m().BNViewWidth, 9990);
}

TEST(RulesViews, SecondColumnBeginsAtRow104WithoutABlankRow) {
  View v(7);
  OpenBNView(v.b().ctx());
  // Blocks at 57, 65, 73, 81, 89, 97; the sixth ends at 104, where the
  // seventh begins.
  EXPECT_EQ(v.Caption(96), "");
  EXPECT_EQ(v.Caption(97), "Program");
  EXPECT_EQ(v.Caption(103), "Hard Drive Write Bps");
  EXPECT_EQ(v.Caption(104), "Program");
  EXPECT_EQ(v.Caption(110), "Hard Drive Write Bps");
  EXPECT_EQ(v.Caption(111), "");
  EXPECT_EQ(v.m().BNRow, 112);
  EXPECT_EQ(v.m().BNViewWidth, 14995);
}

TEST(RulesViews, WidthFollowsTheRowsUsed) {
  const std::pair<int, double> cases[] = {
      {5, 9990}, {6, 9990}, {7, 14995}, {12, 14995}, {13, 19950}};
  for (const auto& [count, width] : cases) {
    View v(count);
    OpenBNView(v.b().ctx());
    EXPECT_EQ(v.m().BNViewWidth, width) << count << " programs";
  }
  View six(6);
  OpenBNView(six.b().ctx());
  EXPECT_EQ(six.m().BNRow, 104);
  View thirteen(13);
  OpenBNView(thirteen.b().ctx());
  EXPECT_EQ(thirteen.m().BNRow, 160);
}

TEST(RulesViews, RowsBeyond207AreDropped) {
  View v(25);
  OpenBNView(v.b().ctx());
  ASSERT_EQ(v.m().BNCaption.size(), 208u);
  // The nineteenth program begins at 200; the twentieth would begin at 208.
  EXPECT_EQ(v.Caption(200), "Program");
  EXPECT_EQ(v.Caption(206), "Hard Drive Write Bps");
  EXPECT_EQ(v.Caption(207), "");
  EXPECT_EQ(v.m().BNRow, 104 + 8 * 19);
  v.Seconds(1);
  ASSERT_EQ(v.m().BNVal.size(), 208u);
  EXPECT_EQ(v.m().BNRow, 104 + 8 * 19);
}

TEST(RulesViews, ValuesStandOnTheRowsOfTheirCaptionsInEveryColumn) {
  View v(20);
  OpenBNView(v.b().ctx());
  v.Seconds(1);
  int blocks = 0;
  for (int row = 57; row < 208; ++row) {
    if (v.Caption(row) == "Program") {
      EXPECT_EQ(v.Value(row), ".exe") << row;
      ++blocks;
    } else if (v.Caption(row).empty()) {
      EXPECT_EQ(v.Value(row), "") << row;
    } else {
      EXPECT_NE(v.Value(row), "") << row;
    }
  }
  EXPECT_EQ(blocks, 19);
}

TEST(RulesViews, OpeningRebuildsTheProgramList) {
  View v(2);
  v.b().sim().sim().running[500] = "C:\\Apps\\late.exe";
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.m().Programlist, (TextList{"prog0", "prog1", "late"}));
  EXPECT_EQ(v.m().ProgLast, 2);
  EXPECT_EQ(v.Caption(73), "Program");
}

TEST(RulesViews, EachTickSetsTheFixedValuesWithTheirSuffixes) {
  View v;
  auto& m = v.m();
  OpenBNView(v.b().ctx());
  for (const auto& row : FixedRows()) EXPECT_EQ(v.Value(row.row), "") << row.row;
  v.Seconds(1);
  // Every figure at 0: each row shows its zero and its suffix.
  for (const auto& row : FixedRows()) {
    const std::string zero = row.row == 2 ? "0/0" : "0";
    EXPECT_EQ(v.Value(row.row), zero + row.suffix) << row.row << " " << row.caption;
  }
  m.PageReads = 12345.6;
  m.SwapCurrent = 1500;
  m.SwapPeak = 2500.5;
  m.MemAvailable = 1234567890;
  m.CPUPrivilege = "7";
  m.CPUInterrupt = "3";
  m.CPUUsage = "12.5";
  m.DiskQueue = 1.5;
  m.CurRec = 1234567;
  m.CurSent = 499;
  m.ServerValues[10] = 4321;
  m.ServerValues[12] = 6;
  m.ProcessorQueue = 99;
  v.Seconds(1);
  EXPECT_EQ(v.Value(0), "12,346 Sec");
  EXPECT_EQ(v.Value(2), "1,500/2,501 MB");
  EXPECT_EQ(v.Value(5), "1,235 MB");
  EXPECT_EQ(v.Value(9), "4 %");
  EXPECT_EQ(v.Value(10), "3 %");
  EXPECT_EQ(v.Value(11), "13%");
  EXPECT_EQ(v.Value(12), "2");
  EXPECT_EQ(v.Value(19), "1235 Kbps");
  EXPECT_EQ(v.Value(20), "0 Kbps");
  EXPECT_EQ(v.Value(27), "6");
  // Captioned as the processor queue, the row shows the system errors.
  EXPECT_EQ(v.Caption(28), "Processor Queued Length");
  EXPECT_EQ(v.Value(28), "4,321");
}

TEST(RulesViews, GroupsThatAreOffStillShowLiveValuesWhileTheirRulesStayFrozen) {
  View v;
  v.m().BNFirewall = 0;
  v.b().Counter("\\ISA Server Firewall Packet Engine\\Active Connections", 45000);
  v.b().Counter("\\SQLServer: General Statistics\\Logouts/sec", 3);
  v.b().Counter("\\ISA Server Cache\\Memory Bytes Retrieved Rate", 31000);
  v.b().Counter("\\ISA Server Web Proxy\\Requests/sec", 1234);
  v.b().Counter("\\Web Service Cache\\Kernel:URI Cache Misses", 77);
  v.b().sim().sim().Counters().CollectQueryData(v.m().PerfQuery);
  OpenBNView(v.b().ctx());
  v.Seconds(1);
  EXPECT_EQ(v.Value(33), "45,000");
  EXPECT_EQ(v.Value(17), "3");
  EXPECT_EQ(v.Value(54), "31,000 Kbps");
  EXPECT_EQ(v.Value(45), "1,234 KB");
  EXPECT_EQ(v.Value(30), "77");
  EXPECT_EQ(v.m().BNCount[35], 0);
}

TEST(RulesViews, TicksReadWithoutANewCollection) {
  View v;
  auto& series = v.b().sim().sim().Sim().series;
  series["\\isa server firewall packet engine\\active connections"].segments = {{5, 1}, {9, 1}};
  v.b().sim().sim().Counters().CollectQueryData(v.m().PerfQuery);
  OpenBNView(v.b().ctx());
  v.Seconds(3);
  EXPECT_EQ(v.Value(33), "5");
  v.b().sim().sim().Counters().CollectQueryData(v.m().PerfQuery);
  v.Seconds(1);
  EXPECT_EQ(v.Value(33), "9");
}

TEST(RulesViews, ProgramBlockValuesAndRedMarks) {
  View v(2);
  v.Set("prog0", "% Processor Time", 170);  // 85% of two processors
  v.Set("prog0", "Working Set", 25500000);
  v.Set("prog0", "Page Faults/sec", 1234);
  v.Set("prog0", "Virtual Bytes", 300000000);
  v.Set("prog0", "IO Read Bytes/sec", 100000002);
  v.Set("prog0", "IO Write Bytes/sec", 2000);
  v.Set("prog1", "% Processor Time", 160);
  v.Set("prog1", "IO Write Bytes/sec", 100000002);
  v.m().ProgName[0] = "prog0";
  v.m().ProgName[1] = "prog1";
  OpenBNView(v.b().ctx());
  // The counters added at opening have a value from the next collection on.
  v.Collect();
  v.Seconds(1);
  EXPECT_EQ(v.Value(57), "prog0.exe");
  EXPECT_EQ(v.Value(58), "1,234");
  EXPECT_EQ(v.Value(59), "26 MB");
  EXPECT_EQ(v.Value(60), "85%");
  EXPECT_EQ(v.Red(60), 1);
  EXPECT_EQ(v.Value(61), "300 MB");
  EXPECT_EQ(v.Value(62), "100,000 Kbps");
  EXPECT_EQ(v.Red(62), 1);  // 100000002 / 2 processors is above 50000000
  EXPECT_EQ(v.Value(63), "2 Kbps");
  EXPECT_EQ(v.Red(63), 0);
  EXPECT_EQ(v.Value(64), "");
  EXPECT_EQ(v.Value(65), "prog1.exe");
  EXPECT_EQ(v.Value(68), "80%");
  EXPECT_EQ(v.Red(68), 0);
  EXPECT_EQ(v.Red(70), 0);
  EXPECT_EQ(v.Red(71), 1);
  EXPECT_EQ(v.m().BNRow, 73);
  EXPECT_EQ(v.m().ProgCPU[0], 170);
}

TEST(RulesViews, ProgramNameIsTheOneTheRulesLastSet) {
  View v;
  OpenBNView(v.b().ctx());
  v.Seconds(1);
  // The rules have not visited the program yet.
  EXPECT_EQ(v.Value(57), ".exe");
  CloseBNView(v.b().ctx());
  v.m().BNPrograms = 1;
  v.b().Pass();
  OpenBNView(v.b().ctx());
  v.Seconds(1);
  EXPECT_EQ(v.Value(57), "prog0.exe");
}

TEST(RulesViews, MissingProcessorCountKeepsTheValuesAndMarksTheRowsRed) {
  View v;
  v.Set("prog0", "% Processor Time", 20);
  v.m().CPUPrivilege = "6";
  OpenBNView(v.b().ctx());
  v.Collect();
  v.Seconds(1);
  EXPECT_EQ(v.Value(60), "10%");
  EXPECT_EQ(v.Value(9), "3 %");
  EXPECT_EQ(v.Red(60), 0);
  v.m().ProcessorCount = "";
  v.Set("prog0", "% Processor Time", 60);
  v.Collect();
  v.Seconds(1);
  EXPECT_EQ(v.Value(60), "10%");
  EXPECT_EQ(v.Value(9), "3 %");
  EXPECT_EQ(v.Red(60), 1);
  EXPECT_EQ(v.Red(62), 1);
  EXPECT_EQ(v.Red(63), 1);
}

TEST(RulesViews, ProgramRulesWaitWhileTheViewIsOpen) {
  View v;
  v.m().BNPrograms = 1;
  v.Set("prog0", "% Processor Time", 200);
  v.Set("prog0", "Page Faults/sec", 5);
  OpenBNView(v.b().ctx());
  for (int i = 0; i < 5; ++i) ASSERT_EQ(v.b().Pass(), "");
  EXPECT_EQ(v.m().CPUStart[0], 0.0f);
  EXPECT_EQ(v.m().FaultCount[0], 0);
  CloseBNView(v.b().ctx());
  EXPECT_EQ(v.m().BNViewOpen, 0);
  v.b().Pass();
  EXPECT_EQ(v.m().CPUStart[0], 36000.0f);
  EXPECT_EQ(v.m().FaultCount[0], 1);
}

TEST(RulesViews, TimerTicksEachSecondUntilTheViewCloses) {
  View v;
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.b().sim().loop().TimerInterval(v.m().BNViewTimer), 1000);
  v.Seconds(1);
  EXPECT_EQ(v.Value(0), "0 Sec");
  v.m().PageReads = 5;
  v.Seconds(1);
  EXPECT_EQ(v.Value(0), "5 Sec");
  CloseBNView(v.b().ctx());
  EXPECT_FALSE(v.b().sim().loop().TimerEnabled(v.m().BNViewTimer));
  EXPECT_EQ(v.m().BNVal.size(), 1u);
  // Opened again, the same timer runs and the rows are made anew.
  const int timer = v.m().BNViewTimer;
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.m().BNViewTimer, timer);
  EXPECT_EQ(v.Value(0), "");
  v.Seconds(1);
  EXPECT_EQ(v.Value(0), "5 Sec");
}

TEST(RulesViews, OpeningAnOpenViewDoesNothing) {
  View v;
  OpenBNView(v.b().ctx());
  v.Seconds(1);
  v.b().sim().sim().running[500] = "C:\\Apps\\late.exe";
  OpenBNView(v.b().ctx());
  EXPECT_EQ(v.Value(0), "0 Sec");
  EXPECT_EQ(v.m().ProgLast, 0);
}

TEST(RulesViews, DataViewThroughTheWholeProgram) {
  SimApp s(RuleScenario({"C:\\Apps\\app.exe"}, ProgramCounters({"app"}) + ", \"" +
                                                   JsonEscape("\\Process(app)\\% Processor Time") +
                                                   "\": 200"));
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Monitor]\r\nUPrograms=1\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().CPUStart[0], 36000.0f);
  OpenBNView(s.ctx());
  s.loop().Wait(400000);
  // No program text while the view is open; the view shows the program.
  EXPECT_FALSE(s.Has("Logs/2012/Nov/14 Nov 12.txt"));
  EXPECT_EQ(s.model().BNVal[57], "app.exe");
  EXPECT_EQ(s.model().BNVal[60], "100%");
  EXPECT_EQ(s.model().BNValRed[60], 1);
  CloseBNView(s.ctx());
  s.loop().Wait(1000);
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"),
            std::string(84, '*') +
                "\r\nThe Program app has had High Processor/CPU (0%) for over 36000 Sec. "
                "Excessive Processor Usage can cause other programs not to function as "
                "expected.\r\n" +
                std::string(84, '*') + "\r\n");
}

}  // namespace
}  // namespace tarnex::testing
