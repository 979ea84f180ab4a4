// The views of what the rules watch.
#include "rules/views.h"

#include <string>

#include "base/legacy.h"
#include "counters/programs.h"
#include "rules/engine.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;
using legacy::Val;

void BuildBNList(ServerModel& m) {
  static const char* const kLines[] = {
      "MEMORY:",
      "   Memory Pages Per Sec",
      "   Hard Page Faults",
      "   Swap File Current or Peak size",
      "   Memory Pages Per Sec",
      "   Memory Pages Output",
      "   Available Memory",
      "   Used Memory",
      "   Pool Non-Paged Memory",
      "   Pool Paged Memory",
      "CPU/PROCESSOR:",
      "   CPU Privilage Timer",
      "   CPU Interrupt",
      "   CPU Usage",
      "PROCESSES:",
      "   Page Faults",
      "   Working Sets",
      "   Processor Usage",
      "   Virtual Memory",
      "   Hard Drive Read Bps",
      "   Hard Drive Write Bps",
      "HARD DRIVE:",
      "   Hard Drive Queue",
      "   Hard Drive Idle",
      "SQL:",
      "   SQL Buffer Cache Hit Ratio",
      "   SQL Latch Waits",
      "   SQL Total Latch Wait Time",
      "   SQL Server General Statistics Logouts Sec",
      "NETWORK:",
      "   Number of Packets per sec",
      "   Bytes Received",
      "   Bytes Sen",
      "   Packets Rec Unicast per second",
      "   Packets Sent Unicast per second",
      "   Packets Sent Non-Unicast per second",
      "   Packets Received Non-Unicast per second",
      "   Number of packets in queue waiting to be sent",
      "   Number of packets errors that kept in the TCP/IP stack",
      "SERVER:",
      "   Server Work Item Shortages per second",
      "   Processor Queued Length",
      "WEB SERVICE:",
      "   Web Service Kernal URI Cache Flushes",
      "   Web Service Kernal URI Cache Misses",
      "   Active Server Pages Request Wait Time",
      "   Active Server Pages Request Queued",
      "ISA FIREWALL:",
      "   ISA Server Firewall Packet Engine Active Connections",
      "   ISA Firewall Service Working Thread",
      "   ISA Firewall Service Accepting TCP Connections",
      "   ISA Firewall Service DNS Cache",
      "   ISA Server Firewall Packet Engine Backlogged Packets",
      "   ISA Server Firewall Packet Engine Bytes Second",
      "   ISA Server Firewall Packet Engine TCP Established Connections Sec",
      "   ISA Server Firewall Packet Engine Packets Second",
      "WEB PROXY:",
      "   ISA Web Proxy Cache Hit Ratio",
      "   ISA Web Proxy Reverse Bytes Sent",
      "   ISA Web Proxy Average Milliseconds Per Request",
      "   ISA Web Proxy Current Direct Fetches",
      "   ISA Web Proxy Requests Per Second",
      "   ISA Web Proxy Failing Requests Second",
      "   ISA Web Proxy DNS Cache Hits",
      "   ISA Web Proxy Incoming Connections Per Second",
      "ISA SERVER:",
      "   ISAS Server Cache Disk Failure Rate",
      "   ISAS Server Cache Memory Usage Ratio Percent",
      "   ISAS Server Cache Disk Content Write Rate",
      "   ISAS Server Cache Disk URL Retrieve Rate",
      "   ISAS Server Cache Disk Bytes Retrieved Rate",
      "   ISAS Server Cache Memory URL Retrieve Rate",
      "   ISAS Server Cache Memory Bytes Retrieved Rate",
      "   ISAS Server Cache Memory Cache Allocated Space",
  };
  std::string text;
  for (const char* line : kLines) {
    text += line;
    text += "\r\n";
  }
  m.BNTrackedText = text;
}

