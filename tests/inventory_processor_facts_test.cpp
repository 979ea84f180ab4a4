// The processor and memory facts: memory slots, the memory tool's lines, the
// second half of the report, the processor module, the page file, and the
// drive-size text.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "core/drive_text.h"
#include "inventory/processor_facts.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

// A machine with the given system-management rows (a JSON object of classes)
// and other scenario keys.
std::string Machine(const std::string& wmi, const std::string& extra = "{}") {
  nlohmann::json doc = {{"start", "2012-11-14 10:00:00"},
                        {"env", {{"WinDIR", "C:\\Windows"}, {"NUMBER_OF_PROCESSORS", "2"}}},
                        {"wmi", nlohmann::json::parse(wmi)}};
  doc.update(nlohmann::json::parse(extra));
  return doc.dump();
}

// The installation folder's Bin folder, which start-up would have made.
void MakeBin(SimApp& s) {
  std::filesystem::create_directory(s.dir() + "/Bin");
}

std::string Memory(const std::string& rows) {
  return Machine(R"({"Win32_PhysicalMemory": )" + rows + "}");
}

// ---- getmem

TEST(InventoryMemory, ModuleOf1024000000BytesIs1000MegabytesAndShowsInMB) {
  SimApp s(Memory(
      R"([{"DeviceLocator": "DIMM1", "Capacity": 1024000000, "Speed": 667, "BankLabel": "B0"}])"));
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "Slot 1   1,000 MB  Speed: 667 Mhz   (B0)");
  EXPECT_EQ(s.model().SimmCount, 1);
}

TEST(InventoryMemory, ModuleOf2147483648BytesShowsAs2GB) {
  SimApp s(Memory(R"([{"DeviceLocator": "DIMM1", "Capacity": "2147483648", "Speed": 800,
                       "BankLabel": "BANK 0"}])"));
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "Slot 1   2 GB  Speed: 800 Mhz   (BANK 0)");
}

TEST(InventoryMemory, ModuleJustAbove1000MegabytesShowsInGB) {
  // 1,025,024,000 bytes are 1001 megabytes by these divisors, and 1.025 GB.
  SimApp s(Memory(R"([{"DeviceLocator": "X", "Capacity": 1025024000, "Speed": 400,
                       "BankLabel": "B"}])"));
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "Slot 1   1 GB  Speed: 400 Mhz   (B)");
}

TEST(InventoryMemory, EmptySlotCountsInSlotsButNotInSimms) {
  SimApp s(Memory(R"([
      {"DeviceLocator": "DIMM1", "Capacity": 536870912, "Speed": 533, "BankLabel": "B0"},
      {"DeviceLocator": "DIMM2", "BankLabel": "B1"},
      {"DeviceLocator": "DIMM3", "Capacity": null, "Speed": null, "BankLabel": "B2"}])"));
  MakeBin(s);
  getmem(s.ctx());
  EXPECT_EQ(s.model().SlotCount, 3);
  EXPECT_EQ(s.model().SimmCount, 1);
  EXPECT_EQ(s.model().Slots[0], "Slot 1   524 MB  Speed: 533 Mhz   (B0)");
  EXPECT_EQ(s.model().Slots[1], "Slot 2   Empty     (B1)");
  EXPECT_EQ(s.model().Slots[2], "Slot 3   Empty     (B2)");
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"),
            "[Memory]\r\nSlots=3\r\nSimms=1\r\nSlot1=Slot 1   524 MB  Speed: 533 Mhz   (B0)\r\n"
            "Slot2=Slot 2   Empty     (B1)\r\nSlot3=Slot 3   Empty     (B2)\r\n");
}

TEST(InventoryMemory, ModuleTooSmallForAWholeMegabyteIsAnEmptySlot) {
  SimApp s(Memory(R"([{"DeviceLocator": "X", "Capacity": 400000, "BankLabel": "B"}])"));
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "Slot 1   Empty     (B)");
  EXPECT_EQ(s.model().SimmCount, 0);
}

TEST(InventoryMemory, BankASlotThatAlreadyHoldsTextIsOnlyCounted) {
  SimApp s(Memory(R"([
      {"DeviceLocator": "A1", "Capacity": 2147483648, "Speed": 800, "BankLabel": "B0"},
      {"DeviceLocator": "B1", "Capacity": 2147483648, "Speed": 800, "BankLabel": "B1"},
      {"DeviceLocator": "A2", "Capacity": 2147483648, "Speed": 800, "BankLabel": "B2"}])"));
  s.model().Slots[0] = "from an earlier run";
  s.model().Slots[1] = "also earlier";
  getmem(s.ctx());
  EXPECT_EQ(s.model().Slots[0], "from an earlier run");
  // Not bank A: filled anew.
  EXPECT_EQ(s.model().Slots[1], "Slot 2   2 GB  Speed: 800 Mhz   (B1)");
  EXPECT_EQ(s.model().Slots[2], "Slot 3   2 GB  Speed: 800 Mhz   (B2)");
  EXPECT_EQ(s.model().SlotCount, 3);
  EXPECT_EQ(s.model().SimmCount, 2);
}

