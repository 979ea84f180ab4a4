#include "bandwidth/traffic.h"

#include <cmath>

#include "base/legacy.h"
#include "core/figures.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;
using legacy::FormatDate;
using legacy::Str;
using legacy::Val;

namespace {

constexpr const char* kSettings = Context::kSettingsFile;

// A counter value as the tick takes it: through its text and back.
double ThroughText(double value) {
  return Val(Str(value));
}

// The fourteen counters of an adapter, in the order the tick reads them,
// each with its per-adapter values and its sum.
struct Counter {
  AdapterHandles ServerModel::*handles;
  Doubles<6> ServerModel::*values;
  double ServerModel::*sum;
};
const Counter kCounters[14] = {
    {&ServerModel::hNetBytesSent, &ServerModel::AdapterBytesSent, &ServerModel::NetBytesSent},
    {&ServerModel::hNetBytesRec, &ServerModel::AdapterBytesRec, &ServerModel::NetBytesRec},
    {&ServerModel::hNetBytesTotal, &ServerModel::AdapterBytesTotal, &ServerModel::NetBytesTotal},
    {&ServerModel::hNetPacketsRec, &ServerModel::AdapterPacketsRec, &ServerModel::NetPacketsRec},
    {&ServerModel::hNetPacketsSent, &ServerModel::AdapterPacketsSent, &ServerModel::NetPacketsSent},
    {&ServerModel::hNetRecErrors, &ServerModel::AdapterRecErrors, &ServerModel::NetRecErrors},
    {&ServerModel::hNetOutErrors, &ServerModel::AdapterOutErrors, &ServerModel::NetOutErrors},
    {&ServerModel::hNetOutQueue, &ServerModel::AdapterOutQueue, &ServerModel::NetOutQueue},
    {&ServerModel::hNetOffloaded, &ServerModel::AdapterOffloaded, &ServerModel::NetOffloaded},
    {&ServerModel::hNetPackets, &ServerModel::AdapterPackets, &ServerModel::NetPackets},
    {&ServerModel::hNetRecUnicast, &ServerModel::AdapterRecUnicast, &ServerModel::NetRecUnicast},
    {&ServerModel::hNetRecNonUnicast, &ServerModel::AdapterRecNonUnicast,
     &ServerModel::NetRecNonUnicast},
    {&ServerModel::hNetSentUnicast, &ServerModel::AdapterSentUnicast, &ServerModel::NetSentUnicast},
    {&ServerModel::hNetSentNonUnicast, &ServerModel::AdapterSentNonUnicast,
     &ServerModel::NetSentNonUnicast},
};

// The week table's twelve keys in their order, with their fields.
void EachWeekKey(ServerModel& m, const std::function<void(const std::string&, Text&)>& key) {
  for (int w = 0; w < 5; ++w) {
    const std::string week = "Week" + std::to_string(w + 1);
    key(week + " Send", m.BWSWk[static_cast<size_t>(w)]);
    key(week + " Rec", m.BWRWk[static_cast<size_t>(w)]);
  }
  key("Total Send", m.BWSMon);
  key("Total Rec", m.BWRMon);
}

void WriteWeekTable(Context& ctx, const std::string& file, const std::string& section) {
  EachWeekKey(ctx.model(), [&](const std::string& key, Text& value) {
    ctx.INIWrite(file, section, key, value);
  });
}

// Peak of one direction (steps 7 and 8): whole Mbps through format "#", 0
// below 1 Mbps; the peak text grows when this second is higher.
float PeakOf(double bits) {
  if (bits < 1000000) return 0;
  return static_cast<float>(Val(Format(bits / 1000000, "#")));
}

void TakePeak(float peak, Text& peak_label, Text& shown, const char* caption) {
  if (Val(peak_label) < peak) peak_label = legacy::StrSingle(peak);
  shown = caption + FN(Val(peak_label)) + " Mbps";
}

// Step 9: the graph's scale by this second's figure alone, then a figure of
// at least 1.
void TakeScale(int32_t& mbps, double& scale, Text& label) {
  if (mbps > 90) {
    scale = 1000;
    label = "Scale 0 to 1 Gbps";
  } else {
    scale = 100;
    label = "Scale 0 to 100 Mbps";
  }
  if (mbps < 1) mbps = 1;
}

std::string Today(Context& ctx, const char* pattern) {
  return FormatDate(ctx.Now(), pattern);
}

}  // namespace

std::string TotalText(double x) {
  if (x > 1e15) return FN(x / 1e12) + " TB";
  if (x > 1e12) return FN(x / 1e9) + " GB";
  return FN(x / 1e6) + " MB";
}

void AddToTotal(std::string& total, double bytes) {
  const double sum = Val(total) + bytes;
  if (std::isfinite(sum)) total = Str(sum);
}

