// The system facts through the whole program on simulated machines: what
// start-up leaves in the model, in Bin/SystemData.txt and in the settings.
#include <gtest/gtest.h>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::string Data(const std::string& name) {
  return ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/inventory/" + name);
}

class InventoryScenario : public ::testing::Test {
 protected:
  SimApp s{Data("server2008.json")};
};

TEST_F(InventoryScenario, StartUpWritesTheSystemDataFileByteForByte) {
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.File("Bin/SystemData.txt"), Data("server2008-SystemData.txt"));
}

TEST_F(InventoryScenario, SystemTextIsTheReportAndOpensTheEventWindow) {
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().SysInfo, Data("server2008-SystemData.txt"));
  EXPECT_EQ(s.model().EventText, s.model().SysInfo);
}

TEST_F(InventoryScenario, MemorySlotsGoToTheSettings) {
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), Data("server2008-Tarnex.Tnx"));
  EXPECT_EQ(s.model().SlotCount, 4);
  EXPECT_EQ(s.model().SimmCount, 3);
}

TEST_F(InventoryScenario, ReportFieldsAreTakenFromTheirLines) {
  ASSERT_TRUE(s.app().FormLoad());
  const ServerModel& m = s.model();
  EXPECT_EQ(m.ProductID, "00477-001-0000421-84");
  EXPECT_EQ(m.PhysicalMemoryText, "8,183");
  EXPECT_EQ(m.PhysicalFreeText, "5,412");
  EXPECT_EQ(m.OSName, "Microsoft Windows Server 2008 R2 Standard ");
  EXPECT_EQ(m.Processors, "2");
  EXPECT_EQ(m.SystemModel, "PowerEdge R410");
  EXPECT_EQ(m.BIOSVersion, "Dell Inc. 1.9.0, 12/12/2011");
  EXPECT_EQ(m.InputLocale, "en-us;English (United States)");
  EXPECT_EQ(m.Manufacturer, "Dell Inc.");
  EXPECT_EQ(m.BootDevice, "\\Device\\HarddiskVolume1");
  EXPECT_EQ(m.OSVersion, "6.1.7601 Service Pack 1 Build 7601");
  EXPECT_EQ(m.InstallDate, "3/12/2012, 4:15:22 PM");
  EXPECT_EQ(m.BootTime, "11/13/2012, 7:02:41 AM");
  EXPECT_EQ(m.VirtualFree, "13,198 MB");
  EXPECT_EQ(m.VirtualUsed, "3,166 MB");
  EXPECT_EQ(m.OSWord, "2008");
  EXPECT_EQ(m.ProcessorName, "Intel(R) Xeon(R) CPU           E5620  @ 2.40GHz");
  EXPECT_EQ(m.ProcessorSpeed, "2401 MHz");
  EXPECT_EQ(m.ProcessorSocket, "CPU2");
  EXPECT_EQ(m.ProcessorNumber, "");
  EXPECT_EQ(m.CacheL1, "32 Kb");
  EXPECT_EQ(m.CacheL2, "256 Kb");
  EXPECT_EQ(m.CacheL3, "12288 Kb");
  EXPECT_EQ(m.CacheSeen, 1);
  EXPECT_EQ(m.HasMMX, 1);
  EXPECT_EQ(m.HasSSE, 1);
  // The memory tool's run cleared the lines of the report.
  EXPECT_TRUE(m.List1.empty());
}

TEST_F(InventoryScenario, ProcessorModuleAndPageFileFiguresAreSet) {
  ASSERT_TRUE(s.app().FormLoad());
  const ServerModel& m = s.model();
  EXPECT_EQ(m.CPUType, 586);
  EXPECT_EQ(m.CPUDescription, "Intel Pentium Pro or Pentium IIModel 44, Stepping 2");
  EXPECT_EQ(m.CPUTypeText, "Type 586/Intel Pentium Pro or Pentium II");
  EXPECT_EQ(m.CPUMHz, "2400 MHZ");
  // The last processor's properties stay; a null one keeps its field.
  EXPECT_EQ(m.L2CacheSize, 1024);
  EXPECT_EQ(m.L2CacheSpeed, 0);
  EXPECT_EQ(m.LoadPercentage, 3);
  EXPECT_EQ(m.CPUManufacturer, "GenuineIntel");
  EXPECT_EQ(m.CPUName, "Intel(R) Xeon(R) CPU           E5620  @ 2.40GHz");
  EXPECT_EQ(m.MaxClockSpeed, 2401);
  EXPECT_EQ(m.ProcessorType, 3);
  EXPECT_EQ(m.SwapCurrent, 612);
  EXPECT_EQ(m.SwapPeak, 1450);
  EXPECT_EQ(m.SwapTotal, 8183);
  EXPECT_EQ(m.SwapPeakText, "Swap Peak: 1450 MB");
  EXPECT_EQ(m.SwapText, "Swap: 612 MB");
}

TEST_F(InventoryScenario, MaxClockSpeedStandsInForAMissingProcessorSpeed) {
  ASSERT_TRUE(s.app().FormLoad());
  // No frequency counter here: the cycle's speed reads 0 and takes the
  // processor's maximum.
  EXPECT_EQ(s.model().CPUSpeed, 2401);
  EXPECT_EQ(s.model().CPUMHZ, "2401 MHz");
}

