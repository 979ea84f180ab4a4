// Recordings ("Log All Data"): the thirteen snapshot files and their lines,
// the entries that start a recording, its clock and its text, and what the
// cycle reads and writes while one runs.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "core/commands.h"
#include "core/model_fields.h"
#include "counters/recordings.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

class Recording : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(s_.app().FormLoad()); }

  // Every text field named gets its own name as its value.
  void NameTexts(std::initializer_list<const char*> names) {
    for (const char* name : names) {
      const ModelField* f = FindModelField(name);
      ASSERT_NE(f, nullptr) << name;
      std::string error;
      ASSERT_TRUE(f->set(s_.model(), name, error)) << name << ": " << error;
    }
  }
  std::string Snap(const std::string& file) { return s_.File("Events/SnapShot/" + file); }
  int Lines(const std::string& file) {
    const std::string text = Snap(file);
    int n = 0;
    for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at + 2))
      ++n;
    return n;
  }
  std::string Do(const std::string& command) { return s_.app().commands().Do("", command); }

  SimApp s_;
};

TEST_F(Recording, EachFileTakesItsFieldsWithTheirWordsInOneTabbedLine) {
  auto& m = s_.model();
  NameTexts({"cpu1",         "Label32",   "CPUMHZ",    "Label77", "Label22",  "Label23",
             "CPULastMin",   "CPULastHR", "CPULast24", "procnum", "procnumb", "Label39",
             "Label38",      "Label36",   "free",      "used",    "Label41",  "Label42",
             "Label30",      "Label29",   "Label28",   "Label40", "Label43",  "Label44",
             "DriveCaption", "Label45",   "Label46",   "Label49", "Label50",  "Label47",
             "Label48",      "Label58",   "Label59",   "Label60", "Label61",  "Label62",
             "upthru",       "Label24",   "tbsent",    "tsstart", "dnthru",   "Label25",
             "tbrec",        "trstart",   "Label51",   "Label52", "Label53",  "Label54",
             "Label55",      "Label56",   "Label57"});
  m.PoolNonpaged = 41000000;
  m.PoolPaged = 90500000.5;
  m.SQLCacheHit = 95;
  m.SQLLatchWaits = 1;
  m.SQLLatchTime = 2;
  m.SQLLogouts = 3;
  m.NetPackets = 4;
  m.CurRec = 1234.6;
  m.CurSent = 99.4;
  m.NetRecUnicast = 5;
  m.NetSentUnicast = 6;
  m.NetRecNonUnicast = 7;
  m.NetSentNonUnicast = 8;
  m.NetOutQueue = 9;
  m.ServerValues[12] = 10;
  m.ProcessorQueue = 11;
  m.URIFlushes = 12;
  m.URIMisses = 13;
  m.ASPWait = 14;
  m.ASPQueued = 15;
  m.PEActive = 16;
  m.FWWorkerThreads = 17;
  m.FWDNSHits = 18;
  m.PEBacklog = 19;
  m.PEBytes = 20;
  m.PEPackets = 21;
  m.WPCacheHit = 22;
  m.WPReverseBytes = 23;
  m.WPAvgMs = 24;
  m.WPDirectFetches = 25;
  m.WPCacheFetches = 26;
  m.WPRequests = 27;
  m.WPFailing = 28;
  m.WPDNSHits = 29;
  m.WPIncoming = 30;
  m.CacheDiskFailure = 31;
  m.CacheMemUsage = 32;
  m.CacheDiskWrite = 33;
  m.CacheDiskURL = 34;
  m.CacheDiskBytes = 35;
  m.CacheMemURL = 36;
  m.CacheMemBytes = 37;
  m.CacheDiskAllocated = 38;
  m.ProgLast = -1;

  LogMYData(s_.ctx());

  EXPECT_EQ(Snap("CPU.txt"),
            "CPU USage: cpu1\tH/W: Label32\tFreq: CPUMHZ\tLabel77\tLabel22\tLabel23\t"
            "CPU Last Min: CPULastMin\tCPU Last Hour: CPULastHR\tCPU Last 24 Hours: CPULast24\r\n");
  EXPECT_EQ(Snap("System.txt"), "procnum\tprocnumb\tLabel39\tLabel38\tLabel36\r\n");
  EXPECT_EQ(Snap("Memory.txt"),
            "free\tused\tLabel41\tLabel42\tLabel30\tLabel29\tLabel28\tLabel40\tLabel43\tLabel44\t"
            "Pool Non-Paged Memory 41000000\tPool Paged Memory 90500000.5\r\n");
  EXPECT_EQ(Snap("Hard Drive.txt"),
            "DriveCaption\tLabel45\tLabel46\tLabel49\tLabel50\tLabel47\tLabel48\tLabel58\t"
            "Label59\tLabel60\tLabel61\tLabel62\r\n");
  EXPECT_EQ(Snap("Network BW.txt"),
            "upthru\tLabel24\ttbsent\ttsstart\tdnthru\tLabel25\ttbrec\ttrstart\r\n");
  EXPECT_EQ(Snap("Network Packets.txt"),
            "Label51\tLabel52\tLabel53\tLabel54\tLabel55\tLabel56\tLabel57\r\n");
  EXPECT_EQ(Snap("SQL.txt"),
            "SQL Buffer Cache Hit Ratio 95\tSQL Latch Waits 1\tSQL Total Latch Wait Time 2\t"
            "SQL Server General Statistics Logouts Sec 3\tNumber of Packets per sec 4\r\n");
  // The two non-unicast figures trade their words, as they always have.
  EXPECT_EQ(Snap("Networking.txt"),
            "Bytes Received 1235\tBytes Sent 99\tPackets Rec Unicast per second 5\t"
            "Packets Sent Unicast per second 6\tPackets Sent Non-Unicast per second 7\t"
            "Packets Received Non-Unicast per second 8\t"
            "Number of packets in queue waiting to be sent 9\t"
            "Server Work Item Shortages per second 10\r\n");
  EXPECT_EQ(Snap("Web Service.txt"),
            "Processor Queued Length 11\tWeb Service Kernal URI Cache Flushes 12\t"
            "Web Service Kernal URI Cache Misses 13\tActive Server Pages Request Wait Time 14\t"
            "Active Server Pages Request Queued 15\t"
            "ISA Server Firewall Packet Engine Active Connections 16\t"
            "ISA Firewall Service Working Thread 17\tISA Firewall Service DNS Cache 18\t"
            "ISA Server Firewall Packet Engine Backlogged Packets 19\t"
            "ISA Server Firewall Packet Engine Bytes Second 20\r\n");
  // The established connections show the active ones; the hit ratio has no
  // blank before its value.
  EXPECT_EQ(Snap("Web Proxy.txt"),
            "ISA Server Firewall Packet Engine TCP Established Connections Sec 16\t"
            "ISA Server Firewall Packet Engine Packets Second 21\t"
            "ISA Web Proxy Cache Hit Ratio22\tISA Web Proxy Reverse Bytes Sent 23\t"
            "ISA Web Proxy Average Milliseconds Per Request 24\t"
            "ISA Web Proxy Current Direct Fetches 25\tISA Web Proxy Requests Per Second 26\t"
            "ISA Web Proxy Requests Second 27\tISA Web Proxy Failing Requests Second 28\t"
            "ISA Web Proxy DNS Cache Hits 29\r\n");
  EXPECT_EQ(Snap("ISA Server.txt"),
            "ISA Web Proxy Incoming Connections Per Second 30\t"
            "ISAS Server Cache Disk Failure Rate 31\t"
            "ISAS Server Cache Memory Usage Ratio Percent 32\t"
            "ISAS Server Cache Disk Content Write Rate 33\t"
            "ISAS Server Cache Disk URL Retrieve Rate 34\t"
            "ISAS Server Cache Disk Bytes Retrieved Rate 35\t"
            "ISAS Server Cache Memory URL Retrieve Rate 36\t"
            "ISAS Server Cache Memory Bytes Retrieved Rate 37\t"
            "ISAS Server Cache Memory Cache Allocated Space 38\r\n");
  // No program is listed: no line.
  EXPECT_FALSE(s_.Has("Events/SnapShot/Processes.txt"));
}

