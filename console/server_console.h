// The performance console ("Server Performance Data", frmServer): the
// thirty-three server counters in two columns, refreshed by its own timer.
// While it is open the sampling cycle reads all of them each second.
#pragma once

#include "core/context.h"

namespace tarnex {

// Opening: the place from "\Performance.dat", the rows, the values once,
// then its timer at 1000 ms. Opening an open console does nothing.
void OpenServerConsole(Context& ctx);
// One tick: every value from ServerValues, with a yield after each.
void ServerConsoleTick(Context& ctx);
// Closing: the place written back, the timer stopped; the cycle reads only
// the work item shortages again.
void CloseServerConsole(Context& ctx);

}  // namespace tarnex
