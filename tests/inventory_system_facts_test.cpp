// The system facts: the report's parser, the operating system word, the
// first two blocks of the report and the processor from WMI.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <filesystem>

#include <nlohmann/json.hpp>
#include "base/legacy.h"
#include "inventory/system_facts.h"

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

// A line of the report: the label padded to 27 characters, then the value.
std::string Line(const std::string& label, const std::string& value) {
  std::string line = label;
  line.resize(27, ' ');
  return line + value;
}

// Ten lines that match no label, to bring a report up to a given length.
std::vector<std::string> Filler(size_t count) {
  std::vector<std::string> lines;
  for (size_t i = 0; i < count; ++i) lines.push_back(Line("Hotfix(s):", std::to_string(i)));
  return lines;
}

std::vector<std::string> WithFiller(std::vector<std::string> lines, size_t total) {
  for (auto& l : Filler(total > lines.size() ? total - lines.size() : 0)) lines.push_back(l);
  return lines;
}

// A scenario whose Systeminfo.exe prints `lines` (CR LF after each).
std::string ScenarioWith(const std::vector<std::string>& lines, const std::string& extra = "") {
  std::string text;
  for (const auto& l : lines) text += l + "\r\n";
  nlohmann::json doc = {{"start", "2012-11-14 10:00:00"},
                        {"env", {{"WinDIR", "C:\\Windows"}, {"COMPUTERNAME", "SRV1"}}},
                        {"commands", {{"Systeminfo.exe", text}, {"ram.exe -i", ""}}}};
  if (!extra.empty()) doc.update(nlohmann::json::parse(extra));
  return doc.dump();
}

TEST(InventorySystemFacts, OSNameHolding2008AndNoEarlierWordGives2008) {
  EXPECT_EQ(OSWordOf("Microsoft Windows Server 2008 R2 Standard"), "2008");
}

TEST(InventorySystemFacts, OSNameHoldingWindows7And2008GivesWindows7ByTheListOrder) {
  EXPECT_EQ(OSWordOf("Microsoft Windows 7 Ultimate (2008 edition)"), "Windows 7");
  EXPECT_EQ(OSWordOf("2008 and Windows 7"), "Windows 7");
}

TEST(InventorySystemFacts, OSWordIsFoundWithoutRegardToCase) {
  EXPECT_EQ(OSWordOf("Microsoft windows xp Professional"), "XP");
  EXPECT_EQ(OSWordOf("WINDOWS VISTA BUSINESS"), "Vista");
  EXPECT_EQ(OSWordOf("Windows Server 2012 Standard"), "2012");
  EXPECT_EQ(OSWordOf("Microsoft Windows 8 Pro"), "Windows 8");
  EXPECT_EQ(OSWordOf("Windows Server 2003"), "2003");
  EXPECT_EQ(OSWordOf("Windows 2000 Server"), "2000");
  EXPECT_EQ(OSWordOf("Debian GNU/Linux 12 (bookworm)"), "");
}

TEST(InventorySystemFacts, NoWordFoundLeavesTheOSWordAsItWas) {
  SimApp s(ScenarioWith(WithFiller({Line("OS Name:", "Debian GNU/Linux 12 (bookworm)")}, 11)));
  s.model().OSWord = "earlier";
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().OSName, "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(s.model().OSWord, "earlier");
}

