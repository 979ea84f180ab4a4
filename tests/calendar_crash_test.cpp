// The traffic totals across crashes: the server killed at random moments
// and started again, over and over.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "base/legacy.h"
#include "core/profile.h"
#include "platform/native/native_files.h"
#include "tests/calendar_support.h"
#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

// Every second adds 1,000 bytes received and 10 sent: each total on disk
// tells how many seconds it holds, and all six must tell the same.
TEST(Reliability, KilledServerKeepsItsTotalsWholeAndGoingForward) {
  const std::string dir = MakeTempDir();
  const std::string app = dir + "/install", scenario = dir + "/scenario.json";
  std::string text = TrafficScenario();
  const std::string from = "\"\\\\Network Interface(Intel Ethernet)\\\\Bytes Sent/sec\": 0";
  text.replace(text.find(from), from.size(),
               "\"\\\\Network Interface(Intel Ethernet)\\\\Bytes Sent/sec\": 10");
  const std::string rec = "\"\\\\Network Interface(Intel Ethernet)\\\\Bytes Received/sec\": 0";
  text.replace(text.find(rec), rec.size(),
               "\"\\\\Network Interface(Intel Ethernet)\\\\Bytes Received/sec\": 1000");
  WriteFile(scenario, text);
  std::mt19937 random(2012);
  NativeFiles files;
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  double seconds = 0;
  int rounds_with_totals = 0;
  const std::string settings = app + "/Bin/Tarnex.Tnx";
  const auto total = [&](const char* key) {
    return legacy::Val(ProfileStore(files).Read(settings, "Bandwidth", key));
  };
  int rounds_that_counted = 0;
  for (int round = 0; round < 100; ++round) {
    const double before = total("Daily Rec");
    const pid_t pid = Spawn({"--app-path", app, "--platform", "sim", "--scenario", scenario,
                             "--speed", "200", "--run-for", "3600"},
                            null, null);
    // One round in four is killed at any moment, start-up included; the others
    // once the run has counted a second of its own, so that every machine,
    // however slow, sees the totals carried from run to run.
    if (round % 4 != 0) {
      const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
      while (total("Daily Rec") <= before && std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ++rounds_that_counted;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ProfileStore store(files);
    if (store.Read(settings, "Bandwidth", "Daily Rec").empty()) {
      // Killed before its first second was counted.
      EXPECT_EQ(seconds, 0) << "round " << round << ": the totals went missing";
      continue;
    }
    ++rounds_with_totals;
    const double now = total("Daily Rec") / 1000;
    EXPECT_EQ(now, std::floor(now)) << "round " << round;
    EXPECT_EQ(total("Daily Sent"), now * 10) << "round " << round;
    EXPECT_EQ(total("Total Rec"), now * 1000) << "round " << round;
    EXPECT_EQ(total("Total Sent"), now * 10) << "round " << round;
    EXPECT_EQ(total("Annual Rec"), now * 1000) << "round " << round;
    EXPECT_EQ(total("Annual Sent"), now * 10) << "round " << round;
    EXPECT_GE(now, seconds) << "round " << round << ": the totals went back";
    seconds = now;
    EXPECT_EQ(store.Read(settings, "Bandwidth", "Daily"), "14 Nov 2012") << "round " << round;
  }
  EXPECT_GE(rounds_with_totals, rounds_that_counted);
  EXPECT_GE(seconds, rounds_that_counted) << "the runs went on from each other's totals";
  close(null);
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