TEST(InventoryMemory, FailedQueryWritesNoSlots) {
  SimApp s(Machine("{}"));
  MakeBin(s);
  getmem(s.ctx());
  EXPECT_EQ(s.model().SlotCount, 0);
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"), "[Memory]\r\nSlots=0\r\nSimms=0\r\n");
}

// ---- the memory tool's lines

TEST(InventoryRamLines, CountPrefixIsDroppedBeforeTheCacheTest) {
  for (const char* prefix : {"1x ", "2x ", "9x ", "10x "}) {
    ServerModel m;
    TakeRamLines(m, {std::string(prefix) + "I-cache 32 Kb, 8-way"});
    EXPECT_EQ(m.CPUInfo, "\r\nLevel 132 KbI-cache 32 Kb, 8-way\r\n") << prefix;
  }
}

TEST(InventoryRamLines, OtherCountsStayButTheCacheLineIsCutToItsWord) {
  ServerModel m;
  TakeRamLines(m, {"12x I-cache 64 Kb", "0x SSE2 instructions", "11x something"});
  EXPECT_EQ(m.CPUInfo,
            "\r\nLevel 164 KbI-cache 64 Kb\r\n0x SSE2 instructions\r\n11x something\r\n");
}

TEST(InventoryRamLines, WordNotAtTheStartIsCutTo) {
  ServerModel m;
  TakeRamLines(m, {"L1 D-cache 48 Kb, 12-way"});
  EXPECT_EQ(m.CacheL1, "48 Kb");
  TakeRamLines(m, {"Level two S-cache 1024 Kb"});
  EXPECT_EQ(m.CacheL2, "1024 Kb");
  EXPECT_EQ(m.CPUInfo, "\r\nLevel 21024 KbS-cache 1024 Kb\r\n");
}

TEST(InventoryRamLines, DataCacheSetsLevelOneOnlyWhileItIsEmpty) {
  ServerModel m;
  TakeRamLines(m, {"2x D-cache 32 Kb", "2x D-cache 48 Kb"});
  EXPECT_EQ(m.CacheL1, "32 Kb");
  EXPECT_EQ(m.CacheSeen, 0);
  EXPECT_EQ(m.CPUInfo, "");
}

TEST(InventoryRamLines, InstructionCacheReplacesLevelOneAndStartsTheReportLines) {
  ServerModel m;
  TakeRamLines(m, {"Pentium II", "1x D-cache 16 Kb", "1x I-cache 8 Kb", "1x S-cache 512 Kb",
                   "MMX instructions"});
  EXPECT_EQ(m.CacheL1, "8 Kb");
  EXPECT_EQ(m.CacheL2, "512 Kb");
  EXPECT_EQ(m.CacheSeen, 1);
  EXPECT_EQ(m.CPUInfo,
            "\r\nLevel 18 KbI-cache 8 Kb\r\n\r\nLevel 2512 KbS-cache 512 Kb\r\n"
            "MMX instructions\r\n");
}

TEST(InventoryRamLines, LevelThreeComesFromTheThirdCache) {
  ServerModel m;
  TakeRamLines(m, {"1x I-cache 32 Kb", "1x T-cache 8192 Kb, 16-way"});
  EXPECT_EQ(m.CacheL3, "8192 Kb");
  EXPECT_EQ(m.CPUInfo,
            "\r\nLevel 132 KbI-cache 32 Kb\r\n\r\nLevel 38192 KbT-cache 8192 Kb, 16-way\r\n");
}

TEST(InventoryRamLines, KbIsFoundWithoutRegardToCase) {
  ServerModel m;
  TakeRamLines(m, {"D-cache 32 KB, 8-way"});
  EXPECT_EQ(m.CacheL1, "32 KB");
  ServerModel n;
  TakeRamLines(n, {"D-cache 32 kilobytes"});
  EXPECT_EQ(n.CacheL1, "");
}

