// The command layer: forms opened, set, invoked, answered and closed by name;
// its errors; the main window's commands; the performance console, the CPU
// graph window, the two views and the bandwidth window as its forms.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "console/graphs.h"
#include "core/commands.h"
#include "core/figures.h"
#include "core/timeline.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// A server with three of its server-service counters, each doubling from the
// second collection on.
std::string ServerCountersScenario() {
  json s = json::parse(kBasicScenario);
  s["counters"]["\\Server\\Bytes Total/sec"] = json::array({1234567, 2469134});
  s["counters"]["\\Server\\Work Item Shortages"] = json::array({12000, 24000});
  s["counters"]["\\Server\\Context Blocks Queued/sec"] = json::array({21000, 42000});
  return s.dump();
}

class Operations : public ::testing::Test {
 protected:
  explicit Operations(const std::string& scenario = kBasicScenario) : s_(scenario) {}
  void Start() { ASSERT_TRUE(s_.app().FormLoad()); }
  // Started with the monitor slots on ports of their own, so that start-up
  // takes no time of the clock.
  void StartListening() {
    std::filesystem::create_directories(s_.dir() + "/Bin");
    WriteFile(s_.dir() + "/Bin/Tarnex.Tnx", FreshSettings(MonitorPorts()));
    Start();
  }
  Commands& c() { return s_.app().commands(); }
  ServerModel& m() { return s_.model(); }

  SimApp s_;
};

// The layer's errors.

TEST_F(Operations, AnUnknownFormFieldOrCommandIsAnErrorThatNamesIt) {
  Start();
  EXPECT_EQ(c().Open("frmNothing"), "no form named 'frmNothing'");
  EXPECT_EQ(c().Close("frmNothing"), "no form named 'frmNothing'");
  EXPECT_EQ(c().Do("", "Command99"), "MainFrm has no command 'Command99'");
  EXPECT_EQ(c().Do("frmBWSum", "Command1"), "frmBWSum has no command 'Command1'");
  EXPECT_EQ(c().Set("", "NoSuchField", 1), "the main window has no field 'NoSuchField'");
  EXPECT_EQ(c().Set("frmServer", "Width", 1), "frmServer has no field 'Width'");
  EXPECT_EQ(c().Do("nowhere", "Command1"), "no form named 'nowhere'");
}

TEST_F(Operations, NamesMatchWithoutRegardToCase) {
  Start();
  EXPECT_EQ(c().Do("mainfrm", "MNULOGALL5"), "");
  EXPECT_EQ(m().LogAllSeconds, 300);
  EXPECT_EQ(c().Open("FRMSERVER"), "");
  EXPECT_TRUE(c().IsOpen("frmServer"));
  EXPECT_EQ(c().Set("frmserver", "top", 700), "");
  EXPECT_EQ(m().ServerConsoleTop, 700);
}

TEST_F(Operations, AFieldReadOnlyOrAValueThatDoesNotFitIsRefusedAndTheFieldKept) {
  Start();
  m().LogAllSeconds = 0;
  EXPECT_EQ(c().Set("frmShowBN", "BNVal", json::array({"x"})),
            "field 'BNVal' of frmShowBN can be read only");
  const std::string problem = c().Set("", "LogAllSeconds", "soon");
  EXPECT_NE(problem.find("'LogAllSeconds'"), std::string::npos) << problem;
  EXPECT_EQ(m().LogAllSeconds, 0);
  m().Check3 = {0, 0, 0};
  EXPECT_NE(c().Set("", "Check3", json{{"3", 1}}), "");
  EXPECT_NE(c().Set("", "Check3", json::array({1, 1, 1, 1})), "");
  EXPECT_EQ(m().Check3, (Flags<3>{0, 0, 0}));
}

