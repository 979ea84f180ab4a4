// The whole program driven by a scenario's operator timeline: recordings,
// the performance console, the bandwidth window, Exit, and steps that are
// wrong before anything starts.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const char* const kSnapshotFiles[13] = {
    "CPU.txt",         "System.txt",          "Memory.txt",    "Processes.txt", "Hard Drive.txt",
    "Network BW.txt",  "Network Packets.txt", "Server.txt",    "SQL.txt",       "Networking.txt",
    "Web Service.txt", "Web Proxy.txt",       "ISA Server.txt"};

int CountLines(const std::string& text) {
  int n = 0;
  for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at + 2)) ++n;
  return n;
}

class OperatorRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    app_ = dir_ + "/install";
    scenario_ = json::parse(kBasicScenario);
    // Four programs with names long enough for the module-name buffer.
    scenario_["processes"] = json::array();
    int pid = 100;
    for (const char* path : {"C:\\SQL\\sqlservr.exe", "C:\\inetsrv\\w3wp.exe",
                             "C:\\inetsrv\\inetinfo.exe", "C:\\Windows\\svchost.exe"}) {
      scenario_["processes"].push_back({{"pid", pid++}, {"path", path}});
    }
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Runs the program for `seconds` of virtual time with the steps; the exit
  // code, and the model dump in `dump`.
  int Run(const json& steps, int seconds, std::string* err = nullptr) {
    scenario_["operator"] = steps;
    SimRun run = RunSimulated(dir_, app_, scenario_, seconds);
    if (err != nullptr) *err = run.err;
    dump = std::move(run.dump);
    return run.code;
  }
  // Gives the monitor slots ports of their own before the run, so that
  // start-up's cycle does not wait for unopened slots and the cycles keep
  // the whole seconds.
  void ListeningMonitors() {
    fs::create_directories(app_ + "/Bin");
    WriteFile(app_ + "/Bin/Tarnex.Tnx", FreshSettings(MonitorPorts()));
  }
  std::string Snap(const std::string& file) { return ReadFile(app_ + "/Events/SnapShot/" + file); }

  std::string dir_, app_;
  json scenario_;
  json dump;
};

TEST_F(OperatorRun, AOneMinuteRecordingGivesThirteenFilesOfALineEachSecond) {
  ListeningMonitors();
  ASSERT_EQ(Run(json::array({{{"at", "2012-11-14 10:00:00"}, {"set", {{"BNPrograms", 1}}}},
                             {{"at", "2012-11-14 10:00:10"}, {"do", "mnulogall1"}}}),
                180),
            0);
  // The step lands inside the cycle of 10:00:10, which writes its lines:
  // sixty cycles, sixty lines.
  for (const char* file : kSnapshotFiles) {
    ASSERT_TRUE(fs::exists(app_ + "/Events/SnapShot/" + file)) << file;
    const int expected = std::string(file) == "Processes.txt" ? 120 : 60;
    EXPECT_EQ(CountLines(Snap(file)), expected) << file;
  }
  EXPECT_EQ(dump["LogAllSeconds"], 0);
  EXPECT_EQ(dump["Label27"], "Data Located at " + app_ + "\\Events\\SnapShot");
  // Every line of a file the same on this steady machine but for the
  // figures that move; the programs' lines in pairs.
  const std::string processes = Snap("Processes.txt");
  EXPECT_EQ(processes.substr(0, processes.find("\r\n")),
            "sqlservr.exe\tPage Faults 0 Sec \tWorking Set 0 KB\tw3wp.exe\tPage Faults 0 Sec "
            "\tWorking Set 0 KB\tinetinfo.exe\tPage Faults 0 Sec \tWorking Set 0 KB");
  const std::string sql = Snap("SQL.txt");
  EXPECT_EQ(sql.substr(0, sql.find("\r\n") + 2),
            "SQL Buffer Cache Hit Ratio 0\tSQL Latch Waits 0\tSQL Total Latch Wait Time 0\t"
            "SQL Server General Statistics Logouts Sec 0\tNumber of Packets per sec 0\r\n");
}

TEST_F(OperatorRun, AFifteenMinuteRecordingReplacedByAOneMinuteOneLeavesOnlyTheNewLines) {
  ListeningMonitors();
  ASSERT_EQ(Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"do", "mnulogall15"}},
                             {{"at", "2012-11-14 10:00:40"}, {"do", "mnulogall1"}}}),
                300),
            0);
  for (const char* file : kSnapshotFiles) {
    if (std::string(file) == "Processes.txt") continue;  // no program is named without the rules
    EXPECT_EQ(CountLines(Snap(file)), 60) << file;
  }
}

TEST_F(OperatorRun, TheConsoleOpenedAndClosedKeepsItsPlace) {
  ASSERT_EQ(
      Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"do", "mnuservermon"}},
                       {{"at", "2012-11-14 10:00:20"},
                        {"form", "frmServer"},
                        {"set", {{"Top", 4000}, {"Left", 50}}}},
                       {{"at", "2012-11-14 10:00:30"}, {"form", "frmServer"}, {"close", true}},
                       {{"at", "2012-11-14 10:00:40"}, {"do", "mnuservermon"}}}),
          60),
      0);
  EXPECT_EQ(ReadFile(app_ + "/Performance.dat"), "[SERVER]\r\nTop=4000\r\nLeft=50\r\n");
  EXPECT_TRUE(dump["forms"]["frmServer"]["open"]);
  EXPECT_EQ(dump["forms"]["frmServer"]["Top"], 4000);
  EXPECT_EQ(dump["forms"]["frmServer"]["LeftVal"][0], "0 Kbps");
  EXPECT_EQ(dump["forms"]["frmServer"]["RightCap"][5], "Logon");
}

