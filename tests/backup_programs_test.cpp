// Finding a program by its full path on the simulated machine, and the
// programs closed and started again around a back-up.
#include <gtest/gtest.h>

#include <string>

#include <nlohmann/json.hpp>

#include "backup/programs.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using nlohmann::json;

// The basic machine with these processes (pid, path), in pid order.
std::string WithProcesses(const json& processes, const json& programs = json::object()) {
  json s = json::parse(kBasicScenario);
  s["processes"] = processes;
  if (!programs.empty()) s["programs"] = programs;
  return s.dump();
}

int64_t Window(int64_t pid) {
  return SimPlatform::kWindowBase + pid;
}

TEST(ProgramLookUp, OfTwoCopiesTheFirstInTheProcessListWins) {
  SimApp s(WithProcesses({{{"pid", 120}, {"path", "C:\\Apps\\app.exe"}},
                          {{"pid", 140}, {"path", "C:\\Other\\other.exe"}},
                          {{"pid", 160}, {"path", "C:\\Apps\\app.exe"}}}));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Apps\\app.exe"), 120);
  EXPECT_EQ(IsRunning(s.ctx(), "C:\\Apps\\app.exe"), Window(120));
  // Once the first has gone, the second is found.
  ASSERT_TRUE(s.sim().CloseWindow(Window(120)));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Apps\\app.exe"), 160);
}

TEST(ProgramLookUp, APathThatDiffersInCaseOrOuterBlanksMatches) {
  SimApp s(WithProcesses({{{"pid", 200}, {"path", "C:\\Apps\\App.exe"}},
                          {{"pid", 210}, {"path", "  D:\\Tools\\tool.exe "}}}));
  EXPECT_EQ(FindProcess(s.ctx(), "c:\\apps\\APP.EXE"), 200);
  EXPECT_EQ(FindProcess(s.ctx(), "   C:\\Apps\\App.exe  "), 200);
  EXPECT_EQ(FindProcess(s.ctx(), "d:\\tools\\TOOL.exe"), 210);
  // Blanks inside the path are part of it.
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Apps\\ App.exe"), 0);
}

TEST(ProgramLookUp, AShortPathOrAnotherDriveMappingDoesNotMatch) {
  SimApp s(WithProcesses({{{"pid", 300}, {"path", "C:\\Program Files\\Tarnex\\app.exe"}}}));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Program Files\\Tarnex\\app.exe"), 300);
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\PROGRA~1\\Tarnex\\app.exe"), 0);
  EXPECT_EQ(FindProcess(s.ctx(), "T:\\Tarnex\\app.exe"), 0);
  EXPECT_EQ(FindProcess(s.ctx(), "\\\\SRV1\\C$\\Program Files\\Tarnex\\app.exe"), 0);
  EXPECT_EQ(FindProcess(s.ctx(), "app.exe"), 0);
  EXPECT_EQ(FindProcess(s.ctx(), ""), 0);
}

TEST(ProgramLookUp, OnlyTheFirst256ProcessesAreSearched) {
  json processes = json::array();
  for (int i = 1; i <= 257; ++i) {
    processes.push_back({{"pid", 1000 + i}, {"path", "C:\\P\\p" + std::to_string(i) + ".exe"}});
  }
  SimApp s(WithProcesses(processes));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\P\\p1.exe"), 1001);
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\P\\p256.exe"), 1256);
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\P\\p257.exe"), 0) << "the 257th is beyond the list";
  // With one process fewer ahead of it, it is within the list.
  ASSERT_TRUE(s.sim().CloseWindow(Window(1001)));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\P\\p257.exe"), 1257);
}

TEST(ProgramLookUp, AProcessThatCannotBeOpenedIsPassedOver) {
  SimApp s(WithProcesses({{{"pid", 400}, {"path", "C:\\Apps\\app.exe"}, {"protected", true}},
                          {{"pid", 410}, {"path", "C:\\Apps\\app.exe"}},
                          {{"pid", 420}, {"path", "C:\\Svc\\svc.exe"}, {"protected", true}}}));
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Apps\\app.exe"), 410);
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Svc\\svc.exe"), 0) << "another user's program";
  EXPECT_EQ(IsRunning(s.ctx(), "C:\\Svc\\svc.exe"), 0);
}

TEST(ProgramLookUp, AProcessThatFailsToOpenIsPassedOver) {
  SimApp s(WithProcesses({{{"pid", 430}, {"path", "C:\\Apps\\app.exe"}},
                          {{"pid", 440}, {"path", "C:\\Apps\\app.exe"}}}),
           "", SimApp::Faults::kInjectable);
  s.faults().Inject({.op = "open-process", .subject = "430"});
  EXPECT_EQ(FindProcess(s.ctx(), "C:\\Apps\\app.exe"), 440);
  EXPECT_EQ(s.faults().Failed("open-process"), 1);
}

