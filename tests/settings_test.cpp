#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "base/legacy.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(Settings, KeyWithEmptyValueAndMissingKeyBothReadEmpty) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().INIWrite(Context::kSettingsFile, "Server", "BU Path", "");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU Path"), "");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "No Such Key"), "");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "No Such Section", "Left"), "");
  EXPECT_EQ(s.ctx().INIRead("\\Bin\\Missing.Tnx", "Server", "Left"), "");
  EXPECT_NE(s.File("Bin/Tarnex.Tnx").find("BU Path=\r\n"), std::string::npos);
}

TEST(Settings, ValueWithANulIsStoredWithoutIt) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().INIWrite(Context::kSettingsFile, "Server", "Server Name", std::string("ab\0cd\0", 6));
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "Server Name"), "abcd");
}

TEST(Settings, LongValueReadsBackCutTo1023) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().INIWrite(Context::kSettingsFile, "Server", "Message List", std::string(1100, 'z'));
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "Message List"),
            std::string(1023, 'z'));
}

TEST(Settings, SameKeyInUpperAndLowerCaseIsOneKey) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().INIWrite(Context::kSettingsFile, "Email", "SMTP", "mail.example.org");
  s.ctx().INIWrite(Context::kSettingsFile, "email", "smtp", "relay.example.org");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "EMAIL", "Smtp"), "relay.example.org");
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"),
            std::string(kFreshSettings) + "[Email]\r\nSMTP=relay.example.org\r\n");
}

TEST(Settings, BothSpellingsOfAFileNameLeadToOneFile) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.ctx().INIWrite("\\BIN\\tarnex.tnx", "Server", "Left", "300");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "Left"), "300");
  EXPECT_FALSE(s.Has("BIN"));
  int settings_files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(s.dir() + "/Bin")) {
    settings_files += legacy::UCase(entry.path().filename().string()) == "TARNEX.TNX" ? 1 : 0;
  }
  EXPECT_EQ(settings_files, 1);
}

TEST(Settings, ReadSeesWhatAnotherProgramWrote) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU File Total Cnt"), "");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx",
            "[Server]\r\nFirst Run=14 Nov 2012 10:00:00AM\r\nBU File Total Cnt=42\r\n");
  // The program sees another program's change from its next turn on.
  s.loop().DoEvents();
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU File Total Cnt"), "42");
}

TEST(Settings, WithinATurnTheFileIsLookedAtOnce) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().DoEvents();
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU File Total Cnt"), "");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nBU File Total Cnt=42\r\n");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU File Total Cnt"), "")
      << "the turn goes on with the file as it first saw it";
  s.loop().DoEvents();
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "BU File Total Cnt"), "42");
}

TEST(Settings, SendOptionReadAsTrueIsOnAndEmptyLeavesItAsItWas) {
  int32_t option = 0;
  ReadFlag("True", option);
  EXPECT_NE(option, 0);
  ReadFlag("False", option);
  EXPECT_EQ(option, 0);
  option = 0;
  ReadFlag("", option);
  EXPECT_EQ(option, 0);
  option = 1;
  ReadFlag("", option);
  EXPECT_EQ(option, 1);
  ReadFlag("0", option);
  EXPECT_EQ(option, 0);
  ReadFlag(" 1 ", option);
  EXPECT_EQ(option, 1);
  ReadFlag("yes", option);
  EXPECT_EQ(option, 1);
}

TEST(Settings, ServerMonitorFlagThatCannotBeConvertedKeepsItsValue) {
  SimApp s;
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Server]\r\nStart Server Monitor=\r\n");
  s.model().Check3[2] = 1;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Check3[2], 1);
}