TEST_F(OperatorRun, TheBandwidthWindowInBothModes) {
  fs::create_directories(app_ + "/Logs");
  WriteFile(app_ + "/Logs/Monthly Bandwidth.txt", "Oct 2012\tsent 5\r\n");
  ASSERT_EQ(
      Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"do", "mnubw"}},
                       {{"at", "2012-11-14 10:00:20"}, {"form", "frmBWSum"}, {"do", "Command3"}},
                       {{"at", "2012-11-14 10:00:30"}, {"do", "mnubwm"}}}),
          60),
      0);
  EXPECT_EQ(dump["BWSumMode"], 2);
  EXPECT_TRUE(dump["forms"]["frmBWSum"]["open"]);
  EXPECT_EQ(dump["forms"]["frmBWSum"]["Caption"], "Monthly Bandwidth");
  // The journal as it stands, with the first start's line behind the old one.
  EXPECT_EQ(dump["forms"]["frmBWSum"]["Text1"], ReadFile(app_ + "/Logs/Monthly Bandwidth.txt"));
  EXPECT_EQ(dump["forms"]["frmBWSum"]["Text1"].get<std::string>().rfind("Oct 2012\tsent 5\r\n", 0),
            0u);

  ASSERT_EQ(
      Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"do", "mnubw"}},
                       {{"at", "2012-11-14 10:00:20"}, {"form", "frmBWSum"}, {"do", "Command2"}}}),
          60),
      0);
  EXPECT_FALSE(dump["forms"]["frmBWSum"]["open"]);
  EXPECT_EQ(dump["BWSumMode"], 1);
  EXPECT_EQ(ReadFile(app_ + "/Bin/Daily Bandwidth.txt"), dump["BandwidthText"]);
  EXPECT_EQ(dump["OperatorMessages"].back(), "Date written to " + app_ + "\\Bin\\BWSummary.txt");
}

TEST_F(OperatorRun, ExitInTheMiddleOfARunEndsThereAndWritesNoPlaceNorWeekTable) {
  ASSERT_EQ(Run(json::array({{{"at", "2012-11-14 10:01:00"}, {"do", "Command2"}}}), 3600), 0);
  // The last cycle ran at ten o'clock and one minute, not an hour later.
  EXPECT_LT(dump["CycleStart"].get<double>(), 36061);
  EXPECT_GE(dump["CycleStart"].get<double>(), 36059);
  const std::string settings = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(settings.find("\r\nLeft="), std::string::npos) << settings;
  EXPECT_EQ(settings.find("\r\nTop="), std::string::npos) << settings;
  // Closing the window instead writes the place.
  fs::remove_all(app_);
  ASSERT_EQ(Run(json::array({{{"at", "2012-11-14 10:01:00"}, {"close", true}}}), 3600), 0);
  EXPECT_NE(ReadFile(app_ + "/Bin/Tarnex.Tnx").find("\r\nLeft="), std::string::npos);
}

TEST_F(OperatorRun, AWrongStepIsAnErrorAtLoadWithItsPositionAndNameAndNothingRuns) {
  std::string err;
  EXPECT_EQ(Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"do", "mnulogall1"}},
                             {{"at", "2012-11-14 10:00:20"}, {"do", "mnulogall2"}}}),
                60, &err),
            2);
  EXPECT_NE(err.find("operator step 2 (at 2012-11-14 10:00:20): MainFrm has no command "
                     "'mnulogall2'"),
            std::string::npos)
      << err;
  EXPECT_FALSE(fs::exists(app_ + "/Bin/Tarnex.Tnx"));

  EXPECT_EQ(Run(json::array({{{"at", "10:00"}, {"do", "mnulogall1"}}}), 60, &err), 2);
  EXPECT_NE(err.find("operator step 1: \"at\" must be a text \"YYYY-MM-DD HH:MM:SS\""),
            std::string::npos)
      << err;
  EXPECT_EQ(Run(json::array({{{"at", "2012-11-14 10:00:10"}, {"press", "Command1"}}}), 60, &err),
            2);
  EXPECT_NE(err.find("operator step 1: unknown key \"press\""), std::string::npos) << err;
  EXPECT_EQ(
      Run(json::array(
              {{{"at", "2012-11-14 10:00:10"}, {"form", "frmServer"}, {"set", {{"Top", "high"}}}}}),
          60, &err),
      2);
  EXPECT_NE(err.find("operator step 1 (at 2012-11-14 10:00:10): field 'Top' of frmServer"),
            std::string::npos)
      << err;
  EXPECT_FALSE(fs::exists(app_ + "/Bin/Tarnex.Tnx"));
}

}  // namespace
}  // namespace tarnex::testing
