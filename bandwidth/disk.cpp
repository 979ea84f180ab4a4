#include "bandwidth/disk.h"

#include "base/legacy.h"
#include "core/texts.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;

void ReadDisk(Context& ctx) {
  auto& m = ctx.model();
  m.DiskFreePercent = ctx.ReadCounter(m.hDiskFreePercent);
  m.DiskFreeMB = ctx.ReadCounter(m.hDiskFreeMB);
  m.DiskWriteBps = ctx.ReadCounter(m.hDiskWriteBps);
  m.DiskReadBps = ctx.ReadCounter(m.hDiskReadBps);
  m.DiskQueue = ctx.ReadCounter(m.hDiskQueue);
  m.DiskTime = ctx.ReadCounter(m.hDiskTime);
  m.DiskIdle = ctx.ReadCounter(m.hDiskIdle);
}

void CountDiskLoad(Context& ctx) {
  auto& m = ctx.model();
  // The bands overlap at their edges, so such a value counts twice.
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
}

void SumDiskTraffic(Context& ctx) {
  auto& m = ctx.model();
  m.DiskReadMonth += m.DiskReadBps;
  m.DiskReadDay += m.DiskReadBps;
  m.DiskWriteMonth += m.DiskWriteBps;
  m.DiskWriteDay += m.DiskWriteBps;
  m.Label45 = "Read: " + FN(m.DiskReadBps / 1000000) + " MBps";
  m.Label46 = "Write: " + FN(m.DiskWriteBps / 1000000) + " MBps";
}

void DiskPeaksAndTotals(Context& ctx) {
  auto& m = ctx.model();
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
}

void ShowDisk(Context& ctx) {
  auto& m = ctx.model();
  m.Label58 = "Time: " + FN(m.DiskTime) + " %";
  m.Label60 = "Idle: " + FN(m.DiskIdle) + " %";
  m.Label62 = "Free: " + FN(m.DiskFreeMB) + " MB";
  m.Label59 = "Free: " + FN(m.DiskFreePercent) + " %";
  m.Label61 = "Queue: " + FN(m.DiskQueue);
}

}  // namespace tarnex
