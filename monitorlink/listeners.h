// The five monitor slots' listeners (Winsock3(0) to Winsock3(4)), their port
// settings and the connection indicators.
#pragma once

#include <array>
#include <memory>

#include "base/legacy.h"
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

  // The generator that Generate reseeds.
  legacy::Random rnd;

 private:
  std::array<std::unique_ptr<Winsock>, kSlots> slots_;
};

// The five CPUPort texts in slot order, and the five BUPort texts.
std::array<std::string*, Listeners::kSlots> CPUPorts(ServerModel& m);
std::array<std::string*, Listeners::kSlots> BUPorts(ServerModel& m);

// The indicator of a port below 1000 is on, of any other off.
void ShowPortIndicators(Context& ctx);

// Start-up, step 23: the choice lists of the ten ports, then the ports, the
// passwords, the back-up ports and the server code.
void LoadMonitorSettings(Context& ctx);
// Step 24: each listener whose port is above 100 listens on it.
void OpenListeners(Context& ctx, Listeners& listeners);
// Step 25, in its place: any of the ten ports still empty becomes "0"; then
// the five users.
void DefaultEmptyPorts(Context& ctx);
void LoadMonitorUsers(Context& ctx);

// The clock cycle's row 1: each slot's marks from its state, and a slot
// closed, closing or in error listens again on its port, whatever it is.
void WatchListeners(Context& ctx, Listeners& listeners);

// The Save operation, steps 2 and 3: the ports, passwords, back-up ports and
// server code, then each user, and each listener whose port is above 100
// opened again on it.
void SaveMonitorSettings(Context& ctx, Listeners& listeners);

}  // namespace tarnex
