#include "mail/summary.h"

#include <vector>

#include "base/legacy.h"
#include "core/drive_text.h"
#include "core/wmi_values.h"

namespace tarnex {

using legacy::Format;
using legacy::FormatDate;
using legacy::FormatNumber;
using legacy::Str;
using legacy::Val;

namespace {

constexpr const char* kSettings = Context::kSettingsFile;
constexpr const char* kCRLF = "\r\n";

// Text built line by line, each line closed by CR LF.
class Lines {
 public:
  Lines& operator<<(const std::string& line) {
    text_ += line;
    text_ += kCRLF;
    return *this;
  }
  Lines& Blank() { return *this << ""; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// A leading "-" comes off, the first character only.
std::string WithoutSign(const std::string& figure) {
  return !figure.empty() && figure[0] == '-' ? figure.substr(1) : figure;
}

std::vector<WmiRow> Query(Context& ctx, const char* query) {
  std::vector<WmiRow> rows;
  ctx.platform().QueryWmi(query, rows);
  return rows;
}

enum class Kind { kSummary, kRecord };

// The sections the long summary (in mode "E") and the server record share.
void CommonSections(Context& ctx, Lines& out, Kind kind, bool daily) {
  auto& m = ctx.model();
  // 1. The daily figures, without a leading "-": written back by the
  // summary, taken as copies by the record.
  std::string received = WithoutSign(m.SummaryRec), sent = WithoutSign(m.SummarySent);
  if (kind == Kind::kSummary) {
    m.SummaryRec = received;
    m.SummarySent = sent;
  }

  // 2. The title.
  const CivilTime now = ctx.Now();
  if (kind == Kind::kSummary) {
    out << "System Information As of " + FormatDate(now, "hh:mm:ss") + " " +
               FormatDate(now, "dd mmm yyyy");
  } else {
    out << std::string(115, '*');
    out << "Server INFO as of " + FormatDate(now, "hh:mm:ss") + " on " +
               FormatDate(now, "dd mmm yyyy");
  }
  out.Blank();

  // 3. The day's figures and the processor.
  if (daily) {
    if (kind == Kind::kSummary) out.Blank();
    out << "Daily Bandwidth";
    out << "   Received: " + FormatNumber(Val(received) / 1000) + " Kb";
    out << "       Sent: " + FormatNumber(Val(sent) / 1000) + " Kb";
    out.Blank();
    // With no hour yet the division cannot be made and the average is blank.
    std::string average;
    if (!m.CAver3.empty()) {
      double sum = 0;
      for (const auto& hour : m.CAver3) sum += Val(hour);
      average = Format(sum / static_cast<double>(m.CAver3.size()), "#.0");
    }
    out << "Daily Average CPU Usage: " + average + "%";
    out << "   " + m.CPULastMin;
    if (m.CPULastHR.rfind("Data", 0) != 0) out << "   " + m.CPULastHR;
    if (m.CPULast24.rfind("Data", 0) != 0) out << "   " + m.CPULast24;
    out.Blank();
    out.Blank();
  }

  // 4 to 7. The back-ups, as the companion programs counted them.
  out << "Back-UP Summary";
  out << " Total OnSite BU Files: " + ctx.INIRead(kSettings, "Server", "BU File Total Cnt");
  out << " Total OnSite BU Size: " +
             BackupSizeText(Val(ctx.INIRead(kSettings, "Server", "BU File Total Size")));
  out.Blank();
  for (int n = 1; n <= 5; ++n) {
    const std::string remote = "Offsite " + std::to_string(n);
    const std::string count = ctx.INIRead(kSettings, "Server", remote + " Total Cnt");
    const std::string size = ctx.INIRead(kSettings, "Server", remote + " Total Size");
    if (count.empty()) continue;
    out << "Remote " + std::to_string(n) + (kind == Kind::kRecord && n == 5 ? " " : "");
    out << "   Total OffSite BU Files: " + count;
    out << "   Total OffSite BU Size: " + BackupSizeText(Val(size));
  }
  out.Blank();
}

// Step 13: the memory slots from the system-management rows.
void MemorySlots(Context& ctx, Lines& out) {
  std::string slots[8];
  size_t rows = 0;
  for (const WmiRow& row : Query(ctx, "Select * from Win32_PhysicalMemory")) {
    ++rows;
    if (legacy::Left(WmiText(row.Get("DeviceLocator")), 1) != "A") continue;
    size_t n = 0;
    while (n < 8 && !slots[n].empty()) ++n;
    if (n == 8) continue;
    const std::string label = "Slot " + std::to_string(n + 1) + ":   ";
    const double capacity = WmiNumber(row.Get("Capacity")).value_or(0);
    const std::string mega = Format(capacity / 1024000, "#");
    const std::string speed_bank =
        "  Speed: " + WmiText(row.Get("Speed")) + " Mhz   (" + WmiText(row.Get("BankLabel")) + ")";
    if (Val(mega) > 1000) {
      slots[n] = label + Format(capacity / 1024000000, "#,###") + " GB" + speed_bank;
    } else if (!mega.empty()) {
      slots[n] = label + Format(capacity / 1024000, "#,###") + " MB" + speed_bank;
    } else {
      slots[n] =
          "Slot " + std::to_string(n + 1) + ":   Empty     (" + WmiText(row.Get("BankLabel")) + ")";
    }
  }
  // A row passed over still makes its line appear, blank.
  out << "   " + slots[0];
  for (size_t n = 2; n <= 8; ++n) {
    if (rows > n - 1) out << "   " + slots[n - 1];
  }
  out.Blank();
}

}  // namespace

std::string BackupSizeText(double size) {
  if (size > 1e10) return Format(size / 1e9, "#,###") + " GB";
  if (size > 1e7) return Format(size / 1e6, "#,###") + " MB";
  return FormatNumber(size) + " Bytes";
}

void WriteServerRecord(Context& ctx) {
  Lines out;
  CommonSections(ctx, out, Kind::kRecord, true);
  ctx.fs().Append(ctx.Path("\\Events\\Monitor.txt"), out.text() + kCRLF);
}

void BandwidthSummary(Context& ctx) {
  auto& m = ctx.model();
  Lines out;
  out << "BandWidth for " + FormatDate(ctx.Now(), "mmm yyyy");
  for (size_t w = 0; w < 5; ++w) {
    if (m.BWSWk[w] == "0") continue;
    out << "Week " + std::to_string(w + 1) + "   Sent: " + m.BWSWk[w] +
               "   Received: " + m.BWRWk[w];
  }
  out << "Total   Sent: " + legacy::Trim(m.BWSMon) + "   Received: " + m.BWRMon;
  out.Blank();
  const std::string up = ctx.INIRead(kSettings, "BW", "UP");
  const std::string down = ctx.INIRead(kSettings, "BW", "DN");
  const std::string month = ctx.INIRead("\\Bin\\BandWidth.Tnx", "Start", "Month");
  const std::string year = ctx.INIRead("\\Bin\\BandWidth.Tnx", "Start", "Year");
  // The month and year as a date; a text that is no date prints as it is.
  std::string since = month + "/" + year;
  if (auto start = ParseCivilTime(year + "-" + month + "-01 00:00:00")) {
    since = FormatDate(*start, "mmm yyyy");
  }
  out << "Total Since: " + since + "   Sent: " + up + "   Received: " + down;
  out.Blank();
  m.BandwidthText = out.text();
}

void ModSummary(Context& ctx, const std::string& mode) {
  auto& m = ctx.model();
  Lines out;
  CommonSections(ctx, out, Kind::kSummary, mode == "E");

  // 8. The operating system.
  out << "Operating System:";
  out << m.OSName;
  out << m.OSVersion;
  out.Blank();

  // 9. The up time.
  out << "Server On Time: " + m.UpTimeText;
  out.Blank();

  // 10. The processor, from its first row.
  const std::vector<WmiRow> processors = Query(ctx, "Select * from Win32_Processor");
  if (!processors.empty()) {
    const WmiRow& p = processors.front();
    out << "Processor: " + WmiText(p.Get("Name"));
    out << "   " + WmiText(p.Get("Manufacturer"));
    out << "   Speed: " +
               legacy::FormatText(legacy::Trim(WmiText(p.Get("MaxClockSpeed"))), "#,###") + " MHz";
    out << "   Physical Processors: " + m.ProcessorNumber;
    out << "   Cores: ";
    if (const std::string socket = WmiText(p.Get("SocketDesignation")); !socket.empty()) {
      out << "   Socket: " + socket;
    }
  }
  out.Blank();

  // 11. The hours of the day.
  out << "CPU Usage of Last " + std::to_string(m.CAver3.size()) + " Hours";
  for (size_t i = 0; i < m.CAver3.size(); ++i) {
    out << "   " + (i < m.CHours.size() ? m.CHours[i] : std::string()) + "   " + m.CAver3[i] + "%";
  }
  out.Blank();

  // 12, 13. Memory.
  out << "Physical Memory (RAM): " + m.PhysicalMemoryText + " MB";
  out << "   Free: " + m.PhysicalFreeText + " MB";
  out << "   Used: " + legacy::FN(m.MemCommitted / 1000000) + " MB";
  MemorySlots(ctx, out);

  // 14. The drives, whatever their kind.
  out << "Drives:";
  for (const WmiRow& d : Query(ctx, "Select * from Win32_LogicalDisk")) {
    const std::string caption = WmiText(d.Get("Caption"));
    out << "   " + caption + "  " + DriveText(ctx.platform(), caption + "\\");
  }
  out.Blank();

  // 15. The month's bandwidth.
  BandwidthSummary(ctx);
  std::string text = out.text() + m.BandwidthText + kCRLF;

  // 16. The running processes.
  const std::vector<WmiRow> processes = Query(ctx, "select * from Win32_Process");
  Lines running;
  running << "Running Processes";
  for (const WmiRow& p : processes) running << "     " + WmiText(p.Get("Name"));
  running << "Total Processes: " + std::to_string(processes.size());
  text += running.text();

  // 17, 18. The daily report's file.
  m.SummaryText = text;
  ctx.fs().WriteAll(ctx.Path("\\Bin\\ESummary.txt"), m.SummaryText + kCRLF);
  if (mode == "E") return;

  // 19, 20. The system's errors, up to 51 short ones, after the summary.
  m.SummaryText += std::string(kCRLF) + "Windows Errors" + kCRLF;
  const std::string file = ctx.Path("\\Bin\\Summary.txt");
  ctx.fs().WriteAll(file, m.SummaryText + kCRLF);
  int written = 0;
  for (const WmiRow& e : Query(ctx, "Select * from Win32_NTLogEvent")) {
    const std::string message = WmiText(e.Get("Message"));
    if (message.size() >= 250) continue;
    Lines piece;
    piece << "Category: " + WmiText(e.Get("Category"));
    piece << "    EventCode: " + WmiText(e.Get("EventCode"));
    piece << "    Message: " + message;
    m.SummaryText = piece.text();
    ctx.fs().Append(file, m.SummaryText + kCRLF);
    if (++written == 51) break;
  }
}

}  // namespace tarnex
