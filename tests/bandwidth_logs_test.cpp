// The six statistics logs under "\Logs".
#include <gtest/gtest.h>

#include "bandwidth/logs.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(StatisticsLogs, WritersAppendOneLineEach) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  LogAnnualHardDrive(s.ctx(), "2012 read");
  LogAnnualHardDrive(s.ctx(), "2013 read");
  EXPECT_EQ(s.File("Logs/Annual Hard Drive.txt"), "2012 read\r\n2013 read\r\n");
  LogDailyHardDrive(s.ctx(), "d");
  EXPECT_EQ(s.File("Logs/Daily Hard Drive.txt"),
            "Tracking Started: 14 Nov 2012 10:00:00AM\r\nd\r\n");
}

TEST(StatisticsLogs, LineIsLostWhenTheFolderIsMissing) {
  SimApp s;
  LogMonthlyBandwidth(s.ctx(), "nowhere");
  EXPECT_FALSE(s.Has("Logs/Monthly Bandwidth.txt"));
}

}  // namespace
}  // namespace tarnex::testing
