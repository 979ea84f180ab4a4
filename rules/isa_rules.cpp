// The rules on the firewall, web proxy and cache counters of the ISA server.
// Each group reads its counters first, giving way to pending events after
// each read. The texts describe the recommended value; the conditions are
// what the system tests, at times the opposite sense.
#include "base/legacy.h"
#include "rules/engine.h"

namespace tarnex {

using legacy::Str;

void FirewallRules(Context& ctx) {
  auto& m = ctx.model();
  ReadFirewallCounters(ctx, true);

  // 35. Active connections.
  if (m.PEActive > 30000) m.BNCount[35] += 1;
  if (m.BNCount[35] > 15) {
    if (ReportStep(ctx, 35)) {
      AddText(m,
              "The ISA Server Firewall Packet Engine Active Connections was greater than 30,000 "
              "for " +
                  Str(m.BNCount[35]) +
                  " sec. Depends on the scenario. For application filtering scenarios, expect up "
                  "to 30,000. Suspect if more. For stateful filtering with IP routing enabled, "
                  "expect up to 100,000. Suspect if more.");
    }
    m.BNCount[35] = 0;
  }

  // 36. Accepting connections, high-water.
  if (m.FWAcceptTCP > m.BNHigh[36]) {
    m.BNHigh[36] = m.FWAcceptTCP;
    m.BNCount[36] += 1;
  }
  if (m.BNCount[36] == 5) {
    if (ReportStep(ctx, 36)) {
      AddText(m,
              "ISA Firewall Service Accepting TCP Connections has been greater than 10. for 5 "
              "seconds");
    }
    m.BNCount[36] = 0;
  }

  // 37, 38, 39. Worker threads: one band a pass, then each count on its own.
  if (m.FWWorkerThreads > 900) {
    m.BNCount[37] += 1;
  } else if (m.FWWorkerThreads > 400) {
    m.BNCount[38] += 1;
  } else if (m.FWWorkerThreads > 200) {
    m.BNCount[39] += 1;
  }
  if (m.BNCount[37] > 5) {
    if (ReportStep(ctx, 37)) {
      AddText(m,
              "ISA Firewall Service Working Thread has been greater than 900. Suspect External "
              "Services (DNS or Active Directory) or an attack is occurring");
    }
    m.BNCount[37] = 0;
  }
  if (m.BNCount[38] > 5) {
    if (ReportStep(ctx, 38)) {
      AddText(m,
              "ISA Firewall Service Working Thread has been greater than 400. Suspect External "
              "Services (DNS or Active Directory) or an attack is occurring");
    }
    m.BNCount[38] = 0;
  }
  if (m.BNCount[39] > 5) {
    if (ReportStep(ctx, 39)) {
      AddText(m,
              "ISA Firewall Service Working Thread has been greater than 200. Should not go "
              "higher then 400 to 1000");
    }
    m.BNCount[39] = 0;
  }

  // 40. DNS cache hits.
  if (m.FWDNSHits < 30 && m.FWDNSHits != 0) m.BNCount[40] += 1;
  if (m.BNCount[40] > 5) {
    if (ReportStep(ctx, 40))
      AddText(m, "ISA Firewall Service DNS Cache has been greater than 30%.");
    m.BNCount[40] = 0;
  }

  // 41. Backlogged packets.
  if (m.PEBacklog > 10) m.BNCount[41] += 1;
  if (m.BNCount[41] > 15) {
    if (ReportStep(ctx, 41)) {
      AddText(m,
              "The ISA Server Firewall Packet Engine Backlogged Packets was greater than 10 for " +
                  Str(m.BNCount[41]) + " sec. ");
    }
    m.BNCount[41] = 0;
  }

  // 42. Bytes a second.
  if (m.PEBytes < 10 && m.PEBytes != 0) m.BNCount[42] += 1;
  if (m.BNCount[42] > 15) {
    if (ReportStep(ctx, 42)) {
      AddText(m, "The ISA Server Firewall Packet Engine Bytes Second was less than 100 for " +
                     Str(m.BNCount[42]) + " sec. ");
    }
    m.BNCount[42] = 0;
  }

  // 43. Established connections.
  if (m.PEEstablished < 70 && m.PEEstablished != 0) m.BNCount[43] += 1;
  if (m.BNCount[43] > 15) {
    if (ReportStep(ctx, 43)) {
      AddText(m,
              "The ISA Server Firewall Packet Engine TCP Established Connections Sec was Less "
              "than 70% for " +
                  Str(m.BNCount[43]) + " sec. ");
    }
    m.BNCount[43] = 0;
  }

  // 44. Packets a second; nothing fills the figure, so it stays 0.
  if (m.PEPackets > 100) m.BNCount[44] += 1;
  if (m.BNCount[44] > 15) {
    if (ReportStep(ctx, 44)) {
      AddText(m, "The ISA Server Firewall Packet Engine Packets Second was Greater than 100 for " +
                     Str(m.BNCount[44]) + " sec. ");
    }
    m.BNCount[44] = 0;
  }
}

void ProxyRules(Context& ctx) {
  auto& m = ctx.model();
  ReadProxyCounters(ctx, true);

  // 45. Cache hit ratio.
  if (m.WPCacheHit < 5 && m.WPCacheHit != 0) m.BNCount[45] += 1;
  if (m.BNCount[45] == 5) {
    if (ReportStep(ctx, 45)) AddText(m, "ISA Web Proxy Cache Hit Ratio has been greater than 30%.");
    m.BNCount[45] = 0;
  }

  // 46. Reverse bytes sent.
  if (m.WPReverseBytes > 10) m.BNCount[46] += 1;
  if (m.BNCount[46] == 5) {
    if (ReportStep(ctx, 46)) {
      AddText(m, "ISA Web Proxy Reverse Bytes Sent has been greater than 10%.");
    }
    m.BNCount[46] = 0;
  }

  // 47. Milliseconds a request.
  if (m.WPAvgMs < 30000 && m.WPAvgMs != 0) m.BNCount[47] += 1;
  if (m.BNCount[47] == 5) {
    if (ReportStep(ctx, 47)) {
      AddText(m, "ISA Web Proxy Average Milliseconds Per Request has been greater than 30 Sec.");
    }
    m.BNCount[47] = 0;
  }

  // 48. Direct fetches.
  if (m.WPDirectFetches > 10000) m.BNCount[48] += 1;
  if (m.BNCount[48] == 5) {
    if (ReportStep(ctx, 48)) {
      AddText(m,
              "ISA Web Proxy Current Direct Fetches has been greater than 10 Sec. May indicate "
              "WAN network connectivity problems or misconfiguration");
    }
    m.BNCount[48] = 0;
  }

  // 49. Cache fetches.
  if (m.WPCacheFetches < 30000 && m.WPCacheFetches != 0) m.BNCount[49] += 1;
  if (m.BNCount[49] == 5) {
    if (ReportStep(ctx, 49)) {
      AddText(m,
              "ISA Web Proxy Current Cache Fetches has been greater than 300 MSec. May indicates "
              "that disk transfers are higher than capacity");
    }
    m.BNCount[49] = 0;
  }

  // 50. Requests a second.
  if (m.WPRequests > 20000) m.BNCount[50] += 1;
  if (m.BNCount[50] == 5) {
    if (ReportStep(ctx, 50)) {
      AddText(m, "ISA Web Proxy Requests Per Second has been greater than 20 KB");
    }
    m.BNCount[50] = 0;
  }

  // 51. Failing requests against the requests.
  if (m.WPFailing > m.WPRequests * 0.8) m.BNCount[51] += 1;
  if (m.BNCount[51] == 5) {
    if (ReportStep(ctx, 51)) {
      AddText(m,
              "ISA Web Proxy Failing Requests Second has been greater than the Request Per "
              "Second (" +
                  Str(m.WPRequests * 0.8) + ")");
    }
    m.BNCount[51] = 0;
  }

  // 52. DNS cache hits.
  if (m.WPDNSHits > 30) m.BNCount[52] += 1;
  if (m.BNCount[52] == 5) {
    if (ReportStep(ctx, 52)) AddText(m, "ISA Web Proxy DNS Cache Hits has been greater than 30%.");
    m.BNCount[52] = 0;
  }

  // 53. Incoming connections.
  if (m.WPIncoming < 2 && m.WPIncoming != 0) m.BNCount[53] += 1;
  if (m.BNCount[53] == 5) {
    if (ReportStep(ctx, 53)) {
      AddText(m, "ISA Web Proxy Incoming Connections Per Second has been Less than 2.");
    }
    m.BNCount[53] = 0;
  }
}

void CacheRules(Context& ctx) {
  auto& m = ctx.model();
  ReadCacheCounters(ctx, true);

  // 54. Disk failures.
  if (m.CacheDiskFailure > 5) m.BNCount[54] += 1;
  if (m.BNCount[54] == 5) {
    if (ReportStep(ctx, 54)) {
      AddText(m,
              "ISAS Server Cache Disk Failure Rate has been greater than 2. Suspect if not "
              "negligible. Could be a hardware problem.");
    }
    m.BNCount[54] = 0;
  }

  // 55. Memory usage ratio.
  if (m.CacheMemUsage < 50 && m.CacheMemUsage != 0) m.BNCount[55] += 1;
  if (m.BNCount[55] == 5) {
    if (ReportStep(ctx, 55)) {
      AddText(m,
              "ISAS Server Cache Memory Usage Ratio Percent has been Less than 50%. Try to "
              "increase the size of the memory cache");
    }
    m.BNCount[55] = 0;
  }

  // 56. Content writes against bytes retrieved.
  if (m.CacheDiskWrite > m.CacheDiskBytes * 0.8 && m.CacheDiskBytes != 0) m.BNCount[56] += 1;
  if (m.BNCount[56] == 5) {
    if (ReportStep(ctx, 56)) {
      AddText(m, "ISAS Server Cache Disk Content Write Rate is High compared to the Read Rate .");
    }
    m.BNCount[56] = 0;
  }

  // 57. URLs retrieved; when it holds it overwrites the bytes retrieved,
  // which rule 58 then judges.
  if (m.CacheDiskURL < 50 && m.CacheDiskURL != 0) {
    m.CacheDiskBytes = m.CacheDiskURL;
    m.BNCount[57] += 1;
  }
  if (m.BNCount[57] == 5) {
    if (ReportStep(ctx, 57)) {
      AddText(m,
              "ISAS Server Cache Disk URL Retrieve Rate should be High (as compared to disk "
              "retrieve rate) in forward caching, low in reverse.");
    }
    m.BNCount[57] = 0;
  }

  // 58. Disk bytes retrieved.
  if (m.CacheDiskBytes > 30000) m.BNCount[58] += 1;
  if (m.BNCount[58] == 5) {
    if (ReportStep(ctx, 58)) {
      AddText(m,
              "ISAS Server Cache Disk Bytes Retrieved Rate should be up to 20 KB under normal "
              "conditions");
    }
    m.BNCount[58] = 0;
  }

  // 59. Memory URLs retrieved.
  if (m.CacheMemURL > 30000) m.BNCount[59] += 1;
  if (m.BNCount[59] == 5) {
    if (ReportStep(ctx, 59)) {
      AddText(m,
              "ISAS Server Cache Memory URL Retrieve Rate should be up to 20 KB under normal "
              "conditions");
    }
    m.BNCount[59] = 0;
  }

  // 60. Memory bytes retrieved.
  if (m.CacheMemBytes > 30000) m.BNCount[60] += 1;
  if (m.BNCount[60] == 5) {
    if (ReportStep(ctx, 60)) {
      AddText(m,
              "ISAS Server Cache Memory Bytes Retrieved Rate should be up to 20 KB under normal "
              "conditions");
    }
    m.BNCount[60] = 0;
  }

  // 61. Memory cache allocated space.
  if (m.CacheMemAllocated < 25 && m.CacheMemAllocated != 0) m.BNCount[61] += 1;
  if (m.BNCount[61] == 5) {
    if (ReportStep(ctx, 61)) {
      AddText(m,
              "ISAS Server Cache Memory Cache Allocated Space has been Less than 25, when cache "
              "is full, it should be between 50% to 100% of total memory cache size");
    }
    m.BNCount[61] = 0;
  }

  // 8. Disk cache allocated space: the last rule of the pass, with the text
  // of rule 61.
  if (m.CacheDiskAllocated < 25 && m.CacheDiskAllocated != 0) m.BNCount[8] += 1;
  if (m.BNCount[8] == 5) {
    if (ReportStep(ctx, 8)) {
      AddText(m,
              "ISAS Server Cache Memory Cache Allocated Space has been Less than 25, when cache "
              "is full, it should be between 50% to 100% of total memory cache size");
    }
    m.BNCount[8] = 0;
  }
}

}  // namespace tarnex
