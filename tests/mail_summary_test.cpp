// The server summary in its modes, the server record and the bandwidth block.
#include <gtest/gtest.h>

#include "mail/summary.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

// A server whose system-management rows the tests give.
std::string SummaryScenario(const std::string& wmi) {
  return R"({"start": "2012-11-14 10:00:00",
    "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
    "disks": {"C:\\": {"total": 146163314688, "free": 52466991104}},
    "wmi": )" +
         wmi + "}";
}

const char* const kRows = R"({
  "Win32_Processor": [{"Name": "Xeon E5620", "Manufacturer": "GenuineIntel",
                       "MaxClockSpeed": 2400, "SocketDesignation": "CPU1"}],
  "Win32_PhysicalMemory": [
    {"DeviceLocator": "A1", "Capacity": "4294967296", "Speed": 1333, "BankLabel": "BANK 0"},
    {"DeviceLocator": "B1", "Capacity": "4294967296", "Speed": 1333, "BankLabel": "BANK 1"},
    {"DeviceLocator": "A2", "Capacity": "536870912", "Speed": 1066, "BankLabel": "BANK 2"},
    {"DeviceLocator": "A3", "Capacity": null, "BankLabel": "BANK 3"}],
  "Win32_LogicalDisk": [{"Caption": "C:"}, {"Caption": "D:"}],
  "Win32_Process": [{"Name": "System"}, {"Name": "svchost.exe"}],
  "Win32_NTLogEvent": [{"Category": 0, "EventCode": 7000, "Message": "A service failed."},
                       {"Category": 3, "EventCode": 1, "Message": "Disk full."}]})";

class Summary : public ::testing::Test {
 protected:
  Summary() : s(SummaryScenario(kRows)) {}
  void SetUp() override {
    std::filesystem::create_directories(s.dir() + "/Bin");
    std::filesystem::create_directories(s.dir() + "/Events");
    auto& m = s.model();
    m.AppPath = s.dir();
    m.OSName = "Windows Server 2008";
    m.OSVersion = "6.1.7601";
    m.UpTimeText = "3 Hrs - 02 Min - 05 Sec";
    m.PhysicalMemoryText = "4,095";
    m.PhysicalFreeText = "2,710";
    m.MemCommitted = 1385000000;
    m.CPULastMin = "CPU Last Min = 12%";
    m.CPULastHR = "CPU Last Hr = 9%";
    m.CPULast24 = "Data < 24 (2)";
    m.CAver3 = {"10", "20"};
    m.CHours = {"0900", "1000"};
    m.SummaryRec = "-1500";
    m.SummarySent = "--2500";
    m.BWSWk = {"0", "700", "0", "0", "0"};
    m.BWRWk = {"0", "800", "0", "0", "0"};
    m.BWSMon = " 700";
    m.BWRMon = "800";
  }
  SimApp s;
};

