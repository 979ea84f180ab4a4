#include "inventory/processor_facts.h"

#include "base/legacy.h"
#include "core/context.h"
#include "core/drive_text.h"
#include "core/wmi_values.h"
#include "inventory/dos_outputs.h"
#include "inventory/system_facts.h"

namespace tarnex {

using legacy::Format;
using legacy::InStr;
using legacy::Left;
using legacy::Mid;
using legacy::Str;
using legacy::Val;

namespace {

// A property printed by a pattern; a null or a text that is no number prints
// nothing.
std::string FormatValue(const WmiValue& value, const char* pattern) {
  const auto n = WmiNumber(value);
  return n ? Format(*n, pattern) : std::string();
}

std::vector<WmiRow> Query(Context& ctx, const char* query) {
  std::vector<WmiRow> rows;
  ctx.platform().QueryWmi(query, rows);
  return rows;
}

// A cache line cut so that it begins at its word, unless the word stands at
// the start already.
void CutToWord(std::string& line, const char* word) {
  const int64_t at = InStr(line, word);
  if (at > 1) line = Mid(line, at);
}

// The size of a cache with its unit: the line up to and including "Kb" (found
// without regard to case), from its 9th character on, which drops the word
// and its blank. False when the line has no "Kb".
bool CacheSize(const std::string& line, std::string& size) {
  const int64_t kb = InStr(line, "Kb", true);
  if (kb == 0) return false;
  size = Mid(Left(line, kb + 1), 9);
  return true;
}

}  // namespace

void getmem(Context& ctx) {
  ServerModel& m = ctx.model();
  const std::vector<WmiRow> rows = Query(ctx, "Select * from Win32_PhysicalMemory");
  m.SlotCount = 0;
  m.SimmCount = 0;
  for (const WmiRow& row : rows) {
    const size_t index = static_cast<size_t>(m.SlotCount);
    const bool in_range = index < m.Slots.size();
    // A bank "A" slot that already holds text (from an earlier run) is only
    // counted.
    if (Left(WmiText(row.Get("DeviceLocator")), 1) == "A" && in_range && !m.Slots[index].empty()) {
      ++m.SlotCount;
      continue;
    }
    // An empty slot has no capacity, and so no megabytes.
    const auto bytes = WmiNumber(row.Get("Capacity"));
    const std::string mega = bytes ? Format(*bytes / 1024000, "#") : std::string();
    const std::string label = "Slot " + Str(m.SlotCount + 1) + "   ";
    const std::string bank = WmiText(row.Get("BankLabel"));
    const std::string tail = "  Speed: " + WmiText(row.Get("Speed")) + " Mhz   (" + bank + ")";
    std::string text;
    if (Val(mega) > 1000) {
      ++m.SimmCount;
      text = label + Format(*bytes / 1024000000, "#,###") + " GB" + tail;
    } else if (!mega.empty()) {
      ++m.SimmCount;
      text = label + Format(*bytes / 1024000, "#,###") + " MB" + tail;
    } else {
      text = label + "Empty     (" + bank + ")";
    }
    if (in_range) m.Slots[index] = text;
    ++m.SlotCount;
  }
  ctx.INIWrite(Context::kSettingsFile, "Memory", "Slots", Str(m.SlotCount));
  ctx.INIWrite(Context::kSettingsFile, "Memory", "Simms", Str(m.SimmCount));
  for (int32_t n = 1; n <= m.SlotCount && n <= static_cast<int32_t>(m.Slots.size()); ++n) {
    ctx.INIWrite(Context::kSettingsFile, "Memory", "Slot" + Str(n),
                 m.Slots[static_cast<size_t>(n - 1)]);
  }
}

void TakeRamLines(ServerModel& m, const std::vector<std::string>& lines) {
  for (std::string line : lines) {
    if (InStr(line, "MMX", true) > 0) m.HasMMX = 1;
    if (InStr(line, "SSE", true) > 0) m.HasSSE = 1;
    // The count in front ("2x ", "10x ") goes.
    if (line.size() >= 2 && line[0] >= '1' && line[0] <= '9' && line[1] == 'x') {
      line = Mid(line, 4);
    } else if (Left(line, 3) == "10x") {
      line = Mid(line, 5);
    }
    if (InStr(line, "unknown") > 0) continue;
    if (InStr(line, "D-cache") > 0) {
      CutToWord(line, "D-cache");
      if (m.CacheL1.empty()) CacheSize(line, m.CacheL1);
    }
    if (InStr(line, "I-cache") > 0) {
      CutToWord(line, "I-cache");
      m.CacheSeen = 1;
      CacheSize(line, m.CacheL1);
      m.CPUInfo += "\r\nLevel 1" + m.CacheL1;
    }
    if (InStr(line, "S-cache") > 0) {
      CutToWord(line, "S-cache");
      m.CacheSeen = 1;
      CacheSize(line, m.CacheL2);
      m.CPUInfo += "\r\nLevel 2" + m.CacheL2;
    }
    if (InStr(line, "T-cache") > 0) {
      CutToWord(line, "T-cache");
      m.CacheSeen = 1;
      CacheSize(line, m.CacheL3);
      m.CPUInfo += "\r\nLevel 3" + m.CacheL3;
    }
    if (m.CacheSeen == 1) m.CPUInfo += line + "\r\n";
  }
}

void GetCPU(Context& ctx) {
  ServerModel& m = ctx.model();
  Platform& platform = ctx.platform();
  std::string& t = m.CPUInfo;

  // 1.
  m.DOSBox.clear();
  m.List1.clear();

  // 2 to 4. Memory and its slots.
  t += "PROCESSOR/MEMORY INFORMATION\r\n";
  t += "Memory   Total: " + m.PhysicalMemoryText + "   Free: " + m.PhysicalFreeText + "\r\n";
  for (size_t i = 0; i < m.Slots.size(); ++i) {
    if (!m.Slots[i].empty())
      t += "   Slot" + Str(static_cast<double>(i + 1)) + " : " + m.Slots[i] + "\r\n";
  }

  // 5. The page files.
  t += "\r\nSwap File\r\n";
  for (const WmiRow& row : Query(ctx, "Select * from Win32_PageFileUsage")) {
    t += "   Current Usage: " + FormatValue(row.Get("CurrentUsage"), "#,###") + " MB\r\n";
    t += "   Peak Usage: " + FormatValue(row.Get("PeakUsage"), "#,###") + " MB\r\n";
    t += "   Size: " + FormatValue(row.Get("AllocatedBaseSize"), "#,###") + " MB\r\n";
  }

  // 6 to 8. The processor.
  t += m.ProcessorName + "\r\n";
  t += "Physical Processors: " + m.ProcessorNumber +
       "   Cores: " + platform.Environment("NUMBER_OF_PROCESSORS") + "\r\n";
  t += "Speed: " + m.ProcessorSpeed + "\r\n";
  t += "Socket: " + m.ProcessorSocket + "\r\n";

  // 9, 10. The memory tool's caches and features.
  DOSOutputs objDOSD(ctx);
  objDOSD.ReceiveOutputs = [&m](const std::string& text) { m.DOSBox += text; };
  objDOSD.ExecuteCommand(m.AppPath + "\\Bin\\ram.exe -i");
  TakeRamLines(m, OutputLines(m.DOSBox));

  // 11. The drives.
  t += "HARD DRIVES\r\n";
  for (const WmiRow& row : Query(ctx, "Select * from Win32_LogicalDisk")) {
    const std::string caption = WmiText(row.Get("Caption"));
    t += "   " + caption + DriveText(platform, caption + "\\") + WmiText(row.Get("MediaType")) +
         "\r\n";
  }

  // 12.
  platform.Fs().WriteAll(m.AppPath + "\\Bin\\SystemData.txt", t);
}

void ReadCPUType(Context& ctx) {
  ServerModel& m = ctx.model();
  const Platform::ProcessorInfo info = ctx.platform().SystemProcessor();
  m.CPUType = info.type == 386 || info.type == 486 || info.type == 586
                  ? static_cast<int32_t>(info.type)
                  : 0;
  const char* level = "None";
  switch (info.level) {
    case 3:
      level = "Intel 80386";
      break;
    case 4:
      level = "Intel 80486";
      break;
    case 5:
      level = "Intel Pentium";
      break;
    case 6:
      level = "Intel Pentium Pro or Pentium II";
      break;
    default:
      break;
  }
  const int model = info.revision >> 8;
  const int stepping = info.revision & 0xFF;
  m.CPUDescription = std::string(level) + "Model " + Str(model) + ", Stepping " + Str(stepping);
  m.CPUTypeText = "Type " + Str(m.CPUType) + "/" + level;
}

void ReadCPUMHz(Context& ctx) {
  // A value that cannot be read leaves the number at 0.
  uint32_t mhz = 0;
  ctx.platform().ProcessorMHz(mhz);
  ctx.model().CPUMHz = Str(mhz) + " MHZ";
}

void ReadCPUWMI(Context& ctx) {
  ServerModel& m = ctx.model();
  ReadCPUType(ctx);
  ReadCPUMHz(ctx);
  // With several processors the last one's properties stay.
  for (const WmiRow& row : Query(ctx, "Select * from Win32_Processor")) {
    TakeNumber(row.Get("L2CacheSize"), m.L2CacheSize);
    TakeNumber(row.Get("L2CacheSpeed"), m.L2CacheSpeed);
    TakeNumber(row.Get("LoadPercentage"), m.LoadPercentage);
    TakeText(row.Get("Manufacturer"), m.CPUManufacturer);
    TakeNumber(row.Get("MaxClockSpeed"), m.MaxClockSpeed);
    TakeText(row.Get("Name"), m.CPUName);
    TakeNumber(row.Get("ProcessorType"), m.ProcessorType);
  }
}

void SwapInfo(Context& ctx) {
  ServerModel& m = ctx.model();
  m.SwapCurrent = 0;
  m.SwapPeak = 0;
  m.SwapTotal = 0;
  // A property that is no number fails its sum, which keeps the figure.
  for (const WmiRow& row : Query(ctx, "Select * from Win32_PageFileUsage")) {
    if (auto n = WmiNumber(row.Get("CurrentUsage"))) m.SwapCurrent += *n;
    if (auto n = WmiNumber(row.Get("PeakUsage"))) m.SwapPeak += *n;
    if (auto n = WmiNumber(row.Get("AllocatedBaseSize"))) m.SwapTotal += *n;
  }
  m.SwapPeakText = "Swap Peak: " + Str(m.SwapPeak) + " MB";
  m.SwapText = "Swap: " + Str(m.SwapCurrent) + " MB";
}

}  // namespace tarnex
