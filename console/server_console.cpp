#include "console/server_console.h"

#include "base/legacy.h"
#include "counters/catalogue.h"

namespace tarnex {

using legacy::FN;
using legacy::Val;

namespace {

constexpr const char* kPlace = "\\Performance.dat";
constexpr int kLeftRows = 17;

// Row r's value text: the first three in Kbps, the context blocks and the
// logons a second, the rest as numbers.
std::string ValueText(int row, double value) {
  if (row <= 2) return FN(value / 1000) + " Kbps";
  if (row == 21 || row == 22) return FN(value) + " sec";
  return FN(value);
}

std::string& ValueLabel(ServerModel& m, int row) {
  return row < kLeftRows ? m.LeftVal[static_cast<size_t>(row)]
                         : m.RightVal[static_cast<size_t>(row - kLeftRows)];
}

}  // namespace

void OpenServerConsole(Context& ctx) {
  auto& m = ctx.model();
  if (m.ServerConsoleOpen == 1) return;
  // 1. The place: 2600, 2600 the first time; a stored place below 1 is 100.
  const std::string top = ctx.INIRead(kPlace, "SERVER", "Top");
  if (top.empty()) {
    m.ServerConsoleTop = 2600;
    m.ServerConsoleLeft = 2600;
  } else {
    m.ServerConsoleTop = Val(top);
    m.ServerConsoleLeft = Val(ctx.INIRead(kPlace, "SERVER", "Left"));
    if (m.ServerConsoleTop < 1) m.ServerConsoleTop = 100;
    if (m.ServerConsoleLeft < 1) m.ServerConsoleLeft = 100;
  }
  // 2. The rows and their captions.
  for (int row = 0; row < 33; ++row) {
    (row < kLeftRows ? m.LeftCap[static_cast<size_t>(row)]
                     : m.RightCap[static_cast<size_t>(row - kLeftRows)]) = kServerCaptions[row];
  }
  m.ServerConsoleOpen = 1;
  // 3. The values once, then the timer.
  ServerConsoleTick(ctx);
  if (m.ServerConsoleTimer == 0) {
    m.ServerConsoleTimer = ctx.loop().AddTimer([&ctx] { ServerConsoleTick(ctx); });
  }
  ctx.loop().SetTimerInterval(m.ServerConsoleTimer, 1000);
  ctx.loop().SetTimerEnabled(m.ServerConsoleTimer, true);
}

void ServerConsoleTick(Context& ctx) {
  auto& m = ctx.model();
  for (int row = 0; row < 33; ++row) {
    if (m.ServerConsoleOpen != 1) return;  // closed while this tick gave way
    ValueLabel(m, row) = ValueText(row, m.ServerValues[static_cast<size_t>(row)]);
    ctx.Yield();
  }
}

void CloseServerConsole(Context& ctx) {
  auto& m = ctx.model();
  if (m.ServerConsoleOpen != 1) return;
  ctx.INIWrite(kPlace, "SERVER", "Top", legacy::Str(m.ServerConsoleTop));
  ctx.INIWrite(kPlace, "SERVER", "Left", legacy::Str(m.ServerConsoleLeft));
  ctx.Yield();
  if (m.ServerConsoleTimer != 0) ctx.loop().SetTimerEnabled(m.ServerConsoleTimer, false);
  m.ServerConsoleOpen = 0;
}

}  // namespace tarnex