TEST_F(Operations, AControlArrayTakesAnArrayFromIndexZeroOrAnObjectOfIndexes) {
  Start();
  m().Check3 = {0, 0, 0};
  EXPECT_EQ(c().Set("", "Check3", json{{"2", 1}}), "");
  EXPECT_EQ(m().Check3, (Flags<3>{0, 0, 1}));
  EXPECT_EQ(c().Set("", "Check3", json::array({1, 1})), "");
  EXPECT_EQ(m().Check3, (Flags<3>{1, 1, 1}));
  EXPECT_EQ(c().Set("", "Label27", 12), "");
  EXPECT_EQ(m().Label27, "12");
}

TEST_F(Operations, CheckingAStepChangesNothing) {
  Start();
  WriteFile(s_.dir() + "/Events/SnapShot/CPU.txt", "old\r\n");
  const std::string before = m().Label27;
  EXPECT_EQ(c().Check(json{{"at", "2012-11-14 10:00:00"},
                           {"set", {{"Label27", "typed"}}},
                           {"do", "mnulogall1"},
                           {"answer", "yes"}}),
            "");
  EXPECT_EQ(m().Label27, before);
  EXPECT_EQ(m().LogAllSeconds, 0);
  EXPECT_TRUE(s_.Has("Events/SnapShot/CPU.txt"));
}

TEST_F(Operations, CheckNamesWhatIsWrongInAStep) {
  Start();
  EXPECT_EQ(c().Check(json{{"form", "frmBWSum"}, {"do", "Command9"}}),
            "frmBWSum has no command 'Command9'");
  EXPECT_EQ(c().Check(json{{"form", "frmGone"}}), "no form named 'frmGone'");
  EXPECT_EQ(c().Check(json{{"click", "Command1"}}), "unknown key \"click\"");
  EXPECT_EQ(c().Check(json{{"answer", "maybe"}}), "\"answer\" takes \"yes\" or \"no\"");
  EXPECT_EQ(c().Check(json{{"open", "yes"}}), "\"open\" takes true or false");
  EXPECT_EQ(c().Check(json{{"set", {{"Nope", 1}}}}), "the main window has no field 'Nope'");
  EXPECT_EQ(c().Check(json::array()), "a step is an object");
}

TEST_F(Operations, AStepOpensSetsInvokesAndClosesInThatOrder) {
  Start();
  EXPECT_EQ(c().Run(json{{"form", "frmServer"},
                         {"open", true},
                         {"set", {{"Top", 700}}},
                         {"do", "mnuhide"},
                         {"close", true}}),
            "");
  EXPECT_FALSE(c().IsOpen("frmServer"));
  EXPECT_EQ(s_.File("Performance.dat"), "[SERVER]\r\nTop=700\r\nLeft=2600\r\n");
}

TEST_F(Operations, AStepsAnswerServesOnlyThatStep) {
  Start();
  // Given beforehand, an answer serves the next question and is kept with it.
  s_.ctx().GiveAnswer(true);
  EXPECT_TRUE(s_.ctx().AskYesNo("Sure?"));
  EXPECT_EQ(m().OperatorQuestions, TextList{"Sure?"});
  // A step's answer that its commands do not use is gone after the step:
  // the next question gets the machine's answer (no).
  EXPECT_EQ(c().Run(json{{"answer", "yes"}, {"do", "Label16"}}), "");
  EXPECT_FALSE(s_.ctx().AskYesNo("Again?"));
  EXPECT_EQ(s_.sim().questions.back(), "Again?");
}

TEST_F(Operations, OpeningAnOpenFormDoesNotLoadItAgain) {
  Start();
  m().CAver1 = {"10"};
  ASSERT_EQ(c().Open("CPUGraph"), "");
  ASSERT_EQ(c().Open("CPUGraph"), "");
  EXPECT_EQ(m().CPUU0[59], 10);
  EXPECT_EQ(m().CPUU0[58], 0);
  // Closed and opened again, it draws the list once more.
  ASSERT_EQ(c().Close("CPUGraph"), "");
  ASSERT_EQ(c().Open("CPUGraph"), "");
  EXPECT_EQ(m().CPUU0[58], 10);
}