TEST_F(Summary, TheDailyReportHasEverySectionInItsOrder) {
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx",
            "[Server]\r\nBU File Total Size=25000000000\r\nBU File Total Cnt=120\r\n"
            "Offsite 2 Total Cnt=7\r\nOffsite 2 Total Size=12000000\r\n"
            "Offsite 5 Total Cnt=1\r\nOffsite 5 Total Size=900\r\n[BW]\r\nUP=5\r\nDN=6\r\n");
  WriteFile(s.dir() + "/Bin/BandWidth.Tnx", "[Start]\r\nMonth=10\r\nYear=2012\r\n");
  ModSummary(s.ctx(), "E");
  const std::string expected =
      "System Information As of 10:00:00 14 Nov 2012\r\n\r\n"
      "\r\nDaily Bandwidth\r\n   Received: 1.50 Kb\r\n       Sent: -2.50 Kb\r\n\r\n"
      "Daily Average CPU Usage: 15.0%\r\n   CPU Last Min = 12%\r\n   CPU Last Hr = 9%\r\n"
      "\r\n\r\n"
      "Back-UP Summary\r\n Total OnSite BU Files: 120\r\n Total OnSite BU Size: 25 GB\r\n\r\n"
      "Remote 2\r\n   Total OffSite BU Files: 7\r\n   Total OffSite BU Size: 12 MB\r\n"
      "Remote 5\r\n   Total OffSite BU Files: 1\r\n   Total OffSite BU Size: 900.00 Bytes\r\n"
      "\r\n"
      "Operating System:\r\nWindows Server 2008\r\n6.1.7601\r\n\r\n"
      "Server On Time: 3 Hrs - 02 Min - 05 Sec\r\n\r\n"
      "Processor: Xeon E5620\r\n   GenuineIntel\r\n   Speed: 2,400 MHz\r\n"
      "   Physical Processors: \r\n   Cores: \r\n   Socket: CPU1\r\n\r\n"
      "CPU Usage of Last 2 Hours\r\n   0900   10%\r\n   1000   20%\r\n\r\n"
      "Physical Memory (RAM): 4,095 MB\r\n   Free: 2,710 MB\r\n   Used: 1,385 MB\r\n"
      "   Slot 1:   4 GB  Speed: 1333 Mhz   (BANK 0)\r\n"
      "   Slot 2:   524 MB  Speed: 1066 Mhz   (BANK 2)\r\n"
      "   Slot 3:   Empty     (BANK 3)\r\n"
      "   \r\n\r\n"
      "Drives:\r\n   C:  Total Size: 146 GB   Available: 52 GB\r\n"
      "   D:  No Information Available at this time\r\n\r\n"
      "BandWidth for Nov 2012\r\nWeek 2   Sent: 700   Received: 800\r\n"
      "Total   Sent: 700   Received: 800\r\n\r\n"
      "Total Since: Oct 2012   Sent: 5   Received: 6\r\n\r\n\r\n"
      "Running Processes\r\n     System\r\n     svchost.exe\r\nTotal Processes: 2\r\n";
  EXPECT_EQ(s.model().SummaryText, expected);
  EXPECT_EQ(s.File("Bin/ESummary.txt"), expected + "\r\n");
  EXPECT_FALSE(s.Has("Bin/Summary.txt")) << "the daily report has no error log";
  // Only the first "-" of a figure comes off ("--2500" reads as -2500), and
  // the summary writes it back.
  EXPECT_EQ(s.model().SummaryRec, "1500");
  EXPECT_EQ(s.model().SummarySent, "-2500");
}

TEST_F(Summary, InTheFirstMinuteOnlyTheMinuteCountStandsAndAnEmptyDayIsBlank) {
  auto& m = s.model();
  m.CPULastMin = "Data < 60 (12)";
  m.CPULastHR = "Data < 60 (0)";
  m.CAver3.clear();
  ModSummary(s.ctx(), "E");
  EXPECT_NE(m.SummaryText.find("Daily Average CPU Usage: %\r\n   Data < 60 (12)\r\n\r\n\r\n"),
            std::string::npos)
      << m.SummaryText;
  EXPECT_NE(m.SummaryText.find("CPU Usage of Last 0 Hours\r\n\r\n"), std::string::npos);
}

TEST_F(Summary, MessageModesAddTheErrorLogToTheirOwnFile) {
  for (const char* mode : {"S", "F"}) {
    ModSummary(s.ctx(), mode);
    const std::string summary = s.File("Bin/Summary.txt");
    const std::string report = s.File("Bin/ESummary.txt");
    EXPECT_EQ(report.find("Daily Bandwidth"), std::string::npos) << mode;
    ASSERT_TRUE(report.ends_with("Total Processes: 2\r\n\r\n")) << mode;
    EXPECT_EQ(summary,
              report.substr(0, report.size() - 2) + "\r\nWindows Errors\r\n\r\n" +
                  "Category: 0\r\n    EventCode: 7000\r\n    Message: A service failed.\r\n"
                  "\r\n"
                  "Category: 3\r\n    EventCode: 1\r\n    Message: Disk full.\r\n\r\n")
        << mode;
    // The text holds the last error piece only.
    EXPECT_EQ(s.model().SummaryText,
              "Category: 3\r\n    EventCode: 1\r\n    Message: Disk full.\r\n");
  }
}

