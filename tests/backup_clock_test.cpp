// The back-up clock: the freeze below a minute, the hourly record, the watch
// of a running companion, the daily full back-up, the sending pauses and the
// countdown with its spans.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "backup/backup_clock.h"
#include "core/commands.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using nlohmann::json;

std::string Scenario(const std::string& start, double runs_for = -1, bool window = true) {
  json s = json::parse(kBasicScenario);
  s["start"] = start;
  if (runs_for >= 0) {
    s["programs"] = {{"TarnexSBackup.exe", {{"runs_for", runs_for}, {"window", window}}}};
  }
  return s.dump();
}

int Starts(SimPlatform& sim, const std::string& parameters) {
  int n = 0;
  for (const std::string& s : sim.started) {
    if (s.find("TarnexSBackup.exe|" + parameters + "|") != std::string::npos) ++n;
  }
  return n;
}

TEST(Span, GivesWholeUnitsAndCutsTheLastTwoCharacters) {
  EXPECT_EQ(Span(3661), "1 hr 1 min 1 se");
  EXPECT_EQ(Span(120), "2 min");
  EXPECT_EQ(Span(0), "");
  EXPECT_EQ(Span(86400), "1 da");
  EXPECT_EQ(Span(1), "1 se");
  EXPECT_EQ(Span(59), "59 sec");
  EXPECT_EQ(Span(90061), "1 day 1 hr 1 min 1 se");
  EXPECT_EQ(Span(2 * 86400 + 7200), "2 days 2 hr");
  // Days wrap at 365.
  EXPECT_EQ(Span(365 * 86400.0), "");
  EXPECT_EQ(Span(366 * 86400.0), "1 da");
}

class BackupClock : public ::testing::Test {
 protected:
  void Start(const std::string& scenario, const std::string& freq) {
    s_ = std::make_unique<SimApp>(scenario);
    std::filesystem::create_directories(s_->dir() + "/Bin");
    WriteFile(s_->dir() + "/Bin/Tarnex.Tnx",
              "[Server]\r\nBU Freq=" + freq + "\r\n" + MonitorPorts());
    ASSERT_TRUE(s_->app().FormLoad());
  }
  ServerModel& m() { return s_->model(); }
  void Seconds(int n) { s_->loop().Wait(n * 1000LL); }

  std::unique_ptr<SimApp> s_;
};

TEST_F(BackupClock, AnIntervalOfZeroFreezesTheRecordTheBackUpsAndTheCountdown) {
  Start(Scenario("2012-11-14 09:59:30"), "0");
  EXPECT_EQ(m().BackupInterval, 0);
  Seconds(120);
  EXPECT_EQ(m().Label21, "");
  EXPECT_EQ(m().BackupCount, 0);
  EXPECT_EQ(Starts(s_->sim(), "-S"), 0);
  EXPECT_FALSE(s_->Has("Events/Monitor.txt") && !s_->File("Events/Monitor.txt").empty());
}

TEST_F(BackupClock, AnIntervalOfOneMinuteStartsAFileBackUpAtTheSixtiethTick) {
  Start(Scenario("2012-11-14 10:00:30", 0), "1");
  EXPECT_EQ(m().BackupInterval, 60);
  Seconds(59);
  EXPECT_EQ(m().BackupCount, 59);
  EXPECT_EQ(m().Label21, "Next File BU: 1 se");
  EXPECT_EQ(Starts(s_->sim(), "-S"), 0);
  Seconds(1);
  EXPECT_EQ(Starts(s_->sim(), "-S"), 1);
  EXPECT_EQ(m().BackupCount, 0);
  EXPECT_EQ(m().BackupState, 1);
  EXPECT_EQ(m().Label20, "Last BU Started: 10:01:30AM");
  EXPECT_EQ(m().Label21, "Next File BU: ");
  // The companion ended at once: the next tick finds it gone.
  Seconds(1);
  EXPECT_EQ(m().BackupState, 0);
  EXPECT_EQ(m().Label20, "Last BU Complete: 10:01:31AM");
  EXPECT_EQ(m().BackupCount, 1);
}

TEST_F(BackupClock, ARunningCompanionIsWatchedUntilItEndsAndTheCountWaits) {
  Start(Scenario("2012-11-14 10:00:30", 30), "1");
  Seconds(60);
  ASSERT_EQ(m().BackupState, 1);
  // The run lasts 30 seconds; while it lasts each look waits five seconds
  // (other ticks run inside that wait) and the count does not move.
  bool seen_in_progress = false;
  bool counted_meanwhile = false;
  s_->loop().AddBeforeSleep([&] {
    if (m().Label20 != "Back-up In Progress") return;
    seen_in_progress = true;
    counted_meanwhile = counted_meanwhile || m().BackupCount != 0;
  });
  Seconds(60);
  EXPECT_FALSE(counted_meanwhile);
  EXPECT_TRUE(seen_in_progress);
  EXPECT_EQ(m().BackupState, 0);
  EXPECT_EQ(m().Label20.rfind("Last BU Complete: 10:02:0", 0), 0u) << m().Label20;
}

