// The two views of what the rules watch: the static list "BottleNecks
// Tracked" and the data view "Monitor BottleNeck Data", a grid of captioned
// rows refreshed by its own one-second timer.
#pragma once

#include "core/context.h"

namespace tarnex {

// The rows of the data view: 0 to 207 while it is open.
constexpr int kBNViewRows = 208;
// The colour of a value in dark red.
constexpr int32_t kBNRed = 192;

// Fills BNTrackedText.
void BuildBNList(ServerModel& m);

// Opens the data view: the program rules stop, the program list is rebuilt,
// the rows get their captions, the width follows from the rows used, and the
// view's timer starts. Opening an open view does nothing.
void OpenBNView(Context& ctx);
// One tick of the view's timer: all optional counters read, all values set.
void BNViewTick(Context& ctx);
// Closes the data view: the timer stops and the program rules resume.
void CloseBNView(Context& ctx);

}  // namespace tarnex
