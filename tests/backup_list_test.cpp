// The file back-up list: Add with its three entry forms and no doubles, the
// removal by a double click with the file written again, the folder walk and
// the size texts.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "backup/backup_list.h"
#include "core/commands.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string Scenario() {
  json s = json::parse(kBasicScenario);
  s["disks"] = {{"C:\\", {{"total", 146e9}, {"free", 52e9}}},
                {"D:\\", {{"total", 20e6}, {"free", 5e6}}}};
  return s.dump();
}

class BackupList : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(s_.app().FormLoad());
    data_ = s_.dir() + "/data";
    fs::create_directories(data_ + "/sub/deeper");
    m().BUPath = "D:\\Backups";
  }
  ServerModel& m() { return s_.model(); }
  Commands& c() { return s_.app().commands(); }

  SimApp s_{Scenario()};
  std::string data_;
};

TEST_F(BackupList, TheSameFolderTwiceIsOneEntryButNoneAndSubsAreTwo) {
  m().Dir3 = data_;
  m().Text4 = data_;
  ASSERT_EQ(c().Do("", "Command10"), "");
  m().Dir3 = data_;
  m().Text4 = data_;
  ASSERT_EQ(c().Do("", "Command10"), "");
  m().Dir3 = data_;
  m().Text4 = data_;
  m().Check14 = 0;
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().List2, (TextList{data_ + "\\|Subs", data_ + "\\|None"}));
  // Add resets the pickers.
  EXPECT_EQ(m().Text4, "");
  EXPECT_EQ(m().Check14, 1);
}

TEST_F(BackupList, SelectedFilesAreEntriesOfTheirOwnAndNoSizeIsWorkedOut) {
  m().Dir3 = data_;
  m().File3 = {"a.txt", "b.txt"};
  m().Label7 = "before";
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().List2, (TextList{data_ + "\\a.txt|File", data_ + "\\b.txt|File"}));
  EXPECT_EQ(m().Label7, "before");
  EXPECT_TRUE(m().File3.empty());
}

TEST_F(BackupList, AFolderShowsItsSizeAndTheFreeSpaceOfTheBackUpDrive) {
  WriteFile(data_ + "/a.bin", std::string(4000, 'a'));
  WriteFile(data_ + "/sub/b.bin", std::string(3000, 'b'));
  WriteFile(data_ + "/sub/deeper/c.bin", std::string(2000, 'c'));
  m().Dir3 = data_;
  m().Text4 = data_;
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7, "Folder Size: 9 KB   Sync 1 Free: 5,000 KB");
  EXPECT_EQ(m().FolderCount, 2);
  EXPECT_EQ(m().FileCount, 3);
  // Without sub-folders only the folder's own files count.
  m().Dir3 = data_;
  m().Text4 = data_;
  m().Check14 = 0;
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7, "Folder Size: 4 KB   Sync 1 Free: 5,000 KB");
  EXPECT_EQ(m().FolderCount, 0);
}

TEST_F(BackupList, AFolderOfExactly9990000BytesShowsInKilobytes) {
  WriteFile(data_ + "/big.bin", std::string(9990000, 'x'));
  EXPECT_EQ(FolderSize(s_.ctx(), data_, true), 9990000);
  m().Dir3 = data_;
  m().Text4 = data_;
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7.substr(0, m().Label7.find("   ")), "Folder Size: 9,990 KB");
  WriteFile(data_ + "/one.bin", "1");
  m().Text4 = data_;
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7.substr(0, m().Label7.find("   ")), "Folder Size: 10 MB");
}

TEST_F(BackupList, AnEmptyFolderShowsTheUnitAlone) {
  fs::create_directories(data_ + "/empty");
  m().Dir3 = data_ + "/empty";
  m().Text4 = data_ + "/empty";
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7, "Folder Size:  KB   Sync 1 Free: 5,000 KB");
}

TEST_F(BackupList, ADriveRootSkipsTheWalkAndShowsTheDrivesUsedSpace) {
  m().Dir3 = "C:";
  m().Text4 = "C:\\";
  ASSERT_EQ(c().Do("", "Command10"), "");
  EXPECT_EQ(m().Label7, "Total Size: 94 GB   Sync 1 Free: 5,000 KB");
  EXPECT_EQ(m().List2, (TextList{"C:\\|Subs"}));
  EXPECT_EQ(DriveSizeText(s_.ctx(), "C"), "Total Size: 94 GB");
  EXPECT_EQ(DriveFreeText(s_.ctx(), "C:"), "Sync 1 Free: 52 GB");
}

TEST_F(BackupList, ADoubleClickRemovesTheEntryAndWritesTheListAgain) {
  m().List2 = {"C:\\a\\|Subs", "C:\\b\\|None", "C:\\c\\x.txt|File"};
  ASSERT_EQ(c().Set("", "List2Index", 1), "");
  ASSERT_EQ(c().Do("", "List2.DblClick"), "");
  EXPECT_EQ(m().List2, (TextList{"C:\\a\\|Subs", "C:\\c\\x.txt|File"}));
  EXPECT_EQ(s_.File("Bin/ServerBackup.Tnx"), "C:\\a\\|Subs\r\nC:\\c\\x.txt|File\r\n");
  // No entry picked: nothing happens.
  ASSERT_EQ(c().Do("", "List2.DblClick"), "");
  EXPECT_EQ(m().List2.size(), 2u);
}

}  // namespace
}  // namespace tarnex::testing