TEST(Save, WritesEverySettingInItsOrder) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  m.CloseME = {"C:\\App\\a.exe", "", "", ""};
  m.CmdLine = {"-x", "", "", ""};
  m.CloseCHK = 1;
  m.CRTime = "0100";
  m.CPUPort = "0";
  m.CPUpass = {"secret", "", "", "", ""};
  m.SrvCODE = "ABC";
  m.MUser = {"op", "", "", "", ""};
  m.Check1 = 0;
  m.Text1 = "D:\\Backup";
  m.UpBW = "100 MB";
  m.DnBW = "";
  m.BNMonitor = {1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0};
  m.BUFreq = "60";
  m.SendOpt = {1, 0};
  m.SName = "Main";
  m.List2 = {"C:\\Data", "x", "", "C:\\Mail"};
  s.app().Command1();
  // The ports that start-up found empty read "0" (step 25 of the start).
  EXPECT_EQ(
      s.File("Bin/Tarnex.Tnx"),
      FreshSettings("Close Prog 1=C:\\App\\a.exe\r\nCmdLine 1=-x\r\nClose Prog 2=\r\nCmdLine 2=\r\n"
                    "Close Prog 3=\r\nCmdLine 3=\r\nClose Prog 4=\r\nCmdLine 4=\r\n"
                    "Restart Prog=1\r\nClose and Restart=0100\r\n"
                    "Monitor CPU Port=0\r\nMonitor CPU Port 2=0\r\nMonitor CPU Port 3=0\r\n"
                    "Monitor CPU Port 4=0\r\nMonitor CPU Port 5=0\r\n"
                    "Monitor CPU Pass 1=secret\r\nMonitor CPU Pass 2=\r\nMonitor CPU Pass 3=\r\n"
                    "Monitor CPU Pass 4=\r\nMonitor CPU Pass 5=\r\n"
                    "Monitor BU Port=0\r\nMonitor BU Port 2=0\r\nMonitor BU Port 3=0\r\n"
                    "Monitor BU Port 4=0\r\nMonitor BU Port 5=0\r\n"
                    "Monitor Server Code=ABC\r\n"
                    "Monitor User 1=op\r\nMonitor User 2=\r\nMonitor User 3=\r\nMonitor User 4=\r\n"
                    "Monitor User 5=\r\n"
                    "BU to Remotes=0\r\nBU Path=D:\\Backup\r\nSent Logs=0\r\nStart at Boot=0\r\n"
                    "Start Server Monitor=0\r\n"
                    "BU Freq=60\r\nSend 24=True\r\nSend 6=False\r\nServer Name=Main\r\n",
                    "[Monitor]\r\nUP BW=100 MB\r\nDN BW=\r\n"
                    "CPU=1\r\nMEM=1\r\nHD=0\r\nNET=0\r\nSQL=0\r\nISA FW=0\r\nWeb Service=0\r\n"
                    "Web Proxy=0\r\nISA Server=0\r\nServer Gen=0\r\nOnce=1\r\nUPrograms=0\r\n"));
  EXPECT_EQ(m.BUPath, "D:\\Backup");
  EXPECT_EQ(m.BackupInterval, 3600);
  EXPECT_EQ(m.UpBWLimit, "100");
  EXPECT_EQ(m.DnBWLimit, "");
}

TEST(Save, OneCharacterEntriesOfTheBackUpListAreDropped) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().List2 = {"C:\\Data", "x", "", "C:\\Mail", "ab"};
  s.app().Command1();
  EXPECT_EQ(s.File("Bin/ServerBackup.Tnx"), "C:\\Data\r\nC:\\Mail\r\nab\r\n");
  s.model().List2 = {};
  s.app().Command1();
  EXPECT_EQ(s.File("Bin/ServerBackup.Tnx"), "");
}

TEST(Save, LimitOfAShortSpeedTextStaysAsItWas) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().DnBWLimit = "50";
  s.model().DnBW = "MB";
  s.model().UpBW = "11 MB";
  s.app().Command1();
  EXPECT_EQ(s.model().DnBWLimit, "50");
  EXPECT_EQ(s.model().UpBWLimit, "11");
}

TEST(Save, StartAtBootIsSetAndRemoved) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.model().Check3[0] = 1;
  s.app().Command1();
  ASSERT_TRUE(s.sim().boot_value.has_value());
  EXPECT_EQ(*s.sim().boot_value, s.dir() + "\\Tarnex Server.exe");
  s.model().Check3[0] = 0;
  s.app().Command1();
  EXPECT_FALSE(s.sim().boot_value.has_value());
}

TEST(Save, RunningCompanionIsClosedAndStartedAgain) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.sim().running[9] = s.dir() + "\\SendBU.exe";
  s.model().Check1 = 1;
  const int64_t before = s.loop().MonotonicMs();
  s.app().Command1();
  EXPECT_EQ(s.loop().MonotonicMs() - before, 1000);  // the wait after the close
  ASSERT_EQ(s.sim().started.size(), 1u);
  EXPECT_EQ(s.sim().running.size(), 1u);
  EXPECT_EQ(s.sim().running.count(9), 0u);
}