TEST(InventoryRamLines, CacheLineWithoutKbKeepsTheSizeButStillGetsItsLevelLine) {
  ServerModel m;
  m.CacheL2 = "earlier";
  TakeRamLines(m, {"S-cache 2 MB"});
  EXPECT_EQ(m.CacheL2, "earlier");
  EXPECT_EQ(m.CPUInfo, "\r\nLevel 2earlierS-cache 2 MB\r\n");
}

TEST(InventoryRamLines, LineWithUnknownIsPassedOver) {
  ServerModel m;
  TakeRamLines(m, {"1x I-cache 32 Kb", "1x S-cache unknown size", "unknown feature", "AVX"});
  EXPECT_EQ(m.CacheL2, "");
  EXPECT_EQ(m.CPUInfo, "\r\nLevel 132 KbI-cache 32 Kb\r\nAVX\r\n");
}

TEST(InventoryRamLines, MmxAndSseAreFlaggedWithoutRegardToCaseEvenOnLinesPassedOver) {
  ServerModel m;
  TakeRamLines(m, {"mmx unknown"});
  EXPECT_EQ(m.HasMMX, 1);
  EXPECT_EQ(m.HasSSE, 0);
  TakeRamLines(m, {"Sse4.1"});
  EXPECT_EQ(m.HasSSE, 1);
  EXPECT_EQ(m.CPUInfo, "");
}

// ---- the second half of the report

TEST(InventoryReport, SwapLinesPrintTheirFiguresByTheGroupingPattern) {
  SimApp s(Machine(R"({"Win32_PageFileUsage": [
      {"CurrentUsage": 0, "PeakUsage": 1234567, "AllocatedBaseSize": 2048},
      {"CurrentUsage": 12, "PeakUsage": null}]})"));
  GetCPU(s.ctx());
  EXPECT_NE(s.model().CPUInfo.find("\r\nSwap File\r\n"
                                   "   Current Usage:  MB\r\n   Peak Usage: 1,234,567 MB\r\n"
                                   "   Size: 2,048 MB\r\n"
                                   "   Current Usage: 12 MB\r\n   Peak Usage:  MB\r\n"
                                   "   Size:  MB\r\n"),
            std::string::npos)
      << s.model().CPUInfo;
}

TEST(InventoryReport, DriveLinesJoinCaptionSizeTextAndMediaType) {
  SimApp s(Machine(R"({"Win32_LogicalDisk": [{"Caption": "C:", "MediaType": 12},
                                             {"Caption": "A:", "MediaType": 5},
                                             {"Caption": "Z:"}]})",
                   R"({"disks": {"c:\\": {"total": 40000000000, "free": 15500000000},
                                 "Z:\\": {"total": 5000, "free": 10}}})"));
  GetCPU(s.ctx());
  const std::string& t = s.model().CPUInfo;
  EXPECT_EQ(t.substr(t.find("HARD DRIVES")),
            "HARD DRIVES\r\n   C:Total Size: 40 GB   Available: 16 GB12\r\n"
            "   A:No Information Available at this time5\r\n"
            "   Z:Total Size: 5,000 Bytes   Available: 10 Bytes\r\n");
}

TEST(InventoryReport, SlotsWithTextAreListedByTheirNumber) {
  SimApp s(Machine("{}"));
  s.model().PhysicalMemoryText = "4,095";
  s.model().PhysicalFreeText = "1,024";
  s.model().Slots[0] = "Slot 1   2 GB  Speed: 800 Mhz   (B0)";
  s.model().Slots[2] = "Slot 3   Empty     (B2)";
  GetCPU(s.ctx());
  EXPECT_EQ(s.model().CPUInfo.rfind("PROCESSOR/MEMORY INFORMATION\r\n"
                                    "Memory   Total: 4,095   Free: 1,024\r\n"
                                    "   Slot1 : Slot 1   2 GB  Speed: 800 Mhz   (B0)\r\n"
                                    "   Slot3 : Slot 3   Empty     (B2)\r\n\r\nSwap File\r\n",
                                    0),
            0u)
      << s.model().CPUInfo;
}

TEST(InventoryReport, MissingMemoryToolLeavesTheBlockWithoutLinesAndTheFileIsStillWritten) {
  SimApp s(Machine("{}"));
  MakeBin(s);
  s.model().CPUInfo = "FIRST HALF\r\n";
  GetCPU(s.ctx());
  EXPECT_EQ(s.sim().messages, std::vector<std::string>{"File or command not found"});
  EXPECT_EQ(s.File("Bin/SystemData.txt"),
            "FIRST HALF\r\nPROCESSOR/MEMORY INFORMATION\r\nMemory   Total:    Free: \r\n"
            "\r\nSwap File\r\n\r\nPhysical Processors:    Cores: 2\r\nSpeed: \r\nSocket: \r\n"
            "HARD DRIVES\r\n");
}