TEST_F(Recording, ServerLineGivesSecondsToTheFirstThreeAndItsOwnFormToTheLogons) {
  auto& m = s_.model();
  for (size_t i = 0; i < 33; ++i) m.ServerValues[i] = static_cast<double>(i) * 10;
  LogMYData(s_.ctx());
  EXPECT_EQ(Snap("Server.txt"),
            "Bytes Total 0 Sec\tBytes Received 10 Sec\tBytes Transmitted 20 Sec\t"
            "Sessions Timed Out 30\tSessions Errored Out 40\tSessions Logged Off 50\t"
            "Sessions Forced Off 60\tErrors Logon 70\tErrors Access Permissions 80\t"
            "Errors Granted Access 90\tErrors System 100\tBlocking Requests Rejected 110\t"
            "Work Item Shortages 120\tFiles Opened Total 130\tFiles Open 140\t"
            "Server Sessions 150\tFile Directory Searches 160\tPool Nonpaged Bytes 170\t"
            "Pool Nonpaged Peak 180\tPool Paged Bytes 190\tPool Paged Peak 200\t"
            "Context Blocks Queued 210\tLogon\t220 Sec\tSec\tLogon Total 230 Sec\t"
            "Total Durable Handles 240\tReconnected Durable Handles 250\t"
            "SMB BC Hash Header Requests 260\tSMB BC Hash Generation Requests 270\t"
            "SMB BC Hash Requests Received 280\tSMB BC Hash Responses Sent 290\t"
            "SMB BC Hash Bytes Sent 300\tTotal Resilient Handles 310\t"
            "Reconnected Resilient Handles 320\r\n");
}

