#include "monitorlink/listeners.h"

#include "base/legacy.h"

namespace tarnex {

using legacy::Val;

namespace {

// "Monitor CPU Port", "Monitor CPU Port 2" ... "Monitor CPU Port 5".
std::string PortKey(const char* name, int n) {
  std::string key = name;
  if (n != 1) {
    key += ' ';
    key += std::to_string(n);
  }
  return key;
}

}  // namespace

Listeners::Listeners(Platform& platform) {
  for (auto& slot : slots_) slot = platform.NewSocket();
}

void Listeners::Reopen(int slot, int port) {
  Winsock& l = (*this)[slot];
  l.Close();
  l.SetLocalPort(port);
  l.Listen();
}

void Listeners::CloseAll() {
  for (auto& slot : slots_) slot->Close();
}

std::array<std::string*, Listeners::kSlots> CPUPorts(ServerModel& m) {
  return {&m.CPUPort, &m.CPUPort2, &m.CPUPort3, &m.CPUPort4, &m.CPUPort5};
}

void ShowPortIndicators(Context& ctx) {
  auto& m = ctx.model();
  const auto ports = CPUPorts(m);
  for (size_t i = 0; i < ports.size(); ++i) m.cno[i] = Val(*ports[i]) < 1000 ? 1 : 0;
}

void SaveMonitorSettings(Context& ctx, Listeners& listeners) {
  auto& m = ctx.model();
  const char* S = "Server";
  const auto cpu_ports = CPUPorts(m);
  const std::string* bu_ports[5] = {&m.BUPort, &m.BUPort2, &m.BUPort3, &m.BUPort4, &m.BUPort5};
  for (int n = 1; n <= 5; ++n) {
    ctx.INIWrite(Context::kSettingsFile, S, PortKey("Monitor CPU Port", n), *cpu_ports[n - 1]);
  }
  for (int n = 1; n <= 5; ++n) {
    ctx.INIWrite(Context::kSettingsFile, S, "Monitor CPU Pass " + std::to_string(n),
                 m.CPUpass[n - 1]);
  }
  for (int n = 1; n <= 5; ++n) {
    ctx.INIWrite(Context::kSettingsFile, S, PortKey("Monitor BU Port", n), *bu_ports[n - 1]);
  }
  ctx.INIWrite(Context::kSettingsFile, S, "Monitor Server Code", m.SrvCODE);
  for (int n = 1; n <= 5; ++n) {
    ctx.INIWrite(Context::kSettingsFile, S, "Monitor User " + std::to_string(n), m.MUser[n - 1]);
    const double port = Val(*cpu_ports[n - 1]);
    if (port > 100) listeners.Reopen(n - 1, static_cast<int>(legacy::CLng(port)));
  }
}

}  // namespace tarnex
