#include <gtest/gtest.h>

#include <algorithm>

#include "counters/catalogue.h"
#include "counters/programs.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::string Scenario(const std::string& extra) {
  return R"({"start": "2012-11-14 10:00:00",
    "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"})" +
         (extra.empty() ? "" : ", " + extra) + "}";
}

size_t IndexOf(const std::vector<std::string>& list, const std::string& item, size_t from = 0) {
  auto it = std::find(list.begin() + static_cast<std::ptrdiff_t>(from), list.end(), item);
  return it == list.end() ? std::string::npos : static_cast<size_t>(it - list.begin());
}

TEST(Catalogue, EveryPathIsAskedForInTheStartUpOrder) {
  SimApp s(Scenario(R"("objects": {"Network Interface": ["Intel Ethernet"]})"));
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  // The probe, then memory, processor, disk, objects, system, network,
  // server, ISA Server and web, SQL Server.
  ASSERT_FALSE(r.empty());
  EXPECT_EQ(r[0], "\\\\SRV1\\Processor(0)\\% Idle Time");
  EXPECT_EQ(r[1], "\\\\SRV1\\Memory\\Committed Bytes");
  EXPECT_EQ(r[12], "\\\\SRV1\\Memory\\Pool Nonpaged Bytes");
  EXPECT_EQ(r[13], "\\Processor(_Total)\\% Processor Time");
  EXPECT_EQ(r[14], "\\\\SRV1\\Processor Information(0,0)\\Processor Frequency");
  EXPECT_EQ(r[16], "\\\\SRV1\\Processor Information(_Total)\\DPCs Queued / sec");
  EXPECT_EQ(r[20], "\\\\SRV1\\LogicalDisk(C:)\\% Free Space");
  EXPECT_EQ(r[27], "\\\\SRV1\\LogicalDisk(C:)\\Split IO/Sec");
  EXPECT_EQ(r[28], "\\Objects\\Processes");
  EXPECT_EQ(r[30], "\\Process(_Total)\\Handle Count");
  EXPECT_EQ(r[34], "\\\\SRV1\\System\\Processor Queue Length");
  EXPECT_EQ(r[35], "\\\\SRV1\\Network Interface(Intel Ethernet)\\Bytes Total/sec");
  EXPECT_EQ(r[48], "\\\\SRV1\\Network Interface(Intel Ethernet)\\Packets Sent Non-Unicast/sec");
  EXPECT_EQ(r[49], "\\\\SRV1\\Server\\Bytes Total/sec");
  EXPECT_EQ(r[61], "\\\\SRV1\\Server\\Work Item Shortages");
  EXPECT_EQ(r[81], "\\\\SRV1\\Server\\Reconnected Resilient Handles");
  EXPECT_EQ(r[82], "\\\\SRV1\\ISA Server Cache\\Disk Failure Rate");
  EXPECT_EQ(r[125], "\\\\SRV1\\ISA Server Firewall Packet Engine\\TCP Established Connections/sec");
  EXPECT_EQ(r[126], "\\\\SRV1\\SQL Server: Latches Object\\Latch Waits/sec");
  EXPECT_EQ(r.back(), "\\\\SRV1\\SQLServer: General Statistics\\Logouts/sec");
  EXPECT_EQ(r.size(), 144u);
}

TEST(Catalogue, FtpPathsAreAskedForTwice) {
  SimApp s(Scenario(""));
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  const size_t first = IndexOf(r, "\\\\SRV1\\FTP Service\\Bytes Sent/sec");
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\FTP Service\\Bytes Sent/sec", first + 1), std::string::npos);
  EXPECT_EQ(r[first + 1], "\\\\SRV1\\FTP Service\\Bytes Received/sec");
  EXPECT_EQ(r[first + 2], "\\\\SRV1\\FTP Service\\Bytes Total/sec");
  EXPECT_EQ(std::count(r.begin(), r.end(), "\\\\SRV1\\FTP Service\\Bytes Received/sec"), 2);
}

TEST(Catalogue, FtpTotalOverwritesTheHandleOfFtpSent) {
  SimApp s(Scenario(R"("counters": {"\\FTP Service\\Bytes Sent/sec": 1,
                                    "\\FTP Service\\Bytes Total/sec": 3})"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.ctx().ReadCounter(s.model().hFTPSent), 3);
  EXPECT_EQ(s.ctx().ReadCounter(s.model().hFTPSent2), 1);
}

TEST(Catalogue, SqlObjectNamesKeepTheirMixedForms) {
  SimApp s(Scenario(""));
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\SQL Server: Latches Object\\Buffer Cache Hit Ratio"),
            std::string::npos);
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\SQL Server: Latches Object\\Page life expectancy"),
            std::string::npos);
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\SQL Server: SQL Statistics Object\\SQL Re-Compilations/sec"),
            std::string::npos);
}