TEST_F(InventoryScenario, BothProgramsRunAndNoMessageIsShown) {
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.sim().commands_run, (std::vector<std::string>{"C:\\Windows\\System32\\Systeminfo.exe",
                                                            s.dir() + "\\Bin\\ram.exe -i"}));
  EXPECT_TRUE(s.sim().messages.empty());
}

TEST_F(InventoryScenario, PageFileFiguresStayAtTheirStartUpReadingInSteadyRunning) {
  ASSERT_TRUE(s.app().FormLoad());
  // The rule pass leaves the tick counter at 0, so the cycle's test for the
  // sixtieth tick never holds and the page file is not read again.
  EXPECT_EQ(s.model().MinuteTick, 0);
  s.sim().wmi["win32_pagefileusage"] = {
      WmiRow{{"CurrentUsage", 700.0}, {"PeakUsage", 1500.0}, {"AllocatedBaseSize", 8183.0}},
      WmiRow{{"CurrentUsage", 100.0}, {"PeakUsage", 200.0}, {"AllocatedBaseSize", 4096.0}}};
  s.loop().Wait(180000);
  EXPECT_EQ(s.model().MinuteTick, 0);
  EXPECT_EQ(s.model().SwapText, "Swap: 612 MB");
  EXPECT_NE(s.model().SwapCurrent, 800);
}

TEST(InventoryScenarioBare, MachineWithoutTheProgramsOrWmiStillWritesTheReport) {
  SimApp s(R"({"start": "2012-11-14 10:00:00",
               "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1",
                       "NUMBER_OF_PROCESSORS": "4"},
               "counters": {"\\Processor(0)\\% Idle Time": 50}})");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.sim().messages,
            (std::vector<std::string>{"File or command not found", "File or command not found"}));
  EXPECT_EQ(s.File("Bin/SystemData.txt"),
            "OPERATING SYSTEM\r\nOS: \r\nID: \r\nVersion: \r\nID: \r\nInstalled: \r\n\r\n"
            "SYSTEM\r\nMother Board: \r\nManufacture: \r\nBios Version: \r\n\r\n"
            "PROCESSOR/MEMORY INFORMATION\r\nMemory   Total:    Free: \r\n\r\nSwap File\r\n"
            "\r\nPhysical Processors:    Cores: 4\r\nSpeed: \r\nSocket: \r\nHARD DRIVES\r\n");
  EXPECT_EQ(s.model().SwapText, "Swap: 0 MB");
  EXPECT_EQ(s.model().SwapPeakText, "Swap Peak: 0 MB");
  EXPECT_EQ(s.model().CPUDescription, "NoneModel 0, Stepping 0");
  EXPECT_EQ(s.model().CPUTypeText, "Type 0/None");
  EXPECT_EQ(s.model().CPUMHz, "0 MHZ");
  EXPECT_EQ(s.model().MaxClockSpeed, 0);
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), kFreshSettings);
}

TEST(InventoryScenarioBare, CommandsAreMatchedOnTheirProgramAndArgumentsWithoutCase) {
  std::string error;
  SimOptions options;
  options.quiet = true;
  auto sim = SimPlatform::FromText(
      R"({"commands": {"SYSTEMINFO.EXE": "facts", "Ram.exe -I": "caches"}})", options, error);
  ASSERT_NE(sim, nullptr) << error;
  EXPECT_EQ(sim->CommandOutput("C:\\Windows\\System32\\Systeminfo.exe"), "facts");
  EXPECT_EQ(sim->CommandOutput("D:\\Other Place\\systeminfo.exe"), "facts");
  EXPECT_EQ(sim->CommandOutput("systeminfo.exe"), "facts");
  EXPECT_EQ(sim->CommandOutput("C:\\Tarnex\\Bin\\ram.exe -i"), "caches");
  EXPECT_EQ(sim->CommandOutput("C:\\Tarnex\\Bin\\ram.exe"), std::nullopt);
  EXPECT_EQ(sim->CommandOutput("C:\\Tarnex\\Bin\\xram.exe -i"), std::nullopt);
  EXPECT_EQ(sim->CommandOutput("C:\\Windows\\System32\\Systeminfo.exe /s other"), std::nullopt);
}

TEST(InventoryScenarioBare, NewScenarioKeysAreCheckedAndUnknownOnesNamed) {
  SimOptions options;
  options.quiet = true;
  std::string error;
  const auto bad = [&](const std::string& json, const std::string& words) {
    error.clear();
    EXPECT_EQ(SimPlatform::FromText(json, options, error), nullptr) << json;
    EXPECT_NE(error.find(words), std::string::npos) << error;
  };
  bad(R"({"commands": {"ram.exe -i": 5}})", "ram.exe -i");
  bad(R"({"commands": []})", "commands");
  bad(R"({"wmi": {"Win32_Processor": {}}})", "Win32_Processor");
  bad(R"({"wmi": {"Win32_Processor": [{"Name": true}]}})", "Name");
  bad(R"({"processor": {"level": 70000}})", "level");
  bad(R"({"processor": {"family": 6}})", "family");
  bad(R"({"disks": {"C:\\": {"total": 1, "used": 2}}})", "C:\\");
  bad(R"({"disk": {}})", "disk");
}

}  // namespace
}  // namespace tarnex::testing