void ArchiveMonthTotals(Context& ctx, const std::string& month) {
  const double up = Val(ctx.model().tup), down = Val(ctx.model().tdn);
  // The roll-over spells the file "\Bin\Bandwidth.Tnx": one file, the name is
  // case-blind.
  ctx.INIWrite(kBandwidthFile, month, "Send", FN(up));
  ctx.INIWrite(kBandwidthFile, month, "Rec", FN(down));
  ctx.INIWrite(kBandwidthFile, month, "Total", FN(up + down));
}

void getbandwidthXP(Context& ctx) {
  auto& m = ctx.model();

  // 1. Thirteen sums start again from 0; the queue-length sum never does.
  for (const Counter& c : kCounters) {
    if (c.sum != &ServerModel::NetOutQueue) m.*c.sum = 0;
  }

  // 2. Every adapter's fourteen counters, each through its text.
  for (int32_t a = 0; a < m.AdapterCount; ++a) {
    if (a >= 6) continue;
    const size_t slot = static_cast<size_t>(a);
    for (size_t i = 0; i < 14; ++i) {
      const Counter& c = kCounters[i];
      const double value = ThroughText(ctx.ReadCounter((m.*c.handles)[slot]));
      (m.*c.values)[slot] = value;
      m.*c.sum = ThroughText(m.*c.sum) + value;
      if (i == 1) ctx.Yield();
    }
  }

  // 3 to 5. The throughput, and a second's worth of bytes on each total.
  m.CurSent = m.NetBytesSent * 8;
  AddToTotal(m.DailySent, m.CurSent / 8);
  AddToTotal(m.tup, m.CurSent / 8);
  AddToTotal(m.AnnualSent, m.CurSent / 8);
  m.CurRec = m.NetBytesRec * 8;
  AddToTotal(m.DailyRec, m.CurRec / 8);
  AddToTotal(m.tdn, m.CurRec / 8);
  AddToTotal(m.AnnualRec, m.CurRec / 8);

  // 6. The texts. The two packet lines are crossed: "Packets Sent: " shows
  // the received packets, "Packets Rec: " the sent ones.
  m.Label51 = "Packets Rec: " + FN(m.NetPacketsSent) + " Sec";
  m.Label52 = "Packets Sent: " + FN(m.NetPacketsRec) + " Sec";
  m.Label53 = "Packets Rec Errors: " + FN(m.NetRecErrors) + " Sec";
  m.Label54 = "Packets Sent Errors: " + FN(m.NetOutErrors) + " Sec";
  m.Label55 = "Packets Send Queue: " + FN(m.NetOutQueue) + " Sec";
  m.Label56 = "Offload: " + FN(m.NetOffloaded) + " Sec";
  m.Label57 = "Total Packets: " + FN(m.NetPackets) + " Sec";
  m.upthru = "Cur Sent: " + FN(m.CurSent / 1000) + " Kb";
  m.dnthru = "Cur Rec'd: " + FN(m.CurRec / 1000) + " Kb";
  m.trstart = TotalText(Val(m.tdn)) + " / " + TotalText(Val(m.AnnualRec));
  m.tsstart = TotalText(Val(m.tup)) + " / " + TotalText(Val(m.AnnualSent));
  m.ttstart =
      TotalText(Val(m.tup) + Val(m.tdn)) + " / " + TotalText(Val(m.AnnualSent) + Val(m.AnnualRec));

  // 7, 8. The peaks since the start of the run.
  m.RecPeak = PeakOf(m.CurRec);
  m.SentPeak = PeakOf(m.CurSent);
  m.RecMbps = static_cast<int32_t>(m.RecPeak);
  m.SentMbps = static_cast<int32_t>(m.SentPeak);
  TakePeak(m.SentPeak, m.Label8a, m.Label24, "Sent Peak: ");
  TakePeak(m.RecPeak, m.Label7a, m.Label25, "Rec Peak: ");
  m.SentPeakText = m.Label8a;
  m.RecPeakText = m.Label7a;

  // 9, 10. The graphs.
  TakeScale(m.RecMbps, m.ScaleRec, m.Label75);
  TakeScale(m.SentMbps, m.ScaleSent, m.Label26);
  Plot(m.picGraph1, m.RecMbps);
  Plot(m.picGraph2, m.SentMbps);

  // 11. The day's figures.
  m.tbrec = "D-Rec'd: " + FN(Val(m.DailyRec) / 1000000) + " MB";
  m.tbsent = "D-Sent: " + FN(Val(m.DailySent) / 1000000) + " MB";

  // 12. Six writes: at most one second of traffic is lost by a crash.
  ctx.INIWrite(kSettings, "Bandwidth", "Daily Sent", m.DailySent);
  ctx.INIWrite(kSettings, "Bandwidth", "Daily Rec", m.DailyRec);
  ctx.INIWrite(kSettings, "Bandwidth", "Total Sent", m.tup);
  ctx.INIWrite(kSettings, "Bandwidth", "Total Rec", m.tdn);
  ctx.INIWrite(kSettings, "Bandwidth", "Annual Sent", m.AnnualSent);
  ctx.INIWrite(kSettings, "Bandwidth", "Annual Rec", m.AnnualRec);
}

