// The close of the day at 23:59, with the month and year roll-overs that fall
// due then, and the month's sum over the two side files.
#pragma once

#include "core/context.h"

namespace tarnex {

// The day roll-over (the clock cycle's row 10), in its order: the summary
// files when no mail made them, the day's lines, the day totals back to 0,
// the disk lines, then the month and the year when they changed.
void DayRollOver(Context& ctx);

// The month's sum over "\Logs\Received.txt" and "\Logs\Sent.txt" into the
// daily bandwidth log; both files are emptied.
void totalbw(Context& ctx);

}  // namespace tarnex