TEST(InventorySystemFacts, ProcessorsValueBeginningWith10KeepsOnlyThe1) {
  SimApp s(ScenarioWith(WithFiller({Line("Processor(s):", "10 Processor(s) Installed.")}, 11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().Processors, "1");
}

TEST(InventorySystemFacts, IdLineStandsTwiceInTheReportBothWithTheProductId) {
  SimApp s(ScenarioWith(WithFiller({Line("Product ID:", "55041-007-1234567-86543"),
                                    Line("OS Version:", "5.2.3790 Service Pack 2 Build 3790")},
                                   11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().CPUInfo.rfind("OPERATING SYSTEM\r\nOS: \r\nID: 55041-007-1234567-86\r\n"
                                    "Version: 5.2.3790 Service Pack 2 Build 3790\r\n"
                                    "ID: 55041-007-1234567-86\r\nInstalled: \r\n\r\n",
                                    0),
            0u)
      << s.model().CPUInfo;
}

TEST(InventorySystemFacts, FewerThanElevenLinesAreNotTakenAtAll) {
  ServerModel m;
  const auto lines = WithFiller({Line("OS Name:", "Windows"), Line("System Model:", "R410")}, 10);
  ASSERT_EQ(lines.size(), 10u);
  TakeSystemLines(m, lines);
  EXPECT_EQ(m.OSName, "");
  EXPECT_EQ(m.SystemModel, "");
}

TEST(InventorySystemFacts, ElevenLinesAreTaken) {
  ServerModel m;
  const auto lines = WithFiller({Line("OS Name:", "Windows"), Line("System Model:", "R410")}, 11);
  TakeSystemLines(m, lines);
  EXPECT_EQ(m.OSName, "Windows");
  EXPECT_EQ(m.SystemModel, "R410");
}

TEST(InventorySystemFacts, ShortReportThroughTheProgramLeavesTheFieldsEmpty) {
  // Ten lines that are not blank; the blank ones do not count.
  std::vector<std::string> lines = WithFiller({Line("OS Name:", "Windows")}, 10);
  lines.insert(lines.begin() + 3, "   ");
  lines.insert(lines.begin(), "");
  SimApp s(ScenarioWith(lines));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().OSName, "");
  EXPECT_EQ(s.model().CPUInfo.rfind("OPERATING SYSTEM\r\nOS: \r\n", 0), 0u);
}

TEST(InventorySystemFacts, LabelOneCharacterShortDoesNotMatch) {
  ServerModel m;
  // "OS Name:" padded to 26: the value starts in column 27.
  TakeSystemLine(m, "OS Name:                  Windows");
  EXPECT_EQ(m.OSName, "");
  TakeSystemLine(m, "OS Name:                   Windows");
  EXPECT_EQ(m.OSName, "Windows");
}

TEST(InventorySystemFacts, LineShorterThanTheLabelDoesNotMatch) {
  ServerModel m;
  TakeSystemLine(m, "OS Name:");
  TakeSystemLine(m, "OS Name:                  ");
  EXPECT_EQ(m.OSName, "");
  m.OSName = "kept";
  TakeSystemLine(m, "OS Name:     ");
  EXPECT_EQ(m.OSName, "kept");
}

TEST(InventorySystemFacts, LabelsAreComparedWithTheirCase) {
  ServerModel m;
  TakeSystemLine(m, Line("os name:", "Windows"));
  EXPECT_EQ(m.OSName, "");
}

TEST(InventorySystemFacts, CutThirtyDropsTheLastThreeCharactersAndCutTwentySevenKeepsAll) {
  ServerModel m;
  TakeSystemLine(m, Line("Total Physical Memory:", "2,047 MB"));
  TakeSystemLine(m, Line("Available Physical Memory:", "1,114 MB"));
  TakeSystemLine(m, Line("Product ID:", "69713-640-9722366-45198"));
  TakeSystemLine(m, Line("Virtual Memory: Available:", "3,550 MB"));
  TakeSystemLine(m, Line("Virtual Memory: In Use:", "1,108 MB"));
  EXPECT_EQ(m.PhysicalMemoryText, "2,047");
  EXPECT_EQ(m.PhysicalFreeText, "1,114");
  EXPECT_EQ(m.ProductID, "69713-640-9722366-45");
  EXPECT_EQ(m.VirtualFree, "3,550 MB");
  EXPECT_EQ(m.VirtualUsed, "1,108 MB");
}

TEST(InventorySystemFacts, CutThirtyOnAValueOfThreeCharactersOrFewer) {
  ServerModel m;
  TakeSystemLine(m, Line("Total Physical Memory:", " MB"));
  EXPECT_EQ(m.PhysicalMemoryText, "");
  // Two characters: a negative length fails and the field keeps its value.
  m.PhysicalMemoryText = "kept";
  TakeSystemLine(m, Line("Total Physical Memory:", "MB"));
  EXPECT_EQ(m.PhysicalMemoryText, "kept");
  TakeSystemLine(m, Line("Total Physical Memory:", ""));
  EXPECT_EQ(m.PhysicalMemoryText, "kept");
}

TEST(InventorySystemFacts, EveryLabelFillsItsField) {
  ServerModel m;
  const std::pair<const char*, Text ServerModel::*> cut27[] = {
      {"OS Name:", &ServerModel::OSName},
      {"Processor(s):", &ServerModel::Processors},
      {"System Model:", &ServerModel::SystemModel},
      {"BIOS Version:", &ServerModel::BIOSVersion},
      {"Input Locale:", &ServerModel::InputLocale},
      {"System Manufacturer:", &ServerModel::Manufacturer},
      {"Boot Device:", &ServerModel::BootDevice},
      {"OS Version:", &ServerModel::OSVersion},
      {"Original Install Date:", &ServerModel::InstallDate},
      {"System Boot Time:", &ServerModel::BootTime},
      {"Virtual Memory: Available:", &ServerModel::VirtualFree},
      {"Virtual Memory: In Use:", &ServerModel::VirtualUsed}};
  for (const auto& [label, field] : cut27) {
    TakeSystemLine(m, Line(label, std::string("value of ") + label));
    EXPECT_EQ(m.*field, std::string("value of ") + label);
  }
  TakeSystemLine(m, Line("Virtual Memory: Max Size:", "9,999 MB"));
  EXPECT_EQ(m.VirtualFree, "value of Virtual Memory: Available:");
}

TEST(InventorySystemFacts, CommaInTheBootTimeStaysInTheField) {
  SimApp s(ScenarioWith(WithFiller({Line("System Boot Time:", "11/13/2012, 7:02:41 AM")}, 11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().BootTime, "11/13/2012, 7:02:41 AM");
}

TEST(InventorySystemFacts, MissingBootTimeTakesTheDateOfTheActivationFile) {
  const std::string windows = MakeTempDir();
  std::filesystem::create_directories(windows + "/System32");
  WriteFile(windows + "/System32/WPA.DBL", "x");
  // 5 Jan 2011 14:03:09 local time.
  struct tm local {};
  local.tm_year = 111;
  local.tm_mon = 0;
  local.tm_mday = 5;
  local.tm_hour = 14;
  local.tm_min = 3;
  local.tm_sec = 9;
  local.tm_isdst = -1;
  struct utimbuf times {};
  times.actime = times.modtime = mktime(&local);
  ASSERT_EQ(utime((windows + "/System32/WPA.DBL").c_str(), &times), 0);
  nlohmann::json doc = nlohmann::json::parse(ScenarioWith(Filler(11)));
  doc["env"]["WinDIR"] = windows;
  SimApp s(doc.dump());
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().BootTime, "1/5/2011 2:03:09 PM");
  std::filesystem::remove_all(windows);
}

TEST(InventorySystemFacts, MissingBootTimeAndNoActivationFileLeavesItEmpty) {
  SimApp s(ScenarioWith(Filler(11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().BootTime, "");
}

TEST(InventorySystemFacts, ProgramRunIsTheSystem32OneUnlessUse64IsSet) {
  SimApp s(ScenarioWith(Filler(11)));
  GetSYS(s.ctx());
  ASSERT_FALSE(s.sim().commands_run.empty());
  EXPECT_EQ(s.sim().commands_run.front(), "C:\\Windows\\System32\\Systeminfo.exe");
  s.model().Use64 = 1;
  GetSYS(s.ctx());
  EXPECT_EQ(s.sim().commands_run[2], "C:\\Windows\\Syswow64\\Systeminfo.exe");
}

TEST(InventorySystemFacts, LinesAreSplitAtCrLfAndBlankOnesLeftOut) {
  EXPECT_EQ(OutputLines("\r\na\r\n  \r\n b \r\n\r\nc"),
            (std::vector<std::string>{"a", " b ", "c"}));
  EXPECT_TRUE(OutputLines("").empty());
  // A lone line feed does not end a line.
  EXPECT_EQ(OutputLines("a\nb\r\n"), (std::vector<std::string>{"a\nb"}));
}

TEST(InventorySystemFacts, LastProcessorOfWmiStays) {
  SimApp s(ScenarioWith(Filler(11), R"({"wmi": {"Win32_Processor": [
      {"Name": "First", "MaxClockSpeed": 1000, "SocketDesignation": "CPU1"},
      {"Name": "Second", "MaxClockSpeed": 2000, "SocketDesignation": "CPU2"}]}})"));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().ProcessorName, "Second");
  EXPECT_EQ(s.model().ProcessorSpeed, "2000 MHz");
  EXPECT_EQ(s.model().ProcessorSocket, "CPU2");
}

TEST(InventorySystemFacts, NullProcessorPropertiesKeepTheirFieldsButTheSpeedGetsItsUnit) {
  SimApp s(ScenarioWith(Filler(11), R"({"wmi": {"Win32_Processor": [
      {"Name": null, "MaxClockSpeed": null}]}})"));
  s.model().ProcessorName = "before";
  s.model().ProcessorSocket = "socket";
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().ProcessorName, "before");
  EXPECT_EQ(s.model().ProcessorSpeed, " MHz");
  EXPECT_EQ(s.model().ProcessorSocket, "socket");
}

TEST(InventorySystemFacts, FailedProcessorQueryLeavesTheFieldsEmpty) {
  SimApp s(ScenarioWith(Filler(11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().ProcessorName, "");
  EXPECT_EQ(s.model().ProcessorSpeed, "");
  EXPECT_EQ(s.model().ProcessorSocket, "");
}

TEST(InventorySystemFacts, ProcessorNumberIsCutToItsFirstCharacter) {
  SimApp s(ScenarioWith(Filler(11)));
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().ProcessorNumber, "");
  s.model().ProcessorNumber = "24";
  GetSYS(s.ctx());
  EXPECT_EQ(s.model().ProcessorNumber, "2");
}

TEST(InventorySystemFacts, ProcessorAndMemoryKeysAreNotWrittenWhileMemoryTotalIsEmpty) {
  SimApp s(ScenarioWith(Filler(11)));
  std::filesystem::create_directory(s.dir() + "/Bin");
  WriteFile(s.dir() + "/Bin/Tarnex.Tnx", "[Processor]\r\nName=Old\r\n");
  GetSYS(s.ctx());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"),
            "[Processor]\r\nName=Old\r\n[Memory]\r\nSlots=0\r\nSimms=0\r\n");
}

TEST(InventorySystemFacts, ProcessorAndMemoryKeysAreWrittenOnceMemoryTotalHoldsText) {
  SimApp s(ScenarioWith(WithFiller({Line("Available Physical Memory:", "1,114 MB")}, 11),
                        R"({"env": {"WinDIR": "C:\\Windows", "NUMBER_OF_PROCESSORS": "4"},
          "wmi": {"Win32_Processor": [{"Name": "Xeon", "MaxClockSpeed": 2400,
                                       "SocketDesignation": "CPU1"}]}})"));
  std::filesystem::create_directory(s.dir() + "/Bin");
  s.model().MemoryTotal = "2,047";
  GetSYS(s.ctx());
  EXPECT_EQ(s.File("Bin/Tarnex.Tnx"),
            "[Processor]\r\nName=Xeon\r\nSpeed=2400 MHz\r\nSock=CPU1\r\nNumber=\r\nCores=4\r\n"
            "[Memory]\r\nTotal=2,047\r\nFree=1,114\r\nSlots=0\r\nSimms=0\r\n");
}

}  // namespace
}  // namespace tarnex::testing
