#include "core/figures.h"

#include "base/legacy.h"
#include "core/texts.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;
using legacy::Str;
using legacy::Val;

void Plot(History& history, int32_t value) {
  if (history.empty()) return;
  for (size_t i = 0; i + 1 < history.size(); ++i) history[i] = history[i + 1];
  history.back() = value;
}

void CPUAver(Context& ctx, const std::string& sample) {
  auto& m = ctx.model();
  m.CAver1.push_back(sample);
  if (m.CAver1.size() < 60) {
    m.CPULastMin = m.LastMinText.empty() ? "Data < 60 (" + std::to_string(m.CAver1.size()) + ")"
                                         : "CPU Last Min = " + m.LastMinText;
    return;
  }
  double sum = 0;
  for (const auto& s : m.CAver1) sum += Val(s);
  const double minute = sum / 60;
  m.LastMinText = Format(minute, "#") + "%";
  m.CAver2.push_back(Format(minute, "#"));
  m.CAver1.clear();
  m.CPULastMin = "CPU Last Min = " + Format(minute, "#.0") + "%";

  if (m.CAver2.size() == 60) {
    sum = 0;
    for (const auto& s : m.CAver2) sum += Val(s);
    const double hour = sum / 60;
    m.LastHourText = Format(hour, "#") + "%";
    m.CAver3.push_back(Format(hour, "#"));
    m.CHours.push_back(legacy::FormatDate(ctx.Now(), "hh") + "00");
    m.CAver2.clear();
    m.CPULastHR = "CPU Last Hr = " + Format(hour, "#.0") + "%";
  } else {
    m.CPULastHR = m.LastHourText.empty() ? "Data < 60 (" + std::to_string(m.CAver2.size()) + ")"
                                         : "CPU Last Hr = " + m.LastHourText;
  }

  if (m.CAver3.size() == 24) {
    sum = 0;
    for (const auto& s : m.CAver3) sum += Val(s);
    m.CAver3.erase(m.CAver3.begin());
    if (!m.CHours.empty()) m.CHours.erase(m.CHours.begin());
    m.CPULast24 = "CPU 24 Hrs = " + Format(sum / 24, "#.0") + "%";
  } else {
    m.CPULast24 = "Data < 24 (" + std::to_string(m.CAver3.size()) + ")";
  }
}

void ReadProcessor(Context& ctx) {
  auto& m = ctx.model();
  m.CPUUsage = Format(ctx.ReadCounter(m.hCPUUsage), "0.0");
  // Through format "#": a speed of 0 gives the empty text, which a number
  // cannot take, so the speed keeps its last value.
  if (const std::string speed = Format(ctx.ReadCounter(m.hCPUSpeed), "#"); !speed.empty()) {
    m.CPUSpeed = Val(speed);
  }
  m.DPCQueued = Format(ctx.ReadCounter(m.hDPCQueued), "0");
  m.Interrupts = Format(ctx.ReadCounter(m.hInterrupts), "0");
  m.DPCPercent = Format(ctx.ReadCounter(m.hDPCPercent), "0");
  m.CPUPrivilege = Format(ctx.ReadCounter(m.hCPUPrivilege), "0");
  m.CPUInterrupt = Format(ctx.ReadCounter(m.hCPUInterrupt), "0");
  if (m.CPUSpeed < 100) m.CPUSpeed = m.MaxClockSpeed;
}

void ShowProcessor(Context& ctx) {
  auto& m = ctx.model();
  if (const double processors = Val(m.ProcessorCount); processors != 0) {
    m.Label32 = Format(Val(m.CPUInterrupt) / processors, "0.0") + "%";
  }
  m.CPUMHZ = Str(m.CPUSpeed) + " MHz";
  Plot(m.picGraph0, static_cast<int32_t>(legacy::CLng(Val(m.CPUUsage))));
  m.cpu1 = m.CPUUsage + "%";
  CPUAver(ctx, m.CPUUsage);
}