TEST(SummaryErrors, LongMessagesAreLeftOutAndFiftyOneAreTheMost) {
  std::string events = "[";
  events += "{\"Category\": 1, \"EventCode\": 1, \"Message\": \"" + std::string(250, 'x') + "\"}";
  for (int i = 0; i < 60; ++i) {
    events += ", {\"Category\": 1, \"EventCode\": " + std::to_string(i) + ", \"Message\": \"m\"}";
  }
  events += "]";
  SimApp s(SummaryScenario("{\"Win32_NTLogEvent\": " + events + "}"));
  std::filesystem::create_directories(s.dir() + "/Bin");
  s.model().AppPath = s.dir();
  ModSummary(s.ctx(), "S");
  const std::string summary = s.File("Bin/Summary.txt");
  size_t pieces = 0;
  for (size_t at = summary.find("Category:"); at != std::string::npos;
       at = summary.find("Category:", at + 1)) {
    ++pieces;
  }
  EXPECT_EQ(pieces, 51u);
  EXPECT_EQ(summary.find("xxxx"), std::string::npos);
  EXPECT_NE(summary.find("EventCode: 50\r\n"), std::string::npos);
  EXPECT_EQ(summary.find("EventCode: 51\r\n"), std::string::npos);
}

TEST(SummaryMemory, MoreThanEightSlotsLeaveTheRestOut) {
  std::string rows = "[";
  for (int i = 0; i < 10; ++i) {
    if (i) rows += ", ";
    rows += R"({"DeviceLocator": "A)" + std::to_string(i) +
            R"(", "Capacity": "512000000", "Speed": 800, "BankLabel": "B)" + std::to_string(i) +
            R"("})";
  }
  SimApp s(SummaryScenario("{\"Win32_PhysicalMemory\": " + rows + "]}"));
  std::filesystem::create_directories(s.dir() + "/Bin");
  s.model().AppPath = s.dir();
  ModSummary(s.ctx(), "E");
  const std::string& text = s.model().SummaryText;
  EXPECT_NE(text.find("   Slot 8:   500 MB  Speed: 800 Mhz   (B7)\r\n\r\nDrives:"),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("Slot 9"), std::string::npos);
}

TEST_F(Summary, TheServerRecordEndsAfterTheBackUpsAndItsFifthRemoteHasABlank) {
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx",
            "[Server]\r\nBU File Total Cnt=3\r\nBU File Total Size=2048\r\n"
            "Offsite 5 Total Cnt=1\r\nOffsite 5 Total Size=5\r\n");
  WriteServerRecord(s.ctx());
  WriteServerRecord(s.ctx());
  const std::string record =
      std::string(115, '*') +
      "\r\nServer INFO as of 10:00:00 on 14 Nov 2012\r\n\r\n"
      "Daily Bandwidth\r\n   Received: 1.50 Kb\r\n       Sent: -2.50 Kb\r\n\r\n"
      "Daily Average CPU Usage: 15.0%\r\n   CPU Last Min = 12%\r\n   CPU Last Hr = 9%\r\n"
      "\r\n\r\n"
      "Back-UP Summary\r\n Total OnSite BU Files: 3\r\n Total OnSite BU Size: 2,048.00 Bytes\r\n"
      "\r\nRemote 5 \r\n   Total OffSite BU Files: 1\r\n   Total OffSite BU Size: 5.00 Bytes\r\n"
      "\r\n\r\n";
  EXPECT_EQ(s.File("Events/Monitor.txt"), record + record);
  // The record works on copies of the day's figures.
  EXPECT_EQ(s.model().SummaryRec, "-1500");
}

TEST(SummaryBackUp, SizesInWords) {
  EXPECT_EQ(BackupSizeText(10000000001), "10 GB");
  EXPECT_EQ(BackupSizeText(10000000000), "10,000 MB");
  EXPECT_EQ(BackupSizeText(10000001), "10 MB");
  EXPECT_EQ(BackupSizeText(10000000), "10,000,000.00 Bytes");
  EXPECT_EQ(BackupSizeText(0), "0.00 Bytes");
}

}  // namespace
}  // namespace tarnex::testing