TEST(Catalogue, DeferredCallRateIsAddedButTheCycleReadsItsEmptyNeighbour) {
  SimApp s(Scenario(R"("counters": {
      "\\Processor Information(_Total)\\DPC Rate": 12,
      "\\Processor Information(_Total)\\Interrupts/sec": 700})"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_NE(s.model().hDPCRate, 0);
  EXPECT_EQ(s.model().hDPCPercent, 0);
  EXPECT_EQ(s.model().DPCPercent, "0");
  EXPECT_EQ(s.model().Label23, "DPC: 0%");
}

TEST(Catalogue, MemoryGroupOpensTheQueryAnew) {
  SimApp s(Scenario(R"("counters": {"\\Processor(0)\\% Idle Time": 80})"));
  ASSERT_TRUE(s.app().FormLoad());
  // The probe went into the first query; the catalogue lives in the second.
  EXPECT_EQ(s.model().PerfQuery, 2u);
}

TEST(Catalogue, SystemDriveNamesTheDiskInstance) {
  SimApp s(R"({"env": {"WinDIR": "D:\\WINNT", "COMPUTERNAME": "BOX"}})");
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  EXPECT_NE(IndexOf(r, "\\\\BOX\\LogicalDisk(D:)\\% Idle Time"), std::string::npos);
}

TEST(Catalogue, NoAdapterMeansNoNetworkCounter) {
  SimApp s(Scenario(""));
  ASSERT_TRUE(s.app().FormLoad());
  for (const auto& path : s.sim().Sim().requested) {
    EXPECT_EQ(path.find("Network Interface"), std::string::npos) << path;
  }
}

TEST(Catalogue, SevenAdaptersFillSixSlots) {
  SimApp s(Scenario(R"("objects": {"Network Interface":
      ["Adapter 1", "Adapter 2", "Adapter 3", "Adapter 4", "Adapter 5", "Adapter 6", "Adapter 7"]},
      "counters": {"\\Network Interface(Adapter 6)\\Bytes Total/sec": 5})"));
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  EXPECT_EQ(std::count_if(r.begin(), r.end(),
                          [](const std::string& p) {
                            return p.find("Network Interface") != std::string::npos;
                          }),
            6 * 14);
  EXPECT_NE(s.model().hNetBytesTotal[5], 0);
  EXPECT_EQ(s.ctx().ReadCounter(s.model().hNetBytesTotal[5]), 5);
}

TEST(Catalogue, AbsentProductsReadZeroAndNothingIsSaid) {
  SimApp s(Scenario(R"("counters": {"\\Processor(0)\\% Idle Time": 80})"));
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().Wait(5000);
  EXPECT_EQ(s.model().hWPRequests, 0);
  EXPECT_EQ(s.ctx().ReadCounter(s.model().hWPRequests), 0.0);
  EXPECT_EQ(s.model().ProcessorQueue, 0);
  EXPECT_EQ(s.model().PEPackets, 0);
  // This machine has no system tools either; those are the only messages.
  for (const auto& message : s.sim().messages) EXPECT_EQ(message, "File or command not found");
}

TEST(Catalogue, WorkItemShortagesAloneAreReadWhileNoRecordingRuns) {
  SimApp s(Scenario(R"("counters": {"\\Server\\Work Item Shortages": 4,
                                    "\\Server\\Bytes Total/sec": 900})"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().ServerValues[12], 4);
  EXPECT_EQ(s.model().ServerValues[0], 0);
}

TEST(Catalogue, RecordingReadsAllServerValuesAfterASecondCollection) {
  SimApp s(Scenario(R"("counters": {"\\Server\\Bytes Total/sec": [10, 20, 30, 40, 50],
                                    "\\Server\\Files Open": 7})"));
  ASSERT_TRUE(s.app().FormLoad());
  s.model().LogAllSeconds = 60;
  s.loop().Wait(1000);
  // The cycle's own collection took 20, the server read's second one 30.
  EXPECT_EQ(s.model().ServerValues[0], 30);
  EXPECT_EQ(s.model().ServerValues[14], 7);
}

TEST(Catalogue, OpenConsoleReadsAllServerValues) {
  SimApp s(Scenario(R"("counters": {"\\Server\\Files Open": 7})"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().ServerValues[14], 0);
  s.model().ServerConsoleOpen = 1;
  s.loop().Wait(1000);
  EXPECT_EQ(s.model().ServerValues[14], 7);
}

const char* kPrograms = R"("processes": [
    {"pid": 4, "path": "C:\\Windows\\System32\\smss.exe", "protected": true},
    {"pid": 100, "path": "C:\\Apps\\Server App.exe"},
    {"pid": 101, "path": "C:\\Apps\\Server App.exe"},
    {"pid": 102, "path": "C:\\Apps\\tool.com"},
    {"pid": 103, "path": "C:\\Apps\\sqlservr.EXE"}])";

TEST(Programs, ListHasOneEntryPerOpenableProcessWithoutItsExe) {
  SimApp s(Scenario(kPrograms));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Programlist, (TextList{"Server App", "Server App", "sqlservr"}));
  EXPECT_EQ(s.model().ProgLast, 2);
}