TEST(InventoryReport, MemoryToolRunsFromTheBinFolderWithItsOption) {
  SimApp s(Machine("{}", R"({"commands": {"ram.exe -i": "2x I-cache 32 Kb\r\n"}})"));
  MakeBin(s);
  GetCPU(s.ctx());
  EXPECT_EQ(s.sim().commands_run, std::vector<std::string>{s.dir() + "\\Bin\\ram.exe -i"});
  EXPECT_NE(s.File("Bin/SystemData.txt").find("Socket: \r\n\r\nLevel 132 KbI-cache 32 Kb\r\n"),
            std::string::npos);
  EXPECT_EQ(s.model().DOSBox, "2x I-cache 32 Kb\r\n");
}

TEST(InventoryReport, ReportFileIsReplacedEachTime) {
  SimApp s(Machine("{}"));
  MakeBin(s);
  WriteFile(s.dir() + "/Bin/SystemData.txt", std::string(5000, 'x'));
  s.model().CPUInfo = "A\r\n";
  GetCPU(s.ctx());
  EXPECT_EQ(s.File("Bin/SystemData.txt").rfind("A\r\nPROCESSOR/MEMORY INFORMATION\r\n", 0), 0u);
  EXPECT_EQ(s.File("Bin/SystemData.txt").find('x'), std::string::npos);
}

// ---- the processor module

TEST(InventoryProcessor, LevelGivesTheTypeText) {
  const std::pair<int, const char*> levels[] = {
      {3, "Intel 80386"},   {4, "Intel 80486"},
      {5, "Intel Pentium"}, {6, "Intel Pentium Pro or Pentium II"},
      {15, "None"},         {0, "None"}};
  for (const auto& [level, text] : levels) {
    SimApp s(Machine("{}", R"({"processor": {"type": 586, "level": )" + std::to_string(level) +
                               R"(, "revision": 1793}})"));
    ReadCPUType(s.ctx());
    EXPECT_EQ(s.model().CPUDescription, std::string(text) + "Model 7, Stepping 1") << level;
    EXPECT_EQ(s.model().CPUTypeText, std::string("Type 586/") + text) << level;
  }
}

TEST(InventoryProcessor, TypeIsKeptFor386To586AndZeroOtherwise) {
  for (int type : {386, 486, 586, 8664, 2200}) {
    SimApp s(Machine("{}", R"({"processor": {"type": )" + std::to_string(type) + "}}"));
    ReadCPUType(s.ctx());
    EXPECT_EQ(s.model().CPUType, type <= 586 ? type : 0);
  }
}

TEST(InventoryProcessor, ModelAndSteppingAreTheBytesOfTheRevision) {
  SimApp s(Machine("{}", R"({"processor": {"level": 6, "revision": 65535}})"));
  ReadCPUType(s.ctx());
  EXPECT_EQ(s.model().CPUDescription, "Intel Pentium Pro or Pentium IIModel 255, Stepping 255");
}

TEST(InventoryProcessor, SpeedFromTheHardwareDescription) {
  SimApp s(Machine("{}", R"({"processor": {"mhz": 2394}})"));
  ReadCPUMHz(s.ctx());
  EXPECT_EQ(s.model().CPUMHz, "2394 MHZ");
}

TEST(InventoryProcessor, SpeedThatCannotBeReadIsZero) {
  SimApp s(Machine("{}"));
  s.model().CPUMHz = "earlier";
  ReadCPUMHz(s.ctx());
  EXPECT_EQ(s.model().CPUMHz, "0 MHZ");
}

TEST(InventoryProcessor, WmiFieldsTakeTheLastProcessorAndNullsKeepTheirValue) {
  SimApp s(Machine(R"({"Win32_Processor": [
      {"L2CacheSize": 256, "L2CacheSpeed": 2400, "LoadPercentage": 50, "Manufacturer": "A",
       "MaxClockSpeed": 1000, "Name": "First", "ProcessorType": 3},
      {"L2CacheSize": "512", "L2CacheSpeed": null, "LoadPercentage": 5, "Manufacturer": "B",
       "MaxClockSpeed": 2000, "Name": null, "ProcessorType": 3}]})"));
  ReadCPUWMI(s.ctx());
  EXPECT_EQ(s.model().L2CacheSize, 512);
  EXPECT_EQ(s.model().L2CacheSpeed, 2400);
  EXPECT_EQ(s.model().LoadPercentage, 5);
  EXPECT_EQ(s.model().CPUManufacturer, "B");
  EXPECT_EQ(s.model().MaxClockSpeed, 2000);
  EXPECT_EQ(s.model().CPUName, "First");
  EXPECT_EQ(s.model().ProcessorType, 3);
  // The report's Manufacturer is another field.
  EXPECT_EQ(s.model().Manufacturer, "");
}

