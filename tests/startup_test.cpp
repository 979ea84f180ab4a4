#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

const char* kStamp = "Tracking Started: 14 Nov 2012 10:00:00AM\r\n";

TEST(StartUp, FreshFolderGetsTheSixFoldersInOrder) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  for (const char* folder :
       {"Bin", "Events", "Events/Tracked", "Events/SnapShot", "Logs", "Files"}) {
    EXPECT_TRUE(std::filesystem::is_directory(s.dir() + "/" + folder)) << folder;
  }
}

TEST(StartUp, FirstRunStampGoesToFiveLogsWithAnnualBandwidthTwice) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.File("Logs/Daily Bandwidth.txt"), kStamp);
  EXPECT_EQ(s.File("Logs/Monthly Bandwidth.txt"), kStamp);
  EXPECT_EQ(s.File("Logs/Daily Hard Drive.txt"), kStamp);
  EXPECT_EQ(s.File("Logs/Monthly Hard Drive.txt"), kStamp);
  EXPECT_EQ(s.File("Logs/Annual Bandwidth.txt"), std::string(kStamp) + kStamp);
  EXPECT_FALSE(s.Has("Logs/Annual Hard Drive.txt"));
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), kFreshSettings);
}

TEST(StartUp, FirstRunStampIsWrittenOnlyOnce) {
  const std::string dir = MakeTempDir();
  {
    SimApp first(kBasicScenario, dir);
    first.Keep();
    ASSERT_TRUE(first.app().FormLoad());
  }
  SimApp second(kBasicScenario, dir);
  ASSERT_TRUE(second.app().FormLoad());
  EXPECT_EQ(second.File("Logs/Daily Bandwidth.txt"), kStamp);
  EXPECT_EQ(second.File("Logs/Annual Bandwidth.txt"), std::string(kStamp) + kStamp);
}

TEST(StartUp, AfternoonStampUsesTheTwelveHourClock) {
  SimApp s(R"({"start": "2024-03-15 23:59:07"})");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"),
            FreshSettings("", "", "15 Mar 2024 11:59:07PM", "Mar 2024", "15 Mar 2024"));
}

std::map<std::string, std::string> Snapshot(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
    files[entry.path().string()] = entry.is_regular_file() ? ReadFile(entry.path().string()) : "";
  }
  return files;
}

TEST(StartUp, SecondInstanceShowsItsMessageAfterTheCountersAndWritesNothing) {
  const std::string scenario = R"({
    "start": "2012-11-14 10:00:00",
    "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1"},
    "counters": {"\\Processor(0)\\% Idle Time": 50},
    "objects": {"Network Interface": ["Intel Ethernet"]}})";
  SimApp first(scenario);
  ASSERT_TRUE(first.app().FormLoad());
  const auto before = Snapshot(first.dir());

  SimApp second(scenario, first.dir());
  second.Keep();
  EXPECT_FALSE(second.app().FormLoad());
  EXPECT_EQ(second.sim().messages,
            std::vector<std::string>{"There is already a copy of Tarnex Server Running!"});
  // The counters were set up before the test.
  EXPECT_NE(second.model().PerfQuery, 0u);
  EXPECT_EQ(second.model().AdapterCount, 1);
  EXPECT_EQ(Snapshot(first.dir()), before);
  EXPECT_FALSE(second.loop().TimerEnabled(second.app().Timer1Id()));
}

TEST(StartUp, StoredLeftBelow100IsCentredOnTheScreen) {
  SimApp s(R"({"screen": [15360, 11520]})");
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nLeft=50\r\nTop=3000\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Left, 15360.0 / 2 - 4010);
  EXPECT_EQ(s.model().Top, 3000);
}

TEST(StartUp, StoredPlaceFarOutsideTheScreenIsClamped) {
  SimApp s(R"({"screen": [15360, 11520]})");
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nLeft=99999\r\nTop=99999\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Left, 15360 - 6750);
  EXPECT_EQ(s.model().Top, 11520 - 5800);
}

TEST(StartUp, WithoutADesktopTheStoredPlaceStays) {
  SimApp s;
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nLeft=50\r\nTop=99999\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Left, 50);
  EXPECT_EQ(s.model().Top, 99999);
}

TEST(StartUp, NoSyswow64FolderGivesASystemFolderNamedSyswow64) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().SystemBinDir, "C:\\Windows\\Syswow64");
}

TEST(StartUp, ExistingSyswow64FolderGivesSystem32) {
  SimApp s(R"({"env": {"WinDIR": "C:\\Windows"}, "dirs": ["c:\\windows\\SYSWOW64"]})");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().SystemBinDir, "C:\\Windows\\System32");
}