TEST_F(Recording, ProcessesForFourProgramsAreTwoLinesTheSecondWithOneFilledField) {
  auto& m = s_.model();
  m.ProgLast = 3;
  const char* names[] = {"sqlservr", "w3wp", "lsass", "inetinfo"};
  for (size_t i = 0; i < 4; ++i) {
    m.ProgName[i] = names[i];
    m.ProgFaults[i] = static_cast<double>(i + 1);
    m.ProgWorkingSet[i] = 1500000.0 * static_cast<double>(i + 1);
  }
  LogMYData(s_.ctx());
  EXPECT_EQ(Snap("Processes.txt"),
            "sqlservr.exe\tPage Faults 1 Sec \tWorking Set 1500 KB\t"
            "w3wp.exe\tPage Faults 2 Sec \tWorking Set 3000 KB\t"
            "lsass.exe\tPage Faults 3 Sec \tWorking Set 4500 KB\r\n"
            "inetinfo.exe\tPage Faults 4 Sec \tWorking Set 6000 KB\t\t\r\n");
}

TEST_F(Recording, ProgramsWithoutANameLeaveTheirFieldEmptyAndAnEmptyLineIsNotWritten) {
  auto& m = s_.model();
  m.ProgLast = 5;
  for (size_t i = 0; i < 6; ++i) m.ProgName[i].clear();
  m.ProgName[4] = "w3wp";
  m.ProgWorkingSet[4] = 2000;
  LogMYData(s_.ctx());
  EXPECT_EQ(Snap("Processes.txt"), "\tw3wp.exe\tPage Faults 0 Sec \tWorking Set 2 KB\t\r\n");
}

TEST_F(Recording, EachEntrySetsItsLengthAndStartsTheCountAgain) {
  const struct {
    const char* entry;
    double seconds;
  } entries[] = {
      {"mnulogall1", 60}, {"mnulogall5", 300}, {"mnulogall10", 600}, {"mnulogall15", 900}};
  for (const auto& e : entries) {
    s_.model().LogAllElapsed = 17;
    ASSERT_EQ(Do(e.entry), "");
    EXPECT_EQ(s_.model().LogAllSeconds, e.seconds) << e.entry;
    EXPECT_EQ(s_.model().LogAllElapsed, 0) << e.entry;
  }
}

