// The rule pass and what all rules share: the switches, the report step and
// the reads of the optional groups.
#include "rules/engine.h"

#include <limits>
#include <string>

#include "core/legacy.h"

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

void Label16Click(ServerModel& m) {
  m.BNTestFlag = 1;
}

void AddText(ServerModel& m, const std::string& text) {
  m.BNText += text;
  m.BNText += "\r\n";
}

bool ReportStep(App& app, int key) {
  const std::string name = std::to_string(key);
  const std::string stored = app.INIRead(App::kSettingsFile, "Bottleneck", name);
  app.INIWrite(App::kSettingsFile, "Bottleneck", name, "1");
  if (app.model().Once == 0) return true;
  // The stored text is compared with the number 0. A text that is not a
  // number (a missing key reads as the empty text) makes the comparison
  // fail, and a failed test counts as met: the text goes through.
  const std::optional<double> value = legacy::ImplicitNumber(stored);
  if (!value) return true;
  return *value == 0;
}

void ReadWhole(App& app, int32_t handle, int32_t& field) {
  const double value = app.ReadCounter(handle);
  const double rounded = static_cast<double>(legacy::CLng(value));
  if (rounded < std::numeric_limits<int32_t>::min() ||
      rounded > std::numeric_limits<int32_t>::max()) {
    return;
  }
  field = static_cast<int32_t>(rounded);
}

void ReadSQLCounters(App& app, bool whole_group) {
  auto& m = app.model();
  if (whole_group || m.hSQLLatchWaits != 0) {
    m.SQLLatchWaits = app.ReadCounter(m.hSQLLatchWaits);
    m.SQLLatchTime = app.ReadCounter(m.hSQLLatchTime);
  }
  if (whole_group || m.hSQLCacheHit != 0) m.SQLCacheHit = app.ReadCounter(m.hSQLCacheHit);
  m.SQLLogouts = app.ReadCounter(m.hSQLLogouts);
}

namespace {

void Read(App& app, bool yield, int32_t handle, int32_t& field) {
  ReadWhole(app, handle, field);
  if (yield) app.Yield();
}

}  // namespace

void ReadWebCounters(App& app, bool yield) {
  auto& m = app.model();
  Read(app, yield, m.hURIFlushes, m.URIFlushes);
  Read(app, yield, m.hURIMisses, m.URIMisses);
  Read(app, yield, m.hASPWait, m.ASPWait);
  Read(app, yield, m.hASPQueued, m.ASPQueued);
}

void ReadFirewallCounters(App& app, bool yield) {
  auto& m = app.model();
  Read(app, yield, m.hFWAcceptTCP, m.FWAcceptTCP);
  Read(app, yield, m.hFWWorkerThreads, m.FWWorkerThreads);
  Read(app, yield, m.hFWDNSHits, m.FWDNSHits);
  Read(app, yield, m.hPEBacklog, m.PEBacklog);
  Read(app, yield, m.hPEActive, m.PEActive);
  Read(app, yield, m.hPEBytes, m.PEBytes);
  Read(app, yield, m.hPEEstablished, m.PEEstablished);
}

void ReadProxyCounters(App& app, bool yield) {
  auto& m = app.model();
  Read(app, yield, m.hWPCacheHit, m.WPCacheHit);
  Read(app, yield, m.hWPReverseBytes, m.WPReverseBytes);
  Read(app, yield, m.hWPAvgMs, m.WPAvgMs);
  Read(app, yield, m.hWPDirectFetches, m.WPDirectFetches);
  Read(app, yield, m.hWPCacheFetches, m.WPCacheFetches);
  Read(app, yield, m.hWPRequests, m.WPRequests);
  Read(app, yield, m.hWPFailing, m.WPFailing);
  Read(app, yield, m.hWPDNSHits, m.WPDNSHits);
  Read(app, yield, m.hWPIncoming, m.WPIncoming);
}

void ReadCacheCounters(App& app, bool yield) {
  auto& m = app.model();
  Read(app, yield, m.hCacheDiskFailure, m.CacheDiskFailure);
  Read(app, yield, m.hCacheMemAllocated, m.CacheMemAllocated);
  Read(app, yield, m.hCacheDiskAllocated, m.CacheDiskAllocated);
  Read(app, yield, m.hCacheMemUsage, m.CacheMemUsage);
  Read(app, yield, m.hCacheDiskWrite, m.CacheDiskWrite);
  Read(app, yield, m.hCacheDiskURL, m.CacheDiskURL);
  Read(app, yield, m.hCacheDiskBytes, m.CacheDiskBytes);
  Read(app, yield, m.hCacheMemURL, m.CacheMemURL);
  Read(app, yield, m.hCacheMemBytes, m.CacheMemBytes);
}

void BottleneckCheck(App& app) {
  auto& m = app.model();

  // 1.
  m.BNText.clear();

  // 2 to 11. The switched groups; only the exact value 1 turns a group on.
  // Events run during the optional groups' reads, so each switch is looked
  // at when its group comes.
  if (m.BNMemory == 1) MemoryRules(app);
  if (m.BNCPU == 1) CPURules(app);
  if (m.BNDisk == 1) DiskRules(app);
  if (m.BNSQL == 1) SQLRules(app);
  if (m.BNNetwork == 1) NetworkRules(app);
  if (m.BNServer == 1) ServerRules(app);
  if (m.BNWeb == 1) WebRules(app);
  if (m.BNFirewall == 1) FirewallRules(app);
  if (m.BNProxy == 1) ProxyRules(app);
  if (m.BNCache == 1) CacheRules(app);

  // 12. The trend rules have no switch.
  TrendRules(app);

  // 13. One program, unless the data view is open.
  if (m.BNPrograms == 1 && m.BNViewOpen == 0) ProgramRules(app);

  // 14. Unconditionally: so the cycle's tests on the tick counter see 1.
  m.MinuteTick = 0;

  // 15. The operator's test of the reporting path.
  if (m.BNTestFlag == 1) {
    AddText(m, "This is a Error Test");
    m.BNTestFlag = 0;
  }
}

}  // namespace tarnex
