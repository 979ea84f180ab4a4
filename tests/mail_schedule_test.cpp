// The daily report in the clock cycle: once, in the last minute of the day,
// to every recipient through the scripted relay, then the day's two figures
// back to 0 and the status line.
#include <gtest/gtest.h>

#include "base/legacy.h"
#include "tests/mail_support.h"

namespace tarnex::testing {
namespace {

std::string Scenario(const std::string& start) {
  std::string s = kBasicScenario;
  const std::string from = "2012-11-14 10:00:00";
  s.replace(s.find(from), from.size(), start);
  return s;
}

class MailSchedule : public ::testing::Test {
 protected:
  // A server started at `start` (on the 14th of November 2012) with mail
  // settings for the scripted relay and the recipients `to`.
  void Start(const std::string& time, const std::string& email_keys,
             const std::string& to = "first@example.org\r\nsecond@example.org\r\n") {
    bench_ = std::make_unique<MailBench>(Scenario("2012-11-14 " + time));
    WriteFile(bench_->dir() + "/Bin/Tarnex.Tnx",
              FreshSettings(MonitorPorts(),
                            "[Email]\r\nsmtp=relay.test\r\nFrom=station@example.org\r\n"
                            "Subject=Daily report\r\n" +
                                email_keys));
    WriteFile(bench_->dir() + "/Bin/Emailto.txt", to);
    ASSERT_TRUE(bench_->app().FormLoad());
    // The tests run the clock cycle by hand.
    loop().SetTimerEnabled(bench_->app().Timer1Id(), false);
    loop().SetTimerEnabled(bench_->app().Timer2Id(), false);
  }
  void TickAfter(int seconds) {
    bench_->sim().Time().Advance(seconds * 1000LL);
    bench_->app().Timer2();
  }
  EventLoop& loop() { return bench_->loop(); }
  ServerModel& m() { return bench_->m(); }
  MailNetwork& net() { return bench_->net(); }
  std::unique_ptr<MailBench> bench_;
};

TEST_F(MailSchedule, TheReportLeavesAtTheLastMinuteToEveryRecipientInListOrder) {
  Start("23:58:59", "Auto=1\r\n");
  TickAfter(0);
  EXPECT_EQ(net().connects, 0) << "23:58 is too early";
  TickAfter(1);
  EXPECT_EQ(net().connects, 2);
  EXPECT_EQ(m().MidnightArmed, 1);
  auto one = net().Answer("10.1.1.1", 25);
  auto two = net().Answer("10.1.1.1", 25);
  ASSERT_NE(one, nullptr);
  ASSERT_NE(two, nullptr);
  const std::string summary = ReadFile(bench_->dir() + "/Bin/ESummary.txt");
  ASSERT_GE(summary.size(), 2u);
  const std::string body = summary.substr(0, summary.size() - 2);
  EXPECT_EQ(body.rfind("System Information As of 23:59:00 14 Nov 2012\r\n", 0), 0u);
  EXPECT_EQ(one->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                       "first@example.org", "Daily report", body));
  EXPECT_EQ(two->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                       "second@example.org", "Daily report", body));
  // The status line tells the time the pass was through: two recipients of
  // a half-second dial and five half-second pauses each.
  EXPECT_EQ(m().Label7, "Email Sent at 11:59:06PM");
}

TEST_F(MailSchedule, TheReportCarriesTheDaysFiguresAndThenBothAreZero) {
  Start("23:58:59", "Auto=1\r\n", "ops@example.org\r\n");
  m().SummaryRec = "-1500";
  m().SummarySent = "2500";
  TickAfter(1);
  auto peer = net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  const std::string got = peer->Received();
  EXPECT_NE(got.find("Daily Bandwidth\r\n   Received: 1.50 Kb\r\n       Sent: 2.50 Kb\r\n"),
            std::string::npos);
  EXPECT_EQ(m().SummaryRec, "0");
  EXPECT_EQ(m().SummarySent, "0");
}

TEST_F(MailSchedule, TheReportLeavesOnceANight) {
  Start("23:58:59", "Auto=1\r\n", "ops@example.org\r\n");
  TickAfter(1);
  EXPECT_EQ(net().connects, 1);
  TickAfter(20);
  TickAfter(20);
  EXPECT_EQ(net().connects, 1);
  TickAfter(3600);  // in the first hour of the 15th the flags reopen
  EXPECT_EQ(m().MidnightArmed, 0);
  TickAfter(82800);  // 23:59 of the 15th
  EXPECT_EQ(m().rtime, "2359");
  EXPECT_EQ(net().connects, 2);
}

TEST_F(MailSchedule, WithMailOffNothingLeavesAndTheSummaryIsStillWritten) {
  Start("23:58:59", "Auto=0\r\n");
  TickAfter(1);
  EXPECT_EQ(net().connects, 0);
  EXPECT_EQ(m().MidnightArmed, 0);
  EXPECT_EQ(m().Label7, "");
  EXPECT_TRUE(Exists(bench_->dir() + "/Bin/ESummary.txt"));
}

TEST_F(MailSchedule, AMachineAsleepOverTheLastMinuteSendsNothingThatDay) {
  Start("23:58:59", "Auto=1\r\n");
  TickAfter(62);  // 00:00:01 of the 15th
  EXPECT_EQ(net().connects, 0);
  EXPECT_EQ(m().Label7, "");
}

TEST_F(MailSchedule, ARestartInsideTheLastMinuteMailsAgain) {
  Start("23:59:10", "Auto=1\r\n", "ops@example.org\r\n");
  TickAfter(1);
  EXPECT_EQ(net().connects, 1);
  bench_.reset();
  Start("23:59:40", "Auto=1\r\n", "ops@example.org\r\n");
  TickAfter(1);
  EXPECT_EQ(net().connects, 1) << "the flags are not saved";
}

TEST_F(MailSchedule, AFailingMailStillSaysItWasSent) {
  Start("23:58:59", "Auto=1\r\n", "ops@example.org\r\n");
  m().SMTP = "nowhere.test";
  TickAfter(1);
  EXPECT_EQ(legacy::Left(m().Label7, 14), "Email Sent at ");
  EXPECT_TRUE(net().sends.empty());
}

}  // namespace
}  // namespace tarnex::testing
