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

std::array<std::string*, Listeners::kSlots> BUPorts(ServerModel& m) {
  return {&m.BUPort, &m.BUPort2, &m.BUPort3, &m.BUPort4, &m.BUPort5};
}

void LoadMonitorSettings(Context& ctx) {
  auto& m = ctx.model();
  const std::array<TextList*, 5> cpu_lists = {&m.CPUPortList, &m.CPUPort2List, &m.CPUPort3List,
                                              &m.CPUPort4List, &m.CPUPort5List};
  const std::array<TextList*, 5> bu_lists = {&m.BUPortList, &m.BUPort2List, &m.BUPort3List,
                                             &m.BUPort4List, &m.BUPort5List};
  for (size_t n = 0; n < 5; ++n) {
    const int base = 41000 + static_cast<int>(n) * 1000;
    for (auto [list, first] : {std::pair{cpu_lists[n], base}, std::pair{bu_lists[n], base + 1}}) {
      list->clear();
      list->push_back(std::to_string(first));
      for (int i = 1; i <= 100; ++i) list->push_back(std::to_string(first + 2 * i));
    }
  }
  const auto cpu_ports = CPUPorts(m);
  const auto bu_ports = BUPorts(m);
  for (int n = 1; n <= 5; ++n) {
    *cpu_ports[n - 1] =
        ctx.INIRead(Context::kSettingsFile, "Server", PortKey("Monitor CPU Port", n));
  }
  for (int n = 1; n <= 5; ++n) {
    m.CPUpass[n - 1] =
        ctx.INIRead(Context::kSettingsFile, "Server", "Monitor CPU Pass " + std::to_string(n));
  }
  for (int n = 1; n <= 5; ++n) {
    *bu_ports[n - 1] = ctx.INIRead(Context::kSettingsFile, "Server", PortKey("Monitor BU Port", n));
  }
  m.SrvCODE = ctx.INIRead(Context::kSettingsFile, "Server", "Monitor Server Code");
}

void OpenListeners(Context& ctx, Listeners& listeners) {
  const auto ports = CPUPorts(ctx.model());
  for (int n = 0; n < Listeners::kSlots; ++n) {
    const double port = Val(*ports[static_cast<size_t>(n)]);
    if (port > 100) listeners.Reopen(n, static_cast<int>(legacy::CLng(port)));
  }
}

void DefaultEmptyPorts(Context& ctx) {
  auto& m = ctx.model();
  for (const auto& ports : {CPUPorts(m), BUPorts(m)}) {
    for (std::string* port : ports) {
      if (port->empty()) *port = "0";
    }
  }
}

void LoadMonitorUsers(Context& ctx) {
  auto& m = ctx.model();
  for (int n = 1; n <= 5; ++n) {
    m.MUser[n - 1] =
        ctx.INIRead(Context::kSettingsFile, "Server", "Monitor User " + std::to_string(n));
  }
}

void WatchListeners(Context& ctx, Listeners& listeners) {
  auto& m = ctx.model();
  const auto ports = CPUPorts(m);
  for (int i = 0; i < Listeners::kSlots; ++i) {
    const size_t at = static_cast<size_t>(i);
    Winsock& l = listeners[i];
    const bool connected = l.state() == Winsock::kConnected;
    m.conc[at] = connected ? 1 : 0;
    m.coffc[at] = connected ? 0 : 1;
    const Winsock::State state = l.state();
    if (state != Winsock::kError && state != Winsock::kClosing && state != Winsock::kClosed) {
      continue;
    }
    m.conc[at] = 0;
    m.coffc[at] = 1;
    l.Close();
    if (ports[at]->empty()) continue;
    // A port text that is no number leaves the local port as it was.
    if (auto port = legacy::ImplicitNumber(*ports[at])) {
      l.SetLocalPort(static_cast<int>(legacy::CLng(*port)));
    }
    l.Listen();
  }
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
  const auto bu_ports = BUPorts(m);
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
