// What the system does when an operation of the machine fails, made to fail
// by the fault-injecting platform (so these hold whoever runs them, root too).
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

// The names in the installation folder, without the single-instance lock.
std::vector<std::string> Entries(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) {
    if (e.path().filename() != ".tarnex-server.lock") names.push_back(e.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(Faults, FailedRenameKeepsTheOldSettingsFile) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().DoEvents();
  const std::string before = s.File("Bin/Tarnex.Tnx");
  ASSERT_NE(before.find("First Run="), std::string::npos);

  s.faults().Inject({.op = "rename", .subject = "Tarnex.Tnx", .times = 1});
  s.model().SName = "Main";
  s.app().Command1();
  s.loop().DoEvents();  // the flush of this turn fails
  EXPECT_EQ(s.faults().Failed("rename"), 1);
  EXPECT_EQ(ReadFile(s.dir() + "/Bin/Tarnex.Tnx"), before);
  for (const std::string& name : Entries(s.dir() + "/Bin")) {
    EXPECT_EQ(name.find(".tmp"), std::string::npos) << name << ": no temporary file is left";
  }
  // What the failed flush carried is lost, as a failed write is; the next
  // Save writes it.
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "Server Name"), "");
  s.app().Command1();
  EXPECT_NE(s.File("Bin/Tarnex.Tnx").find("Server Name=Main\r\n"), std::string::npos);
}

TEST(Faults, FailedAppendLosesThatLineOnly) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().MyEvents("first");
  s.faults().Inject({.op = "write", .subject = "14 Nov 12.txt", .times = 1});
  s.ctx().MyEvents("lost");
  s.ctx().MyEvents("third");
  EXPECT_EQ(s.faults().Failed("write"), 1);
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "first\r\nthird\r\n");
  EXPECT_TRUE(s.model().EventText.ends_with("first\r\nlost\r\nthird\r\n"));
}

TEST(Faults, ListenThatFailsLeavesTheSlotClosed) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  s.faults().Inject({.op = "listen", .subject = "41000"});
  s.model().CPUPort = "41000";
  s.model().CPUPort2 = "0";
  s.app().Command1();
  EXPECT_EQ(s.faults().Failed("listen"), 1);
  EXPECT_EQ(s.app().Listener(0).state(), Winsock::kClosed);
  EXPECT_EQ(s.app().Listener(0).LastError(), Winsock::kErrAddressInUse);
  // The port is written all the same.
  EXPECT_NE(s.File("Bin/Tarnex.Tnx").find("Monitor CPU Port=41000\r\n"), std::string::npos);
}

TEST(Faults, FailedFolderCreationLeavesTheDayLogUnwritten) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  s.faults().Inject({.op = "mkdir", .subject = "Logs/2012"});
  s.ctx().MyEvents("window only");
  EXPECT_FALSE(s.Has("Logs/2012"));
  EXPECT_TRUE(s.model().EventText.ends_with("window only\r\n"));
}

TEST(Faults, CompanionThatCannotStartIsNotRecordedAsRunning) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  s.model().Check1 = 1;
  s.faults().Inject({.op = "shell-open", .subject = "SendBU.exe"});
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.faults().Failed("shell-open"), 1);
  EXPECT_TRUE(s.sim().started.empty());
}

}  // namespace
}  // namespace tarnex::testing