TEST(Programs, TwoInstancesReadTheCountersOfOneName) {
  SimApp s(Scenario(std::string(kPrograms) + R"(, "counters": {
      "\\Process(Server App)\\Working Set": 5000000,
      "\\Process(sqlservr)\\IO Read Bytes/sec": 1200})"));
  ASSERT_TRUE(s.app().FormLoad());
  auto& m = s.model();
  EXPECT_NE(m.hProgWorkingSet[0], 0);
  EXPECT_NE(m.hProgWorkingSet[1], 0);
  s.model().LogAllSeconds = 60;
  s.loop().Wait(1000);
  EXPECT_EQ(m.ProgWorkingSet[0], 5000000);
  EXPECT_EQ(m.ProgWorkingSet[1], 5000000);
  EXPECT_EQ(s.ctx().ReadCounter(m.hProgRead[2]), 1200);
  const auto& r = s.sim().Sim().requested;
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\Process(Server App)\\% Processor Time"), std::string::npos);
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\Process(sqlservr)\\IO Write Bytes/sec"), std::string::npos);
}

TEST(Programs, ProgramCountersComeAfterTheProcessorGroup) {
  SimApp s(Scenario(kPrograms));
  ASSERT_TRUE(s.app().FormLoad());
  const auto& r = s.sim().Sim().requested;
  const size_t program = IndexOf(r, "\\\\SRV1\\Process(Server App)\\% Processor Time");
  EXPECT_EQ(r[program - 1], "\\\\SRV1\\Processor Information(_Total)\\% Privileged Time");
  EXPECT_EQ(r[program + 18], "\\\\SRV1\\LogicalDisk(C:)\\% Free Space");
}

TEST(Programs, ModuleNameWithoutExeAddsNothing) {
  EXPECT_EQ(ModuleNameFromBuffer("tool.com"), "tool.com");
  SimApp s(Scenario(R"("processes": [{"pid": 7, "path": "C:\\x\\service.dll"}])"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_TRUE(s.model().Programlist.empty());
  EXPECT_EQ(s.model().ProgLast, -1);
}

TEST(Programs, ShortModuleNameKeepsTheBufferFillAndIsLeftOut) {
  // Six characters and the closing NUL cover "unknown"; five do not.
  EXPECT_EQ(ModuleNameFromBuffer("ab.exe"), "ab.exe");
  EXPECT_EQ(ModuleNameFromBuffer("a.exe"), std::string("a.exe\0", 6));
  SimApp s(Scenario(R"("processes": [{"pid": 7, "path": "C:\\x\\a.exe"},
                                     {"pid": 8, "path": "C:\\x\\ab.exe"}])"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Programlist, TextList{"ab"});
}

TEST(Programs, ProgramsPast100GetNoCounters) {
  std::string processes = R"("processes": [)";
  for (int i = 0; i < 150; ++i) {
    processes += std::string(i ? "," : "") + R"({"pid": )" + std::to_string(1000 + i) +
                 R"(, "path": "C:\\Apps\\prog)" + std::to_string(i) + R"(.exe"})";
  }
  processes += "]";
  SimApp s(Scenario(processes));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().Programlist.size(), 150u);
  EXPECT_EQ(s.model().ProgLast, 149);
  EXPECT_EQ(s.model().ProgIndex, 149);
  const auto& r = s.sim().Sim().requested;
  EXPECT_NE(IndexOf(r, "\\\\SRV1\\Process(prog100)\\Working Set"), std::string::npos);
  EXPECT_EQ(IndexOf(r, "\\\\SRV1\\Process(prog101)\\Working Set"), std::string::npos);
}

TEST(Programs, ListThatKeepsItsCountWithAReplacedProgramIsRebuilt) {
  SimApp s(Scenario(kPrograms));
  ASSERT_TRUE(s.app().FormLoad());
  const size_t added = s.sim().Sim().requested.size();
  s.sim().running.erase(103);
  s.sim().running[104] = "C:\\Apps\\mailsrv.exe";
  RefreshPrograms(s.sim(), s.model(), {});
  EXPECT_EQ(s.model().Programlist, (TextList{"Server App", "Server App", "mailsrv"}));
  EXPECT_EQ(s.sim().Sim().requested.size(), added + 18);
}

TEST(Programs, UnchangedListIsLeftAlone) {
  SimApp s(Scenario(kPrograms));
  ASSERT_TRUE(s.app().FormLoad());
  const size_t added = s.sim().Sim().requested.size();
  s.sim().running[105] = "C:\\Apps\\sqlservr.exe";
  s.sim().running.erase(103);
  RefreshPrograms(s.sim(), s.model(), {});
  EXPECT_EQ(s.sim().Sim().requested.size(), added);
  EXPECT_EQ(s.model().Programlist2, (TextList{"Server App", "Server App", "sqlservr"}));
}

TEST(Services, CountIsShownAtStartUp) {
  SimApp s(Scenario(R"("services": 42)"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().ServiceCount, 42);
  EXPECT_EQ(s.model().ServiceText, "Service: 42");
}

TEST(Services, ManagerThatCannotBeAskedGivesZero) {
  SimApp s(Scenario(""));
  s.model().ServiceCount = 9;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().ServiceCount, 0);
  EXPECT_EQ(s.model().ServiceText, "Service: 0");
}

}  // namespace
}  // namespace tarnex::testing