TEST_F(Recording, OneMinuteEntryWhileFifteenMinutesRunDeletesTheFilesAndRestartsTheCount) {
  ASSERT_EQ(Do("mnulogall15"), "");
  for (int i = 0; i < 5; ++i) s_.app().Timer1();
  EXPECT_EQ(Lines("CPU.txt"), 5);
  EXPECT_EQ(s_.model().LogAllElapsed, 5);
  ASSERT_EQ(Do("mnulogall1"), "");
  EXPECT_TRUE(fs::is_empty(s_.dir() + "/Events/SnapShot"));
  EXPECT_EQ(s_.model().LogAllSeconds, 60);
  EXPECT_EQ(s_.model().LogAllElapsed, 0);
  for (int i = 0; i < 3; ++i) s_.app().Timer1();
  EXPECT_EQ(Lines("CPU.txt"), 3);
}

TEST_F(Recording, SecondRecordingDeletesTheFirstsFilesAndNothingElse) {
  ASSERT_EQ(Do("mnulogall1"), "");
  for (int i = 0; i < 60; ++i) s_.app().Timer1();
  EXPECT_EQ(Lines("CPU.txt"), 59);
  EXPECT_EQ(s_.model().LogAllSeconds, 0);
  WriteFile(s_.dir() + "/Events/SnapShot/notes.txt", "mine");
  WriteFile(s_.dir() + "/Events/beside.txt", "kept");
  fs::create_directories(s_.dir() + "/Events/SnapShot/kept");
  ASSERT_EQ(Do("mnulogall1"), "");
  EXPECT_FALSE(s_.Has("Events/SnapShot/CPU.txt"));
  EXPECT_FALSE(s_.Has("Events/SnapShot/notes.txt"));
  EXPECT_TRUE(fs::is_directory(s_.dir() + "/Events/SnapShot/kept"));
  EXPECT_EQ(ReadFile(s_.dir() + "/Events/beside.txt"), "kept");
}

TEST_F(Recording, TheWindowCountsDownInLabel27AndEndsWithWhereTheDataIs) {
  ASSERT_EQ(Do("mnulogall1"), "");
  s_.app().Timer1();
  EXPECT_EQ(s_.model().Label27, "Logging All Data for 0 Min :59 Sec");
  EXPECT_EQ(s_.model().LogAllElapsed, 1);
  for (int i = 0; i < 58; ++i) s_.app().Timer1();
  EXPECT_EQ(s_.model().Label27, "Logging All Data for 0 Min :01 Sec");
  s_.app().Timer1();
  EXPECT_EQ(s_.model().Label27, "Data Located at " + s_.dir() + "\\Events\\SnapShot");
  EXPECT_EQ(s_.model().LogAllSeconds, 0);
  EXPECT_EQ(s_.model().LogAllElapsed, 0);
  // The cycle that ends the window writes no more lines.
  EXPECT_EQ(Lines("CPU.txt"), 59);
  s_.app().Timer1();
  EXPECT_EQ(Lines("CPU.txt"), 59);
}

TEST_F(Recording, NoFileIsWrittenWhileNoRecordingRuns) {
  for (int i = 0; i < 3; ++i) s_.app().Timer1();
  EXPECT_TRUE(fs::is_empty(s_.dir() + "/Events/SnapShot"));
}

TEST_F(Recording, AMissingFolderIsNotMadeAndTheLinesAreLostQuietly) {
  ASSERT_EQ(Do("mnulogall5"), "");
  fs::remove_all(s_.dir() + "/Events/SnapShot");
  s_.app().Timer1();
  s_.app().Timer1();
  EXPECT_FALSE(fs::exists(s_.dir() + "/Events/SnapShot"));
  EXPECT_EQ(s_.model().LogAllElapsed, 2);
  // The operator makes the folder again: the next line is written.
  fs::create_directories(s_.dir() + "/Events/SnapShot");
  s_.app().Timer1();
  EXPECT_EQ(Lines("CPU.txt"), 1);
}

TEST_F(Recording, WhileRecordingTheCycleReadsEveryServerCounter) {
  // Outside a recording only the work item shortages are read.
  s_.model().hServer[0] = 0;
  s_.model().ServerValues[0] = 77;
  s_.app().Timer1();
  EXPECT_EQ(s_.model().ServerValues[0], 77);
  ASSERT_EQ(Do("mnulogall1"), "");
  s_.app().Timer1();
  // The handle of 0 reads 0: the value was read.
  EXPECT_EQ(s_.model().ServerValues[0], 0);
}

}  // namespace
}  // namespace tarnex::testing