TEST_F(Operations, TheDumpHoldsEveryFormWithWhetherItIsOpen) {
  Start();
  ASSERT_EQ(c().Do("", "mnubwm"), "");
  const json dump = c().Dump();
  EXPECT_FALSE(dump.contains("MainFrm"));
  for (const char* form : {"frmServer", "frmShowBN", "frmBNTracking", "frmBWSum", "CPUGraph"}) {
    ASSERT_TRUE(dump.contains(form)) << form;
    EXPECT_EQ(dump[form]["open"], std::string(form) == "frmBWSum") << form;
  }
  EXPECT_EQ(dump["frmBWSum"]["Caption"], "Monthly Bandwidth");
  EXPECT_EQ(dump["frmServer"]["LeftCap"].size(), 17u);
  EXPECT_EQ(dump["CPUGraph"]["CPUU"].size(), 3u);
}

// Every form, field and command of the layer stands in docs/operator.md, and
// the document names nothing the layer lacks.
TEST_F(Operations, TheOperatorsDocumentListsEveryFormFieldAndCommand) {
  std::istringstream doc(ReadFile(std::string(TARNEX_SOURCE_DIR) + "/docs/operator.md"));
  std::map<std::string, std::pair<std::set<std::string>, std::set<std::string>>> documented;
  std::string line, form;
  while (std::getline(doc, line)) {
    if (line.rfind("## ", 0) == 0) {
      form = line.substr(3);
      if (form.find(' ') != std::string::npos) form.clear();  // not a form's section
      if (!form.empty()) documented[form];
    } else if (!form.empty() && line.rfind("Fields: ", 0) == 0) {
      for (size_t at = line.find('`'); at != std::string::npos; at = line.find('`', at)) {
        const size_t end = line.find('`', at + 1);
        documented[form].first.insert(line.substr(at + 1, end - at - 1));
        at = end + 1;
      }
    } else if (!form.empty() && line.rfind("| `", 0) == 0) {
      documented[form].second.insert(line.substr(3, line.find('`', 3) - 3));
    }
  }
  std::map<std::string, std::pair<std::set<std::string>, std::set<std::string>>> code;
  for (const auto& d : c().Describe()) {
    code[d.form] = {{d.fields.begin(), d.fields.end()}, {d.commands.begin(), d.commands.end()}};
  }
  ASSERT_FALSE(code.empty());
  EXPECT_EQ(documented, code);
}

// The main window's commands.

TEST_F(Operations, EachPanelCommandShowsItsPanelAndCancelHidesIt) {
  Start();
  const std::map<std::string, std::string> panels = {
      {"Command3", "Frame1"}, {"Command4", "Frame1"}, {"Command5", "Frame2"},
      {"Command6", "Frame3"}, {"Command8", "Frame4"}, {"Command9", "Frame5"}};
  for (const auto& [command, panel] : panels) {
    ASSERT_EQ(c().Do("", command), "");
    EXPECT_EQ(m().ShownPanel, panel) << command;
  }
  ASSERT_EQ(c().Do("", "Command7"), "");
  EXPECT_EQ(m().ShownPanel, "");
}

TEST_F(Operations, TheCaptionLabel16ArmsTheTestOfTheReportingPath) {
  Start();
  ASSERT_EQ(c().Do("", "Label16"), "");
  EXPECT_EQ(m().BNTestFlag, 1);
}

TEST_F(Operations, SaveWritesTheSettingsScreen) {
  Start();
  ASSERT_EQ(c().Set("", "Check3", json{{"2", 1}}), "");
  ASSERT_EQ(c().Do("", "Command1"), "");
  EXPECT_NE(s_.File("Bin/Tarnex.Tnx").find("Start Server Monitor=1\r\n"), std::string::npos);
}

TEST_F(Operations, BackupNowStandardSetsItsTextAndStateAndStartsTheCompanion) {
  StartListening();
  ASSERT_EQ(c().Do("", "menuBU"), "");
  EXPECT_EQ(m().Label20, "Manual BU Started: 10:00:00AM");
  EXPECT_EQ(m().BackupState, 1);
  ASSERT_FALSE(s_.sim().started.empty());
  EXPECT_EQ(s_.sim().started.back(), s_.dir() + "\\TarnexSBackup.exe|-S|" + s_.dir());
}

