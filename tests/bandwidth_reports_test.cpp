// The month's sum over the side files, and the bandwidth window.
#include <gtest/gtest.h>

#include "bandwidth/bw_window.h"
#include "bandwidth/rollover.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(SideFiles, CommentLinesArePassedOverAndTheFilesAreLeftEmpty) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  WriteFile(s.dir() + "/Logs/Received.txt", "5\r\n// a comment\r\n  10  \r\n\r\n");
  WriteFile(s.dir() + "/Logs/Sent.txt", "2500000\r\n");
  totalbw(s.ctx());
  EXPECT_EQ(s.File("Logs/Daily Bandwidth.txt"),
            "Tracking Started: 14 Nov 2012 10:00:00AM\r\n"
            "Total Rec'd/Sent for month = \t15 / 2,500,000 KB - With a Sum Total of 2,500,015\r\n");
  EXPECT_TRUE(s.Has("Logs/Received.txt"));
  EXPECT_EQ(s.File("Logs/Received.txt"), "");
  EXPECT_EQ(s.File("Logs/Sent.txt"), "");
}

TEST(SideFiles, MissingFilesSumToZeroAndAreMadeEmpty) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  totalbw(s.ctx());
  EXPECT_NE(s.File("Logs/Daily Bandwidth.txt").find("= \t0 / 0 KB - With a Sum Total of 0\r\n"),
            std::string::npos);
  EXPECT_TRUE(s.Has("Logs/Sent.txt"));
}

TEST(BandwidthWindow, TheDailyModeShowsTheDailyJournal) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BWSumMode = 1;
  OpenBWSum(s.ctx());
  EXPECT_EQ(s.model().BWSumCaption, "Daily Bandwidth");
  EXPECT_EQ(s.model().BWSumText, s.File("Logs/Daily Bandwidth.txt"));
  s.model().BWSumMode = 2;
  OpenBWSum(s.ctx());
  EXPECT_EQ(s.model().BWSumCaption, "Monthly Bandwidth");
  EXPECT_EQ(s.model().BWSumText, s.File("Logs/Monthly Bandwidth.txt"));
}

TEST(BandwidthWindow, Command2WritesTheMonthsBlockAndNamesAnotherFile) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().BWSumMode = 1;
  OpenBWSum(s.ctx());
  BWSumCommand2(s.ctx());
  EXPECT_EQ(s.File("Bin/Daily Bandwidth.txt"),
            "BandWidth for Nov 2012\r\nTotal   Sent: 0   Received: 0\r\n\r\n"
            "Total Since: Nov 2012   Sent: 0   Received: 0\r\n\r\n");
  ASSERT_FALSE(s.model().OperatorMessages.empty());
  EXPECT_EQ(s.model().OperatorMessages.back(),
            "Date written to " + s.dir() + "\\Bin\\BWSummary.txt");
  EXPECT_EQ(s.model().BWSumCaption, "") << "the window closed";
}

}  // namespace
}  // namespace tarnex::testing
