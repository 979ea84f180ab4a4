// The rule pass and what all rules share: the switches, the report step and
// the reads of the optional groups.
#include "rules/engine.h"

#include <limits>
#include <string>

#include "base/legacy.h"
#include "core/journal.h"

namespace tarnex {

void RefreshRuleSwitches(ServerModel& m) {
  m.BNCPU = m.BNMonitor[0];
  m.BNMemory = m.BNMonitor[1];
  m.BNDisk = m.BNMonitor[2];
  m.BNNetwork = m.BNMonitor[3];
  m.BNSQL = m.BNMonitor[4];
  m.BNFirewall = m.BNMonitor[5];
  m.BNWeb = m.BNMonitor[6];
  m.BNProxy = m.BNMonitor[7];
  m.BNCache = m.BNMonitor[8];
  m.BNServer = m.BNMonitor[9];
  m.Once = m.BNMonitor[10];
  m.BNPrograms = m.BNMonitor[11];
}

namespace {
// The keys of BNMonitor(0..11) in section Monitor.
const char* const kSwitchKeys[12] = {"CPU",        "MEM",        "HD",          "NET",
                                     "SQL",        "ISA FW",     "Web Service", "Web Proxy",
                                     "ISA Server", "Server Gen", "Once",        "UPrograms"};
}  // namespace

void LoadRuleSwitches(Context& ctx) {
  auto& m = ctx.model();
  for (size_t i = 0; i < 12; ++i) {
    ReadFlag(ctx.INIRead(Context::kSettingsFile, "Monitor", kSwitchKeys[i]), m.BNMonitor[i]);
  }
  RefreshRuleSwitches(m);
  if (m.Once == 1) {
    for (int key = 1; key <= 100; ++key) {
      ctx.INIWrite(Context::kSettingsFile, "Bottleneck", std::to_string(key), "1");
    }
  }
}

void SaveRuleSwitches(Context& ctx) {
  auto& m = ctx.model();
  for (size_t i = 0; i < 12; ++i) {
    ctx.INIWrite(Context::kSettingsFile, "Monitor", kSwitchKeys[i], std::to_string(m.BNMonitor[i]));
  }
  RefreshRuleSwitches(m);
}

void JournalFindings(Context& ctx) {
  auto& m = ctx.model();
  // One entry between two lines of asterisks, without its last line end. A
  // text too short to cut is journalled as it stands.
  if (m.BNText.empty()) return;
  if (m.BNText.size() >= 2) m.BNText.erase(m.BNText.size() - 2);
  ctx.MyEvents(kAsterisks);
  ctx.MyEvents(m.BNText);
  ctx.MyEvents(kAsterisks);
}

void Label16Click(ServerModel& m) {
  m.BNTestFlag = 1;
}

void AddText(ServerModel& m, const std::string& text) {
  m.BNText += text;
  m.BNText += "\r\n";
}

bool ReportStep(Context& ctx, int key) {
  const std::string name = std::to_string(key);
  const std::string stored = ctx.INIRead(Context::kSettingsFile, "Bottleneck", name);
  ctx.INIWrite(Context::kSettingsFile, "Bottleneck", name, "1");
  if (ctx.model().Once == 0) return true;
  // The stored text is compared with the number 0. A text that is not a
  // number (a missing key reads as the empty text) makes the comparison
  // fail, and a failed test counts as met: the text goes through.
  const std::optional<double> value = legacy::ImplicitNumber(stored);
  if (!value) return true;
  return *value == 0;
}

void ReadWhole(Context& ctx, int32_t handle, int32_t& field) {
  const double value = ctx.ReadCounter(handle);
  const double rounded = static_cast<double>(legacy::CLng(value));
  if (rounded < std::numeric_limits<int32_t>::min() ||
      rounded > std::numeric_limits<int32_t>::max()) {
    return;
  }
  field = static_cast<int32_t>(rounded);
}

void ReadSQLCounters(Context& ctx, bool whole_group) {
  auto& m = ctx.model();
  if (whole_group || m.hSQLLatchWaits != 0) {
    m.SQLLatchWaits = ctx.ReadCounter(m.hSQLLatchWaits);
    m.SQLLatchTime = ctx.ReadCounter(m.hSQLLatchTime);
  }
  if (whole_group || m.hSQLCacheHit != 0) m.SQLCacheHit = ctx.ReadCounter(m.hSQLCacheHit);
  m.SQLLogouts = ctx.ReadCounter(m.hSQLLogouts);
}

namespace {

void Read(Context& ctx, bool yield, int32_t handle, int32_t& field) {
  ReadWhole(ctx, handle, field);
  if (yield) ctx.Yield();
}

}  // namespace

void ReadWebCounters(Context& ctx, bool yield) {
  auto& m = ctx.model();
  Read(ctx, yield, m.hURIFlushes, m.URIFlushes);
  Read(ctx, yield, m.hURIMisses, m.URIMisses);
  Read(ctx, yield, m.hASPWait, m.ASPWait);
  Read(ctx, yield, m.hASPQueued, m.ASPQueued);
}

void ReadFirewallCounters(Context& ctx, bool yield) {
  auto& m = ctx.model();
  Read(ctx, yield, m.hFWAcceptTCP, m.FWAcceptTCP);
  Read(ctx, yield, m.hFWWorkerThreads, m.FWWorkerThreads);
  Read(ctx, yield, m.hFWDNSHits, m.FWDNSHits);
  Read(ctx, yield, m.hPEBacklog, m.PEBacklog);
  Read(ctx, yield, m.hPEActive, m.PEActive);
  Read(ctx, yield, m.hPEBytes, m.PEBytes);
  Read(ctx, yield, m.hPEEstablished, m.PEEstablished);
}

void ReadProxyCounters(Context& ctx, bool yield) {
  auto& m = ctx.model();
  Read(ctx, yield, m.hWPCacheHit, m.WPCacheHit);
  Read(ctx, yield, m.hWPReverseBytes, m.WPReverseBytes);
  Read(ctx, yield, m.hWPAvgMs, m.WPAvgMs);
  Read(ctx, yield, m.hWPDirectFetches, m.WPDirectFetches);
  Read(ctx, yield, m.hWPCacheFetches, m.WPCacheFetches);
  Read(ctx, yield, m.hWPRequests, m.WPRequests);
  Read(ctx, yield, m.hWPFailing, m.WPFailing);
  Read(ctx, yield, m.hWPDNSHits, m.WPDNSHits);
  Read(ctx, yield, m.hWPIncoming, m.WPIncoming);
}

void ReadCacheCounters(Context& ctx, bool yield) {
  auto& m = ctx.model();
  Read(ctx, yield, m.hCacheDiskFailure, m.CacheDiskFailure);
  Read(ctx, yield, m.hCacheMemAllocated, m.CacheMemAllocated);
  Read(ctx, yield, m.hCacheDiskAllocated, m.CacheDiskAllocated);
  Read(ctx, yield, m.hCacheMemUsage, m.CacheMemUsage);
  Read(ctx, yield, m.hCacheDiskWrite, m.CacheDiskWrite);
  Read(ctx, yield, m.hCacheDiskURL, m.CacheDiskURL);
  Read(ctx, yield, m.hCacheDiskBytes, m.CacheDiskBytes);
  Read(ctx, yield, m.hCacheMemURL, m.CacheMemURL);
  Read(ctx, yield, m.hCacheMemBytes, m.CacheMemBytes);
}

void BottleneckCheck(Context& ctx) {
  auto& m = ctx.model();

  // 1.
  m.BNText.clear();

  // Each group's findings are counted by the texts it adds.
  const auto group = [&m, &ctx](int index, void (*rules)(Context&)) {
    const size_t before = m.BNText.size();
    rules(ctx);
    size_t found = 0;
    for (size_t at = m.BNText.size() < before ? 0 : before;
         (at = m.BNText.find("\r\n", at)) != std::string::npos; at += 2) {
      ++found;
    }
    m.BNFindings[index] += static_cast<double>(found);
  };

  // 2 to 11. The switched groups; only the exact value 1 turns a group on.
  // Events run during the optional groups' reads, so each switch is looked
  // at when its group comes.
  if (m.BNMemory == 1) group(0, MemoryRules);
  if (m.BNCPU == 1) group(1, CPURules);
  if (m.BNDisk == 1) group(2, DiskRules);
  if (m.BNSQL == 1) group(3, SQLRules);
  if (m.BNNetwork == 1) group(4, NetworkRules);
  if (m.BNServer == 1) group(5, ServerRules);
  if (m.BNWeb == 1) group(6, WebRules);
  if (m.BNFirewall == 1) group(7, FirewallRules);
  if (m.BNProxy == 1) group(8, ProxyRules);
  if (m.BNCache == 1) group(9, CacheRules);

  // 12. The trend rules have no switch.
  group(10, TrendRules);

  // 13. One program, unless the data view is open.
  if (m.BNPrograms == 1 && m.BNViewOpen == 0) group(11, ProgramRules);

  // 14. Unconditionally: so the cycle's tests on the tick counter see 1.
  m.MinuteTick = 0;

  // 15. The operator's test of the reporting path.
  if (m.BNTestFlag == 1) {
    AddText(m, "This is a Error Test");
    m.BNTestFlag = 0;
  }
}

}  // namespace tarnex