void ShowInterrupts(Context& ctx) {
  auto& m = ctx.model();
  m.Label77 = "Interrupts: " + m.Interrupts + " Sec";
  if (m.Interrupts != m.DPCPercent) {
    m.Label22 = "DPC Queue: " + m.DPCQueued + " Sec";
    m.Label23 = "DPC: " + m.DPCPercent + "%";
  } else {
    m.DPCQueued = "-1";
    m.DPCPercent = "-1";
    m.Label22.clear();
    m.Label23.clear();
  }
}

void ReadObjects(Context& ctx) {
  auto& m = ctx.model();
  m.ProcessCount = ctx.ReadCounter(m.hProcessCount);
  m.procnum = "Processes: " + Str(m.ProcessCount);
  m.ThreadCount = ctx.ReadCounter(m.hThreadCount);
  m.procnumb = "Threads: " + FN(m.ThreadCount);
  m.HandleCount = ctx.ReadCounter(m.hHandleCount);
  m.Label39 = "Handles: " + FN(m.HandleCount);
  m.UpTimeText = UpTimeText(ctx.ReadCounter(m.hUpTime));
  m.Label38 = "Up Time: " + m.UpTimeText;
  m.ContextSwitches = ctx.ReadCounter(m.hContextSwitches);
  m.Label36 = "Contect Switches: " + FN(m.ContextSwitches);
  m.SystemCalls = ctx.ReadCounter(m.hSystemCalls);
  m.SystemCallsText = "System Calls: " + FN(m.SystemCalls);
}

void ReadMemory(Context& ctx) {
  auto& m = ctx.model();
  m.PageFaults = ctx.ReadCounter(m.hPageFaults);
  m.Label30 = "Page Faults: " + FN(m.PageFaults) + " Sec";
  m.MemAvailable = ctx.ReadCounter(m.hMemAvailable);
  m.free = "Free MEM: " + FN(m.MemAvailable / 1000000) + " MB";
  m.MemCommitted = ctx.ReadCounter(m.hMemCommitted);
  m.used = "Used MEM: " + FN(m.MemCommitted / 1000000) + " MB";
  if (m.TotalMemory == 0) m.TotalMemory = m.MemCommitted + m.MemAvailable;
  m.PageReads = ctx.ReadCounter(m.hPageReads);
  m.Label29 = "Page Reads: " + FN(m.PageReads) + " Sec";
  m.PageWrites = ctx.ReadCounter(m.hPageWrites);
  m.Label28 = "Page Writes: " + FN(m.PageWrites) + " Sec";
  m.CacheBytes = ctx.ReadCounter(m.hCacheBytes);
  m.CachePeak = ctx.ReadCounter(m.hCachePeak);
  m.Label42 = "Cache B/P: " + FN(m.CacheBytes / 1000000) + "/" + FN(m.CachePeak / 1000000) + "MB";
  // The pools are read later in the cycle: this line shows the last cycle's.
  m.Label41 = "Page/Non: " + FN(m.PoolPaged / 1000000) + "/" + FN(m.PoolNonpaged / 1000000) + "MB";
}

void ReadMemoryPages(Context& ctx) {
  auto& m = ctx.model();
  m.MemPages = ctx.ReadCounter(m.hMemPages);
  m.PoolNonpaged = ctx.ReadCounter(m.hPoolNonpaged);
  m.Label40 = "Memory Pages: " + FN(m.MemPages) + " Sec";
  m.PagesInput = ctx.ReadCounter(m.hPagesInput);
  m.PagesOutput = ctx.ReadCounter(m.hPagesOutput);
  m.PoolPaged = ctx.ReadCounter(m.hPoolPaged);
  m.Label43 = "Memory Pages Input: " + FN(m.PagesInput) + " Sec";
  m.Label44 = "Memory Pages Output: " + FN(m.PagesOutput) + " Sec";
}

}  // namespace tarnex