TEST(ProgramLookUp, AModuleNameIsCutToTheBufferLessOne) {
  const std::string folder = "C:\\" + std::string(250, 'd') + "\\";
  const std::string path = folder + "program.exe";  // 264 characters
  SimApp s(WithProcesses({{{"pid", 500}, {"path", path}}}));
  EXPECT_EQ(FindProcess(s.ctx(), path), 0);
  EXPECT_EQ(FindProcess(s.ctx(), path.substr(0, kModuleNameRoom - 1)), 500);
}

TEST(ProgramLookUp, AProgramWithoutAWindowIsFoundButDoesNotRun) {
  SimApp s(WithProcesses(json::array(), {{"quiet.exe", {{"window", false}}}}));
  ASSERT_TRUE(s.sim().ShellOpen("C:\\Apps\\quiet.exe", "", "C:\\Apps"));
  const int64_t pid = FindProcess(s.ctx(), "C:\\Apps\\quiet.exe");
  ASSERT_NE(pid, 0);
  EXPECT_EQ(FindWindowOfProcess(s.ctx(), pid), 0);
  EXPECT_EQ(IsRunning(s.ctx(), "C:\\Apps\\quiet.exe"), 0);
  EXPECT_EQ(IsRunning(s.ctx(), "C:\\Apps\\missing.exe"), 0);
}

class ClosedAroundABackUp : public ::testing::Test {
 protected:
  ClosedAroundABackUp()
      : s_(WithProcesses({{{"pid", 600}, {"path", "C:\\Mail\\mail.exe"}}},
                         {{"db.exe", {{"window", false}}}}),
           "", SimApp::Faults::kInjectable) {}
  ServerModel& m() { return s_.model(); }
  SimApp s_;
};

TEST_F(ClosedAroundABackUp, CloseAllAsksTheRunningOnesToCloseAndStartPStartsThoseAgain) {
  // A program that runs without a window is not running for the look-up.
  ASSERT_TRUE(s_.sim().ShellOpen("C:\\Db\\db.exe", "", "C:\\Db"));
  ASSERT_NE(FindProcess(s_.ctx(), "C:\\Db\\db.exe"), 0);
  m().CloseME = {"C:\\Mail\\mail.exe", "C:\\Web\\web.exe", "", "C:\\Db\\db.exe"};
  m().CmdLine = {"-quiet -start", "-w", "-x", ""};
  CloseALL(s_.ctx());
  EXPECT_EQ(m().ClosedHandle, (WindowHandles{static_cast<int32_t>(Window(600)), 0, 0, 0}));
  EXPECT_EQ(s_.sim().closed, std::vector<int64_t>{Window(600)});
  EXPECT_EQ(IsRunning(s_.ctx(), "C:\\Mail\\mail.exe"), 0) << "it closed";
  s_.sim().started.clear();
  StartP(s_.ctx());
  EXPECT_EQ(s_.sim().started,
            std::vector<std::string>{"C:\\Mail\\mail.exe|-quiet -start|C:\\Mail"});
  EXPECT_NE(IsRunning(s_.ctx(), "C:\\Mail\\mail.exe"), 0);
}

TEST_F(ClosedAroundABackUp, StartPAfterACloseAllThatFoundNothingStartsNothing) {
  m().CloseME = {"C:\\Web\\web.exe", "", "C:\\Other\\mail.exe", ""};
  m().CmdLine = {"-w", "-x", "", ""};
  CloseALL(s_.ctx());
  EXPECT_EQ(m().ClosedHandle, (WindowHandles{0, 0, 0, 0}));
  EXPECT_TRUE(s_.sim().closed.empty());
  StartP(s_.ctx());
  EXPECT_TRUE(s_.sim().started.empty());
}

TEST_F(ClosedAroundABackUp, AProgramThatRefusesToCloseStaysUpAndIsStartedOnceMore) {
  s_.faults().Inject({.op = "close-window", .subject = std::to_string(Window(600))});
  m().CloseME = {"", "", "C:\\Mail\\mail.exe", ""};
  m().CmdLine = {"", "", "-r", ""};
  CloseALL(s_.ctx());
  EXPECT_EQ(s_.faults().Failed("close-window"), 1);
  EXPECT_EQ(m().ClosedHandle[2], Window(600)) << "the window was found";
  EXPECT_EQ(IsRunning(s_.ctx(), "C:\\Mail\\mail.exe"), Window(600)) << "nothing forced it";
  StartP(s_.ctx());
  EXPECT_EQ(s_.sim().started, std::vector<std::string>{"C:\\Mail\\mail.exe|-r|C:\\Mail"});
}

TEST(FolderOf, GivesThePathLessItsLastComponent) {
  EXPECT_EQ(FolderOf("C:\\App\\app.exe"), "C:\\App");
  EXPECT_EQ(FolderOf("C:\\app.exe"), "C:");
  EXPECT_EQ(FolderOf("C:\\App\\"), "C:\\App");
  EXPECT_EQ(FolderOf("\\\\SRV1\\Share\\run.exe"), "\\\\SRV1\\Share");
  EXPECT_EQ(FolderOf("app.exe"), "") << "no separator: nothing is left";
  EXPECT_EQ(FolderOf("/opt/app/run"), "") << "only a backslash separates";
}

}  // namespace
}  // namespace tarnex::testing
