#include "inventory/system_facts.h"

#include "base/legacy.h"
#include "core/context.h"
#include "core/wmi_values.h"
#include "inventory/dos_outputs.h"
#include "inventory/processor_facts.h"

namespace tarnex {

using legacy::InStr;
using legacy::Left;
using legacy::Mid;

namespace {

struct SystemLabel {
  const char* label;  // 27 characters
  Text ServerModel::*field;
  int cut;
};

// In the order they are tried. A cut of 30 drops the value's last three
// characters (the " MB" of the memory lines); a cut of 27 keeps all of it.
const SystemLabel kLabels[] = {
    {"Product ID:                ", &ServerModel::ProductID, 30},
    {"Total Physical Memory:     ", &ServerModel::PhysicalMemoryText, 30},
    {"Available Physical Memory: ", &ServerModel::PhysicalFreeText, 30},
    {"OS Name:                   ", &ServerModel::OSName, 27},
    {"Processor(s):              ", &ServerModel::Processors, 27},
    {"System Model:              ", &ServerModel::SystemModel, 27},
    {"BIOS Version:              ", &ServerModel::BIOSVersion, 27},
    {"Input Locale:              ", &ServerModel::InputLocale, 27},
    {"System Manufacturer:       ", &ServerModel::Manufacturer, 27},
    {"Boot Device:               ", &ServerModel::BootDevice, 27},
    {"OS Version:                ", &ServerModel::OSVersion, 27},
    {"Original Install Date:     ", &ServerModel::InstallDate, 27},
    {"System Boot Time:          ", &ServerModel::BootTime, 27},
    {"Virtual Memory: Available: ", &ServerModel::VirtualFree, 27},
    {"Virtual Memory: In Use:    ", &ServerModel::VirtualUsed, 27},
};

}  // namespace

std::vector<std::string> OutputLines(const std::string& output) {
  std::vector<std::string> lines;
  for (std::string& line : legacy::Split(output, "\r\n")) {
    if (!legacy::Trim(line).empty()) lines.push_back(std::move(line));
  }
  return lines;
}

void TakeSystemLine(ServerModel& m, const std::string& line) {
  const std::string head = Left(line, 27);
  for (const SystemLabel& l : kLabels) {
    if (head != l.label) continue;
    // The value is Mid(line, 28, Len(line) - cut). A line too short for its
    // cut asks for a negative length, which fails: the field keeps its value.
    const int64_t length = static_cast<int64_t>(line.size()) - l.cut;
    if (length >= 0) m.*l.field = Mid(line, 28, length);
    return;
  }
}

void TakeSystemLines(ServerModel& m, const std::vector<std::string>& lines) {
  if (lines.size() < 11) return;
  for (const std::string& line : lines) TakeSystemLine(m, line);
}

std::string OSWordOf(const std::string& os_name) {
  for (const char* word :
       {"Windows 8", "Windows 7", "Vista", "2012", "2008", "XP", "2003", "2000"}) {
    if (InStr(os_name, word, true) > 0) return word;
  }
  return {};
}

void GetSYS(Context& ctx) {
  ServerModel& m = ctx.model();
  Platform& platform = ctx.platform();

  // 1. The command runner; its blocks go to DOSBox.
  DOSOutputs objDOSD(ctx);
  objDOSD.ReceiveOutputs = [&m](const std::string& text) { m.DOSBox += text; };

  // 2.
  const std::string win_dir = platform.Environment("WinDir");
  m.DOSBox.clear();
  m.List1.clear();

  // 3. Use64 is never set, so the System32 program is the one that runs.
  const std::string command =
      win_dir + (m.Use64 != 0 ? "\\Syswow64\\Systeminfo.exe" : "\\System32\\Systeminfo.exe");

  // 4. The report's lines, events let in after each.
  objDOSD.ExecuteCommand(command);
  for (std::string& line : OutputLines(m.DOSBox)) {
    m.List1.push_back(std::move(line));
    ctx.Yield();
  }

  // 5, 6.
  TakeSystemLines(m, m.List1);
  m.Processors = Left(m.Processors, 1);

  // 7. A report without a boot time: the activation file's date stands in.
  if (m.BootTime.empty()) {
    if (auto modified = platform.Fs().Modified(win_dir + "\\system32\\wpa.dbl")) {
      m.BootTime = legacy::DateTimeText(*modified);
    }
  }
  // 8. The boot time is taken as a date for the up time, but that date is not
  // kept, so nothing follows from it here.

  // 9.
  if (const std::string word = OSWordOf(m.OSName); !word.empty()) m.OSWord = word;

  // 10. The first two blocks of the report.
  m.CPUInfo = "OPERATING SYSTEM\r\n";
  m.CPUInfo += "OS: " + m.OSName + "\r\n";
  m.CPUInfo += "ID: " + m.ProductID + "\r\n";
  m.CPUInfo += "Version: " + m.OSVersion + "\r\n";
  m.CPUInfo += "ID: " + m.ProductID + "\r\n";
  m.CPUInfo += "Installed: " + m.InstallDate + "\r\n";
  m.CPUInfo += "\r\n";
  m.CPUInfo += "SYSTEM\r\n";
  m.CPUInfo += "Mother Board: " + m.SystemModel + "\r\n";
  m.CPUInfo += "Manufacture: " + m.Manufacturer + "\r\n";
  m.CPUInfo += "Bios Version: " + m.BIOSVersion + "\r\n";
  m.CPUInfo += "\r\n";

  // 11. The processor; with several, the last one stays.
  std::vector<WmiRow> rows;
  platform.QueryWmi("Select * from Win32_Processor", rows);
  for (const WmiRow& row : rows) {
    TakeText(row.Get("Name"), m.ProcessorName);
    m.ProcessorSpeed = WmiText(row.Get("MaxClockSpeed")) + " MHz";
    TakeText(row.Get("SocketDesignation"), m.ProcessorSocket);
  }

  // 12.
  m.ProcessorNumber = Left(m.ProcessorNumber, 1);

  // 13. MemoryTotal is filled by no step, so these keys keep what they hold.
  if (!m.MemoryTotal.empty()) {
    ctx.INIWrite(Context::kSettingsFile, "Processor", "Name", m.ProcessorName);
    ctx.INIWrite(Context::kSettingsFile, "Processor", "Speed", m.ProcessorSpeed);
    ctx.INIWrite(Context::kSettingsFile, "Processor", "Sock", m.ProcessorSocket);
    ctx.INIWrite(Context::kSettingsFile, "Processor", "Number", m.ProcessorNumber);
    ctx.INIWrite(Context::kSettingsFile, "Processor", "Cores",
                 platform.Environment("NUMBER_OF_PROCESSORS"));
    ctx.INIWrite(Context::kSettingsFile, "Memory", "Total", m.MemoryTotal);
    ctx.INIWrite(Context::kSettingsFile, "Memory", "Free", m.PhysicalFreeText);
  }

  // 14.
  getmem(ctx);
  GetCPU(ctx);
}

}  // namespace tarnex