TEST(Save, CompanionIsOnlyClosedWhenBackUpsStayHere) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.sim().running[9] = s.dir() + "\\SendBU.exe";
  s.app().Command1();
  EXPECT_TRUE(s.sim().running.empty());
  EXPECT_TRUE(s.sim().started.empty());
}

bool ClientConnects(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
  close(fd);
  return ok;
}

TEST(Save, PortsAbove100OpenTheirListenersAndSaveReopensThem) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  const int port = FreePort();
  s.model().CPUPort3 = std::to_string(port);
  s.model().CPUPort = "100";
  s.app().Command1();
  EXPECT_EQ(s.app().Listener(2).state(), Winsock::kListening);
  EXPECT_EQ(s.app().Listener(2).LocalPort(), port);
  // A port of 100 leaves the slot as it was: listening where start-up's own
  // cycle put it.
  EXPECT_EQ(s.app().Listener(0).LocalPort(), 0);
  EXPECT_TRUE(ClientConnects(port));
  // A second Save closes the listener and listens again on the same port.
  s.app().Command1();
  EXPECT_EQ(s.app().Listener(2).state(), Winsock::kListening);
  EXPECT_TRUE(ClientConnects(port));
  EXPECT_EQ(s.model().cno, (Flags<5>{1, 1, 0, 1, 1}));
}

TEST(Save, PortInUseLeavesTheListenerClosed) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  auto socket = s.sim().NewSocket();
  Winsock& other = *socket;
  other.SetLocalPort(0);
  ASSERT_EQ(other.Listen(), 0);
  s.model().CPUPort = std::to_string(other.BoundPort());
  s.app().Command1();
  EXPECT_EQ(s.app().Listener(0).state(), Winsock::kClosed);
  EXPECT_EQ(s.app().Listener(0).LastError(), Winsock::kErrAddressInUse);
}

}  // namespace
}  // namespace tarnex::testing

namespace tarnex::testing {
namespace {

bool FileHas(const std::string& path, const std::string& text) {
  return ReadFile(path).find(text) != std::string::npos;
}

TEST(SettingsStore, WritesOfATurnReachTheDiskWhenTheLoopYields) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().DoEvents();
  const std::string file = s.dir() + "/Bin/Tarnex.Tnx";
  s.ctx().INIWrite(Context::kSettingsFile, "Server", "Server Name", "Main");
  EXPECT_EQ(s.ctx().INIRead(Context::kSettingsFile, "Server", "Server Name"), "Main");
  EXPECT_FALSE(FileHas(file, "Server Name=Main"));
  s.loop().DoEvents();
  EXPECT_TRUE(FileHas(file, "Server Name=Main\r\n"));
}

TEST(SettingsStore, ACompanionReadingDuringAWaitSeesTheSettingsSavedBeforeIt) {
  SimApp s;
  s.model().Check1 = 1;
  ASSERT_TRUE(s.app().FormLoad());
  ASSERT_EQ(s.sim().started.size(), 1u);  // the companion runs
  const std::string file = s.dir() + "/Bin/Tarnex.Tnx";
  // Something that reads the file while the Save waits for the companion.
  bool seen = false;
  const int reader = s.loop().AddTimer([&] { seen = seen || FileHas(file, "BU Freq=90\r\n"); });
  s.loop().SetTimerInterval(reader, 100);
  s.loop().SetTimerEnabled(reader, true);
  s.model().BUFreq = "90";
  s.app().Command1();
  EXPECT_TRUE(seen);
  s.loop().RemoveTimer(reader);
}

TEST(SettingsStore, TheApplicationWritesWhatIsLeftWhenItEnds) {
  const std::string dir = MakeTempDir();
  {
    SimApp s(kBasicScenario, dir);
    s.Keep();
    ASSERT_TRUE(s.app().FormLoad());
    s.loop().DoEvents();
    s.ctx().INIWrite(Context::kSettingsFile, "Server", "Server Name", "Last");
  }
  EXPECT_TRUE(FileHas(dir + "/Bin/Tarnex.Tnx", "Server Name=Last\r\n"));
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