TEST(InventoryProcessor, NumberPropertyThatIsNoNumberKeepsItsField) {
  SimApp s(Machine(R"({"Win32_Processor": [{"MaxClockSpeed": "fast"}]})"));
  s.model().MaxClockSpeed = 800;
  ReadCPUWMI(s.ctx());
  EXPECT_EQ(s.model().MaxClockSpeed, 800);
}

// ---- the page file

TEST(InventorySwap, FiguresAreSummedOverThePageFiles) {
  SimApp s(Machine(R"({"Win32_PageFileUsage": [
      {"CurrentUsage": 100, "PeakUsage": 300, "AllocatedBaseSize": 2048},
      {"CurrentUsage": "50", "PeakUsage": 60, "AllocatedBaseSize": 1024}]})"));
  SwapInfo(s.ctx());
  EXPECT_EQ(s.model().SwapCurrent, 150);
  EXPECT_EQ(s.model().SwapPeak, 360);
  EXPECT_EQ(s.model().SwapTotal, 3072);
  EXPECT_EQ(s.model().SwapPeakText, "Swap Peak: 360 MB");
  EXPECT_EQ(s.model().SwapText, "Swap: 150 MB");
}

TEST(InventorySwap, FiguresStartFromZeroEachTime) {
  SimApp s(Machine("{}"));
  s.model().SwapCurrent = 5;
  s.model().SwapPeak = 6;
  s.model().SwapTotal = 7;
  SwapInfo(s.ctx());
  EXPECT_EQ(s.model().SwapCurrent, 0);
  EXPECT_EQ(s.model().SwapPeak, 0);
  EXPECT_EQ(s.model().SwapTotal, 0);
  EXPECT_EQ(s.model().SwapText, "Swap: 0 MB");
}

TEST(InventorySwap, NullFigureIsLeftOutOfItsSum) {
  SimApp s(Machine(R"({"Win32_PageFileUsage": [
      {"CurrentUsage": 100, "PeakUsage": null, "AllocatedBaseSize": 2048},
      {"CurrentUsage": 20, "PeakUsage": 30, "AllocatedBaseSize": 1024}]})"));
  SwapInfo(s.ctx());
  EXPECT_EQ(s.model().SwapCurrent, 120);
  EXPECT_EQ(s.model().SwapPeak, 30);
}

// ---- the drive-size text

std::string Drive(double total, double free_bytes) {
  nlohmann::json doc = {{"disks", {{"C:\\", {{"total", total}, {"free", free_bytes}}}}}};
  SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = SimPlatform::FromText(doc.dump(), options, error);
  return sim ? DriveText(*sim, "C:\\") : error;
}

TEST(InventoryDriveText, DriveWithNoMediumGivesNoInformation) {
  SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = SimPlatform::FromText("{}", options, error);
  ASSERT_NE(sim, nullptr);
  EXPECT_EQ(DriveText(*sim, "D:\\"), "No Information Available at this time");
  EXPECT_EQ(Drive(10, 0), "No Information Available at this time");
  EXPECT_EQ(Drive(0, 0), "No Information Available at this time");
}

TEST(InventoryDriveText, ScaleFollowsTheSizeOfTheDrive) {
  EXPECT_EQ(Drive(11, 3), "Total Size: 11 Bytes   Available: 3 Bytes");
  EXPECT_EQ(Drive(9990, 9990), "Total Size: 9,990 Bytes   Available: 9,990 Bytes");
  EXPECT_EQ(Drive(9991, 500), "Total Size: 10 KB   Available: 1 KB");
  EXPECT_EQ(Drive(9990000, 0), "Total Size: 9,990 KB   Available: 0 KB");
  EXPECT_EQ(Drive(9990001, 4500000), "Total Size: 10 MB   Available: 5 MB");
  EXPECT_EQ(Drive(9990000000, 1), "Total Size: 9,990 MB   Available: 0 MB");
  EXPECT_EQ(Drive(9990000001, 2500000000), "Total Size: 10 GB   Available: 3 GB");
  EXPECT_EQ(Drive(2000396742656, 1234567890123), "Total Size: 2,000 GB   Available: 1,235 GB");
}

}  // namespace
}  // namespace tarnex::testing
