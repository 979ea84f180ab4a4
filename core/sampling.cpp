// The one-second sampling cycle, its processor averages and the text rules of
// the main screen.
#include "core/app.h"
#include "core/legacy.h"
#include "counters/programs.h"
#include "inventory/processor_facts.h"
#include "rules/engine.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;
using legacy::IntDiv;
using legacy::Mod;
using legacy::Str;
using legacy::Val;

std::string MinSecText(double seconds) {
  return Str(static_cast<double>(Mod(static_cast<double>(IntDiv(seconds, 60)), 60))) + " Min " +
         ":" + Format(static_cast<double>(Mod(seconds, 60)), "00") + " Sec";
}

std::string UpTimeText(double x) {
  std::string text;
  if (x >= 86400)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 86400)), 60))) + " Days - ";
  if (x >= 3600)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 3600)), 60))) + " Hrs - ";
  if (x >= 60)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 60)), 60))) + " Min - ";
  return text + Format(static_cast<double>(Mod(x, 60)), "00") + " Sec";
}

bool SizeText(double x, std::string& text) {
  if (x < 100000000) {
    text = FN(x / 1000000) + " MB";
  } else if (x < 100000000000) {
    text = FN(x / 1000000000) + " GB";
  } else if (x < 100000000000000) {
    text = FN(x / 1000000000000) + " TB";
  } else {
    return false;
  }
  return true;
}

void App::Plot(History& history, int32_t value) {
  if (history.empty()) return;
  for (size_t i = 0; i + 1 < history.size(); ++i) history[i] = history[i + 1];
  history.back() = value;
}

