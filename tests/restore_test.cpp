// Start-up's restoring of the saved state, steps 13 to 27 (the totals of
// step 28 are in bandwidth_traffic_test.cpp).
#include <gtest/gtest.h>

#include "platform/forwarding_platform.h"
#include "tests/scripted_network.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

void Put(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  WriteFile(path, text);
}

TEST(Restore, AFreshFolderHasTheDefaults) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.SMTPPort, "25");
  EXPECT_EQ(m.UpBW, "100 MB");
  EXPECT_EQ(m.DnBW, "");
  EXPECT_EQ(m.BUFreq, "60");
  EXPECT_EQ(m.BackupInterval, 3600);
  EXPECT_EQ(m.CRTime, "0100");
  EXPECT_NE(m.SendOpt[0], 0);
  EXPECT_EQ(m.SendOpt[1], 0);
  // No port above 100 opens a slot at start-up; start-up's own cycle then
  // finds them closed and has each listen on a port that the system picks.
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(s.app().Listener(i).state(), Winsock::kListening) << i;
    EXPECT_EQ(s.app().Listener(i).LocalPort(), 0) << i;
  }
  for (const std::string* port : {&m.CPUPort, &m.CPUPort2, &m.CPUPort3, &m.CPUPort4, &m.CPUPort5,
                                  &m.BUPort, &m.BUPort2, &m.BUPort3, &m.BUPort4, &m.BUPort5}) {
    EXPECT_EQ(*port, "0");
  }
  // The list files opened with the create flag are there, empty.
  for (const char* file :
       {"Bin/Emailto.txt", "Bin/EmailBody.txt", "Bin/ServerBackup.Tnx", "Files/CloseOnBU.txt"}) {
    EXPECT_TRUE(s.Has(file)) << file;
    EXPECT_EQ(s.File(file), "") << file;
  }
  EXPECT_FALSE(s.Has("Bin/endtask.txt"));
  EXPECT_EQ(m.MinuteTick, 0);
  EXPECT_EQ(m.DayClosed, 0);
  EXPECT_EQ(m.SendSummary, 0);
}

TEST(Restore, TheChoiceListsHaveTheirEntries) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  ASSERT_EQ(m.BUFreqList.size(), 30u);
  EXPECT_EQ(m.BUFreqList[15], "240");
  EXPECT_EQ(m.BUFreqList[16], "155") << "where the series would have 255";
  EXPECT_EQ(m.BUFreqList[17], "270");
  EXPECT_EQ(m.BUFreqList.back(), "600");
  EXPECT_EQ(m.CRTimeList, (TextList{"0000", "0100", "0200", "0300", "0400", "0500", "0600", "1900",
                                    "2000", "2100", "2200", "2300"}));
  ASSERT_EQ(m.CPUPort2List.size(), 101u);
  EXPECT_EQ(m.CPUPort2List[0], "42000");
  EXPECT_EQ(m.CPUPort2List[1], "42002");
  EXPECT_EQ(m.CPUPort2List[100], "42200");
  EXPECT_EQ(m.BUPort5List[0], "45001");
  EXPECT_EQ(m.BUPort5List[1], "45003");
  ASSERT_EQ(m.UpBWList.size(), 90u);
  EXPECT_EQ(m.UpBWList.front(), "11 MB");
}