namespace {

// The captions of the fixed rows 0 to 55.
const char* const kFixedCaptions[56] = {
    "Memory Pages Per Sec",
    "Hard Page Faults",
    "Swap File Current / Peak size",
    "Memory Pages Per Sec",
    "Memory Pages Output",
    "Available Memory",
    "Used Memory",
    "Pool Non-Paged Memory",
    "Pool Paged Memory",
    "CPU Privilage Timer",
    "CPU Interrupt",
    "CPU Usage",
    "Hard Drive Queue",
    "Hard Drive Idle",
    "SQL Buffer Cache Hit Ratio",
    "SQL Latch Waits",
    "SQL Total Latch Wait Time",
    "SQL Server General Statistics Logouts Sec",
    "Number of Packets per sec",
    "Bytes Received",
    "Bytes Sen",
    "Packets Rec Unicast per second",
    "Packets Sent Unicast per second",
    "Packets Sent Non-Unicast per second",
    "Packets Received Non-Unicast per second",
    "Number of packets in queue waiting to be sent",
    "Number of packets errors that kept in the TCP/IP stack",
    "Server Work Item Shortages per second",
    "Processor Queued Length",
    "Web Service Kernal URI Cache Flushes",
    "Web Service Kernal URI Cache Misses",
    "Active Server Pages Request Wait Time",
    "Active Server Pages Request Queued",
    "ISA Server Firewall Packet Engine Active Connections",
    "ISA Firewall Service Accepting TCP Connections",
    "ISA Firewall Service DNS Cache",
    "ISA Server Firewall Packet Engine Backlogged Packets",
    "ISA Server Firewall Packet Engine Bytes Second",
    "ISA Server Firewall Packet Engine TCP Established Connections Sec",
    "ISA Server Firewall Packet Engine Packets Second",
    "ISA Web Proxy Cache Hit Ratio",
    "ISA Web Proxy Reverse Bytes Sent",
    "ISA Web Proxy Average Milliseconds Per Request",
    "ISA Web Proxy Current Direct Fetches",
    "ISA Web Proxy Requests Per Second",
    "ISA Web Proxy Failing Requests Second",
    "ISA Web Proxy DNS Cache Hits",
    "ISA Web Proxy Incoming Connections Per Second",
    "ISAS Server Cache Disk Failure Rate",
    "ISAS Server Cache Memory Usage Ratio Percent",
    "ISAS Server Cache Disk Content Write Rate",
    "ISAS Server Cache Disk URL Retrieve Rate",
    "ISAS Server Cache Disk Bytes Retrieved Rate",
    "ISAS Server Cache Memory URL Retrieve Rate",
    "ISAS Server Cache Memory Bytes Retrieved Rate",
    "ISAS Server Cache Memory Cache Allocated Space",
};

const char* const kProgramCaptions[7] = {
    "Program",        "Page Faults",         "Working Sets",        "Processor Usage",
    "Virtual Memory", "Hard Drive Read Bps", "Hard Drive Write Bps"};

// A row that does not exist cannot be set: programs beyond the screen are
// simply not shown.
void SetCaption(ServerModel& m, int row, const std::string& text) {
  if (row >= 0 && static_cast<size_t>(row) < m.BNCaption.size()) {
    m.BNCaption[static_cast<size_t>(row)] = text;
  }
}
void SetValue(ServerModel& m, int row, const std::string& text) {
  if (row >= 0 && static_cast<size_t>(row) < m.BNVal.size()) {
    m.BNVal[static_cast<size_t>(row)] = text;
  }
}
void SetRed(ServerModel& m, int row, bool red) {
  if (row >= 0 && static_cast<size_t>(row) < m.BNValRed.size()) {
    m.BNValRed[static_cast<size_t>(row)] = red ? 1 : 0;
  }
}

}  // namespace