TEST_F(BackupClock, ACompanionWithoutAWindowIsReportedCompleteAtOnce) {
  Start(Scenario("2012-11-14 10:00:30", 600, false), "1");
  Seconds(61);
  EXPECT_EQ(m().BackupState, 0);
  EXPECT_EQ(m().Label20, "Last BU Complete: 10:01:31AM");
}

TEST_F(BackupClock, TheFullBackUpStartsAtItsTimeAndAgainWhenItEndsInsideThatMinute) {
  Start(Scenario("2012-11-14 00:59:50", 10), "60");
  m().CloseCHK = 1;
  m().CRTime = "0100";
  Seconds(10);
  EXPECT_EQ(Starts(s_->sim(), "-F"), 1);
  EXPECT_EQ(m().BackupState, 2);
  EXPECT_EQ(m().Label20, "Last BU Started: 01:00:00AM");
  EXPECT_EQ(m().BackupCount, 0);
  // Ten seconds of run, found ended within the same minute: it starts again.
  Seconds(20);
  EXPECT_GE(Starts(s_->sim(), "-F"), 2);
  Seconds(60);
  const int runs = Starts(s_->sim(), "-F");
  Seconds(60);
  EXPECT_EQ(Starts(s_->sim(), "-F"), runs);
}

TEST_F(BackupClock, TheMenuCommandsStartARunWhateverRunsAlready) {
  Start(Scenario("2012-11-14 10:00:00", 1000), "60");
  ASSERT_EQ(s_->app().commands().Do("", "menuBU"), "");
  ASSERT_EQ(s_->app().commands().Do("", "menuBU"), "");
  EXPECT_EQ(Starts(s_->sim(), "-S"), 2);
  EXPECT_EQ(m().Label20, "Manual BU Started: 10:00:00AM");
  ASSERT_EQ(s_->app().commands().Do("", "menuFullBU"), "");
  EXPECT_EQ(m().BackupState, 2);
  EXPECT_EQ(Starts(s_->sim(), "-F"), 1);
}

TEST_F(BackupClock, InTheMinutesOfSendingTheCountdownStandsStill) {
  Start(Scenario("2012-11-14 23:59:50"), "60");
  m().SendOpt = {1, 0};
  Seconds(9);
  const std::string line = m().Label21;
  const double count = m().BackupCount;
  ASSERT_FALSE(line.empty());
  Seconds(120);  // 00:00 to 00:01:59
  EXPECT_EQ(m().Label21, line);
  EXPECT_EQ(m().BackupCount, count);
  Seconds(62);  // into 00:03
  EXPECT_GT(m().BackupCount, count);
}

TEST_F(BackupClock, AtSixHourPausesAOneMinuteIntervalSlipsByThreeMinutes) {
  Start(Scenario("2012-11-14 05:58:00", 0), "1");
  m().SendOpt = {0, 1};
  // A run starts at 05:59:00; then the count stands still from 06:00:00 to
  // 06:02:59 and the next run starts at 06:03:00 instead of 06:00:00.
  Seconds(60);
  EXPECT_EQ(Starts(s_->sim(), "-S"), 1);
  Seconds(60 + 179);  // to 06:02:59
  EXPECT_EQ(Starts(s_->sim(), "-S"), 1);
  Seconds(1);
  EXPECT_EQ(Starts(s_->sim(), "-S"), 2);
  EXPECT_EQ(m().Label20, "Last BU Started: 06:03:00AM");
}

TEST_F(BackupClock, TheServerRecordIsWrittenOnceAnHour) {
  Start(Scenario("2012-11-14 09:59:00"), "60");
  Seconds(60 + 59);
  const std::string once = s_->File("Events/Monitor.txt");
  EXPECT_FALSE(once.empty());
  Seconds(3600);
  const std::string twice = s_->File("Events/Monitor.txt");
  EXPECT_EQ(twice.substr(0, once.size()), once);
  const auto records = [](const std::string& text) {
    size_t n = 0;
    for (size_t at = text.find("Server INFO as of "); at != std::string::npos;
         at = text.find("Server INFO as of ", at + 1)) {
      ++n;
    }
    return n;
  };
  EXPECT_EQ(records(once), 1u);
  EXPECT_NE(once.find("Server INFO as of 10:00:0"), std::string::npos);
  EXPECT_EQ(records(twice), 2u);
  EXPECT_NE(twice.find("Server INFO as of 11:00:0"), std::string::npos);
}

}  // namespace
}  // namespace tarnex::testing