TEST(StartUp, SystemDriveAndCaptionComeFromWinDir) {
  SimApp s(
      R"({"env": {"WinDIR": "d:\\winnt", "COMPUTERNAME": "BOX", "NUMBER_OF_PROCESSORS": "8"}})");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().SystemDrive, "d:");
  EXPECT_EQ(s.model().DriveCaption, "D Drive");
  EXPECT_EQ(s.model().ComputerName, "BOX");
  EXPECT_EQ(s.model().ProcessorCount, "8");
  EXPECT_EQ(s.model().AppVersion, "0.80");
  EXPECT_EQ(s.model().AppBuildDate, "14 Nov 2012");
}

TEST(StartUp, MissingProbeCounterShowsFail) {
  SimApp s(R"({"env": {"COMPUTERNAME": "SRV1"}})");
  ASSERT_TRUE(s.app().FormLoad());
  // This machine has neither the system-information program nor the memory
  // tool either.
  const std::vector<std::string> messages = {"Fail", "File or command not found",
                                             "File or command not found"};
  EXPECT_EQ(s.sim().messages, messages);
  EXPECT_EQ(s.model().OperatorMessages, messages);
  EXPECT_EQ(s.model().PerfServiceBroken, 0);
}

TEST(StartUp, ProbeCounterIsFoundWithTheMachinePrefix) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_TRUE(s.sim().messages.empty());
}

TEST(StartUp, PortIndicatorsAreOnForPortsBelow1000) {
  SimApp s;
  std::filesystem::create_directories(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx",
            "[Server]\r\nMonitor CPU Port 2=1000\r\nMonitor CPU Port 3=999\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().cno, (Flags<5>{1, 0, 1, 1, 1}));
}

TEST(StartUp, OneCycleRunsByHandAndTheTimerStartsAt1000) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  // The cycle's rule pass leaves the tick counter at 0.
  EXPECT_EQ(s.model().MinuteTick, 0);
  EXPECT_EQ(s.model().CPULastMin, "Data < 60 (1)");
  EXPECT_TRUE(s.loop().TimerEnabled(s.app().Timer1Id()));
  EXPECT_EQ(s.loop().TimerInterval(s.app().Timer1Id()), 1000);
  EXPECT_EQ(s.model().HourNow, "10");
  EXPECT_TRUE(s.sim().priority_raised);
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().MinuteTick, 0);
  EXPECT_EQ(s.model().CPULastMin, "Data < 60 (2)");
}

TEST(StartUp, EventWindowStartsWithTheSystemText) {
  SimApp s;
  s.model().SysInfo = "OS Name: test";
  s.model().EventText = "left over";
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().SysInfo, s.model().CPUInfo);
  EXPECT_EQ(s.model().EventText.rfind(
                "OPERATING SYSTEM\r\nOS: Microsoft Windows Server 2008 R2 Standard \r\n", 0),
            0u);
  EXPECT_EQ(s.model().EventText, s.model().SysInfo);
}

TEST(StartUp, CompanionIsStartedWhenBackUpsGoToRemotes) {
  SimApp s;
  s.model().Check1 = 1;
  ASSERT_TRUE(s.app().FormLoad());
  ASSERT_EQ(s.sim().started.size(), 1u);
  EXPECT_EQ(s.sim().started[0], s.dir() + "\\SendBU.exe||" + s.dir());
}

TEST(StartUp, RunningCompanionIsNotStartedTwice) {
  SimApp s;
  s.model().Check1 = 1;
  s.sim().running[77] = s.dir() + "\\sendbu.EXE";
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_TRUE(s.sim().started.empty());
}

TEST(StartUp, CompanionIsLeftAloneWhenBackUpsStayHere) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_TRUE(s.sim().started.empty());
}

TEST(StartUp, ServerMonitorFlagIsRestored) {
  SimApp s;
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nStart Server Monitor=1\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Check3[2], 1);
}

TEST(Shutdown, ClosingWritesThePlaceClosesListenersAndTheCompanion) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().Left = 1200;
  s.model().Top = 900;
  s.sim().running[50] = s.dir() + "\\SendBU.exe";
  ASSERT_EQ(s.app().Listener(0).state(), Winsock::kListening);
  s.app().FormUnload();
  EXPECT_EQ(s.app().Listener(0).state(), Winsock::kClosed);
  EXPECT_TRUE(s.sim().running.empty());
  EXPECT_TRUE(s.loop().Stopping());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), FreshSettings("Left=1200\r\nTop=900\r\n"));
}

TEST(Shutdown, ClosingWithoutTheCompanionRunningEndsAllTheSame) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.app().FormUnload();
  EXPECT_TRUE(s.loop().Stopping());
  EXPECT_TRUE(s.sim().running.empty());
}

TEST(Shutdown, ExitSavesNothing) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().Left = 1200;
  s.app().Exit();
  EXPECT_TRUE(s.loop().Stopping());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), kFreshSettings);
}

}  // namespace
}  // namespace tarnex::testing