void OpenBNView(Context& ctx) {
  auto& m = ctx.model();
  if (m.BNViewOpen == 1) return;

  // 1, 2. The program rules stop; the program list is made anew, with a new
  // set of counters.
  m.BNViewOpen = 1;
  LoadPrograms(ctx.platform(), m, [&ctx] { ctx.Yield(); });

  // 3, 4. The rows, and the captions of the fixed block; row 56 stays blank.
  m.BNCaption.assign(kBNViewRows, std::string());
  m.BNVal.assign(kBNViewRows, std::string());
  m.BNValRed.assign(kBNViewRows, 0);
  for (int row = 0; row < 56; ++row) SetCaption(m, row, kFixedCaptions[row]);

  // 5. A block of seven rows a program, with a blank row behind it except
  // where a new column begins.
  int row = 57;
  for (int32_t i = 0; i <= m.ProgLast; ++i) {
    for (const char* caption : kProgramCaptions) SetCaption(m, row++, caption);
    if (row != 155 && row != 104) SetCaption(m, row++, "");
  }
  m.BNRow = row;

  // 6. One, two or three columns.
  if (row > 156) {
    m.BNViewWidth = 19950;
  } else if (row < 105) {
    m.BNViewWidth = 9990;
  } else if (row < 157) {
    m.BNViewWidth = 14995;
  }

  if (m.BNViewTimer == 0) m.BNViewTimer = ctx.loop().AddTimer([&ctx] { BNViewTick(ctx); });
  ctx.loop().SetTimerInterval(m.BNViewTimer, 1000);
  ctx.loop().SetTimerEnabled(m.BNViewTimer, true);
}

