// The program as a user starts it: options, errors, runs on the simulated
// machine and on this host, signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "core/profile.h"
#include "platform/native/native_files.h"
#include "tests/server_process.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using Launcher = LauncherTest;

TEST_F(Launcher, HelpListsTheOptions) {
  const Result r = RunServer({"--help"});
  EXPECT_EQ(r.code, 0);
  for (const char* option :
       {"--app-path", "--platform", "--scenario", "--start", "--speed", "--run-for", "--answer",
        "--dump-model", "--boot-dir", "--interfaces", "--version"}) {
    EXPECT_NE(r.out.find(option), std::string::npos) << option;
  }
}

TEST_F(Launcher, VersionPrintsTheProgramVersion) {
  const Result r = RunServer({"--version"});
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "0.80\n");
}

void ExpectUsageError(const Result& r, const std::string& words) {
  EXPECT_EQ(r.code, 2);
  EXPECT_NE(r.err.find(words), std::string::npos) << r.err;
}

TEST_F(Launcher, BadOptionsExitWithTwoAndWriteNothing) {
  ExpectUsageError(RunServer({"--app-path", app_, "--bogus"}), "unknown option '--bogus'");
  ExpectUsageError(RunServer({"--app-path", app_, "--run-for"}), "--run-for needs a value");
  ExpectUsageError(RunServer({"--app-path", app_, "--platform", "windows"}), "linux or sim");
  ExpectUsageError(RunServer({"--app-path", app_, "--platform", "sim"}), "--scenario");
  ExpectUsageError(RunServer({"--app-path", app_, "--speed", "fast"}), "--speed");
  ExpectUsageError(RunServer({"--app-path", app_, "--speed", "0"}), "--speed");
  ExpectUsageError(RunServer({"--app-path", app_, "--answer", "maybe"}), "--answer");
  ExpectUsageError(RunServer({"--app-path", app_, "--start", "2012-13-01 00:00:00"}), "--start");
  ExpectUsageError(RunServer({"--app-path", app_, "--run-for", "-1"}), "--run-for");
  ExpectUsageError(RunServer({"--app-path", app_, "--scenario", scenario_}), "--platform sim");
  ExpectUsageError(RunServer({"--app-path", app_, "--interfaces"}), "--interfaces needs a value");
  ExpectUsageError(RunServer({"--app-path", app_, "--interfaces", ""}), "--interfaces");
  ExpectUsageError(RunServer({"--app-path", app_, "--interfaces", "eth0,,eth1"}), "--interfaces");
  ExpectUsageError(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_,
                              "--interfaces", "eth0"}),
                   "--interfaces goes with --platform linux");
  EXPECT_FALSE(Exists(app_));
}

TEST_F(Launcher, UnreadableScenarioExitsWithTwoAndWritesNothing) {
  ExpectUsageError(
      RunServer({"--app-path", app_, "--platform", "sim", "--scenario", dir_ + "/missing.json"}),
      "missing.json");
  WriteFile(scenario_, R"({"start": "2012-11-14 10:00:00", "colours": 3})");
  ExpectUsageError(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_}),
                   "colours");
  WriteFile(scenario_, "{ not json");
  ExpectUsageError(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_}),
                   "JSON");
  EXPECT_FALSE(Exists(app_));
}

TEST_F(Launcher, SimulatedRunMakesTheTreeAndDumpsTheModel) {
  const std::string dump = dir_ + "/model.json";
  const Result r = RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_,
                              "--run-for", "10", "--dump-model", dump});
  ASSERT_EQ(r.code, 0) << r.err;
  for (const char* folder : {"Bin", "Events/Tracked", "Events/SnapShot", "Logs", "Files"}) {
    EXPECT_TRUE(std::filesystem::is_directory(app_ + "/" + folder)) << folder;
  }
  EXPECT_EQ(ReadFile(app_ + "/Bin/Tarnex.Tnx"), FreshSettings("Left=0\r\nTop=0\r\n"));
  const auto model = nlohmann::json::parse(ReadFile(dump));
  // Start-up's cycle, then half a second for each of the five monitor slots
  // a first start leaves unopened, then a cycle each second.
  EXPECT_EQ(model["CPULastMin"], "Data < 60 (8)");
  EXPECT_EQ(model["AppPath"], app_);
  EXPECT_EQ(model["ComputerName"], "SRV1");
  EXPECT_EQ(model["MinuteTick"], 0);
  EXPECT_TRUE(model["IdlePer"].is_array());
  EXPECT_EQ(model["IdlePer"].size(), 4u);
  EXPECT_EQ(model["picGraph0"].size(), 300u);
  EXPECT_TRUE(model.contains("SysInfo"));
  EXPECT_TRUE(model.contains("Label47"));
}