void MonthCheck(Context& ctx) {
  auto& m = ctx.model();
  m.MonthLabel = Today(ctx, "mmm yyyy");
  if (m.MonthLabel != m.LastMonthLabel) updateBW(ctx);
  // Nothing ever sets what the label takes here: it is empty from now on, and
  // updateBW runs on every cycle.
  m.LastMonthLabel.clear();
}

void updateBW(Context& ctx) {
  auto& m = ctx.model();
  // 1 to 3. The month last stored goes to the archive; on a first start the
  // archive learns when the counting began.
  m.MonthLabel = ctx.INIRead(kSettings, "Server", "Bandwidth Month");
  if (!m.MonthLabel.empty()) {
    WriteWeekTable(ctx, kBandwidthFile, m.MonthLabel);
  } else {
    ctx.INIWrite(kBandwidthFile, "Start", "Month", Today(ctx, "m"));
    ctx.INIWrite(kBandwidthFile, "Start", "Year", Today(ctx, "yyyy"));
  }
  // 4. The month's slots added to the totals since then.
  const double up = Val(ctx.INIRead(kSettings, "BW", "UP")) + Val(m.BWSMon);
  const double down = Val(ctx.INIRead(kSettings, "BW", "DN")) + Val(m.BWRMon);
  ctx.INIWrite(kSettings, "BW", "UP", Str(up));
  ctx.INIWrite(kSettings, "BW", "DN", Str(down));
  // 5 to 7. The table starts again at 0 under this month.
  EachWeekKey(m, [](const std::string&, Text& value) { value = "0"; });
  m.MonthLabel = Today(ctx, "mmm yyyy");
  ctx.INIWrite(kSettings, "Server", "Bandwidth Month", m.MonthLabel);
  WriteWeekTable(ctx, kSettings, m.MonthLabel);
}

void SaveIT(Context& ctx) {
  WriteWeekTable(ctx, kSettings, ctx.model().MonthLabel);
}

void LoadWeekTable(Context& ctx) {
  auto& m = ctx.model();
  m.LastMonthLabel = ctx.INIRead(kSettings, "Server", "Bandwidth Month");
  EachWeekKey(m, [&](const std::string& key, Text& value) {
    value = ctx.INIRead(kSettings, m.LastMonthLabel, key);
  });
}

void LoadTotals(Context& ctx) {
  auto& m = ctx.model();
  // The year.
  m.AnnualSent = ctx.INIRead(kSettings, "Bandwidth", "Annual Sent");
  m.AnnualRec = ctx.INIRead(kSettings, "Bandwidth", "Annual Rec");
  m.BandwidthYearKey = ctx.INIRead(kSettings, "Bandwidth", "Annual");
  if (m.BandwidthYearKey != Today(ctx, "yyyy")) {
    m.BandwidthYearKey = Today(ctx, "yyyy");
    ctx.INIWrite(kSettings, "Bandwidth", "Annual", m.BandwidthYearKey);
    m.AnnualSent = "0";
    m.AnnualRec = "0";
  }
  // The month: its totals go to the archive under the new month's name.
  m.tup = ctx.INIRead(kSettings, "Bandwidth", "Total Sent");
  m.tdn = ctx.INIRead(kSettings, "Bandwidth", "Total Rec");
  m.BandwidthMonthKey = ctx.INIRead(kSettings, "Bandwidth", "Month");
  if (m.BandwidthMonthKey != Today(ctx, "mmmyyyy")) {
    const std::string section = Today(ctx, "mmmyyyy");
    ArchiveMonthTotals(ctx, section);
    m.BandwidthMonthKey = section;
    ctx.INIWrite(kSettings, "Bandwidth", "Month", m.BandwidthMonthKey);
    m.tup = "0";
    m.tdn = "0";
  }
  // The day.
  m.DailySent = ctx.INIRead(kSettings, "Bandwidth", "Daily Sent");
  m.DailyRec = ctx.INIRead(kSettings, "Bandwidth", "Daily Rec");
  m.rdate = ctx.INIRead(kSettings, "Bandwidth", "Daily");
  if (m.rdate != Today(ctx, "dd mmm yyyy")) {
    m.DailyRec = "0";
    m.DailySent = "0";
    m.rdate = Today(ctx, "dd mmm yyyy");
    ctx.INIWrite(kSettings, "Bandwidth", "Daily", m.rdate);
  }
}

}  // namespace tarnex
