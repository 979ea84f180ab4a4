#include "bandwidth/rollover.h"

#include "bandwidth/logs.h"
#include "bandwidth/traffic.h"
#include "base/legacy.h"
#include "core/lists.h"
#include "mail/summary.h"

namespace tarnex {

using legacy::FN;
using legacy::FormatDate;
using legacy::FormatText;
using legacy::Str;
using legacy::Val;

namespace {

constexpr const char* kSettings = Context::kSettingsFile;

void MonthRollOver(Context& ctx, const std::string& month) {
  auto& m = ctx.model();
  const double up = Val(m.tup), down = Val(m.tdn);
  ArchiveMonthTotals(ctx, month);
  const std::string totals =
      " Total Rec'd = " + FN(down) + " Sent " + FN(up) + " Total = " + FN(up + down);
  LogDailyBandwidth(ctx, "End of Month" + totals);
  LogMonthlyBandwidth(ctx, m.BandwidthMonthKey + totals);
  LogMonthlyHardDrive(ctx, m.BandwidthMonthKey + " Total Read = " + FN(m.DiskReadMonth) +
                               " Bytes   Write " + FN(m.DiskWriteMonth) + " Bytes  Total = " +
                               FN(m.DiskReadMonth + m.DiskWriteMonth) + " Bytes");
  ctx.INIWrite(kSettings, "Bandwidth", "Month", month);
  m.tup = "0";
  m.tdn = "0";
  m.BandwidthMonthKey = month;
  // This run's disk figures join those of the year so far.
  const double read = Val(ctx.INIRead(kSettings, "Hard Drive", "Monthly Read")) + m.DiskReadMonth;
  const double write =
      Val(ctx.INIRead(kSettings, "Hard Drive", "Monthly Write")) + m.DiskWriteMonth;
  ctx.INIWrite(kSettings, "Hard Drive", "Monthly Read", Str(read));
  ctx.INIWrite(kSettings, "Hard Drive", "Monthly Write", Str(write));
  m.DiskReadMonth = 0;
  m.DiskWriteMonth = 0;
}

void YearRollOver(Context& ctx, const std::string& year) {
  auto& m = ctx.model();
  const double read = Val(ctx.INIRead(kSettings, "Hard Drive", "Monthly Read"));
  const double write = Val(ctx.INIRead(kSettings, "Hard Drive", "Monthly Write"));
  LogAnnualHardDrive(ctx, m.BandwidthYearKey + "  " + m.DriveCaption + " Read = " + FN(read) +
                              " Sent " + FN(write) + " Total = " + FN(read + write));
  const double sent = Val(m.AnnualSent), received = Val(m.AnnualRec);
  LogAnnualBandwidth(ctx, m.BandwidthYearKey + " Rec'd = " + FN(received) + " Sent " + FN(sent) +
                              " Total = " + FN(received + sent));
  ctx.INIWrite(kSettings, "Bandwidth", "Annual", year);
  ctx.INIWrite(kSettings, "Hard Drive", "Monthly Read", "0");
  ctx.INIWrite(kSettings, "Hard Drive", "Monthly Write", "0");
  m.AnnualSent = "0";
  m.AnnualRec = "0";
  m.BandwidthYearKey = year;
}

// The numbers of a side file, comment lines and blank lines passed over.
double SideFileSum(Context& ctx, const char* name) {
  double sum = 0;
  for (const std::string& line : ReadListFile(ctx, name, false)) {
    const std::string entry = legacy::Trim(line);
    if (entry.empty() || entry.rfind("//", 0) == 0) continue;
    sum += Val(entry);
  }
  return sum;
}

}  // namespace

void DayRollOver(Context& ctx) {
  auto& m = ctx.model();
  const CivilTime now = ctx.Now();

  // 1, 2. The summary files are made even when no mail went.
  if (m.autosend != 1) ModSummary(ctx, "E");
  ctx.Wait(10);

  // 3. The day's line; the peaks are those since the start of the run.
  LogDailyBandwidth(ctx, FormatDate(now, "dd mmm yy") + " - Total Rec'd/Sent " + m.rdate + " = " +
                             FormatText(m.DailyRec, "###,###,##0") + " / " +
                             FormatText(m.DailySent, "###,###,##0") +
                             " KB  -  Peak Rec'd/Sent = " + m.RecPeakText + " / " + m.SentPeakText);

  // 4. The day is closed; on the first of a month the side files are summed.
  m.DayClosed = 1;
  if (m.ddate == "1") totalbw(ctx);

  // 5. The day totals start again.
  m.rdate = FormatDate(now, "dd mmm yyyy");
  ctx.INIWrite(kSettings, "Bandwidth", "Daily Sent", "0");
  ctx.INIWrite(kSettings, "Bandwidth", "Daily Rec", "0");
  ctx.INIWrite(kSettings, "Bandwidth", "Daily", m.rdate);
  m.DailyRec = "0";
  m.DailySent = "0";

  // 6. The disk lines: the day's line carries the month-to-date sums.
  LogDailyHardDrive(ctx, FormatDate(now, "dd mmm yyyy") + "  Read = " + FN(m.DiskReadMonth) +
                             " Bytes   Write " + FN(m.DiskWriteMonth) + " Bytes  Total = " +
                             FN(m.DiskReadMonth + m.DiskWriteMonth) + " Bytes");
  LogDailyHardDrive(ctx,
                    "   " + m.Label49 + "   " + m.Label50 + "   " + m.Label62 + "   " + m.Label59);
  LogDailyHardDrive(ctx, "   " + m.IdlePer[0] + "   " + m.IdlePer[1] + "   " + m.IdlePer[2] +
                             "   " + m.IdlePer[3]);

  // 7. The day's extremes. Clearing the remembered peak texts leaves the
  // peaks themselves as they are: they last the run.
  m.DiskReadDay = 0;
  m.DiskWriteDay = 0;
  m.IdleSamples = 0;
  m.IdleBand0 = m.IdleBand1 = m.IdleBand2 = m.IdleBand3 = 0;
  m.SentPeakText.clear();
  m.RecPeakText.clear();

  // 8, 9. The month and the year, named after today: a month is closed at
  // 23:59 of the first day of the next.
  if (const std::string month = FormatDate(now, "mmmyyyy"); month != m.BandwidthMonthKey) {
    MonthRollOver(ctx, month);
  }
  if (const std::string year = FormatDate(now, "yyyy"); year != m.BandwidthYearKey) {
    YearRollOver(ctx, year);
  }
}

void totalbw(Context& ctx) {
  const double received = SideFileSum(ctx, "\\Logs\\Received.txt");
  const double sent = SideFileSum(ctx, "\\Logs\\Sent.txt");
  LogDailyBandwidth(ctx, "Total Rec'd/Sent for month = \t" +
                             legacy::Format(received, "###,###,##0") + " / " +
                             legacy::Format(sent, "###,###,##0") + " KB - With a Sum Total of " +
                             legacy::Format(received + sent, "###,###,##0"));
  ctx.fs().WriteAll(ctx.Path("\\Logs\\Received.txt"), "");
  ctx.fs().WriteAll(ctx.Path("\\Logs\\Sent.txt"), "");
}

}  // namespace tarnex