TEST_F(Launcher, DumpTurnsSingleByteTextIntoUtf8) {
  WriteFile(scenario_, "{\"env\": {\"COMPUTERNAME\": \"Caf\xc3\xa9\"}}");
  const std::string dump = dir_ + "/model.json";
  // The scenario's text is UTF-8; the model holds single-byte text, so the
  // machine name comes through as its bytes, each turned into UTF-8.
  const Result r = RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_,
                              "--run-for", "1", "--dump-model", dump, "--quiet"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto model = nlohmann::json::parse(ReadFile(dump));
  EXPECT_EQ(model["ComputerName"], "Caf\xc3\x83\xc2\xa9");
}

TEST_F(Launcher, StartOptionSetsTheVirtualClock) {
  const Result r = RunServer({"--app-path", app_, "--platform", "sim", "--scenario", scenario_,
                              "--start", "2013-01-31 23:59:58", "--run-for", "1"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(ReadFile(app_ + "/Bin/Tarnex.Tnx").find("First Run=31 Jan 2013 11:59:58PM"),
            std::string::npos);
}

TEST_F(Launcher, RealHostRunOfAFewSecondsMakesTheTree) {
  const Result r = RunServer({"--app-path", app_, "--run-for", "2"});
  ASSERT_EQ(r.code, 0) << r.err;
  for (const char* folder :
       {"Bin", "Events", "Events/Tracked", "Events/SnapShot", "Logs", "Files"}) {
    EXPECT_TRUE(std::filesystem::is_directory(app_ + "/" + folder)) << folder;
  }
  const std::string settings = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(settings.rfind("[Server]\r\nFirst Run=", 0), 0u) << settings;
  EXPECT_NE(settings.find("\r\nLeft=0\r\nTop=0\r\n"), std::string::npos);
  EXPECT_TRUE(Exists(app_ + "/Logs/Annual Bandwidth.txt"));
}

TEST_F(Launcher, InterfacesOptionNamesTheAdaptersOfTheHost) {
  const std::string dump = dir_ + "/model.json";
  const Result r = RunServer(
      {"--app-path", app_, "--run-for", "1", "--interfaces", "lo,nosuch0", "--dump-model", dump});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto model = nlohmann::json::parse(ReadFile(dump));
  EXPECT_EQ(model["AdapterCount"], 1);
  EXPECT_EQ(model["AdapterName"][0], "Network Adapter lo");
  EXPECT_NE(model["hNetBytesTotal"][0], 0);
  EXPECT_EQ(model["hNetBytesTotal"][1], 0);
}

TEST_F(Launcher, TermSignalClosesAsTheMainWindowDoes) {
  const int null = open("/dev/null", O_WRONLY);
  const pid_t pid = Spawn({"--app-path", app_}, null, null);
  close(null);
  ASSERT_TRUE(WaitFor([&] { return Exists(app_ + "/Logs/Annual Bandwidth.txt"); }, 100));
  kill(pid, SIGTERM);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_NE(ReadFile(app_ + "/Bin/Tarnex.Tnx").find("Left=0\r\nTop=0\r\n"), std::string::npos);
}

TEST_F(Launcher, SecondStartInTheSameFolderEndsAtOnce) {
  const int null = open("/dev/null", O_WRONLY);
  const pid_t pid = Spawn({"--app-path", app_}, null, null);
  close(null);
  ASSERT_TRUE(WaitFor([&] { return Exists(app_ + "/Logs/Annual Bandwidth.txt"); }, 100));
  const Result second = RunServer({"--app-path", app_});
  EXPECT_EQ(second.code, 3);
  EXPECT_NE(second.err.find("There is already a copy of Tarnex Server Running!"),
            std::string::npos);
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// The keys of a settings file, section by section, read through the store.
void ExpectKeys(const std::string& file,
                const std::vector<std::pair<std::string, std::string>>& keys, int round) {
  NativeFiles files;
  ProfileStore store(files);
  for (const auto& [section, key] : keys) {
    EXPECT_NE(store.Read(file, section, key), "")
        << "round " << round << ": " << section << "/" << key;
  }
}

TEST(Reliability, KilledServerKeepsEveryKeyOfItsSettingsAndTheNextStartClearsItsTemporaries) {
  const std::string dir = MakeTempDir();
  const std::string app = dir + "/install", scenario = dir + "/scenario.json";
  WriteFile(scenario, kBasicScenario);
  std::filesystem::create_directories(app + "/Bin");
  WriteFile(app + "/Bin/Tarnex.Tnx",
            "[Server]\r\nBU Freq=60\r\nServer Name=Main\r\n[Monitor]\r\nCPU=1\r\n");
  std::mt19937 random(12345);
  bool stamped = false;
  pid_t previous = 0;
  for (int round = 0; round < 100; ++round) {
    // A hundred virtual seconds a real second: the settings are written
    // every hundredth of a second, and the kill comes at any moment of
    // start-up or of the run.
    const int null = open("/dev/null", O_WRONLY);
    const pid_t pid = Spawn({"--app-path", app, "--platform", "sim", "--scenario", scenario,
                             "--speed", "100", "--run-for", "3600"},
                            null, null);
    close(null);
    std::this_thread::sleep_for(std::chrono::microseconds(5000 + random() % 200000));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ExpectKeys(app + "/Bin/Tarnex.Tnx",
               {{"Server", "BU Freq"}, {"Server", "Server Name"}, {"Monitor", "CPU"}}, round);
    // Once the first-run stamp is in, it stays.
    if (stamped) ExpectKeys(app + "/Bin/Tarnex.Tnx", {{"Server", "First Run"}}, round);
    NativeFiles files;
    stamped = stamped ||
              !ProfileStore(files).Read(app + "/Bin/Tarnex.Tnx", "Server", "First Run").empty();
    // What the copy killed before this one left is gone; this one's may stay
    // until the next start.
    if (previous != 0 && Exists(app + "/Bin")) {
      for (const std::string& name : Temporaries(app + "/Bin")) {
        EXPECT_FALSE(name.ends_with(".tmp" + std::to_string(previous))) << "round " << round;
      }
    }
    previous = pid;
  }
  const Result last =
      RunServer({"--app-path", app, "--platform", "sim", "--scenario", scenario, "--run-for", "1"});
  EXPECT_EQ(last.code, 0) << last.err;
  EXPECT_EQ(Temporaries(app + "/Bin"), std::vector<std::string>{});
  std::filesystem::remove_all(dir);
}

TEST(Reliability, WriterKilledInTheMiddleOfSavesNeverTearsTheFile) {
  const std::string dir = MakeTempDir();
  const std::vector<std::pair<std::string, std::string>> keys = {
      {"Server", "First Run"},   {"Server", "Close Prog 1"}, {"Server", "Monitor User 5"},
      {"Server", "Server Name"}, {"Monitor", "UP BW"},       {"Monitor", "UPrograms"}};
  {
    SimApp s(kBasicScenario, dir);
    s.Keep();
    ASSERT_TRUE(s.app().FormLoad());
    s.model().CloseME[0] = "first";
    s.model().MUser[4] = "user";
    s.model().SName = "Main";
    s.model().UpBW = "100 MB";
    s.app().Command1();
  }
  ExpectKeys(dir + "/Bin/Tarnex.Tnx", keys, -1);
  std::mt19937 random(678);
  for (int round = 0; round < 50; ++round) {
    const pid_t pid = fork();
    if (pid == 0) {
      // Saves as fast as it can, each with other values, until it is killed.
      SimApp s(kBasicScenario, dir);
      s.Keep();
      s.app().FormLoad();
      for (int i = 0;; ++i) {
        s.model().CloseME[0] = "prog" + std::to_string(i);
        s.model().MUser[4] = std::string(static_cast<size_t>(i % 50 + 1), 'u');
        s.model().SName = "Main " + std::to_string(i);
        s.model().UpBW = std::to_string(i % 90 + 11) + " MB";
        s.app().Command1();
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 30000));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ExpectKeys(dir + "/Bin/Tarnex.Tnx", keys, round);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
