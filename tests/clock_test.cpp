// The clock cycle: its rows in their order, the night's fold, the daily
// mail's flags and the day, month and year roll-overs.
#include <gtest/gtest.h>

#include "tests/calendar_support.h"

namespace tarnex::testing {
namespace {

class Clock : public ::testing::Test {
 protected:
  // A server started at `start` with `settings` written before, its
  // monitor slots listening from the start.
  void Start(const std::string& start, const std::string& settings = "") {
    bench_ = std::make_unique<TrafficBench>(TrafficScenario(start));
    const std::string server = "[Server]\r\n";
    std::string text = settings.starts_with(server) ? settings : server + settings;
    bench_->Settings(text.insert(server.size(), MonitorPorts()));
    bench_->Start();
    StopTimers();
  }
  // The tests run the clock cycle by hand: the loop's own timers stay off.
  void StopTimers() {
    s().loop().SetTimerEnabled(s().app().Timer1Id(), false);
    s().loop().SetTimerEnabled(s().app().Timer2Id(), false);
  }
  // Moves the clock on by `seconds` and runs one tick of the clock cycle.
  void TickAfter(int seconds) {
    bench_->s().sim().Time().Advance(seconds * 1000LL);
    bench_->s().app().Timer2();
  }
  SimApp& s() { return bench_->s(); }
  ServerModel& m() { return bench_->m(); }
  std::string Key(const std::string& section, const std::string& key,
                  const std::string& file = Context::kSettingsFile) {
    return bench_->Key(section, key, file);
  }
  std::unique_ptr<TrafficBench> bench_;
};

TEST_F(Clock, TheTimeAndTheDayAreTakenEveryTick) {
  Start("2012-11-14 10:00:00");
  TickAfter(1);
  EXPECT_EQ(m().rtime, "1000");
  EXPECT_EQ(m().ddate, "14");
}

TEST_F(Clock, WithTrackingOffTheFoldRunsOnEveryTickOfTheLastMinute) {
  Start("2012-11-14 23:58:59");
  WriteFile(s().dir() + "/Events/BackUp.txt", "backed up\r\n");
  TickAfter(1);  // 23:59:00
  EXPECT_EQ(Key("Server", "Last Event"), "2012\\Nov\\14Nov12.txt");
  const std::string first = s().File("Events/2012/Nov/14Nov12.txt");
  EXPECT_NE(first.find("Server INFO as of 23:59:00 on 14 Nov 2012"), std::string::npos);
  EXPECT_EQ(s().File("Events/Monitor.txt"), "");
  EXPECT_EQ(m().DayTrackClosed, 0);
  TickAfter(30);  // 23:59:30: the fold again; the monitor journal had only its new record
  const std::string again = s().File("Events/2012/Nov/14Nov12.txt");
  EXPECT_NE(again.find("Server INFO as of 23:59:30 on 14 Nov 2012"), std::string::npos);
  EXPECT_EQ(again.find("23:59:00"), std::string::npos);
  EXPECT_TRUE(again.starts_with(std::string(25, '*') + " MONITORING EVENTS " +
                                std::string(25, '*') + "\r\n" + std::string(115, '*')));
  EXPECT_NE(again.find(std::string(25, '*') + " BACK-UP EVENTS " + std::string(25, '*') +
                       "\r\nbacked up\r\n\r\n\r\n" + std::string(25, '*') + " BACK-UP FILES "),
            std::string::npos)
      << "the back-up journal is carried and kept";
  EXPECT_TRUE(again.ends_with(std::string(25, '*') + " OFFSITE EVENTS " + std::string(25, '*') +
                              "\r\n\r\n"));
  EXPECT_EQ(s().File("Events/BackUp.txt"), "backed up\r\n");
}

TEST_F(Clock, WithTrackingOnTheFoldRunsOnceAndClosesTheTrackedDay) {
  bench_ = std::make_unique<TrafficBench>(TrafficScenario("2012-11-14 23:58:59"));
  const std::string dir = s().dir();
  bench_->Settings("[Track]\r\nEnabled=1\r\nInterval=6\r\n");
  std::filesystem::create_directories(dir + "/Files");
  std::filesystem::create_directories(dir + "/Events/Tracked");
  WriteFile(dir + "/served.zip", std::string(1234, 'z'));
  WriteFile(dir + "/Files/TData1.dat", "index.htm\r\nserved.zip\r\n");
  WriteFile(dir + "/Files/TData3.dat", "other.htm\r\n");
  WriteFile(dir + "/Events/Tracked/Track1.dat",
            "[TData]\r\nLogLen=900\r\nLog Date=14 Nov 2012\r\n[index.htm]\r\nHitsToday=5\r\n"
            "[served.zip]\r\nHitsToday=7\r\nFull=" +
                dir + "/served.zip\r\n");
  WriteFile(dir + "/Events/Tracked/Track3.dat", "[other.htm]\r\nHitsToday=2\r\n");
  bench_->Start();
  StopTimers();
  ASSERT_EQ(m().TrackEnabled, 1);
  ASSERT_EQ(m().LogLen1, 900);
  TickAfter(1);
  EXPECT_EQ(m().DayTrackClosed, 1);
  EXPECT_EQ(m().LogLen1, 0);
  EXPECT_EQ(m().HarvestDone, 1) << "interval 6 at 2359";
  EXPECT_EQ(s().File("Events/Tracked/Nov2012/Tracked_14Nov2012.txt"),
            "index.htm     5\r\nserved.zip     7\r\nother.htm     2\r\n");
  EXPECT_EQ(Key("index.htm", "HitsToday", "\\Events\\Tracked\\Track1.dat"), "0");
  EXPECT_EQ(Key("served.zip", "FileSize", "\\Events\\Tracked\\Track1.dat"), "1234");
  EXPECT_EQ(Key("index.htm", "FileSize", "\\Events\\Tracked\\Track1.dat"), "0");
  const std::string day = s().File("Events/2012/Nov/14Nov12.txt");
  TickAfter(30);
  EXPECT_EQ(s().File("Events/2012/Nov/14Nov12.txt"), day) << "no second fold this run";
  EXPECT_EQ(s().File("Events/Tracked/Nov2012/Tracked_14Nov2012.txt"),
            "index.htm     5\r\nserved.zip     7\r\nother.htm     2\r\n");
}

TEST_F(Clock, TheDayRollsOverOnceAtTheLastMinute) {
  Start("2012-11-14 23:58:59");
  m().DailyRec = "1234567";
  m().DailySent = "89";
  m().RecPeakText = "12";
  m().SentPeakText = "3";
  m().DiskReadMonth = 1000000;
  m().DiskWriteMonth = 2000;
  m().IdleSamples = 10;
  m().DiskReadDay = 5;
  TickAfter(1);
  EXPECT_EQ(m().DayClosed, 1);
  EXPECT_EQ(s().File("Logs/Daily Bandwidth.txt"),
            "Tracking Started: 14 Nov 2012 11:58:59PM\r\n"
            "14 Nov 12 - Total Rec'd/Sent 14 Nov 2012 = 1,234,567 / 89 KB  -  "
            "Peak Rec'd/Sent = 12 / 3\r\n");
  EXPECT_EQ(s().File("Logs/Daily Hard Drive.txt"),
            "Tracking Started: 14 Nov 2012 11:58:59PM\r\n"
            "14 Nov 2012  Read = 1,000,000 Bytes   Write 2,000 Bytes  Total = 1,002,000 Bytes\r\n"
            "   " +
                m().Label49 + "   " + m().Label50 + "   " + m().Label62 + "   " + m().Label59 +
                "\r\n   " + m().IdlePer[0] + "   " + m().IdlePer[1] + "   " + m().IdlePer[2] +
                "   " + m().IdlePer[3] + "\r\n");
  EXPECT_EQ(m().DailyRec, "0");
  EXPECT_EQ(Key("Bandwidth", "Daily Rec"), "0");
  EXPECT_EQ(m().rdate, "14 Nov 2012");
  EXPECT_EQ(m().IdleSamples, 0);
  EXPECT_EQ(m().DiskReadDay, 0);
  EXPECT_EQ(m().DiskReadMonth, 1000000) << "the month's disk figures stay";
  EXPECT_EQ(m().RecPeakText, "");
  EXPECT_TRUE(s().Has("Bin/ESummary.txt")) << "made even with no mail";
  TickAfter(30);
  const std::string daily = s().File("Logs/Daily Bandwidth.txt");
  EXPECT_EQ(std::count(daily.begin(), daily.end(), '\n'), 2) << "one day line";
}

TEST_F(Clock, WithMailOffTheNextNightHasNoRollOver) {
  Start("2012-11-14 23:58:59");
  TickAfter(1);
  TickAfter(3600);  // 00:59 of the 15th: the flags stay set
  EXPECT_EQ(m().DayClosed, 1);
  TickAfter(82800);  // 23:59 of the 15th
  EXPECT_EQ(m().rtime, "2359");
  EXPECT_EQ(s().File("Logs/Daily Bandwidth.txt").find("15 Nov 12 -"), std::string::npos);
}

TEST_F(Clock, WithMailOnTheFlagsReopenAfterMidnightAndEveryNightRolls) {
  Start("2012-11-14 23:58:59", "[Email]\r\nAuto=1\r\n");
  m().SummarySent = "55";
  TickAfter(1);
  EXPECT_EQ(m().MidnightArmed, 1);
  EXPECT_EQ(m().Label7, "Email Sent at 11:59:00PM");
  EXPECT_EQ(m().SummarySent, "0");
  EXPECT_EQ(m().DayClosed, 1);
  EXPECT_TRUE(s().Has("Bin/ESummary.txt")) << "the mail makes the summary";
  TickAfter(120);  // 00:01
  EXPECT_EQ(m().MidnightArmed, 0);
  EXPECT_EQ(m().DayClosed, 0);
  TickAfter(86280);  // 23:59 of the 15th
  EXPECT_NE(s().File("Logs/Daily Bandwidth.txt").find("15 Nov 12 -"), std::string::npos);
  EXPECT_EQ(m().Label7, "Email Sent at 11:59:00PM");
}

TEST_F(Clock, ATickThatMissesTheLastMinuteMissesTheNight) {
  Start("2012-11-14 23:58:59");
  TickAfter(61);  // 00:00:00 of the 15th: no tick fell in 23:59
  EXPECT_FALSE(s().Has("Events/2012/Nov/14Nov12.txt"));
  EXPECT_EQ(m().DayClosed, 0);
  EXPECT_EQ(s().File("Logs/Daily Bandwidth.txt"), "Tracking Started: 14 Nov 2012 11:58:59PM\r\n");
}

TEST_F(Clock, OnTheFirstOfAMonthTheSideFilesAreSummedBeforeTheMonthRolls) {
  Start("2012-12-01 23:58:59",
        "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nAnnual=2012\r\n"
        "Month=Dec2012\r\nDaily=1 Dec 2012\r\n");
  // The month is already December: make the roll due by the key alone.
  m().BandwidthMonthKey = "Nov2012";
  m().tup = "1000";
  m().tdn = "2000";
  m().DiskReadMonth = 10;
  m().DiskWriteMonth = 20;
  WriteFile(s().dir() + "/Logs/Received.txt", "5\r\n");
  TickAfter(1);
  const std::string daily = s().File("Logs/Daily Bandwidth.txt");
  const size_t side = daily.find("Total Rec'd/Sent for month = \t5 / 0 KB");
  const size_t month = daily.find("End of Month Total Rec'd = 2,000 Sent 1,000 Total = 3,000");
  ASSERT_NE(side, std::string::npos) << daily;
  ASSERT_NE(month, std::string::npos) << daily;
  EXPECT_LT(side, month);
  EXPECT_EQ(Key("Dec2012", "Send", "\\Bin\\Bandwidth.Tnx"), "1,000");
  EXPECT_EQ(Key("Dec2012", "Total", "\\Bin\\BandWidth.Tnx"), "3,000");
  EXPECT_EQ(s().File("Logs/Monthly Bandwidth.txt"),
            "Nov2012 Total Rec'd = 2,000 Sent 1,000 Total = 3,000\r\n");
  EXPECT_EQ(s().File("Logs/Monthly Hard Drive.txt"),
            "Nov2012 Total Read = 10 Bytes   Write 20 Bytes  Total = 30 Bytes\r\n");
  EXPECT_EQ(Key("Bandwidth", "Month"), "Dec2012");
  EXPECT_EQ(Key("Hard Drive", "Monthly Read"), "10");
  EXPECT_EQ(m().tup, "0");
  EXPECT_EQ(m().DiskReadMonth, 0);
}

TEST_F(Clock, TheYearRollsWithTheMonthAtTheLastMinuteOfTheFirstOfJanuary) {
  Start("2013-01-01 23:58:59",
        "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nAnnual=2013\r\n"
        "Month=Jan2013\r\nDaily=1 Jan 2013\r\n[Hard Drive]\r\nMonthly Read=400\r\n"
        "Monthly Write=600\r\n");
  m().BandwidthMonthKey = "Dec2012";
  m().BandwidthYearKey = "2012";
  m().AnnualSent = "7000";
  m().AnnualRec = "8000";
  m().DriveCaption = "C Drive";
  m().DiskReadMonth = 100;
  TickAfter(1);
  EXPECT_EQ(s().File("Logs/Annual Hard Drive.txt"),
            "2012  C Drive Read = 500 Sent 600 Total = 1,100\r\n")
      << "the year's reads include this month's";
  EXPECT_NE(s().File("Logs/Annual Bandwidth.txt")
                .find("2012 Rec'd = 8,000 Sent 7,000 Total = 15,000\r\n"),
            std::string::npos);
  EXPECT_EQ(Key("Bandwidth", "Annual"), "2013");
  EXPECT_EQ(Key("Hard Drive", "Monthly Read"), "0");
  EXPECT_EQ(Key("Hard Drive", "Monthly Write"), "0");
  EXPECT_EQ(m().AnnualSent, "0");
  EXPECT_EQ(m().BandwidthYearKey, "2013");
  EXPECT_EQ(Key("Jan2013", "Rec", "\\Bin\\BandWidth.Tnx"), "0");
}

TEST_F(Clock, AClosedListenerListensAgainOnItsPortWhateverItIs) {
  Start("2012-11-14 10:00:00");
  s().app().Listener(2).Close();
  ASSERT_EQ(s().app().Listener(2).state(), Winsock::kClosed);
  TickAfter(1);
  // A port of "0" gives a port the system picks.
  EXPECT_EQ(s().app().Listener(2).state(), Winsock::kListening);
  EXPECT_EQ(m().coffc, (Flags<5>{1, 1, 1, 1, 1}));
  EXPECT_EQ(m().conc, (Flags<5>{0, 0, 0, 0, 0}));
}

TEST_F(Clock, AStartInsideTheLastMinuteClosesTheDayAgain) {
  Start("2012-11-14 23:59:10",
        "[Server]\r\nFirst Run=1 Nov 2012 10:00:00AM\r\n[Bandwidth]\r\nDaily=14 Nov 2012\r\n"
        "Daily Rec=500\r\n");
  TickAfter(1);
  EXPECT_NE(s().File("Logs/Daily Bandwidth.txt")
                .find("14 Nov 12 - Total Rec'd/Sent 14 Nov 2012 = 500 / "),
            std::string::npos);
}

}  // namespace
}  // namespace tarnex::testing