TEST_F(Operations, BackupNowFullStartsTheCompanionAndWaitsFiveSeconds) {
  Start();
  const int64_t before = s_.loop().MonotonicMs();
  // The line as the wait begins, before the back-up clock's next tick.
  std::string first_line;
  s_.loop().AddBeforeSleep([&] {
    if (first_line.empty()) first_line = m().Label20;
  });
  ASSERT_EQ(c().Do("", "menuFullBU"), "");
  EXPECT_EQ(m().BackupState, 2);
  EXPECT_EQ(first_line.rfind("Last BU Started: 10:00:0", 0), 0u) << first_line;
  // Within the five seconds the back-up clock found the companion running.
  EXPECT_EQ(m().Label20, "Back-up In Progress");
  EXPECT_EQ(s_.sim().started.back(), s_.dir() + "\\TarnexSBackup.exe|-F|" + s_.dir());
  EXPECT_GE(s_.loop().MonotonicMs() - before, 5000);
}

TEST_F(Operations, ExitEndsAtOnceAndWritesNothingMore) {
  Start();
  s_.loop().Wait(30000);
  // Something that closing would save: the window's place and the week table.
  m().Left = 1234;
  m().BWSWk[0] = "999";
  s_.app().Flush();
  std::map<std::string, std::string> before;
  for (const auto& e : fs::recursive_directory_iterator(s_.dir())) {
    if (e.is_regular_file()) before[e.path().string()] = ReadFile(e.path().string());
  }
  const int64_t at = s_.loop().MonotonicMs();
  ASSERT_EQ(c().Do("", "Command2"), "");
  EXPECT_TRUE(s_.loop().Stopping());
  s_.loop().Wait(60000);  // no timer runs any more
  EXPECT_EQ(s_.loop().MonotonicMs(), at);
  s_.app().Flush();
  std::map<std::string, std::string> after;
  for (const auto& e : fs::recursive_directory_iterator(s_.dir())) {
    if (e.is_regular_file()) after[e.path().string()] = ReadFile(e.path().string());
  }
  EXPECT_EQ(after, before);
}

TEST_F(Operations, ClosingTheMainWindowSavesTheWeekTableAndThePlace) {
  Start();
  m().Left = 1234;
  m().BWSWk[0] = "999";
  ASSERT_EQ(c().Close(""), "");
  EXPECT_TRUE(s_.loop().Stopping());
  const std::string settings = s_.File("Bin/Tarnex.Tnx");
  EXPECT_NE(settings.find("Left=1234\r\n"), std::string::npos);
  EXPECT_NE(settings.find("Week1 Send=999\r\n"), std::string::npos);
}

// The performance console.

class ServerConsole : public Operations {
 protected:
  ServerConsole() : Operations(ServerCountersScenario()) {}
};

TEST_F(ServerConsole, FirstOpeningWithoutAPlaceFileStandsAt2600And2600) {
  Start();
  ASSERT_EQ(c().Do("", "mnuservermon"), "");
  EXPECT_TRUE(c().IsOpen("frmServer"));
  EXPECT_EQ(m().ServerConsoleTop, 2600);
  EXPECT_EQ(m().ServerConsoleLeft, 2600);
  EXPECT_EQ(m().LeftCap[0], "Bytes Total");
  EXPECT_EQ(m().LeftCap[16], "File Directory Searches");
  EXPECT_EQ(m().RightCap[0], "Pool Nonpaged Bytes");
  EXPECT_EQ(m().RightCap[15], "Reconnected Resilient Handles");
  ASSERT_EQ(c().Close("frmServer"), "");
  EXPECT_EQ(s_.File("Performance.dat"), "[SERVER]\r\nTop=2600\r\nLeft=2600\r\n");
}

