#include <gtest/gtest.h>

#include <filesystem>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(Journal, LongEventTextIsCutTo15090WithTheNewestTextWhole) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().EventText = std::string(29990, 'x');
  const std::string message(98, 'm');  // 100 characters with its line end
  s.ctx().MyEvents(message);
  EXPECT_EQ(s.model().EventText.size(), 15090u);
  EXPECT_EQ(s.model().EventText.substr(15090 - 100), message + "\r\n");
}

TEST(Journal, TextAtTheLimitIsKept) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().EventText = std::string(29998, 'x');
  s.ctx().MyEvents("");
  EXPECT_EQ(s.model().EventText.size(), 30000u);
}

TEST(Journal, HugeEventIsCutTwiceAndNoMore) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().EventText.clear();
  s.ctx().MyEvents(std::string(69998, 'h'));
  // 70000 characters: one cut for the change, one for the cut itself.
  EXPECT_EQ(s.model().EventText.size(), 40000u);
}

TEST(Journal, FirstEventOfTheFirstMonthMakesBothFoldersAndOneLine) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().MyEvents("Something happened");
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "Something happened\r\n");
  EXPECT_TRUE(s.model().EventText.ends_with("Something happened\r\n"));
}

TEST(Journal, EmptyEventAddsAnEmptyLineToWindowAndFile) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().EventText = "before\r\n";
  s.ctx().MyEvents("");
  s.ctx().MyEvents("after");
  EXPECT_EQ(s.model().EventText, "before\r\n\r\nafter\r\n");
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "\r\nafter\r\n");
}

TEST(Journal, NewMonthOfAKnownYearReachesTheWindowOnly) {
  // A run from the last minutes of October into November.
  SimApp s(R"({"start": "2012-10-31 23:59:00"})");
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().MyEvents("october");
  EXPECT_EQ(s.File("Logs/2012/Oct/31 Oct 12.txt"), "october\r\n");

  s.loop().Wait(120 * 1000);  // the cycle runs on into November
  ASSERT_EQ(s.loop().Now().month, 11);
  s.ctx().MyEvents("november");
  EXPECT_TRUE(s.model().EventText.ends_with("november\r\n"));
  EXPECT_FALSE(s.Has("Logs/2012/Nov"));
}

TEST(Journal, NewYearWritesTheDayLogAgain) {
  SimApp s(R"({"start": "2012-12-31 23:59:00"})");
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().MyEvents("december");
  EXPECT_EQ(s.File("Logs/2012/Dec/31 Dec 12.txt"), "december\r\n");
  s.loop().Wait(120 * 1000);
  ASSERT_EQ(s.loop().Now().year, 2013);
  s.ctx().MyEvents("new year");
  EXPECT_EQ(s.File("Logs/2013/Jan/01 Jan 13.txt"), "new year\r\n");
}

TEST(Journal, DayFolderMadeByHandIsUsed) {
  SimApp s(R"({"start": "2012-11-14 10:00:00"})");
  ASSERT_TRUE(s.app().FormLoad());
  std::filesystem::create_directories(s.dir() + "/Logs/2012/Nov");
  s.ctx().MyEvents("kept");
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "kept\r\n");
}

TEST(Journal, UnwritableDayLogLosesThatLineOnly) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  std::filesystem::create_directories(s.dir() + "/Logs/2012/Nov/14 Nov 12.txt");  // a folder
  s.ctx().MyEvents("lost");
  EXPECT_TRUE(s.model().EventText.ends_with("lost\r\n"));
  std::filesystem::remove(s.dir() + "/Logs/2012/Nov/14 Nov 12.txt");
  s.ctx().MyEvents("written");
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "written\r\n");
}

}  // namespace
}  // namespace tarnex::testing