void BNViewTick(Context& ctx) {
  auto& m = ctx.model();

  // 1. Every optional group, whatever its switch, without a new collection.
  ReadSQLCounters(ctx, true);
  ReadWebCounters(ctx, false);
  ReadFirewallCounters(ctx, false);
  ReadProxyCounters(ctx, false);
  ReadCacheCounters(ctx, false);

  // 2. The fixed rows. A division by a missing processor count fails and the
  // row keeps what it showed.
  const double processors = Val(m.ProcessorCount);
  SetValue(m, 0, FN(m.PageReads) + " Sec");
  SetValue(m, 1, FN(m.PageFaults) + " Sec");
  SetValue(m, 2, FN(m.SwapCurrent) + "/" + FN(m.SwapPeak) + " MB");
  SetValue(m, 3, FN(m.MemPages) + " Sec");
  SetValue(m, 4, FN(m.PagesOutput) + " Sec");
  SetValue(m, 5, FN(m.MemAvailable / 1000000) + " MB");
  SetValue(m, 6, FN(m.MemCommitted / 1000000) + " MB");
  SetValue(m, 7, FN(m.PoolNonpaged / 1000000) + " MB");
  SetValue(m, 8, FN(m.PoolPaged / 1000000) + " MB");
  if (processors != 0) SetValue(m, 9, Format(Val(m.CPUPrivilege) / processors, "0") + " %");
  SetValue(m, 10, FN(Val(m.CPUInterrupt)) + " %");
  SetValue(m, 11, FN(Val(m.CPUUsage)) + "%");
  SetValue(m, 12, FN(m.DiskQueue));
  SetValue(m, 13, FN(m.DiskTime) + " %");
  SetValue(m, 14, FN(m.SQLCacheHit) + " %");
  SetValue(m, 15, FN(m.SQLLatchWaits));
  SetValue(m, 16, FN(m.SQLLatchTime));
  SetValue(m, 17, FN(m.SQLLogouts));
  SetValue(m, 18, FN(m.NetPackets) + " Sec");
  SetValue(m, 19, Format(m.CurRec / 1000, "0") + " Kbps");
  SetValue(m, 20, Format(m.CurSent / 1000, "0") + " Kbps");
  SetValue(m, 21, FN(m.NetRecUnicast) + " Sec");
  SetValue(m, 22, FN(m.NetSentUnicast) + " Sec");
  SetValue(m, 23, FN(m.NetRecNonUnicast) + " Sec");
  SetValue(m, 24, FN(m.NetSentNonUnicast) + " Sec");
  SetValue(m, 25, FN(m.NetOutQueue));
  SetValue(m, 26, FN(m.NetRecErrors));
  SetValue(m, 27, FN(m.ServerValues[12]));
  // Captioned as the processor queue, the row shows the system errors.
  SetValue(m, 28, FN(m.ServerValues[10]));
  SetValue(m, 29, FN(m.URIFlushes));
  SetValue(m, 30, FN(m.URIMisses));
  SetValue(m, 31, FN(m.ASPWait));
  SetValue(m, 32, FN(m.ASPQueued));
  SetValue(m, 33, FN(m.PEActive));
  SetValue(m, 34, FN(m.FWAcceptTCP));
  SetValue(m, 35, FN(m.FWDNSHits));
  SetValue(m, 36, FN(m.PEBacklog));
  SetValue(m, 37, FN(m.PEBytes) + " Sec");
  SetValue(m, 38, FN(m.PEEstablished) + " Sec");
  SetValue(m, 39, FN(m.PEPackets) + " Sec");
  SetValue(m, 40, FN(m.WPCacheHit) + " %");
  SetValue(m, 41, FN(m.WPReverseBytes) + " %");
  SetValue(m, 42, FN(m.WPAvgMs) + " ms");
  SetValue(m, 43, FN(m.WPDirectFetches) + " ms");
  SetValue(m, 44, FN(m.WPCacheFetches) + " ms");
  SetValue(m, 45, FN(m.WPRequests) + " KB");
  SetValue(m, 46, FN(m.WPDNSHits));
  SetValue(m, 47, FN(m.WPIncoming));
  SetValue(m, 48, FN(m.CacheDiskFailure) + " Sec");
  SetValue(m, 49, FN(m.CacheMemUsage) + " %");
  SetValue(m, 50, FN(m.CacheDiskWrite) + " Sec");
  SetValue(m, 51, FN(m.CacheDiskURL) + " Sec");
  SetValue(m, 52, FN(m.CacheDiskBytes) + " Sec");
  SetValue(m, 53, FN(m.CacheMemURL) + " Kbps");
  SetValue(m, 54, FN(m.CacheMemBytes) + " Kbps");
  SetValue(m, 55, FN(m.CacheDiskAllocated) + " KB");

  // 3. The program blocks. Past the last of the 101 slots every statement
  // that names the program's element fails; the colour tests then count as
  // met. The blank row is left out at 156 here where filling left it out at
  // 155, so from the third column on the values may stand a row off.
  int row = 57;
  for (int32_t index = 0; index <= m.ProgLast; ++index) {
    const bool slot = index <= 100;
    const size_t i = slot ? static_cast<size_t>(index) : 0;
    if (slot) {
      m.ProgCPU[i] = ctx.ReadCounter(m.hProgCPU[i]);
      m.ProgVirtual[i] = ctx.ReadCounter(m.hProgVirtual[i]);
      m.ProgFaults[i] = ctx.ReadCounter(m.hProgFaults[i]);
      m.ProgWorkingSet[i] = ctx.ReadCounter(m.hProgWorkingSet[i]);
      m.ProgRead[i] = ctx.ReadCounter(m.hProgRead[i]);
      m.ProgWrite[i] = ctx.ReadCounter(m.hProgWrite[i]);
    }
    const bool known = slot && processors != 0;

    if (slot) SetValue(m, row, m.ProgName[i] + ".exe");
    row++;
    if (slot) SetValue(m, row, FN(m.ProgFaults[i]));
    row++;
    if (slot) SetValue(m, row, FN(m.ProgWorkingSet[i] / 1000000) + " MB");
    row++;
    if (known) SetValue(m, row, FN(m.ProgCPU[i] / processors) + "%");
    SetRed(m, row, !known || m.ProgCPU[i] / processors > 80);
    row++;
    if (slot) SetValue(m, row, FN(m.ProgVirtual[i] / 1000000) + " MB");
    row++;
    if (slot) SetValue(m, row, FN(m.ProgRead[i] / 1000) + " Kbps");
    SetRed(m, row, !known || m.ProgRead[i] / processors > 50000000);
    row++;
    if (slot) SetValue(m, row, FN(m.ProgWrite[i] / 1000) + " Kbps");
    SetRed(m, row, !known || m.ProgWrite[i] / processors > 50000000);
    row++;
    if (row != 156 && row != 104) SetValue(m, row++, "");
  }
  m.BNRow = row;
}

void CloseBNView(Context& ctx) {
  auto& m = ctx.model();
  if (m.BNViewTimer != 0) ctx.loop().SetTimerEnabled(m.BNViewTimer, false);
  // The rows made at opening go with the view; row 0 stays.
  m.BNCaption.resize(1);
  m.BNVal.resize(1);
  m.BNValRed.resize(1);
  m.BNViewOpen = 0;
}

}  // namespace tarnex
