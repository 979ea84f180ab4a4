#include "counters/recordings.h"

#include <initializer_list>

#include "base/legacy.h"
#include "core/texts.h"
#include "counters/catalogue.h"
#include "counters/programs.h"

namespace tarnex {

void LogAllWindow(Context& ctx) {
  auto& m = ctx.model();
  if (m.LogAllSeconds == 0) return;
  m.LogAllElapsed += 1;
  if (m.LogAllElapsed >= m.LogAllSeconds || m.LogAllElapsed > 900) {
    m.LogAllSeconds = 0;
    m.LogAllElapsed = 0;
    m.Label27 = "Data Located at " + m.AppPath + "\\Events\\SnapShot";
  } else {
    m.Label27 = "Logging All Data for " + MinSecText(m.LogAllSeconds - m.LogAllElapsed);
  }
}

void ReadRecordedPrograms(Context& ctx) {
  auto& m = ctx.model();
  if (m.LogAllSeconds == 0) return;
  if (m.MinuteTick == 30) RefreshPrograms(ctx.platform(), m, [&ctx] { ctx.Yield(); });
  for (int32_t i = 0; i <= m.ProgLast && i < 101; ++i) {
    const size_t at = static_cast<size_t>(i);
    m.ProgFaults[at] = ctx.ReadCounter(m.hProgFaults[at]);
    m.ProgWorkingSet[at] = ctx.ReadCounter(m.hProgWorkingSet[at]);
  }
}

namespace {

using legacy::Str;

// A number as a recording writes it.
std::string N(double value) {
  return Str(value);
}

// One line of fields separated by one TAB, closed by CR LF, appended; a line
// that cannot be written is passed over.
void Record(Context& ctx, const char* file, std::initializer_list<std::string> fields) {
  std::string line;
  bool first = true;
  for (const std::string& field : fields) {
    if (!first) line += '\t';
    first = false;
    line += field;
  }
  ctx.fs().Append(ctx.Path(std::string("\\Events\\SnapShot\\") + file), line + "\r\n");
}

std::string ServerLine(const ServerModel& m) {
  std::string line;
  for (size_t i = 0; i < 33; ++i) {
    if (i != 0) line += '\t';
    const std::string value = N(m.ServerValues[i]);
    if (i < 3) {
      line += std::string(kServerCaptions[i]) + " " + value + " Sec";
    } else if (i == 22) {
      line += std::string(kServerCaptions[i]) + "\t" + value + " Sec\tSec";
    } else if (i == 23) {
      line += std::string(kServerCaptions[i]) + " " + value + " Sec";
    } else {
      line += std::string(kServerCaptions[i]) + " " + value;
    }
  }
  return line;
}

// A program's field of Processes.txt; empty without a name.
std::string ProgramField(const ServerModel& m, int32_t index) {
  if (index > 100) return {};
  const size_t i = static_cast<size_t>(index);
  if (m.ProgName[i].empty()) return {};
  return m.ProgName[i] + ".exe\tPage Faults " + N(m.ProgFaults[i]) + " Sec \tWorking Set " +
         N(m.ProgWorkingSet[i] / 1000) + " KB";
}

}  // namespace

void StartRecording(Context& ctx, double seconds) {
  ctx.fs().RemoveFilesOf(ctx.Path("\\Events\\SnapShot"));
  ctx.model().LogAllSeconds = seconds;
  ctx.model().LogAllElapsed = 0;
}

void LogMYData(Context& ctx) {
  const auto& m = ctx.model();
  Record(ctx, "CPU.txt",
         {"CPU USage: " + m.cpu1, "H/W: " + m.Label32, "Freq: " + m.CPUMHZ, m.Label77, m.Label22,
          m.Label23, "CPU Last Min: " + m.CPULastMin, "CPU Last Hour: " + m.CPULastHR,
          "CPU Last 24 Hours: " + m.CPULast24});
  Record(ctx, "System.txt", {m.procnum, m.procnumb, m.Label39, m.Label38, m.Label36});
  Record(ctx, "Memory.txt",
         {m.free, m.used, m.Label41, m.Label42, m.Label30, m.Label29, m.Label28, m.Label40,
          m.Label43, m.Label44, "Pool Non-Paged Memory " + N(m.PoolNonpaged),
          "Pool Paged Memory " + N(m.PoolPaged)});
  // Three programs a line; a line with none is not written.
  for (int32_t i = 0; i <= m.ProgLast; i += 3) {
    const std::string a = ProgramField(m, i), b = ProgramField(m, i + 1),
                      c = ProgramField(m, i + 2);
    if (a.empty() && b.empty() && c.empty()) continue;
    ctx.fs().Append(ctx.Path("\\Events\\SnapShot\\Processes.txt"),
                    a + "\t" + b + "\t" + c + "\r\n");
  }
  Record(ctx, "Hard Drive.txt",
         {m.DriveCaption, m.Label45, m.Label46, m.Label49, m.Label50, m.Label47, m.Label48,
          m.Label58, m.Label59, m.Label60, m.Label61, m.Label62});
  Record(ctx, "Network BW.txt",
         {m.upthru, m.Label24, m.tbsent, m.tsstart, m.dnthru, m.Label25, m.tbrec, m.trstart});
  Record(ctx, "Network Packets.txt",
         {m.Label51, m.Label52, m.Label53, m.Label54, m.Label55, m.Label56, m.Label57});
  Record(ctx, "Server.txt", {ServerLine(m)});
  Record(ctx, "SQL.txt",
         {"SQL Buffer Cache Hit Ratio " + N(m.SQLCacheHit), "SQL Latch Waits " + N(m.SQLLatchWaits),
          "SQL Total Latch Wait Time " + N(m.SQLLatchTime),
          "SQL Server General Statistics Logouts Sec " + N(m.SQLLogouts),
          "Number of Packets per sec " + N(m.NetPackets)});
  // The pairings are as they have always been, those that do not match
  // their words included.
  Record(ctx, "Networking.txt",
         {"Bytes Received " + legacy::Format(m.CurRec, "0"),
          "Bytes Sent " + legacy::Format(m.CurSent, "0"),
          "Packets Rec Unicast per second " + N(m.NetRecUnicast),
          "Packets Sent Unicast per second " + N(m.NetSentUnicast),
          "Packets Sent Non-Unicast per second " + N(m.NetRecNonUnicast),
          "Packets Received Non-Unicast per second " + N(m.NetSentNonUnicast),
          "Number of packets in queue waiting to be sent " + N(m.NetOutQueue),
          "Server Work Item Shortages per second " + N(m.ServerValues[12])});
  Record(ctx, "Web Service.txt",
         {"Processor Queued Length " + N(m.ProcessorQueue),
          "Web Service Kernal URI Cache Flushes " + N(m.URIFlushes),
          "Web Service Kernal URI Cache Misses " + N(m.URIMisses),
          "Active Server Pages Request Wait Time " + N(m.ASPWait),
          "Active Server Pages Request Queued " + N(m.ASPQueued),
          "ISA Server Firewall Packet Engine Active Connections " + N(m.PEActive),
          "ISA Firewall Service Working Thread " + N(m.FWWorkerThreads),
          "ISA Firewall Service DNS Cache " + N(m.FWDNSHits),
          "ISA Server Firewall Packet Engine Backlogged Packets " + N(m.PEBacklog),
          "ISA Server Firewall Packet Engine Bytes Second " + N(m.PEBytes)});
  Record(ctx, "Web Proxy.txt",
         {"ISA Server Firewall Packet Engine TCP Established Connections Sec " + N(m.PEActive),
          "ISA Server Firewall Packet Engine Packets Second " + N(m.PEPackets),
          "ISA Web Proxy Cache Hit Ratio" + N(m.WPCacheHit),
          "ISA Web Proxy Reverse Bytes Sent " + N(m.WPReverseBytes),
          "ISA Web Proxy Average Milliseconds Per Request " + N(m.WPAvgMs),
          "ISA Web Proxy Current Direct Fetches " + N(m.WPDirectFetches),
          "ISA Web Proxy Requests Per Second " + N(m.WPCacheFetches),
          "ISA Web Proxy Requests Second " + N(m.WPRequests),
          "ISA Web Proxy Failing Requests Second " + N(m.WPFailing),
          "ISA Web Proxy DNS Cache Hits " + N(m.WPDNSHits)});
  Record(ctx, "ISA Server.txt",
         {"ISA Web Proxy Incoming Connections Per Second " + N(m.WPIncoming),
          "ISAS Server Cache Disk Failure Rate " + N(m.CacheDiskFailure),
          "ISAS Server Cache Memory Usage Ratio Percent " + N(m.CacheMemUsage),
          "ISAS Server Cache Disk Content Write Rate " + N(m.CacheDiskWrite),
          "ISAS Server Cache Disk URL Retrieve Rate " + N(m.CacheDiskURL),
          "ISAS Server Cache Disk Bytes Retrieved Rate " + N(m.CacheDiskBytes),
          "ISAS Server Cache Memory URL Retrieve Rate " + N(m.CacheMemURL),
          "ISAS Server Cache Memory Bytes Retrieved Rate " + N(m.CacheMemBytes),
          "ISAS Server Cache Memory Cache Allocated Space " + N(m.CacheDiskAllocated)});
}

}  // namespace tarnex