TEST(Restore, MailSettingsRecipientsAndText) {
  SimApp s;
  Put(s.dir() + "/Bin/Tarnex.Tnx",
      "[Email]\r\nFrom=ops@example.org\r\nSubject=Daily\r\nsmtp=relay.example.org\r\n"
      "SMTP Port=2525\r\nAuto=1\r\nHistory=1\r\nOpersys=1\r\nError=True\r\n");
  Put(s.dir() + "/Bin/Emailto.txt", "  a@example.org  \r\n\r\nb@example.org\r\n");
  Put(s.dir() + "/Bin/EmailBody.txt", "Line one\r\n  Line two\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.EFrom, "ops@example.org");
  EXPECT_EQ(m.ESubject, "Daily");
  EXPECT_EQ(m.SMTP, "relay.example.org");
  EXPECT_EQ(m.SMTPPort, "2525");
  EXPECT_EQ(m.autosend, 1);
  EXPECT_EQ(m.include, (Flags<6>{1, 0, 0, 0, -1, 1}));
  EXPECT_EQ(m.EmailList1, (TextList{"a@example.org", "b@example.org"}));
  EXPECT_EQ(m.EBody, "Line one\r\n  Line two\r\n");
}

TEST(Restore, BackUpSettingsAndTheirLists) {
  SimApp s;
  Put(s.dir() + "/Bin/Tarnex.Tnx",
      "[Server]\r\nBU to Remotes=1\r\nBU Path=D:\\Backup\r\nSend 24=False\r\nSend 6=True\r\n"
      "BU Freq=90\r\nClose and Restart=2300\r\nSend Summary=True\r\n"
      "Close Prog 2=C:\\App\\app.exe\r\nCmdLine 2=-r\r\nRestart Prog=1\r\n");
  Put(s.dir() + "/Bin/ServerBackup.Tnx", "  C:\\Data  \r\n\r\nC:\\Mail\r\n");
  Put(s.dir() + "/Bin/endtask.txt", "// not this\r\n  app.exe  \r\n \r\n  //kept\r\nx\r\n");
  Put(s.dir() + "/Files/CloseOnBU.txt", "  spaced  \r\n\r\n// no comment rule\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.Check1, 1);
  EXPECT_EQ(m.Text1, "D:\\Backup");
  EXPECT_EQ(m.BUPath, "D:\\Backup");
  EXPECT_EQ(m.SendOpt[0], 0);
  EXPECT_NE(m.SendOpt[1], 0);
  EXPECT_EQ(m.BUFreq, "90");
  EXPECT_EQ(m.BackupInterval, 5400);
  EXPECT_EQ(m.CRTime, "2300");
  EXPECT_EQ(m.SendSummary, 0) << "anything but 1";
  EXPECT_EQ(m.CloseME[1], "C:\\App\\app.exe");
  EXPECT_EQ(m.CmdLine[1], "-r");
  EXPECT_EQ(m.CloseCHK, 1);
  EXPECT_EQ(m.List2, (TextList{"C:\\Data", "C:\\Mail"}));
  EXPECT_EQ(m.killlist, (TextList{"app.exe", "//kept", "x"}));
  EXPECT_EQ(m.BUClosed2, (TextList{"  spaced  ", "// no comment rule"}));
}

TEST(Restore, TrackingGroupsWithTheFourthsOwnKeys) {
  SimApp s;
  Put(s.dir() + "/Bin/Tarnex.Tnx",
      "[Track]\r\nEnabled=1\r\nInterval=5\r\nDataPath1=C:\\Logs\\W3SVC1\r\n"
      "DataPath4=ignored\r\nWebSite=www.example.org\r\n");
  Put(s.dir() + "/Events/Tracked/Track.dat", "[TData]\r\nDataPath4=C:\\Logs\\W3SVC4\r\n");
  Put(s.dir() + "/Events/Tracked/Track1.dat", "[TData]\r\nLogLen=1200\r\nLog Date=14 Nov 2012\r\n");
  Put(s.dir() + "/Events/Tracked/Track4.dat", "[TData]\r\nLogLen=1\r\n[Data]\r\nLogLen=4400\r\n");
  Put(s.dir() + "/Files/TData1.dat", " a.htm\r\n\r\nb.zip\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_EQ(m.TrackEnabled, 1);
  EXPECT_EQ(m.TrackInterval, "5");
  EXPECT_EQ(m.WebSite, "www.example.org");
  EXPECT_EQ(m.DataPath1, "C:\\Logs\\W3SVC1");
  EXPECT_EQ(m.DataPath4, "C:\\Logs\\W3SVC4");
  EXPECT_EQ(m.LogLen1, 1200);
  EXPECT_EQ(m.LogLen4, 4400);
  EXPECT_EQ(m.DataLog1, (TextList{" a.htm", "b.zip"})) << "names are not trimmed";
  EXPECT_FALSE(s.Has("Files/TData2.dat"));
}

TEST(Restore, ANewDayClearsEveryNamesHitsOfTheDay) {
  SimApp s;
  Put(s.dir() + "/Events/Tracked/Track1.dat",
      "[TData]\r\nLogLen=1200\r\nLog Date=13 Nov 2012\r\n[a.htm]\r\nHitsToday=9\r\nHits=90\r\n");
  Put(s.dir() + "/Events/Tracked/Track2.dat", "[TData]\r\nLogLen=5\r\n");
  Put(s.dir() + "/Files/TData1.dat", "a.htm\r\n");
  Put(s.dir() + "/Files/TData2.dat", "c.htm\r\n");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().LogLen1, 0);
  EXPECT_EQ(s.model().LogLen2, 0);
  EXPECT_EQ(s.ctx().INIRead("\\Events\\Tracked\\Track1.dat", "a.htm", "HitsToday"), "0");
  EXPECT_EQ(s.ctx().INIRead("\\Events\\Tracked\\Track1.dat", "a.htm", "Hits"), "90");
  EXPECT_EQ(s.ctx().INIRead("\\Events\\Tracked\\Track2.dat", "c.htm", "HitsToday"), "0");
}

TEST(Restore, TheListenersOpenForPortsAbove100BeforeTheEmptyPortsTurnToZero) {
  SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = SimPlatform::FromText(kBasicScenario, options, error);
  ASSERT_NE(sim, nullptr) << error;
  ScriptedMachine machine(*sim);
  const std::string dir = MakeTempDir();
  Put(dir + "/Bin/Tarnex.Tnx",
      "[Server]\r\nMonitor CPU Port 2=42000\r\nMonitor CPU Port 3=100\r\n"
      "Monitor CPU Pass 2=pw\r\nMonitor Server Code=ABC\r\nMonitor User 2=op\r\n"
      "Server Name=Main\r\nSent Logs=1\r\nStart at Boot=1\r\n");
  {
    App app(machine, dir);
    ASSERT_TRUE(app.FormLoad());
    EXPECT_EQ(app.Listener(1).state(), Winsock::kListening);
    EXPECT_TRUE(machine.net.Listening(42000));
    // 100 is not above 100: the slot is opened only by start-up's own cycle,
    // on a port of the system's choosing.
    EXPECT_FALSE(machine.net.Listening(100));
    EXPECT_EQ(app.Listener(2).LocalPort(), 0);
    EXPECT_EQ(app.Listener(0).LocalPort(), 0);
    auto& m = app.model();
    EXPECT_EQ(m.CPUpass[1], "pw");
    EXPECT_EQ(m.SrvCODE, "ABC");
    EXPECT_EQ(m.MUser[1], "op");
    EXPECT_EQ(m.SName, "Main");
    EXPECT_EQ(m.Check3[1], 1);
    EXPECT_EQ(m.Check3[0], 1);
    EXPECT_EQ(m.CPUPort, "0");
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
