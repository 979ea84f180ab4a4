// The five monitor slots' listeners (Winsock3(0) to Winsock3(4)), their port
// settings and the connection indicators.
#pragma once

#include <array>
#include <memory>

#include "core/context.h"
#include "platform/winsock.h"

namespace tarnex {

class Listeners {
 public:
  static constexpr int kSlots = 5;

  explicit Listeners(Platform& platform);
  Winsock& operator[](int slot) { return *slots_[static_cast<size_t>(slot)]; }

  // Closes the listener, sets its local port and listens again.
  void Reopen(int slot, int port);
  void CloseAll();

 private:
  std::array<std::unique_ptr<Winsock>, kSlots> slots_;
};

// The five CPUPort texts in slot order.
std::array<std::string*, Listeners::kSlots> CPUPorts(ServerModel& m);

// The indicator of a port below 1000 is on, of any other off.
void ShowPortIndicators(Context& ctx);

// The Save operation, steps 2 and 3: the ports, passwords, back-up ports and
// server code, then each user, and each listener whose port is above 100
// opened again on it.
void SaveMonitorSettings(Context& ctx, Listeners& listeners);

}  // namespace tarnex