TEST_F(ServerConsole, AStoredTopOfZeroOpensAt100) {
  WriteFile(s_.dir() + "/Performance.dat", "[SERVER]\r\nTop=0\r\nLeft=350\r\n");
  Start();
  ASSERT_EQ(c().Open("frmServer"), "");
  EXPECT_EQ(m().ServerConsoleTop, 100);
  EXPECT_EQ(m().ServerConsoleLeft, 350);
}

TEST_F(ServerConsole, WhileOpenTheCycleReadsEveryServerCounterAndTheRowsFollow) {
  Start();
  // Closed: only the work item shortages are read.
  s_.app().Timer1();
  EXPECT_EQ(m().ServerValues[0], 0);
  ASSERT_EQ(c().Open("frmServer"), "");
  s_.app().Timer1();
  EXPECT_EQ(m().ServerValues[0], 2469134);
  s_.loop().Wait(1000);  // the window's own timer
  EXPECT_EQ(m().LeftVal[0], "2,469 Kbps");
  EXPECT_EQ(m().LeftVal[12], "24,000");
  EXPECT_EQ(m().RightVal[4], "42,000 sec");  // row 21
  EXPECT_EQ(m().RightVal[5], "0 sec");       // row 22, "Logon"
  ASSERT_EQ(c().Close("frmServer"), "");
  m().ServerValues[0] = 5;
  s_.app().Timer1();
  EXPECT_EQ(m().ServerValues[0], 5);
}

TEST_F(Operations, WithNoServerCountersEveryRowShowsZero) {
  Start();
  ASSERT_EQ(c().Open("frmServer"), "");
  for (int row = 0; row < 17; ++row) {
    EXPECT_EQ(m().LeftVal[static_cast<size_t>(row)], row <= 2 ? "0 Kbps" : "0") << row;
  }
  for (int row = 17; row < 33; ++row) {
    EXPECT_EQ(m().RightVal[static_cast<size_t>(row - 17)], row == 21 || row == 22 ? "0 sec" : "0")
        << row;
  }
}