void App::CPUAver(const std::string& sample) {
  auto& m = model_;
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
    m.CHours.push_back(legacy::FormatDate(loop().Now(), "hh") + "00");
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

void App::Timer1() {
  auto& m = model_;

  // 1. The cycle's clock; the processor texts start from zero.
  m.CycleStart = static_cast<float>(loop().Timer());
  m.CPUPrivilege = "0";
  m.DPCQueued = "0";
  m.CPUInterrupt = "0";
  m.Interrupts = "0";
  m.DPCPercent = "0";

  // 2. The log-all window.
  if (m.LogAllSeconds != 0) {
    m.LogAllElapsed += 1;
    if (m.LogAllElapsed >= m.LogAllSeconds || m.LogAllElapsed > 900) {
      m.LogAllSeconds = 0;
      m.LogAllElapsed = 0;
      m.Label27 = "Data Located at " + m.AppPath + "\\Events\\SnapShot";
    } else {
      m.Label27 = "Logging All Data for " + MinSecText(m.LogAllSeconds - m.LogAllElapsed);
    }
  }

  // 3. The collection.
  m.MinuteTick += 1;
  platform_.Counters().CollectQueryData(m.PerfQuery);

  // 4. Processor.
  m.CPUUsage = Format(ReadCounter(m.hCPUUsage), "0.0");
  // Through format "#": a speed of 0 gives the empty text, which a number
  // cannot take, so the speed keeps its last value.
  if (const std::string speed = Format(ReadCounter(m.hCPUSpeed), "#"); !speed.empty()) {
    m.CPUSpeed = Val(speed);
  }
  m.DPCQueued = Format(ReadCounter(m.hDPCQueued), "0");
  m.Interrupts = Format(ReadCounter(m.hInterrupts), "0");
  m.DPCPercent = Format(ReadCounter(m.hDPCPercent), "0");
  m.CPUPrivilege = Format(ReadCounter(m.hCPUPrivilege), "0");
  m.CPUInterrupt = Format(ReadCounter(m.hCPUInterrupt), "0");
  if (m.CPUSpeed < 100) m.CPUSpeed = m.MaxClockSpeed;

  // 5. Processor texts, the chart and the averages.
  if (const double processors = Val(m.ProcessorCount); processors != 0) {
    m.Label32 = Format(Val(m.CPUInterrupt) / processors, "0.0") + "%";
  }
  m.CPUMHZ = Str(m.CPUSpeed) + " MHz";
  PlotCPU(static_cast<int32_t>(legacy::CLng(Val(m.CPUUsage))));
  m.cpu1 = m.CPUUsage + "%";
  CPUAver(m.CPUUsage);
  Yield();

  // 6. Interrupts and deferred calls.
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
  Yield();

  // 7. Objects and system.
  m.ProcessCount = ReadCounter(m.hProcessCount);
  m.procnum = "Processes: " + Str(m.ProcessCount);
  m.ThreadCount = ReadCounter(m.hThreadCount);
  m.procnumb = "Threads: " + FN(m.ThreadCount);
  m.HandleCount = ReadCounter(m.hHandleCount);
  m.Label39 = "Handles: " + FN(m.HandleCount);
  m.UpTimeText = UpTimeText(ReadCounter(m.hUpTime));
  m.Label38 = "Up Time: " + m.UpTimeText;
  m.ContextSwitches = ReadCounter(m.hContextSwitches);
  m.Label36 = "Contect Switches: " + FN(m.ContextSwitches);
  m.SystemCalls = ReadCounter(m.hSystemCalls);
  m.SystemCallsText = "System Calls: " + FN(m.SystemCalls);
  Yield();

  // 8. Memory.
  m.PageFaults = ReadCounter(m.hPageFaults);
  m.Label30 = "Page Faults: " + FN(m.PageFaults) + " Sec";
  m.MemAvailable = ReadCounter(m.hMemAvailable);
  m.free = "Free MEM: " + FN(m.MemAvailable / 1000000) + " MB";
  m.MemCommitted = ReadCounter(m.hMemCommitted);
  m.used = "Used MEM: " + FN(m.MemCommitted / 1000000) + " MB";
  if (m.TotalMemory == 0) m.TotalMemory = m.MemCommitted + m.MemAvailable;
  m.PageReads = ReadCounter(m.hPageReads);
  m.Label29 = "Page Reads: " + FN(m.PageReads) + " Sec";
  m.PageWrites = ReadCounter(m.hPageWrites);
  m.Label28 = "Page Writes: " + FN(m.PageWrites) + " Sec";
  m.CacheBytes = ReadCounter(m.hCacheBytes);
  m.CachePeak = ReadCounter(m.hCachePeak);
  m.Label42 = "Cache B/P: " + FN(m.CacheBytes / 1000000) + "/" + FN(m.CachePeak / 1000000) + "MB";
  // The pools are read later in the cycle: this line shows the last cycle's.
  m.Label41 = "Page/Non: " + FN(m.PoolPaged / 1000000) + "/" + FN(m.PoolNonpaged / 1000000) + "MB";
  Yield();

  Timer1Disk();

  // 16. Memory pages and the pools.
  m.MemPages = ReadCounter(m.hMemPages);
  m.PoolNonpaged = ReadCounter(m.hPoolNonpaged);
  m.Label40 = "Memory Pages: " + FN(m.MemPages) + " Sec";
  m.PagesInput = ReadCounter(m.hPagesInput);
  m.PagesOutput = ReadCounter(m.hPagesOutput);
  m.PoolPaged = ReadCounter(m.hPoolPaged);
  m.Label43 = "Memory Pages Input: " + FN(m.PagesInput) + " Sec";
  m.Label44 = "Memory Pages Output: " + FN(m.PagesOutput) + " Sec";
  Yield();

  // 17. The program list at the thirtieth tick. The rule pass of step 21 sets
  // the counter to 0, so it reads 1 here on every cycle and this test, like
  // those of steps 18, 20 and 22, does not hold in steady running.
  if (m.MinuteTick == 30) RefreshPrograms(platform_, m, [this] { Yield(); });

  // 18. The page file and the service count, at the sixtieth tick.
  if (m.MinuteTick > 59) {
    SwapInfo(*this);
    CountServices(platform_, m);
    m.ServiceText = "Service: " + Str(m.ServiceCount);
  }

  // 19. Server counters: all of them for a recording or the console, else
  // only the work item shortages.
  if (m.LogAllSeconds == 0 && m.ServerConsoleOpen == 0) {
    m.ServerValues[12] = ReadCounter(m.hServer[12]);
  } else {
    Catalogue().ReadServerValues();
  }
  Yield();

  // 20. While recording: the program list again and the programs' counters.
  if (m.LogAllSeconds != 0) {
    if (m.MinuteTick == 30) RefreshPrograms(platform_, m, [this] { Yield(); });
    for (int32_t i = 0; i <= m.ProgLast && i < 101; ++i) {
      m.ProgFaults[static_cast<size_t>(i)] = ReadCounter(m.hProgFaults[static_cast<size_t>(i)]);
      m.ProgWorkingSet[static_cast<size_t>(i)] =
          ReadCounter(m.hProgWorkingSet[static_cast<size_t>(i)]);
    }
  }

  // 21. The bottleneck rules (which leave the tick counter at 0).
  BottleneckCheck(*this);

  // 22. The tick counter wraps.
  if (m.MinuteTick > 60) m.MinuteTick = 1;

  // 25. What the rules found.
  JournalFindings();

  // 31. The cycle's length retunes the timer: seconds taken from a number of
  // milliseconds, so the interval stays at 1000 or a unit or two below. At
  // midnight the difference is far out of range, the interval is refused and
  // the previous one stays.
  m.CycleElapsed = static_cast<float>(loop().Timer()) - m.CycleStart;
  if (m.CycleElapsed > 900) m.CycleElapsed = 0;
  if (timer1_ != 0) {
    loop().SetTimerInterval(timer1_, legacy::CLng(1000 - static_cast<double>(m.CycleElapsed)));
  }
}

void App::JournalFindings() {
  auto& m = model_;
  // One entry between two lines of asterisks, without its last line end. A
  // text too short to cut is journalled as it stands.
  if (m.BNText.empty()) return;
  if (m.BNText.size() >= 2) m.BNText.erase(m.BNText.size() - 2);
  MyEvents(kAsterisks);
  MyEvents(m.BNText);
  MyEvents(kAsterisks);
}

void App::Timer1Disk() {
  auto& m = model_;

  // 9. The disk counters of the system drive.
  m.DiskFreePercent = ReadCounter(m.hDiskFreePercent);
  m.DiskFreeMB = ReadCounter(m.hDiskFreeMB);
  m.DiskWriteBps = ReadCounter(m.hDiskWriteBps);
  m.DiskReadBps = ReadCounter(m.hDiskReadBps);
  m.DiskQueue = ReadCounter(m.hDiskQueue);
  m.DiskTime = ReadCounter(m.hDiskTime);
  m.DiskIdle = ReadCounter(m.hDiskIdle);

  // 10. Load bands; the bands overlap at their edges, so such a value counts
  // twice.
  m.IdleSamples += 1;
  const double i = m.DiskIdle;
  if (i < 25) m.IdleBand3 += 1;
  if (i > 24 && i < 50) m.IdleBand2 += 1;
  if (i > 49 && i < 75) m.IdleBand1 += 1;
  if (i > 74) m.IdleBand0 += 1;
  const double bands[4] = {m.IdleBand0, m.IdleBand1, m.IdleBand2, m.IdleBand3};
  const char* captions[4] = {"0-24: ", "25-49: ", "50-79: ", "79-100: "};
  for (size_t b = 0; b < 4; ++b) {
    m.IdlePer[b] = captions[b] + Format(bands[b] / m.IdleSamples * 100, "0") + "%";
  }

  // 11. Each rate counts as one second's bytes.
  m.DiskReadMonth += m.DiskReadBps;
  m.DiskReadDay += m.DiskReadBps;
  m.DiskWriteMonth += m.DiskWriteBps;
  m.DiskWriteDay += m.DiskWriteBps;
  m.Label45 = "Read: " + FN(m.DiskReadBps / 1000000) + " MBps";
  m.Label46 = "Write: " + FN(m.DiskWriteBps / 1000000) + " MBps";
  Yield();

  // 12. Peaks.
  if (m.DiskReadBps > m.DiskReadPeak) m.DiskReadPeak = m.DiskReadBps;
  if (m.DiskWriteBps > m.DiskWritePeak) m.DiskWritePeak = m.DiskWriteBps;
  m.Label49 = "PeakR: " + FN(m.DiskReadPeak / 1000000) + " MBps";
  m.Label50 = "PeakW: " + FN(m.DiskWritePeak / 1000000) + " MBps";

  // 13. Totals.
  m.DiskTotalMonth = m.DiskWriteMonth + m.DiskReadMonth;
  m.DiskTotalDay = m.DiskWriteDay + m.DiskReadDay;

  // 14. Size texts; a figure too large for any unit leaves the text as it was.
  const auto sizes = [](const char* caption, double day, double month, std::string& label) {
    std::string d, mo;
    if (SizeText(day, d) && SizeText(month, mo)) label = caption + d + " / " + mo;
  };
  sizes("Read D/M: ", m.DiskReadDay, m.DiskReadMonth, m.Label47);
  sizes("Write D/M: ", m.DiskWriteDay, m.DiskWriteMonth, m.Label48);
  sizes("Total D/M: ", m.DiskTotalDay, m.DiskTotalMonth, m.Label65);
  Yield();

  // 15. Disk texts.
  m.Label58 = "Time: " + FN(m.DiskTime) + " %";
  m.Label60 = "Idle: " + FN(m.DiskIdle) + " %";
  m.Label62 = "Free: " + FN(m.DiskFreeMB) + " MB";
  m.Label59 = "Free: " + FN(m.DiskFreePercent) + " %";
  m.Label61 = "Queue: " + FN(m.DiskQueue);
}

}  // namespace tarnex