TEST(OperationsStart, TheConsoleOpensAtStartWhenTheSettingsAskForIt) {
  SimApp s;
  std::filesystem::create_directories(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", FreshSettings("Start Server Monitor=1\r\n"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_TRUE(s.app().commands().IsOpen("frmServer"));
  EXPECT_EQ(s.model().LeftCap[1], "Bytes Received");
}

// The CPU graph window and the charts' points.

TEST_F(Operations, TheCPUGraphDrawsTheThreeListsAsItOpensAndThenStays) {
  Start();
  m().CAver1 = {"10", "20.6"};
  m().CAver2 = {"30"};
  m().CAver3 = {"40", "50", "60"};
  ASSERT_EQ(c().Do("", "mnuCPUUse"), "");
  EXPECT_EQ(m().CPUU0[58], 10);
  EXPECT_EQ(m().CPUU0[59], 21);
  EXPECT_EQ(m().CPUU1[59], 30);
  EXPECT_EQ(m().CPUU2[27], 40);
  EXPECT_EQ(m().CPUU2[29], 60);
  m().CAver1.push_back("99");
  s_.app().Timer1();
  EXPECT_EQ(m().CPUU0[59], 21);
}

TEST_F(Operations, TheLongerCPUChartsTakeTheSentTrafficScale) {
  Start();
  m().ScaleSent = 150;
  History* h = nullptr;
  double scale = 0;
  ASSERT_TRUE(ChartOf(m(), "CPUU1", h, scale));
  EXPECT_EQ(h, &m().CPUU1);
  EXPECT_EQ(scale, 150);
  ASSERT_TRUE(ChartOf(m(), "CPUU2", h, scale));
  EXPECT_EQ(scale, 150);
  ASSERT_TRUE(ChartOf(m(), "CPUU0", h, scale));
  EXPECT_EQ(scale, 100);
  EXPECT_FALSE(ChartOf(m(), "picGraph9", h, scale));
}

TEST(ChartPoints, OneNewSampleIsAFlatLineAtZeroThenALastRise) {
  History h(60);
  Plot(h, 40);
  const auto points = ChartPoints(h, 100);
  ASSERT_EQ(points.size(), 60u);
  EXPECT_EQ(points[0], std::make_pair(0, 100));
  EXPECT_EQ(points[58], std::make_pair(58, 100));
  EXPECT_EQ(points[59], std::make_pair(59, 60));
}

TEST(ChartPoints, OneHundredIsTheTopZeroTheBottomAndAboveTheScaleIsNotClipped) {
  History h(3);
  Plot(h, 100);
  Plot(h, 0);
  Plot(h, 130);
  const auto points = ChartPoints(h, 100);
  EXPECT_EQ(points[0].second, 0);
  EXPECT_EQ(points[1].second, 100);
  EXPECT_EQ(points[2].second, -30);
}

// The views of the rules.

TEST_F(Operations, TheDataViewStopsTheProgramRulesWhileOpen) {
  Start();
  ASSERT_EQ(c().Do("", "mnuserverdata"), "");
  EXPECT_TRUE(c().IsOpen("frmShowBN"));
  EXPECT_EQ(m().BNViewOpen, 1);
  EXPECT_EQ(c().Dump()["frmShowBN"]["Label1"].size(), 208u);
  s_.loop().Wait(1000);
  EXPECT_FALSE(m().BNVal[0].empty());
  ASSERT_EQ(c().Close("frmShowBN"), "");
  EXPECT_EQ(m().BNViewOpen, 0);
  EXPECT_FALSE(c().IsOpen("frmShowBN"));
}

TEST_F(Operations, TheTrackedListShowsWhatTheRulesWatch) {
  Start();
  ASSERT_EQ(c().Do("", "mnuBN"), "");
  EXPECT_TRUE(c().IsOpen("frmBNTracking"));
  EXPECT_EQ(c().Dump()["frmBNTracking"]["Text1"],
            ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/bottlenecks_tracked.txt"));
}

// The bandwidth window.

TEST_F(Operations, TheBandwidthWindowShowsTheDailyOrTheMonthlyJournal) {
  Start();
  WriteFile(s_.dir() + "/Logs/Daily Bandwidth.txt", "day line\r\n");
  WriteFile(s_.dir() + "/Logs/Monthly Bandwidth.txt", "month line\r\n");
  ASSERT_EQ(c().Do("", "mnubw"), "");
  EXPECT_EQ(m().BWSumMode, 1);
  EXPECT_EQ(c().Dump()["frmBWSum"]["Caption"], "Daily Bandwidth");
  EXPECT_EQ(c().Dump()["frmBWSum"]["Text1"], "day line\r\n");
  ASSERT_EQ(c().Do("frmBWSum", "Command3"), "");
  EXPECT_FALSE(c().IsOpen("frmBWSum"));
  ASSERT_EQ(c().Do("", "mnubwm"), "");
  EXPECT_EQ(m().BWSumMode, 2);
  EXPECT_EQ(c().Dump()["frmBWSum"]["Caption"], "Monthly Bandwidth");
  EXPECT_EQ(c().Dump()["frmBWSum"]["Text1"], "month line\r\n");
}

TEST_F(Operations, TheBandwidthWindowWritesTheSummaryBlockNamingAnotherFileAndCloses) {
  Start();
  ASSERT_EQ(c().Do("", "mnubw"), "");
  ASSERT_EQ(c().Do("frmBWSum", "Command2"), "");
  EXPECT_FALSE(c().IsOpen("frmBWSum"));
  EXPECT_EQ(s_.File("Bin/Daily Bandwidth.txt"), m().BandwidthText);
  EXPECT_FALSE(m().BandwidthText.empty());
  EXPECT_EQ(s_.sim().messages.back(), "Date written to " + s_.dir() + "\\Bin\\BWSummary.txt");
}

TEST_F(Operations, TheModelKeepsTheLatestHundredMessagesAndAStepStillGetsItsOwn) {
  Start();
  for (int i = 0; i < 150; ++i) s_.ctx().ShowMessage("message " + std::to_string(i));
  for (int i = 0; i < 120; ++i) s_.ctx().AskYesNo("question " + std::to_string(i));
  ASSERT_EQ(m().OperatorMessages.size(), 100u);
  EXPECT_EQ(m().OperatorMessages.front(), "message 50");
  EXPECT_EQ(m().OperatorMessages.back(), "message 149");
  ASSERT_EQ(m().OperatorQuestions.size(), 100u);
  EXPECT_EQ(m().OperatorQuestions.front(), "question 20");
  EXPECT_EQ(s_.ctx().MessagesShown(), 150u);
  EXPECT_EQ(s_.ctx().QuestionsAsked(), 120u);

  const json answer =
      c().Operate({json{{"do", "mnubw"}}, json{{"form", "frmBWSum"}, {"do", "Command2"}}});
  EXPECT_EQ(answer["error"], "");
  EXPECT_EQ(answer["messages"],
            json::array({"Date written to " + s_.dir() + "\\Bin\\BWSummary.txt"}));
  EXPECT_EQ(answer["questions"], json::array());
  EXPECT_EQ(m().OperatorMessages.size(), 100u);
  EXPECT_EQ(m().OperatorMessages.front(), "message 51");
}

// The timeline.

TEST_F(Operations, TimelineStepsRunInOrderAtTheFirstTurnAtOrAfterTheirTime) {
  StartListening();
  std::vector<OperatorTimeline::Step> steps = {
      {{2012, 11, 14, 9, 0, 0}, json{{"do", "Command5"}}},
      {{2012, 11, 14, 10, 0, 20}, json{{"do", "Command6"}}},
      {{2012, 11, 14, 10, 0, 20}, json{{"do", "mnulogall10"}}},
      {{2012, 11, 14, 10, 5, 0}, json{{"do", "Command7"}}},
  };
  std::vector<std::string> problems;
  OperatorTimeline timeline(s_.app(), steps,
                            [&problems](const std::string& p) { problems.push_back(p); });
  ASSERT_EQ(timeline.Check(), "");
  timeline.Start();
  s_.loop().Wait(100);
  EXPECT_EQ(timeline.Done(), 1u);  // the step already due
  EXPECT_EQ(m().ShownPanel, "Frame2");
  s_.loop().Wait(19000);
  EXPECT_EQ(timeline.Done(), 1u);
  s_.loop().Wait(2000);
  EXPECT_EQ(timeline.Done(), 3u);
  EXPECT_EQ(m().ShownPanel, "Frame3");
  EXPECT_EQ(m().LogAllSeconds, 600);
  s_.loop().Wait(300000);
  EXPECT_EQ(timeline.Done(), 4u);
  EXPECT_EQ(m().ShownPanel, "");
  EXPECT_TRUE(problems.empty());
}

TEST_F(Operations, TimelineCheckGivesTheStepsPositionTimeAndTheName) {
  Start();
  OperatorTimeline timeline(
      s_.app(),
      {{{2012, 11, 14, 10, 0, 20}, json{{"do", "Command5"}}},
       {{2012, 11, 14, 10, 0, 30}, json{{"form", "frmBWSum"}, {"do", "Print"}}}},
      [](const std::string&) {});
  EXPECT_EQ(timeline.Check(),
            "operator step 2 (at 2012-11-14 10:00:30): frmBWSum has no command 'Print'");
}

TEST_F(Operations, TimelineStopsAfterAStepThatEndsTheProgram) {
  Start();
  OperatorTimeline timeline(s_.app(),
                            {{{2012, 11, 14, 10, 0, 5}, json{{"do", "mnuExit"}}},
                             {{2012, 11, 14, 10, 0, 5}, json{{"do", "Command5"}}}},
                            [](const std::string&) {});
  timeline.Start();
  s_.loop().Wait(10000);
  EXPECT_TRUE(s_.loop().Stopping());
  EXPECT_EQ(timeline.Done(), 1u);
  EXPECT_EQ(m().ShownPanel, "");
}

}  // namespace
}  // namespace tarnex::testing
